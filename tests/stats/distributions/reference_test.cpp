// Probabilities and deviates against mpmath references
// (tests/data/distribution_refs.tsv from tools/gen_distribution_refs.py), at
// several Digits, through the host entries; the normal approximations against
// the same references; and the failures that the distribution functions
// report themselves.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "platform/numerics/numerics.h"
#include "stats/distributions/distributions.h"
#include "support/support.h"
#include "registry.h"
#include "tables.h"

namespace host = quarn::host;
using namespace quarn::test;

namespace {

struct Row {
  std::string entry;              // host name, e.g. QuarnBetaDeviate
  std::vector<std::string> args;  // binary fractions, exact at any Digits
  std::string value;              // 70 significant digits
  std::string Describe() const {
    std::string s = entry + "(";
    for (size_t i = 0; i < args.size(); ++i) s += (i ? ", " : "") + args[i];
    return s + ")";
  }
};

const std::vector<Row>& Rows() {
  static const auto* rows = [] {
    auto* v = new std::vector<Row>;
    for (const auto& fields : quarn::test::ReadTable("distribution_refs.tsv")) {
      v->push_back({fields[0], quarn::test::SplitCommas(fields[1]), fields[2]});
    }
    return v;
  }();
  return *rows;
}

std::vector<const Row*> RowsOf(const std::string& entry) {
  std::vector<const Row*> out;
  for (const Row& r : Rows()) {
    if (r.entry == entry) out.push_back(&r);
  }
  return out;
}

// An MPFR number at 400 bits, for comparisons beyond any tested Digits.
struct Wide {
  mpfr_t v;
  Wide() { mpfr_init2(v, 400); }
  explicit Wide(const std::string& text) : Wide() { mpfr_set_str(v, text.c_str(), 10, MPFR_RNDN); }
  ~Wide() { mpfr_clear(v); }
  Wide(const Wide&) = delete;
  Wide& operator=(const Wide&) = delete;
};

// The error of got in units of the digits-th significant digit of ref; for
// ref = 0, the error in units of 10^-digits.
double UnitsInLastDigit(mpfr_srcptr got, const std::string& ref, long digits) {
  Wide r(ref), e;
  mpfr_sub(e.v, got, r.v, MPFR_RNDN);
  mpfr_abs(e.v, e.v, MPFR_RNDN);
  double scale = mpfr_zero_p(r.v) ? std::pow(10.0, -static_cast<double>(digits))
                                   : std::pow(10.0, static_cast<double>(mpfr_get_exp(r.v)) * std::log10(2.0) -
                                                        static_cast<double>(digits));
  mpfr_div_d(e.v, e.v, scale, MPFR_RNDN);
  return mpfr_get_d(e.v, MPFR_RNDN);
}

HostObject Evaluate(const Row& r) {
  std::vector<HostObject> args;
  for (const std::string& a : r.args) args.push_back(host::ParseFloat(a));
  return Call(EntryNamed(r.entry), args);
}

}  // namespace

// Every row at 10, 30 and 50 digits. The closed forms are evaluated as
// written, a handful of correctly rounded operations each; the routines are
// correctly rounded; with the guard bits of the working precision one unit
// of the last digit bounds them all.
TEST(DistributionReferences, EveryRowAtSeveralDigits) {
  ASSERT_GT(Rows().size(), 90u);
  for (long digits : {10L, 30L, 50L}) {
    ScopedDigits d(digits);
    double worst = 0;
    std::string worst_row;
    for (const Row& r : Rows()) {
      SCOPED_TRACE(r.Describe() + " at Digits " + std::to_string(digits));
      QuarnFloat got(Evaluate(r));
      double units = UnitsInLastDigit(got.Mpfr(), r.value, digits);
      EXPECT_LE(units, 1.0) << host::Print(got.Handle()) << " vs " << r.value.substr(0, digits + 5);
      if (units > worst) {
        worst = units;
        worst_row = r.Describe();
      }
    }
    std::cout << "Digits " << digits << ": worst " << worst << " units of the last digit, " << worst_row << "\n";
  }
}

