// The non-central t, chi-square, F and beta distributions: g01gbc, g01gcc,
// g01gdc and g01gec, lower-tail probabilities.
//
// Each is a Poisson mixture sum_j w_j F(s0 + j) of central distribution
// functions whose shape grows with j, and F(s) - F(s + 1) = A(s) is a single
// term: A(s) = z^s e^-z / Gamma(s + 1) for the gamma (chi-square) family,
// A(s) = Gamma(s + b) / (Gamma(s + 1) Gamma(b)) x^s y^b for the beta family.
// Exchanging the order of summation turns the mixture into one series of
// positive terms,
//   lower tail:  sum_j w_j F(s0 + j)       = sum_n A(s0 + n) C_n,
//   upper tail:  sum_j w_j (1 - F(s0 + j)) = T (1 - F(s0)) + sum_n A(s0 + n) S_n,
// with C_n = w_0 + ... + w_n, S_n = T - C_n and T the total weight. Neither
// cancels: C_n is built by additions upwards from a directly computed C at
// the first index used, S_n by additions downwards from the last. The lower
// form is used where the lower tail is the smaller, the upper form (and one
// complement, which then loses at most a bit or two) elsewhere; Student's t
// (Lenth, Appl. Statist. 38, 1989) combines two such mixtures with Phi.
//
// Where the terms matter is found first in double precision (their logs by
// the same recurrences); the series is then summed from there in Arb, and
// the terms left out are bounded rigorously by geometric series: A's ratio
// from one shape to the next is a simple rational function with known
// monotony, and C_n <= T, S_n <= T. The rounding loop of support.cpp raises
// the precision until the ball rounds to one float.
#include <arb_hypgeom.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "platform/host/unscanned.h"
#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

using namespace quarn::numerics;

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// log(e^a + e^b) without overflow.
double LogAdd(double a, double b) {
  if (a == -kInf) return b;
  if (b == -kInf) return a;
  double m = std::max(a, b);
  return m + std::log1p(std::exp(std::min(a, b) - m));
}

// An upper bound of a double computed from rounded inputs: a relative
// margin far above the double rounding of every input and operation.
double Above(double v) { return v * (1.0 + 1e-10) + 1e-300; }

// ------------------------------------------------------------- the terms

// The terms A(s) of the central family at s = s0 + n.
class Inner {
 public:
  explicit Inner(double s0) : s0_(s0) {}
  virtual ~Inner() = default;
  // log A(s) to absolute accuracy about 2^-prec.
  virtual void LogTerm(arb_ptr res, arb_srcptr s, slong prec) const = 0;
  // A(s + 1) / A(s) and A(s - 1) / A(s).
  virtual void Up(arb_ptr res, arb_srcptr s, slong prec) const = 0;
  virtual void Down(arb_ptr res, arb_srcptr s, slong prec) const = 0;
  // The same in doubles (logs), for the plan.
  virtual double LogTermD(double s) const = 0;
  virtual double LogUpD(double s) const = 0;
  // Upper bounds of A(t + 1) / A(t) for every t >= s, and of A(t - 1) / A(t)
  // for every t with s0 < t <= s.
  virtual double UpSupFrom(double s) const = 0;
  virtual double DownSupBelow(double s) const = 0;
  // Bits that log A(s) loses to the size of its summands.
  virtual slong LogBits(double s) const = 0;
  // The sum of A(t) over t = s, s + 1, ... (the central distribution
  // function at s), and an estimate of its log: A at the larger of s and
  // A's mode, times the spread of A around its mode.
  virtual void Rest(arb_ptr res, arb_srcptr s, slong prec) const = 0;
  virtual double LogRestD(double s) const = 0;

 protected:
  double s0_;
};

double LogGammaD(double v) { return std::lgamma(v); }

// log x of a positive ball as a double: finite where x itself is not (x =
// 1e-400000 has the log -921034.04, and its double is 0).
double LogD(arb_srcptr x) {
  Ball t;
  arb_log(t, x, 64);
  return arf_get_d(arb_midref(t.get()), ARF_RND_NEAR);
}

// A(s) = z^s e^-z / Gamma(s + 1), z > 0: ratio z / (s + 1), falling in s.
class GammaTerms : public Inner {
 public:
  GammaTerms(double s0, arb_srcptr z) : Inner(s0), zd_(arf_get_d(arb_midref(z), ARF_RND_NEAR)), log_z_(LogD(z)) {
    arb_set(z_, z);
  }
  void LogTerm(arb_ptr res, arb_srcptr s, slong prec) const override { LogPoissonTerm(res, s, z_, prec); }
  void Up(arb_ptr res, arb_srcptr s, slong prec) const override {
    Ball t;
    arb_add_ui(t, s, 1, prec);
    arb_div(res, z_, t, prec);
  }
  void Down(arb_ptr res, arb_srcptr s, slong prec) const override { arb_div(res, s, z_, prec); }
  double LogTermD(double s) const override { return s * log_z_ - zd_ - LogGammaD(s + 1.0); }
  double LogUpD(double s) const override { return log_z_ - std::log(s + 1.0); }
  double UpSupFrom(double s) const override { return Above(zd_ / (s + 1.0)); }
  double DownSupBelow(double s) const override { return Above(s / zd_); }
  slong LogBits(double s) const override {
    return MagnitudeBits(std::fabs(s * log_z_) + zd_ + std::fabs(LogGammaD(s + 1.0)));
  }
  void Rest(arb_ptr res, arb_srcptr s, slong prec) const override { GammaTail(res, s, z_, false, prec); }
  // Mode z - 1, spread sqrt(z) (a Poisson mass in s).
  double LogRestD(double s) const override {
    return LogTermD(std::max(s, zd_ - 1.0)) + std::log(2.0 + 2.0 * std::sqrt(zd_));
  }

 private:
  Ball z_;
  double zd_, log_z_;
};

