// Linear filters (recursive or not) and moving-window statistics: means of
// the four kinds and medians, weighted or not, and any host procedure
// applied to each window.
#include <algorithm>
#include <cstring>

#include "stats/descriptive/descriptive.h"
#include "stats/manipulation/internal.h"
#include "stats/smoothing/internal.h"

using quarn::floats::ExactSum;
using quarn::floats::ProductBits;

namespace quarnstats {
namespace {

template <class T>
T* Room(QKernel kv, size_t count) {
  return static_cast<T*>(QuarnAlloc(kv, std::max<size_t>(count, 1) * sizeof(T)));
}

// A new vector of sfloats with the settings of data, indexed lower ..
// lower + count - 1, holding values[0 .. count-1].
HostObject FloatResult(QKernel kv, HostObject data, QuarnFloat* values, long lower, long count) {
  RTableSettingsRecord rts;
  RTableGetSettings(kv, &rts, data);
  rts.storage = RTABLE_RECT;
  rts.data_type = RTABLE_DAG;
  rts.element_type_name = ToQuarnName(kv, "sfloat", 1);
  return NewRTable(kv, rts, values, lower, count);
}

// Raises unless 1 <= w <= n (w the argument's value).
long WindowSize(QKernel kv, HostObject arg, size_t n) {
  const long w = QuarnToQ_INT(kv, arg);
  if (w < 1 || w > static_cast<long>(n))
    QuarnRaiseError2(kv, "invalid size of the moving window, expected: integer between 1 and %1, received: %2",
                     ToQuarnInteger(kv, static_cast<long>(n)), arg);
  return w;
}

long WindowOffset(QKernel kv, HostObject arg, size_t n) {
  const long o = QuarnToQ_INT(kv, arg);
  if (o < 0 || o > static_cast<long>(n) - 1)
    QuarnRaiseError2(kv, "invalid offset for the moving window, expected: integer between 0 and %1, received: %2",
                     ToQuarnInteger(kv, static_cast<long>(n) - 1), arg);
  return o;
}

// The series and window of a moving mean or median: the data (argument 1)
// and the window's weights (argument 4) read by the ignore flag, copied when
// asked to (into room for the longer of the data and the result), and the
// window size w (argument 2) and offset o (argument 3) checked against the
// number of points read.
struct MovingWindow {
  _DataSample data, weight_sample;
  size_t n = 0;
  long w = 0, o = 0;
  QuarnFloat* x = nullptr;
  QuarnFloat* weights = nullptr;
  bool in_place;

  MovingWindow(const Arguments& a, int ignore_at, int in_place_at, bool always_copy)
      : data(a.kv(), a[1]), weight_sample(a.kv(), a[4]), in_place(a.Bool(in_place_at)) {
    QKernel kv = a.kv();
    const bool ignore = a.Bool(ignore_at);
    n = data.Size();
    x = data.Points();
    if (ignore || in_place || always_copy) {
      x = Room<QuarnFloat>(kv, 2 * data.Size() + 1);
      n = data.CopyTo(x, nullptr, ignore);
    }
    w = WindowSize(kv, a[2], n);
    o = WindowOffset(kv, a[3], n);
    size_t m = weight_sample.Size();
    weights = weight_sample.Points();
    if (m > 0 && (ignore || in_place || always_copy)) {
      weights = Room<QuarnFloat>(kv, m);
      m = weight_sample.CopyTo(weights, nullptr, ignore);
    }
    if (m == 0) weights = nullptr;
    if (weights != nullptr && m != static_cast<size_t>(w))
      RaisePlain(kv, "the number of elements in the weights array must be equal to the size of the moving window");
  }

  long ResultLength() const { return static_cast<long>(n) - w + o + 1; }

  // Entries 0 .. o-1 are the data; entry o + i the statistic of window
  // x[i .. i + w - 1]. In place, each statistic replaces the datum at
  // o + i at once (the copy has room for the result's length), so later
  // windows over that position see it.
  template <class Statistic>
  HostObject Run(QKernel kv, HostObject rtable, Statistic statistic) {
    const long length = ResultLength();
    QuarnFloat* out = in_place ? x : Room<QuarnFloat>(kv, static_cast<size_t>(length));
    if (!in_place) std::copy(x, x + o, out);
    for (long i = 0; i + w <= static_cast<long>(n); ++i) out[o + i] = statistic(x + i);
    return FloatResult(kv, rtable, out, 1, length);
  }
};

}  // namespace
}  // namespace quarnstats

using namespace quarnstats;

