// Shapiro and Wilk's W test of normality (g01ddc) after Royston's algorithm
// AS R94 (Applied Statistics 44, 1995), evaluated in Arb balls and correctly
// rounded at the working precision.
//
// Coefficients: m_i = Phi^-1((i - 3/8) / (n + 1/4)) = -sqrt 2 erfcinv((8i - 3)
// / (4n + 1)) for the lower half, M = sum m_i^2, u = 1 / sqrt n; the two
// outermost coefficients are m_i / sqrt M corrected by Royston's
// polynomials in u, the others m_i / sqrt(phi) with phi chosen so that
// sum a_i^2 = 1. The polynomial constants are exact decimals, read as such.
//
// W is the squared correlation of a and x. It is formed as 1 - w1 with
// w1 = (sqrt(Saa Sxx) - Sax)(sqrt(Saa Sxx) + Sax) / (Saa Sxx), so that 1 - W
// is never the difference of two numbers near 1; a ball that still loses
// digits to the cancellation inside w1 is recomputed at a higher precision.
// The significance level is Royston's normal approximation to log(1 - W)
// (n >= 12 in log n, 4 <= n <= 11 after the transform -log(gamma - y)), the
// exact distribution for n = 3.
#include <arb_hypgeom.h>

#include <algorithm>
#include <string>

#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

