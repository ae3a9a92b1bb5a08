// The standard normal distribution: g01eac (tail probabilities) and g01fac
// (deviates), through Arb's erfc, erf, erfcinv and erfinv, correctly rounded.
#include <arb_hypgeom.h>

#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

using namespace quarn::numerics;

// Lower Phi(x) = erfc(-x / sqrt 2) / 2, upper Phi(-x), two-tail significance
// erfc(|x| / sqrt 2), confidence erf(|x| / sqrt 2): each tail from the
// function that keeps its relative accuracy.
QuarnFloat QuarnMP_g01eac(Nag_TailProbability tail, QuarnFloat x, NagError* fail) {
  if (auto early = Screen(fail, Tails::kAll, tail, {{"x", x, Bound::kAny}})) return *early;
  if (IsQuarnFloatInfinity(x) || IsQuarnFloatNegativeInfinity(x)) {
    bool plus = IsQuarnFloatInfinity(x);
    switch (tail) {
      case Nag_LowerTail: return Exact(fail, plus ? 1.0 : 0.0);
      case Nag_UpperTail: return Exact(fail, plus ? 0.0 : 1.0);
      case Nag_TwoTailSignif: return Exact(fail, 0.0);
      default: return Exact(fail, 1.0);
    }
  }
  if (x == 0 && tail == Nag_TwoTailConfid) return Exact(fail, 0.0);
  Ball xb(x);
  // erfc(t) has relative condition number about 2 t^2: t = x / sqrt 2 gets
  // the bits that costs, so that erfc at prec loses only its own few.
  const slong arg_bits = MagnitudeBits(x.ToDouble() * x.ToDouble());
  return Evaluate(fail, "QuarnMP_g01eac", [&](arb_ptr r, slong prec) {
    Ball s;
    arb_sqrt_ui(s, 2, prec + arg_bits);
    arb_div(s, xb, s, prec + arg_bits);  // x / sqrt 2
    switch (tail) {
      case Nag_LowerTail:
        arb_neg(s, s);
        arb_hypgeom_erfc(r, s, prec);
        arb_mul_2exp_si(r, r, -1);
        break;
      case Nag_UpperTail:
        arb_hypgeom_erfc(r, s, prec);
        arb_mul_2exp_si(r, r, -1);
        break;
      case Nag_TwoTailSignif:
        arb_abs(s, s);
        arb_hypgeom_erfc(r, s, prec);
        break;
      default:
        arb_abs(s, s);
        arb_hypgeom_erf(r, s, prec);
        break;
    }
  });
}

// The deviate z with the given tail probability p, 0 < p < 1; the two-tail
// forms give the positive deviate. |z| = sqrt 2 erfcinv(outer) =
// sqrt 2 erfinv(inner) for the exact two-sided probabilities outer and inner;
// the smaller of them is used, so that no precision is lost in forming it.
QuarnFloat QuarnMP_g01fac(Nag_TailProbability tail, QuarnFloat p, NagError* fail) {
  if (auto early = Screen(fail, Tails::kAll, tail, {{"p", p, Bound::kUnitOpen}})) return *early;
  SymmetricTarget target;
  SetSymmetricTarget(&target, tail, p);
  if (target.zero) return Exact(fail, 0.0);
  const bool use_inner = arb_lt(target.inner, target.outer);
  return Evaluate(fail, "QuarnMP_g01fac", [&](arb_ptr r, slong prec) {
    Ball s;
    if (use_inner) {
      arb_hypgeom_erfinv(r, target.inner, prec);
    } else {
      arb_hypgeom_erfcinv(r, target.outer, prec);
    }
    arb_sqrt_ui(s, 2, prec);
    arb_mul(r, r, s, prec);
    if (target.sign < 0) arb_neg(r, r);
  });
}
