// The discrete interpolation family: the smallest integer at which a
// nondecreasing function reaches a target, on polynomials and on the
// cumulative distribution of Poisson(3.5) (values from mpmath), with every
// failure.
#include <gtest/gtest.h>

#include <cctype>
#include <climits>
#include <functional>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "stats/rootfind/rootfind.h"
#include "support/support.h"
#include "tests/stats/rootfind/rootfind_support.h"

namespace host = quarn::host;
using namespace quarnstats;
using namespace quarn::test;

namespace {

// P(X <= k) for X ~ Poisson(3.5), k = 0 .. 20, to 25 digits (mpmath).
const char* const kPoisson[] = {
    "0.03019738342231850073978629", "0.1358882254004332533290383", "0.3208471988621340703602294",
    "0.5366326679007850235632856",  "0.7254449533096046076159598", "0.8576135530957783164528317",
    "0.9347119029710463132743403",  "0.9732610779086803116850946", "0.9901263419438951859897996",
    "0.996685055735367637108296",   "0.9989806055623829949997698", "0.9997110077800696997834205",
    "0.9999240417602283220119853",  "0.9999813970625787203042912", "0.9999957358881663198773677",
    "0.9999990816141367597777522",  "0.9999998134916927935059613", "0.9999999641723660945676514",
    "0.9999999934713859031074245",  "0.9999999988685737625752774", "0.9999999998130816379821517",
};

constexpr const char* kLimit = "maximum number of iterations exceeded in discrete root finding.";
constexpr const char* kOutside = "the specified approximation point must be between function bounds.";
constexpr const char* kNoConvergence = "DiscreteInterpolationHybrid was not able to converge to the specified root.";
constexpr const char* kNotNondecreasing = "specified function is not a nondecreasing function.";

using Func = std::function<QuarnFloat(const QuarnFloat&)>;

// The Poisson(3.5) distribution function at an integer: 0 below 0, the
// table above, 1 beyond it.
QuarnFloat PoissonCdf(const QuarnFloat& x) {
  long k = FloatToLong(x);
  if (k < 0) return QuarnFloat(0);
  if (k > 20) return QuarnFloat(1);
  return Float(kPoisson[k]);
}

QuarnFloat Line(const QuarnFloat& x) { return x; }
QuarnFloat Square(const QuarnFloat& x) { return x * x; }

// A cumulative table given as values at 0, 1, 2, ...; 0 before, the last
// value after.
Func Table(std::vector<double> values) {
  return [values](const QuarnFloat& x) {
    long k = FloatToLong(x);
    if (k < 0) return QuarnFloat(0);
    if (k >= static_cast<long>(values.size())) return QuarnFloat(values.back());
    return QuarnFloat(values[static_cast<size_t>(k)]);
  };
}

enum Method { kPlain, kLeft, kRight, kUnbound };

// One call of the family: a and b are the ends (plain), the left barrier and
// the initial point (Left), the initial point and the right barrier (Right),
// or the two initial points (Unbound); the hybrid forms' f has range [0, 1].
struct Call {
  Method method;
  const char* target;
  long a, b;
  long max_iter = 100;
};

std::string Describe(const Call& c) {
  static const char* const kNames[] = {"DiscreteInterpolation", "DiscreteInterpolationHybridLeft",
                                       "DiscreteInterpolationHybridRight", "DiscreteInterpolationHybridUnbound"};
  return std::string(kNames[c.method]) + "(" + c.target + ", " + std::to_string(c.a) + ", " + std::to_string(c.b) +
         ", max_iter " + std::to_string(c.max_iter) + ") at Digits " + std::to_string(host::WorkingDigits());
}

long Solve(const Call& c, Fn* f) {
  const QuarnFloat t = Float(c.target), lo = 0, hi = 1;
  switch (c.method) {
    case kPlain: return DiscreteInterpolation(kv(), t, f, c.a, c.b, c.max_iter);
    case kLeft: return DiscreteInterpolationHybridLeft(kv(), t, f, lo, hi, c.a, c.b, c.max_iter);
    case kRight: return DiscreteInterpolationHybridRight(kv(), t, f, lo, hi, c.a, c.b, c.max_iter);
    default: return DiscreteInterpolationHybridUnbound(kv(), t, f, lo, hi, c.a, c.b, c.max_iter);
  }
}

}  // namespace

