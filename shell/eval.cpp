// Evaluation of quarn expressions to host objects.
#include "shell/eval.h"
#include "shell/exports.h"
#include "shell/library.h"

namespace quarn::shell {

namespace {

HostObject g_last = nullptr;  // %: the last top-level result (a static, so scanned)

HostObject Boolean(bool b) { return b ? host::True() : host::False(); }

bool IsFloatLike(HostObject v) {
  host::Kind k = host::KindOf(v);
  if (k == host::Kind::Float) return true;
  return k == host::Kind::Complex && (host::KindOf(host::ComplexRe(v)) == host::Kind::Float ||
                                      host::KindOf(host::ComplexIm(v)) == host::Kind::Float);
}

// A call of a function that has no value of its own stays unevaluated,
// except that the host's numeric functions of float arguments give floats:
// sin(1) stays sin(1), sin(1.0) is 0.8414709848.
HostObject SymbolicCall(HostObject f, const std::vector<HostObject>& args) {
  HostObject call = host::MakeFunction(f, args);
  bool any_float = false;
  for (HostObject a : args) any_float = any_float || IsFloatLike(a);
  if (!any_float) return call;
  try {
    HostObject v = host::Evalf(call);
    host::Kind k = host::KindOf(v);
    if (k == host::Kind::Float || k == host::Kind::Complex) return v;
  } catch (const host::Error&) {
    // Not a function the host evaluates: leave the call as written.
  }
  return call;
}

HostObject CallValue(HostObject f, const std::vector<HostObject>& args) {
  if (host::KindOf(f) == host::Kind::Name) return SymbolicCall(f, args);
  bool has_null = false;
  for (HostObject a : args) has_null = has_null || host::KindOf(a) == host::Kind::ExpSeq;
  if (!has_null) return host::Apply(f, host::MakeSeq(args));
  // An explicit NULL argument: build the sequence slot by slot so that it
  // keeps its place.
  QKernel kv = host::Kernel();
  HostObject seq = NewQuarnExpressionSequence(kv, static_cast<int>(args.size()));
  for (size_t i = 0; i < args.size(); ++i) QuarnExpseqAssign(kv, seq, static_cast<int>(i + 1), args[i]);
  return host::Apply(f, seq);
}

// 'e': e with its names left as names and its calls left unevaluated.
HostObject Hold(const Expr& e, const EnvPtr& env) {
  auto held = [&](const ExprPtr& x) { return Hold(*x, env); };
  auto held_items = [&](const std::vector<ExprPtr>& items) {
    std::vector<HostObject> out;
    for (const ExprPtr& x : items) out.push_back(held(x));
    return out;
  };
  switch (e.kind) {
    case ExprKind::Name:
      return host::Name(e.text);
    case ExprKind::Quote:
      return host::MakeUneval(held(e.a));
    case ExprKind::Neg:
      return host::Neg(held(e.a));
    case ExprKind::Add:
      return host::Add(held(e.a), held(e.b));
    case ExprKind::Sub:
      return host::Sub(held(e.a), held(e.b));
    case ExprKind::Mul:
      return host::Mul(held(e.a), held(e.b));
    case ExprKind::Div:
      return host::Div(held(e.a), held(e.b));
    case ExprKind::Pow:
      return host::Pow(held(e.a), held(e.b));
    case ExprKind::Dot:
      return host::MakeFunction(host::Name("."), {held(e.a), held(e.b)});
    case ExprKind::Eq:
      return host::MakeEquation(held(e.a), held(e.b));
    case ExprKind::Range:
      return host::MakeRange(held(e.a), held(e.b));
    case ExprKind::List:
      return host::MakeList(held_items(e.items));
    case ExprKind::Seq:
      return host::MakeSeq(held_items(e.items));
    case ExprKind::Call:
      if (e.a->kind == ExprKind::Name) return host::MakeFunction(host::Name(e.a->text), held_items(e.items));
      return Eval(e, env);
    default:
      return Eval(e, env);
  }
}

bool IsRealNumber(HostObject v) {
  host::Kind k = host::KindOf(v);
  return k == host::Kind::Integer || k == host::Kind::Rational || k == host::Kind::Float;
}

// Numeric order of the two sides: -1, 0, 1, or 2 when unordered (an
// undefined float), which makes every ordering relation false.
int Order(const Expr& e, const EnvPtr& env) {
  HostObject a = Eval(*e.a, env);
  HostObject b = Eval(*e.b, env);
  return host::Compare(a, b);
}

}  // namespace

HostObject LastResult() { return g_last ? g_last : host::Null(); }
void SetLastResult(HostObject v) { g_last = v; }

std::vector<HostObject> EvalItems(const std::vector<ExprPtr>& items, const EnvPtr& env,
                                  bool keep_null) {
  std::vector<HostObject> out;
  out.reserve(items.size());
  for (const ExprPtr& item : items) {
    if (keep_null && item->kind == ExprKind::Null) {
      out.push_back(host::Null());
      continue;
    }
    HostObject v = Eval(*item, env);
    if (host::KindOf(v) == host::Kind::ExpSeq) {
      for (HostObject x : host::Elements(v)) out.push_back(x);
    } else {
      out.push_back(v);
    }
  }
  return out;
}

// Real numbers are equal by value (0 = 0. holds); everything else
// structurally, so that an undefined float equals itself.
bool ValuesEqual(HostObject a, HostObject b) {
  if (IsRealNumber(a) && IsRealNumber(b)) {
    int c = host::Compare(a, b);
    if (c != 2) return c == 0;
  }
  return host::Equal(a, b);
}

bool TruthOf(HostObject v) {
  if (host::Equal(v, host::True())) return true;
  if (host::Equal(v, host::False())) return false;
  host::Raise("cannot decide whether %1 is true or false", v);
}

bool Truth(const Expr& e, const EnvPtr& env) {
  switch (e.kind) {
    case ExprKind::True:
      return true;
    case ExprKind::False:
      return false;
    case ExprKind::Eq:
      return ValuesEqual(Eval(*e.a, env), Eval(*e.b, env));
    case ExprKind::Ne:
      return !ValuesEqual(Eval(*e.a, env), Eval(*e.b, env));
    case ExprKind::Lt:
      return Order(e, env) == -1;
    case ExprKind::Le: {
      int c = Order(e, env);
      return c == -1 || c == 0;
    }
    case ExprKind::Gt:
      return Order(e, env) == 1;
    case ExprKind::Ge: {
      int c = Order(e, env);
      return c == 1 || c == 0;
    }
    case ExprKind::And:
      return Truth(*e.a, env) && Truth(*e.b, env);
    case ExprKind::Or:
      return Truth(*e.a, env) || Truth(*e.b, env);
    case ExprKind::Not:
      return !Truth(*e.a, env);
    default:
      return TruthOf(Eval(e, env));
  }
}

HostObject Eval(const Expr& e, const EnvPtr& env) {
  switch (e.kind) {
    case ExprKind::Integer:
      if (!e.literal) e.literal = host::MakeIntegerFromString(e.text);
      return e.literal;
    case ExprKind::Float:
      // Floats are immutable, so the literal's float is shared by every
      // evaluation at the Digits it was read at.
      if (!e.literal || e.literal_digits != host::WorkingDigits()) {
        e.literal = host::ParseFloat(e.text);
        e.literal_digits = host::WorkingDigits();
      }
      return e.literal;
    case ExprKind::String:
      return host::MakeString(e.text);
    case ExprKind::Name:
      if (!env && e.name) {
        // A global whose value is no name: the value itself.
        HostObject v = host::NameValue(e.name);
        if (v && host::KindOf(v) != host::Kind::Name) return v;
      }
      return LookupName(e.text, env);
    case ExprKind::Null:
      return host::Null();
    case ExprKind::True:
      return host::True();
    case ExprKind::False:
      return host::False();
    case ExprKind::Last:
      return LastResult();
    case ExprKind::Quote:
      return Hold(*e.a, env);
    case ExprKind::Neg:
      return Arith(e.kind, Eval(*e.a, env), nullptr);
    case ExprKind::Add:
    case ExprKind::Sub:
    case ExprKind::Mul:
    case ExprKind::Div:
    case ExprKind::Dot: {
      HostObject a = Eval(*e.a, env);
      return Arith(e.kind, a, Eval(*e.b, env));
    }
    case ExprKind::Pow:
      return host::Pow(Eval(*e.a, env), Eval(*e.b, env));
    case ExprKind::Eq:
      return host::MakeEquation(Eval(*e.a, env), Eval(*e.b, env));
    case ExprKind::Ne:
    case ExprKind::Lt:
    case ExprKind::Le:
    case ExprKind::Gt:
    case ExprKind::Ge:
    case ExprKind::And:
    case ExprKind::Or:
    case ExprKind::Not:
      return Boolean(Truth(e, env));
    case ExprKind::Range:
      return host::MakeRange(Eval(*e.a, env), Eval(*e.b, env));
    case ExprKind::Seq:
      return host::MakeSeq(EvalItems(e.items, env, false));
    case ExprKind::List:
      return host::MakeList(EvalItems(e.items, env, false));
    case ExprKind::Index: {
      HostObject base = Eval(*e.a, env);
      return IndexValue(*e.a, base, EvalItems(e.items, env, false));
    }
    case ExprKind::Call: {
      const Expr& fn = *e.a;
      HostObject result;
      if (fn.kind == ExprKind::Name && !BoundValue(fn.text, env) &&
          CallSpecialForm(fn.text, e, env, &result)) {
        return result;
      }
      HostObject f = Eval(fn, env);
      // A call meant for the library that it does not export is a mistake
      // to report, not a function to leave unevaluated.
      if (host::KindOf(f) == host::Kind::Name && LooksLikeEntry(host::NameText(f)) &&
          !LoadedLibraryPath().empty()) {
        RaiseNotAnEntry(host::NameText(f));
      }
      return CallValue(f, EvalItems(e.items, env, true));
    }
    case ExprKind::Proc:
      return MakeShellProcedure(e.proc, env);
  }
  host::Raise("cannot evaluate this expression");
}

}  // namespace quarn::shell
