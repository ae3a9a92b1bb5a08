// The gamma distribution (shape a, scale b) and the chi-square distribution
// (shape df/2, scale 2): g01ecc and g01efc (tail probabilities), g01fcc and
// g01ffc (deviates).
#include <arb_hypgeom.h>

#include <cmath>

#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

using namespace quarn::numerics;

namespace {

// P(G <= g) or P(G > g) for shape a and scale b (exact balls), g finite.
QuarnFloat GammaProbability(NagError* fail, const char* routine, bool upper, const QuarnFloat& g, arb_srcptr a,
                            arb_srcptr b) {
  Ball gb(g);
  double size = std::fabs(arf_get_d(arb_midref(a), ARF_RND_NEAR)) + std::fabs(g.ToDouble());
  return Evaluate(fail, routine, [&](arb_ptr r, slong prec) {
    Ball z;
    arb_div(z, gb, b, prec + MagnitudeBits(size));
    GammaTail(r, a, z, upper, prec);
  }, MagnitudeBits(size));
}

// The deviate g with P(G <= g) = p (P(G > g) = p when upper_tail),
// 0 < p < 1, for shape a and scale b: solved in w = log(g / b) on the tail
// whose probability is at most 1/2, its target p or the exact 1 - p.
QuarnFloat GammaDeviate(NagError* fail, const char* routine, const QuarnFloat& p, arb_srcptr a, arb_srcptr scale,
                        bool upper_tail = false) {
  Ball pb(p), q;
  const bool complement = p > 0.5;
  const bool upper = upper_tail != complement;
  complement ? OneMinusExact(q, pb) : arb_set(q, pb);
  const double ad = arf_get_d(arb_midref(a), ARF_RND_NEAR);
  const double lgamma_a = std::fabs(std::lgamma(ad));
  // z = e^w enters the tail with an elasticity up to about a + z.
  auto tail = [&](arb_ptr res, arb_srcptr w, slong prec) {
    Ball z;
    double wd = arf_get_d(arb_midref(w), ARF_RND_NEAR);
    arb_exp(z, w, prec + MagnitudeBits(ad + std::exp(std::min(wd, 700.0))));
    GammaTail(res, a, z, upper, prec);
  };
  // log density of w: a w - e^w - log Gamma(a), a sum whose terms may be far
  // larger than it.
  CachedConstant log_gamma_a([&](arb_ptr res, slong prec) { arb_hypgeom_lgamma(res, a, prec); },
                              SolverConstantBits());
  auto log_density = [&](arb_ptr res, arb_srcptr w, slong prec) {
    double wd = arf_get_d(arb_midref(w), ARF_RND_NEAR);
    slong wp = prec + MagnitudeBits(ad * std::fabs(wd) + std::exp(std::min(wd, 700.0)) + lgamma_a) + 8;
    Ball t;
    arb_mul(res, a, w, wp);
    arb_exp(t, w, wp);
    arb_sub(res, res, t, wp);
    arb_sub(res, res, log_gamma_a.At(wp), wp);
  };
  // d/dw (a w - e^w) = a - e^w.
  auto log_density_slope = [&](arb_ptr res, arb_srcptr w, slong prec) {
    arb_exp(res, w, prec);
    arb_sub(res, a, res, prec);
  };
  auto result = [&](arb_ptr res, arb_srcptr w, slong prec) {
    arb_exp(res, w, prec);
    arb_mul(res, res, scale, prec);
  };
  auto double_point = [&](double w, LogTail* t, double* ld, double* slope) {
    return GammaLogDouble(ad, w, upper, t, ld, slope);
  };
  const TailProblem pb_{.tail = tail,
                        .log_density = log_density,
                        .log_density_slope = log_density_slope,
                        .result = result,
                        .direction = upper ? -1 : 1,
                        .target = q,
                        .start = GammaStart(ad, q, upper),
                        .double_point = double_point};
  QuarnFloat v;
  bool ok = SolveTail(&v, pb_);
  return Finish(fail, routine, ok, v);
}

// The chi-square deviate: gamma with shape df/2 and scale 2.
QuarnFloat ChiSquareQuantile(NagError* fail, const char* routine, const QuarnFloat& p, const QuarnFloat& df,
                             bool upper_tail) {
  Ball a(df), two;
  arb_mul_2exp_si(a, a, -1);
  arb_set_ui(two, 2);
  return GammaDeviate(fail, routine, p, a, two, upper_tail);
}

}  // namespace

