// Syntax trees of the quarn language. The parser builds them; the evaluator
// walks them. Nodes are shared: a procedure value keeps its definition alive
// after the statement that made it is gone.
#ifndef QUARN_SHELL_AST_H
#define QUARN_SHELL_AST_H

#include <memory>
#include <string>
#include <vector>

#include "platform/host/quarnc.h"

namespace quarn::shell {

struct Expr;
struct Stmt;
using ExprPtr = std::shared_ptr<Expr>;
using StmtPtr = std::shared_ptr<Stmt>;
using Block = std::vector<StmtPtr>;

enum class ExprKind {
  Integer, Float, String, Name,  // literals and names; text holds the spelling
  Null, True, False, Last,       // NULL, true, false, % (the last result)
  Quote,                         // 'a': a held unevaluated once
  Neg, Not,                      // unary: a
  Add, Sub, Mul, Div, Pow, Dot,  // binary: a, b (Dot: the product a . b)
  And, Or,
  Eq, Ne, Lt, Le, Gt, Ge,        // relations
  Range,                         // a..b
  Seq,                           // items, from commas or parentheses
  List,                          // [items]
  Call,                          // a(items)
  Index,                         // a[items]
  Proc,                          // proc (params) ... end, or params -> body
};

struct ProcDef {
  std::vector<std::string> params;
  std::vector<std::string> locals;
  std::vector<std::string> globals;
  Block body;
  std::string text;    // the definition as written, for printing
};

struct Expr {
  ExprKind kind;
  int line = 0, column = 0;
  std::string text;
  ExprPtr a, b;
  std::vector<ExprPtr> items;
  std::shared_ptr<ProcDef> proc;
  // Names are bound to their host name when parsed, so that evaluation reads
  // the name's value slot without looking its text up.
  HostObject name = nullptr;
  // A literal's value, made when first evaluated: an integer once, a float
  // again whenever Digits has changed since (literal_digits). Nodes live in
  // memory the collector scans, which keeps the value alive.
  mutable HostObject literal = nullptr;
  mutable long literal_digits = 0;
};

enum class StmtKind {
  Expr,      // value
  Assign,    // targets := value
  If,        // conds[i] then blocks[i]; else_block
  For,       // var from/to/by/in/while do body
  While,     // cond do body
  Return,    // value may be null (returns NULL)
  Break, Next,
  Error,     // value: the message and its objects
  Try,       // try body [catch: handler] [finally: final] end try
  Quit,
  Read,      // read value: runs the statements of the file value names
};

struct Stmt {
  StmtKind kind;
  int line = 0, column = 0;
  size_t begin = 0, end = 0;   // top-level statements: source bytes, terminator included
  bool show = true;            // ended by ';' (show the result) rather than ':'
  ExprPtr value;
  std::vector<ExprPtr> targets;
  std::vector<ExprPtr> conds;
  std::vector<Block> blocks;
  Block else_block;
  // For loops: for var [from start] [by step] [to stop] [while cond] do body,
  // or for var in over [while cond] do body.
  std::string var;
  HostObject var_name = nullptr;  // var's host name, bound when parsed
  ExprPtr start, step, stop, over, cond;
  Block body;
  // Try: body, then handler when it raised (has_catch), then final always.
  bool has_catch = false;
  Block handler, final;
};

}  // namespace quarn::shell

#endif
