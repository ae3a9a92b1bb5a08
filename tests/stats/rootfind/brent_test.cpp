// Brent's method and its hybrid forms on functions whose roots are known
// exactly (references from mpmath at 80 digits), and every way they fail.
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

constexpr const char* kWallis = "2.0945514815423265914823865405793029638573061056282391803041285290453121899834837";
constexpr const char* kCbrt10 = "2.1544346900318837217592935665193504952593449421921085824892355063464111066483408";
constexpr const char* kMinusLn0001 =
    "6.9077552789821370520539743640530926228033044658863189280999837029027178290320574";
constexpr const char* kMinusLn0999 =
    "0.001000500333583533500142982254068344960755205250434409250988020797245202385869475";
constexpr const char* kLogit03 = "-0.8472978603872036137101075065206540249895941717591117367246958163000855695334603";

constexpr const char* kNoBracket = "root must be bracketed by lower and upper boundaries.";
constexpr const char* kLimit = "maximum number of iterations exceeded in Brent root finding.";
constexpr const char* kOutside = "the specified approximation point must be between function bounds.";
constexpr const char* kNoConvergence = "BrentMethodHybrid was not able to converge on the specified root.";
constexpr const char* kNotNondecreasing = "specified function is not a nondecreasing function.";

using RealFn = QuarnFloat (*)(const QuarnFloat&);

QuarnFloat Line(const QuarnFloat& x) { return x; }
QuarnFloat Eighth(const QuarnFloat& x) { return x / 8; }
QuarnFloat Square(const QuarnFloat& x) { return x * x; }
QuarnFloat Cube(const QuarnFloat& x) { return x * x * x; }
QuarnFloat Tail(const QuarnFloat& x) { return exp(-x); }
// Distribution functions in closed form, nondecreasing with range [0, 1].
QuarnFloat ExponentialCdf(const QuarnFloat& x) { return x < 0 ? QuarnFloat(0.0) : 1 - exp(-x); }
QuarnFloat LogisticCdf(const QuarnFloat& x) { return 1 / (1 + exp(-x)); }

enum Method { kBrent, kLeft, kRight, kUnbound };
constexpr long kZeroTol = -1;

// One call of the family. a and b are Brent's ends, the left barrier and the
// initial point (Left), the initial point and the right barrier (Right), or
// the two initial points (Unbound); f's range is [lower, 1]. The tolerance is
// 10^-tol_digits, 10^-Digits when tol_digits is 0, and 0 for kZeroTol.
struct Call {
  Method method;
  const char* target;
  double a, b;
  long max_iter = 100;
  long tol_digits = 0;
  double lower = 0;
};

std::string Describe(const Call& c) {
  static const char* const kNames[] = {"BrentMethod", "BrentMethodHybridLeft", "BrentMethodHybridRight",
                                       "BrentMethodHybridUnbound"};
  return std::string(kNames[c.method]) + "(" + c.target + ", " + std::to_string(c.a) + ", " + std::to_string(c.b) +
         ", max_iter " + std::to_string(c.max_iter) + ") at Digits " + std::to_string(host::WorkingDigits());
}

QuarnFloat Solve(const Call& c, Fn* f) {
  const QuarnFloat t = Float(c.target), a = c.a, b = c.b, lo = c.lower, hi = 1;
  const long tol_digits = c.tol_digits ? c.tol_digits : host::WorkingDigits();
  const QuarnFloat tol = c.tol_digits < 0 ? QuarnFloat(0.0) : PowerOfTen(tol_digits);
  switch (c.method) {
    case kBrent: return BrentMethod(kv(), t, f, a, b, tol, c.max_iter);
    case kLeft: return BrentMethodHybridLeft(kv(), t, f, lo, hi, a, b, tol, c.max_iter);
    case kRight: return BrentMethodHybridRight(kv(), t, f, lo, hi, a, b, tol, c.max_iter);
    default: return BrentMethodHybridUnbound(kv(), t, f, lo, hi, a, b, tol, c.max_iter);
  }
}

// Whether an expected outcome is a number rather than a message.
bool IsNumber(const char* outcome) { return std::isdigit(static_cast<unsigned char>(outcome[outcome[0] == '-'])) != 0; }

