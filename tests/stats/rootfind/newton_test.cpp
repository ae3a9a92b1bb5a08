// The Newton-Raphson family on functions whose roots are known exactly
// (references from mpmath at 80 digits): convergence, barriers, the
// safeguarded and hybrid forms, every failure and every notice.
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
using quarn::test::CaptureHints;
using quarn::test::ErrorOf;
using quarn::test::Float;
using quarn::test::Fn;
using quarn::test::PowerOfTen;
using quarn::test::RelativeError;
using quarn::test::ScopedDigits;

namespace {


constexpr const char* kLn4 = "1.3862943611198906188344642429163531361510002687205105082413600189867872439393894";
// The third Newton iterate for x^2 = 2 from 100.
constexpr const char* kThirdIterate =
    "12.552458046745902982597561063333454941208257261991512466827019361593731374937553";

const long kDigits[] = {10, 30, 60};

// Newton converges quadratically: once two iterates agree to the tolerance
// the last one is good to the working precision, a few units of the last
// digit.
double LastDigits(long digits) { return 5 * std::pow(10.0, -static_cast<double>(digits)); }

QuarnFloat Square(const QuarnFloat& x) { return x * x; }
QuarnFloat Twice(const QuarnFloat& x) { return 2 * x; }
QuarnFloat LogisticCdf(const QuarnFloat& x) { return 1 / (1 + exp(-x)); }
QuarnFloat LogisticPdf(const QuarnFloat& x) {
  QuarnFloat p = LogisticCdf(x);
  return p * (1 - p);
}

const char* kAtBarrier = "hints: NewtonRaphson has converged to a barrier point";

}  // namespace

TEST(NewtonRaphson, ConvergesToTheWorkingPrecision) {
  for (long digits : kDigits) {
    ScopedDigits d(digits);
    SCOPED_TRACE(digits);
    QuarnFloat tol = PowerOfTen(digits);
    Fn f(Square), df(Twice);
    QuarnFloat r =
        NewtonRaphson(kv(), QuarnFloat(2), &f, &df, QuarnFloat(1), 0, QuarnFloat(0.0), 0, QuarnFloat(0.0), tol, 100);
    EXPECT_LE(RelativeError(r, kSqrt2), LastDigits(digits));
    // The upper tail exp(-x) falls: Newton does not mind.
    Fn tail([](const QuarnFloat& x) { return exp(-x); });
    Fn dtail([](const QuarnFloat& x) { return -exp(-x); });
    r = NewtonRaphson(kv(), Float("0.5"), &tail, &dtail, Float("0.1"), 0, QuarnFloat(0.0), 0, QuarnFloat(0.0), tol,
                      100);
    EXPECT_LE(RelativeError(r, kLn2), LastDigits(digits));
  }
}

TEST(NewtonRaphson, BarriersAreRespected) {
  ScopedDigits d(10);
  QuarnFloat tol = PowerOfTen(10);
  // x0 on a barrier is accepted.
  Fn f(Square), df(Twice);
  QuarnFloat r =
      NewtonRaphson(kv(), QuarnFloat(2), &f, &df, QuarnFloat(1), 1, QuarnFloat(1), 1, QuarnFloat(2), tol, 100);
  EXPECT_LE(RelativeError(r, kSqrt2), LastDigits(10));
  const char* outside = "the specified initial point must be between the specified barriers";
  EXPECT_EQ(ErrorOf([&] {
              NewtonRaphson(kv(), QuarnFloat(2), &f, &df, QuarnFloat(0), 1, QuarnFloat(1), 0, QuarnFloat(0.0), tol,
                            100);
            }),
            outside);
  EXPECT_EQ(ErrorOf([&] {
              NewtonRaphson(kv(), QuarnFloat(2), &f, &df, QuarnFloat(3), 0, QuarnFloat(5), 1, QuarnFloat(2), tol, 100);
            }),
            outside);
  // An unset barrier is ignored whatever its value.
  r = NewtonRaphson(kv(), QuarnFloat(2), &f, &df, QuarnFloat(3), 0, QuarnFloat(5), 0, QuarnFloat(-5), tol, 100);
  EXPECT_LE(RelativeError(r, kSqrt2), LastDigits(10));
}

