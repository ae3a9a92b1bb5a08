// The quarn parser: recursive descent over the lexer's tokens, one
// top-level statement at a time, so that a script runs up to its first
// malformed statement.
#ifndef QUARN_SHELL_PARSER_H
#define QUARN_SHELL_PARSER_H

#include <string>
#include <vector>

#include "shell/ast.h"
#include "shell/lexer.h"

namespace quarn::shell {

class Parser {
 public:
  // lenient: the last statement may omit its terminator (scripts and -e);
  // otherwise a missing terminator is an incomplete input (the REPL reads on).
  Parser(std::string source, bool lenient);

  bool AtEnd() const;
  // The next top-level statement; raises SyntaxError. Empty statements
  // (a lone ; or :) are skipped.
  StmtPtr Next();

 private:
  const Token& Peek(size_t ahead = 0) const;
  Token Take();
  bool IsOp(const char* op, size_t ahead = 0) const;
  bool IsKw(const char* kw, size_t ahead = 0) const;
  bool AcceptOp(const char* op);
  bool AcceptKw(const char* kw);
  void ExpectOp(const char* op);
  void ExpectKw(const char* kw);
  std::string ExpectName();
  [[noreturn]] void Fail(const Token& at, const std::string& what);
  [[noreturn]] void Unexpected();

  // Statements.
  StmtPtr Statement();
  StmtPtr NewStmt(StmtKind kind, const Token& at);
  Block BlockUntil(std::initializer_list<const char*> stops);
  void CloseBlock(const char* word);  // end [word] | fi | od
  StmtPtr IfStatement(const Token& at);
  StmtPtr ForStatement(const Token& at);
  StmtPtr WhileStatement(const Token& at);
  StmtPtr LoopTail(StmtPtr s);
  StmtPtr TryStatement(const Token& at);
  bool AtStatementEnd() const;

  // Expressions, loosest first.
  ExprPtr Sequence();
  ExprPtr Arrow();
  using Level = ExprPtr (Parser::*)();
  ExprPtr LeftAssociative(std::initializer_list<std::pair<const char*, ExprKind>> ops, Level next);
  ExprPtr Or();
  ExprPtr And();
  ExprPtr Not();
  ExprPtr Relation();
  ExprPtr RangeExpr();
  ExprPtr Sum();
  ExprPtr Product();
  ExprPtr Unary();
  ExprPtr Power();
  ExprPtr Postfix();
  ExprPtr Primary();
  ExprPtr ProcExpr(const Token& at);
  std::vector<ExprPtr> Items(const char* close);
  ExprPtr Make(ExprKind kind, const Token& at);

  std::string source_;
  std::vector<Token> tokens_;
  size_t pos_ = 0;
  bool lenient_;
  int depth_ = 0;
  friend class DepthGuard;
};

}  // namespace quarn::shell

#endif