// A(s) = Gamma(s + b) / (Gamma(s + 1) Gamma(b)) x^s y^b, 0 < x < 1, y = 1 - x:
// ratio x (s + b) / (s + 1), which falls towards x for b > 1 and rises
// towards it for b < 1.
class BetaTerms : public Inner {
 public:
  BetaTerms(double s0, arb_srcptr x, arb_srcptr y, arb_srcptr b)
      : Inner(s0),
        xd_(arf_get_d(arb_midref(x), ARF_RND_NEAR)),
        yd_(arf_get_d(arb_midref(y), ARF_RND_NEAR)),
        bd_(arf_get_d(arb_midref(b), ARF_RND_NEAR)),
        log_x_(LogD(x)),
        log_y_(LogD(y)),
        log_gamma_b_([this](arb_ptr r, slong prec) { arb_hypgeom_lgamma(r, b_, prec); }) {
    arb_set(x_, x);
    arb_set(y_, y);
    arb_set(b_, b);
  }
  void LogTerm(arb_ptr res, arb_srcptr s, slong prec) const override {
    Ball t;
    arb_add(t, s, b_, prec);
    arb_hypgeom_lgamma(res, t, prec);
    arb_add_ui(t, s, 1, prec);
    arb_hypgeom_lgamma(t, t, prec);
    arb_sub(res, res, t, prec);
    arb_sub(res, res, log_gamma_b_.At(prec), prec);
    arb_log(t, x_, prec);
    arb_addmul(res, t, s, prec);
    arb_log(t, y_, prec);
    arb_addmul(res, t, b_, prec);
  }
  void Up(arb_ptr res, arb_srcptr s, slong prec) const override {
    Ball t;
    arb_add(res, s, b_, prec);
    arb_mul(res, res, x_, prec);
    arb_add_ui(t, s, 1, prec);
    arb_div(res, res, t, prec);
  }
  void Down(arb_ptr res, arb_srcptr s, slong prec) const override {
    Ball t;
    arb_add(t, s, b_, prec);
    arb_sub_ui(t, t, 1, prec);
    arb_mul(t, t, x_, prec);
    arb_div(res, s, t, prec);
  }
  double LogTermD(double s) const override {
    return LogGammaD(s + bd_) - LogGammaD(s + 1.0) - LogGammaD(bd_) + s * log_x_ + bd_ * log_y_;
  }
  double LogUpD(double s) const override { return log_x_ + std::log((s + bd_) / (s + 1.0)); }
  double UpSupFrom(double s) const override { return Above(bd_ >= 1.0 ? xd_ * (s + bd_) / (s + 1.0) : xd_); }
  double DownSupBelow(double s) const override {
    // t / (x (t - 1 + b)) rises in t for b >= 1, falls for b < 1.
    double t = bd_ >= 1.0 ? s : s0_ + 1.0;
    return Above(t / (xd_ * (t - 1.0 + bd_)));
  }
  slong LogBits(double s) const override {
    return MagnitudeBits(std::fabs(LogGammaD(s + bd_)) + std::fabs(LogGammaD(s + 1.0)) + std::fabs(LogGammaD(bd_)) +
                         std::fabs(s * log_x_) + std::fabs(bd_ * log_y_));
  }
  void Rest(arb_ptr res, arb_srcptr s, slong prec) const override { BetaTail(res, s, b_, x_, y_, false, prec); }
  // Mode (x b - 1) / (1 - x), spread sqrt(x b) / (1 - x) (a negative
  // binomial mass in s).
  double LogRestD(double s) const override {
    const double mode = (xd_ * bd_ - 1.0) / yd_;
    return LogTermD(std::max(s, mode)) + std::log(2.0 + 2.0 * std::sqrt(xd_ * bd_) / yd_);
  }

 private:
  Ball x_, y_, b_;
  double xd_, yd_, bd_, log_x_, log_y_;
  mutable CachedConstant log_gamma_b_;
};

// ------------------------------------------------------------ the weights