TEST(NewtonRaphson, StepsAcrossABarrierLandHalfwayAndConvergeOntoIt) {
  ScopedDigits d(10);
  CaptureHints hints;
  // x - 5 = 0 lies beyond the right barrier 2: every step is cut to half the
  // distance to the barrier, and the iteration converges onto it.
  Fn f([](const QuarnFloat& x) { return x; });
  Fn df([](const QuarnFloat&) { return QuarnFloat(1); });
  QuarnFloat r = NewtonRaphson(kv(), QuarnFloat(5), &f, &df, QuarnFloat(0), 0, QuarnFloat(0.0), 1, QuarnFloat(2),
                               PowerOfTen(10), 100);
  EXPECT_TRUE(r == 2);
  ASSERT_GE(f.points.size(), 4u);
  EXPECT_EQ(std::vector<double>(f.points.begin(), f.points.begin() + 4), (std::vector<double>{0, 1, 1.5, 1.75}));
  EXPECT_EQ(hints.lines, std::vector<std::string>{kAtBarrier});
  // The same on the left: x + 5 = 0 beyond the left barrier -2.
  hints.lines.clear();
  r = NewtonRaphson(kv(), QuarnFloat(-5), &f, &df, QuarnFloat(0), 1, QuarnFloat(-2), 0, QuarnFloat(0.0), PowerOfTen(10),
                    100);
  EXPECT_TRUE(r == -2);
  EXPECT_EQ(hints.lines, std::vector<std::string>{kAtBarrier});
}

TEST(NewtonRaphson, AZeroDerivativeMovesTowardABarrierOrFails) {
  ScopedDigits d(15);
  QuarnFloat tol = PowerOfTen(15);
  const char* failure = "NewtonRaphson root-finding method failed to converge.";
  // x^2 = 4 from 0, where the derivative vanishes: without a barrier there
  // is nowhere to go.
  Fn f(Square), df(Twice);
  EXPECT_EQ(ErrorOf([&] {
              NewtonRaphson(kv(), QuarnFloat(4), &f, &df, QuarnFloat(0), 0, QuarnFloat(0.0), 0, QuarnFloat(0.0), tol,
                            100);
            }),
            failure);
  // With barriers the point moves halfway toward one, the left one first,
  // and the root on that side is found.
  QuarnFloat r =
      NewtonRaphson(kv(), QuarnFloat(4), &f, &df, QuarnFloat(0), 1, QuarnFloat(-6), 0, QuarnFloat(0.0), tol, 100);
  EXPECT_LE(RelativeError(r, "-2"), LastDigits(15));
  r = NewtonRaphson(kv(), QuarnFloat(4), &f, &df, QuarnFloat(0), 0, QuarnFloat(0.0), 1, QuarnFloat(6), tol, 100);
  EXPECT_LE(RelativeError(r, "2"), LastDigits(15));
  r = NewtonRaphson(kv(), QuarnFloat(4), &f, &df, QuarnFloat(0), 1, QuarnFloat(-6), 1, QuarnFloat(6), tol, 100);
  EXPECT_LE(RelativeError(r, "-2"), LastDigits(15));
  // (x - 10)^2 beyond 10, flat before: the move to the left stays flat, the
  // one to the right (from there) leaves the flat part; root 11.
  Fn hinge([](const QuarnFloat& x) { return x < 10 ? QuarnFloat(0) : (x - 10) * (x - 10); });
  Fn dhinge([](const QuarnFloat& x) { return x < 10 ? QuarnFloat(0) : 2 * (x - 10); });
  EXPECT_EQ(ErrorOf([&] {
              NewtonRaphson(kv(), QuarnFloat(1), &hinge, &dhinge, QuarnFloat(0), 1, QuarnFloat(-4), 0, QuarnFloat(0.0),
                            tol, 100);
            }),
            failure);
  r = NewtonRaphson(kv(), QuarnFloat(1), &hinge, &dhinge, QuarnFloat(0), 1, QuarnFloat(-4), 1, QuarnFloat(30), tol,
                    100);
  EXPECT_LE(RelativeError(r, "11"), LastDigits(15));
  // The right barrier alone, still flat after the move.
  EXPECT_EQ(ErrorOf([&] {
              NewtonRaphson(kv(), QuarnFloat(1), &hinge, &dhinge, QuarnFloat(0), 0, QuarnFloat(0.0), 1, QuarnFloat(8),
                            tol, 100);
            }),
            failure);
}

