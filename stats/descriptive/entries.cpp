// The host entries of descriptive statistics, stamped out from entries.inc.
#include "stats/descriptive/descriptive.h"
#include "stats/descriptive/internal.h"

#define DESCRIPTIVE_ENTRY STATS_DEFINE_TABLE_ENTRY
#include "stats/descriptive/entries.inc"
#undef DESCRIPTIVE_ENTRY
