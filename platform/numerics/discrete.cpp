// The binomial, Poisson and hypergeometric distributions: g01bjc, g01bkc and
// g01blc, each P(X <= k), P(X > k) and P(X = k).
//
// The three mass functions are log-concave, so the ratio of consecutive
// terms only falls as one walks away from the mode. The tail beyond k on the
// side away from the mean is summed term by term outward from k (each term
// from the last by the exact rational ratio of the law), and the walk stops
// once the next term t and the current ratio r < 1 bound the rest by
// t / (1 - r), below the target accuracy of the sum. Every term is positive,
// so the tail has full relative accuracy however small it is; the other
// tail is its complement. The first term comes from log-gamma functions.
// The work is about sqrt(variance) * sqrt(bits) terms.
#include <arb_hypgeom.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>

#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

using namespace quarn::numerics;

namespace {

// A log-concave mass function p_j on lo <= j <= hi.
struct Mass {
  long lo = 0, hi = 0;
  double mean = 0.0, variance = 0.0;
  // Bits that the log of a mass loses to cancellation (its terms' size).
  slong log_bits = 0;
  // log p_j, to absolute accuracy about 2^-prec.
  std::function<void(arb_ptr, long j, slong prec)> log_mass;
  // p_{j+1} / p_j and p_{j-1} / p_j.
  std::function<void(arb_ptr, long j, slong prec)> ratio_up, ratio_down;
};

void MassAt(arb_ptr res, const Mass& f, long j, slong prec) {
  f.log_mass(res, j, prec + f.log_bits + 8);
  arb_exp(res, res, prec);
}

// The sum of p_j over j <= k (upper false) or j > k (upper true), for k in
// the support, to relative accuracy about 2^-prec.
void TailSum(arb_ptr res, const Mass& f, long k, bool upper, slong prec) {
  long j = upper ? k + 1 : k;
  if (j > f.hi || j < f.lo) {
    arb_zero(res);
    return;
  }
  // Terms the walk may take, for the rounding errors they add up.
  const double terms = std::sqrt(f.variance) * std::sqrt(2.0 * static_cast<double>(prec)) + 10.0;
  const slong wp = prec + MagnitudeBits(terms) + 10;
  Ball t, r, next;
  MassAt(t, f, j, wp);
  arb_set(res, t);
  const int step = upper ? 1 : -1;
  const long end = upper ? f.hi : f.lo;
  mag_t rest, goal, one_minus;
  mag_init(rest);
  mag_init(goal);
  mag_init(one_minus);
  while (j != end) {
    (upper ? f.ratio_up : f.ratio_down)(r, j, wp);
    arb_mul(next, t, r, wp);
    // By log-concavity every later ratio is at most r: the rest is at most
    // next / (1 - r).
    if (arf_cmp_si(arb_midref(r.get()), 1) < 0) {
      arb_get_mag(one_minus, r);  // an upper bound of r
      if (mag_cmp_2exp_si(one_minus, 0) < 0) {
        mag_one(rest);
        mag_sub_lower(one_minus, rest, one_minus);  // 1 - r, from below
        arb_get_mag(rest, next);
        mag_div(rest, rest, one_minus);
        arb_get_mag_lower(goal, res);
        mag_mul_2exp_si(goal, goal, -wp);
        if (mag_cmp(rest, goal) <= 0) {
          arb_add_error_mag(res, rest);
          break;
        }
      }
    }
    arb_add(res, res, next, wp);
    arb_swap(t, next);
    j += step;
  }
  mag_clear(rest);
  mag_clear(goal);
  mag_clear(one_minus);
}

// The three outputs for k in the support: the tail away from the mean is
// summed, the other is its complement (one sum serves both roundings), and
// the mass at k is evaluated on its own.
bool Outputs(const Mass& f, long k, QuarnFloat* plek, QuarnFloat* pgtk, QuarnFloat* peqk) {
  const bool sum_upper = static_cast<double>(k) >= f.mean;
  Ball direct;
  slong direct_prec = -1;
  auto sum = [&](arb_ptr r, slong prec) {
    TailSum(direct, f, k, sum_upper, prec);
    direct_prec = prec;
    arb_set(r, direct);
  };
  auto complement = [&](arb_ptr r, slong prec) {
    if (direct_prec < prec) TailSum(direct, f, k, sum_upper, prec);
    direct_prec = prec;
    Complement(r, direct, prec);
  };
  bool ok = CorrectlyRounded(sum_upper ? pgtk : plek, sum);
  ok = CorrectlyRounded(sum_upper ? plek : pgtk, complement) && ok;
  ok = CorrectlyRounded(peqk, [&](arb_ptr r, slong prec) { MassAt(r, f, k, prec); }, f.log_bits) && ok;
  return ok;
}

// Outside the support: exact values.
bool OutsideSupport(const Mass& f, long k, QuarnFloat* plek, QuarnFloat* pgtk, QuarnFloat* peqk) {
  if (k >= f.lo && k <= f.hi) return false;
  const bool below = k < f.lo;
  *plek = QuarnFloat(below ? 0.0 : 1.0);
  *pgtk = QuarnFloat(below ? 1.0 : 0.0);
  *peqk = QuarnFloat(0.0);
  return true;
}

// log Gamma(v + 1) = log v! of an integer, at prec.
void LogFactorial(arb_ptr res, long v, slong prec) {
  Ball x;
  arb_set_si(x, v);
  arb_add_ui(x, x, 1, prec);
  arb_hypgeom_lgamma(res, x, prec);
}

// log C(a, b) for 0 <= b <= a.
void LogBinomial(arb_ptr res, long a, long b, slong prec) {
  Ball t;
  LogFactorial(res, a, prec);
  LogFactorial(t, b, prec);
  arb_sub(res, res, t, prec);
  LogFactorial(t, a - b, prec);
  arb_sub(res, res, t, prec);
}

// log n! is about n log n: the bits its size costs an absolute accuracy.
slong FactorialBits(double n) { return MagnitudeBits(n * std::log(n + 2.0) + 2.0); }

bool CheckNonNegative(NagError* fail, const char* name, long v) {
  if (v >= 0) return true;
  Fail(fail, NE_INT_ARG_LT, std::string(name) + " must be non-negative, received " + name + " = " +
                                std::to_string(v) + ".");
  return false;
}

// The tail sums take about sqrt(variance) terms; above this they would take
// minutes.
constexpr double kMaxVariance = 1e9;

bool CheckVariance(NagError* fail, double variance) {
  if (variance <= kMaxVariance) return true;
  char text[160];
  std::snprintf(text, sizeof text, "the variance of the distribution must be at most 1e9, received variance = %.6g.",
                variance);
  Fail(fail, NE_VARIANCE_TOO_LARGE, text);
  return false;
}

void SetAll(QuarnFloat* a, QuarnFloat* b, QuarnFloat* c, const QuarnFloat& v) { *a = *b = *c = v; }

}  // namespace

