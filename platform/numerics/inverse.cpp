// Deviates: the root of tail(w) = q for a tail that is log-concave in w,
// correctly rounded through the caller's map from w to the deviate.
//
// Three phases, with h(w) = tail(w) - q, h' = direction * density and
// h'' = h' l' for the slope l' of the log density:
//  1. Halley (or Newton) on log tail(w) - log q with 64-bit balls, kept
//     inside a bracket. A log-concave tail makes this concave and monotone in
//     w, so Newton converges from any start; the bracket guards Halley's
//     steps and against rounding.
//  2. Halley on h, w - d / (1 - d l' / 2) for d = h / h', tripling the
//     precision with each step, until w carries a third of the working
//     precision plus guard bits (and a margin).
//  3. One interval step at the full precision over a small ball X around w.
//     Newton's N1 = w - h(w) / h'(X) lying inside X proves a single root
//     there, in N1 (mean value theorem). Taylor's theorem then puts it in
//     N2 = w - (h(w) + h''(X) E^2 / 2) / h'(w) for E = N1 - w, which is about
//     |d|^3 wide: the step triples the bits of w once more. The deviate is
//     accepted only when the image of N1 and N2's intersection rounds to one
//     float; otherwise the step is repeated from it, at a higher precision
//     when it was already as narrow as the precision allows.
#include <arb_hypgeom.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "platform/host/host.h"
#include "platform/numerics/internal.h"

