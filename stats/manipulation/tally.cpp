// Tallies of distinct values, counts in equal subintervals of ranges,
// frequency tables, and linear binning of a sample onto an equally spaced
// grid.
#include <memory>
#include <vector>

#include "stats/manipulation/internal.h"

using quarn::floats::ExactSum;

namespace quarnstats {
namespace {

// The data of a tally (a one-dimensional rtable) and its weights (a sample,
// empty for an unweighted tally) of as many elements.
HostObject TallyData(QKernel kv, HostObject data) {
  if (!IsQuarnRTable(kv, data) || RTableNumDimensions(kv, data) != 1)
    QuarnRaiseError1(kv, "invalid data sample, expected: one-dimensional ray, received %1", data);
  return data;
}

struct TallyInput {
  HostObject data;
  _DataSample weights;
  TallyInput(QKernel kv, HostObject d, HostObject w) : data(TallyData(kv, d)), weights(kv, w) {
    if (weights.Size() != 0 && weights.Size() != RTableNumElements(kv, data))
      QuarnRaiseError2(kv, "vector of points and vector of weights are expected to have the same size, received %1, %2",
                       data, w);
  }
  bool Weighted() const { return weights.Size() != 0; }
  HostObject Weight(size_t i) const { return FloatToHost(weights.Points()[i]); }
};

// ------------------------------------------------- counting into subintervals

// The cell of x among the nondecreasing boundaries b[0 .. length-1]
// (b[0] <= x): the last i with b[i] <= x, which is what bisection finds
// (x below b[half]: the first half, else half plus the cell in the second
// half). It is found from a guess in double precision, guess = (x - low) *
// scale, moved by exact comparisons until b[i] <= x < b[i + 1].
long Cell(mpfr_srcptr x, const QuarnFloat* b, long length, double low, double scale) {
  const double t = (mpfr_get_d(x, MPFR_RNDN) - low) * scale;
  long i = t >= 0 && t < static_cast<double>(length) ? static_cast<long>(t) : (t >= 0 ? length - 1 : 0);
  while (i > 0 && mpfr_cmp(x, b[i].Mpfr()) < 0) --i;
  while (i + 1 < length && mpfr_cmp(x, b[i + 1].Mpfr()) >= 0) ++i;
  return i;
}

// k ranges split into m equal parts each, and the count (or the weight
// sum) of the points in every part.
class Subintervals {
 public:
  Subintervals(QKernel kv, long m) : kv_(kv), m_(m) {}

  // Adds the range (a host range object), splitting it into m parts.
  void AddRange(HostObject range) {
    const HostObject* ends = reinterpret_cast<const HostObject*>(range);
    const QuarnFloat low = HostToFloat(ends[1]), high = HostToFloat(ends[2]);
    const bool infinite = mpfr_inf_p(low.Mpfr()) || mpfr_inf_p(high.Mpfr());
    if (infinite && m_ != 1) QuarnRaiseError1(kv_, "unable to split the range %1", range);
    bounds_.push_back(low);
    if (m_ > 1) {
      const QuarnFloat step = (high - low) / QuarnFloat(m_);
      for (long i = 1; i < m_; ++i) bounds_.push_back(low + step * QuarnFloat(i));
    }
    bounds_.push_back(high);
    // The guess of Cell; for an infinite range (a single cell) any will do.
    low_.push_back(low.ToDouble());
    scale_.push_back(infinite ? 0.0 : static_cast<double>(m_) / (high - low).ToDouble());
  }

  long Ranges() const { return static_cast<long>(bounds_.size()) / (m_ + 1); }
  const QuarnFloat& Bound(long range, long i) const { return bounds_[range * (m_ + 1) + i]; }

