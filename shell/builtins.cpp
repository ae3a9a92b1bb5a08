// The shell's builtin procedures (print, nops, op, type, randomize, ...),
// the registry they live in, and the special forms seq, add, mul and
// assigned, which see their arguments unevaluated.
#include <chrono>
#include <cstdio>
#include <unordered_map>

#include "shell/eval.h"
#include "shell/output.h"

namespace quarn::shell {

namespace {

struct Builtin {
  std::string name;
  BuiltinFn fn;
  HostObject proc = nullptr;
};

std::vector<Builtin>& Builtins() {
  static auto* builtins = new std::vector<Builtin>;
  return *builtins;
}

std::unordered_map<std::string, size_t>& BuiltinIndex() {
  static auto* index = new std::unordered_map<std::string, size_t>;
  return *index;
}

HostObject RunBuiltin(QKernel, HostObject data, HostObject args) {
  long i = 0;
  host::IntegerToLong(data, &i);
  return Builtins()[static_cast<size_t>(i)].fn(ArgsOf(args));
}

HostObject Int(long n) { return host::MakeInteger(n); }

void Expect(const char* name, const std::vector<HostObject>& a, size_t lo, size_t hi, const char* expected) {
  if (a.size() < lo || a.size() > hi) RaiseArity(name, expected, a);
}

HostObject Print(const std::vector<HostObject>& a) {
  WriteLine(host::Print(host::MakeSeq(a)));
  return host::Null();
}

// printf(format, ...): %a prints an object, %d an integer, %s a string's
// text (other objects printed), %% a percent sign.
HostObject Printf(const std::vector<HostObject>& a) {
  if (a.empty() || host::KindOf(a[0]) != host::Kind::String) {
    host::Raise("printf expects a format string, received: %1", host::MakeSeq(a));
  }
  std::string fmt = host::StringText(a[0]), out;
  size_t next = 1;
  for (size_t i = 0; i < fmt.size(); ++i) {
    if (fmt[i] != '%' || i + 1 == fmt.size()) {
      out += fmt[i];
      continue;
    }
    char c = fmt[++i];
    if (c == '%') {
      out += '%';
      continue;
    }
    if (c != 'a' && c != 'd' && c != 's') host::Raise("printf: unknown directive %" + std::string(1, c));
    if (next >= a.size()) host::Raise("printf: too few arguments for the format %1", a[0]);
    HostObject v = a[next++];
    out += c == 's' && host::KindOf(v) == host::Kind::String ? host::StringText(v) : host::Print(v);
  }
  WriteText(out);
  return host::Null();
}

HostObject Cat(const std::vector<HostObject>& a) {
  std::string out;
  for (HostObject v : a) out += host::KindOf(v) == host::Kind::String ? host::StringText(v) : host::Print(v);
  return host::MakeString(out);
}

long Count(HostObject x) {
  switch (host::KindOf(x)) {
    case host::Kind::List:
    case host::Kind::ExpSeq:
    case host::Kind::Function:
      return static_cast<long>(host::Elements(x).size());
    case host::Kind::Table:
      return static_cast<long>(host::TableEntries(x).size());
    case host::Kind::RTable:
      return static_cast<long>(RTableNumElements(host::Kernel(), x));
    case host::Kind::Equation:
    case host::Kind::Range:
    case host::Kind::Rational:
      return 2;
    default:
      return 1;
  }
}

HostObject Nops(const std::vector<HostObject>& a) {
  Expect("nops", a, 1, 1, "1 argument");
  return Int(Count(a[0]));
}

std::vector<HostObject> Operands(HostObject x) {
  switch (host::KindOf(x)) {
    case host::Kind::List:
    case host::Kind::ExpSeq:
    case host::Kind::Function:
      return host::Elements(x);
    case host::Kind::Equation:
    case host::Kind::Range:
    case host::Kind::Rational:
      return {host::Slot(x, 1), host::Slot(x, 2)};
    default:
      return {x};
  }
}

// op(x): the operands of x; op(i, x): the i-th.
HostObject Op(const std::vector<HostObject>& a) {
  Expect("op", a, 1, 2, "1 or 2 arguments");
  std::vector<HostObject> ops = Operands(a.back());
  if (a.size() == 1) return host::MakeSeq(ops);
  long i;
  if (!host::IntegerToLong(a[0], &i) || i < 0 || i > static_cast<long>(ops.size())) {
    host::Raise("op: improper operand position %1", a[0]);
  }
  if (i == 0) return host::KindOf(a[1]) == host::Kind::Function ? host::FunctionName(a[1]) : host::Name(host::KindName(host::KindOf(a[1])));
  return ops[static_cast<size_t>(i - 1)];
}

HostObject Side(const std::vector<HostObject>& a, const char* name, int slot) {
  Expect(name, a, 1, 1, "1 argument");
  host::Kind k = host::KindOf(a[0]);
  if (k != host::Kind::Equation && k != host::Kind::Range) {
    host::Raise(std::string(name) + " expects an equation or a range, received: %1", a[0]);
  }
  return host::Slot(a[0], slot);
}
HostObject Lhs(const std::vector<HostObject>& a) { return Side(a, "lhs", 1); }
HostObject Rhs(const std::vector<HostObject>& a) { return Side(a, "rhs", 2); }

HostObject Whattype(const std::vector<HostObject>& a) {
  Expect("whattype", a, 1, 1, "1 argument");
  return host::Name(host::KindName(host::KindOf(a[0])));
}

// type(x, t) for the kinds of host objects and a few unions of them.
HostObject Type(const std::vector<HostObject>& a) {
  Expect("type", a, 2, 2, "2 arguments");
  if (host::KindOf(a[1]) != host::Kind::Name) host::Raise("type expects a type name, received: %1", a[1]);
  std::string t = host::NameText(a[1]);
  host::Kind k = host::KindOf(a[0]);
  bool yes;
  if (t == "numeric") {
    yes = k == host::Kind::Integer || k == host::Kind::Rational || k == host::Kind::Float;
  } else if (t == "boolean") {
    yes = host::Equal(a[0], host::True()) || host::Equal(a[0], host::False());
  } else if (t == "anything") {
    yes = true;
  } else if (t == "NULL") {
    yes = k == host::Kind::ExpSeq && host::Elements(a[0]).empty();
  } else {
    yes = t == host::KindName(k);
  }
  return yes ? host::True() : host::False();
}

HostObject Evalb(const std::vector<HostObject>& a) {
  Expect("evalb", a, 1, 1, "1 argument");
  if (host::KindOf(a[0]) == host::Kind::Equation) {
    return ValuesEqual(host::Slot(a[0], 1), host::Slot(a[0], 2)) ? host::True() : host::False();
  }
  return TruthOf(a[0]) ? host::True() : host::False();
}

// randomize(n) seeds the host's random source with n; randomize() with the
// clock, returning the seed used.
HostObject Randomize(const std::vector<HostObject>& a) {
  Expect("randomize", a, 0, 1, "0 or 1 arguments");
  if (a.empty()) {
    long seed = static_cast<long>(std::chrono::system_clock::now().time_since_epoch().count() & 0xffffffffff);
    host::SeedRandom(static_cast<uint64_t>(seed));
    return Int(seed);
  }
  long seed;
  if (host::KindOf(a[0]) != host::Kind::Integer || !host::IntegerToLong(a[0], &seed) || seed < 0) {
    host::Raise("randomize expects a nonnegative integer seed, received: %1", a[0]);
  }
  host::SeedRandom(static_cast<uint64_t>(seed));
  return a[0];
}

// random(): a float uniform on [0, 1) at the working precision, from the
// host's random source (the one randomize seeds and the library draws from).
HostObject Random(const std::vector<HostObject>& a) {
  Expect("random", a, 0, 0, "no arguments");
  return QuarnRandomSoftwareFloat01(host::Kernel());
}

HostObject Unassign(const std::vector<HostObject>& a) {
  for (HostObject n : a) {
    if (host::KindOf(n) != host::Kind::Name) host::Raise("unassign expects names, received: %1", n);
    host::AssignName(n, nullptr);
  }
  return host::Null();
}

// table() or table([k1 = v1, ...]).
HostObject Table(const std::vector<HostObject>& a) {
  Expect("table", a, 0, 1, "0 or 1 arguments");
  HostObject t = host::MakeTable();
  if (a.empty()) return t;
  if (host::KindOf(a[0]) != host::Kind::List) host::Raise("table expects a list of equations, received: %1", a[0]);
  long i = 0;
  for (HostObject e : host::Elements(a[0])) {
    ++i;
    if (host::KindOf(e) == host::Kind::Equation) {
      QuarnTableAssign(host::Kernel(), t, host::Slot(e, 1), host::Slot(e, 2));
    } else {
      QuarnTableAssign(host::Kernel(), t, Int(i), e);
    }
  }
  return t;
}

HostObject Extreme(const std::vector<HostObject>& a, const char* name, int sign) {
  if (a.empty()) RaiseArity(name, "at least 1 argument", a);
  HostObject best = a[0];
  for (size_t i = 1; i < a.size(); ++i)
    if (host::Compare(a[i], best) * sign > 0) best = a[i];
  return best;
}
HostObject Max(const std::vector<HostObject>& a) { return Extreme(a, "max", 1); }
HostObject Min(const std::vector<HostObject>& a) { return Extreme(a, "min", -1); }

// gc(): a full collection now (for tests that check handles stay alive).
HostObject Gc(const std::vector<HostObject>& a) {
  Expect("gc", a, 0, 0, "no arguments");
  host::Collect();
  return host::Null();
}

}  // namespace

void RaiseArity(const std::string& name, const char* expected, const std::vector<HostObject>& args) {
  host::Raise(name + " expects " + expected + ", received: %1", host::MakeSeq(args));
}

void RegisterBuiltin(const std::string& name, BuiltinFn fn) {
  BuiltinIndex()[name] = Builtins().size();
  Builtins().push_back(Builtin{name, fn});
}

HostObject BuiltinProcedure(const std::string& name) {
  auto it = BuiltinIndex().find(name);
  if (it == BuiltinIndex().end()) return nullptr;
  Builtin& b = Builtins()[it->second];
  if (!b.proc) {
    b.proc = host::MakeProcedure(RunBuiltin, Int(static_cast<long>(it->second)),
                                 "proc() option builtin = " + name + "; end proc");
  }
  return b.proc;
}

void RegisterShellBuiltins() {
  RegisterBuiltin("print", Print);
  RegisterBuiltin("printf", Printf);
  RegisterBuiltin("cat", Cat);
  RegisterBuiltin("nops", Nops);
  RegisterBuiltin("op", Op);
  RegisterBuiltin("lhs", Lhs);
  RegisterBuiltin("rhs", Rhs);
  RegisterBuiltin("whattype", Whattype);
  RegisterBuiltin("type", Type);
  RegisterBuiltin("evalb", Evalb);
  RegisterBuiltin("randomize", Randomize);
  RegisterBuiltin("random", Random);
  RegisterBuiltin("unassign", Unassign);
  RegisterBuiltin("table", Table);
  RegisterBuiltin("max", Max);
  RegisterBuiltin("min", Min);
  RegisterBuiltin("gc", Gc);
}

}  // namespace quarn::shell
