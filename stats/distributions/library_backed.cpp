// Beta, chi-square, F, gamma and Student's t probabilities and deviates: one
// call each of the numerical routine for that distribution, lower tail, with
// a fresh error record. A routine's failure is raised with its own message.
// Arguments go to the routine unchanged: its range checks are the only ones.
// The beta and gamma routines take a tolerance; 0 asks for the full working
// precision.
#include "platform/numerics/numerics.h"
#include "stats/distributions/distributions.h"
#include "stats/distributions/internal.h"

using namespace quarnstats::dist;

// Shapes a and b.
QuarnFloat STATS_BetaProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b) {
  return CallRoutine(kv, [&](NagError* e) {
    QuarnFloat lower, upper, density;
    QuarnMP_g01eec(x, a, b, QuarnFloat(0.0), &lower, &upper, &density, e);
    return lower;
  });
}

QuarnFloat STATS_BetaDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat a, QuarnFloat b) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01fec(u, a, b, QuarnFloat(0.0), e); });
}

// nu degrees of freedom.
QuarnFloat STATS_ChiSquareProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat nu) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01ecc(kLowerTail, x, nu, e); });
}

QuarnFloat STATS_ChiSquareDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat nu) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01fcc(u, nu, e); });
}

// nu1 and nu2 degrees of freedom of numerator and denominator.
QuarnFloat STATS_FRatioProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat nu1, QuarnFloat nu2) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01edc(kLowerTail, x, nu1, nu2, e); });
}

QuarnFloat STATS_FRatioDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat nu1, QuarnFloat nu2) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01fdc(u, nu1, nu2, e); });
}

// Scale b, shape c; the routines take the shape first.
QuarnFloat STATS_GammaProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat b, QuarnFloat c) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01efc(kLowerTail, x, c, b, e); }, {{"a", "c"}});
}

QuarnFloat STATS_GammaDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat b, QuarnFloat c) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01ffc(u, c, b, QuarnFloat(0.0), e); }, {{"a", "c"}});
}

// nu degrees of freedom.
QuarnFloat STATS_StudentTProbability_MP(QKernel kv, QuarnFloat x, QuarnFloat nu) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01ebc(kLowerTail, x, nu, e); });
}

QuarnFloat STATS_StudentTDeviate_MP(QKernel kv, QuarnFloat u, QuarnFloat nu) {
  return CallRoutine(kv, [&](NagError* e) { return QuarnMP_g01fbc(kLowerTail, u, nu, e); });
}
