// Names and statements: lookup through procedure frames to the host's
// globals, assignment, conditionals and loops.
#include <algorithm>

#include "shell/eval.h"

namespace quarn::shell {

namespace {

// Assigned names evaluate fully: after a := b; b := 3, a is 3. A chain this
// long is a cycle (a := b; b := a).
constexpr int kMaxNameChain = 100;

bool DeclaredGlobal(const Env& e, const std::string& name) {
  return std::find(e.globals.begin(), e.globals.end(), name) != e.globals.end();
}

// The slot binding the name in a procedure frame, or null when the name is
// global here. Valid until that frame gains or loses a name.
HostObject* BindingSlot(const std::string& name, const EnvPtr& env) {
  for (Env* e = env.get(); e; e = e->parent.get()) {
    if (DeclaredGlobal(*e, name)) return nullptr;
    auto it = e->vars.find(name);
    if (it != e->vars.end()) return &it->second;
  }
  return nullptr;
}

// Environment variables of the host stay global in every procedure.
bool IsEnvironmentName(const std::string& name) { return name == "Digits" || name.rfind("_Env", 0) == 0; }

bool GlobalInScope(const std::string& name, const EnvPtr& env) {
  if (IsEnvironmentName(name)) return true;
  for (Env* e = env.get(); e; e = e->parent.get())
    if (DeclaredGlobal(*e, name)) return true;
  return false;
}

HostObject LookupGlobal(const std::string& name) {
  HostObject n = host::Name(name);
  for (int hops = 0; hops < kMaxNameChain; ++hops) {
    HostObject v = host::NameValue(n);
    if (!v) {
      const std::string& text = host::NameText(n);
      if (HostObject b = BuiltinProcedure(text)) return b;
      if (HostObject p = EntryProcedure(text)) return p;
      // I is the imaginary unit unless assigned otherwise.
      if (text == "I") return host::MakeComplex(host::MakeInteger(0), host::MakeInteger(1));
      return n;
    }
    if (host::KindOf(v) != host::Kind::Name) return v;
    n = v;
  }
  host::Raise("too many levels of name evaluation for %1", host::Name(name));
}

}  // namespace

std::vector<HostObject> ForInElements(HostObject coll) {
  switch (host::KindOf(coll)) {
    case host::Kind::List:
    case host::Kind::ExpSeq:
      return host::Elements(coll);
    case host::Kind::Table: {
      std::vector<HostObject> values;
      for (const auto& [key, value] : host::TableEntries(coll)) values.push_back(value);
      return values;
    }
    case host::Kind::RTable:
      return AllElements(coll);
    default:
      return {coll};
  }
}

namespace {

// name := value for a name bound when parsed (name is the host name of text,
// or null when the node was made otherwise). Outside procedures that is the
// global's value slot; names are unique, so name := 'name' unassigns.
void AssignBound(HostObject name, const std::string& text, HostObject value, const EnvPtr& env) {
  if (env || !name) {
    AssignVar(text, value, env);
    return;
  }
  host::AssignName(name, value == name ? nullptr : value);
}

// Runs a loop body; returns true when the loop must stop, with *out set to
// the flow to report (Normal after a break).
bool Body(const Stmt& s, const EnvPtr& env, ExecContext& ctx, Flow* out) {
  CheckInterrupt();
  Flow f = ExecBlock(s.body, env, ctx);
  if (f == Flow::Break) {
    *out = Flow::Normal;
    return true;
  }
  if (f == Flow::Return || f == Flow::Quit) {
    *out = f;
    return true;
  }
  return false;
}

Flow ForLoop(const Stmt& s, const EnvPtr& env, ExecContext& ctx) {
  Flow out = Flow::Normal;
  if (s.over) {
    for (HostObject x : ForInElements(Eval(*s.over, env))) {
      AssignBound(s.var_name, s.var, x, env);
      if (s.cond && !Truth(*s.cond, env)) break;
      if (Body(s, env, ctx, &out)) break;
    }
    return out;
  }
  HostObject i = s.start ? Eval(*s.start, env) : host::MakeInteger(1);
  HostObject step = s.step ? Eval(*s.step, env) : host::MakeInteger(1);
  HostObject stop = s.stop ? Eval(*s.stop, env) : nullptr;
  int direction = host::Compare(step, host::MakeInteger(0));
  if (direction == 0) host::Raise("the step of a for loop must not be 0");
  for (;;) {
    if (stop && host::Compare(i, stop) * direction > 0) break;
    AssignBound(s.var_name, s.var, i, env);
    if (s.cond && !Truth(*s.cond, env)) break;
    if (Body(s, env, ctx, &out)) break;
    i = host::Add(i, step);
  }
  return out;
}

// try/catch/finally. The handler sees the message in the global lasterror,
// prefixed by "(in QuarnX) " when the error left an entry. Interrupts are
// not caught.
Flow TryCatch(const Stmt& s, const EnvPtr& env, ExecContext& ctx) {
  // The finally block runs for its effects: the value of the statement
  // stays that of the body or handler.
  auto finally = [&]() {
    HostObject kept = ctx.result;
    Flow g = ExecBlock(s.final, env, ctx);
    ctx.result = kept;
    return g;
  };
  Flow f = Flow::Normal;
  try {
    f = ExecBlock(s.body, env, ctx);
  } catch (const InterruptError&) {
    finally();
    throw;
  } catch (const host::Error& e) {
    if (!s.has_catch) {
      finally();
      throw;
    }
    auto* entry = dynamic_cast<const EntryError*>(&e);
    std::string text = entry ? "(in " + entry->entry() + ") " + e.message() : e.message();
    host::AssignName(host::Name("lasterror"), host::MakeString(text));
    try {
      f = ExecBlock(s.handler, env, ctx);
    } catch (...) {
      finally();
      throw;
    }
  }
  Flow g = finally();
  return g != Flow::Normal ? g : f;
}

void Assign(const Expr& target, HostObject value, const EnvPtr& env) {
  if (target.kind == ExprKind::Name) {
    AssignBound(target.name, target.text, value, env);
  } else {
    AssignIndexed(target, value, env);
  }
}

}  // namespace

HostObject BoundValue(const std::string& name, const EnvPtr& env) {
  if (HostObject* slot = BindingSlot(name, env)) return *slot;
  return host::NameValue(host::Name(name));
}

HostObject LookupName(const std::string& name, const EnvPtr& env) {
  if (HostObject* slot = BindingSlot(name, env)) {
    HostObject v = *slot;
    if (!v) return host::Name(name);
    if (host::KindOf(v) == host::Kind::Name) return LookupGlobal(host::NameText(v));
    return v;
  }
  return LookupGlobal(name);
}

// x := 'x' unassigns x. Inside a procedure, a name neither bound in an
// enclosing frame nor declared global becomes a local of the current frame;
// Digits and the _Env variables are always global.
void AssignVar(const std::string& name, HostObject value, const EnvPtr& env) {
  bool unassign = host::KindOf(value) == host::Kind::Name && host::NameText(value) == name;
  if (HostObject* slot = BindingSlot(name, env)) {
    *slot = unassign ? nullptr : value;
    return;
  }
  if (env && !GlobalInScope(name, env)) {
    env->vars[name] = unassign ? nullptr : value;
    return;
  }
  host::AssignName(host::Name(name), unassign ? nullptr : value);
}

Flow ExecBlock(const Block& b, const EnvPtr& env, ExecContext& ctx) {
  for (const StmtPtr& s : b) {
    Flow f = Exec(*s, env, ctx);
    if (f != Flow::Normal) return f;
  }
  return Flow::Normal;
}

Flow Exec(const Stmt& s, const EnvPtr& env, ExecContext& ctx) {
  switch (s.kind) {
    case StmtKind::Expr:
    case StmtKind::Assign: {
      HostObject v = Eval(*s.value, env);
      if (s.kind == StmtKind::Assign) {
        if (s.targets.size() == 1) {
          Assign(*s.targets[0], v, env);
        } else {
          std::vector<HostObject> values = host::KindOf(v) == host::Kind::ExpSeq ? host::Elements(v) : std::vector<HostObject>{v};
          if (values.size() != s.targets.size()) {
            host::Raise("cannot assign %1 values to %2 names", host::MakeInteger(static_cast<long>(values.size())),
                        host::MakeInteger(static_cast<long>(s.targets.size())));
          }
          for (size_t i = 0; i < values.size(); ++i) Assign(*s.targets[i], values[i], env);
        }
      }
      ctx.result = v;
      if (ctx.echo && s.show && ctx.show) ctx.show(v);
      return Flow::Normal;
    }
    case StmtKind::If:
    case StmtKind::For:
    case StmtKind::While:
    case StmtKind::Try: {
      // Statements inside echo only when the whole statement ends in ';'.
      bool echo = ctx.echo;
      ctx.echo = echo && s.show;
      Flow f = Flow::Normal;
      try {
        if (s.kind == StmtKind::If) {
          size_t i = 0;
          while (i < s.conds.size() && !Truth(*s.conds[i], env)) ++i;
          f = ExecBlock(i < s.conds.size() ? s.blocks[i] : s.else_block, env, ctx);
        } else if (s.kind == StmtKind::For) {
          f = ForLoop(s, env, ctx);
        } else if (s.kind == StmtKind::Try) {
          f = TryCatch(s, env, ctx);
        } else {
          while (!s.cond || Truth(*s.cond, env)) {
            if (Body(s, env, ctx, &f)) break;
          }
        }
      } catch (...) {
        ctx.echo = echo;
        throw;
      }
      ctx.echo = echo;
      return f;
    }
    case StmtKind::Return:
      ctx.result = s.value ? Eval(*s.value, env) : host::Null();
      return Flow::Return;
    case StmtKind::Break:
      return Flow::Break;
    case StmtKind::Next:
      return Flow::Next;
    case StmtKind::Quit:
      return Flow::Quit;
    case StmtKind::Read:
      return ReadStatement(s, env, ctx);
    case StmtKind::Error: {
      std::vector<HostObject> parts = EvalItems({s.value}, env, false);
      std::string text = !parts.empty() && host::KindOf(parts[0]) == host::Kind::String
                             ? host::StringText(parts[0])
                             : (parts.empty() ? std::string() : host::Print(parts[0]));
      HostObject a = parts.size() > 1 ? parts[1] : host::Null();
      HostObject b = parts.size() > 2 ? parts[2] : host::Null();
      host::Raise(text, a, b);
    }
  }
  return Flow::Normal;
}

}  // namespace quarn::shell
