// Integer-valued distributions: Bernoulli, binomial, discrete uniform,
// geometric, hypergeometric, negative binomial and Poisson, and the empirical
// distribution of a data sample.
//
// Deviates are the smallest integer whose cumulative probability reaches u.
// Bernoulli, discrete uniform and geometric have closed forms; the binomial,
// hypergeometric, negative binomial and Poisson deviates search their
// probability (the numerical routines', or the beta probability for the
// negative binomial) with the discrete root finders, through probability
// adapters. Variates are the deviate at one uniform, except the Bernoulli
// variate (U <= p), the binomial variate for large n (a rounded normal
// variate) and the geometric sample (exponential variates).
#include "platform/numerics/numerics.h"
#include "stats/descriptive/descriptive.h"
#include "stats/distributions/distributions.h"
#include "stats/distributions/internal.h"
#include "stats/frame/sample.h"
#include "stats/rootfind/rootfind.h"

using namespace quarnstats::dist;
using quarnstats::FloatToHost;
using quarnstats::UniformFloat;

namespace {

using _BinomialProbabilityAdapter = ProbabilityAdapter<&STATS_BinomialProbability_MP, long, QuarnFloat>;
using _HypergeometricProbabilityAdapter = ProbabilityAdapter<&STATS_HypergeometricProbability_MP, long, long, long>;
using _NegativeBinomialProbabilityAdapter = ProbabilityAdapter<&STATS_NegativeBinomialProbability_MP, long, QuarnFloat>;
using _PoissonProbabilityAdapter = ProbabilityAdapter<&STATS_PoissonProbability_MP, QuarnFloat>;

// P(X <= k) of a discrete routine, which is not asked for its other two
// outputs; its messages in the entry's names (renames).
template <class Routine>
QuarnFloat LowerTail(QKernel kv, Routine&& routine, std::initializer_list<ArgumentName> renames) {
  return CallRoutine(
      kv,
      [&](NagError* e) {
        QuarnFloat lower = 0.0;
        routine(&lower, nullptr, nullptr, e);
        return lower;
      },
      renames);
}

}  // namespace

// ---------------------------------------------------------------- Bernoulli

// The mass at x: 1 - p at 0, p at 1.
QuarnFloat STATS_BernoulliProbability_MP(QKernel kv, long x, QuarnFloat p) {
  if (x == 0) return 1.0 - p;
  if (x == 1) return p;
  return 0.0;
}

long STATS_BernoulliDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat p) { return u <= 1.0 - p ? 0 : 1; }

QuarnFloat STATS_BernoulliRandomVariate_MP(QKernel kv, QuarnFloat p) { return UniformFloat() <= p ? 1.0 : 0.0; }

// ----------------------------------------------------------------- binomial

// n trials of success probability p.
QuarnFloat STATS_BinomialProbability_MP(QKernel kv, QuarnFloat x, long n, QuarnFloat p) {
  const long k = FloatToInt(floor(x));
  return LowerTail(kv, [&](QuarnFloat* l, QuarnFloat* g, QuarnFloat* e, NagError* f) { QuarnMP_g01bjc(n, p, k, l, g, e, f); },
                   {{"p", "p"}, {"k", "x"}});
}

long STATS_BinomialDeviate_MP(QKernel kv, QuarnFloat u, long n, QuarnFloat p) {
  _BinomialProbabilityAdapter f(kv, n, p);
  return quarnstats::DiscreteInterpolation(kv, u, &f, 0, n, quarnstats::IterationLimit(kv));
}

// Above 100 trials with more than 10 expected successes and failures, the
// normal variate of the same mean and variance, rounded and clamped to
// 0..n; otherwise the deviate at a uniform.
QuarnFloat STATS_BinomialRandomVariate_MP(QKernel kv, long n, QuarnFloat p) {
  if (n * p > 10L && n * (1.0 - p) > 10L && n > 100) {
    QuarnFloat x = floor(STATS_NormalRandomVariate_MP(kv, n * p, sqrt((p * n) * (1.0 - p))) + 0.5);
    if (x <= 0) return 0.0;
    if (x > n) return QuarnFloat(n);
    return x;
  }
  return QuarnFloat(STATS_BinomialDeviate_MP(kv, UniformFloat(), n, p));
}

// --------------------------------------------------------- discrete uniform

namespace {

// The number of integers lo..hi (hi >= lo), exact as an unsigned integer up
// to 2^64 - 1 (the difference of two longs need not be a long).
QuarnFloat IntegersFromTo(long lo, long hi) {
  const unsigned long d = static_cast<unsigned long>(hi) - static_cast<unsigned long>(lo);
  return d == ~0UL ? QuarnFloat(d) + 1.0 : QuarnFloat(d + 1);
}

}  // namespace

