// Sorting a float array and ranking objects of any type under a comparison.
#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

namespace quarn::numerics {
namespace {

bool ValidOrder(Nag_SortOrder order) { return order == Nag_Ascending || order == Nag_Descending; }

void FailOrder(NagError* fail, Nag_SortOrder order) {
  Fail(fail, NE_BAD_PARAM,
       "On entry, argument order had an illegal value (" + std::to_string(static_cast<int>(order)) + ").");
}

// Runs shorter than this are sorted by insertion before merging.
constexpr size_t kRun = 16;

// Stable sort of the indices in idx under before(a, b) ("a strictly before
// b"): insertion sort of short runs, then bottom-up merges that take from
// the right run only when its head is strictly before the left one's.
template <class Before>
void StableSortIndices(std::vector<unsigned int>& idx, Before before) {
  const size_t n = idx.size();
  for (size_t lo = 0; lo < n; lo += kRun) {
    size_t hi = std::min(n, lo + kRun);
    for (size_t i = lo + 1; i < hi; ++i) {
      unsigned int v = idx[i];
      size_t j = i;
      for (; j > lo && before(v, idx[j - 1]); --j) idx[j] = idx[j - 1];
      idx[j] = v;
    }
  }
  std::vector<unsigned int> other(n);
  std::vector<unsigned int>* from = &idx;
  std::vector<unsigned int>* to = &other;
  for (size_t width = kRun; width < n; width *= 2) {
    for (size_t lo = 0; lo < n; lo += 2 * width) {
      size_t mid = std::min(n, lo + width), hi = std::min(n, lo + 2 * width);
      size_t i = lo, j = mid, k = lo;
      const unsigned int* a = from->data();
      unsigned int* out = to->data();
      // Already in order: copy the pair of runs as it is.
      if (mid < hi && !before(a[mid], a[mid - 1])) {
        std::copy(a + lo, a + hi, out + lo);
        continue;
      }
      while (i < mid && j < hi) out[k++] = before(a[j], a[i]) ? a[j++] : a[i++];
      while (i < mid) out[k++] = a[i++];
      while (j < hi) out[k++] = a[j++];
    }
    std::swap(from, to);
  }
  if (from != &idx) idx.swap(*from);
}

}  // namespace
}  // namespace quarn::numerics

using namespace quarn::numerics;

void QuarnMP_m01cac(QuarnFloat vec[], size_t n, Nag_SortOrder order, NagError* fail) {
  if (!ValidOrder(order)) return FailOrder(fail, order);
  Succeed(fail);
  const bool ascending = order == Nag_Ascending;
  std::sort(vec, vec + n, [ascending](const QuarnFloat& a, const QuarnFloat& b) {
    const bool a_nan = mpfr_nan_p(a.Mpfr()), b_nan = mpfr_nan_p(b.Mpfr());
    if (a_nan || b_nan) return !a_nan;  // a number before NaN, NaN never before anything
    return ascending ? mpfr_less_p(a.Mpfr(), b.Mpfr()) != 0 : mpfr_greater_p(a.Mpfr(), b.Mpfr()) != 0;
  });
}

void QuarnMP_m01dsc(const void* vec, size_t n, ptrdiff_t stride, QuarnMP_Compare compare, Nag_SortOrder order,
                    unsigned int ranks[], NagError* fail) {
  if (n > UINT_MAX) return Fail(fail, NE_INT_ARG_GT, "On entry, n = " + std::to_string(n) + ".\nConstraint: n <= " +
                                                         std::to_string(UINT_MAX) + ".");
  if (stride == 0) return Fail(fail, NE_INT_ARG_EQ, "On entry, stride = 0.\nConstraint: stride != 0.");
  if (!ValidOrder(order)) return FailOrder(fail, order);
  Succeed(fail);
  if (n == 0) return;
  const char* base = static_cast<const char*>(vec);
  auto object = [base, stride](unsigned int i) { return base + static_cast<ptrdiff_t>(i) * stride; };
  std::vector<unsigned int> idx(n);
  for (size_t i = 0; i < n; ++i) idx[i] = static_cast<unsigned int>(i);
  if (order == Nag_Ascending) {
    StableSortIndices(idx, [&](unsigned int a, unsigned int b) { return compare(object(a), object(b)) < 0; });
  } else {
    StableSortIndices(idx, [&](unsigned int a, unsigned int b) { return compare(object(b), object(a)) < 0; });
  }
  for (size_t p = 0; p < n; ++p) ranks[idx[p]] = static_cast<unsigned int>(p);
}