namespace quarn::numerics {

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

double Mid(arb_srcptr x) { return arf_get_d(arb_midref(x), ARF_RND_NEAR); }

// The tail at the point w to at least min_bits of relative accuracy, raising
// the precision by the bits a first evaluation lost: a tail computed as the
// complement of a value near 1, or from inputs rounded at the working
// precision, can lose many. False when no precision up to a cap gets there.
bool TailAccurate(arb_ptr t, const TailProblem& pb, arb_srcptr w, slong prec, slong min_bits) {
  const slong cap = 64 * prec + 8192;
  for (slong p = prec;;) {
    if (WorkExhausted()) return false;
    pb.tail(t, w, p);
    // A ball that contains 0 has no relative accuracy at all (Arb reports
    // it as minus the largest slong): count it as none of p's bits.
    const slong acc = arb_is_finite(t) ? std::max(arb_rel_accuracy_bits(t), -p) : -p;
    if (arb_is_positive(t) && acc >= min_bits) return true;
    if (p >= cap) return false;
    p = std::min(cap, p + std::max(p / 2, min_bits - acc + 32));
  }
}

// Phase 1. Returns w and, in *good_bits, the bits of absolute accuracy it
// carries: the error of the last step, with the noise of the 64-bit tail and
// of doubles added, at most what a double holds.
//
// With g = log tail - log q, g' = s = direction * density / tail and
// g'' = s (l' - s), where l' is the slope of the log density, Halley's step
// is n / (1 - n (l' - s) / 2) for the Newton step n = g / s. It is taken
// when it stays within a factor 2 of Newton's, else Newton's.
// The log tail (with its error), the log density and its slope at w for
// phase 1: in double precision where the problem offers that, else on balls
// at 64 bits. False when the tail cannot be evaluated.
bool PointAt(const TailProblem& pb, double w, LogTail* tail, double* log_density, double* density_slope) {
  if (pb.double_point && (*pb.double_point)(w, tail, log_density, density_slope)) return true;
  Ball wb, t, ld;
  arb_set_d(wb, w);
  if (!TailAccurate(t, pb, wb, 64, 40)) return false;
  tail->value = LogDouble(t);
  tail->error = std::ldexp(1.0, -static_cast<int>(std::min<slong>(arb_rel_accuracy_bits(t), 1000)));
  pb.log_density(ld, wb, 64);
  *log_density = Mid(ld);
  pb.log_density_slope(ld, wb, 64);
  *density_slope = Mid(ld);
  return true;
}

double LowPrecisionNewton(const TailProblem& pb, slong* good_bits) {
  const double log_q = LogDouble(pb.target);
  double w = pb.start, lo = -kInf, hi = kInf;
  double err = kInf;
  for (int it = 0; it < 400; ++it) {
    LogTail tail;
    double log_density = 0.0, density_slope = 0.0;
    if (!ChargeWork(64) || !PointAt(pb, w, &tail, &log_density, &density_slope)) {
      err = kInf;
      break;
    }
    const double log_t = tail.value;
    double g = log_t - log_q;
    double slope = pb.direction * std::exp(log_density - log_t);
    // The error in w that the tail's error and the doubles leave.
    const double noise = (tail.error + 0x1p-52 * (std::fabs(log_t) + std::fabs(log_q))) / std::fabs(slope) +
                         0x1p-52 * std::fabs(w);
    if (g == 0.0) {
      err = noise;
      break;
    }
    // The root lies above w when the tail is too small and increasing, or
    // too large and decreasing.
    (g * pb.direction < 0 ? lo : hi) = w;
    const double n = g / slope;
    const double halley = 1.0 - 0.5 * n * (density_slope - slope);
    const bool cubic = halley > 0.5 && halley < 2.0;
    double next = w - (cubic ? n / halley : n);
    // A step from where the tail is flat (log-concavity makes Newton
    // overshoot from that side) is kept to a few units plus a quarter of |w|:
    // far out the tail of a distribution with a huge shape is astronomically
    // small and costly to evaluate, and the bracket from the next point
    // catches up fast.
    const double max_step = 8.0 + 0.25 * std::fabs(w);
    if (std::fabs(next - w) > max_step) next = w + (next > w ? max_step : -max_step);
    // A step below the resolution of w: w is as good as a double gets (the
    // bracket test below would take the unchanged point for one outside).
    if (next == w) {
      err = noise;
      break;
    }
    const bool inside = next > lo && next < hi && std::isfinite(next);
    if (!inside) {
      if (std::isfinite(lo) && std::isfinite(hi)) {
        next = 0.5 * (lo + hi);
      } else if (std::isfinite(lo)) {
        next = lo + 2.0 * (1.0 + std::fabs(lo));
      } else {
        next = hi - 2.0 * (1.0 + std::fabs(hi));
      }
    }
    const double step = std::fabs(next - w);
    w = next;
    // After a step of size s the error is about 64 s^3 (Halley) or 16 s^2
    // (Newton), with margins. Phase 2 takes over once that is below 2^-40:
    // its steps at rising precision are cheaper than further ones here.
    const double step_err = cubic ? 64.0 * step * step * step : 16.0 * step * step;
    err = !inside ? kInf : step_err + noise;
    // Done once w is good to 40 bits, or as good as the tail's error lets
    // the steps make it.
    if (err <= 0x1p-40 || (inside && step_err <= noise)) break;
    if (std::isfinite(lo) && std::isfinite(hi) && hi - lo <= 0x1p-40 * std::max(1.0, std::fabs(w))) {
      err = hi - lo;
      break;
    }
  }
  *good_bits = err > 0.0 ? std::clamp(static_cast<slong>(-std::log2(err)), slong{0}, slong{52}) : 52;
  return w;
}

// tail(w) - q, the Newton numerator, with the tail accurate to the bits of w
// that prec carries; false when the tail cannot be made that accurate.
bool Residual(arb_ptr h, const TailProblem& pb, arb_srcptr w, slong prec, slong wbits) {
  if (!TailAccurate(h, pb, w, prec, prec - wbits - 24)) return false;
  arb_sub(h, h, pb.target, prec);
  return true;
}

// The derivative of the tail in w over the ball w: direction * density.
void Slope(arb_ptr d, const TailProblem& pb, arb_srcptr w, slong prec) {
  pb.log_density(d, w, prec);
  arb_exp(d, d, prec);
  if (pb.direction < 0) arb_neg(d, d);
}

// -log2 |delta| for a correction delta (cap when it is 0): the bits of
// absolute accuracy that the point it corrects had.
slong CorrectionBits(arb_srcptr delta, slong cap) {
  if (arf_is_zero(arb_midref(delta))) return cap;
  return std::clamp<slong>(-arf_abs_bound_lt_2exp_si(arb_midref(delta)), 0, cap);
}

// x = 1 / (1 + e^-w) and y = 1 - x = 1 / (1 + e^w), neither as 1 minus the
// other (so that neither loses accuracy near 0).
void LogitInverse(arb_ptr x, arb_ptr y, arb_srcptr w, slong prec) {
  // With e = e^-|w|, the larger of the two is 1 / (1 + e) and the smaller
  // e / (1 + e): one exponential.
  const bool positive = arf_sgn(arb_midref(w)) >= 0;
  Ball e;
  positive ? arb_neg(e, w) : arb_set(e, w);
  arb_exp(e, e, prec);
  arb_ptr larger = positive ? x : y, smaller = positive ? y : x;
  arb_add_ui(larger, e, 1, prec);
  arb_inv(larger, larger, prec);
  arb_mul(smaller, e, larger, prec);
}

// X = w +- radius.
void Around(arb_ptr x, arb_srcptr w, const mag_t radius) {
  arb_set(x, w);
  mag_set(arb_radref(x), radius);
}

}  // namespace

