// Sorting, ranking and ordering of every data type against std::sort of the
// same values; rank and order inverting each other; the selection and the
// sort with weights keeping their invariants on random data with ties and
// missing values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "platform/host/host.h"
#include "stats/descriptive/descriptive.h"
#include "stats/descriptive/internal.h"
#include "stats/manipulation/manipulation.h"
#include "support/support.h"

namespace host = quarn::host;
using namespace quarnstats;
using quarn::test::kv;
using quarn::test::ScopedDigits;

namespace {

// A value of the test data: a double (NaN = missing), held by every data
// type in its own representation.
HostObject MakeVector(int data_type, const std::vector<double>& values) {
  RTableSettingsRecord rts;
  RTableGetDefaults(kv(), &rts);
  rts.data_type = data_type;
  int bounds[2] = {1, static_cast<int>(values.size())};
  HostObject rt = RTableCreate(kv(), &rts, nullptr, bounds);
  for (size_t i = 0; i < values.size(); ++i) {
    RTableData e{};
    const double v = values[i];
    switch (data_type) {
      case RTABLE_INTEGER8: e.int8 = static_cast<int8_t>(v); break;
      case RTABLE_INTEGER16: e.int16 = static_cast<int16_t>(v); break;
      case RTABLE_INTEGER32: e.int32 = static_cast<int32_t>(v); break;
      case RTABLE_INTEGER64: e.int64 = static_cast<int64_t>(v); break;
      case RTABLE_FLOAT64: e.float64 = v; break;
      case RTABLE_FLOAT32: e.float32 = static_cast<float>(v); break;
      default:
        // General data mixes integers, rationals and floats.
        if (std::isnan(v)) {
          e.dag = host::FloatUndefined();
        } else if (v == std::floor(v) && i % 3 == 0) {
          e.dag = host::MakeInteger(static_cast<long>(v));
        } else if (i % 3 == 1) {
          e.dag = host::MakeRational(host::MakeInteger(static_cast<long>(v * 4)), host::MakeInteger(4));
        } else {
          e.dag = host::MakeFloat(v);
        }
    }
    int index = static_cast<int>(i) + 1;
    RTableAssign(kv(), rt, &index, e);
  }
  return rt;
}

double ElementValue(HostObject rt, int index, int data_type) {
  RTableData e = RTableSelect(kv(), rt, &index);
  switch (data_type) {
    case RTABLE_INTEGER8: return e.int8;
    case RTABLE_INTEGER16: return e.int16;
    case RTABLE_INTEGER32: return e.int32;
    case RTABLE_INTEGER64: return static_cast<double>(e.int64);
    case RTABLE_FLOAT64: return e.float64;
    case RTABLE_FLOAT32: return e.float32;
    default: return mpfr_get_d(host::FloatMpfr(host::Evalf(e.dag)), MPFR_RNDN);
  }
}

std::vector<double> Elements(HostObject rt, int data_type) {
  std::vector<double> out;
  for (int i = RTableLowerBound(kv(), rt, 1); i <= RTableUpperBound(kv(), rt, 1); ++i)
    out.push_back(ElementValue(rt, i, data_type));
  return out;
}

HostObject Call(HostObject (*entry)(QKernel, HostObject), const std::vector<HostObject>& args) {
  return entry(kv(), host::MakeSeq(args));
}

// Equal as values, NaN equal to NaN.
bool Same(const std::vector<double>& a, const std::vector<double>& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (!(a[i] == b[i] || (std::isnan(a[i]) && std::isnan(b[i])))) return false;
  }
  return true;
}

bool NumberBefore(double a, double b) { return !std::isnan(a) && (std::isnan(b) || a < b); }

}  // namespace

