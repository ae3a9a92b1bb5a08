// The descriptive statistics entries called as a user calls them, through
// the shell, against exact references (tools/gen_descriptive_refs.py: each
// statistic from its definition in rational arithmetic over binary data, so
// the data convert exactly at any Digits; where the library rounds a
// constant of the definition, such as a percentile times 0.01, the row
// holds at one Digits with that rounding).
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "shell/eval.h"
#include "shell/library.h"
#include "shell/output.h"
#include "shell/session.h"
#include "support/support.h"

namespace host = quarn::host;
namespace shell = quarn::shell;
using quarn::test::kv;
using quarn::test::Mpfr;
using quarn::test::ScopedDigits;

namespace {

struct Row {
  std::string digits;  // the Digits the row holds at, or * for all
  std::string expression;
  std::vector<std::string> expected;  // "u" for the undefined float
  bool as_list = false;
  double ulps = 0;
};

std::vector<Row> LoadRows() {
  std::ifstream in(std::string(std::getenv("QUARN_SOURCE_DIR")) + "/tests/data/descriptive_refs.tsv");
  std::vector<Row> rows;
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    Row r;
    std::string expected, ulps;
    std::getline(fields, r.digits, '\t');
    std::getline(fields, r.expression, '\t');
    std::getline(fields, expected, '\t');
    std::getline(fields, ulps, '\t');
    r.ulps = std::stod(ulps);
    r.as_list = expected[0] == '[';
    if (r.as_list) expected = expected.substr(1, expected.size() - 2);
    std::istringstream items(expected);
    std::string item;
    while (std::getline(items, item, ',')) r.expected.push_back(item.substr(item.find_first_not_of(' ')));
    rows.push_back(r);
  }
  return rows;
}

// The value the shell assigned to r, after running source; "" when it
// reported anything.
HostObject Evaluate(const std::string& source, std::string* error) {
  shell::InitShell();
  std::string why;
  static bool loaded = shell::LoadLibrary(shell::DefaultLibraryPath(), &why);
  EXPECT_TRUE(loaded) << why;
  std::vector<std::string> reported;
  shell::SetErrorSink([&](const std::string& s) { reported.push_back(s); });
  host::AssignName(host::Name("r"), nullptr);
  shell::Session session;
  session.Run(source, true);
  shell::SetErrorSink(nullptr);
  for (const std::string& s : reported) *error += s;
  return shell::BoundValue("r", nullptr);
}

// The numbers of a result: a float or integer, a list, or a vector.
std::vector<HostObject> Values(HostObject r) {
  if (IsQuarnList(kv(), r)) return host::Elements(r);
  if (IsQuarnRTable(kv(), r)) {
    std::vector<HostObject> v;
    for (int i = RTableLowerBound(kv(), r, 1); i <= RTableUpperBound(kv(), r, 1); ++i) {
      RTableData e = RTableSelect(kv(), r, &i);
      v.push_back(e.dag);
    }
    return v;
  }
  return {r};
}

// |value - expected| in units of the last place of value's precision.
double UlpError(HostObject value, const std::string& expected) {
  Mpfr x(2048), y(2048);
  HostObject f = host::Evalf(value);
  mpfr_set(x.v, host::FloatMpfr(f), MPFR_RNDN);
  mpfr_set_str(y.v, expected.c_str(), 10, MPFR_RNDN);
  mpfr_sub(y.v, x.v, y.v, MPFR_RNDN);
  if (mpfr_zero_p(y.v)) return 0;
  mpfr_abs(y.v, y.v, MPFR_RNDN);
  const long exponent = mpfr_zero_p(x.v) ? mpfr_get_exp(y.v) : mpfr_get_exp(x.v);
  mpfr_mul_2si(y.v, y.v, static_cast<long>(mpfr_get_prec(host::FloatMpfr(f))) - exponent, MPFR_RNDN);
  return mpfr_get_d(y.v, MPFR_RNDN);
}

}  // namespace

TEST(DescriptiveEntries, MatchExactReferencesAtSeveralDigits) {
  const std::vector<Row> rows = LoadRows();
  ASSERT_GT(rows.size(), 200u);
  double worst = 0;
  std::string worst_row;
  for (long digits : {15, 30, 50}) {
    ScopedDigits scoped(10);
    for (const Row& r : rows) {
      if (r.digits != "*" && r.digits != std::to_string(digits)) continue;
      SCOPED_TRACE("Digits " + std::to_string(digits) + ": " + r.expression);
      std::string error;
      HostObject value = Evaluate("Digits := " + std::to_string(digits) + ": r := " + r.expression + ":", &error);
      ASSERT_EQ(error, "");
      std::vector<HostObject> got = Values(value);
      ASSERT_EQ(got.size(), r.expected.size());
      EXPECT_EQ(IsQuarnList(kv(), value) || IsQuarnRTable(kv(), value), r.as_list);
      for (size_t i = 0; i < got.size(); ++i) {
        if (r.expected[i] == "u") {
          EXPECT_TRUE(mpfr_nan_p(host::FloatMpfr(host::Evalf(got[i])))) << "element " << i;
          continue;
        }
        double err = UlpError(got[i], r.expected[i]);
        // An exact result must be the nearest float; the others are allowed
        // the row's tolerance.
        EXPECT_LE(err, r.ulps == 0 ? 0.5 : r.ulps) << "element " << i;
        if (err > worst) worst = err, worst_row = r.expression;
      }
    }
  }
  std::printf("worst error %.3g ulp: %s\n", worst, worst_row.substr(0, 120).c_str());
}
