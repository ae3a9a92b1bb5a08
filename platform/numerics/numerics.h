// The numerical routines for continuous distributions: tail probabilities and
// deviates of the normal, Student's t, chi-square, F, beta and gamma
// distributions at the working precision.
//
// Each routine has the argument list of the NAG C Library routine of the same
// name with QuarnFloat where that routine has double. QuarnFloat is one
// handle, so every float argument is passed by value; outputs are QuarnFloat*.
//
// Results are correctly rounded to the working precision of the moment
// (quarn::host::WorkingBits(), i.e. Digits): the value is evaluated in Arb
// with guard bits and the precision is raised until the ball rounds to a
// single float.
//
// Failure: fail->code is set to 0 on success and to one of the nonzero codes
// of mp_errors.h on failure, with a message of our own: for an argument out
// of range it names the argument, the constraint and the value received
// ("df must be positive, received df = -1.") and the result is 0; when the
// rounding of the result cannot be decided (NE_TOO_MANY_ITER) the result is
// the best value found. fail may be null. Nothing is printed and
// fail->handler is not called. A NaN (undefined) float input gives a NaN
// result with code 0 and no range checks.
//
// Ranges and running time. Shapes and degrees of freedom must lie in
// [1e-300, 1e300], where the methods' double-precision estimates hold; the
// gamma and chi-square shapes in [1e-300, 1e18] (2e18 degrees of freedom),
// beyond which nothing here evaluates the tails next to the mean; the beta
// and gamma deviates keep NAG's 1e6. Arguments outside are refused at once.
// Within the ranges every call does at most kWorkLimit limb-steps of work
// (internal.h: a series term or a solver step at the precision it runs at,
// in 64-bit limbs) and stops once it has taken 15 s of CPU time, whichever
// comes first: seconds at Digits up to 1000. A call that would need more
// fails with NE_TOO_MANY_ITER and "... could not determine its result to the
// working precision (Digits = D) within its work limit."; with the shapes
// in range this is rare (seen: deviates of extreme shapes at high Digits,
// whose search passes through astronomically small tails). Some values have
// no method here and fail at once with the message without the work limit:
// beta tails with both shapes above 1e15 next to the mean (F with both
// degrees of freedom that large next to 1), tails below the smallest
// float (P(T <= -1e4) with 1e15 degrees of freedom), and non-central series
// whose first term's logarithm is not a finite double (a shape below the
// smallest double), which the double-precision plan cannot place. A non-central
// routine checks its iteration limit (the Poisson terms the working
// precision needs on a side of the largest, from the non-centrality alone)
// before anything else, so that a large non-centrality is refused at once.
//
// Tails: Nag_LowerTail P(X <= x), Nag_UpperTail P(X > x), and for the
// symmetric distributions (normal, t) Nag_TwoTailSignif P(|X| >= |x|) and
// Nag_TwoTailConfid P(|X| <= |x|). The chi-square, F and gamma routines accept
// only the lower and upper tails. The library's tail codes map to the
// enumeration with quarn::numerics::TailFromCode (nag.h).
#ifndef QUARN_PLATFORM_NUMERICS_NUMERICS_H
#define QUARN_PLATFORM_NUMERICS_NUMERICS_H

#include "platform/float/quarnfloat.h"
#include "platform/numerics/mp_errors.h"
#include "platform/numerics/nag.h"

namespace quarn::numerics {

// While one is alive (the outermost counts), the routines called share one
// CPU-time limit from its start instead of each having its own: an entry
// that calls them many times (a deviate by root finding, a variate by
// inversion) then ends within about the time of one call, failing with the
// work-limit message where it would have taken longer.
class SharedWorkLimit {
 public:
  SharedWorkLimit();
  ~SharedWorkLimit();
  SharedWorkLimit(const SharedWorkLimit&) = delete;
  SharedWorkLimit& operator=(const SharedWorkLimit&) = delete;
};

// While one is alive (the outermost counts), the discrete routines keep the
// values that depend on their parameters alone (e^-lambda of the Poisson)
// from one call to the next: a deviate's search asks for the probabilities
// of many k at the same parameters. They are dropped when the outermost
// ends, so that calls outside any such scope compute everything afresh.
class RepeatedParameters {
 public:
  RepeatedParameters();
  ~RepeatedParameters();
  RepeatedParameters(const RepeatedParameters&) = delete;
  RepeatedParameters& operator=(const RepeatedParameters&) = delete;
};

}  // namespace quarn::numerics

// ----------------------------------------------------------- probabilities

// Standard normal: Phi(x) and the other tails. Fails only on an invalid tail.
QuarnFloat QuarnMP_g01eac(Nag_TailProbability tail, QuarnFloat x, NagError* fail);

