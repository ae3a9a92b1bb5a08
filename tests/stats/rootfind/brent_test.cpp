// Brent's method and its hybrid forms on functions whose roots are known
// exactly (references from mpmath at 80 digits), and every way they fail.
#include <gtest/gtest.h>

#include <cmath>

#include "platform/host/host.h"
#include "stats/rootfind/rootfind.h"
#include "support/support.h"
#include "tests/stats/rootfind/rootfind_support.h"

namespace host = quarn::host;
using quarn::test::kv;
using quarn::test::kLn2;
using quarn::test::kLog999;
using quarn::test::kLogit001;
using quarn::test::kSqrt2;
using namespace quarnstats;
using quarn::test::ErrorOf;
using quarn::test::Float;
using quarn::test::Fn;
using quarn::test::PowerOfTen;
using quarn::test::RelativeError;
using quarn::test::ScopedDigits;

namespace {


constexpr const char* kWallis = "2.0945514815423265914823865405793029638573061056282391803041285290453121899834837";
constexpr const char* kCbrt10 = "2.1544346900318837217592935665193504952593449421921085824892355063464111066483408";
constexpr const char* kMinusLn0001 =
    "6.9077552789821370520539743640530926228033044658863189280999837029027178290320574";
constexpr const char* kMinusLn0999 =
    "0.001000500333583533500142982254068344960755205250434409250988020797245202385869475";
constexpr const char* kLogit03 = "-0.8472978603872036137101075065206540249895941717591117367246958163000855695334603";

// Distribution functions in closed form, nondecreasing with range [0, 1].
QuarnFloat ExponentialCdf(const QuarnFloat& x) { return x < 0 ? QuarnFloat(0.0) : 1 - exp(-x); }
QuarnFloat LogisticCdf(const QuarnFloat& x) { return 1 / (1 + exp(-x)); }

const long kDigits[] = {10, 30, 60};

// Brent's stopping test leaves the root inside [b, c] with
// |c - b| < 2 (2 tol |b| + tol / 2): a bound on the error of b.
double BrentBound(double root, long digits) {
  double tol = std::pow(10.0, -static_cast<double>(digits));
  return 4 * tol * std::abs(root) + tol;
}

}  // namespace

TEST(BrentMethod, PolynomialRootsToTheTolerance) {
  for (long digits : kDigits) {
    ScopedDigits d(digits);
    SCOPED_TRACE(digits);
    QuarnFloat tol = PowerOfTen(digits);
    Fn square([](const QuarnFloat& x) { return x * x; });
    QuarnFloat r = BrentMethod(kv(), QuarnFloat(2), &square, QuarnFloat(0), QuarnFloat(2), tol, 200);
    EXPECT_LE(RelativeError(r, kSqrt2) * 1.414, BrentBound(1.414, digits));
    // Wallis's cubic x^3 - 2x - 5 = 0.
    Fn wallis([](const QuarnFloat& x) { return x * x * x - 2 * x; });
    r = BrentMethod(kv(), QuarnFloat(5), &wallis, QuarnFloat(2), QuarnFloat(3), tol, 200);
    EXPECT_LE(RelativeError(r, kWallis) * 2.09, BrentBound(2.09, digits));
    // The ends given in decreasing order, for a rising function.
    Fn cube([](const QuarnFloat& x) { return x * x * x; });
    r = BrentMethod(kv(), QuarnFloat(10), &cube, QuarnFloat(5), QuarnFloat(-1), tol, 200);
    EXPECT_LE(RelativeError(r, kCbrt10) * 2.15, BrentBound(2.15, digits));
  }
}

