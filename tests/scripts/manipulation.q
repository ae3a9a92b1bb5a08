# Tallies, frequency data, linear binning, selection and removal, trimming,
# winsorizing, shuffling and sharpening; every value below is worked out by
# hand from the definitions.
v := Vector([1, 2, 2]):
QuarnTally(v, Vector([]));
QuarnTally(v, Vector([0.5, 1, 1]));
QuarnTally(Vector([1.5, 2.5, 1.5], datatype = float[8]), Vector([]));
QuarnTallySorted(Vector([1, 1, 3]), Vector([]));
QuarnTallySorted(Vector([1., 1., 3.], datatype = float[8]), Vector([2, 3, 4]));
QuarnTallySorted(Vector([7]), Vector([]));
QuarnTallySorted(Vector([]), Vector([]));
QuarnTally([1, 2], Vector([]));
QuarnTally(v, Vector([1, 2]));
QuarnTally(v);
# 0.5 opens the second cell; the high end belongs to the last cell; a point
# is counted in every range that holds it
QuarnTallyInto(Vector([0.5, 1]), Vector([]), false, [0..1], 2);
QuarnTallyInto(Vector([0.5, 1, 3]), Vector([2, 0.25, 1]), false, [0..1, 0..4], 2);
# boundaries k/8 open cell k; just below them, the cell before
pts := Vector([seq(k/8, k = 0..8), seq(k/8 - 2^(-20), k = 1..8)]):
QuarnTallyInto(pts, Vector([]), false, [0..1], 8);
QuarnTallyInto(Vector([0.5, undefined, -2]), Vector([]), true, [-infinity..0, 0..infinity], 1);
QuarnTallyInto(Vector([0.5]), Vector([]), false, [0..infinity], 2);
QuarnTallyInto(Vector([0.5]), Vector([]), false, 0..1, 2);
QuarnTallyInto(Vector([0.5]), Vector([]), false, [0..1, 3], 2);
QuarnTallyInto(Vector([0.5]), Vector([]), false, [0..1], 0);
QuarnFrequencyData(Vector([0.5, 1, 0.2]), Vector([]), false, 0..1, 2);
QuarnFrequencyData(Vector([0.5, 1, 0.2]), Vector([1, 0.5, 0.25]), false, 0..1, 2);
QuarnFrequencyData(Vector([0.5]), Vector([]), false, [0..1], 2);
# linear binning: one point at a puts all of p on node 0; a point halfway
# between two nodes splits evenly; p = 0 scales to a sum of n/(b - a)
QuarnDiscretize(Vector([0]), 3, 0, 1, 2, true, Vector([]));
QuarnDiscretize(Vector([0.25]), 3, 0, 1, 0, true, Vector([]));
QuarnDiscretize(Vector([0.25, 1, 5]), 3, 0, 1, 1, true, Vector([1, 3, 1]));
QuarnDiscretize(Vector([0.25]), 3, 1, 1, 0, true, Vector([]));
QuarnDiscretize(Vector([0.25]), 0, 0, 1, 0, true, Vector([]));
QuarnDiscretize(Vector([0.25]), 3, 0, 1, 0, true);
# selection by a procedure: the index range starts at the data's
w := Array(0..3, [1, 2, 3, 4]):
even := x -> evalb(x = 2 or x = 4):
QuarnSelectRemove(w, even, 1);
QuarnSelectRemove(w, even, 2);
QuarnSelectRemove(w, even, 3);
QuarnSelectRemove(w, (x, t) -> evalb(x > t), 1, 2);
QuarnSelectRemove(Vector([1.5, 2.5], datatype = float[8]), x -> evalb(x > 2), 1);
QuarnSelectRemove(w, even);
QuarnSelectRemove(w, 5, 1);
QuarnSelectRemove([1, 2], even, 1);
u := Vector([1.0, undefined, 2.0]):
QuarnSelectRemoveNonNumeric(u, true, true, true);
QuarnSelectRemoveNonNumeric(u, true, true, false);
QuarnSelectRemoveNonNumeric(u, true, false, true);
QuarnSelectRemoveNonNumeric(Vector([infinity, 1, -infinity, x]), false, true, true);
QuarnSelectRemoveNonNumeric(Vector([1, 2], datatype = integer[4]), true, true, true);
QuarnSelectRemoveNonNumeric(u, true, true);
QuarnSelectRemoveInRange(Vector([0, 1, 2, 3]), 1, 3, 1);
QuarnSelectRemoveInRange(Array(5..8, [0, 1, 2, 3], datatype = float[8]), 1, 3, 3);
QuarnSelectRemoveInRange(Vector([0, y]), 1, 3, 1);
QuarnSelectRemoveInRange(Vector([0]), 1, 3);
n3 := Vector(3): n3[1] := 1: n3[2] := NULL: n3[3] := 2:
n3;
QuarnRemoveNULL(n3);
QuarnRemoveNULL(Vector([1.5, 2], datatype = float[8]));
QuarnRemoveNULL(1..2);
QuarnRemoveNULL();
# trimming and winsorizing between percentiles; the parts between the cuts
# are in the order the selection leaves, so they are shown sorted
t := Vector([5, 3, 9, 1, 10, 2, 8, 4, 7, 6], datatype = integer[4]):
QuarnSort(QuarnTrim(t, 10, 90), true, false);
QuarnSort(QuarnTrim(t, 0, 100), true, false);
QuarnTrim(t, 50, 50);
QuarnSort(QuarnWinsorize(t, 10, 90), true, false);
QuarnSort(QuarnWinsorize(t, 10, 80), true, false);
QuarnWinsorize(Vector([3.5, 1.5], datatype = float[8]), 0, 100);
QuarnTrim(t, 150, 50);
QuarnTrim(t, 10, -1);
QuarnTrim(t, 90, 10);
QuarnWinsorize([1, 2], 10, 90);
QuarnTrim(t, 10);
# a shuffle is a permutation, and the same seed gives the same one
randomize(42): s1 := QuarnShuffle(t):
randomize(42): s2 := QuarnShuffle(t):
evalb(convert(s1, list) = convert(s2, list));
QuarnSort(s1, true, false);
QuarnShuffle(Vector([3]));
QuarnShuffle(t, 1);
# neighbours within h/2 in both coordinates, the first sorted
QuarnSharpen(Vector([0, 1, 2, 10]), Vector([0, 0, 5, 0]), 2.2, false);
QuarnSharpen(Vector([0, 1, 2]), Vector([0, undefined, 0]), 4, true);
QuarnSharpen(Vector([0, 1]), Vector([]), 1, false);
