// Numbers of the host: immediate and big integers, rationals, software floats
// and complex numbers, with the arithmetic the shell and the library use.
// Exact operands give exact results; a float operand makes the result a float
// at the working precision; anything that is not a number gives an
// unevaluated call of the operator.
#include <cassert>
#include <cmath>

#include "platform/host/elementary.h"
#include "platform/host/internal.h"

namespace quarn::host {

namespace {

// Scoped GMP values, cleared on every path (errors unwind through them).
struct Mpz {
  mpz_t v;
  Mpz() { mpz_init(v); }
  ~Mpz() { mpz_clear(v); }
};
struct Mpq {
  mpq_t v;
  Mpq() { mpq_init(v); }
  ~Mpq() { mpq_clear(v); }
};
struct Mpfr {
  mpfr_t v;
  explicit Mpfr(mpfr_prec_t bits) { mpfr_init2(v, bits); }
  ~Mpfr() { mpfr_clear(v); }
};

HostObject Operator(const char* op, HostObject a, HostObject b) {
  return b == nullptr ? MakeFunction(Name(op), {a}) : MakeFunction(Name(op), {a, b});
}

}  // namespace

// ------------------------------------------------------------ precision

mpfr_prec_t BitsForDigits(long digits) {
  // ceil(digits * log2(10)) plus a guard so that D printed digits are right.
  return static_cast<mpfr_prec_t>(std::ceil(static_cast<double>(digits) * 3.321928094887362)) + 8;
}

namespace {
constexpr WorkingPrecision PrecisionOf(long digits, mpfr_prec_t bits) {
  const uint32_t words = FloatWords(bits);
  return {digits, bits, words, (words + 1) / 2};
}
}  // namespace

// Digits is 10 (42 bits) until assigned. Constant-initialized, so that it
// holds before any start-up code of any library makes a float.
constinit WorkingPrecision g_working = PrecisionOf(10, 42);

void SetWorkingPrecision(long digits) { g_working = PrecisionOf(digits, BitsForDigits(digits)); }

// ------------------------------------------------------------- integers

HostObject MakeInteger(long n) {
  if (n >= kImmediateMin && n <= kImmediateMax) return Immediate(n);
  Mpz z;
  mpz_set_si(z.v, n);
  return MakeIntegerFromMpz(z.v);
}

HostObject MakeIntegerFromMpz(mpz_srcptr z) {
  if (mpz_fits_slong_p(z)) {
    long n = mpz_get_si(z);
    if (n >= kImmediateMin && n <= kImmediateMax) return Immediate(n);
  }
  size_t limbs = mpz_size(z);
  HostObject h = AllocAtomicObject(mpz_sgn(z) < 0 ? kTagIntNeg : kTagIntPos, static_cast<uint32_t>(1 + limbs));
  HeaderOf(h)->aux = static_cast<uint32_t>(limbs);
  const mp_limb_t* src = mpz_limbs_read(z);
  std::memcpy(BigLimbs(h), src, limbs * sizeof(mp_limb_t));
  return h;
}

HostObject MakeIntegerFromString(const std::string& digits) {
  Mpz z;
  // GMP takes a minus sign only; a plus sign before a digit is ours to skip.
  const char* text = digits.c_str();
  if (text[0] == '+' && text[1] >= '0' && text[1] <= '9') ++text;
  if (mpz_set_str(z.v, text, 10) != 0) Raise("invalid integer literal: " + digits);
  return MakeIntegerFromMpz(z.v);
}

void IntegerToMpz(HostObject h, mpz_ptr out) {
  if (IsImmediate(h)) {
    mpz_set_si(out, ImmediateValue(h));
    return;
  }
  assert(IsTag(h, kTagIntPos) || IsTag(h, kTagIntNeg));
  mpz_t view;
  mpz_roinit_n(view, BigLimbs(h), static_cast<mp_size_t>(BigSize(h)));
  mpz_set(out, view);
  if (HeapTag(h) == kTagIntNeg) mpz_neg(out, out);
}

bool IntegerToLong(HostObject h, long* out) {
  if (IsImmediate(h)) {
    *out = ImmediateValue(h);
    return true;
  }
  Mpz z;
  IntegerToMpz(h, z.v);
  if (!mpz_fits_slong_p(z.v)) return false;
  *out = mpz_get_si(z.v);
  return true;
}

// ------------------------------------------------------------ rationals

bool IsExact(HostObject h) {
  if (h == nullptr) return false;
  if (IsImmediate(h)) return true;
  uint32_t t = HeapTag(h);
  return t == kTagIntPos || t == kTagIntNeg || t == kTagRational;
}

bool IsFloatObject(HostObject h) { return IsTag(h, kTagFloat); }

bool IsReal(HostObject h) { return IsExact(h) || IsFloatObject(h); }

bool ToMpq(HostObject h, mpq_ptr out) {
  if (!IsExact(h)) return false;
  if (IsTag(h, kTagRational)) {
    IntegerToMpz(Words(h)[1], mpq_numref(out));
    IntegerToMpz(Words(h)[2], mpq_denref(out));
  } else {
    IntegerToMpz(h, mpq_numref(out));
    mpz_set_ui(mpq_denref(out), 1);
  }
  return true;
}

HostObject FromMpq(mpq_srcptr q) {
  HostObject num = MakeIntegerFromMpz(mpq_numref(q));
  if (mpz_cmp_ui(mpq_denref(q), 1) == 0) return num;
  HostObject den = MakeIntegerFromMpz(mpq_denref(q));
  HostObject r = AllocObject(kTagRational, 3);
  Words(r)[1] = num;
  Words(r)[2] = den;
  return r;
}

HostObject MakeRational(HostObject num, HostObject den) {
  Mpq a, b;
  if (!ToMpq(num, a.v) || !ToMpq(den, b.v)) return Div(num, den);
  if (mpq_sgn(b.v) == 0) Raise("numeric exception: division by zero");
  mpq_div(a.v, a.v, b.v);
  return FromMpq(a.v);
}

// -------------------------------------------------------------- complex

HostObject MakeComplex(HostObject re, HostObject im) {
  if (IsExact(im) && IsZero(im)) return re;
  HostObject c = AllocObject(kTagComplex, 3);
  Words(c)[1] = re;
  Words(c)[2] = im;
  return c;
}

HostObject ComplexRe(HostObject h) { return IsTag(h, kTagComplex) ? Words(h)[1] : h; }
HostObject ComplexIm(HostObject h) { return IsTag(h, kTagComplex) ? Words(h)[2] : Immediate(0); }

// --------------------------------------------------------------- floats

HostObject NewFloat(mpfr_prec_t bits, long digits) {
  if (g_interrupt_requested) CheckInterrupt();
  uint32_t words = FloatWords(bits);
  return MakeFloatObject(words, (words + 1) / 2, bits, digits);
}

mpfr_ptr FloatMpfr(HostObject f) {
  assert(IsFloatObject(f));
  return &reinterpret_cast<FloatBody*>(f)->mp;
}

long FloatDigits(HostObject f) { return static_cast<long>(HeaderOf(f)->aux); }

HostObject MakeFloat(double d) {
  HostObject f = NewWorkingFloat();
  mpfr_set_d(FloatMpfr(f), d, MPFR_RNDN);
  return f;
}

HostObject MakeFloatFromMpfr(mpfr_srcptr x, long digits) {
  HostObject f = NewFloat(BitsForDigits(digits), digits);
  mpfr_set(FloatMpfr(f), x, MPFR_RNDN);
  return f;
}

HostObject ParseFloat(const std::string& text) {
  HostObject f = NewWorkingFloat();
  if (mpfr_set_str(FloatMpfr(f), text.c_str(), 10, MPFR_RNDN) != 0) Raise("invalid float literal: " + text);
  return f;
}

HostObject FloatUndefined() {
  HostObject f = NewWorkingFloat();
  mpfr_set_nan(FloatMpfr(f));
  return f;
}

HostObject FloatInfinity(int sign) {
  HostObject f = NewWorkingFloat();
  mpfr_set_inf(FloatMpfr(f), sign < 0 ? -1 : 1);
  return f;
}

bool ToMpfr(HostObject h, mpfr_ptr out) {
  if (IsFloatObject(h)) {
    mpfr_set(out, FloatMpfr(h), MPFR_RNDN);
    return true;
  }
  if (IsImmediate(h)) {
    mpfr_set_si(out, ImmediateValue(h), MPFR_RNDN);
    return true;
  }
  if (!IsExact(h)) return false;
  Mpq q;
  ToMpq(h, q.v);
  mpfr_set_q(out, q.v, MPFR_RNDN);
  return true;
}

// ----------------------------------------------------------- arithmetic

namespace {

enum class Op { Add, Sub, Mul, Div };

bool IsNumber(HostObject h) { return IsReal(h) || IsTag(h, kTagComplex); }

// The number of a float operand that is already at the working precision,
// used where it lies; null when it would have to be rounded first.
mpfr_srcptr InPlace(HostObject h, mpfr_prec_t bits) {
  if (!IsTag(h, kTagFloat)) return nullptr;
  mpfr_srcptr x = &reinterpret_cast<FloatBody*>(h)->mp;
  return mpfr_get_prec(x) == bits ? x : nullptr;
}

// true, with *n its value, for a nonzero immediate integer that the working
// precision holds exactly: MPFR's _si functions then round the exact result
// once, as the operation on the converted operand does. Zero is left to the
// general path, where the signs of zero results follow IEEE 754 (the _si
// functions return the other operand unchanged for 0).
bool ExactSmall(HostObject h, mpfr_prec_t bits, long* n) {
  if (!IsImmediate(h)) return false;
  *n = ImmediateValue(h);
  return *n != 0 && (bits >= 62 || std::labs(*n) < (1L << bits));
}

void Apply(Op op, mpfr_ptr z, mpfr_srcptr x, mpfr_srcptr y) {
  switch (op) {
    case Op::Add: mpfr_add(z, x, y, MPFR_RNDN); break;
    case Op::Sub: mpfr_sub(z, x, y, MPFR_RNDN); break;
    case Op::Mul: mpfr_mul(z, x, y, MPFR_RNDN); break;
    case Op::Div: mpfr_div(z, x, y, MPFR_RNDN); break;
  }
}

// z = x op n, or n op x when swapped.
void ApplyLong(Op op, mpfr_ptr z, mpfr_srcptr x, long n, bool swapped) {
  switch (op) {
    case Op::Add: mpfr_add_si(z, x, n, MPFR_RNDN); break;
    case Op::Mul: mpfr_mul_si(z, x, n, MPFR_RNDN); break;
    case Op::Sub: swapped ? mpfr_si_sub(z, n, x, MPFR_RNDN) : mpfr_sub_si(z, x, n, MPFR_RNDN); break;
    case Op::Div: swapped ? mpfr_si_div(z, n, x, MPFR_RNDN) : mpfr_div_si(z, x, n, MPFR_RNDN); break;
  }
}

// a op b rounded once to the working precision, each operand first rounded
// to the working precision. Operands already there are read in place.
HostObject FloatOp(Op op, HostObject a, HostObject b) {
  const mpfr_prec_t bits = WorkingBits();
  HostObject r = NewWorkingFloat();
  mpfr_ptr z = FloatMpfr(r);
  mpfr_srcptr x = InPlace(a, bits), y = InPlace(b, bits);
  if (x && y) {
    Apply(op, z, x, y);
    return r;
  }
  long n;
  if (x && ExactSmall(b, bits, &n)) {
    ApplyLong(op, z, x, n, false);
    return r;
  }
  if (y && ExactSmall(a, bits, &n)) {
    ApplyLong(op, z, y, n, true);
    return r;
  }
  Mpfr tx(bits), ty(bits);
  ToMpfr(a, tx.v);
  ToMpfr(b, ty.v);
  Apply(op, z, tx.v, ty.v);
  return r;
}

HostObject ExactOp(Op op, HostObject a, HostObject b) {
  if (IsImmediate(a) && IsImmediate(b) && op != Op::Div) {
    long x = ImmediateValue(a), y = ImmediateValue(b), r;
    bool overflow = op == Op::Add   ? __builtin_add_overflow(x, y, &r)
                    : op == Op::Sub ? __builtin_sub_overflow(x, y, &r)
                                    : __builtin_mul_overflow(x, y, &r);
    if (!overflow) return MakeInteger(r);
  }
  Mpq x, y;
  ToMpq(a, x.v);
  ToMpq(b, y.v);
  switch (op) {
    case Op::Add: mpq_add(x.v, x.v, y.v); break;
    case Op::Sub: mpq_sub(x.v, x.v, y.v); break;
    case Op::Mul: mpq_mul(x.v, x.v, y.v); break;
    case Op::Div:
      if (mpq_sgn(y.v) == 0) Raise("numeric exception: division by zero");
      mpq_div(x.v, x.v, y.v);
      break;
  }
  return FromMpq(x.v);
}

HostObject ComplexOp(Op op, HostObject a, HostObject b) {
  HostObject ar = ComplexRe(a), ai = ComplexIm(a), br = ComplexRe(b), bi = ComplexIm(b);
  switch (op) {
    case Op::Add: return MakeComplex(Add(ar, br), Add(ai, bi));
    case Op::Sub: return MakeComplex(Sub(ar, br), Sub(ai, bi));
    case Op::Mul: return MakeComplex(Sub(Mul(ar, br), Mul(ai, bi)), Add(Mul(ar, bi), Mul(ai, br)));
    case Op::Div: {
      HostObject den = Add(Mul(br, br), Mul(bi, bi));
      return MakeComplex(Div(Add(Mul(ar, br), Mul(ai, bi)), den), Div(Sub(Mul(ai, br), Mul(ar, bi)), den));
    }
  }
  return nullptr;
}

HostObject Arith(Op op, HostObject a, HostObject b) {
  if (IsExact(a) && IsExact(b)) return ExactOp(op, a, b);
  if (IsReal(a) && IsReal(b)) {
    if (op == Op::Div && IsExact(b) && IsZero(b)) Raise("numeric exception: division by zero");
    return FloatOp(op, a, b);
  }
  if (IsNumber(a) && IsNumber(b)) return ComplexOp(op, a, b);
  // Symbolic: keep the identities that make printed results readable.
  bool a0 = IsExact(a) && IsZero(a), b0 = IsExact(b) && IsZero(b);
  switch (op) {
    case Op::Add:
      if (a0) return b;
      if (b0) return a;
      return Operator("+", a, b);
    case Op::Sub:
      if (b0) return a;
      if (a0) return Neg(b);
      return Operator("-", a, b);
    case Op::Mul:
      if (IsExact(a) && Equal(a, Immediate(1))) return b;
      if (IsExact(b) && Equal(b, Immediate(1))) return a;
      return Operator("*", a, b);
    case Op::Div:
      if (b0) Raise("numeric exception: division by zero");
      if (IsExact(b) && Equal(b, Immediate(1))) return a;
      return Operator("/", a, b);
  }
  return nullptr;
}

}  // namespace

HostObject Add(HostObject a, HostObject b) { return Arith(Op::Add, a, b); }
HostObject Sub(HostObject a, HostObject b) { return Arith(Op::Sub, a, b); }
HostObject Mul(HostObject a, HostObject b) { return Arith(Op::Mul, a, b); }
HostObject Div(HostObject a, HostObject b) { return Arith(Op::Div, a, b); }

HostObject Neg(HostObject a) {
  if (IsExact(a)) return ExactOp(Op::Sub, Immediate(0), a);
  if (IsFloatObject(a)) {
    HostObject r = NewFloat(mpfr_get_prec(FloatMpfr(a)), FloatDigits(a));
    mpfr_neg(FloatMpfr(r), FloatMpfr(a), MPFR_RNDN);
    return r;
  }
  if (IsTag(a, kTagComplex)) return MakeComplex(Neg(ComplexRe(a)), Neg(ComplexIm(a)));
  return Operator("-", a, nullptr);
}

HostObject Pow(HostObject a, HostObject b) {
  long e;
  // Bounds first: std::labs of the most negative long is undefined.
  bool small_int =
      IsExact(b) && !IsTag(b, kTagRational) && IntegerToLong(b, &e) && e >= -1000000 && e <= 1000000;
  if (IsExact(a) && small_int) {
    Mpq q;
    ToMpq(a, q.v);
    if (e < 0) {
      if (mpq_sgn(q.v) == 0) Raise("numeric exception: division by zero");
      mpq_inv(q.v, q.v);
    }
    unsigned long n = static_cast<unsigned long>(std::labs(e));
    mpz_pow_ui(mpq_numref(q.v), mpq_numref(q.v), n);
    mpz_pow_ui(mpq_denref(q.v), mpq_denref(q.v), n);
    return FromMpq(q.v);
  }
  if (IsReal(a) && IsReal(b) && (IsFloatObject(a) || IsFloatObject(b))) {
    Mpfr x(WorkingBits()), y(WorkingBits());
    ToMpfr(a, x.v);
    HostObject r = NewWorkingFloat();
    if (IsExact(b) && !IsTag(b, kTagRational)) {
      // An integer exponent is used exactly: rounded to the working
      // precision, an odd one may turn even and flip the sign.
      Mpz n;
      IntegerToMpz(b, n.v);
      mpfr_pow_z(FloatMpfr(r), x.v, n.v, MPFR_RNDN);
      return r;
    }
    ToMpfr(b, y.v);
    RoundedPow(FloatMpfr(r), x.v, y.v, MPFR_RNDN);
    return r;
  }
  if (IsTag(a, kTagComplex) && small_int && e >= 0 && e <= 64) {
    HostObject r = Immediate(1);
    for (long i = 0; i < e; ++i) r = Mul(r, a);
    return r;
  }
  if (small_int && e == 1) return a;
  if (small_int && e == 0) return Immediate(1);
  return Operator("^", a, b);
}

int Compare(HostObject a, HostObject b) {
  if (!IsReal(a) || !IsReal(b)) Raise("cannot determine if this expression is true or false: %1 < %2", a, b);
  if (IsImmediate(a) && IsImmediate(b)) {
    long x = ImmediateValue(a), y = ImmediateValue(b);
    return x < y ? -1 : (x > y ? 1 : 0);
  }
  if (IsExact(a) && IsExact(b)) {
    Mpq x, y;
    ToMpq(a, x.v);
    ToMpq(b, y.v);
    int c = mpq_cmp(x.v, y.v);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
  }
  if (IsFloatObject(a) && mpfr_nan_p(FloatMpfr(a))) return 2;
  if (IsFloatObject(b) && mpfr_nan_p(FloatMpfr(b))) return 2;
  int c;
  if (IsFloatObject(a) && IsFloatObject(b)) {
    c = mpfr_cmp(FloatMpfr(a), FloatMpfr(b));
  } else if (IsFloatObject(a)) {
    Mpq q;
    ToMpq(b, q.v);
    c = mpfr_cmp_q(FloatMpfr(a), q.v);
  } else {
    Mpq q;
    ToMpq(a, q.v);
    c = -mpfr_cmp_q(FloatMpfr(b), q.v);
  }
  return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

bool IsZero(HostObject h) {
  if (IsImmediate(h)) return ImmediateValue(h) == 0;
  if (IsFloatObject(h)) return mpfr_zero_p(FloatMpfr(h));
  return false;  // big integers and rationals are never zero
}

}  // namespace quarn::host

extern "C" HostObject QuarnNumericAdd(QKernel, HostObject a, HostObject b) { return quarn::host::Add(a, b); }
