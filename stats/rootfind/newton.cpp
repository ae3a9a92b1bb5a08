// The Newton-Raphson family: Newton's iteration with optional barriers,
// Newton safeguarded by bisection in a bracket, and a hybrid that finds the
// bracket by Newton steps aimed at a bound of a nondecreasing function's
// range before running the safeguarded iteration.
#include "stats/rootfind/internal.h"
#include "stats/rootfind/rootfind.h"

namespace quarnstats {

namespace {

// Notices that do not stop the computation.
void Hint(QKernel kv, const char* text) { QuarnUserInfo(kv, 2, "hints", text); }

// Newton steps safeguarded by bisection (rtsafe of Press et al., Numerical
// Recipes, 9.4) on g(x) = f(x) - target. xl is the end of the bracket where
// g < 0, xh the other; x, g = g(x), d = g'(x), the last step dx and the one
// before it dxold come in with the iteration's state. A Newton step is taken
// when it stays inside the bracket and at least halves the step before last,
// otherwise the bracket is bisected. Iterations are counted in k, which the
// caller may already have advanced, while k < maxIterations. Returns true
// with the root in x when the step falls below the tolerance or no longer
// changes x, false at the iteration limit; raises `failure` on a zero
// derivative away from a root.
bool SafeguardedNewton(QKernel kv, const QuarnFloat& target, STATS_QuarnCallbackAdapter_MP* f,
                       STATS_QuarnCallbackAdapter_MP* df, QuarnFloat& x, QuarnFloat g, QuarnFloat d, QuarnFloat dx,
                       QuarnFloat dxold, QuarnFloat xl, QuarnFloat xh, const QuarnFloat& tolerance, long& k,
                       long maxIterations, const char* failure) {
  for (; k < maxIterations; ++k) {
    if (((x - xh) * d - g) * ((x - xl) * d - g) > 0 || fabs(2 * g) > fabs(dxold * d)) {
      dxold = dx;
      dx = 0.5 * (xh - xl);
      x = xl + dx;
      if (xl == x) return true;
    } else {
      dxold = dx;
      if (d == 0) {
        if (g == 0) return true;
        QuarnRaiseError(kv, failure);
      }
      dx = g / d;
      QuarnFloat t = x;
      x = x - dx;
      if (t == x) return true;
    }
    if (fabs(dx) < tolerance) return true;
    g = f->Evaluate(x) - target;
    d = df->Evaluate(x);
    if (g < 0) {
      xl = x;
    } else {
      xh = x;
    }
  }
  return false;
}

}  // namespace

// Newton's iteration from x0 until two iterates are within the relative
// tolerance. A step that would cross a barrier lands halfway between the
// current point and the barrier, and convergence next to a barrier returns
// the barrier itself. A zero derivative moves the point halfway toward a
// barrier (the left one first); without barriers it is a failure. At the
// iteration limit the last iterate is returned with a notice.
QuarnFloat NewtonRaphson(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                         STATS_QuarnCallbackAdapter_MP* df, QuarnFloat x0, int hasLeft, QuarnFloat leftBarrier,
                         int hasRight, QuarnFloat rightBarrier, QuarnFloat tolerance, long maxIterations) {
  constexpr const char* kFailure = "NewtonRaphson root-finding method failed to converge.";
  constexpr const char* kAtBarrier = "NewtonRaphson has converged to a barrier point";
  if ((hasLeft && x0 < leftBarrier) || (hasRight && x0 > rightBarrier)) {
    QuarnRaiseError(kv, kInitialPointOutsideBarriers);
  }
  QuarnFloat x = x0, xnew = 0.0;
  QuarnFloat g = f->Evaluate(x) - target;
  QuarnFloat d = df->Evaluate(x);
  for (long k = 0; k < maxIterations; ++k) {
    if (d == 0) {
      if (hasLeft) {
        x = 0.5 * (x + leftBarrier);
        d = df->Evaluate(x);
      } else if (!hasRight) {
        QuarnRaiseError(kv, kFailure);
      }
      if (d == 0 && hasRight) {
        x = 0.5 * (x + rightBarrier);
        d = df->Evaluate(x);
      }
      if (d == 0) QuarnRaiseError(kv, kFailure);
      g = f->Evaluate(x) - target;
    }
    xnew = x - g / d;
    if (hasLeft && xnew < leftBarrier) xnew = 0.5 * (x + leftBarrier);
    if (hasRight && xnew > rightBarrier) xnew = 0.5 * (x + rightBarrier);
    // An undefined iterate stays undefined: the remaining iterations (there
    // may be a billion) would end at the same result.
    if (IsQuarnFloatUndefined(xnew)) break;
    QuarnFloat gnew = f->Evaluate(xnew) - target;
    QuarnFloat dnew = df->Evaluate(xnew);
    if (RelativeDistance(xnew, x) < tolerance) {
      if (hasLeft && RelativeDistance(xnew, leftBarrier) < tolerance) {
        Hint(kv, kAtBarrier);
        return leftBarrier;
      }
      if (hasRight && RelativeDistance(xnew, rightBarrier) < tolerance) {
        Hint(kv, kAtBarrier);
        return rightBarrier;
      }
      return xnew;
    }
    x = xnew;
    g = gnew;
    d = dnew;
  }
  Hint(kv, "NewtonRaphson completed the maximum number of iterations without converging");
  return xnew;
}

// The safeguarded iteration in [leftBarrier, rightBarrier], which must
// bracket the root, starting at x0 rather than at the midpoint.
QuarnFloat NewtonRaphsonSafe(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                             STATS_QuarnCallbackAdapter_MP* df, QuarnFloat x0, QuarnFloat leftBarrier,
                             QuarnFloat rightBarrier, QuarnFloat tolerance, long maxIterations) {
  if (x0 < leftBarrier || x0 > rightBarrier) QuarnRaiseError(kv, kInitialPointOutsideBarriers);
  QuarnFloat fl = f->Evaluate(leftBarrier) - target;
  QuarnFloat fh = f->Evaluate(rightBarrier) - target;
  if (StrictlySameSign(fl, fh)) QuarnRaiseError(kv, "root must be bracketed by lower and upper barriers");
  if (fl == 0) return leftBarrier;
  if (fh == 0) return rightBarrier;
  bool rising = fl < 0;
  QuarnFloat xl = rising ? leftBarrier : rightBarrier;
  QuarnFloat xh = rising ? rightBarrier : leftBarrier;
  QuarnFloat x = x0;
  QuarnFloat dxold = fabs(rightBarrier - leftBarrier);
  QuarnFloat g = f->Evaluate(x) - target;
  QuarnFloat d = df->Evaluate(x);
  if (g == 0) return x;
  long k = 0;
  if (SafeguardedNewton(kv, target, f, df, x, g, d, dxold, dxold, xl, xh, tolerance, k, maxIterations,
                        "NewtonRaphsonSafe root-finding method failed to converge.")) {
    return x;
  }
  Hint(kv, "NewtonRaphsonSafe completed the maximum number of iterations without converging");
  return x;
}

// f nondecreasing with range (lowerBound, upperBound). Unless both barriers
// are given, x0 becomes the barrier on its own side of the root and Newton
// steps toward the root find the other one; after the first step each is
// aimed at where f would reach the far bound of its range, so that the
// search overshoots the root instead of creeping up on it. The safeguarded
// iteration then runs from the bracket's midpoint on what is left of the
// iteration budget.
QuarnFloat NewtonRaphsonHybrid(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                               STATS_QuarnCallbackAdapter_MP* df, QuarnFloat x0, QuarnFloat lowerBound,
                               QuarnFloat upperBound, int hasLeft, QuarnFloat leftBarrier, int hasRight,
                               QuarnFloat rightBarrier, QuarnFloat tolerance, long maxIterations) {
  constexpr const char* kFailure = "NewtonRaphsonHybrid root-finding method failed to converge.";
  if ((hasLeft && x0 < leftBarrier) || (hasRight && x0 > rightBarrier)) {
    QuarnRaiseError(kv, kInitialPointOutsideBarriers);
  }
  if (target <= lowerBound || target >= upperBound) {
    QuarnRaiseError(kv, "the specified approximation point must be strictly between the specified bounds");
  }
  long k = 0;
  if (!(hasLeft && hasRight)) {
    QuarnFloat g0 = f->Evaluate(x0) - target;
    if (g0 == 0) return x0;
    bool goingRight = g0 < 0;
    if (goingRight) {
      if (!hasLeft || x0 > leftBarrier) {
        leftBarrier = x0;
        hasLeft = 1;
      }
    } else if (!hasRight || x0 < rightBarrier) {
      rightBarrier = x0;
      hasRight = 1;
    }
    QuarnFloat x = x0, g = g0;
    while (!(hasLeft && hasRight) && k < maxIterations) {
      QuarnFloat d = df->Evaluate(x);
      if (d == 0) QuarnRaiseError(kv, kFailure);
      QuarnFloat xn = x - g / d;
      if (goingRight) {
        if (xn < x) QuarnRaiseError(kv, kNotNondecreasing);
        QuarnFloat v = f->Evaluate(xn);
        if (v > target) {
          rightBarrier = xn;
          hasRight = 1;
        }
        if (v < target) leftBarrier = xn;
        g = v - upperBound;
      } else {
        if (xn > x) QuarnRaiseError(kv, kNotNondecreasing);
        QuarnFloat v = f->Evaluate(xn);
        if (v < target) {
          leftBarrier = xn;
          hasLeft = 1;
        }
        if (v > target) rightBarrier = xn;
        g = v - lowerBound;
      }
      x = xn;
      ++k;
    }
    if (!(hasLeft && hasRight)) QuarnRaiseError(kv, kFailure);
  }
  QuarnFloat x = 0.5 * (leftBarrier + rightBarrier);
  QuarnFloat dxold = fabs(rightBarrier - leftBarrier);
  QuarnFloat g = f->Evaluate(x) - target;
  QuarnFloat d = df->Evaluate(x);
  if (g == 0) return x;
  if (SafeguardedNewton(kv, target, f, df, x, g, d, dxold, dxold, leftBarrier, rightBarrier, tolerance, k,
                        maxIterations, kFailure)) {
    return x;
  }
  Hint(kv, "NewtonRaphsonHybrid completed the maximum number of iterations without converging");
  return x;
}

}  // namespace quarnstats
