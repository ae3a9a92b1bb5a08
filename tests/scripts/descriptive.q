# Descriptive statistics from the shell: every entry's count message, data
# of several types and storages, the in-place flag, output rtables, and the
# refusals of bad arguments.
none := Vector([]):
for e in [QuarnMean, QuarnAbsoluteDeviation, QuarnExpectedValue, QuarnMoment, QuarnCovariance,
          QuarnCount, QuarnCountMissing, QuarnCumulative, QuarnMedian, QuarnMedianDeviation,
          QuarnQuantile, QuarnOrderStatistic, QuarnTrimmedMean, QuarnWinsorizedMean,
          QuarnStatisticSummary, QuarnFivePointSummary, QuarnSort, QuarnRankSort, QuarnOrder] do
  try e(1) catch: printf("%s\n", lasterror) end try
end do;
# the same numbers in every data type and storage
for V in [Vector([4, 1, 3, 2, 10]), seq(Vector([4, 1, 3, 2, 10], datatype = d), d = [float[8], float[4], integer[1],
          integer[2], integer[4], integer[8], complex[8]]), Vector([4., 1., 3., 2., 10.], datatype = sfloat)] do
  printf("%a: %a %a %a\n", V, QuarnMean(V, none, false, 0), QuarnMedian(V, none, false, false),
         QuarnQuantile(V, [0.25, 0.75], none, false, 6, false))
end do;
S := Vector(5, storage = sparse): S[2] := 7: S[5] := -1:
QuarnMean(S, none, false, 0), QuarnOrderStatistic(S, [1, -1], 0, false);
QuarnRankSort(S, 1, true);
M := Matrix([[1, 2], [3, 4], [5, 6]], order = C_order):
QuarnOrder(M, M, false, false, Vector([2, 3, 1]));
# in place: a dense sfloat vector is reordered only when asked
A := Vector([5., 3., 9., 1., 7.], datatype = sfloat):
QuarnMedian(A, none, false, false), A;
QuarnMedian(A, none, false, true), A;
# output rtables of the cumulative sums
out := Vector(4, datatype = anything):
QuarnCumulative(Vector([1, 2, 3]), Vector([2, 2, 2]), out, 0);
out;
QuarnCumulative(Array(-1..1, [1, 2, 3]), none, Vector([]), 1);
try QuarnCumulative(Vector([1, 2, 3]), none, Vector(2), 0) catch: printf("%s\n", lasterror) end try;
try QuarnCumulative(Vector([1, 2, 3]), none, [1], 0) catch: printf("%s\n", lasterror) end try;
try QuarnCumulative(Vector([1, 2]), none, Vector(2, storage = sparse), 0) catch: printf("%s\n", lasterror) end try;
try QuarnCumulative(Vector([1, 2]), none, Vector(2, readonly = true), 0) catch: printf("%s\n", lasterror) end try;
# refusals
try QuarnMean([1, 2], none, false, 0) catch: printf("%s\n", lasterror) end try;
try QuarnMean(Vector([1, x]), none, false, 0) catch: printf("%s\n", lasterror) end try;
try QuarnMoment(Vector([1, 2]), 1.5, 0, none, false) catch: printf("%s\n", lasterror) end try;
try QuarnOrderStatistic(Vector([1, 2]), x, 0, false) catch: printf("%s\n", lasterror) end try;
try QuarnOrderStatistic(Vector([1, 2]), [1, 0], 0, false) catch: printf("%s\n", lasterror) end try;
try QuarnWinsorizedMean(Vector([1, 2]), 10, 150, none, false, 0) catch: printf("%s\n", lasterror) end try;
try QuarnExpectedValue(x -> y, Vector([1, 2]), none, false) catch: printf("%s\n", lasterror) end try;
try QuarnCovariance(Vector([1, 2]), Vector([1, 2]), Vector([1]), 0) catch: printf("%s\n", lasterror) end try;
try QuarnSort(Vector([1, 2], storage = sparse), true, false) catch: printf("%s\n", lasterror) end try;
try QuarnOrder(Vector([1, 2]), [1, 2], true, false, Vector([1, 2])) catch: printf("%s\n", lasterror) end try;
try QuarnOrder(Array(1..2, 1..2, 1..2), Vector([1, 2]), true, false, Vector([1, 2])) catch: printf("%s\n", lasterror) end try;
try QuarnFivePointSummary(Vector([1, 2, 3, undefined, 5]), true) catch: printf("%s\n", lasterror) end try;
QuarnFivePointSummary(Vector([1, 2, 3, undefined, 5]), false);
