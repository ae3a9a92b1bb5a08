// Descriptive statistics of data samples: the mean kernels, selection of the
// k-th smallest value, sorting with weights, medians and quantiles, and the
// host entries of means, moments, counts, order statistics and summaries.
//
// Order used throughout: numbers ascending, the undefined float (missing
// data kept in the sample) above every number.
//
// Plain sums (of points, of products with weights, of squares, of powers
// about an origin) are rounded once: the terms are exact or carry 64 guard
// bits, and their sum is MPFR's correctly rounded mpfr_sum. Running sums
// whose every partial value matters (cumulative sums, the cumulative weight
// walked by the weighted quantile) are formed one addition at a time.
#ifndef QUARN_STATS_DESCRIPTIVE_DESCRIPTIVE_H
#define QUARN_STATS_DESCRIPTIVE_DESCRIPTIVE_H

#include <cstddef>

#include "platform/float/quarnfloat.h"
#include "stats/frame/frame.h"

namespace quarnstats {

// Mean kinds: 1 geometric, 2 harmonic, 3 quadratic, any other arithmetic.
//   unweighted: exp(sum log x / n), n / sum(1/x), sqrt(sum x^2 / n), sum x / n
//   weighted:   exp(sum w log x / W), W / sum(w/x), sqrt(sum w x^2 / W), sum w x / W
// with W the sum of the weights. Missing values propagate; n = 0 or W = 0
// give what the division gives.
QuarnFloat UnweightedMean(const QuarnFloat* x, size_t n, long kind);
QuarnFloat WeightedMean(const QuarnFloat* x, const QuarnFloat* w, size_t n, long kind);

// The k-th smallest of x[0 .. n-1] (k from 0, k < n) by Hoare's selection
// with a median-of-three pivot. Afterwards x[k] holds it, x[0 .. k-1] hold
// values not greater and x[k+1 .. n-1] values not smaller.
QuarnFloat SelectKth(QuarnFloat* x, size_t n, size_t k);

// Sorts x ascending, each weight moving with its point: quicksort with a
// median-of-three pivot down to segments of fewer than six entries, then one
// insertion pass over the whole range.
void SortWithWeights(QuarnFloat* x, QuarnFloat* w, size_t n);

// The median of n > 0 values (weighted when w is not null: the weighted
// quantile of method 1 at 0.5). Reorders x (and w).
QuarnFloat Median(QuarnFloat* x, QuarnFloat* w, size_t n);

// Quantiles of n > 0 values by method 1-8 (any other code is method 1) at
// the levels p[0 .. m-1], written to out[0 .. m-1]. Unweighted (w null):
// selection, reusing the partition of the previous level; weighted: one sort
// with the weights and a walk of the cumulative weight. Reorders x (and w).
void Quantiles(QuarnFloat* x, QuarnFloat* w, size_t n, const QuarnFloat* p, size_t m, long method, QuarnFloat* out);

}  // namespace quarnstats

// Partial ordering of keys[0 .. n-1] by selection, each record (of
// record_size bytes, records[i] belonging to keys[i]) moving with its key:
// afterwards keys[0 .. k-1] <= keys[k] <= keys[k+1 .. n-1]. k is clamped to
// 0 .. n-1; n < 1 does nothing.
STATS_EXPORT void STATS_SplitByNumericValue_MP(QKernel kv, QuarnFloat* keys, void* records, int n, int k,
                                               int record_size);
// Exchanges two byte ranges of the given length through scratch.
STATS_EXPORT void STATS_SwapByteArrays_MP(unsigned char* first, unsigned char* second, unsigned char* scratch,
                                          int length);

#define DESCRIPTIVE_ENTRY(N, COUNT, MESSAGE) STATS_EXPORT HostObject STATS_Quarn##N##_MP(QKernel kv, HostObject args);
#include "stats/descriptive/entries.inc"
#undef DESCRIPTIVE_ENTRY

#endif