TEST(NewtonRaphson, TheIterationLimitIsANoticeNotAnError) {
  ScopedDigits d(30);
  QuarnFloat tol = PowerOfTen(30);
  const char* notice = "hints: NewtonRaphson completed the maximum number of iterations without converging";
  Fn f(Square), df(Twice);
  {
    CaptureHints hints;
    QuarnFloat r =
        NewtonRaphson(kv(), QuarnFloat(2), &f, &df, QuarnFloat(100), 0, QuarnFloat(0.0), 0, QuarnFloat(0.0), tol, 3);
    EXPECT_LE(RelativeError(r, kThirdIterate), 1e-29);
    EXPECT_EQ(hints.lines, std::vector<std::string>{notice});
    hints.lines.clear();
    r = NewtonRaphson(kv(), QuarnFloat(2), &f, &df, QuarnFloat(100), 0, QuarnFloat(0.0), 0, QuarnFloat(0.0), tol, 0);
    EXPECT_TRUE(r == 0);
    EXPECT_EQ(hints.lines, std::vector<std::string>{notice});
  }
  // Below level 2 the notice is not shown.
  CaptureHints quiet(1);
  NewtonRaphson(kv(), QuarnFloat(2), &f, &df, QuarnFloat(100), 0, QuarnFloat(0.0), 0, QuarnFloat(0.0), tol, 3);
  EXPECT_TRUE(quiet.lines.empty());
}

TEST(NewtonRaphsonSafe, ConvergesInsideTheBracket) {
  for (long digits : kDigits) {
    ScopedDigits d(digits);
    SCOPED_TRACE(digits);
    QuarnFloat tol = PowerOfTen(digits);
    Fn f(Square), df(Twice);
    QuarnFloat r =
        NewtonRaphsonSafe(kv(), QuarnFloat(2), &f, &df, Float("1.75"), QuarnFloat(0), QuarnFloat(2), tol, 100);
    EXPECT_LE(RelativeError(r, kSqrt2), LastDigits(digits));
    EXPECT_EQ(f.points[2], 1.75);  // both barriers, then the given start
    // A falling function: the bracket's ends swap roles.
    Fn tail([](const QuarnFloat& x) { return exp(-x); });
    Fn dtail([](const QuarnFloat& x) { return -exp(-x); });
    r = NewtonRaphsonSafe(kv(), Float("0.25"), &tail, &dtail, QuarnFloat(4), QuarnFloat(0), QuarnFloat(5), tol, 100);
    EXPECT_LE(RelativeError(r, kLn4), LastDigits(digits));
    // A start where Newton's step would leave the bracket: x^2 near 0 with
    // a root far off; bisection takes over.
    Fn g(Square), dg(Twice);
    r = NewtonRaphsonSafe(kv(), QuarnFloat(2), &g, &dg, Float("0.001"), QuarnFloat(0), QuarnFloat(2), tol, 200);
    EXPECT_LE(RelativeError(r, kSqrt2), LastDigits(digits));
  }
}

TEST(NewtonRaphsonSafe, BarriersAndFailures) {
  ScopedDigits d(15);
  QuarnFloat tol = PowerOfTen(15);
  Fn f(Square), df(Twice);
  EXPECT_EQ(ErrorOf([&] {
              NewtonRaphsonSafe(kv(), QuarnFloat(2), &f, &df, QuarnFloat(3), QuarnFloat(0), QuarnFloat(2), tol, 100);
            }),
            "the specified initial point must be between the specified barriers");
  EXPECT_EQ(ErrorOf([&] {
              NewtonRaphsonSafe(kv(), QuarnFloat(9), &f, &df, QuarnFloat(1), QuarnFloat(0), QuarnFloat(2), tol, 100);
            }),
            "root must be bracketed by lower and upper barriers");
  // A root on a barrier is returned without iterating.
  Fn at_barrier(Square), d_at_barrier(Twice);
  EXPECT_TRUE(NewtonRaphsonSafe(kv(), QuarnFloat(4), &at_barrier, &d_at_barrier, QuarnFloat(3), QuarnFloat(2),
                                QuarnFloat(5), tol, 100) == 2);
  EXPECT_TRUE(NewtonRaphsonSafe(kv(), QuarnFloat(4), &at_barrier, &d_at_barrier, QuarnFloat(1), QuarnFloat(-1),
                                QuarnFloat(2), tol, 100) == 2);
  EXPECT_EQ(at_barrier.calls(), 4u);
  EXPECT_EQ(d_at_barrier.calls(), 0u);
  // x0 on a barrier is accepted; a root at x0 is returned at once.
  Fn at_start(Square), d_at_start(Twice);
  EXPECT_TRUE(NewtonRaphsonSafe(kv(), QuarnFloat(4), &at_start, &d_at_start, QuarnFloat(2), QuarnFloat(1),
                                QuarnFloat(5), tol, 100) == 2);
  EXPECT_EQ(at_start.calls(), 3u);
  // The limit returns the current point with a notice; none at all returns x0.
  CaptureHints hints;
  QuarnFloat r = NewtonRaphsonSafe(kv(), QuarnFloat(2), &f, &df, Float("1.25"), QuarnFloat(0), QuarnFloat(2), tol, 0);
  EXPECT_TRUE(r == 1.25);
  EXPECT_EQ(hints.lines, std::vector<std::string>{
                             "hints: NewtonRaphsonSafe completed the maximum number of iterations without converging"});
  // A zero derivative away from a root (the function undefined there, so
  // that no bisection is chosen either) cannot be stepped from.
  Fn broken([](const QuarnFloat& x) { return x == 1 ? UndefinedFloat() : x * x; });
  Fn dbroken([](const QuarnFloat& x) { return x == 1 ? QuarnFloat(0) : 2 * x; });
  EXPECT_EQ(ErrorOf([&] {
              NewtonRaphsonSafe(kv(), QuarnFloat(2), &broken, &dbroken, QuarnFloat(1), QuarnFloat(0), QuarnFloat(2),
                                tol, 100);
            }),
            "NewtonRaphsonSafe root-finding method failed to converge.");
}