// Poisson-type weights w_n = e^-mu mu^(n+c) / Gamma(n + c + 1), c = 0 (the
// Poisson law, total 1) or c = 1/2 (total P(1/2, mu) = erf(sqrt mu)), with
// C_n = w_0 + ... + w_n and S_n = T - C_n = P(n + c + 1, mu).
class Weights {
 public:
  Weights(arb_srcptr mu, double c) : mud_(arf_get_d(arb_midref(mu), ARF_RND_NEAR)), log_mu_(LogD(mu)), c_(c) {
    arb_set(mu_, mu);
    arb_set_d(c_ball_, c);
  }
  double mu() const { return mud_; }
  // log mu, finite where mu is below the doubles (a non-centrality of 1e-400000).
  double LogMu() const { return log_mu_; }
  double c() const { return c_; }
  double LogWeightD(long n) const {
    double v = static_cast<double>(n) + c_;
    return -mud_ + v * log_mu_ - LogGammaD(v + 1.0);
  }
  // log erf(sqrt mu), by erf(z) = 2z / sqrt(pi) (1 - z^2 / 3 ...) where mu is tiny.
  double LogTotalD() const {
    if (c_ == 0.0) return 0.0;
    return mud_ < 1e-100 ? 0.5 * log_mu_ + std::log(2.0 / std::sqrt(M_PI)) : std::log(std::erf(std::sqrt(mud_)));
  }
  slong Bits(long n) const {
    double v = static_cast<double>(n) + c_;
    return MagnitudeBits(mud_ + std::fabs(v * log_mu_) + std::fabs(LogGammaD(v + 1.0)));
  }
  // The shape n + c + a as an exact ball.
  void Shape(arb_ptr res, long n, double a) const {
    arb_set_si(res, n);
    arb_add(res, res, c_ball_, ARF_PREC_EXACT);
    Ball t;
    arb_set_d(t, a);
    arb_add(res, res, t, ARF_PREC_EXACT);
  }
  void Weight(arb_ptr res, long n, slong prec) const {
    Ball v;
    Shape(v, n, 0.0);
    LogPoissonTerm(res, v, mu_, prec + Bits(n) + 8);
    arb_exp(res, res, prec);
  }
  // T = sum of all weights.
  void Total(arb_ptr res, slong prec) const {
    if (c_ == 0.0) {
      arb_one(res);
      return;
    }
    Ball c;
    arb_set(c, c_ball_);
    GammaTail(res, c, mu_, false, prec);
  }
  // S_n = P(n + c + 1, mu).
  void Survival(arb_ptr res, long n, slong prec) const {
    Ball a;
    Shape(a, n, 1.0);
    GammaTail(res, a, mu_, false, prec);
  }
  // C_n = T - S_n: Q(n + 1, mu) for c = 0; for c = 1/2 the difference of two
  // upper (below the mean) or two lower (above it) tails, the first the
  // larger, so that little cancels.
  void Cumulative(arb_ptr res, long n, slong prec) const {
    Ball a;
    Shape(a, n, 1.0);
    if (c_ == 0.0) {
      GammaTail(res, a, mu_, true, prec);
      return;
    }
    Ball other, c;
    arb_set(c, c_ball_);
    const bool below = static_cast<double>(n) + c_ + 1.0 < mud_;
    slong wp = prec + 16;
    GammaTail(res, below ? a : c, mu_, below, wp);
    GammaTail(other, below ? c : a, mu_, below, wp);
    arb_sub(res, res, other, prec);
  }
  void Up(arb_ptr w, long n, slong prec) const {  // w_n into w_{n+1}
    Ball v;
    Shape(v, n, 1.0);
    arb_mul(w, w, mu_, prec);
    arb_div(w, w, v, prec);
  }
  void Down(arb_ptr w, long n, slong prec) const {  // w_n into w_{n-1}
    Ball v;
    Shape(v, n, 0.0);
    arb_mul(w, w, v, prec);
    arb_div(w, w, mu_, prec);
  }

 private:
  Ball mu_, c_ball_;
  double mud_, log_mu_, c_;
};

// ---------------------------------------------------------- the series

// Where the terms A(s0 + n) B_n of a series matter (B = C, or B = S with
// survival): n from lo to hi, the largest at peak.
struct Plan {
  long lo = 0, hi = 0, peak = 0;
  bool ok = false;
  bool out_of_reach = false;  // failed at once: the terms are beyond doubles
  bool over_work = false;     // failed: more terms than the work limit allows
};

// log(q / (1 - q)) or log(1 / (1 - q)) of a ratio bound; +inf when q >= 1.
double LogGeometric(double q, bool from_next) {
  if (!(q < 1.0 - 1e-12)) return kInf;
  return (from_next ? std::log(q) : 0.0) - std::log1p(-q);
}

// log of the sum of A(t) for t = s, s + 1, ...: geometric from A(s) = e^a
// when the ratios from s on are below 1, else the estimate of the inner
// terms; at most 0 (the sum is a probability). The logs are relative to
// log A(s0) = a0, as the plan keeps them.
double LogRestAbove(const Inner& in, double s, double a, double a0) {
  return std::min({-a0, a + LogGeometric(in.UpSupFrom(s), false), in.LogRestD(s) - a0});
}

// Terms that are never worth summing: a plan beyond this fails.
constexpr long kMaxTerms = 50000000;

// Finds the plan in doubles for the working precision wp: the terms and the
// bounds of what is left out below and above are compared with the largest
// term, less wp bits and a margin for their number.
Plan MakePlan(const Inner& in, double s0, const Weights& w, bool survival, slong wp) {
  Plan plan;
  // The logs of the A are kept relative to the first, a0: only their
  // differences matter, and beside a log of 3e18 (a chi-square of 2e17
  // degrees of freedom far below its mean) a step of -33 is lost. A first
  // term whose log is not a finite double (a shape below the smallest
  // double) cannot be planned.
  const double a0 = in.LogTermD(s0);
  if (!std::isfinite(a0)) {
    plan.out_of_reach = true;
    return plan;
  }
  const double log_total = w.LogTotalD();
  // Up to kMaxTerms of each: out of the collector's sight.
  quarn::UnscannedVector<double> la, lb;
  // log A and log w as they recur; log C upwards, or log S (first its bound
  // by the geometric series of the weights, then exactly downwards).
  double a = 0.0, lw = w.LogWeightD(0), lc = -kInf;
  double best = -kInf;
  long peak = 0;
  quarn::UnscannedVector<double> lws;
  for (long n = 0;; ++n) {
    if (n > kMaxTerms) return plan;
    // Past the peak every term not yet negligible will be summed (hi > n,
    // lo <= peak), at two limbs or more a term: beyond half the work limit
    // the sum cannot be afforded, however far the walk would go on.
    if (!survival && 2 * (n - peak) > kWorkLimit) {
      plan.over_work = true;
      return plan;
    }
    la.push_back(a);
    lws.push_back(lw);
    const double lw_next = lw + w.LogMu() - std::log(static_cast<double>(n) + w.c() + 1.0);
    double b;
    if (!survival) {
      lc = LogAdd(lc, lw);
      b = lc;
    } else {
      double shape = static_cast<double>(n) + w.c() + 2.0;
      b = shape > w.mu() ? lw_next - std::log1p(-w.mu() / shape) : log_total;
      b = std::min(b, log_total);
    }
    lb.push_back(b);
    double t = a + b;
    if (t > best) {
      best = t;
      peak = n;
    }
    const double margin = static_cast<double>(wp) * M_LN2 + 20.0 + std::log(static_cast<double>(n) + 10.0);
    const double a_next = a + in.LogUpD(s0 + static_cast<double>(n));
    // What is left beyond n: (C <= T, or S_n) times the sum of the A from
    // n + 1 on; looked for only past the peak.
    if (n > peak) {
      const double rest =
          (survival ? b : log_total) + LogRestAbove(in, s0 + static_cast<double>(n) + 1.0, a_next, a0);
      if (rest < best - margin && (!survival || static_cast<double>(n) + w.c() + 2.0 > w.mu())) break;
    }
    a = a_next;
    lw = lw_next;
  }
  const long top = static_cast<long>(la.size()) - 1;
  if (survival) {
    // The exact log S_n downwards from the bound at the top, then the
    // largest term again.
    for (long n = top - 1; n >= 0; --n) lb[n] = LogAdd(lb[n + 1], lws[n + 1]);
    best = -kInf;
    for (long n = 0; n <= top; ++n) {
      if (la[n] + lb[n] > best) {
        best = la[n] + lb[n];
        peak = n;
      }
    }
  }
  const double margin = static_cast<double>(wp) * M_LN2 + 20.0 + std::log(static_cast<double>(top) + 10.0);
  const double limit = best - margin;
  // hi: the first n from the peak at which the rest above is negligible.
  plan.hi = top;
  for (long n = peak; n < top; ++n) {
    double rest = (survival ? lb[n] : log_total) + LogRestAbove(in, s0 + static_cast<double>(n) + 1.0, la[n + 1], a0);
    if (rest < limit) {
      plan.hi = n;
      break;
    }
  }
  // lo: the last n below the peak at which the rest below is negligible.
  plan.lo = 0;
  for (long n = peak; n > 0; --n) {
    double rest = (survival ? log_total : lb[n]) +
                  std::min(-a0, la[n] + LogGeometric(in.DownSupBelow(s0 + static_cast<double>(n)), true));
    if (rest < limit) {
      plan.lo = n;
      break;
    }
  }
  plan.peak = peak;
  plan.ok = true;
  return plan;
}

