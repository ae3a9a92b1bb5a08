// Smoothing and density estimation: kernel density estimates on an equally
// spaced grid by linear binning and the fast Fourier transform, the data
// bounds that place the grid, linear filters (recursive or not) and moving
// means, medians and statistics of host procedures.
#ifndef QUARN_STATS_SMOOTHING_SMOOTHING_H
#define QUARN_STATS_SMOOTHING_SMOOTHING_H

#include "stats/frame/frame.h"

namespace quarnstats {

// The Fourier transform phi(t) of the unit-variance kernel of the given id
// (0 Gaussian, 1 triangular, 2 rectangular, 3 Epanechnikov, 4 biweight)
// correctly rounded at t, for ids 0 .. 4: the closed forms are evaluated
// with the bits their cancellation near t = 0 costs; phi(0) = 1.
QuarnFloat KernelTransform(int id, const QuarnFloat& t);

}  // namespace quarnstats

#define SMOOTHING_ENTRY(N, COUNT, MESSAGE) STATS_EXPORT HostObject STATS_Quarn##N##_MP(QKernel kv, HostObject args);
#include "stats/smoothing/entries.inc"
#undef SMOOTHING_ENTRY

#endif
