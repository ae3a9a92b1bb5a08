// The generators and sampling entries: alias urn frequencies, the envelope
// generator against a density it samples, the default generator by type id,
// RandomSample's combinations, the bootstrap entries, and that a seed
// reproduces every sample. Argument messages are in tests/scripts/sampling.q.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "stats/distributions/distributions.h"
#include "stats/sampling/sampling.h"
#include "support/support.h"

namespace host = quarn::host;
using namespace quarn::test;

namespace {

// The chi-square statistic of counts against expected counts, and its 0.1%
// critical value (Wilson and Hilferty).
bool FitsAtOnePermille(const std::vector<double>& observed, const std::vector<double>& expected) {
  double statistic = 0;
  for (size_t i = 0; i < observed.size(); ++i) statistic += std::pow(observed[i] - expected[i], 2) / expected[i];
  const double df = static_cast<double>(observed.size()) - 1, h = 2 / (9 * df);
  return statistic < df * std::pow(1 - h + 3.0902 * std::sqrt(h), 3);
}

HostObject Floats(const std::vector<double>& values) {
  std::vector<HostObject> out;
  for (double v : values) out.push_back(host::MakeFloat(v));
  return host::MakeList(out);
}

// A vector of general type holding floats.
HostObject Vector(const std::vector<double>& values) {
  RTableSettingsRecord rts;
  RTableGetDefaults(kv(), &rts);
  rts.num_dimensions = 1;
  rts.data_type = RTABLE_DAG;
  rts.storage = RTABLE_RECT;
  int bounds[2] = {1, static_cast<int>(values.size())};
  HostObject rt = RTableCreate(kv(), &rts, nullptr, bounds);
  auto* data = static_cast<QuarnFloat*>(RTableDataBlock(kv(), rt));
  for (size_t i = 0; i < values.size(); ++i) data[i] = QuarnFloat(values[i]);
  return rt;
}

std::vector<double> Doubles(HostObject rt) {
  std::vector<double> out;
  const size_t n = RTableNumElements(kv(), rt);
  for (size_t i = 0; i < n; ++i) {
    int index = static_cast<int>(i) + 1;
    out.push_back(QuarnFloat(host::RTableElementObject(rt, &index)).ToDouble());
  }
  return out;
}

HostObject Call(const char* entry, const std::vector<HostObject>& args) {
  static const std::map<std::string, HostObject (*)(QKernel, HostObject)> entries = {
      {"RandomSample", &STATS_QuarnRandomSample_MP},
      {"AliasUrnSample", &STATS_QuarnAliasUrnSample_MP},
      {"BootstrapSample", &STATS_QuarnBootstrapSample_MP},
      {"BootstrapStatistic", &STATS_QuarnBootstrapStatistic_MP},
      {"BootstrapStatisticRV", &STATS_QuarnBootstrapStatisticRV_MP},
      {"NonCentralChiSquareRandomSample", &STATS_QuarnNonCentralChiSquareRandomSample_MP},
  };
  // Slot by slot, so that a NULL argument keeps its place.
  HostObject seq = NewQuarnExpressionSequence(kv(), static_cast<int>(args.size()));
  for (size_t i = 0; i < args.size(); ++i) QuarnExpseqAssign(kv(), seq, static_cast<int>(i) + 1, args[i]);
  return entries.at(entry)(kv(), seq);
}

// Host procedures of the tests: the unnormalised standard normal density
// e^(-x^2/2) and its derivative (counting its calls), the sum of two
// floats, the mean of a vector, and the non-central chi-square(3, 2)
// density with its two derivatives (in double precision, as Poisson
// mixtures of the central densities).
int g_slope_calls = 0;
HostObject Density(QKernel, HostObject, HostObject x) { return exp(-(QuarnFloat(x) * QuarnFloat(x)) / 2.0).Handle(); }
HostObject Slope(QKernel, HostObject, HostObject x) {
  ++g_slope_calls;
  QuarnFloat v(x);
  return (-v * exp(-(v * v) / 2.0)).Handle();
}
HostObject Sum(QKernel kv, HostObject, HostObject args) {
  return (QuarnFloat(QuarnExpseqSelect(kv, args, 1)) + QuarnFloat(QuarnExpseqSelect(kv, args, 2))).Handle();
}
HostObject Mean(QKernel, HostObject, HostObject v) {
  std::vector<double> x = Doubles(v);
  double s = 0;
  for (double e : x) s += e;
  return host::MakeFloat(s / static_cast<double>(x.size()));
}

double NormalCdf(double z) { return 0.5 * std::erfc(-z / std::sqrt(2.0)); }

// The r-th derivative (r = 0, 1, 2) of the chi-square(3, lambda = 2)
// density: sum_j e^-1 / j! times that of chi-square(3 + 2j), whose density
// g has g' = g c and g'' = g (c^2 - h / x^2) with h = k/2 - 1, c = h/x - 1/2.
template <int r>
HostObject NonCentralChiSquareDensity(QKernel, HostObject, HostObject arg) {
  const double x = QuarnFloat(arg).ToDouble();
  double total = 0;
  for (int j = 0; j < 60; ++j) {
    const double k = 3.0 + 2 * j, h = k / 2 - 1, c = h / x - 0.5;
    const double g = std::exp(-1.0 - std::lgamma(j + 1.0) + h * std::log(x) - x / 2 - (k / 2) * std::log(2.0) -
                              std::lgamma(k / 2));
    total += r == 0 ? g : (r == 1 ? g * c : g * (c * c - h / (x * x)));
  }
  return host::MakeFloat(total);
}

}  // namespace

