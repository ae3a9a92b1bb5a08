// The quarn lexer: a hand-written scanner over the source bytes.
#include "shell/lexer.h"

#include <cctype>
#include <set>

namespace quarn::shell {

namespace {

const std::set<std::string>& Keywords() {
  static const std::set<std::string> words = {
      "and", "or", "not", "if", "then", "elif", "else", "fi", "end", "do", "od",
      "for", "from", "to", "by", "while", "in", "proc", "local", "global",
      "return", "break", "next", "error", "NULL", "true", "false", "quit", "try", "catch",
      "finally", "read",
  };
  return words;
}

// Operators, longest first so that ":=" wins over ":".
const char* const kOperators[] = {
    ":=", "..", "->", "<>", "<=", ">=", "+", "-", "*", "/", "^", "(", ")", "[", "]",
    ",", ";", ":", "=", "<", ">", "'", "%", ".",
};

bool IsNameStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; }
bool IsNameChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

class Scanner {
 public:
  explicit Scanner(const std::string& s) : src_(s) {}

  std::vector<Token> Run() {
    std::vector<Token> out;
    for (;;) {
      SkipSpaceAndComments();
      Token t;
      t.line = line_;
      t.column = column_;
      t.offset = pos_;
      if (pos_ >= src_.size()) {
        t.end = pos_;
        out.push_back(t);
        return out;
      }
      try {
        Scan(t);
      } catch (const SyntaxError& e) {
        t.kind = Tok::Bad;
        t.text = e.what();
        t.line = e.line;
        t.column = e.column;
        t.incomplete = e.incomplete;
        t.end = src_.size();
        out.push_back(t);
        return out;
      }
      t.end = pos_;
      out.push_back(std::move(t));
    }
  }

 private:
  char Peek(size_t ahead = 0) const {
    return pos_ + ahead < src_.size() ? src_[pos_ + ahead] : '\0';
  }
  void Advance() {
    if (src_[pos_] == '\n') {
      ++line_;
      column_ = 1;
    } else {
      ++column_;
    }
    ++pos_;
  }
  [[noreturn]] void Fail(const std::string& what, int line, int column, bool incomplete) {
    throw SyntaxError(what, line, column, incomplete);
  }

  void SkipSpaceAndComments() {
    while (pos_ < src_.size()) {
      char c = src_[pos_];
      if (c == '#') {
        while (pos_ < src_.size() && src_[pos_] != '\n') Advance();
      } else if (std::isspace(static_cast<unsigned char>(c))) {
        Advance();
      } else {
        return;
      }
    }
  }

  void Scan(Token& t) {
    char c = Peek();
    if (IsDigit(c) || (c == '.' && IsDigit(Peek(1)))) return ScanNumber(t);
    if (IsNameStart(c)) {
      while (IsNameChar(Peek())) Advance();
      t.text = src_.substr(t.offset, pos_ - t.offset);
      t.kind = Keywords().count(t.text) ? Tok::Keyword : Tok::Name;
      return;
    }
    if (c == '"') return ScanQuoted(t, '"', Tok::String);
    if (c == '`') return ScanQuoted(t, '`', Tok::Name);
    for (const char* op : kOperators) {
      size_t n = std::char_traits<char>::length(op);
      if (src_.compare(pos_, n, op) == 0) {
        for (size_t i = 0; i < n; ++i) Advance();
        t.kind = Tok::Op;
        t.text = op;
        return;
      }
    }
    std::string shown = std::isprint(static_cast<unsigned char>(c))
                            ? std::string("`") + c + "`"
                            : "character " + std::to_string(static_cast<unsigned char>(c));
    Fail("unexpected " + shown, line_, column_, false);
  }

  // Digits, an optional fraction and an optional exponent. A dot followed
  // by another dot belongs to a range (1..5), not to the number.
  void ScanNumber(Token& t) {
    bool is_float = false;
    while (IsDigit(Peek())) Advance();
    if (Peek() == '.' && Peek(1) != '.') {
      is_float = true;
      Advance();
      while (IsDigit(Peek())) Advance();
    }
    if ((Peek() == 'e' || Peek() == 'E') &&
        (IsDigit(Peek(1)) || ((Peek(1) == '-' || Peek(1) == '+') && IsDigit(Peek(2))))) {
      is_float = true;
      Advance();
      if (Peek() == '-' || Peek() == '+') Advance();
      while (IsDigit(Peek())) Advance();
    }
    if (IsNameStart(Peek())) Fail("malformed number", line_, column_, false);
    t.kind = is_float ? Tok::Float : Tok::Integer;
    t.text = src_.substr(t.offset, pos_ - t.offset);
  }

  // "strings" take the escapes \" \\ \n \t; `names` take none. A doubled
  // delimiter stands for itself.
  void ScanQuoted(Token& t, char delim, Tok kind) {
    int line = line_, column = column_;
    Advance();
    std::string text;
    for (;;) {
      if (pos_ >= src_.size()) {
        Fail(kind == Tok::String ? "unterminated string" : "unterminated quoted name", line, column,
             true);
      }
      char c = src_[pos_];
      if (c == delim) {
        if (Peek(1) == delim) {
          text += delim;
          Advance();
          Advance();
          continue;
        }
        Advance();
        break;
      }
      if (c == '\\' && delim == '"' && pos_ + 1 < src_.size()) {
        char e = src_[pos_ + 1];
        text += e == 'n' ? '\n' : e == 't' ? '\t' : e;
        Advance();
        Advance();
        continue;
      }
      text += c;
      Advance();
    }
    t.kind = kind;
    t.text = text;
  }

  const std::string& src_;
  size_t pos_ = 0;
  int line_ = 1;
  int column_ = 1;
};

}  // namespace

std::vector<Token> Tokenize(const std::string& source) { return Scanner(source).Run(); }

bool IsKeyword(const std::string& word) { return Keywords().count(word) != 0; }

std::string Describe(const Token& t) {
  switch (t.kind) {
    case Tok::End:
      return "end of input";
    case Tok::Bad:
      return t.text;
    case Tok::String:
      return "string \"" + t.text + "\"";
    default:
      return "`" + t.text + "`";
  }
}

}  // namespace quarn::shell
