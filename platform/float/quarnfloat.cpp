// The out-of-line parts of QuarnFloat: the cached zero, conversion from host
// objects, and the calls that go through the host's evaluator.
#include "platform/float/quarnfloat.h"

#include <gmp.h>

#include <cassert>

namespace quarn::floats {

namespace {

// The zeros handed out by the default constructor, one per working precision
// seen recently. The table is static data of this library, which the
// collector scans, so a cached zero stays alive without a protection; sharing
// it is safe because floats are never written after they are made.
struct ZeroSlot {
  long digits;
  mpfr_prec_t bits;
  HostObject zero;
};
constexpr int kZeroSlots = 8;
ZeroSlot g_zeros[kZeroSlots];
int g_next_zero_slot = 0;

struct Mpq {
  mpq_t v;
  Mpq() { mpq_init(v); }
  ~Mpq() { mpq_clear(v); }
  Mpq(const Mpq&) = delete;
  Mpq& operator=(const Mpq&) = delete;
};

// An exact integer or rational, correctly rounded to the working precision.
HostObject ExactToFloat(HostObject h) {
  HostObject f = NewWorkingFloat();
  mpfr_ptr z = MpfrOf(f);
  long n;
  if (host::KindOf(h) == host::Kind::Integer) {
    if (host::IntegerToLong(h, &n)) {
      mpfr_set_si(z, n, MPFR_RNDN);
    } else {
      Mpq big;
      host::IntegerToMpz(h, mpq_numref(big.v));
      mpfr_set_z(z, mpq_numref(big.v), MPFR_RNDN);
    }
    return f;
  }
  // A rational: numerator and denominator are integers, the denominator
  // positive; mpfr_set_q rounds the exact quotient once.
  Mpq q;
  host::IntegerToMpz(host::Slot(h, 1), mpq_numref(q.v));
  host::IntegerToMpz(host::Slot(h, 2), mpq_denref(q.v));
  mpfr_set_q(z, q.v, MPFR_RNDN);
  return f;
}

bool IsExact(HostObject h) {
  host::Kind k = host::KindOf(h);
  return k == host::Kind::Integer || k == host::Kind::Rational;
}

void* EvalfBody(void* data) { return host::Evalf(static_cast<HostObject>(data)); }

}  // namespace

HostObject WorkingZero() {
  long digits = host::WorkingDigits();
  mpfr_prec_t bits = host::WorkingBits();
  for (const ZeroSlot& s : g_zeros) {
    if (s.zero != nullptr && s.digits == digits && s.bits == bits) return s.zero;
  }
  HostObject zero = host::NewFloat(bits, digits);
  mpfr_set_zero(MpfrOf(zero), 1);
  g_zeros[g_next_zero_slot] = {digits, bits, zero};
  g_next_zero_slot = (g_next_zero_slot + 1) % kZeroSlots;
  return zero;
}

HostObject ConvertToFloat(HostObject h) {
  assert(h != nullptr);
  if (host::IsTag(h, kTagFloat)) return h;
  if (IsExact(h)) return ExactToFloat(h);
  // Named constants, calls of known functions and the like: the host's
  // evalf decides. Its own errors are trapped so that every failure reads
  // the same and quotes the object the caller gave.
  int trapped = 0;
  auto r = static_cast<HostObject>(QuarnTrapError(host::Kernel(), EvalfBody, h, &trapped));
  if (!trapped && r != nullptr) {
    if (host::IsTag(r, kTagFloat)) return r;
    if (IsExact(r)) return ExactToFloat(r);
  }
  host::Raise("unable to evaluate %1 to floating-point", h);
}

}  // namespace quarn::floats

QuarnFloat QuarnFloat::FromMpfr(mpfr_srcptr x) {
  return quarn::floats::Compute([&](mpfr_ptr z) { mpfr_set(z, x, MPFR_RNDN); });
}

QuarnFloat QuarnFloatUndefined() {
  return quarn::floats::Compute([](mpfr_ptr z) { mpfr_set_nan(z); });
}

QuarnFloat QuarnEvalf1(const char* name, const QuarnFloat& x) {
  namespace host = quarn::host;
  mpfr_srcptr xm = x.Mpfr();
  QuarnFloat r = quarn::floats::Compute([&](mpfr_ptr z) { mpfr_set(z, xm, MPFR_RNDN); });
  mpfr_ptr z = quarn::floats::MpfrOf(r.Handle());
  bool known;
  if (mpfr_get_prec(xm) <= mpfr_get_prec(z)) {
    // x fits the result exactly: evaluate in place in the fresh object.
    known = host::EvalfFunction(name, z);
  } else {
    // x carries more bits than the working precision: evaluate at x's own
    // precision so that the function sees x itself, then round once more.
    HostObject wide = host::NewFloat(mpfr_get_prec(xm), host::FloatDigits(x.Handle()));
    mpfr_ptr w = quarn::floats::MpfrOf(wide);
    mpfr_set(w, xm, MPFR_RNDN);
    known = host::EvalfFunction(name, w);
    mpfr_set(z, w, MPFR_RNDN);
  }
  if (!known) {
    host::Raise("unable to evaluate %1 to floating-point", host::MakeFunction(host::Name(name), {x.Handle()}));
  }
  return r;
}
