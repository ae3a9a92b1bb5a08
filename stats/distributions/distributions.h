// Probability distributions: lower- and upper-tail probabilities, deviates
// (quantiles) of either tail, densities, random variates and the host
// entries that offer them.
//
// For each family of families.inc (which documents the parameters):
//   QuarnFloat STATS_<D>Probability_MP(kv, QuarnFloat x, parameters...)   P(X <= x)
//   QuarnFloat STATS_<D>Deviate_MP(kv, QuarnFloat u, parameters...)        the quantile at u
//   QuarnFloat STATS_<D>UpperProbability_MP(kv, QuarnFloat x, parameters...)  P(X > x)
//   QuarnFloat STATS_<D>UpperDeviate_MP(kv, QuarnFloat q, parameters...)   the x with P(X > x) = q
//   QuarnFloat STATS_<D>Density_MP(kv, QuarnFloat x, parameters...)        the density at x
//   QuarnFloat STATS_<D>RandomVariate_MP(kv, parameters...)                one variate
//   QuarnFloat STATS_<D>RandomVariate_MP(kv, const QuarnFloat* p)          the same variate,
//       parameters from p[0], p[1], ... (integer parameters truncated)
// and the host entries STATS_Quarn<D>Probability_MP, ...Deviate_MP,
// ...UpperProbability_MP, ...UpperDeviate_MP, ...Density_MP,
// ...RandomVariate_MP and ...RandomSample_MP(n, parameters...), each taking
// (kernel handle, argument sequence).
//
// Everything is computed at the working precision Digits. Parameters are used
// as given: nothing is validated except where a function says so, and
// degenerate parameters give what the float arithmetic gives. Random results
// come from the host's generator (a uniform float and a 32-bit integer), so
// the host's seed reproduces them; the normal and exponential variates use
// ziggurat tables built at the working precision and rebuilt only when it
// grows, so a seed reproduces a variate for the same table precision.
//
// The integer-valued families (Bernoulli, Binomial, DiscreteUniform,
// Geometric, Hypergeometric, NegativeBinomial, Poisson) return their
// deviates as long integers (the host gets an integer) and their variates as
// integral floats; their probabilities and deviates reduce x to an integer
// as each says. The non-central families take an accuracy tol after their
// parameters in the probability and the deviate (the entries make it from
// Digits) and read the iteration limit _EnvStatisticsIterations. Neither
// has upper-tail or density functions.
//
// Every probability, deviate and density of a continuous family is within an
// ulp of the exact function at its (binary) inputs. Closed forms: Cauchy,
// Exponential, Gumbel, Laplace, Logistic, Pareto, Power, Rayleigh,
// Triangular, Uniform, Weibull (the textbook formulas in forms that do not
// cancel, evaluated with guard digits; the Cauchy functions evaluate Pi, tan
// and arctan through the host). Beta, ChiSquare, FRatio, Gamma and StudentT
// probabilities, deviates and densities are the numerical routines' (a
// routine's failure is raised with its own message); the normal ones too,
// from a standardised argument formed with guard digits, and the normal
// deviate is refined by Newton's method above 14 digits. Variates are
// inversions of the deviate except where a family has its own algorithm
// (Marsaglia-Tsang ziggurats, Marsaglia-Tsang gamma, Michael-Schucany-Haas
// inverse Gaussian, rejection for Moyal).
#ifndef QUARN_STATS_DISTRIBUTIONS_DISTRIBUTIONS_H
#define QUARN_STATS_DISTRIBUTIONS_DISTRIBUTIONS_H

#include "platform/float/quarnfloat.h"
#include "platform/host/quarnc.h"
#include "stats/frame/frame.h"

// C++ computing functions exported from the library.
#define STATS_DIST_API __attribute__((visibility("default")))

// The parenthesised parameter and argument lists of families.inc, opened.
#define STATS_DIST_OPEN(...) __VA_ARGS__

#define STATS_DIST_DECLARE_ENTRY(N, OP) STATS_EXPORT HostObject STATS_Quarn##N##OP##_MP(QKernel kv, HostObject args);