// Adds to r an upper bound of x * y (balls, their upper bounds).
void AddProductBound(mag_t r, arb_srcptr x, double y) {
  mag_t m, f;
  mag_init(m);
  mag_init(f);
  arb_get_mag(m, x);
  mag_set_d(f, y);
  mag_mul(m, m, f);
  mag_add(r, r, m);
  mag_clear(m);
  mag_clear(f);
}

// q / (1 - q), or 1 / (1 - q), as an upper bound; +inf when q >= 1.
double Geometric(double q, bool from_next) {
  if (!(q < 1.0 - 1e-12)) return kInf;
  return Above((from_next ? q : 1.0) / (1.0 - q));
}

// sum_{n >= 0} A(s0 + n) B_n (B = C, or B = S with survival) at prec: the
// planned terms summed in Arb with the bounds of the rest added to the
// radius; the plan is widened while the bounds are not below the target.
void SeriesSum(arb_ptr res, const Inner& in, arb_srcptr s0, double s0d, const Weights& w, bool survival,
               slong prec) {
  Plan plan = MakePlan(in, s0d, w, survival, prec + 8);
  if (!plan.ok) {
    arb_indeterminate(res);
    return;
  }
  for (int round = 0; round < 8; ++round) {
    const long count = plan.hi - plan.lo + 1;
    const slong wp = prec + 2 * MagnitudeBits(static_cast<double>(count)) + 12;
    // Each term costs a few ball operations at wp: the sum is charged to
    // the call's work limit before it starts.
    if (!ChargeWork(wp, count)) {
      arb_indeterminate(res);
      return;
    }
    Ball a, b, wn, s, t, a_end, total;
    const long start = survival ? plan.hi : plan.lo;
    arb_set_si(s, start);
    arb_add(s, s, s0, ARF_PREC_EXACT);
    in.LogTerm(a, s, wp + in.LogBits(s0d + static_cast<double>(start)) + 8);
    arb_exp(a, a, wp);
    survival ? w.Survival(b, start, wp) : w.Cumulative(b, start, wp);
    w.Weight(wn, start, wp);
    w.Total(total, wp);
    Ball b_start, a_start;
    arb_set(b_start, b);
    arb_set(a_start, a);
    arb_zero(res);
    long n = start;
    for (;;) {
      arb_addmul(res, a, b, wp);
      if (n == (survival ? plan.lo : plan.hi)) break;
      if (survival) {
        arb_add(b, b, wn, wp);  // S_{n-1} = S_n + w_n
        w.Down(wn, n, wp);
        in.Down(t, s, wp);
        arb_sub_ui(s, s, 1, ARF_PREC_EXACT);
        --n;
      } else {
        w.Up(wn, n, wp);
        arb_add(b, b, wn, wp);  // C_{n+1} = C_n + w_{n+1}
        in.Up(t, s, wp);
        arb_add_ui(s, s, 1, ARF_PREC_EXACT);
        ++n;
      }
      arb_mul(a, a, t, wp);
    }
    // The A at lo and at hi + 1, and the B next to the terms left out.
    Ball a_lo, a_above, b_above, b_below;
    if (survival) {
      arb_set(a_lo, a);
      Ball up;
      arb_set_si(t, plan.hi);
      arb_add(t, t, s0, ARF_PREC_EXACT);
      in.Up(up, t, wp);
      arb_mul(a_above, a_start, up, wp);
      arb_set(b_above, b_start);  // S_{hi + 1} <= S_hi
      arb_set(b_below, total);
    } else {
      arb_set(a_lo, a_start);
      Ball up;
      in.Up(up, s, wp);
      arb_mul(a_above, a, up, wp);
      arb_set(b_above, total);
      arb_set(b_below, b_start);  // C_{lo - 1} <= C_lo
    }
    mag_t rest, goal;
    mag_init(rest);
    mag_init(goal);
    // Above hi: B <= b_above, and the A from hi + 1 on are at most
    // A(hi + 1) / (1 - q) (or their total, at most 1).
    {
      double g = Geometric(in.UpSupFrom(s0d + static_cast<double>(plan.hi) + 1.0), false);
      Ball bound;
      if (g < kInf) {
        arb_mul(bound, a_above, b_above, wp);
        AddProductBound(rest, bound, g);
      } else {
        // The sum of the A from hi + 1 on, exactly.
        arb_set_si(t, plan.hi + 1);
        arb_add(t, t, s0, ARF_PREC_EXACT);
        in.Rest(bound, t, 32);
        arb_mul(bound, bound, b_above, 32);
        AddProductBound(rest, bound, 1.0);
      }
    }
    // Below lo: B <= b_below, the A below lo at most A(lo) q / (1 - q).
    if (plan.lo > 0) {
      double g = Geometric(in.DownSupBelow(s0d + static_cast<double>(plan.lo)), true);
      Ball bound;
      if (g < kInf) {
        arb_mul(bound, a_lo, b_below, wp);
        AddProductBound(rest, bound, g);
      } else {
        AddProductBound(rest, b_below, 1.0);
      }
    }
    arb_get_mag_lower(goal, res);
    mag_mul_2exp_si(goal, goal, -(prec + 4));
    const bool small = mag_cmp(rest, goal) <= 0;
    arb_add_error_mag(res, rest);
    mag_clear(rest);
    mag_clear(goal);
    if (small) return;
    // Widen on both sides and sum again.
    plan.lo = std::max(0L, plan.lo - (plan.peak - plan.lo) - 16);
    plan.hi = plan.hi + (plan.hi - plan.peak) + 16;
  }
}

