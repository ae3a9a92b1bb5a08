// Per-call time of the distributions' probabilities and deviates, and of
// random samples and resamples, next to the same values computed by the peers
// a user could pick instead: Boost.Math on Boost.Multiprecision's mpfr_float,
// and bare Arb calls (one evaluation at the working precision, no rounding
// test) as the ceiling. mpmath runs separately (peers_mpmath.py);
// run_distributions.sh merges both outputs into a table.
//
//   distributions_bench rows              the benchmark rows, one a line:
//                                         label, family, op, argument, parameters
//   distributions_bench calls DIGITS [ROW [IMPL]]
//                                         every row at Digits = DIGITS, or those
//                                         whose label contains ROW (or one of
//                                         its parts joined by |), by the IMPLs
//                                         only (quarn, arb, arb_prob or boost, or
//                                         several joined by commas: quarn,arb;
//                                         arb_prob is Arb's probability at the
//                                         library's deviate)
//   distributions_bench sample DIGITS N   RandomSample(N) of normal, gamma and beta
//                                         variates, with mpfr_nrandom and Boost.Random
//   distributions_bench resample DIGITS   alias urn draws and bootstrap replicates, with
//                                         the standard library's discrete distribution
//                                         and a loop on bare MPFR numbers
//   distributions_bench elementary DIGITS exp, log and atan by QuarnFloat, MPFR and
//                                         Arb (where the closed forms' time goes)
//
// Each Digits runs in a process of its own, so that no peer reuses a constant
// it cached at another precision. Output lines are tab-separated:
//   call   label  digits  impl  ns_per_call  calls  value
//   sample label  digits  impl  ns_per_variate  n  mean  variance
// where value is the result to Digits + 4 digits (or "error: <message>").
// Times are process CPU time per call, the fastest of five batches, with the
// implementations of a row taking turns batch by batch (TimeInTurns), so that
// other work on the machine disturbs them little and their ratios less.
// QUARN_BENCH_SECONDS (default 0.05) sets the CPU time one measurement aims
// for.
#include <arb.h>
#include <arb_hypgeom.h>
#include <gmp.h>
#include <mpfr.h>

#include <algorithm>
#include <random>
#include <boost/math/distributions/beta.hpp>
#include <boost/math/distributions/binomial.hpp>
#include <boost/math/distributions/cauchy.hpp>
#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/exponential.hpp>
#include <boost/math/distributions/fisher_f.hpp>
#include <boost/math/distributions/gamma.hpp>
#include <boost/math/distributions/hypergeometric.hpp>
#include <boost/math/distributions/logistic.hpp>
#include <boost/math/distributions/non_central_beta.hpp>
#include <boost/math/distributions/non_central_chi_squared.hpp>
#include <boost/math/distributions/non_central_f.hpp>
#include <boost/math/distributions/non_central_t.hpp>
#include <boost/math/distributions/normal.hpp>
#include <boost/math/distributions/poisson.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <boost/math/distributions/weibull.hpp>
#include <boost/multiprecision/mpfr.hpp>
#include <boost/random/beta_distribution.hpp>
#include <boost/random/gamma_distribution.hpp>
#include <boost/random/mersenne_twister.hpp>
#include <boost/random/normal_distribution.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <gc/gc.h>

#include <new>

#include "platform/float/quarnfloat.h"
#include "platform/host/host.h"
#include "platform/host/quarnc.h"
#include "stats/descriptive/descriptive.h"
#include "stats/distributions/distributions.h"
#include "stats/frame/frame.h"
#include "stats/sampling/sampling.h"

// ------------------------------------------------- the collector's roots
//
// This executable takes operator new from the collector (libgccpp): the
// memory is scanned, so that QuarnFloat handles kept in standard containers
// stay alive. Boost.Math's static initializers build tables of mpfr_float
// numbers with it (its Bernoulli numbers: 12.5 MB), which every collection
// then marked although no host process holds them: 170 ns of a 770 ns Cauchy
// deviate at Digits 15. Memory that this executable's static objects ask for
// comes from malloc instead (none of them holds a host handle); from main on,
// everything is the collector's again.

namespace {
bool g_constructing_statics = false;
struct StaticsStart {
  StaticsStart() { g_constructing_statics = true; }
};
__attribute__((init_priority(101))) StaticsStart g_statics_start;

void* Allocate(std::size_t n) {
  void* p = g_constructing_statics ? std::malloc(n) : GC_MALLOC_UNCOLLECTABLE(n);
  if (p == nullptr && n != 0) throw std::bad_alloc();
  return p;
}

void Release(void* p) {
  if (p == nullptr) return;
  if (GC_is_heap_ptr(p)) {
    GC_FREE(p);
  } else {
    std::free(p);
  }
}
}  // namespace