bool SolveTail(QuarnFloat* out, const TailProblem& pb) {
  const slong bits = TargetBits();
  slong good = 0;
  const double w0 = LowPrecisionNewton(pb, &good);
  // Integer bits of w: w must be carried to absolute accuracy.
  const slong wbits = MagnitudeBits(w0);
  const slong want = bits + kGuardBits;
  // From a w good to g bits the enclosure of phase 3 is good to about
  // 3g - 6 bits (it is some 64 delta^3 wide for a correction delta), so
  // phase 2 stops at a third of the bits wanted, with a margin for larger
  // constants (large shape parameters).
  const slong enough = want / 3 + 8;
  Ball w, h, d, l1, delta;
  arb_set_d(w, w0);

  // Phase 2: Halley at tripling precision (a stalled iteration is left to
  // phase 3 to reject).
  for (int step_count = 0; good < enough && step_count < 64 && !WorkExhausted(); ++step_count) {
    host::CheckInterrupt();  // each step evaluates the probability at high precision
    // Aim this step at the bits from which the steps left, each tripling
    // them, just reach enough: no step carries more precision than needed.
    slong target = enough;
    for (slong t = enough; t > 3 * good + 16;) {
      t = t / 3 + 8;
      target = t;
    }
    slong p = std::min(3 * good + 32, target + 24) + wbits;
    if (!Residual(h, pb, w, p, wbits)) break;
    // d = h / h' and the factor 1 - d l' / 2 need 2 good bits and more (the
    // step is good to 3 good bits), l' only good bits and more.
    const slong dp = std::min(2 * good + 48, p);
    Slope(d, pb, w, dp);
    arb_div(delta, h, d, p);
    pb.log_density_slope(l1, w, good + 48);
    arb_mul(l1, l1, delta, dp);
    arb_mul_2exp_si(l1, l1, -1);
    arb_sub_ui(l1, l1, 1, dp);
    arb_neg(l1, l1);
    arb_div(delta, delta, l1, p);
    if (!arb_is_finite(delta)) break;
    arb_sub(w, w, delta, p);
    mag_zero(arb_radref(w.get()));
    // A Halley step of size 2^-c leaves about 3c - 6 bits (with a margin).
    const slong after = 3 * CorrectionBits(delta, p) - 6;
    good = std::max(good + 1, std::min({after, p - wbits - 16, 3 * good + 16}));
  }

  // Phase 3: the second-order interval step; the enclosure must round to a
  // single float.
  slong p = want + wbits + 16;
  Ball x, n1, n2, e, image, slope_w;
  bool ok = false, restepped = false;
  *out = floats::Compute([&](mpfr_ptr z) {
    for (int round = 0; round < 12 && !ok && ChargeWork(p); ++round) {
      host::CheckInterrupt();
      mag_zero(arb_radref(w.get()));
      if (!Residual(h, pb, w, p, wbits)) break;
      // h'(w) at p: the correction below needs it to 64 bits, N2 to p - g
      // + 32 (one evaluation serves both where g >= 32).
      Slope(slope_w, pb, w, p);
      arb_div(delta, h, slope_w, 64);
      // X = w +- (2 |delta| + 2^-(p - wbits)).
      mag_t r;
      mag_init(r);
      arb_get_mag(r, delta);
      mag_mul_2exp_si(r, r, 1);
      mag_add_ui_2exp_si(r, r, 1, -(p - wbits));
      Around(x, w, r);
      mag_clear(r);
      // With |delta| = 2^-g, N1 is about 2g bits wide. Where that can
      // decide the rounding (at low precision, where phase 1 gave w enough
      // bits) N1 is tried first, and h'(X) needs p - g bits for it. Else N1
      // only bounds E, and h'(X) needs about g bits beyond those of the
      // second-order term (3g wanted of p); h'(w) needs p - g, the bits that
      // remain after dividing h(w) by it.
      const slong g = std::max<slong>(0, CorrectionBits(delta, p) - 2);
      const bool newton_may_do = 2 * g >= bits + 16;
      const slong low = std::max<slong>(64, newton_may_do ? p - g + 32 : std::max(g + 32, p - 2 * g + 32));
      Slope(d, pb, x, low);
      arb_div(n1, h, d, p);
      arb_sub(n1, w, n1, p);
      if (arb_is_finite(n1) && arb_contains(x, n1)) {
        if (newton_may_do) {
          pb.result(image, n1, p);
          if (RoundUnique(z, image)) {
            ok = true;
            return;
          }
        }
        // N2 = w - (h(w) + h'(X) l'(X) E^2 / 2) / h'(w).
        arb_sub(e, n1, w, p);
        arb_sqr(e, e, low);
        pb.log_density_slope(l1, x, low);
        arb_mul(l1, l1, d, low);
        arb_mul(e, e, l1, low);
        arb_mul_2exp_si(e, e, -1);
        arb_add(e, e, h, p);
        if (g >= 32) {
          arb_div(e, e, slope_w, p);
        } else {
          Slope(d, pb, w, std::max<slong>(64, p - g + 32));
          arb_div(e, e, d, p);
        }
        arb_sub(n2, w, e, p);
        // Both enclose the root, so they meet.
        if (!arb_intersection(n2, n1, n2, p)) break;
        pb.result(image, n2, p);
        if (RoundUnique(z, image)) {
          ok = true;
          return;
        }
        // An enclosure as narrow as p allows straddles a rounding boundary:
        // raise the precision. A wider one from a w that phase 2 left short
        // is given one more step from the better point at the same
        // precision.
        if (restepped || mag_cmp_2exp_si(arb_radref(n2.get()), -(p - wbits - 32)) <= 0) {
          p += p / 2;
        } else {
          restepped = true;
        }
        arf_set(arb_midref(w.get()), arb_midref(n2.get()));
        continue;
      }
      // Not yet converged: continue from the point Newton gives.
      if (arb_is_finite(n1)) {
        arf_set(arb_midref(w.get()), arb_midref(n1.get()));
      } else {
        arb_sub(w, w, delta, p);
      }
    }
    pb.result(image, w, p);
    arf_get_mpfr(z, arb_midref(image.get()), MPFR_RNDN);
  });
  return ok;
}