namespace quarn::numerics {
namespace {

constexpr long kMinN = 3;
constexpr long kMaxN = 5000;

// The polynomial with exact decimal coefficients c[0] + c[1] x + ... at x.
void Poly(arb_ptr r, std::initializer_list<const char*> c, arb_srcptr x, slong prec) {
  Ball coef;
  arb_zero(r);
  for (auto it = std::rbegin(c); it != std::rend(c); ++it) {
    arb_mul(r, r, x, prec);
    arb_set_str(coef, *it, prec);
    arb_add(r, r, coef, prec);
  }
}

// The full coefficient vector a[0 .. n-1] for ascending data, n >= 3, at
// prec: antisymmetric, a[n-1] > 0.
void Coefficients(BallVector& a, long n, slong prec) {
  const long half = n / 2;
  Ball t, sqrt2;
  arb_sqrt_ui(sqrt2, 2, prec);
  if (n == 3) {
    arb_sqrt_ui(t, 2, prec);
    arb_inv(t, t, prec);  // sqrt(1/2)
    arb_neg(a[0], t);
    arb_zero(a[1]);
    arb_set(a[2], t);
    return;
  }
  // e[i] = erfcinv((8(i+1) - 3) / (4n + 1)) > 0, so m_{i+1} = -sqrt 2 e[i].
  BallVector e(half);
  Ball sum_e2, q;
  for (long i = 0; i < half; ++i) {
    arb_set_si(q, 8 * (i + 1) - 3);
    arb_div_si(q, q, 4 * n + 1, prec);
    arb_hypgeom_erfcinv(e[i], q, prec);
    arb_addmul(sum_e2, e[i], e[i], prec);
  }
  Ball summ2, ssumm2, u, a1, a2, num, den, fac;
  arb_mul_2exp_si(summ2, sum_e2, 2);  // M = 2 sum_{lower} m^2 = 4 sum e^2
  arb_sqrt(ssumm2, summ2, prec);
  arb_set_si(u, n);
  arb_rsqrt(u, u, prec);
  // The outer coefficients: -m_i / sqrt M plus Royston's corrections.
  auto outer = [&](arb_ptr r, long i, std::initializer_list<const char*> c) {
    Poly(r, c, u, prec);
    arb_mul(t, sqrt2, e[i], prec);
    arb_div(t, t, ssumm2, prec);
    arb_add(r, r, t, prec);
  };
  outer(a1, 0, {"0", "0.221157", "-0.147981", "-2.071190", "4.434685", "-2.706056"});
  long first_middle = 1;
  // phi = (M - 2 m_1^2 [- 2 m_2^2]) / (1 - 2 a_1^2 [- 2 a_2^2]).
  arb_set(num, summ2);
  arb_one(den);
  auto remove = [&](long i, arb_srcptr ai) {
    arb_mul(t, e[i], e[i], prec);
    arb_mul_2exp_si(t, t, 2);  // 2 m^2 = 4 e^2
    arb_sub(num, num, t, prec);
    arb_mul(t, ai, ai, prec);
    arb_mul_2exp_si(t, t, 1);
    arb_sub(den, den, t, prec);
  };
  remove(0, a1);
  if (n > 5) {
    outer(a2, 1, {"0", "0.042981", "-0.293762", "-1.752461", "5.682633", "-3.582633"});
    remove(1, a2);
    first_middle = 2;
  }
  arb_div(fac, num, den, prec);
  arb_sqrt(fac, fac, prec);
  for (long i = 0; i < half; ++i) {
    arb_ptr upper = a[n - 1 - i];
    if (i == 0) {
      arb_set(upper, a1);
    } else if (i == 1 && first_middle == 2) {
      arb_set(upper, a2);
    } else {
      arb_mul(upper, sqrt2, e[i], prec);
      arb_div(upper, upper, fac, prec);
    }
    arb_neg(a[i], upper);
  }
  if (n % 2 == 1) arb_zero(a[half]);
}

// w1 = 1 - W, the complement of the squared correlation of a and x.
void OneMinusW(arb_ptr w1, const BallVector& a, const QuarnFloat x[], long n, slong prec) {
  Ball sa, sx, ssa, ssx, sax, da, dx, t;
  for (long i = 0; i < n; ++i) {
    arb_add(sa, sa, a[i], prec);
    arb_add(sx, sx, Ball(x[i]), prec);
  }
  arb_div_si(sa, sa, n, prec);
  arb_div_si(sx, sx, n, prec);
  for (long i = 0; i < n; ++i) {
    arb_sub(da, a[i], sa, prec);
    arb_sub(dx, Ball(x[i]), sx, prec);
    arb_addmul(ssa, da, da, prec);
    arb_addmul(ssx, dx, dx, prec);
    arb_addmul(sax, da, dx, prec);
  }
  Ball prod, root;
  arb_mul(prod, ssa, ssx, prec);
  arb_sqrtpos(root, prod, prec);
  arb_sub(w1, root, sax, prec);
  arb_add(t, root, sax, prec);
  arb_mul(w1, w1, t, prec);
  arb_div(w1, w1, prod, prec);
}

// Royston's significance level for n >= 4 from w1 = 1 - W.
void SignificanceLevel(arb_ptr pw, arb_srcptr w1, long n, slong prec) {
  Ball y, mean, sd, v, gamma;
  arb_log(y, w1, prec);
  if (n <= 11) {
    arb_set_si(v, n);
    Poly(gamma, {"-2.273", "0.459"}, v, prec);
    if (arb_ge(y, gamma)) {
      arb_set_str(pw, "1e-19", prec);  // AS R94's smallest level
      return;
    }
    if (!arb_lt(y, gamma)) {  // undecided at this precision
      arb_indeterminate(pw);
      return;
    }
    arb_sub(y, gamma, y, prec);
    arb_log(y, y, prec);
    arb_neg(y, y);
    Poly(mean, {"0.5440", "-0.39978", "0.025054", "-0.0006714"}, v, prec);
    Poly(sd, {"1.3822", "-0.77857", "0.062767", "-0.0020322"}, v, prec);
  } else {
    arb_set_si(v, n);
    arb_log(v, v, prec);
    Poly(mean, {"-1.5861", "-0.31082", "-0.083751", "0.0038915"}, v, prec);
    Poly(sd, {"-0.4803", "-0.082676", "0.0030302"}, v, prec);
  }
  arb_exp(sd, sd, prec);
  // pw = 1 - Phi(z) = erfc(z / sqrt 2) / 2 for z = (y - mean) / sd.
  arb_sub(y, y, mean, prec);
  arb_div(y, y, sd, prec);
  arb_sqrt_ui(v, 2, prec);
  arb_div(y, y, v, prec);
  arb_hypgeom_erfc(pw, y, prec);
  arb_mul_2exp_si(pw, pw, -1);
}

// The exact level for n = 3: (6 / pi)(asin sqrt W - pi / 3), W >= 3/4,
// written as acos sqrt(w1) so that W = 1 is harmless.
void SignificanceLevelThree(arb_ptr pw, arb_srcptr w1, slong prec) {
  Ball t, third;
  arb_sqrtpos(t, w1, prec);
  arb_acos(pw, t, prec);
  arb_const_pi(third, prec);
  arb_div_ui(third, third, 3, prec);
  arb_sub(pw, pw, third, prec);
  arb_mul_ui(pw, pw, 6, prec);
  arb_const_pi(t, prec);
  arb_div(pw, pw, t, prec);
}

std::string Int(long v) { return std::to_string(v); }

}  // namespace
}  // namespace quarn::numerics