// Draws from urns over weights in m cells (cells beyond the weights hand
// their draws to their aliases) follow the weights; a weight of 0 is never
// drawn.
TEST(AliasUrn, DrawsFollowTheWeights) {
  ScopedRandomState state;
  host::SeedRandom(17);
  const std::vector<std::pair<std::vector<double>, int>> urns = {
      {{1, 3}, 2}, {{1, 1}, 2}, {{5, 1, 1, 3}, 4}, {{2, 1}, 3}, {{0.5, 0, 0.25, 2}, 7}, {{4}, 1}};
  for (const auto& [weights, m] : urns) {
    std::vector<QuarnFloat> w(weights.begin(), weights.end());
    AliasUrn urn;
    urn.Build(m, static_cast<int32_t>(w.size()), w.data());
    std::vector<double> counts(weights.size(), 0), expected;
    double total = 0;
    for (double v : weights) total += v;
    constexpr int draws = 20000;
    for (int i = 0; i < draws; ++i) {
      int32_t cell = urn.Draw();
      ASSERT_GE(cell, 0);
      ASSERT_LT(cell, static_cast<int32_t>(weights.size()));
      ++counts[static_cast<size_t>(cell)];
    }
    std::vector<double> observed;
    for (size_t i = 0; i < weights.size(); ++i) {
      if (weights[i] == 0) {
        EXPECT_EQ(counts[i], 0) << "cell " << i;
        continue;
      }
      observed.push_back(counts[i]);
      expected.push_back(draws * weights[i] / total);
    }
    if (observed.size() > 1) {
      EXPECT_TRUE(FitsAtOnePermille(observed, expected)) << weights.size() << " weights in " << m << " cells";
    }
  }
}

