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
  BuiltinFn fn;        // null for a special form (help text only)
  std::string usage;   // one line for help(): "nops(x): the number of operands of x"
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

void RegisterBuiltin(const std::string& name, BuiltinFn fn, const std::string& usage) {
  BuiltinIndex()[name] = Builtins().size();
  Builtins().push_back(Builtin{name, fn, usage});
}

void RegisterForm(const std::string& name, const std::string& usage) { RegisterBuiltin(name, nullptr, usage); }

std::vector<std::string> BuiltinNames() {
  std::vector<std::string> names;
  for (const Builtin& b : Builtins())
    if (b.name.find('[') == std::string::npos) names.push_back(b.name);
  return names;
}

std::string BuiltinUsage(const std::string& name) {
  auto it = BuiltinIndex().find(name);
  return it == BuiltinIndex().end() ? std::string() : Builtins()[it->second].usage;
}

HostObject BuiltinProcedure(const std::string& name) {
  auto it = BuiltinIndex().find(name);
  if (it == BuiltinIndex().end() || !Builtins()[it->second].fn) return nullptr;
  Builtin& b = Builtins()[it->second];
  if (!b.proc) {
    b.proc = host::MakeProcedure(RunBuiltin, Int(static_cast<long>(it->second)),
                                 "proc() option builtin = " + name + "; end proc");
  }
  return b.proc;
}

void RegisterShellBuiltins() {
  RegisterBuiltin("print", Print, "print(e, ...): prints the values on one line");
  RegisterBuiltin("cat", Cat, "cat(a, b, ...): the values joined into one string");
  RegisterBuiltin("nops", Nops, "nops(x): the number of operands (of an rtable: its number of elements)");
  RegisterBuiltin("op", Op, "op(x), op(i, x): the operands of x, or the i-th");
  RegisterBuiltin("lhs", Lhs, "lhs(e): the left side of an equation or range");
  RegisterBuiltin("rhs", Rhs, "rhs(e): the right side of an equation or range");
  RegisterBuiltin("whattype", Whattype, "whattype(x): the kind of x (integer, float, list, rtable, ...)");
  RegisterBuiltin("type", Type, "type(x, t): whether x is of kind t (also numeric, boolean, anything)");
  RegisterBuiltin("evalb", Evalb, "evalb(e): the truth value of an equation or relation");
  RegisterBuiltin("randomize", Randomize,
                  "randomize(n), randomize(): seeds the random source that every random result draws from");
  RegisterBuiltin("random", Random, "random(): a float uniform on [0, 1) at Digits");
  RegisterBuiltin("unassign", Unassign, "unassign('x', ...): removes the values of the names");
  RegisterBuiltin("table", Table, "table([k = v, ...]): a new table");
  RegisterBuiltin("gc", Gc, "gc(): a full garbage collection now");
  RegisterForm("seq", "seq(e, i = a..b), seq(e, i = container): the values of e as a sequence");
  RegisterForm("add", "add(e, i = a..b), add(e, i = container): the sum of the values of e");
  RegisterForm("mul", "mul(e, i = a..b), mul(e, i = container): the product of the values of e");
  RegisterForm("assigned", "assigned(x): whether the name (or table entry) x has a value");
  RegisterForm("evalf", "evalf(e), evalf(e, n): e evaluated to floats at Digits, or at n digits");
}

}  // namespace quarn::shell
