// The beta distribution and the F distribution (whose variable is
// df2 B / (df1 (1 - B)) for B ~ Beta(df1/2, df2/2)): g01edc and g01eec
// (tail probabilities, beta density), g01fdc and g01fec (deviates).
#include <arb_hypgeom.h>

#include <cmath>

#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

using namespace quarn::numerics;

namespace {

// Solves P(B <= x) = p for B ~ Beta(a, b), 0 < p < 1, in w = logit x: on the
// lower tail of Beta(a, b) below 1/2, and above it on the lower tail of
// Beta(b, a) at -w. result(w) maps the logit to the deviate.
bool BetaDeviate(QuarnFloat* out, const QuarnFloat& p, arb_srcptr a, arb_srcptr b,
                 const std::function<void(arb_ptr, arb_srcptr w, slong prec)>& result) {
  Ball pb(p);
  if (p <= 0.5) return SolveBetaLogit(out, a, b, pb, result);
  Ball q;
  OneMinusExact(q, pb);
  return SolveBetaLogit(out, b, a, q, [&](arb_ptr r, arb_srcptr w, slong prec) {
    Ball v;
    arb_neg(v, w);
    result(r, v, prec);
  });
}

// Bits that large shape parameters cost in the log-density sums.
slong ShapeBits(const QuarnFloat& a, const QuarnFloat& b) {
  return MagnitudeBits(a.ToDouble() + b.ToDouble());
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
    *p = *q = *pdf = *early;
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
  // The density x^(a-1) (1-x)^(b-1) / B(a, b): infinite at an end where the
  // exponent is negative, 0 where it is positive, and the exponent is left
  // out where it is 0.
  const bool at0 = x == 0, at1 = x == 1;
  if ((at0 && a < 1) || (at1 && b < 1)) {
    *pdf = QuarnFloat(1.0) / QuarnFloat(0.0);
  } else if ((at0 && a > 1) || (at1 && b > 1)) {
    *pdf = QuarnFloat(0.0);
  } else {
    ok = CorrectlyRounded(pdf, [&](arb_ptr r, slong prec) {
      Ball t, e, g;
      slong wp = prec + extra + 8;
      arb_zero(r);
      if (!at0) {
        arb_log(t, xb, wp);
        arb_sub_ui(e, ab, 1, wp);
        arb_addmul(r, t, e, wp);
      }
      if (!at1) {
        arb_log(t, yb, wp);
        arb_sub_ui(e, bb, 1, wp);
        arb_addmul(r, t, e, wp);
      }
      arb_exp(r, r, wp);
      // Divided by B(a, b) = Gamma(a) Gamma(b) / Gamma(a + b).
      arb_add(t, ab, bb, wp);
      arb_hypgeom_gamma(g, t, wp);
      arb_mul(r, r, g, wp);
      arb_hypgeom_gamma(g, ab, wp);
      arb_div(r, r, g, wp);
      arb_hypgeom_gamma(g, bb, wp);
      arb_div(r, r, g, prec);
    }, extra) && ok;
  }
  Finish(fail, "QuarnMP_g01eec", ok, *p);
}

QuarnFloat QuarnMP_g01fdc(QuarnFloat p, QuarnFloat df1, QuarnFloat df2, NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail,
                          {{"p", p, Bound::kUnitHalfOpen}, {"df1", df1, Bound::kShape},
                           {"df2", df2, Bound::kShape}})) {
    return *early;
  }
  if (p == 0) return Exact(fail, 0.0);
  Ball n1(df1), n2(df2), a, b;
  arb_mul_2exp_si(a, n1, -1);
  arb_mul_2exp_si(b, n2, -1);
  QuarnFloat v;
  // logit B = log(df1 f / df2), so f = (df2 / df1) e^w.
  bool ok = BetaDeviate(&v, p, a, b, [&](arb_ptr r, arb_srcptr w, slong prec) {
    Ball s;
    arb_exp(r, w, prec);
    arb_div(s, n2, n1, prec);
    arb_mul(r, r, s, prec);
  });
  return Finish(fail, "QuarnMP_g01fdc", ok, v);
}

QuarnFloat QuarnMP_g01fec(QuarnFloat p, QuarnFloat a, QuarnFloat b, QuarnFloat tol, NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail,
                          {{"p", p, Bound::kUnitClosed}, {"a", a, Bound::kAtMostMillion},
                           {"b", b, Bound::kAtMostMillion}})) {
    return *early;
  }
  if (p == 0) return Exact(fail, 0.0);
  if (p == 1) return Exact(fail, 1.0);
  Ball ab(a), bb(b);
  QuarnFloat v;
  // x = 1 / (1 + e^-w).
  bool ok = BetaDeviate(&v, p, ab, bb, [&](arb_ptr r, arb_srcptr w, slong prec) {
    arb_neg(r, w);
    arb_exp(r, r, prec);
    arb_add_ui(r, r, 1, prec);
    arb_inv(r, r, prec);
  });
  return Finish(fail, "QuarnMP_g01fec", ok, v);
}
