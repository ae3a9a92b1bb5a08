// The variate algorithms beyond what the conformance suite checks for every
// family: the ziggurats (table rebuilding, precision, tails, symmetry), the
// identities between variates drawn from the same generator state, gamma
// and beta shapes below one, the normal sample's output vector, and the
// Error distribution's deviate; and the routines' messages in the entries'
// names.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "stats/distributions/distributions.h"
#include "stats/distributions/internal.h"
#include "registry.h"
#include "support/support.h"
#include "tables.h"

namespace host = quarn::host;
using namespace quarnstats::dist;
using namespace quarn::test;

namespace {

constexpr double kNormalTail = 3.65415288;
constexpr double kExponentialTail = 7.69711747;

std::vector<double> Sample(const std::string& family, int n, const std::vector<double>& params) {
  std::vector<HostObject> args = {host::MakeInteger(n)};
  for (double p : params) args.push_back(host::MakeFloat(p));
  HostObject rt = Call(EntryNamed("Quarn" + family + "RandomSample"), args);
  auto* data = static_cast<QuarnFloat*>(RTableDataBlock(kv(), rt));
  std::vector<double> out;
  for (size_t i = 0; i < RTableNumElements(kv(), rt); ++i) out.push_back(data[i].ToDouble());
  return out;
}

// The Kolmogorov-Smirnov statistic of x against the distribution function F.
template <class F>
double KolmogorovSmirnov(std::vector<double> x, F cdf) {
  std::sort(x.begin(), x.end());
  double n = static_cast<double>(x.size()), d = 0;
  for (size_t i = 0; i < x.size(); ++i) {
    double p = cdf(x[i]);
    d = std::max({d, p - i / n, (i + 1) / n - p});
  }
  return d;
}

double NormalCdf(double z) { return 0.5 * std::erfc(-z / std::sqrt(2.0)); }

// Sample mean and (biased) variance.
std::pair<double, double> MeanAndVariance(const std::vector<double>& x) {
  double sum = 0, squares = 0;
  for (double v : x) {
    sum += v;
    squares += v * v;
  }
  double n = static_cast<double>(x.size()), mean = sum / n;
  return {mean, squares / n - mean * mean};
}

bool SameFloat(const QuarnFloat& a, const QuarnFloat& b) { return mpfr_equal_p(a.Mpfr(), b.Mpfr()); }

// Two variates drawn from the same generator state.
template <class A, class B>
void ExpectSameVariate(A first, B second, const std::string& what) {
  for (uint64_t seed = 11; seed < 16; ++seed) {
    host::SeedRandom(seed);
    QuarnFloat a = first();
    host::SeedRandom(seed);
    QuarnFloat b = second();
    EXPECT_TRUE(SameFloat(a, b)) << what << ", seed " << seed << ": " << host::Print(a.Handle()) << " vs "
                                 << host::Print(b.Handle());
  }
}

}  // namespace

// Each ziggurat has its own tables, rebuilt only when Digits grows.
TEST(Ziggurat, TablesAreRebuiltOnlyWhenDigitsGrow) {
  ScopedRandomState state;
  const QuarnFloat zero(0.0), one(1.0);
  long base = std::max({NormalTablesDigits(), ExponentialTablesDigits(), 20L}) + 5;
  for (auto [digits, built] : {std::pair{base, base}, {base - 3, base}, {base + 1, base + 1}}) {
    SCOPED_TRACE("Digits " + std::to_string(digits));
    ScopedDigits d(digits);
    STATS_NormalRandomVariate_MP(kv(), zero, one);
    EXPECT_EQ(NormalTablesDigits(), built);
    if (digits == base) {
      EXPECT_LT(ExponentialTablesDigits(), base);
    }
    STATS_ExponentialRandomVariate_MP(kv(), one);
    EXPECT_EQ(ExponentialTablesDigits(), built);
  }
}

// The tables are multiprecision: variates at 40 digits are not doubles, and
// they come at the working precision whatever the tables were built at.
TEST(Ziggurat, VariatesCarryTheWorkingPrecision) {
  ScopedRandomState state;
  host::SeedRandom(7);
  for (long digits : {40L, 25L}) {
    ScopedDigits d(digits);
    const QuarnFloat zero(0.0), one(1.0);
    int beyond_double = 0;
    for (int i = 0; i < 100; ++i) {
      QuarnFloat normal = STATS_NormalRandomVariate_MP(kv(), zero, one);
      QuarnFloat exponential = STATS_ExponentialRandomVariate_MP(kv(), one);
      for (const QuarnFloat& x : {normal, exponential}) {
        EXPECT_EQ(mpfr_get_prec(x.Mpfr()), mpfr_get_prec(zero.Mpfr()));
        if (mpfr_cmp_d(x.Mpfr(), x.ToDouble()) != 0) ++beyond_double;
      }
    }
    EXPECT_GE(beyond_double, 195) << "Digits " << digits;
  }
}

