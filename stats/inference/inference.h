// Tests and regression: the Shapiro-Wilk test of normality and the three
// regression entries (general linear regression, standardized residuals and
// influence statistics, the Durbin-Watson statistic).
//
// Host entries (kernel handle, argument sequence):
//   STATS_QuarnShapiroWilk_MP(data, weights, ignore)  -> [W, p]
//       every point of the sample as given is tested, unweighted; the
//       weights and the flag are read but do not change the test. A dense
//       sfloat data vector (read in place) is left sorted ascending.
//   STATS_g02daf_MP(24 arguments)  -> the fit's failure indicator IFAIL
//   STATS_g02fac_MP(7 arguments)   -> NULL (failures raise the routine's message)
//   STATS_g02fcc_MP(7 arguments)   -> the failure indicator IFAIL
// The regression entries reach the host through the kernel handle's
// function table, pass rtable data blocks to the routines in place and
// assign scalar outputs to the names they are given (see regression.cpp).
#ifndef QUARN_STATS_INFERENCE_INFERENCE_H
#define QUARN_STATS_INFERENCE_INFERENCE_H

#include <cstdint>

#include "platform/float/quarnfloat.h"
#include "platform/host/quarnc.h"
#include "stats/frame/frame.h"

// Sorts x[0 .. n-1] ascending in place and computes Shapiro and Wilk's W and
// its significance level p. Raises the routine's message when n is outside
// 3 .. 5000 or every value is the same.
STATS_EXPORT void STATS_ShapiroWilk_MP(QKernel kv, int32_t n, QuarnFloat* x, QuarnFloat* w, QuarnFloat* p);

STATS_EXPORT HostObject STATS_QuarnShapiroWilk_MP(QKernel kv, HostObject args);
STATS_EXPORT HostObject STATS_g02daf_MP(QKernel kv, HostObject args);
STATS_EXPORT HostObject STATS_g02fac_MP(QKernel kv, HostObject args);
STATS_EXPORT HostObject STATS_g02fcc_MP(QKernel kv, HostObject args);

#endif
