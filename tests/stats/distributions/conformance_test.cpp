// One conformance suite over every row of the family table, through the host
// entries: which entries exist and their argument-count messages, argument
// conversion, monotone probabilities, deviates that invert them, the
// parameter-array overloads, the sample entries, and large seeded samples
// against the exact distribution (Kolmogorov-Smirnov statistic and moments
// from tests/data/distribution_moments.tsv, tools/gen_distribution_refs.py).
//
// QUARN_TEST_SEED sets the seed of the random checks.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "registry.h"
#include "tables.h"
#include "support/support.h"

namespace host = quarn::host;
using namespace quarn::test;

namespace {

// ------------------------------------------------------------- the cases

double NormalCdf(double z) { return 0.5 * std::erfc(-z / std::sqrt(2.0)); }

// Distribution functions of the families that offer no probability.
double InverseGaussianCdf(double x, const std::vector<double>& p) {
  double mu = p[0], lambda = p[1], s = std::sqrt(lambda / x);
  return NormalCdf(s * (x / mu - 1)) + std::exp(2 * lambda / mu) * NormalCdf(-s * (x / mu + 1));
}
double MaxwellCdf(double x, const std::vector<double>& p) {
  double t = x / p[0];
  return std::erf(t / std::sqrt(2.0)) - std::sqrt(2 / M_PI) * t * std::exp(-t * t / 2);
}
double MoyalCdf(double x, const std::vector<double>& p) {
  return std::erfc(std::exp(-(x - p[0]) / p[1] / 2) / std::sqrt(2.0));
}
// Shape 3 only: |X - a| = b (2G)^(3/2) with G ~ gamma(3/2), whose lower
// regularized incomplete gamma is erf(sqrt y) - 2 sqrt(y / Pi) e^-y.
double ErrorShape3Cdf(double x, const std::vector<double>& p) {
  double y = std::pow(std::fabs(x - p[0]) / p[1], 2.0 / 3.0) / 2;
  double inner = std::erf(std::sqrt(y)) - 2 * std::sqrt(y / M_PI) * std::exp(-y);
  return 0.5 + (x < p[0] ? -0.5 : 0.5) * inner;
}

// Bernoulli's probability entry gives the mass; its distribution function:
double BernoulliCdf(double x, const std::vector<double>& p) { return x < 0 ? 0 : (x < 1 ? 1 - p[0] : 1); }

struct Case {
  const char* name;
  std::array<int, 4> arity;  // host argument counts of P/D/RV/RS, -1 where the entry does not exist
  std::vector<double> params;
  double lo, hi;  // where the probability rises
  double (*cdf)(double, const std::vector<double>&) = nullptr;  // when there is no probability entry
  bool flag = false;  // the variate and sample entries take a boolean flag after the parameters
};

const std::vector<Case>& Cases() {
  static const std::vector<Case> cases = {
      {"Bernoulli", {2, 2, 1, 2}, {0.25}, -1, 2, BernoulliCdf},
      {"Beta", {3, 3, 2, 3}, {2, 3}, 0.05, 0.95},
      {"Binomial", {3, 3, 2, 3}, {20, 0.375}, 1, 16},
      {"Cauchy", {3, 3, 2, 3}, {1, 2}, -10, 12},
      {"ChiSquare", {2, 2, 1, 2}, {3}, 0.1, 12},
      {"DiscreteUniform", {3, 3, 2, 3}, {1, 6}, 0.5, 6},
      {"Error", {-1, 6, 3, 4}, {0.5, 1.5, 3}, -30, 30, ErrorShape3Cdf},
      {"Exponential", {2, 2, 1, 2}, {2}, 0.01, 10},
      {"FRatio", {3, 3, 2, 3}, {5, 20}, 0.1, 5},
      {"Gamma", {3, 3, 2, 3}, {2, 3}, 0.2, 20},
      {"Geometric", {2, 2, 1, 2}, {0.25}, 0, 20},
      {"Gumbel", {3, 3, 2, 3}, {1, 2}, -3, 10},
      {"Hypergeometric", {4, 4, 3, 4}, {20, 8, 5}, 0, 5},
      {"InverseGaussian", {-1, -1, 2, 3}, {1.5, 2}, 0.1, 8, InverseGaussianCdf},
      {"Laplace", {3, 3, 2, 3}, {1, 2}, -8, 10},
      {"Logistic", {3, 3, 2, 3}, {1, 2}, -10, 12},
      {"LogNormal", {3, 3, 2, 3}, {0.5, 0.5}, 0.3, 6},
      {"Maxwell", {-1, -1, 1, 2}, {2}, 0.1, 8, MaxwellCdf},
      {"Moyal", {-1, -1, 2, 3}, {0.5, 2}, -3, 20, MoyalCdf},
      {"NegativeBinomial", {3, 3, 2, 3}, {3, 0.375}, 0, 20},
      {"NonCentralBeta", {4, 4, 3, 4}, {2, 3, 1}, 0.05, 0.95},
      {"NonCentralChiSquare", {3, 3, 3, 4}, {3, 2}, 0.2, 20, nullptr, true},
      {"NonCentralFRatio", {4, 4, 3, 4}, {5, 20, 2}, 0.1, 6},
      {"NonCentralStudentT", {3, -1, 2, 3}, {10, 1}, -2, 5},
      {"Normal", {3, 3, 2, 3}, {1, 2}, -6, 8},
      {"Pareto", {3, 3, 2, 3}, {1, 5}, 1, 4},
      {"Poisson", {2, 2, 1, 2}, {3.5}, 0, 12},
      {"Power", {3, 3, 2, 3}, {2, 3}, 0.1, 2},
      {"Rayleigh", {2, 2, 1, 2}, {2}, 0.1, 8},
      {"StudentT", {2, 2, 1, 2}, {5}, -5, 5},
      {"Triangular", {4, 4, 3, 4}, {0, 3, 1}, 0.1, 2.9},
      {"Uniform", {3, 3, 2, 3}, {2, 4}, 2.1, 3.9},
      {"Weibull", {3, 3, 2, 3}, {2, 1.5}, 0.1, 8},
  };
  return cases;
}

// The operations; the upper tails and the density exist where the family
// table gives them (every continuous family with a probability), with the
// probability's arguments.
const char* const kOps[] = {"Probability",      "Deviate",      "RandomVariate", "RandomSample",
                            "UpperProbability", "UpperDeviate", "Density"};
constexpr int kNumOps = 7;
bool HasUpperAndDensity(const Case& c) { return quarn::test::FamilyNamed(c.name).density != nullptr; }
int Arity(const Case& c, int op) {
  if (op < 4) return c.arity[op];
  return HasUpperAndDensity(c) ? c.arity[0] : -1;
}

// The host name of an entry: "Quarn" + family + operation.
std::string EntryName(const Case& c, const char* op) { return std::string("Quarn") + c.name + op; }

// The argument-count message of an entry: the pattern and its exceptions.
std::string CountText(const std::string& entry, int n) {
  static const std::map<std::string, std::string> exceptions = {
      {"QuarnInverseGaussianRandomVariate", "QuarnInverseGaussianRandomVariate expects 2 argument, received: %1"},
      {"QuarnMoyalRandomVariate", "QuarnMoyalRandomVariate expects 2 argument, received: %1"},
      {"QuarnErrorRandomVariate", "expected 3 arguments, received: %1"},
      {"QuarnErrorRandomSample", "expected 4 arguments, received: %1"},
      {"QuarnNormalDeviateApprox", "QuarnNormalDeviateApprox expects 1 arguments, received: %1"},
      {"QuarnNonCentralChiSquareRandomSample",
       "QuarnNonCentralChiSquareRandomSample expects 4 or 6 arguments, received: %1"},
  };
  auto it = exceptions.find(entry);
  if (it != exceptions.end()) return it->second;
  return entry + " expects " + std::to_string(n) + (n == 1 ? " argument" : " arguments") + ", received: %1";
}

std::vector<HostObject> Floats(const std::vector<double>& values) {
  std::vector<HostObject> out;
  for (double v : values) out.push_back(host::MakeFloat(v));
  return out;
}

// The parameters of a case as floats, after `first` when one is given.
std::vector<HostObject> Args(const Case& c, HostObject first = nullptr) {
  std::vector<HostObject> args = Floats(c.params);
  if (first != nullptr) args.insert(args.begin(), first);
  return args;
}

// The arguments of a variate or sample entry: the parameters (after n) and
// the flag, when the family takes one.
std::vector<HostObject> VariateArgs(const Case& c, HostObject n = nullptr) {
  std::vector<HostObject> args = Args(c, n);
  if (c.flag) args.push_back(host::True());
  return args;
}

// The valid arguments of an operation: x or u, or n, before the parameters.
std::vector<HostObject> ValidArgs(const Case& c, int op) {
  const HostObject x = host::MakeFloat((c.lo + c.hi) / 2), u = host::MakeFloat(0.5);
  const HostObject first[] = {x, u, nullptr, host::MakeInteger(3), x, u, x};
  return op == 2 || op == 3 ? VariateArgs(c, first[op]) : Args(c, first[op]);
}

bool Discrete(const Case& c) { return quarn::test::FamilyNamed(c.name).integer_deviate; }

double ToDouble(HostObject h) { return QuarnFloat(h).ToDouble(); }

// Calls an entry that should succeed; a host error fails the test, naming
// the call, and gives the undefined float.
HostObject Evaluate(HostEntry entry, const std::vector<HostObject>& args) {
  try {
    return Call(entry, args);
  } catch (const host::Error& e) {
    ADD_FAILURE() << "(" << host::Print(host::MakeSeq(args)) << ") raised: " << e.message();
    return host::FloatUndefined();
  }
}

double Probability(const Case& c, double x) {
  if (c.cdf) return c.cdf(x, c.params);
  return ToDouble(Evaluate(EntryNamed(EntryName(c, "Probability")), Args(c, host::MakeFloat(x))));
}

std::vector<QuarnFloat> Elements(HostObject rtable) {
  QKernel kv = host::Kernel();
  auto* data = static_cast<QuarnFloat*>(RTableDataBlock(kv, rtable));
  return std::vector<QuarnFloat>(data, data + RTableNumElements(kv, rtable));
}

bool SameFloat(const QuarnFloat& a, const QuarnFloat& b) { return mpfr_equal_p(a.Mpfr(), b.Mpfr()); }

uint64_t Seed() {
  if (const char* s = std::getenv("QUARN_TEST_SEED")) return std::strtoull(s, nullptr, 10);
  return 20240611;
}

struct Moments {
  double mean, variance, kurtosis;
};

std::map<std::string, Moments> MomentTable() {
  std::map<std::string, Moments> out;
  for (const auto& row : quarn::test::ReadTable("distribution_moments.tsv")) {
    out[row[0]] = {std::stod(row[2]), std::stod(row[3]), std::stod(row[4])};
  }
  return out;
}

}  // namespace

