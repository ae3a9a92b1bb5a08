// Speed of the Fourier transforms, kernel density estimation, the moving
// median and TallyInto at Digits 30, each next to its reference:
//
//   smoothing_bench transforms   c06faf and c06fbf of lengths 2^10, 2^16 and
//                                3*10^4 against one bare acb_dft of the same
//                                length at the working precision (the
//                                ceiling: no rounding test, no conversions)
//   smoothing_bench density      KernelDensity of 10^5 points on 1024 nodes
//                                against the direct O(n m) Gaussian kernel sum
//                                over bare MPFR numbers (timed on 16 nodes and
//                                scaled to 1024: the sum is linear in m)
//   smoothing_bench median       MovingMedian, window 101, over 10^5 values
//   smoothing_bench tally        TallyInto of 10^6 values into 100 cells
//
// Each line is tab separated: case, what, seconds (CPU, the fastest of
// three runs), and a per-item figure or a check value. Release build only.
#include <acb_dft.h>
#include <mpfr.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "platform/float/quarnfloat.h"
#include "platform/host/host.h"
#include "platform/numerics/numerics.h"
#include "stats/frame/frame.h"
#include "stats/manipulation/manipulation.h"
#include "stats/smoothing/smoothing.h"

namespace {

namespace host = quarn::host;

double CpuSeconds() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// The fastest of `runs` runs of f, in CPU seconds.
double Fastest(const std::function<void()>& f, int runs = 3) {
  double best = 1e300;
  for (int r = 0; r < runs; ++r) {
    const double t0 = CpuSeconds();
    f();
    best = std::min(best, CpuSeconds() - t0);
  }
  return best;
}

// Normal(0, 1) points from a fixed seed, as doubles.
std::vector<double> Points(size_t n, unsigned seed) {
  std::mt19937_64 gen(seed);
  std::normal_distribution<double> normal;
  std::vector<double> x(n);
  for (double& v : x) v = normal(gen);
  return x;
}

// A general sfloat vector of the values.
HostObject SfloatVector(const std::vector<double>& values) {
  RTableSettingsRecord rts;
  RTableGetDefaults(host::Kernel(), &rts);
  rts.element_type_name = host::Name("sfloat");
  int bounds[2] = {1, static_cast<int>(values.size())};
  HostObject rt = RTableCreate(host::Kernel(), &rts, nullptr, bounds);
  auto* x = static_cast<QuarnFloat*>(RTableDataBlock(host::Kernel(), rt));
  for (size_t i = 0; i < values.size(); ++i) x[i] = QuarnFloat(values[i]);
  return rt;
}

HostObject EmptyVector() { return SfloatVector({}); }

int Transforms() {
  for (long n : {1024L, 65536L, 30000L}) {
    const std::vector<double> data = Points(static_cast<size_t>(n), 7);
    std::vector<QuarnFloat> x(static_cast<size_t>(n)), work(static_cast<size_t>(n));
    auto load = [&] {
      for (long j = 0; j < n; ++j) x[j] = QuarnFloat(data[j]);
    };
    long ifail = 0;
    const double faf = Fastest([&] {
      load();
      QuarnMP_c06faf_(x.data(), &n, work.data(), &ifail);
    });
    const double fbf = Fastest([&] {
      load();
      QuarnMP_c06fbf_(x.data(), &n, work.data(), &ifail);
    });
    const double loading = Fastest(load);
    acb_ptr v = _acb_vec_init(n), w = _acb_vec_init(n);
    for (long j = 0; j < n; ++j) arb_set_d(acb_realref(v + j), data[j]);
    const slong bits = static_cast<slong>(QuarnWorkingBits());
    const double bare = Fastest([&] { acb_dft(w, v, n, bits); });
    _acb_vec_clear(v, n);
    _acb_vec_clear(w, n);
    std::printf("transform\t%ld\tc06faf\t%.6f\t%.3f\n", n, faf - loading, (faf - loading) / bare);
    std::printf("transform\t%ld\tc06fbf\t%.6f\t%.3f\n", n, fbf - loading, (fbf - loading) / bare);
    std::printf("transform\t%ld\tacb_dft\t%.6f\t1\n", n, bare);
    std::fflush(stdout);
    if (ifail != 0) return 1;
  }
  return 0;
}

int Density() {
  const size_t n = 100000;
  const long m = 1024;
  const std::vector<double> data = Points(n, 11);
  const HostObject points = SfloatVector(data), none = EmptyVector();
  const double a = -6, b = 6, h = 0.25;
  HostObject result = nullptr;
  const double ours = Fastest([&] {
    result = STATS_QuarnKernelDensity_MP(
        host::Kernel(), host::MakeSeq({points, none, host::MakeInteger(0), host::MakeFloat(h), host::MakeInteger(m),
                                       host::True(), host::MakeFloat(a), host::MakeFloat(b)}));
  });
  // The direct sum f(x_k) = sum_i exp(-(x_k - x_i)^2 / (2 h^2)) / (n h sqrt(2 pi))
  // on 16 of the nodes, in MPFR at the working precision.
  const mpfr_prec_t bits = QuarnWorkingBits();
  std::vector<__mpfr_struct> xs(n);
  for (size_t i = 0; i < n; ++i) {
    mpfr_init2(&xs[i], bits);
    mpfr_set_d(&xs[i], data[i], MPFR_RNDN);
  }
  mpfr_t node, d, s, e, c;
  mpfr_inits2(bits, node, d, s, e, c, static_cast<mpfr_ptr>(nullptr));
  const long sampled = 16;
  std::vector<double> direct(sampled);
  const double t_direct = Fastest(
      [&] {
        for (long q = 0; q < sampled; ++q) {
          const long k = q * (m / sampled) + m / (2 * sampled);
          mpfr_set_d(node, a + k * (b - a) / (m - 1), MPFR_RNDN);
          mpfr_set_zero(s, 1);
          for (size_t i = 0; i < n; ++i) {
            mpfr_sub(d, node, &xs[i], MPFR_RNDN);
            mpfr_sqr(d, d, MPFR_RNDN);
            mpfr_div_d(d, d, -2 * h * h, MPFR_RNDN);
            mpfr_exp(e, d, MPFR_RNDN);
            mpfr_add(s, s, e, MPFR_RNDN);
          }
          mpfr_const_pi(c, MPFR_RNDN);
          mpfr_mul_2ui(c, c, 1, MPFR_RNDN);
          mpfr_sqrt(c, c, MPFR_RNDN);
          mpfr_mul_d(c, c, h * static_cast<double>(n), MPFR_RNDN);
          mpfr_div(s, s, c, MPFR_RNDN);
          direct[q] = mpfr_get_d(s, MPFR_RNDN);
        }
      },
      1);
  // How far the binned estimate is from the exact one at those nodes,
  // relative to the largest value: the nodes sum to n/(b - a), so the
  // estimate is the kernel estimate times about m/(m - 1), plus the
  // binning's own error, of the order of the squared grid step.
  const auto* r = static_cast<const QuarnFloat*>(RTableDataBlock(host::Kernel(), result));
  double worst = 0, top = 0;
  for (long q = 0; q < sampled; ++q) {
    const long k = q * (m / sampled) + m / (2 * sampled);
    worst = std::max(worst, std::fabs(r[k].ToDouble() - direct[q]));
    top = std::max(top, direct[q]);
  }
  worst /= top;
  std::printf("density\tquarnstats\t%.6f\t%.3g\n", ours, worst);
  std::printf("density\tdirect (scaled from %ld nodes)\t%.6f\t%.1f\n", sampled, t_direct * m / sampled,
              t_direct * m / sampled / ours);
  for (auto& v : xs) mpfr_clear(&v);
  mpfr_clears(node, d, s, e, c, static_cast<mpfr_ptr>(nullptr));
  return 0;
}

int Median() {
  const size_t n = 100000;
  const long w = 101;
  const HostObject data = SfloatVector(Points(n, 13));
  const double t = Fastest([&] {
    STATS_QuarnMovingMedian_MP(host::Kernel(), host::MakeSeq({data, host::MakeInteger(w), host::MakeInteger(0),
                                                              EmptyVector(), host::False(), host::False()}));
  });
  const double outputs = static_cast<double>(n - w + 1);
  std::printf("median\twindow %ld over %zu\t%.6f\t%.3f us/output\n", w, n, t, t * 1e6 / outputs);
  return 0;
}

int Tally() {
  const size_t n = 1000000;
  const HostObject data = SfloatVector(Points(n, 17));
  const HostObject ranges = host::MakeList({host::MakeRange(host::MakeInteger(-5), host::MakeInteger(5))});
  HostObject result = nullptr;
  const double t = Fastest([&] {
    result = STATS_QuarnTallyInto_MP(host::Kernel(), host::MakeSeq({data, EmptyVector(), host::False(), ranges,
                                                                    host::MakeInteger(100)}));
  });
  long counted = 0;
  for (HostObject e : host::Elements(result)) {
    long c = 0;
    host::IntegerToLong(host::Slot(e, 2), &c);
    counted += c;
  }
  std::printf("tally\t%zu values, 100 cells\t%.6f\t%.1f ns/value\t%ld counted\n", n, t, t * 1e9 / n, counted);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  host::Initialize();
  STATS_StatsInitialize_MP(host::Kernel(), host::Null());
  host::SetDigits(30);
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "transforms") return Transforms();
  if (mode == "density") return Density();
  if (mode == "median") return Median();
  if (mode == "tally") return Tally();
  std::fprintf(stderr, "usage: %s transforms | density | median | tally\n", argv[0]);
  return 2;
}
