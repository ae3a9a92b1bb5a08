// The Durbin-Watson statistic and the significance of its bounds (g02fcc).
//
// d = sum (r_{i+1} - r_i)^2 / sum r_i^2. The nonzero eigenvalues of the
// Durbin-Watson matrix are l_j = 2 (1 - cos(pi j / n)) = 4 sin^2(pi j / 2n),
// j = 1 .. n - 1, increasing, and for a fit with p parameters
//   d_L = sum_{i=1}^{n-p} l_i u_i^2 / sum u_i^2,
//   d_U = sum_{i=1}^{n-p} l_{i+p-1} u_i^2 / sum u_i^2,   u_i iid N(0, 1),
// bound the statistic's null distribution. pdl = P(d_L <= d) >= pdu =
// P(d_U <= d) are P(sum a_j u_j^2 <= 0) for a_j = l_j - d over the two index
// sets, by Imhof's inversion of the characteristic function:
//   P = 1/2 - (1/pi) int_0^inf sin(theta(t)) / (t rho(t)) dt,
//   theta(t) = 1/2 sum atan(a_j t),  rho(t) = prod (1 + a_j^2 t^2)^(1/4).
// With t = e^s the integrand sin(theta) / rho is analytic on the strip
// |Im s| < pi/2 and is integrated over [s_lo, s_hi] with Arb's rigorous
// Gauss-Legendre integration; the two neglected ends are bounded by
//   int_0^t_lo <= A t_lo / 2 (|atan x| <= |x|, A = sum |a_j|) and
//   int_T^inf <= (2 / m) T^(-m/2) / prod |a_j|^(1/2)   (m terms),
// and added to the ball. The result is correctly rounded at the working
// precision (the precision is raised until its ball rounds to one float).
#include <acb_calc.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