// y_i = c_0 x_i + c_1 x_(i-1) + ... + c_(k-1) x_(i-k+1), the values before
// the first datum being the initial values (x_(-1) the first), each y_i
// rounded once; a recursive filter puts y_i in place of x_i at once.
HostObject entry::LinearFilter(const Arguments& a) {
  QKernel kv = a.kv();
  _DataSample data(kv, a[1]), coefficients(kv, a[2]), initial(kv, a[3]);
  const bool recursive = a.Bool(4), ignore = a.Bool(5);
  const size_t n = data.Size(), k = coefficients.Size();
  if (n < k) QuarnRaiseError(kv, "the size of the filter cannot exceed the size of the data set");
  if (k == 0) QuarnRaiseError1(kv, "expected at least one filter coefficient, received: %1", a[2]);
  QuarnFloat* work = Room<QuarnFloat>(kv, k - 1 + n);
  for (size_t p = 0; p + 1 < k; ++p) work[p] = QuarnFloat();
  for (size_t v = 0; v < initial.Size() && v + 1 < k; ++v) work[k - 2 - v] = initial.Points()[v];
  const size_t m = data.CopyTo(work + k - 1, nullptr, ignore);
  const QuarnFloat* c = coefficients.Points();
  QuarnFloat* y = Room<QuarnFloat>(kv, m);
  for (size_t i = 0; i < m; ++i) {
    ExactSum sum(k, ProductBits());
    for (size_t l = 0; l < k; ++l) sum.AddProduct(c[l], work[i + k - 1 - l]);
    y[i] = sum.Total();
    if (recursive) work[i + k - 1] = y[i];
  }
  return FloatResult(kv, a[1], y, RTableLowerBound(kv, a[1], 1), static_cast<long>(m));
}

HostObject entry::MovingMean(const Arguments& a) {
  MovingWindow window(a, 5, 7, false);
  const long kind = a.Int(6);
  return window.Run(a.kv(), a[1], [&](const QuarnFloat* x) {
    const size_t w = static_cast<size_t>(window.w);
    return window.weights != nullptr ? WeightedMean(x, window.weights, w, kind) : UnweightedMean(x, w, kind);
  });
}

// Each window is copied (with its weights) before the median, which
// reorders what it is given.
HostObject entry::MovingMedian(const Arguments& a) {
  QKernel kv = a.kv();
  MovingWindow window(a, 5, 6, true);
  const size_t w = static_cast<size_t>(window.w);
  QuarnFloat* points = Room<QuarnFloat>(kv, w);
  QuarnFloat* weights = window.weights != nullptr ? Room<QuarnFloat>(kv, w) : nullptr;
  return window.Run(kv, a[1], [&](const QuarnFloat* x) {
    std::copy(x, x + w, points);
    if (weights != nullptr) std::copy(window.weights, window.weights + w, weights);
    return quarnstats::Median(points, weights, w);
  });
}

// The procedure (argument 3) at each window of w consecutive elements (an
// rtable of the data's own settings, reused for every call), followed by
// the call's arguments from the fourth on; its answers as they are.
HostObject entry::Moving(const Arguments& a) {
  QKernel kv = a.kv();
  const HostObject rt = OneDimensional(kv, a[1]);
  const Elements data(kv, rt);
  const long n = static_cast<long>(data.Size());
  const long w = WindowSize(kv, a[2], data.Size());
  const long lower = data.Lower();
  RTableSettingsRecord rts = data.Settings();
  rts.storage = RTABLE_RECT;
  rts.data_type = RTABLE_DAG;
  // The answers are any host objects, not floats.
  rts.element_type_name = ToQuarnName(kv, "anything", 1);
  HostObject result = NewRTable(kv, rts, nullptr, lower, n - w + 1);
  HostObject window = NewRTable(kv, data.Settings(), nullptr, lower, w);
  const int extra = a.Count() - 3;
  HostObject call = NewQuarnExpressionSequence(kv, 1 + extra);
  QuarnExpseqAssign(kv, call, 1, window);
  for (int j = 1; j <= extra; ++j) QuarnExpseqAssign(kv, call, 1 + j, a[3 + j]);
  const RTableSettingsRecord& from = data.Settings();
  const bool raw = from.storage == RTABLE_RECT && from.order == RTABLE_FORTRAN;
  if (raw && (from.data_type < RTABLE_DAG || from.data_type >= RTABLE_NUM_DATA_TYPES)) return result;
  auto* answers = static_cast<HostObject*>(RTableDataBlock(kv, result));
  const auto* block = static_cast<const unsigned char*>(RTableDataBlock(kv, rt));
  for (long i = 0; i + w <= n; ++i) {
    if (raw) {
      std::memcpy(RTableDataBlock(kv, window), block + i * data.Bytes(), static_cast<size_t>(w) * data.Bytes());
    } else {
      for (long k = 0; k < w; ++k) {
        int from_index = static_cast<int>(lower + i + k), to_index = static_cast<int>(lower + k);
        RTableAssign(kv, window, &to_index, RTableSelect(kv, rt, &from_index));
      }
    }
    answers[i] = EvalQuarnProcedure(kv, a[3], call);
  }
  return result;
}
