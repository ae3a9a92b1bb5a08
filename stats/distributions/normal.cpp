// The normal distribution (probability, deviate, variate), the log-normal
// distribution built on it, and two fast normal approximations.
#include <cmath>

#include "platform/numerics/numerics.h"
#include "stats/distributions/distributions.h"
#include "stats/distributions/internal.h"
#include "stats/frame/sample.h"

using namespace quarnstats::dist;

namespace {

QuarnFloat StandardNormalProbability(QKernel kv, const QuarnFloat& z) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01eac(kLowerTail, z, e); });
}

// Newton's method on Phi(z) = u from the routine's estimate z0, with the
// slope 1/sqrt(2 Pi) exp(-z^2/2) at double accuracy, until two iterates agree
// to 10^-Digits relatively, at most Digits steps. Without agreement within the
// limit the estimate itself is returned. A zero slope (far in a tail) fails.
QuarnFloat RefineNormalDeviate(QKernel kv, const QuarnFloat& u, const QuarnFloat& z0) {
  const long digits = QuarnDigits();
  const QuarnFloat tol = pow(10.0, QuarnFloat(-digits));
  const QuarnFloat g(0.5 / std::sqrt(2.0 * std::atan(1.0)));
  QuarnFloat z = z0;
  QuarnFloat F = StandardNormalProbability(kv, z) - u;
  QuarnFloat d = g * exp((-0.5 * z) * z);
  for (long k = 0; k < digits; ++k) {
    if (d == 0) QuarnRaiseError(kv, "NewtonRaphson root-finding method failed to converge.");
    QuarnFloat z1 = z - F / d;
    QuarnFloat F1 = StandardNormalProbability(kv, z1) - u;
    QuarnFloat d1 = g * exp((-0.5 * z1) * z1);
    if (fabs(z1 - z) / (fabs(z) + fabs(z1)) < tol) return z1;
    z = z1;
    F = F1;
    d = d1;
  }
  return z0;
}

}  // namespace

QuarnFloat STATS_NormalProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat mu, QuarnFloat sigma) {
  return StandardNormalProbability(kv, (x - mu) / sigma);
}

// The routine's deviate is the estimate; above 14 digits Newton's method
// refines it against the routine's probability, so that the deviate inverts
// the probability function to the working precision.
QuarnFloat STATS_NormalDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat mu, QuarnFloat sigma) {
  QuarnFloat z = CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01fac(kLowerTail, u, e); });
  if (QuarnDigits() > 14) z = RefineNormalDeviate(kv, u, z);
  return mu + sigma * z;
}

QuarnFloat STATS_NormalRandomVariate_MP(QKernel kv, QuarnFloat mu, QuarnFloat sigma) {
  return ScaledNormal(mu, sigma);
}

// The sample entry fills an output vector, given or made of length n.
HostObject STATS_QuarnNormalRandomSample_MP(QKernel kv, HostObject args) {
  CheckCount(kv, args, 3, "QuarnNormalRandomSample");
  HostObject out = quarnstats::GetOutputVector(kv, QuarnExpseqSelect(kv, args, 1));
  QuarnFloat mu = quarnstats::FloatArg(kv, args, 2);
  QuarnFloat sigma = quarnstats::FloatArg(kv, args, 3);
  quarnstats::FillOutputVector(kv, out, [&] { return STATS_NormalRandomVariate_MP(kv, mu, sigma); });
  return out;
}

// ----------------------------------------------------------------- log-normal
// mu and sigma are the mean and standard deviation of log X. x <= 0 goes into
// log unchanged (log 0 = -infinity gives probability 0).

QuarnFloat STATS_LogNormalProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat mu, QuarnFloat sigma) {
  return STATS_NormalProbability_MP(kv, log(x), mu, sigma);
}

QuarnFloat STATS_LogNormalDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat mu, QuarnFloat sigma) {
  return exp(STATS_NormalDeviate_MP(kv, u, mu, sigma));
}

QuarnFloat STATS_LogNormalRandomVariate_MP(QKernel kv, QuarnFloat mu, QuarnFloat sigma) {
  return exp(STATS_NormalRandomVariate_MP(kv, mu, sigma));
}

// ------------------------------------------------------------- approximations

// t = sqrt(-2 log q) for the smaller tail q, then the rational correction;
// the sign follows the side of u.
QuarnFloat STATS_NormalDeviateApprox_MP(QKernel kv, QuarnFloat u) {
  QuarnFloat q = 1.0 - u;
  bool negate = false;
  if (q > 0.5) {
    q = 1.0 - q;
    negate = true;
  }
  QuarnFloat t = sqrt(-2.0 * log(q));
  QuarnFloat numerator = 2.515517 + (0.802853 + 0.010328 * t) * t;
  QuarnFloat denominator = 1.0 + (1.432788 + (0.189269 + 0.001308 * t) * t) * t;
  QuarnFloat x = t - numerator / denominator;
  return negate ? -x : x;
}

QuarnFloat STATS_NormalWApprox_MP(QKernel kv, QuarnFloat p, QuarnFloat a, QuarnFloat b) {
  if (a == 0.5) QuarnRaiseError(kv, "Error: Parameter A is 0.5, a disallowed value.");
  if (b == 0.5) QuarnRaiseError(kv, "Error: Parameter B is 0.5, a disallowed value.");
  QuarnFloat y = STATS_NormalDeviateApprox_MP(kv, 1.0 - p);
  QuarnFloat lambda = (y * y - 3.0) / 6.0;
  QuarnFloat ra = 1.0 / (2.0 * a - 1.0);
  QuarnFloat rb = 1.0 / (2.0 * b - 1.0);
  QuarnFloat h = 2.0 / (ra + rb);
  return y * sqrt(h + lambda) / h - (rb - ra) * ((lambda + 0.8333333333333334) - 2.0 / (3.0 * h));
}