// ------------------------------------------------------------ the routines

// The Poisson weights of a mixture that the working precision needs on the
// longer side of the largest: those within 2^-bits of it. This is what the
// iteration limit bounds, as it bounds the terms of the Poisson sum of the
// double-precision original (the rearranged series here sums the same
// weights with the central terms, in about as many steps unless the
// central terms decay slowly).
constexpr long kManyTerms = 100000000;
// The largest iteration limit the statistics entries pass (the bound of their
// host variable): beyond it, advising a higher limit would not help.
constexpr long kLargestIterationLimit = 1000000;

long PoissonSpread(const Weights& w, slong bits) {
  const double drop = static_cast<double>(bits) * M_LN2;
  // Beyond 2^53 the indices are not doubles any more; there the weights are
  // a normal curve whose half-width at the drop, sqrt(2 mu drop), is more
  // than kManyTerms.
  if (w.mu() - w.c() > 0x1p53) return kManyTerms + 1;
  const long mode = static_cast<long>(std::max(0.0, std::floor(w.mu() - w.c())));
  const double top = w.LogWeightD(mode);
  // The weights within the drop form one run about the mode (the log weight
  // is concave in n): each side's length is found by doubling and halving,
  // in a hundred evaluations even where it is 10^15.
  auto within = [&](long n) { return w.LogWeightD(n) >= top - drop; };
  auto side = [&](int dir, long most) {
    long good = 0, step = 1;
    while (step <= most - good && within(mode + dir * (good + step))) {
      good += step;
      step *= 2;
    }
    for (; step > 1;) {
      step /= 2;
      if (step <= most - good && within(mode + dir * (good + step))) good += step;
    }
    return good;
  };
  return std::max(side(1, std::numeric_limits<long>::max() - mode), side(-1, mode));
}

// Fails with NE_TOO_MANY_ITER when the mixture needs more than max_iter
// Poisson terms on a side at the working precision (known from the weights
// alone, so before any plan is made: a non-centrality of 10^20 is refused at
// once), or when its series, planned by plan(), would need more than
// kMaxTerms terms in all.
template <class MakesPlan>
bool WithinLimit(NagError* fail, const char* routine, const Weights& w, long max_iter, MakesPlan&& plan) {
  const long spread = PoissonSpread(w, TargetBits());
  if (spread > max_iter) {
    const std::string digits = std::to_string(quarn::host::WorkingDigits());
    if (spread > kManyTerms) {
      // No iteration limit helps: more terms than any series here sums.
      Fail(fail, NE_TOO_MANY_ITER,
           std::string(routine) + " needs more than " + std::to_string(kManyTerms) +
               " terms on a side of its Poisson sum at Digits = " + digits + ", beyond the " +
               std::to_string(kMaxTerms) + " terms that any of its series may have.");
      return false;
    }
    std::string text = std::string(routine) + " needs " + std::to_string(spread) +
                       " terms on a side of its Poisson sum at Digits = " + digits +
                       ", more than max_iter = " + std::to_string(max_iter);
    if (spread > kLargestIterationLimit) {
      text += " and more than the largest value the iteration limit (the host variable _EnvStatisticsIterations) may "
              "take, " + std::to_string(kLargestIterationLimit) + ".";
    } else {
      text += "; raise the iteration limit (the host variable _EnvStatisticsIterations).";
    }
    Fail(fail, NE_TOO_MANY_ITER, text);
    return false;
  }
  const Plan p = plan();
  if (p.out_of_reach) {
    Fail(fail, NE_TOO_MANY_ITER,
         std::string(routine) + ": the terms of the series are out of reach at these arguments (their logarithms "
                                "are beyond the range of double precision).");
    return false;
  }
  if (p.over_work) {
    ChargeWork(0, kWorkLimit);  // spent: the message says so
    ReportPrecision(fail, routine);
    return false;
  }
  if (!p.ok) {
    Fail(fail, NE_TOO_MANY_ITER,
         std::string(routine) + ": the series would need more than " + std::to_string(kMaxTerms) + " terms.");
    return false;
  }
  return true;
}

