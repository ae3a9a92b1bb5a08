# Linear filters, moving windows, kernel bounds and kernel density
# estimates; the small cases are worked out by hand.
x := Vector([1, 2, 3]):
QuarnLinearFilter(x, Vector([0.5, 0.5]), Vector([0]), false, false);
QuarnLinearFilter(x, Vector([0.5, 0.5]), Vector([0]), true, false);
# initial values: x(-1) = 4, x(-2) = 8; the third is beyond the filter
QuarnLinearFilter(x, Vector([1, 1, 1]), Vector([4, 8, 100]), false, false);
QuarnLinearFilter(Array(3..5, [1, undefined, 3]), Vector([0.5, 0.5]), Vector([]), false, true);
QuarnLinearFilter(Vector([1]), Vector([0.5, 0.5, 1]), Vector([0]), false, false);
QuarnLinearFilter(x, Vector([]), Vector([]), false, false);
QuarnLinearFilter(x, Vector([1]), Vector([]), false);
y := Vector([1, 2, 3, 4]):
QuarnMovingMean(y, 2, 0, Vector([]), false, 0, false);
QuarnMovingMean(y, 2, 1, Vector([]), false, 0, false);
# in place, each mean replaces the datum at its position at once
QuarnMovingMean(y, 2, 1, Vector([]), false, 0, true);
QuarnMovingMean(y, 2, 0, Vector([3, 1]), false, 0, false);
QuarnMovingMean(Vector([1, 4, 16]), 2, 0, Vector([]), false, 1, false);
QuarnMovingMean(Vector([1, undefined, 3, 5]), 2, 0, Vector([]), true, 0, false);
y;
QuarnMovingMean(y, 0, 0, Vector([]), false, 0, false);
QuarnMovingMean(y, 5, 0, Vector([]), false, 0, false);
QuarnMovingMean(y, 2, 4, Vector([]), false, 0, false);
QuarnMovingMean(y, 2, 0, Vector([1, 1, 1]), false, 0, false);
QuarnMovingMean(y, 2, 0, Vector([]), false, 0);
QuarnMovingMedian(Vector([5, 1, 4, 2, 3]), 3, 0, Vector([]), false, false);
QuarnMovingMedian(Vector([5, 1, 4, 2, 3]), 2, 1, Vector([]), false, false);
QuarnMovingMedian(Vector([5, 1, 4, 2, 3]), 3, 0, Vector([1, 5, 1]), false, false);
QuarnMovingMedian(Vector([5, 1]), 3, 0, Vector([]), false, false);
QuarnMovingMedian(y, 2, 0, Vector([]), false);
QuarnMoving(y, 2, w -> w[1] * w[2]);
QuarnMoving(Array(0..3, [1, 2, 3, 4], datatype = float[8]), 3, (w, c) -> c + add(w[i], i = 0..2), 100);
QuarnMoving(y, 4, w -> [lowerbound(w, 1), upperbound(w, 1)]);
QuarnMoving([1, 2], 1, w -> w);
QuarnMoving(y, 0, w -> w);
QuarnMoving(y, 2);
QuarnKernelBounds(Vector([3, undefined, -1, 7]));
QuarnKernelBounds(Vector([2.5]));
QuarnKernelBounds(Vector([]));
QuarnKernelBounds();
# kernel density estimates: the nodes sum to N/(b - a) whatever the kernel
Digits := 20:
d := Vector([1.0, 2.0, 2.5, 4.0, 4.2]):
for k from 0 to 4 do
  r := QuarnKernelDensity(d, Vector([]), k, 0.5, 16, true, 0, 6):
  evalb(abs(add(r[i], i = 1..16) - 16/6) < 10^(-18));
end do;
QuarnKernelDensity(d, Vector([]), 5, 0.5, 16, true, 0, 6);
QuarnKernelDensity(d, Vector([]), 0, 0.5, 0, true, 0, 6);
QuarnKernelDensity(d, Vector([]), 0, 0.5, 16, true, 0);
