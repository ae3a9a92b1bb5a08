// The host entries of data manipulation, stamped out from entries.inc.
#include "stats/manipulation/internal.h"

using quarnstats::AtLeast;

#define MANIPULATION_ENTRY STATS_DEFINE_TABLE_ENTRY
#include "stats/manipulation/entries.inc"
#undef MANIPULATION_ENTRY