// Identities between distributions, at 30 digits: chi-square(nu) is
// gamma(scale 2, shape nu/2), Student's t is symmetric with median 0 (for
// shapes the reference table leaves out), the normal's median is mu, and
// the log-normal deviate is exp of the normal one.
TEST(DistributionIdentities, ChiSquareGammaStudentTNormal) {
  ScopedDigits d(30);
  QKernel kv = host::Kernel();
  const double tol = 1e-29;
  for (double nu : {0.5, 1.0, 3.0, 7.5, 20.0}) {
    SCOPED_TRACE(nu);
    QuarnFloat n(nu), half = QuarnFloat(nu) / 2, two(2.0);
    for (double x : {0.25, 1.0, 3.5, 10.0}) {
      QuarnFloat chi = STATS_ChiSquareProbability_MP(kv, QuarnFloat(x), n);
      EXPECT_LE(std::fabs((chi - STATS_GammaProbability_MP(kv, QuarnFloat(x), two, half)).ToDouble()), tol) << x;
    }
    for (double u : {0.1, 0.5, 0.9}) {
      QuarnFloat chi = STATS_ChiSquareDeviate_MP(kv, QuarnFloat(u), n);
      QuarnFloat gamma = STATS_GammaDeviate_MP(kv, QuarnFloat(u), two, half);
      EXPECT_LE(std::fabs(((chi - gamma) / gamma).ToDouble()), tol) << u;
    }
    EXPECT_EQ(STATS_StudentTProbability_MP(kv, QuarnFloat(0.0), n).ToDouble(), 0.5);
    for (double t : {0.5, 2.0, 6.0}) {
      QuarnFloat sum =
          STATS_StudentTProbability_MP(kv, QuarnFloat(t), n) + STATS_StudentTProbability_MP(kv, QuarnFloat(-t), n);
      EXPECT_LE(std::fabs((sum - 1.0).ToDouble()), tol) << t;
    }
  }
  for (double mu : {-2.5, 0.0, 7.0}) {
    EXPECT_EQ(STATS_NormalProbability_MP(kv, QuarnFloat(mu), QuarnFloat(mu), QuarnFloat(3.0)).ToDouble(), 0.5);
    QuarnFloat normal = STATS_NormalDeviate_MP(kv, QuarnFloat(0.3), QuarnFloat(mu), QuarnFloat(0.5));
    QuarnFloat lognormal = STATS_LogNormalDeviate_MP(kv, QuarnFloat(0.3), QuarnFloat(mu), QuarnFloat(0.5));
    EXPECT_TRUE(mpfr_equal_p(exp(normal).Mpfr(), lognormal.Mpfr())) << mu;
  }
}

TEST(DistributionReferences, ExponentialDeviateRefusesLevelsOutsideTheUnitInterval) {
  HostEntry deviate = EntryNamed("QuarnExponentialDeviate");
  EXPECT_EQ(ErrorOf([&] { Call(deviate, {host::MakeFloat(1.5), host::MakeFloat(2)}); }),
            "invalid value for the tail probability: 1.5");
  EXPECT_EQ(ErrorOf([&] { Call(deviate, {host::MakeFloat(-0.1), host::MakeFloat(2)}); }),
            "invalid value for the tail probability: -0.1");
  // The ends themselves are levels: log(1 - 1) = -infinity gives +infinity.
  QuarnFloat at_one(Call(deviate, {host::MakeFloat(1), host::MakeFloat(2)}));
  EXPECT_TRUE(IsQuarnFloatInfinity(at_one));
  EXPECT_EQ(QuarnFloat(Call(deviate, {host::MakeFloat(0), host::MakeFloat(2)})).ToDouble(), 0.0);
}