  // Counts the n points (with their weights, when given) into the cells.
  void Count(const QuarnFloat* x, const QuarnFloat* w, size_t n) {
    const long cells = Ranges() * m_;
    counts_.assign(static_cast<size_t>(cells), 0);
    if (w != nullptr) {
      sums_.clear();
      for (long c = 0; c < cells; ++c) sums_.push_back(std::make_unique<ExactSum>(0, 0));
    }
    const long ranges = Ranges();
    for (size_t i = 0; i < n; ++i) {
      mpfr_srcptr v = x[i].Mpfr();
      if (mpfr_nan_p(v)) continue;  // in no range
      for (long j = 0; j < ranges; ++j) {
        const QuarnFloat* b = &bounds_[j * (m_ + 1)];
        // The high end belongs to the last cell; below it, b[0] <= x < b[m].
        const int to_high = mpfr_cmp(v, b[m_].Mpfr());
        long cell;
        if (to_high == 0) {
          cell = m_ - 1;
        } else if (to_high < 0 && mpfr_cmp(v, b[0].Mpfr()) >= 0) {
          cell = Cell(v, b, m_, low_[j], scale_[j]);
        } else {
          continue;
        }
        if (w != nullptr) {
          sums_[j * m_ + cell]->Add(w[i]);
        } else {
          ++counts_[j * m_ + cell];
        }
      }
    }
  }

  bool Weighted() const { return !sums_.empty(); }
  long CountOf(long cell) const { return counts_[cell]; }
  QuarnFloat SumOf(long cell) const { return sums_[cell]->Total(); }
  HostObject Value(long cell) const {
    return Weighted() ? FloatToHost(SumOf(cell)) : ToQuarnInteger(kv_, CountOf(cell));
  }
  HostObject RangeObject(long range, long i) const {
    return NewHostObject(kv_, kTagRange, FloatToHost(Bound(range, i)), FloatToHost(Bound(range, i + 1)));
  }

 private:
  QKernel kv_;
  long m_;
  std::vector<QuarnFloat> bounds_;  // m + 1 per range
  std::vector<double> low_, scale_;  // per range
  std::vector<long> counts_;
  std::vector<std::unique_ptr<ExactSum>> sums_;
};

// The points and weights of arguments 1 and 2, without missing values when
// the flag (argument 3) is true.
struct CountedSample {
  _DataSample sample;
  SampleArrays arrays;
  explicit CountedSample(const Arguments& a)
      : sample(a.kv(), a[1], a[2]), arrays(ReadSample(a.kv(), sample, a.Bool(3))) {}
};

long Subdivisions(const Arguments& a) {
  const HostObject m = a[5];
  const int32_t parts = QuarnToInteger32(a.kv(), m);
  if (parts < 1)
    QuarnRaiseError1(a.kv(), "the number of subintervals must be a positive integer, received: %1", m);
  return parts;
}

void CheckRange(QKernel kv, HostObject entry, const char* message, HostObject shown) {
  if (!HasTag(entry, kTagRange)) QuarnRaiseError1(kv, message, shown);
}

// A new vector 1 .. n of the data type (sfloat for general data).
HostObject NewVector(QKernel kv, int data_type, long n) {
  RTableSettingsRecord rts;
  RTableGetDefaults(kv, &rts);
  rts.data_type = data_type;
  rts.storage = RTABLE_RECT;
  if (data_type == RTABLE_DAG) rts.element_type_name = ToQuarnName(kv, "sfloat", 1);
  return NewRTable(kv, rts, nullptr, 1, n);
}

}  // namespace
}  // namespace quarnstats

using namespace quarnstats;

HostObject entry::Tally(const Arguments& a) {
  QKernel kv = a.kv();
  TallyInput in(kv, a[1], a[2]);
  const Elements data(kv, in.data);
  HostObject table = QuarnTableAlloc(kv);
  const HostObject one = ToQuarnInteger(kv, 1);
  for (size_t i = 0; i < data.Size(); ++i) {
    const HostObject key = data.Object(i);
    const HostObject add = in.Weighted() ? in.Weight(i) : one;
    const HostObject old = QuarnTableHasEntry(kv, table, key) ? QuarnTableSelect(kv, table, key) : nullptr;
    QuarnTableAssign(kv, table, key, old != nullptr ? QuarnNumericAdd(kv, old, add) : add);
  }
  return table;
}

