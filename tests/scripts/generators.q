# The sampling entries: outputs from a fixed seed, and every message.
err := proc(f) try f() catch: lasterror end try end proc:
f := x -> exp(-x^2/2):
df := x -> -x*exp(-x^2/2):
normal := [0, [24, [0, 1]]]:
envelope := [1, [f, df, [-3, -1, 0, 1, 3], 10, true]]:
# RandomSample: the first generator alone, or a procedure of one variate of each
randomize(1):
QuarnRandomSample(Vector(4), NULL, [normal, [0, [31, [2, 4]]]], false);
randomize(1):
QuarnRandomSample(Vector(4), (x, y) -> x + y, [normal, [0, [31, [2, 4]]]], true);
randomize(1):
QuarnRandomSample(Vector(3), NULL, [envelope], false);
QuarnRandomSample(Vector(2), 1, [], false);
err(() -> QuarnRandomSample(Vector(2), NULL, normal));
err(() -> QuarnRandomSample(Vector(2), NULL, 5, false));
err(() -> QuarnRandomSample(Array(1..2, storage = sparse), NULL, [normal], false));
err(() -> QuarnRandomSample(Vector(2, datatype = float[8]), NULL, [normal], false));
err(() -> QuarnRandomSample(Vector(2), NULL, [[0, [7, [1]]]], false));
err(() -> QuarnRandomSample(Vector(2), NULL, [[0, [40, [1]]]], false));
err(() -> QuarnRandomSample(Vector(2), 3, [normal], false));
# the default generator's description
err(() -> QuarnRandomSample(Vector(2), NULL, [[0, 24]], false));
err(() -> QuarnRandomSample(Vector(2), NULL, [[0, [24]]], false));
err(() -> QuarnRandomSample(Vector(2), NULL, [[0, [1000, [1]]]], false));
err(() -> QuarnRandomSample(Vector(2), NULL, [[0, [24, 5]]], false));
err(() -> QuarnRandomSample(Vector(2), NULL, [[0, [24, [1, 2, 3, 4, 5, 6]]]], false));
err(() -> QuarnRandomSample(Vector(2), NULL, [[0, [24, [0, s]]]], false));
# the envelope generator's description
err(() -> QuarnRandomSample(Vector(2), NULL, [[1, [f, df, [0, 1], 10]]], false));
err(() -> QuarnRandomSample(Vector(2), NULL, [[1, [f, df, [0, 1], 2.5, true]]], false));
err(() -> QuarnRandomSample(Vector(2), NULL, [[1, [f, df, 7, 10, true]]], false));
err(() -> QuarnRandomSample(Vector(2), NULL, [[1, [f, df, Vector([0, 1], datatype = integer[4]), 10, true]]], false));
err(() -> QuarnRandomSample(Vector(2), NULL, [[1, [f, df, [0], 10, true]]], false));
# base points from a float[8] rtable; the inflection point 1 inside [0, 2]
# puts the tangents' meeting point outside it, and the draws stay in [-2, 2]
randomize(4):
QuarnRandomSample(Vector(3), NULL, [[1, [f, df, Vector([-2., 0., 2.], datatype = float[8]), 2, true]]], false);
err(() -> QuarnRandomSample(Vector(2), NULL, [[1, [x -> 0, x -> 0, [0, 1], 2, true]]], false));
# AliasUrnSample: 0-based cells drawn by their weights
randomize(2):
QuarnAliasUrnSample(8, Vector([1, 3]));
QuarnAliasUrnSample(3, Vector([5]));
err(() -> QuarnAliasUrnSample(2.5, Vector([1])));
err(() -> QuarnAliasUrnSample(-1, Vector([1])));
err(() -> QuarnAliasUrnSample(3, [1, 2]));
err(() -> QuarnAliasUrnSample(3, Vector([])));
err(() -> QuarnAliasUrnSample(3));
# BootstrapSample: r x s elements of the data, uniformly or by weight
randomize(3):
QuarnBootstrapSample(Vector([10, 20, 30], datatype = integer[4]), 2, 4, Vector([]));
QuarnBootstrapSample(Vector([10, 20, 30]), 2, 3, Vector([0, 0, 1]));
err(() -> QuarnBootstrapSample([1, 2], 2, 2, Vector([])));
err(() -> QuarnBootstrapSample(Vector([1, 2]), 2, 2, Matrix([[1]])));
err(() -> QuarnBootstrapSample(Array(1..2, storage = sparse), 2, 2, Vector([])));
err(() -> QuarnBootstrapSample(Vector([1, 2]), 2, 2, Vector([1, 2, 3])));
err(() -> QuarnBootstrapSample(Vector([1, 2]), -2, 2, Vector([])));
err(() -> QuarnBootstrapSample(Vector([]), 1, 1, Vector([])));
err(() -> QuarnBootstrapSample(Vector([1]), 1, 1));
# BootstrapStatistic and BootstrapStatisticRV
randomize(5):
QuarnBootstrapStatistic(Vector([1, 2, 3, 4]), Vector([]), v -> v[1] + v[2], 2, 3);
QuarnBootstrapStatisticRV(n -> Vector(n, i -> i^2), v -> v[4], 4, 2);
QuarnBootstrapStatisticRV(n -> [n], l -> l[1], 2.5, 2);
err(() -> QuarnBootstrapStatistic(Vector([1, 2]), Vector([]), v -> s, 2, 3));
err(() -> QuarnBootstrapStatistic(Vector([1, 2]), Vector([]), v -> 1, 2, -3));
err(() -> QuarnBootstrapStatistic(Vector([1, 2]), Vector([1]), v -> 1, 2, 3));
err(() -> QuarnBootstrapStatistic(Vector([1, 2]), Vector([]), v -> 1, 2));
err(() -> QuarnBootstrapStatisticRV(n -> n, v -> 1, 2, 1.5));
err(() -> QuarnBootstrapStatisticRV(n -> n, v -> 1, 2));