// The cases cover every family of the library; the entries that exist are
// exactly those of each case's arity list, and one argument too few or too
// many raises the entry's own message with the whole argument sequence.
TEST(DistributionTable, EntriesAndArgumentCountMessages) {
  ASSERT_EQ(Families().size(), Cases().size());
  std::vector<std::pair<std::string, int>> entries = {{"QuarnNormalDeviateApprox", 1}, {"QuarnNormalWApprox", 3}};
  for (const Case& c : Cases()) {
    EXPECT_NO_THROW(quarn::test::FamilyNamed(c.name)) << c.name;
    for (int op = 0; op < kNumOps; ++op) {
      if (Arity(c, op) >= 0) {
        entries.push_back({EntryName(c, kOps[op]), Arity(c, op)});  // EntryNamed below throws when it is missing
      } else {
        EXPECT_THROW(EntryNamed(EntryName(c, kOps[op])), std::out_of_range) << EntryName(c, kOps[op]);
      }
    }
  }
  for (const auto& [entry, n] : entries) {
    for (int given : {n - 1, n + 1}) {
      SCOPED_TRACE(entry + " with " + std::to_string(given) + " arguments");
      std::vector<HostObject> args;
      for (int i = 0; i < given; ++i) args.push_back(host::MakeFloat(0.25 * (i + 1)));
      HostObject seq = host::MakeSeq(args);
      EXPECT_EQ(ErrorOf([&] { EntryNamed(entry)(host::Kernel(), seq); }),
                host::FormatMessage(CountText(entry, n), seq));
    }
  }
  EXPECT_EQ(ErrorOf([] { Call(EntryNamed("QuarnBetaDeviate"), Floats({0.5, 2})); }),
            "QuarnBetaDeviate expects 3 arguments, received: 0.5, 2.");
}