TEST(BrentMethod, FallingDistributionFunctionAndLooseTolerance) {
  ScopedDigits d(30);
  // The upper tail exp(-x) = 1/2 at ln 2: a falling function brackets too.
  Fn tail([](const QuarnFloat& x) { return exp(-x); });
  QuarnFloat r = BrentMethod(kv(), Float("0.5"), &tail, QuarnFloat(0), QuarnFloat(10), PowerOfTen(30), 200);
  EXPECT_LE(RelativeError(r, kLn2) * 0.693, BrentBound(0.693, 30));
  // A loose tolerance stops early, still within its bound, and sooner.
  Fn loose([](const QuarnFloat& x) { return exp(-x); });
  r = BrentMethod(kv(), Float("0.5"), &loose, QuarnFloat(0), QuarnFloat(10), PowerOfTen(4), 200);
  EXPECT_LE(RelativeError(r, kLn2) * 0.693, BrentBound(0.693, 4));
  EXPECT_LT(loose.calls(), tail.calls());
}

TEST(BrentMethod, AnExactRootAtAnEndIsReturnedByTheFirstTest) {
  ScopedDigits d(20);
  Fn at_lower([](const QuarnFloat& x) { return x * x; });
  QuarnFloat r = BrentMethod(kv(), QuarnFloat(4), &at_lower, QuarnFloat(2), QuarnFloat(5), PowerOfTen(20), 100);
  EXPECT_TRUE(r == 2);
  EXPECT_EQ(at_lower.points, (std::vector<double>{2, 5}));  // both ends, nothing more
  Fn at_upper([](const QuarnFloat& x) { return x * x; });
  r = BrentMethod(kv(), QuarnFloat(4), &at_upper, QuarnFloat(-1), QuarnFloat(2), PowerOfTen(20), 100);
  EXPECT_TRUE(r == 2);
  EXPECT_EQ(at_upper.calls(), 2u);
}

TEST(BrentMethod, FailsWithoutABracket) {
  ScopedDigits d(15);
  const char* message = "root must be bracketed by lower and upper boundaries.";
  Fn square([](const QuarnFloat& x) { return x * x; });
  EXPECT_EQ(
      ErrorOf([&] { BrentMethod(kv(), QuarnFloat(-1), &square, QuarnFloat(-1), QuarnFloat(1), PowerOfTen(15), 100); }),
      message);
  EXPECT_EQ(square.points, (std::vector<double>{-1, 1}));  // lower first
  EXPECT_EQ(
      ErrorOf([&] { BrentMethod(kv(), QuarnFloat(9), &square, QuarnFloat(-1), QuarnFloat(2), PowerOfTen(15), 100); }),
      message);
}

TEST(BrentMethod, IterationLimit) {
  const char* message = "maximum number of iterations exceeded in Brent root finding.";
  ScopedDigits d(60);
  Fn square([](const QuarnFloat& x) { return x * x; });
  // No iteration at all: both ends are evaluated and the bracket checked
  // first, so a missing bracket is still reported as such.
  EXPECT_EQ(
      ErrorOf([&] { BrentMethod(kv(), QuarnFloat(2), &square, QuarnFloat(0), QuarnFloat(2), PowerOfTen(60), 0); }),
      message);
  EXPECT_EQ(square.calls(), 2u);
  EXPECT_EQ(
      ErrorOf([&] { BrentMethod(kv(), QuarnFloat(-2), &square, QuarnFloat(0), QuarnFloat(2), PowerOfTen(60), -1); }),
      "root must be bracketed by lower and upper boundaries.");
  EXPECT_EQ(
      ErrorOf([&] { BrentMethod(kv(), QuarnFloat(2), &square, QuarnFloat(0), QuarnFloat(2), PowerOfTen(60), 4); }),
      message);
  // The smallest sufficient limit succeeds and one less fails.
  long enough = 1;
  while (!ErrorOf([&] {
            BrentMethod(kv(), QuarnFloat(2), &square, QuarnFloat(0), QuarnFloat(2), PowerOfTen(60), enough);
          }).empty()) {
    ASSERT_LT(++enough, 100);
  }
  EXPECT_GT(enough, 4);
  EXPECT_EQ(ErrorOf([&] {
              BrentMethod(kv(), QuarnFloat(2), &square, QuarnFloat(0), QuarnFloat(2), PowerOfTen(60), enough - 1);
            }),
            message);
}