// Student's t with 1e-300 <= df <= 1e300 degrees of freedom (real df), at t.
// (The double precision original asks for df >= 1; df < 1 is accepted here.)
QuarnFloat QuarnMP_g01ebc(Nag_TailProbability tail, QuarnFloat t, QuarnFloat df, NagError* fail);

// Chi-square with 1e-300 <= df <= 2e18 degrees of freedom, at x >= 0 (lower
// or upper tail).
QuarnFloat QuarnMP_g01ecc(Nag_TailProbability tail, QuarnFloat x, QuarnFloat df, NagError* fail);

// F (variance ratio) with df1 and df2 in [1e-300, 1e300], at f >= 0 (lower
// or upper).
QuarnFloat QuarnMP_g01edc(Nag_TailProbability tail, QuarnFloat f, QuarnFloat df1, QuarnFloat df2,
                          NagError* fail);

// Beta(a, b) at 0 <= x <= 1, 1e-300 <= a, b <= 1e6: *p = P(X <= x), *q = P(X > x)
// (each computed directly, not as 1 minus the other) and *pdf the density.
// tol is ignored: results are always to the working precision. pdf may be
// null when the caller has no use for the density, which is then not
// computed (its gamma functions are a sixth of the call at Digits 15).
void QuarnMP_g01eec(QuarnFloat x, QuarnFloat a, QuarnFloat b, QuarnFloat tol, QuarnFloat* p, QuarnFloat* q,
                    QuarnFloat* pdf, NagError* fail);

// Gamma with shape 1e-300 <= a <= 1e18 and scale b > 0 at g >= 0 (lower or
// upper tail).
QuarnFloat QuarnMP_g01efc(Nag_TailProbability tail, QuarnFloat g, QuarnFloat a, QuarnFloat b, NagError* fail);

// ------------------------------------------------- discrete distributions
// Each gives *plek = P(X <= k), *pgtk = P(X > k) and *peqk = P(X = k), each
// correctly rounded (the tail beyond k on the side away from the mean is
// summed directly, the other is its complement). pgtk and peqk may be null
// when the caller has no use for them; they are then not computed (plek must
// be given). For k outside the support
// the three are the exact 0 and 1 of that k (the double-precision original
// refuses k < 0 and k beyond the support instead); every other argument is
// checked. The variance may be up to 10^9 (the original stops at 10^6,
// NE_VARIANCE_TOO_LARGE beyond): the tail sums cost about sqrt(variance)
// terms, so n = 10^9 or a Poisson mean of 10^8 take tens of milliseconds.

// Binomial: n >= 0 trials, success probability 0 < p < 1.
void QuarnMP_g01bjc(long n, QuarnFloat p, long k, QuarnFloat* plek, QuarnFloat* pgtk, QuarnFloat* peqk,
                    NagError* fail);

// Poisson with mean rlamda > 0.
void QuarnMP_g01bkc(QuarnFloat rlamda, long k, QuarnFloat* plek, QuarnFloat* pgtk, QuarnFloat* peqk,
                    NagError* fail);

// Hypergeometric: a sample of l from a population of n of which m are
// marked holds k marked; 0 <= l <= n, 0 <= m <= n.
void QuarnMP_g01blc(long n, long l, long m, long k, QuarnFloat* plek, QuarnFloat* pgtk, QuarnFloat* peqk,
                    NagError* fail);

// ------------------------------------------------ non-central distributions
// Lower-tail probabilities P(X <= x), correctly rounded. Each is a Poisson
// mixture of central probabilities, summed as one series of positive terms
// (or, where the lower tail is close to 1, the upper tail as such a series)
// from where its terms matter; tol is accepted for the original's argument
// list and does not loosen the result. max_iter (>= 1) bounds the terms on
// each side of the largest term: when the working precision needs more, the
// routine fails with NE_TOO_MANY_ITER and says how many it needs.

// Non-central t with 1e-300 <= df <= 1e300 degrees of freedom and
// non-centrality delta.
QuarnFloat QuarnMP_g01gbc(QuarnFloat t, QuarnFloat df, QuarnFloat delta, QuarnFloat tol, long max_iter,
                          NagError* fail);

// Non-central chi-square, x >= 0, 0 <= df <= 2e18 (as the central one),
// lambda >= 0, not both 0.
QuarnFloat QuarnMP_g01gcc(QuarnFloat x, QuarnFloat df, QuarnFloat lambda, QuarnFloat tol, long max_iter,
                          NagError* fail);