// The smallest iteration limit with which the call succeeds.
long FewestIterations(Call c, Fn* f) {
  for (c.max_iter = 1; c.max_iter < 100; ++c.max_iter) {
    if (ErrorOf([&] { Solve(c, f); }).empty()) return c.max_iter;
  }
  ADD_FAILURE() << Describe(c) << " fails at every limit below 100";
  return 100;
}

// Brent's stopping test leaves the root inside [b, c] with
// |c - b| < 2 (2 tol |b| + tol / 2): a bound on the error of b.
double BrentBound(double root, long digits) {
  double tol = std::pow(10.0, -static_cast<double>(digits));
  return 4 * tol * std::abs(root) + tol;
}

}  // namespace

// Each row at Digits 10, 30 and 60 to its tolerance (10^-Digits unless
// given); where given, the first points evaluated.
TEST(BrentFamily, RootsWithinTheToleranceBound) {
  struct Row {
    Call call;
    RealFn f;
    const char* root;
    std::vector<double> first;
  };
  const Row rows[] = {
      {{kBrent, "2", 0, 2, 200}, Square, kSqrt2, {}},
      // Wallis's cubic x^3 - 2x - 5 = 0.
      {{kBrent, "5", 2, 3, 200}, [](const QuarnFloat& x) { return x * x * x - 2 * x; }, kWallis, {}},
      // The ends given in decreasing order, for a rising function.
      {{kBrent, "10", 5, -1, 200}, Cube, kCbrt10, {}},
      // The upper tail exp(-x) = 1/2 at ln 2: a falling function brackets too.
      {{kBrent, "0.5", 0, 10, 200}, Tail, kLn2, {}},
      // Far out in the tail: several secant steps toward 1 before the bracket.
      {{kLeft, "0.999", 0, 0.5, 200}, ExponentialCdf, kMinusLn0001, {}},
      // The initial point already reaches the target: Brent on [barrier, point].
      {{kLeft, "0.5", 0, 3, 200}, ExponentialCdf, kLn2, {}},
      {{kRight, "0.001", 5, 20, 200}, ExponentialCdf, kMinusLn0999, {}},
      {{kRight, "0.01", 3, 50, 200}, LogisticCdf, kLogit001, {3}},  // the barrier is not evaluated
      {{kUnbound, "0.999", -1, 1, 200}, LogisticCdf, kLog999, {-1, 1}},
      // Points in decreasing order, target below both: the smaller point first.
      {{kUnbound, "0.01", 1, 0, 200}, LogisticCdf, kLogit001, {0}},
      {{kUnbound, "0.3", -3, 3, 200}, LogisticCdf, kLogit03, {}},  // target between the two values
      // x^3 = 0: the relative part of the tolerance shrinks with |b|, so only
      // the absolute part can end the search; the error bound is then tol.
      {{kBrent, "0", -1, 2, 500, 15}, Cube, "0", {}},
  };
  for (long digits : {10L, 30L, 60L}) {
    ScopedDigits d(digits);
    for (const Row& row : rows) {
      SCOPED_TRACE(Describe(row.call));
      Fn f(row.f);
      QuarnFloat r = Solve(row.call, &f);
      const long tol_digits = row.call.tol_digits ? row.call.tol_digits : digits;
      EXPECT_LE(AbsoluteError(r, row.root), BrentBound(std::stod(row.root), tol_digits));
      ASSERT_GE(f.calls(), row.first.size());
      EXPECT_EQ(std::vector<double>(f.points.begin(), f.points.begin() + row.first.size()), row.first);
    }
  }
}

TEST(BrentMethod, ALooseToleranceStopsSoonerWithinItsBound) {
  ScopedDigits d(30);
  Fn tight(Tail), loose(Tail);
  Solve({kBrent, "0.5", 0, 10, 200}, &tight);
  QuarnFloat r = Solve({kBrent, "0.5", 0, 10, 200, 4}, &loose);
  EXPECT_LE(AbsoluteError(r, kLn2), BrentBound(0.693, 4));
  EXPECT_LT(loose.calls(), tight.calls());
}