TEST(BrentMethod, ZeroToleranceStopsOnlyAtAnExactZero) {
  ScopedDigits d(10);
  // x - 3/8 has a root that is a float: found exactly.
  Fn line([](const QuarnFloat& x) { return x; });
  QuarnFloat r = BrentMethod(kv(), QuarnFloat(0.375), &line, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0.0), 200);
  EXPECT_TRUE(r == 0.375);
  // sqrt(2) is no float: with nothing to stop it the limit is reached.
  Fn square([](const QuarnFloat& x) { return x * x; });
  EXPECT_EQ(
      ErrorOf([&] { BrentMethod(kv(), QuarnFloat(2), &square, QuarnFloat(0), QuarnFloat(2), QuarnFloat(0.0), 300); }),
      "maximum number of iterations exceeded in Brent root finding.");
}

TEST(BrentMethod, ARootAtZeroIsFoundThroughTheAbsoluteTolerance) {
  ScopedDigits d(20);
  // x^3 = 0: the relative part of the tolerance shrinks with |b|, so only
  // the absolute part can end the search; the error bound is then tol.
  Fn cube([](const QuarnFloat& x) { return x * x * x; });
  QuarnFloat r = BrentMethod(kv(), QuarnFloat(0), &cube, QuarnFloat(-1), QuarnFloat(2), PowerOfTen(15), 500);
  EXPECT_LE(std::abs(r.ToDouble()), BrentBound(0, 15));
}

TEST(BrentMethodHybridLeft, DistributionFunctionsFromTheLeftBarrier) {
  for (long digits : kDigits) {
    ScopedDigits d(digits);
    SCOPED_TRACE(digits);
    QuarnFloat tol = PowerOfTen(digits);
    // Far out in the tail: several secant steps toward 1 before the bracket.
    Fn cdf(ExponentialCdf);
    QuarnFloat r = BrentMethodHybridLeft(kv(), Float("0.999"), &cdf, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0),
                                         Float("0.5"), tol, 200);
    EXPECT_LE(RelativeError(r, kMinusLn0001) * 6.91, BrentBound(6.91, digits));
    // The initial point already reaches the target: Brent on [barrier, point].
    Fn near(ExponentialCdf);
    r = BrentMethodHybridLeft(kv(), Float("0.5"), &near, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0), QuarnFloat(3),
                              tol, 200);
    EXPECT_LE(RelativeError(r, kLn2) * 0.693, BrentBound(0.693, digits));
  }
}

TEST(BrentMethodHybridLeft, TheBarrierIsNotEvaluated) {
  ScopedDigits d(20);
  Fn cdf(ExponentialCdf);
  BrentMethodHybridLeft(kv(), Float("0.9"), &cdf, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0), QuarnFloat(1),
                        PowerOfTen(20), 100);
  ASSERT_GE(cdf.calls(), 2u);
  EXPECT_EQ(cdf.points[0], 1.0);  // the initial point first
  // The secant through (0, 0) and (1, 1 - 1/e) reaches 1 at 1/(1 - 1/e).
  EXPECT_DOUBLE_EQ(cdf.points[1], 1 / (1 - std::exp(-1.0)));
}

