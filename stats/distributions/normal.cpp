// The normal distribution (probabilities, deviates, density, variate), the
// log-normal distribution built on it, and two fast normal approximations.
//
// The normal's tails and deviates are first taken from the routines that
// round once from the exact standardisation (x - mu)/sigma or location
// mu + sigma z (QuarnMP_NormalTailAt, QuarnMP_NormalDeviateAt), correctly
// rounded. Where those cannot decide, and for the density and the
// log-normal, the routines' values are correctly rounded for their argument
// and what they are given is formed with guard digits (Guarded): the
// standardisation, whose relative error a tail multiplies by about z^2, and
// the location, which may cancel. So every value is within an ulp of the
// exact function at its inputs.
#include <cmath>

#include "platform/numerics/numerics.h"
#include "stats/distributions/distributions.h"
#include "stats/distributions/internal.h"
#include "stats/frame/sample.h"

using namespace quarnstats::dist;

namespace {

QuarnFloat StandardNormalTail(QKernel kv, Nag_TailProbability tail, const QuarnFloat& z) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01eac(tail, z, e); });
}

// z = (x - mu)/sigma, noting what a function of z loses to z's error: the
// relative error of the density, and of a tail on its small side, is |z|
// times z's absolute error (|z| ulps from forming z, and |x| / sigma more
// when x is itself rounded, as log x is: rounded_x). sensitive_sign is the
// sign of z where that holds (a lower tail: -1, an upper: 1), or 0 for
// both.
QuarnFloat Standardize(Guard& g, const QuarnFloat& x, const QuarnFloat& mu, const QuarnFloat& sigma, bool rounded_x,
                       int sensitive_sign) {
  QuarnFloat z = (x - mu) / sigma;
  const double zd = z.ToDouble(), spread = rounded_x ? std::fabs(x.ToDouble() / sigma.ToDouble()) : 0.0;
  if (std::isfinite(zd) && zd * sensitive_sign >= 0) g.Condition(std::fabs(zd) * (std::fabs(zd) + spread));
  return z;
}

// The lower or upper tail at x (log x for the log-normal, log_x true). At
// finite arguments the normal's tail is rounded once from the exact
// standardisation, and only what that cannot decide is formed with guard
// digits.
QuarnFloat NormalTail(QKernel kv, Nag_TailProbability tail, const QuarnFloat& x, const QuarnFloat& mu,
                      const QuarnFloat& sigma, bool log_x) {
  QuarnFloat direct;
  if (!log_x && QuarnMP_NormalTailAt(&direct, tail, x, mu, sigma)) return direct;
  return Guarded(kv, [&](Guard& g) {
    QuarnFloat y = log_x ? log(x) : x;
    return StandardNormalTail(kv, tail, Standardize(g, y, mu, sigma, log_x, tail == kLowerTail ? -1 : 1));
  });
}

// mu + sigma z for the standard deviate z at the lower-tail level u (lower)
// or the upper-tail level u (upper). The routine's deviate is correctly
// rounded at the working precision: it already inverts the probability
// function there, and Newton's method against that function would have
// nothing left to correct.
QuarnFloat NormalValue(QKernel kv, Guard& g, const QuarnFloat& u, const QuarnFloat& mu, const QuarnFloat& sigma,
                       bool upper, const char* upper_entry) {
  QuarnFloat z = upper ? CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01fac(kUpperTail, u, e); })
                       : CallDeviateRoutine(kv, u, upper_entry,
                                            [&](NagError* e) { return QuarnMP_g01fac(kLowerTail, u, e); });
  return g.Add(mu, sigma * z);
}

// The deviate: for the standard normal (0 + 1 z, exact) the routine's value
// as it is; else mu + sigma z rounded once from the exact deviate where the
// routine's fast path decides it, and formed with guard digits where not.
QuarnFloat NormalDeviate(QKernel kv, const QuarnFloat& u, const QuarnFloat& mu, const QuarnFloat& sigma, bool upper,
                         const char* upper_entry) {
  if (mu == 0 && sigma == 1) {
    Guard exact;
    return NormalValue(kv, exact, u, mu, sigma, upper, upper_entry);
  }
  QuarnFloat direct;
  if (QuarnMP_NormalDeviateAt(&direct, upper ? kUpperTail : kLowerTail, u, mu, sigma)) return direct;
  return Guarded(kv, [&](Guard& g) { return NormalValue(kv, g, u, mu, sigma, upper, upper_entry); });
}

// The density at x (log x for the log-normal, whose density is that of
// log x divided by x; 0 at x = 0).
QuarnFloat NormalDensity(QKernel kv, const QuarnFloat& x, const QuarnFloat& mu, const QuarnFloat& sigma, bool log_x) {
  if (log_x && x == 0) return 0.0;
  return Guarded(kv, [&](Guard& g) {
    QuarnFloat z = Standardize(g, log_x ? log(x) : x, mu, sigma, log_x, 0);
    QuarnFloat phi = CallRoutine(kv, [&](NagError* e) { return QuarnMP_NormalDensity(z, e); });
    return phi / (log_x ? sigma * x : sigma);
  });
}

}  // namespace

QuarnFloat STATS_NormalProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat mu, QuarnFloat sigma) {
  return NormalTail(kv, kLowerTail, x, mu, sigma, false);
}

QuarnFloat STATS_NormalUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat mu, QuarnFloat sigma) {
  return NormalTail(kv, kUpperTail, x, mu, sigma, false);
}

QuarnFloat STATS_NormalDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat mu, QuarnFloat sigma) {
  return NormalDeviate(kv, u, mu, sigma, false, "QuarnNormalUpperDeviate");
}

QuarnFloat STATS_NormalUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat mu, QuarnFloat sigma) {
  return NormalDeviate(kv, q, mu, sigma, true, nullptr);
}

QuarnFloat STATS_NormalDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat mu, QuarnFloat sigma) {
  return NormalDensity(kv, x, mu, sigma, false);
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
  return NormalTail(kv, kLowerTail, x, mu, sigma, true);
}

QuarnFloat STATS_LogNormalUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat mu, QuarnFloat sigma) {
  return NormalTail(kv, kUpperTail, x, mu, sigma, true);
}

namespace {

// exp of the normal deviate, whose relative error is |y| times the
// deviate's.
QuarnFloat LogNormalValue(QKernel kv, const QuarnFloat& u, const QuarnFloat& mu, const QuarnFloat& sigma,
                          bool upper) {
  return Guarded(kv, [&](Guard& g) {
    QuarnFloat y = NormalValue(kv, g, u, mu, sigma, upper, "QuarnLogNormalUpperDeviate");
    g.Condition(y.ToDouble());
    return exp(y);
  });
}

}  // namespace

QuarnFloat STATS_LogNormalDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat mu, QuarnFloat sigma) {
  return LogNormalValue(kv, u, mu, sigma, false);
}

QuarnFloat STATS_LogNormalUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat mu, QuarnFloat sigma) {
  return LogNormalValue(kv, q, mu, sigma, true);
}

QuarnFloat STATS_LogNormalDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat mu, QuarnFloat sigma) {
  return NormalDensity(kv, x, mu, sigma, true);
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