// The envelope generator over e^(-x^2/2) on [-4, 4] with base points at
// the inflection points and the mode: k points make k - 1 elements; with
// room for more, rejections split elements; without, f' is never evaluated
// after the start; the variates follow the normal law truncated to [-4, 4].
TEST(EnvelopeGenerator, SamplesTheDensityItIsGiven) {
  ScopedRandomState state;
  host::SeedRandom(5);
  HostObject f = host::MakeProcedure(Density, nullptr, "x -> exp(-x^2/2)");
  HostObject df = host::MakeProcedure(Slope, nullptr, "x -> -x exp(-x^2/2)");
  HostObject base = Floats({-4, -1, 0, 1, 4});
  for (int maximum : {4, 50}) {
    SCOPED_TRACE("maximum " + std::to_string(maximum));
    STATS_EnvelopeGenerator_MP g(kv());
    ASSERT_EQ(g.Initialize(kv(), host::MakeList({f, df, base, host::MakeInteger(maximum), host::True()})), 1u);
    EXPECT_EQ(g.Elements(), 4u);
    g_slope_calls = 0;
    std::vector<double> x;
    for (int i = 0; i < 4000; ++i) x.push_back(g.Generate(kv()).ToDouble());
    if (maximum == 4) {
      EXPECT_EQ(g_slope_calls, 0);
    } else {
      EXPECT_GT(g.Elements(), 4u);
      EXPECT_LE(g.Elements(), 50u);
    }
    std::sort(x.begin(), x.end());
    const double lo = NormalCdf(-4), mass = NormalCdf(4) - lo, n = static_cast<double>(x.size());
    double ks = 0;
    for (size_t i = 0; i < x.size(); ++i) {
      double p = (NormalCdf(x[i]) - lo) / mass;
      ks = std::max({ks, p - static_cast<double>(i) / n, static_cast<double>(i + 1) / n - p});
    }
    EXPECT_LT(ks, 1.95 / std::sqrt(n));
    EXPECT_GE(x.front(), -4.0);
    EXPECT_LE(x.back(), 4.0);
  }
  // Base points that leave the inflection points inside the elements (the
  // tangents at 0 and 3 meet near -27): the draws stay on [-3, 3].
  STATS_EnvelopeGenerator_MP loose(kv());
  ASSERT_EQ(loose.Initialize(kv(), host::MakeList({f, df, Floats({-3, 0, 3}), host::MakeInteger(20), host::True()})),
            1u);
  for (int i = 0; i < 500; ++i) {
    const double x = loose.Generate(kv()).ToDouble();
    ASSERT_TRUE(x >= -3.0 && x <= 3.0) << x;
  }
  // One base point is no interval: nothing to build.
  STATS_EnvelopeGenerator_MP single(kv());
  EXPECT_EQ(single.Initialize(kv(), host::MakeList({f, df, Floats({0}), host::MakeInteger(5), host::True()})), 0u);
}

// The six-argument non-central chi-square sample: the envelope generator
// over the density the host gives, between the deviates at 0.1/n and
// 1 - 0.1/n, follows the distribution truncated there.
TEST(EnvelopeGenerator, NonCentralChiSquareSampleFromTheHostsDensity) {
  ScopedRandomState state;
  host::SeedRandom(8);
  constexpr int n = 2000;
  HostObject sample = Call("NonCentralChiSquareRandomSample",
                           {host::MakeInteger(n), host::MakeFloat(3), host::MakeFloat(2),
                            host::MakeProcedure(NonCentralChiSquareDensity<0>, nullptr, "f"),
                            host::MakeProcedure(NonCentralChiSquareDensity<1>, nullptr, "df"),
                            host::MakeProcedure(NonCentralChiSquareDensity<2>, nullptr, "ddf")});
  std::vector<double> x = Doubles(sample);
  ASSERT_EQ(x.size(), static_cast<size_t>(n));
  std::sort(x.begin(), x.end());
  auto cdf = [](double v) {
    return STATS_NonCentralChiSquareProbability_MP(kv(), v, 3.0, 2.0, 1e-10).ToDouble();
  };
  // The levels 0.1 / n and 1 - 0.1 / n bound the sample.
  EXPECT_GE(cdf(x.front()), 0.5e-4);
  EXPECT_LE(cdf(x.back()), 1 - 0.5e-4);
  const double lo = 0.1 / n, mass = 1 - 0.2 / n;
  double ks = 0;
  for (size_t i = 0; i < x.size(); ++i) {
    double p = (cdf(x[i]) - lo) / mass;
    ks = std::max({ks, p - static_cast<double>(i) / n, static_cast<double>(i + 1) / n - p});
  }
  EXPECT_LT(ks, 1.95 / std::sqrt(static_cast<double>(n)));
}