TEST(BrentMethodHybridLeft, Failures) {
  ScopedDigits d(15);
  QuarnFloat tol = PowerOfTen(15);
  Fn cdf(ExponentialCdf);
  const char* after_barrier = "the specified initial point must be greater than the left barrier.";
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridLeft(kv(), Float("0.5"), &cdf, QuarnFloat(0), QuarnFloat(1), QuarnFloat(1),
                                    QuarnFloat(1), tol, 100);
            }),
            after_barrier);
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridLeft(kv(), Float("0.5"), &cdf, QuarnFloat(0), QuarnFloat(1), QuarnFloat(2),
                                    QuarnFloat(1), tol, 100);
            }),
            after_barrier);
  const char* outside = "the specified approximation point must be between function bounds.";
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridLeft(kv(), Float("1.5"), &cdf, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0),
                                    QuarnFloat(1), tol, 100);
            }),
            outside);
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridLeft(kv(), Float("-0.5"), &cdf, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0),
                                    QuarnFloat(1), tol, 100);
            }),
            outside);
  EXPECT_EQ(cdf.calls(), 0u);  // checks come before any evaluation
  // A target equal to a bound passes: the lower bound is the barrier's value.
  QuarnFloat r = BrentMethodHybridLeft(kv(), QuarnFloat(0), &cdf, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0),
                                       QuarnFloat(1), tol, 100);
  EXPECT_TRUE(r == 0);

  const char* no_convergence = "BrentMethodHybrid was not able to converge on the specified root.";
  // No iteration: one evaluation, then the message.
  Fn counted(ExponentialCdf);
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridLeft(kv(), Float("0.99"), &counted, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0),
                                    QuarnFloat(1), tol, 0);
            }),
            no_convergence);
  EXPECT_EQ(counted.calls(), 1u);
  // A flat stretch: f = x/4 below 1, then 1/4 up to 10, then 1.
  Fn flat([](const QuarnFloat& x) { return x < 1 ? x / 4 : (x < 10 ? QuarnFloat(0.25) : QuarnFloat(1)); });
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridLeft(kv(), Float("0.5"), &flat, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0),
                                    QuarnFloat(1), tol, 100);
            }),
            no_convergence);
  EXPECT_EQ(flat.points, (std::vector<double>{1, 4}));
  // A falling step: exp(-x) taken for a distribution function.
  Fn falling([](const QuarnFloat& x) { return exp(-x); });
  const char* not_nondecreasing = "specified function is not a nondecreasing function.";
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridLeft(kv(), Float("0.9"), &falling, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0),
                                    QuarnFloat(1), tol, 100);
            }),
            not_nondecreasing);
  // A value below the range at the initial point turns the secant backward.
  Fn below([](const QuarnFloat&) { return QuarnFloat(0.25); });
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridLeft(kv(), Float("0.75"), &below, Float("0.5"), QuarnFloat(1), QuarnFloat(0),
                                    QuarnFloat(1), tol, 100);
            }),
            not_nondecreasing);
  EXPECT_EQ(below.calls(), 1u);  // raised before evaluating the backward point
}

TEST(BrentMethodHybridLeft, TheIterationBudgetIsShared) {
  ScopedDigits d(30);
  QuarnFloat tol = PowerOfTen(30);
  // f = x/10 on [0, 10]: one secant step from (0, 0) through (1, 0.1) lands
  // on 10, where f = 1; Brent then works on [1, 10].
  auto ramp = [](const QuarnFloat& x) { return x < 10 ? x / 10 : QuarnFloat(1); };
  Fn line(ramp);
  long brent_needs = 1;
  while (!ErrorOf([&] {
            BrentMethod(kv(), Float("0.55"), &line, QuarnFloat(1), QuarnFloat(10), tol, brent_needs);
          }).empty()) {
    ASSERT_LT(++brent_needs, 100);
  }
  Fn hybrid(ramp);
  QuarnFloat r = BrentMethodHybridLeft(kv(), Float("0.55"), &hybrid, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0),
                                       QuarnFloat(1), tol, brent_needs + 1);
  EXPECT_LE(RelativeError(r, "5.5"), 1e-29);
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridLeft(kv(), Float("0.55"), &hybrid, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0),
                                    QuarnFloat(1), tol, brent_needs);
            }),
            "maximum number of iterations exceeded in Brent root finding.");
}