// Runs of equal adjacent values. Two elements are the same value when the
// host's tables take them for the same key (the host keeps one object per
// number, so this is its identity), tested against a table that holds the
// run's value alone.
HostObject entry::TallySorted(const Arguments& a) {
  QKernel kv = a.kv();
  TallyInput in(kv, a[1], a[2]);
  HostObject data = in.data;
  RTableSettingsRecord rts;
  RTableGetSettings(kv, &rts, data);
  if (rts.data_type != RTABLE_DAG || rts.storage != RTABLE_RECT) {
    rts.data_type = RTABLE_DAG;
    rts.storage = RTABLE_RECT;
    data = RTableCopy(kv, &rts, data);
  }
  const size_t n = RTableNumElements(kv, data);
  const auto* values = static_cast<const HostObject*>(RTableDataBlock(kv, data));
  HostObject table = QuarnTableAlloc(kv);
  if (n == 0) return table;
  const QuarnFloat* w = in.Weighted() ? in.weights.Points() : nullptr;
  HostObject current = values[0], run = QuarnTableAlloc(kv);
  QuarnTableAssign(kv, run, current, ToQuarnBoolean(kv, 1));
  long count = 1;
  QuarnFloat sum = w != nullptr ? w[0] : QuarnFloat();
  auto store = [&] {
    QuarnTableAssign(kv, table, current, w != nullptr ? FloatToHost(sum) : ToQuarnInteger(kv, count));
  };
  for (size_t i = 1; i < n; ++i) {
    if (values[i] == current || QuarnTableHasEntry(kv, run, values[i])) {
      ++count;
      if (w != nullptr) sum += w[i];
      continue;
    }
    store();
    current = values[i];
    run = QuarnTableAlloc(kv);
    QuarnTableAssign(kv, run, current, ToQuarnBoolean(kv, 1));
    count = 1;
    if (w != nullptr) sum = w[i];
  }
  store();
  return table;
}

HostObject entry::TallyInto(const Arguments& a) {
  QKernel kv = a.kv();
  CountedSample s(a);
  const HostObject ranges = a[4];
  if (!IsQuarnList(kv, ranges)) QuarnRaiseError1(kv, "expected 4th argument to be of type list(range), received: %1", ranges);
  const int k = QuarnListLength(kv, ranges);
  const long m = Subdivisions(a);
  Subintervals cells(kv, m);
  for (int j = 1; j <= k; ++j) {
    const HostObject range = QuarnListSelect(kv, ranges, j);
    CheckRange(kv, range, "invalid argument; expected a positive integer or a list of ranges, received: %1", ranges);
    cells.AddRange(range);
  }
  cells.Count(s.arrays.points, s.arrays.weights, s.arrays.n);
  HostObject list = QuarnListAlloc(kv, static_cast<int>(k * m));
  for (long j = 0; j < k; ++j) {
    for (long i = 0; i < m; ++i) {
      const HostObject equation = NewHostObject(kv, kTagEquation, cells.RangeObject(j, i), cells.Value(j * m + i));
      QuarnListAssign(kv, list, static_cast<int>(1 + j * m + i), equation);
    }
  }
  return list;
}

HostObject entry::FrequencyData(const Arguments& a) {
  QKernel kv = a.kv();
  CountedSample s(a);
  const HostObject range = a[4];
  CheckRange(kv, range, "expected 4th argument to be of type range, received: %1", range);
  const long m = Subdivisions(a);
  Subintervals cells(kv, m);
  cells.AddRange(range);
  cells.Count(s.arrays.points, s.arrays.weights, s.arrays.n);
  RTableSettingsRecord objects;
  RTableGetDefaults(kv, &objects);
  HostObject intervals = NewRTable(kv, objects, nullptr, 1, m);
  const int type = cells.Weighted() ? RTABLE_DAG : RTABLE_INTEGER32;
  HostObject frequencies = NewVector(kv, type, m), cumulative = NewVector(kv, type, m);
  auto* ranges = static_cast<HostObject*>(RTableDataBlock(kv, intervals));
  for (long i = 0; i < m; ++i) ranges[i] = cells.RangeObject(0, i);
  if (cells.Weighted()) {
    auto* f = static_cast<QuarnFloat*>(RTableDataBlock(kv, frequencies));
    auto* c = static_cast<QuarnFloat*>(RTableDataBlock(kv, cumulative));
    for (long i = 0; i < m; ++i) {
      f[i] = cells.SumOf(i);
      c[i] = i == 0 ? f[0] : c[i - 1] + f[i];
    }
  } else {
    auto* f = static_cast<int32_t*>(RTableDataBlock(kv, frequencies));
    auto* c = static_cast<int32_t*>(RTableDataBlock(kv, cumulative));
    for (long i = 0; i < m; ++i) {
      f[i] = static_cast<int32_t>(cells.CountOf(i));
      c[i] = i == 0 ? f[0] : c[i - 1] + f[i];
    }
  }
  HostObject list = QuarnListAlloc(kv, 3);
  QuarnListAssign(kv, list, 1, intervals);
  QuarnListAssign(kv, list, 2, frequencies);
  QuarnListAssign(kv, list, 3, cumulative);
  return list;
}