// 10^6 normal variates: both tails beyond r occur, the two halves balance,
// also near 0, the variance is 1 within 4.5 standard errors (0.64%: a
// wedge test that accepted every wedge point would give 1.0079), and the
// whole follows the normal law.
TEST(Ziggurat, NormalSampleIsSymmetricWithBothTails) {
  ScopedRandomState state;
  ScopedDigits d(15);
  host::SeedRandom(20240611);
  constexpr int n = 1000000;
  std::vector<double> z = Sample("Normal", n, {0, 1});
  int upper = 0, lower = 0, negative = 0, near_plus = 0, near_minus = 0;
  for (double v : z) {
    upper += v > kNormalTail;
    lower += v < -kNormalTail;
    negative += v < 0;
    near_plus += v > 0 && v < 0.25;
    near_minus += v < 0 && v > -0.25;
  }
  // Each tail expects 129; each side of the band 98706, their difference
  // has standard deviation 444.
  EXPECT_GE(upper, 60);
  EXPECT_GE(lower, 60);
  EXPECT_LE(upper + lower, 400);
  EXPECT_NEAR(negative, n / 2, 2500);
  EXPECT_NEAR(near_plus, near_minus, 2220);
  auto [mean, variance] = MeanAndVariance(z);
  EXPECT_NEAR(mean, 0, 5 / std::sqrt(static_cast<double>(n)));
  EXPECT_NEAR(variance, 1, 4.5 * std::sqrt(2.0 / n));
  EXPECT_LT(KolmogorovSmirnov(z, NormalCdf), 1.95 / std::sqrt(static_cast<double>(n)));
}

// The cap, the layer above x_1 = 0.2152, makes only 0.26% of the variates,
// too few for the balance above to show a lost sign. So: draws whose first
// random integer j selects the cap (j & 255 = 1) are accepted there at once
// about two times in three and then have the sign of j (j <= 0 negative);
// after a rejection the sign is that of a fresh draw.
TEST(Ziggurat, NormalCapGivesBothSigns) {
  ScopedRandomState state;
  ScopedDigits d(15);
  int with_sign[2] = {0, 0}, draws[2] = {0, 0};
  for (uint64_t seed = 1; draws[0] + draws[1] < 120; ++seed) {
    host::SeedRandom(seed);
    int32_t j = QuarnRandomInt32(kv());
    if ((j & 255) != 1) continue;
    host::SeedRandom(seed);
    double x = StandardNormal().ToDouble();
    EXPECT_NE(x, 0.0);
    int negative = j <= 0;
    ++draws[negative];
    with_sign[negative] += negative ? x < 0 : x > 0;
  }
  // 0.83 expected on each side; a cap that lost the sign gives 0.17 on one.
  EXPECT_GT(with_sign[0], 0.65 * draws[0]);
  EXPECT_GT(with_sign[1], 0.65 * draws[1]);
}

// 3 10^5 exponential variates: none negative, the tail beyond de is reached
// (expected 136 times), mean and variance are 1 within 4.5 standard errors
// (0.82% and 2.3%: accepting every wedge point would give 1.0061 and
// 1.0297), and the law is exponential.
TEST(Ziggurat, ExponentialSampleReachesItsTail) {
  ScopedRandomState state;
  ScopedDigits d(15);
  host::SeedRandom(20240612);
  constexpr int n = 300000;
  std::vector<double> e = Sample("Exponential", n, {1});
  EXPECT_GE(*std::min_element(e.begin(), e.end()), 0.0);
  long tail = std::count_if(e.begin(), e.end(), [](double v) { return v > kExponentialTail; });
  EXPECT_GE(tail, 80);
  EXPECT_LE(tail, 200);
  auto [mean, variance] = MeanAndVariance(e);
  EXPECT_NEAR(mean, 1, 4.5 / std::sqrt(static_cast<double>(n)));
  EXPECT_NEAR(variance, 1, 4.5 * std::sqrt(8.0 / n));
  EXPECT_LT(KolmogorovSmirnov(e, [](double x) { return -std::expm1(-x); }), 1.95 / std::sqrt(static_cast<double>(n)));
}

