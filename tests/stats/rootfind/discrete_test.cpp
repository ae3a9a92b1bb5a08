// The discrete interpolation family: the smallest integer at which a
// nondecreasing function reaches a target, on polynomials and on the
// cumulative distribution of Poisson(3.5) (values from mpmath), with every
// failure.
#include <gtest/gtest.h>

#include <climits>

#include "platform/host/host.h"
#include "stats/rootfind/rootfind.h"
#include "support/support.h"
#include "tests/stats/rootfind/rootfind_support.h"

namespace host = quarn::host;
using quarn::test::kv;
using namespace quarnstats;
using quarn::test::ErrorOf;
using quarn::test::Float;
using quarn::test::Fn;
using quarn::test::ScopedDigits;

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

// The Poisson(3.5) distribution function at an integer: 0 below 0, the
// table above, 1 beyond it.
QuarnFloat PoissonCdf(const QuarnFloat& x) {
  long k = FloatToLong(x);
  if (k < 0) return QuarnFloat(0);
  if (k > 20) return QuarnFloat(1);
  return Float(kPoisson[k]);
}

QuarnFloat Square(const QuarnFloat& x) { return x * x; }

// A cumulative table given as values at 0, 1, 2, ...; 0 before, the last
// value after.
Fn Table(std::vector<double> values) {
  return Fn([values](const QuarnFloat& x) {
    long k = FloatToLong(x);
    if (k < 0) return QuarnFloat(0);
    if (k >= static_cast<long>(values.size())) return QuarnFloat(values.back());
    return QuarnFloat(values[static_cast<size_t>(k)]);
  });
}

const long kDigits[] = {10, 30};

}  // namespace

TEST(DiscreteInterpolation, SmallestIntegerReachingTheTarget) {
  ScopedDigits d(10);
  Fn f(Square);
  EXPECT_EQ(DiscreteInterpolation(kv(), QuarnFloat(50), &f, 0, 100, 100), 8);
  EXPECT_EQ(DiscreteInterpolation(kv(), QuarnFloat(49), &f, 0, 100, 100), 7);  // reached exactly at 7
  EXPECT_EQ(DiscreteInterpolation(kv(), QuarnFloat(10000), &f, 0, 100, 100), 100);
  // A bracket of negative integers: -k^2 rises up to 0.
  Fn neg([](const QuarnFloat& x) { return -(x * x); });
  EXPECT_EQ(DiscreteInterpolation(kv(), QuarnFloat(-50), &neg, -100, 0, 100), -7);
  for (long digits : kDigits) {
    ScopedDigits dd(digits);
    Fn poisson(PoissonCdf);
    EXPECT_EQ(DiscreteInterpolation(kv(), Float("0.9"), &poisson, 0, 20, 100), 6);
    EXPECT_EQ(DiscreteInterpolation(kv(), Float("0.999"), &poisson, 0, 20, 100), 11);
    EXPECT_EQ(DiscreteInterpolation(kv(), Float("0.5366326679007850235632856"), &poisson, 0, 20, 100), 3);
  }
}

TEST(DiscreteInterpolation, TheLowerEndCountsOnlyWhenItExceedsTheTarget) {
  ScopedDigits d(10);
  // f(lo) above the target: lo after a single evaluation.
  Fn above(Square);
  EXPECT_EQ(DiscreteInterpolation(kv(), QuarnFloat(3), &above, 2, 1000, 100), 2);
  EXPECT_EQ(above.points, std::vector<double>{2});
  // f(lo) equal to the target: lo is not the answer, the next integer is.
  Fn equal(Square);
  EXPECT_EQ(DiscreteInterpolation(kv(), QuarnFloat(4), &equal, 2, 1000, 100), 3);
  // Adjacent ends: no bisection step, hi after two evaluations.
  Fn adjacent(Square);
  EXPECT_EQ(DiscreteInterpolation(kv(), QuarnFloat(20), &adjacent, 4, 5, 1), 5);
  EXPECT_EQ(adjacent.points, (std::vector<double>{4, 5}));
}