bool CheckMaxIter(NagError* fail, long max_iter) {
  if (max_iter >= 1) return true;
  Fail(fail, NE_INT_ARG_LT, "max_iter must be at least 1, received max_iter = " + std::to_string(max_iter) + ".");
  return false;
}

slong PlanBits() { return TargetBits() + kFirstGuardBits + 8; }

// One mixture: the central terms, their first shape, the weights, and which
// form is summed.
struct Mixture {
  const Inner* inner;
  double s0d;
  const Weights* weights;
  bool survival;
};

// sum_j w_j F(s0 + j) (lower) for the gamma or beta family: the lower form,
// or T (1 - F(s0)) + sum A S subtracted from T (the upper form). tail_at_s0
// gives 1 - F(s0).
void MixtureLower(arb_ptr res, const Mixture& m, arb_srcptr s0,
                  BallFunction tail_at_s0, slong prec) {
  if (!m.survival) {
    SeriesSum(res, *m.inner, s0, m.s0d, *m.weights, false, prec);
    return;
  }
  Ball upper, t, total;
  SeriesSum(upper, *m.inner, s0, m.s0d, *m.weights, true, prec + 4);
  tail_at_s0(t, prec + 4);
  m.weights->Total(total, prec + 4);
  arb_addmul(upper, t, total, prec + 4);
  arb_sub(res, total, upper, prec);
}

// Also the upper sum sum_j w_j (1 - F(s0 + j)) directly, for Student's t.
void MixtureUpper(arb_ptr res, const Mixture& m, arb_srcptr s0,
                  BallFunction tail_at_s0, slong prec) {
  Ball total;
  m.weights->Total(total, prec + 4);
  if (!m.survival) {
    Ball lower;
    SeriesSum(lower, *m.inner, s0, m.s0d, *m.weights, false, prec + 4);
    arb_sub(res, total, lower, prec);
    return;
  }
  Ball t;
  SeriesSum(res, *m.inner, s0, m.s0d, *m.weights, true, prec + 4);
  tail_at_s0(t, prec + 4);
  arb_addmul(res, t, total, prec);
}

double Mid(arb_srcptr x) { return arf_get_d(arb_midref(x), ARF_RND_NEAR); }

// The non-central beta probability at x (with y = 1 - x), shapes a and b,
// Poisson mean mu = lambda / 2: the shared core of g01gec and g01gdc.
struct BetaMixture {
  double xd, ad, bd, mud;
  bool survival;
  // x > the mean of the central beta at the mean shape: upper form. Told by
  // y = 1 - x, which doubles resolve next to x = 1 (1 - 2e-27).
  BetaMixture(double x, double y, double a, double b, double mu)
      : xd(x), ad(a), bd(b), mud(mu), survival(y < b / (a + mu + b)) {}
  void Evaluate(arb_ptr res, arb_srcptr x, arb_srcptr y, arb_srcptr a, arb_srcptr b, arb_srcptr mu,
                slong prec) const {
    BetaTerms terms(ad, x, y, b);
    Weights weights(mu, 0.0);
    Mixture m{&terms, ad, &weights, survival};
    MixtureLower(res, m, a, [&](arb_ptr r, slong p) { BetaTail(r, a, b, x, y, true, p); }, prec);
  }
  Plan PlanAt(arb_srcptr x, arb_srcptr y, arb_srcptr b, arb_srcptr mu, slong prec) const {
    BetaTerms terms(ad, x, y, b);
    Weights weights(mu, 0.0);
    return MakePlan(terms, ad, weights, survival, prec);
  }
};

// Balls of lambda / 2 and of a parameter.
void Half(arb_ptr res, const QuarnFloat& v) {
  Ball b(v);
  arb_mul_2exp_si(res, b, -1);
}

}  // namespace

QuarnFloat QuarnMP_g01gcc(QuarnFloat x, QuarnFloat df, QuarnFloat lambda, QuarnFloat tol, long max_iter,
                          NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail,
                          {{"x", x, Bound::kNonNegative}, {"df", df, Bound::kNonNegativeShape, 2 * kGammaShapeMax},
                           {"lambda", lambda, Bound::kNonNegative}, {"tol", tol, Bound::kAny}})) {
    return *early;
  }
  if (df == 0 && lambda == 0) {
    Fail(fail, NE_2_REAL_ARG_ZERO, "df and lambda must not both be 0, received df = 0, lambda = 0.");
    return QuarnFloat(0.0);
  }
  if (!CheckMaxIter(fail, max_iter)) return QuarnFloat(0.0);
  if (IsQuarnFloatInfinity(x)) return Exact(fail, 1.0);
  Ball a, z, mu;
  Half(a, df);
  Half(z, x);
  Half(mu, lambda);
  if (x == 0) {
    // A point mass e^-mu at 0 when df = 0.
    if (df > 0) return Exact(fail, 0.0);
    return Evaluate(fail, "QuarnMP_g01gcc", [&](arb_ptr r, slong prec) {
      arb_neg(r, mu);
      arb_exp(r, r, prec);
    });
  }
  const double ad = Mid(a), zd = Mid(z), mud = Mid(mu);
  if (lambda == 0) {
    return Evaluate(fail, "QuarnMP_g01gcc", [&](arb_ptr r, slong prec) { GammaTail(r, a, z, false, prec); },
                    MagnitudeBits(ad + zd));
  }
  // Far above the mean the upper tail is bounded by the moment generating
  // function at 1/4: P(X > x) <= E e^(X/4) e^(-x/4) = 2^(df/2) e^(lambda/2 - x/4).
  // Below a quarter of an ulp of 1 the lower tail rounds to 1, which the
  // series (its terms beyond the range of doubles at x = 1e400000) need
  // not find.
  const double log_upper = -0.25 * x.ToDouble() * (1.0 - 1e-10) + Above(0.5 * df.ToDouble() * M_LN2 + mud);
  if (log_upper < -static_cast<double>(TargetBits() + 2) * M_LN2) return Exact(fail, 1.0);
  GammaTerms terms(ad, z);
  Weights weights(mu, 0.0);
  Mixture m{&terms, ad, &weights, zd > ad + mud};
  if (!WithinLimit(fail, "QuarnMP_g01gcc", weights, max_iter,
                   [&] { return MakePlan(terms, ad, weights, m.survival, PlanBits()); })) {
    return QuarnFloat(0.0);
  }
  return Evaluate(fail, "QuarnMP_g01gcc", [&](arb_ptr r, slong prec) {
    MixtureLower(r, m, a, [&](arb_ptr q, slong p) {
      if (arb_is_zero(a)) {
        arb_zero(q);  // F(0) = 1: all the mass at 0
      } else {
        GammaTail(q, a, z, true, p);
      }
    }, prec);
  });
}

