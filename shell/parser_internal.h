// Helpers shared by the two halves of the parser.
#ifndef QUARN_SHELL_PARSER_INTERNAL_H
#define QUARN_SHELL_PARSER_INTERNAL_H

#include "platform/host/host.h"
#include "shell/parser.h"

namespace quarn::shell {

// Nesting deeper than this is refused with a syntax error, so that no input
// can exhaust the stack of the recursive descent.
constexpr int kMaxNesting = 200;

// A syntax-tree node of the given kind placed at the token.
template <class Node, class Kind>
std::shared_ptr<Node> NewNode(Kind kind, const Token& at) {
  auto n = std::make_shared<Node>();
  n->kind = kind;
  n->line = at.line;
  n->column = at.column;
  return n;
}

class DepthGuard {
 public:
  explicit DepthGuard(Parser& p) : p_(p) {
    if (++p_.depth_ > kMaxNesting) {
      const Token& t = p_.Peek();
      --p_.depth_;
      throw SyntaxError("input nested too deeply", t.line, t.column, false);
    }
  }
  ~DepthGuard() { --p_.depth_; }
  DepthGuard(const DepthGuard&) = delete;
  DepthGuard& operator=(const DepthGuard&) = delete;

 private:
  Parser& p_;
};

}  // namespace quarn::shell

#endif
