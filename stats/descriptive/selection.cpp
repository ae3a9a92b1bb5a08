// Selection of the k-th smallest value (with companion records or without)
// and sorting of points with their weights.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "stats/descriptive/descriptive.h"
#include "stats/descriptive/internal.h"

namespace quarnstats {

namespace {

// Moves nothing: selection on the keys alone.
struct NoRecords {
  void Swap(size_t, size_t) {}
  void Move(size_t, size_t) {}
  void Save(size_t) {}
  void Restore(size_t) {}
};

// Records of `size` bytes moving with their keys; `held` keeps the pivot's
// record while its slot is overwritten.
class Records {
 public:
  Records(QKernel kv, void* records, int size)
      : base_(static_cast<unsigned char*>(records)),
        size_(size),
        scratch_(static_cast<unsigned char*>(QuarnAlloc(kv, static_cast<size_t>(size)))),
        held_(static_cast<unsigned char*>(QuarnAlloc(kv, static_cast<size_t>(size)))) {}
  void Swap(size_t i, size_t j) {
    unsigned char *a = At(i), *b = At(j);
    if (size_ == 4) {
      uint32_t t;
      std::memcpy(&t, a, 4);
      std::memmove(a, b, 4);
      std::memcpy(b, &t, 4);
    } else if (size_ == 8) {
      uint64_t t;
      std::memcpy(&t, a, 8);
      std::memmove(a, b, 8);
      std::memcpy(b, &t, 8);
    } else {
      STATS_SwapByteArrays_MP(a, b, scratch_, size_);
    }
  }
  void Move(size_t to, size_t from) { std::memmove(At(to), At(from), static_cast<size_t>(size_)); }
  void Save(size_t i) { std::memcpy(held_, At(i), static_cast<size_t>(size_)); }
  void Restore(size_t i) { std::memcpy(At(i), held_, static_cast<size_t>(size_)); }

