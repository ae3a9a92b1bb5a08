// Deviates: the root of tail(w) = q for a tail that is log-concave in w,
// correctly rounded through the caller's map from w to the deviate.
//
// Three phases:
//  1. Newton on log tail(w) - log q with 64-bit balls, kept inside a bracket.
//     A log-concave tail makes this concave and monotone in w, so Newton
//     converges from any start; the bracket only guards against rounding.
//  2. Newton on tail(w) - q, doubling the precision with each step, until w
//     carries the working precision plus guard bits.
//  3. One interval Newton step N = w - h(w) / h'(X) over a small ball X
//     around w. When N lies inside X it encloses the root (mean value
//     theorem), and the deviate is accepted only when the image of N rounds
//     to one float; otherwise the precision rises and the step is repeated.
#include <arb_hypgeom.h>

#include <algorithm>
#include <cmath>
#include <limits>

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
    pb.tail(t, w, p);
    slong acc = arb_is_finite(t) ? arb_rel_accuracy_bits(t) : -p;
    if (arb_is_positive(t) && acc >= min_bits) return true;
    if (p >= cap) return false;
    p = std::min(cap, p + std::max(p / 2, min_bits - acc + 32));
  }
}

// Phase 1. Returns the final Newton correction (|step| in w) in *last_step.
double LowPrecisionNewton(const TailProblem& pb, double* last_step) {
  const double log_q = LogDouble(pb.target);
  double w = pb.start, lo = -kInf, hi = kInf;
  *last_step = kInf;
  Ball wb, t, ld;
  for (int it = 0; it < 400; ++it) {
    arb_set_d(wb, w);
    if (!TailAccurate(t, pb, wb, 64, 40)) break;
    double g = LogDouble(t) - log_q;
    pb.log_density(ld, wb, 64);
    double slope = pb.direction * std::exp(Mid(ld) - LogDouble(t));
    if (g == 0.0) {
      *last_step = 0.0;
      return w;
    }
    // The root lies above w when the tail is too small and increasing, or
    // too large and decreasing.
    (g * pb.direction < 0 ? lo : hi) = w;
    double next = w - g / slope;
    if (!(next > lo && next < hi) || !std::isfinite(next)) {
      if (std::isfinite(lo) && std::isfinite(hi)) {
        next = 0.5 * (lo + hi);
      } else if (std::isfinite(lo)) {
        next = lo + 2.0 * (1.0 + std::fabs(lo));
      } else {
        next = hi - 2.0 * (1.0 + std::fabs(hi));
      }
    }
    *last_step = std::fabs(next - w);
    w = next;
    // The tail carries about 40 bits here: stop well above that noise.
    if (*last_step <= 0x1p-32 * std::max(1.0, std::fabs(w))) break;
    if (std::isfinite(lo) && std::isfinite(hi) && hi - lo <= 0x1p-32 * std::max(1.0, std::fabs(w))) break;
  }
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

// Bits of absolute accuracy that a correction of size step leaves after the
// next Newton step (quadratic convergence, with a margin).
slong BitsAfter(double step, slong cap) {
  if (step == 0.0) return cap;
  double b = 2.0 * -std::log2(step) - 4.0;
  return std::clamp(static_cast<slong>(b), slong{8}, cap);
}

}  // namespace

