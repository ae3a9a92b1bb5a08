// Closed-form continuous distributions with a location: Cauchy, Gumbel,
// Laplace, Logistic, Triangular and Uniform (closed_form_positive.cpp has
// the others). For each: the probability P(X <= x), the upper probability
// P(X > x), the deviate (quantile), the upper deviate (the x with
// P(X > x) = q) and the density. Their variates are the deviate at one
// uniform (generated from the family table).
//
// Each formula is the textbook one, with its branch tests made in the order
// written, evaluated in a form that does not cancel (the arctangent of the
// reciprocal argument in the Cauchy tail, the cotangent for its quantile near
// 0 and 1, log1p for a logit near 1/2, a difference formed before it is
// squared) with guard digits (Guarded), so that the result is within an ulp
// of the exact function at its inputs. A location plus a scaled quantile that
// cancels is evaluated again with the digits it loses.
//
// Nothing is validated: a zero scale or a level of 0 or 1 gives what the
// float arithmetic gives (log 0 = -infinity, 0/0 = undefined).
#include "stats/distributions/distributions.h"
#include "stats/distributions/internal.h"

using namespace quarnstats::dist;

// ---------------------------------------------------------------- Cauchy
// Location a, scale b. Pi, tan and arctan come from the host at every
// evaluation.

namespace {

// P(T <= t) for the standard law: 1/2 + arctan(t)/Pi, which cancels for
// t < -1, where it is -arctan(1/t)/Pi.
QuarnFloat CauchyLowerTail(QKernel kv, const QuarnFloat& t) {
  QuarnFloat pi = HostPi(kv);
  if (t < -1) return -QuarnEvalf1("arctan", 1.0 / t) / pi;
  return 0.5 + (1.0 / pi) * QuarnEvalf1("arctan", t);
}

// tan(Pi (u - 1/2)) for a level u: near the ends -1/tan(Pi u) and
// 1/tan(Pi (1 - u)), whose arguments are exact and far from the pole.
QuarnFloat CauchyQuantile(QKernel kv, const QuarnFloat& u) {
  QuarnFloat pi = HostPi(kv);
  if (u < 0.25) return -1.0 / QuarnEvalf1("tan", pi * u);
  if (u > 0.75) return 1.0 / QuarnEvalf1("tan", pi * (1.0 - u));
  return QuarnEvalf1("tan", pi * (u - 0.5));
}

}  // namespace

QuarnFloat STATS_CauchyProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard&) { return CauchyLowerTail(kv, (x - a) / b); });
}

QuarnFloat STATS_CauchyUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard&) { return CauchyLowerTail(kv, (a - x) / b); });
}

QuarnFloat STATS_CauchyDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) { return g.Add(a, b * CauchyQuantile(kv, u)); });
}

QuarnFloat STATS_CauchyUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) { return g.Add(a, -(b * CauchyQuantile(kv, q))); });
}

QuarnFloat STATS_CauchyDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard&) {
    QuarnFloat t = (x - a) / b;
    return 1.0 / ((HostPi(kv) * b) * (1.0 + t * t));
  });
}

// ---------------------------------------------------------------- Gumbel
// Location a, scale b (the distribution of the maximum): P = exp(-e) with
// e = exp(-(x - a)/b).

namespace {

// e = exp(v), whose relative error is |v| times that of v.
QuarnFloat GumbelInner(Guard& g, const QuarnFloat& v) {
  g.Condition(v.ToDouble());
  return exp(v);
}

// log(y) for y = -log(u) or -log(1 - q): near y = 1 its relative error is
// that of y over |log y|.
QuarnFloat GumbelQuantile(Guard& g, const QuarnFloat& y) {
  QuarnFloat l = log(y);
  g.Condition(1.0 / l.ToDouble());
  return l;
}

// exp(-e), whose relative error is e times that of e.
QuarnFloat GumbelOuter(Guard& g, const QuarnFloat& v, const QuarnFloat& e) {
  g.Condition(std::exp(std::min(v.ToDouble(), 700.0)) * (1.0 + std::fabs(v.ToDouble())));
  return exp(-e);
}

}  // namespace

