// Statements of the quarn parser, and the token plumbing shared with the
// expression half (parse_expr.cpp).
#include "shell/parser.h"

#include <cstring>

#include "shell/parser_internal.h"

namespace quarn::shell {

Parser::Parser(std::string source, bool lenient)
    : source_(std::move(source)), tokens_(Tokenize(source_)), lenient_(lenient) {}

bool Parser::AtEnd() const {
  size_t p = pos_;
  // Lone terminators do not count as statements.
  while (tokens_[p].kind == Tok::Op && (tokens_[p].text == ";" || tokens_[p].text == ":")) ++p;
  return tokens_[p].kind == Tok::End;
}

const Token& Parser::Peek(size_t ahead) const {
  size_t p = pos_ + ahead;
  return p < tokens_.size() ? tokens_[p] : tokens_.back();
}

Token Parser::Take() {
  const Token& t = Peek();
  if (t.kind == Tok::Bad) throw SyntaxError(t.text, t.line, t.column, t.incomplete);
  if (pos_ + 1 < tokens_.size()) ++pos_;
  return t;
}

bool Parser::IsOp(const char* op, size_t ahead) const {
  const Token& t = Peek(ahead);
  return t.kind == Tok::Op && t.text == op;
}

bool Parser::IsKw(const char* kw, size_t ahead) const {
  const Token& t = Peek(ahead);
  return t.kind == Tok::Keyword && t.text == kw;
}

bool Parser::AcceptOp(const char* op) {
  if (!IsOp(op)) return false;
  Take();
  return true;
}

bool Parser::AcceptKw(const char* kw) {
  if (!IsKw(kw)) return false;
  Take();
  return true;
}

void Parser::ExpectOp(const char* op) {
  if (!AcceptOp(op)) Fail(Peek(), std::string("expected `") + op + "` but found " + Describe(Peek()));
}

void Parser::ExpectKw(const char* kw) {
  if (!AcceptKw(kw)) Fail(Peek(), std::string("expected `") + kw + "` but found " + Describe(Peek()));
}

std::string Parser::ExpectName() {
  if (Peek().kind != Tok::Name) Fail(Peek(), "expected a name but found " + Describe(Peek()));
  return Take().text;
}

void Parser::Fail(const Token& at, const std::string& what) {
  if (at.kind == Tok::Bad) throw SyntaxError(at.text, at.line, at.column, at.incomplete);
  throw SyntaxError(what, at.line, at.column, at.kind == Tok::End);
}

void Parser::Unexpected() { Fail(Peek(), "unexpected " + Describe(Peek())); }

ExprPtr Parser::Make(ExprKind kind, const Token& at) { return NewNode<Expr>(kind, at); }

StmtPtr Parser::Next() {
  while (AcceptOp(";") || AcceptOp(":")) {
  }
  if (Peek().kind == Tok::End) Unexpected();
  const size_t begin = Peek().offset;
  StmtPtr s = Statement();
  s->begin = begin;
  s->end = pos_ > 0 ? tokens_[pos_ - 1].end : begin;
  if (IsOp(";") || IsOp(":")) {
    s->end = Peek().end;
    s->show = Take().text == ";";
  } else if (Peek().kind == Tok::End && lenient_) {
    s->show = true;
  } else if (Peek().kind == Tok::End) {
    Fail(Peek(), "missing `;` or `:` at the end of the statement");
  } else {
    Fail(Peek(), "missing `;` or `:` before " + Describe(Peek()));
  }
  return s;
}

bool Parser::AtStatementEnd() const {
  const Token& t = Peek();
  if (t.kind == Tok::End) return true;
  if (t.kind == Tok::Op) return t.text == ";" || t.text == ":";
  if (t.kind != Tok::Keyword) return false;
  for (const char* w : {"end", "fi", "od", "else", "elif", "catch", "finally"})
    if (t.text == w) return true;
  return false;
}

StmtPtr Parser::NewStmt(StmtKind kind, const Token& at) { return NewNode<Stmt>(kind, at); }

StmtPtr Parser::Statement() {
  DepthGuard guard(*this);
  const Token& at = Peek();
  StmtPtr s = NewStmt(StmtKind::Expr, at);
  if (at.kind == Tok::Keyword) {
    const std::string& w = at.text;
    if (w == "if") return IfStatement(Take());
    if (w == "for") return ForStatement(Take());
    if (w == "while" || w == "do") return WhileStatement(at);
    if (w == "try") return TryStatement(Take());
    if (w == "return" || w == "error") {
      Take();
      s->kind = w == "return" ? StmtKind::Return : StmtKind::Error;
      if (!AtStatementEnd()) s->value = Sequence();
      if (s->kind == StmtKind::Error && !s->value) Fail(Peek(), "`error` needs a message");
      return s;
    }
    if (w == "read") {
      Take();
      s->kind = StmtKind::Read;
      if (AtStatementEnd()) Fail(Peek(), "`read` needs a file name");
      s->value = Sequence();
      return s;
    }
    if (w == "break" || w == "next" || w == "quit") {
      Take();
      s->kind = w == "break" ? StmtKind::Break : w == "next" ? StmtKind::Next : StmtKind::Quit;
      return s;
    }
  }
  ExprPtr lhs = Sequence();
  if (!AcceptOp(":=")) {
    s->kind = StmtKind::Expr;
    s->value = lhs;
    return s;
  }
  s->kind = StmtKind::Assign;
  s->targets = lhs->kind == ExprKind::Seq ? lhs->items : std::vector<ExprPtr>{lhs};
  for (const ExprPtr& t : s->targets) {
    if (t->kind != ExprKind::Name && t->kind != ExprKind::Index) {
      throw SyntaxError("only names and indexed names can be assigned to", t->line, t->column,
                        false);
    }
  }
  s->value = Sequence();
  return s;
}

// Statements up to (not including) one of the stop keywords; terminators
// between them, optional before the stop.
Block Parser::BlockUntil(std::initializer_list<const char*> stops) {
  Block block;
  for (;;) {
    while (AcceptOp(";") || AcceptOp(":")) {
    }
    for (const char* w : stops)
      if (IsKw(w)) return block;
    if (Peek().kind == Tok::End) Unexpected();
    StmtPtr s = Statement();
    if (IsOp(";") || IsOp(":")) {
      s->show = Take().text == ";";
    } else if (Peek().kind == Tok::End) {
      Unexpected();
    } else {
      bool at_stop = false;
      for (const char* w : stops) at_stop = at_stop || IsKw(w);
      if (!at_stop) Fail(Peek(), "missing `;` or `:` before " + Describe(Peek()));
    }
    block.push_back(s);
  }
}

void Parser::CloseBlock(const char* word) {
  if (std::strcmp(word, "if") == 0 && AcceptKw("fi")) return;
  if (std::strcmp(word, "do") == 0 && AcceptKw("od")) return;
  ExpectKw("end");
  AcceptKw(word);
}

StmtPtr Parser::IfStatement(const Token& at) {
  StmtPtr s = NewStmt(StmtKind::If, at);
  do {
    s->conds.push_back(Sequence());
    ExpectKw("then");
    s->blocks.push_back(BlockUntil({"elif", "else", "end", "fi"}));
  } while (AcceptKw("elif"));
  if (AcceptKw("else")) s->else_block = BlockUntil({"end", "fi"});
  CloseBlock("if");
  return s;
}

StmtPtr Parser::ForStatement(const Token& at) {
  StmtPtr s = NewStmt(StmtKind::For, at);
  s->var = ExpectName();
  s->var_name = host::Name(s->var);
  if (AcceptKw("in")) {
    s->over = Sequence();
  } else {
    // from, by and to come in any order, each at most once.
    for (;;) {
      ExprPtr* slot = IsKw("from") ? &s->start : IsKw("by") ? &s->step : IsKw("to") ? &s->stop : nullptr;
      if (!slot) break;
      if (*slot) Fail(Peek(), "`" + Peek().text + "` given twice");
      Take();
      *slot = Sequence();
    }
  }
  return LoopTail(s);
}

// [while cond] do body end do: the part every loop ends with.
StmtPtr Parser::LoopTail(StmtPtr s) {
  if (AcceptKw("while")) s->cond = Sequence();
  ExpectKw("do");
  s->body = BlockUntil({"end", "od"});
  CloseBlock("do");
  return s;
}

// while cond do ... end do, or a bare do ... end do that runs until break.
StmtPtr Parser::WhileStatement(const Token& at) {
  StmtPtr s = NewStmt(StmtKind::While, at);
  return LoopTail(s);
}

// try body [catch[:] handler] [finally final] end [try]
StmtPtr Parser::TryStatement(const Token& at) {
  StmtPtr s = NewStmt(StmtKind::Try, at);
  s->body = BlockUntil({"catch", "finally", "end"});
  if (AcceptKw("catch")) {
    s->has_catch = true;
    AcceptOp(":");
    s->handler = BlockUntil({"finally", "end"});
  }
  if (AcceptKw("finally")) s->final = BlockUntil({"end"});
  CloseBlock("try");
  return s;
}

}  // namespace quarn::shell