namespace quarn::numerics {
namespace {

struct ImhofTerms {
  const BallVector* a;
  slong m;
};

// theta and log rho at a real t from z = prod (1 + i a_j t), without a
// transcendental call per term: 2 theta = arg z + 2 pi k and rho^2 = |z|.
// The product is carried as an exact point z~ and a relative error bound D,
// z = z~ (1 + eta) with |eta| <= D: each step multiplies the point by the
// factor's ball and moves the box's half-diagonal into D. (Boxes carried
// through the product would inflate at every turn of z, the wrapping
// effect.) Then |arg(1 + eta)| <= asin D <= 2D and |log|1 + eta|| <= 2D for
// D <= 1/2, and k is the whole number of turns between the double-precision
// sum of the atans (off by some 1e-13) and arg z~. Returns false, leaving
// the work to the caller, when D is not small.
bool SumsByProduct(arb_ptr theta, arb_ptr logrho, arb_srcptr t, const BallVector& a, slong m, slong prec) {
  const slong wp = prec + 2 * MagnitudeBits(static_cast<double>(m));
  const double td = arf_get_d(arb_midref(t), ARF_RND_NEAR);
  double phase = 0;
  acb_t z, f;
  acb_init(z);
  acb_init(f);
  acb_one(z);
  arb_one(acb_realref(f));
  mag_t d, step, low, other;
  mag_init(d);
  mag_init(step);
  mag_init(low);
  mag_init(other);
  for (slong j = 0; j < m; ++j) {
    arb_mul(acb_imagref(f), a[j], t, wp);
    acb_mul(z, z, f, wp);
    // step >= |box half-diagonal| / |midpoint|; |z| >= 1 keeps the midpoint off 0.
    mag_hypot(step, arb_radref(acb_realref(z)), arb_radref(acb_imagref(z)));
    arf_get_mag_lower(low, arb_midref(acb_realref(z)));
    arf_get_mag_lower(other, arb_midref(acb_imagref(z)));
    mag_max(low, low, other);
    mag_div(step, step, low);
    mag_mul(other, d, step);
    mag_add(d, d, step);
    mag_add(d, d, other);
    acb_get_mid(z, z);
    phase += std::atan(arf_get_d(arb_midref(a[j]), ARF_RND_NEAR) * td);
  }
  const bool small = mag_cmp_2exp_si(d, -8) < 0;
  if (small) {
    Ball turn;
    mag_mul_2exp_si(d, d, 1);  // 2D
    acb_arg(theta, z, prec);
    arb_const_pi(turn, prec);
    arb_mul_2exp_si(turn, turn, 1);
    const double k = std::nearbyint((phase - arf_get_d(arb_midref(theta), ARF_RND_NEAR)) / (2 * M_PI));
    arb_addmul_si(theta, turn, static_cast<slong>(k), prec);
    arb_add_error_mag(theta, d);
    arb_mul_2exp_si(theta, theta, -1);
    acb_abs(logrho, z, prec);
    arb_log(logrho, logrho, prec);
    arb_add_error_mag(logrho, d);
    arb_mul_2exp_si(logrho, logrho, -1);
  }
  mag_clear(d);
  mag_clear(step);
  mag_clear(low);
  mag_clear(other);
  acb_clear(z);
  acb_clear(f);
  return small;
}

// sin(theta(t)) / rho(t) at t = e^s. A real point goes through the product
// above, a real segment through real atan and log1p, a complex box through
// complex logarithms, which report a branch cut by an indeterminate result
// where the integrator asks for analyticity.
int Integrand(acb_ptr out, const acb_t s, void* param, slong order, slong prec) {
  const ImhofTerms& terms = *static_cast<const ImhofTerms*>(param);
  const BallVector& a = *terms.a;
  acb_t t, theta, logrho, z, lp, lm;
  acb_init(t);
  acb_init(theta);
  acb_init(logrho);
  acb_init(z);
  acb_init(lp);
  acb_init(lm);
  acb_exp(t, s, prec);
  if (order == 0 && acb_is_real(t)) {
    // Points (Gauss-Legendre nodes) by the product; a wide segment by the
    // monotone atan and log1p, which enclose it far more tightly.
    const bool point = arb_rel_accuracy_bits(acb_realref(t)) > prec / 2;
    if (!point || !SumsByProduct(acb_realref(theta), acb_realref(logrho), acb_realref(t), a, terms.m, prec)) {
      Ball x, v;
      for (slong j = 0; j < terms.m; ++j) {
        arb_mul(x, a[j], acb_realref(t), prec);
        arb_atan(v, x, prec);
        arb_add(acb_realref(theta), acb_realref(theta), v, prec);
        arb_sqr(x, x, prec);
        arb_log1p(v, x, prec);
        arb_add(acb_realref(logrho), acb_realref(logrho), v, prec);
      }
      arb_mul_2exp_si(acb_realref(theta), acb_realref(theta), -1);
      arb_mul_2exp_si(acb_realref(logrho), acb_realref(logrho), -2);
    }
  } else {
    // atan(w) = (i/2)(log(1 - i w) - log(1 + i w)); log(1 + w^2) is the sum.
    for (slong j = 0; j < terms.m; ++j) {
      acb_mul_arb(z, t, a[j], prec);
      acb_mul_onei(z, z);
      acb_add_ui(lp, z, 1, prec);
      acb_log_analytic(lp, lp, order != 0, prec);
      acb_neg(z, z);
      acb_add_ui(lm, z, 1, prec);
      acb_log_analytic(lm, lm, order != 0, prec);
      acb_add(logrho, logrho, lm, prec);
      acb_add(logrho, logrho, lp, prec);
      acb_sub(lm, lm, lp, prec);
      acb_add(theta, theta, lm, prec);
    }
    acb_mul_onei(theta, theta);
    acb_mul_2exp_si(theta, theta, -2);
    acb_mul_2exp_si(logrho, logrho, -2);
  }
  acb_sin(out, theta, prec);
  acb_neg(logrho, logrho);
  acb_exp(logrho, logrho, prec);
  acb_mul(out, out, logrho, prec);
  acb_clear(t);
  acb_clear(theta);
  acb_clear(logrho);
  acb_clear(z);
  acb_clear(lp);
  acb_clear(lm);
  return 0;
}

}  // namespace

void ImhofProbability(arb_ptr out, const BallVector& a, slong m, slong prec) {
  // Ends of the range in s = log t, chosen in double precision; their
  // neglected integrals are bounded rigorously below.
  double sum_abs = 0, sum_log = 0;
  for (slong j = 0; j < m; ++j) {
    double v = std::fabs(arf_get_d(arb_midref(a[j]), ARF_RND_NEAR));
    sum_abs += v;
    sum_log += std::log(v);
  }
  const double log_eps = -static_cast<double>(prec + 8) * std::log(2.0);
  const double s_lo = log_eps + std::log(2.0 / sum_abs);
  const double s_hi = (2.0 / static_cast<double>(m)) * (std::log(2.0 / static_cast<double>(m)) - sum_log / 2 - log_eps);

  ImhofTerms terms{&a, m};
  acb_t res, lo, hi;
  acb_init(res);
  acb_init(lo);
  acb_init(hi);
  arb_set_d(acb_realref(lo), s_lo);
  arb_set_d(acb_realref(hi), std::max(s_hi, s_lo + 1));
  mag_t tol;
  mag_init(tol);
  mag_set_ui_2exp_si(tol, 1, -prec - 4);
  acb_calc_integrate_opt_t options;
  acb_calc_integrate_opt_init(options);
  options->eval_limit = 1000 * prec + 100000;
  acb_calc_integrate(res, Integrand, &terms, lo, hi, prec, tol, options, prec);

  // The neglected ends: A t_lo / 2 and (2 / m) T^(-m/2) prod |a_j|^(-1/2).
  Ball bound, t, u;
  arb_zero(bound);
  for (slong j = 0; j < m; ++j) {
    arb_abs(u, a[j]);
    arb_add(bound, bound, u, prec);
  }
  arb_exp(t, acb_realref(lo), prec);
  arb_mul(bound, bound, t, prec);
  arb_mul_2exp_si(bound, bound, -1);
  Ball upper;
  arb_mul_si(t, acb_realref(hi), -m, prec);  // log T^-m
  for (slong j = 0; j < m; ++j) {
    arb_abs(u, a[j]);
    arb_log(u, u, prec);
    arb_sub(t, t, u, prec);
  }
  arb_mul_2exp_si(t, t, -1);
  arb_exp(upper, t, prec);
  arb_mul_2exp_si(upper, upper, 1);
  arb_div_si(upper, upper, m, prec);
  arb_add(bound, bound, upper, prec);
  mag_t err;
  mag_init(err);
  arb_get_mag(err, bound);
  arb_add_error_mag(acb_realref(res), err);

  // P = 1/2 - I / pi.
  Ball pi;
  arb_const_pi(pi, prec);
  arb_div(out, acb_realref(res), pi, prec);
  arb_neg(out, out);
  Ball half;
  arb_set_d(half, 0.5);
  arb_add(out, out, half, prec);
  if (!arb_is_zero(acb_imagref(res)) && !arb_contains_zero(acb_imagref(res))) arb_indeterminate(out);
  mag_clear(err);
  mag_clear(tol);
  acb_clear(res);
  acb_clear(lo);
  acb_clear(hi);
}

namespace {

// P(sum_{j in [first, first + m)} (l_j - d) u_j^2 <= 0) at prec, d a ball.
// Terms whose coefficient is exactly 0 (d equal to an eigenvalue) drop out;
// such a coefficient shows as a ball around 0 that no precision resolves,
// and is taken for 0 once the precision is three times the target's.
void BoundProbability(arb_ptr out, long n, long first, long m, arb_srcptr d, slong prec, slong target) {
  BallVector a(m);
  Ball lambda;
  slong kept = 0, positive = 0;
  for (long j = 0; j < m; ++j) {
    // l = 4 sin^2(pi (first + j) / 2n)
    arb_const_pi(lambda, prec);
    arb_mul_si(lambda, lambda, first + j, prec);
    arb_div_si(lambda, lambda, 2 * n, prec);
    arb_sin(lambda, lambda, prec);
    arb_sqr(lambda, lambda, prec);
    arb_mul_2exp_si(lambda, lambda, 2);
    arb_sub(a[kept], lambda, d, prec);
    if (arb_contains_zero(a[kept])) {
      if (prec < 3 * target + 64) {
        arb_indeterminate(out);
        return;
      }
      continue;
    }
    if (arb_is_positive(a[kept])) ++positive;
    ++kept;
  }
  if (positive == kept) {  // a sum of nonnegative terms, 0 only with probability 0
    arb_zero(out);
  } else if (positive == 0) {
    arb_one(out);
  } else {
    ImhofProbability(out, a, kept, prec);
  }
}

// About -log2 P(sum a_j u_j^2 <= 0), from the saddlepoint approximation of
// Lugannani and Rice in double precision (a few per cent off in the far
// tail, which is all it is used for: the bits an absolute integral loses to
// a tiny probability). The cumulant generating function is
// K(s) = -1/2 sum log(1 - 2 s a_j), and K'(s) = sum a_j / (1 - 2 s a_j) = 0
// has its root between 1 / (2 min a) < 0 and 1 / (2 max a) > 0.
double TailBits(const std::vector<double>& v) {
  double lo = -1e300, hi = 1e300;
  for (double x : v) {
    if (x < 0) lo = std::max(lo, 1 / (2 * x));
    if (x > 0) hi = std::min(hi, 1 / (2 * x));
  }
  if (lo == -1e300 || hi == 1e300) return 0;  // one sign: P is 0 or 1, decided exactly
  auto k1 = [&](double s) {
    double r = 0;
    for (double x : v) r += x / (1 - 2 * s * x);
    return r;
  };
  for (int it = 0; it < 200 && hi - lo > 1e-15 * (std::fabs(lo) + std::fabs(hi)); ++it) {
    const double mid = lo + (hi - lo) / 2;
    (k1(mid) > 0 ? hi : lo) = mid;
  }
  const double s = lo + (hi - lo) / 2;
  double k = 0, k2 = 0;
  for (double x : v) {
    k -= std::log1p(-2 * s * x) / 2;
    k2 += 2 * x * x / ((1 - 2 * s * x) * (1 - 2 * s * x));
  }
  const double w = (s < 0 ? -1 : 1) * std::sqrt(std::max(0.0, -2 * k)), u = s * std::sqrt(k2);
  if (!(w < -1) || !(u < 0)) return 0;  // P is not small
  // Far in the lower tail P ~ phi(w) / |u|.
  const double log_p = -w * w / 2 - 0.5 * std::log(2 * M_PI) - std::log(-u);
  return std::isfinite(log_p) ? std::max(0.0, -log_p / std::log(2.0)) : 0;
}

// A bound probability rounded at the working precision. A pass whose ball
// does not round to one float is repeated at the precision the ball shows
// to be needed (a tiny probability from an integral of absolute accuracy
// costs as many bits as it is small) plus a few bits, rather than with a
// generous margin: a pass costs much, and a second failure is rare.
// start_bits are the bits the caller expects the first pass to lose.
QuarnFloat RoundedBound(const BallFunction& eval, slong start_bits) {
  const slong bits = TargetBits(), cap = 16 * bits + 4096;
  Ball r;
  for (slong prec = bits + kFirstGuardBits + start_bits;;) {
    eval(r, prec);
    bool unique = false;
    QuarnFloat v = quarn::floats::Compute([&](mpfr_ptr z) {
      unique = RoundUnique(z, r);
      if (!unique) arf_get_mpfr(z, arb_midref(r.get()), MPFR_RNDN);
    });
    if (unique || prec >= cap) return v;
    const bool sized = arb_is_finite(r) && !arb_contains_zero(r);
    const slong acc = sized ? arb_rel_accuracy_bits(r) : 0;
    const slong next = sized ? prec + (bits + kFirstGuardBits - acc) + 16 : prec + std::max(prec / 2, 2 * kGuardBits);
    prec = std::min(cap, std::max(next, prec + 16));
  }
}

}  // namespace
}  // namespace quarn::numerics

