// The beta distribution and the F distribution (whose variable is
// df2 B / (df1 (1 - B)) for B ~ Beta(df1/2, df2/2)): g01edc and g01eec
// (tail probabilities, beta density), g01fdc and g01fec (deviates).
#include <arb_hypgeom.h>

#include <cmath>
#include <limits>

#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

using namespace quarn::numerics;

namespace {

// Solves P(B <= x) = p (P(B > x) = p when upper_tail) for B ~ Beta(a, b),
// 0 < p < 1, in w = logit x, on the tail whose probability is at most 1/2
// (its target p or the exact 1 - p): the lower tail of Beta(a, b) at w, or
// that of Beta(b, a) at -w. result(w) maps the logit to the deviate.
bool BetaDeviate(QuarnFloat* out, const QuarnFloat& p, arb_srcptr a, arb_srcptr b,
                 PointFunction result, bool upper_tail = false) {
  Ball pb(p), q;
  const bool complement = p > 0.5;
  complement ? OneMinusExact(q, pb) : arb_set(q, pb);
  if (complement == upper_tail) return SolveBetaLogit(out, a, b, q, result);
  return SolveBetaLogit(out, b, a, q, [&](arb_ptr r, arb_srcptr w, slong prec) {
    Ball v;
    arb_neg(v, w);
    result(r, v, prec);
  });
}

// The F deviate at p on a tail, 0 < p < 1: logit B = log(df1 f / df2) for
// B ~ Beta(df1/2, df2/2), so f = (df2 / df1) e^w.
QuarnFloat FQuantile(NagError* fail, const char* routine, const QuarnFloat& p, const QuarnFloat& df1,
                     const QuarnFloat& df2, bool upper_tail) {
  Ball n1(df1), n2(df2), a, b;
  arb_mul_2exp_si(a, n1, -1);
  arb_mul_2exp_si(b, n2, -1);
  QuarnFloat v;
  bool ok = BetaDeviate(&v, p, a, b, [&](arb_ptr r, arb_srcptr w, slong prec) {
    Ball s;
    arb_exp(r, w, prec);
    arb_div(s, n2, n1, prec);
    arb_mul(r, r, s, prec);
  }, upper_tail);
  return Finish(fail, routine, ok, v);
}

// The beta deviate at p on a tail, 0 < p < 1: x = 1 / (1 + e^-w).
QuarnFloat BetaQuantile(NagError* fail, const char* routine, const QuarnFloat& p, const QuarnFloat& a,
                        const QuarnFloat& b, bool upper_tail) {
  Ball ab(a), bb(b);
  QuarnFloat v;
  bool ok = BetaDeviate(&v, p, ab, bb, [&](arb_ptr r, arb_srcptr w, slong prec) {
    arb_neg(r, w);
    arb_exp(r, r, prec);
    arb_add_ui(r, r, 1, prec);
    arb_inv(r, r, prec);
  }, upper_tail);
  return Finish(fail, routine, ok, v);
}

// Bits that large shape parameters cost in the log-density sums.
slong ShapeBits(const QuarnFloat& a, const QuarnFloat& b) {
  return MagnitudeBits(a.ToDouble() + b.ToDouble());
}

// The density x^(a-1) (1-x)^(b-1) / B(a, b) at 0 <= x <= 1 (y = 1 - x,
// exact) into *pdf: infinite at an end where the exponent is negative, 0
// where it is positive, and the exponent is left out where it is 0. False
// when the rounding could not be decided.
bool BetaDensity(QuarnFloat* pdf, const QuarnFloat& x, arb_srcptr xb, arb_srcptr yb, arb_srcptr ab, arb_srcptr bb,
                 slong extra) {
  const bool at0 = x == 0, at1 = x == 1;
  const bool a_below1 = arf_cmp_si(arb_midref(ab), 1) < 0, b_below1 = arf_cmp_si(arb_midref(bb), 1) < 0;
  const bool a_above1 = arf_cmp_si(arb_midref(ab), 1) > 0, b_above1 = arf_cmp_si(arb_midref(bb), 1) > 0;
  if ((at0 && a_below1) || (at1 && b_below1)) {
    *pdf = QuarnFloat(1.0) / QuarnFloat(0.0);
    return true;
  }
  if ((at0 && a_above1) || (at1 && b_above1)) {
    *pdf = QuarnFloat(0.0);
    return true;
  }
  return CorrectlyRounded(pdf, [&](arb_ptr r, slong prec) {
    Ball t, g;
    slong wp = prec + extra + 8;
    arb_zero(r);
    if (!at0) AddLogPower(r, xb, ab, 1, wp);
    if (!at1) AddLogPower(r, yb, bb, 1, wp);
    arb_exp(r, r, wp);
    // Divided by B(a, b) = Gamma(a) Gamma(b) / Gamma(a + b).
    arb_add(t, ab, bb, wp);
    arb_hypgeom_gamma(g, t, wp);
    arb_mul(r, r, g, wp);
    arb_hypgeom_gamma(g, ab, wp);
    arb_div(r, r, g, wp);
    arb_hypgeom_gamma(g, bb, wp);
    arb_div(r, r, g, prec);
  }, extra);
}

}  // namespace