// A routine's failure reaches the host as the routine's own message.
TEST(DistributionReferences, RoutineFailuresCarryTheRoutinesMessage) {
  NagError record{};
  QuarnMP_g01ecc(Nag_LowerTail, QuarnFloat(1.0), QuarnFloat(-3.0), &record);
  ASSERT_NE(record.code, 0);
  ASSERT_STRNE(record.message, "");
  EXPECT_EQ(ErrorOf([] { STATS_ChiSquareProbability_MP(host::Kernel(), QuarnFloat(1.0), QuarnFloat(-3.0)); }),
            record.message);
  // The gamma routines take the shape first: a negative scale is refused
  // as the routine's own complaint too.
  EXPECT_NE(ErrorOf([] {
              Call(EntryNamed("QuarnGammaDeviate"), {host::MakeFloat(0.5), host::MakeFloat(-1), host::MakeFloat(2)});
            }),
            "");
}

// The rational approximation is within its published 4.5e-4 of the normal
// deviates of the reference table, and symmetric.
TEST(NormalApproximations, DeviateApproxWithinItsErrorBound) {
  HostEntry approx = EntryNamed("QuarnNormalDeviateApprox");
  int checked = 0;
  for (const Row* r : RowsOf("QuarnNormalDeviate")) {
    if (r->args[1] != "0" || r->args[2] != "1") continue;
    SCOPED_TRACE(r->Describe());
    QuarnFloat got(Call(approx, {host::ParseFloat(r->args[0])}));
    EXPECT_NEAR(got.ToDouble(), std::strtod(r->value.c_str(), nullptr), 4.5e-4);
    ++checked;
  }
  EXPECT_GE(checked, 6);
  EXPECT_NEAR(QuarnFloat(Call(approx, {host::MakeFloat(0.5)})).ToDouble(), 0.0, 4.5e-4);
  for (double u : {0.025, 0.1, 0.3}) {
    double lower = QuarnFloat(Call(approx, {host::MakeFloat(u)})).ToDouble();
    double upper = QuarnFloat(Call(approx, {host::MakeFloat(1 - u)})).ToDouble();
    EXPECT_NEAR(lower, -upper, 1e-9) << u;
  }
  EXPECT_NEAR(QuarnFloat(Call(approx, {host::MakeFloat(0.975)})).ToDouble(), 1.959963984540054, 4.5e-4);
}

// a / (a + b exp(2w)) approximates the beta quantile at the lower-tail level
// p (the reference rows) within 2%, better for larger shapes.
TEST(NormalApproximations, WApproxGivesBetaQuantiles) {
  HostEntry w_approx = EntryNamed("QuarnNormalWApprox");
  int checked = 0;
  for (const Row* r : RowsOf("QuarnBetaDeviate")) {
    double p = std::strtod(r->args[0].c_str(), nullptr), a = std::strtod(r->args[1].c_str(), nullptr),
           b = std::strtod(r->args[2].c_str(), nullptr);
    if (a < 2 || b < 2) continue;  // the approximation is for moderate shapes
    SCOPED_TRACE(r->Describe());
    double w = QuarnFloat(Call(w_approx, {host::MakeFloat(p), host::MakeFloat(a), host::MakeFloat(b)})).ToDouble();
    double quantile = std::strtod(r->value.c_str(), nullptr);
    EXPECT_NEAR(a / (a + b * std::exp(2 * w)), quantile, 0.02 * quantile);
    ++checked;
  }
  EXPECT_GE(checked, 5);
  EXPECT_EQ(ErrorOf([&] { Call(w_approx, {host::MakeFloat(0.1), host::MakeFloat(0.5), host::MakeFloat(3)}); }),
            "Error: Parameter A is 0.5, a disallowed value.");
  EXPECT_EQ(ErrorOf([&] { Call(w_approx, {host::MakeFloat(0.1), host::MakeFloat(2), host::MakeFloat(0.5)}); }),
            "Error: Parameter B is 0.5, a disallowed value.");
  EXPECT_EQ(ErrorOf([&] { Call(w_approx, {host::MakeFloat(0.1), host::MakeFloat(0.5), host::MakeFloat(0.5)}); }),
            "Error: Parameter A is 0.5, a disallowed value.");
}