QuarnFloat QuarnMP_g01gec(QuarnFloat x, QuarnFloat a, QuarnFloat b, QuarnFloat lambda, QuarnFloat tol, long max_iter,
                          NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail,
                          {{"x", x, Bound::kUnitClosed}, {"a", a, Bound::kAtMostMillion},
                           {"b", b, Bound::kAtMostMillion}, {"lambda", lambda, Bound::kNonNegative},
                           {"tol", tol, Bound::kAny}})) {
    return *early;
  }
  if (!CheckMaxIter(fail, max_iter)) return QuarnFloat(0.0);
  if (x == 0) return Exact(fail, 0.0);
  if (x == 1) return Exact(fail, 1.0);
  Ball xb(x), yb, ab(a), bb(b), mu;
  OneMinusExact(yb, xb);
  Half(mu, lambda);
  const slong extra = MagnitudeBits(a.ToDouble() + b.ToDouble());
  if (lambda == 0) {
    return Evaluate(fail, "QuarnMP_g01gec", [&](arb_ptr r, slong prec) { BetaTail(r, ab, bb, xb, yb, false, prec); },
                    extra);
  }
  BetaMixture mix(x.ToDouble(), Mid(yb), a.ToDouble(), b.ToDouble(), Mid(mu));
  if (!WithinLimit(fail, "QuarnMP_g01gec", Weights(mu, 0.0), max_iter,
                   [&] { return mix.PlanAt(xb, yb, bb, mu, PlanBits()); })) {
    return QuarnFloat(0.0);
  }
  return Evaluate(fail, "QuarnMP_g01gec",
                  [&](arb_ptr r, slong prec) { mix.Evaluate(r, xb, yb, ab, bb, mu, prec); });
}

QuarnFloat QuarnMP_g01gdc(QuarnFloat f, QuarnFloat df1, QuarnFloat df2, QuarnFloat lambda, QuarnFloat tol,
                          long max_iter, NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail,
                          {{"f", f, Bound::kNonNegative}, {"df1", df1, Bound::kAtMostMillion},
                           {"df2", df2, Bound::kAtMostMillion}, {"lambda", lambda, Bound::kNonNegative},
                           {"tol", tol, Bound::kAny}})) {
    return *early;
  }
  if (!CheckMaxIter(fail, max_iter)) return QuarnFloat(0.0);
  if (f == 0) return Exact(fail, 0.0);
  if (IsQuarnFloatInfinity(f)) return Exact(fail, 1.0);
  Ball fb(f), n1(df1), n2(df2), a, b, mu;
  Half(a, df1);
  Half(b, df2);
  Half(mu, lambda);
  // x = df1 f / (df1 f + df2) and y = df2 / (df1 f + df2), each formed
  // directly; the precision the rounding loop asks for reaches them.
  auto arguments = [&](arb_ptr x, arb_ptr y, slong prec) {
    Ball s;
    arb_mul(x, n1, fb, prec);
    arb_add(s, x, n2, prec);
    arb_div(x, x, s, prec);
    arb_div(y, n2, s, prec);
  };
  const double fd = f.ToDouble(), d1 = df1.ToDouble(), d2 = df2.ToDouble();
  const slong extra = MagnitudeBits(d1 + d2);
  if (lambda == 0) {
    return Evaluate(fail, "QuarnMP_g01gdc", [&](arb_ptr r, slong prec) {
      Ball x, y;
      arguments(x, y, prec + extra);
      BetaTail(r, a, b, x, y, false, prec);
    }, extra);
  }
  const double xd = d1 * fd / (d1 * fd + d2);
  const double yd = d2 / (d1 * fd + d2);
  BetaMixture mix(std::isfinite(xd) ? xd : 1.0, std::isfinite(yd) ? yd : 0.0, d1 / 2, d2 / 2, Mid(mu));
  {
    Ball x, y;
    arguments(x, y, PlanBits());
    if (!WithinLimit(fail, "QuarnMP_g01gdc", Weights(mu, 0.0), max_iter,
                     [&] { return mix.PlanAt(x, y, b, mu, PlanBits()); })) {
      return QuarnFloat(0.0);
    }
  }
  return Evaluate(fail, "QuarnMP_g01gdc", [&](arb_ptr r, slong prec) {
    Ball x, y;
    arguments(x, y, prec + extra + 8);
    mix.Evaluate(r, x, y, a, b, mu, prec);
  }, extra);
}