// Non-central F, f >= 0, 0 < df1, df2 <= 1e6, lambda >= 0.
QuarnFloat QuarnMP_g01gdc(QuarnFloat f, QuarnFloat df1, QuarnFloat df2, QuarnFloat lambda, QuarnFloat tol,
                          long max_iter, NagError* fail);

// Non-central beta, 0 <= x <= 1, 0 < a, b <= 1e6, lambda >= 0 (the
// non-centrality of the chi-square in the numerator: X/(X + Y) with
// X ~ chi-square(2a, lambda), Y ~ chi-square(2b)).
QuarnFloat QuarnMP_g01gec(QuarnFloat x, QuarnFloat a, QuarnFloat b, QuarnFloat lambda, QuarnFloat tol,
                          long max_iter, NagError* fail);

// ----------------------------------------------------------------- deviates

// Standard normal deviate for 0 < p < 1 in the given tail (two-tail forms
// give the positive deviate).
QuarnFloat QuarnMP_g01fac(Nag_TailProbability tail, QuarnFloat p, NagError* fail);

// Student's t deviate, 0 < p < 1, df as for g01ebc.
QuarnFloat QuarnMP_g01fbc(Nag_TailProbability tail, QuarnFloat p, QuarnFloat df, NagError* fail);

// Chi-square deviate (lower tail), 0 <= p < 1, df as for g01ecc.
QuarnFloat QuarnMP_g01fcc(QuarnFloat p, QuarnFloat df, NagError* fail);

// F deviate (lower tail), 0 <= p < 1, df1 and df2 as for g01edc.
QuarnFloat QuarnMP_g01fdc(QuarnFloat p, QuarnFloat df1, QuarnFloat df2, NagError* fail);

// Beta deviate (lower tail), 0 <= p <= 1, 1e-300 <= a, b <= 1e6. tol <= 0 (and any
// tol) gives the full working precision.
QuarnFloat QuarnMP_g01fec(QuarnFloat p, QuarnFloat a, QuarnFloat b, QuarnFloat tol, NagError* fail);

// Gamma deviate (lower tail) for shape 1e-300 <= a <= 1e6 and scale b > 0,
// 0 <= p < 1.
// tol as for g01fec.
QuarnFloat QuarnMP_g01ffc(QuarnFloat p, QuarnFloat a, QuarnFloat b, QuarnFloat tol, NagError* fail);

// ------------------------------------------------------------ either tail
// The deviates of g01fcc, g01fdc, g01fec and g01ffc for a given tail: with
// Nag_LowerTail exactly those routines' values; with Nag_UpperTail the x
// with P(X > x) = p, solved on that tail itself (1 - p is never rounded),
// for 0 < p <= 1 (0 <= p <= 1 for beta; p = 1 gives 0, and beta's p = 0
// gives 1). Other parameters as for the lower-tail routine.

QuarnFloat QuarnMP_ChiSquareDeviateTail(Nag_TailProbability tail, QuarnFloat p, QuarnFloat df, NagError* fail);
QuarnFloat QuarnMP_FDeviateTail(Nag_TailProbability tail, QuarnFloat p, QuarnFloat df1, QuarnFloat df2,
                                NagError* fail);
QuarnFloat QuarnMP_BetaDeviateTail(Nag_TailProbability tail, QuarnFloat p, QuarnFloat a, QuarnFloat b,
                                   NagError* fail);
QuarnFloat QuarnMP_GammaDeviateTail(Nag_TailProbability tail, QuarnFloat p, QuarnFloat a, QuarnFloat b,
                                    NagError* fail);

// ---------------------------------------------------------------- densities
// Probability densities, correctly rounded, with the argument ranges of the
// same distribution's tail routine: the standard normal at any x; Student's
// t (df > 0) at any t; chi-square (df > 0) and gamma (shape a > 0, scale
// b > 0) at x >= 0; beta (0 < a, b <= 1e6) at 0 <= x <= 1; F (df1, df2 > 0)
// at f >= 0. Infinite where the density has a pole (x = 0 with shape below
// 1, an end of the beta support with its exponent negative), 0 at infinity.

QuarnFloat QuarnMP_NormalDensity(QuarnFloat x, NagError* fail);
QuarnFloat QuarnMP_StudentTDensity(QuarnFloat t, QuarnFloat df, NagError* fail);
QuarnFloat QuarnMP_ChiSquareDensity(QuarnFloat x, QuarnFloat df, NagError* fail);
QuarnFloat QuarnMP_GammaDensity(QuarnFloat g, QuarnFloat a, QuarnFloat b, NagError* fail);
QuarnFloat QuarnMP_BetaDensity(QuarnFloat x, QuarnFloat a, QuarnFloat b, NagError* fail);
QuarnFloat QuarnMP_FDensity(QuarnFloat f, QuarnFloat df1, QuarnFloat df2, NagError* fail);