HostObject entry::Discretize(const Arguments& a) {
  QKernel kv = a.kv();
  _DataSample sample(kv, a[1], a[7]);
  const HostObject nodes = a[2];
  const int32_t n = QuarnToInteger32(kv, nodes);
  const QuarnFloat left = a.Float(3), right = a.Float(4), p = a.Float(5);
  const bool quiet = a.Bool(6);
  if (!(left < right))
    QuarnRaiseError2(kv, "left boundary must be smaller than right boundary, received: %1 and %2", FloatToHost(left),
                     FloatToHost(right));
  if (n < 1) QuarnRaiseError1(kv, "the number of grid nodes must be a positive integer, received: %1", nodes);
  HostObject grid = NewVector(kv, RTABLE_DAG, n);
  auto* out = static_cast<QuarnFloat*>(RTableDataBlock(kv, grid));
  for (int32_t j = 0; j < n; ++j) out[j] = QuarnFloat();
  STATS_Discretize_MP(kv, n, left, right, p, quiet ? 1 : 0, static_cast<int>(sample.Size()), sample.Points(),
                      sample.Weights(), out);
  return grid;
}

// Linear binning: each point x in [a, b] at u = (x - a)(n - 1)/(b - a) grid
// steps splits its weight between the two nodes around it in proportion to
// its nearness; then every node is scaled by p / (total weight binned), with
// p = n/(b - a) when 0 is given. Each node's mass is a plain sum of its
// shares, rounded once.
void STATS_Discretize_MP(QKernel kv, int n, QuarnFloat a, QuarnFloat b, QuarnFloat p, int quiet, int count,
                         QuarnFloat* points, QuarnFloat* weights, QuarnFloat* out) {
  if (n < 1) return;
  std::vector<std::unique_ptr<ExactSum>> mass;
  for (int j = 0; j < n; ++j) mass.push_back(std::make_unique<ExactSum>(0, 0));
  // The shares are kept alive here until the sums are taken.
  std::vector<QuarnFloat> shares;
  shares.reserve(2 * static_cast<size_t>(count > 0 ? count : 0));
  ExactSum total(0, 0);
  const QuarnFloat one = 1.0;
  const QuarnFloat last = QuarnFloat(n - 1), scale = last / (b - a);
  if (p == 0) p = 1.0 / ((b - a) / QuarnFloat(n));
  bool missing = false;
  for (int i = 0; i < count; ++i) {
    const QuarnFloat& x = points[i];
    if (IsQuarnFloatUndefined(x) && quiet == 0) missing = true;
    if (!(a <= x && x <= b)) continue;
    const QuarnFloat& w = weights != nullptr && !IsQuarnFloatUndefined(weights[i]) ? weights[i] : one;
    total.Add(w);
    // A point at b may land a rounding above the last node.
    QuarnFloat u = (x - a) * scale;
    if (u > last) u = last;
    const QuarnFloat below = floor(u);
    if (below == u) {
      mass[FloatToInt(u)]->Add(w);
      continue;
    }
    const QuarnFloat above = ceil(u);
    shares.push_back((one - u + below) * w);
    mass[FloatToInt(below)]->Add(shares.back());
    shares.push_back((one - above + u) * w);
    mass[FloatToInt(above)]->Add(shares.back());
  }
  if (missing) QuarnUserInfo(kv, 1, "Statistics", "missing data has been detected in the dataset, discarded.");
  const QuarnFloat factor = p / total.Total();
  for (int j = 0; j < n; ++j) out[j] = mass[j]->Total() * factor;
}