// Each type id draws its family's parameter-array variate from the
// coefficients (slots beyond them 0.0); ids 7, 32 and those outside 1..33
// name nothing.
TEST(DefaultGenerator, TypeIdsSelectTheFamiliesVariates) {
  ScopedRandomState state;
  const std::vector<std::pair<long, std::vector<double>>> cases = {
      {1, {0.25}}, {2, {2, 3}}, {3, {20, 0.375}}, {6, {1, 6}}, {12, {0.25}}, {14, {20, 8, 5}}, {21, {3, 0.375}},
      {22, {2, 3, 1}}, {23, {10, 1}}, {24, {0, 1}}, {26, {3.5}}, {29, {5}}, {31, {2, 4}}, {33, {2, 1.5}}};
  for (const auto& [id, coefficients] : cases) {
    SCOPED_TRACE("id " + std::to_string(id));
    STATS_DefaultGenerator_MP g(kv());
    ASSERT_EQ(g.Initialize(kv(), host::MakeList({host::MakeInteger(id), Floats(coefficients)})), 1u);
    std::vector<QuarnFloat> p(5, QuarnFloat(0.0));
    std::copy(coefficients.begin(), coefficients.end(), p.begin());
    host::SeedRandom(static_cast<uint64_t>(id));
    QuarnFloat from_generator = g.Generate(kv());
    host::SeedRandom(static_cast<uint64_t>(id));
    QuarnFloat from_family = STATS_DefaultGenerator_MP::VariateOf(id)(kv(), p.data());
    EXPECT_TRUE(mpfr_equal_p(from_generator.Mpfr(), from_family.Mpfr()));
  }
  EXPECT_EQ(STATS_DefaultGenerator_MP::VariateOf(24),
            static_cast<STATS_ArrayVariate_MP>(&STATS_NormalRandomVariate_MP));
  for (long id : {0L, 7L, 32L, 34L, -3L}) {
    STATS_DefaultGenerator_MP g(kv());
    EXPECT_EQ(g.Initialize(kv(), host::MakeList({host::MakeInteger(id), Floats({1})})), 0u) << id;
  }
}

// Without a procedure the output holds the first generator's variates; with
// one, the procedure at one variate of each generator in turn.
TEST(RandomSample, FirstGeneratorOrCombination) {
  ScopedRandomState state;
  HostObject normal = host::MakeList({host::MakeInteger(0), host::MakeList({host::MakeInteger(24), Floats({0, 1})})});
  HostObject uniform = host::MakeList({host::MakeInteger(0), host::MakeList({host::MakeInteger(31), Floats({2, 4})})});
  HostObject both = host::MakeList({normal, uniform});
  const QuarnFloat zero(0.0), one(1.0), two(2.0), four(4.0);
  host::SeedRandom(9);
  std::vector<double> first = Doubles(Call("RandomSample", {Vector({0, 0, 0}), host::Null(), both, host::False()}));
  host::SeedRandom(9);
  for (double v : first) EXPECT_EQ(v, STATS_NormalRandomVariate_MP(kv(), zero, one).ToDouble());
  HostObject sum = host::MakeProcedure(Sum, nullptr, "(x, y) -> x + y");
  host::SeedRandom(9);
  std::vector<double> sums = Doubles(Call("RandomSample", {Vector({0, 0, 0}), sum, both, host::False()}));
  host::SeedRandom(9);
  for (double v : sums) {
    QuarnFloat x = STATS_NormalRandomVariate_MP(kv(), zero, one);
    QuarnFloat y = STATS_UniformRandomVariate_MP(kv(), two, four);
    EXPECT_EQ(v, (x + y).ToDouble());
  }
  // An empty list leaves the output as it was.
  HostObject untouched = Vector({7});
  EXPECT_EQ(Call("RandomSample", {untouched, host::Name("anything"), host::MakeList({}), host::False()}), untouched);
  EXPECT_EQ(Doubles(untouched)[0], 7.0);
}

