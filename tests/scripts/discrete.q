# Integer-valued and non-central distributions through their entries:
# integer deviates, the iteration limit, the empirical distribution, and the
# entries' own messages.
err := proc(f) try f() catch: lasterror end try end proc:
QuarnBernoulliProbability(1, 0.3), QuarnBernoulliProbability(2, 0.3), QuarnBernoulliDeviate(0.9, 0.3);
QuarnBinomialProbability(12, 50, 0.3);
QuarnBinomialDeviate(0.5, 10.7, 0.3);           # the trial count is truncated to 10
QuarnDiscreteUniformProbability(3.9, 1, 6), QuarnDiscreteUniformDeviate(0, 1, 6), QuarnDiscreteUniformDeviate(1, 1, 6);
QuarnGeometricProbability(0, 0.5), QuarnGeometricDeviate(0.8, 0.5);
QuarnHypergeometricDeviate(1, 10, 3, 4), QuarnHypergeometricProbability(5, 10, 3, 4);
QuarnNegativeBinomialProbability(3, 5, 0.375), QuarnNegativeBinomialDeviate(0.5, 3, 0.375);
QuarnPoissonProbability(3.75, 2.5), QuarnPoissonDeviate(0.5, 0.3), QuarnPoissonDeviate(0.999, 1000);
Digits := 30:
QuarnPoissonProbability(150, 100);
QuarnBinomialProbability(500000000, 1000000000, 0.5);
Digits := 10:
err(() -> QuarnBinomialProbability(3, 10, 1.5));
err(() -> QuarnBinomialProbability(3, -2, 0.5));
err(() -> QuarnPoissonProbability(3, -1));
err(() -> QuarnHypergeometricProbability(2, 10, 12, 4));
err(() -> QuarnNegativeBinomialProbability(-1, 3, 0.5));
err(() -> QuarnNegativeBinomialProbability(2, 3, 1.5));
err(() -> QuarnBinomialDeviate(0.5, 10));
err(() -> QuarnBernoulliProbability(1));
err(() -> QuarnPoissonRandomSample(3));
# the iteration limit of the discrete searches and of the non-central series
_EnvStatisticsIterations := 3:
err(() -> QuarnBinomialDeviate(0.5, 100000, 0.5));
err(() -> QuarnNonCentralChiSquareProbability(5, 3, 200));
_EnvStatisticsIterations := 1000:
QuarnNonCentralChiSquareProbability(200, 3, 200);
unassign('_EnvStatisticsIterations'):
err(() -> QuarnNonCentralChiSquareProbability(200, 3, 1000));
# non-central probabilities and deviates
QuarnNonCentralChiSquareProbability(3.5, 4, 2.5), QuarnNonCentralChiSquareDeviate(0.5, 4, 2.5);
QuarnNonCentralBetaProbability(0.25, 2, 3, 1), QuarnNonCentralBetaDeviate(0.5, 2, 3, 1);
QuarnNonCentralFRatioProbability(2.5, 3, 7, 4), QuarnNonCentralFRatioProbability(-1, 3, 7, 4);
QuarnNonCentralFRatioDeviate(0.5, 3, 7, 4);
QuarnNonCentralStudentTProbability(-1.528, 20, 2);
Digits := 20:
QuarnNonCentralBetaProbability(0.25, 2, 3, 1);
QuarnNonCentralStudentTProbability(-1.528, 20, 2);
Digits := 10:
err(() -> QuarnNonCentralChiSquareProbability(-1, 4, 2));
err(() -> QuarnNonCentralChiSquareProbability(1, 0, 0));
err(() -> QuarnNonCentralBetaProbability(0.5, 2, 3));
# the non-central t has no deviate entry
err(() -> QuarnNonCentralStudentTDeviate(0.5, 2, 3));
# variates and samples
randomize(7):
QuarnBinomialRandomSample(4, 1000, 0.5), QuarnBinomialRandomSample(4, 50, 0.5);
QuarnGeometricRandomSample(5, 0.25);
QuarnNonCentralChiSquareRandomVariate(3, 2, true), QuarnNonCentralChiSquareRandomVariate(3, 2, false);
QuarnNonCentralChiSquareRandomSample(3, 3, 2, true);
QuarnNonCentralStudentTRandomSample(2, 10, 1);
QuarnNonCentralBetaRandomVariate(2, 3, 1), QuarnNonCentralFRatioRandomVariate(5, 20, 2);
err(() -> QuarnNonCentralChiSquareRandomSample(3, 3, 2));
err(() -> QuarnNonCentralChiSquareRandomSample(3, 3, 2, x -> x, 5, x -> x));
err(() -> QuarnNonCentralChiSquareRandomSample(3, 3, 2, 4, x -> x, x -> x));
err(() -> QuarnNonCentralChiSquareRandomSample(3, 3, 2, x -> x, x -> x, s));
err(() -> QuarnNonCentralChiSquareRandomVariate(1e9, 2, true));
err(() -> QuarnBinomialRandomSample(-2, 10, 0.5));
err(() -> QuarnGeometricRandomSample(2.5, 0.5));
err(() -> QuarnNonCentralChiSquareRandomSample(-1, 3, 2, true));
# the empirical distribution of a sample, with weights and missing data
data := Vector([10, 20, 30, 40]):
QuarnEmpiricalDeviate(0.5, data, Vector([]), false);
QuarnEmpiricalDeviate(0.5, Vector([10, undefined, 30, 40]), Vector([]), true);
QuarnEmpiricalDeviate(0.5, data, Vector([1, 1, 1, 5]), false);
QuarnEmpiricalDeviate(0.5, Vector([]), Vector([]), false);
randomize(3):
QuarnEmpiricalRandomVariate(data, Vector([]), false);
QuarnEmpiricalRandomSample(5, data, Vector([]), false);
err(() -> QuarnEmpiricalDeviate(0.5, [1, 2], Vector([]), false));
err(() -> QuarnEmpiricalDeviate(0.5, data, Vector([1]), false));
err(() -> QuarnEmpiricalRandomSample(-1, data, Vector([]), false));
err(() -> QuarnEmpiricalRandomVariate(data, Vector([])));