QuarnFloat QuarnMP_g01ecc(Nag_TailProbability tail, QuarnFloat x, QuarnFloat df, NagError* fail) {
  if (auto early = Screen(fail, Tails::kLowerUpper, tail,
                          {{"x", x, Bound::kNonNegative}, {"df", df, Bound::kShape, 2 * kGammaShapeMax}})) {
    return *early;
  }
  const bool upper = tail == Nag_UpperTail;
  if (IsQuarnFloatInfinity(x)) return Exact(fail, upper ? 0.0 : 1.0);
  Ball a(df), two;
  arb_mul_2exp_si(a, a, -1);
  arb_set_ui(two, 2);
  return GammaProbability(fail, "QuarnMP_g01ecc", upper, x, a, two);
}

QuarnFloat QuarnMP_g01efc(Nag_TailProbability tail, QuarnFloat g, QuarnFloat a, QuarnFloat b, NagError* fail) {
  if (auto early = Screen(fail, Tails::kLowerUpper, tail,
                          {{"g", g, Bound::kNonNegative}, {"a", a, Bound::kShape, kGammaShapeMax}, {"b", b, Bound::kPositive}})) {
    return *early;
  }
  const bool upper = tail == Nag_UpperTail;
  if (IsQuarnFloatInfinity(g)) return Exact(fail, upper ? 0.0 : 1.0);
  Ball ab(a), bb(b);
  return GammaProbability(fail, "QuarnMP_g01efc", upper, g, ab, bb);
}

QuarnFloat QuarnMP_g01fcc(QuarnFloat p, QuarnFloat df, NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail,
                          {{"p", p, Bound::kUnitHalfOpen}, {"df", df, Bound::kShape, 2 * kGammaShapeMax}})) {
    return *early;
  }
  if (p == 0) return Exact(fail, 0.0);
  return ChiSquareQuantile(fail, "QuarnMP_g01fcc", p, df, false);
}

QuarnFloat QuarnMP_g01ffc(QuarnFloat p, QuarnFloat a, QuarnFloat b, QuarnFloat tol, NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail,
                          {{"p", p, Bound::kUnitHalfOpen}, {"a", a, Bound::kAtMostMillion}, {"b", b, Bound::kPositive}})) {
    return *early;
  }
  if (p == 0) return Exact(fail, 0.0);
  Ball ab(a), bb(b);
  return GammaDeviate(fail, "QuarnMP_g01ffc", p, ab, bb);
}

// ------------------------------------------------------- either tail

QuarnFloat QuarnMP_ChiSquareDeviateTail(Nag_TailProbability tail, QuarnFloat p, QuarnFloat df, NagError* fail) {
  if (tail == Nag_LowerTail) return QuarnMP_g01fcc(p, df, fail);
  if (auto early = Screen(fail, Tails::kLowerUpper, tail,
                          {{"p", p, Bound::kUnitHalfOpenBelow}, {"df", df, Bound::kShape, 2 * kGammaShapeMax}})) {
    return *early;
  }
  if (p == 1) return Exact(fail, 0.0);
  return ChiSquareQuantile(fail, "QuarnMP_ChiSquareDeviateTail", p, df, true);
}

QuarnFloat QuarnMP_GammaDeviateTail(Nag_TailProbability tail, QuarnFloat p, QuarnFloat a, QuarnFloat b,
                                    NagError* fail) {
  if (tail == Nag_LowerTail) return QuarnMP_g01ffc(p, a, b, QuarnFloat(0.0), fail);
  if (auto early = Screen(fail, Tails::kLowerUpper, tail,
                          {{"p", p, Bound::kUnitHalfOpenBelow}, {"a", a, Bound::kAtMostMillion},
                           {"b", b, Bound::kPositive}})) {
    return *early;
  }
  if (p == 1) return Exact(fail, 0.0);
  Ball ab(a), bb(b);
  return GammaDeviate(fail, "QuarnMP_GammaDeviateTail", p, ab, bb, true);
}
