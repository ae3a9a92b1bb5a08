// Non-central beta, chi-square, F and Student's t distributions.
//
// Probabilities are the numerical routines' series, given a tolerance and
// the iteration limit (_EnvStatisticsIterations, 100 when unassigned);
// deviates invert them with the Brent root finders through probability
// adapters; variates are built from normal and chi-square variates, or (the
// chi-square without its flag) by inversion. The chi-square sample can also
// be drawn by the envelope generator over a density the host supplies with
// its first two derivatives.
#include <algorithm>
#include <cmath>

#include "platform/numerics/numerics.h"
#include "stats/distributions/distributions.h"
#include "stats/distributions/internal.h"
#include "stats/frame/adapters.h"
#include "stats/frame/sample.h"
#include "stats/rootfind/rootfind.h"
#include "stats/sampling/sampling.h"

using namespace quarnstats::dist;
using quarnstats::FloatToHost;
using quarnstats::IterationLimit;
using quarnstats::UniformFloat;

namespace {

using _NonCentralBetaProbabilityAdapter =
    ProbabilityAdapter<&STATS_NonCentralBetaProbability_MP, QuarnFloat, QuarnFloat, QuarnFloat, QuarnFloat>;
using _NonCentralChiSquareProbabilityAdapter =
    ProbabilityAdapter<&STATS_NonCentralChiSquareProbability_MP, QuarnFloat, QuarnFloat, QuarnFloat>;
using _NonCentralFRatioProbabilityAdapter =
    ProbabilityAdapter<&STATS_NonCentralFRatioProbability_MP, QuarnFloat, QuarnFloat, QuarnFloat, QuarnFloat>;

// The sum of squared normals costs one variate per degree of freedom: past
// this it would run for hours (and forever for an infinite nu).
constexpr double kMaxSquaredNormals = 1e7;

}  // namespace

// ------------------------------------------------------------ probabilities
// lambda (and delta) are the non-centralities, tol the routines' accuracy.

namespace {

// A series routine run with the iteration limit.
template <class Routine>
QuarnFloat WithLimit(QKernel kv, Routine&& routine) {
  const long limit = IterationLimit(kv);
  return CallRoutine(kv, [&](NagError* e) { return routine(limit, e); });
}

}  // namespace

QuarnFloat STATS_NonCentralBetaProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b, QuarnFloat lambda,
                                              QuarnFloat tol) {
  return WithLimit(kv, [&](long limit, NagError* e) { return QuarnMP_g01gec(x, a, b, lambda, tol, limit, e); });
}

QuarnFloat STATS_NonCentralChiSquareProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat nu, QuarnFloat lambda,
                                                   QuarnFloat tol) {
  return WithLimit(kv, [&](long limit, NagError* e) { return QuarnMP_g01gcc(x, nu, lambda, tol, limit, e); });
}

QuarnFloat STATS_NonCentralFRatioProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat nu1, QuarnFloat nu2,
                                                QuarnFloat lambda, QuarnFloat tol) {
  if (x <= 0) return 0.0;
  return WithLimit(kv, [&](long limit, NagError* e) { return QuarnMP_g01gdc(x, nu1, nu2, lambda, tol, limit, e); });
}

QuarnFloat STATS_NonCentralStudentTProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat nu, QuarnFloat delta,
                                                  QuarnFloat tol) {
  return WithLimit(kv, [&](long limit, NagError* e) { return QuarnMP_g01gbc(x, nu, delta, tol, limit, e); });
}

// ----------------------------------------------------------------- deviates

// Brent's method on [0, 1].
QuarnFloat STATS_NonCentralBetaDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat b, QuarnFloat lambda,
                                          QuarnFloat tol) {
  _NonCentralBetaProbabilityAdapter f(kv, a, b, lambda, tol);
  return quarnstats::BrentMethod(kv, u, &f, QuarnFloat(0.0), QuarnFloat(1.0), tol, IterationLimit(kv));
}

// A bracket from 0 and the mean nu + lambda by secant steps, then Brent.
QuarnFloat STATS_NonCentralChiSquareDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat nu, QuarnFloat lambda,
                                               QuarnFloat tol) {
  _NonCentralChiSquareProbabilityAdapter f(kv, nu, lambda, tol);
  return quarnstats::BrentMethodHybridLeft(kv, u, &f, QuarnFloat(0.0), QuarnFloat(1.0), QuarnFloat(0.0), nu + lambda,
                                           tol, IterationLimit(kv));
}