bool SolveTail(QuarnFloat* out, const TailProblem& pb) {
  const slong bits = TargetBits();
  double step = 0.0;
  double w0 = LowPrecisionNewton(pb, &step);
  // Integer bits of w: w must be carried to absolute accuracy.
  const slong wbits = MagnitudeBits(w0);
  const slong want = bits + kGuardBits;
  slong good = BitsAfter(step, 32);
  Ball w, h, d, delta;
  arb_set_d(w, w0);

  // Phase 2: Newton at doubling precision (a stalled iteration is left to
  // phase 3 to reject).
  for (int step_count = 0; good < want && step_count < 64; ++step_count) {
    slong p = std::min(2 * good + 32, want + 16) + wbits;
    if (!Residual(h, pb, w, p, wbits)) break;
    Slope(d, pb, w, good + 48);
    arb_div(delta, h, d, p);
    arb_sub(w, w, delta, p);
    mag_zero(arb_radref(w.get()));
    double s = std::fabs(Mid(delta));
    if (!std::isfinite(s)) break;
    good = std::max(good + 1, std::min(BitsAfter(s, p - wbits - 16), 2 * good + 16));
  }

  // Phase 3: interval Newton; the enclosure must round to a single float.
  slong p = want + wbits + 16;
  Ball x, n, image;
  bool ok = false;
  *out = floats::Compute([&](mpfr_ptr z) {
    for (int round = 0; round < 12 && !ok; ++round) {
      mag_zero(arb_radref(w.get()));
      if (!Residual(h, pb, w, p, wbits)) break;
      Slope(d, pb, w, 64);
      arb_div(delta, h, d, 64);
      // X = w +- (2 |delta| + 2^-(p - wbits)).
      arb_set(x, w);
      mag_t r;
      mag_init(r);
      arb_get_mag(r, delta);
      mag_mul_2exp_si(r, r, 1);
      mag_add_ui_2exp_si(r, r, 1, -(p - wbits));
      mag_set(arb_radref(x.get()), r);
      mag_clear(r);
      double s = std::fabs(Mid(delta));
      slong dp = std::max<slong>(64, p - BitsAfter(s, p) / 2 + 32);
      Slope(d, pb, x, dp);
      arb_div(n, h, d, p);
      arb_sub(n, w, n, p);
      if (arb_is_finite(n) && arb_contains(x, n)) {
        pb.result(image, n, p);
        if (RoundUnique(z, image)) {
          ok = true;
          return;
        }
        p += p / 2;  // the enclosure straddles a rounding boundary
      }
      // Not yet converged: continue from the point Newton gives.
      arf_set(arb_midref(w.get()), arb_midref(n.get()));
      if (!arb_is_finite(n)) {
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

double NormalQuantileStart(arb_srcptr q) {
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
  // Near 0, I_x(a, b) ~ x^a / (a B(a, b)).
  double lx = (lq + std::log(a) + lb) / a;
  if (lx < -1e-3) return lx - std::log(-std::expm1(lx));
  // Near 1, 1 - I_x(a, b) ~ y^b / (b B(a, b)) with y = 1 - x.
  double ly = (std::log1p(-std::exp(lq)) + std::log(b) + lb) / b;
  if (ly < -1e-3) return std::log(-std::expm1(ly)) - ly;
  // Otherwise the logit of a beta variable is nearly normal.
  return std::log(a / b) + NormalQuantileStart(q) * std::sqrt(1.0 / a + 1.0 / b);
}

// ------------------------------------------------------------- beta logit

bool SolveBetaLogit(QuarnFloat* out, arb_srcptr a, arb_srcptr b, arb_srcptr q,
                    const std::function<void(arb_ptr, arb_srcptr w, slong prec)>& result) {
  const double ad = Mid(a), bd = Mid(b);
  TailProblem pb;
  // x = 1 / (1 + e^-w) and y = 1 / (1 + e^w), each computed directly.
  pb.tail = [&](arb_ptr res, arb_srcptr w, slong prec) {
    slong wp = prec + MagnitudeBits(ad + bd) + 8;
    Ball x, y, e;
    arb_neg(e, w);
    arb_exp(e, e, wp);
    arb_add_ui(x, e, 1, wp);
    arb_inv(x, x, wp);
    arb_exp(e, w, wp);
    arb_add_ui(y, e, 1, wp);
    arb_inv(y, y, wp);
    BetaTail(res, a, b, x, y, false, prec);
  };
  // log density of w: a log x + b log y - log B(a, b).
  pb.log_density = [&](arb_ptr res, arb_srcptr w, slong prec) {
    double wd = std::fabs(Mid(w));
    slong wp = prec + MagnitudeBits((ad + bd) * (wd + 1.0) + std::fabs(std::lgamma(ad)) + std::fabs(std::lgamma(bd)));
    Ball e, t;
    arb_neg(e, w);
    arb_exp(e, e, wp);
    arb_log1p(e, e, wp);
    arb_mul(res, e, a, wp);
    arb_exp(e, w, wp);
    arb_log1p(e, e, wp);
    arb_mul(t, e, b, wp);
    arb_add(res, res, t, wp);
    LogBeta(t, a, b, wp);
    arb_add(res, res, t, wp);
    arb_neg(res, res);
  };
  pb.result = result;
  pb.direction = 1;
  pb.target = q;
  pb.start = BetaLogitStart(ad, bd, q);
  return SolveTail(out, pb);
}

}  // namespace quarn::numerics
