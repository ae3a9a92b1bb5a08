// The external-calling conversions between host objects and native values,
// and the type tests a library uses on its arguments.
#include <algorithm>
#include <cmath>
#include <limits>

#include "platform/host/internal.h"

using namespace quarn::host;

namespace {

// An integer-valued host object as a native integer within [lo, hi]; raises
// with a message naming the object otherwise. Floats with an integer value
// are accepted, as are names whose value is such an integer.
int64_t ToNativeInteger(HostObject h, int64_t lo, int64_t hi, const char* what) {
  if (IsTag(h, kTagName) && IsAssigned(h)) h = NameValue(h);
  long n;
  if ((IsImmediate(h) || IsTag(h, kTagIntPos) || IsTag(h, kTagIntNeg)) && IntegerToLong(h, &n) && n >= lo && n <= hi)
    return n;
  if (IsFloatObject(h)) {
    mpfr_ptr x = FloatMpfr(h);
    if (mpfr_integer_p(x) && mpfr_cmp_si(x, lo) >= 0 && mpfr_cmp_si(x, hi) <= 0) return mpfr_get_si(x, MPFR_RNDN);
  }
  Raise(std::string("expected ") + what + ", received: %1", h);
}

}  // namespace

extern "C" {

int IsQuarnNumeric(QKernel, HostObject h) { return IsReal(h) || IsTag(h, kTagComplex); }
int IsQuarnProcedure(QKernel, HostObject h) { return IsTag(h, kTagProcedure); }
int IsQuarnInteger(QKernel, HostObject h) {
  return IsImmediate(h) || IsTag(h, kTagIntPos) || IsTag(h, kTagIntNeg);
}

int IsQuarnInteger8(QKernel kv, HostObject h) {
  return IsImmediate(h) && ImmediateValue(h) >= -128 && ImmediateValue(h) <= 127;
}
int IsQuarnInteger32(QKernel kv, HostObject h) {
  return IsImmediate(h) && ImmediateValue(h) >= INT32_MIN && ImmediateValue(h) <= INT32_MAX;
}
int IsQuarnInteger64(QKernel kv, HostObject h) {
  long n;
  return IsQuarnInteger(kv, h) && IntegerToLong(h, &n);
}

// The host's unnamed zero is the exact integer 0.
int IsQuarnUnnamedZero(QKernel, HostObject h) { return IsImmediate(h) && ImmediateValue(h) == 0; }

HostObject ToQuarnFloat(QKernel, double d) { return MakeFloat(d); }
HostObject ToQuarnInteger(QKernel, long n) { return MakeInteger(n); }
HostObject ToQuarnInteger64(QKernel, int64_t n) { return MakeInteger(static_cast<long>(n)); }
HostObject ToQuarnComplex(QKernel, double re, double im) { return MakeComplex(MakeFloat(re), MakeFloat(im)); }
HostObject ToQuarnComplexFloat(QKernel, HostObject re, HostObject im) {
  // Kept as a complex object even with a zero imaginary part, so that the
  // pair reads back as given.
  HostObject c = AllocObject(kTagComplex, 3);
  Words(c)[1] = re;
  Words(c)[2] = im;
  return c;
}

int32_t QuarnToInteger32(QKernel, HostObject h) {
  return static_cast<int32_t>(ToNativeInteger(h, INT32_MIN, INT32_MAX, "an integer of 32 bits"));
}
int64_t QuarnToInteger64(QKernel, HostObject h) {
  return ToNativeInteger(h, INT64_MIN, INT64_MAX, "an integer of 64 bits");
}
long QuarnToQ_INT(QKernel, HostObject h) {
  return static_cast<long>(ToNativeInteger(h, LONG_MIN, LONG_MAX, "an integer"));
}

int QuarnToQ_BOOL(QKernel kv, HostObject h) {
  if (IsTag(h, kTagName) && IsAssigned(h)) h = QuarnEval(kv, h);
  if (h == True()) return 1;
  if (h == False()) return 0;
  if (IsImmediate(h)) return ImmediateValue(h) != 0;
  if (h == Name("FAIL")) return 0;
  Raise("expected true or false, received: %1", h);
}

double QuarnToFloat64(QKernel, HostObject h) {
  if (IsTag(h, kTagName) && IsAssigned(h)) h = NameValue(h);
  // A double may carry more digits than Digits gives: round exact numbers
  // once, straight to 53 bits, and evaluate anything else with digits to
  // spare, so that the result is the double nearest to the value, not to
  // its rounding at the working precision.
  if (IsExact(h)) {
    mpfr_t x;
    mpfr_init2(x, 53);
    ToMpfr(h, x);
    double d = mpfr_get_d(x, MPFR_RNDN);
    mpfr_clear(x);
    return d;
  }
  HostObject f = IsFloatObject(h) ? h : Evalf(h, std::max(WorkingDigits(), 40L));
  if (!IsFloatObject(f)) Raise("unable to evaluate %1 to floating-point", h);
  return mpfr_get_d(FloatMpfr(f), MPFR_RNDN);
}

const char* QuarnToString(QKernel, HostObject h) {
  if (IsTag(h, kTagName)) h = Words(h)[kNameText];
  if (!IsTag(h, kTagString)) Raise("expected a string, received: %1", h);
  return StringBytes(h);
}

HostObject QuarnEval(QKernel, HostObject h) {
  // Full evaluation of a name: follow assigned names to their value.
  for (int depth = 0; IsAssigned(h); ++depth) {
    if (depth > 1000) Raise("too many levels of recursion evaluating %1", h);
    h = NameValue(h);
  }
  return h;
}

}  // extern "C"