void* operator new(std::size_t n) { return Allocate(n); }
void* operator new[](std::size_t n) { return Allocate(n); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
  try {
    return Allocate(n);
  } catch (...) {
    return nullptr;
  }
}
void* operator new[](std::size_t n, const std::nothrow_t& t) noexcept { return operator new(n, t); }
void operator delete(void* p) noexcept { Release(p); }
void operator delete[](void* p) noexcept { Release(p); }
void operator delete(void* p, std::size_t) noexcept { Release(p); }
void operator delete[](void* p, std::size_t) noexcept { Release(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { Release(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { Release(p); }

namespace {

namespace host = quarn::host;
namespace bmath = boost::math;
namespace bmp = boost::multiprecision;

// Boost's variable-precision MPFR float; its precision is set once per
// process, to the Digits of the run.
using BoostFloat = bmp::mpfr_float;

// ------------------------------------------------------------------ timing

double CpuSeconds() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

double BudgetSeconds() {
  const char* s = std::getenv("QUARN_BENCH_SECONDS");
  double v = s != nullptr ? std::strtod(s, nullptr) : 0.0;
  return v > 0 ? v : 0.05;
}

struct Timing {
  double ns = 1e300;  // per call, the fastest batch
  long calls = 0;     // calls timed in all
};

// One implementation of a row: its call, the text of its last result, and
// what the timing found.
struct Contender {
  Contender(const char* i, std::function<void()> c, std::function<std::string()> v)
      : impl(i), call(std::move(c)), value(std::move(v)) {}
  const char* impl;
  std::function<void()> call;
  std::function<std::string()> value;
  long batch = 1;
  Timing timing;
  std::string error;  // the message when the call threw
};

// Runs f for c, turning an exception into c's error.
template <class F>
void Guarded(Contender& c, F&& f) {
  try {
    f();
  } catch (const std::exception& e) {
    c.error = e.what();
  } catch (...) {
    c.error = "unknown exception";
  }
}

// Times the contenders of one row in turns. Each makes a first call (which
// also warms the caches it builds at this precision) and is given a batch
// size from a short calibration run; then in each of five rounds (three when
// a call takes longer than the budget) every contender runs one batch, and
// keeps its fastest batch per call. Taking turns spreads changes in the
// machine's load over all contenders, so their ratios are steadier than
// their times. A contender that throws drops out with its message.
void TimeInTurns(std::vector<Contender>& contenders) {
  const double batch_seconds = BudgetSeconds() / 5;
  int rounds = 5;
  for (Contender& c : contenders) {
    Guarded(c, [&] {
      double t0 = CpuSeconds();
      c.call();
      double first = CpuSeconds() - t0;
      if (first > 2 * BudgetSeconds()) rounds = 3;
      if (first >= batch_seconds) return;
      t0 = CpuSeconds();
      long probe = 0;
      do {
        c.call();
        ++probe;
      } while (CpuSeconds() - t0 < batch_seconds / 10 && probe < 1000000);
      double per = (CpuSeconds() - t0) / static_cast<double>(probe);
      c.batch = std::max(1L, static_cast<long>(batch_seconds / std::max(per, 1e-9)));
    });
  }
  for (int round = 0; round < rounds; ++round) {
    for (Contender& c : contenders) {
      if (!c.error.empty()) continue;
      Guarded(c, [&] {
        double t0 = CpuSeconds();
        for (long i = 0; i < c.batch; ++i) c.call();
        c.timing.ns = std::min(c.timing.ns, (CpuSeconds() - t0) * 1e9 / static_cast<double>(c.batch));
        c.timing.calls += c.batch;
      });
    }
  }
}

// ------------------------------------------------------------------ output

std::string MpfrText(mpfr_srcptr x, long digits) {
  char* s = nullptr;
  mpfr_asprintf(&s, "%.*Re", static_cast<int>(digits + 3), x);
  std::string text(s);
  mpfr_free_str(s);
  return text;
}

// Times the contenders of one row and prints a line for each.
void RunRow(const std::string& label, long digits, std::vector<Contender>& contenders) {
  TimeInTurns(contenders);
  for (Contender& c : contenders) {
    if (c.error.empty()) Guarded(c, [&] {
      std::string value = c.value();
      std::printf("call\t%s\t%ld\t%s\t%.6g\t%ld\t%s\n", label.c_str(), digits, c.impl, c.timing.ns, c.timing.calls,
                  value.c_str());
    });
    if (!c.error.empty()) {
      std::replace(c.error.begin(), c.error.end(), '\t', ' ');
      std::replace(c.error.begin(), c.error.end(), '\n', ' ');
      std::printf("call\t%s\t%ld\t%s\tnan\t0\terror: %s\n", label.c_str(), digits, c.impl, c.error.c_str());
    }
  }
  std::fflush(stdout);
}

// ------------------------------------------------------------ the families

enum class Op { kProbability, kDeviate };

// A probability or deviate of the library with its parameters in an array.
using QuarnFn = std::function<QuarnFloat(QKernel, const QuarnFloat&, const QuarnFloat*)>;

// An array element as a parameter: a float, or an integer parameter's long.
template <class T>
T Parameter(const QuarnFloat& v) {
  if constexpr (std::is_same_v<T, long>) {
    return FloatToInt(v);
  } else {
    return v;
  }
}

// The accuracy the non-central entries pass: 10^-Digits.
QuarnFloat EntryTolerance() { return QuarnFloat(std::pow(10.0, -static_cast<double>(host::WorkingDigits()))); }

// fn(x, p[0], ..., p[N-1]), with the entries' accuracy appended when fn
// takes one more parameter; an integer result as a float.
template <size_t N, class R, class... P>
QuarnFn WithArrayOf(R (*fn)(QKernel, QuarnFloat, P...)) {
  return [fn](QKernel kv, const QuarnFloat& x, const QuarnFloat* p) {
    using Params = std::tuple<P...>;
    return [&]<size_t... I>(std::index_sequence<I...>) {
      if constexpr (N < sizeof...(P)) {
        return QuarnFloat(fn(kv, x, Parameter<std::tuple_element_t<I, Params>>(p[I])..., EntryTolerance()));
      } else {
        return QuarnFloat(fn(kv, x, Parameter<std::tuple_element_t<I, Params>>(p[I])...));
      }
    }(std::make_index_sequence<N>{});
  };
}

template <class R, class... P>
QuarnFn WithArray(R (*fn)(QKernel, QuarnFloat, P...)) {
  return WithArrayOf<sizeof...(P)>(fn);
}

// A non-central probability: the last parameter is the accuracy.
template <class R, class... P>
QuarnFn WithTolerance(R (*fn)(QKernel, QuarnFloat, P...)) {
  return WithArrayOf<sizeof...(P) - 1>(fn);
}

// The same value on Arb balls: res from the exact argument x and the exact
// parameters p at prec bits. Empty where Arb has no such function.
using ArbFn = std::function<void(arb_ptr res, arb_srcptr x, arb_srcptr p, slong prec)>;

// Boost.Math: the distribution made once from the parameters; the call is
// cdf or quantile of it.
using BoostFn = std::function<BoostFloat(const BoostFloat& x, Op op)>;
using BoostMaker = std::function<BoostFn(const std::vector<BoostFloat>& p)>;

template <class Make>
BoostMaker Boost(Make make) {
  return [make](const std::vector<BoostFloat>& p) -> BoostFn {
    auto dist = make(p);
    return [dist](const BoostFloat& x, Op op) -> BoostFloat {
      return op == Op::kProbability ? BoostFloat(bmath::cdf(dist, x)) : BoostFloat(bmath::quantile(dist, x));
    };
  };
}

// An argument as a user types it: a decimal, which each implementation
// rounds to its own working precision (Arb gets the library's rounding).
struct Argument {
  Op op;
  const char* text;
};

struct Family {
  const char* name;
  // Parameter sets in the library's order, as a user types them: short
  // binary fractions, and decimals (3.7, 7.1) that no precision holds exactly.
  std::vector<std::vector<const char*>> params;
  QuarnFn quarn[2];            // probability, deviate
  ArbFn arb[2];
  BoostMaker boost;
  std::vector<Argument> args;  // central and tail
};

// Helpers for the Arb formulas.
void Half(arb_ptr r, arb_srcptr x) { arb_mul_2exp_si(r, x, -1); }

// 1 - x.
void OneMinus(arb_ptr r, arb_srcptr x, slong prec) {
  arb_sub_ui(r, x, 1, prec);
  arb_neg(r, r);
}

// Lower-tail Student t at t, from whichever incomplete beta function has the
// smaller argument (Arb's series converges fastest there): with
// x = nu / (nu + t^2) and y = t^2 / (nu + t^2), P(|T| > |t|) = I_x(nu/2, 1/2)
// and P(|T| <= |t|) = I_y(1/2, nu/2).
void ArbStudentT(arb_ptr r, arb_srcptr t, arb_srcptr nu, slong prec) {
  arb_t t2, s, x, a, half;
  arb_init(t2);
  arb_init(s);
  arb_init(x);
  arb_init(a);
  arb_init(half);
  arb_sqr(t2, t, prec);
  arb_add(s, nu, t2, prec);
  Half(a, nu);
  arb_set_d(half, 0.5);
  if (arb_le(nu, t2)) {
    arb_div(x, nu, s, prec);
    arb_hypgeom_beta_lower(r, a, half, x, 1, prec);  // two-sided tail
    Half(r, r);
    if (arb_is_positive(t)) OneMinus(r, r, prec);
  } else {
    arb_div(x, t2, s, prec);
    arb_hypgeom_beta_lower(r, half, a, x, 1, prec);  // central probability
    Half(r, r);
    if (arb_is_negative(t)) arb_neg(r, r);
    arb_add(r, r, half, prec);
  }
  arb_clear(t2);
  arb_clear(s);
  arb_clear(x);
  arb_clear(a);
  arb_clear(half);
}

// The standard normal quantile by erfcinv, on the side of u that keeps its
// relative accuracy.
void ArbNormalQuantile(arb_ptr r, arb_srcptr u, arb_srcptr p, slong prec) {
  arb_t s;
  arb_init(s);
  bool below = arf_cmp_2exp_si(arb_midref(u), -1) < 0;
  if (below) {
    arb_mul_2exp_si(s, u, 1);
  } else {
    OneMinus(s, u, prec);
    arb_mul_2exp_si(s, s, 1);
  }
  arb_hypgeom_erfcinv(r, s, prec);
  arb_sqrt_ui(s, 2, prec);
  arb_mul(r, r, s, prec);
  if (below) arb_neg(r, r);
  arb_mul(r, r, p + 1, prec);
  arb_add(r, r, p, prec);
  arb_clear(s);
}

std::vector<Family> Families() {
  using B = BoostFloat;
  using P = const std::vector<B>&;
  const Argument u_central{Op::kDeviate, "0.3"};
  const Argument u_tail{Op::kDeviate, "1e-10"};
  std::vector<Family> f;

  f.push_back({"Normal", {{"0", "1"}, {"0.3", "1.7"}},
               {WithArray(&STATS_NormalProbability_MP), WithArray(&STATS_NormalDeviate_MP)},
               {[](arb_ptr r, arb_srcptr x, arb_srcptr p, slong prec) {
                  arb_t s;
                  arb_init(s);
                  arb_sub(r, x, p, prec);
                  arb_div(r, r, p + 1, prec);
                  arb_sqrt_ui(s, 2, prec);
                  arb_div(r, r, s, prec);
                  arb_neg(r, r);
                  arb_hypgeom_erfc(r, r, prec);
                  Half(r, r);
                  arb_clear(s);
                },
                ArbNormalQuantile},
               Boost([](P p) { return bmath::normal_distribution<B>(p[0], p[1]); }),
               {{Op::kProbability, "0.7"}, {Op::kProbability, "-20"}, u_central, u_tail}});

  f.push_back({"StudentT", {{"5"}, {"3.7"}},
               {WithArray(&STATS_StudentTProbability_MP), WithArray(&STATS_StudentTDeviate_MP)},
               {[](arb_ptr r, arb_srcptr x, arb_srcptr p, slong prec) { ArbStudentT(r, x, p, prec); }, nullptr},
               Boost([](P p) { return bmath::students_t_distribution<B>(p[0]); }),
               {{Op::kProbability, "1.3"}, {Op::kProbability, "-30"}, u_central, u_tail}});

  f.push_back({"ChiSquare", {{"7"}, {"7.1"}},
               {WithArray(&STATS_ChiSquareProbability_MP), WithArray(&STATS_ChiSquareDeviate_MP)},
               {[](arb_ptr r, arb_srcptr x, arb_srcptr p, slong prec) {
                  arb_t a, z;
                  arb_init(a);
                  arb_init(z);
                  Half(a, p);
                  Half(z, x);
                  arb_hypgeom_gamma_lower(r, a, z, 1, prec);
                  arb_clear(a);
                  arb_clear(z);
                },
                nullptr},
               Boost([](P p) { return bmath::chi_squared_distribution<B>(p[0]); }),
               {{Op::kProbability, "5.3"}, {Op::kProbability, "0.13"}, u_central, u_tail}});

  f.push_back({"FRatio", {{"4", "9"}, {"3.7", "7.1"}},
               {WithArray(&STATS_FRatioProbability_MP), WithArray(&STATS_FRatioDeviate_MP)},
               {[](arb_ptr r, arb_srcptr x, arb_srcptr p, slong prec) {
                  // I_y(nu1/2, nu2/2) at y = nu1 f / (nu1 f + nu2).
                  arb_t a, b, y, s;
                  arb_init(a);
                  arb_init(b);
                  arb_init(y);
                  arb_init(s);
                  Half(a, p);
                  Half(b, p + 1);
                  arb_mul(y, p, x, prec);
                  arb_add(s, y, p + 1, prec);
                  arb_div(y, y, s, prec);
                  arb_hypgeom_beta_lower(r, a, b, y, 1, prec);
                  arb_clear(a);
                  arb_clear(b);
                  arb_clear(y);
                  arb_clear(s);
                },
                nullptr},
               Boost([](P p) { return bmath::fisher_f_distribution<B>(p[0], p[1]); }),
               {{Op::kProbability, "1.3"}, {Op::kProbability, "0.007"}, u_central, u_tail}});

  f.push_back({"Beta", {{"2.5", "3.5"}, {"2.5", "7.1"}},
               {WithArray(&STATS_BetaProbability_MP), WithArray(&STATS_BetaDeviate_MP)},
               {[](arb_ptr r, arb_srcptr x, arb_srcptr p, slong prec) {
                  arb_hypgeom_beta_lower(r, p, p + 1, x, 1, prec);
                },
                nullptr},
               Boost([](P p) { return bmath::beta_distribution<B>(p[0], p[1]); }),
               {{Op::kProbability, "0.37"}, {Op::kProbability, "0.001"}, u_central, u_tail}});

  f.push_back({"Gamma", {{"2", "3.5"}, {"1.7", "3.7"}},
               {WithArray(&STATS_GammaProbability_MP), WithArray(&STATS_GammaDeviate_MP)},
               {[](arb_ptr r, arb_srcptr x, arb_srcptr p, slong prec) {
                  // Scale p[0], shape p[1]: P(p[1], x / p[0]).
                  arb_t z;
                  arb_init(z);
                  arb_div(z, x, p, prec);
                  arb_hypgeom_gamma_lower(r, p + 1, z, 1, prec);
                  arb_clear(z);
                },
                nullptr},
               Boost([](P p) { return bmath::gamma_distribution<B>(p[1], p[0]); }),
               {{Op::kProbability, "6.1"}, {Op::kProbability, "0.06"}, u_central, u_tail}});

  // Closed forms. Arb gets the formulas that keep their relative accuracy
  // (expm1, log1p): the value, not the library's way of writing it.
  f.push_back({"Exponential", {{"2"}},
               {WithArray(&STATS_ExponentialProbability_MP), WithArray(&STATS_ExponentialDeviate_MP)},
               {[](arb_ptr r, arb_srcptr x, arb_srcptr p, slong prec) {
                  arb_div(r, x, p, prec);  // -expm1(-x / b)
                  arb_neg(r, r);
                  arb_expm1(r, r, prec);
                  arb_neg(r, r);
                },
                [](arb_ptr r, arb_srcptr u, arb_srcptr p, slong prec) {
                  arb_neg(r, u);  // -b log1p(-u)
                  arb_log1p(r, r, prec);
                  arb_mul(r, r, p, prec);
                  arb_neg(r, r);
                }},
               Boost([](P p) { return bmath::exponential_distribution<B>(1 / p[0]); }),
               {{Op::kProbability, "1.3"}, {Op::kProbability, "0.001"}, u_central, u_tail}});

  f.push_back({"Weibull", {{"2", "1.5"}},
               {WithArray(&STATS_WeibullProbability_MP), WithArray(&STATS_WeibullDeviate_MP)},
               {[](arb_ptr r, arb_srcptr x, arb_srcptr p, slong prec) {
                  arb_div(r, x, p, prec);  // -expm1(-(x / b)^c)
                  arb_pow(r, r, p + 1, prec);
                  arb_neg(r, r);
                  arb_expm1(r, r, prec);
                  arb_neg(r, r);
                },
                [](arb_ptr r, arb_srcptr u, arb_srcptr p, slong prec) {
                  arb_t e;  // b (-log1p(-u))^(1/c)
                  arb_init(e);
                  arb_neg(r, u);
                  arb_log1p(r, r, prec);
                  arb_neg(r, r);
                  arb_inv(e, p + 1, prec);
                  arb_pow(r, r, e, prec);
                  arb_mul(r, r, p, prec);
                  arb_clear(e);
                }},
               Boost([](P p) { return bmath::weibull_distribution<B>(p[1], p[0]); }),
               {{Op::kProbability, "1.3"}, {Op::kProbability, "0.001"}, u_central, u_tail}});

  f.push_back({"Logistic", {{"0", "1"}},
               {WithArray(&STATS_LogisticProbability_MP), WithArray(&STATS_LogisticDeviate_MP)},
               {[](arb_ptr r, arb_srcptr x, arb_srcptr p, slong prec) {
                  arb_sub(r, x, p, prec);  // 1 / (1 + exp(-(x - a) / b))
                  arb_div(r, r, p + 1, prec);
                  arb_neg(r, r);
                  arb_exp(r, r, prec);
                  arb_add_ui(r, r, 1, prec);
                  arb_inv(r, r, prec);
                },
                [](arb_ptr r, arb_srcptr u, arb_srcptr p, slong prec) {
                  arb_t v;  // a + b log(u / (1 - u))
                  arb_init(v);
                  OneMinus(v, u, prec);
                  arb_div(r, u, v, prec);
                  arb_log(r, r, prec);
                  arb_mul(r, r, p + 1, prec);
                  arb_add(r, r, p, prec);
                  arb_clear(v);
                }},
               Boost([](P p) { return bmath::logistic_distribution<B>(p[0], p[1]); }),
               {{Op::kProbability, "0.7"}, {Op::kProbability, "-40"}, u_central, u_tail}});

  f.push_back({"Cauchy", {{"0", "1"}},
               {WithArray(&STATS_CauchyProbability_MP), WithArray(&STATS_CauchyDeviate_MP)},
               {[](arb_ptr r, arb_srcptr x, arb_srcptr p, slong prec) {
                  // 1/2 + atan(t) / Pi with t = (x - a) / b, written as
                  // atan(-1/t) / Pi for t < 0 so that the lower tail does not
                  // cancel.
                  arb_t pi;
                  arb_init(pi);
                  arb_sub(r, x, p, prec);
                  arb_div(r, r, p + 1, prec);
                  const bool lower = arb_is_negative(r);
                  if (lower) {
                    arb_inv(r, r, prec);
                    arb_neg(r, r);
                  }
                  arb_atan(r, r, prec);
                  arb_const_pi(pi, prec);
                  arb_div(r, r, pi, prec);
                  if (!lower) {
                    arb_set_d(pi, 0.5);
                    arb_add(r, r, pi, prec);
                  }
                  arb_clear(pi);
                },
                [](arb_ptr r, arb_srcptr u, arb_srcptr p, slong prec) {
                  // a + b tan(Pi (u - 1/2)) = a - b cot(Pi u).
                  arb_cot_pi(r, u, prec);
                  arb_mul(r, r, p + 1, prec);
                  arb_sub(r, p, r, prec);
                }},
               Boost([](P p) { return bmath::cauchy_distribution<B>(p[0], p[1]); }),
               {{Op::kProbability, "0.7"}, {Op::kProbability, "-1e6"}, u_central, u_tail}});

  // Integer-valued: the deviate is the smallest k with P(X <= k) >= u, which
  // is Boost's quantile rounded up to an integer.
  using Up = bmath::policies::policy<bmath::policies::discrete_quantile<bmath::policies::integer_round_up>>;
  f.push_back({"Binomial", {{"50", "0.3"}},
               {WithArray(&STATS_BinomialProbability_MP), WithArray(&STATS_BinomialDeviate_MP)},
               {[](arb_ptr r, arb_srcptr x, arb_srcptr p, slong prec) {
                  // I_{1-p}(n - k, k + 1).
                  arb_t a, b, y;
                  arb_init(a);
                  arb_init(b);
                  arb_init(y);
                  arb_sub(a, p, x, prec);
                  arb_add_ui(b, x, 1, prec);
                  OneMinus(y, p + 1, prec);
                  arb_hypgeom_beta_lower(r, a, b, y, 1, prec);
                  arb_clear(a);
                  arb_clear(b);
                  arb_clear(y);
                },
                nullptr},
               Boost([](P p) { return bmath::binomial_distribution<B, Up>(p[0], p[1]); }),
               {{Op::kProbability, "12"}, {Op::kProbability, "3"}, u_central, u_tail}});

  f.push_back({"Poisson", {{"3.5"}, {"3.7"}},
               {WithArray(&STATS_PoissonProbability_MP), WithArray(&STATS_PoissonDeviate_MP)},
               {[](arb_ptr r, arb_srcptr x, arb_srcptr p, slong prec) {
                  // Q(k + 1, lambda).
                  arb_t a;
                  arb_init(a);
                  arb_add_ui(a, x, 1, prec);
                  arb_hypgeom_gamma_upper(r, a, p, 1, prec);
                  arb_clear(a);
                },
                nullptr},
               Boost([](P p) { return bmath::poisson_distribution<B, Up>(p[0]); }),
               {{Op::kProbability, "5"}, {Op::kProbability, "12"}, u_central, u_tail}});

  f.push_back({"Hypergeometric", {{"100", "30", "40"}},
               {WithArray(&STATS_HypergeometricProbability_MP), WithArray(&STATS_HypergeometricDeviate_MP)},
               {nullptr, nullptr},
               // Boost: (marked, sample, population).
               Boost([](P p) {
                 return bmath::hypergeometric_distribution<B, Up>(p[2].convert_to<unsigned>(),
                                                                  p[1].convert_to<unsigned>(),
                                                                  p[0].convert_to<unsigned>());
               }),
               {{Op::kProbability, "12"}, {Op::kProbability, "3"}, u_central, u_tail}});

  // Non-central: probabilities only, at the accuracy 10^-Digits the entries
  // pass (the library's are correctly rounded whatever it is).
  f.push_back({"NonCentralChiSquare", {{"7", "2"}, {"7.1", "2.3"}},
               {WithTolerance(&STATS_NonCentralChiSquareProbability_MP), nullptr},
               {nullptr, nullptr},
               Boost([](P p) { return bmath::non_central_chi_squared_distribution<B>(p[0], p[1]); }),
               {{Op::kProbability, "5.3"}, {Op::kProbability, "0.13"}}});

  f.push_back({"NonCentralBeta", {{"2.5", "3.5", "2"}, {"2.5", "7.1", "2.3"}},
               {WithTolerance(&STATS_NonCentralBetaProbability_MP), nullptr},
               {nullptr, nullptr},
               Boost([](P p) { return bmath::non_central_beta_distribution<B>(p[0], p[1], p[2]); }),
               {{Op::kProbability, "0.37"}, {Op::kProbability, "0.05"}}});

  f.push_back({"NonCentralFRatio", {{"4", "9", "2"}, {"3.7", "7.1", "2.3"}},
               {WithTolerance(&STATS_NonCentralFRatioProbability_MP), nullptr},
               {nullptr, nullptr},
               Boost([](P p) { return bmath::non_central_f_distribution<B>(p[0], p[1], p[2]); }),
               {{Op::kProbability, "1.3"}, {Op::kProbability, "0.05"}}});

  f.push_back({"NonCentralStudentT", {{"5", "1"}, {"3.7", "1.3"}},
               {WithTolerance(&STATS_NonCentralStudentTProbability_MP), nullptr},
               {nullptr, nullptr},
               Boost([](P p) { return bmath::non_central_t_distribution<B>(p[0], p[1]); }),
               {{Op::kProbability, "1.3"}, {Op::kProbability, "-2"}}});
  return f;
}

const char* OpName(Op op) { return op == Op::kProbability ? "Probability" : "Deviate"; }

// "GammaDeviate(1e-10, 2, 3.5)": the call of the library's function.
std::string Label(const Family& f, const std::vector<const char*>& params, const Argument& a) {
  std::string s = std::string(f.name) + OpName(a.op) + "(" + a.text;
  for (const char* p : params) s += std::string(", ") + p;
  return s + ")";
}

int ListRows() {
  for (const Family& f : Families()) {
    for (const auto& params : f.params) {
      for (const Argument& a : f.args) {
        std::printf("%s\t%s\t%s\t%s\t", Label(f, params, a).c_str(), f.name, OpName(a.op), a.text);
        for (size_t i = 0; i < params.size(); ++i) std::printf("%s%s", i ? "," : "", params[i]);
        std::printf("\n");
      }
    }
  }
  return 0;
}

// ------------------------------------------------------------------- calls

// An Arb ball array of the parameters as the library rounded them, exact.
class Balls {
 public:
  explicit Balls(const std::vector<QuarnFloat>& v) : n_(static_cast<slong>(v.size())) {
    p_ = _arb_vec_init(n_);
    for (slong i = 0; i < n_; ++i) arf_set_mpfr(arb_midref(p_ + i), v[static_cast<size_t>(i)].Mpfr());
  }
  ~Balls() { _arb_vec_clear(p_, n_); }
  Balls(const Balls&) = delete;
  Balls& operator=(const Balls&) = delete;
  arb_srcptr get() const { return p_; }

 private:
  slong n_;
  arb_ptr p_;
};

// Every row at Digits, or only the rows whose label contains `only_row`
// and only the implementations listed in `only_impl` (comma-separated; for a
// profiler run, or to leave out a slow peer).
// Scratch numbers of the bare Arb call: the argument, the result ball and its
// midpoint as an MPFR number.
struct ArbScratch {
  explicit ArbScratch(slong bits) {
    arb_init(x);
    arb_init(r);
    mpfr_init2(out, bits);
  }
  ~ArbScratch() {
    arb_clear(x);
    arb_clear(r);
    mpfr_clear(out);
  }
  ArbScratch(const ArbScratch&) = delete;
  ArbScratch& operator=(const ArbScratch&) = delete;
  arb_t x, r;
  mpfr_t out;
};

// Brings the collector's heap to the size it keeps while floats are made and
// dropped at this precision: its pages are touched and it has collected a few
// times, so that the first rows timed do not pay for the heap's first growth
// (page faults and clearing, which made them up to 3 times slower).
void WarmUpCollector() {
  QuarnFloat s(1.0), t(host::ParseFloat("0.1"));
  for (int i = 0; i < 2000000; ++i) s = s + t;
  if (s < 0) std::abort();  // keeps the loop
}

// Whether the label contains one of the '|'-separated parts of pattern
// (every label matches an empty pattern).
bool Matches(const std::string& label, const std::string& pattern) {
  size_t start = 0;
  for (;;) {
    size_t end = pattern.find('|', start);
    if (label.find(pattern.substr(start, end - start)) != std::string::npos) return true;
    if (end == std::string::npos) return false;
    start = end + 1;
  }
}

// The rows of one family at one parameter set: each parameter as a decimal
// rounded by each implementation to its own working precision.
void RunFamily(const Family& f, const std::vector<const char*>& params, long digits, const std::string& only_row,
               const std::string& only_impl) {
  QKernel kv = host::Kernel();
  const slong bits = static_cast<slong>(host::WorkingBits());
  std::vector<QuarnFloat> qp;
  std::vector<BoostFloat> bp;
  for (const char* p : params) {
    qp.emplace_back(host::ParseFloat(p));
    bp.emplace_back(p);
  }
  Balls ap(qp);
  BoostFn boost = f.boost(bp);
  for (const Argument& a : f.args) {
    const std::string label = Label(f, params, a);
    const int k = a.op == Op::kProbability ? 0 : 1;
    if (!Matches(label, only_row)) continue;
    auto wanted = [&](const std::string& impl) {
      return only_impl.empty() || ("," + only_impl + ",").find("," + impl + ",") != std::string::npos;
    };

    // The library's computing function, as a program linked with it calls it.
    const QuarnFloat x(host::ParseFloat(a.text));
    QuarnFloat q;
    std::vector<Contender> contenders;
    if (wanted("quarn")) {
      contenders.emplace_back("quarn", [&] { q = f.quarn[k](kv, x, qp.data()); },
                              [&] { return MpfrText(q.Mpfr(), digits); });
    }
    // One Arb evaluation at the working precision, from the argument as an
    // MPFR number to the midpoint as one.
    ArbScratch arb(bits);
    if (f.arb[k] && wanted("arb")) {
      contenders.emplace_back(
          "arb",
          [&] {
            arf_set_mpfr(arb_midref(arb.x), x.Mpfr());
            mag_zero(arb_radref(arb.x));
            f.arb[k](arb.r, arb.x, ap.get(), bits);
            arf_get_mpfr(arb.out, arb_midref(arb.r), MPFR_RNDN);
          },
          [&] { return MpfrText(arb.out, digits); });
    }
    // For a deviate, the bare Arb probability at the library's deviate: what
    // each of a solver's Newton steps costs at least.
    ArbScratch arb_prob(bits);
    if (k == 1 && f.arb[0] && f.quarn[1] && wanted("arb_prob")) {
      if (contenders.empty() || std::strcmp(contenders[0].impl, "quarn") != 0) q = f.quarn[1](kv, x, qp.data());
      contenders.emplace_back(
          "arb_prob",
          [&] {
            arf_set_mpfr(arb_midref(arb_prob.x), q.Mpfr());
            mag_zero(arb_radref(arb_prob.x));
            f.arb[0](arb_prob.r, arb_prob.x, ap.get(), bits);
            arf_get_mpfr(arb_prob.out, arb_midref(arb_prob.r), MPFR_RNDN);
          },
          [&] { return MpfrText(arb_prob.out, digits); });
    }
    const BoostFloat bx(a.text);
    BoostFloat br;
    if (wanted("boost")) {
      contenders.emplace_back("boost", [&] { br = boost(bx, a.op); }, [&] {
        return br.str(static_cast<std::streamsize>(digits + 4), std::ios_base::scientific);
      });
    }
    RunRow(label, digits, contenders);
  }
}

int RunCalls(long digits, const std::string& only_row, const std::string& only_impl) {
  host::SetDigits(digits);
  WarmUpCollector();
  BoostFloat::default_precision(static_cast<unsigned>(digits));
  for (const Family& f : Families()) {
    for (const auto& params : f.params) {
      RunFamily(f, params, digits, only_row, only_impl);
    }
  }
  return 0;
}

// ----------------------------------------------------------------- samples

// Sample mean and variance of a vector of doubles.
void Moments(const std::vector<double>& v, double* mean, double* var) {
  double s = 0, s2 = 0;
  for (double x : v) s += x;
  *mean = s / static_cast<double>(v.size());
  for (double x : v) s2 += (x - *mean) * (x - *mean);
  *var = s2 / static_cast<double>(v.size() - 1);
}

void EmitSample(const char* label, long digits, const char* impl, double seconds, long n,
                const std::vector<double>& values) {
  double mean, var;
  Moments(values, &mean, &var);
  std::printf("sample\t%s\t%ld\t%s\t%.6g\t%ld\t%.6g\t%.6g\n", label, digits, impl,
              seconds * 1e9 / static_cast<double>(n), n, mean, var);
  std::fflush(stdout);
}

// The fastest of three runs of fill(), which produces all n variates.
double BestOfThree(const std::function<void()>& fill) {
  double best = 1e300;
  for (int i = 0; i < 3; ++i) {
    double t0 = CpuSeconds();
    fill();
    best = std::min(best, CpuSeconds() - t0);
  }
  return best;
}

int RunSample(long digits, long n) {
  QKernel kv = host::Kernel();
  host::SetDigits(digits);
  host::SeedRandom(20240501);

  // The host entries: a fresh vector of n variates per call.
  struct Entry {
    const char* label;
    HostObject (*entry)(QKernel, HostObject);
    std::vector<double> params;
  };
  const Entry entries[] = {
      {"Normal(0, 1)", &STATS_QuarnNormalRandomSample_MP, {0, 1}},
      {"Gamma(2, 3.5)", &STATS_QuarnGammaRandomSample_MP, {2, 3.5}},
      {"Beta(2.5, 3.5)", &STATS_QuarnBetaRandomSample_MP, {2.5, 3.5}},
  };
  for (const Entry& e : entries) {
    std::vector<HostObject> args{host::MakeInteger(n)};
    for (double p : e.params) args.push_back(host::MakeFloat(p));
    HostObject seq = host::MakeSeq(args);
    HostObject out = nullptr;
    e.entry(kv, seq);  // builds the ziggurat tables at this precision
    double seconds = BestOfThree([&] { out = e.entry(kv, seq); });
    auto* block = static_cast<QuarnFloat*>(RTableDataBlock(kv, out));
    std::vector<double> values(RTableNumElements(kv, out));
    for (size_t i = 0; i < values.size(); ++i) values[i] = block[i].ToDouble();
    EmitSample(e.label, digits, "quarn", seconds, n, values);
  }

  // MPFR's own normal variates, each into a number allocated beforehand.
  {
    gmp_randstate_t state;
    gmp_randinit_default(state);
    gmp_randseed_ui(state, 20240501);
    std::vector<__mpfr_struct> z(static_cast<size_t>(n));
    for (__mpfr_struct& v : z) mpfr_init2(&v, static_cast<mpfr_prec_t>(host::WorkingBits()));
    double seconds = BestOfThree([&] {
      for (__mpfr_struct& v : z) mpfr_nrandom(&v, state, MPFR_RNDN);
    });
    std::vector<double> values(z.size());
    for (size_t i = 0; i < z.size(); ++i) values[i] = mpfr_get_d(&z[i], MPFR_RNDN);
    for (__mpfr_struct& v : z) mpfr_clear(&v);
    gmp_randclear(state);
    EmitSample("Normal(0, 1)", digits, "mpfr_nrandom", seconds, n, values);
  }

  // Boost.Random's distributions on a fixed-precision MPFR float of these
  // digits (its uniform generator needs the precision at compile time).
  if (digits == 30) {
    using F30 = bmp::number<bmp::mpfr_float_backend<30>>;
    boost::random::mt19937 engine(20240501);
    std::vector<F30> out(static_cast<size_t>(n));
    auto boost_sample = [&](const char* label, auto dist) {
      double seconds = BestOfThree([&] {
        for (F30& v : out) v = dist(engine);
      });
      std::vector<double> values(out.size());
      for (size_t i = 0; i < out.size(); ++i) values[i] = out[i].template convert_to<double>();
      EmitSample(label, digits, "boost", seconds, n, values);
    };
    boost_sample("Normal(0, 1)", boost::random::normal_distribution<F30>(0, 1));
    boost_sample("Gamma(2, 3.5)", boost::random::gamma_distribution<F30>(3.5, 2));
    boost_sample("Beta(2.5, 3.5)", boost::random::beta_distribution<F30>(2.5, 3.5));
  }
  return 0;
}

// --------------------------------------------------------------- resamples

// The mean of a vector of floats, as a host procedure for the bootstrap: the
// library's mean kernel on the vector's data block.
HostObject MeanProcedure(QKernel kv, HostObject, HostObject v) {
  auto* x = static_cast<QuarnFloat*>(RTableDataBlock(kv, v));
  return quarnstats::UnweightedMean(x, RTableNumElements(kv, v), 0).Handle();
}

void EmitResample(const char* label, long digits, const char* impl, double seconds, long n, double check) {
  std::printf("resample\t%s\t%ld\t%s\t%.6g\t%ld\t%.6g\n", label, digits, impl,
              seconds * 1e9 / static_cast<double>(n), n, check);
  std::fflush(stdout);
}

// Alias urn draws (10^6 over 10^3 weights 1, 2, ..., 1000) through
// QuarnAliasUrnSample, next to the standard library's discrete distribution
// on doubles; and 10^3 bootstrap replicates of the mean of 10^3 values
// through QuarnBootstrapStatistic (the statistic a native host procedure on
// the library's mean kernel), next to the same resampling written on bare
// MPFR numbers: an index from a 32-bit Mersenne Twister by rejection, and a
// running mpfr_add of the drawn values, divided once. Per draw, per
// replicate. The check column is the mean cell, and the mean of the
// replicates' means.
int RunResample(long digits) {
  QKernel kv = host::Kernel();
  host::SetDigits(digits);
  WarmUpCollector();
  host::SeedRandom(20240501);
  constexpr long kDraws = 1000000, kCells = 1000, kReplicates = 1000, kValues = 1000;
  {
    std::vector<double> w(kCells);
    for (long i = 0; i < kCells; ++i) w[static_cast<size_t>(i)] = static_cast<double>(i + 1);
    RTableSettingsRecord rts;
    RTableGetDefaults(kv, &rts);
    rts.num_dimensions = 1;
    rts.data_type = RTABLE_FLOAT64;
    int bounds[2] = {1, static_cast<int>(kCells)};
    HostObject weights = RTableCreate(kv, &rts, w.data(), bounds);
    HostObject seq = host::MakeSeq({host::MakeInteger(kDraws), weights});
    HostObject out = nullptr;
    double seconds = BestOfThree([&] { out = STATS_QuarnAliasUrnSample_MP(kv, seq); });
    const auto* cells = static_cast<const int32_t*>(RTableDataBlock(kv, out));
    double mean = 0;
    for (long i = 0; i < kDraws; ++i) mean += cells[i];
    EmitResample("AliasUrn(10^6 draws, 10^3 weights)", digits, "quarn", seconds, kDraws, mean / kDraws);
    std::mt19937 engine(20240501);
    std::discrete_distribution<int> dist(w.begin(), w.end());
    std::vector<int> drawn(static_cast<size_t>(kDraws));
    seconds = BestOfThree([&] {
      for (int& c : drawn) c = dist(engine);
    });
    mean = 0;
    for (int c : drawn) mean += c;
    EmitResample("AliasUrn(10^6 draws, 10^3 weights)", digits, "std_discrete", seconds, kDraws, mean / kDraws);
  }
  {
    std::mt19937 engine(20240501);
    std::normal_distribution<double> normal(0, 1);
    std::vector<double> data(kValues);
    for (double& v : data) v = normal(engine);
    RTableSettingsRecord rts;
    RTableGetDefaults(kv, &rts);
    rts.num_dimensions = 1;
    rts.data_type = RTABLE_DAG;
    rts.element_type_name = ToQuarnName(kv, "sfloat", 1);
    int bounds[2] = {1, static_cast<int>(kValues)};
    HostObject points = RTableCreate(kv, &rts, nullptr, bounds);
    auto* block = static_cast<QuarnFloat*>(RTableDataBlock(kv, points));
    for (long i = 0; i < kValues; ++i) block[i] = QuarnFloat(data[static_cast<size_t>(i)]);
    rts.element_type_name = nullptr;
    int none[2] = {1, 0};
    HostObject no_weights = RTableCreate(kv, &rts, nullptr, none);
    HostObject mean = host::MakeProcedure(MeanProcedure, nullptr, "v -> mean(v)");
    HostObject seq = host::MakeSeq({points, no_weights, mean, host::MakeInteger(kValues), host::MakeInteger(kReplicates)});
    HostObject out = nullptr;
    double seconds = BestOfThree([&] { out = STATS_QuarnBootstrapStatistic_MP(kv, seq); });
    const auto* means = static_cast<const QuarnFloat*>(RTableDataBlock(kv, out));
    double check = 0;
    for (long i = 0; i < kReplicates; ++i) check += means[i].ToDouble();
    EmitResample("Bootstrap(10^3 means of 10^3)", digits, "quarn", seconds, kReplicates, check / kReplicates);

    // Bare MPFR: the same values, the same kind of index draw.
    const mpfr_prec_t bits = host::WorkingBits();
    std::vector<__mpfr_struct> x(static_cast<size_t>(kValues));
    for (long i = 0; i < kValues; ++i) {
      mpfr_init2(&x[static_cast<size_t>(i)], bits);
      mpfr_set(&x[static_cast<size_t>(i)], block[i].Mpfr(), MPFR_RNDN);
    }
    mpfr_t sum;
    mpfr_init2(sum, bits);
    std::vector<__mpfr_struct> result(static_cast<size_t>(kReplicates));
    for (__mpfr_struct& r : result) mpfr_init2(&r, bits);
    std::mt19937 indices(20240501);
    seconds = BestOfThree([&] {
      for (__mpfr_struct& r : result) {
        mpfr_set_zero(sum, 1);
        for (long j = 0; j < kValues; ++j) {
          uint32_t i;
          do {
            i = static_cast<uint32_t>(indices()) >> 22;  // 10 bits, 0..1023
          } while (i >= static_cast<uint32_t>(kValues));
          mpfr_add(sum, sum, &x[i], MPFR_RNDN);
        }
        mpfr_div_ui(&r, sum, static_cast<unsigned long>(kValues), MPFR_RNDN);
      }
    });
    check = 0;
    for (__mpfr_struct& r : result) check += mpfr_get_d(&r, MPFR_RNDN);
    EmitResample("Bootstrap(10^3 means of 10^3)", digits, "mpfr_loop", seconds, kReplicates, check / kReplicates);
    for (__mpfr_struct& r : result) mpfr_clear(&r);
    for (__mpfr_struct& v : x) mpfr_clear(&v);
    mpfr_clear(sum);
  }
  return 0;
}

// ------------------------------------------------------------- elementary

// The elementary functions the closed forms are made of, at Digits, on the
// argument 0.7: QuarnFloat (a fresh float object per result), MPFR into a
// preallocated number, and Arb. Not part of the table: it shows where the
// closed forms' time goes.
int RunElementary(long digits) {
  host::SetDigits(digits);
  WarmUpCollector();
  const slong bits = static_cast<slong>(host::WorkingBits());
  const QuarnFloat x(host::ParseFloat("0.7"));
  QuarnFloat q;
  mpfr_t m;
  mpfr_init2(m, bits);
  arb_t xb, r;
  arb_init(xb);
  arb_init(r);
  arf_set_mpfr(arb_midref(xb), x.Mpfr());
  struct Fn {
    const char* name;
    QuarnFloat (*quarn)(const QuarnFloat&);
    int (*mpfr)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);
    void (*arb)(arb_ptr, arb_srcptr, slong);
  };
  const Fn fns[] = {
      {"exp", [](const QuarnFloat& v) { return exp(v); }, &mpfr_exp, &arb_exp},
      {"log", [](const QuarnFloat& v) { return log(v); }, &mpfr_log, &arb_log},
      {"atan", [](const QuarnFloat& v) { return QuarnEvalf1("arctan", v); }, &mpfr_atan, &arb_atan},
  };
  for (const Fn& f : fns) {
    std::vector<Contender> contenders{
        {"quarnfloat", [&] { q = f.quarn(x); }, nullptr},
        {"mpfr", [&] { f.mpfr(m, x.Mpfr(), MPFR_RNDN); }, nullptr},
        {"arb", [&] { f.arb(r, xb, bits); }, nullptr},
    };
    TimeInTurns(contenders);
    for (const Contender& c : contenders) {
      std::printf("elementary\t%s\t%ld\t%s\t%.6g\n", f.name, digits, c.impl, c.timing.ns);
    }
  }
  arb_clear(xb);
  arb_clear(r);
  mpfr_clear(m);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  g_constructing_statics = false;
  host::Initialize();
  STATS_StatsInitialize_MP(host::Kernel(), host::Null());
  // Room for the non-central series at 500 digits (the default 100 terms
  // suffice up to Digits 100 for these rows).
  host::AssignName(host::Name("_EnvStatisticsIterations"), host::MakeInteger(100000));
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "rows") return ListRows();
  if (mode == "calls" && argc > 2) {
    return RunCalls(std::strtol(argv[2], nullptr, 10), argc > 3 ? argv[3] : "", argc > 4 ? argv[4] : "");
  }
  if (mode == "elementary" && argc > 2) return RunElementary(std::strtol(argv[2], nullptr, 10));
  if (mode == "resample" && argc > 2) return RunResample(std::strtol(argv[2], nullptr, 10));
  if (mode == "sample" && argc > 2) {
    return RunSample(std::strtol(argv[2], nullptr, 10), argc > 3 ? std::strtol(argv[3], nullptr, 10) : 100000);
  }
  std::fprintf(stderr,
               "usage: %s rows | calls DIGITS [ROW [IMPL]] | sample DIGITS [N] | resample DIGITS | elementary DIGITS\n",
               argv[0]);
  return 2;
}
