// The discrete interpolation family: for a nondecreasing function of an
// integer (a discrete cumulative distribution function or a cumulative
// table), the smallest integer at which it reaches a target, by bisection of
// an integer bracket, and hybrid forms that find the bracket first by secant
// steps rounded to integers.
#include <climits>

#include "stats/rootfind/internal.h"
#include "stats/rootfind/rootfind.h"

namespace quarnstats {

namespace {

constexpr const char* kHybridNoConvergence =
    "DiscreteInterpolationHybrid was not able to converge to the specified root.";

// f at the integer k, made into a float through a double as every caller of
// these functions expects (integers beyond 2^53 are rounded on the way).
QuarnFloat At(STATS_QuarnCallbackAdapter_MP* f, long k) { return f->Evaluate(QuarnFloat(static_cast<double>(k))); }

// The secant through (xa, fa) and (xb, fb), evaluated in floats so that the
// difference of two far-apart integers cannot overflow: returns where it
// reaches `level`, rounded down to an integer (FloatToLong saturates beyond
// the range of long).
long SecantFloor(long xa, const QuarnFloat& fa, long xb, const QuarnFloat& fb, const QuarnFloat& level) {
  QuarnFloat m = (fb - fa) / (QuarnFloat(xb) - QuarnFloat(xa));
  QuarnFloat c = fa - m * QuarnFloat(xa);
  return FloatToLong(floor((level - c) / m));
}

}  // namespace

// Bisection of (lo, hi] keeping f(lo) < target <= f(hi). The midpoint is
// taken in 128-bit arithmetic so that no bracket of longs overflows, and
// truncated toward zero.
long DiscreteInterpolation(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f, long lo, long hi,
                           long maxIterations) {
  QuarnFloat flo = At(f, lo);
  if (flo > target) return lo;
  QuarnFloat fhi = At(f, hi);
  if (fhi < target) QuarnRaiseError(kv, "root must be bracketed by left and right barriers.");
  for (long k = 0; k < maxIterations; ++k) {
    if (static_cast<__int128>(hi) - lo <= 1) {
      // fhi < target cannot hold here for a nondecreasing f; the step past
      // hi is kept for a function that broke the bracket, unless it would
      // leave the range of long.
      return (fhi < target && hi < LONG_MAX) ? hi + 1 : hi;
    }
    long mid = static_cast<long>((static_cast<__int128>(lo) + hi) / 2);
    QuarnFloat fm = At(f, mid);
    if (fm < target) {
      lo = mid;
      flo = fm;
    } else {
      hi = mid;
      fhi = fm;
    }
  }
  QuarnRaiseError(kv, "maximum number of iterations exceeded in discrete root finding.");
}

// Rounded secant steps from the left barrier through the latest point toward
// where the line reaches upperBound, each at least one integer further
// right, until f reaches the target; bisection then runs on the last two
// points with what is left of the iteration budget.
long DiscreteInterpolationHybridLeft(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                                     QuarnFloat lowerBound, QuarnFloat upperBound, long leftBarrier, long initialPoint,
                                     long maxIterations) {
  if (initialPoint <= leftBarrier)
    QuarnRaiseError(kv, "the specified initial point must be greater than the left barrier.");
  if (target < lowerBound || target > upperBound) QuarnRaiseError(kv, kTargetOutsideBounds);
  long x0 = leftBarrier;
  QuarnFloat f0 = At(f, leftBarrier);
  long x1 = initialPoint;
  QuarnFloat f1 = At(f, initialPoint);
  for (long k = 0; k < maxIterations; ++k) {
    if (f1 >= target) return DiscreteInterpolation(kv, target, f, x0, x1, maxIterations - k);
    long next = SecantFloor(x0, f0, x1, f1, upperBound);
    x0 = x1;
    x1 = next;
    if (x1 == x0) {
      // No integer is left to the right: the search cannot go on.
      if (x0 == LONG_MAX) QuarnRaiseError(kv, kHybridNoConvergence);
      x1 = x0 + 1;
    }
    if (x1 < x0) QuarnRaiseError(kv, kNotNondecreasing);
    f0 = f1;
    f1 = At(f, x1);
    if (f1 < f0) QuarnRaiseError(kv, kNotNondecreasing);
    if (f1 == f0) QuarnRaiseError(kv, kHybridNoConvergence);
  }
  QuarnRaiseError(kv, kHybridNoConvergence);
}

// The mirror image of DiscreteInterpolationHybridLeft: rounded secant steps
// from the right barrier toward where the line reaches lowerBound.
long DiscreteInterpolationHybridRight(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                                      QuarnFloat lowerBound, QuarnFloat upperBound, long initialPoint,
                                      long rightBarrier, long maxIterations) {
  if (initialPoint >= rightBarrier)
    QuarnRaiseError(kv, "the specified initial point must be less than the right barrier.");
  if (target < lowerBound || target > upperBound) QuarnRaiseError(kv, kTargetOutsideBounds);
  long xl = initialPoint;
  QuarnFloat fl = At(f, initialPoint);
  long xr = rightBarrier;
  QuarnFloat fr = At(f, rightBarrier);
  for (long k = 0; k < maxIterations; ++k) {
    if (fl <= target) return DiscreteInterpolation(kv, target, f, xl, xr, maxIterations - k);
    long next = SecantFloor(xl, fl, xr, fr, lowerBound);
    xr = xl;
    xl = next;
    if (xl == xr) {
      if (xr == LONG_MIN) QuarnRaiseError(kv, kHybridNoConvergence);
      xl = xr - 1;
    }
    if (xl > xr) QuarnRaiseError(kv, kNotNondecreasing);
    fr = fl;
    fl = At(f, xl);
    if (fr < fl) QuarnRaiseError(kv, kNotNondecreasing);
    if (fr == fl) QuarnRaiseError(kv, kHybridNoConvergence);
  }
  QuarnRaiseError(kv, kHybridNoConvergence);
}

// Evaluates f at both points and searches outward from the side the target
// lies on, the nearer point serving as the barrier with its own value as the
// bound of the range.
long DiscreteInterpolationHybridUnbound(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                                        QuarnFloat lowerBound, QuarnFloat upperBound, long InitPoint1, long InitPoint2,
                                        long maxIterations) {
  if (target < lowerBound || target > upperBound) QuarnRaiseError(kv, kTargetOutsideBounds);
  if (InitPoint1 == InitPoint2) {
    QuarnRaiseError(kv,
                    "DiscreteInterpolationHybridUnbound requires distinct initial points (InitPoint1 != InitPoint2).");
  }
  long lo = InitPoint1 < InitPoint2 ? InitPoint1 : InitPoint2;
  long hi = InitPoint1 < InitPoint2 ? InitPoint2 : InitPoint1;
  QuarnFloat flo = At(f, lo);
  QuarnFloat fhi = At(f, hi);
  if (flo == target) return lo;
  if (fhi == target) return hi;
  if (flo < target) return DiscreteInterpolationHybridLeft(kv, target, f, flo, upperBound, lo, hi, maxIterations);
  return DiscreteInterpolationHybridRight(kv, target, f, lowerBound, fhi, lo, hi, maxIterations);
}

}  // namespace quarnstats
