// Statement-at-a-time execution of quarn source; see session.h.
#include "shell/session.h"

#include "shell/eval.h"
#include "shell/output.h"
#include "shell/parser.h"

namespace quarn::shell {

void InitShell() {
  static bool done = false;
  if (done) return;
  done = true;
  host::Initialize();
  RegisterShellBuiltins();
  RegisterRTableBuiltins();
}

std::string ErrorLine(const std::exception& e) {
  if (auto* entry = dynamic_cast<const EntryError*>(&e)) {
    // A message that starts with its own "Error: " is shown without it, so
    // that the line does not say Error twice; lasterror keeps the whole text.
    std::string message = entry->message();
    if (message.rfind("Error: ", 0) == 0) message.erase(0, 7);
    return "Error, (in " + entry->entry() + ") " + message;
  }
  if (auto* syntax = dynamic_cast<const SyntaxError*>(&e)) {
    return "Error, syntax error at line " + std::to_string(syntax->line) + ", column " +
           std::to_string(syntax->column) + ": " + syntax->what();
  }
  if (dynamic_cast<const host::Error*>(&e)) return std::string("Error, ") + e.what();
  return std::string("Error, internal failure: ") + e.what();
}

bool Session::IsComplete(const std::string& source) {
  try {
    Parser p(source, true);
    while (!p.AtEnd()) p.Next();
  } catch (const SyntaxError& e) {
    return !e.incomplete;
  }
  return true;
}

void Session::Execute(const Stmt& s) {
  ExecContext ctx;
  ctx.echo = true;
  ctx.show = [](HostObject v) {
    if (host::KindOf(v) == host::Kind::ExpSeq && host::Elements(v).empty()) return;
    WriteLine(host::Print(v));
  };
  Flow f = Exec(s, nullptr, ctx);
  if (ctx.result && (s.kind == StmtKind::Expr || s.kind == StmtKind::Assign)) SetLastResult(ctx.result);
  switch (f) {
    case Flow::Quit:
      quit_ = true;
      break;
    case Flow::Break:
    case Flow::Next:
      host::Raise("break or next outside a loop");
    case Flow::Return:
      host::Raise("return outside a procedure");
    case Flow::Normal:
      break;
  }
}

bool Session::Run(const std::string& source, bool lenient) {
  bool ok = true;
  Parser parser(source, lenient);
  while (!quit_ && !parser.AtEnd()) {
    StmtPtr s;
    try {
      s = parser.Next();
    } catch (const SyntaxError& e) {
      WriteError(ErrorLine(e));
      return false;
    }
    try {
      Execute(*s);
    } catch (const std::exception& e) {
      WriteError(ErrorLine(e));
      ok = false;
    }
  }
  return ok;
}

}  // namespace quarn::shell
