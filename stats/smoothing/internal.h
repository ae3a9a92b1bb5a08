// Helpers shared by the smoothing entries.
#ifndef QUARN_STATS_SMOOTHING_INTERNAL_H
#define QUARN_STATS_SMOOTHING_INTERNAL_H

#include "stats/descriptive/internal.h"
#include "stats/smoothing/smoothing.h"

namespace entry {
#define SMOOTHING_ENTRY STATS_DECLARE_TABLE_BODY
#include "stats/smoothing/entries.inc"
#undef SMOOTHING_ENTRY
}  // namespace entry

#endif
