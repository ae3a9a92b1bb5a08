// Medians, quantiles by eight methods, order statistics, trimmed and
// winsorized means.
#include <algorithm>
#include <vector>

#include "stats/descriptive/descriptive.h"
#include "stats/descriptive/internal.h"

using quarn::floats::ExactSum;

namespace quarnstats {

Percentiles ReadPercentiles(const Arguments& a) {
  QKernel kv = a.kv();
  Percentiles p{a.Float(2), a.Float(3)};
  if (p.lower < 0.0 || p.lower > 100.0)
    QuarnRaiseError1(kv, "expected second argument (lower percentile) to be a numeric constant between 0 and 100, received: %1",
                     a[2]);
  if (p.upper < 0.0 || p.upper > 100.0)
    QuarnRaiseError1(kv, "expected third argument (upper percentile) to be a numeric constant between 0 and 100, received: %1",
                     a[3]);
  if (p.lower > p.upper)
    QuarnRaiseError2(kv,
                     "the value of lower percentile is expected to be smaller than the value of upper percentile, "
                     "received: %1, %2",
                     a[2], a[3]);
  return p;
}

namespace {

// h = a + (n + b) p locates a quantile; the result interpolates between
// its neighbours with weight c + d (h - floor(h)).
struct Method {
  QuarnFloat a, b, c, d;
};

Method MethodParameters(long method) {
  Method m{0.0, 0.0, 0.0, 0.0};
  switch (method) {
    case 2: m.a = 0.5; break;
    case 3: m.d = 1.0; break;
    case 4: m.a = 0.5; m.d = 1.0; break;
    case 5: m.b = 1.0; m.d = 1.0; break;
    case 6: m.a = 1.0; m.b = -1.0; m.d = 1.0; break;
    case 7: m.a = QuarnFloat(1.0) / QuarnFloat(3.0); m.b = QuarnFloat(1.0) / QuarnFloat(3.0); m.d = 1.0; break;
    case 8: m.a = QuarnFloat(3.0) / QuarnFloat(8.0); m.b = QuarnFloat(1.0) / QuarnFloat(4.0); m.d = 1.0; break;
    default: m.c = 1.0; break;
  }
  return m;
}

QuarnFloat Interpolate(const Method& m, const QuarnFloat& lo, const QuarnFloat& hi, const QuarnFloat& h) {
  return lo + (hi - lo) * (m.c + m.d * (h - floor(h)));
}

// Unweighted quantiles. Each level selects its lower neighbour; a level not
// below the previous one selects within the part of the array the previous
// selection left above its position.
template <class E>
void UnweightedQuantiles(E* x, size_t n, const QuarnFloat* p, size_t count, const Method& m, QuarnFloat* out) {
  const QuarnFloat nf(static_cast<double>(n));
  long previous = 0;
  for (size_t q = 0; q < count; ++q) {
    QuarnFloat h = ((nf + m.b) * p[q]) + m.a;
    long lo = FloatToInt(floor(h)) - 1;
    if (lo < 0) {
      lo = 0;
    } else if (lo >= static_cast<long>(n)) {
      lo = static_cast<long>(n) - 1;
    }
    long hi = FloatToInt(ceil(h)) - 1;
    if (hi < 0) hi = 0;
    const long base = lo >= previous ? previous : 0;
    QuarnFloat x_lo = SelectKth(x + base, n - static_cast<size_t>(base), static_cast<size_t>(lo - base));
    previous = lo;
    if (hi == lo || lo == static_cast<long>(n) - 1) {
      out[q] = x_lo;
      continue;
    }
    QuarnFloat x_hi = SelectKth(x + lo + 1, n - static_cast<size_t>(lo) - 1, 0);
    out[q] = Interpolate(m, x_lo, x_hi, h);
  }
}

// Weighted quantiles: one sort with the weights, then for each level the
// first point at which the cumulative weight exceeds h.
void WeightedQuantiles(QuarnFloat* x, QuarnFloat* w, size_t n, const QuarnFloat* p, size_t count, const Method& m,
                       QuarnFloat* out) {
  QuarnFloat total = quarn::floats::Sum(w, n);
  SortWithWeights(x, w, n);
  for (size_t q = 0; q < count; ++q) {
    QuarnFloat h = m.a + (total + m.b) * p[q];
    QuarnFloat cumulative = 0.0;
    size_t i = 0;
    for (; i < n; ++i) {
      cumulative += w[i];
      if (cumulative > h) break;
    }
    size_t k = i == 0 ? 0 : i - 1;
    QuarnFloat x_hi = k + 1 <= n - 1 ? x[k + 1] : x[k];
    out[q] = Interpolate(m, x[k], x_hi, h);
  }
}

}  // namespace

void Quantiles(QuarnFloat* x, QuarnFloat* w, size_t n, const QuarnFloat* p, size_t m, long method, QuarnFloat* out) {
  const Method parameters = MethodParameters(method);
  if (w == nullptr) {
    OnKeyed(x, n, [&](auto* a) { UnweightedQuantiles(a, n, p, m, parameters, out); });
  } else {
    WeightedQuantiles(x, w, n, p, m, parameters, out);
  }
}

namespace {

// The unweighted median of n > 0 values by selection.
template <class E>
QuarnFloat MedianOf(E* a, size_t n) {
  if (n % 2 == 1) return SelectKth(a, n, (n - 1) / 2);
  QuarnFloat upper = SelectKth(a, n, n / 2);
  QuarnFloat lower = SelectKth(a, n / 2, n / 2 - 1);
  return (upper + lower) / 2.0;
}

}  // namespace

QuarnFloat Median(QuarnFloat* x, QuarnFloat* w, size_t n) {
  if (w != nullptr) {
    QuarnFloat half = 0.5, result;
    Quantiles(x, w, n, &half, 1, 1, &result);
    return result;
  }
  QuarnFloat result;
  OnKeyed(x, n, [&](auto* a) { result = MedianOf(a, n); });
  return result;
}

namespace {

// The reading of the order statistics: the sample's own arrays only when
// ignore is off and the caller allows work in place, else a copy. A long
// unweighted copy is made keyed (as the selections would make it anyway)
// straight from the sample, and nothing else. weights = 0: points only.
struct OrderData {
  _DataSample sample;
  SampleArrays arrays{0, nullptr, nullptr};
  UnscannedVector<KeyedFloat> keyed;
  bool is_keyed = false;
  OrderData(const Arguments& a, int data, int weights, bool ignore, bool in_place)
      : sample(a.kv(), a[data], weights > 0 ? a[weights] : nullptr) {
    const bool copy = !(in_place && !ignore);
    if (copy && !sample.HasWeights() && sample.Size() >= 64) {
      is_keyed = true;
      keyed.reserve(sample.Size());
      const QuarnFloat* x = sample.Points();
      for (size_t i = 0; i < sample.Size(); ++i) {
        if (!ignore || !IsUndefined(x[i])) keyed.push_back({OrderKey(x[i]), x[i]});
      }
      arrays.n = keyed.size();
      return;
    }
    arrays = ReadSample(a.kv(), sample, ignore, copy);
  }
  size_t n() const { return arrays.n; }
  // Runs work(a) on the unweighted values: the keyed copy, or the arrays
  // (keyed for the time of the work when they are long).
  template <class Work>
  void Unweighted(Work work) {
    if (is_keyed) {
      work(keyed.data());
    } else {
      OnKeyed(arrays.points, arrays.n, work);
    }
  }
};

[[noreturn]] void RaiseLevels(QKernel kv, HostObject p) {
  QuarnRaiseError1(kv, "expected: numeric constant or a list of numeric constants between 0 and 1, received %1", p);
}

bool OutsideUnit(const QuarnFloat& p) { return p < 0.0 || p > 1.0; }

// A float, or the host list of the floats when the argument was a list.
HostObject Result(QKernel kv, const std::vector<QuarnFloat>& values, bool as_list) {
  return as_list ? FloatList(kv, values) : FloatToHost(values[0]);
}

// Trimmed and winsorized means: the percentile checks and the copy.
struct TrimData {
  OrderData data;
  long kind;
  QuarnFloat lower, upper;  // fractions
  TrimData(const Arguments& a) : data(a, 1, 4, a.Bool(5), false), kind(a.Int(6)) {
    const Percentiles p = ReadPercentiles(a);
    lower = p.lower * 0.01;
    upper = p.upper * 0.01;
  }
};

// Unweighted trim positions: ranks lo .. hi - 1 end up at positions lo ..
// hi - 1, and whether the trim is symmetric in counts.
struct TrimCut {
  size_t lo, hi;
  bool symmetric;
};

template <class E>
TrimCut SelectTrimRange(E* a, size_t n, const QuarnFloat& lower, const QuarnFloat& upper) {
  const QuarnFloat nf(static_cast<double>(n));
  long lo = FloatToInt(lower * nf + 0.5), hi = FloatToInt(upper * nf + 0.5);
  // Percentiles within [0, 100] keep 0 <= lo <= hi <= n; selections need
  // a position inside the array.
  if (lo < static_cast<long>(n)) SelectKth(a, n, static_cast<size_t>(lo));
  if (hi > lo && hi - lo < static_cast<long>(n) - lo)
    SelectKth(a + lo, n - static_cast<size_t>(lo), static_cast<size_t>(hi - lo));
  return {static_cast<size_t>(lo), static_cast<size_t>(hi), static_cast<long>(n) - hi == lo};
}

// The floats of a[from .. from + count - 1].
template <class E>
std::vector<QuarnFloat> ValuesOf(const E* a, size_t from, size_t count) {
  std::vector<QuarnFloat> v(count);
  for (size_t i = 0; i < count; ++i) v[i] = ValueOf(a[from + i]);
  return v;
}

}  // namespace

}  // namespace quarnstats

