// Student's t distribution with real df > 0: g01ebc (tail probabilities) and
// g01fbc (deviates).
//
// With x = df / (df + t^2) and y = t^2 / (df + t^2), both formed directly,
//   P(|T| > |t|)  = I_x(df/2, 1/2),
//   P(|T| <= |t|) = I_y(1/2, df/2),
// and every tail is one of these or 1 - half the first.
#include <cmath>
#include <limits>

#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

using namespace quarn::numerics;

namespace {

// x = df / (df + t^2) and y = t^2 / (df + t^2).
void Arguments(arb_ptr x, arb_ptr y, arb_srcptr t, arb_srcptr df, slong prec) {
  Ball t2, s;
  arb_sqr(t2, t, prec);
  arb_add(s, df, t2, prec);
  arb_div(x, df, s, prec);
  arb_div(y, t2, s, prec);
}

}  // namespace

QuarnFloat QuarnMP_g01ebc(Nag_TailProbability tail, QuarnFloat t, QuarnFloat df, NagError* fail) {
  if (auto early = Screen(fail, Tails::kAll, tail, {{"t", t, Bound::kAny}, {"df", df, Bound::kShape}})) {
    return *early;
  }
  const bool negative = t < 0;
  if (t == 0 || IsQuarnFloatInfinity(t) || IsQuarnFloatNegativeInfinity(t)) {
    // P(|T| > |t|) is 1 at t = 0 and 0 at infinity.
    double two_sided = t == 0 ? 1.0 : 0.0;
    switch (tail) {
      case Nag_LowerTail: return Exact(fail, negative ? two_sided / 2 : 1.0 - two_sided / 2);
      case Nag_UpperTail: return Exact(fail, negative ? 1.0 - two_sided / 2 : two_sided / 2);
      case Nag_TwoTailSignif: return Exact(fail, two_sided);
      default: return Exact(fail, 1.0 - two_sided);
    }
  }
  Ball tb(t), nu(df), a, half;
  arb_mul_2exp_si(a, nu, -1);
  arb_set_d(half, 0.5);
  // The probability in the tail t lies in, for the lower and upper tails.
  const bool outer = (tail == Nag_LowerTail) == negative;
  return Evaluate(fail, "QuarnMP_g01ebc", [&](arb_ptr r, slong prec) {
    Ball x, y;
    Arguments(x, y, tb, nu, prec);
    if (tail == Nag_TwoTailConfid) {
      BetaTail(r, a, half, x, y, true, prec);
      return;
    }
    BetaTail(r, a, half, x, y, false, prec);
    if (tail == Nag_TwoTailSignif) return;
    arb_mul_2exp_si(r, r, -1);
    if (!outer) {
      arb_sub_si(r, r, 1, prec);
      arb_neg(r, r);
    }
  }, MagnitudeBits(df.ToDouble()));
}

// Solves whichever of the two-sided forms is at most 1/2: P(|T| > |t|) as the
// lower tail of Beta(df/2, 1/2) at w = log(df / t^2), or P(|T| <= |t|) as
// the lower tail of Beta(1/2, df/2) at w = log(t^2 / df); |t| = sqrt(df)
// e^(-+w/2).
QuarnFloat QuarnMP_g01fbc(Nag_TailProbability tail, QuarnFloat p, QuarnFloat df, NagError* fail) {
  if (auto early = Screen(fail, Tails::kAll, tail, {{"p", p, Bound::kUnitOpen}, {"df", df, Bound::kShape}})) {
    return *early;
  }
  SymmetricTarget target;
  SetSymmetricTarget(&target, tail, p);
  if (target.zero) return Exact(fail, 0.0);
  const bool outer_form = arf_cmp_2exp_si(arb_midref(target.outer.get()), -1) <= 0;
  Ball nu(df), a, half;
  arb_mul_2exp_si(a, nu, -1);
  arb_set_d(half, 0.5);
  auto result = [&](arb_ptr r, arb_srcptr w, slong prec) {
    Ball s;
    arb_mul_2exp_si(r, w, -1);
    if (outer_form) arb_neg(r, r);
    arb_exp(r, r, prec);
    arb_sqrt(s, nu, prec);
    arb_mul(r, r, s, prec);
    if (target.sign < 0) arb_neg(r, r);
  };
  // With many degrees of freedom the beta power laws are a poor start, and a
  // poor start there lands where the tails are astronomically small and
  // costly; Cornish-Fisher's t ~ z + (z^3 + z) / (4 df) for the normal
  // deviate z is close.
  double start = std::numeric_limits<double>::quiet_NaN();
  const double nu_d = df.ToDouble();
  if (nu_d > 100.0) {
    Ball half_outer;
    arb_mul_2exp_si(half_outer, target.outer, -1);
    const double z = -NormalQuantileStart(half_outer);
    const double t = z + (z * z * z + z) / (4.0 * nu_d);
    if (t > 0.0 && std::isfinite(t)) start = (outer_form ? 1.0 : -1.0) * (std::log(nu_d) - 2.0 * std::log(t));
  }
  QuarnFloat v;
  bool ok = outer_form ? SolveBetaLogit(&v, a, half, target.outer, result, start)
                       : SolveBetaLogit(&v, half, a, target.inner, result, start);
  return Finish(fail, "QuarnMP_g01fbc", ok, v);
}