// An argument that does not evaluate to a float is named; arguments are
// converted in order, so with two such arguments the first is named, and
// nothing is drawn.
TEST(DistributionTable, UnconvertibleArgumentsAreNamed) {
  ScopedRandomState state;
  for (const Case& c : Cases()) {
    for (int op = 0; op < kNumOps; ++op) {
      std::string entry = EntryName(c, kOps[op]);
      if (Arity(c, op) < 0 || entry == "QuarnErrorDeviate") continue;
      std::vector<HostObject> valid = ValidArgs(c, op);
      // The sample length and the flag are not floats.
      const size_t end = valid.size() - (op >= 2 && c.flag ? 1 : 0);
      for (size_t i = (op == 3 ? 1 : 0); i < end; ++i) {
        SCOPED_TRACE(entry + " argument " + std::to_string(i + 1));
        std::vector<HostObject> args = valid;
        args[i] = host::Name("bad" + std::to_string(i + 1));
        if (i + 1 < end) args[i + 1] = host::Name("later");
        std::string before = host::RandomState();
        EXPECT_EQ(ErrorOf([&] { Call(EntryNamed(entry), args); }),
                  "unable to evaluate bad" + std::to_string(i + 1) + " to floating-point");
        EXPECT_TRUE(before == host::RandomState());
      }
    }
  }
}

