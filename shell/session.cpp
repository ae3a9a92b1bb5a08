// Statement-at-a-time execution of quarn source; see session.h.
#include "shell/session.h"

#include <fstream>
#include <sstream>

#include "shell/eval.h"
#include "shell/output.h"
#include "shell/parser.h"

namespace quarn::shell {

namespace {

// read statements within read files, at most this deep (a file that reads
// itself must stop with an error, not exhaust the stack).
constexpr int kMaxReadDepth = 20;
int g_read_depth = 0;

bool OnlySpace(const std::string& s) { return s.find_first_not_of(" \t\r") == std::string::npos; }

// The source of a statement as a worksheet shows it: the comments and blank
// lines before it as they are, its code lines after a "> " prompt.
void EchoSource(const std::string& text, bool first) {
  std::istringstream in(text);
  std::string line, out;
  bool started = !first, blank_before = false;
  // The rest of the previous statement's line comes first: not a blank line.
  bool rest_of_line = !first;
  while (std::getline(in, line)) {
    if (OnlySpace(line)) {
      if (!rest_of_line) blank_before = started;
      rest_of_line = false;
      continue;
    }
    rest_of_line = false;
    if (blank_before) out += "\n";
    blank_before = false;
    size_t first = line.find_first_not_of(" \t");
    out += (line[first] == '#' ? line : "> " + line) + "\n";
    started = true;
  }
  if (!out.empty()) {
    out.pop_back();
    WriteLine(out);
  }
}

// Where a statement's echoed text ends: after its terminator, the rest of
// the line when that is only a comment.
size_t EchoEnd(const std::string& source, size_t end) {
  size_t p = end;
  while (p < source.size() && (source[p] == ' ' || source[p] == '\t')) ++p;
  if (p < source.size() && source[p] == '#') {
    size_t nl = source.find('\n', p);
    return nl == std::string::npos ? source.size() : nl;
  }
  return end;
}

}  // namespace

void InitShell() {
  static bool done = false;
  if (done) return;
  done = true;
  host::Initialize();
  RegisterShellBuiltins();
  RegisterRTableBuiltins();
  RegisterFormatBuiltins();
  RegisterNumberBuiltins();
  RegisterRTableOps();
  RegisterDataBuiltins();
  RegisterPlotBuiltins();
  RegisterHelp();
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
  const bool two_d = display_ == Display::TwoDimensional;
  ctx.show = [two_d](HostObject v) {
    if (host::KindOf(v) == host::Kind::ExpSeq && host::Elements(v).empty()) return;
    WriteLine(two_d ? DisplayForm(v) : host::Print(v));
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
  size_t echoed = 0;
  while (!quit_ && !parser.AtEnd()) {
    StmtPtr s;
    try {
      s = parser.Next();
    } catch (const SyntaxError& e) {
      WriteError(ErrorLine(e));
      return false;
    }
    if (echo_source_) {
      size_t end = EchoEnd(source, s->end);
      EchoSource(source.substr(echoed, end - echoed), echoed == 0);
      echoed = end;
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

Flow ReadStatement(const Stmt& s, const EnvPtr&, ExecContext& ctx) {
  HostObject file = Eval(*s.value, nullptr);
  if (host::KindOf(file) != host::Kind::String) host::Raise("read expects a file name as a string, received: %1", file);
  const std::string path = host::StringText(file);
  std::ifstream in(path, std::ios::binary);
  if (!in) host::Raise("read: cannot open %1", file);
  std::ostringstream text;
  text << in.rdbuf();
  if (g_read_depth >= kMaxReadDepth) host::Raise("read: files nested more than 20 deep at %1", file);
  struct Depth {
    Depth() { ++g_read_depth; }
    ~Depth() { --g_read_depth; }
  } depth;
  // The file's statements run in the global frame, showing their results
  // when both they and the read statement end in ';'.
  ExecContext inner;
  inner.echo = ctx.echo && s.show;
  inner.show = ctx.show;
  Parser parser(text.str(), true);
  while (!parser.AtEnd()) {
    StmtPtr st;
    try {
      st = parser.Next();
    } catch (const SyntaxError& e) {
      host::Raise("read " + path + ": syntax error at line " + std::to_string(e.line) + ", column " +
                  std::to_string(e.column) + ": " + e.what());
    }
    Flow f = Exec(*st, nullptr, inner);
    if (f == Flow::Quit) return f;
    if (f == Flow::Return) break;
    if (f != Flow::Normal) host::Raise("break or next outside a loop");
  }
  ctx.result = inner.result;
  return Flow::Normal;
}

}  // namespace quarn::shell
