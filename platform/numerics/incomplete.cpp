// The regularized incomplete gamma and beta functions on Arb balls, each tail
// with relative accuracy.
//
// Arb's own functions are used where they are reliable. Two gaps are filled
// with hypergeometric series of positive terms, which cannot cancel:
//  - arb_hypgeom_gamma_lower loses all accuracy once a is more than a few
//    dozen (it sums an alternating series), so the lower tail below the mean
//    is summed here, except at high precision and moderate a, where Arb's
//    function is faster and its ball is checked;
//  - arb_hypgeom_beta_lower returns non-finite balls when one parameter is
//    below about 1 and the other above about 50.
#include <arb_hypgeom.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "platform/host/host.h"
#include "platform/numerics/internal.h"

namespace quarn::numerics {

namespace {

// Terms beyond which a series is abandoned (an indeterminate ball results).
constexpr long kMaxTerms = 20000000;

double Mid(arb_srcptr x) { return arf_get_d(arb_midref(x), ARF_RND_NEAR); }

// Whether the bound t * r / (1 - r) on the rest of a series, whose terms
// after t shrink at least by the ratio r < 1, is below 2^-prec relative to
// the sum s; when it is, the bound is added to the radius of s.
bool TailSmall(arb_srcptr t, double r, arb_ptr s, slong prec) {
  mag_t tail, rel;
  mag_init(tail);
  mag_init(rel);
  arb_get_mag(tail, t);
  mag_t factor;
  mag_init(factor);
  mag_set_d(factor, r / (1.0 - r) * (1.0 + 1e-9));
  mag_mul(tail, tail, factor);
  mag_clear(factor);
  arb_get_mag_lower(rel, s);
  mag_mul_2exp_si(rel, rel, -prec);
  bool small = mag_cmp(tail, rel) <= 0;
  if (small) arb_add_error_mag(s, tail);
  mag_clear(tail);
  mag_clear(rel);
  return small;
}

// Sums s = 1 + t_1 + t_2 + ... of positive terms, where next(t, k) turns
// t_{k-1} into t_k and ratio(k) bounds every ratio t_{j+1} / t_j for j >= k
// (not yet below 1 is fine: summing goes on). Stops once the rest is below
// 2^-wp of s, adding that bound to s; false (s indeterminate) past kMaxTerms
// or once the routine's work limit is spent.
bool SumPositiveSeries(arb_ptr s, const std::function<void(arb_ptr t, long k)>& next,
                       const std::function<double(long k)>& ratio, slong wp) {
  Ball t;
  arb_one(s);
  arb_one(t);
  for (long k = 1; k <= kMaxTerms && ChargeWork(wp); ++k) {
    if (k % 64 == 0) host::CheckInterrupt();  // at high precision a long series takes seconds
    next(t, k);
    arb_add(s, s, t, wp);
    double r = ratio(k);
    if (r < 1.0 - 1e-12 && TailSmall(t, r, s, wp)) return true;
  }
  arb_indeterminate(s);
  return false;
}

// exp(e) where e is a sum of terms of size up to `magnitude`, evaluated with
// enough extra bits that the sum keeps prec bits after its cancellation.
slong PrefactorBits(slong prec, double magnitude) { return prec + MagnitudeBits(magnitude) + 8; }

}  // namespace

void LogPoissonTerm(arb_ptr res, arb_srcptr s, arb_srcptr z, slong prec) {
  Ball t;
  arb_log(res, z, prec);
  arb_mul(res, res, s, prec);
  arb_sub(res, res, z, prec);
  arb_add_ui(t, s, 1, prec);
  arb_hypgeom_lgamma(t, t, prec);
  arb_sub(res, res, t, prec);
}

void LogBeta(arb_ptr res, arb_srcptr a, arb_srcptr b, slong prec) {
  double size = std::fabs(Mid(a) * std::log(Mid(a) + 1.0)) + std::fabs(Mid(b) * std::log(Mid(b) + 1.0));
  slong wp = PrefactorBits(prec, size);
  Ball ga, gb, s;
  arb_hypgeom_lgamma(ga, a, wp);
  arb_hypgeom_lgamma(gb, b, wp);
  arb_add(s, a, b, wp);
  arb_hypgeom_lgamma(s, s, wp);
  arb_add(res, ga, gb, wp);
  arb_sub(res, res, s, prec);
}

// ------------------------------------------------------------------ gamma

namespace {

// z^a e^-z / Gamma(a + 1) at wp, the prefactor of both series of the
// incomplete gamma function, from its log taken with the bits its terms'
// cancellation needs.
void PoissonPrefactor(arb_ptr pre, arb_srcptr a, arb_srcptr z, slong wp) {
  const double ad = Mid(a), zd = Mid(z);
  double size = std::fabs(ad * std::log(zd)) + zd + std::fabs(std::lgamma(ad + 1.0));
  LogPoissonTerm(pre, a, z, PrefactorBits(wp, size));
  arb_exp(pre, pre, wp);
}

}  // namespace

void GammaLowerSeries(arb_ptr res, arb_srcptr a, arb_srcptr z, slong prec) {
  if (arb_is_zero(z)) {
    arb_zero(res);
    return;
  }
  const double ad = Mid(a), zd = Mid(z);
  const slong wp = prec + 16;
  Ball pre;
  PoissonPrefactor(pre, a, z, wp);
  // sum_k z^k / (a+1)_k: the ratio z / (a + k + 1) after t_k falls with k.
  Ball s, d;
  bool ok = SumPositiveSeries(
      s,
      [&](arb_ptr term, long k) {
        arb_add_ui(d, a, static_cast<ulong>(k), wp);
        arb_mul(term, term, z, wp);
        arb_div(term, term, d, wp);
      },
      [&](long k) { return zd / (ad + static_cast<double>(k) + 1.0); }, wp);
  if (!ok) {
    arb_indeterminate(res);
    return;
  }
  arb_mul(res, pre, s, prec);
}

namespace {

// From about this precision (Digits 230) on Arb's lower function, which sums
// by rectangular splitting, is faster than the series, whose every term
// multiplies by the full-length z; below it the series is faster.
constexpr slong kArbGammaLowerBits = 768;

// The precision of the density bounds below.
constexpr slong kBoundBits = 64;

// (shape - 1) log x, at kBoundBits.
void ShapeLog(arb_ptr res, arb_srcptr shape, arb_srcptr x) {
  Ball t;
  arb_log(res, x, kBoundBits);
  arb_sub_ui(t, shape, 1, kBoundBits);
  arb_mul(res, res, t, kBoundBits);
}

// f(res, x) for a ball x whose radius f carries into its result crudely:
// f at x's midpoint, widened by the radius times |slope|, a bound of |f'|
// over x (the mean value theorem); f at x itself when x is exact or the
// slope is not finite.
template <class F>
void AtMidpoint(arb_ptr res, arb_srcptr x, arb_srcptr slope, F&& f) {
  if (mag_is_zero(arb_radref(x)) || !arb_is_finite(slope)) {
    f(res, x);
    return;
  }
  Ball mid;
  arf_set(arb_midref(mid.get()), arb_midref(x));
  f(res, mid);
  mag_t e;
  mag_init(e);
  arb_get_mag(e, slope);
  mag_mul(e, e, arb_radref(x));
  mag_add(arb_radref(res), arb_radref(res), e);
  mag_clear(e);
}

// Arb's regularised P(a, z) at prec + 16 bits. Arb carries the radius of z
// into its result crudely (up to 30 bits beyond it at a decimal a), so the
// radius goes through the bound of the density z^(a-1) e^-z / Gamma(a) over
// z, computed at 64 bits.
void ArbGammaLower(arb_ptr res, arb_srcptr a, arb_srcptr z, slong prec) {
  Ball density;
  if (!mag_is_zero(arb_radref(z))) {
    Ball t;
    ShapeLog(density, a, z);
    arb_sub(density, density, z, kBoundBits);
    arb_hypgeom_lgamma(t, a, kBoundBits);
    arb_sub(density, density, t, kBoundBits);
    arb_exp(density, density, kBoundBits);
  }
  AtMidpoint(res, z, density, [&](arb_ptr r, arb_srcptr at) { arb_hypgeom_gamma_lower(r, a, at, 1, prec + 16); });
}

// P(a, z) for z < a + 1: by Arb at high precision where a is moderate (with
// large a its evaluation loses accuracy or slows down) when its ball is
// nearly as narrow as the series'; else by the series.
void GammaLowerBelowMean(arb_ptr res, arb_srcptr a, arb_srcptr z, slong prec) {
  if (prec >= kArbGammaLowerBits && Mid(a) <= 100.0) {
    ArbGammaLower(res, a, z, prec);
    if (arb_rel_accuracy_bits(res) >= prec - 8) return;
  }
  GammaLowerSeries(res, a, z, prec);
}

// Terms the lower series needs for prec bits at z < a + 1: its k-th term is
// about (z/a)^k e^(-k^2 / 2a), so k = a (sqrt(L^2 + 2 prec ln 2 / a) - L)
// for L = log(a / z); some sqrt(2 a prec ln 2) next to the mean.
double GammaSeriesTerms(double a, double z, slong prec) {
  const double l = std::max(0.0, std::log(a / z)), need = 0.7 * static_cast<double>(prec);
  return a * (std::sqrt(l * l + 2.0 * need / a) - l) + 1.0;
}

// Shapes above which Arb's upper function is not used far above the mean:
// there it returns balls of no accuracy at any precision and takes seconds
// per call doing so (a = 6.4e17 with z - a = 2.4e13, 12 s at 1024 bits).
constexpr double kArbUpperShapeMax = 1e13;

// Q(a, z) for z > a + 1 from the exact expansion
//   Gamma(a, z) = z^(a-1) e^-z (1 + (a-1)/z + (a-1)(a-2)/z^2 + ...),
// summed while its terms are positive (all k < a - 1, which holds for the
// shapes above kArbUpperShapeMax); the ratio (a - k - 1) / z of the terms
// after t_k bounds the rest. Needs about prec ln 2 / ln(z / a) terms.
void GammaUpperSeries(arb_ptr res, arb_srcptr a, arb_srcptr z, slong prec) {
  const double ad = Mid(a), zd = Mid(z);
  const slong wp = prec + 16;
  // The prefactor times a / z.
  Ball pre;
  PoissonPrefactor(pre, a, z, wp);
  arb_mul(pre, pre, a, wp);
  arb_div(pre, pre, z, wp);
  Ball s, d;
  bool ok = SumPositiveSeries(
      s,
      [&](arb_ptr term, long k) {
        arb_sub_ui(d, a, static_cast<ulong>(k), wp);
        arb_mul(term, term, d, wp);
        arb_div(term, term, z, wp);  // z is short when exact: cheaper than 1 / z
      },
      // Rounded up past the doubles' own rounding of a and z.
      [&](long k) { return std::min(1.0, (ad - static_cast<double>(k) - 1.0) / zd * (1.0 + 1e-15)); }, wp);
  if (!ok) {
    arb_indeterminate(res);
    return;
  }
  arb_mul(res, pre, s, prec);
}

// Whether GammaUpperSeries rather than Arb computes Q(a, z) for z > a + 1.
bool UpperSeriesFits(double a, double z, slong prec) {
  if (a <= kArbUpperShapeMax) return false;
  const double terms = static_cast<double>(prec + 16) * M_LN2 / std::log1p((z - a) / a);
  return terms <= static_cast<double>(kMaxTerms);
}

// Terms beyond which the series gives way to Arb's upper function near the
// mean of a large shape (which Arb evaluates there fast, to within a few
// bits of log2 a).
constexpr double kLongGammaSeries = 20000.0;

}  // namespace

void GammaTail(arb_ptr res, arb_srcptr a, arb_srcptr z, bool upper, slong prec) {
  host::CheckInterrupt();  // one evaluation at high precision can take a second
  if (arb_is_zero(z)) {
    upper ? arb_one(res) : arb_zero(res);
    return;
  }
  const double ad = Mid(a), zd = Mid(z);
  if (zd < ad + 1.0) {
    const bool long_series = ad > 20.0 && GammaSeriesTerms(ad, zd, prec) > kLongGammaSeries;
    if (long_series) {
      // Next to the mean of a large shape both tails are moderate: the
      // lower one is the complement of Arb's upper one, unless that loses
      // more than a couple of bits (far enough below the mean for the
      // series to be short after all).
      ChargeWork(prec, 300);
      arb_hypgeom_gamma_upper(res, a, z, 1, prec);
      if (upper || (arb_is_finite(res) && ComplementLoss(res, prec) <= 2.0)) {
        if (!upper) Complement(res, res, prec);
        return;
      }
    }
    // Below the mean the lower tail is the smaller one (or both are near 1/2).
    if (!upper) {
      GammaLowerBelowMean(res, a, z, prec);
    } else if (ad <= 20.0) {
      // For small a the lower tail can be close to 1; Arb's upper function
      // is reliable there.
      arb_hypgeom_gamma_upper(res, a, z, 1, prec);
    } else {
      GammaLowerBelowMean(res, a, z, prec);
      arb_sub_si(res, res, 1, prec);
      arb_neg(res, res);
    }
    return;
  }
  // Far above the mean of a large shape Arb's upper function can integrate
  // for minutes (a = 6.4e17, z 3.5e5 standard deviations above it); the
  // lower tail is 1 within a quarter ulp once the Chernoff bound
  // Q(a, z) <= (z / a)^a e^(a - z) is below 2^-(prec + 2).
  if (!upper) {
    const double log_bound = ad * std::log1p((zd - ad) / ad) - (zd - ad);
    if (log_bound + std::fabs(log_bound) * 1e-10 + 1.0 < -static_cast<double>(prec + 2) * M_LN2) {
      arb_one(res);
      mag_set_ui_2exp_si(arb_radref(res), 1, -(prec + 2));
      return;
    }
  }
  if (UpperSeriesFits(ad, zd, prec)) {
    GammaUpperSeries(res, a, z, prec);
  } else {
    ChargeWork(prec, 300);
    arb_hypgeom_gamma_upper(res, a, z, 1, prec);
  }
  if (!upper) {
    arb_sub_si(res, res, 1, prec);
    arb_neg(res, res);
  }
}

// ------------------------------------------------------------------- beta

namespace {

// Terms the series of I_x(a, b) needs for prec bits: up to the peak of the
// terms, past it while the ratio (a+b+k) x / (a+1+k) is close to 1, then
// geometric with ratio x.
double BetaSeriesTerms(double a, double b, double x, slong prec) {
  if (x <= 0.0) return 0.0;
  if (x >= 1.0) return 1e300;
  double need = 0.7 * static_cast<double>(prec);
  double r0 = x * (a + b) / (a + 1.0);
  if (r0 < 1.0) return need / -std::log(std::max(r0, x));
  double peak = ((a + b) * x - (a + 1.0)) / (1.0 - x) + 1.0;
  return peak + std::sqrt(peak * need) + need / -std::log(x);
}

// I_x(a, b) by the series, in the orientation given; no choice made here.
// When the series is too long to sum but its ratios stay below 1 (x below
// the mean), the result is the enclosure between its first term and the
// geometric bound: wide, but enough for a complement 1 - I_x that it cannot
// move (far tails of huge shapes).
void BetaSeriesCore(arb_ptr res, arb_srcptr a, arb_srcptr b, arb_srcptr x, arb_srcptr y, slong prec) {
  if (arb_is_zero(x)) {
    arb_zero(res);
    return;
  }
  const double ad = Mid(a), bd = Mid(b), xd = Mid(x);
  const bool too_long = BetaSeriesTerms(ad, bd, xd, prec) > static_cast<double>(kMaxTerms);
  if (too_long && xd * (ad + bd) >= ad + 1.0) {
    arb_indeterminate(res);
    return;
  }
  const slong wp = prec + 16;
  // Prefactor x^a y^b / (a B(a, b)).
  Ball pre, t, u;
  {
    double size = std::fabs(ad * std::log(xd)) + std::fabs(bd * std::log1p(-xd)) +
                  std::fabs(ad * std::log(ad + 1.0)) + std::fabs(bd * std::log(bd + 1.0)) + 1.0;
    slong pp = PrefactorBits(wp, size);
    arb_log(pre, x, pp);
    arb_mul(pre, pre, a, pp);
    arb_log(t, y, pp);
    arb_mul(t, t, b, pp);
    arb_add(pre, pre, t, pp);
    arb_log(t, a, pp);
    arb_sub(pre, pre, t, pp);
    LogBeta(t, a, b, pp);
    arb_sub(pre, pre, t, pp);
    arb_exp(pre, pre, wp);
  }
  if (too_long) {
    // Every ratio is at most r = max(x (a+b) / (a+1), x) < 1: the sum lies
    // in [1, 1 / (1 - r)].
    Ball r, bound;
    arb_add(r, a, b, wp);
    arb_mul(r, r, x, wp);
    arb_add_ui(t, a, 1, wp);
    arb_div(r, r, t, wp);
    arb_max(r, r, x, wp);
    arb_sub_ui(bound, r, 1, wp);
    arb_neg(bound, bound);
    if (!arb_is_positive(bound)) {
      arb_indeterminate(res);
      return;
    }
    arb_div(bound, pre, bound, wp);
    arb_union(res, pre, bound, prec);
    return;
  }
  // sum_k (a+b)_k / (a+1)_k x^k; the ratio after t_k is
  // r_k = x (a+b+k) / (a+1+k), which moves monotonically towards x, so the
  // larger of r_k and x bounds every later ratio.
  Ball s, num, den;
  arb_add(num, a, b, wp);
  arb_add_ui(den, a, 1, wp);
  bool ok = SumPositiveSeries(
      s,
      [&](arb_ptr term, long k) {
        // t_k = t_{k-1} x (a+b+k-1) / (a+k)
        arb_add_ui(u, num, static_cast<ulong>(k - 1), wp);
        arb_mul(term, term, u, wp);
        arb_mul(term, term, x, wp);
        arb_add_ui(u, den, static_cast<ulong>(k - 1), wp);
        arb_div(term, term, u, wp);
      },
      [&](long k) {
        double kd = static_cast<double>(k);
        return std::max(xd * (ad + bd + kd) / (ad + 1.0 + kd), xd);
      },
      wp);
  if (!ok) {
    arb_indeterminate(res);
    return;
  }
  arb_mul(res, pre, s, prec);
}

// Arb's hypergeometric evaluation fails when one parameter is small and the
// other large, and with a very large parameter it turns to numerical
// integration, which takes seconds a call (the series' work is charged and
// bounded instead); beyond 1e15 its series give up or run for seconds.
bool ArbBetaReliable(double a, double b) {
  const double lo = std::min(a, b), hi = std::max(a, b);
  return !(lo < 2.0 && hi > 40.0) && !(lo < 1e6 && hi > 1e12) && hi <= 1e15;
}

// The precision from which Arb's incomplete beta changes its ways (below).
constexpr slong kArbBetaLongBits = 1100;

// Bits Arb's incomplete beta loses beyond its usual few with a parameter of
// long mantissa (a decimal such as 7.1): 10 to 13 below about 1100 bits,
// and from there bits in proportion to the precision: 40 to 110 at 1685
// bits, 70 to 140 at 3350. Asking for them up front costs a few per cent;
// finding out from the ball costs the rounding loop a second evaluation. At
// a small x (0.001) the loss stays at a few bits.
slong ArbBetaExtraBits(arb_srcptr a, arb_srcptr b, arb_srcptr x, slong prec) {
  if (std::max(arb_bits(a), arb_bits(b)) <= 64 || Mid(x) < 0.0625) return 0;
  return prec < kArbBetaLongBits ? 16 : prec / 16 + 16;
}

// The density x^(a-1) (1-x)^(b-1) / B(a, b) over the ball x at kBoundBits;
// not finite when x reaches 0 or 1.
void BetaDensityBall(arb_ptr res, arb_srcptr a, arb_srcptr b, arb_srcptr x) {
  Ball s, t;
  ShapeLog(res, a, x);
  Complement(s, x, kBoundBits);
  ShapeLog(t, b, s);
  arb_add(res, res, t, kBoundBits);
  LogBeta(t, a, b, kBoundBits);
  arb_sub(res, res, t, kBoundBits);
  arb_exp(res, res, kBoundBits);
}

// Arb's I_x(a, b). From about 1100 bits on Arb carries the radius of x into
// its result crudely (30 bits beyond the radius at 1700 bits), so there the
// radius goes through the density's bound over x; below, the bound would
// cost more than the bits it saves. 16 bits more for what Arb loses at an
// exact x of full length.
void ArbBetaLower(arb_ptr res, arb_srcptr a, arb_srcptr b, arb_srcptr x, slong prec, CachedConstant* log_beta) {
  const slong wp = prec + ArbBetaExtraBits(a, b, x, prec);
  // Short parameters (2, 2.5) have exact gamma functions in Arb, cheaper
  // than the logarithms here.
  if (log_beta != nullptr && prec < kArbBetaLongBits && std::max(arb_bits(a), arb_bits(b)) > 8) {
    // I_x(a, b) = x^a 2F1(a, 1 - b; a + 1; x) / (a B(a, b)), what Arb's
    // function computes, with B(a, b) from the caller's log B.
    Ball c, d;
    arb_sub_ui(c, b, 1, wp);
    arb_neg(c, c);
    arb_add_ui(d, a, 1, wp);
    arb_hypgeom_2f1(res, a, c, d, x, 0, wp);
    const double size = std::fabs(Mid(a) * std::log(Mid(x))) + std::fabs(std::log(Mid(a)));
    const slong ep = PrefactorBits(wp, size);
    arb_log(c, x, ep);
    arb_mul(c, c, a, ep);
    arb_log(d, a, ep);
    arb_sub(c, c, d, ep);
    arb_sub(c, c, log_beta->At(ep), ep);
    arb_exp(c, c, wp);
    arb_mul(res, res, c, wp);
    return;
  }
  if (mag_is_zero(arb_radref(x)) || prec < kArbBetaLongBits) {
    arb_hypgeom_beta_lower(res, a, b, x, 1, wp);
    return;
  }
  Ball density;
  BetaDensityBall(density, a, b, x);
  AtMidpoint(res, x, density, [&](arb_ptr r, arb_srcptr at) {
    arb_hypgeom_beta_lower(r, a, b, at, 1, mag_is_zero(arb_radref(at)) ? wp + 16 : wp);
  });
}

// I_x(a, b) by Arb where it is reliable, else by the series.
void BetaLowerAny(arb_ptr res, arb_srcptr a, arb_srcptr b, arb_srcptr x, arb_srcptr y, slong prec,
                  CachedConstant* log_beta) {
  if (ArbBetaReliable(Mid(a), Mid(b))) {
    // Charged as a few hundred series terms, about what it costs.
    ChargeWork(prec, 300);
    ArbBetaLower(res, a, b, x, prec, log_beta);
    if (arb_is_finite(res)) return;
  }
  BetaLowerSeries(res, a, b, x, y, prec);
}

}  // namespace

// 1 - c for a ball c in [0, 1].
void Complement(arb_ptr res, arb_srcptr c, slong prec) {
  arb_sub_si(res, c, 1, prec);
  arb_neg(res, res);
}

// Bits lost when 1 - c is formed at prec (all of them when the ball of
// 1 - c contains 0).
double ComplementLoss(arb_srcptr c, slong prec) {
  Ball d;
  Complement(d, c, prec);
  if (arb_contains_zero(d)) return static_cast<double>(prec);
  slong e = arf_abs_bound_lt_2exp_si(arb_midref(d.get()));  // |1 - c| < 2^e
  return e >= -1 ? 0.0 : static_cast<double>(-e - 1);
}

void BetaLowerSeries(arb_ptr res, arb_srcptr a, arb_srcptr b, arb_srcptr x, arb_srcptr y, slong prec) {
  const double ad = Mid(a), bd = Mid(b), xd = Mid(x), yd = Mid(y);
  double direct = BetaSeriesTerms(ad, bd, xd, prec);
  double swapped = BetaSeriesTerms(bd, ad, yd, prec);
  if (swapped < direct) {
    // 1 - I_y(b, a), unless the complement cancels more than the direct
    // series costs.
    Ball c;
    BetaSeriesCore(c, b, a, y, x, prec);
    double loss = arb_is_finite(c) ? ComplementLoss(c, prec) : 1e300;
    if (loss <= 2.0) {
      Complement(res, c, prec);
      return;
    }
    double extra = loss + 16.0;
    if (direct > 4.0 * swapped * (1.0 + extra / static_cast<double>(prec)) && extra < 64.0 * prec) {
      BetaSeriesCore(c, b, a, y, x, prec + static_cast<slong>(extra));
      Complement(res, c, prec);
      return;
    }
  }
  BetaSeriesCore(res, a, b, x, y, prec);
}

void BetaTail(arb_ptr res, arb_srcptr a, arb_srcptr b, arb_srcptr x, arb_srcptr y, bool upper, slong prec,
              CachedConstant* log_beta) {
  host::CheckInterrupt();  // one evaluation at high precision can take a second
  // Wanted: I_X(A, B).
  arb_srcptr A = upper ? b : a, B = upper ? a : b, X = upper ? y : x, Y = upper ? x : y;
  if (arb_is_zero(X)) {
    arb_zero(res);
    return;
  }
  if (arb_is_zero(Y)) {
    arb_one(res);
    return;
  }
  // With a large parameter Arb's evaluation slows down by orders of
  // magnitude, while the series is short wherever its ratio stays small.
  const double ad = Mid(A), bd = Mid(B);
  if (std::max(ad, bd) > 1000.0) {
    const double budget = 4.0 * static_cast<double>(prec) + 100.0;
    if (BetaSeriesTerms(ad, bd, Mid(X), prec) <= budget) {
      BetaSeriesCore(res, A, B, X, Y, prec);
      return;
    }
    if (BetaSeriesTerms(bd, ad, Mid(Y), prec) <= budget) {
      Ball c;
      BetaSeriesCore(c, B, A, Y, X, prec);
      if (arb_is_finite(c) && ComplementLoss(c, prec) <= 2.0) {
        Complement(res, c, prec);
        return;
      }
    }
  }
  // B(a, b) = B(b, a): log_beta serves either orientation.
  if (Mid(X) <= 0.5) {
    BetaLowerAny(res, A, B, X, Y, prec, log_beta);
    return;
  }
  // X > 1/2: the complement is taken at its small argument Y, unless the
  // wanted value is itself small.
  Ball c;
  BetaLowerAny(c, B, A, Y, X, prec, log_beta);
  if (arb_is_finite(c) && ComplementLoss(c, prec) <= 2.0) {
    Complement(res, c, prec);
    return;
  }
  BetaLowerAny(res, A, B, X, Y, prec, log_beta);
}

}  // namespace quarn::numerics
