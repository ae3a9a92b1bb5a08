# The Shapiro-Wilk test and the regression entries from the shell: results,
# names assigned through quoted output arguments, and the entries' messages.
x := Vector([4.61, 0.11, 7.87, 10.14, 7.95, 3.14, 0.46, 4.43, 0.21, 4.75], datatype = sfloat):
QuarnShapiroWilk(x, Vector(0), false);   # [W, p]
x;                                        # read in place, left sorted
QuarnShapiroWilk(Vector([1, 2, 3, 4, 5.5]), Vector(5, fill = 1), true);
QuarnShapiroWilk(Vector([1, 2]), Vector(0), false);
QuarnShapiroWilk(Vector([3, 3, 3, 3]), Vector(0), false);
QuarnShapiroWilk(Vector([1, 2, 3]), Vector([1, 1]), false);
QuarnShapiroWilk(x, Vector(0));

# A straight line through five points: y = 1 + 2 t + noise.
t := QuarnEvaluateToFloat(Vector([1, 2, 3, 4, 5])):
y := QuarnEvaluateToFloat(Vector([3.5, 4.5, 7.5, 8.5, 11.5])):
b := Vector(2, datatype = sfloat): se := Vector(2, datatype = sfloat): cov := Vector(3, datatype = sfloat):
res := Vector(5, datatype = sfloat): h := Vector(5, datatype = sfloat): q := Vector(15, datatype = sfloat):
p := Vector(8, datatype = sfloat): wk := Vector(9, datatype = sfloat):
isx := Vector([1], datatype = integer[4]):
STATS_g02daf("M", "U", 5, t, 5, 1, isx, 2, y, Vector(1), 'rss', 'idf', b, se, cov, res, h, q, 5, 'svd', 'irank', p, 1e-6, wk);
b, se;
rss, idf, irank, svd;
res;
h;
sres := Vector(20, datatype = sfloat):
STATS_g02fac(5, 2, 5, res, h, rss/idf, sres);
sres;
STATS_g02fcc(5, 2, res, 'd', 'pdl', 'pdu', Vector(5, datatype = sfloat));
d, pdl, pdu;
# failures: the indicator comes back (3: ip does not match isx and the intercept);
# g02daf assigns its names, g02fcc does not
STATS_g02daf("M", "U", 5, t, 5, 1, isx, 1, y, Vector(1), 'rss2', 'idf2', b, se, cov, res, h, q, 5, 'svd2', 'irank2', p, 1e-6, wk);
rss2, idf2, svd2, irank2;
STATS_g02fcc(5, 5, res, 'd2', 'pdl2', 'pdu2', Vector(5, datatype = sfloat));
d2, pdl2, pdu2;
STATS_g02fac(5, 2, 5, res, h, 0, sres);

# messages
STATS_g02daf(1, 2, 3);
STATS_g02daf("M", "U", 5, t, 5, 1, isx, 2, y, Vector(1), 'rss', 'idf', [1], se, cov, res, h, q, 5, 'svd', 'irank', 5, 1e-6, wk, 0);
STATS_g02daf("M", "U", 5, t, 5, 1, isx, 2, y, Vector(1), 'rss', 'idf', [1], se, cov, res, h, q, 5, 'svd', 'irank', 5, 1e-6, wk);
STATS_g02daf("M", "U", 5, [1], 5, 1, isx, 2, y, Vector(1), 'rss', 'idf', b, se, cov, res, h, q, 5, 'svd', 'irank', p, 1e-6, wk);
STATS_g02fac(5, 2, 5, res, [1], 0.5, sres);
STATS_g02fac(5, 2, 5, res, h, 0.5);
STATS_g02fcc(5, 2, [1], 'd', 'pdl', 'pdu', 5);
STATS_g02fcc(5, 2, res, 'd', 'pdl', 'pdu', [5]);
# arrays the routines would misread are refused
STATS_g02daf("M", "U", 5, t, 5, 1, Vector([1]), 2, y, Vector(1), 'rss', 'idf', b, se, cov, res, h, q, 5, 'svd', 'irank', p, 1e-6, wk);
STATS_g02daf("M", "U", 5, Vector([1, 2, 3, 4, 5]), 5, 1, isx, 2, y, Vector(1), 'rss', 'idf', b, se, cov, res, h, q, 5, 'svd', 'irank', p, 1e-6, wk);
STATS_g02fcc(5, 2, res, 'd', 'pdl', 'pdu', Vector(3, datatype = sfloat));