using namespace quarnstats;

HostObject entry::Median(const Arguments& a) {
  OrderData d(a, 1, 2, a.Bool(3), a.Bool(4));
  const SampleArrays& s = d.arrays;
  if (s.n == 0) return FloatToHost(UndefinedFloat());
  if (s.weights != nullptr) return FloatToHost(quarnstats::Median(s.points, s.weights, s.n));
  QuarnFloat m;
  d.Unweighted([&](auto* x) { m = MedianOf(x, s.n); });
  return FloatToHost(m);
}

HostObject entry::MedianDeviation(const Arguments& a) {
  OrderData d(a, 1, 2, a.Bool(3), false);
  const SampleArrays& s = d.arrays;
  if (s.n == 0) return FloatToHost(UndefinedFloat());
  if (s.weights != nullptr) {
    QuarnFloat m = quarnstats::Median(s.points, s.weights, s.n);
    for (size_t i = 0; i < s.n; ++i) s.points[i] = fabs(s.points[i] - m);
    return FloatToHost(quarnstats::Median(s.points, s.weights, s.n));
  }
  QuarnFloat deviation;
  d.Unweighted([&](auto* x) {
    QuarnFloat m = MedianOf(x, s.n);
    for (size_t i = 0; i < s.n; ++i) SetValue(&x[i], fabs(ValueOf(x[i]) - m));
    deviation = MedianOf(x, s.n);
  });
  return FloatToHost(deviation);
}

