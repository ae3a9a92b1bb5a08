// The Newton-Raphson family on functions whose roots are known exactly
// (references from mpmath at 80 digits): convergence, barriers, the
// safeguarded and hybrid forms, every failure and every notice.
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
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

constexpr const char* kLn4 = "1.3862943611198906188344642429163531361510002687205105082413600189867872439393894";
// The third Newton iterate for x^2 = 2 from 100.
constexpr const char* kThirdIterate =
    "12.552458046745902982597561063333454941208257261991512466827019361593731374937553";

constexpr const char* kAtBarrier = "hints: NewtonRaphson has converged to a barrier point";
constexpr const char* kNewtonLimit =
    "hints: NewtonRaphson completed the maximum number of iterations without converging";
constexpr const char* kBetweenBarriers = "the specified initial point must be between the specified barriers";
constexpr const char* kNewtonFailed = "NewtonRaphson root-finding method failed to converge.";
constexpr const char* kHybridFailed = "NewtonRaphsonHybrid root-finding method failed to converge.";
constexpr const char* kStrictly = "the specified approximation point must be strictly between the specified bounds";
constexpr const char* kNotNondecreasing = "specified function is not a nondecreasing function.";

using RealFn = QuarnFloat (*)(const QuarnFloat&);

// A function and its derivative.
struct Pair {
  RealFn f, df;
};
const Pair kSquare = {[](const QuarnFloat& x) { return x * x; }, [](const QuarnFloat& x) { return 2 * x; }};
const Pair kTail = {[](const QuarnFloat& x) { return exp(-x); }, [](const QuarnFloat& x) { return -exp(-x); }};
const Pair kLine = {[](const QuarnFloat& x) { return x; }, [](const QuarnFloat&) { return QuarnFloat(1); }};
QuarnFloat LogisticCdf(const QuarnFloat& x) { return 1 / (1 + exp(-x)); }
const Pair kLogistic = {LogisticCdf, [](const QuarnFloat& x) {
                          QuarnFloat p = LogisticCdf(x);
                          return p * (1 - p);
                        }};
// (x - 10)^2 beyond 10, flat before.
const Pair kHinge = {[](const QuarnFloat& x) { return x < 10 ? QuarnFloat(0) : (x - 10) * (x - 10); },
                     [](const QuarnFloat& x) { return x < 10 ? QuarnFloat(0) : 2 * (x - 10); }};

enum Method { kNewton, kSafe, kHybrid };
constexpr double kNone = NAN;  // no barrier

// One call of the family at the tolerance 10^-Digits. The hybrid form's f
// has range [0, 1]; the safeguarded form needs both barriers.
struct Call {
  Method method;
  const char* target;
  double x0;
  double left = kNone, right = kNone;
  long max_iter = 100;
};

std::string Describe(const Call& c) {
  static const char* const kNames[] = {"NewtonRaphson", "NewtonRaphsonSafe", "NewtonRaphsonHybrid"};
  return std::string(kNames[c.method]) + "(" + c.target + ", x0 " + std::to_string(c.x0) + ", barriers " +
         std::to_string(c.left) + ", " + std::to_string(c.right) + ", max_iter " + std::to_string(c.max_iter) +
         ") at Digits " + std::to_string(host::WorkingDigits());
}

QuarnFloat Solve(const Call& c, Fn* f, Fn* df) {
  const QuarnFloat t = Float(c.target), x0 = c.x0, tol = PowerOfTen(host::WorkingDigits());
  const bool has_left = !std::isnan(c.left), has_right = !std::isnan(c.right);
  // An unset barrier gets a value that would put x0 outside if it were read.
  const QuarnFloat left = has_left ? c.left : 1e300, right = has_right ? c.right : -1e300;
  switch (c.method) {
    case kNewton: return NewtonRaphson(kv(), t, f, df, x0, has_left, left, has_right, right, tol, c.max_iter);
    case kSafe: return NewtonRaphsonSafe(kv(), t, f, df, x0, left, right, tol, c.max_iter);
    default:
      return NewtonRaphsonHybrid(kv(), t, f, df, x0, QuarnFloat(0), QuarnFloat(1), has_left, left, has_right, right,
                                 tol, c.max_iter);
  }
}

}  // namespace