using namespace quarn::numerics;

void QuarnMP_g01ddc(long n, const QuarnFloat x[], Nag_Boolean calc_wts, QuarnFloat a[], QuarnFloat* w,
                    QuarnFloat* pw, NagError* fail) {
  if (n < kMinN) return Fail(fail, NE_INT_ARG_LT, "On entry, n = " + Int(n) + ".\nConstraint: n >= 3.");
  if (n > kMaxN) return Fail(fail, NE_INT_ARG_GT, "On entry, n = " + Int(n) + ".\nConstraint: n <= 5000.");
  for (long i = 0; i < n; ++i) {
    if (IsQuarnFloatUndefined(x[i])) {
      *w = *pw = Undefined();
      return Succeed(fail);
    }
  }
  const bool ascending = x[0] <= x[n - 1];
  if (x[0] == x[n - 1]) {
    bool all_equal = true;
    for (long i = 1; i < n && all_equal; ++i) all_equal = x[i] == x[0];
    if (all_equal) return Fail(fail, NE_ALL_ELEMENTS_EQUAL, "On entry, all elements of x are equal.");
  }
  for (long i = 0; i + 1 < n; ++i) {
    if (ascending ? x[i] > x[i + 1] : x[i] < x[i + 1]) {
      return Fail(fail, NE_NOT_MONOTONIC,
                  "On entry, x is not sorted: x[" + Int(i) + "] and x[" + Int(i + 1) + "] are out of order.\n" +
                      "Constraint: x must be in ascending or descending order.");
    }
  }
  const slong bits = TargetBits();
  BallVector coef(n);
  auto write_coefficients = [&] {
    if (!calc_wts) return;
    for (long i = 0; i < n; ++i) {
      a[i] = quarn::floats::Compute([&](mpfr_ptr z) {
        if (!RoundUnique(z, coef[i])) arf_get_mpfr(z, arb_midref(coef[i]), MPFR_RNDN);
      });
    }
  };
  // n = 3 with the exact coefficients: W = 3/4 and pw = 0 when the middle
  // value equals an end, W = pw = 1 when it lies midway between them.
  if (calc_wts && n == 3) {
    Ball ends, middle;
    arb_add(ends, Ball(x[0]), Ball(x[2]), ARF_PREC_EXACT);
    arb_mul_2exp_si(middle, Ball(x[1]), 1);
    const bool at_end = x[1] == x[0] || x[1] == x[2];
    if (at_end || arb_equal(ends, middle)) {
      Coefficients(coef, n, bits + kFirstGuardBits);
      write_coefficients();
      *w = QuarnFloat(at_end ? 0.75 : 1.0);
      *pw = QuarnFloat(at_end ? 0.0 : 1.0);
      return Succeed(fail);
    }
  }
  const slong cap = 16 * bits + 4096;
  Ball w1, wb, pb;
  bool done = false;
  for (slong prec = bits + kFirstGuardBits + 2 * MagnitudeBits(static_cast<double>(n));;) {
    if (calc_wts) {
      Coefficients(coef, n, prec);
    } else {
      for (long i = 0; i < n; ++i) {
        arf_set_mpfr(arb_midref(coef[i]), a[i].Mpfr());
        mag_zero(arb_radref(coef[i]));
      }
    }
    OneMinusW(w1, coef, x, n, prec);
    OneMinusExact(wb, w1);
    if (n == 3) {
      SignificanceLevelThree(pb, w1, prec);
      if (arb_is_negative(pb)) arb_zero(pb);  // max(0, .) for coefficients not exactly the standard ones
    } else {
      SignificanceLevel(pb, w1, n, prec);
    }
    bool w_unique = false, p_unique = false;
    QuarnFloat wf = quarn::floats::Compute([&](mpfr_ptr z) { w_unique = RoundUnique(z, wb); });
    QuarnFloat pf = quarn::floats::Compute([&](mpfr_ptr z) { p_unique = RoundUnique(z, pb); });
    done = w_unique && p_unique;
    if (done || prec >= cap) {
      *w = wf;
      *pw = pf;
      break;
    }
    prec = std::min(cap, prec + std::max(prec / 2, 2 * kGuardBits));
  }
  write_coefficients();
  done ? Succeed(fail) : ReportPrecision(fail, "QuarnMP_g01ddc");
}
