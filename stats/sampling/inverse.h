// Sampling of distributions the library does not know by name: by inverting
// a distribution function given as host procedures (with its density), alone
// or combined over several variables, and from a density known by its values
// on an equally spaced grid (a kernel density estimate).
#ifndef QUARN_STATS_SAMPLING_INVERSE_H
#define QUARN_STATS_SAMPLING_INVERSE_H

#include "stats/frame/frame.h"

#define INVERSE_ENTRY(N, COUNT, MESSAGE) STATS_EXPORT HostObject STATS_Quarn##N##_MP(QKernel kv, HostObject args);
#include "stats/sampling/inverse.inc"
#undef INVERSE_ENTRY

#endif
