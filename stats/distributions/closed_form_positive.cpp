// Closed-form continuous distributions on a half line or a bounded interval:
// Exponential, Pareto, Power, Rayleigh and Weibull (closed_form.cpp has the
// others, and says what each family offers). 1 - exp(-t) is -expm1(-t),
// log(1 - u) is log1p(-u), and a power (a/x)^c near 1 is exp(-c log1p(...)),
// so that nothing cancels at small x or at levels near 0 and 1; each formula
// is evaluated with guard digits and rounded once (Guarded).
//
// The exponential deviates are the only functions here that validate an
// argument: a level outside [0, 1] is refused. The exponential variate has a
// ziggurat of its own; the others are the deviate at one uniform.
#include <cmath>

#include "stats/distributions/distributions.h"
#include "stats/distributions/internal.h"

using namespace quarnstats::dist;

namespace {

// exp(v) for v = -(a nonnegative quantity): its relative error is |v| times
// that of v.
QuarnFloat ExpOfNegative(Guard& g, const QuarnFloat& v) {
  g.Condition(v.ToDouble());
  return exp(v);
}

// b y^e, whose relative error is about |e| (1 + |log y|) times that of y and
// e (log |y| from y's binary exponent, finite for any y).
QuarnFloat ScaledPower(Guard& g, const QuarnFloat& b, const QuarnFloat& y, const QuarnFloat& e) {
  const double log_y = mpfr_regular_p(y.Mpfr()) ? static_cast<double>(mpfr_get_exp(y.Mpfr())) * M_LN2 : 0.0;
  g.Condition(e.ToDouble() * (1.0 + std::fabs(log_y)));
  return b * pow(y, e);
}

}  // namespace

// ----------------------------------------------------------- Exponential
// Scale b (the mean).

namespace {

void CheckLevel(QKernel kv, const QuarnFloat& u) {
  if (u < 0 || u > 1) QuarnRaiseError1(kv, "invalid value for the tail probability: %1", u.Handle());
}

}  // namespace

QuarnFloat STATS_ExponentialProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat b) {
  if (x < 0) return 0.0;
  return Guarded(kv, [&](Guard&) { return -expm1((-x) / b); });
}

QuarnFloat STATS_ExponentialUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat b) {
  if (x < 0) return 1.0;
  return Guarded(kv, [&](Guard& g) { return ExpOfNegative(g, (-x) / b); });
}

QuarnFloat STATS_ExponentialDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat b) {
  CheckLevel(kv, u);
  return Guarded(kv, [&](Guard&) { return (-b) * log1p(-u); });
}

// At q = 1 the deviate is the start of the support, 0 (not the -0 that
// (-b) log 1 is).
QuarnFloat STATS_ExponentialUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat b) {
  CheckLevel(kv, q);
  if (q == 1) return 0.0;
  return Guarded(kv, [&](Guard&) { return (-b) * log(q); });
}

QuarnFloat STATS_ExponentialDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat b) {
  if (x < 0) return 0.0;
  return Guarded(kv, [&](Guard& g) { return ExpOfNegative(g, (-x) / b) / b; });
}

// ---------------------------------------------------------------- Pareto
// Minimum a, shape c: P(X > x) = (a/x)^c for x >= a.

QuarnFloat STATS_ParetoProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat c) {
  if (x < a) return 0.0;
  // 1 - (a/x)^c = -expm1(-c log1p((x - a)/a)).
  return Guarded(kv, [&](Guard&) { return -expm1((-c) * log1p((x - a) / a)); });
}

QuarnFloat STATS_ParetoUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat c) {
  if (x < a) return 1.0;
  return Guarded(kv, [&](Guard& g) {
    g.Condition(c.ToDouble());
    return pow(a / x, c);
  });
}

// a (1 - u)^(-1/c) = a exp(log1p(-u) (-1/c)).
QuarnFloat STATS_ParetoDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat c) {
  return Guarded(kv, [&](Guard& g) {
    QuarnFloat v = log1p(-u) * (-1.0 / c);
    g.Condition(v.ToDouble());
    return a * exp(v);
  });
}

QuarnFloat STATS_ParetoUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat a, QuarnFloat c) {
  return Guarded(kv, [&](Guard& g) { return ScaledPower(g, a, q, -1.0 / c); });
}

// c a^c / x^(c+1) = (c/x) (a/x)^c.
QuarnFloat STATS_ParetoDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat c) {
  if (x < a) return 0.0;
  return Guarded(kv, [&](Guard& g) {
    g.Condition(c.ToDouble());
    return (c / x) * pow(a / x, c);
  });
}

// ----------------------------------------------------------------- Power
// Support [0, b], shape c: P(X <= x) = (x/b)^c.

QuarnFloat STATS_PowerProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat b, QuarnFloat c) {
  if (x < 0) return 0.0;
  if (x <= b) {
    return Guarded(kv, [&](Guard& g) {
      g.Condition(c.ToDouble());
      return pow(x / b, c);
    });
  }
  return 1.0;
}

