// Helpers shared by the descriptive statistics.
#ifndef QUARN_STATS_DESCRIPTIVE_INTERNAL_H
#define QUARN_STATS_DESCRIPTIVE_INTERNAL_H

#include <mpfr.h>

#include <cmath>
#include <cstdlib>
#include <new>
#include <vector>

#include "platform/float/quarnfloat.h"
#include "platform/float/sum.h"
#include "platform/host/unscanned.h"
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

// A float with a double that orders like it, for selections and sorts of
// large arrays: comparing two doubles side by side in memory is far cheaper
// than following two handles into the heap. The key is the float truncated
// to 53 bits (a monotone map, so key(a) < key(b) implies a < b; equal keys
// fall back to the floats), NaN for the undefined float.
struct KeyedFloat {
  double key;
  QuarnFloat x;
};
double OrderKey(const QuarnFloat& x);
inline bool IsUndefined(const KeyedFloat& a) { return std::isnan(a.key); }
inline bool Before(const KeyedFloat& a, const KeyedFloat& b) {
  if (a.key < b.key) return true;
  if (a.key > b.key) return false;
  if (IsUndefined(a)) return false;
  return IsUndefined(b) || mpfr_less_p(a.x.Mpfr(), b.x.Mpfr());
}

inline const QuarnFloat& ValueOf(const QuarnFloat& x) { return x; }
inline const QuarnFloat& ValueOf(const KeyedFloat& x) { return x.x; }
inline void SetValue(QuarnFloat* e, const QuarnFloat& v) { *e = v; }
inline void SetValue(KeyedFloat* e, const QuarnFloat& v) { *e = {OrderKey(v), v}; }

// Arrays of floats that the collector need not scan (platform/host/unscanned.h):
// every handle stored in one is also held, for as long as the array lives,
// by an array the collector does see (the sample the keys were made from),
// and the array is written back before that one changes. It keeps large
// scratch arrays out of the collector's marking and out of its allocation
// count.
using quarn::UnscannedAllocator;
using quarn::UnscannedVector;

// x[0 .. n-1] with their keys; WriteBack puts the floats back in their new
// order.
class KeyedCopy {
 public:
  KeyedCopy(const QuarnFloat* x, size_t n);
  KeyedFloat* data() { return v_.data(); }
  void WriteBack(QuarnFloat* x) const;

 private:
  UnscannedVector<KeyedFloat> v_;
};

// The selection of SelectKth on keyed floats (the same steps, so the same
// final layout).
QuarnFloat SelectKth(KeyedFloat* x, size_t n, size_t k);

// Runs work(a) on the floats x[0 .. n-1], where a is x itself for short
// arrays and a keyed copy, written back afterwards, for long ones: the
// selections do the same steps either way.
template <class Work>
void OnKeyed(QuarnFloat* x, size_t n, Work work) {
  if (n < 64) {
    work(x);
    return;
  }
  KeyedCopy copy(x, n);
  work(copy.data());
  copy.WriteBack(x);
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