// A bracket from 0 and 5 by secant steps, then Brent.
QuarnFloat STATS_NonCentralFRatioDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat nu1, QuarnFloat nu2,
                                            QuarnFloat lambda, QuarnFloat tol) {
  _NonCentralFRatioProbabilityAdapter f(kv, nu1, nu2, lambda, tol);
  return quarnstats::BrentMethodHybridLeft(kv, u, &f, QuarnFloat(0.0), QuarnFloat(1.0), QuarnFloat(0.0),
                                           QuarnFloat(5.0), tol, IterationLimit(kv));
}

// ----------------------------------------------------------------- variates

// With the flag, a sum of squared normals of mean sqrt(lambda / nu), one per
// degree of freedom (ceil(nu) of them); without it, the deviate at a uniform.
QuarnFloat STATS_NonCentralChiSquareRandomVariate_MP(QKernel kv, QuarnFloat nu, QuarnFloat lambda, int flag) {
  if (flag != 0) {
    if (!(nu <= kMaxSquaredNormals)) {
      QuarnRaiseError1(kv, "the sum of squared normals takes at most 1e7 degrees of freedom, received: %1",
                       FloatToHost(nu));
    }
    const QuarnFloat m = sqrt(lambda / nu), one(1.0);
    QuarnFloat s = 0.0;
    for (long i = 0; QuarnFloat(i) < nu; ++i) {
      QuarnFloat z = STATS_NormalRandomVariate_MP(kv, m, one);
      s += z * z;
    }
    return s;
  }
  const QuarnFloat tol(quarnstats::TolerancePower(quarnstats::HostDigits(kv)));
  return STATS_NonCentralChiSquareDeviate_MP(kv, UniformFloat(), nu, lambda, tol);
}

// X / (X + Y) for X non-central chi-square(2a, lambda), summed for a <= 50,
// and Y chi-square(2b).
QuarnFloat STATS_NonCentralBetaRandomVariate_MP(QKernel kv, QuarnFloat a, QuarnFloat b, QuarnFloat lambda) {
  const int flag = a <= 50.0 ? 1 : 0;
  QuarnFloat x = STATS_NonCentralChiSquareRandomVariate_MP(kv, 2.0 * a, lambda, flag);
  QuarnFloat y = STATS_ChiSquareRandomVariate_MP(kv, 2.0 * b);
  return x / (y + x);
}

// (X / nu1) / (Y / nu2), X non-central chi-square by inversion.
QuarnFloat STATS_NonCentralFRatioRandomVariate_MP(QKernel kv, QuarnFloat nu1, QuarnFloat nu2, QuarnFloat lambda) {
  QuarnFloat x = STATS_NonCentralChiSquareRandomVariate_MP(kv, nu1, lambda, 0);
  QuarnFloat y = STATS_ChiSquareRandomVariate_MP(kv, nu2);
  return (x * nu2) / (y * nu1);
}

// Z / sqrt(C / nu) for Z normal of mean delta and C chi-square(nu), C first.
QuarnFloat STATS_NonCentralStudentTRandomVariate_MP(QKernel kv, QuarnFloat nu, QuarnFloat delta) {
  QuarnFloat c = STATS_ChiSquareRandomVariate_MP(kv, nu);
  QuarnFloat s = sqrt(c / nu);
  QuarnFloat z = STATS_NormalRandomVariate_MP(kv, delta, QuarnFloat(1.0));
  return z / s;
}

// ------------------------------------------------------------------ samples