// ------------------------------------------------------------ start values

double LogDouble(arb_srcptr q) {
  Ball l;
  arb_log(l, q, 64);
  return Mid(l);
}

namespace {

// Acklam's rational approximation to the standard normal quantile (relative
// error below 1.2e-9), polished by one Halley step on the C library's erfc:
// good to a few ulps for 1e-300 <= q <= 1/2 (to about 1e-13 within 1e-4 of
// 1/2, where q - 1/2 cancels).
double NormalQuantileDouble(double q) {
  static constexpr double a[] = {-3.969683028665376e+01, 2.209460984245205e+02, -2.759285104469687e+02,
                                 1.383577518672690e+02,  -3.066479806614716e+01, 2.506628277459239e+00};
  static constexpr double b[] = {-5.447609879822406e+01, 1.615858368580409e+02, -1.556989798598866e+02,
                                 6.680131188771972e+01, -1.328068155288572e+01};
  static constexpr double c[] = {-7.784894002430293e-03, -3.223964580411365e-01, -2.400758277161838e+00,
                                 -2.549732539343734e+00, 4.374664141464968e+00,  2.938163982698783e+00};
  static constexpr double d[] = {7.784695709041462e-03, 3.224671290700398e-01, 2.445134137142996e+00,
                                 3.754408661907416e+00};
  constexpr double kLow = 0.02425;
  auto tail = [&](double t) {
    return (((((c[0] * t + c[1]) * t + c[2]) * t + c[3]) * t + c[4]) * t + c[5]) /
           ((((d[0] * t + d[1]) * t + d[2]) * t + d[3]) * t + 1.0);
  };
  double x;
  if (q < kLow) {
    x = tail(std::sqrt(-2.0 * std::log(q)));
  } else if (q <= 1.0 - kLow) {
    const double u = q - 0.5, r = u * u;
    x = (((((a[0] * r + a[1]) * r + a[2]) * r + a[3]) * r + a[4]) * r + a[5]) * u /
        (((((b[0] * r + b[1]) * r + b[2]) * r + b[3]) * r + b[4]) * r + 1.0);
  } else {
    x = -tail(std::sqrt(-2.0 * std::log1p(-q)));
  }
  // Halley: e = Phi(x) - q, u = e / phi(x), x - u / (1 + x u / 2).
  const double e = 0.5 * std::erfc(-x / std::sqrt(2.0)) - q;
  const double u = e * std::sqrt(2.0 * M_PI) * std::exp(0.5 * x * x);
  const double polished = x - u / (1.0 + 0.5 * x * u);
  return std::isfinite(polished) ? polished : x;
}

}  // namespace

