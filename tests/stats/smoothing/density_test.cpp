// Kernel density estimation against the mpmath table of
// tools/gen_smoothing_reference.py: the kernels' transforms phi(t) (from
// their defining integrals) and whole estimates (direct O(N^2) circular
// sums over exactly binned data; for the Gaussian also the direct sum of the
// continuous kernel), at Digits 15, 30 and 50. Then properties that need no
// reference: a symmetric sample gives a symmetric estimate, the estimate
// integrates to about 1, a bandwidth of 0 gives back the binned data.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "stats/manipulation/manipulation.h"
#include "stats/smoothing/smoothing.h"
#include "support/support.h"

namespace host = quarn::host;
using namespace quarnstats;
using quarn::test::kv;
using quarn::test::Mpfr;
using quarn::test::ScopedDigits;

namespace {

const long kDigits[] = {15, 30, 50};

std::vector<std::string> Split(const std::string& text, char sep) {
  std::vector<std::string> parts;
  std::stringstream in(text);
  std::string part;
  while (std::getline(in, part, sep)) parts.push_back(part);
  return parts;
}

struct Case {
  int kernel = 0;
  long n = 0;
  std::string h;
  std::vector<std::string> points, weights;
  std::vector<std::string> expected;
};

struct Table {
  std::vector<std::vector<std::string>> phi;  // kernel, t, value
  std::map<std::string, Case> cases;
};

const Table& Reference() {
  static const Table table = [] {
    Table t;
    for (const auto& f : quarn::test::DataRows("kernel_density.tsv")) {
      if (f[0] == "phi") {
        t.phi.push_back({f[1], f[2], f[3]});
      } else if (f[0] == "case") {
        Case& c = t.cases[f[1]];
        c.kernel = std::stoi(f[2]);
        c.n = std::stol(f[3]);
        c.h = f[4];
        c.points = Split(f[5], ',');
        if (f[6] != "-") c.weights = Split(f[6], ',');
      } else {
        t.cases[f[1]].expected.push_back(f[3]);
      }
    }
    return t;
  }();
  return table;
}

HostObject Floats(const std::vector<std::string>& values) {
  std::vector<HostObject> e;
  for (const std::string& v : values) e.push_back(host::ParseFloat(v));
  RTableSettingsRecord rts;
  RTableGetDefaults(kv(), &rts);
  int bounds[2] = {1, static_cast<int>(e.size())};
  return RTableCreate(kv(), &rts, e.empty() ? nullptr : e.data(), bounds);
}

// The estimate of a case at the working precision, as floats.
std::vector<QuarnFloat> Estimate(const Case& c, const std::string& h) {
  HostObject args = host::MakeSeq({Floats(c.points), Floats(c.weights), host::MakeInteger(c.kernel),
                                   host::ParseFloat(h), host::MakeInteger(c.n), host::True(), host::MakeInteger(0),
                                   host::MakeInteger(c.n - 1)});
  HostObject r = STATS_QuarnKernelDensity_MP(kv(), args);
  const auto* x = static_cast<const QuarnFloat*>(RTableDataBlock(kv(), r));
  return std::vector<QuarnFloat>(x, x + c.n);
}

// |got - ref| in ulps of the working precision at the exponent of scale.
double Ulps(mpfr_srcptr got, const std::string& ref, mpfr_exp_t scale) {
  Mpfr r(512), d(512);
  mpfr_set_str(r.v, ref.c_str(), 10, MPFR_RNDN);
  mpfr_sub(d.v, got, r.v, MPFR_RNDN);
  mpfr_mul_2si(d.v, d.v, static_cast<long>(host::WorkingBits()) - scale, MPFR_RNDN);
  return std::fabs(mpfr_get_d(d.v, MPFR_RNDN));
}

TEST(KernelDensity, KernelTransformsAgainstTheirIntegrals) {
  for (long digits : kDigits) {
    ScopedDigits d(digits);
    for (const auto& row : Reference().phi) {
      SCOPED_TRACE("kernel " + row[0] + ", t = " + row[1] + ", Digits " + std::to_string(digits));
      const QuarnFloat t(host::ParseFloat(row[1]));
      const QuarnFloat v = KernelTransform(std::stoi(row[0]), t);
      Mpfr r(512);
      mpfr_set_str(r.v, row[2].c_str(), 10, MPFR_RNDN);
      const mpfr_exp_t exponent = mpfr_get_exp(r.v);
      EXPECT_LE(Ulps(v.Mpfr(), row[2], exponent), 0.51) << host::Print(v.Handle());
    }
  }
}

// Errors are measured at the exponent of the largest value: the estimate is
// a sum of terms of that size, so its small values carry absolute errors.
TEST(KernelDensity, EstimatesAgainstDirectSums) {
  ASSERT_EQ(Reference().cases.size(), 6u);
  for (long digits : kDigits) {
    ScopedDigits d(digits);
    for (const auto& [name, c] : Reference().cases) {
      SCOPED_TRACE(name + " at Digits " + std::to_string(digits));
      ASSERT_EQ(c.expected.size(), static_cast<size_t>(c.n));
      const std::vector<QuarnFloat> r = Estimate(c, c.h);
      mpfr_exp_t scale = mpfr_get_exp(r[0].Mpfr());
      for (const QuarnFloat& v : r) scale = std::max(scale, mpfr_get_exp(v.Mpfr()));
      double worst = 0;
      for (long k = 0; k < c.n; ++k) worst = std::max(worst, Ulps(r[k].Mpfr(), c.expected[k], scale));
      EXPECT_LE(worst, 4.0);
    }
  }
}

TEST(KernelDensity, SymmetryTotalAndZeroBandwidth) {
  ScopedDigits d(30);
  // Points symmetric about the middle of the grid [0, 40] (nodes 0 .. 40).
  Case c;
  c.n = 41;
  c.points = {"3.25", "10", "17.5", "20", "22.5", "30", "36.75"};
  for (int kernel = 0; kernel <= 4; ++kernel) {
    SCOPED_TRACE("kernel " + std::to_string(kernel));
    c.kernel = kernel;
    const std::vector<QuarnFloat> r = Estimate(c, "3");
    QuarnFloat total = 0.0, largest = 0.0;
    for (const QuarnFloat& v : r) {
      total += v;
      if (fabs(v) > largest) largest = fabs(v);
    }
    for (long k = 0; k < c.n; ++k)
      EXPECT_LE(fabs(r[k] - r[c.n - 1 - k]).ToDouble(), 4 * largest.ToDouble() * 1e-30) << "node " << k;
    // The frequency 0 is never scaled: the nodes sum to N/(b - a), so the
    // estimate integrates to N/(N - 1) with the grid's step.
    EXPECT_NEAR(total.ToDouble(), 41.0 / 40.0, 1e-28);
  }
  // A bandwidth of 0 leaves every frequency as it was: the binned data.
  c.kernel = 3;
  const std::vector<QuarnFloat> r = Estimate(c, "0");
  std::vector<QuarnFloat> binned(static_cast<size_t>(c.n));
  std::vector<QuarnFloat> points;
  for (const std::string& p : c.points) points.emplace_back(host::ParseFloat(p));
  STATS_Discretize_MP(kv(), static_cast<int>(c.n), QuarnFloat(0.0), QuarnFloat(40.0), QuarnFloat(0.0), 1,
                      static_cast<int>(points.size()), points.data(), nullptr, binned.data());
  for (long k = 0; k < c.n; ++k) EXPECT_LE(fabs(r[k] - binned[k]).ToDouble(), 1e-30) << "node " << k;
}

}  // namespace