// Probabilities lie in [0, 1], never decrease, and rise over [lo, hi]
// (inside the support: outside it the routines of some families refuse x).
TEST(DistributionTable, ProbabilityIsMonotoneAndBounded) {
  for (const Case& c : Cases()) {
    if (c.cdf) continue;
    SCOPED_TRACE(c.name);
    double previous = -1;
    for (int k = 0; k <= 40; ++k) {
      double x = c.lo + (c.hi - c.lo) * k / 40.0;
      double p = Probability(c, x);
      EXPECT_GE(p, 0.0) << x;
      EXPECT_LE(p, 1.0) << x;
      EXPECT_GE(p, previous) << x;
      previous = p;
    }
    EXPECT_LT(Probability(c, c.lo), Probability(c, c.hi));
  }
}

// An integer deviate is the smallest integer whose probability reaches u;
// so at a level between P(k - 1) and P(k) it is k.
void ExpectSmallestIntegerReaching(const Case& c, HostEntry probability, HostEntry deviate) {
  for (double u : {0.01, 0.05, 0.25, 0.5, 0.75, 0.95, 0.99}) {
    HostObject k = Evaluate(deviate, Args(c, host::MakeFloat(u)));
    ASSERT_EQ(host::KindOf(k), host::Kind::Integer) << "u = " << u;
    double kd = ToDouble(k);
    EXPECT_GE(QuarnFloat(Evaluate(probability, Args(c, host::MakeFloat(kd)))).ToDouble(), u) << "u = " << u;
    // (The negative binomial probability refuses x < 0.)
    if (kd > 0) {
      EXPECT_LT(QuarnFloat(Evaluate(probability, Args(c, host::MakeFloat(kd - 1)))).ToDouble(), u) << "u = " << u;
    }
  }
  QuarnFloat below(0.0);
  for (double x = 0; x <= c.hi; ++x) {
    QuarnFloat p(Evaluate(probability, Args(c, host::MakeFloat(x))));
    if (p > below) {
      QuarnFloat u = (below + p) / 2.0;
      EXPECT_EQ(ToDouble(Evaluate(deviate, Args(c, u.Handle()))), x) << "u = " << host::Print(u.Handle());
    }
    below = p;
  }
}