#define STATS_DIST_DECLARE_Probability_Real(N, P)                                                   \
  STATS_DIST_API QuarnFloat STATS_##N##Probability_MP(QKernel kv, QuarnFloat x, STATS_DIST_OPEN P); \
  STATS_DIST_DECLARE_ENTRY(N, Probability)
#define STATS_DIST_DECLARE_Probability_Mass(N, P)                                               \
  STATS_DIST_API QuarnFloat STATS_##N##Probability_MP(QKernel kv, long x, STATS_DIST_OPEN P); \
  STATS_DIST_DECLARE_ENTRY(N, Probability)
#define STATS_DIST_DECLARE_Probability_Tolerance(N, P)                                                             \
  STATS_DIST_API QuarnFloat STATS_##N##Probability_MP(QKernel kv, QuarnFloat x, STATS_DIST_OPEN P, QuarnFloat tol); \
  STATS_DIST_DECLARE_ENTRY(N, Probability)
#define STATS_DIST_DECLARE_Probability_ToleranceEvalf STATS_DIST_DECLARE_Probability_Tolerance
#define STATS_DIST_DECLARE_Probability_ToleranceTenth STATS_DIST_DECLARE_Probability_Tolerance
#define STATS_DIST_DECLARE_Probability_None(N, P)

#define STATS_DIST_DECLARE_Deviate_Real(N, P)                                                   \
  STATS_DIST_API QuarnFloat STATS_##N##Deviate_MP(QKernel kv, QuarnFloat u, STATS_DIST_OPEN P); \
  STATS_DIST_DECLARE_ENTRY(N, Deviate)
#define STATS_DIST_DECLARE_Deviate_Integer(N, P)                                          \
  STATS_DIST_API long STATS_##N##Deviate_MP(QKernel kv, QuarnFloat u, STATS_DIST_OPEN P); \
  STATS_DIST_DECLARE_ENTRY(N, Deviate)
#define STATS_DIST_DECLARE_Deviate_IntegerLocal(N, P)                   \
  long STATS_##N##Deviate_MP(QKernel kv, QuarnFloat u, STATS_DIST_OPEN P); \
  STATS_DIST_DECLARE_ENTRY(N, Deviate)
#define STATS_DIST_DECLARE_Deviate_Tolerance(N, P)                                                             \
  STATS_DIST_API QuarnFloat STATS_##N##Deviate_MP(QKernel kv, QuarnFloat u, STATS_DIST_OPEN P, QuarnFloat tol); \
  STATS_DIST_DECLARE_ENTRY(N, Deviate)
#define STATS_DIST_DECLARE_Deviate_None(N, P)

#define STATS_DIST_DECLARE_Upper_Real(N, P)                                                            \
  STATS_DIST_API QuarnFloat STATS_##N##UpperProbability_MP(QKernel kv, QuarnFloat x, STATS_DIST_OPEN P); \
  STATS_DIST_API QuarnFloat STATS_##N##UpperDeviate_MP(QKernel kv, QuarnFloat q, STATS_DIST_OPEN P);     \
  STATS_DIST_DECLARE_ENTRY(N, UpperProbability)                                                          \
  STATS_DIST_DECLARE_ENTRY(N, UpperDeviate)
#define STATS_DIST_DECLARE_Upper_None(N, P)

#define STATS_DIST_DECLARE_Density_Real(N, P)                                                   \
  STATS_DIST_API QuarnFloat STATS_##N##Density_MP(QKernel kv, QuarnFloat x, STATS_DIST_OPEN P); \
  STATS_DIST_DECLARE_ENTRY(N, Density)
#define STATS_DIST_DECLARE_Density_None(N, P)

// The explicit variate, and the parameter-array overload where the kind has
// one.
#define STATS_DIST_DECLARE_ARRAY_VARIATE(N) \
  STATS_DIST_API QuarnFloat STATS_##N##RandomVariate_MP(QKernel kv, const QuarnFloat* p);
#define STATS_DIST_DECLARE_Variate_Inversion(N, P)                                      \
  STATS_DIST_API QuarnFloat STATS_##N##RandomVariate_MP(QKernel kv, STATS_DIST_OPEN P); \
  STATS_DIST_DECLARE_ARRAY_VARIATE(N)
