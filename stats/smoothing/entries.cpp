// The host entries of smoothing and density estimation, stamped out from
// entries.inc.
#include "stats/smoothing/internal.h"

using quarnstats::AtLeast;

#define SMOOTHING_ENTRY STATS_DEFINE_TABLE_ENTRY
#include "stats/smoothing/entries.inc"
#undef SMOOTHING_ENTRY
