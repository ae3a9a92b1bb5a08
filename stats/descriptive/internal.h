// Helpers shared by the descriptive statistics.
#ifndef QUARN_STATS_DESCRIPTIVE_INTERNAL_H
#define QUARN_STATS_DESCRIPTIVE_INTERNAL_H

#include <mpfr.h>

#include <vector>

#include "platform/float/quarnfloat.h"
#include "platform/float/sum.h"
#include "stats/frame/entry.h"
#include "stats/frame/sample.h"

namespace quarnstats {

// An MPFR number of a fixed precision for the scope of a computation.
class Scratch {
 public:
  explicit Scratch(mpfr_prec_t bits = quarn::floats::GuardedBits()) { mpfr_init2(v_, bits); }
  ~Scratch() { mpfr_clear(v_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  operator mpfr_ptr() { return v_; }  // NOLINT: used as an mpfr_t
  mpfr_ptr get() { return v_; }

 private:
  mpfr_t v_;
};

inline QuarnFloat Rounded(mpfr_srcptr x) { return QuarnFloat::FromMpfr(x); }

// Order of values with the undefined float above every number.
inline bool IsUndefined(const QuarnFloat& x) { return mpfr_nan_p(x.Mpfr()) != 0; }
// a strictly before b.
inline bool Before(const QuarnFloat& a, const QuarnFloat& b) {
  if (IsUndefined(a)) return false;
  return IsUndefined(b) || mpfr_less_p(a.Mpfr(), b.Mpfr());
}

// A host list of the floats.
HostObject FloatList(QKernel kv, const std::vector<QuarnFloat>& values);
// The lower and upper percentiles of arguments 2 and 3 (trimming and
// winsorizing), each checked to lie in [0, 100] and lower not above upper,
// with the messages of those entries.
struct Percentiles {
  QuarnFloat lower, upper;
};
Percentiles ReadPercentiles(const Arguments& a);

// The host's NULL as the %1 of a message without a placeholder.
[[noreturn]] void RaisePlain(QKernel kv, const char* message);

}  // namespace quarnstats

namespace entry {
#define DESCRIPTIVE_ENTRY STATS_DECLARE_TABLE_BODY
#include "stats/descriptive/entries.inc"
#undef DESCRIPTIVE_ENTRY
}  // namespace entry

#endif