TEST(BrentMethodHybridRight, DistributionFunctionsFromTheRightBarrier) {
  for (long digits : kDigits) {
    ScopedDigits d(digits);
    SCOPED_TRACE(digits);
    QuarnFloat tol = PowerOfTen(digits);
    Fn cdf(ExponentialCdf);
    QuarnFloat r = BrentMethodHybridRight(kv(), Float("0.001"), &cdf, QuarnFloat(0), QuarnFloat(1), QuarnFloat(5),
                                          QuarnFloat(20), tol, 200);
    EXPECT_LE(RelativeError(r, kMinusLn0999) * 0.001, BrentBound(0.001, digits));
    Fn logistic(LogisticCdf);
    r = BrentMethodHybridRight(kv(), Float("0.01"), &logistic, QuarnFloat(0), QuarnFloat(1), QuarnFloat(3),
                               QuarnFloat(50), tol, 200);
    EXPECT_LE(RelativeError(r, kLogit001) * 4.6, BrentBound(4.6, digits));
    EXPECT_EQ(logistic.points[0], 3.0);  // the barrier is not evaluated
  }
}

TEST(BrentMethodHybridRight, ATargetMetAtTheInitialPointNeedsNoStep) {
  ScopedDigits d(20);
  // f(initial point) equal to the target: Brent runs on [point, barrier] at
  // once, and finds the point on its first test.
  Fn right([](const QuarnFloat& x) { return x / 8; });
  QuarnFloat r = BrentMethodHybridRight(kv(), QuarnFloat(0.25), &right, QuarnFloat(0), QuarnFloat(1), QuarnFloat(2),
                                        QuarnFloat(8), PowerOfTen(20), 100);
  EXPECT_TRUE(r == 2);
  EXPECT_EQ(right.points, (std::vector<double>{2, 2, 8}));
  Fn left([](const QuarnFloat& x) { return x / 8; });
  r = BrentMethodHybridLeft(kv(), QuarnFloat(0.25), &left, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0), QuarnFloat(2),
                            PowerOfTen(20), 100);
  EXPECT_TRUE(r == 2);
  EXPECT_EQ(left.points, (std::vector<double>{2, 0, 2}));
}

TEST(BrentMethodHybridRight, Failures) {
  ScopedDigits d(15);
  QuarnFloat tol = PowerOfTen(15);
  Fn cdf(ExponentialCdf);
  const char* before_barrier = "the specified initial point must be less than the right barrier.";
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridRight(kv(), Float("0.5"), &cdf, QuarnFloat(0), QuarnFloat(1), QuarnFloat(3),
                                     QuarnFloat(3), tol, 100);
            }),
            before_barrier);
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridRight(kv(), Float("2"), &cdf, QuarnFloat(0), QuarnFloat(1), QuarnFloat(1), QuarnFloat(3),
                                     tol, 100);
            }),
            "the specified approximation point must be between function bounds.");
  EXPECT_EQ(cdf.calls(), 0u);
  Fn counted(ExponentialCdf);
  const char* no_convergence = "BrentMethodHybrid was not able to converge on the specified root.";
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridRight(kv(), Float("0.01"), &counted, QuarnFloat(0), QuarnFloat(1), QuarnFloat(5),
                                     QuarnFloat(20), tol, -3);
            }),
            no_convergence);
  EXPECT_EQ(counted.calls(), 1u);
  // Flat: 3/4 from 1 to 19, rising to 1 at 20.
  Fn flat([](const QuarnFloat& x) { return x < 1 ? QuarnFloat(0) : (x < 19 ? QuarnFloat(0.75) : QuarnFloat(1)); });
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridRight(kv(), Float("0.5"), &flat, QuarnFloat(0), QuarnFloat(1), QuarnFloat(18),
                                     QuarnFloat(20), tol, 100);
            }),
            no_convergence);
  // Rising toward the left: the step goes the right way but f grows.
  Fn falling([](const QuarnFloat& x) { return exp(-x); });
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridRight(kv(), Float("0.01"), &falling, QuarnFloat(0), QuarnFloat(1), QuarnFloat(1),
                                     QuarnFloat(2), tol, 100);
            }),
            "specified function is not a nondecreasing function.");
}