using namespace quarn::numerics;

void QuarnMP_g02fcc(const int32_t* n_in, const int32_t* ip_in, const QuarnFloat res[], QuarnFloat* d, QuarnFloat* pdl,
                    QuarnFloat* pdu, QuarnFloat work[], int32_t* ifail) {
  const long n = *n_in, ip = *ip_in;
  if (ip < 1 || n <= ip) {
    *ifail = 1;
    return;
  }
  bool all_zero = true;
  for (long i = 0; i < n; ++i) {
    if (IsQuarnFloatUndefined(res[i])) {
      *d = *pdl = *pdu = Undefined();
      *ifail = 0;
      return;
    }
    all_zero = all_zero && res[i] == 0;
  }
  if (all_zero) {
    *ifail = 2;
    return;
  }
  *ifail = 0;
  // The eigenvalues, for the caller to see.
  for (long j = 1; j < n; ++j) {
    work[j - 1] = Evaluate(nullptr, "QuarnMP_g02fcc", [&](arb_ptr r, slong prec) {
      arb_const_pi(r, prec);
      arb_mul_si(r, r, j, prec);
      arb_div_si(r, r, 2 * n, prec);
      arb_sin(r, r, prec);
      arb_sqr(r, r, prec);
      arb_mul_2exp_si(r, r, 2);
    });
  }
  work[n - 1] = QuarnFloat(0.0);
  auto statistic = [&](arb_ptr r, slong prec) {
    Ball num, den, diff;
    for (long i = 0; i < n; ++i) {
      Ball ri(res[i]);
      arb_addmul(den, ri, ri, prec);
      if (i + 1 < n) {
        arb_sub(diff, Ball(res[i + 1]), ri, prec);
        arb_addmul(num, diff, diff, prec);
      }
    }
    arb_div(r, num, den, prec);
  };
  *d = Evaluate(nullptr, "QuarnMP_g02fcc", statistic);
  const slong target = TargetBits();
  auto bound = [&](long first) {
    std::vector<double> a(n - ip);
    for (long j = 0; j < n - ip; ++j) a[j] = 4 * std::pow(std::sin(M_PI * (first + j) / (2.0 * n)), 2) - d->ToDouble();
    const slong tail_bits = static_cast<slong>(std::ceil(TailBits(a))) + 4;
    return RoundedBound(
        [&](arb_ptr r, slong prec) {
          Ball dd;
          statistic(dd, prec + 16);
          BoundProbability(r, n, first, n - ip, dd, prec, target);
        },
        tail_bits);
  };
  *pdl = bound(1);
  *pdu = bound(ip);
}