// Bootstrap samples draw data elements uniformly or by their weights; the
// statistic of resamples of the mean has the mean and spread of the data's
// mean; BootstrapStatisticRV hands the length argument to the sampler as it
// is.
TEST(Bootstrap, ResamplesFollowTheDataAndWeights) {
  ScopedRandomState state;
  host::SeedRandom(21);
  HostObject data = Vector({1, 2, 3, 4});
  for (const auto& weights : std::vector<std::vector<double>>{{}, {1, 2, 3, 4}}) {
    std::vector<double> x = Doubles(Call("BootstrapSample", {data, host::MakeInteger(100), host::MakeInteger(100),
                                                             Vector(weights)}));
    ASSERT_EQ(x.size(), 10000u);
    std::vector<double> counts(4, 0), expected;
    for (double v : x) ++counts[static_cast<size_t>(v) - 1];
    for (int i = 0; i < 4; ++i) expected.push_back(weights.empty() ? 2500 : 1000.0 * (i + 1));
    EXPECT_TRUE(FitsAtOnePermille(counts, expected)) << weights.size() << " weights";
  }
  HostObject mean = host::MakeProcedure(Mean, nullptr, "v -> mean(v)");
  std::vector<double> means = Doubles(Call("BootstrapStatistic", {data, Vector({}), mean, host::MakeInteger(25),
                                                                  host::MakeInteger(400)}));
  ASSERT_EQ(means.size(), 400u);
  double m = 0, ss = 0;
  for (double v : means) m += v / 400;
  for (double v : means) ss += (v - m) * (v - m) / 399;
  // The data have mean 2.5 and variance 1.25: resample means of 25 points
  // have variance 0.05.
  EXPECT_NEAR(m, 2.5, 5 * std::sqrt(0.05 / 400));
  EXPECT_NEAR(ss, 0.05, 0.02);
  HostObject echo = host::MakeProcedure([](QKernel, HostObject, HostObject a) { return a; }, nullptr, "n -> n");
  HostObject first = host::MakeProcedure(
      [](QKernel kv, HostObject, HostObject l) { return QuarnListSelect(kv, l, 1); }, nullptr, "l -> l[1]");
  std::vector<double> passed = Doubles(Call("BootstrapStatisticRV", {echo, first, Floats({6.5, 1}),
                                                                     host::MakeInteger(2)}));
  EXPECT_EQ(passed, (std::vector<double>{6.5, 6.5}));
}

// Every sampling entry gives the same output from the same seed.
TEST(Sampling, ASeedReproducesEverySample) {
  ScopedRandomState state;
  HostObject f = host::MakeProcedure(Density, nullptr, "x -> exp(-x^2/2)");
  HostObject df = host::MakeProcedure(Slope, nullptr, "x -> -x exp(-x^2/2)");
  HostObject mean = host::MakeProcedure(Mean, nullptr, "v -> mean(v)");
  HostObject envelope = host::MakeList(
      {host::MakeInteger(1), host::MakeList({f, df, Floats({-4, -1, 0, 1, 4}), host::MakeInteger(20), host::True()})});
  HostObject poisson = host::MakeList({host::MakeInteger(0), host::MakeList({host::MakeInteger(26), Floats({3})})});
  HostObject data = Vector({1, 5, 2, 8, 3});
  const std::vector<std::pair<const char*, std::function<std::vector<HostObject>()>>> calls = {
      {"RandomSample", [&] { return std::vector{Vector(std::vector<double>(20, 0)), host::Null(),
                                                host::MakeList({envelope, poisson}), host::False()}; }},
      {"AliasUrnSample", [&] { return std::vector{host::MakeInteger(20), Vector({1, 2, 3})}; }},
      {"BootstrapSample", [&] { return std::vector{data, host::MakeInteger(4), host::MakeInteger(5), Vector({})}; }},
      {"BootstrapStatistic", [&] { return std::vector{data, Vector({1, 1, 2, 2, 3}), mean, host::MakeInteger(5),
                                                      host::MakeInteger(6)}; }},
  };
  for (const auto& [entry, args] : calls) {
    host::SeedRandom(33);
    std::string first = host::Print(Call(entry, args()));
    host::SeedRandom(33);
    EXPECT_EQ(host::Print(Call(entry, args())), first) << entry;
    host::SeedRandom(34);
    EXPECT_NE(host::Print(Call(entry, args())), first) << entry;
  }
}
