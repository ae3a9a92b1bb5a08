// Procedures and evaluation: applying procedures and names to arguments, and
// evalf, which turns numbers, constants and calls of the known functions into
// software floats.
#include <cstdarg>
#include <map>

#include "platform/host/elementary.h"
#include "platform/host/internal.h"

namespace quarn::host {

namespace {

// Sets the working precision for one evaluation and puts it back on every
// path out, errors included.
class ScopedPrecision {
 public:
  explicit ScopedPrecision(long digits) : saved_(WorkingDigits()) {
    if (digits > 0) SetWorkingPrecision(digits);
  }
  ~ScopedPrecision() { SetWorkingPrecision(saved_); }
  ScopedPrecision(const ScopedPrecision&) = delete;
  ScopedPrecision& operator=(const ScopedPrecision&) = delete;

 private:
  long saved_;
};

using Mpfr1 = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);

// Looked up by any string type (std::less<>), so that a C string is not
// copied into a std::string for every evaluation.
const std::map<std::string, Mpfr1, std::less<>>& KnownFunctions() {
  static const auto* functions = new std::map<std::string, Mpfr1, std::less<>>{
      {"sin", RoundedSin},     {"cos", RoundedCos},     {"tan", RoundedTan},       {"arcsin", mpfr_asin},
      {"arccos", mpfr_acos},   {"arctan", RoundedAtan},   {"sinh", mpfr_sinh},     {"cosh", mpfr_cosh},
      {"tanh", mpfr_tanh},     {"exp", RoundedExp},     {"ln", RoundedLog},      {"log", RoundedLog},
      {"log10", mpfr_log10},   {"sqrt", mpfr_sqrt},     {"abs", mpfr_abs},       {"erf", mpfr_erf},
      {"erfc", mpfr_erfc},     {"GAMMA", mpfr_gamma},   {"lnGAMMA", mpfr_lngamma}};
  return *functions;
}

// A float result at the working precision from a function of one float.
HostObject FloatFunction(Mpfr1 fn, HostObject x) {
  HostObject r = NewWorkingFloat();
  mpfr_t arg;
  mpfr_init2(arg, WorkingBits());
  ToMpfr(x, arg);
  fn(FloatMpfr(r), arg, MPFR_RNDN);
  mpfr_clear(arg);
  return r;
}

HostObject EvalfAt(HostObject h);

HostObject EvalfOperator(const std::string& op, const std::vector<HostObject>& args) {
  if (args.size() == 2) {
    if (op == "+") return Add(args[0], args[1]);
    if (op == "-") return Sub(args[0], args[1]);
    if (op == "*") return Mul(args[0], args[1]);
    if (op == "/") return Div(args[0], args[1]);
    if (op == "^") return Pow(args[0], args[1]);
  }
  if (args.size() == 1 && op == "-") return Neg(args[0]);
  return nullptr;
}

HostObject EvalfCall(HostObject f) {
  std::vector<HostObject> args = Elements(f);
  for (HostObject& a : args) a = EvalfAt(a);
  HostObject fname = FunctionName(f);
  if (IsTag(fname, kTagName)) {
    std::string name = NameText(fname);
    bool real = true;
    for (HostObject a : args) real = real && IsReal(a);
    if (real) {
      if (HostObject r = EvalfOperator(name, args)) return IsExact(r) ? EvalfAt(r) : r;
      auto it = KnownFunctions().find(name);
      if (it != KnownFunctions().end() && args.size() == 1) return FloatFunction(it->second, args[0]);
      if (name == "arctan" && args.size() == 2) {
        HostObject r = NewWorkingFloat();
        mpfr_t y, x;
        mpfr_inits2(WorkingBits(), y, x, static_cast<mpfr_ptr>(nullptr));
        ToMpfr(args[0], y);
        ToMpfr(args[1], x);
        mpfr_atan2(FloatMpfr(r), y, x, MPFR_RNDN);
        mpfr_clears(y, x, static_cast<mpfr_ptr>(nullptr));
        return r;
      }
    } else if (HostObject r = EvalfOperator(name, args)) {
      return r;
    }
  }
  return MakeFunction(fname, args);
}

// Pi at the working precision: one float per precision, made when first
// asked for (floats are immutable, so every evaluation shares it). The
// variable is in this library's static data, which the collector scans.
HostObject WorkingPi() {
  static HostObject pi = nullptr;
  if (pi == nullptr || FloatDigits(pi) != WorkingDigits() || mpfr_get_prec(FloatMpfr(pi)) != WorkingBits()) {
    pi = NewWorkingFloat();
    mpfr_const_pi(FloatMpfr(pi), MPFR_RNDN);
  }
  return pi;
}

HostObject EvalfAt(HostObject h) {
  if (h == nullptr) return h;
  if (IsExact(h)) return FloatFunction(mpfr_set, h);
  switch (HeapTag(h)) {
    case kTagFloat: {
      if (FloatDigits(h) == WorkingDigits()) return h;
      return FloatFunction(mpfr_set, h);
    }
    case kTagComplex: return MakeComplex(EvalfAt(Words(h)[1]), EvalfAt(Words(h)[2]));
    case kTagName: {
      // QuarnEval follows the chain of names and raises on a cycle.
      if (IsAssigned(h)) return EvalfAt(QuarnEval(Kernel(), h));
      std::string name = NameText(h);
      if (name == "Pi") return WorkingPi();
      if (name == "undefined") return FloatUndefined();
      if (name == "infinity") return FloatInfinity(1);
      if (name == "I") return MakeComplex(MakeFloat(0.0), MakeFloat(1.0));
      return h;
    }
    case kTagFunction: return EvalfCall(h);
    case kTagList: {
      std::vector<HostObject> e = Elements(h);
      for (HostObject& x : e) x = EvalfAt(x);
      return MakeList(e);
    }
    case kTagExpSeq: {
      std::vector<HostObject> e = Elements(h);
      for (HostObject& x : e) x = EvalfAt(x);
      return MakeSeq(e);
    }
    case kTagEquation: return MakeEquation(EvalfAt(Words(h)[1]), EvalfAt(Words(h)[2]));
    case kTagRange: return MakeRange(EvalfAt(Words(h)[1]), EvalfAt(Words(h)[2]));
    default: return h;
  }
}

// The host's evalf procedure: evalf(e) or evalf(e, digits).
HostObject EvalfProcedure(QKernel kv, HostObject, HostObject args) {
  int n = QuarnNumArgs(kv, args);
  if (n < 1 || n > 2) Raise("evalf expects 1 or 2 arguments, received: %1", args);
  long digits = 0;
  if (n == 2) {
    HostObject d = QuarnExpseqSelect(kv, args, 2);
    if (!IsImmediate(d) || ImmediateValue(d) < 1) Raise("evalf expects a positive number of digits, received: %1", d);
    digits = ImmediateValue(d);
  }
  return Evalf(QuarnExpseqSelect(kv, args, 1), digits);
}

}  // namespace