// ------------------------------------------------- normal with mu and sigma
// The lower or upper tail at x, and the deviate at the level p (0 < p < 1),
// of the normal distribution with mean mu and standard deviation sigma > 0
// (all finite), correctly rounded for the exact arguments. They return false
// when they cannot decide (another tail form, an argument outside those
// ranges, |x - mu| / sigma above 1e4, or for the deviate, a level the fast
// double start does not reach or a rounding it cannot prove); the caller
// then forms the standardisation or the location with guard digits.
bool QuarnMP_NormalTailAt(QuarnFloat* out, Nag_TailProbability tail, const QuarnFloat& x, const QuarnFloat& mu,
                          const QuarnFloat& sigma);
bool QuarnMP_NormalDeviateAt(QuarnFloat* out, Nag_TailProbability tail, const QuarnFloat& p, const QuarnFloat& mu,
                             const QuarnFloat& sigma);

// ---------------------------------------------------------------- summaries

// Weighted summary statistics of x[0 .. n-1] with weights wt (null: every
// weight 1), W the sum of the weights and d = W - sum w^2 / W:
//   mean = sum w x / W, sd = sqrt(sum w (x - mean)^2 / d),
//   skew = sum w (x - mean)^3 / (d sd^3), kurt = sum w (x - mean)^4 / (d sd^4) - 3
//   (skew = kurt = 0 when sd = 0), min and max over the points of positive
//   weight, wsum = W; *nvalid = the number of positive weights.
// Sums are rounded once and the moments are formed with 64 guard bits, so
// each output is within about an ulp of the value at the given data. An
// undefined point of positive weight, or an undefined weight, makes every
// output undefined. Fails with NE_INT_ARG_LT (n < 1), NE_REAL_ARG_LT (a
// negative weight), NE_ZERO_WEIGHTS (W = 0) or NE_ONE_WEIGHT (one positive
// weight: mean, min, max and wsum are still set).
void QuarnMP_g01aac(long n, const QuarnFloat x[], const QuarnFloat wt[], long* nvalid, QuarnFloat* xmean,
                    QuarnFloat* xsd, QuarnFloat* xskew, QuarnFloat* xkurt, QuarnFloat* xmin, QuarnFloat* xmax,
                    QuarnFloat* wsum, NagError* fail);

// Five-point summary of x[0 .. n-1] (n >= 5, else NE_INT_ARG_LT): minimum,
// lower hinge, median, upper hinge, maximum into res[0 .. 4], Tukey's
// hinges from a sorted copy (undefined values sort last). x is not changed.
void QuarnMP_g01alc(long n, const QuarnFloat x[], QuarnFloat res[], NagError* fail);

// ------------------------------------------------------------------ sorting

// Sorts vec[0 .. n-1] in place in the given order; undefined values (NaN)
// go after every number in either order. Fails (NE_BAD_PARAM) on an order
// that is neither Nag_Ascending nor Nag_Descending, leaving vec unchanged.
void QuarnMP_m01cac(QuarnFloat vec[], size_t n, Nag_SortOrder order, NagError* fail);

// Comparison of two objects for QuarnMP_m01dsc: negative, zero or positive as
// a sorts before, with or after b in ascending order. It may raise a host
// error; the ranking is then abandoned.
typedef long (*QuarnMP_Compare)(const void* a, const void* b);

// Ranks n objects spaced stride bytes apart (a negative stride means vec
// points at the last object and the objects run backwards in memory):
// ranks[i] in 0 .. n-1 is the position object i takes in the given order.
// Stable in both orders: equal objects keep their input order (descending
// reverses the comparison, not the result). A stable merge sort of indices,
// n log2 n comparisons at most. Fails with NE_INT_ARG_EQ for stride 0,
// NE_INT_ARG_GT for n above 2^32 - 1 (ranks are unsigned int), NE_BAD_PARAM
// for an invalid order.
void QuarnMP_m01dsc(const void* vec, size_t n, ptrdiff_t stride, QuarnMP_Compare compare, Nag_SortOrder order,
                    unsigned int ranks[], NagError* fail);

// --------------------------------------------------------- Shapiro-Wilk