// Exact roots and every failure with its exact message, at Digits 15; where
// given, every point evaluated (checks of the arguments come before any
// evaluation).
TEST(BrentFamily, ExactRootsAndFailures) {
  auto flat_left = [](const QuarnFloat& x) { return x < 1 ? x / 4 : (x < 10 ? QuarnFloat(0.25) : QuarnFloat(1)); };
  auto flat_right = [](const QuarnFloat& x) {
    return x < 1 ? QuarnFloat(0) : (x < 19 ? QuarnFloat(0.75) : QuarnFloat(1));
  };
  const char* const after_barrier = "the specified initial point must be greater than the left barrier.";
  struct Row {
    const char* label;
    Call call;
    RealFn f;
    const char* outcome;  // a number: the exact root; else the error message
    long calls = -1;      // -1: not checked
    std::vector<double> points = {};  // empty: not checked
  };
  const Row rows[] = {
      // An exact root at an end is returned by the first test: both ends, nothing more.
      {"root at the lower end", {kBrent, "4", 2, 5}, Square, "2", 2, {2, 5}},
      {"root at the upper end", {kBrent, "4", -1, 2}, Square, "2", 2, {-1, 2}},
      // A zero tolerance stops only at an exact zero: x - 3/8 has a root that is a float.
      {"zero tolerance, root a float", {kBrent, "0.375", 0, 1, 200, kZeroTol}, Line, "0.375"},
      {"no bracket, lower end first", {kBrent, "-1", -1, 1}, Square, kNoBracket, 2, {-1, 1}},
      {"no bracket", {kBrent, "9", -1, 2}, Square, kNoBracket},
      // Both ends are evaluated and the bracket checked before any
      // iteration, so a missing bracket is reported as such.
      {"no iteration", {kBrent, "2", 0, 2, 0}, Square, kLimit, 2},
      {"no bracket, negative limit", {kBrent, "-2", 0, 2, -1}, Square, kNoBracket},
      // f(initial point) equal to the target: Brent runs on [barrier, point]
      // (or [point, barrier]) at once, and finds the point on its first test.
      {"Left, target met at the point", {kLeft, "0.25", 0, 2}, Eighth, "2", 3, {2, 0, 2}},
      // A target equal to a bound passes: the lower bound is the barrier's value.
      {"Left, target at the lower bound", {kLeft, "0", 0, 1}, ExponentialCdf, "0"},
      {"Left, point on the barrier", {kLeft, "0.5", 1, 1}, ExponentialCdf, after_barrier, 0},
      {"Left, point before the barrier", {kLeft, "0.5", 2, 1}, ExponentialCdf, after_barrier, 0},
      {"Left, target above the range", {kLeft, "1.5", 0, 1}, ExponentialCdf, kOutside, 0},
      {"Left, target below the range", {kLeft, "-0.5", 0, 1}, ExponentialCdf, kOutside, 0},
      {"Left, no iteration: one evaluation", {kLeft, "0.99", 0, 1, 0}, ExponentialCdf, kNoConvergence, 1},
      // f = x/4 below 1, then 1/4 up to 10, then 1.
      {"Left, flat stretch", {kLeft, "0.5", 0, 1}, flat_left, kNoConvergence, 2, {1, 4}},
      {"Left, falling step", {kLeft, "0.9", 0, 1}, Tail, kNotNondecreasing},
      // A value below the range at the initial point turns the secant
      // backward: raised before evaluating the backward point.
      {"Left, below the range at the point", {kLeft, "0.75", 0, 1, 100, 0, 0.5},
       [](const QuarnFloat&) { return QuarnFloat(0.25); }, kNotNondecreasing, 1},
      {"Right, target met at the point", {kRight, "0.25", 2, 8}, Eighth, "2", 3, {2, 2, 8}},
      {"Right, point on the barrier", {kRight, "0.5", 3, 3}, ExponentialCdf,
       "the specified initial point must be less than the right barrier.", 0},
      {"Right, target above the range", {kRight, "2", 1, 3}, ExponentialCdf, kOutside, 0},
      {"Right, negative limit: one evaluation", {kRight, "0.01", 5, 20, -3}, ExponentialCdf, kNoConvergence, 1},
      // 3/4 from 1 to 19, rising to 1 at 20.
      {"Right, flat stretch", {kRight, "0.5", 18, 20}, flat_right, kNoConvergence},
      // Rising toward the left: the step goes the right way but f grows.
      {"Right, falling", {kRight, "0.01", 1, 2}, Tail, kNotNondecreasing},
      {"Unbound, root at the first point", {kUnbound, "0.5", 0, 2}, LogisticCdf, "0", 2, {0, 2}},
      {"Unbound, root at the second point", {kUnbound, "0.5", -2, 0}, LogisticCdf, "0", 2, {-2, 0}},
      {"Unbound, equal points", {kUnbound, "0.5", 2, 2}, LogisticCdf,
       "BrentMethodHybridUnbound requires distinct initial points (InitPoint1 != InitPoint2)."},
      // Above both values the larger bound still limits the target.
      {"Unbound, target above the range", {kUnbound, "1.5", 0, 1}, LogisticCdf, kOutside},
      // A falling function with the target between its values: the value at
      // the larger point bounds the search to the left, and the target is above.
      {"Unbound, falling", {kUnbound, "0.5", 0, 2}, Tail, kOutside},
      {"Unbound, no iteration", {kUnbound, "0.9", 0, 1, 0}, LogisticCdf, kNoConvergence},
  };
  ScopedDigits d(15);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.label);
    Fn f(row.f);
    QuarnFloat r;
    const std::string error = ErrorOf([&] { r = Solve(row.call, &f); });
    if (IsNumber(row.outcome)) {
      EXPECT_EQ(error, "");
      EXPECT_TRUE(r == Float(row.outcome)) << r.ToDouble();
    } else {
      EXPECT_EQ(error, row.outcome);
    }
    if (row.calls >= 0) {
      EXPECT_EQ(f.calls(), static_cast<size_t>(row.calls));
    }
    if (!row.points.empty()) {
      EXPECT_EQ(f.points, row.points);
    }
  }
}

