// Helpers shared by the data manipulation entries.
#ifndef QUARN_STATS_MANIPULATION_INTERNAL_H
#define QUARN_STATS_MANIPULATION_INTERNAL_H

#include "stats/descriptive/internal.h"
#include "stats/manipulation/manipulation.h"

namespace entry {
#define MANIPULATION_ENTRY STATS_DECLARE_TABLE_BODY
#include "stats/manipulation/entries.inc"
#undef MANIPULATION_ENTRY
}  // namespace entry

#endif
