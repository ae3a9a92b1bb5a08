# Inverse-transform and kernel-density sampling: values in range, the same
# seed giving the same sample, and each argument's message.
F := proc(x) if x < 0 then 0 else 1 - exp(-x) end if end proc:
f := x -> exp(-x):
randomize(9): s := QuarnInverseDistributionSampleId(5, F, f, 0, 50, 1e-12):
randomize(9): evalb(convert(s, list) = convert(QuarnInverseDistributionSampleId(5, F, f, 0, 50, 1e-12), list));
evalb(min(op(convert(s, list))) >= 0 and max(op(convert(s, list))) <= 50);
# the uniform distribution on [0, 1] is inverted exactly: the draws themselves
randomize(9): u := [random(), random(), random()]:
randomize(9): v := QuarnInverseDistributionSampleId(3, x -> x, x -> 1, 0, 1, 1e-12, true):
evalb(max(seq(abs(v[i] - u[i]), i = 1..3)) < 10^(-11));
QuarnInverseDistributionSampleId();
QuarnInverseDistributionSampleId(0, F, f, 0, 1, 1e-9);
QuarnInverseDistributionSampleId(2.5, F, f, 0, 1, 1e-9);
QuarnInverseDistributionSampleId(3);
QuarnInverseDistributionSampleId(3, 5);
QuarnInverseDistributionSampleId(3, F);
QuarnInverseDistributionSampleId(3, F, 1);
QuarnInverseDistributionSampleId(3, F, f);
QuarnInverseDistributionSampleId(3, F, f, a);
QuarnInverseDistributionSampleId(3, F, f, 0);
QuarnInverseDistributionSampleId(3, F, f, 0, "one");
QuarnInverseDistributionSampleId(3, F, f, 0, 1);
QuarnInverseDistributionSampleId(3, F, f, 0, 1, [1]);
QuarnInverseDistributionSampleId(2, x -> x^2 + y, f, 0, 1, 1e-9);
# a sum of two exponential variables, each inverted on [-50, 50]
X := [x, F, proc(x) if x < 0 then 0 else exp(-x) end if end proc]:
randomize(9): w := QuarnInverseDistributionSample(4, (a, b) -> a + b, [X, X], 50, 1e-12):
evalb(min(op(convert(w, list))) >= 0);
QuarnInverseDistributionSample(2);
QuarnInverseDistributionSample(2, 3);
QuarnInverseDistributionSample(2, (a, b) -> a + b);
QuarnInverseDistributionSample(2, (a, b) -> a + b, X);
QuarnInverseDistributionSample(2, (a, b) -> a + b, [X, 7], 50, 1e-12);
QuarnInverseDistributionSample(2, (a, b) -> a + b, [X, X]);
QuarnInverseDistributionSample(2, (a, b) -> a + b, [X, X], z);
QuarnInverseDistributionSample(2, (a, b) -> a + b, [X, X], 50);
QuarnInverseDistributionSample(2, (a, b) -> a + b, [X, X], 50, z);
# kernel-density sampling stays within a triangle's width of the grid
D := Vector([1, 2]):
randomize(9): k := QuarnKernelDensitySample(D, 0, 1, 50):
evalb(min(op(convert(k, list))) >= -1 and max(op(convert(k, list))) <= 2);
randomize(9): evalb(convert(k, list) = convert(QuarnKernelDensitySample(D, 0, 1, 50), list));
QuarnKernelDensitySample(D, 0, 1, 0);
QuarnKernelDensitySample(Vector([1]), 0, 1, 3);
QuarnKernelDensitySample(D, 0, 1, -3);
QuarnKernelDensitySample(D, 0, 1);