// The integers a..b, each with probability 1 / (b - a + 1).
QuarnFloat STATS_DiscreteUniformProbability_MP(QKernel kv, QuarnFloat x, long a, long b) {
  const long k = FloatToInt(floor(x));
  if (k < a) return 0.0;
  if (k > b) return 1.0;
  return IntegersFromTo(a, k) / IntegersFromTo(a, b);
}

long STATS_DiscreteUniformDeviate_MP(QKernel kv, QuarnFloat u, long a, long b) {
  if (u == 0) return a;
  const QuarnFloat fa(a), fb(b);
  return FloatToInt(ceil(((u * ((fb - fa) + 1.0)) + fa) - 1.0));
}

// ---------------------------------------------------------------- geometric

namespace {

// The formulas hold for a success probability in (0, 1); at p = 0 no
// success ever comes (the deviate is infinite).
void CheckSuccessProbability(QKernel kv, const QuarnFloat& p) {
  if (!(p > 0.0 && p < 1.0)) QuarnRaiseError1(kv, "p must be in (0, 1), received: %1", FloatToHost(p));
}

}  // namespace

// Failures before the first success of probability p: P(X <= x) =
// 1 - (1 - p)^(floor(x) + 1).
QuarnFloat STATS_GeometricProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat p) {
  CheckSuccessProbability(kv, p);
  if (x < 0) return 0.0;
  return 1.0 - pow(1.0 - p, floor(x) + 1.0);
}

// ceil(log(1 - u) / log(1 - p)) - 1, with the logarithms as log1p (a small
// p would make log(1 - p) 0); a deviate beyond the range of long (u = 1, or
// p far below 1e-18) is refused rather than cut to it.
long STATS_GeometricDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat p) {
  CheckSuccessProbability(kv, p);
  if (u == 0) return 0;
  const QuarnFloat k = ceil(log1p(-u) / log1p(-p)) - 1.0;
  if (!(fabs(k) < 9e18)) QuarnRaiseError1(kv, "the deviate at %1 is beyond the integers of 64 bits", FloatToHost(u));
  return FloatToInt(k);
}

// floor(-E / log(1 - p)) for standard exponential variates E (log1p as in
// the deviate).
HostObject STATS_QuarnGeometricRandomSample_MP(QKernel kv, HostObject args) {
  CheckCount(kv, args, 2, "QuarnGeometricRandomSample");
  const int32_t n = SampleLength(kv, QuarnExpseqSelect(kv, args, 1));
  const QuarnFloat p = quarnstats::FloatArg(kv, args, 2);
  HostObject result = quarnstats::CreateResultVector(kv, n);
  if (n == 0) return result;
  CheckSuccessProbability(kv, p);
  const QuarnFloat c = log1p(-p);
  auto* block = static_cast<QuarnFloat*>(RTableDataBlock(kv, result));
  for (int32_t k = 0; k < n; ++k) {
    block[k] = floor((-STATS_ExponentialRandomVariate_MP(kv, QuarnFloat(1.0))) / c);
  }
  return result;
}

// ----------------------------------------------------------- hypergeometric

// Population N, L and M the sizes of the sample and of the marked part (in
// the routine's order); x above either is certain.
QuarnFloat STATS_HypergeometricProbability_MP(QKernel kv, QuarnFloat x, long N, long L, long M) {
  if (x < 0) return 0.0;
  if (x > L) return 1.0;
  if (x > M) return 1.0;
  const long k = FloatToInt(floor(x));
  return LowerTail(kv, [&](QuarnFloat* l, QuarnFloat* g, QuarnFloat* e, NagError* f) { QuarnMP_g01blc(N, L, M, k, l, g, e, f); },
                   {{"n", "N"}, {"l", "L"}, {"m", "M"}, {"k", "x"}});
}

long STATS_HypergeometricDeviate_MP(QKernel kv, QuarnFloat u, long N, long L, long M) {
  if (u == 1) return std::min(L, M);
  _HypergeometricProbabilityAdapter f(kv, N, L, M);
  return quarnstats::DiscreteInterpolation(kv, u, &f, 0, L, quarnstats::IterationLimit(kv));
}

// -------------------------------------------------------- negative binomial

// Failures before the r-th success of probability p: P(X <= x) =
// I_p(r, floor(x) + 1), the beta probability, whose messages name its x, a
// and b by what they are here.
QuarnFloat STATS_NegativeBinomialProbability_MP(QKernel kv, QuarnFloat x, long r, QuarnFloat p) {
  return BetaLowerTail(kv, p, QuarnFloat(r), floor(x) + 1.0, {{"x", "p"}, {"a", "r"}, {"b", "x + 1"}});
}