// The smallest sufficient limit succeeds and one less fails.
TEST(BrentMethod, IterationLimit) {
  ScopedDigits d(60);
  Fn square(Square);
  EXPECT_EQ(ErrorOf([&] { Solve({kBrent, "2", 0, 2, 4}, &square); }), kLimit);
  const long enough = FewestIterations({kBrent, "2", 0, 2}, &square);
  EXPECT_GT(enough, 4);
  EXPECT_EQ(ErrorOf([&] { Solve({kBrent, "2", 0, 2, enough - 1}, &square); }), kLimit);
}

// sqrt(2) is no float, and at Digits 10 no x near it has x^2 rounding to 2:
// with nothing to stop it the limit is reached.
TEST(BrentMethod, ZeroToleranceWithoutAnExactZeroReachesTheLimit) {
  ScopedDigits d(10);
  Fn square(Square);
  EXPECT_EQ(ErrorOf([&] { Solve({kBrent, "2", 0, 2, 300, kZeroTol}, &square); }), kLimit);
}

TEST(BrentMethodHybridLeft, TheBarrierIsNotEvaluated) {
  ScopedDigits d(20);
  Fn cdf(ExponentialCdf);
  Solve({kLeft, "0.9", 0, 1}, &cdf);
  ASSERT_GE(cdf.calls(), 2u);
  EXPECT_EQ(cdf.points[0], 1.0);  // the initial point first
  // The secant through (0, 0) and (1, 1 - 1/e) reaches 1 at 1/(1 - 1/e).
  EXPECT_DOUBLE_EQ(cdf.points[1], 1 / (1 - std::exp(-1.0)));
}

TEST(BrentMethodHybridLeft, TheIterationBudgetIsShared) {
  ScopedDigits d(30);
  // f = x/10 on [0, 10]: one secant step from (0, 0) through (1, 0.1) lands
  // on 10, where f = 1; Brent then works on [1, 10].
  auto ramp = [](const QuarnFloat& x) { return x < 10 ? x / 10 : QuarnFloat(1); };
  Fn line(ramp), hybrid(ramp);
  const long brent_needs = FewestIterations({kBrent, "0.55", 1, 10}, &line);
  QuarnFloat r = Solve({kLeft, "0.55", 0, 1, brent_needs + 1}, &hybrid);
  EXPECT_LE(RelativeError(r, "5.5"), 1e-29);
  EXPECT_EQ(ErrorOf([&] { Solve({kLeft, "0.55", 0, 1, brent_needs}, &hybrid); }), kLimit);
}