// Probability(Deviate(u)) = u and Deviate(Probability(x)) = x to nearly the
// working precision.
TEST(DistributionTable, DeviateInvertsProbability) {
  for (long digits : {10L, 30L}) {
    ScopedDigits d(digits);
    const double tol = std::pow(10.0, 3.0 - digits);
    for (const Case& c : Cases()) {
      if (c.cdf || c.arity[1] < 0) continue;
      SCOPED_TRACE(std::string(c.name) + " at Digits " + std::to_string(digits));
      HostEntry probability = EntryNamed(EntryName(c, "Probability")), deviate = EntryNamed(EntryName(c, "Deviate"));
      if (Discrete(c)) {
        ExpectSmallestIntegerReaching(c, probability, deviate);
        continue;
      }
      for (double u : {0.05, 0.25, 0.5, 0.75, 0.95}) {
        HostObject x = Evaluate(deviate, Args(c, host::MakeFloat(u)));
        QuarnFloat back(Evaluate(probability, Args(c, x)));
        EXPECT_NEAR(back.ToDouble(), u, tol) << "u = " << u;
        // The same to all digits, not just those a double shows.
        EXPECT_LE(std::fabs((back - QuarnFloat(u)).ToDouble()), tol) << "u = " << u;
      }
      for (int k = 1; k < 8; ++k) {
        double x = c.lo + (c.hi - c.lo) * k / 8.0;
        HostObject p = Evaluate(probability, Args(c, host::MakeFloat(x)));
        if (ToDouble(p) < 0.02 || ToDouble(p) > 0.98) continue;
        QuarnFloat back(Evaluate(deviate, Args(c, p)));
        EXPECT_LE(std::fabs((back - QuarnFloat(x)).ToDouble()), tol * std::max(1.0, std::fabs(x))) << "x = " << x;
      }
    }
  }
}

// The upper tail is the complement of the lower one, computed directly: at
// 30 digits P + Q = 1, the upper deviate inverts the upper probability and
// agrees with the lower deviate at 1 - q, and the density is the slope of
// the probability (a central difference, good to about h^2, or h at the
// Laplace density's cusp).
TEST(DistributionTable, UpperTailsAndDensityMatchTheProbability) {
  ScopedDigits d(30);
  for (const Case& c : Cases()) {
    if (c.cdf || !HasUpperAndDensity(c)) continue;
    SCOPED_TRACE(c.name);
    HostEntry upper = EntryNamed(EntryName(c, "UpperProbability")), upper_deviate = EntryNamed(EntryName(c, "UpperDeviate")),
              density = EntryNamed(EntryName(c, "Density")), deviate = EntryNamed(EntryName(c, "Deviate"));
    for (int k = 1; k < 8; ++k) {
      const double x = c.lo + (c.hi - c.lo) * k / 8.0, h = 1e-5 * (c.hi - c.lo);
      QuarnFloat p(Evaluate(EntryNamed(EntryName(c, "Probability")), Args(c, host::MakeFloat(x))));
      QuarnFloat q(Evaluate(upper, Args(c, host::MakeFloat(x))));
      EXPECT_LE(std::fabs((p + q - 1.0).ToDouble()), 1e-29) << "x = " << x;
      QuarnFloat back(Evaluate(upper_deviate, Args(c, q.Handle())));
      EXPECT_LE(std::fabs((back - QuarnFloat(x)).ToDouble()), 1e-26 * std::max(1.0, std::fabs(x))) << "x = " << x;
      double slope = (Probability(c, x + h) - Probability(c, x - h)) / (2 * h);
      double f = ToDouble(Evaluate(density, Args(c, host::MakeFloat(x))));
      EXPECT_NEAR(f, slope, 1e-4 * std::max(1.0, f)) << "x = " << x;
    }
    // No infinity times 0: the density vanishes at infinity (where the
    // family's routine does not refuse it), and undefined stays undefined.
    HostObject at_infinity = nullptr;
    if (ErrorOf([&] { at_infinity = Call(density, Args(c, host::FloatInfinity(1))); }).empty()) {
      EXPECT_EQ(ToDouble(at_infinity), 0.0);
    }
    EXPECT_TRUE(IsQuarnFloatUndefined(QuarnFloat(Evaluate(density, Args(c, host::FloatUndefined())))));
    for (double level : {0.0625, 0.25, 0.5, 0.875}) {  // exact, and so is 1 - level
      QuarnFloat from_upper(Evaluate(upper_deviate, Args(c, host::MakeFloat(level))));
      QuarnFloat from_lower(Evaluate(deviate, Args(c, host::MakeFloat(1 - level))));
      EXPECT_LE(std::fabs((from_upper - from_lower).ToDouble()), 1e-27 * std::max(1.0, std::fabs(from_lower.ToDouble())))
          << "q = " << level;
    }
  }
}