HostObject entry::Quantile(const Arguments& a) {
  QKernel kv = a.kv();
  OrderData d(a, 1, 3, a.Bool(4), a.Bool(6));
  HostObject levels = a[2];
  std::vector<QuarnFloat> p;
  const bool as_list = IsQuarnList(kv, levels);
  if (as_list) {
    for (int i = 1; i <= QuarnListLength(kv, levels); ++i) {
      p.push_back(HostToFloat(QuarnListSelect(kv, levels, i)));
      if (OutsideUnit(p.back()))
        QuarnRaiseError1(kv, "expected: list of numeric constants between 0 and 1, received %1", levels);
    }
  } else if (IsQuarnNumeric(kv, levels)) {
    p.push_back(FloatFromHost(levels));
    if (OutsideUnit(p.back())) RaiseLevels(kv, levels);
  } else {
    RaiseLevels(kv, levels);
  }
  long method = a.Int(5);
  const SampleArrays& s = d.arrays;
  std::vector<QuarnFloat> q(p.size(), UndefinedFloat());
  if (s.n > 0 && !p.empty()) {
    if (s.weights != nullptr) {
      Quantiles(s.points, s.weights, s.n, p.data(), p.size(), method, q.data());
    } else {
      const Method parameters = MethodParameters(method);
      d.Unweighted([&](auto* x) { UnweightedQuantiles(x, s.n, p.data(), p.size(), parameters, q.data()); });
    }
  }
  return Result(kv, q, as_list);
}