#define STATS_DIST_DECLARE_Variate_Own STATS_DIST_DECLARE_Variate_Inversion
#define STATS_DIST_DECLARE_Variate_Explicit(N, P) \
  STATS_DIST_API QuarnFloat STATS_##N##RandomVariate_MP(QKernel kv, STATS_DIST_OPEN P);
#define STATS_DIST_DECLARE_Variate_Flag(N, P) \
  STATS_DIST_API QuarnFloat STATS_##N##RandomVariate_MP(QKernel kv, STATS_DIST_OPEN P, int flag);

#define FAMILY(N, P, A, PROBABILITY, DEVIATE, UPPER, DENSITY, VARIATE, SAMPLE) \
  STATS_DIST_DECLARE_Probability_##PROBABILITY(N, P)                          \
  STATS_DIST_DECLARE_Deviate_##DEVIATE(N, P)                                  \
  STATS_DIST_DECLARE_Upper_##UPPER(N, P)                                      \
  STATS_DIST_DECLARE_Density_##DENSITY(N, P)                                  \
  STATS_DIST_DECLARE_Variate_##VARIATE(N, P)                                  \
  STATS_DIST_DECLARE_ENTRY(N, RandomVariate)                                  \
  STATS_DIST_DECLARE_ENTRY(N, RandomSample)
#include "stats/distributions/families.inc"
#undef FAMILY

// ------------------------------------------------------------ gamma generator
// Marsaglia and Tsang, "A simple method for generating gamma variables"
// (ACM TOMS 26, 2000), with scale b and shape alpha. The setup computes the
// constants d and c of the shape (for alpha < 1, of alpha + 1; nothing for
// alpha = 1, whose variate is exponential); the main step draws one variate
// with them. Callers that draw several variates of one shape set up once.
STATS_DIST_API void STATS_GammaRandomVariateSetup_MP(QKernel kv, QuarnFloat b, QuarnFloat alpha, QuarnFloat& d,
                                                     QuarnFloat& c);
STATS_DIST_API QuarnFloat STATS_GammaRandomVariateMain_MP(QKernel kv, QuarnFloat b, QuarnFloat alpha, QuarnFloat d,
                                                          QuarnFloat c);

// --------------------------------------------------- normal approximations
// The lower-tail normal deviate at u by the rational approximation 26.2.23 of
// Abramowitz and Stegun (absolute error below 4.5e-4), 0 < u < 1.
STATS_DIST_API QuarnFloat STATS_NormalDeviateApprox_MP(QKernel kv, QuarnFloat u);
// The quantity w of the normal approximation of beta and F quantiles
// (Abramowitz and Stegun 26.5.22: the beta(a, b) quantile at the lower-tail
// level p is about a / (a + b exp(2w))). Raises for a = 0.5 or b = 0.5, where
// h is undefined.
STATS_DIST_API QuarnFloat STATS_NormalWApprox_MP(QKernel kv, QuarnFloat p, QuarnFloat a, QuarnFloat b);
STATS_DIST_DECLARE_ENTRY(Normal, DeviateApprox)
STATS_DIST_DECLARE_ENTRY(Normal, WApprox)

// ---------------------------------------------------------------- empirical
// The quantile (method 1) at u of n points, weighted when weights is not
// null; the undefined float for an empty sample. The entries take (u,
// points, weights, ignore missing), (points, weights, ignore missing) and
// (n, points, weights, ignore missing).
STATS_DIST_API QuarnFloat STATS_EmpiricalDeviate_MP(QKernel kv, QuarnFloat u, int n, QuarnFloat* points,
                                                    QuarnFloat* weights);
QuarnFloat STATS_EmpiricalRandomVariate_MP(QKernel kv, int n, QuarnFloat* points, QuarnFloat* weights);
STATS_DIST_DECLARE_ENTRY(Empirical, Deviate)
STATS_DIST_DECLARE_ENTRY(Empirical, RandomVariate)
STATS_DIST_DECLARE_ENTRY(Empirical, RandomSample)

// The Error distribution's deviate: (u, F, f, a, b, c) with host procedures F
// (its distribution function) and f (its density); Newton's method from
// a + tan(3.1 (u - 1/2)), rounded to Digits.
STATS_DIST_DECLARE_ENTRY(Error, Deviate)

#endif
