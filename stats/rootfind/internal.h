// Helpers shared by the root finders of this folder only.
#ifndef QUARN_STATS_ROOTFIND_INTERNAL_H
#define QUARN_STATS_ROOTFIND_INTERNAL_H

#include "platform/float/quarnfloat.h"

namespace quarnstats {

// Messages common to the hybrid forms of several families.
inline constexpr const char* kTargetOutsideBounds =
    "the specified approximation point must be between function bounds.";
inline constexpr const char* kNotNondecreasing = "specified function is not a nondecreasing function.";
inline constexpr const char* kInitialPointOutsideBarriers =
    "the specified initial point must be between the specified barriers";

// True when a and b are both strictly positive or both strictly negative: a
// zero (or an undefined value) at either end never counts as the same sign.
inline bool StrictlySameSign(const QuarnFloat& a, const QuarnFloat& b) { return (a > 0 && b > 0) || (a < 0 && b < 0); }

// |a - b| / (|a| + |b|).
inline QuarnFloat RelativeDistance(const QuarnFloat& a, const QuarnFloat& b) {
  return fabs(a - b) / (fabs(a) + fabs(b));
}

}  // namespace quarnstats

#endif
