# A tour of quarn, the shell of the quarnstats library.
# Run it with `make demo` (build/bin/quarn --echo examples/tour.q), which
# shows each statement before its result.
# A statement ending in ';' shows its result, one ending in ':' is quiet.

# == Numbers: exact integers and rationals, floats at the working precision
2^100;
1/3 + 1/6;
Digits;
evalf(1/3);
Digits := 30;
evalf(Pi);
evalf(exp(1));
x := 1/7.;
Digits := 10:
x;                      # a float keeps the digits it was made at
x + 0;                  # arithmetic works at the new Digits
evalf(Pi, 50);          # evalf(e, n): n digits for this evaluation only
sin(1);                 # calls of known functions stay symbolic ...
evalf(sin(1));          # ... until evalf evaluates them
sqrt(2.);               # or a float argument does

# == Lists, ranges, equations, sequences and tables
L := [4, 5, 6];
L[2], L[-1], nops(L);
1..10;
a = b;
seq(i^2, i = 1..6);
add(1/i, i = 1..10);
t := table([Normal = "continuous", Poisson = "discrete"]);
t[Poisson];
t[Gamma] := "continuous":
t;

# == rtables of several data types
v := Vector([1, 2/3, sqrt(2), Pi]);
Array(0..2, [1.5, 2.5, 3.5], datatype = float[8]);
Array(1..3, [-7, 0, 7], datatype = integer[4]);
Array(1..2, [0.1, 1/3], datatype = float[4]);
Array(1..2, [2 + 3*I, 0.5], datatype = complex[8]);
M := Matrix([[1, 2, 3], [4, 5, 6]], datatype = integer[8]);
M[2, 3];
S := Array(1..8, storage = sparse, datatype = float[8]):
S[5] := 2.5:
S;
Vector(30, i -> i^2);   # long rtables print their ends

# == Procedures
sq := x -> x^2;
sq(12);
phi := x -> exp(-x^2/2) / sqrt(2*Pi):
evalf(phi(1));
mean := proc(data) local s, v;
  s := 0;
  for v in data do s := s + v end do;
  s / nops(data)
end proc;
mean([2, 3, 7]);
mean([2.5, 3, 7]);
fib := proc(n) if n < 2 then n else fib(n - 1) + fib(n - 2) end if end proc:
seq(fib(i), i = 1..15);

# == Calling the library: QuarnEvaluateToFloat turns an rtable into floats
QuarnEvaluateToFloat(v);
Digits := 25:
QuarnEvaluateToFloat(v);
Digits := 10:
QuarnEvaluateToFloat(Array(1..3, [1, 2, 3], datatype = integer[2]));

# == Continuous distributions at 50 digits
Digits := 50:
QuarnNormalProbability(1.96, 0, 1);         # P(Z <= 1.96)
QuarnNormalDeviate(0.975, 0, 1);            # the quantile: 1.95996...
QuarnNormalProbability(QuarnNormalDeviate(0.975, 0, 1), 0, 1);
QuarnStudentTDeviate(0.975, 10);            # t quantile for a 95% interval
QuarnChiSquareProbability(3, 3) = QuarnGammaProbability(3, 2, 3/2);   # chi-square is gamma(2, nu/2)
QuarnCauchyDeviate(0.75, 0, 1);             # tan(Pi/4) = 1
QuarnWeibullProbability(2, 1.5, 2);
randomize(2024):
QuarnNormalRandomVariate(0, 1);             # a ziggurat variate with all 50 digits
QuarnGammaRandomSample(3, 2, 3/2);          # three chi-square(3) variates
randomize(2024):
QuarnNormalRandomVariate(0, 1);             # the same seed, the same variate
Digits := 10:

# == Far in the upper tail: ask for it by name
Digits := 30:
1 - QuarnChiSquareProbability(200, 3);      # the complement of a number near 1: no digit left
QuarnChiSquareUpperProbability(200, 3);     # P(X > 200) itself, to 30 digits
QuarnChiSquareUpperDeviate(1e-30, 3);       # the x with P(X > x) = 1e-30 (1 - 1e-30 is 1 at 30 digits)
QuarnNormalUpperDeviate(1e-30, 0, 1);
QuarnChiSquareDensity(2, 3);                # the density, where the probability rises fastest
Digits := 10:

# == Descriptive statistics at 50 digits
Digits := 50:
X := Vector([2.5, 7, 1/3, 9.25, 4, 4, 12, 0.5, 6, 3]):
none := Vector([]):
QuarnMean(X, none, false, 0), QuarnMean(X, none, false, 1);   # arithmetic and geometric means
QuarnMoment(X, [2, 3], QuarnMean(X, none, false, 0), none, false);   # central moments
QuarnMedian(X, none, false, false);
QuarnQuantile(X, [0.1, 0.5, 0.9], none, false, 7, false);   # method 7 interpolates between order statistics
QuarnOrderStatistic(X, [1, 2, -1], 0, false);               # smallest, second smallest, largest
QuarnTrimmedMean(X, 10, 90, none, false, 0);
QuarnStatisticSummary(X, Vector([1, 1, 2, 1, 1, 1, 1, 1, 3, 1]), false);   # weighted: mean, sd, skewness, kurtosis, min, max, total weight
QuarnFivePointSummary(X, false);
# Ten million and a fifth, a tenth, three tenths: the standard deviation is
# exactly 0.1 (NIST's NumAcc4 pattern), which a naive double-precision
# variance loses; the sums here are rounded once. The data themselves are
# binary floats of 50 digits, so the result is 0.1 to about 48 digits.
Y := Vector([10000000.2, seq(op([10000000.1, 10000000.3]), i = 1..500)]):
s := sqrt(QuarnMoment(Y, 2, QuarnMean(Y, none, false, 0), none, false) * 1001/1000);
evalf(s, 40);
QuarnSort(Vector([3, 1, undefined, 2, 1]), true, true);      # sorted without repeats, missing data last
QuarnRankSort(Vector([30, 10, 20], datatype = float[8]), 1, true);   # ranks
QuarnRankSort(Vector([5, 3, 5, 1]), 0, true);                # the distinct values and their dense ranks
Digits := 10:

# == Discrete and non-central distributions
QuarnBinomialProbability(12, 50, 0.3);      # P(X <= 12) for 50 trials
QuarnBinomialDeviate(0.5, 50, 0.3);         # the median: an integer
QuarnPoissonDeviate(0.99, 1000);            # the smallest k with P(X <= k) >= 0.99
Digits := 40:
QuarnPoissonProbability(10^8, 10^8);        # a mean of 10^8, to all 40 digits
Digits := 10:
QuarnHypergeometricProbability(2, 50, 10, 5);   # 2 or fewer of 5 marked in a sample of 10 from 50
QuarnNonCentralChiSquareProbability(5.3, 7, 2);
QuarnNonCentralChiSquareDeviate(0.95, 7, 2);
QuarnNonCentralStudentTProbability(-1.528, 20, 2);
randomize(2024):
QuarnPoissonRandomSample(5, 3.5);           # integer-valued variates
QuarnEmpiricalDeviate(0.5, Vector([10, 20, 30, 40]), Vector([]), false);   # the sample's median

# == Sampling: combinations of random variables, urns and the bootstrap
randomize(2024):
QuarnRandomSample(Vector(4), (x, y) -> x/y, [[0, [24, [0, 1]]], [0, [5, [3]]]], false);   # normal / chi-square
QuarnAliasUrnSample(10, Vector([1, 3, 6]));                 # cells 0, 1, 2 with weights 1:3:6
data := Vector([2.1, 3.4, 1.9, 5.6, 4.2, 3.3, 2.8, 4.9]):
QuarnBootstrapSample(data, 2, 5, Vector([]));               # two resamples of five
means := QuarnBootstrapStatistic(data, Vector([]), v -> add(x, x = v)/8, 8, 1000):   # 1000 resampled means
QuarnQuantile(means, [0.025, 0.975], Vector([]), false, 7, true);   # a 95% bootstrap interval for the mean
Digits := 10:

# == Root finding on your own procedures
Digits := 25:
QuarnBrentMethod(2, x -> x^2, 0, 2, 1, 100);        # sqrt(2) to 25 digits
QuarnNewtonRaphsonSafe(0, x -> cos(x) - x, x -> -sin(x) - 1, 0.5, 0, 1, 1, 100);   # cos(x) = x
Digits := 10:

