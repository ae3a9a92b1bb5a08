// Elementary functions evaluated once with Arb and rounded when the ball
// allows it, otherwise by MPFR. MPFR's correctly rounded exp, log and the
// trigonometric functions run 2-17 times slower than Arb's at 50-300 bits,
// and the closed-form distributions are made of little else.
#include "platform/host/elementary.h"

#include <arb.h>

namespace quarn::host {

namespace {

// Bits above the target precision for the one Arb evaluation. Arb's balls
// come back a few ulps of the evaluation precision wide, so a value fails to
// round only when it lies within about 2^-20 of a rounding boundary (relative
// to the target ulp): about one call in 10^5, which then pays for MPFR too.
constexpr slong kGuardBits = 24;

// Arguments with exponents beyond these go straight to MPFR: larger ones
// overflow or need long argument reductions, smaller ones are of no use to
// the speed of anything.
constexpr mpfr_exp_t kMaxArgExponent = 32;
constexpr mpfr_exp_t kMinArgExponent = -(1L << 20);

using ArbUnary = void (*)(arb_ptr, arb_srcptr, slong);
using MpfrUnary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);

// The balls of one evaluation, cleared on every way out.
struct Balls {
  arb_t a, b, r;
  Balls() {
    arb_init(a);
    arb_init(b);
    arb_init(r);
  }
  ~Balls() {
    arb_clear(a);
    arb_clear(b);
    arb_clear(r);
  }
  Balls(const Balls&) = delete;
  Balls& operator=(const Balls&) = delete;
};

bool ArbFriendly(mpfr_srcptr x) {
  if (!mpfr_regular_p(x)) return false;
  mpfr_exp_t e = mpfr_get_exp(x);
  return e <= kMaxArgExponent && e >= kMinArgExponent;
}

// Rounds the ball r to z when every point of it rounds to the same number of
// z's precision and that number's exponent lies safely inside MPFR's range.
// Returns false, leaving z untouched, when not. arb_can_round_mpfr decides as
// mpfr_can_round does, which for rounding to nearest refuses any ball that
// holds a number of one bit more precision (every representable number and
// every midpoint between two): a ball that passes holds neither, so the
// direction in which its midpoint rounds is the direction for the exact
// value too, and that is the ternary value.
bool RoundBall(mpfr_ptr z, const arb_t r, int* ternary) {
  if (!arb_is_finite(r) || arf_is_zero(arb_midref(r))) return false;
  const arf_struct* mid = arb_midref(r);
  if (arf_cmpabs_2exp_si(mid, mpfr_get_emin() + 2) < 0 || arf_cmpabs_2exp_si(mid, mpfr_get_emax() - 2) >= 0) {
    return false;
  }
  if (!arb_can_round_mpfr(r, mpfr_get_prec(z), MPFR_RNDN)) return false;
  *ternary = arf_get_mpfr(z, mid, MPFR_RNDN);
  return true;
}

// The precision of a second evaluation when the first, at prec bits, gave a
// ball of acc_bits relative accuracy that did not round to bits: the first
// one's loss (cancellation near a zero or a pole of the function, as in tan
// close to pi/2) made up, plus the guard. Zero when a second evaluation is
// not worth making (the ball was accurate, so the value lies on or next to a
// rounding boundary, which MPFR settles).
slong RetryPrecision(const arb_t r, slong prec, mpfr_prec_t bits) {
  if (!arb_is_finite(r)) return 0;
  slong acc = arb_rel_accuracy_bits(r);
  if (acc >= static_cast<slong>(bits) + kGuardBits / 2) return 0;
  // A ball around zero, or one that lost more than it kept many times over,
  // is left to MPFR.
  if (acc < -4 * prec) return 0;
  return prec + (prec - acc) + kGuardBits;
}

template <ArbUnary F, MpfrUnary Fallback>
int Unary(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (rnd == MPFR_RNDN && ArbFriendly(x)) {
    Balls s;
    arf_set_mpfr(arb_midref(s.a), x);
    const mpfr_prec_t bits = mpfr_get_prec(z);
    const slong prec = bits + kGuardBits;
    F(s.r, s.a, prec);
    int ternary;
    if (RoundBall(z, s.r, &ternary)) return ternary;
    if (slong again = RetryPrecision(s.r, prec, bits)) {
      F(s.r, s.a, again);
      if (RoundBall(z, s.r, &ternary)) return ternary;
    }
  }
  return Fallback(z, x, rnd);
}

}  // namespace

int RoundedExp(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) { return Unary<arb_exp, mpfr_exp>(z, x, rnd); }

int RoundedLog(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) {
  // Negative arguments are NaN and log(1) = 0 exactly: both MPFR's.
  if (mpfr_sgn(x) <= 0) return mpfr_log(z, x, rnd);
  return Unary<arb_log, mpfr_log>(z, x, rnd);
}

int RoundedSin(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) { return Unary<arb_sin, mpfr_sin>(z, x, rnd); }
int RoundedCos(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) { return Unary<arb_cos, mpfr_cos>(z, x, rnd); }
int RoundedTan(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) { return Unary<arb_tan, mpfr_tan>(z, x, rnd); }
int RoundedAtan(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) { return Unary<arb_atan, mpfr_atan>(z, x, rnd); }

int RoundedPow(mpfr_ptr z, mpfr_srcptr x, mpfr_srcptr y, mpfr_rnd_t rnd) {
  // A positive base and a non-integer exponent: exp(y log x) in Arb. Integer
  // exponents (exact products, often exactly representable) and every other
  // case keep MPFR's conventions and speed.
  if (rnd == MPFR_RNDN && mpfr_sgn(x) > 0 && ArbFriendly(x) && ArbFriendly(y) && !mpfr_integer_p(y)) {
    Balls s;
    arf_set_mpfr(arb_midref(s.a), x);
    arf_set_mpfr(arb_midref(s.b), y);
    arb_pow(s.r, s.a, s.b, mpfr_get_prec(z) + kGuardBits);
    int ternary;
    if (RoundBall(z, s.r, &ternary)) return ternary;
  }
  return mpfr_pow(z, x, y, rnd);
}

}  // namespace quarn::host
