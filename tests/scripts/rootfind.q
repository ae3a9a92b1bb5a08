# Root finders with procedures of the language. The real-valued finders
# compute at three more digits than Digits and give Digits back; Brent's
# method and the Newton-Raphson forms round their result to Digits, the
# hybrid Brent forms return it at the higher precision.
Digits := 25:
QuarnBrentMethod(2, x -> x^2, 0, 2, 1, 100);
evalf(sqrt(2));
Digits;
Digits := 10:
QuarnBrentMethod(2, x -> x^2, 0, 2, 1, 100);
# a symbolic value of the procedure is finished by evalf
QuarnBrentMethod(0, x -> x - sqrt(3), 1, 2, 1, 100);
evalf(sqrt(3));
# hybrid forms on the logistic distribution function: the root is ln(999)
F := x -> 1/(1 + exp(-x)):
r := QuarnBrentMethodHybridLeft(0.999, F, 0, 1, -1, 1, 1, 100):
evalf(r, 8);
r := QuarnBrentMethodHybridRight(0.999, F, 0, 1, 0, 40, 1, 100):
evalf(r, 8);
r := QuarnBrentMethodHybridUnbound(0.999, F, 0, 1, 1, -1, 1, 100):
evalf(r, 8);
evalf(ln(999), 8);
Digits;
# Newton-Raphson: f, its derivative, a start, optional barriers
QuarnNewtonRaphson(2, x -> x^2, x -> 2*x, 1, false, 0, false, 0, 1.0, 100);
QuarnNewtonRaphson(4, x -> x^2, x -> 2*x, 0, true, -6, true, 6, 1.0, 100);
QuarnNewtonRaphsonSafe(2, x -> x^2, x -> 2*x, 1.5, 0, 2, 1.0, 100);
P := x -> F(x)*(1 - F(x)):
QuarnNewtonRaphsonHybrid(0.9990234375, F, P, 0, 0, 1, false, 0, false, 0, 1.0, 200);
evalf(ln(1023));
# notices on the hints channel
infolevel[hints] := 2:
QuarnNewtonRaphson(2, x -> x^2, x -> 2*x, 100, false, 0, false, 0, 1.0, 1);
QuarnNewtonRaphson(5, x -> x, x -> 1, 0, false, 0, true, 3, 1.0, 100);
QuarnNewtonRaphsonSafe(2, x -> x^2, x -> 2*x, 1.25, 0, 2, 1.0, 0);
infolevel[hints] := 0:
QuarnNewtonRaphson(2, x -> x^2, x -> 2*x, 100, false, 0, false, 0, 1.0, 1);
# the smallest integer at which a nondecreasing function reaches a target
QuarnDiscreteInterpolation(50, k -> k^2, 0, 100, 100);
QuarnDiscreteInterpolation(49, k -> k^2, 0, 100, 100);
QuarnDiscreteInterpolationHybridLeft(50, k -> k^2, 0, 100, 0, 1, 100);
QuarnDiscreteInterpolationHybridRight(50, k -> k^2, 0, 100, 30, 40, 100);
QuarnDiscreteInterpolationHybridUnbound(50, k -> k^2, 0, 100, 5, 3, 100);
Digits;
# failures
QuarnBrentMethod(-2, x -> x^2, 0, 2, 1, 100);
QuarnBrentMethod(2, x -> x^2, 0, 2, 1, 3);
QuarnBrentMethodHybridLeft(0.5, F, 0, 1, 1, 1, 1, 100);
QuarnBrentMethodHybridRight(1.5, F, 0, 1, 0, 1, 1, 100);
QuarnBrentMethodHybridLeft(0.9, x -> exp(-x), 0, 1, 0, 1, 1, 100);
QuarnBrentMethodHybridUnbound(0.5, F, 0, 1, 2, 2, 1, 100);
QuarnNewtonRaphson(4, x -> x^2, x -> 2*x, 0, false, 0, false, 0, 1.0, 100);
QuarnNewtonRaphson(2, x -> x^2, x -> 2*x, 3, true, 0, true, 2, 1.0, 100);
QuarnNewtonRaphsonSafe(9, x -> x^2, x -> 2*x, 1, 0, 2, 1.0, 100);
QuarnNewtonRaphsonHybrid(1, F, P, 0, 0, 1, false, 0, false, 0, 1.0, 100);
QuarnDiscreteInterpolation(500, k -> k^2, 0, 10, 100);
QuarnDiscreteInterpolation(20, k -> k^2, 4, 5, 0);
QuarnDiscreteInterpolationHybridLeft(0.9, k -> 0.3, 0, 1, 0, 1, 100);
QuarnDiscreteInterpolationHybridUnbound(0.5, k -> k, 0, 1, 3, 3, 100);
# an error of the procedure reaches the caller as its own
bad := proc(x) error "no value at %1", x end proc:
QuarnBrentMethod(2, bad, 0, 2, 1, 100);
Digits;
# arguments
QuarnBrentMethod(2, x -> x^2, 0, 2, 1);
QuarnBrentMethod(2, 3, 0, 2, 1, 100);
QuarnNewtonRaphson(2, x -> x^2, 3, 1, false, 0, false, 0, 1.0, 100);
QuarnNewtonRaphson(2, x -> x^2, x -> 2*x, 1, true, nowhere, false, 0, 1.0, 100);
QuarnDiscreteInterpolationHybridRight(1, 2, 3);
QuarnDiscreteInterpolationHybridRight(1, 2, 3, 4, 5, 6, 7);