HostObject entry::OrderStatistic(const Arguments& a) {
  QKernel kv = a.kv();
  OrderData d(a, 1, 0, a.Bool(4), false);
  const SampleArrays& s = d.arrays;
  HostObject indices_arg = a[2];
  std::vector<long> indices;
  const bool as_list = IsQuarnList(kv, indices_arg);
  if (as_list) {
    for (int i = 1; i <= QuarnListLength(kv, indices_arg); ++i)
      indices.push_back(QuarnToQ_INT(kv, QuarnListSelect(kv, indices_arg, i)));
  } else if (IsQuarnInteger(kv, indices_arg)) {
    indices.push_back(QuarnToQ_INT(kv, indices_arg));
  } else {
    QuarnRaiseError1(kv, "expected: integer or list of integers, received %1", indices_arg);
  }
  std::vector<QuarnFloat> values(indices.size(), UndefinedFloat());
  const long n = static_cast<long>(s.n);
  if (n > 0) {
    for (long& k : indices) {
      if (k < -n || k > n || k == 0) QuarnRaiseError1(kv, "index out of range: %1", ToQuarnInteger(kv, k));
      if (k < 0) k = n + k + 1;
    }
    d.Unweighted([&](auto* a) {
      long previous = 0;
      for (size_t q = 0; q < indices.size(); ++q) {
        const long k = indices[q];
        if (q == 0) {
          values[q] = SelectKth(a, s.n, static_cast<size_t>(k - 1));
        } else if (k == previous) {
          values[q] = values[q - 1];
        } else if (k < previous) {
          values[q] = SelectKth(a, static_cast<size_t>(previous - 1), static_cast<size_t>(k - 1));
        } else {
          values[q] = SelectKth(a + previous - 1, static_cast<size_t>(n - previous + 1),
                                static_cast<size_t>(k - previous));
        }
        previous = k;
      }
    });
  }
  return Result(kv, values, as_list);
}

HostObject entry::TrimmedMean(const Arguments& a) {
  TrimData t(a);
  const SampleArrays& s = t.data.arrays;
  QuarnFloat *x = s.points, *w = s.weights;
  if (w == nullptr) {
    QuarnFloat mean;
    t.data.Unweighted([&](auto* a) {
      TrimCut cut = SelectTrimRange(a, s.n, t.lower, t.upper);
      size_t count = cut.symmetric ? cut.hi - cut.lo : (cut.hi > cut.lo ? cut.hi - cut.lo - 1 : 0);
      mean = UnweightedMean(ValuesOf(a, cut.lo, count).data(), count, t.kind);
    });
    return FloatToHost(mean);
  }
  // Weighted: the weight between the cuts L and U stays; a point straddling
  // a cut keeps the part of its weight inside.
  SortWithWeights(x, w, s.n);
  QuarnFloat total = quarn::floats::Sum(w, s.n);
  QuarnFloat lower_cut = t.lower * total, upper_cut = total - (1.0 - t.upper) * total;
  std::vector<QuarnFloat> kept_x, kept_w;
  QuarnFloat below = 0.0;
  for (size_t i = 0; i < s.n; ++i) {
    QuarnFloat above = below + w[i];
    QuarnFloat from = below > lower_cut ? below : lower_cut, to = above < upper_cut ? above : upper_cut;
    if (to > from) {
      kept_x.push_back(x[i]);
      kept_w.push_back(to - from);
    }
    below = above;
  }
  return FloatToHost(WeightedMean(kept_x.data(), kept_w.data(), kept_x.size(), t.kind));
}

HostObject entry::WinsorizedMean(const Arguments& a) {
  TrimData t(a);
  const SampleArrays& s = t.data.arrays;
  QuarnFloat *x = s.points, *w = s.weights;
  const size_t n = s.n;
  if (w == nullptr) {
    QuarnFloat mean;
    t.data.Unweighted([&](auto* a) {
      TrimCut cut = SelectTrimRange(a, n, t.lower, t.upper);
      const size_t top = cut.symmetric ? cut.hi : cut.hi - 1;  // first position replaced from above
      if (n > 0 && cut.lo < n) std::fill(a, a + cut.lo, a[cut.lo]);
      if (top >= 1 && top <= n) std::fill(a + top, a + n, a[top - 1]);
      mean = UnweightedMean(ValuesOf(a, 0, n).data(), n, t.kind);
    });
    return FloatToHost(mean);
  }
  SortWithWeights(x, w, n);
  QuarnFloat total = quarn::floats::Sum(w, n);
  QuarnFloat lower_cut = t.lower * total, upper_cut = total - (1.0 - t.upper) * total;
  QuarnFloat cumulative = 0.0;
  for (size_t i = 0; i < n; ++i) {
    cumulative += w[i];
    if (cumulative > lower_cut) {
      std::fill(x, x + i, x[i]);
      break;
    }
  }
  QuarnFloat remaining = total;
  for (size_t i = n; i-- > 0;) {
    remaining -= w[i];
    if (remaining < upper_cut) {
      std::fill(x + i + 1, x + n, x[i]);
      break;
    }
  }
  return FloatToHost(WeightedMean(x, w, n, t.kind));
}