// Each row at Digits 10, 30 and 60. Newton converges quadratically: once
// two iterates agree to the tolerance the last one is good to the working
// precision, a few units of the last digit.
TEST(NewtonFamily, ConvergesToTheWorkingPrecision) {
  struct Row {
    Call call;
    Pair fn;
    const char* root;
    std::vector<double> first = {};  // the first points evaluated
  };
  const Row rows[] = {
      {{kNewton, "2", 1}, kSquare, kSqrt2},
      {{kNewton, "0.5", 0.1}, kTail, kLn2},  // the upper tail exp(-x) falls: Newton does not mind
      {{kNewton, "2", 1, 1, 2}, kSquare, kSqrt2},  // x0 on a barrier is accepted
      // x^2 = 4 from 0, where the derivative vanishes: the point moves halfway
      // toward a barrier, the left one first, and the root on that side is found.
      {{kNewton, "4", 0, -6}, kSquare, "-2"},
      {{kNewton, "4", 0, kNone, 6}, kSquare, "2"},
      {{kNewton, "4", 0, -6, 6}, kSquare, "-2"},
      // The move to the left stays flat, the one to the right (from there)
      // leaves the flat part; root 11.
      {{kNewton, "1", 0, -4, 30}, kHinge, "11"},
      {{kSafe, "2", 1.75, 0, 2}, kSquare, kSqrt2, {0, 2, 1.75}},  // both barriers, then the given start
      {{kSafe, "0.25", 4, 0, 5}, kTail, kLn4},  // a falling function: the bracket's ends swap roles
      // A start where Newton's step would leave the bracket: x^2 near 0 with
      // a root far off; bisection takes over.
      {{kSafe, "2", 0.001, 0, 2, 200}, kSquare, kSqrt2},
      {{kHybrid, "0.999", 0, kNone, kNone, 200}, kLogistic, kLog999},  // far in the upper tail: the search goes right
      {{kHybrid, "0.01", 1, kNone, kNone, 200}, kLogistic, kLogit001},  // in the lower tail: the search goes left
      // One barrier on the far side of the root: x0 supplies the other; no
      // search, the midpoint of [-20, 1] next.
      {{kHybrid, "0.01", 1, -20, kNone, 200}, kLogistic, kLogit001, {1, -9.5}},
      // Both barriers skip the search: x0 is not evaluated; the midpoint is.
      {{kHybrid, "0.999", 2, -10, 30, 200}, kLogistic, kLog999, {10}},
  };
  for (long digits : {10L, 30L, 60L}) {
    ScopedDigits d(digits);
    for (const Row& row : rows) {
      SCOPED_TRACE(Describe(row.call));
      Fn f(row.fn.f), df(row.fn.df);
      EXPECT_LE(RelativeError(Solve(row.call, &f, &df), row.root), 5 * std::pow(10.0, -static_cast<double>(digits)));
      ASSERT_GE(f.calls(), row.first.size());
      EXPECT_EQ(std::vector<double>(f.points.begin(), f.points.begin() + row.first.size()), row.first);
    }
  }
}

