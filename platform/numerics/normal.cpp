// The standard normal distribution: g01eac (tail probabilities) and g01fac
// (deviates), through Arb's erfc and erf (and a continued fraction for erfc
// in the deviate's last step, erfc_fraction.cpp), erfcinv and erfinv,
// correctly rounded; and the tails and deviates at a location and scale,
// rounded once.
#include <arb_hypgeom.h>

#include <algorithm>
#include <cmath>

#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

using namespace quarn::numerics;

namespace {

// The standard normal's tail at the ball z, a tail form of g01eac: lower
// Phi(z) = erfc(-z / sqrt 2) / 2, upper Phi(-z), two-tail significance
// erfc(|z| / sqrt 2), confidence erf(|z| / sqrt 2): each tail from the
// function that keeps its relative accuracy. z should carry the bits its
// condition costs (StandardTailBits).
void StandardTail(arb_ptr r, Nag_TailProbability tail, arb_srcptr z, slong prec, slong arg_prec) {
  Ball s;
  arb_sqrt_ui(s, 2, arg_prec);
  arb_div(s, z, s, arg_prec);  // z / sqrt 2
  switch (tail) {
    case Nag_LowerTail:
      arb_neg(s, s);
      arb_hypgeom_erfc(r, s, prec);
      arb_mul_2exp_si(r, r, -1);
      break;
    case Nag_UpperTail:
      arb_hypgeom_erfc(r, s, prec);
      arb_mul_2exp_si(r, r, -1);
      break;
    case Nag_TwoTailSignif:
      arb_abs(s, s);
      arb_hypgeom_erfc(r, s, prec);
      break;
    default:
      arb_abs(s, s);
      arb_hypgeom_erf(r, s, prec);
      break;
  }
}

// erfc(t) has relative condition number about 2 t^2: t = z / sqrt 2 gets
// the bits that costs, so that erfc at prec loses only its own few.
slong StandardTailBits(double z) { return MagnitudeBits(z * z); }

// Up to this |z| the tail, above 2^-(7.3e7), stays far inside the floats'
// exponent range; beyond it the guard digits' route handles the underflow.
constexpr double kNormalTailAtMax = 1e4;

}  // namespace

QuarnFloat QuarnMP_g01eac(Nag_TailProbability tail, QuarnFloat x, NagError* fail) {
  if (auto early = Screen(fail, Tails::kAll, tail, {{"x", x, Bound::kAny}})) return *early;
  if (IsQuarnFloatInfinity(x) || IsQuarnFloatNegativeInfinity(x)) {
    bool plus = IsQuarnFloatInfinity(x);
    switch (tail) {
      case Nag_LowerTail: return Exact(fail, plus ? 1.0 : 0.0);
      case Nag_UpperTail: return Exact(fail, plus ? 0.0 : 1.0);
      case Nag_TwoTailSignif: return Exact(fail, 0.0);
      default: return Exact(fail, 1.0);
    }
  }
  if (x == 0 && tail == Nag_TwoTailConfid) return Exact(fail, 0.0);
  Ball xb(x);
  const slong arg_bits = StandardTailBits(x.ToDouble());
  return Evaluate(fail, "QuarnMP_g01eac", [&](arb_ptr r, slong prec) {
    StandardTail(r, tail, xb, prec, prec + arg_bits);
  });
}

// The lower or upper tail at (x - mu) / sigma, taken exactly: z carries the
// bits of its condition (about z^2), and the rounding loop narrows its ball
// with the rest.
bool QuarnMP_NormalTailAt(QuarnFloat* out, Nag_TailProbability tail, const QuarnFloat& x, const QuarnFloat& mu,
                          const QuarnFloat& sigma) {
  if (tail != Nag_LowerTail && tail != Nag_UpperTail) return false;
  if (!mpfr_number_p(x.Mpfr()) || !mpfr_number_p(mu.Mpfr()) || !mpfr_number_p(sigma.Mpfr()) || !(sigma > 0)) {
    return false;
  }
  const double zd = (x.ToDouble() - mu.ToDouble()) / sigma.ToDouble();
  if (!(std::fabs(zd) <= kNormalTailAtMax)) return false;
  ResetWork();
  Ball xb(x), mub(mu), sigmab(sigma), z;
  const slong arg_bits = StandardTailBits(zd) + 2;
  return CorrectlyRounded(out, [&](arb_ptr r, slong prec) {
    arb_sub(z, xb, mub, prec + arg_bits);
    arb_div(z, z, sigmab, prec + arg_bits);
    StandardTail(r, tail, z, prec, prec + arg_bits);
  });
}

