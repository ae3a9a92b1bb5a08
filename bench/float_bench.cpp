// Cost of one float operation: QuarnFloat (a fresh float object per result)
// next to bare MPFR (the result written into a number allocated beforehand)
// and Boost.Multiprecision's mpfr_float (variable precision) used two ways:
// "boost", s = s + t, which its expression templates turn into one MPFR call
// writing into s; and "boost_fresh", each result a new mpfr_float, as each
// QuarnFloat result is a new float.
//
//   float_bench ops DIGITS    add and mul at Digits = DIGITS
//   float_bench loop DIGITS   s = s + i*1.5 for i = 1, 2, ..., the shell
//                             benchmark's loop written with QuarnFloat
//
// Each operation runs in a dependent chain (s = s + t, p = p * q), so that
// no call can be skipped or overlapped with the next. Output lines are
// tab-separated:
//   op    name  digits  impl  ns_per_operation
//   loop  name  digits  impl  ns_per_iteration
// Times are process CPU time, the fastest of seven batches, the four
// contenders taking turns batch by batch so that a change of load hits
// them all. A final check compares the chains' results: QuarnFloat's with
// bare MPFR's exactly, Boost's with bare MPFR run again at Boost's precision.
#include <mpfr.h>

#include <algorithm>
#include <boost/multiprecision/mpfr.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bench/cpu_time.h"
#include "platform/float/quarnfloat.h"
#include "platform/host/host.h"

namespace {

namespace host = quarn::host;
using BoostFloat = boost::multiprecision::mpfr_float;

struct Contender {
  const char* impl;
  std::function<void(long)> run;  // n operations
  double ns = 1e300;
};

// The fastest of seven batches of n operations per contender, in turns.
// Returns the number of operations each contender ran, warm-up included.
long TimeInTurns(std::vector<Contender>& cs, long n) {
  for (Contender& c : cs) c.run(n / 10);  // warm-up
  for (int round = 0; round < 7; ++round) {
    for (Contender& c : cs) {
      double t0 = CpuSeconds();
      c.run(n);
      c.ns = std::min(c.ns, (CpuSeconds() - t0) * 1e9 / static_cast<double>(n));
    }
  }
  return n / 10 + 7 * n;
}

// m steps of a chain, each add() or each mul(): the loop is written out per
// operation and the steps inline, so that no contender pays a branch or an
// indirect call per operation that another does not.
template <class Add, class Mul>
std::function<void(long)> Chain(bool add, Add step_add, Mul step_mul) {
  return [=](long m) {
    if (add) {
      for (long i = 0; i < m; ++i) step_add();
    } else {
      for (long i = 0; i < m; ++i) step_mul();
    }
  };
}

// The chain of count operations on MPFR numbers of that precision.
void MpfrChain(mpfr_ptr s, const char* start, const char* operand, bool add, long count) {
  mpfr_t t;
  mpfr_init2(t, mpfr_get_prec(s));
  mpfr_set_str(s, start, 10, MPFR_RNDN);
  mpfr_set_str(t, operand, 10, MPFR_RNDN);
  for (long i = 0; i < count; ++i) (add ? mpfr_add : mpfr_mul)(s, s, t, MPFR_RNDN);
  mpfr_clear(t);
}

int RunOps(long digits) {
  host::SetDigits(digits);
  BoostFloat::default_precision(static_cast<unsigned>(digits));
  const mpfr_prec_t bits = host::WorkingBits();
  const mpfr_prec_t boost_bits = mpfr_get_prec(BoostFloat(1).backend().data());
  const long n = 2000000;
  int status = 0;

  struct Case {
    const char* name;
    const char* start;
    const char* operand;
  };
  const Case cases[] = {{"add", "0", "0.1"}, {"mul", "1", "0.9999999"}};
  for (const Case& k : cases) {
    const bool add = k.name[0] == 'a';
    const QuarnFloat qt(host::ParseFloat(k.operand));
    QuarnFloat qs(host::ParseFloat(k.start));
    mpfr_t ms, mt;
    mpfr_init2(ms, bits);
    mpfr_init2(mt, bits);
    mpfr_set_str(ms, k.start, 10, MPFR_RNDN);
    mpfr_set_str(mt, k.operand, 10, MPFR_RNDN);
    BoostFloat bs(k.start), bf(k.start), bt(k.operand);
    std::vector<Contender> cs{
        {"quarnfloat", Chain(add, [&] { qs = qs + qt; }, [&] { qs = qs * qt; })},
        {"mpfr", Chain(add, [&] { mpfr_add(ms, ms, mt, MPFR_RNDN); }, [&] { mpfr_mul(ms, ms, mt, MPFR_RNDN); })},
        {"boost", Chain(add, [&] { bs = bs + bt; }, [&] { bs = bs * bt; })},
        {"boost_fresh", Chain(
                            add,
                            [&] {
                              BoostFloat next(bf + bt);
                              bf.swap(next);
                            },
                            [&] {
                              BoostFloat next(bf * bt);
                              bf.swap(next);
                            })},
    };
    const long count = TimeInTurns(cs, n);
    for (const Contender& c : cs) std::printf("op\t%s\t%ld\t%s\t%.4g\n", k.name, digits, c.impl, c.ns);
    // QuarnFloat and bare MPFR round alike and must agree exactly. Boost
    // rounds at the precision of its digits (a few bits fewer than ours), so
    // its chains are checked against the MPFR chain run again at that
    // precision.
    mpfr_t boost_ref;
    mpfr_init2(boost_ref, boost_bits);
    MpfrChain(boost_ref, k.start, k.operand, add, count);
    if (!mpfr_equal_p(qs.Mpfr(), ms) || !mpfr_equal_p(boost_ref, bs.backend().data()) ||
        !mpfr_equal_p(boost_ref, bf.backend().data())) {
      std::fprintf(stderr, "float_bench: %s chains disagree at Digits %ld\n", k.name, digits);
      status = 1;
    }
    mpfr_clear(boost_ref);
    mpfr_clear(ms);
    mpfr_clear(mt);
  }
  std::fflush(stdout);
  return status;
}

// The shell benchmark's loop, s := s + i*1.5 for i to n, in C++: one
// multiplication by an integer and one addition per iteration.
int RunLoop(long digits) {
  host::SetDigits(digits);
  const long n = 1000000;
  const QuarnFloat t(host::ParseFloat("1.5"));
  QuarnFloat s = 0;
  std::vector<Contender> cs{{"quarnfloat", [&](long m) {
                               s = 0;
                               for (long i = 1; i <= m; ++i) s = s + t * i;
                             }}};
  TimeInTurns(cs, n);
  std::printf("loop\ts+i*1.5\t%ld\t%s\t%.4g\n", digits, cs[0].impl, cs[0].ns);
  // 1.5 * n(n+1)/2, exact at these precisions.
  if (s != 1.5 * static_cast<double>(n) * static_cast<double>(n + 1) / 2) {
    std::fprintf(stderr, "float_bench: loop sum wrong at Digits %ld\n", digits);
    return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  host::Initialize();
  if (argc > 2 && std::strcmp(argv[1], "ops") == 0) return RunOps(std::strtol(argv[2], nullptr, 10));
  if (argc > 2 && std::strcmp(argv[1], "loop") == 0) return RunLoop(std::strtol(argv[2], nullptr, 10));
  std::fprintf(stderr, "usage: %s ops|loop DIGITS\n", argv[0]);
  return 2;
}