long STATS_NegativeBinomialDeviate_MP(QKernel kv, QuarnFloat u, long r, QuarnFloat p) {
  _NegativeBinomialProbabilityAdapter f(kv, r, p);
  return quarnstats::DiscreteInterpolationHybridLeft(kv, u, &f, QuarnFloat(0.0), QuarnFloat(1.0), 0, r, 100);
}

// ------------------------------------------------------------------ Poisson

// Mean lambda; x is truncated toward zero.
QuarnFloat STATS_PoissonProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat lambda) {
  const long k = FloatToInt(x);
  return LowerTail(kv, [&](QuarnFloat* l, QuarnFloat* g, QuarnFloat* e, NagError* f) { QuarnMP_g01bkc(lambda, k, l, g, e, f); },
                   {{"rlamda", "lambda"}, {"k", "x"}});
}

// The search starts at floor(lambda), or 1 below a mean of 1.
long STATS_PoissonDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat lambda) {
  long start = FloatToInt(floor(lambda));
  if (start == 0) start = 1;
  _PoissonProbabilityAdapter f(kv, lambda);
  quarn::numerics::RepeatedParameters same_lambda;  // e^-lambda once for the search
  return quarnstats::DiscreteInterpolationHybridLeft(kv, u, &f, QuarnFloat(0.0), QuarnFloat(1.0), 0, start,
                                                     quarnstats::IterationLimit(kv));
}

// ---------------------------------------------------------------- empirical
// The quantile function (method 1) of a sample of n points, weighted when
// weights is not null. An empty sample has the undefined float as every
// quantile, as its median has.

QuarnFloat STATS_EmpiricalDeviate_MP(QKernel kv, QuarnFloat u, int n, QuarnFloat* points, QuarnFloat* weights) {
  QuarnFloat result = 0.0;
  if (n <= 0) return quarnstats::UndefinedFloat();
  quarnstats::Quantiles(points, weights, static_cast<size_t>(n), &u, 1, 1, &result);
  return result;
}

QuarnFloat STATS_EmpiricalRandomVariate_MP(QKernel kv, int n, QuarnFloat* points, QuarnFloat* weights) {
  return STATS_EmpiricalDeviate_MP(kv, UniformFloat(), n, points, weights);
}

namespace {

// The entries' sample: points and weights from arguments first and first + 1,
// the ignore-missing flag from first + 2, read as the statistics read them.
struct EmpiricalSample {
  EmpiricalSample(QKernel kv, HostObject args, int first)
      : sample(kv, QuarnExpseqSelect(kv, args, first), QuarnExpseqSelect(kv, args, first + 1)),
        arrays(quarnstats::ReadSample(kv, sample, QuarnToQ_BOOL(kv, QuarnExpseqSelect(kv, args, first + 2)) != 0)) {}
  int n() const { return static_cast<int>(arrays.n); }
  quarnstats::_DataSample sample;
  quarnstats::SampleArrays arrays;
};

}  // namespace

HostObject STATS_QuarnEmpiricalDeviate_MP(QKernel kv, HostObject args) {
  CheckCount(kv, args, 4, "QuarnEmpiricalDeviate");
  const QuarnFloat u = quarnstats::FloatArg(kv, args, 1);
  EmpiricalSample s(kv, args, 2);
  return FloatToHost(STATS_EmpiricalDeviate_MP(kv, u, s.n(), s.arrays.points, s.arrays.weights));
}

HostObject STATS_QuarnEmpiricalRandomVariate_MP(QKernel kv, HostObject args) {
  CheckCount(kv, args, 3, "QuarnEmpiricalRandomVariate");
  EmpiricalSample s(kv, args, 1);
  return FloatToHost(STATS_EmpiricalRandomVariate_MP(kv, s.n(), s.arrays.points, s.arrays.weights));
}

// n uniforms first (element i the level of variate i), then all n quantiles
// in one call.
HostObject STATS_QuarnEmpiricalRandomSample_MP(QKernel kv, HostObject args) {
  CheckCount(kv, args, 4, "QuarnEmpiricalRandomSample");
  const int32_t n = SampleLength(kv, QuarnExpseqSelect(kv, args, 1));
  EmpiricalSample s(kv, args, 2);
  HostObject levels = quarnstats::CreateResultVector(kv, n);
  HostObject result = quarnstats::CreateResultVector(kv, n);
  if (n == 0) return result;
  auto* u = static_cast<QuarnFloat*>(RTableDataBlock(kv, levels));
  auto* out = static_cast<QuarnFloat*>(RTableDataBlock(kv, result));
  for (int32_t k = 0; k < n; ++k) u[k] = UniformFloat();
  if (s.n() == 0) {
    for (int32_t k = 0; k < n; ++k) out[k] = quarnstats::UndefinedFloat();
    return result;
  }
  quarnstats::Quantiles(s.arrays.points, s.arrays.weights, s.arrays.n, u, static_cast<size_t>(n), 1, out);
  return result;
}
