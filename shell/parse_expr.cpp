// Expressions of the quarn parser, loosest binding first:
//   a, b      sequence
//   ->        procedure (right associative)
//   or, and, not
//   = <> < <= > >=   (at most one per operand pair)
//   ..        range
//   + -, then * / . (the product of rtables), then unary - +, then ^ (right associative)
//   f(...) a[...]    calls and indexing
#include "shell/parser.h"
#include "shell/parser_internal.h"

namespace quarn::shell {

ExprPtr Parser::Sequence() {
  const Token at = Peek();
  ExprPtr first = Arrow();
  if (!IsOp(",")) return first;
  ExprPtr seq = Make(ExprKind::Seq, at);
  seq->items.push_back(first);
  while (AcceptOp(",")) seq->items.push_back(Arrow());
  return seq;
}

// params -> body, where params is a name or a parenthesised sequence of
// names (possibly empty).
ExprPtr Parser::Arrow() {
  DepthGuard guard(*this);
  const Token at = Peek();
  ExprPtr lhs = Or();
  if (!IsOp("->")) return lhs;
  Take();
  auto def = std::make_shared<ProcDef>();
  if (lhs->kind == ExprKind::Name) {
    def->params.push_back(lhs->text);
  } else if (lhs->kind == ExprKind::Seq) {
    for (const ExprPtr& p : lhs->items) {
      if (p->kind != ExprKind::Name) {
        throw SyntaxError("the parameters before `->` must be names", p->line, p->column, false);
      }
      def->params.push_back(p->text);
    }
  } else {
    throw SyntaxError("the parameters before `->` must be names", lhs->line, lhs->column, false);
  }
  ExprPtr body = Arrow();
  auto ret = std::make_shared<Stmt>();
  ret->kind = StmtKind::Return;
  ret->line = body->line;
  ret->column = body->column;
  ret->value = body;
  def->body.push_back(ret);
  size_t end = pos_ > 0 ? tokens_[pos_ - 1].end : at.offset;
  def->text = source_.substr(at.offset, end - at.offset);
  ExprPtr e = Make(ExprKind::Proc, at);
  e->proc = def;
  return e;
}

// Operands of the next level joined by any of the operators, left to right.
ExprPtr Parser::LeftAssociative(std::initializer_list<std::pair<const char*, ExprKind>> ops, Level next) {
  ExprPtr e = (this->*next)();
  for (;;) {
    const std::pair<const char*, ExprKind>* found = nullptr;
    for (const auto& op : ops)
      if ((IsOp(op.first) || IsKw(op.first)) && !found) found = &op;
    if (!found) return e;
    ExprPtr node = Make(found->second, Take());
    node->a = e;
    node->b = (this->*next)();
    e = node;
  }
}

ExprPtr Parser::Or() { return LeftAssociative({{"or", ExprKind::Or}}, &Parser::And); }

ExprPtr Parser::And() { return LeftAssociative({{"and", ExprKind::And}}, &Parser::Not); }

ExprPtr Parser::Not() {
  if (!IsKw("not")) return Relation();
  DepthGuard guard(*this);
  ExprPtr e = Make(ExprKind::Not, Take());
  e->a = Not();
  return e;
}

ExprPtr Parser::Relation() {
  ExprPtr e = RangeExpr();
  static const std::pair<const char*, ExprKind> kRelations[] = {
      {"=", ExprKind::Eq},  {"<>", ExprKind::Ne}, {"<", ExprKind::Lt},
      {"<=", ExprKind::Le}, {">", ExprKind::Gt},  {">=", ExprKind::Ge},
  };
  for (const auto& [op, kind] : kRelations) {
    if (!IsOp(op)) continue;
    ExprPtr r = Make(kind, Take());
    r->a = e;
    r->b = RangeExpr();
    for (const auto& [op2, kind2] : kRelations) {
      if (IsOp(op2)) Fail(Peek(), "relations do not chain: parenthesise `" + std::string(op2) + "`");
    }
    return r;
  }
  return e;
}

ExprPtr Parser::RangeExpr() {
  ExprPtr e = Sum();
  if (!IsOp("..")) return e;
  ExprPtr r = Make(ExprKind::Range, Take());
  r->a = e;
  r->b = Sum();
  return r;
}

ExprPtr Parser::Sum() {
  return LeftAssociative({{"+", ExprKind::Add}, {"-", ExprKind::Sub}}, &Parser::Product);
}

ExprPtr Parser::Product() {
  return LeftAssociative({{"*", ExprKind::Mul}, {"/", ExprKind::Div}, {".", ExprKind::Dot}}, &Parser::Unary);
}

// Unary minus binds looser than ^: -2^2 is -(2^2).
ExprPtr Parser::Unary() {
  if (!IsOp("-") && !IsOp("+")) return Power();
  DepthGuard guard(*this);
  const Token t = Take();
  ExprPtr operand = Unary();
  if (t.text == "+") return operand;
  ExprPtr e = Make(ExprKind::Neg, t);
  e->a = operand;
  return e;
}

ExprPtr Parser::Power() {
  ExprPtr base = Postfix();
  if (!IsOp("^")) return base;
  DepthGuard guard(*this);
  ExprPtr e = Make(ExprKind::Pow, Take());
  e->a = base;
  e->b = Unary();  // right associative, and 2^-1 is allowed
  return e;
}

ExprPtr Parser::Postfix() {
  ExprPtr e = Primary();
  while (IsOp("(") || IsOp("[")) {
    DepthGuard guard(*this);
    const Token t = Take();
    bool call = t.text == "(";
    ExprPtr op = Make(call ? ExprKind::Call : ExprKind::Index, t);
    op->a = e;
    op->items = Items(call ? ")" : "]");
    if (!call && op->items.empty()) Fail(t, "an index needs at least one entry");
    e = op;
  }
  return e;
}

// Comma-separated expressions up to the closing bracket, which is taken.
std::vector<ExprPtr> Parser::Items(const char* close) {
  std::vector<ExprPtr> items;
  if (AcceptOp(close)) return items;
  do {
    items.push_back(Arrow());
  } while (AcceptOp(","));
  ExpectOp(close);
  return items;
}

ExprPtr Parser::Primary() {
  const Token& t = Peek();
  switch (t.kind) {
    case Tok::Integer:
    case Tok::Float:
    case Tok::String:
    case Tok::Name: {
      ExprKind k = t.kind == Tok::Integer ? ExprKind::Integer
                   : t.kind == Tok::Float ? ExprKind::Float
                   : t.kind == Tok::String ? ExprKind::String
                                           : ExprKind::Name;
      ExprPtr e = Make(k, t);
      e->text = Take().text;
      if (k == ExprKind::Name) e->name = host::Name(e->text);
      return e;
    }
    case Tok::Keyword:
      if (t.text == "NULL") return Make(ExprKind::Null, Take());
      if (t.text == "true") return Make(ExprKind::True, Take());
      if (t.text == "false") return Make(ExprKind::False, Take());
      if (t.text == "proc") return ProcExpr(Take());
      break;
    case Tok::Op:
      if (t.text == "%") return Make(ExprKind::Last, Take());
      if (t.text == "(" || t.text == "[") {
        DepthGuard guard(*this);
        const Token open = Take();
        bool paren = open.text == "(";
        ExprPtr e = Make(paren ? ExprKind::Seq : ExprKind::List, open);
        e->items = Items(paren ? ")" : "]");
        if (paren && e->items.size() == 1) return e->items[0];
        return e;
      }
      if (t.text == "'") {
        DepthGuard guard(*this);
        ExprPtr e = Make(ExprKind::Quote, Take());
        e->a = Arrow();
        ExpectOp("'");
        return e;
      }
      break;
    default:
      break;
  }
  Unexpected();
}

// proc (params) [local names;] [global names;] statements end [proc]
ExprPtr Parser::ProcExpr(const Token& at) {
  DepthGuard guard(*this);
  auto def = std::make_shared<ProcDef>();
  ExpectOp("(");
  if (!AcceptOp(")")) {
    do {
      def->params.push_back(ExpectName());
    } while (AcceptOp(","));
    ExpectOp(")");
  }
  AcceptOp(";");
  while (IsKw("local") || IsKw("global")) {
    bool local = Take().text == "local";
    do {
      (local ? def->locals : def->globals).push_back(ExpectName());
    } while (AcceptOp(","));
    if (!AcceptOp(";")) ExpectOp(":");
  }
  def->body = BlockUntil({"end"});
  CloseBlock("proc");
  def->text = source_.substr(at.offset, tokens_[pos_ - 1].end - at.offset);
  ExprPtr e = Make(ExprKind::Proc, at);
  e->proc = def;
  return e;
}

}  // namespace quarn::shell