TEST(NewtonRaphsonHybrid, FindsTheBracketThenConverges) {
  for (long digits : kDigits) {
    ScopedDigits d(digits);
    SCOPED_TRACE(digits);
    QuarnFloat tol = PowerOfTen(digits);
    // Far in the upper tail: the search goes right from 0.
    Fn f(LogisticCdf), df(LogisticPdf);
    QuarnFloat r = NewtonRaphsonHybrid(kv(), Float("0.999"), &f, &df, QuarnFloat(0), QuarnFloat(0), QuarnFloat(1), 0,
                                       QuarnFloat(0.0), 0, QuarnFloat(0.0), tol, 200);
    EXPECT_LE(RelativeError(r, kLog999), LastDigits(digits));
    // In the lower tail: the search goes left.
    Fn g(LogisticCdf), dg(LogisticPdf);
    r = NewtonRaphsonHybrid(kv(), Float("0.01"), &g, &dg, QuarnFloat(1), QuarnFloat(0), QuarnFloat(1), 0,
                            QuarnFloat(0.0), 0, QuarnFloat(0.0), tol, 200);
    EXPECT_LE(RelativeError(r, kLogit001), LastDigits(digits));
    // One barrier on the far side of the root: x0 supplies the other.
    Fn h(LogisticCdf), dh(LogisticPdf);
    r = NewtonRaphsonHybrid(kv(), Float("0.01"), &h, &dh, QuarnFloat(1), QuarnFloat(0), QuarnFloat(1), 1,
                            QuarnFloat(-20), 0, QuarnFloat(0.0), tol, 200);
    EXPECT_LE(RelativeError(r, kLogit001), LastDigits(digits));
    EXPECT_EQ(h.points[1], -9.5);  // no search: the midpoint of [-20, 1]
  }
}

TEST(NewtonRaphsonHybrid, SearchStepsAimAtTheBoundOfTheRange) {
  ScopedDigits d(30);
  Fn f(LogisticCdf), df(LogisticPdf);
  NewtonRaphsonHybrid(kv(), Float("0.999"), &f, &df, QuarnFloat(0), QuarnFloat(0), QuarnFloat(1), 0, QuarnFloat(0.0), 0,
                      QuarnFloat(0.0), PowerOfTen(30), 200);
  ASSERT_GE(f.points.size(), 3u);
  // The first step aims at the target: 0 + (0.999 - 1/2) / (1/4).
  EXPECT_EQ(f.points[1], 1.996);
  // The next aims at 1, the top of the range: for the logistic function
  // x + (1 - F(x)) / F'(x) = x + 1 / F(x) = x + 1 + exp(-x).
  EXPECT_NEAR(f.points[2], 2.996 + std::exp(-1.996), 1e-14);
}