namespace {

// y with erf(y) = inner (central) or erfc(y) = outer, in double arithmetic:
// inner sqrt(Pi)/2 near the centre, or else the rational start of
// Abramowitz and Stegun 26.2.23 (within 5e-4 of the deviate), then Halley's
// iteration, which for erf and erfc alike has h''/h' = -2y. NaN when the
// level is outside the doubles' normal range.
double DoubleHalfDeviate(double level, bool central) {
  if (!(level >= 1e-300 && level <= 1.0)) return std::nan("");
  double y;
  if (central) {
    y = level * 0.886226925452758;
  } else {
    const double t = std::sqrt(-2.0 * std::log(0.5 * level));
    y = (t - (2.515517 + (0.802853 + 0.010328 * t) * t) / (1.0 + (1.432788 + (0.189269 + 0.001308 * t) * t) * t)) *
        0.7071067811865476;
  }
  for (int k = 0; k < 8; ++k) {
    const double h = central ? std::erf(y) - level : std::erfc(y) - level;
    const double rho = h / ((central ? 1.1283791670955126 : -1.1283791670955126) * std::exp(-y * y));
    const double step = rho / (1.0 + y * rho);
    y -= step;
    if (!(std::fabs(step) > 1e-17 * std::fabs(y))) break;
  }
  return std::isfinite(y) ? y : std::nan("");
}

// Newton's correction rho = h(y) / h'(y) for h = erf - inner (central) or
// erfc - outer at the exact y, with the slope taken over the ball `around`:
// +-(f(y) - level) sqrt(Pi)/2 exp(around^2). The residual is formed at prec,
// the slope at slope_prec, which need only cover the bits the residual
// leaves.
void NewtonCorrection(arb_ptr rho, arb_srcptr y, arb_srcptr around, arb_srcptr level, bool central, slong prec,
                      slong slope_prec) {
  Ball e;
  if (central) {
    arb_hypgeom_erf(rho, y, prec);
  } else if (!ErfcFraction(rho, y, prec)) {
    arb_hypgeom_erfc(rho, y, prec);
  }
  arb_sub(rho, rho, level, prec);
  arb_sqr(e, around, slope_prec);
  arb_exp(e, e, slope_prec);
  arb_mul(rho, rho, e, slope_prec);
  arb_const_sqrt_pi(e, slope_prec);
  arb_mul(rho, rho, e, slope_prec);
  arb_mul_2exp_si(rho, rho, -1);
  if (!central) arb_neg(rho, rho);
}

// The relative accuracy in bits the double start is trusted with (glibc's
// erf and erfc are within a few ulps), and the bits a Halley step gives up
// against tripling them.
constexpr slong kStartBits = 44;
constexpr slong kHalleyLossBits = 16;

// The most bits a location mu + sigma z may cancel for the fast path.
constexpr slong kMaxCancelBits = 64;

// The location and scale of a deviate mu + sigma z (none: z itself).
struct Scale {
  arb_srcptr mu = nullptr;
  arb_srcptr sigma = nullptr;
};

// mu + sigma z for the signed z = +-sqrt 2 y, correctly rounded to the
// working precision: the double start y0 (StartHalfDeviate), Halley steps
// at rising precision (the correction's ball is not tracked: the last step
// checks everything), and a last Newton step over an interval Y around the
// iterate. When that step's image lies in Y, it holds the only root in Y;
// its width is about the iterate's error times 4 y times Y's radius.
// extra_bits are the bits the location loses to cancellation. Returns false
// when the start is out of double range, the image leaves Y, or the ball
// straddles a rounding boundary.
bool FastDeviate(QuarnFloat* out, const SymmetricTarget& target, bool central, double y0, const Scale& scale = {},
                 slong extra_bits = 0) {
  arb_srcptr level = central ? target.inner : target.outer;
  if (!std::isfinite(y0) || y0 == 0) return false;
  const slong bits = TargetBits() + extra_bits;
  const slong prec = bits + kFirstGuardBits;
  const slong y_bits = std::max<slong>(0, std::ilogb(y0) + 1);
  // The last step's ball is 2^(9 + 2 y_bits - 2 known) of y relatively;
  // 12 bits below an ulp make a straddled boundary rare.
  const slong need = (bits + 12 + 9 + 2 * y_bits + 1) / 2;
  Ball y, rho, around, t;
  arb_set_d(y, y0);
  slong known = kStartBits;
  while (known < need) {
    const slong step_prec = std::min({3 * known + 8, need + 2 * kHalleyLossBits, prec});
    const slong correction_prec = step_prec - known + 16;
    NewtonCorrection(rho, y, y, level, central, step_prec, correction_prec);
    arb_mul(t, rho, y, correction_prec);  // y - rho / (1 + y rho)
    arb_add_ui(t, t, 1, correction_prec);
    arb_div(rho, rho, t, correction_prec);
    arb_sub(t, y, rho, step_prec);
    if (!arb_is_finite(t)) return false;
    arf_set_round(arb_midref(y.get()), arb_midref(t.get()), step_prec, ARF_RND_NEAR);
    known = std::min(3 * known - kHalleyLossBits, step_prec - 4);
  }
  arb_set(around, y);
  mag_set_ui_2exp_si(arb_radref(around.get()), 1, arf_abs_bound_lt_2exp_si(arb_midref(y.get())) - known + 6);
  NewtonCorrection(rho, y, around, level, central, prec, prec - known + 24);
  arb_sub(t, y, rho, prec);
  if (!arb_contains(around, t)) return false;
  arb_sqrt_ui(rho, 2, prec);
  arb_mul(t, t, rho, prec);
  if (target.sign < 0) arb_neg(t, t);
  if (scale.sigma != nullptr) {
    arb_mul(t, t, scale.sigma, prec);
    arb_add(t, t, scale.mu, prec);
  }
  bool unique = false;
  *out = quarn::floats::Compute([&](mpfr_ptr z) { unique = RoundUnique(z, t); });
  return unique;
}

// DoubleHalfDeviate at the target's level.
double StartHalfDeviate(const SymmetricTarget& target, bool central) {
  arb_srcptr level = central ? target.inner : target.outer;
  return DoubleHalfDeviate(arf_get_d(arb_midref(level), ARF_RND_NEAR), central);
}

}  // namespace

