// Inverse-transform and kernel-density sampling with the host's generator
// seeded: the same seed gives the same sample; replaying the generator's
// uniforms, each inverse-transform value is within the tolerance of the
// exact inverse, and each kernel-density value has the drawn share of the
// area to its left (the area integrated forward, piece by piece); a
// combination of two variables passes a Kolmogorov-Smirnov test against its
// distribution.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "stats/frame/frame.h"
#include "stats/sampling/inverse.h"
#include "support/support.h"

namespace host = quarn::host;
using namespace quarnstats;
using quarn::test::kv;
using quarn::test::ScopedDigits;
using quarn::test::ScopedRandomState;

namespace {

QuarnFloat Arg(HostObject args) { return QuarnFloat(host::Elements(args).empty() ? args : host::Elements(args)[0]); }
HostObject Proc(host::NativeProc fn) { return host::MakeProcedure(fn, nullptr, "proc(x) native end"); }

// Exponential(1) and uniform(0, 1) distribution functions and densities.
HostObject ExpCdf(QKernel, HostObject, HostObject x) { return FloatToHost(1.0 - exp(-Arg(x))); }
HostObject ExpPdf(QKernel, HostObject, HostObject x) { return FloatToHost(exp(-Arg(x))); }
HostObject UniCdf(QKernel, HostObject, HostObject x) {
  const QuarnFloat v = Arg(x);
  return FloatToHost(v < 0 ? QuarnFloat(0.0) : v > 1 ? QuarnFloat(1.0) : v);
}
HostObject UniPdf(QKernel, HostObject, HostObject x) {
  const QuarnFloat v = Arg(x);
  return FloatToHost(QuarnFloat(v < 0 || v > 1 ? 0.0 : 1.0));
}
HostObject Sum(QKernel, HostObject, HostObject args) {
  return FloatToHost(QuarnFloat(host::Elements(args)[0]) + QuarnFloat(host::Elements(args)[1]));
}

std::vector<QuarnFloat> Values(HostObject rt) {
  const auto* x = static_cast<const QuarnFloat*>(RTableDataBlock(kv(), rt));
  return std::vector<QuarnFloat>(x, x + RTableNumElements(kv(), rt));
}

// The generator's next n uniforms from the given seed.
std::vector<QuarnFloat> Uniforms(uint64_t seed, long n) {
  host::SeedRandom(seed);
  std::vector<QuarnFloat> u;
  for (long i = 0; i < n; ++i) u.push_back(UniformFloat());
  return u;
}

HostObject Sample(uint64_t seed, HostObject (*entry)(QKernel, HostObject), const std::vector<HostObject>& args) {
  host::SeedRandom(seed);
  return entry(kv(), host::MakeSeq(args));
}

struct InverseCase {
  const char* name;
  host::NativeProc cdf, pdf;
  double a, b;
  std::function<QuarnFloat(const QuarnFloat&)> inverse;
};

TEST(InverseSampling, WithinToleranceOfTheExactInverseAndReproducible) {
  ScopedDigits digits(30);
  ScopedRandomState state;
  const InverseCase cases[] = {
      {"exponential", ExpCdf, ExpPdf, 0.0, 60.0, [](const QuarnFloat& t) { return -log(1.0 - t); }},
      {"uniform", UniCdf, UniPdf, 0.0, 1.0, [](const QuarnFloat& t) { return t; }},
  };
  const long n = 300;
  for (const InverseCase& c : cases) {
    SCOPED_TRACE(c.name);
    const HostObject eps = host::ParseFloat("1e-25");
    const std::vector<HostObject> args = {host::MakeInteger(n),   Proc(c.cdf),           Proc(c.pdf),
                                          host::MakeFloat(c.a), host::MakeFloat(c.b), eps};
    const std::vector<QuarnFloat> x = Values(Sample(11, STATS_QuarnInverseDistributionSampleId_MP, args));
    const std::vector<QuarnFloat> again = Values(Sample(11, STATS_QuarnInverseDistributionSampleId_MP, args));
    const std::vector<QuarnFloat> u = Uniforms(11, n);
    const QuarnFloat Fa = QuarnFloat(host::Apply(Proc(c.cdf), host::MakeFloat(c.a)));
    const QuarnFloat Fb = QuarnFloat(host::Apply(Proc(c.cdf), host::MakeFloat(c.b)));
    ASSERT_EQ(x.size(), static_cast<size_t>(n));
    for (long i = 0; i < n; ++i) {
      EXPECT_TRUE(x[i] == again[i]) << i;
      const QuarnFloat exact = c.inverse(Fa + u[i] * (Fb - Fa));
      EXPECT_LE(fabs(x[i] - exact).ToDouble(), 2e-25) << i << ": " << host::Print(x[i].Handle());
    }
  }
}

// X + Y for independent uniforms on [0, 1] has the triangular distribution
// on [0, 2]; the sample of 1000 must pass the KS test at the 1% level.
TEST(InverseSampling, CombinationPassesKolmogorovSmirnov) {
  ScopedDigits digits(15);
  ScopedRandomState state;
  const HostObject uniform = host::MakeList({host::Name("U"), Proc(UniCdf), Proc(UniPdf)});
  const std::vector<QuarnFloat> x =
      Values(Sample(5, STATS_QuarnInverseDistributionSample_MP,
                    {host::MakeInteger(1000), Proc(Sum), host::MakeList({uniform, uniform}), host::MakeFloat(1.0),
                     host::ParseFloat("1e-12")}));
  std::vector<double> s;
  for (const QuarnFloat& v : x) s.push_back(v.ToDouble());
  std::sort(s.begin(), s.end());
  auto F = [](double z) { return z <= 1 ? z * z / 2 : 1 - (2 - z) * (2 - z) / 2; };
  double d = 0;
  for (size_t i = 0; i < s.size(); ++i)
    d = std::max({d, std::fabs(F(s[i]) - double(i) / s.size()), std::fabs(F(s[i]) - double(i + 1) / s.size())});
  EXPECT_LT(d * std::sqrt(double(s.size())), 1.63);
  EXPECT_GE(s.front(), 0.0);
  EXPECT_LE(s.back(), 2.0);
}

// Area under the grid density (piecewise linear through the grid values,
// with a triangle on either side) from a - h up to z.
QuarnFloat AreaTo(const std::vector<double>& D, double a, double b, const QuarnFloat& z) {
  const long m = static_cast<long>(D.size());
  const QuarnFloat h = QuarnFloat(b - a) / QuarnFloat(m - 1);
  // Nodes of the density: a - h (0), the grid, b + h (0).
  std::vector<QuarnFloat> xs = {QuarnFloat(a) - h}, ys = {QuarnFloat(0.0)};
  for (long j = 0; j < m; ++j) {
    xs.push_back(QuarnFloat(a) + h * QuarnFloat(j));
    ys.push_back(QuarnFloat(D[j]));
  }
  xs.push_back(QuarnFloat(b) + h);
  ys.push_back(QuarnFloat(0.0));
  QuarnFloat area = 0.0;
  for (size_t j = 0; j + 1 < xs.size() && xs[j] < z; ++j) {
    const QuarnFloat right = z < xs[j + 1] ? z : xs[j + 1], w = right - xs[j];
    const QuarnFloat y_right = ys[j] + (ys[j + 1] - ys[j]) * (w / (xs[j + 1] - xs[j]));
    area += w * (ys[j] + y_right) / 2.0;
  }
  return area;
}

TEST(KernelDensitySampling, EachValueHasTheDrawnShareOfTheArea) {
  ScopedDigits digits(30);
  ScopedRandomState state;
  struct Grid {
    std::vector<double> D;
    double a, b;
  };
  // The worked example, a grid with flat cells, one that starts at 0.
  const Grid grids[] = {{{1, 2}, 0, 1}, {{0.5, 1, 1, 1, 0.25, 0.25}, -2, 3}, {{0, 3, 1, 4}, 10, 11.5}};
  const long n = 200;
  for (const Grid& g : grids) {
    std::vector<HostObject> values;
    for (double v : g.D) values.push_back(host::MakeFloat(v));
    RTableSettingsRecord rts;
    RTableGetDefaults(kv(), &rts);
    int bounds[2] = {1, static_cast<int>(values.size())};
    const HostObject D = RTableCreate(kv(), &rts, values.data(), bounds);
    const std::vector<HostObject> args = {D, host::MakeFloat(g.a), host::MakeFloat(g.b), host::MakeInteger(n)};
    const std::vector<QuarnFloat> x = Values(Sample(3, STATS_QuarnKernelDensitySample_MP, args));
    const std::vector<QuarnFloat> u = Uniforms(3, n);
    const QuarnFloat total = AreaTo(g.D, g.a, g.b, QuarnFloat(1e9));
    for (long i = 0; i < n; ++i) {
      SCOPED_TRACE("grid starting " + std::to_string(g.a) + ", value " + std::to_string(i));
      EXPECT_LE(fabs(AreaTo(g.D, g.a, g.b, x[i]) - u[i] * total).ToDouble(), 1e-27 * total.ToDouble());
    }
  }
}

}  // namespace