 private:
  unsigned char* At(size_t i) { return base_ + i * static_cast<size_t>(size_); }
  unsigned char* base_;
  int size_;
  unsigned char* scratch_;
  unsigned char* held_;
};

// Hoare's selection with a median-of-three pivot; keys and records move
// together. "Greater" is Before reversed: an undefined key is greater than
// any number, and a number below an undefined pivot, never the reverse.
template <class E, class R>
void Split(E* keys, R& records, size_t n, size_t k) {
  auto swap = [&](size_t i, size_t j) {
    std::swap(keys[i], keys[j]);
    records.Swap(i, j);
  };
  size_t l = 0, h = n - 1;
  while (h > l + 1) {
    size_t m = (l + h) / 2;
    swap(m, l + 1);
    if (Before(keys[h], keys[l])) swap(l, h);
    if (Before(keys[h], keys[l + 1])) swap(l + 1, h);
    if (Before(keys[l + 1], keys[l])) swap(l, l + 1);
    size_t i = l + 1, j = h;
    const E pivot = keys[l + 1];
    records.Save(l + 1);
    for (;;) {
      do ++i; while (Before(keys[i], pivot));
      do --j; while (Before(pivot, keys[j]));
      if (j < i) break;
      swap(i, j);
    }
    keys[l + 1] = keys[j];
    records.Move(l + 1, j);
    keys[j] = pivot;
    records.Restore(j);
    if (j >= k) h = j - 1;
    if (j <= k) l = i;
  }
  if (h == l + 1 && Before(keys[h], keys[l])) swap(l, h);
}

// A point with its weight and key, for the weighted sort.
struct KeyedPair {
  double key;
  QuarnFloat x, w;
};
inline bool IsUndefined(const KeyedPair& a) { return std::isnan(a.key); }
inline bool Before(const KeyedPair& a, const KeyedPair& b) {
  return Before(KeyedFloat{a.key, a.x}, KeyedFloat{b.key, b.x});
}

// Orders entries i < j if they are out of order.
template <class E>
inline void CompareAndSwap(E* x, size_t i, size_t j) {
  if (Before(x[j], x[i])) std::swap(x[i], x[j]);
}

// Quicksort with a median-of-three pivot down to segments of fewer than six
// entries, then one insertion pass over the whole range.
template <class E>
void QuickSort(E* x, size_t n) {
  if (n < 2) return;
  // Segments [lo, hi] still to partition; the smaller side is pushed, so
  // the stack holds at most log2(n) of them.
  std::pair<size_t, size_t> stack[64];
  int top = 0;
  stack[top++] = {0, n - 1};
  while (top > 0) {
    auto [lo, hi] = stack[--top];
    while (hi - lo >= 5) {
      size_t mid = lo + (hi - lo) / 2;
      CompareAndSwap(x, lo, mid);
      CompareAndSwap(x, lo, hi);
      CompareAndSwap(x, mid, hi);
      // The median sits at mid, with x[lo] <= it <= x[hi] as sentinels;
      // park it next to the top and partition [lo + 1, hi - 2].
      std::swap(x[mid], x[hi - 1]);
      const E pivot = x[hi - 1];
      size_t i = lo, j = hi - 1;
      for (;;) {
        while (Before(x[++i], pivot)) {}
        while (Before(pivot, x[--j])) {}
        if (i >= j) break;
        std::swap(x[i], x[j]);
      }
      std::swap(x[i], x[hi - 1]);
      if (i - lo < hi - i) {
        if (i > lo + 1) stack[top++] = {lo, i - 1};
        lo = i + 1;
      } else {
        if (hi > i + 1) stack[top++] = {i + 1, hi};
        hi = i - 1;
      }
    }
  }
  for (size_t i = 1; i < n; ++i) {
    E xi = x[i];
    size_t j = i;
    for (; j > 0 && Before(xi, x[j - 1]); --j) x[j] = x[j - 1];
    x[j] = xi;
  }
}

}  // namespace

double OrderKey(const QuarnFloat& f) {
  mpfr_srcptr x = f.Mpfr();
  if (!mpfr_regular_p(x)) {
    if (mpfr_nan_p(x)) return std::nan("");
    if (mpfr_inf_p(x)) return mpfr_sgn(x) > 0 ? HUGE_VAL : -HUGE_VAL;
    return 0.0;
  }
  // x = 0.1b...b * 2^e: its top 53 bits make the double 1.b...b * 2^(e-1)
  // (truncation, a monotone map). Beyond the double range every magnitude
  // has one key, the largest finite double or the smallest normal one,
  // which keeps the map monotone.
  const long biased = mpfr_get_exp(x) - 1 + 1023;
  double v;
  if (biased < 1) {
    v = DBL_MIN;
  } else if (biased > 2046) {
    v = DBL_MAX;
  } else {
    const mp_limb_t top = x->_mpfr_d[(mpfr_get_prec(x) - 1) / GMP_NUMB_BITS];
    const uint64_t bits = (static_cast<uint64_t>(biased) << 52) |
                          ((static_cast<uint64_t>(top) >> (GMP_NUMB_BITS - 53)) & ((uint64_t{1} << 52) - 1));
    std::memcpy(&v, &bits, sizeof v);
  }
  return mpfr_signbit(x) ? -v : v;
}

KeyedCopy::KeyedCopy(const QuarnFloat* x, size_t n) : v_(n) {
  for (size_t i = 0; i < n; ++i) v_[i] = {OrderKey(x[i]), x[i]};
}

void KeyedCopy::WriteBack(QuarnFloat* x) const {
  for (size_t i = 0; i < v_.size(); ++i) x[i] = v_[i].x;
}

QuarnFloat SelectKth(QuarnFloat* x, size_t n, size_t k) {
  NoRecords none;
  Split(x, none, n, k);
  return x[k];
}

QuarnFloat SelectKth(KeyedFloat* x, size_t n, size_t k) {
  NoRecords none;
  Split(x, none, n, k);
  return x[k].x;
}

void SortWithWeights(QuarnFloat* x, QuarnFloat* w, size_t n) {
  UnscannedVector<KeyedPair> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = {OrderKey(x[i]), x[i], w[i]};
  QuickSort(v.data(), n);
  for (size_t i = 0; i < n; ++i) x[i] = v[i].x, w[i] = v[i].w;
}

}  // namespace quarnstats

void STATS_SwapByteArrays_MP(unsigned char* first, unsigned char* second, unsigned char* scratch, int length) {
  for (int i = 0; i < length; ++i) {
    scratch[i] = first[i];
    first[i] = second[i];
    second[i] = scratch[i];
  }
}

void STATS_SplitByNumericValue_MP(QKernel kv, QuarnFloat* keys, void* records, int n, int k, int record_size) {
  if (n < 1) return;
  if (k < 0) k = 0;
  if (k >= n) k = n - 1;
  quarnstats::Records moving(kv, records, record_size);
  quarnstats::Split(keys, moving, static_cast<size_t>(n), static_cast<size_t>(k));
}