TEST(SortRankOrder, EveryDataTypeSortsRanksAndOrdersLikeStdSort) {
  ScopedDigits digits(30);
  std::mt19937 rng(7);
  for (int type : {RTABLE_DAG, RTABLE_INTEGER8, RTABLE_INTEGER16, RTABLE_INTEGER32, RTABLE_INTEGER64, RTABLE_FLOAT64,
                   RTABLE_FLOAT32}) {
    const bool can_miss = type == RTABLE_DAG || type == RTABLE_FLOAT64 || type == RTABLE_FLOAT32;
    for (size_t n : {0, 1, 2, 7, 64, 301}) {
      SCOPED_TRACE("data type " + std::to_string(type) + ", n " + std::to_string(n));
      std::vector<double> values(n);
      for (double& v : values) {
        v = static_cast<double>(static_cast<int>(rng() % 41) - 20) / (type >= RTABLE_FLOAT64 ? 4.0 : 1.0);
        if (can_miss && rng() % 9 == 0) v = std::nan("");
      }
      HostObject data = MakeVector(type, values);
      std::vector<double> ascending = values;
      std::stable_sort(ascending.begin(), ascending.end(), NumberBefore);
      std::vector<double> descending(ascending.rbegin(), ascending.rend());
      std::vector<double> unique;
      for (double v : ascending) {
        if (unique.empty() || !(unique.back() == v)) unique.push_back(v);  // NaN never equal
      }
      EXPECT_TRUE(Same(Elements(Call(STATS_QuarnSort_MP, {data, host::True(), host::False()}), type), ascending));
      EXPECT_TRUE(Same(Elements(Call(STATS_QuarnSort_MP, {data, host::False(), host::False()}), type), descending));
      EXPECT_TRUE(Same(Elements(Call(STATS_QuarnSort_MP, {data, host::True(), host::True()}), type), unique));
      // Ranks: a permutation that sorts, equal values in input order; the
      // order entry placing the data by those ranks gives the sorted data.
      HostObject ranks = Call(STATS_QuarnRankSort_MP, {data, host::MakeInteger(1), host::True()});
      std::vector<double> r = Elements(ranks, RTABLE_INTEGER32);
      std::vector<double> placed(n);
      std::vector<int> seen(n, 0);
      for (size_t i = 0; i < n; ++i) {
        ASSERT_GE(r[i], 1);
        ASSERT_LE(r[i], static_cast<double>(n));
        placed[static_cast<size_t>(r[i]) - 1] = values[i];
        ++seen[static_cast<size_t>(r[i]) - 1];
        for (size_t j = 0; j < i; ++j) {
          if (values[j] == values[i]) {
            EXPECT_LT(r[j], r[i]) << "ties keep their order";
          }
        }
      }
      EXPECT_TRUE(std::all_of(seen.begin(), seen.end(), [](int s) { return s == 1; }));
      EXPECT_TRUE(Same(placed, ascending));
      HostObject ordered = Call(STATS_QuarnOrder_MP, {data, data, host::True(), host::False(), ranks});
      EXPECT_TRUE(Same(Elements(ordered, type), ascending));
      HostObject reversed = Call(STATS_QuarnOrder_MP, {data, data, host::False(), host::False(), ranks});
      EXPECT_TRUE(Same(Elements(reversed, type), std::vector<double>(ascending.rbegin(), ascending.rend())));
    }
  }
}

TEST(SortRankOrder, SelectionAndWeightedSortKeepTheirInvariants) {
  ScopedDigits digits(20);
  std::mt19937 rng(11);
  for (int round = 0; round < 300; ++round) {
    const size_t n = 1 + rng() % 40;
    std::vector<double> keys(n);
    for (double& v : keys) v = rng() % 7 == 0 ? std::nan("") : static_cast<double>(rng() % 15);
    std::vector<double> sorted = keys;
    std::stable_sort(sorted.begin(), sorted.end(), NumberBefore);
    const int k = static_cast<int>(rng() % (n + 4)) - 2;  // also out of range: clamped
    const size_t kk = static_cast<size_t>(std::clamp(k, 0, static_cast<int>(n) - 1));
    SCOPED_TRACE("round " + std::to_string(round) + ", n " + std::to_string(n) + ", k " + std::to_string(k));

    // Records of 3 bytes (moved through the scratch swap) hold the index.
    std::vector<QuarnFloat> x(n);
    std::vector<unsigned char> records(3 * n);
    for (size_t i = 0; i < n; ++i) {
      x[i] = QuarnFloat(keys[i]);
      records[3 * i] = static_cast<unsigned char>(i);
      records[3 * i + 1] = static_cast<unsigned char>(255 - i);
      records[3 * i + 2] = 7;
    }
    STATS_SplitByNumericValue_MP(kv(), x.data(), records.data(), static_cast<int>(n), k, 3);
    std::vector<double> after(n);
    for (size_t i = 0; i < n; ++i) {
      after[i] = x[i].ToDouble();
      const size_t from = records[3 * i];
      ASSERT_LT(from, n);
      EXPECT_TRUE(Same({after[i]}, {keys[from]})) << "record " << i << " left its key";
      EXPECT_EQ(records[3 * i + 1], 255 - from);
      EXPECT_EQ(records[3 * i + 2], 7);
    }
    EXPECT_TRUE(Same({after[kk]}, {sorted[kk]}));
    for (size_t i = 0; i < n; ++i) {
      EXPECT_FALSE(i < kk && NumberBefore(after[kk], after[i])) << i;
      EXPECT_FALSE(i > kk && NumberBefore(after[i], after[kk])) << i;
    }
    std::vector<QuarnFloat> y(n);
    for (size_t i = 0; i < n; ++i) y[i] = QuarnFloat(keys[i]);
    EXPECT_TRUE(Same({SelectKth(y.data(), n, kk).ToDouble()}, {sorted[kk]}));

    // The weighted sort: sorted points, each weight still with its point.
    std::vector<QuarnFloat> p(n), w(n);
    for (size_t i = 0; i < n; ++i) p[i] = QuarnFloat(keys[i]), w[i] = QuarnFloat(static_cast<double>(i));
    SortWithWeights(p.data(), w.data(), n);
    std::vector<double> got(n);
    for (size_t i = 0; i < n; ++i) {
      got[i] = p[i].ToDouble();
      EXPECT_TRUE(Same({got[i]}, {keys[static_cast<size_t>(w[i].ToDouble())]}));
    }
    EXPECT_TRUE(Same(got, sorted));
  }
}

