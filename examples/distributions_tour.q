# Continuous distributions at 50 digits: probabilities, deviates (their
# inverses), random variates and samples; the same seed gives the same draws.

printf("\n== Continuous distributions at 50 digits\n");
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
