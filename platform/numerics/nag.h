// The error record and enumerations shared by the QuarnMP_* numerical
// routines and their callers.
#ifndef QUARN_PLATFORM_NUMERICS_NAG_H
#define QUARN_PLATFORM_NUMERICS_NAG_H

#include <cstddef>
#include <cstdint>

// A routine's error record. The caller sets print to 0 (no printing) and
// handler to null before the call; the routine sets code (0 for success) and,
// on failure, a NUL-terminated message. The layout is fixed: code at byte 0,
// print at 4, message at 5, handler at 520 (517 rounded up to the pointer's
// alignment), 528 bytes in all.
struct NagError {
  int32_t code;
  uint8_t print;
  char message[512];
  void* handler;
};
static_assert(offsetof(NagError, code) == 0, "NagError layout");
static_assert(offsetof(NagError, print) == 4, "NagError layout");
static_assert(offsetof(NagError, message) == 5, "NagError layout");
static_assert(offsetof(NagError, handler) == 520, "NagError layout");
static_assert(sizeof(NagError) == 528, "NagError layout");

enum Nag_TailProbability {
  Nag_LowerTail = 1329,
  Nag_UpperTail = 1330,
  Nag_TwoTailSignif = 1331,
  Nag_TwoTailConfid = 1332,
};

enum Nag_Boolean {
  Nag_FALSE = 0,
  Nag_TRUE = 1,
};

enum Nag_SortOrder {
  Nag_Ascending = 1597,
  Nag_Descending = 1598,
};

namespace quarn::numerics {

// The library's tail codes 1 (lower), 2 (upper), 3 (two-tail significance)
// and 4 (two-tail confidence) as the routines' enumeration; any other code
// means the lower tail.
constexpr Nag_TailProbability TailFromCode(int code) {
  switch (code) {
    case 2: return Nag_UpperTail;
    case 3: return Nag_TwoTailSignif;
    case 4: return Nag_TwoTailConfid;
    default: return Nag_LowerTail;
  }
}

}  // namespace quarn::numerics

#endif