// With x = t^2 / (t^2 + df), y = df / (t^2 + df), b = df / 2, mu = delta^2 / 2
// and, for |t| and |delta|, the mixtures
//   L_p = sum_j p_j I_x(j + 1/2, b),  p_j Poisson(mu) weights (total 1),
//   L_q = sum_j q_j I_x(j + 1, b),    q_j = e^-mu mu^(j+1/2) / Gamma(j + 3/2)
//                                     (total erf(|delta| / sqrt 2)),
// and U = total - L for each:
//   t > 0, delta >= 0:  Phi(-delta) + (L_p + L_q) / 2
//   t > 0, delta < 0:   Phi(|delta|) + (L_p - L_q) / 2   (at least 1/2)
//   t < 0, delta <= 0:  (U_p + U_q) / 2
//   t < 0, delta > 0:   (U_p - U_q) / 2   (small: the rounding loop pays
//                                          for the cancellation)
QuarnFloat QuarnMP_g01gbc(QuarnFloat t, QuarnFloat df, QuarnFloat delta, QuarnFloat tol, long max_iter,
                          NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail,
                          {{"t", t, Bound::kAny}, {"df", df, Bound::kShape}, {"delta", delta, Bound::kAny},
                           {"tol", tol, Bound::kAny}})) {
    return *early;
  }
  if (!CheckMaxIter(fail, max_iter)) return QuarnFloat(0.0);
  if (IsQuarnFloatInfinity(t)) return Exact(fail, 1.0);
  if (IsQuarnFloatNegativeInfinity(t)) return Exact(fail, 0.0);
  Ball tb(t), nu(df), d(delta), b, mu;
  arb_mul_2exp_si(b, nu, -1);
  arb_sqr(mu, d, ARF_PREC_EXACT);
  arb_mul_2exp_si(mu, mu, -1);
  // Phi(-delta) = erfc(delta / sqrt 2) / 2.
  auto phi = [&](arb_ptr r, slong prec) {
    Ball s;
    arb_sqrt_ui(s, 2, prec);
    arb_div(r, d, s, prec);
    arb_hypgeom_erfc(r, r, prec);
    arb_mul_2exp_si(r, r, -1);
  };
  if (t == 0) return Evaluate(fail, "QuarnMP_g01gbc", [&](arb_ptr r, slong prec) { phi(r, prec); });
  const bool t_positive = t > 0, d_negative = delta < 0;
  slong extra = MagnitudeBits(df.ToDouble());
  if (!t_positive && !d_negative) {
    // (U_p - U_q) / 2 <= Phi(-delta) cancels about -log2 Phi(-delta) bits.
    const double dd = delta.ToDouble();
    extra += static_cast<slong>((dd * dd / 2 + std::log(dd + 1.0)) / M_LN2);
  }
  auto arguments = [&](arb_ptr x, arb_ptr y, slong prec) {
    Ball t2, s;
    arb_sqr(t2, tb, prec);
    arb_add(s, nu, t2, prec);
    arb_div(x, t2, s, prec);
    arb_div(y, nu, s, prec);
  };
  const double td = t.ToDouble(), dfd = df.ToDouble();
  double xd = td * td / (td * td + dfd);
  if (!std::isfinite(xd)) xd = 1.0;
  const double mud = Mid(mu), bd = dfd / 2;
  Ball half, one;
  arb_set_d(half, 0.5);
  arb_one(one);
  if (delta == 0) {
    // The central t: P(|T| <= |t|) = I_x(1/2, b), halved on the side of t.
    return Evaluate(fail, "QuarnMP_g01gbc", [&](arb_ptr r, slong prec) {
      Ball x, y;
      arguments(x, y, prec + extra + 8);
      BetaTail(r, half, b, x, y, false, prec);
      arb_mul_2exp_si(r, r, -1);
      t_positive ? arb_add(r, r, half, prec) : arb_sub(r, half, r, prec);
    }, extra);
  }
  // The upper form where x lies above the mean of the central beta (told
  // by y = 1 - x, resolved next to x = 1).
  double yd = dfd / (td * td + dfd);
  if (!std::isfinite(yd)) yd = 0.0;
  const bool survival = yd < bd / (0.5 + mud + bd);
  auto mixtures = [&](arb_srcptr x, arb_srcptr y, quarn::FunctionRef<void(const Mixture&, const Mixture&)> use) {
    BetaTerms p_terms(0.5, x, y, b), q_terms(1.0, x, y, b);
    Weights p_weights(mu, 0.0), q_weights(mu, 0.5);
    use(Mixture{&p_terms, 0.5, &p_weights, survival}, Mixture{&q_terms, 1.0, &q_weights, survival});
  };
  {
    Ball x, y;
    arguments(x, y, PlanBits());
    bool ok = true;
    mixtures(x, y, [&](const Mixture& p, const Mixture& q) {
      for (const Mixture* m : {&p, &q}) {
        ok = ok && WithinLimit(fail, "QuarnMP_g01gbc", *m->weights, max_iter, [&] {
               return MakePlan(*m->inner, m->s0d, *m->weights, survival, PlanBits());
             });
      }
    });
    if (!ok) return QuarnFloat(0.0);
  }
  return Evaluate(fail, "QuarnMP_g01gbc", [&](arb_ptr r, slong prec) {
    Ball x, y;
    arguments(x, y, prec + extra + 8);
    const slong wp = prec + 8;
    mixtures(x, y, [&](const Mixture& p, const Mixture& q) {
      Ball sp, sq;
      auto tail_p = [&](arb_ptr v, slong pr) { BetaTail(v, half, b, x, y, true, pr); };
      auto tail_q = [&](arb_ptr v, slong pr) { BetaTail(v, one, b, x, y, true, pr); };
      if (t_positive) {
        MixtureLower(sp, p, half, tail_p, wp);
        MixtureLower(sq, q, one, tail_q, wp);
        d_negative ? arb_sub(sp, sp, sq, wp) : arb_add(sp, sp, sq, wp);
        arb_mul_2exp_si(sp, sp, -1);
        phi(r, wp);
        arb_add(r, r, sp, prec);
      } else {
        MixtureUpper(sp, p, half, tail_p, wp);
        MixtureUpper(sq, q, one, tail_q, wp);
        d_negative ? arb_add(r, sp, sq, prec) : arb_sub(r, sp, sq, prec);
        arb_mul_2exp_si(r, r, -1);
      }
    });
  }, extra);
}