void QuarnMP_g01bjc(long n, QuarnFloat p, long k, QuarnFloat* plek, QuarnFloat* pgtk, QuarnFloat* peqk,
                    NagError* fail) {
  if (!CheckNonNegative(fail, "n", n)) return SetAll(plek, pgtk, peqk, QuarnFloat(0.0));
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail, {{"p", p, Bound::kUnitOpen}})) {
    return SetAll(plek, pgtk, peqk, *early);
  }
  Ball pb(p), qb;
  OneMinusExact(qb, pb);
  const double pd = p.ToDouble(), nd = static_cast<double>(n);
  Mass f;
  f.lo = 0;
  f.hi = n;
  f.mean = nd * pd;
  f.variance = nd * pd * (1.0 - pd);
  f.log_bits = FactorialBits(nd) + MagnitudeBits(nd * std::fabs(std::log(std::min(pd, 1.0 - pd))));
  // log C(n, j) + j log p + (n - j) log(1 - p).
  f.log_mass = [&](arb_ptr res, long j, slong prec) {
    Ball t;
    LogBinomial(res, n, j, prec);
    arb_log(t, pb, prec);
    arb_mul_si(t, t, j, prec);
    arb_add(res, res, t, prec);
    arb_log(t, qb, prec);
    arb_mul_si(t, t, n - j, prec);
    arb_add(res, res, t, prec);
  };
  // p_{j+1} / p_j = (n - j) p / ((j + 1) (1 - p)), the odds computed once
  // per precision.
  CachedConstant odds([&](arb_ptr res, slong prec) { arb_div(res, pb, qb, prec); });
  CachedConstant inverse_odds([&](arb_ptr res, slong prec) { arb_div(res, qb, pb, prec); });
  f.ratio_up = [&](arb_ptr res, long j, slong prec) {
    arb_mul_ui(res, odds.At(prec), static_cast<ulong>(n - j), prec);
    arb_div_ui(res, res, static_cast<ulong>(j + 1), prec);
  };
  f.ratio_down = [&](arb_ptr res, long j, slong prec) {
    arb_mul_ui(res, inverse_odds.At(prec), static_cast<ulong>(j), prec);
    arb_div_ui(res, res, static_cast<ulong>(n - j + 1), prec);
  };
  if (!CheckVariance(fail, f.variance)) return SetAll(plek, pgtk, peqk, QuarnFloat(0.0));
  if (OutsideSupport(f, k, plek, pgtk, peqk)) return Succeed(fail);
  Finish(fail, "QuarnMP_g01bjc", Outputs(f, k, plek, pgtk, peqk), *plek);
}

