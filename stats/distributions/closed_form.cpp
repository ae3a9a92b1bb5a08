// Continuous distributions whose probability and deviate are closed formulas:
// Cauchy, Exponential, Gumbel, Laplace, Logistic, Pareto, Power, Rayleigh,
// Triangular, Uniform and Weibull. Each formula is evaluated as written at
// the working precision; the branch tests are made in the order written and
// the first that holds decides. Their variates are the deviate at one uniform
// (generated from the family table), except the exponential's ziggurat.
//
// Nothing is validated but the exponential deviate's level: a zero scale or
// a level of 0 or 1 gives what the float arithmetic gives (log 0 = -infinity,
// 0/0 = undefined).
#include "stats/distributions/distributions.h"
#include "stats/distributions/internal.h"

using namespace quarnstats::dist;

// ---------------------------------------------------------------- Cauchy
// Location a, scale b. Pi, tan and arctan come from the host at every call.

QuarnFloat STATS_CauchyProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return 0.5 + (1.0 / HostPi(kv)) * QuarnEvalf1("arctan", (x - a) / b);
}

QuarnFloat STATS_CauchyDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat b) {
  return a + b * QuarnEvalf1("tan", HostPi(kv) * (u - 0.5));
}

// ----------------------------------------------------------- Exponential
// Scale b (the mean).

QuarnFloat STATS_ExponentialProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat b) {
  if (x < 0) return 0.0;
  return 1.0 - exp((-x) / b);
}

QuarnFloat STATS_ExponentialDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat b) {
  if (u < 0 || u > 1) QuarnRaiseError1(kv, "invalid value for the tail probability: %1", u.Handle());
  return (-b) * log(1.0 - u);
}

// ---------------------------------------------------------------- Gumbel
// Location a, scale b (the distribution of the maximum).

QuarnFloat STATS_GumbelProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return exp(-exp((-(x - a)) / b));
}

QuarnFloat STATS_GumbelDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat b) {
  return a - b * log(-log(u));
}

// --------------------------------------------------------------- Laplace
// Location a, scale b. Each side is computed from its own exponential, so
// neither tail loses digits to 1 - p.

QuarnFloat STATS_LaplaceProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  if (x < a) return 0.5 * exp((-(a - x)) / b);
  return 1.0 - 0.5 * exp((-(x - a)) / b);
}

QuarnFloat STATS_LaplaceDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat b) {
  if (u < 0.5) return a + b * log(2.0 * u);
  return a - b * log(2.0 * (1.0 - u));
}

// -------------------------------------------------------------- Logistic
// Location a, scale b.

QuarnFloat STATS_LogisticProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return 1.0 / (1.0 + exp((-(x - a)) / b));
}

QuarnFloat STATS_LogisticDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat b) {
  return a + b * log(u / (1.0 - u));
}

// ---------------------------------------------------------------- Pareto
// Minimum a, shape c.

QuarnFloat STATS_ParetoProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat c) {
  if (x < a) return 0.0;
  return 1.0 - pow(a / x, c);
}

QuarnFloat STATS_ParetoDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat c) {
  return a * pow(1.0 - u, -1.0 / c);
}

// ----------------------------------------------------------------- Power
// Support [0, b], shape c: P(X <= x) = (x/b)^c.

QuarnFloat STATS_PowerProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat b, QuarnFloat c) {
  if (x < 0) return 0.0;
  if (x <= b) return pow(x / b, c);
  return 1.0;
}

QuarnFloat STATS_PowerDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat b, QuarnFloat c) {
  return b * pow(u, 1.0 / c);
}

// -------------------------------------------------------------- Rayleigh
// Scale b.

QuarnFloat STATS_RayleighProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat b) {
  if (x < 0) return 0.0;
  return 1.0 - exp((-x * x) / ((2.0 * b) * b));
}

QuarnFloat STATS_RayleighDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat b) {
  return pow(((-2.0 * b) * b) * log(1.0 - u), 0.5);
}

// ------------------------------------------------------------ Triangular
// Lower end a, upper end b, mode c. The deviate switches branches where the
// probability does, at u (b - a) = c - a.

QuarnFloat STATS_TriangularProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b, QuarnFloat c) {
  if (x < a) return 0.0;
  if (x < c) return ((x - a) * (x - a)) / (b - a) / (c - a);
  if (x < b) return 1.0 - ((b - x) * (b - x)) / (b - a) / (b - c);
  return 1.0;
}

QuarnFloat STATS_TriangularDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat b, QuarnFloat c) {
  if (u * (b - a) < c - a) return a + sqrt(u * (b - a) * (c - a));
  return b - sqrt((1.0 - u) * (b - a) * (b - c));
}

// --------------------------------------------------------------- Uniform
// Lower end a, upper end b.

QuarnFloat STATS_UniformProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  if (x <= a) return 0.0;
  if (x >= b) return 1.0;
  return (x - a) / (b - a);
}

QuarnFloat STATS_UniformDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat b) { return a + u * (b - a); }

// --------------------------------------------------------------- Weibull
// Scale b, shape c.

QuarnFloat STATS_WeibullProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat b, QuarnFloat c) {
  if (x < 0) return 0.0;
  return 1.0 - exp(-pow(x / b, c));
}

QuarnFloat STATS_WeibullDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat b, QuarnFloat c) {
  return b * pow(-log(1.0 - u), 1.0 / c);
}