TEST(VariateIdentities, ChiSquareIsGammaOfScaleTwo) {
  ScopedRandomState state;
  for (double nu : {3.0, 0.5, 2.0}) {  // shapes 1.5, 0.25 (below one) and 1 (exponential)
    QuarnFloat q(nu);
    ExpectSameVariate([&] { return STATS_ChiSquareRandomVariate_MP(kv(), q); },
                      [&] { return STATS_GammaRandomVariate_MP(kv(), QuarnFloat(2.0), q / 2); },
                      "chi-square " + std::to_string(nu));
  }
  ExpectSameVariate([] { return STATS_GammaRandomVariate_MP(kv(), QuarnFloat(3.0), QuarnFloat(1.0)); },
                    [] { return STATS_ExponentialRandomVariate_MP(kv(), QuarnFloat(3.0)); }, "gamma of shape 1");
}

TEST(VariateIdentities, ErrorShapesOneAndTwo) {
  ScopedRandomState state;
  const QuarnFloat a(0.5), b(1.5);
  ExpectSameVariate([&] { return STATS_ErrorRandomVariate_MP(kv(), a, b, QuarnFloat(1.0)); },
                    [&] { return STATS_NormalRandomVariate_MP(kv(), a, b); }, "shape 1 is normal");
  ExpectSameVariate([&] { return STATS_ErrorRandomVariate_MP(kv(), a, b, QuarnFloat(2.0)); },
                    [&] { return STATS_LaplaceRandomVariate_MP(kv(), a, QuarnFloat(3.0)); }, "shape 2 is Laplace 2b");
  ExpectSameVariate([&] { return STATS_ErrorRandomVariate_MP(kv(), a, b, QuarnFloat(3.0)); },
                    [&] { return a + STATS_ErrorRandomVariate_MP(kv(), QuarnFloat(0.0), b, QuarnFloat(3.0)); },
                    "location");
  host::SeedRandom(5);
  std::vector<double> x = Sample("Error", 2000, {0, 1, 3});
  long negative = std::count_if(x.begin(), x.end(), [](double v) { return v < 0; });
  EXPECT_NEAR(negative, 1000, 120);
}

// The shapes below one take the other branch of the gamma generator.
TEST(VariateIdentities, ShapesBelowOneFollowTheirLaws) {
  ScopedRandomState state;
  host::SeedRandom(99);
  const double critical = 1.95 / std::sqrt(3000.0);
  // Gamma(shape 1/2, scale 1): P(X <= x) = erf(sqrt x).
  EXPECT_LT(KolmogorovSmirnov(Sample("Gamma", 3000, {1, 0.5}), [](double x) { return std::erf(std::sqrt(x)); }),
            critical);
  // Beta(1/2, 1/2), the arcsine law: (2/Pi) asin(sqrt x).
  EXPECT_LT(KolmogorovSmirnov(Sample("Beta", 3000, {0.5, 0.5}),
                              [](double x) { return 2 / M_PI * std::asin(std::sqrt(x)); }),
            critical);
}

// The normal sample fills a given vector in place, or makes one of the given
// length (which vectors it accepts is GetOutputVector's, tests/stats/frame).
TEST(NormalSample, FillsAGivenVectorInPlace) {
  ScopedRandomState state;
  HostEntry sample = EntryNamed("QuarnNormalRandomSample");
  RTableSettingsRecord rts;
  RTableGetDefaults(kv(), &rts);
  rts.num_dimensions = 1;
  rts.data_type = RTABLE_DAG;
  rts.storage = RTABLE_RECT;
  int bounds[2] = {1, 6};
  HostObject out = RTableCreate(kv(), &rts, nullptr, bounds);
  const QuarnFloat mu(-1.0), sigma(0.5);
  host::SeedRandom(3);
  EXPECT_EQ(Call(sample, {out, mu.Handle(), sigma.Handle()}), out);
  host::SeedRandom(3);
  auto* data = static_cast<QuarnFloat*>(RTableDataBlock(kv(), out));
  for (int i = 0; i < 6; ++i) EXPECT_TRUE(SameFloat(data[i], STATS_NormalRandomVariate_MP(kv(), mu, sigma))) << i;
  HostObject made = Call(sample, {host::MakeInteger(4), mu.Handle(), sigma.Handle()});
  EXPECT_NE(made, out);
  EXPECT_EQ(RTableNumElements(kv(), made), 4u);
}