# == Shapiro-Wilk and a regression session at 30 digits
Digits := 30:
# twelve observations in four groups; X holds the group indicators by columns
y := QuarnEvaluateToFloat(Vector([33.63, 39.62, 38.18, 41.46, 38.02, 35.83, 35.99, 36.58, 42.92, 37.80, 40.43, 37.89])):
X := QuarnEvaluateToFloat(Vector([1,0,0,0,0,0,0,1,0,1,0,0, 0,0,1,0,0,1,0,0,0,0,0,1,
                                  0,0,0,1,0,0,0,0,1,0,1,0, 0,1,0,0,1,0,1,0,0,0,0,0])):
n := 12: m := 4: ip := 5:                  # an intercept and four groups: rank 4 of 5
isx := Vector([1, 1, 1, 1], datatype = integer[4]):
b := Vector(ip, datatype = sfloat): se := Vector(ip, datatype = sfloat):
cov := Vector(ip*(ip+1)/2, datatype = sfloat): res := Vector(n, datatype = sfloat):
h := Vector(n, datatype = sfloat): q := Vector(n*(ip+1), datatype = sfloat):
p := Vector(2*ip + ip^2, datatype = sfloat): wk := Vector(5*(ip-1) + ip^2, datatype = sfloat):
STATS_g02daf("M", "U", n, X, n, m, isx, ip, y, Vector(1), 'rss', 'idf', b, se, cov, res, h, q, n,
             'svd', 'irank', p, 1e-6, wk);          # 6: not of full rank, results returned
rss, idf, irank, svd;
b;                                         # the minimum-norm solution
se;
STATS_g02fcc(n, ip, res, 'd', 'pdl', 'pdu', Vector(n, datatype = sfloat));   # Durbin-Watson
d, pdl, pdu;
sres := Vector(4*n, datatype = sfloat):
STATS_g02fac(n, irank, n, res, h, rss/idf, sres):  # studentized residuals, Cook's D, Atkinson's T
sres[1], sres[2], sres[3], sres[4];
# Shapiro-Wilk on the residuals: [W, significance]. A dense sfloat vector is
# tested in place and left sorted, so the test gets a copy.
QuarnShapiroWilk(QuarnEvaluateToFloat(res), Vector(0), false);
Digits := 10:

# == Smoothing: a kernel density estimate and a moving median
Digits := 20:
data := Vector([2.1, 2.4, 2.5, 3.0, 3.2, 3.3, 3.9, 5.6, 5.8, 6.1]):
QuarnKernelBounds(data);                    # where the data lie
# Gaussian kernel, bandwidth 0.5, 32 nodes on [0, 8]: the density at
# 0, 8/31, 16/31, ..., 8 (binned, transformed, smoothed, transformed back)
fhat := QuarnKernelDensity(data, Vector([]), 0, 0.5, 32, true, 0, 8);
evalf(add(fhat[i], i = 1..32) * 8/31, 5);   # 32/31, about 1: the nodes sum to N/(b - a)
# the median of every window of 3, the first value kept in front
QuarnMovingMedian(Vector([5, 1, 4, 2, 30, 3, 8]), 3, 1, Vector([]), false, false);
Digits := 10:


# == Data files, builtins and help
M := Matrix([[1, 2], [3, 4]]):
M . Transpose(M), 2*M - M;
printf("%.5f %e\n", QuarnNormalProbability(1, 0, 1), QuarnNormalDeviate(1e-10, 0, 1));
floor(7/2), round(-2.5), iquo(17, 5), irem(17, 5), max([3, 1, 4]), sort([3, 1, 2]);
help(QuarnGammaDeviate);
# ImportMatrix("data.csv", header = true) reads a CSV file, ExportMatrix writes one;
# plot, histogram and densityplot draw pictures through gnuplot (doc/plots.q).

# == Errors name the entry they came from, and a mistyped name is no entry
# (caught here, so that the tour runs to its end; at the prompt they print alone)
try
  QuarnNormDeviate(0.975, 0, 1)
catch:
  printf("Error, %s\n", lasterror)
end try;
try
  QuarnEvaluateToFloat(v, 2)
catch:
  printf("Error, %s\n", lasterror)
end try;