TEST(NewtonRaphsonHybrid, BothBarriersSkipTheSearch) {
  ScopedDigits d(30);
  Fn f(LogisticCdf), df(LogisticPdf);
  QuarnFloat r = NewtonRaphsonHybrid(kv(), Float("0.999"), &f, &df, QuarnFloat(2), QuarnFloat(0), QuarnFloat(1), 1,
                                     QuarnFloat(-10), 1, QuarnFloat(30), PowerOfTen(30), 200);
  EXPECT_LE(RelativeError(r, kLog999), LastDigits(30));
  EXPECT_EQ(f.points[0], 10.0);  // x0 is not evaluated; the midpoint is
  // With no iteration allowed the midpoint comes back with the notice.
  CaptureHints hints;
  Fn g(LogisticCdf), dg(LogisticPdf);
  r = NewtonRaphsonHybrid(kv(), Float("0.999"), &g, &dg, QuarnFloat(2), QuarnFloat(0), QuarnFloat(1), 1,
                          QuarnFloat(-10), 1, QuarnFloat(30), PowerOfTen(30), 0);
  EXPECT_TRUE(r == 10);
  EXPECT_EQ(hints.lines,
            std::vector<std::string>{
                "hints: NewtonRaphsonHybrid completed the maximum number of iterations without converging"});
}

TEST(NewtonRaphsonHybrid, Failures) {
  ScopedDigits d(15);
  QuarnFloat tol = PowerOfTen(15);
  Fn f(LogisticCdf), df(LogisticPdf);
  const char* strictly = "the specified approximation point must be strictly between the specified bounds";
  EXPECT_EQ(ErrorOf([&] {
              NewtonRaphsonHybrid(kv(), QuarnFloat(1), &f, &df, QuarnFloat(0), QuarnFloat(0), QuarnFloat(1), 0,
                                  QuarnFloat(0.0), 0, QuarnFloat(0.0), tol, 100);
            }),
            strictly);
  EXPECT_EQ(ErrorOf([&] {
              NewtonRaphsonHybrid(kv(), QuarnFloat(0), &f, &df, QuarnFloat(0), QuarnFloat(0), QuarnFloat(1), 0,
                                  QuarnFloat(0.0), 0, QuarnFloat(0.0), tol, 100);
            }),
            strictly);
  EXPECT_EQ(ErrorOf([&] {
              NewtonRaphsonHybrid(kv(), Float("0.5"), &f, &df, QuarnFloat(0), QuarnFloat(0), QuarnFloat(1), 1,
                                  QuarnFloat(1), 0, QuarnFloat(0.0), tol, 100);
            }),
            "the specified initial point must be between the specified barriers");
  EXPECT_EQ(f.calls(), 0u);
  // x0 at the root is returned after one evaluation.
  EXPECT_TRUE(NewtonRaphsonHybrid(kv(), Float("0.5"), &f, &df, QuarnFloat(0), QuarnFloat(0), QuarnFloat(1), 0,
                                  QuarnFloat(0.0), 0, QuarnFloat(0.0), tol, 100) == 0);
  EXPECT_EQ(f.calls(), 1u);

  const char* failure = "NewtonRaphsonHybrid root-finding method failed to converge.";
  // No iteration for the search.
  EXPECT_EQ(ErrorOf([&] {
              NewtonRaphsonHybrid(kv(), Float("0.9"), &f, &df, QuarnFloat(0), QuarnFloat(0), QuarnFloat(1), 0,
                                  QuarnFloat(0.0), 0, QuarnFloat(0.0), tol, 0);
            }),
            failure);
  // A flat start.
  Fn flat([](const QuarnFloat&) { return QuarnFloat(0.25); });
  Fn dflat([](const QuarnFloat&) { return QuarnFloat(0); });
  EXPECT_EQ(ErrorOf([&] {
              NewtonRaphsonHybrid(kv(), Float("0.9"), &flat, &dflat, QuarnFloat(0), QuarnFloat(0), QuarnFloat(1), 0,
                                  QuarnFloat(0.0), 0, QuarnFloat(0.0), tol, 100);
            }),
            failure);
  // Falling functions step the wrong way, in either direction.
  Fn tail([](const QuarnFloat& x) { return exp(-x); });
  Fn dtail([](const QuarnFloat& x) { return -exp(-x); });
  const char* not_nondecreasing = "specified function is not a nondecreasing function.";
  EXPECT_EQ(ErrorOf([&] {
              NewtonRaphsonHybrid(kv(), Float("0.9"), &tail, &dtail, QuarnFloat(1), QuarnFloat(0), QuarnFloat(1), 0,
                                  QuarnFloat(0.0), 0, QuarnFloat(0.0), tol, 100);
            }),
            not_nondecreasing);
  EXPECT_EQ(ErrorOf([&] {
              NewtonRaphsonHybrid(kv(), Float("0.1"), &tail, &dtail, QuarnFloat(1), QuarnFloat(0), QuarnFloat(1), 0,
                                  QuarnFloat(0.0), 0, QuarnFloat(0.0), tol, 100);
            }),
            not_nondecreasing);
}
