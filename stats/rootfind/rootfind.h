// Root finders on multiprecision floats: solve f(x) = target for a function
// f given as a callback adapter (a host procedure or one of the library's own
// probability functions).
//
//  - Brent family: Brent's method on a bracket, and three hybrid forms that
//    first find a bracket by secant extrapolation toward a known bound of a
//    nondecreasing f's range.
//  - Newton-Raphson family: plain Newton with optional barriers, Newton
//    safeguarded by bisection in a bracket, and a hybrid that finds the
//    bracket by Newton steps aimed at a bound of f's range.
//  - Discrete interpolation family: the smallest integer at which a
//    nondecreasing f reaches the target, by bisection of an integer bracket,
//    and three hybrid forms that find the bracket by rounded secant steps.
//
// Every function takes the kernel handle first. Failures raise host errors
// (QuarnRaiseError, which does not return); iteration-limit notices of the
// Newton-Raphson family go to the information channel "hints" at level 2.
// The finders use the working precision as they find it: the host entries,
// not these functions, raise Digits for the computation. Callers keep
// ownership of the adapters, which are only evaluated, never copied or
// deleted.
#ifndef QUARN_STATS_ROOTFIND_ROOTFIND_H
#define QUARN_STATS_ROOTFIND_ROOTFIND_H

#include "platform/float/quarnfloat.h"
#include "platform/host/quarnc.h"
#include "stats/frame/adapters.h"
#include "stats/frame/frame.h"

namespace quarnstats {

// ------------------------------------------------------------ Brent family

// A root of f(x) - target in [lower, upper] by Brent's method; f(lower) and
// f(upper) - target must not have the same strict sign. tolerance serves
// both as the relative and the absolute part of the convergence test.
QuarnFloat BrentMethod(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f, QuarnFloat lower,
                       QuarnFloat upper, QuarnFloat tolerance, long maxIterations);

// f nondecreasing with range [lowerBound, upperBound]; the root lies right of
// leftBarrier, where f is taken to equal lowerBound.
QuarnFloat BrentMethodHybridLeft(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f, QuarnFloat lowerBound,
                                 QuarnFloat upperBound, QuarnFloat leftBarrier, QuarnFloat initialPoint,
                                 QuarnFloat tolerance, long maxIterations);

// f nondecreasing with range [lowerBound, upperBound]; the root lies left of
// rightBarrier, where f is taken to equal upperBound.
QuarnFloat BrentMethodHybridRight(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                                  QuarnFloat lowerBound, QuarnFloat upperBound, QuarnFloat initialPoint,
                                  QuarnFloat rightBarrier, QuarnFloat tolerance, long maxIterations);

// f nondecreasing with range [lowerBound, upperBound], no barrier; two
// distinct starting points.
QuarnFloat BrentMethodHybridUnbound(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                                    QuarnFloat lowerBound, QuarnFloat upperBound, QuarnFloat InitPoint1,
                                    QuarnFloat InitPoint2, QuarnFloat tolerance, long maxIterations);

// --------------------------------------------------- Newton-Raphson family
// df is the derivative of f. Flags are nonzero for yes.

// Newton's iteration from x0; a step that would cross a given barrier lands
// halfway between the current point and the barrier.
QuarnFloat NewtonRaphson(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                         STATS_QuarnCallbackAdapter_MP* df, QuarnFloat x0, int hasLeft, QuarnFloat leftBarrier,
                         int hasRight, QuarnFloat rightBarrier, QuarnFloat tolerance, long maxIterations);

// f nondecreasing with range [lowerBound, upperBound]: Newton steps aimed at
// a bound of the range find a bracket (unless both barriers are given), then
// the safeguarded iteration runs in it.
QuarnFloat NewtonRaphsonHybrid(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                               STATS_QuarnCallbackAdapter_MP* df, QuarnFloat x0, QuarnFloat lowerBound,
                               QuarnFloat upperBound, int hasLeft, QuarnFloat leftBarrier, int hasRight,
                               QuarnFloat rightBarrier, QuarnFloat tolerance, long maxIterations);

// Newton steps safeguarded by bisection in the bracket [leftBarrier,
// rightBarrier], starting at x0.
QuarnFloat NewtonRaphsonSafe(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                             STATS_QuarnCallbackAdapter_MP* df, QuarnFloat x0, QuarnFloat leftBarrier,
                             QuarnFloat rightBarrier, QuarnFloat tolerance, long maxIterations);

// ------------------------------------------- Discrete interpolation family
// f is nondecreasing and evaluated at QuarnFloat(double(k)) for integers k.

// The smallest integer in (lo, hi] at which f reaches target, by bisection;
// lo itself when f(lo) > target.
long DiscreteInterpolation(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f, long lo, long hi,
                           long maxIterations);

// The root lies right of leftBarrier; the bracket is found by rounded secant
// steps toward upperBound.
long DiscreteInterpolationHybridLeft(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                                     QuarnFloat lowerBound, QuarnFloat upperBound, long leftBarrier, long initialPoint,
                                     long maxIterations);

// The root lies left of rightBarrier; the bracket is found by rounded secant
// steps toward lowerBound.
long DiscreteInterpolationHybridRight(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                                      QuarnFloat lowerBound, QuarnFloat upperBound, long initialPoint,
                                      long rightBarrier, long maxIterations);

// No barrier; two distinct starting points.
long DiscreteInterpolationHybridUnbound(QKernel kv, QuarnFloat target, STATS_QuarnCallbackAdapter_MP* f,
                                        QuarnFloat lowerBound, QuarnFloat upperBound, long InitPoint1, long InitPoint2,
                                        long maxIterations);

}  // namespace quarnstats

// ------------------------------------------------------------ host entries
// (kernel handle, argument sequence) -> result; see entries.inc.
STATS_EXPORT HostObject STATS_QuarnBrentMethod_MP(QKernel kv, HostObject args);
STATS_EXPORT HostObject STATS_QuarnBrentMethodHybridLeft_MP(QKernel kv, HostObject args);
STATS_EXPORT HostObject STATS_QuarnBrentMethodHybridRight_MP(QKernel kv, HostObject args);
STATS_EXPORT HostObject STATS_QuarnBrentMethodHybridUnbound_MP(QKernel kv, HostObject args);
STATS_EXPORT HostObject STATS_QuarnNewtonRaphson_MP(QKernel kv, HostObject args);
STATS_EXPORT HostObject STATS_QuarnNewtonRaphsonHybrid_MP(QKernel kv, HostObject args);
STATS_EXPORT HostObject STATS_QuarnNewtonRaphsonSafe_MP(QKernel kv, HostObject args);
STATS_EXPORT HostObject STATS_QuarnDiscreteInterpolation_MP(QKernel kv, HostObject args);
STATS_EXPORT HostObject STATS_QuarnDiscreteInterpolationHybridLeft_MP(QKernel kv, HostObject args);
STATS_EXPORT HostObject STATS_QuarnDiscreteInterpolationHybridRight_MP(QKernel kv, HostObject args);
STATS_EXPORT HostObject STATS_QuarnDiscreteInterpolationHybridUnbound_MP(QKernel kv, HostObject args);

#endif