// 1 - (x/b)^c = -expm1(c log(x/b)), the logarithm as log1p((x - b)/b) in
// the upper half, where x/b is near 1.
QuarnFloat STATS_PowerUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat b, QuarnFloat c) {
  if (x < 0) return 1.0;
  if (x <= b) {
    return Guarded(kv, [&](Guard&) {
      QuarnFloat l = 2.0 * x > b ? log1p((x - b) / b) : log(x / b);
      return -expm1(c * l);
    });
  }
  return 0.0;
}

QuarnFloat STATS_PowerDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat b, QuarnFloat c) {
  return Guarded(kv, [&](Guard& g) { return ScaledPower(g, b, u, 1.0 / c); });
}

// b (1 - q)^(1/c) = b exp(log1p(-q)/c).
QuarnFloat STATS_PowerUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat b, QuarnFloat c) {
  return Guarded(kv, [&](Guard& g) {
    QuarnFloat v = log1p(-q) * (1.0 / c);
    g.Condition(v.ToDouble());
    return b * exp(v);
  });
}

// c x^(c-1) / b^c = (c/b) (x/b)^(c-1) on [0, b].
QuarnFloat STATS_PowerDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat b, QuarnFloat c) {
  if (IsQuarnFloatUndefined(x)) return x;
  if (x < 0 || x > b) return 0.0;
  return Guarded(kv, [&](Guard& g) { return ScaledPower(g, c / b, x / b, c - 1.0); });
}

// -------------------------------------------------------------- Rayleigh
// Scale b: P(X > x) = exp(-x^2/(2 b^2)).

namespace {

QuarnFloat RayleighExponent(const QuarnFloat& x, const QuarnFloat& b) { return (-x * x) / ((2.0 * b) * b); }

}  // namespace

QuarnFloat STATS_RayleighProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat b) {
  if (x < 0) return 0.0;
  return Guarded(kv, [&](Guard&) { return -expm1(RayleighExponent(x, b)); });
}

QuarnFloat STATS_RayleighUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat b) {
  if (x < 0) return 1.0;
  return Guarded(kv, [&](Guard& g) { return ExpOfNegative(g, RayleighExponent(x, b)); });
}

QuarnFloat STATS_RayleighDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat b) {
  return Guarded(kv, [&](Guard&) { return pow(((-2.0 * b) * b) * log1p(-u), 0.5); });
}

QuarnFloat STATS_RayleighUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat b) {
  return Guarded(kv, [&](Guard&) { return pow(((-2.0 * b) * b) * log(q), 0.5); });
}

QuarnFloat STATS_RayleighDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat b) {
  if (x < 0 || IsQuarnFloatInfinity(x)) return 0.0;
  return Guarded(kv, [&](Guard& g) { return x / (b * b) * ExpOfNegative(g, RayleighExponent(x, b)); });
}

// --------------------------------------------------------------- Weibull
// Scale b, shape c: P(X > x) = exp(-(x/b)^c).

namespace {

// (x/b)^c, whose relative error is c times that of x/b.
QuarnFloat WeibullPower(Guard& g, const QuarnFloat& x, const QuarnFloat& b, const QuarnFloat& c) {
  g.Condition(c.ToDouble());
  return pow(x / b, c);
}

}  // namespace

QuarnFloat STATS_WeibullProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat b, QuarnFloat c) {
  if (x < 0) return 0.0;
  return Guarded(kv, [&](Guard& g) { return -expm1(-WeibullPower(g, x, b, c)); });
}

QuarnFloat STATS_WeibullUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat b, QuarnFloat c) {
  if (x < 0) return 1.0;
  return Guarded(kv, [&](Guard& g) {
    QuarnFloat s = WeibullPower(g, x, b, c);
    g.Condition(s.ToDouble() * (1.0 + c.ToDouble()));
    return exp(-s);
  });
}

QuarnFloat STATS_WeibullDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat b, QuarnFloat c) {
  return Guarded(kv, [&](Guard& g) { return ScaledPower(g, b, -log1p(-u), 1.0 / c); });
}

QuarnFloat STATS_WeibullUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat b, QuarnFloat c) {
  return Guarded(kv, [&](Guard& g) { return ScaledPower(g, b, -log(q), 1.0 / c); });
}

// (c/b) (x/b)^(c-1) exp(-(x/b)^c).
QuarnFloat STATS_WeibullDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat b, QuarnFloat c) {
  if (x < 0 || IsQuarnFloatInfinity(x)) return 0.0;
  return Guarded(kv, [&](Guard& g) {
    QuarnFloat s = WeibullPower(g, x, b, c);
    g.Condition(s.ToDouble() * (1.0 + c.ToDouble()));
    return ScaledPower(g, c / b, x / b, c - 1.0) * exp(-s);
  });
}