// A deviate that refuses a level of exactly 1 (the routines', whose upper
// end has no finite deviate) names the entry that takes the upper tail; other
// refused levels get the routine's message alone, and Digits is as it was.
// (The families without upper-tail entries search their probability with
// the root finders, whose own messages end a search that cannot reach 1.)
TEST(DistributionTable, DeviateAtLevelOneNamesTheUpperTailEntry) {
  std::vector<std::string> refusing;
  for (const Case& c : Cases()) {
    if (c.arity[1] < 0 || c.cdf || !HasUpperAndDensity(c)) continue;
    const long digits = host::WorkingDigits();
    std::string at_one = ErrorOf([&] { Call(EntryNamed(EntryName(c, "Deviate")), Args(c, host::MakeFloat(1))); });
    EXPECT_EQ(digits, host::WorkingDigits()) << c.name;
    if (at_one.empty()) continue;
    refusing.push_back(c.name);
    const std::string hint = " A level of 1 has no finite deviate; for levels near 1, " + EntryName(c, "UpperDeviate") +
                             " takes the upper-tail probability 1 - u itself.";
    ASSERT_GT(at_one.size(), hint.size()) << c.name;
    EXPECT_EQ(at_one.substr(at_one.size() - hint.size()), hint) << c.name;
    std::string above = ErrorOf([&] { Call(EntryNamed(EntryName(c, "Deviate")), Args(c, host::MakeFloat(1.5))); });
    EXPECT_EQ(above.find(EntryName(c, "UpperDeviate")), std::string::npos) << above;
  }
  EXPECT_EQ(refusing, (std::vector<std::string>{"ChiSquare", "FRatio", "Gamma", "LogNormal", "Normal", "StudentT"}));
}

// From the same state of the generator, the parameter-array overload gives
// the explicit entry's variate, and a sample is a new vector 1..n of floats,
// those variates drawn one after the other; n = 0 draws nothing.
TEST(DistributionTable, ArrayOverloadAndSampleRepeatTheVariate) {
  ScopedRandomState state;
  QKernel kv = host::Kernel();
  for (const Case& c : Cases()) {
    SCOPED_TRACE(c.name);
    const FamilyEntries& f = quarn::test::FamilyNamed(c.name);
    std::vector<QuarnFloat> p(c.params.begin(), c.params.end());
    for (uint64_t seed = Seed(); f.array_variate && seed < Seed() + 5; ++seed) {
      host::SeedRandom(seed);
      QuarnFloat explicit_variate(Call(f.variate, Args(c)));
      host::SeedRandom(seed);
      EXPECT_TRUE(SameFloat(explicit_variate, f.array_variate(kv, p.data()))) << "seed " << seed;
    }

    host::SeedRandom(Seed());
    HostObject sample = Call(f.sample, VariateArgs(c, host::MakeInteger(5)));
    ASSERT_TRUE(IsQuarnRTable(kv, sample));
    EXPECT_EQ(RTableLowerBound(kv, sample, 1), 1);
    EXPECT_EQ(RTableUpperBound(kv, sample, 1), 5);
    std::vector<QuarnFloat> values = Elements(sample);
    host::SeedRandom(Seed());
    for (const QuarnFloat& v : values) {
      EXPECT_EQ(host::KindOf(v.Handle()), host::Kind::Float);
      // The geometric sample draws exponentials instead of inverting.
      if (std::string(c.name) != "Geometric") {
        EXPECT_TRUE(SameFloat(v, QuarnFloat(Call(f.variate, VariateArgs(c)))));
      }
    }
    std::string before = host::RandomState();
    EXPECT_EQ(RTableNumElements(kv, Call(f.sample, VariateArgs(c, host::MakeInteger(0)))), 0u);
    EXPECT_TRUE(before == host::RandomState());
    // (The normal sample's first argument may also be an output vector.)
    for (HostObject bad : {host::MakeInteger(-1), host::MakeFloat(2.5)}) {
      if (std::string(c.name) == "Normal") break;
      EXPECT_EQ(ErrorOf([&] { Call(f.sample, VariateArgs(c, bad)); }),
                "the sample size must be a non-negative integer, received: " + host::Print(bad));
    }
  }
}

