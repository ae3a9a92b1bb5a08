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
bool SumPositiveSeries(arb_ptr s, FunctionRef<void(arb_ptr t, long k)> next,
                       FunctionRef<double(long k)> ratio, slong wp) {
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

// Bits beyond the sum's precision that each term of SumBetaSeries carries:
// a few for the ball's own growth and log2 of the terms a long series adds
// up (each rounded to a fraction 2^-guard of an ulp of the sum).
constexpr slong kTermGuardBits = 16;

// The lowest precision at which a term is computed: below a limb arb works
// no faster.
constexpr slong kTermMinBits = 64;

// When a = m / 2^shift for an integer m below 2^32 and shift <= 16 (2.5,
// 1.75, 3), sets *m and *shift and returns true: a + k is then the integer
// m + k 2^shift over 2^shift, by which a term divides in linear time.
bool ShortShape(arb_srcptr a, ulong* m, slong* shift) {
  if (!arb_is_exact(a) || !arb_is_positive(a)) return false;
  for (slong e = 0; e <= 16; ++e) {
    if (arf_is_int_2exp_si(arb_midref(a), -e)) {
      fmpz_t v;
      fmpz_init(v);
      arf_get_fmpz_fixed_si(v, arb_midref(a), -e);
      const bool fits = fmpz_cmp_ui(v, 1UL << 32) < 0;
      if (fits) *m = fmpz_get_ui(v);
      fmpz_clear(v);
      *shift = e;
      return fits;
    }
  }
  return false;
}

// Fraction bits beyond wp of the fixed-point sum below: its error bound
// grows by a few units in the last place per term.
constexpr slong kFixedGuardBits = 24;

// Sums beyond 2^kFixedMaxBits (terms that grow far before they fall) are
// left to the floating-point loop: the error bound is kept in doubles.
constexpr slong kFixedMaxBits = 900;

// d rounded away from zero by a relative 2^-40: covers the rounding of the
// few double operations of each bound below.
double Up(double d) { return d * (1.0 + 0x1p-40); }

// An upper bound of the ball x as a double.
double UpperBound(arb_srcptr x) {
  arf_t u;
  arf_init(u);
  arb_get_ubound_arf(u, x, 53);
  const double d = Up(arf_get_d(u, ARF_RND_UP));
  arf_clear(u);
  return d;
}

// A bound of every ratio t_(j+1) / t_j, j >= k, of the terms of
// SumBetaSeries, from an upper bound xu of x (see there).
double RatioBound(double xu, double a, double b, long k) {
  const double kd = static_cast<double>(k);
  return Up(std::max(xu * (a + b + kd) / (a + 1.0 + kd), xu));
}

// The sum of SumBetaSeries in fixed point, for a = m / 2^shift short and b
// exact: integers scaled by 2^w, w = wp + kFixedGuardBits, so that a term's
// length falls with its size by itself and no operation carries an exponent
// or a radius. t_k = t_{k-1} F_k / (a + k) where F_k = x (a+b+k-1) grows by
// x from term to term; F_k is cut to the length of the term before the
// product. The error e_k of T_k = t_k 2^w (in units 2^-w) is bounded by
//   e_k <= (e_{k-1} F + (T + e_{k-1}) eF_k + T 2^(j-w) 2^w + 1) 2^shift / D_k + 1
// with D_k = m + k 2^shift, eF_k the error of F_k and 2^j the part of F_k cut
// off (T 2^j < 2^w). Returns false (s untouched) where it does not apply.
bool SumBetaSeriesFixed(arb_ptr s, ulong m, slong shift, arb_srcptr a, arb_srcptr b, arb_srcptr x, slong wp) {
  if (!arb_is_exact(b)) return false;
  const slong w = wp + kFixedGuardBits;
  const double ad = Mid(a), bd = Mid(b);
  const double xu = UpperBound(x);
  // Errors of X = x 2^w and F_1 = x (a+b) 2^w, in units 2^-w: the radius
  // of x scaled, and one unit for the cut to an integer.
  auto units = [&](arb_srcptr v) {
    mag_t r;
    mag_init(r);
    mag_mul_2exp_si(r, arb_radref(v), w);
    const double d = mag_cmp_2exp_si(r, 1000) < 0 ? Up(mag_get_d(r)) + 1.0 : HUGE_VAL;
    mag_clear(r);
    return d;
  };
  fmpz_t X, F, T, P, S;
  fmpz_init(X);
  fmpz_init(F);
  fmpz_init(T);
  fmpz_init(P);
  fmpz_init(S);
  Ball fx;
  arb_add(fx, a, b, ARF_PREC_EXACT);
  arb_mul(fx, fx, x, w + 64);
  arf_get_fmpz_fixed_si(X, arb_midref(x), -w);
  arf_get_fmpz_fixed_si(F, arb_midref(fx.get()), -w);
  const double ex = units(x);
  const double ef1 = units(fx) + 1.0;
  fmpz_one(T);
  fmpz_mul_2exp(T, T, static_cast<ulong>(w));
  fmpz_set(S, T);
  double e = 0.0, e_sum = 0.0, rest = HUGE_VAL;
  bool ok = std::isfinite(ex) && std::isfinite(ef1);
  for (long k = 1; ok; ++k) {
    if (k > kMaxTerms || !ChargeWork(wp)) {
      ok = false;
      break;
    }
    if (k % 64 == 0) host::CheckInterrupt();
    const slong bits = static_cast<slong>(fmpz_bits(T));
    if (bits > w + kFixedMaxBits) {
      ok = false;
      break;
    }
    // T / 2^w and F / 2^w as doubles rounded up.
    slong te, fe;
    const double tm = fmpz_get_d_2exp(&te, T), fm = fmpz_get_d_2exp(&fe, F);
    const double td = Up(std::ldexp(tm, static_cast<int>(te - w))), fd = Up(std::ldexp(fm, static_cast<int>(fe - w)));
    const slong j = std::max<slong>(0, w - bits);
    fmpz_fdiv_q_2exp(P, F, static_cast<ulong>(j));
    fmpz_mul(P, P, T);
    fmpz_fdiv_q_2exp(P, P, static_cast<ulong>(w - j));
    fmpz_mul_2exp(P, P, static_cast<ulong>(shift));
    const ulong d = m + (static_cast<ulong>(k) << shift);
    fmpz_fdiv_q_ui(T, P, d);
    fmpz_add(S, S, T);
    const double efk = ef1 + static_cast<double>(k - 1) * ex;
    // The cut of F_k costs T 2^j / 2^w < 1 unit, the two floors one each;
    // 1 more covers the bound's own underflow to 0 of tiny parts.
    e = Up(Up(e * fd + Up((td + Up(std::ldexp(e, static_cast<int>(-w)))) * efk) + 2.0) *
           std::ldexp(1.0, static_cast<int>(shift)) / static_cast<double>(d)) + 2.0;
    e_sum = Up(e_sum + e);
    fmpz_add(F, F, X);
    const double r = RatioBound(xu, ad, bd, k);
    if (r < 1.0 - 1e-12) {
      slong tn;
      const double tnm = fmpz_get_d_2exp(&tn, T);
      const double t_units = Up(std::ldexp(tnm, static_cast<int>(std::min<slong>(tn, 1000)))) + e;
      rest = Up(t_units * r / (1.0 - r));
      if (tn < 1000 && rest <= std::ldexp(1.0, kFixedGuardBits - 2)) break;
    }
  }
  if (ok) {
    arb_set_fmpz(s, S);
    arb_mul_2exp_si(s, s, -w);
    mag_t err;
    mag_init(err);
    mag_set_d(err, Up(e_sum + rest));
    mag_mul_2exp_si(err, err, -w);
    arb_add_error_mag(s, err);
    mag_clear(err);
  }
  fmpz_clear(X);
  fmpz_clear(F);
  fmpz_clear(T);
  fmpz_clear(P);
  fmpz_clear(S);
  return ok;
}

// Terms beyond which the rational sum below is not used: Arb's sum runs
// without looking at the host's interrupt, which the loops of the other
// forms do every 64 terms.
constexpr long kRationalMaxTerms = 1L << 16;

// The sum of SumBetaSeries when a and b are both short (2, 4.5): its first
// n terms by Arb's sum of hypergeometric terms with rational parameters,
// which splits the sum into rectangles so that the long multiplications are
// only those by powers of x, the rest by small integers (a fifth of the
// term-by-term cost at 1800 bits). n is where the terms, followed in doubles,
// fall 2^-(wp+8) below the largest; the rest after t_(n-1) is bounded as
// in SumBetaSeries from t_(n-1) at kBoundBits, n doubled if that bound is
// not small enough. Returns false (s indeterminate) for a sum longer than
// kRationalMaxTerms or past the work limit.
bool SumBetaSeriesRational(arb_ptr s, arb_srcptr a, arb_srcptr b, arb_srcptr x, slong wp) {
  const double ad = Mid(a), bd = Mid(b), xd = Mid(x);
  const double xu = UpperBound(x);
  long n = 0;
  {
    const double target = static_cast<double>(wp + 8) * M_LN2;
    double log_t = 0.0, log_max = 0.0;
    for (long k = 1; n == 0; ++k) {
      if (k > kRationalMaxTerms) return false;
      const double kd = static_cast<double>(k);
      log_t += std::log(xd * (ad + bd + kd - 1.0) / (ad + kd));
      log_max = std::max(log_max, log_t);
      if (log_t < log_max - target && RatioBound(xu, ad, bd, k) < 1.0) n = k + 1;
    }
  }
  fmpq_t p, q;
  fmpq_init(p);
  fmpq_init(q);
  arf_get_fmpq(p, arb_midref(a));
  fmpq_add_si(q, p, 1);  // a + 1
  fmpq_t bq;
  fmpq_init(bq);
  arf_get_fmpq(bq, arb_midref(b));
  fmpq_add(p, p, bq);  // a + b
  fmpq_clear(bq);
  bool ok = false;
  Ball t, u;
  for (; n <= 4 * kRationalMaxTerms && ChargeWork(wp, n); n *= 2) {
    arb_hypgeom_sum_fmpq_arb(s, p, 1, q, 1, x, 0, n, wp);
    // t_(n-1) = x^(n-1) (a+b)_(n-1) / (a+1)_(n-1)
    const ulong last = static_cast<ulong>(n - 1);
    arb_pow_ui(t, x, last, kBoundBits);
    arb_set_fmpq(u, p, kBoundBits);
    arb_hypgeom_rising_ui(u, u, last, kBoundBits);
    arb_mul(t, t, u, kBoundBits);
    arb_set_fmpq(u, q, kBoundBits);
    arb_hypgeom_rising_ui(u, u, last, kBoundBits);
    arb_div(t, t, u, kBoundBits);
    const double r = RatioBound(xu, ad, bd, n - 1);
    if (r < 1.0 && TailSmall(t, r, s, wp)) {
      ok = true;
      break;
    }
  }
  fmpq_clear(p);
  fmpq_clear(q);
  if (!ok) arb_indeterminate(s);
  return ok;
}

// s = sum_k (a+b)_k / (a+1)_k x^k at wp bits, with a rigorous bound on the
// rest; false (s indeterminate) past kMaxTerms or the work limit.
//
// The term t_k = t_{k-1} x (a+b+k-1) / (a+k) is computed at the bits still
// significant in the sum: wp + log2(t_k / s) + kTermGuardBits, so that a
// series that converges geometrically costs, term for term, about a third
// of what it costs at full precision. The factor x (a+b+k-1) is kept at wp
// and grows by x from term to term (linear time), which leaves one long
// multiplication and one division per term; the division is by a machine
// word when a is short (2.5 + k = (5 + 2k) / 2).
//
// The ratio after t_k, r_k = x (a+b+k) / (a+1+k), moves monotonically
// towards x, so the larger of r_k and x bounds every later ratio.
//
// With a and b both short the sum is SumBetaSeriesRational's; with a short
// and b exact, SumBetaSeriesFixed's; the loop here takes the rest.
bool SumBetaSeries(arb_ptr s, arb_srcptr a, arb_srcptr b, arb_srcptr x, slong wp) {
  const double ad = Mid(a), bd = Mid(b), xu = UpperBound(x);
  ulong m = 0;
  slong shift = 0;
  const bool short_a = ShortShape(a, &m, &shift);
  if (short_a) {
    ulong mb;
    slong shift_b;
    if (ShortShape(b, &mb, &shift_b) && SumBetaSeriesRational(s, a, b, x, wp)) return true;
    if (SumBetaSeriesFixed(s, m, shift, a, b, x, wp)) return true;
  }
  Ball t, factor, rounded, den;
  arb_add(factor, a, b, wp);
  arb_mul(factor, factor, x, wp);  // x (a+b+k-1) for k = 1
  arb_one(s);
  arb_one(t);
  for (long k = 1; k <= kMaxTerms && ChargeWork(wp); ++k) {
    if (k % 64 == 0) host::CheckInterrupt();
    // t_k is within a few bits of t_{k-1} (the ratio is below 2 once the
    // terms matter), which the guard covers.
    const slong et = arf_abs_bound_lt_2exp_si(arb_midref(t.get()));
    const slong es = arf_abs_bound_lt_2exp_si(arb_midref(s));
    const slong tp = std::min(wp, std::max(kTermMinBits, wp + et - es + kTermGuardBits));
    arb_set_round(rounded, factor, tp);
    arb_mul(t, t, rounded, tp);
    const ulong kk = static_cast<ulong>(k);
    if (short_a && kk < (1UL << (40 - shift))) {
      arb_mul_2exp_si(t, t, shift);
      arb_div_ui(t, t, m + (kk << shift), tp);
    } else {
      arb_add_ui(den, a, kk, tp);
      arb_div(t, t, den, tp);
    }
    arb_add(s, s, t, wp);
    arb_add(factor, factor, x, wp);
    const double r = RatioBound(xu, ad, bd, k);
    if (r < 1.0 - 1e-12 && TailSmall(t, r, s, wp)) return true;
  }
  arb_indeterminate(s);
  return false;
}

// Terms the series of I_x(a, b) needs for prec bits at x <= 1/2, where its
// ratio x (a+b+k) / (a+1+k) = x (1 + (b-1) / (a+1+k)) soon nears x: the
// N with N log(1/x) = prec log 2 + (b-1) log(1 + N / (a+1)), by a few
// steps of the fixed point iteration (an estimate of cost, not a bound).
double TailSeriesTerms(double a, double b, double x, slong prec) {
  const double need = static_cast<double>(prec) * M_LN2, decay = -std::log(x);
  double n = need / decay;
  for (int i = 0; i < 4; ++i) n = (need + std::max(0.0, b - 1.0) * std::log1p(n / (a + 1.0))) / decay;
  return n;
}

// Parameters up to which the prefactor below takes gamma functions rather
// than their logarithms: Arb's gamma function of a short rational (2.5, 6)
// is a table look-up, while its logarithm costs a logarithm at full
// precision; for long parameters the two cost about the same.
constexpr double kGammaPrefactorMax = 1000.0;

// x^a y^b / (a B(a, b)) = exp(a log x + b log y) Gamma(a+b) / (Gamma(a+1)
// Gamma(b)), to relative accuracy about 2^-wp; with the caller's log B(a, b)
// when it keeps one (B(a, b) = B(b, a): either orientation).
void BetaSeriesPrefactor(arb_ptr pre, arb_srcptr a, arb_srcptr b, arb_srcptr x, arb_srcptr y, slong wp,
                         CachedConstant* log_beta) {
  const double ad = Mid(a), bd = Mid(b), xd = Mid(x);
  const bool gammas = log_beta == nullptr && std::max(ad, bd) <= kGammaPrefactorMax;
  double size = std::fabs(ad * std::log(xd)) + std::fabs(bd * std::log1p(-xd)) + 1.0;
  if (!gammas) size += std::fabs(ad * std::log(ad + 1.0)) + std::fabs(bd * std::log(bd + 1.0));
  const slong pp = PrefactorBits(wp, size);
  Ball t;
  arb_log(pre, x, pp);
  arb_mul(pre, pre, a, pp);
  arb_log(t, y, pp);
  arb_mul(t, t, b, pp);
  arb_add(pre, pre, t, pp);
  if (gammas) {
    arb_exp(pre, pre, wp);
    arb_add(t, a, b, wp);
    arb_hypgeom_gamma(t, t, wp);
    arb_mul(pre, pre, t, wp);
    arb_add_ui(t, a, 1, wp);
    arb_hypgeom_gamma(t, t, wp);
    arb_div(pre, pre, t, wp);
    arb_hypgeom_gamma(t, b, wp);
    arb_div(pre, pre, t, wp);
    return;
  }
  arb_log(t, a, pp);
  arb_sub(pre, pre, t, pp);
  if (log_beta != nullptr) {
    arb_sub(pre, pre, log_beta->At(pp), pp);
  } else {
    LogBeta(t, a, b, pp);
    arb_sub(pre, pre, t, pp);
  }
  arb_exp(pre, pre, wp);
}

// I_x(a, b) by the series, in the orientation given; no choice made here.
// When the series is too long to sum but its ratios stay below 1 (x below
// the mean), the result is the enclosure between its first term and the
// geometric bound: wide, but enough for a complement 1 - I_x that it cannot
// move (far tails of huge shapes).
void BetaSeriesCore(arb_ptr res, arb_srcptr a, arb_srcptr b, arb_srcptr x, arb_srcptr y, slong prec,
                    CachedConstant* log_beta = nullptr) {
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
  Ball pre, t;
  BetaSeriesPrefactor(pre, a, b, x, y, wp, log_beta);
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
  Ball s;
  if (!SumBetaSeries(s, a, b, x, wp)) {
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

// Precision from which the series (at falling precision) computes I_x(a, b)
// at x <= 1/2 faster than Arb's function (Digits 25 on); below it Arb's
// function, at a precision of one or two limbs, is faster.
constexpr slong kBetaSeriesBits = 90;

// Series beyond this many times prec terms (x near 1/2 with a large b)
// are left to Arb's function.
constexpr double kSeriesTermsPerBit = 1.25;

// Whether the series rather than Arb's function computes I_x(a, b), x <= 1/2.
bool SeriesBeatsArb(arb_srcptr a, arb_srcptr b, arb_srcptr x, slong prec) {
  if (prec < kBetaSeriesBits) return false;
  return TailSeriesTerms(Mid(a), Mid(b), Mid(x), prec) <= kSeriesTermsPerBit * static_cast<double>(prec);
}

// I_x(a, b) by Arb where it is reliable, else by the series.
void BetaLowerAny(arb_ptr res, arb_srcptr a, arb_srcptr b, arb_srcptr x, arb_srcptr y, slong prec,
                  CachedConstant* log_beta) {
  if (SeriesBeatsArb(a, b, x, prec)) {
    BetaSeriesCore(res, a, b, x, y, prec, log_beta);
    if (arb_is_finite(res)) return;
  }
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
