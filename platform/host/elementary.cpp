// Elementary functions evaluated with Arb and rounded when the ball allows it
// (after a second evaluation at more bits if the first does not), otherwise
// by MPFR. MPFR's correctly rounded exp, log and the
// trigonometric functions run 2-17 times slower than Arb's at 50-300 bits,
// and the closed-form distributions are made of little else.
#include "platform/host/elementary.h"

#include <arb.h>

#include <algorithm>
#include <bit>
#include <cmath>

namespace quarn::host {

namespace {

// Bits above the target precision of the first Arb evaluation. Arb's balls
// come back a few ulps of the evaluation precision wide, so the first
// evaluation fails to round about once in a few hundred calls (values within
// about 2^-9 of a rounding boundary, relative to the target ulp). Few guard
// bits matter because Arb's cost rises by steps with the limbs it works on:
// exp at 174 bits (Digits 50) costs 205 ns with 10 guard bits and 245 ns
// with 24.
constexpr slong kFirstGuardBits = 12;
// Bits above the target, beyond what the first evaluation lost, of the
// second: only values within about 2^-60 of a boundary (in practice, exact
// results and ties) are then left to MPFR.
constexpr slong kRetryGuardBits = 64;

// Arguments with exponents beyond these go straight to MPFR: larger ones
// overflow or need long argument reductions, smaller ones are of no use to
// the speed of anything.
constexpr mpfr_exp_t kMaxArgExponent = 32;
constexpr mpfr_exp_t kMinArgExponent = -(1L << 20);

using ArbUnary = void (*)(arb_ptr, arb_srcptr, slong);
using MpfrUnary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);

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

// The precision of the second evaluation when the first, at prec bits, did
// not round to bits: the bits the first one lost (a few, or many after a
// cancellation near a zero or a pole of the function, as in tan close to
// pi/2) plus the retry guard. Zero when the ball says nothing (not finite,
// or around zero), which is left to MPFR.
slong RetryPrecision(const arb_t r, slong prec, mpfr_prec_t bits) {
  if (!arb_is_finite(r)) return 0;
  slong acc = arb_rel_accuracy_bits(r);
  if (acc < -4 * prec) return 0;
  slong lost = prec > acc ? prec - acc : 0;
  return static_cast<slong>(bits) + lost + kRetryGuardBits;
}

// Rounds eval(ball, prec), the function at the precision asked for, to z,
// with at most two evaluations; false when neither rounds.
template <class Eval>
bool RoundedByArb(mpfr_ptr z, int* ternary, Eval&& eval, slong loss_bits = 0) {
  const mpfr_prec_t bits = mpfr_get_prec(z);
  const slong prec = bits + kFirstGuardBits + loss_bits;
  arb_t r;
  arb_init(r);
  eval(r, prec);
  bool done = RoundBall(z, r, ternary);
  if (!done) {
    if (slong again = RetryPrecision(r, prec, bits)) {
      eval(r, again);
      done = RoundBall(z, r, ternary);
    }
  }
  arb_clear(r);
  return done;
}

// The bits a function loses to cancellation at x, foreseen from x as a
// double, so that the first evaluation carries them.
using LossFunction = slong (*)(double);

slong NoLoss(double) { return 0; }

// -log2 |v| for a value v of at most 1 that comes out of a cancellation.
slong CancelledBits(double v) {
  v = std::fabs(v);
  return v >= 0.5 ? 0 : (v > 0 ? -std::ilogb(v) : 64);
}

// Arb reduces the argument of sin and cos at the precision asked for, so
// their values next to zeros (other than sin's at 0) are only as accurate,
// relative to their size, as the bits that remain; tan is sin / cos and
// loses at the zeros of both.
slong SinLoss(double x) { return std::fabs(x) < 1.0 ? 0 : CancelledBits(std::sin(x)); }
slong CosLoss(double x) { return CancelledBits(std::cos(x)); }
slong TanLoss(double x) { return std::max(SinLoss(x), CosLoss(x)); }

template <ArbUnary F, MpfrUnary Fallback, LossFunction Loss = NoLoss>
int Unary(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (rnd == MPFR_RNDN && ArbFriendly(x)) {
    // x as a ball: the same limbs, exactly (z may be x, and is written last).
    arb_t a;
    arb_init(a);
    arf_set_mpfr(arb_midref(a), x);
    int ternary;
    bool done = RoundedByArb(
        z, &ternary, [&](arb_ptr r, slong prec) { F(r, a, prec); }, Loss(mpfr_get_d(x, MPFR_RNDN)));
    arb_clear(a);
    if (done) return ternary;
  }
  return Fallback(z, x, rnd);
}

}  // namespace

