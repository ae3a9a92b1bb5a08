// The collector keeps what is reachable: handles in memory from operator new
// (scanned because executables link the collector's C++ support), objects
// inside host lists and tables, and objects held only by QuarnGcProtect while
// their one other reference sits in memory the collector does not scan.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/platform/host/host_test_util.h"

namespace {

using namespace quarn::test::host_util;
using quarn::test::ScopedDigits;

// i/3 at the working precision, as a host float.
HostObject Third(long i) { return host::Div(host::MakeFloat(static_cast<double>(i)), I(3)); }

// Whether f is still the float i/3 made at `digits`: the tag, the digits and
// every limb, against MPFR's correctly rounded quotient.
bool IsThird(HostObject f, long i, long digits) {
  if (host::TagOf(f) != kTagFloat || host::FloatDigits(f) != digits) return false;
  mpfr_t want;
  mpfr_init2(want, host::BitsForDigits(digits));
  mpfr_set_si(want, i, MPFR_RNDN);
  mpfr_div_ui(want, want, 3, MPFR_RNDN);
  bool same = mpfr_get_prec(host::FloatMpfr(f)) == mpfr_get_prec(want) && mpfr_equal_p(host::FloatMpfr(f), want);
  mpfr_clear(want);
  return same;
}

// Garbage floats of the same size as the live ones, so that freed memory is
// reused at once; a collection every `every` floats.
void MakeGarbage(long n, long every) {
  for (long j = 0; j < n; ++j) {
    volatile HostObject g = Third(-1 - j);
    (void)g;
    if ((j + 1) % every == 0) host::Collect();
  }
}

TEST(HostCollector, HandlesInStandardContainersSurvive) {
  ScopedDigits d(30);
  const long n = 100000;
  std::vector<HostObject> floats;
  for (long i = 0; i < n; ++i) floats.push_back(Third(i));
  // A large list and a table, held only by the vector as well.
  std::vector<HostObject> holders;
  {
    std::vector<HostObject> elements;
    for (long i = 0; i < 20000; ++i) elements.push_back(Third(i));
    holders.push_back(host::MakeList(elements));
    HostObject t = QuarnTableAlloc(K());
    for (long i = 0; i < 5000; ++i) QuarnTableAssign(K(), t, I(i), Third(i));
    holders.push_back(t);
  }
  MakeGarbage(1000000, 100000);

  long bad = 0;
  for (long i = 0; i < n; ++i) bad += !IsThird(floats[static_cast<size_t>(i)], i, 30);
  EXPECT_EQ(bad, 0);
  std::vector<HostObject> elements = host::Elements(holders[0]);
  ASSERT_EQ(elements.size(), 20000u);
  bad = 0;
  for (long i = 0; i < 20000; ++i) bad += !IsThird(elements[static_cast<size_t>(i)], i, 30);
  EXPECT_EQ(bad, 0);
  bad = 0;
  for (long i = 0; i < 5000; ++i) bad += !IsThird(QuarnTableSelect(K(), holders[1], I(i)), i, 30);
  EXPECT_EQ(bad, 0);
}

// Makes an object whose only reference is written to malloc'd memory, which
// the collector does not scan; noinline keeps its handle off the caller's frame.
__attribute__((noinline)) void MakeInto(HostObject* slot, bool list) {
  if (list) {
    std::vector<HostObject> e;
    for (long i = 0; i < 1000; ++i) e.push_back(Third(i));
    *slot = host::MakeList(e);
  } else {
    *slot = Third(12345);
  }
  QuarnGcProtect(K(), *slot);
}

TEST(HostCollector, ProtectedObjectsOutliveTheirReferences) {
  ScopedDigits d(30);
  const size_t before = host::ProtectedCount();
  auto* slots = static_cast<HostObject*>(std::malloc(2 * sizeof(HostObject)));
  ASSERT_NE(slots, nullptr);
  MakeInto(&slots[0], false);
  MakeInto(&slots[1], true);
  EXPECT_EQ(host::ProtectedCount(), before + 2);
  for (int round = 0; round < 20; ++round) MakeGarbage(50000, 50000);

  EXPECT_TRUE(IsThird(slots[0], 12345, 30));
  ASSERT_EQ(host::TagOf(slots[1]), kTagList);
  std::vector<HostObject> e = host::Elements(slots[1]);
  ASSERT_EQ(e.size(), 1000u);
  long bad = 0;
  for (long i = 0; i < 1000; ++i) bad += !IsThird(e[static_cast<size_t>(i)], i, 30);
  EXPECT_EQ(bad, 0);

  // Protections are counted; immediates and unprotected objects are ignored.
  QuarnGcProtect(K(), slots[0]);
  QuarnGcProtect(K(), I(5));
  EXPECT_EQ(host::ProtectedCount(), before + 3);
  QuarnGcAllow(K(), slots[0]);
  QuarnGcAllow(K(), I(5));
  QuarnGcAllow(K(), Third(1));
  EXPECT_EQ(host::ProtectedCount(), before + 2);
  QuarnGcAllow(K(), slots[0]);
  QuarnGcAllow(K(), slots[1]);
  EXPECT_EQ(host::ProtectedCount(), before);
  QuarnGcAllow(K(), slots[1]);  // once too often: nothing to release
  EXPECT_EQ(host::ProtectedCount(), before);
  std::free(slots);
}

}  // namespace