QuarnFloat QuarnMP_g01edc(Nag_TailProbability tail, QuarnFloat f, QuarnFloat df1, QuarnFloat df2, NagError* fail) {
  if (auto early = Screen(fail, Tails::kLowerUpper, tail,
                          {{"f", f, Bound::kNonNegative}, {"df1", df1, Bound::kShape},
                           {"df2", df2, Bound::kShape}})) {
    return *early;
  }
  const bool upper = tail == Nag_UpperTail;
  if (IsQuarnFloatInfinity(f)) return Exact(fail, upper ? 0.0 : 1.0);
  Ball fb(f), n1(df1), n2(df2), a, b;
  arb_mul_2exp_si(a, n1, -1);
  arb_mul_2exp_si(b, n2, -1);
  return Evaluate(fail, "QuarnMP_g01edc", [&](arb_ptr r, slong prec) {
    // x = df1 f / (df1 f + df2), y = df2 / (df1 f + df2).
    Ball x, y, s;
    arb_mul(x, n1, fb, prec);
    arb_add(s, x, n2, prec);
    arb_div(x, x, s, prec);
    arb_div(y, n2, s, prec);
    BetaTail(r, a, b, x, y, upper, prec);
  }, ShapeBits(df1, df2));
}

void QuarnMP_g01eec(QuarnFloat x, QuarnFloat a, QuarnFloat b, QuarnFloat tol, QuarnFloat* p, QuarnFloat* q,
                    QuarnFloat* pdf, NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail,
                          {{"x", x, Bound::kUnitClosed}, {"a", a, Bound::kAtMostMillion},
                           {"b", b, Bound::kAtMostMillion}})) {
    *p = *q = *early;
    if (pdf != nullptr) *pdf = *early;
    return;
  }
  Ball xb(x), yb, ab(a), bb(b);
  OneMinusExact(yb, xb);
  const slong extra = ShapeBits(a, b);
  // One evaluation serves both tails: the tail on x's side of the mean is
  // evaluated first, and the other is its complement, which loses no more
  // than a couple of bits there. Where the complement would lose more, the
  // other tail is evaluated directly; the rounding loop checks either way.
  const bool upper_first = x.ToDouble() > a.ToDouble() / (a.ToDouble() + b.ToDouble());
  Ball first;
  slong first_prec = -1;
  auto first_tail = [&](arb_ptr r, slong prec) {
    BetaTail(first, ab, bb, xb, yb, upper_first, prec);
    first_prec = prec;
    arb_set(r, first);
  };
  auto second_tail = [&](arb_ptr r, slong prec) {
    if (first_prec >= prec && arb_is_finite(first) && ComplementLoss(first, prec) <= 2.0) {
      Complement(r, first, prec);
      return;
    }
    BetaTail(r, ab, bb, xb, yb, !upper_first, prec);
  };
  bool ok = CorrectlyRounded(upper_first ? q : p, first_tail, extra);
  ok = CorrectlyRounded(upper_first ? p : q, second_tail, extra) && ok;
  if (pdf != nullptr) ok = BetaDensity(pdf, x, xb, yb, ab, bb, extra) && ok;
  Finish(fail, "QuarnMP_g01eec", ok, *p);
}

QuarnFloat QuarnMP_g01fdc(QuarnFloat p, QuarnFloat df1, QuarnFloat df2, NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail,
                          {{"p", p, Bound::kUnitHalfOpen}, {"df1", df1, Bound::kShape},
                           {"df2", df2, Bound::kShape}})) {
    return *early;
  }
  if (p == 0) return Exact(fail, 0.0);
  return FQuantile(fail, "QuarnMP_g01fdc", p, df1, df2, false);
}

QuarnFloat QuarnMP_g01fec(QuarnFloat p, QuarnFloat a, QuarnFloat b, QuarnFloat tol, NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail,
                          {{"p", p, Bound::kUnitClosed}, {"a", a, Bound::kAtMostMillion},
                           {"b", b, Bound::kAtMostMillion}})) {
    return *early;
  }
  if (p == 0) return Exact(fail, 0.0);
  if (p == 1) return Exact(fail, 1.0);
  return BetaQuantile(fail, "QuarnMP_g01fec", p, a, b, false);
}