// Shapiro and Wilk's W for x[0 .. n-1] sorted in either direction,
// 3 <= n <= 5000, and its significance level pw by Royston's normalizing
// approximations (Applied Statistics algorithm AS R94). With calc_wts the
// coefficients a[0 .. n-1] are computed from normal quantiles (and written
// to a); otherwise the caller's a from an earlier call is used. W is the
// squared correlation of a and x, formed as 1 - w1 with w1 free of
// cancellation; W and pw are correctly rounded at the working precision.
// Fails with NE_INT_ARG_LT / NE_INT_ARG_GT for n outside 3 .. 5000,
// NE_ALL_ELEMENTS_EQUAL when the range of x is 0 and NE_NOT_MONOTONIC when x
// is sorted in neither direction; an undefined x gives undefined W and pw.
void QuarnMP_g01ddc(long n, const QuarnFloat x[], Nag_Boolean calc_wts, QuarnFloat a[], QuarnFloat* w,
                    QuarnFloat* pw, NagError* fail);

// --------------------------------------------------------------- regression

// General linear regression (the Fortran routine, every argument by
// address, two hidden string lengths): fits y = X b by least squares, or
// weighted least squares on W^(1/2) X, with an intercept when mean is 'M'
// and the columns j of X with isx[j] > 0. Householder QR at a precision
// raised by the bits the problem's condition costs, and the singular value
// decomposition of R when X is rank deficient. See regression.cpp for the
// outputs and the values of ifail.
void QuarnMP_g02daf_f(const char* mean, const char* weight, const int32_t* n, const QuarnFloat x[],
                      const int32_t* ldx, const int32_t* m, const int32_t isx[], const int32_t* ip,
                      const QuarnFloat y[], const QuarnFloat wt[], QuarnFloat* rss, int32_t* idf, QuarnFloat b[],
                      QuarnFloat se[], QuarnFloat cov[], QuarnFloat res[], QuarnFloat h[], QuarnFloat q[],
                      const int32_t* ldq, uint8_t* svd, int32_t* irank, QuarnFloat p[], const QuarnFloat* tol,
                      QuarnFloat wk[], int32_t* ifail, size_t mean_length, size_t weight_length);

// Standardized residuals and influence statistics of a fit with n
// observations and ip parameters: for the nres residuals res and leverages h
// (0 < h < 1) with residual mean square rms > 0, row i of sres (nres x 4,
// row-major) gets the internally and externally studentized residuals,
// Cook's D and Atkinson's T, each correctly rounded.
void QuarnMP_g02fac(long n, long ip, long nres, const QuarnFloat res[], const QuarnFloat h[], QuarnFloat rms,
                    QuarnFloat sres[], NagError* fail);

// The Durbin-Watson statistic d of the n residuals res of a fit with ip
// parameters, and the lower-tail probabilities pdl >= pdu of its lower and
// upper bounding distributions at d, by Imhof's integral with a proven
// truncation bound, correctly rounded. work (n numbers) receives the
// eigenvalues 2 (1 - cos(pi j / n)), j = 1 .. n - 1. ifail: 0, or 1 when
// n <= ip or ip < 1, 2 when every residual is 0 (d, pdl, pdu then unset).
void QuarnMP_g02fcc(const int32_t* n, const int32_t* ip, const QuarnFloat res[], QuarnFloat* d, QuarnFloat* pdl,
                    QuarnFloat* pdu, QuarnFloat work[], int32_t* ifail);
// ------------------------------------------------------ Fourier transforms
// The Fortran routines: every argument by address, failures in ifail (0 on
// success, 1 for n < 1, whatever ifail held on entry). work holds n floats of
// scratch. Any length n >= 1 is accepted. Outputs are correctly rounded to
// the working precision (an output within 2^-(2p + 32) of the largest
// output's magnitude may be returned as 0, p the working precision in bits);
// an undefined or infinite input makes every output undefined.
//
// Hermitian storage of a sequence z of length n with z[n-k] = conj(z[k]):
// x[0] = Re z[0]; x[k] = Re z[k] for 1 <= k <= n/2; x[n-k] = Im z[k] for
// 1 <= k <= (n-1)/2.

// Real sequence x to its transform (1/sqrt(n)) sum_j x[j] e^(-2 pi i j k/n),
// in Hermitian storage, in place.
void QuarnMP_c06faf_(QuarnFloat* x, const long* n, QuarnFloat* work, long* ifail);
// Hermitian sequence (in Hermitian storage) to the real sequence
// (1/sqrt(n)) sum_j z[j] e^(-2 pi i j k/n), in place.
void QuarnMP_c06fbf_(QuarnFloat* x, const long* n, QuarnFloat* work, long* ifail);
// Conjugates a Hermitian sequence in Hermitian storage: negates x[k] for
// n/2 < k < n, exactly. c06faf, c06gbf, c06fbf in turn give back the input.
void QuarnMP_c06gbf_(QuarnFloat* x, const long* n, long* ifail);

#endif