// The deviate z with the given tail probability p, 0 < p < 1; the two-tail
// forms give the positive deviate. |z| = sqrt 2 erfcinv(outer) =
// sqrt 2 erfinv(inner) for the exact two-sided probabilities outer and inner;
// the smaller of them is used, so that no precision is lost in forming it.
// The fast path above decides almost every case; what it cannot prove goes
// to erfinv or erfcinv in the rounding loop.
QuarnFloat QuarnMP_g01fac(Nag_TailProbability tail, QuarnFloat p, NagError* fail) {
  if (auto early = Screen(fail, Tails::kAll, tail, {{"p", p, Bound::kUnitOpen}})) return *early;
  SymmetricTarget target;
  SetSymmetricTarget(&target, tail, p);
  if (target.zero) return Exact(fail, 0.0);
  const bool use_inner = arb_lt(target.inner, target.outer);
  QuarnFloat fast;
  if (FastDeviate(&fast, target, use_inner, StartHalfDeviate(target, use_inner))) {
    return Finish(fail, "QuarnMP_g01fac", true, fast);
  }
  return Evaluate(fail, "QuarnMP_g01fac", [&](arb_ptr r, slong prec) {
    Ball s;
    if (use_inner) {
      arb_hypgeom_erfinv(r, target.inner, prec);
    } else {
      arb_hypgeom_erfcinv(r, target.outer, prec);
    }
    arb_sqrt_ui(s, 2, prec);
    arb_mul(r, r, s, prec);
    if (target.sign < 0) arb_neg(r, r);
  });
}

// mu + sigma z taken exactly, from the fast path alone: its ball is rounded
// once, and the bits that mu + sigma z cancels (estimated from the double
// start, at most kMaxCancelBits) are added to the deviate's precision.
bool QuarnMP_NormalDeviateAt(QuarnFloat* out, Nag_TailProbability tail, const QuarnFloat& p, const QuarnFloat& mu,
                             const QuarnFloat& sigma) {
  if (tail != Nag_LowerTail && tail != Nag_UpperTail) return false;
  if (!(p > 0 && p < 1) || !mpfr_number_p(mu.Mpfr()) || !mpfr_number_p(sigma.Mpfr()) || !(sigma > 0)) return false;
  SymmetricTarget target;
  SetSymmetricTarget(&target, tail, p);
  if (target.zero) return false;
  const bool use_inner = arb_lt(target.inner, target.outer);
  const double y0 = StartHalfDeviate(target, use_inner);
  const double spread = std::fabs(sigma.ToDouble() * y0);
  const double value = std::fabs(mu.ToDouble() + target.sign * std::sqrt(2.0) * sigma.ToDouble() * y0);
  if (!std::isnormal(spread) || !std::isnormal(value)) return false;
  const slong cancel = std::max<slong>(0, std::ilogb(spread) - std::ilogb(value) + 2);
  if (cancel > kMaxCancelBits) return false;
  Ball mub(mu), sigmab(sigma);
  return FastDeviate(out, target, use_inner, y0, Scale{mub, sigmab}, cancel);
}