// (n, nu, lambda, flag): n variates. (n, nu, lambda, f, f', f''): the
// envelope generator over the density f, with base points at the deviates
// of levels 0.1/n and 1 - 0.1/n (at most 0.001 and at least 0.999), the mode
// (where f' vanishes) and the inflection points (where f'' does).
HostObject STATS_QuarnNonCentralChiSquareRandomSample_MP(QKernel kv, HostObject args) {
  const int count = QuarnNumArgs(kv, args);
  if (count != 4 && count != 6) {
    QuarnRaiseError1(kv, "QuarnNonCentralChiSquareRandomSample expects 4 or 6 arguments, received: %1", args);
  }
  const int32_t n = SampleLength(kv, QuarnExpseqSelect(kv, args, 1));
  const QuarnFloat nu = quarnstats::FloatArg(kv, args, 2);
  const QuarnFloat lambda = quarnstats::FloatArg(kv, args, 3);
  HostObject result = quarnstats::CreateResultVector(kv, n);
  auto* block = n > 0 ? static_cast<QuarnFloat*>(RTableDataBlock(kv, result)) : nullptr;
  if (count == 4) {
    const int flag = QuarnToQ_BOOL(kv, QuarnExpseqSelect(kv, args, 4)) != 0;
    // The sums of squared normals of a whole sample share the bound of one
    // variate (712 variates of 3.7e6 degrees of freedom took 14 minutes);
    // nu itself beyond it gets the variate's own message.
    if (flag != 0 && n > 1 && nu <= kMaxSquaredNormals) {
      const QuarnFloat normals = ceil(nu) * QuarnFloat(static_cast<double>(n));
      if (!(normals <= kMaxSquaredNormals)) {
        QuarnRaiseError1(kv, "a sample of sums of squared normals takes at most 1e7 normal variates in all "
                             "(n times ceil(nu)), received: %1",
                         FloatToHost(normals));
      }
    }
    for (int32_t k = 0; k < n; ++k) block[k] = STATS_NonCentralChiSquareRandomVariate_MP(kv, nu, lambda, flag);
    return result;
  }
  const char* const messages[] = {
      "procedure expected as fourth parameter to QuarnNonCentralChiSquareRandomSample, received: %1",
      "procedure expected as fifth parameter to QuarnNonCentralChiSquareRandomSample, received: %1",
      "procedure expected as sixth parameter to QuarnNonCentralChiSquareRandomSample, received: %1"};
  HostObject procedures[3];
  for (int i = 0; i < 3; ++i) procedures[i] = quarnstats::ProcedureArg(kv, args, 4 + i, messages[i]);
  STATS_QuarnProcAdapter_MP slope(kv, procedures[1]), curvature(kv, procedures[2]);

  const QuarnFloat tol(quarnstats::TolerancePower(quarnstats::HostDigits(kv)));
  const long limit = IterationLimit(kv);
  const double p_low = std::min(0.1 / n, 0.001), p_high = std::max(1.0 - 0.1 / n, 0.999);
  const QuarnFloat x_low = STATS_NonCentralChiSquareDeviate_MP(kv, QuarnFloat(p_low), nu, lambda, tol);
  const QuarnFloat x_high = STATS_NonCentralChiSquareDeviate_MP(kv, QuarnFloat(p_high), nu, lambda, tol);
  const QuarnFloat zero(0.0);
  const QuarnFloat mode = quarnstats::BrentMethod(kv, zero, &slope, x_low, x_high, tol, limit);
  const QuarnFloat right = quarnstats::BrentMethod(kv, zero, &curvature, mode, x_high, tol, limit);
  std::vector<QuarnFloat> base;
  if (curvature.Evaluate(mode) * curvature.Evaluate(x_low) < 0) {
    const QuarnFloat left = quarnstats::BrentMethod(kv, zero, &curvature, x_low, mode, tol, limit);
    base = {x_low, left, mode, right, x_high};
  } else {
    base = {x_low, right, x_high};
  }
  HostObject points = QuarnListAlloc(kv, static_cast<int>(base.size()));
  for (size_t i = 0; i < base.size(); ++i) QuarnListAssign(kv, points, static_cast<int>(i) + 1, FloatToHost(base[i]));
  HostObject description = QuarnListAlloc(kv, 5);
  QuarnListAssign(kv, description, 1, procedures[0]);
  QuarnListAssign(kv, description, 2, procedures[1]);
  QuarnListAssign(kv, description, 3, points);
  QuarnListAssign(kv, description, 4, ToQuarnInteger(kv, std::max(n / 10000, 100)));
  QuarnListAssign(kv, description, 5, ToQuarnBoolean(kv, 1));
  STATS_EnvelopeGenerator_MP generator(kv);
  if (generator.Initialize(kv, description) == 0) {
    QuarnRaiseError1(kv, "unable to initialize random variate generator", ToQuarnNULL(kv));
  }
  for (int32_t k = 0; k < n; ++k) block[k] = generator.Generate(kv);
  return result;
}