// Exact results and every failure with its exact message, at Digits 15,
// with the notices shown at level 2 (none unless given) and, where given, the
// calls made and the first points evaluated.
TEST(NewtonFamily, ExactResultsFailuresAndNotices) {
  // A zero derivative away from a root (the function undefined there, so
  // that no bisection is chosen either) cannot be stepped from.
  const Pair broken = {[](const QuarnFloat& x) { return x == 1 ? UndefinedFloat() : x * x; },
                       [](const QuarnFloat& x) { return x == 1 ? QuarnFloat(0) : 2 * x; }};
  const Pair flat = {[](const QuarnFloat&) { return QuarnFloat(0.25); },
                     [](const QuarnFloat&) { return QuarnFloat(0); }};
  struct Row {
    const char* label;
    Call call;
    Pair fn;
    const char* outcome;  // a number: the exact result; else the error message
    const char* hint = nullptr;
    long calls = -1, dcalls = -1;  // -1: not checked
    std::vector<double> first = {};
  };
  const Row rows[] = {
      // x - 5 = 0 lies beyond the right barrier 2: every step is cut to half the
      // distance to the barrier, and the iteration converges onto it.
      {"onto the right barrier", {kNewton, "5", 0, kNone, 2}, kLine, "2", kAtBarrier, -1, -1, {0, 1, 1.5, 1.75}},
      {"onto the left barrier", {kNewton, "-5", 0, -2}, kLine, "-2", kAtBarrier},
      // With no iteration allowed 0 comes back, with the notice.
      {"no iteration", {kNewton, "2", 100, kNone, kNone, 0}, kSquare, "0", kNewtonLimit},
      {"x0 left of the left barrier", {kNewton, "2", 0, 1}, kSquare, kBetweenBarriers},
      {"x0 right of the right barrier", {kNewton, "2", 3, kNone, 2}, kSquare, kBetweenBarriers},
      // x^2 = 4 from 0, where the derivative vanishes: without a barrier
      // there is nowhere to go.
      {"zero derivative, no barrier", {kNewton, "4", 0}, kSquare, kNewtonFailed},
      {"flat after the move left", {kNewton, "1", 0, -4}, kHinge, kNewtonFailed},
      {"flat after the move right", {kNewton, "1", 0, kNone, 8}, kHinge, kNewtonFailed},
      // A root on a barrier is returned without iterating.
      {"Safe, root on the left barrier", {kSafe, "4", 3, 2, 5}, kSquare, "2", nullptr, 2, 0},
      {"Safe, root on the right barrier", {kSafe, "4", 1, -1, 2}, kSquare, "2", nullptr, 2, 0},
      // x0 on a barrier is accepted; a root at x0 is returned at once.
      {"Safe, root at x0", {kSafe, "4", 2, 1, 5}, kSquare, "2", nullptr, 3},
      // The limit returns the current point with a notice; none at all returns x0.
      {"Safe, no iteration", {kSafe, "2", 1.25, 0, 2, 0}, kSquare, "1.25",
       "hints: NewtonRaphsonSafe completed the maximum number of iterations without converging"},
      {"Safe, x0 outside", {kSafe, "2", 3, 0, 2}, kSquare, kBetweenBarriers},
      {"Safe, no bracket", {kSafe, "9", 1, 0, 2}, kSquare, "root must be bracketed by lower and upper barriers"},
      {"Safe, zero derivative", {kSafe, "2", 1, 0, 2}, broken,
       "NewtonRaphsonSafe root-finding method failed to converge."},
      {"Hybrid, x0 at the root", {kHybrid, "0.5", 0}, kLogistic, "0", nullptr, 1},
      // With both barriers and no iteration the midpoint comes back with the notice.
      {"Hybrid, no iteration", {kHybrid, "0.999", 2, -10, 30, 0}, kLogistic, "10",
       "hints: NewtonRaphsonHybrid completed the maximum number of iterations without converging"},
      {"Hybrid, target at the upper bound", {kHybrid, "1", 0}, kLogistic, kStrictly, nullptr, 0},
      {"Hybrid, target at the lower bound", {kHybrid, "0", 0}, kLogistic, kStrictly, nullptr, 0},
      {"Hybrid, x0 on the wrong side", {kHybrid, "0.5", 0, 1}, kLogistic, kBetweenBarriers, nullptr, 0},
      {"Hybrid, no iteration for the search", {kHybrid, "0.9", 0, kNone, kNone, 0}, kLogistic, kHybridFailed},
      {"Hybrid, flat start", {kHybrid, "0.9", 0}, flat, kHybridFailed},
      // Falling functions step the wrong way, in either direction.
      {"Hybrid, falling, target above", {kHybrid, "0.9", 1}, kTail, kNotNondecreasing},
      {"Hybrid, falling, target below", {kHybrid, "0.1", 1}, kTail, kNotNondecreasing},
  };
  ScopedDigits d(15);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.label);
    CaptureHints hints;
    Fn f(row.fn.f), df(row.fn.df);
    QuarnFloat r;
    const std::string error = ErrorOf([&] { r = Solve(row.call, &f, &df); });
    if (std::isdigit(static_cast<unsigned char>(row.outcome[row.outcome[0] == '-']))) {
      EXPECT_EQ(error, "");
      EXPECT_TRUE(r == Float(row.outcome)) << r.ToDouble();
    } else {
      EXPECT_EQ(error, row.outcome);
    }
    EXPECT_EQ(hints.lines, row.hint ? std::vector<std::string>{row.hint} : std::vector<std::string>{});
    if (row.calls >= 0) {
      EXPECT_EQ(f.calls(), static_cast<size_t>(row.calls));
    }
    if (row.dcalls >= 0) {
      EXPECT_EQ(df.calls(), static_cast<size_t>(row.dcalls));
    }
    ASSERT_GE(f.calls(), row.first.size());
    EXPECT_EQ(std::vector<double>(f.points.begin(), f.points.begin() + row.first.size()), row.first);
  }
}

TEST(NewtonRaphson, TheIterationLimitIsANoticeNotAnError) {
  ScopedDigits d(30);
  Fn f(kSquare.f), df(kSquare.df);
  {
    CaptureHints hints;
    EXPECT_LE(RelativeError(Solve({kNewton, "2", 100, kNone, kNone, 3}, &f, &df), kThirdIterate), 1e-29);
    EXPECT_EQ(hints.lines, std::vector<std::string>{kNewtonLimit});
  }
  // Below level 2 the notice is not shown.
  CaptureHints quiet(1);
  Solve({kNewton, "2", 100, kNone, kNone, 3}, &f, &df);
  EXPECT_TRUE(quiet.lines.empty());
}

TEST(NewtonRaphsonHybrid, SearchStepsAimAtTheBoundOfTheRange) {
  ScopedDigits d(30);
  Fn f(kLogistic.f), df(kLogistic.df);
  Solve({kHybrid, "0.999", 0, kNone, kNone, 200}, &f, &df);
  ASSERT_GE(f.points.size(), 3u);
  // The first step aims at the target: 0 + (0.999 - 1/2) / (1/4).
  EXPECT_EQ(f.points[1], 1.996);
  // The next aims at 1, the top of the range: for the logistic function
  // x + (1 - F(x)) / F'(x) = x + 1 / F(x) = x + 1 + exp(-x).
  EXPECT_NEAR(f.points[2], 2.996 + std::exp(-1.996), 1e-14);
}