double NormalQuantileStart(arb_srcptr q) {
  // Above 1/2 by symmetry from 1 - q, formed exactly: Phi(x) - q would cancel.
  if (arf_cmp_2exp_si(arb_midref(q), -1) > 0) {
    Ball c;
    OneMinusExact(c, q);
    const double cd = Mid(c);
    if (cd >= 1e-300) return -NormalQuantileDouble(cd);
  } else if (Mid(q) >= 1e-300) {
    return NormalQuantileDouble(Mid(q));
  }
  Ball z;
  arb_mul_2exp_si(z, q, 1);
  arb_hypgeom_erfcinv(z, z, 64);
  double v = -std::sqrt(2.0) * Mid(z);
  if (std::isfinite(v)) return v;
  // Far tail: -sqrt(-2 log q - log(-2 log q) - log 2 pi), mirrored above 1/2.
  double lq = LogDouble(q);
  double u = -2.0 * lq;
  return -std::sqrt(std::max(0.0, u - std::log(u) - std::log(2.0 * M_PI)));
}

double GammaStart(double a, arb_srcptr q, bool upper) {
  const double lq = LogDouble(q);
  double z = NormalQuantileStart(q);
  if (upper) z = -z;
  // Wilson-Hilferty: the cube root of a gamma variable is nearly normal.
  double c = 1.0 - 1.0 / (9.0 * a) + z / (3.0 * std::sqrt(a));
  double w_wh = c > 0.0 ? std::log(a) + 3.0 * std::log(c) : kInf;
  if (!upper) {
    // P(a, y) <= y^a / Gamma(a + 1), so this bounds the root from below.
    double w_small = (lq + std::lgamma(a + 1.0)) / a;
    return std::isfinite(w_wh) ? std::max(w_small, w_wh) : w_small;
  }
  // Upper tail far out: Q(a, y) ~ y^(a-1) e^-y / Gamma(a).
  double y = std::max(1.0, a) - lq;
  for (int i = 0; i < 8 && y > 0.0; ++i) y = -lq - std::lgamma(a) + (a - 1.0) * std::log(y);
  double w_far = y > 1.0 ? std::log(y) : kInf;
  if (std::isfinite(w_wh) && (!std::isfinite(w_far) || lq > -12.0)) return w_wh;
  if (std::isfinite(w_far)) return w_far;
  return std::log(a);
}