TEST(DiscreteInterpolation, Failures) {
  ScopedDigits d(10);
  Fn f(Square);
  EXPECT_EQ(ErrorOf([&] { DiscreteInterpolation(kv(), QuarnFloat(200), &f, 0, 10, 100); }),
            "root must be bracketed by left and right barriers.");
  const char* limit = "maximum number of iterations exceeded in discrete root finding.";
  // Adjacent ends still need one iteration to return.
  EXPECT_EQ(ErrorOf([&] { DiscreteInterpolation(kv(), QuarnFloat(20), &f, 4, 5, 0); }), limit);
  // ... unless f(lo) already exceeds the target.
  EXPECT_EQ(DiscreteInterpolation(kv(), QuarnFloat(10), &f, 4, 5, 0), 4);
  // A bracket of width 2^20 halves exactly 20 times, then returns on the
  // 21st iteration.
  Fn wide([](const QuarnFloat& x) { return x; });
  EXPECT_EQ(DiscreteInterpolation(kv(), Float("777777.5"), &wide, 0, 1L << 20, 21), 777778);
  EXPECT_EQ(wide.calls(), 22u);
  EXPECT_EQ(ErrorOf([&] { DiscreteInterpolation(kv(), Float("777777.5"), &wide, 0, 1L << 20, 20); }), limit);
}

TEST(DiscreteInterpolation, MidpointsRoundTowardZero) {
  ScopedDigits d(10);
  Fn f([](const QuarnFloat& x) { return x; });
  EXPECT_EQ(DiscreteInterpolation(kv(), QuarnFloat(-1), &f, -5, 0, 100), -1);
  ASSERT_GE(f.points.size(), 3u);
  EXPECT_EQ(f.points[2], -2.0);  // (-5 + 0) / 2 truncated, not floored to -3
  // The widest bracket of longs: the midpoint is taken without overflow.
  Fn g([](const QuarnFloat& x) { return x; });
  EXPECT_EQ(DiscreteInterpolation(kv(), QuarnFloat(1000), &g, LONG_MIN, LONG_MAX, 200), 1000);
}

TEST(DiscreteInterpolationHybridLeft, SearchesRightFromTheBarrier) {
  for (long digits : kDigits) {
    ScopedDigits d(digits);
    SCOPED_TRACE(digits);
    Fn poisson(PoissonCdf);
    EXPECT_EQ(DiscreteInterpolationHybridLeft(kv(), Float("0.999"), &poisson, QuarnFloat(0), QuarnFloat(1), 0, 1, 100),
              11);
    EXPECT_EQ(poisson.points[0], 0.0);  // the barrier is evaluated, first
    EXPECT_EQ(poisson.points[1], 1.0);
    Fn near(PoissonCdf);
    EXPECT_EQ(DiscreteInterpolationHybridLeft(kv(), Float("0.9"), &near, QuarnFloat(0), QuarnFloat(1), 0, 3, 100), 6);
    // The initial point beyond the answer: bisection of [barrier, point].
    Fn beyond(PoissonCdf);
    EXPECT_EQ(DiscreteInterpolationHybridLeft(kv(), Float("0.5"), &beyond, QuarnFloat(0), QuarnFloat(1), 0, 15, 100),
              3);
  }
}

TEST(DiscreteInterpolationHybridLeft, AStepThatRoundsOntoThePointMovesOneFurther) {
  ScopedDigits d(10);
  // The secant through (0, 0) and (1, 0.6) reaches 1 at 5/3, which rounds
  // down onto 1: the next point is 2.
  Fn f = Table({0, 0.6, 0.95, 1});
  EXPECT_EQ(DiscreteInterpolationHybridLeft(kv(), Float("0.9"), &f, QuarnFloat(0), QuarnFloat(1), 0, 1, 100), 2);
  ASSERT_GE(f.points.size(), 3u);
  EXPECT_EQ(std::vector<double>(f.points.begin(), f.points.begin() + 3), (std::vector<double>{0, 1, 2}));
}

