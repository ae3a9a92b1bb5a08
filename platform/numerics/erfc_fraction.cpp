// erfc at a double argument y >= 2 and a precision within double-double
// reach, by Laplace's continued fraction summed in double-double arithmetic
// with a proven bound on its error. Arb's erfc sums a convergent series
// there (its asymptotic expansion cannot reach the precision at moderate y),
// which costs several times more at one or two limbs.
#include <arb.h>

#include <cmath>

#include "platform/numerics/internal.h"

namespace quarn::numerics {

namespace {

// A double-double number hi + lo with |lo| <= ulp(hi) / 2.
struct Dd {
  double hi, lo;
};

// The error-free transformations (Knuth's two-sum, Dekker's fast two-sum
// for |a| >= |b|, the product through a fused multiply-add).
Dd TwoSum(double a, double b) {
  const double s = a + b, bb = s - a;
  return {s, (a - (s - bb)) + (b - bb)};
}

Dd FastTwoSum(double a, double b) {
  const double s = a + b;
  return {s, b - (s - a)};
}

Dd TwoProd(double a, double b) {
  const double p = a * b;
  return {p, std::fma(a, b, -p)};
}

// x c, with relative error at most 2u^2 (u = 2^-53): Joldes, Muller and
// Popescu, "Tight and rigorous error bounds for basic building blocks of
// double-word arithmetic", ACM TOMS 44(2), 2017, algorithm DWTimesFP3.
Dd Times(Dd x, double c) {
  const Dd p = TwoProd(x.hi, c);
  return FastTwoSum(p.hi, std::fma(x.lo, c, p.lo));
}

// x + y, with relative error at most 3u^2 + 13u^3 (the same paper,
// AccurateDWPlusDW).
Dd Plus(Dd x, Dd y) {
  const Dd s = TwoSum(x.hi, y.hi), t = TwoSum(x.lo, y.lo);
  const Dd v = FastTwoSum(s.hi, s.lo + t.hi);
  return FastTwoSum(v.hi, t.lo + v.lo);
}

// The exact value of x as a ball with relative radius n 2^-103.
void DdBall(arb_ptr out, Dd x, slong n) {
  arf_t lo;
  arf_init(lo);
  arf_set_d(arb_midref(out), x.hi);
  arf_set_d(lo, x.lo);
  arf_add(arb_midref(out), arb_midref(out), lo, ARF_PREC_EXACT, ARF_RND_DOWN);
  arf_clear(lo);
  arf_get_mag(arb_radref(out), arb_midref(out));
  mag_mul_ui(arb_radref(out), arb_radref(out), static_cast<ulong>(n));
  mag_mul_2exp_si(arb_radref(out), arb_radref(out), -103);
}

// Below this y the fraction needs too many terms to pay (above it,
// kMaxTerms decides).
constexpr double kMinArgument = 2.0;
// No level within the doubles' range has its deviate beyond this y (they
// end near 26.5), and up to it the terms stay within that range for
// kMaxTerms steps.
constexpr double kMaxArgument = 40.0;
constexpr slong kMaxTerms = 64;
// The precisions the double-double sums cover: their error after kMaxTerms
// steps stays below 2^-97.
constexpr slong kMaxPrec = 90;

}  // namespace

// sqrt(Pi) exp(y^2) erfc(y) = 1/(y + (1/2)/(y + 1/(y + (3/2)/(y + ...)))),
// the fraction K(a_k / y) with a_1 = 1, a_k = (k - 1)/2, all positive. Its
// convergents A_k / B_k come from the forward recurrence
// X_k = y X_{k-1} + a_k X_{k-2} (A_{-1} = 1, A_0 = 0, B_{-1} = 0, B_0 = 1),
// and the value lies between two consecutive ones: it is S_N(w) for the
// Moebius map S_N of the first N levels and a tail w in [0, infinity),
// while A_N/B_N = S_N(0) and A_{N-1}/B_{N-1} = S_N(infinity). N is where
// their difference, prod a_k / (B_{N-1} B_N), falls below 2^-(prec + 6) of
// the value (estimated in doubles; the bracket is what counts).
//
// Every A_k and B_k is a sum of positive terms, so in double-double each
// carries at most the largest relative error of its inputs plus that of one
// product (2u^2) and one sum (3u^2 + 13u^3): below k 2^-103 after k steps
// (5u^2 + 13u^3 per step against 2^-103 = 8u^2, with room for the products
// of errors).
bool ErfcFraction(arb_ptr res, arb_srcptr y, slong prec) {
  if (prec > kMaxPrec || !arb_is_exact(y) || !arf_is_finite(arb_midref(y))) return false;
  if (arf_bits(arb_midref(y)) > 53) return false;
  const double yd = arf_get_d(arb_midref(y), ARF_RND_NEAR);
  if (!(yd >= kMinArgument && yd <= kMaxArgument)) return false;

  Dd a_prev{1.0, 0.0}, a_cur{0.0, 0.0}, b_prev{0.0, 0.0}, b_cur{1.0, 0.0};
  const double wanted = std::ldexp(1.0, -static_cast<int>(prec) - 6) / (2.0 * yd);  // the value exceeds 1/(2y)
  double numerators = 1.0;                                                           // prod a_k
  slong n = 0;
  for (slong k = 1;; ++k) {
    if (k > kMaxTerms) return false;
    const double ak = k == 1 ? 1.0 : 0.5 * static_cast<double>(k - 1);
    numerators *= ak;
    // a_k X_{k-2}: the integer k - 1 times X, then halved exactly.
    auto step = [&](Dd prev, Dd cur) {
      Dd tail = k == 1 ? prev : Times(prev, static_cast<double>(k - 1));
      if (k > 1) tail = {0.5 * tail.hi, 0.5 * tail.lo};
      return Plus(Times(cur, yd), tail);
    };
    const Dd a_next = step(a_prev, a_cur), b_next = step(b_prev, b_cur);
    a_prev = a_cur;
    a_cur = a_next;
    b_prev = b_cur;
    b_cur = b_next;
    if (k >= 2 && numerators / (b_prev.hi * b_cur.hi) <= wanted) {
      n = k;
      break;
    }
  }

  Ball num, den, last, t;
  DdBall(num, a_cur, n);
  DdBall(den, b_cur, n);
  arb_div(last, num, den, prec + 4);
  DdBall(num, a_prev, n);
  DdBall(den, b_prev, n);
  arb_div(t, num, den, prec + 4);
  arb_union(last, last, t, prec + 4);
  // times exp(-y^2) / sqrt(Pi); y^2 is exact at 106 bits.
  arb_mul(t, y, y, 2 * 53 + 2);
  arb_neg(t, t);
  arb_exp(t, t, prec + 4);
  arb_mul(res, last, t, prec + 4);
  arb_const_sqrt_pi(t, prec + 4);
  arb_div(res, res, t, prec);
  return true;
}

}  // namespace quarn::numerics
