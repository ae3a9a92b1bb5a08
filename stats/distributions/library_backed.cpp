// Beta, chi-square, F, gamma and Student's t probabilities, deviates and
// densities: one call each of the numerical routine for that distribution,
// with a fresh error record; the probabilities and deviates on the lower
// tail, the upper-tail entries on the upper tail itself (never as 1 minus
// the lower). A routine's failure is raised with its own message; a deviate
// refused at a level of exactly 1 also names its upper-tail entry.
// Arguments go to the routine unchanged: its range checks are the only ones.
// The beta and gamma routines take a tolerance; 0 asks for the full working
// precision.
#include "platform/numerics/numerics.h"
#include "stats/distributions/distributions.h"
#include "stats/distributions/internal.h"

using namespace quarnstats::dist;

QuarnFloat quarnstats::dist::BetaLowerTail(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b,
                                           std::initializer_list<ArgumentName> renames) {
  return CallRoutine(
      kv,
      [&](NagError* e) {
        QuarnFloat lower, upper, density;
        QuarnMP_g01eec(x, a, b, QuarnFloat(0.0), &lower, &upper, &density, e);
        return lower;
      },
      renames);
}

// Shapes a and b.
QuarnFloat STATS_BetaProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return BetaLowerTail(kv, x, a, b);
}

QuarnFloat STATS_BetaDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat b) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01fec(u, a, b, QuarnFloat(0.0), e); });
}

// nu degrees of freedom.
QuarnFloat STATS_ChiSquareProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat nu) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01ecc(kLowerTail, x, nu, e); });
}

QuarnFloat STATS_ChiSquareDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat nu) {
  return CallDeviateRoutine(kv, u, "QuarnChiSquareUpperDeviate",
                            [&](NagError* e) { return QuarnMP_g01fcc(u, nu, e); });
}

// nu1 and nu2 degrees of freedom of numerator and denominator.
QuarnFloat STATS_FRatioProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat nu1, QuarnFloat nu2) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01edc(kLowerTail, x, nu1, nu2, e); });
}

QuarnFloat STATS_FRatioDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat nu1, QuarnFloat nu2) {
  return CallDeviateRoutine(kv, u, "QuarnFRatioUpperDeviate",
                            [&](NagError* e) { return QuarnMP_g01fdc(u, nu1, nu2, e); });
}

// Scale b, shape c; the routines take the shape first.
QuarnFloat STATS_GammaProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat b, QuarnFloat c) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01efc(kLowerTail, x, c, b, e); }, {{"a", "c"}});
}

QuarnFloat STATS_GammaDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat b, QuarnFloat c) {
  return CallDeviateRoutine(
      kv, u, "QuarnGammaUpperDeviate", [&](NagError* e) { return QuarnMP_g01ffc(u, c, b, QuarnFloat(0.0), e); },
      {{"a", "c"}});
}

// nu degrees of freedom.
QuarnFloat STATS_StudentTProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat nu) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01ebc(kLowerTail, x, nu, e); });
}

QuarnFloat STATS_StudentTDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat nu) {
  return CallDeviateRoutine(kv, u, "QuarnStudentTUpperDeviate",
                            [&](NagError* e) { return QuarnMP_g01fbc(kLowerTail, u, nu, e); });
}

// ------------------------------------------------ upper tails and densities

QuarnFloat STATS_BetaUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return CallRoutine(kv, [&](NagError* e) {
    QuarnFloat lower, upper, density;
    QuarnMP_g01eec(x, a, b, QuarnFloat(0.0), &lower, &upper, &density, e);
    return upper;
  });
}

QuarnFloat STATS_BetaUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat a, QuarnFloat b) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_BetaDeviateTail(kUpperTail, q, a, b, e); },
                     {{"p", "q"}});
}

QuarnFloat STATS_BetaDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_BetaDensity(x, a, b, e); });
}

QuarnFloat STATS_ChiSquareUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat nu) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01ecc(kUpperTail, x, nu, e); });
}

QuarnFloat STATS_ChiSquareUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat nu) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_ChiSquareDeviateTail(kUpperTail, q, nu, e); },
                     {{"p", "q"}});
}

QuarnFloat STATS_ChiSquareDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat nu) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_ChiSquareDensity(x, nu, e); });
}

QuarnFloat STATS_FRatioUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat nu1, QuarnFloat nu2) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01edc(kUpperTail, x, nu1, nu2, e); });
}

QuarnFloat STATS_FRatioUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat nu1, QuarnFloat nu2) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_FDeviateTail(kUpperTail, q, nu1, nu2, e); },
                     {{"p", "q"}});
}

QuarnFloat STATS_FRatioDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat nu1, QuarnFloat nu2) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_FDensity(x, nu1, nu2, e); });
}

// Scale b, shape c; the routines take the shape first.
QuarnFloat STATS_GammaUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat b, QuarnFloat c) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01efc(kUpperTail, x, c, b, e); }, {{"a", "c"}});
}

QuarnFloat STATS_GammaUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat b, QuarnFloat c) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_GammaDeviateTail(kUpperTail, q, c, b, e); },
                     {{"p", "q"}, {"a", "c"}});
}

QuarnFloat STATS_GammaDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat b, QuarnFloat c) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_GammaDensity(x, c, b, e); }, {{"a", "c"}});
}

QuarnFloat STATS_StudentTUpperProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat nu) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01ebc(kUpperTail, x, nu, e); });
}

QuarnFloat STATS_StudentTUpperDeviate_MP(QKernel kv, QuarnFloat q, QuarnFloat nu) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01fbc(kUpperTail, q, nu, e); }, {{"p", "q"}});
}

QuarnFloat STATS_StudentTDensity_MP(QKernel kv, QuarnFloat x, QuarnFloat nu) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_StudentTDensity(x, nu, e); });
}
