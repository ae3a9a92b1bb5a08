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

// The error of got in units of the digits-th significant digit of ref; for
// ref = 0, the error in units of 10^-digits. At 400 bits, beyond any tested
// Digits.
double UnitsInLastDigit(mpfr_srcptr got, const std::string& ref, long digits) {
  Mpfr r(400), e(400);
  mpfr_set_str(r.v, ref.c_str(), 10, MPFR_RNDN);
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

// Every row at 10, 30 and 50 digits. Every entry is within an ulp of the
// binary working precision (entry_accuracy_test.cpp measures that); with the
// guard bits of the working precision one unit of the last decimal digit
// bounds them all.
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

// Identities between the entries at 30 digits: the chi-square(nu) deviate
// is the gamma(scale 2, shape nu/2) one, the normal's median is mu, and the
// log-normal deviate is exp of the normal one (each within its ulp, and exp
// of the rounded normal deviate within |y| + 1 ulps more). (The
// probabilities are the routines', whose identities tests/platform/numerics
// checks.)
TEST(DistributionIdentities, ChiSquareGammaNormal) {
  ScopedDigits d(30);
  QKernel kv = host::Kernel();
  for (double nu : {0.5, 1.0, 3.0, 7.5, 20.0}) {
    for (double u : {0.1, 0.5, 0.9}) {
      QuarnFloat chi = STATS_ChiSquareDeviate_MP(kv, QuarnFloat(u), QuarnFloat(nu));
      QuarnFloat gamma = STATS_GammaDeviate_MP(kv, QuarnFloat(u), QuarnFloat(2.0), QuarnFloat(nu) / 2);
      EXPECT_LE(std::fabs(((chi - gamma) / gamma).ToDouble()), 1e-29) << "nu " << nu << " u " << u;
    }
  }
  for (double mu : {-2.5, 0.0, 7.0}) {
    EXPECT_EQ(STATS_NormalProbability_MP(kv, QuarnFloat(mu), QuarnFloat(mu), QuarnFloat(3.0)).ToDouble(), 0.5);
    QuarnFloat normal = STATS_NormalDeviate_MP(kv, QuarnFloat(0.3), QuarnFloat(mu), QuarnFloat(0.5));
    QuarnFloat lognormal = STATS_LogNormalDeviate_MP(kv, QuarnFloat(0.3), QuarnFloat(mu), QuarnFloat(0.5));
    const double ulp = std::ldexp(1.0, 1 - static_cast<int>(host::WorkingBits()));
    EXPECT_LE(std::fabs(((exp(normal) - lognormal) / lognormal).ToDouble()), (std::fabs(normal.ToDouble()) + 2) * ulp)
        << mu;
  }
}

TEST(DistributionReferences, ExponentialDeviateRefusesLevelsOutsideTheUnitInterval) {
  // The upper deviate checks its level the same way, and has the ends the
  // other way round.
  for (const char* name : {"QuarnExponentialDeviate", "QuarnExponentialUpperDeviate"}) {
    SCOPED_TRACE(name);
    HostEntry deviate = EntryNamed(name);
    for (const char* u : {"1.5", "-0.1"}) {
      EXPECT_EQ(ErrorOf([&] { Call(deviate, {host::ParseFloat(u), host::MakeFloat(2)}); }),
                std::string("invalid value for the tail probability: ") + u);
    }
    // The ends themselves are levels: log(1 - 1) = -infinity gives +infinity.
    const bool upper = std::string(name).find("Upper") != std::string::npos;
    QuarnFloat at_end(Call(deviate, {host::MakeFloat(upper ? 0 : 1), host::MakeFloat(2)}));
    EXPECT_TRUE(IsQuarnFloatInfinity(at_end));
    EXPECT_EQ(QuarnFloat(Call(deviate, {host::MakeFloat(upper ? 1 : 0), host::MakeFloat(2)})).ToDouble(), 0.0);
  }
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
  // A is checked before B.
  for (auto [a, b, name] : {std::tuple{0.5, 3.0, 'A'}, {2.0, 0.5, 'B'}, {0.5, 0.5, 'A'}}) {
    EXPECT_EQ(ErrorOf([&] { Call(w_approx, {host::MakeFloat(0.1), host::MakeFloat(a), host::MakeFloat(b)}); }),
              std::string("Error: Parameter ") + name + " is 0.5, a disallowed value.");
  }
}
