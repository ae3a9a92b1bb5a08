// Random variates with algorithms of their own: exponential (ziggurat),
// gamma (Marsaglia-Tsang) and the beta, chi-square and F variates built on
// it, inverse Gaussian, Maxwell, Moyal and the Error distribution; and the
// Error distribution's deviate, which inverts the host's own distribution
// function. Uniforms come from the host (U below), normal and exponential
// variates from the ziggurats, so the host's seed reproduces every variate.
#include "stats/distributions/distributions.h"
#include "stats/distributions/internal.h"
#include "stats/frame/adapters.h"
#include "stats/rootfind/rootfind.h"

using namespace quarnstats::dist;
using quarnstats::UniformFloat;

// b E for a standard exponential E.
QuarnFloat STATS_ExponentialRandomVariate_MP(QKernel kv, QuarnFloat b) { return ScaledExponential(b); }

// ------------------------------------------------------------------- gamma

namespace {

// A shape or a number of degrees of freedom must be positive and finite:
// the shape < 1 step recurses on the shape + 1, and the rejection loop
// never accepts a NaN proposal.
void RequirePositiveFinite(QKernel kv, const QuarnFloat& v, const char* message) {
  if (!(v > 0) || IsQuarnFloatInfinity(v)) QuarnRaiseError1(kv, message, v.Handle());
}

constexpr const char* kShapeMessage = "shape parameter must be positive and finite, received: %1";
constexpr const char* kDegreesMessage = "degrees of freedom must be positive and finite, received: %1";

}  // namespace

// d = alpha - 1/3 and c = 1/sqrt(9 d) for alpha > 1; for alpha < 1 the same
// for alpha + 1, whose variate the main step scales down; alpha = 1 needs
// none (1/3 enters as a double).
void STATS_GammaRandomVariateSetup_MP(QKernel kv, QuarnFloat b, QuarnFloat alpha, QuarnFloat& d, QuarnFloat& c) {
  if (alpha == 1) return;
  d = (alpha < 1 ? alpha + 1.0 : alpha) - 0.3333333333333333;
  c = 1.0 / sqrt(9.0 * d);
}

// alpha = 1: b E. alpha < 1: G(alpha + 1) U^(1/alpha). Otherwise Marsaglia
// and Tsang's rejection of d (1 + c Z)^3 with the squeeze
// U < 1 - 0.0331 Z^4, which accepts most proposals without a logarithm.
QuarnFloat STATS_GammaRandomVariateMain_MP(QKernel kv, QuarnFloat b, QuarnFloat alpha, QuarnFloat d, QuarnFloat c) {
  RequirePositiveFinite(kv, alpha, kShapeMessage);
  if (alpha == 1) return STATS_ExponentialRandomVariate_MP(kv, b);
  if (alpha < 1) {
    QuarnFloat g = STATS_GammaRandomVariateMain_MP(kv, b, alpha + 1.0, d, c);
    return g * pow(UniformFloat(), 1.0 / alpha);
  }
  for (;;) {
    QuarnFloat x, v;
    do {
      x = StandardNormal();
      v = 1.0 + c * x;
    } while (v <= 0);
    v = pow(v, 3.0);
    QuarnFloat u = UniformFloat();
    if (u < 1.0 - 0.0331 * pow(x, 4.0)) return b * (d * v);
    if (log(u) < 0.5 * x * x + d * ((1.0 - v) + log(v))) return b * (d * v);
  }
}

// Scale b, shape c.
QuarnFloat STATS_GammaRandomVariate_MP(QKernel kv, QuarnFloat b, QuarnFloat c) {
  QuarnFloat d = 0.0, k = 0.0;
  STATS_GammaRandomVariateSetup_MP(kv, b, c, d, k);
  return STATS_GammaRandomVariateMain_MP(kv, b, c, d, k);
}

// X / (X + Y) for X ~ gamma(a), Y ~ gamma(b), X drawn first.
QuarnFloat STATS_BetaRandomVariate_MP(QKernel kv, QuarnFloat a, QuarnFloat b) {
  QuarnFloat d1 = 0.0, c1 = 0.0, d2 = 0.0, c2 = 0.0;
  STATS_GammaRandomVariateSetup_MP(kv, 1.0, a, d1, c1);
  STATS_GammaRandomVariateSetup_MP(kv, 1.0, b, d2, c2);
  QuarnFloat x = STATS_GammaRandomVariateMain_MP(kv, 1.0, a, d1, c1);
  QuarnFloat y = STATS_GammaRandomVariateMain_MP(kv, 1.0, b, d2, c2);
  return x / (x + y);
}

// Gamma with scale 2 and shape nu/2.
QuarnFloat STATS_ChiSquareRandomVariate_MP(QKernel kv, QuarnFloat nu) {
  RequirePositiveFinite(kv, nu, kDegreesMessage);
  return STATS_GammaRandomVariate_MP(kv, 2.0, nu / 2.0);
}

// (X1 / nu1) / (X2 / nu2) for chi-square X1, X2, X1 drawn first.
QuarnFloat STATS_FRatioRandomVariate_MP(QKernel kv, QuarnFloat nu1, QuarnFloat nu2) {
  RequirePositiveFinite(kv, nu1, kDegreesMessage);
  RequirePositiveFinite(kv, nu2, kDegreesMessage);
  QuarnFloat x1 = STATS_ChiSquareRandomVariate_MP(kv, nu1);
  QuarnFloat x2 = STATS_ChiSquareRandomVariate_MP(kv, nu2);
  return (x1 * nu2) / (x2 * nu1);
}

// ---------------------------------------------------------- other families

