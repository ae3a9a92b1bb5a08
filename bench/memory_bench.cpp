// Peak memory of QuarnFloat work, one case per process run:
//
//   memory_bench ops [N]     N iterations (default 10^8) of one addition and
//                            one multiplication at Digits = 30; every result
//                            is a fresh float, so this measures whether the
//                            collector keeps the heap bounded by live data.
//   memory_bench rtable [N]  a general rtable of N (default 10^6) fresh floats
//                            at Digits = 30.
//
// Prints key=value lines (peak_rss_mb is the process's VmHWM) and exits
// nonzero when the computed values are wrong.
#include <gc/gc.h>
#include <mpfr.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "platform/float/quarnfloat.h"
#include "platform/host/host.h"
#include "platform/host/quarnc.h"

namespace {

namespace host = quarn::host;

// Peak resident set size in MB, from /proc/self/status.
double PeakRssMb() {
  std::ifstream in("/proc/self/status");
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("VmHWM:", 0) == 0) return std::strtod(line.c_str() + 6, nullptr) / 1024.0;
  }
  return -1;
}

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

// User plus system CPU time of the process so far: less disturbed than wall
// time when other processes share the cores.
double CpuSeconds() {
  rusage u;
  getrusage(RUSAGE_SELF, &u);
  auto sec = [](const timeval& t) { return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec); };
  return sec(u.ru_utime) + sec(u.ru_stime);
}

void Report(const char* key, double value) { std::printf("%s=%.6g\n", key, value); }

// |x - y| / |y| with y exact to 400 bits.
double RelativeError(mpfr_srcptr x, mpfr_srcptr y) {
  mpfr_t d;
  mpfr_init2(d, 400);
  mpfr_sub(d, x, y, MPFR_RNDN);
  mpfr_div(d, d, y, MPFR_RNDN);
  double r = std::abs(mpfr_get_d(d, MPFR_RNDN));
  mpfr_clear(d);
  return r;
}

int RunOps(long n) {
  host::SetDigits(30);
  const QuarnFloat t = QuarnFloat(1) / 3;
  const double q = 1 + std::ldexp(1.0, -30);
  QuarnFloat s = 0, p = 1;
  Report("rss_before_mb", PeakRssMb());
  auto start = std::chrono::steady_clock::now();
  double cpu_start = CpuSeconds();
  for (long i = 0; i < n; ++i) {
    s = s + t;
    p = p * q;
  }
  double seconds = Seconds(start), cpu = CpuSeconds() - cpu_start;

  // References at 400 bits: n * t exactly, and q^n with q exact. Each of the
  // n rounded operations errs by at most 2^-bits relative, so both results
  // must agree to about n * 2^-108 (3e-25 for n = 10^8).
  mpfr_t ref;
  mpfr_init2(ref, 400);
  mpfr_mul_si(ref, t.Mpfr(), n, MPFR_RNDN);
  double err_sum = RelativeError(s.Mpfr(), ref);
  mpfr_set_d(ref, q, MPFR_RNDN);
  mpfr_pow_si(ref, ref, n, MPFR_RNDN);
  double err_prod = RelativeError(p.Mpfr(), ref);
  mpfr_clear(ref);
  double bound = 2.0 * static_cast<double>(n) * std::ldexp(1.0, -static_cast<int>(host::WorkingBits()));

  Report("iterations", static_cast<double>(n));
  Report("operations", 2.0 * static_cast<double>(n));
  Report("seconds", seconds);
  Report("cpu_seconds", cpu);
  Report("cpu_ns_per_operation", cpu * 1e9 / (2.0 * static_cast<double>(n)));
  Report("sum_relative_error", err_sum);
  Report("product_relative_error", err_prod);
  Report("error_bound", bound);
  Report("gc_heap_mb", static_cast<double>(GC_get_heap_size()) / (1024.0 * 1024.0));
  Report("gc_collections", static_cast<double>(GC_get_gc_no()));
  Report("peak_rss_mb", PeakRssMb());
  bool ok = err_sum <= bound && err_prod <= bound;
  std::printf("result=%s\n", ok ? "ok" : "WRONG");
  return ok ? 0 : 1;
}

int RunRTable(long n) {
  host::SetDigits(30);
  QKernel kv = host::Kernel();
  Report("rss_before_mb", PeakRssMb());
  auto start = std::chrono::steady_clock::now();
  RTableSettingsRecord rts;
  RTableGetDefaults(kv, &rts);
  rts.num_dimensions = 1;
  rts.data_type = RTABLE_DAG;
  rts.storage = RTABLE_RECT;
  int bounds[2] = {1, static_cast<int>(n)};
  HostObject rt = RTableCreate(kv, &rts, nullptr, bounds);
  auto* data = static_cast<QuarnFloat*>(RTableDataBlock(kv, rt));
  for (long i = 0; i < n; ++i) data[i] = QuarnFloat(static_cast<double>(i) + 0.25);
  double seconds = Seconds(start);

  // Every element must still be its own float after a full collection.
  host::Collect();
  long wrong = 0;
  for (long i = 0; i < n; ++i) {
    if (!(data[i] == static_cast<double>(i) + 0.25) || host::FloatDigits(data[i].Handle()) != 30) ++wrong;
  }
  Report("elements", static_cast<double>(n));
  Report("seconds", seconds);
  Report("gc_heap_mb", static_cast<double>(GC_get_heap_size()) / (1024.0 * 1024.0));
  Report("gc_collections", static_cast<double>(GC_get_gc_no()));
  Report("peak_rss_mb", PeakRssMb());
  Report("wrong_elements", static_cast<double>(wrong));
  std::printf("result=%s\n", wrong == 0 ? "ok" : "WRONG");
  return wrong == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  host::Initialize();
  if (argc < 2 || (std::strcmp(argv[1], "ops") != 0 && std::strcmp(argv[1], "rtable") != 0)) {
    std::fprintf(stderr, "usage: %s ops [iterations] | rtable [elements]\n", argv[0]);
    return 2;
  }
  bool ops = std::strcmp(argv[1], "ops") == 0;
  long n = argc > 2 ? std::strtol(argv[2], nullptr, 10) : (ops ? 100000000L : 1000000L);
  std::printf("case=%s\n", argv[1]);
  return ops ? RunOps(n) : RunRTable(n);
}