// The chi-square statistic of an integer-valued sample against the masses
// F(k) - F(k - 1), in cells of consecutive integers (with both tails) merged
// until each expects at least 5, and its 0.1% critical value (Wilson and
// Hilferty's approximation).
std::pair<double, double> ChiSquareFit(const Case& c, const std::vector<double>& sorted) {
  const double n = static_cast<double>(sorted.size());
  std::vector<std::pair<double, double>> cells;  // (observed, expected)
  double below = 0;  // F at the top of the previous cell
  double observed = 0, expected = 0;
  size_t i = 0;
  for (double k = sorted.front(); k < sorted.back(); ++k) {
    while (i < sorted.size() && sorted[i] <= k) ++i, ++observed;
    double f = Probability(c, k);
    expected += n * (f - below);
    below = f;
    if (expected >= 5) {
      cells.push_back({observed, expected});
      observed = expected = 0;
    }
  }
  observed += static_cast<double>(sorted.size() - i);
  expected += n * (1 - below);
  if (cells.empty() || expected >= 5) {
    cells.push_back({observed, expected});
  } else {
    cells.back().first += observed;
    cells.back().second += expected;
  }
  double statistic = 0;
  for (auto [o, e] : cells) statistic += (o - e) * (o - e) / e;
  const double df = std::max(1.0, static_cast<double>(cells.size()) - 1);
  const double h = 2 / (9 * df);
  return {statistic, df * std::pow(1 - h + 3.0902 * std::sqrt(h), 3)};
}

// 2000 seeded variates of each family: the Kolmogorov-Smirnov statistic
// against the distribution function stays below its 0.1% critical value
// 1.95/sqrt(n) (for the integer-valued families, which put every variate
// on an integer of positive mass, the chi-square statistic below its 0.1%
// critical value), and mean and variance are within five standard errors.
TEST(DistributionTable, LargeSamplesFollowTheDistribution) {
  constexpr int n = 2000;
  ScopedRandomState state;
  const std::map<std::string, Moments> moments = MomentTable();
  for (const Case& c : Cases()) {
    SCOPED_TRACE(std::string(c.name) + ", seed " + std::to_string(Seed()) + " (QUARN_TEST_SEED)");
    host::SeedRandom(Seed());
    std::vector<double> x;
    HostObject sample = Call(EntryNamed(EntryName(c, "RandomSample")), VariateArgs(c, host::MakeInteger(n)));
    for (const QuarnFloat& v : Elements(sample)) x.push_back(v.ToDouble());
    ASSERT_EQ(x.size(), static_cast<size_t>(n));
    std::sort(x.begin(), x.end());
    if (Discrete(c)) {
      // Every variate an integer of positive mass.
      for (size_t i = 0; i < x.size(); ++i) {
        if (i > 0 && x[i] == x[i - 1]) continue;
        EXPECT_EQ(x[i], std::floor(x[i]));
        EXPECT_GT(Probability(c, x[i]), x[i] > 0 ? Probability(c, x[i] - 1) : 0.0) << x[i];
      }
      auto [statistic, critical] = ChiSquareFit(c, x);
      EXPECT_LT(statistic, critical);
    } else {
      double ks = 0;
      for (int i = 0; i < n; ++i) {
        double p = Probability(c, x[i]);
        ks = std::max({ks, p - static_cast<double>(i) / n, static_cast<double>(i + 1) / n - p});
      }
      EXPECT_LT(ks, 1.95 / std::sqrt(static_cast<double>(n)));
    }

    auto m = moments.find(c.name);
    if (m == moments.end()) continue;  // Cauchy has none
    double mean = 0, ss = 0;
    for (double v : x) mean += v;
    mean /= n;
    for (double v : x) ss += (v - mean) * (v - mean);
    double variance = ss / (n - 1);
    const Moments& exact = m->second;
    EXPECT_NEAR(mean, exact.mean, 5 * std::sqrt(exact.variance / n));
    EXPECT_NEAR(variance, exact.variance, 5 * exact.variance * std::sqrt((exact.kurtosis - 1) / n));
  }
}
