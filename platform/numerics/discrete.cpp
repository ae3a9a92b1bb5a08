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
#include <flint/fmpz.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

using namespace quarn::numerics;

namespace {

// A log-concave mass function p_j on lo <= j <= hi.
class Mass {
 public:
  virtual ~Mass() = default;
  long lo = 0, hi = 0;
  double mean = 0.0, variance = 0.0;
  // Bits that the log of a mass loses to cancellation (its terms' size).
  slong log_bits = 0;
  // log p_j, to absolute accuracy about 2^-prec.
  virtual void LogMass(arb_ptr res, long j, slong prec) const = 0;
  // p_j itself, to relative accuracy about 2^-prec, where that is cheaper
  // than its log (small parameters): true when it was computed.
  virtual bool DirectMass(arb_ptr res, long j, slong prec) const { return false; }
  // p_{j+1} / p_j and p_{j-1} / p_j.
  virtual void RatioUp(arb_ptr res, long j, slong prec) const = 0;
  virtual void RatioDown(arb_ptr res, long j, slong prec) const = 0;
};

void MassAt(arb_ptr res, const Mass& f, long j, slong prec) {
  if (f.DirectMass(res, j, prec)) return;
  f.LogMass(res, j, prec + f.log_bits + 8);
  arb_exp(res, res, prec);
}

// The precision of a tail sum aiming at relative accuracy 2^-prec: the
// rounding errors of the terms the walk may take add up.
slong SumPrecision(const Mass& f, slong prec) {
  const double terms = std::sqrt(f.variance) * std::sqrt(2.0 * static_cast<double>(prec)) + 10.0;
  return prec + MagnitudeBits(terms) + 10;
}

// The sum of p_j over j <= k (upper false) or j > k (upper true), for k in
// the support, at the working precision wp of SumPrecision, from
// mass_k = p_k.
void TailSum(arb_ptr res, const Mass& f, long k, bool upper, arb_srcptr mass_k, slong wp) {
  if (upper ? k >= f.hi : k < f.lo) {  // (k + 1 is not formed at the largest long)
    arb_zero(res);
    return;
  }
  long j = upper ? k + 1 : k;
  Ball t, r, next;
  arb_set(t, mass_k);
  if (upper) {
    f.RatioUp(r, k, wp);
    arb_mul(t, t, r, wp);
  }
  arb_set(res, t);
  const int step = upper ? 1 : -1;
  const long end = upper ? f.hi : f.lo;
  mag_t rest, goal, one_minus;
  mag_init(rest);
  mag_init(goal);
  mag_init(one_minus);
  while (j != end) {
    upper ? f.RatioUp(r, j, wp) : f.RatioDown(r, j, wp);
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

// Which tail to sum at k, and the bits the complement of it will lose. The
// tail away from the mean is summed, unless the other one is shorter (it
// ends at the end of the support before the walk of the first would) and
// its complement, the tail away from the mean, is not below about 2^-40
// (within 8 standard deviations, by the normal tail): then the shorter one
// is summed, with the bits that complement costs added to its precision.
struct Side {
  bool upper;
  slong extra_bits;
};

Side ChooseSide(const Mass& f, long k) {
  const double kd = static_cast<double>(k), sd = std::sqrt(f.variance);
  const bool away_upper = kd >= f.mean;
  const double walk = sd * std::sqrt(2.0 * static_cast<double>(TargetBits())) + 10.0;
  const double lower_end = kd - static_cast<double>(f.lo) + 1.0, upper_end = static_cast<double>(f.hi) - kd;
  const double away_terms = std::min(away_upper ? upper_end : lower_end, walk);
  const double other_terms = away_upper ? lower_end : upper_end;
  const double z = sd > 0 ? std::fabs(kd + (away_upper ? 0.5 : -0.5) - f.mean) / sd : 1e300;
  if (other_terms < away_terms && z <= 8.0) {
    const double lost = (z * z / 2 + std::log(z * 2.5066 + 1.0)) / M_LN2;
    return {!away_upper, static_cast<slong>(lost) + 4};
  }
  return {away_upper, 0};
}

// The three outputs for k in the support: one tail is summed from the mass
// at k, the other is its complement, and the mass is rounded as it is; one
// sum (and one mass) at a precision serves all three roundings.
// The mass at k and one tail sum, each kept at the highest precision asked
// for so far.
struct Sums {
  Sums(const Mass& f_, long k_, bool upper_) : f(f_), k(k_), upper(upper_) {}
  const Mass& f;
  long k;
  bool upper;
  Ball mass, direct;
  slong mass_prec = -1, direct_prec = -1;

  void MassTo(slong wp) {
    if (mass_prec >= wp) return;
    MassAt(mass, f, k, wp);
    mass_prec = wp;
  }
  void SumTo(slong prec) {
    if (direct_prec >= prec) return;
    const slong wp = SumPrecision(f, prec);
    MassTo(wp);
    TailSum(direct, f, k, upper, mass, wp);
    direct_prec = prec;
  }
};

// *out = v, unless the caller passed no place for it.
void Set(QuarnFloat* out, const QuarnFloat& v) {
  if (out != nullptr) *out = v;
}

bool Outputs(const Mass& f, long k, QuarnFloat* plek, QuarnFloat* pgtk, QuarnFloat* peqk) {
  const Side side = ChooseSide(f, k);
  Sums sums(f, k, side.upper);
  Sums* s = &sums;  // one pointer for each evaluation to hold
  QuarnFloat* complement = side.upper ? plek : pgtk;
  QuarnFloat* direct = side.upper ? pgtk : plek;
  // The complement first: its sum, at the higher precision, serves the
  // direct tail too. Outputs the caller did not ask for (null) are skipped.
  bool ok = true;
  if (complement != nullptr) {
    ok = CorrectlyRounded(complement, [s](arb_ptr r, slong prec) {
      s->SumTo(prec);
      Complement(r, s->direct, prec);
    }, side.extra_bits);
  }
  if (direct != nullptr) {
    ok = CorrectlyRounded(direct, [s](arb_ptr r, slong prec) {
      s->SumTo(prec);
      arb_set_round(r, s->direct, prec);
    }) && ok;
  }
  if (peqk != nullptr) {
    ok = CorrectlyRounded(peqk, [s](arb_ptr r, slong prec) {
      s->MassTo(prec);
      arb_set_round(r, s->mass, prec);
    }) && ok;
  }
  return ok;
}

// Outside the support: exact values.
bool OutsideSupport(const Mass& f, long k, QuarnFloat* plek, QuarnFloat* pgtk, QuarnFloat* peqk) {
  if (k >= f.lo && k <= f.hi) return false;
  const bool below = k < f.lo;
  Set(plek, QuarnFloat(below ? 0.0 : 1.0));
  Set(pgtk, QuarnFloat(below ? 1.0 : 0.0));
  Set(peqk, QuarnFloat(0.0));
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

// A count converted from a float beyond the range of long arrives as the
// largest long, which therefore stands for "too large" and is refused.
bool CheckCount(NagError* fail, const char* name, long v) {
  if (!CheckNonNegative(fail, name, v)) return false;
  if (v < std::numeric_limits<long>::max()) return true;
  Fail(fail, NE_INT_ARG_GT, std::string(name) + " must be less than 2^63 - 1, received " + name + " = " +
                                std::to_string(v) + " or more.");
  return false;
}

// The tail sums take about sqrt(variance) terms; above this they would take
// minutes.
constexpr double kMaxVariance = 1e9;

bool CheckVariance(NagError* fail, double variance) {
  if (variance <= kMaxVariance) return true;
  char text[160];
  if (std::isfinite(variance)) {
    std::snprintf(text, sizeof text, "the variance of the distribution must be at most 1e9, received variance = %.6g.",
                  variance);
  } else {
    std::snprintf(text, sizeof text, "the variance of the distribution must be at most 1e9, received one beyond 1e308.");
  }
  Fail(fail, NE_VARIANCE_TOO_LARGE, text);
  return false;
}

void SetAll(QuarnFloat* a, QuarnFloat* b, QuarnFloat* c, const QuarnFloat& v) {
  Set(a, v);
  Set(b, v);
  Set(c, v);
}

// Populations up to this size are summed exactly, in integers: faster than
// the walk on balls, and exact before the one rounding.
constexpr long kExactPopulation = 1024;

// a / b for integers, correctly rounded to the working precision (arf_div
// rounds the exact quotient).
QuarnFloat Quotient(const fmpz_t a, const fmpz_t b) {
  return quarn::floats::Compute([&](mpfr_ptr z) {
    arf_t x, y, q;
    arf_init(x);
    arf_init(y);
    arf_init(q);
    arf_set_fmpz(x, a);
    arf_set_fmpz(y, b);
    arf_div(q, x, y, mpfr_get_prec(z), ARF_RND_NEAR);
    arf_get_mpfr(z, q, MPFR_RNDN);  // exact: q has z's precision
    arf_clear(x);
    arf_clear(y);
    arf_clear(q);
  });
}

// The hypergeometric outputs from the integers T_j = C(m, j) C(n - m, l - j)
// (T_{j-1} from T_j by the exact ratio), summed over the whole of one tail
// (the shorter), and C(n, l): each output one correctly rounded quotient.
void HypergeometricExact(const Mass& f, long n, long l, long m, long k, QuarnFloat* plek, QuarnFloat* pgtk,
                         QuarnFloat* peqk) {
  // The integers live as long as the library: their limbs are reused from
  // call to call instead of allocated each time (the routine is not
  // re-entrant, like the rest of the library).
  static fmpz_t total, at_k, term, tail, factor;
  const auto u = [](long v) { return static_cast<ulong>(v); };
  fmpz_bin_uiui(total, u(n), u(l));
  fmpz_bin_uiui(at_k, u(m), u(k));
  fmpz_bin_uiui(term, u(n - m), u(l - k));
  fmpz_mul(at_k, at_k, term);
  // Both sums are exact: the shorter one.
  const bool upper = f.hi - k < k - f.lo + 1;
  fmpz_set(term, at_k);
  fmpz_zero(tail);
  if (!upper) fmpz_set(tail, at_k);
  for (long j = k; upper ? j < f.hi : j > f.lo; j += upper ? 1 : -1) {
    if (upper) {  // T_{j+1} = T_j (m - j)(l - j) / ((j + 1)(n - m - l + j + 1))
      fmpz_mul_ui(term, term, u(m - j));
      fmpz_mul_ui(term, term, u(l - j));
      fmpz_set_ui(factor, u(j + 1));
      fmpz_mul_ui(factor, factor, u(n - m - l + j + 1));
    } else {  // T_{j-1} = T_j j (n - m - l + j) / ((m - j + 1)(l - j + 1))
      fmpz_mul_ui(term, term, u(j));
      fmpz_mul_ui(term, term, u(n - m - l + j));
      fmpz_set_ui(factor, u(m - j + 1));
      fmpz_mul_ui(factor, factor, u(l - j + 1));
    }
    fmpz_divexact(term, term, factor);
    fmpz_add(tail, tail, term);
  }
  fmpz_sub(factor, total, tail);  // the other tail
  Set(upper ? pgtk : plek, Quotient(tail, total));
  Set(upper ? plek : pgtk, Quotient(factor, total));
  Set(peqk, Quotient(at_k, total));
}

}  // namespace

namespace {

// n trials of success probability p (and q = 1 - p, exact).
class BinomialMass : public Mass {
 public:
  BinomialMass(long n, const QuarnFloat& p) : n_(n), p_(p) {
    OneMinusExact(q_, p_);
    const double pd = p.ToDouble(), nd = static_cast<double>(n);
    lo = 0;
    hi = n;
    mean = nd * pd;
    variance = nd * pd * (1.0 - pd);
    log_bits = FactorialBits(nd) + MagnitudeBits(nd * std::fabs(std::log(std::min(pd, 1.0 - pd))));
  }
  // log C(n, j) + j log p + (n - j) log q.
  void LogMass(arb_ptr res, long j, slong prec) const override {
    Ball t;
    LogBinomial(res, n_, j, prec);
    arb_log(t, p_, prec);
    arb_mul_si(t, t, j, prec);
    arb_add(res, res, t, prec);
    arb_log(t, q_, prec);
    arb_mul_si(t, t, n_ - j, prec);
    arb_add(res, res, t, prec);
  }
  // Up to 10^4 trials, C(n, j) p^j q^(n - j) directly.
  bool DirectMass(arb_ptr res, long j, slong prec) const override {
    if (n_ > 10000) return false;
    Ball t;
    const slong wp = prec + 2 * MagnitudeBits(static_cast<double>(n_)) + 10;
    arb_bin_uiui(res, static_cast<ulong>(n_), static_cast<ulong>(j), wp);
    arb_pow_ui(t, p_, static_cast<ulong>(j), wp);
    arb_mul(res, res, t, wp);
    arb_pow_ui(t, q_, static_cast<ulong>(n_ - j), wp);
    arb_mul(res, res, t, prec);
    return true;
  }
  // (n - j) p / ((j + 1) q), the odds computed once per precision.
  void RatioUp(arb_ptr res, long j, slong prec) const override {
    arb_mul_ui(res, odds_.At(prec), static_cast<ulong>(n_ - j), prec);
    arb_div_ui(res, res, static_cast<ulong>(j + 1), prec);
  }
  void RatioDown(arb_ptr res, long j, slong prec) const override {
    arb_mul_ui(res, inverse_odds_.At(prec), static_cast<ulong>(j), prec);
    arb_div_ui(res, res, static_cast<ulong>(n_ - j + 1), prec);
  }

 private:
  long n_;
  Ball p_, q_;
  mutable CachedConstant odds_{[this](arb_ptr r, slong prec) { arb_div(r, p_, q_, prec); }};
  mutable CachedConstant inverse_odds_{[this](arb_ptr r, slong prec) { arb_div(r, q_, p_, prec); }};
};

// RepeatedParameters objects alive, and the e^-lambda kept while one is.
int g_repeated_depth = 0;
struct KeptExp {
  Ball lambda, value;
  slong prec = 0;  // 0: nothing kept
};
KeptExp& Kept() {
  static KeptExp* kept = new KeptExp;  // one per process, never freed
  return *kept;
}

// e^-lambda at prec (a quarter of a Poisson probability at Digits 500).
// Within a RepeatedParameters scope the last value computed is kept and
// serves any precision up to its own.
void ExpOfMinus(arb_ptr res, arb_srcptr lambda, slong prec) {
  KeptExp& kept = Kept();
  if (g_repeated_depth > 0 && kept.prec >= prec && arb_equal(kept.lambda, lambda)) {
    arb_set_round(res, kept.value, prec);
    return;
  }
  arb_neg(res, lambda);
  arb_exp(res, res, prec);
  if (g_repeated_depth > 0) {
    arb_set(kept.lambda, lambda);
    arb_set(kept.value, res);
    kept.prec = prec;
  }
}

// Mean lambda.
class PoissonMass : public Mass {
 public:
  PoissonMass(const QuarnFloat& lambda, long k) : lambda_(lambda) {
    const double ld = lambda.ToDouble(), kd = std::fabs(static_cast<double>(k));
    lo = 0;
    hi = std::numeric_limits<long>::max() - 1;
    mean = ld;
    variance = ld;
    log_bits = FactorialBits(ld + kd) + MagnitudeBits((ld + kd) * (std::fabs(std::log(ld)) + 1.0));
    direct_ = ld <= 1e4 && k >= 0 && k <= 10000;
  }
  // j log lambda - lambda - log j!.
  void LogMass(arb_ptr res, long j, slong prec) const override {
    Ball t;
    arb_log(res, lambda_, prec);
    arb_mul_si(res, res, j, prec);
    arb_sub(res, res, lambda_, prec);
    LogFactorial(t, j, prec);
    arb_sub(res, res, t, prec);
  }
  // Up to 10^4, lambda^j e^-lambda / j! directly.
  bool DirectMass(arb_ptr res, long j, slong prec) const override {
    if (!direct_) return false;
    Ball t;
    const slong wp = prec + 2 * MagnitudeBits(static_cast<double>(j)) + 10;
    arb_pow_ui(res, lambda_, static_cast<ulong>(j), wp);
    ExpOfMinus(t, lambda_, wp);
    arb_mul(res, res, t, wp);
    arb_fac_ui(t, static_cast<ulong>(j), wp);
    arb_div(res, res, t, prec);
    return true;
  }
  void RatioUp(arb_ptr res, long j, slong prec) const override {
    arb_div_ui(res, lambda_, static_cast<ulong>(j + 1), prec);
  }
  void RatioDown(arb_ptr res, long j, slong prec) const override {
    arb_set_si(res, j);
    arb_div(res, res, lambda_, prec);
  }

 private:
  Ball lambda_;
  bool direct_ = false;
};

// a b / (c d) for integers.
void IntegerRatio(arb_ptr res, long a, long b, long c, long d, slong prec) {
  Ball den;
  arb_set_si(res, a);
  arb_mul_si(res, res, b, prec);
  arb_set_si(den, c);
  arb_mul_si(den, den, d, prec);
  arb_div(res, res, den, prec);
}

// A sample of l from n of which m are marked.
class HypergeometricMass : public Mass {
 public:
  HypergeometricMass(long n, long l, long m) : n_(n), l_(l), m_(m) {
    lo = std::max(0L, l - (n - m));  // l + m - n, which may overflow (0 <= l, m <= n)
    hi = std::min(l, m);
    const double nd = static_cast<double>(n), ld = static_cast<double>(l), md = static_cast<double>(m);
    mean = n > 0 ? ld * md / nd : 0.0;
    variance = n > 1 ? ld * md * (nd - ld) * (nd - md) / (nd * nd * (nd - 1.0)) : 0.0;
    log_bits = FactorialBits(nd) + 4;
  }
  // log C(m, j) + log C(n - m, l - j) - log C(n, l).
  void LogMass(arb_ptr res, long j, slong prec) const override {
    Ball t;
    LogBinomial(res, m_, j, prec);
    LogBinomial(t, n_ - m_, l_ - j, prec);
    arb_add(res, res, t, prec);
    LogBinomial(t, n_, l_, prec);
    arb_sub(res, res, t, prec);
  }
  // (m - j)(l - j) / ((j + 1)(n - m - l + j + 1)).
  void RatioUp(arb_ptr res, long j, slong prec) const override {
    IntegerRatio(res, m_ - j, l_ - j, j + 1, n_ - m_ - l_ + j + 1, prec);
  }
  void RatioDown(arb_ptr res, long j, slong prec) const override {
    IntegerRatio(res, j, n_ - m_ - l_ + j, m_ - j + 1, l_ - j + 1, prec);
  }

 private:
  long n_, l_, m_;
};

}  // namespace

quarn::numerics::RepeatedParameters::RepeatedParameters() { ++g_repeated_depth; }

quarn::numerics::RepeatedParameters::~RepeatedParameters() {
  if (--g_repeated_depth == 0) Kept().prec = 0;
}

void QuarnMP_g01bjc(long n, QuarnFloat p, long k, QuarnFloat* plek, QuarnFloat* pgtk, QuarnFloat* peqk,
                    NagError* fail) {
  if (!CheckCount(fail, "n", n)) return SetAll(plek, pgtk, peqk, QuarnFloat(0.0));
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail, {{"p", p, Bound::kUnitOpen}})) {
    return SetAll(plek, pgtk, peqk, *early);
  }
  BinomialMass f(n, p);
  if (!CheckVariance(fail, f.variance)) return SetAll(plek, pgtk, peqk, QuarnFloat(0.0));
  if (OutsideSupport(f, k, plek, pgtk, peqk)) return Succeed(fail);
  Finish(fail, "QuarnMP_g01bjc", Outputs(f, k, plek, pgtk, peqk), *plek);
}

void QuarnMP_g01bkc(QuarnFloat rlamda, long k, QuarnFloat* plek, QuarnFloat* pgtk, QuarnFloat* peqk,
                    NagError* fail) {
  if (auto early = Screen(fail, Tails::kNone, Nag_LowerTail, {{"rlamda", rlamda, Bound::kPositive}})) {
    return SetAll(plek, pgtk, peqk, *early);
  }
  PoissonMass f(rlamda, k);
  if (!CheckVariance(fail, f.variance)) return SetAll(plek, pgtk, peqk, QuarnFloat(0.0));
  if (OutsideSupport(f, k, plek, pgtk, peqk)) return Succeed(fail);
  Finish(fail, "QuarnMP_g01bkc", Outputs(f, k, plek, pgtk, peqk), *plek);
}

void QuarnMP_g01blc(long n, long l, long m, long k, QuarnFloat* plek, QuarnFloat* pgtk, QuarnFloat* peqk,
                    NagError* fail) {
  SetAll(plek, pgtk, peqk, QuarnFloat(0.0));
  if (!CheckCount(fail, "n", n) || !CheckNonNegative(fail, "l", l) || !CheckNonNegative(fail, "m", m)) {
    return;
  }
  for (auto [name, v] : {std::pair{"l", l}, std::pair{"m", m}}) {
    if (v > n) {
      return Fail(fail, NE_2_INT_ARG_GT, std::string(name) + " must be at most n, received " + name + " = " +
                                             std::to_string(v) + ", n = " + std::to_string(n) + ".");
    }
  }
  HypergeometricMass f(n, l, m);
  if (OutsideSupport(f, k, plek, pgtk, peqk)) return Succeed(fail);
  if (n <= kExactPopulation) {
    HypergeometricExact(f, n, l, m, k, plek, pgtk, peqk);
    return Succeed(fail);
  }
  if (!CheckVariance(fail, f.variance)) return;
  Finish(fail, "QuarnMP_g01blc", Outputs(f, k, plek, pgtk, peqk), *plek);
}