double BetaLogitStart(double a, double b, arb_srcptr q) {
  const double lq = LogDouble(q);
  const double lb = std::lgamma(a) + std::lgamma(b) - std::lgamma(a + b);
  // Near 0, I_x(a, b) ~ x^a / (a B(a, b)). The next term of its series
  // changes that by a factor 1 + x a (1 - b) / (a + 1), which moves the logit
  // by about x |1 - b| / (a + 1) (more as x nears 1): the power law's error.
  double w_power = kInf, err_power = kInf;
  const double lx = (lq + std::log(a) + lb) / a;
  if (lx < 0.0) {
    const double x = std::exp(lx);
    err_power = x * std::fabs(1.0 - b) / ((a + 1.0) * -std::expm1(lx));
    w_power = lx - std::log(-std::expm1(lx));
  }
  // Near 1, 1 - I_x(a, b) ~ y^b / (b B(a, b)) with y = 1 - x.
  const double ly = (std::log1p(-std::exp(lq)) + std::log(b) + lb) / b;
  if (ly < 0.0) {
    const double y = std::exp(ly);
    const double err = y * std::fabs(1.0 - a) / ((b + 1.0) * -std::expm1(ly));
    if (err < err_power) {
      err_power = err;
      w_power = std::log(-std::expm1(ly)) - ly;
    }
  }
  if (err_power <= 0.03) return w_power;
  // In between, for a, b > 1: a normal deviate y corrected for skewness
  // (Abramowitz and Stegun 26.5.22), x = a / (a + b e^(2 w)).
  if (a > 1.0 && b > 1.0) {
    const double y = -NormalQuantileStart(q);
    const double r = (y * y - 3.0) / 6.0, s = 1.0 / (2.0 * a - 1.0), t = 1.0 / (2.0 * b - 1.0);
    const double h = 2.0 / (s + t);
    if (h + r > 0.0) {
      const double w = y * std::sqrt(h + r) / h - (t - s) * (r + 5.0 / 6.0 - 2.0 / (3.0 * h));
      return std::log(a / b) - 2.0 * w;
    }
  }
  if (err_power <= 1.0) return w_power;
  // Otherwise the logit of a beta variable is nearly normal.
  return std::log(a / b) + NormalQuantileStart(q) * std::sqrt(1.0 / a + 1.0 / b);
}

// ------------------------------------------------------------- beta logit

bool SolveBetaLogit(QuarnFloat* out, arb_srcptr a, arb_srcptr b, arb_srcptr q, PointFunction result,
                    double start) {
  const double ad = Mid(a), bd = Mid(b);
  // log B(a, b), for the density of w and the tail.
  CachedConstant log_beta([&](arb_ptr res, slong prec) { LogBeta(res, a, b, prec); }, SolverConstantBits());
  auto tail = [&](arb_ptr res, arb_srcptr w, slong prec) {
    Ball x, y;
    LogitInverse(x, y, w, prec + MagnitudeBits(ad + bd) + 8);
    BetaTail(res, a, b, x, y, false, prec, &log_beta);
  };
  // log density of w: a log x + b log y - log B(a, b).
  auto log_density = [&](arb_ptr res, arb_srcptr w, slong prec) {
    double wd = std::fabs(Mid(w));
    slong wp = prec + MagnitudeBits((ad + bd) * (wd + 1.0) + std::fabs(std::lgamma(ad)) + std::fabs(std::lgamma(bd)));
    // a log(1 + e^-w) + b log(1 + e^w) = (a + b) L + (b w or -a w) for
    // L = log(1 + e^-|w|) and w >= 0 or w < 0: one exponential.
    const bool positive = arf_sgn(arb_midref(w)) >= 0;
    Ball e, t;
    positive ? arb_neg(e, w) : arb_set(e, w);
    arb_exp(e, e, wp);
    arb_log1p(e, e, wp);
    arb_add(t, a, b, wp);
    arb_mul(res, e, t, wp);
    positive ? arb_addmul(res, b, w, wp) : arb_submul(res, a, w, wp);
    arb_add(res, res, log_beta.At(wp), wp);
    arb_neg(res, res);
  };
  // d/dw (a log x + b log y) = a y - b x.
  auto log_density_slope = [&](arb_ptr res, arb_srcptr w, slong prec) {
    slong wp = prec + MagnitudeBits(ad + bd);
    Ball x, y;
    LogitInverse(x, y, w, wp);
    arb_mul(y, y, a, wp);
    arb_submul(y, x, b, wp);
    arb_set_round(res, y, prec);
  };
  auto double_point = [&](double w, LogTail* t, double* ld, double* slope) {
    return BetaLogitDouble(ad, bd, w, t, ld, slope);
  };
  const TailProblem pb{.tail = tail,
                       .log_density = log_density,
                       .log_density_slope = log_density_slope,
                       .result = result,
                       .direction = 1,
                       .target = q,
                       .start = std::isfinite(start) ? start : BetaLogitStart(ad, bd, q),
                       .double_point = double_point};
  return SolveTail(out, pb);
}

}  // namespace quarn::numerics