TEST(DiscreteInterpolationHybridLeft, Failures) {
  ScopedDigits d(10);
  Fn poisson(PoissonCdf);
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridLeft(kv(), Float("0.5"), &poisson, QuarnFloat(0), QuarnFloat(1), 3, 3, 100);
            }),
            "the specified initial point must be greater than the left barrier.");
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridLeft(kv(), Float("1.5"), &poisson, QuarnFloat(0), QuarnFloat(1), 0, 3, 100);
            }),
            "the specified approximation point must be between function bounds.");
  EXPECT_EQ(poisson.calls(), 0u);
  const char* no_convergence = "DiscreteInterpolationHybrid was not able to converge to the specified root.";
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridLeft(kv(), Float("0.99"), &poisson, QuarnFloat(0), QuarnFloat(1), 0, 1, 0);
            }),
            no_convergence);
  EXPECT_EQ(poisson.calls(), 2u);  // barrier and initial point
  // A flat step: 0.3 from 1 to 9.
  Fn flat = Table({0, 0.3, 0.3, 0.3, 0.3, 0.3, 0.3, 0.3, 0.3, 0.3, 1});
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridLeft(kv(), Float("0.9"), &flat, QuarnFloat(0), QuarnFloat(1), 0, 1, 100);
            }),
            no_convergence);
  // A falling step, and a fall already between the barrier and the point,
  // which turns the secant backward.
  const char* not_nondecreasing = "specified function is not a nondecreasing function.";
  Fn falling = Table({0, 0.5, 0.2, 0.1, 0.1});
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridLeft(kv(), Float("0.9"), &falling, QuarnFloat(0), QuarnFloat(1), 0, 1, 100);
            }),
            not_nondecreasing);
  Fn backward = Table({0.5, 0.2, 0.1});
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridLeft(kv(), Float("0.9"), &backward, QuarnFloat(0), QuarnFloat(1), 0, 1, 100);
            }),
            not_nondecreasing);
  EXPECT_EQ(backward.calls(), 2u);
}

TEST(DiscreteInterpolationHybridLeft, TheIterationBudgetIsShared) {
  ScopedDigits d(10);
  // f(k) = k/64 up to 64: from (0, 0) through (1, 1/64) one step lands on
  // 64; bisection of [1, 64] for the target 40.5/64 then takes 6 halvings
  // and a 7th iteration to return.
  auto ramp = [](const QuarnFloat& x) { return x < 64 ? x / 64 : QuarnFloat(1); };
  Fn bisection(ramp);
  EXPECT_EQ(DiscreteInterpolation(kv(), Float("0.6328125"), &bisection, 1, 64, 7), 41);
  EXPECT_EQ(ErrorOf([&] { DiscreteInterpolation(kv(), Float("0.6328125"), &bisection, 1, 64, 6); }),
            "maximum number of iterations exceeded in discrete root finding.");
  Fn hybrid(ramp);
  EXPECT_EQ(DiscreteInterpolationHybridLeft(kv(), Float("0.6328125"), &hybrid, QuarnFloat(0), QuarnFloat(1), 0, 1, 8),
            41);
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridLeft(kv(), Float("0.6328125"), &hybrid, QuarnFloat(0), QuarnFloat(1), 0, 1, 7);
            }),
            "maximum number of iterations exceeded in discrete root finding.");
}

TEST(DiscreteInterpolationHybridRight, SearchesLeftFromTheBarrier) {
  for (long digits : kDigits) {
    ScopedDigits d(digits);
    SCOPED_TRACE(digits);
    Fn poisson(PoissonCdf);
    EXPECT_EQ(DiscreteInterpolationHybridRight(kv(), Float("0.1"), &poisson, QuarnFloat(0), QuarnFloat(1), 8, 30, 100),
              1);
    EXPECT_EQ(poisson.points[0], 8.0);   // the initial point,
    EXPECT_EQ(poisson.points[1], 30.0);  // then the barrier
    Fn mid(PoissonCdf);
    EXPECT_EQ(DiscreteInterpolationHybridRight(kv(), Float("0.7"), &mid, QuarnFloat(0), QuarnFloat(1), 12, 40, 100), 4);
  }
}