// From this precision on, e^n for an integer n is a power of Arb's cached e
// rather than Arb's exp: 1.3 us against 7.5 at 1700 bits for n = 40, and
// faster for every |n| up to 2^16 from 400 bits on.
constexpr mpfr_prec_t kPowerExpBits = 256;
constexpr unsigned long kPowerExpMaxN = 1UL << 16;

int RoundedExp(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (rnd == MPFR_RNDN && mpfr_get_prec(z) >= kPowerExpBits && mpfr_regular_p(x) && mpfr_integer_p(x) &&
      mpfr_cmpabs_ui(x, kPowerExpMaxN) <= 0) {
    const long n = mpfr_get_si(x, MPFR_RNDN);
    const unsigned long m = static_cast<unsigned long>(n < 0 ? -n : n);
    // The power loses about log2 m bits, which the first evaluation carries.
    const slong loss = static_cast<slong>(std::bit_width(m));
    int ternary;
    if (RoundedByArb(z, &ternary, [&](arb_ptr r, slong prec) {
          arb_const_e(r, prec + loss);
          arb_pow_ui(r, r, m, prec);
          if (n < 0) arb_inv(r, r, prec);
        }, loss)) {
      return ternary;
    }
  }
  return Unary<arb_exp, mpfr_exp>(z, x, rnd);
}

int RoundedLog(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) {
  // Negative arguments are NaN and log(1) = 0 exactly: both MPFR's.
  if (mpfr_sgn(x) <= 0) return mpfr_log(z, x, rnd);
  return Unary<arb_log, mpfr_log>(z, x, rnd);
}

int RoundedExpm1(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) { return Unary<arb_expm1, mpfr_expm1>(z, x, rnd); }

int RoundedLog1p(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) {
  // At and below -1 the value is -infinity or NaN: MPFR's.
  if (mpfr_cmp_si(x, -1) <= 0) return mpfr_log1p(z, x, rnd);
  return Unary<arb_log1p, mpfr_log1p>(z, x, rnd);
}

int RoundedSin(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) { return Unary<arb_sin, mpfr_sin, SinLoss>(z, x, rnd); }
int RoundedCos(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) { return Unary<arb_cos, mpfr_cos, CosLoss>(z, x, rnd); }
int RoundedTan(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) { return Unary<arb_tan, mpfr_tan, TanLoss>(z, x, rnd); }
int RoundedAtan(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd) { return Unary<arb_atan, mpfr_atan>(z, x, rnd); }

int RoundedPow(mpfr_ptr z, mpfr_srcptr x, mpfr_srcptr y, mpfr_rnd_t rnd) {
  // A positive base and a non-integer exponent: exp(y log x) in Arb. Integer
  // exponents (exact products, often exactly representable) and every other
  // case keep MPFR's conventions and speed.
  if (rnd == MPFR_RNDN && mpfr_sgn(x) > 0 && ArbFriendly(x) && ArbFriendly(y) && !mpfr_integer_p(y)) {
    arb_t a, b;
    arb_init(a);
    arb_init(b);
    arf_set_mpfr(arb_midref(a), x);
    arf_set_mpfr(arb_midref(b), y);
    int ternary;
    bool done = RoundedByArb(z, &ternary, [&](arb_ptr r, slong prec) { arb_pow(r, a, b, prec); });
    arb_clear(a);
    arb_clear(b);
    if (done) return ternary;
  }
  return mpfr_pow(z, x, y, rnd);
}

}  // namespace quarn::host