// ------------------------------------------------------- either tail

QuarnFloat QuarnMP_FDeviateTail(Nag_TailProbability tail, QuarnFloat p, QuarnFloat df1, QuarnFloat df2,
                                NagError* fail) {
  if (tail == Nag_LowerTail) return QuarnMP_g01fdc(p, df1, df2, fail);
  if (auto early = Screen(fail, Tails::kLowerUpper, tail,
                          {{"p", p, Bound::kUnitHalfOpenBelow}, {"df1", df1, Bound::kShape},
                           {"df2", df2, Bound::kShape}})) {
    return *early;
  }
  if (p == 1) return Exact(fail, 0.0);
  return FQuantile(fail, "QuarnMP_FDeviateTail", p, df1, df2, true);
}

QuarnFloat QuarnMP_BetaDeviateTail(Nag_TailProbability tail, QuarnFloat p, QuarnFloat a, QuarnFloat b,
                                   NagError* fail) {
  if (tail == Nag_LowerTail) return QuarnMP_g01fec(p, a, b, QuarnFloat(0.0), fail);
  if (auto early = Screen(fail, Tails::kLowerUpper, tail,
                          {{"p", p, Bound::kUnitClosed}, {"a", a, Bound::kAtMostMillion},
                           {"b", b, Bound::kAtMostMillion}})) {
    return *early;
  }
  if (p == 0) return Exact(fail, 1.0);
  if (p == 1) return Exact(fail, 0.0);
  return BetaQuantile(fail, "QuarnMP_BetaDeviateTail", p, a, b, true);
}

// ---------------------------------------------------------------- densities

QuarnFloat QuarnMP_BetaDensity(QuarnFloat x, QuarnFloat a, QuarnFloat b, NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail,
                          {{"x", x, Bound::kUnitClosed}, {"a", a, Bound::kAtMostMillion},
                           {"b", b, Bound::kAtMostMillion}})) {
    return *early;
  }
  Ball xb(x), yb, ab(a), bb(b);
  OneMinusExact(yb, xb);
  QuarnFloat pdf;
  bool ok = BetaDensity(&pdf, x, xb, yb, ab, bb, ShapeBits(a, b));
  return Finish(fail, "QuarnMP_BetaDensity", ok, pdf);
}

// The F density is the beta density of x = df1 f / (df1 f + df2) times
// dx/df = (df1 / df2) y^2, y = df2 / (df1 f + df2):
// x^(a-1) y^(b+1) (df1 / df2) / B(a, b) with a = df1/2, b = df2/2.
QuarnFloat QuarnMP_FDensity(QuarnFloat f, QuarnFloat df1, QuarnFloat df2, NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail,
                          {{"f", f, Bound::kNonNegative}, {"df1", df1, Bound::kShape},
                           {"df2", df2, Bound::kShape}})) {
    return *early;
  }
  if (IsQuarnFloatInfinity(f)) return Exact(fail, 0.0);
  const bool at0 = f == 0;
  if (at0 && df1 < 2) return Exact(fail, std::numeric_limits<double>::infinity());
  if (at0 && df1 > 2) return Exact(fail, 0.0);
  Ball fb(f), n1(df1), n2(df2), a, b;
  arb_mul_2exp_si(a, n1, -1);
  arb_mul_2exp_si(b, n2, -1);
  const double fd = f.ToDouble(), d1 = df1.ToDouble(), d2 = df2.ToDouble();
  const slong extra = ShapeBits(df1, df2) + MagnitudeBits((d1 + d2) * std::fabs(std::log(1.0 + d1 * fd / d2)));
  return Evaluate(fail, "QuarnMP_FDensity", [&](arb_ptr r, slong prec) {
    const slong wp = prec + extra + 8;
    Ball x, y, s;
    arb_mul(x, n1, fb, wp);
    arb_add(s, x, n2, wp);
    arb_div(x, x, s, wp);
    arb_div(y, n2, s, wp);
    // log(df1 / df2) - log B(a, b) + (b + 1) log y, and (a - 1) log x
    // unless the exponent is 0 (at f = 0 with df1 = 2 the factor is 1).
    arb_div(r, n1, n2, wp);
    arb_log(r, r, wp);
    LogBeta(s, a, b, wp);
    arb_sub(r, r, s, wp);
    AddLogPower(r, y, b, -1, wp);
    if (!at0) AddLogPower(r, x, a, 1, wp);
    arb_exp(r, r, prec);
  }, extra);
}