TEST(DiscreteInterpolationHybridRight, Failures) {
  ScopedDigits d(10);
  Fn poisson(PoissonCdf);
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridRight(kv(), Float("0.5"), &poisson, QuarnFloat(0), QuarnFloat(1), 5, 5, 100);
            }),
            "the specified initial point must be less than the right barrier.");
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridRight(kv(), Float("-0.5"), &poisson, QuarnFloat(0), QuarnFloat(1), 0, 5, 100);
            }),
            "the specified approximation point must be between function bounds.");
  EXPECT_EQ(poisson.calls(), 0u);
  const char* no_convergence = "DiscreteInterpolationHybrid was not able to converge to the specified root.";
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridRight(kv(), Float("0.01"), &poisson, QuarnFloat(0), QuarnFloat(1), 8, 30, -1);
            }),
            no_convergence);
  Fn flat = Table({0, 0.7, 0.7, 0.7, 0.7, 0.7, 0.7, 0.7, 0.7, 1});
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridRight(kv(), Float("0.5"), &flat, QuarnFloat(0), QuarnFloat(1), 8, 9, 100);
            }),
            no_convergence);
  Fn rising_leftward = Table({0.95, 0.95, 0.6, 1});
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridRight(kv(), Float("0.1"), &rising_leftward, QuarnFloat(0), QuarnFloat(1), 2, 3,
                                               100);
            }),
            "specified function is not a nondecreasing function.");
}

TEST(DiscreteInterpolationHybridUnbound, SearchesOnTheSideOfTheTarget) {
  for (long digits : kDigits) {
    ScopedDigits d(digits);
    SCOPED_TRACE(digits);
    Fn above(PoissonCdf);
    EXPECT_EQ(DiscreteInterpolationHybridUnbound(kv(), Float("0.999"), &above, QuarnFloat(0), QuarnFloat(1), 4, 2, 100),
              11);
    EXPECT_EQ(above.points[0], 2.0);  // the smaller point first
    EXPECT_EQ(above.points[1], 4.0);
    Fn below(PoissonCdf);
    EXPECT_EQ(DiscreteInterpolationHybridUnbound(kv(), Float("0.05"), &below, QuarnFloat(0), QuarnFloat(1), 4, 6, 100),
              1);
    Fn between(PoissonCdf);
    EXPECT_EQ(
        DiscreteInterpolationHybridUnbound(kv(), Float("0.6"), &between, QuarnFloat(0), QuarnFloat(1), 0, 12, 100), 4);
  }
}

TEST(DiscreteInterpolationHybridUnbound, ExactValuesAndFailures) {
  ScopedDigits d(30);
  Fn poisson(PoissonCdf);
  QuarnFloat f3 = Float(kPoisson[3]);
  EXPECT_EQ(DiscreteInterpolationHybridUnbound(kv(), f3, &poisson, QuarnFloat(0), QuarnFloat(1), 3, 9, 100), 3);
  EXPECT_EQ(DiscreteInterpolationHybridUnbound(kv(), f3, &poisson, QuarnFloat(0), QuarnFloat(1), 0, 3, 100), 3);
  EXPECT_EQ(poisson.calls(), 4u);
  // The bounds are checked before the points.
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridUnbound(kv(), Float("2"), &poisson, QuarnFloat(0), QuarnFloat(1), 3, 3, 100);
            }),
            "the specified approximation point must be between function bounds.");
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridUnbound(kv(), Float("0.5"), &poisson, QuarnFloat(0), QuarnFloat(1), 3, 3, 100);
            }),
            "DiscreteInterpolationHybridUnbound requires distinct initial points (InitPoint1 != InitPoint2).");
  // A falling function with the target between its values: the value at
  // the larger point bounds the search to the left, and the target is above.
  Fn falling = Table({1, 0.8, 0.6, 0.4});
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridUnbound(kv(), Float("0.5"), &falling, QuarnFloat(0), QuarnFloat(1), 0, 3, 100);
            }),
            "the specified approximation point must be between function bounds.");
  EXPECT_EQ(ErrorOf([&] {
              DiscreteInterpolationHybridUnbound(kv(), Float("0.99"), &poisson, QuarnFloat(0), QuarnFloat(1), 1, 2, 0);
            }),
            "DiscreteInterpolationHybrid was not able to converge to the specified root.");
}