namespace {

// The standard normal distribution function and density as host procedures,
// at the working precision (the host's erfc, MPFR's).
HostObject NormalCdfProcedure(QKernel, HostObject, HostObject args) {
  return (QuarnEvalf1("erfc", -QuarnFloat(args) / sqrt(QuarnFloat(2.0))) / 2.0).Handle();
}
HostObject NormalDensityProcedure(QKernel, HostObject, HostObject args) {
  QuarnFloat x(args);
  return (exp(-(x * x) / 2.0) / sqrt(2.0 * QuarnEvalf1("arctan", QuarnFloat(1.0)) * 4.0)).Handle();
}

}  // namespace

// The Error deviate inverts the host's own distribution function by Newton's
// method; here the function of shape 1, the standard normal.
TEST(ErrorDeviate, InvertsTheHostsDistributionFunction) {
  HostEntry deviate = EntryNamed("QuarnErrorDeviate");
  HostObject F = host::MakeProcedure(NormalCdfProcedure, nullptr, "proc(x) Phi(x) end");
  HostObject f = host::MakeProcedure(NormalDensityProcedure, nullptr, "proc(x) phi(x) end");
  auto at = [&](double u, double a, HostObject cdf, HostObject density) {
    return Call(deviate,
                {host::MakeFloat(u), cdf, density, host::MakeFloat(a), host::MakeFloat(1), host::MakeFloat(1)});
  };
  {
    ScopedDigits d(25);
    std::string ref = quarn::test::ReferenceValue("QuarnNormalDeviate", "0.75,0,1");
    ASSERT_FALSE(ref.empty());
    QuarnFloat got(at(0.75, 0, F, f));
    EXPECT_LT(std::fabs((got - QuarnFloat(host::ParseFloat(ref))).ToDouble()), 1e-23) << host::Print(got.Handle());
    // u = 1/2 starts at a itself, where F already equals u.
    EXPECT_EQ(QuarnFloat(at(0.5, 0, F, f)).ToDouble(), 0.0);
    // The start a + tan(3.1 (u - 1/2)) lies far out for u near 1: for a law
    // with normal tails the first step overshoots to where the density is 0.
    EXPECT_EQ(ErrorOf([&] { at(0.96875, 0, F, f); }), "NewtonRaphson root-finding method failed to converge.");
  }
  EXPECT_EQ(ErrorOf([&] { at(0.5, 0, host::MakeFloat(1), f); }),
            "QuarnErrorDeviate expects a procedure as its second parameter, received: 1.");
  EXPECT_EQ(ErrorOf([&] { at(0.5, 0, F, host::Name("g")); }),
            "QuarnErrorDeviate expects a procedure as its third parameter, received: g");
}

// A routine's failure as the entry's user reads it: argument names in the
// entry's terms (the common ones and the entry's own), no routine name.
TEST(EntryMessages, NameTheEntrysArguments) {
  struct Case {
    const char* routine_text;
    std::initializer_list<ArgumentName> renames;
    const char* expected;
  };
  const Case cases[] = {
      {"g must be non-negative, received g = -1.", {}, "x must be non-negative, received x = -1."},
      {"p must be in [0, 1), received p = 2.", {}, "u must be in [0, 1), received u = 2."},
      {"p must be in (0, 1), received p = 1.5.", {{"p", "p"}}, "p must be in (0, 1), received p = 1.5."},
      {"a must be at most 1e18, received a = 2.e18.", {{"a", "c"}}, "c must be at most 1e18, received c = 2.e18."},
      {"l must be at most n, received l = 12, n = 10.", {{"n", "N"}, {"l", "L"}},
       "L must be at most N, received L = 12, N = 10."},
      {"df and lambda must not both be 0, received df = 0, lambda = 0.", {},
       "nu and lambda must not both be 0, received nu = 0, lambda = 0."},
      {"df must be at most 1e300, received df = 1.e301.", {}, "nu must be at most 1e300, received nu = 1.e301."},
      {"QuarnMP_g01fbc could not determine its result to the working precision (Digits = 50).", {},
       "the computation could not determine its result to the working precision (Digits = 50)."},
      {"QuarnMP_g01gcc needs 84 terms on a side of its Poisson sum at Digits = 10, more than max_iter = 3; raise it.",
       {}, "the computation needs 84 terms on a side of its Poisson sum at Digits = 10, more than "
           "_EnvStatisticsIterations = 3; raise it."},
      {"QuarnMP_g01gcc: the series would need more than 50000000 terms.", {},
       "the series would need more than 50000000 terms."},
      {"Parameter B is 0.5, a disallowed value.", {{"a", "c"}}, "Parameter B is 0.5, a disallowed value."},
  };
  for (const Case& c : cases) EXPECT_EQ(EntryMessage(c.routine_text, c.renames), c.expected) << c.routine_text;
}
