// The beta and gamma tails in double precision for the first phase of the
// deviate solver: continued fractions and series evaluated by Lentz's method,
// in logs so that no tail underflows, with an estimate of their error. They
// are not rigorous and need not be: the solver's final interval step decides
// the deviate on balls, and a start worse than its estimate only costs that
// step another round. Where a method would be slow or its estimate poor
// (huge shapes, a tail formed as 1 minus a value near 1) they decline, and
// the solver evaluates the tail on balls instead.
#include <cmath>

#include "platform/numerics/internal.h"

namespace quarn::numerics {

namespace {

constexpr double kEps = 0x1p-53;
constexpr double kTiny = 1e-300;
constexpr int kMaxTerms = 1000;
// Declined beyond this error in the log of a tail: the balls at 64 bits do
// better.
constexpr double kMaxError = 0x1p-36;

double Floor(double v) { return std::fabs(v) < kTiny ? kTiny : v; }

// The continued fraction of I_x(a, b) a B(a, b) / (x^a y^b), which converges
// fast for x < (a + 1) / (a + b + 2); NaN when it does not within kMaxTerms.
// *terms counts the pairs of terms taken.
double BetaFraction(double a, double b, double x, int* terms) {
  double c = 1.0, d = 1.0 / Floor(1.0 - (a + b) * x / (a + 1.0)), h = d;
  for (int m = 1; m <= kMaxTerms; ++m) {
    const double md = m, m2 = 2.0 * m;
    double aa = md * (b - md) * x / ((a - 1.0 + m2) * (a + m2));
    d = 1.0 / Floor(1.0 + aa * d);
    c = Floor(1.0 + aa / c);
    h *= d * c;
    aa = -(a + md) * (a + b + md) * x / ((a + m2) * (a + 1.0 + m2));
    d = 1.0 / Floor(1.0 + aa * d);
    c = Floor(1.0 + aa / c);
    const double step = d * c;
    h *= step;
    if (std::fabs(step - 1.0) < 4.0 * kEps) {
      *terms = m;
      return h;
    }
  }
  return std::nan("");
}

// The tail whose log is lc (with error err) is the complement of the one
// wanted: log(1 - e^lc), its error grown by the cancellation. A complement
// known only roughly is declined, however small: it may be far from small.
bool FromComplement(double lc, double err, LogTail* out) {
  const double c = std::exp(lc);
  if (!(c < 1.0) || !(err <= kMaxError)) return false;
  out->value = std::log1p(-c);
  out->error = std::expm1(err) * c / (1.0 - c) + 4.0 * kEps;
  return true;
}

bool Accept(LogTail* out) { return std::isfinite(out->value) && out->error <= kMaxError; }

}  // namespace

bool BetaLogitDouble(double a, double b, double w, LogTail* tail, double* log_density, double* slope) {
  if (!(a > 0.0 && b > 0.0 && std::isfinite(w))) return false;
  // log x and log y = log(1 - x) for x = 1 / (1 + e^-w), each without
  // overflow or cancellation.
  const double lx = w < 0.0 ? w - std::log1p(std::exp(w)) : -std::log1p(std::exp(-w));
  const double ly = w > 0.0 ? -w - std::log1p(std::exp(-w)) : -std::log1p(std::exp(w));
  const double x = std::exp(lx), y = std::exp(ly);
  const double ga = std::lgamma(a), gb = std::lgamma(b), gab = std::lgamma(a + b);
  const double power = a * lx + b * ly - (ga + gb - gab);
  *log_density = power;
  *slope = a * y - b * x;
  // Rounding in the exponent's terms and in the fraction's.
  const double size = std::fabs(a * lx) + std::fabs(b * ly) + std::fabs(ga) + std::fabs(gb) + std::fabs(gab) + 1.0;
  int terms = 0;
  if (x < (a + 1.0) / (a + b + 2.0)) {
    const double h = BetaFraction(a, b, x, &terms);
    if (!(h > 0.0)) return false;
    tail->value = power - std::log(a) + std::log(h);
    tail->error = kEps * (4.0 * size + 8.0 * terms + 16.0);
    return Accept(tail);
  }
  // Past the mean: 1 - I_y(b, a).
  const double h = BetaFraction(b, a, y, &terms);
  if (!(h > 0.0)) return false;
  return FromComplement(power - std::log(b) + std::log(h), kEps * (4.0 * size + 8.0 * terms + 16.0), tail) &&
         Accept(tail);
}

bool GammaLogDouble(double a, double w, bool upper, LogTail* tail, double* log_density, double* slope) {
  if (!(a > 0.0 && std::isfinite(w) && w < 700.0)) return false;
  const double z = std::exp(w), ga = std::lgamma(a);
  *log_density = a * w - z - ga;
  *slope = a - z;
  const double size = std::fabs(a * w) + z + std::fabs(ga) + std::fabs(std::log(a)) + 1.0;
  if (z < a + 1.0) {
    // P(a, z) = z^a e^-z / Gamma(a + 1) sum z^n / ((a + 1) ... (a + n)).
    double sum = 1.0, term = 1.0;
    int n = 1;
    for (; n <= kMaxTerms && term > kEps * sum; ++n) {
      term *= z / (a + n);
      sum += term;
    }
    if (n > kMaxTerms) return false;
    const double lp = *log_density - std::log(a) + std::log(sum);
    const double err = kEps * (4.0 * size + 4.0 * n + 16.0);
    if (upper) return FromComplement(lp, err, tail) && Accept(tail);
    tail->value = lp;
    tail->error = err;
    return Accept(tail);
  }
  // Q(a, z) = z^a e^-z / Gamma(a) times the continued fraction
  // 1 / (z + 1 - a - 1 (1 - a) / (z + 3 - a - 2 (2 - a) / (z + 5 - a - ...))).
  double bn = z + 1.0 - a, c = 1.0 / kTiny, d = 1.0 / bn, h = d;
  int i = 1;
  for (; i <= kMaxTerms; ++i) {
    const double an = -i * (i - a);
    bn += 2.0;
    d = 1.0 / Floor(an * d + bn);
    c = Floor(bn + an / c);
    const double step = d * c;
    h *= step;
    if (std::fabs(step - 1.0) < 4.0 * kEps) break;
  }
  if (i > kMaxTerms || !(h > 0.0)) return false;
  const double lq = *log_density + std::log(h);
  const double err = kEps * (4.0 * size + 8.0 * i + 16.0);
  if (!upper) return FromComplement(lq, err, tail) && Accept(tail);
  tail->value = lq;
  tail->error = err;
  return Accept(tail);
}

}  // namespace quarn::numerics