QuarnFloat STATS_GumbelProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) {
    QuarnFloat v = (-(x - a)) / b;
    return GumbelOuter(g, v, GumbelInner(g, v));
  });
}

QuarnFloat STATS_GumbelUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) { return -expm1(-GumbelInner(g, (-(x - a)) / b)); });
}

QuarnFloat STATS_GumbelDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) { return g.Add(a, -(b * GumbelQuantile(g, -log(u)))); });
}

QuarnFloat STATS_GumbelUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) { return g.Add(a, -(b * GumbelQuantile(g, -log1p(-q)))); });
}

// e exp(-e) / b, which is 0 where e is infinite (x = -infinity, or e beyond
// the float range) rather than infinity times 0.
QuarnFloat STATS_GumbelDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  if (IsQuarnFloatNegativeInfinity(x)) return 0.0;
  return Guarded(kv, [&](Guard& g) {
    QuarnFloat v = (-(x - a)) / b;
    QuarnFloat e = GumbelInner(g, v);
    if (IsQuarnFloatInfinity(e)) return QuarnFloat(0.0);
    return e * GumbelOuter(g, v, e) / b;
  });
}

// --------------------------------------------------------------- Laplace
// Location a, scale b. Each side is computed from its own exponential, so
// neither tail loses digits to 1 - p.

namespace {

// exp(v)/2 and 1 - exp(v)/2 for v <= 0.
QuarnFloat HalfExp(Guard& g, const QuarnFloat& v) {
  g.Condition(v.ToDouble());
  return 0.5 * exp(v);
}
QuarnFloat OneMinusHalfExp(const QuarnFloat& v) { return 1.0 - 0.5 * exp(v); }

// The standard quantile: log(2u) below 1/2, else -log(2 (1 - u)).
QuarnFloat LaplaceQuantile(const QuarnFloat& u) {
  if (u < 0.5) return log(2.0 * u);
  return -log(2.0 * (1.0 - u));
}

}  // namespace

QuarnFloat STATS_LaplaceProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  if (x < a) return Guarded(kv, [&](Guard& g) { return HalfExp(g, (-(a - x)) / b); });
  return Guarded(kv, [&](Guard&) { return OneMinusHalfExp((-(x - a)) / b); });
}

QuarnFloat STATS_LaplaceUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  if (x < a) return Guarded(kv, [&](Guard&) { return OneMinusHalfExp((-(a - x)) / b); });
  return Guarded(kv, [&](Guard& g) { return HalfExp(g, (-(x - a)) / b); });
}

QuarnFloat STATS_LaplaceDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) { return g.Add(a, b * LaplaceQuantile(u)); });
}

QuarnFloat STATS_LaplaceUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) { return g.Add(a, -(b * LaplaceQuantile(q))); });
}

QuarnFloat STATS_LaplaceDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) { return HalfExp(g, (-fabs(x - a)) / b) / b; });
}

// -------------------------------------------------------------- Logistic
// Location a, scale b.

namespace {

// 1/(1 + exp(v)): for v > 0 the relative error is about v times that of v.
QuarnFloat LogisticTail(Guard& g, const QuarnFloat& v) {
  g.Condition(std::max(0.0, v.ToDouble()));
  return 1.0 / (1.0 + exp(v));
}

// log(u/(1 - u)), which near u = 1/2 is log1p((2u - 1)/(1 - u)) with
// 2u - 1 and 1 - u exact.
QuarnFloat Logit(const QuarnFloat& u) {
  if (u >= 0.25 && u <= 0.75) return log1p((2.0 * u - 1.0) / (1.0 - u));
  return log(u / (1.0 - u));
}

}  // namespace

QuarnFloat STATS_LogisticProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) { return LogisticTail(g, (-(x - a)) / b); });
}

QuarnFloat STATS_LogisticUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) { return LogisticTail(g, (x - a) / b); });
}

QuarnFloat STATS_LogisticDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) { return g.Add(a, b * Logit(u)); });
}

QuarnFloat STATS_LogisticUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) { return g.Add(a, -(b * Logit(q))); });
}

