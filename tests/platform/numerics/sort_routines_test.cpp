// Sorting and ranking routines: ranks agree with std::stable_sort of the same
// keys in both orders and strides, floats sort with NaN last, bad arguments
// fail through the error record.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "platform/numerics/numerics.h"
#include "support/support.h"

namespace {

long CompareInt(const void* a, const void* b) {
  int x = *static_cast<const int*>(a), y = *static_cast<const int*>(b);
  return x < y ? -1 : (x > y ? 1 : 0);
}

// Ranks by the definition: position of each index after a stable sort.
std::vector<unsigned int> ExpectedRanks(const std::vector<int>& keys, bool ascending) {
  std::vector<unsigned int> idx(keys.size()), ranks(keys.size());
  for (size_t i = 0; i < idx.size(); ++i) idx[i] = static_cast<unsigned int>(i);
  std::stable_sort(idx.begin(), idx.end(), [&](unsigned a, unsigned b) {
    return ascending ? keys[a] < keys[b] : keys[a] > keys[b];
  });
  for (size_t p = 0; p < idx.size(); ++p) ranks[idx[p]] = static_cast<unsigned int>(p);
  return ranks;
}

}  // namespace

TEST(SortRoutines, RanksMatchStableSortForEveryLengthOrderAndStride) {
  std::mt19937 rng(20261123);
  for (size_t n : {0, 1, 2, 3, 15, 16, 17, 31, 64, 100, 1000, 4099}) {
    for (int spread : {3, 1000000}) {  // many ties, then few
      std::vector<int> keys(n);
      for (int& k : keys) k = static_cast<int>(rng() % spread) - spread / 2;
      // Every key stored twice apart (stride 2 ints) and, reversed, for a
      // negative stride from the last slot.
      std::vector<int> spaced(2 * n + 1), backwards(n + 1);
      for (size_t i = 0; i < n; ++i) spaced[2 * i] = keys[i], backwards[n - 1 - i] = keys[i];
      for (Nag_SortOrder order : {Nag_Ascending, Nag_Descending}) {
        SCOPED_TRACE("n " + std::to_string(n) + ", spread " + std::to_string(spread) + ", order " +
                     std::to_string(order));
        auto expected = ExpectedRanks(keys, order == Nag_Ascending);
        std::vector<unsigned int> ranks(n + 1, 77);
        NagError fail{};
        QuarnMP_m01dsc(spaced.data(), n, 2 * sizeof(int), CompareInt, order, ranks.data(), &fail);
        ASSERT_EQ(fail.code, 0);
        EXPECT_EQ(std::vector<unsigned int>(ranks.begin(), ranks.begin() + n), expected);
        if (n > 0) {
          QuarnMP_m01dsc(&backwards[n - 1], n, -static_cast<ptrdiff_t>(sizeof(int)), CompareInt, order,
                         ranks.data(), &fail);
          ASSERT_EQ(fail.code, 0);
          EXPECT_EQ(std::vector<unsigned int>(ranks.begin(), ranks.begin() + n), expected);
        }
      }
    }
  }
}

TEST(SortRoutines, FloatsSortWithUndefinedLastAndBadArgumentsFail) {
  quarn::test::ScopedDigits digits(30);
  const double nan = std::nan("");
  std::vector<QuarnFloat> v = {QuarnFloat(3.0), QuarnFloat(nan), QuarnFloat(-1.5), QuarnFloat(2.0),
                               QuarnFloat(nan), QuarnFloat(-1.5)};
  NagError fail{};
  QuarnMP_m01cac(v.data(), v.size(), Nag_Ascending, &fail);
  ASSERT_EQ(fail.code, 0);
  std::vector<double> got;
  for (const QuarnFloat& x : v) got.push_back(x.ToDouble());
  EXPECT_EQ(std::vector<double>(got.begin(), got.begin() + 4), (std::vector<double>{-1.5, -1.5, 2.0, 3.0}));
  EXPECT_TRUE(std::isnan(got[4]) && std::isnan(got[5]));
  QuarnMP_m01cac(v.data(), v.size(), Nag_Descending, &fail);
  EXPECT_EQ(v[0].ToDouble(), 3.0);
  EXPECT_EQ(v[3].ToDouble(), -1.5);
  EXPECT_TRUE(std::isnan(v[5].ToDouble()));

  int keys[3] = {3, 1, 2};
  unsigned int ranks[3] = {9, 9, 9};
  QuarnMP_m01dsc(keys, 3, sizeof(int), CompareInt, Nag_Ascending, ranks, &fail);
  EXPECT_EQ((std::vector<unsigned>{ranks[0], ranks[1], ranks[2]}), (std::vector<unsigned>{2, 0, 1}));
  QuarnMP_m01dsc(keys, 3, 0, CompareInt, Nag_Ascending, ranks, &fail);
  EXPECT_NE(fail.code, 0);
  QuarnMP_m01dsc(keys, 3, sizeof(int), CompareInt, static_cast<Nag_SortOrder>(7), ranks, &fail);
  EXPECT_EQ(fail.code, NE_BAD_PARAM);
  QuarnMP_m01cac(v.data(), v.size(), static_cast<Nag_SortOrder>(7), &fail);
  EXPECT_EQ(fail.code, NE_BAD_PARAM);
}
