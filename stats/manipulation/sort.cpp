// Sorting, ranking and ordering of rtables of any data type. Elements are
// compared in their own representation (integers as integers, doubles as
// doubles, host objects through their float values) and moved as raw
// bytes, so nothing is converted to floats on the way.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "platform/numerics/numerics.h"
#include "stats/manipulation/internal.h"

namespace quarnstats {
namespace {

template <class T>
T Load(const void* p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

template <class T>
long CompareIntegers(const void* a, const void* b) {
  const T x = Load<T>(a), y = Load<T>(b);
  return x < y ? -1 : (x == y ? 0 : 1);
}

// x < y once both are rounded to the working precision (exact from 53 bits on).
bool LessAtWorkingPrecision(double x, double y) {
  const mpfr_prec_t bits = QuarnWorkingBits();
  if (bits >= 53) return x < y;
  MPFR_DECL_INIT(a, 53);
  MPFR_DECL_INIT(b, 53);
  mpfr_set_d(a, x, MPFR_RNDN);
  mpfr_set_d(b, y, MPFR_RNDN);
  mpfr_prec_round(a, bits, MPFR_RNDN);
  mpfr_prec_round(b, bits, MPFR_RNDN);
  return mpfr_less_p(a, b);
}

// Doubles made floats: an undefined a is after anything (itself included);
// order by the floats, equality as doubles.
long CompareAsFloats(double a, double b) {
  if (!std::isnan(a)) {
    if (std::isnan(b)) return -1;
    if (LessAtWorkingPrecision(a, b)) return -1;
  }
  return a == b ? 0 : 1;
}

long CompareFloat64(const void* a, const void* b) { return CompareAsFloats(Load<double>(a), Load<double>(b)); }
long CompareFloat32(const void* a, const void* b) { return CompareAsFloats(Load<float>(a), Load<float>(b)); }

QuarnFloat ObjectValue(HostObject h) {
  QuarnFloat x;
  if (!TryHostToFloat(h, &x)) RaiseNotFloat(h);
  return x;
}

// Host objects by their float values, with the same rule as CompareAsFloats.
long CompareGeneral(const void* a, const void* b) {
  const QuarnFloat x = ObjectValue(Load<HostObject>(a)), y = ObjectValue(Load<HostObject>(b));
  if (!IsUndefined(x)) {
    if (IsUndefined(y)) return -1;
    if (x < y) return -1;
  }
  return x == y ? 0 : 1;
}

// Floats with their order keys, by the same rule as CompareGeneral.
long CompareKeyed(const void* a, const void* b) {
  const KeyedFloat& x = *static_cast<const KeyedFloat*>(a);
  const KeyedFloat& y = *static_cast<const KeyedFloat*>(b);
  if (Before(x, y)) return -1;
  return x.key == y.key && mpfr_equal_p(x.x.Mpfr(), y.x.Mpfr()) ? 0 : 1;
}

// The comparison of a data type; null for the complex types.
QuarnMP_Compare ComparatorFor(int data_type) {
  switch (data_type) {
    case RTABLE_INTEGER8: return CompareIntegers<int8_t>;
    case RTABLE_INTEGER16: return CompareIntegers<int16_t>;
    case RTABLE_INTEGER32: return CompareIntegers<int32_t>;
    case RTABLE_INTEGER64: return CompareIntegers<int64_t>;
    case RTABLE_FLOAT64: return CompareFloat64;
    case RTABLE_FLOAT32: return CompareFloat32;
    case RTABLE_CXDAG:
    case RTABLE_COMPLEX: return nullptr;
    default: return CompareGeneral;
  }
}

// The rtable itself when its storage is rectangular (and its data type the
// one asked for, when one is), else a rectangular copy.
HostObject Rectangular(QKernel kv, HostObject rt, int data_type = -1) {
  RTableSettingsRecord rts;
  RTableGetSettings(kv, &rts, rt);
  if (rts.storage == RTABLE_RECT && (data_type < 0 || rts.data_type == data_type)) return rt;
  rts.storage = RTABLE_RECT;
  if (data_type >= 0) rts.data_type = data_type;
  return RTableCopy(kv, &rts, rt);
}

template <class T>
T* ZeroedScratch(QKernel kv, size_t count) {
  auto* p = static_cast<T*>(QuarnAlloc(kv, count * sizeof(T)));
  std::memset(static_cast<void*>(p), 0, count * sizeof(T));
  return p;
}

// A new rtable of the settings with the elements of the block placed in
// rank order, indexed lower .. lower + n - 1.
HostObject PlaceSorted(QKernel kv, RTableSettingsRecord* rts, void* block, const unsigned int* ranks, int n,
                       int lower) {
  int bounds[2] = {lower, lower + n - 1};
  HostObject sorted = RTableCreate(kv, rts, nullptr, bounds);
  const int size = static_cast<int>(STATS_RTableDataSize_MP(kv, rts->data_type));
  STATS_RankOrderDataBlock_MP(kv, block, 1, 0, RTableDataBlock(kv, sorted), 1, 0, n, 0, 1, size, ranks, nullptr, 1, 0);
  return sorted;
}

// Keeps the first element of every run of equal elements of a sorted block;
// returns how many are kept.
int Uniquify(void* block, int n, int data_type, int size) {
  auto* bytes = static_cast<unsigned char*>(block);
  auto same = [&](const unsigned char* a, const unsigned char* b) {
    switch (data_type) {
      case RTABLE_INTEGER8:
      case RTABLE_INTEGER16:
      case RTABLE_INTEGER32:
      case RTABLE_INTEGER64: return std::memcmp(a, b, static_cast<size_t>(size)) == 0;
      case RTABLE_FLOAT64: return Load<double>(a) == Load<double>(b);
      case RTABLE_FLOAT32: return Load<float>(a) == Load<float>(b);
      default: return CompareGeneral(a, b) == 0;
    }
  };
  int kept = 0;
  for (int i = 0; i < n; ++i) {
    unsigned char* e = bytes + static_cast<size_t>(i) * size;
    if (kept > 0 && same(bytes + static_cast<size_t>(kept - 1) * size, e)) continue;
    if (kept != i) std::memmove(bytes + static_cast<size_t>(kept) * size, e, static_cast<size_t>(size));
    ++kept;
  }
  return kept;
}

}  // namespace
}  // namespace quarnstats

using namespace quarnstats;

unsigned int STATS_RTableDataSize_MP(QKernel kv, int data_type) {
  switch (data_type) {
    case RTABLE_INTEGER8: return 1;
    case RTABLE_INTEGER16: return 2;
    case RTABLE_INTEGER32:
    case RTABLE_FLOAT32: return 4;
    case RTABLE_INTEGER64:
    case RTABLE_FLOAT64: return 8;
    case RTABLE_CXDAG: return 2 * sizeof(HostObject);
    case RTABLE_COMPLEX: return 16;
    default: return sizeof(HostObject);
  }
}

void STATS_RankSortDataBlock_MP(QKernel kv, void* block, unsigned int* ranks, int n, int data_type, int ascending) {
  QuarnMP_Compare compare = ComparatorFor(data_type);
  if (compare == nullptr) RaisePlain(kv, "unable to compare complex numbers");
  NagError fail{};
  fail.print = 0;
  fail.handler = nullptr;
  const size_t count = n > 0 ? static_cast<size_t>(n) : 0;
  const Nag_SortOrder order = ascending == 1 ? Nag_Ascending : Nag_Descending;
  // Host objects that are all floats are ranked through their order keys:
  // the same order, but each comparison reads two records side by side
  // instead of two objects anywhere in the heap.
  const auto* objects = static_cast<const HostObject*>(block);
  if (compare == CompareGeneral && std::all_of(objects, objects + count, IsSoftwareFloat)) {
    std::vector<KeyedFloat> keyed(count);
    for (size_t i = 0; i < count; ++i) {
      QuarnFloat x = FloatFromHost(objects[i]);
      keyed[i] = {OrderKey(x), x};
    }
    QuarnMP_m01dsc(keyed.data(), count, sizeof(KeyedFloat), CompareKeyed, order, ranks, &fail);
  } else {
    QuarnMP_m01dsc(block, count, STATS_RTableDataSize_MP(kv, data_type), compare, order, ranks, &fail);
  }
  if (fail.code != 0) RaisePlain(kv, fail.message);
}

void STATS_RankOrderDataBlock_MP(QKernel kv, void* source, int source_stride, int source_offset, void* target,
                                 int target_stride, int target_offset, int count, int rank_base, int row_length,
                                 int element_size, const unsigned int* ranks, unsigned int* occupied, int ascending,
                                 int check_duplicates) {
  auto* from = static_cast<unsigned char*>(source);
  auto* to = static_cast<unsigned char*>(target);
  const size_t row_bytes = static_cast<size_t>(row_length) * static_cast<size_t>(element_size);
  for (int i = 0; i < count; ++i) {
    // Ranks come from 32-bit integer rtables: read them signed.
    const long rank = static_cast<int32_t>(ranks[i]);
    const long r = rank - rank_base;
    if (r < 0 || r >= count) QuarnRaiseError1(kv, "invalid rank: %1", ToQuarnInteger(kv, rank));
    const long p = ascending != 0 ? r : count - 1 - r;
    std::memcpy(to + (static_cast<size_t>(target_offset) + static_cast<size_t>(p) * target_stride) * element_size,
                from + (static_cast<size_t>(source_offset) + static_cast<size_t>(i) * source_stride) * element_size,
                row_bytes);
    if (occupied != nullptr) {
      if (check_duplicates != 0 && occupied[p] == 1)
        QuarnRaiseError1(kv, "duplicate rank: %1", ToQuarnInteger(kv, rank));
      occupied[p] = 1;
    }
  }
}

HostObject entry::RankSort(const Arguments& a) {
  QKernel kv = a.kv();
  HostObject data = Rectangular(kv, OneDimensional(kv, a[1]));
  const int n = static_cast<int>(RTableNumElements(kv, data));
  const int lower = RTableLowerBound(kv, data, 1);
  RTableSettingsRecord rts;
  RTableGetSettings(kv, &rts, data);
  auto* ranks = ZeroedScratch<unsigned int>(kv, static_cast<size_t>(n));
  STATS_RankSortDataBlock_MP(kv, RTableDataBlock(kv, data), ranks, n, rts.data_type, a.Bool(3) ? 1 : 0);
  if (a.Int(2) != 0) {
    for (int i = 0; i < n; ++i) ranks[i] += 1;
    RTableSettingsRecord out;
    RTableGetDefaults(kv, &out);
    out.num_dimensions = 1;
    out.data_type = RTABLE_INTEGER32;
    out.storage = RTABLE_RECT;
    int bounds[2] = {lower, lower + n - 1};
    return RTableCreate(kv, &out, ranks, bounds);
  }
  HostObject sorted = PlaceSorted(kv, &rts, RTableDataBlock(kv, data), ranks, n, lower);
  RTableSettingsRecord general = rts;
  general.data_type = RTABLE_DAG;
  HostObject objects = RTableCopy(kv, &general, sorted);
  const auto* values = static_cast<const HostObject*>(RTableDataBlock(kv, objects));
  HostObject table = QuarnTableAlloc(kv);
  long run = 0;
  for (int i = 0; i < n; ++i) {
    if (i > 0 && CompareGeneral(&values[i - 1], &values[i]) == 0) continue;
    if (!IsQuarnNumeric(kv, values[i])) QuarnRaiseError1(kv, "expected: numeric data, received: %1", values[i]);
    QuarnTableAssign(kv, table, values[i], ToQuarnInteger(kv, ++run));
  }
  return table;
}

HostObject entry::Sort(const Arguments& a) {
  QKernel kv = a.kv();
  HostObject data = OneDimensional(kv, a[1]);
  RTableSettingsRecord rts;
  RTableGetSettings(kv, &rts, data);
  if (rts.storage != RTABLE_RECT)
    QuarnRaiseError1(kv, "invalid storage type, expected: dense array, received %1", data);
  const int n = static_cast<int>(RTableNumElements(kv, data));
  auto* ranks = ZeroedScratch<unsigned int>(kv, static_cast<size_t>(n));
  STATS_RankSortDataBlock_MP(kv, RTableDataBlock(kv, data), ranks, n, rts.data_type, a.Bool(2) ? 1 : 0);
  HostObject sorted = PlaceSorted(kv, &rts, RTableDataBlock(kv, data), ranks, n, 1);
  if (!a.Bool(3)) return sorted;
  void* block = RTableDataBlock(kv, sorted);
  const int kept = Uniquify(block, n, rts.data_type, static_cast<int>(STATS_RTableDataSize_MP(kv, rts.data_type)));
  int bounds[2] = {1, kept};
  return RTableCreate(kv, &rts, block, bounds);
}

HostObject entry::Order(const Arguments& a) {
  QKernel kv = a.kv();
  HostObject source = a[1], target = a[2];
  if (!IsQuarnRTable(kv, source)) QuarnRaiseError1(kv, "expected rtables as the source, received: %1", source);
  if (!IsQuarnRTable(kv, target)) QuarnRaiseError1(kv, "expected rtables as the target, received: %1", target);
  const int dims = RTableNumDimensions(kv, source);
  int n, c;
  if (dims == 1) {
    n = static_cast<int>(RTableNumElements(kv, source));
    c = 1;
  } else if (dims == 2) {
    n = static_cast<int>(RTableSize(kv, source));
    c = std::max(0, RTableUpperBound(kv, source, 2) - RTableLowerBound(kv, source, 2) + 1);
  } else {
    QuarnRaiseError1(kv, "only 1- and 2- dimensional rtables can be ordered, received: %1", source);
  }
  HostObject ranks = a[5];
  if (!IsQuarnRTable(kv, ranks) || RTableNumDimensions(kv, ranks) != 1)
    QuarnRaiseError1(kv, "invalid ranks data, expected: one-dimensional array, received %1", ranks);
  if (RTableNumElements(kv, ranks) != static_cast<size_t>(n))
    RaisePlain(kv, "data sample and ranks table are expected to have the same number of rows/elements");
  source = Rectangular(kv, source);
  ranks = Rectangular(kv, ranks, RTABLE_INTEGER32);
  RTableSettingsRecord from, to;
  RTableGetSettings(kv, &from, source);
  RTableGetSettings(kv, &to, target);
  if (from.data_type != to.data_type) RaisePlain(kv, "the source and the target must have the same datatype");
  const int size = static_cast<int>(STATS_RTableDataSize_MP(kv, from.data_type));
  const size_t elements = static_cast<size_t>(n) * static_cast<size_t>(c);
  auto* buffer = ZeroedScratch<unsigned char>(kv, elements * static_cast<size_t>(size));
  auto* occupied = ZeroedScratch<unsigned int>(kv, static_cast<size_t>(n));
  const bool uniquify = a.Bool(4);
  if (uniquify && c != 1) RaisePlain(kv, "only one-dimensional rtabled can be uniquified");
  // Row and column strides by element order: C order keeps rows together.
  const int from_row = from.order != RTABLE_FORTRAN ? c : 1, from_column = from.order != RTABLE_FORTRAN ? 1 : n;
  const int to_row = to.order != RTABLE_FORTRAN ? c : 1, to_column = to.order != RTABLE_FORTRAN ? 1 : n;
  const int ascending = a.Bool(3) ? 1 : 0;
  const auto* rank_block = static_cast<const unsigned int*>(RTableDataBlock(kv, ranks));
  void* block = RTableDataBlock(kv, source);
  if (from_row == c && to_row == c) {
    STATS_RankOrderDataBlock_MP(kv, block, c, 0, buffer, c, 0, n, 1, c, size, rank_block, occupied, ascending,
                                uniquify ? 0 : 1);
  } else {
    for (int j = 0; j < c; ++j) {
      STATS_RankOrderDataBlock_MP(kv, block, from_row, j * from_column, buffer, to_row, j * to_column, n, 1, 1, size,
                                  rank_block, j == 0 ? occupied : nullptr, ascending, uniquify ? 0 : 1);
    }
  }
  int kept = n;
  if (uniquify) {
    kept = 0;
    for (int p = 0; p < n; ++p) {
      if (occupied[p] == 0) continue;
      if (kept != p) std::memmove(buffer + static_cast<size_t>(kept) * size, buffer + static_cast<size_t>(p) * size,
                                  static_cast<size_t>(size));
      ++kept;
    }
  }
  to.num_dimensions = dims;
  const int l1 = RTableLowerBound(kv, target, 1);
  const int l2 = RTableNumDimensions(kv, target) >= 2 ? RTableLowerBound(kv, target, 2) : 1;
  int bounds[4] = {l1, l1 + kept - 1, l2, l2 + c - 1};
  return RTableCreate(kv, &to, buffer, bounds);
}
