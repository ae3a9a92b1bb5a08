// Descriptive statistics on a large sample: the library's entries next to
// the same work done the way a user of the peers would do it, Boost's
// mpfr_float with the standard algorithms (std::accumulate, std::nth_element,
// std::sort) and bare MPFR (mpfr_sum, std::nth_element and std::sort over
// mpfr_t). mpmath runs separately (peers_mpmath_descriptive.py) on the same
// data, which this program writes out.
//
//   descriptive_bench data N FILE        writes the N values (two doubles a line,
//                                        value = first + second * 2^-53)
//   descriptive_bench time N DIGITS      per-value times, tab-separated lines:
//                                        task  impl  ns_per_value  value
//   descriptive_bench memory N DIGITS    peak memory of the median entry against
//                                        the memory the sample itself takes
//
// Every implementation works on the same values; a task's "value" (the
// statistic, or a checksum of a sorted or ranked result) must agree across
// implementations. Times are process CPU time, the fastest of three runs;
// the library's entries get the data as a dense sfloat vector, as the shell
// builds it, and leave it unchanged (no in-place flag); the peers work on a
// fresh copy made before their clock starts.
#include <gmp.h>
#include <mpfr.h>

#include <algorithm>
#include <boost/multiprecision/mpfr.hpp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "platform/float/quarnfloat.h"
#include "platform/host/host.h"
#include "platform/host/quarnc.h"
#include "stats/descriptive/descriptive.h"
#include "stats/frame/frame.h"
#include "stats/manipulation/manipulation.h"