// exp(v) / (b (1 + exp(v))^2) with v = -|x - a|/b (the density is symmetric).
QuarnFloat STATS_LogisticDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) {
    QuarnFloat v = (-fabs(x - a)) / b;
    g.Condition(v.ToDouble());
    QuarnFloat e = exp(v);
    return e / (b * ((1.0 + e) * (1.0 + e)));
  });
}

// ------------------------------------------------------------ Triangular
// Lower end a, upper end b, mode c. The deviate switches branches where the
// probability does, at u (b - a) = c - a, tested at the caller's precision.
// 1 - (x - a)^2/((b - a)(c - a)) is written as a sum of positive terms,
// ((c - a)(b - c) + (c - x)((c - a) + (x - a)))/((b - a)(c - a)), and so is
// 1 - (b - x)^2/((b - a)(b - c)); neither cancels next to the mode.

QuarnFloat STATS_TriangularProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b, QuarnFloat c) {
  if (x < a) return 0.0;
  if (x < c) return Guarded(kv, [&](Guard&) { return ((x - a) * (x - a)) / (b - a) / (c - a); });
  if (x < b) {
    return Guarded(kv, [&](Guard&) {
      return ((b - c) * (c - a) + (x - c) * ((b - c) + (b - x))) / ((b - a) * (b - c));
    });
  }
  return 1.0;
}

QuarnFloat STATS_TriangularUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b, QuarnFloat c) {
  if (x < a) return 1.0;
  if (x < c) {
    return Guarded(kv, [&](Guard&) {
      return ((c - a) * (b - c) + (c - x) * ((c - a) + (x - a))) / ((b - a) * (c - a));
    });
  }
  if (x < b) return Guarded(kv, [&](Guard&) { return ((b - x) * (b - x)) / (b - a) / (b - c); });
  return 0.0;
}

QuarnFloat STATS_TriangularDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat b, QuarnFloat c) {
  if (u * (b - a) < c - a) return Guarded(kv, [&](Guard& g) { return g.Add(a, sqrt(u * (b - a) * (c - a))); });
  return Guarded(kv, [&](Guard& g) { return g.Add(b, -sqrt((1.0 - u) * (b - a) * (b - c))); });
}

// The mirror image: above the mode while q (b - a) < b - c.
QuarnFloat STATS_TriangularUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat a, QuarnFloat b, QuarnFloat c) {
  if (q * (b - a) < b - c) return Guarded(kv, [&](Guard& g) { return g.Add(b, -sqrt(q * (b - a) * (b - c))); });
  return Guarded(kv, [&](Guard& g) { return g.Add(a, sqrt((1.0 - q) * (b - a) * (c - a))); });
}

QuarnFloat STATS_TriangularDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b, QuarnFloat c) {
  if (IsQuarnFloatUndefined(x)) return x;
  if (x < a) return 0.0;
  if (x < c) return Guarded(kv, [&](Guard&) { return 2.0 * (x - a) / ((b - a) * (c - a)); });
  if (x < b) return Guarded(kv, [&](Guard&) { return 2.0 * (b - x) / ((b - a) * (b - c)); });
  return 0.0;
}

// --------------------------------------------------------------- Uniform
// Lower end a, upper end b.

QuarnFloat STATS_UniformProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  if (x <= a) return 0.0;
  if (x >= b) return 1.0;
  return Guarded(kv, [&](Guard&) { return (x - a) / (b - a); });
}

QuarnFloat STATS_UniformUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  if (x <= a) return 1.0;
  if (x >= b) return 0.0;
  return Guarded(kv, [&](Guard&) { return (b - x) / (b - a); });
}

QuarnFloat STATS_UniformDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) { return g.Add(a, u * (b - a)); });
}

QuarnFloat STATS_UniformUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat a, QuarnFloat b) {
  return Guarded(kv, [&](Guard& g) { return g.Add(b, -(q * (b - a))); });
}

QuarnFloat STATS_UniformDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  if (IsQuarnFloatUndefined(x)) return x;
  if (x < a || x > b) return 0.0;
  return Guarded(kv, [&](Guard&) { return 1.0 / (b - a); });
}
