// The Brent family: Brent's method on a bracket, and the hybrid forms that
// first find a bracket for a nondecreasing function by secant extrapolation
// toward a bound of its range.
#include "stats/rootfind/internal.h"
#include "stats/rootfind/rootfind.h"

namespace quarnstats {

namespace {

constexpr const char* kNotBracketed = "root must be bracketed by lower and upper boundaries.";
constexpr const char* kIterationsExceeded = "maximum number of iterations exceeded in Brent root finding.";
constexpr const char* kHybridNoConvergence = "BrentMethodHybrid was not able to converge on the specified root.";

}  // namespace

// Brent's method (van Wijngaarden-Dekker-Brent) on g(x) = f(x) - target:
// inverse quadratic interpolation, or the secant step when only two points
// are distinct, falling back to bisection whenever the interpolated step
// leaves the bracket or shrinks too slowly. b is the best estimate, a the
// previous one, c the end of the bracket opposite b. One tolerance serves as
// both the relative and the absolute part of the stopping test
// |c - b| / 2 < 2 tolerance |b| + tolerance / 2, so a tolerance of 0 stops
// only on an exact zero or at the iteration limit.
QuarnFloat BrentMethod(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f, QuarnFloat lower,
                       QuarnFloat upper, QuarnFloat tolerance, long maxIterations) {
  auto g = [&](const QuarnFloat& x) { return f->Evaluate(x) - target; };
  QuarnFloat a = lower, b = upper, c = upper, d = 0.0, e = 0.0;
  QuarnFloat fa = g(a);
  QuarnFloat fb = g(b);
  // A zero at either end passes: it is found by the first convergence test.
  if (StrictlySameSign(fa, fb)) QuarnRaiseError(kv, kNotBracketed);
  QuarnFloat fc = fb;
  for (long iteration = 0; iteration < maxIterations; ++iteration) {
    if (StrictlySameSign(fb, fc)) {
      c = a;
      fc = fa;
      d = b - a;
      e = d;
    }
    if (fabs(fc) < fabs(fb)) {
      a = b;
      b = c;
      c = a;
      fa = fb;
      fb = fc;
      fc = fa;
    }
    QuarnFloat tol1 = 2 * tolerance * fabs(b) + 0.5 * tolerance;
    QuarnFloat xm = 0.5 * (c - b);
    if (fabs(xm) < tol1 || fb == 0) return b;
    if (fabs(e) >= tol1 && fabs(fa) > fabs(fb)) {
      QuarnFloat s = fb / fa;
      QuarnFloat p, q;
      if (a == c) {
        p = 2 * xm * s;
        q = 1 - s;
      } else {
        q = fa / fc;
        QuarnFloat r = fb / fc;
        p = s * (2 * xm * q * (q - r) - (b - a) * (r - 1));
        q = (q - 1) * (r - 1) * (s - 1);
      }
      if (p > 0) q = -q;
      p = fabs(p);
      QuarnFloat min1 = 3 * xm * q - fabs(tol1 * q);
      QuarnFloat min2 = fabs(e * q);
      // Accept the interpolation only while it stays inside the bracket and
      // shrinks faster than the step before last.
      if (2 * p < (min1 < min2 ? min1 : min2)) {
        e = d;
        d = p / q;
      } else {
        d = xm;
        e = d;
      }
    } else {
      d = xm;
      e = d;
    }
    a = b;
    fa = fb;
    if (fabs(d) > tol1) {
      b = b + d;
    } else {
      b = b + Sign(tol1, xm);
    }
    fb = g(b);
  }
  QuarnRaiseError(kv, kIterationsExceeded);
}

// Secant steps from the left barrier (where f is lowerBound) through the
// latest point, each aimed at where the line reaches upperBound, until f
// reaches the target; Brent's method then runs on the last two points with
// what is left of the iteration budget.
QuarnFloat BrentMethodHybridLeft(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f, QuarnFloat lowerBound,
                                 QuarnFloat upperBound, QuarnFloat leftBarrier, QuarnFloat initialPoint,
                                 QuarnFloat tolerance, long maxIterations) {
  if (initialPoint <= leftBarrier)
    QuarnRaiseError(kv, "the specified initial point must be greater than the left barrier.");
  if (target < lowerBound || target > upperBound) QuarnRaiseError(kv, kTargetOutsideBounds);
  QuarnFloat x0 = leftBarrier, f0 = lowerBound;
  QuarnFloat x1 = initialPoint, f1 = f->Evaluate(initialPoint);
  for (long k = 0; k < maxIterations; ++k) {
    if (f1 >= target) return BrentMethod(kv, target, f, x0, x1, tolerance, maxIterations - k);
    QuarnFloat m = (f1 - f0) / (x1 - x0);
    QuarnFloat c = f0 - m * x0;
    x0 = x1;
    x1 = (upperBound - c) / m;
    if (x1 < x0) QuarnRaiseError(kv, kNotNondecreasing);
    f0 = f1;
    f1 = f->Evaluate(x1);
    if (f1 < f0) QuarnRaiseError(kv, kNotNondecreasing);
    if (f1 == f0) QuarnRaiseError(kv, kHybridNoConvergence);
  }
  QuarnRaiseError(kv, kHybridNoConvergence);
}

// The mirror image of BrentMethodHybridLeft: secant steps from the right
// barrier (where f is upperBound) aimed at lowerBound.
QuarnFloat BrentMethodHybridRight(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                                  QuarnFloat lowerBound, QuarnFloat upperBound, QuarnFloat initialPoint,
                                  QuarnFloat rightBarrier, QuarnFloat tolerance, long maxIterations) {
  if (initialPoint >= rightBarrier)
    QuarnRaiseError(kv, "the specified initial point must be less than the right barrier.");
  if (target < lowerBound || target > upperBound) QuarnRaiseError(kv, kTargetOutsideBounds);
  QuarnFloat xl = initialPoint, fl = f->Evaluate(initialPoint);
  QuarnFloat xr = rightBarrier, fr = upperBound;
  for (long k = 0; k < maxIterations; ++k) {
    if (fl <= target) return BrentMethod(kv, target, f, xl, xr, tolerance, maxIterations - k);
    QuarnFloat m = (fr - fl) / (xr - xl);
    QuarnFloat c = fl - m * xl;
    xr = xl;
    xl = (lowerBound - c) / m;
    if (xr < xl) QuarnRaiseError(kv, kNotNondecreasing);
    fr = fl;
    fl = f->Evaluate(xl);
    if (fr < fl) QuarnRaiseError(kv, kNotNondecreasing);
    if (fr == fl) QuarnRaiseError(kv, kHybridNoConvergence);
  }
  QuarnRaiseError(kv, kHybridNoConvergence);
}

// Evaluates f at both points and searches outward from the side the target
// lies on, the nearer point serving as the barrier with its own value as the
// bound of the range.
QuarnFloat BrentMethodHybridUnbound(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                                    QuarnFloat lowerBound, QuarnFloat upperBound, QuarnFloat InitPoint1,
                                    QuarnFloat InitPoint2, QuarnFloat tolerance, long maxIterations) {
  if (InitPoint1 == InitPoint2) {
    QuarnRaiseError(kv, "BrentMethodHybridUnbound requires distinct initial points (InitPoint1 != InitPoint2).");
  }
  bool ordered = InitPoint1 < InitPoint2;
  QuarnFloat lo = ordered ? InitPoint1 : InitPoint2;
  QuarnFloat hi = ordered ? InitPoint2 : InitPoint1;
  QuarnFloat flo = f->Evaluate(lo);
  QuarnFloat fhi = f->Evaluate(hi);
  if (flo == target) return lo;
  if (fhi == target) return hi;
  if (flo < target) return BrentMethodHybridLeft(kv, target, f, flo, upperBound, lo, hi, tolerance, maxIterations);
  return BrentMethodHybridRight(kv, target, f, lowerBound, fhi, lo, hi, tolerance, maxIterations);
}

}  // namespace quarnstats