namespace {

namespace host = quarn::host;
using BoostFloat = boost::multiprecision::mpfr_float;

double CpuSeconds() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// The fastest of three runs of work, after prepare (untimed) each time.
double Fastest(const std::function<void()>& prepare, const std::function<void()>& work) {
  double best = 1e300;
  for (int run = 0; run < 3; ++run) {
    prepare();
    double t0 = CpuSeconds();
    work();
    best = std::min(best, CpuSeconds() - t0);
  }
  return best;
}

// The benchmark's values: first + second * 2^-53, with first uniform in
// [-500, 500) and second in [0, 1), from a fixed seed.
std::vector<std::pair<double, double>> Values(long n) {
  std::mt19937_64 rng(20261123);
  std::uniform_real_distribution<double> big(-500.0, 500.0), small(0.0, 1.0);
  std::vector<std::pair<double, double>> v(static_cast<size_t>(n));
  for (auto& p : v) p = {big(rng), small(rng)};
  return v;
}

void SetValue(mpfr_ptr x, const std::pair<double, double>& p) {
  MPFR_DECL_INIT(t, 53);
  mpfr_set_d(x, p.first, MPFR_RNDN);
  mpfr_set_d(t, p.second, MPFR_RNDN);
  mpfr_mul_2si(t, t, -53, MPFR_RNDN);
  mpfr_add(x, x, t, MPFR_RNDN);
}

std::string Text(mpfr_srcptr x, long digits) {
  char buf[256];
  mpfr_snprintf(buf, sizeof buf, "%.*Re", static_cast<int>(digits + 3), x);
  return buf;
}

// The values as the library gets them from the shell: a dense sfloat vector
// of floats at the working precision.
HostObject SfloatVector(const std::vector<std::pair<double, double>>& values) {
  RTableSettingsRecord rts;
  RTableGetDefaults(host::Kernel(), &rts);
  rts.element_type_name = host::Name("sfloat");
  int bounds[2] = {1, static_cast<int>(values.size())};
  HostObject v = RTableCreate(host::Kernel(), &rts, nullptr, bounds);
  auto* block = static_cast<HostObject*>(RTableDataBlock(host::Kernel(), v));
  for (size_t i = 0; i < values.size(); ++i) {
    HostObject f = host::NewFloat(host::WorkingBits(), host::WorkingDigits());
    SetValue(host::FloatMpfr(f), values[i]);
    block[i] = f;
  }
  return v;
}

HostObject Call(HostObject (*entry)(QKernel, HostObject), const std::vector<HostObject>& args) {
  return entry(host::Kernel(), host::MakeSeq(args));
}

// Bare MPFR numbers in one block, with the order the algorithms need.
struct BareArray {
  std::vector<__mpfr_struct> x;
  std::vector<mp_limb_t> limbs;
  BareArray(const std::vector<std::pair<double, double>>& values, mpfr_prec_t bits) : x(values.size()) {
    const size_t per = mpfr_custom_get_size(bits) / sizeof(mp_limb_t);
    limbs.resize(per * values.size());
    for (size_t i = 0; i < values.size(); ++i) {
      mpfr_custom_init_set(&x[i], MPFR_ZERO_KIND, 0, bits, &limbs[i * per]);
      SetValue(&x[i], values[i]);
    }
  }
};
bool BareLess(const __mpfr_struct& a, const __mpfr_struct& b) { return mpfr_less_p(&a, &b); }

// What a user writes with Boost or bare MPFR for a list of quantiles by the
// library's method 1: the order statistics at the positions, each selection
// on the part the previous one left above it.
template <class T, class Less>
void SelectQuantiles(std::vector<T>& v, const std::vector<size_t>& positions, Less less, std::vector<T*>* out) {
  size_t from = 0;
  for (size_t k : positions) {
    std::nth_element(v.begin() + static_cast<long>(from), v.begin() + static_cast<long>(k), v.end(), less);
    out->push_back(&v[k]);
    from = k;
  }
}

int Time(long n, long digits) {
  host::SetDigits(digits);
  const mpfr_prec_t bits = host::WorkingBits();
  BoostFloat::default_precision(static_cast<unsigned>(digits));
  const auto values = Values(n);
  const double per = 1e9 / static_cast<double>(n);
  auto report = [&](const char* task, const char* impl, double seconds, const std::string& value) {
    std::printf("%s\t%s\t%.2f\t%s\n", task, impl, seconds * per, value.c_str());
    std::fflush(stdout);
  };
  const char* levels[] = {"0.1", "0.2", "0.3", "0.4", "0.5", "0.6", "0.7", "0.8", "0.9"};

  HostObject data = SfloatVector(values), none = SfloatVector({});
  HostObject result = nullptr;
  auto nothing = [] {};
  // The levels as the shell reads 0.1, ..., 0.9, and the positions the
  // library's method 1 takes for them: ceil(n p) - 1 with n p rounded.
  std::vector<HostObject> level_floats;
  std::vector<size_t> positions;
  for (const char* text : levels) {
    level_floats.push_back(host::ParseFloat(text));
    MPFR_DECL_INIT(h, 256);
    mpfr_mul_ui(h, host::FloatMpfr(level_floats.back()), static_cast<unsigned long>(n), MPFR_RNDN);
    mpfr_prec_round(h, bits, MPFR_RNDN);
    mpfr_ceil(h, h);
    positions.push_back(static_cast<size_t>(mpfr_get_ui(h, MPFR_RNDN)) - 1);
  }
  HostObject level_list = host::MakeList(level_floats);
  auto float_text = [&](HostObject f) { return Text(host::FloatMpfr(host::Evalf(f)), digits); };

  double t = Fastest(nothing, [&] { result = Call(STATS_QuarnMean_MP, {data, none, host::False(), host::MakeInteger(0)}); });
  report("mean", "quarn", t, float_text(result));
  t = Fastest(nothing, [&] {
    HostObject m = Call(STATS_QuarnMean_MP, {data, none, host::False(), host::MakeInteger(0)});
    result = Call(STATS_QuarnMoment_MP, {data, host::MakeInteger(2), m, none, host::False()});
  });
  report("variance", "quarn", t, float_text(result));
  t = Fastest(nothing, [&] { result = Call(STATS_QuarnMedian_MP, {data, none, host::False(), host::False()}); });
  report("median", "quarn", t, float_text(result));
  t = Fastest(nothing, [&] {
    result = Call(STATS_QuarnQuantile_MP, {data, level_list, none, host::False(), host::MakeInteger(1), host::False()});
  });
  report("quantiles9", "quarn", t, float_text(host::Elements(result)[8]));
  t = Fastest(nothing, [&] { result = Call(STATS_QuarnSort_MP, {data, host::True(), host::False()}); });
  report("sort", "quarn", t, float_text(static_cast<HostObject*>(RTableDataBlock(host::Kernel(), result))[n / 3]));
  t = Fastest(nothing, [&] { result = Call(STATS_QuarnRankSort_MP, {data, host::MakeInteger(1), host::True()}); });
  report("rank", "quarn", t, std::to_string(static_cast<int32_t*>(RTableDataBlock(host::Kernel(), result))[n / 3]));

  // Bare MPFR.
  {
    BareArray a(values, bits);
    std::vector<mpfr_ptr> ptrs(values.size());
    for (size_t i = 0; i < ptrs.size(); ++i) ptrs[i] = &a.x[i];
    MPFR_DECL_INIT(s, 256);
    mpfr_t m, d;
    mpfr_inits2(bits, m, d, static_cast<mpfr_ptr>(nullptr));
    t = Fastest(nothing, [&] {
      mpfr_sum(m, ptrs.data(), ptrs.size(), MPFR_RNDN);
      mpfr_div_ui(m, m, static_cast<unsigned long>(n), MPFR_RNDN);
    });
    report("mean", "mpfr", t, Text(m, digits));
    BareArray squares(values, bits);
    std::vector<mpfr_ptr> sq(values.size());
    t = Fastest(nothing, [&] {
      mpfr_sum(m, ptrs.data(), ptrs.size(), MPFR_RNDN);
      mpfr_div_ui(m, m, static_cast<unsigned long>(n), MPFR_RNDN);
      for (size_t i = 0; i < sq.size(); ++i) {
        sq[i] = &squares.x[i];
        mpfr_sub(sq[i], &a.x[i], m, MPFR_RNDN);
        mpfr_sqr(sq[i], sq[i], MPFR_RNDN);
      }
      mpfr_sum(d, sq.data(), sq.size(), MPFR_RNDN);
      mpfr_div_ui(d, d, static_cast<unsigned long>(n), MPFR_RNDN);
    });
    report("variance", "mpfr", t, Text(d, digits));
    BareArray work(values, bits);
    auto reset = [&] {
      for (size_t i = 0; i < values.size(); ++i) mpfr_set(&work.x[i], &a.x[i], MPFR_RNDN);
    };
    t = Fastest(reset, [&] {
      const size_t k = static_cast<size_t>(n) / 2;
      std::nth_element(work.x.begin(), work.x.begin() + static_cast<long>(k), work.x.end(), BareLess);
      std::nth_element(work.x.begin(), work.x.begin() + static_cast<long>(k) - 1, work.x.begin() + static_cast<long>(k),
                       BareLess);
      mpfr_add(s, &work.x[k], &work.x[k - 1], MPFR_RNDN);
      mpfr_div_2ui(s, s, 1, MPFR_RNDN);
    });
    report("median", "mpfr", t, Text(s, digits));
    std::vector<__mpfr_struct*> q;
    t = Fastest([&] { reset(); q.clear(); }, [&] { SelectQuantiles(work.x, positions, BareLess, &q); });
    report("quantiles9", "mpfr", t, Text(q[8], digits));
    t = Fastest(reset, [&] { std::sort(work.x.begin(), work.x.end(), BareLess); });
    report("sort", "mpfr", t, Text(&work.x[static_cast<size_t>(n) / 3], digits));
    std::vector<unsigned> idx(values.size()), rank(values.size());
    t = Fastest([&] { std::iota(idx.begin(), idx.end(), 0u); }, [&] {
      std::stable_sort(idx.begin(), idx.end(), [&](unsigned i, unsigned j) { return mpfr_less_p(&a.x[i], &a.x[j]); });
      for (size_t p = 0; p < idx.size(); ++p) rank[idx[p]] = static_cast<unsigned>(p + 1);
    });
    report("rank", "mpfr", t, std::to_string(rank[static_cast<size_t>(n) / 3]));
    mpfr_clears(m, d, static_cast<mpfr_ptr>(nullptr));
  }

  // Boost.Multiprecision's mpfr_float with the standard algorithms.
  {
    std::vector<BoostFloat> a(values.size()), work;
    for (size_t i = 0; i < values.size(); ++i) SetValue(a[i].backend().data(), values[i]);
    BoostFloat m, v;
    t = Fastest(nothing, [&] { m = std::accumulate(a.begin(), a.end(), BoostFloat(0)) / n; });
    report("mean", "boost", t, Text(m.backend().data(), digits));
    t = Fastest(nothing, [&] {
      m = std::accumulate(a.begin(), a.end(), BoostFloat(0)) / n;
      v = std::accumulate(a.begin(), a.end(), BoostFloat(0),
                          [&](const BoostFloat& acc, const BoostFloat& x) { return acc + (x - m) * (x - m); }) /
          n;
    });
    report("variance", "boost", t, Text(v.backend().data(), digits));
    auto reset = [&] { work = a; };
    t = Fastest(reset, [&] {
      const size_t k = static_cast<size_t>(n) / 2;
      std::nth_element(work.begin(), work.begin() + static_cast<long>(k), work.end());
      std::nth_element(work.begin(), work.begin() + static_cast<long>(k) - 1, work.begin() + static_cast<long>(k));
      m = (work[k] + work[k - 1]) / 2;
    });
    report("median", "boost", t, Text(m.backend().data(), digits));
    std::vector<BoostFloat*> q;
    t = Fastest([&] { reset(); q.clear(); }, [&] { SelectQuantiles(work, positions, std::less<BoostFloat>(), &q); });
    report("quantiles9", "boost", t, Text(q[8]->backend().data(), digits));
    t = Fastest(reset, [&] { std::sort(work.begin(), work.end()); });
    report("sort", "boost", t, Text(work[static_cast<size_t>(n) / 3].backend().data(), digits));
    std::vector<unsigned> idx(values.size()), rank(values.size());
    t = Fastest([&] { std::iota(idx.begin(), idx.end(), 0u); }, [&] {
      std::stable_sort(idx.begin(), idx.end(), [&](unsigned i, unsigned j) { return a[i] < a[j]; });
      for (size_t p = 0; p < idx.size(); ++p) rank[idx[p]] = static_cast<unsigned>(p + 1);
    });
    report("rank", "boost", t, std::to_string(rank[static_cast<size_t>(n) / 3]));
  }
  return 0;
}

double PeakRssMb() {
  FILE* f = std::fopen("/proc/self/status", "r");
  char line[256];
  double mb = 0;
  while (f && std::fgets(line, sizeof line, f)) {
    if (std::strncmp(line, "VmHWM:", 6) == 0) mb = std::strtod(line + 6, nullptr) / 1024.0;
  }
  if (f) std::fclose(f);
  return mb;
}

// The median entry's peak memory over what the sample itself takes: the
// peak before the sample is made, with it, and during the median.
int Memory(long n, long digits) {
  host::SetDigits(digits);
  const auto values = Values(n);
  const double before = PeakRssMb();
  HostObject data = SfloatVector(values);
  const double with_data = PeakRssMb();
  HostObject none = SfloatVector({});
  HostObject m = Call(STATS_QuarnMedian_MP, {data, none, host::False(), host::False()});
  const double peak = PeakRssMb();
  std::printf("data_mb\t%.1f\nmedian_extra_mb\t%.1f\nratio\t%.2f\nvalue\t%s\n", with_data - before, peak - with_data,
              (peak - before) / (with_data - before), Text(host::FloatMpfr(m), digits).c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  host::Initialize();
  STATS_StatsInitialize_MP(host::Kernel(), host::Null());
  if (argc < 4) {
    std::fprintf(stderr, "usage: %s data N FILE | time N DIGITS | memory N DIGITS\n", argv[0]);
    return 2;
  }
  const long n = std::strtol(argv[2], nullptr, 10);
  if (std::strcmp(argv[1], "data") == 0) {
    FILE* f = std::fopen(argv[3], "w");
    if (!f) return 1;
    for (const auto& p : Values(n)) std::fprintf(f, "%a %a\n", p.first, p.second);
    std::fclose(f);
    return 0;
  }
  const long digits = std::strtol(argv[3], nullptr, 10);
  if (std::strcmp(argv[1], "time") == 0) return Time(n, digits);
  if (std::strcmp(argv[1], "memory") == 0) return Memory(n, digits);
  return 2;
}