void QuarnMP_g01bkc(QuarnFloat rlamda, long k, QuarnFloat* plek, QuarnFloat* pgtk, QuarnFloat* peqk,
                    NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail, {{"rlamda", rlamda, Bound::kPositive}})) {
    return SetAll(plek, pgtk, peqk, *early);
  }
  Ball lb(rlamda);
  const double ld = rlamda.ToDouble();
  Mass f;
  f.lo = 0;
  f.hi = std::numeric_limits<long>::max() - 1;
  f.mean = ld;
  f.variance = ld;
  f.log_bits = FactorialBits(ld + std::fabs(static_cast<double>(k))) +
               MagnitudeBits((ld + std::fabs(static_cast<double>(k))) * (std::fabs(std::log(ld)) + 1.0));
  // j log lambda - lambda - log j!.
  f.log_mass = [&](arb_ptr res, long j, slong prec) {
    Ball t;
    arb_log(res, lb, prec);
    arb_mul_si(res, res, j, prec);
    arb_sub(res, res, lb, prec);
    LogFactorial(t, j, prec);
    arb_sub(res, res, t, prec);
  };
  f.ratio_up = [&](arb_ptr res, long j, slong prec) { arb_div_ui(res, lb, static_cast<ulong>(j + 1), prec); };
  f.ratio_down = [&](arb_ptr res, long j, slong prec) {
    arb_set_si(res, j);
    arb_div(res, res, lb, prec);
  };
  if (!CheckVariance(fail, f.variance)) return SetAll(plek, pgtk, peqk, QuarnFloat(0.0));
  if (OutsideSupport(f, k, plek, pgtk, peqk)) return Succeed(fail);
  Finish(fail, "QuarnMP_g01bkc", Outputs(f, k, plek, pgtk, peqk), *plek);
}

void QuarnMP_g01blc(long n, long l, long m, long k, QuarnFloat* plek, QuarnFloat* pgtk, QuarnFloat* peqk,
                    NagError* fail) {
  SetAll(plek, pgtk, peqk, QuarnFloat(0.0));
  if (!CheckNonNegative(fail, "n", n) || !CheckNonNegative(fail, "l", l) || !CheckNonNegative(fail, "m", m)) {
    return;
  }
  for (auto [name, v] : {std::pair{"l", l}, std::pair{"m", m}}) {
    if (v > n) {
      return Fail(fail, NE_2_INT_ARG_GT, std::string(name) + " must be at most n, received " + name + " = " +
                                             std::to_string(v) + ", n = " + std::to_string(n) + ".");
    }
  }
  Mass f;
  f.lo = std::max(0L, l + m - n);
  f.hi = std::min(l, m);
  const double nd = static_cast<double>(n), ld = static_cast<double>(l), md = static_cast<double>(m);
  f.mean = n > 0 ? ld * md / nd : 0.0;
  f.variance = n > 1 ? ld * md * (nd - ld) * (nd - md) / (nd * nd * (nd - 1.0)) : 0.0;
  f.log_bits = FactorialBits(nd) + 4;
  // log C(m, j) + log C(n - m, l - j) - log C(n, l).
  f.log_mass = [&](arb_ptr res, long j, slong prec) {
    Ball t;
    LogBinomial(res, m, j, prec);
    LogBinomial(t, n - m, l - j, prec);
    arb_add(res, res, t, prec);
    LogBinomial(t, n, l, prec);
    arb_sub(res, res, t, prec);
  };
  // p_{j+1} / p_j = (m - j)(l - j) / ((j + 1)(n - m - l + j + 1)).
  auto quotient = [](arb_ptr res, long a, long b, long c, long d, slong prec) {
    Ball den;
    arb_set_si(res, a);
    arb_mul_si(res, res, b, prec);
    arb_set_si(den, c);
    arb_mul_si(den, den, d, prec);
    arb_div(res, res, den, prec);
  };
  f.ratio_up = [&](arb_ptr res, long j, slong prec) { quotient(res, m - j, l - j, j + 1, n - m - l + j + 1, prec); };
  f.ratio_down = [&](arb_ptr res, long j, slong prec) { quotient(res, j, n - m - l + j, m - j + 1, l - j + 1, prec); };
  if (!CheckVariance(fail, f.variance)) return;
  if (OutsideSupport(f, k, plek, pgtk, peqk)) return Succeed(fail);
  Finish(fail, "QuarnMP_g01blc", Outputs(f, k, plek, pgtk, peqk), *plek);
}
