// The probability, upper probability, density, deviate and upper deviate of
// every continuous family against mpmath (tests/data/entry_accuracy.tsv from
// tools/gen_entry_accuracy.py) at Digits 10 to 100, through the host entries,
// at inputs where formulas cancel: each within 1 ulp of the exact function at
// its binary inputs. The worst error per entry and Digits is printed and
// appended to $QUARN_ACCURACY_REPORT (bench/run_accuracy.sh).
#include <gtest/gtest.h>
#include <mpfr.h>

#include <string>
#include <vector>

#include "platform/host/host.h"
#include "registry.h"
#include "support/accuracy.h"
#include "support/support.h"
#include "tables.h"

namespace host = quarn::host;
using namespace quarn::test;

namespace {

AccuracyReport* const kReport = static_cast<AccuracyReport*>(testing::AddGlobalTestEnvironment(new AccuracyReport(
    "The distribution entries",
    "Worst error per host entry and Digits against tests/data/entry_accuracy.tsv (mpmath, "
    "tools/gen_entry_accuracy.py), from tests/stats/distributions/entry_accuracy_test.cpp. Inputs are exact binary "
    "fractions chosen where formulas cancel (small x, levels near 0 and 1, far tails, ends of a support, deviates "
    "near 0 with a nonzero location).",
    "entry")));

// A hexadecimal input at the working precision, exactly.
HostObject ExactInput(const std::string& hex) {
  QuarnFloat x = quarn::floats::Compute([&](mpfr_ptr z) {
    EXPECT_EQ(0, mpfr_set_str(z, hex.c_str(), 0, MPFR_RNDN)) << hex << " is not exact at this precision";
  });
  return x.Handle();
}

}  // namespace

TEST(EntryAccuracy, WithinOneUlpOfTheExactFunction) {
  const auto rows = ReadTable("entry_accuracy.tsv");
  ASSERT_GT(rows.size(), 2000u);
  for (long digits : {10L, 15L, 30L, 50L, 100L}) {
    ScopedDigits scoped(digits);
    int line = 2;  // after the two comment lines
    for (const auto& row : rows) {
      ++line;
      const std::string where = "line " + std::to_string(line);
      SCOPED_TRACE(row[0] + "(" + row[1] + ") at Digits " + std::to_string(digits) + ", " + where);
      std::vector<HostObject> args;
      for (const std::string& hex : SplitCommas(row[1])) args.push_back(ExactInput(hex));
      HostObject got;
      try {
        got = Call(EntryNamed(row[0]), args);
      } catch (const host::Error& e) {
        ADD_FAILURE() << "raised: " << e.message();
        continue;
      }
      QuarnFloat value(got);
      UlpError e = MeasureUlps(value.Mpfr(), row[2], digits, static_cast<long>(host::WorkingBits()));
      EXPECT_LE(e.binary_ulps, 1.0) << "got " << host::Print(got) << ", exact " << row[2].substr(0, digits + 8);
      kReport->Add(row[0], digits, e, where);
    }
  }
}
