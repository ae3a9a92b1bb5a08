// Trimming and winsorizing between two percentiles, shuffling, and
// sharpening (neighbour counts in a square neighbourhood). Trim, winsorize
// and shuffle move the elements in their own representation, as raw records
// of the data type's size, so the result keeps the input's data type.
#include <cstring>
#include <utility>

#include "stats/manipulation/internal.h"

namespace quarnstats {
namespace {

// The data's elements in index order as records, copied into dest.
void CopyRecords(const Elements& data, unsigned char* dest) {
  for (size_t i = 0; i < data.Size(); ++i) {
    const RTableData e = data.At(i);
    std::memcpy(dest + i * data.Bytes(), &e, data.Bytes());
  }
}

// The trim of arguments 1 to 3: the data's records partitioned by their
// float keys so that positions 0 .. k1-1 hold the k1 smallest, k1 .. k2-1
// the next ones and k2 onwards the rest (undefined keys count as largest),
// with k1 and k2 the percentiles' shares of n, truncated.
struct Cut {
  HostObject data;
  RTableSettingsRecord settings;
  size_t n, bytes;
  long k1, k2;

  explicit Cut(const Arguments& a) {
    QKernel kv = a.kv();
    const Percentiles p = ReadPercentiles(a);
    data = OneDimensional(kv, a[1]);
    RTableGetSettings(kv, &settings, data);
    settings.storage = RTABLE_RECT;
    n = RTableNumElements(kv, data);
    bytes = STATS_RTableDataSize_MP(kv, settings.data_type);
    const QuarnFloat size(static_cast<double>(n)), percent(0.01);
    k1 = FloatToInt((p.lower * size) * percent);
    k2 = FloatToInt((p.upper * size) * percent);
  }

  // Copies the records into block (n of them) and partitions them there.
  void Split(QKernel kv, unsigned char* block) const {
    CopyRecords(Elements(kv, data), block);
    _DataSample sample(kv, data);
    auto* keys = static_cast<QuarnFloat*>(QuarnAlloc(kv, n * sizeof(QuarnFloat)));
    sample.CopyTo(keys, nullptr, false);
    const int size = static_cast<int>(bytes);
    STATS_SplitByNumericValue_MP(kv, keys, block, static_cast<int>(n), static_cast<int>(k1), size);
    STATS_SplitByNumericValue_MP(kv, keys + k1, block + k1 * bytes, static_cast<int>(n - k1), static_cast<int>(k2 - k1),
                                 size);
  }
};

}  // namespace
}  // namespace quarnstats

using namespace quarnstats;

HostObject entry::Trim(const Arguments& a) {
  QKernel kv = a.kv();
  const Cut cut(a);
  auto* block = static_cast<unsigned char*>(QuarnAlloc(kv, cut.n * cut.bytes));
  cut.Split(kv, block);
  return NewRTable(kv, cut.settings, block + cut.k1 * cut.bytes, 1, cut.k2 - cut.k1);
}

HostObject entry::Winsorize(const Arguments& a) {
  QKernel kv = a.kv();
  const Cut cut(a);
  HostObject result = NewRTable(kv, cut.settings, nullptr, 1, static_cast<long>(cut.n));
  auto* block = static_cast<unsigned char*>(RTableDataBlock(kv, result));
  cut.Split(kv, block);
  const long n = static_cast<long>(cut.n);
  auto record = [&](long i) { return block + i * cut.bytes; };
  for (long i = 0; i < cut.k1; ++i) std::memmove(record(i), record(cut.k1 < n ? cut.k1 : n - 1), cut.bytes);
  for (long i = cut.k2 + 1; i < n; ++i) std::memmove(record(i), record(cut.k2), cut.bytes);
  return result;
}

// Fisher-Yates from the last position down, each index drawn from the
// host's 32-bit generator shifted down to the fewest bits that cover it and
// redrawn while it is too large.
HostObject entry::Shuffle(const Arguments& a) {
  QKernel kv = a.kv();
  const Elements data(kv, OneDimensional(kv, a[1]));
  const size_t n = data.Size(), bytes = data.Bytes();
  auto* block = static_cast<unsigned char*>(QuarnAlloc(kv, n * bytes));
  CopyRecords(data, block);
  auto* scratch = static_cast<unsigned char*>(QuarnAlloc(kv, bytes));
  int shift = 0;
  uint32_t mask = 0x7fffffffu;
  for (size_t i = n > 0 ? n - 1 : 0; i >= 1; --i) {
    while (mask > i) {
      mask >>= 1;
      ++shift;
    }
    uint32_t r;
    do {
      r = static_cast<uint32_t>(RandomInt32()) >> shift;
    } while (r > i);
    STATS_SwapByteArrays_MP(block + i * bytes, block + r * bytes, scratch, static_cast<int>(bytes));
  }
  return NewRTable(kv, data.Settings(), block, 1, static_cast<long>(n));
}

HostObject entry::Sharpen(const Arguments& a) {
  QKernel kv = a.kv();
  _DataSample sample(kv, a[1], a[2]);
  // An empty second vector leaves the sample without coordinates to compare.
  if (sample.Size() > 0 && !sample.HasWeights())
    QuarnRaiseError2(kv, "vector of points and vector of weights are expected to have the same size, received %1, %2",
                     a[1], a[2]);
  const QuarnFloat h = a.Float(3);
  const SampleArrays s = ReadSample(kv, sample, a.Bool(4));
  const QuarnFloat r = h / 2.0;
  const QuarnFloat *x = s.points, *y = s.weights;
  auto* counts = static_cast<int32_t*>(QuarnAlloc(kv, (s.n > 0 ? s.n : 1) * sizeof(int32_t)));
  for (size_t i = 0; i < s.n; ++i) {
    int32_t count = 0;
    for (size_t j = i; j-- > 0 && x[i] - x[j] <= r;)
      if (fabs(y[i] - y[j]) <= r) ++count;
    for (size_t j = i + 1; j < s.n && x[j] - x[i] <= r; ++j)
      if (fabs(y[i] - y[j]) <= r) ++count;
    counts[i] = count;
  }
  RTableSettingsRecord rts;
  RTableGetDefaults(kv, &rts);
  rts.data_type = RTABLE_INTEGER32;
  return NewRTable(kv, rts, counts, 1, static_cast<long>(s.n));
}