TEST(BrentMethodHybridUnbound, SearchesOnTheSideOfTheTarget) {
  for (long digits : kDigits) {
    ScopedDigits d(digits);
    SCOPED_TRACE(digits);
    QuarnFloat tol = PowerOfTen(digits);
    Fn right(LogisticCdf);
    QuarnFloat r = BrentMethodHybridUnbound(kv(), Float("0.999"), &right, QuarnFloat(0), QuarnFloat(1), QuarnFloat(-1),
                                            QuarnFloat(1), tol, 200);
    EXPECT_LE(RelativeError(r, kLog999) * 6.9, BrentBound(6.9, digits));
    EXPECT_EQ(right.points[0], -1.0);
    EXPECT_EQ(right.points[1], 1.0);
    // Points in decreasing order, target below both.
    Fn left(LogisticCdf);
    r = BrentMethodHybridUnbound(kv(), Float("0.01"), &left, QuarnFloat(0), QuarnFloat(1), QuarnFloat(1), QuarnFloat(0),
                                 tol, 200);
    EXPECT_LE(RelativeError(r, kLogit001) * 4.6, BrentBound(4.6, digits));
    EXPECT_EQ(left.points[0], 0.0);  // the smaller point is evaluated first
    // Target between the two values.
    Fn between(LogisticCdf);
    r = BrentMethodHybridUnbound(kv(), Float("0.3"), &between, QuarnFloat(0), QuarnFloat(1), QuarnFloat(-3),
                                 QuarnFloat(3), tol, 200);
    EXPECT_LE(RelativeError(r, kLogit03) * 0.85, BrentBound(0.85, digits));
  }
}

TEST(BrentMethodHybridUnbound, ExactValuesAndFailures) {
  ScopedDigits d(15);
  QuarnFloat tol = PowerOfTen(15);
  Fn logistic(LogisticCdf);
  EXPECT_TRUE(BrentMethodHybridUnbound(kv(), Float("0.5"), &logistic, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0),
                                       QuarnFloat(2), tol, 100) == 0);
  EXPECT_TRUE(BrentMethodHybridUnbound(kv(), Float("0.5"), &logistic, QuarnFloat(0), QuarnFloat(1), QuarnFloat(-2),
                                       QuarnFloat(0), tol, 100) == 0);
  EXPECT_EQ(logistic.calls(), 4u);
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridUnbound(kv(), Float("0.5"), &logistic, QuarnFloat(0), QuarnFloat(1), QuarnFloat(2),
                                       QuarnFloat(2), tol, 100);
            }),
            "BrentMethodHybridUnbound requires distinct initial points (InitPoint1 != InitPoint2).");
  // Above both values the larger bound still limits the target.
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridUnbound(kv(), Float("1.5"), &logistic, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0),
                                       QuarnFloat(1), tol, 100);
            }),
            "the specified approximation point must be between function bounds.");
  // A falling function with the target between its values: the value at
  // the larger point bounds the search to the left, and the target is above.
  Fn falling([](const QuarnFloat& x) { return exp(-x); });
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridUnbound(kv(), Float("0.5"), &falling, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0),
                                       QuarnFloat(2), tol, 100);
            }),
            "the specified approximation point must be between function bounds.");
  EXPECT_EQ(ErrorOf([&] {
              BrentMethodHybridUnbound(kv(), Float("0.9"), &logistic, QuarnFloat(0), QuarnFloat(1), QuarnFloat(0),
                                       QuarnFloat(1), tol, 0);
            }),
            "BrentMethodHybrid was not able to converge on the specified root.");
}