// Results and every failure with its exact message, at Digits 10 and 30;
// where given, the calls made and the first points evaluated (checks of the
// arguments come before any evaluation).
TEST(DiscreteFamily, ResultsAndFailures) {
  const char* const after_barrier = "the specified initial point must be greater than the left barrier.";
  struct Row {
    Call call;
    Func f;
    const char* outcome;  // a number: the result; else the error message
    long calls = -1;
    std::vector<double> first = {};
  };
  const Row rows[] = {
      {{kPlain, "50", 0, 100}, Square, "8"},
      {{kPlain, "49", 0, 100}, Square, "7"},  // reached exactly at 7
      {{kPlain, "10000", 0, 100}, Square, "100"},
      {{kPlain, "-50", -100, 0}, [](const QuarnFloat& x) { return -(x * x); }, "-7"},  // -k^2 rises up to 0
      {{kPlain, "0.9", 0, 20}, PoissonCdf, "6"},
      {{kPlain, "0.999", 0, 20}, PoissonCdf, "11"},
      {{kPlain, kPoisson[3], 0, 20}, PoissonCdf, "3"},
      // f(lo) above the target: lo after a single evaluation; f(lo) equal to
      // the target: lo is not the answer, the next integer is.
      {{kPlain, "3", 2, 1000}, Square, "2", 1, {2}},
      {{kPlain, "4", 2, 1000}, Square, "3"},
      // Adjacent ends: no bisection step, hi after two evaluations; with no
      // iteration at all only when f(lo) already exceeds the target.
      {{kPlain, "20", 4, 5, 1}, Square, "5", 2, {4, 5}},
      {{kPlain, "10", 4, 5, 0}, Square, "4"},
      {{kPlain, "20", 4, 5, 0}, Square, kLimit},
      // A bracket of width 2^20 halves exactly 20 times, then returns on the
      // 21st iteration.
      {{kPlain, "777777.5", 0, 1L << 20, 21}, Line, "777778", 22},
      {{kPlain, "777777.5", 0, 1L << 20, 20}, Line, kLimit},
      {{kPlain, "-1", -5, 0}, Line, "-1", -1, {-5, 0, -2}},  // (-5 + 0) / 2 truncated, not floored to -3
      {{kPlain, "1000", LONG_MIN, LONG_MAX, 200}, Line, "1000"},  // the midpoint is taken without overflow
      {{kPlain, "200", 0, 10}, Square, "root must be bracketed by left and right barriers."},
      {{kLeft, "0.999", 0, 1}, PoissonCdf, "11", -1, {0, 1}},  // the barrier is evaluated, first
      {{kLeft, "0.9", 0, 3}, PoissonCdf, "6"},
      {{kLeft, "0.5", 0, 15}, PoissonCdf, "3"},  // the initial point beyond the answer: bisection of [barrier, point]
      // The secant through (0, 0) and (1, 0.6) reaches 1 at 5/3, which rounds
      // down onto 1: the next point is 2.
      {{kLeft, "0.9", 0, 1}, Table({0, 0.6, 0.95, 1}), "2", -1, {0, 1, 2}},
      {{kLeft, "0.5", 3, 3}, PoissonCdf, after_barrier, 0},
      {{kLeft, "1.5", 0, 3}, PoissonCdf, kOutside, 0},
      {{kLeft, "0.99", 0, 1, 0}, PoissonCdf, kNoConvergence, 2},  // barrier and point
      {{kLeft, "0.9", 0, 1}, Table({0, 0.3, 0.3, 0.3, 0.3, 0.3, 0.3, 0.3, 0.3, 0.3, 1}), kNoConvergence},  // flat
      {{kLeft, "0.9", 0, 1}, Table({0, 0.5, 0.2, 0.1, 0.1}), kNotNondecreasing},  // a falling step
      // A fall already between the barrier and the point turns the secant backward.
      {{kLeft, "0.9", 0, 1}, Table({0.5, 0.2, 0.1}), kNotNondecreasing, 2},
      {{kRight, "0.1", 8, 30}, PoissonCdf, "1", -1, {8, 30}},  // the initial point, then the barrier
      {{kRight, "0.7", 12, 40}, PoissonCdf, "4"},
      {{kRight, "0.5", 5, 5}, PoissonCdf, "the specified initial point must be less than the right barrier.", 0},
      {{kRight, "-0.5", 0, 5}, PoissonCdf, kOutside, 0},
      {{kRight, "0.01", 8, 30, -1}, PoissonCdf, kNoConvergence},
      {{kRight, "0.5", 8, 9}, Table({0, 0.7, 0.7, 0.7, 0.7, 0.7, 0.7, 0.7, 0.7, 1}), kNoConvergence},  // flat
      {{kRight, "0.1", 2, 3}, Table({0.95, 0.95, 0.6, 1}), kNotNondecreasing},  // rising leftward
      {{kUnbound, "0.999", 4, 2}, PoissonCdf, "11", -1, {2, 4}},  // the smaller point first
      {{kUnbound, "0.05", 4, 6}, PoissonCdf, "1"},
      {{kUnbound, "0.6", 0, 12}, PoissonCdf, "4"},
      {{kUnbound, kPoisson[3], 3, 9}, PoissonCdf, "3", 2},  // exactly at a point
      {{kUnbound, kPoisson[3], 0, 3}, PoissonCdf, "3", 2},
      // The bounds are checked before the points.
      {{kUnbound, "2", 3, 3}, PoissonCdf, kOutside},
      {{kUnbound, "0.5", 3, 3}, PoissonCdf,
       "DiscreteInterpolationHybridUnbound requires distinct initial points (InitPoint1 != InitPoint2)."},
      // A falling function with the target between its values: the value at
      // the larger point bounds the search to the left, and the target is above.
      {{kUnbound, "0.5", 0, 3}, Table({1, 0.8, 0.6, 0.4}), kOutside},
      {{kUnbound, "0.99", 1, 2, 0}, PoissonCdf, kNoConvergence},
  };
  for (long digits : {10L, 30L}) {
    ScopedDigits d(digits);
    for (const Row& row : rows) {
      SCOPED_TRACE(Describe(row.call));
      Fn f(row.f);
      long r = 0;
      const std::string error = ErrorOf([&] { r = Solve(row.call, &f); });
      if (std::isdigit(static_cast<unsigned char>(row.outcome[row.outcome[0] == '-']))) {
        EXPECT_EQ(error, "");
        EXPECT_EQ(r, std::stol(row.outcome));
      } else {
        EXPECT_EQ(error, row.outcome);
      }
      if (row.calls >= 0) {
        EXPECT_EQ(f.calls(), static_cast<size_t>(row.calls));
      }
      ASSERT_GE(f.calls(), row.first.size());
      EXPECT_EQ(std::vector<double>(f.points.begin(), f.points.begin() + row.first.size()), row.first);
    }
  }
}

// f(k) = k/64 up to 64: from (0, 0) through (1, 1/64) one step lands on 64;
// bisection of [1, 64] for the target 40.5/64 then takes 6 halvings and a
// 7th iteration to return, and the hybrid form one iteration more.
TEST(DiscreteInterpolationHybridLeft, TheIterationBudgetIsShared) {
  ScopedDigits d(10);
  Fn ramp([](const QuarnFloat& x) { return x < 64 ? x / 64 : QuarnFloat(1); });
  EXPECT_EQ(Solve({kPlain, "0.6328125", 1, 64, 7}, &ramp), 41);
  EXPECT_EQ(ErrorOf([&] { Solve({kPlain, "0.6328125", 1, 64, 6}, &ramp); }), kLimit);
  EXPECT_EQ(Solve({kLeft, "0.6328125", 0, 1, 8}, &ramp), 41);
  EXPECT_EQ(ErrorOf([&] { Solve({kLeft, "0.6328125", 0, 1, 7}, &ramp); }), kLimit);
}
