// Tokens of the quarn language and the lexer that produces them.
#ifndef QUARN_SHELL_LEXER_H
#define QUARN_SHELL_LEXER_H

#include <stdexcept>
#include <string>
#include <vector>

namespace quarn::shell {

enum class Tok {
  End,       // end of input
  Integer,   // 123
  Float,     // 1.5, .5, 1e-3, 2.
  String,    // "text"
  Name,      // x, _Env, `any text`
  Keyword,   // reserved word; text holds it
  Op,        // punctuation and operators; text holds it
  Bad,       // where scanning failed: text holds the message; ends the tokens
};

struct Token {
  Tok kind = Tok::End;
  std::string text;    // the literal, name, keyword or operator (string: unescaped)
  int line = 1;
  int column = 1;
  size_t offset = 0;   // byte offset of the token's first character
  size_t end = 0;      // byte offset just past the token
  bool incomplete = false;  // Bad only: more input could make it valid
};

// A malformed input. incomplete is set when more input could make it valid
// (an unterminated string or construct), which lets the REPL ask for another line.
class SyntaxError : public std::runtime_error {
 public:
  SyntaxError(const std::string& message, int line, int column, bool incomplete)
      : std::runtime_error(message), line(line), column(column), incomplete(incomplete) {}
  int line, column;
  bool incomplete;
};

// Splits source text into tokens, ending with one Tok::End. Comments run
// from # to the end of the line. A character that starts no token, or an
// unterminated string or quoted name, ends the tokens with one Tok::Bad, so
// that the statements before it can still run.
std::vector<Token> Tokenize(const std::string& source);

bool IsKeyword(const std::string& word);

// Describes a token for error messages: `)`, end of input, "text", ...
std::string Describe(const Token& t);

}  // namespace quarn::shell

#endif
