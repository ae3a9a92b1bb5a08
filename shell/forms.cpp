// Special forms: calls whose arguments are not evaluated first.
//   seq(e, i = a..b), seq(e, i = c)   the values of e, as a sequence
//   add(...), mul(...)                their sum and product, same forms
//   assigned(x), assigned(t[k])       whether a name or entry has a value
//   help(name)                        the reference page of name (help.cpp)
//   plot(e, x = a..b), plot(...)      a picture through gnuplot (plot.cpp)
// The index variable is bound like a loop variable and gets its previous
// value back afterwards.
#include "shell/eval.h"

namespace quarn::shell {

namespace {

enum class Fold { Seq, Add, Mul };

// Puts the index variable back as it was, on every way out.
class RestoreVar {
 public:
  RestoreVar(const std::string& name, const EnvPtr& env)
      : name_(name), env_(env), saved_(BoundValue(name, env)) {}
  ~RestoreVar() {
    try {
      AssignVar(name_, saved_ ? saved_ : host::Name(name_), env_);
    } catch (const host::Error&) {
      // A value that was assignable before stays assignable: nothing to do.
    }
  }
  RestoreVar(const RestoreVar&) = delete;
  RestoreVar& operator=(const RestoreVar&) = delete;

 private:
  std::string name_;
  EnvPtr env_;
  HostObject saved_;
};

HostObject Folded(const char* name, Fold fold, const Expr& call, const EnvPtr& env) {
  if (call.items.size() != 2) {
    RaiseArity(name, "2 arguments, an expression and index = range or container",
               EvalItems(call.items, env, false));
  }
  const Expr& spec = *call.items[1];
  if (spec.kind != ExprKind::Eq || spec.a->kind != ExprKind::Name) {
    host::Raise(std::string(name) + " expects its second argument to be name = range or name = container");
  }
  const std::string& var = spec.a->text;
  HostObject domain = Eval(*spec.b, env);
  std::vector<HostObject> out;
  HostObject total = host::MakeInteger(fold == Fold::Mul ? 1 : 0);
  RestoreVar restore(var, env);
  auto visit = [&](HostObject x) {
    CheckInterrupt();
    AssignVar(var, x, env);
    HostObject v = Eval(*call.items[0], env);
    if (fold == Fold::Seq) {
      for (HostObject e : ArgsOf(v)) out.push_back(e);
    } else {
      total = fold == Fold::Add ? host::Add(total, v) : host::Mul(total, v);
    }
  };
  if (host::KindOf(domain) == host::Kind::Range) {
    HostObject hi = host::Slot(domain, 2);
    for (HostObject i = host::Slot(domain, 1); host::Compare(i, hi) <= 0; i = host::Add(i, host::MakeInteger(1)))
      visit(i);
  } else {
    for (HostObject x : ForInElements(domain)) visit(x);
  }
  return fold == Fold::Seq ? host::MakeSeq(out) : total;
}

}  // namespace

bool CallSpecialForm(const std::string& name, const Expr& call, const EnvPtr& env, HostObject* result) {
  if (name == "seq") {
    *result = Folded("seq", Fold::Seq, call, env);
  } else if (name == "add") {
    *result = Folded("add", Fold::Add, call, env);
  } else if (name == "mul") {
    *result = Folded("mul", Fold::Mul, call, env);
  } else if (name == "help") {
    *result = Help(call, env);
  } else if (name == "plot") {
    *result = Plot(call, env);
  } else if (name == "assigned") {
    if (call.items.size() != 1) RaiseArity("assigned", "1 argument", EvalItems(call.items, env, false));
    const Expr& x = *call.items[0];
    bool yes;
    if (x.kind == ExprKind::Name) {
      yes = BoundValue(x.text, env) != nullptr;
    } else if (x.kind == ExprKind::Index) {
      yes = IsIndexAssigned(x, env);
    } else {
      host::Raise("assigned expects a name or an indexed name");
    }
    *result = yes ? host::True() : host::False();
  } else {
    return false;
  }
  return true;
}

}  // namespace quarn::shell
