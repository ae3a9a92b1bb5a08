// Shell procedures: a definition plus the frame it was made in, turned into
// a host procedure whose native function runs the body. The host object
// carries only an integer handle into the closure list below, which lives in
// collector-scanned memory (operator new), so the frames it keeps stay alive.
#include <sys/resource.h>

#include <cstdint>
#include <map>

#include "shell/eval.h"

namespace quarn::shell {

namespace {

struct Closure {
  std::shared_ptr<ProcDef> def;
  EnvPtr env;
};

std::vector<Closure>& Closures() {
  static auto* closures = new std::vector<Closure>;
  return *closures;
}

// Definitions evaluated in the global frame always give the same procedure,
// so a top-level loop that defines one does not pile up closures.
std::map<const ProcDef*, HostObject>& TopLevelProcs() {
  static auto* procs = new std::map<const ProcDef*, HostObject>;
  return *procs;
}

// Deep recursion in shell procedures would overflow the C++ stack; calls
// are refused once the stack in use approaches its limit.
uintptr_t g_stack_base = 0;
size_t g_stack_budget = 0;

void InitStackBudget() {
  char here;
  g_stack_base = reinterpret_cast<uintptr_t>(&here) + 4096;
  rlimit rl{};
  size_t limit = 8u << 20;
  if (getrlimit(RLIMIT_STACK, &rl) == 0 && rl.rlim_cur != RLIM_INFINITY) limit = rl.rlim_cur;
  limit = std::min<size_t>(limit, size_t{256} << 20);
  // Keep a margin for the library's and the host's frames below the last
  // shell call.
  g_stack_budget = limit > (size_t{2} << 20) ? limit - (size_t{3} << 19) : limit / 2;
}

void CheckStack() {
  char here;
  uintptr_t now = reinterpret_cast<uintptr_t>(&here);
  if (g_stack_base == 0) InitStackBudget();
  size_t used = g_stack_base > now ? g_stack_base - now : 0;
  if (used > g_stack_budget) host::Raise("too many levels of recursion");
}

// Digits is an environment variable: a procedure may change it for its own
// work, and the caller's value comes back when the procedure returns or
// raises.
class RestoreDigits {
 public:
  RestoreDigits() : digits_(host::WorkingDigits()) {}
  ~RestoreDigits() {
    if (host::WorkingDigits() != digits_) host::SetDigits(digits_);
  }
  RestoreDigits(const RestoreDigits&) = delete;
  RestoreDigits& operator=(const RestoreDigits&) = delete;

 private:
  long digits_;
};

HostObject RunShellProcedure(QKernel, HostObject data, HostObject args) {
  CheckInterrupt();
  CheckStack();
  long index = -1;
  if (!host::IntegerToLong(data, &index) || index < 0 || static_cast<size_t>(index) >= Closures().size()) {
    host::Raise("invalid shell procedure");
  }
  // A copy: the list may grow (and move) while the body runs.
  const Closure c = Closures()[static_cast<size_t>(index)];
  auto frame = std::make_shared<Env>();
  frame->parent = c.env;
  frame->globals = c.def->globals;
  std::vector<HostObject> a = ArgsOf(args);
  frame->vars["nargs"] = host::MakeInteger(static_cast<long>(a.size()));
  frame->vars["args"] = host::MakeSeq(a);
  for (size_t i = 0; i < c.def->params.size(); ++i) {
    frame->vars[c.def->params[i]] = i < a.size() ? a[i] : nullptr;
  }
  for (const std::string& name : c.def->locals) frame->vars[name] = nullptr;
  RestoreDigits restore;
  ExecContext ctx;
  ExecBlock(c.def->body, frame, ctx);
  return ctx.result ? ctx.result : host::Null();
}

}  // namespace

HostObject MakeShellProcedure(const std::shared_ptr<ProcDef>& def, const EnvPtr& env) {
  if (!env) {
    auto it = TopLevelProcs().find(def.get());
    if (it != TopLevelProcs().end()) return it->second;
  }
  Closures().push_back(Closure{def, env});
  HostObject handle = host::MakeInteger(static_cast<long>(Closures().size() - 1));
  HostObject proc = host::MakeProcedure(RunShellProcedure, handle, def->text);
  if (!env) TopLevelProcs()[def.get()] = proc;
  return proc;
}

std::vector<HostObject> ArgsOf(HostObject seq) {
  if (host::KindOf(seq) == host::Kind::ExpSeq) return host::Elements(seq);
  return {seq};
}

void MarkStackBase() { InitStackBudget(); }

}  // namespace quarn::shell