HostObject Evalf(HostObject h, long digits) {
  ScopedPrecision precision(digits);
  return EvalfAt(h);
}

bool EvalfFunction(std::string_view name, mpfr_ptr x) {
  auto it = KnownFunctions().find(name);
  if (it == KnownFunctions().end()) return false;
  it->second(x, x, MPFR_RNDN);
  return true;
}

HostObject MakeProcedure(NativeProc fn, HostObject data, const std::string& text) {
  HostObject p = AllocObject(kTagProcedure, kProcLength);
  Words(p)[kProcFn] = reinterpret_cast<HostObject>(reinterpret_cast<uintptr_t>(fn));
  Words(p)[kProcData] = data;
  Words(p)[kProcText] = MakeString(text);
  return p;
}

HostObject ProcedureData(HostObject p) { return Words(p)[kProcData]; }

HostObject Apply(HostObject f, HostObject args) {
  if (IsTag(f, kTagName) && IsAssigned(f)) f = QuarnEval(Kernel(), f);
  if (IsTag(f, kTagProcedure)) {
    auto fn = reinterpret_cast<NativeProc>(reinterpret_cast<uintptr_t>(Words(f)[kProcFn]));
    return fn(Kernel(), Words(f)[kProcData], args);
  }
  if (IsTag(f, kTagName)) {
    // An unassigned name applied to arguments stays an unevaluated call,
    // except a known numeric function of floats, which is computed.
    std::vector<HostObject> a = IsTag(args, kTagExpSeq) ? Elements(args) : std::vector<HostObject>{args};
    auto it = KnownFunctions().find(NameText(f));
    if (it != KnownFunctions().end() && a.size() == 1 && IsFloatObject(a[0])) return FloatFunction(it->second, a[0]);
    return MakeFunction(f, a);
  }
  Raise("illegal use of an object as a function: %1", f);
}

void InitEvalf() { AssignName(Name("evalf"), MakeProcedure(EvalfProcedure, nullptr, "proc(e, digits) builtin evalf end")); }

}  // namespace quarn::host

using namespace quarn::host;

extern "C" {

HostObject EvalQuarnProcedure(QKernel, HostObject proc, HostObject args) { return Apply(proc, args); }

HostObject EvalQuarnProc(QKernel, HostObject proc, int n, ...) {
  std::vector<HostObject> args;
  va_list ap;
  va_start(ap, n);
  for (int i = 0; i < n; ++i) args.push_back(va_arg(ap, HostObject));
  va_end(ap);
  HostObject seq = AllocObject(kTagExpSeq, static_cast<uint32_t>(1 + n));
  for (int i = 0; i < n; ++i) Words(seq)[1 + i] = args[static_cast<size_t>(i)];
  return Apply(proc, n == 1 ? args[0] : seq);
}

}  // extern "C"
