// Selection of the k-th smallest value (with companion records or without)
// and sorting of points with their weights.
#include <cstdint>
#include <cstring>
#include <utility>

#include "stats/descriptive/descriptive.h"
#include "stats/descriptive/internal.h"

namespace quarnstats {

namespace {

// x greater than y: x undefined and y not, or both numbers and x > y.
inline bool Greater(const QuarnFloat& x, const QuarnFloat& y) { return Before(y, x); }
// key below the pivot: a number below an undefined pivot, never an undefined key.
inline bool Below(const QuarnFloat& key, const QuarnFloat& pivot) { return Before(key, pivot); }
// key above the pivot: an undefined key above a numeric pivot, nothing above an undefined one.
inline bool Above(const QuarnFloat& key, const QuarnFloat& pivot) { return Before(pivot, key); }

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
// together.
template <class R>
void Split(QuarnFloat* keys, R& records, size_t n, size_t k) {
  auto swap = [&](size_t i, size_t j) {
    std::swap(keys[i], keys[j]);
    records.Swap(i, j);
  };
  size_t l = 0, h = n - 1;
  while (h > l + 1) {
    size_t m = (l + h) / 2;
    swap(m, l + 1);
    if (Greater(keys[l], keys[h])) swap(l, h);
    if (Greater(keys[l + 1], keys[h])) swap(l + 1, h);
    if (Greater(keys[l], keys[l + 1])) swap(l, l + 1);
    size_t i = l + 1, j = h;
    const QuarnFloat pivot = keys[l + 1];
    records.Save(l + 1);
    for (;;) {
      do ++i; while (Below(keys[i], pivot));
      do --j; while (Above(keys[j], pivot));
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
  if (h == l + 1 && !IsUndefined(keys[h]) && (IsUndefined(keys[l]) || keys[h] < keys[l])) swap(l, h);
}

// Orders entries i < j of points (and weights) if they are out of order.
inline void CompareAndSwap(QuarnFloat* x, QuarnFloat* w, size_t i, size_t j) {
  if (Before(x[j], x[i])) {
    std::swap(x[i], x[j]);
    std::swap(w[i], w[j]);
  }
}

}  // namespace

QuarnFloat SelectKth(QuarnFloat* x, size_t n, size_t k) {
  NoRecords none;
  Split(x, none, n, k);
  return x[k];
}

void SortWithWeights(QuarnFloat* x, QuarnFloat* w, size_t n) {
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
      CompareAndSwap(x, w, lo, mid);
      CompareAndSwap(x, w, lo, hi);
      CompareAndSwap(x, w, mid, hi);
      // The median sits at mid, with x[lo] <= it <= x[hi] as sentinels;
      // park it next to the top and partition [lo + 1, hi - 2].
      std::swap(x[mid], x[hi - 1]);
      std::swap(w[mid], w[hi - 1]);
      const QuarnFloat pivot = x[hi - 1];
      size_t i = lo, j = hi - 1;
      for (;;) {
        while (Before(x[++i], pivot)) {}
        while (Before(pivot, x[--j])) {}
        if (i >= j) break;
        std::swap(x[i], x[j]);
        std::swap(w[i], w[j]);
      }
      std::swap(x[i], x[hi - 1]);
      std::swap(w[i], w[hi - 1]);
      if (i - lo < hi - i) {
        if (i > lo + 1) stack[top++] = {lo, i - 1};
        lo = i + 1;
      } else {
        if (hi > i + 1) stack[top++] = {i + 1, hi};
        hi = i - 1;
      }
      if (hi < lo) break;
    }
  }
  for (size_t i = 1; i < n; ++i) {
    QuarnFloat xi = x[i], wi = w[i];
    size_t j = i;
    for (; j > 0 && Before(xi, x[j - 1]); --j) {
      x[j] = x[j - 1];
      w[j] = w[j - 1];
    }
    x[j] = xi;
    w[j] = wi;
  }
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