// Mean mu, shape lambda, by Michael, Schucany and Haas (Amer. Statistician
// 30, 1976): the smaller root x of the quadratic in a chi-square(1) variate,
// kept with probability mu / (mu + x), else mu^2 / x. The root is
// (mu / 2 lambda)(w + 2 lambda - sqrt(w^2 + 4 w lambda)) with w = mu y,
// computed as 2 mu lambda / (w + 2 lambda + sqrt(w^2 + 4 w lambda)), which is
// the same number without the cancellation that costs log10(w / lambda)
// digits when w is large.
QuarnFloat STATS_InverseGaussianRandomVariate_MP(QKernel kv, QuarnFloat mu, QuarnFloat lambda) {
  QuarnFloat y = STATS_ChiSquareRandomVariate_MP(kv, 1.0);
  QuarnFloat w = mu * y;
  QuarnFloat x = (2.0 * mu * lambda) / ((w + 2.0 * lambda) + sqrt(w * w + (4.0 * w) * lambda));
  if (UniformFloat() * (mu + x) > mu) return mu * mu / x;
  return x;
}

// Scale a: a sqrt(2 T) with T ~ gamma(3/2), T = E + cos^2(theta) E' for a
// direction theta uniform in a quarter disc (found by rejection) and
// exponentials E = -log U1, E' = -log U4.
QuarnFloat STATS_MaxwellRandomVariate_MP(QKernel kv, QuarnFloat a) {
  QuarnFloat e = -log(UniformFloat());
  QuarnFloat u2, u3, s;
  do {
    u2 = UniformFloat();
    u3 = UniformFloat();
    s = u2 * u2 + u3 * u3;
  } while (s > 1);
  QuarnFloat t = e - (u2 * u2 / s) * log(UniformFloat());
  return a * sqrt(2.0 * t);
}

// Location a, scale b, density exp(-(t + e^-t)/2) / sqrt(2 Pi) in
// t = (x - a)/b: rejection from a Cauchy envelope, t = tan(theta) for theta
// uniform in (-Pi/2, Pi/2), whose density in theta is bounded by 0.912.
QuarnFloat STATS_MoyalRandomVariate_MP(QKernel kv, QuarnFloat a, QuarnFloat b) {
  QuarnFloat pi = HostPi(kv);
  QuarnFloat scale = 1.0 / sqrt(2.0 * pi);
  for (;;) {
    QuarnFloat theta = pi * UniformFloat() - pi / 2.0;
    QuarnFloat h = 0.912 * UniformFloat();
    QuarnFloat t = QuarnEvalf1("tan", theta);
    QuarnFloat cos_theta = QuarnEvalf1("cos", theta);
    QuarnFloat g = (scale / (cos_theta * cos_theta)) * exp((-(t + exp(-t))) / 2.0);
    if (h <= g) return t * b + a;
  }
}

// Location a, scale b, shape c, density proportional to
// exp(-|x - a|^(2/c) / (2 b^(2/c))): c = 1 is the normal law, c = 2 the
// Laplace law of scale 2b. Otherwise |X - a| = b (2 G)^(c/2) for
// G ~ gamma(c/2), with a sign from one uniform drawn first.
QuarnFloat STATS_ErrorRandomVariate_MP(QKernel kv, QuarnFloat a, QuarnFloat b, QuarnFloat c) {
  if (c == 2) return STATS_LaplaceRandomVariate_MP(kv, a, 2.0 * b);
  if (c == 1) return STATS_NormalRandomVariate_MP(kv, a, b);
  RequirePositiveFinite(kv, c, kShapeMessage);
  if (a != 0) return a + STATS_ErrorRandomVariate_MP(kv, QuarnFloat(0.0), b, c);
  QuarnFloat u = UniformFloat();
  QuarnFloat half_c = c / 2.0;
  QuarnFloat g = STATS_GammaRandomVariate_MP(kv, 1.0, half_c);
  QuarnFloat v = (b * pow(2.0, half_c)) * pow(g, half_c);
  return u > 0.5 ? v : -v;
}

// (u, F, f, a, b, c): the x where the host procedure F reaches u, by Newton's
// method with F's density f from a + tan(3.1 (2u - 1) / 2), a start that is
// a for u = 1/2 and moves out steeply toward the tails. b and c are embodied
// in the procedures. The result is rounded to Digits by the host's evalf.
HostObject STATS_QuarnErrorDeviate_MP(QKernel kv, HostObject args) {
  using namespace quarnstats;
  CheckCount(kv, args, 6, "QuarnErrorDeviate");
  QuarnFloat u = FloatArg(kv, args, 1);
  HostObject F =
      ProcedureArg(kv, args, 2, "QuarnErrorDeviate expects a procedure as its second parameter, received: %1");
  HostObject f =
      ProcedureArg(kv, args, 3, "QuarnErrorDeviate expects a procedure as its third parameter, received: %1");
  QuarnFloat a = FloatArg(kv, args, 4);
  FloatArg(kv, args, 5);
  FloatArg(kv, args, 6);

  int32_t digits = HostDigits(kv);
  QuarnFloat tolerance(TolerancePower(digits));
  long limit = IterationLimit(kv);
  QuarnFloat x0 = a + QuarnEvalf1("tan", ((2.0 * u - 1.0) * 3.1) / 2.0);
  STATS_QuarnProcAdapter_MP distribution(kv, F);
  STATS_QuarnProcAdapter_MP density(kv, f);
  QuarnFloat root = NewtonRaphson(kv, u, &distribution, &density, x0, 0, QuarnFloat(0.0), 0, QuarnFloat(0.0),
                                  tolerance, limit);
  return EvalQuarnProc(kv, ToQuarnName(kv, "evalf", 1), 2, root.Handle(), ToQuarnInteger(kv, digits));
}
