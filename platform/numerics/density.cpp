// Densities of the normal, Student's t, chi-square and gamma distributions,
// correctly rounded to the working precision: the log density is summed in
// Arb with the bits its largest terms cost and exponentiated. (The beta and
// F densities are with their tails, in fdist_beta.cpp.) Arguments are checked
// as by the same distribution's tail routine; NaN gives NaN.
#include <arb_hypgeom.h>

#include <cmath>
#include <limits>

#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

using namespace quarn::numerics;

void quarn::numerics::AddLogPower(arb_ptr r, arb_srcptr x, arb_srcptr e, slong shift, slong prec) {
  Ball l, k;
  arb_log(l, x, prec);
  arb_sub_si(k, e, shift, prec);
  arb_addmul(r, l, k, prec);
}

namespace {

// x^(a-1) e^(-x/b) / (Gamma(a) b^a) for x >= 0, shape a and scale b (exact
// balls): at x = 0 infinite for a < 1, 1/b for a = 1 and 0 for a > 1.
QuarnFloat GammaDensity(NagError* fail, const char* routine, const QuarnFloat& x, arb_srcptr a, arb_srcptr b) {
  if (IsQuarnFloatInfinity(x)) return Exact(fail, 0.0);
  const int shape_vs_1 = arf_cmp_si(arb_midref(a), 1);
  const bool at0 = x == 0;
  if (at0 && shape_vs_1 < 0) return Exact(fail, std::numeric_limits<double>::infinity());
  if (at0 && shape_vs_1 > 0) return Exact(fail, 0.0);
  Ball xb(x);
  const double ad = arf_get_d(arb_midref(a), ARF_RND_NEAR), zd = x.ToDouble() / arf_get_d(arb_midref(b), ARF_RND_NEAR);
  // (a - 1) log z - z - log Gamma(a): terms far larger than their sum (the
  // bits are a first guess; the rounding loop adds what it finds missing).
  const double log_z = at0 || !(zd > 0) ? 0.0 : std::log(zd);
  const slong extra = MagnitudeBits(std::fabs((ad - 1.0) * log_z) + zd + std::fabs(std::lgamma(ad)));
  return Evaluate(fail, routine, [&](arb_ptr r, slong prec) {
    const slong wp = prec + extra + 8;
    Ball z;
    arb_div(z, xb, b, wp);
    arb_hypgeom_lgamma(r, a, wp);
    arb_add(r, r, z, wp);
    arb_neg(r, r);
    if (!at0) AddLogPower(r, z, a, 1, wp);  // z^(a-1), left out where it is 1
    arb_exp(r, r, wp);
    arb_div(r, r, b, prec);
  }, extra);
}

}  // namespace

QuarnFloat QuarnMP_NormalDensity(QuarnFloat x, NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail, {{"x", x, Bound::kAny}})) return *early;
  if (IsQuarnFloatInfinity(x) || IsQuarnFloatNegativeInfinity(x)) return Exact(fail, 0.0);
  Ball xb(x);
  const slong extra = MagnitudeBits(x.ToDouble() * x.ToDouble());
  return Evaluate(fail, "QuarnMP_NormalDensity", [&](arb_ptr r, slong prec) {
    Ball s;
    arb_sqr(r, xb, prec + extra);
    arb_mul_2exp_si(r, r, -1);
    arb_neg(r, r);
    arb_exp(r, r, prec);
    arb_const_pi(s, prec);
    arb_mul_2exp_si(s, s, 1);
    arb_rsqrt(s, s, prec);
    arb_mul(r, r, s, prec);
  }, extra);
}

// Gamma((df+1)/2) / (Gamma(df/2) sqrt(df Pi)) (1 + t^2/df)^(-(df+1)/2), the
// gamma functions as the difference of their logarithms (each about
// (df/2) log(df/2), their difference about (1/2) log(df/2)).
QuarnFloat QuarnMP_StudentTDensity(QuarnFloat t, QuarnFloat df, NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail, {{"t", t, Bound::kAny}, {"df", df, Bound::kPositive}})) {
    return *early;
  }
  if (IsQuarnFloatInfinity(t) || IsQuarnFloatNegativeInfinity(t)) return Exact(fail, 0.0);
  Ball tb(t), nu(df);
  const double td = t.ToDouble(), dfd = df.ToDouble();
  const slong extra = MagnitudeBits(dfd * (1.0 + std::log1p(dfd)) + dfd * std::log1p(td * td / dfd));
  return Evaluate(fail, "QuarnMP_StudentTDensity", [&](arb_ptr r, slong prec) {
    const slong wp = prec + extra + 8;
    Ball h, s;
    arb_add_ui(h, nu, 1, wp);
    arb_mul_2exp_si(h, h, -1);
    arb_hypgeom_lgamma(r, h, wp);
    arb_mul_2exp_si(s, nu, -1);
    arb_hypgeom_lgamma(s, s, wp);
    arb_sub(r, r, s, wp);
    arb_sqr(s, tb, wp);
    arb_div(s, s, nu, wp);
    arb_log1p(s, s, wp);
    arb_submul(r, s, h, wp);
    arb_exp(r, r, wp);
    arb_const_pi(s, wp);
    arb_mul(s, s, nu, wp);
    arb_rsqrt(s, s, wp);
    arb_mul(r, r, s, prec);
  }, extra);
}

QuarnFloat QuarnMP_ChiSquareDensity(QuarnFloat x, QuarnFloat df, NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail,
                          {{"x", x, Bound::kNonNegative}, {"df", df, Bound::kPositive}})) {
    return *early;
  }
  Ball a(df), two;
  arb_mul_2exp_si(a, a, -1);
  arb_set_ui(two, 2);
  return GammaDensity(fail, "QuarnMP_ChiSquareDensity", x, a, two);
}

QuarnFloat QuarnMP_GammaDensity(QuarnFloat g, QuarnFloat a, QuarnFloat b, NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail,
                          {{"g", g, Bound::kNonNegative}, {"a", a, Bound::kPositive}, {"b", b, Bound::kPositive}})) {
    return *early;
  }
  Ball ab(a), bb(b);
  return GammaDensity(fail, "QuarnMP_GammaDensity", g, ab, bb);
}