TEST(SortRankOrder, KeyedPathsOrderExtremeValuesLikeThePlainOnes) {
  // Far beyond the double range, ties in the top 53 bits, signed zeros,
  // infinities and missing values: the selections and sorts that compare
  // order keys first must do exactly what the plain ones do.
  ScopedDigits digits(40);
  std::mt19937 rng(5);
  const char* pool[] = {"1e-400", "2e-400", "1e-5000", "-1e-5000", "1e400", "3e5000", "-3e5000", "0", "-0.",
                        "1.0000000000000000000000001", "1.0000000000000000000000002", "1", "-1", "7.25"};
  for (int round = 0; round < 40; ++round) {
    const size_t n = 64 + rng() % 200;
    std::vector<QuarnFloat> x(n);
    for (QuarnFloat& v : x) {
      const size_t pick = rng() % 17;
      v = pick < 14 ? QuarnFloat(host::ParseFloat(pool[pick]))
                    : QuarnFloat(pick == 14 ? HUGE_VAL : (pick == 15 ? -HUGE_VAL : std::nan("")));
    }
    const size_t k = rng() % n;
    std::vector<QuarnFloat> plain = x;
    SelectKth(plain.data(), n, k);
    KeyedCopy keyed(x.data(), n);
    SelectKth(keyed.data(), n, k);
    std::vector<QuarnFloat> written(n);
    keyed.WriteBack(written.data());
    for (size_t i = 0; i < n; ++i) ASSERT_EQ(plain[i].Handle(), written[i].Handle()) << "round " << round << " at " << i;
    // Ranking a general vector of these floats (the keyed route) against
    // the order of the floats themselves.
    HostObject data = MakeVector(RTABLE_DAG, std::vector<double>(n, 0.0));
    auto* block = static_cast<HostObject*>(RTableDataBlock(kv(), data));
    for (size_t i = 0; i < n; ++i) block[i] = x[i].Handle();
    HostObject sorted = Call(STATS_QuarnSort_MP, {data, host::True(), host::False()});
    auto* out = static_cast<HostObject*>(RTableDataBlock(kv(), sorted));
    for (size_t i = 1; i < n; ++i) {
      mpfr_srcptr a = host::FloatMpfr(out[i - 1]), b = host::FloatMpfr(out[i]);
      EXPECT_TRUE(mpfr_nan_p(b) || (!mpfr_nan_p(a) && mpfr_lessequal_p(a, b))) << "round " << round << " at " << i;
    }
  }
}

TEST(SortRankOrder, MessagesOfTheEntries) {
  auto message = [](HostObject (*entry)(QKernel, HostObject), std::vector<HostObject> args) {
    return quarn::test::ErrorOf([&] { Call(entry, args); });
  };
  HostObject v = MakeVector(RTABLE_DAG, {10, 20, 30});
  auto ranks = [](std::vector<double> r) { return MakeVector(RTABLE_INTEGER32, r); };
  EXPECT_EQ(message(STATS_QuarnOrder_MP, {v, v, host::True(), host::False(), ranks({1, 1, 2})}), "duplicate rank: 1");
  EXPECT_EQ(message(STATS_QuarnOrder_MP, {v, v, host::True(), host::False(), ranks({0, 1, 2})}), "invalid rank: 0");
  EXPECT_EQ(message(STATS_QuarnOrder_MP, {v, v, host::True(), host::False(), ranks({-3, 1, 2})}), "invalid rank: -3");
  EXPECT_EQ(message(STATS_QuarnOrder_MP, {v, v, host::True(), host::False(), ranks({1, 2})}),
            "data sample and ranks table are expected to have the same number of rows/elements");
  EXPECT_EQ(message(STATS_QuarnOrder_MP, {v, MakeVector(RTABLE_FLOAT64, {0, 0, 0}), host::True(), host::False(),
                                          ranks({1, 2, 3})}),
            "the source and the target must have the same datatype");
  // The later row wins a shared slot when uniquifying; empty slots go.
  EXPECT_TRUE(Same(Elements(Call(STATS_QuarnOrder_MP, {v, v, host::True(), host::True(), ranks({1, 1, 3})}), 0),
                   {20, 30}));
  EXPECT_EQ(message(STATS_QuarnSort_MP, {MakeVector(RTABLE_COMPLEX, {1, 2}), host::True(), host::False()}),
            "unable to compare complex numbers");
  EXPECT_EQ(message(STATS_QuarnRankSort_MP, {host::MakeList({}), host::MakeInteger(1), host::True()}),
            "invalid data sample, expected: one-dimensional array, received []");
  EXPECT_EQ(message(STATS_QuarnSort_MP, {v}), "expected 3 arguments, received: " + host::Print(v));
}
