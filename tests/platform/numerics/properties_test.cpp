// Properties of the distribution routines that need no reference table:
// identities between distributions, symmetry, deviates bracketed by the
// probabilities of their neighbours, undefined inputs, failure codes and
// messages, and the special-function methods against each other.
#include <arb_hypgeom.h>
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"
#include "support/support.h"

namespace {

namespace host = quarn::host;
namespace nm = quarn::numerics;
using quarn::test::ScopedDigits;

const long kDigits[] = {15, 40};

std::string Show(const QuarnFloat& x) { return host::Print(x.Handle()); }

// The two floats next to x at the working precision.
QuarnFloat Next(const QuarnFloat& x, int direction) {
  return quarn::floats::Compute([&](mpfr_ptr z) {
    mpfr_set(z, x.Mpfr(), MPFR_RNDN);
    direction > 0 ? mpfr_nextabove(z) : mpfr_nextbelow(z);
  });
}

bool Identical(const QuarnFloat& a, const QuarnFloat& b) { return mpfr_equal_p(a.Mpfr(), b.Mpfr()) != 0; }

// |a - b| <= ulps units of 2^-WorkingBits relative to b.
bool WithinUlps(const QuarnFloat& a, double b, int ulps) {
  double rel = std::fabs((a - QuarnFloat(b)).ToDouble() / b);
  return rel <= ulps * std::ldexp(1.0, -static_cast<int>(host::WorkingBits()) + 1);
}

// ---------------------------------------------------------------- identities

// The discrete and non-central routines against the continuous ones on the
// same number (each correctly rounded, so identical): the binomial lower
// tail is I_{1-p}(n - k, k + 1), the Poisson lower tail Q(k + 1, lambda),
// the hypergeometric law is symmetric in its two counts, and a
// non-centrality of 0 gives the central laws; the two tails of a discrete
// law add up to 1, and the non-central t reflects: P(t; delta) =
// 1 - P(-t; -delta).
TEST(Identities, DiscreteAndNonCentralAgainstTheContinuousRoutines) {
  const QuarnFloat zero(0.0);
  for (long d : kDigits) {
    ScopedDigits digits(d);
    SCOPED_TRACE("Digits " + std::to_string(d));
    NagError f{};
    QuarnFloat lower, upper, mass, p, q, pdf;
    for (auto [n, k] : {std::pair{40L, 11L}, {1000L, 400L}, {7L, 0L}}) {
      const QuarnFloat prob(0.375), comp(0.625);
      QuarnMP_g01bjc(n, prob, k, &lower, &upper, &mass, &f);
      QuarnMP_g01eec(comp, QuarnFloat(n - k), QuarnFloat(k + 1), zero, &p, &q, &pdf, &f);
      EXPECT_TRUE(Identical(lower, p)) << n << " " << k << ": " << Show(lower) << " vs " << Show(p);
      EXPECT_TRUE(WithinUlps(lower + upper, 1.0, 2)) << Show(lower + upper);
    }
    for (auto [lambda, k] : {std::pair{2.5, 1L}, {300.0, 340L}, {0.125, 4L}}) {
      QuarnMP_g01bkc(QuarnFloat(lambda), k, &lower, &upper, &mass, &f);
      QuarnFloat gamma = QuarnMP_g01efc(Nag_UpperTail, QuarnFloat(lambda), QuarnFloat(k + 1), QuarnFloat(1.0), &f);
      EXPECT_TRUE(Identical(lower, gamma)) << lambda << " " << k << ": " << Show(lower) << " vs " << Show(gamma);
    }
    QuarnFloat other;
    QuarnMP_g01blc(500, 120, 60, 10, &lower, &upper, &mass, &f);
    QuarnMP_g01blc(500, 60, 120, 10, &other, &upper, &pdf, &f);
    EXPECT_TRUE(Identical(lower, other) && Identical(mass, pdf));
    EXPECT_EQ(0, f.code);
    const QuarnFloat x(2.5), a(1.5), b(4.0), t(-1.25);
    EXPECT_TRUE(Identical(QuarnMP_g01gcc(x, a, zero, zero, 100, &f), QuarnMP_g01ecc(Nag_LowerTail, x, a, &f)));
    EXPECT_TRUE(Identical(QuarnMP_g01gdc(x, a, b, zero, zero, 100, &f), QuarnMP_g01edc(Nag_LowerTail, x, a, b, &f)));
    EXPECT_TRUE(Identical(QuarnMP_g01gbc(t, b, zero, zero, 100, &f), QuarnMP_g01ebc(Nag_LowerTail, t, b, &f)));
    QuarnMP_g01eec(QuarnFloat(0.25), a, b, zero, &p, &q, &pdf, &f);
    EXPECT_TRUE(Identical(QuarnMP_g01gec(QuarnFloat(0.25), a, b, zero, zero, 100, &f), p));
    for (double delta : {0.5, -3.0}) {
      QuarnFloat left = QuarnMP_g01gbc(t, b, QuarnFloat(delta), zero, 1000, &f);
      QuarnFloat right = QuarnMP_g01gbc(-t, b, QuarnFloat(-delta), zero, 1000, &f);
      EXPECT_TRUE(WithinUlps(left + right, 1.0, 2)) << delta << ": " << Show(left + right);
    }
    EXPECT_EQ(0, f.code);
  }
}

// Outside the support the discrete routines give the exact probabilities
// of that k (where the double-precision original refuses k).
TEST(Identities, DiscreteOutsideTheSupport) {
  NagError f{};
  QuarnFloat lower, upper, mass;
  auto expect = [&](double l, double u, const char* what) {
    EXPECT_TRUE(lower == l && upper == u && mass == 0) << what;
    EXPECT_EQ(0, f.code) << what;
  };
  QuarnMP_g01bjc(10, QuarnFloat(0.5), -1, &lower, &upper, &mass, &f);
  expect(0, 1, "binomial k = -1");
  QuarnMP_g01bjc(10, QuarnFloat(0.5), 11, &lower, &upper, &mass, &f);
  expect(1, 0, "binomial k = n + 1");
  QuarnMP_g01bkc(QuarnFloat(3.0), -2, &lower, &upper, &mass, &f);
  expect(0, 1, "Poisson k = -2");
  QuarnMP_g01blc(10, 7, 6, 2, &lower, &upper, &mass, &f);  // the support is 3..6
  expect(0, 1, "hypergeometric below l + m - n");
  QuarnMP_g01blc(10, 7, 6, 7, &lower, &upper, &mass, &f);
  expect(1, 0, "hypergeometric above m");
}

TEST(Identities, ChiSquareIsGammaWithHalfShapeAndScaleTwo) {
  const double xs[] = {0.001, 0.5, 3.5, 17.0, 250.0};
  const double dfs[] = {0.0009765625, 1.0, 4.0, 25.0, 1000.0};
  for (long d : kDigits) {
    ScopedDigits digits(d);
    for (double x : xs) {
      for (double df : dfs) {
        for (Nag_TailProbability tail : {Nag_LowerTail, Nag_UpperTail}) {
          NagError f1{}, f2{};
          QuarnFloat chi = QuarnMP_g01ecc(tail, QuarnFloat(x), QuarnFloat(df), &f1);
          QuarnFloat gam = QuarnMP_g01efc(tail, QuarnFloat(x), QuarnFloat(df / 2), QuarnFloat(2.0), &f2);
          // Both are the correctly rounded value of the same number.
          EXPECT_TRUE(Identical(chi, gam)) << "x " << x << " df " << df << " tail " << tail << " at Digits " << d
                                           << ": " << Show(chi) << " vs " << Show(gam);
          EXPECT_EQ(0, f1.code);
          EXPECT_EQ(0, f2.code);
        }
      }
    }
  }
}

TEST(Identities, StudentTIsHalfAtZeroAndSymmetric) {
  const double dfs[] = {0.0009765625, 0.5, 1.0, 7.5, 1e6};
  const double ts[] = {1e-8, 0.25, 3.0, 1e10};
  for (long d : kDigits) {
    ScopedDigits digits(d);
    for (double df : dfs) {
      NagError f{};
      QuarnFloat half = QuarnMP_g01ebc(Nag_LowerTail, QuarnFloat(0.0), QuarnFloat(df), &f);
      EXPECT_TRUE(half == 0.5) << "df " << df << ": " << Show(half);
      for (double t : ts) {
        SCOPED_TRACE(testing::Message() << "t " << t << " df " << df);
        // P(T <= -t) = P(T > t), P(T <= t) + P(T <= -t) = 1, and the two-tail
        // forms add up.
        QuarnFloat lower = QuarnMP_g01ebc(Nag_LowerTail, QuarnFloat(-t), QuarnFloat(df), &f);
        QuarnFloat upper = QuarnMP_g01ebc(Nag_UpperTail, QuarnFloat(t), QuarnFloat(df), &f);
        EXPECT_TRUE(Identical(lower, upper));
        EXPECT_TRUE(WithinUlps(QuarnMP_g01ebc(Nag_LowerTail, QuarnFloat(t), QuarnFloat(df), &f) + lower, 1.0, 2));
        QuarnFloat signif = QuarnMP_g01ebc(Nag_TwoTailSignif, QuarnFloat(t), QuarnFloat(df), &f);
        EXPECT_TRUE(Identical(signif, QuarnFloat(2.0) * upper));
        QuarnFloat confid = QuarnMP_g01ebc(Nag_TwoTailConfid, QuarnFloat(-t), QuarnFloat(df), &f);
        EXPECT_TRUE(WithinUlps(signif + confid, 1.0, 2));
      }
    }
  }
}

TEST(Identities, NormalIsStudentTWithManyDegreesAndTailsAddUp) {
  ScopedDigits digits(20);
  NagError f{};
  for (double x : {-5.0, -1.0, 0.5, 2.0}) {
    QuarnFloat lower = QuarnMP_g01eac(Nag_LowerTail, QuarnFloat(x), &f);
    QuarnFloat upper = QuarnMP_g01eac(Nag_UpperTail, QuarnFloat(-x), &f);
    EXPECT_TRUE(Identical(lower, upper)) << x;
    // t with 1e12 degrees of freedom differs from the normal by O(1/df).
    QuarnFloat t = QuarnMP_g01ebc(Nag_LowerTail, QuarnFloat(x), QuarnFloat(1e12), &f);
    EXPECT_LT(std::fabs((t - lower).ToDouble()), 1e-11) << x;
  }
  // F with (1, df2) is t squared: P(F <= t^2) = P(|T| <= t).
  for (double t : {0.5, 2.0, 30.0}) {
    QuarnFloat fp = QuarnMP_g01edc(Nag_LowerTail, QuarnFloat(t * t), QuarnFloat(1.0), QuarnFloat(6.0), &f);
    QuarnFloat tp = QuarnMP_g01ebc(Nag_TwoTailConfid, QuarnFloat(t), QuarnFloat(6.0), &f);
    EXPECT_TRUE(Identical(fp, tp)) << t << ": " << Show(fp) << " vs " << Show(tp);
  }
  // Beta(a, b) at x against F(2a, 2b) at b x / (a (1 - x)): x = 3/4 and f = 8.
  QuarnFloat p, q, pdf;
  QuarnMP_g01eec(QuarnFloat(0.75), QuarnFloat(1.5), QuarnFloat(4.0), QuarnFloat(0.0), &p, &q, &pdf, &f);
  QuarnFloat fp = QuarnMP_g01edc(Nag_LowerTail, QuarnFloat(8.0), QuarnFloat(3.0), QuarnFloat(8.0), &f);
  EXPECT_TRUE(Identical(p, fp)) << Show(p) << " vs " << Show(fp);
  QuarnFloat fq = QuarnMP_g01edc(Nag_UpperTail, QuarnFloat(8.0), QuarnFloat(3.0), QuarnFloat(8.0), &f);
  EXPECT_TRUE(Identical(q, fq)) << Show(q) << " vs " << Show(fq);
}

// Regression: a value within a tiny fraction of an ulp of a rounding
// boundary was never decided, because the ball's end points were rounded
// only 16 bits beyond the target before the comparison.
TEST(Rounding, ValueNextToARoundingBoundaryIsDecided) {
  ScopedDigits digits(30);
  // I_x(2, 3) = 6x^2 - 8x^3 + 3x^4 exactly; at x = 1/2 - 2^-54 it lies about
  // 2^-54 ulp from a midpoint of the working precision.
  const double x = 0.5 - std::ldexp(1.0, -54);
  mpfr_t e, t;
  mpfr_inits2(400, e, t, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_d(t, x, MPFR_RNDN);
  mpfr_mul_ui(e, t, 3, MPFR_RNDN);       // 3x
  mpfr_sub_ui(e, e, 8, MPFR_RNDN);       // 3x - 8
  mpfr_mul(e, e, t, MPFR_RNDN);          // 3x^2 - 8x
  mpfr_add_ui(e, e, 6, MPFR_RNDN);       // 3x^2 - 8x + 6
  mpfr_mul(e, e, t, MPFR_RNDN);
  mpfr_mul(e, e, t, MPFR_RNDN);          // exact: 216 bits
  QuarnFloat exact = QuarnFloat::FromMpfr(e);
  mpfr_clears(e, t, static_cast<mpfr_ptr>(nullptr));
  NagError f{};
  QuarnFloat p, q, pdf;
  QuarnMP_g01eec(QuarnFloat(x), QuarnFloat(2.0), QuarnFloat(3.0), QuarnFloat(0.0), &p, &q, &pdf, &f);
  EXPECT_EQ(0, f.code) << f.message;
  EXPECT_TRUE(Identical(p, exact)) << Show(p) << " vs " << Show(exact);
}

TEST(Rounding, ValueOnARoundingBoundaryIsRoundedToEven) {
  ScopedDigits digits(31);
  // The Beta(3, 1) density is 3x^2, evaluated through exp and log (a ball
  // that never shrinks to a point). With x = 1/2 + 2^-h, 3x^2 =
  // 3/4 + 3 2^-h + 3 2^-2h has 2h significant bits: for 2h = n + 1 (n the
  // working bits) it lies exactly halfway between two floats.
  const long n = host::WorkingBits();
  ASSERT_EQ(1, n % 2);
  const long h = (n + 1) / 2;
  mpfr_t x, e;
  mpfr_inits2(4 * n, x, e, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_ui_2exp(x, 1, -h, MPFR_RNDN);
  mpfr_add_d(x, x, 0.5, MPFR_RNDN);
  mpfr_sqr(e, x, MPFR_RNDN);
  mpfr_mul_ui(e, e, 3, MPFR_RNDN);  // exact
  ASSERT_EQ(n + 1, static_cast<long>(mpfr_min_prec(e)));
  QuarnFloat xq = QuarnFloat::FromMpfr(x);    // exact: h bits
  QuarnFloat even = QuarnFloat::FromMpfr(e);  // the tie rounded to even
  mpfr_clears(x, e, static_cast<mpfr_ptr>(nullptr));
  NagError f{};
  QuarnFloat p, q, pdf;
  QuarnMP_g01eec(xq, QuarnFloat(3.0), QuarnFloat(1.0), QuarnFloat(0.0), &p, &q, &pdf, &f);
  EXPECT_EQ(0, f.code) << f.message;
  EXPECT_TRUE(Identical(pdf, even)) << Show(pdf) << " vs " << Show(even);
}

// ----------------------------------------------------------------- deviates

using Params = std::vector<QuarnFloat>;
using Routine = std::function<QuarnFloat(const QuarnFloat&, const Params&, NagError*)>;

struct DeviateCase {
  const char* name;
  std::vector<double> params;
  Routine deviate, probability;
};

std::vector<DeviateCase> DeviateCases() {
  using Q = const QuarnFloat&;
  using V = const Params&;
  Routine normal_dev = [](Q p, V, NagError* f) { return QuarnMP_g01fac(Nag_LowerTail, p, f); };
  Routine normal_prob = [](Q x, V, NagError* f) { return QuarnMP_g01eac(Nag_LowerTail, x, f); };
  Routine t_dev = [](Q p, V v, NagError* f) { return QuarnMP_g01fbc(Nag_LowerTail, p, v[0], f); };
  Routine t_prob = [](Q x, V v, NagError* f) { return QuarnMP_g01ebc(Nag_LowerTail, x, v[0], f); };
  Routine chi_dev = [](Q p, V v, NagError* f) { return QuarnMP_g01fcc(p, v[0], f); };
  Routine chi_prob = [](Q x, V v, NagError* f) { return QuarnMP_g01ecc(Nag_LowerTail, x, v[0], f); };
  Routine f_dev = [](Q p, V v, NagError* f) { return QuarnMP_g01fdc(p, v[0], v[1], f); };
  Routine f_prob = [](Q x, V v, NagError* f) { return QuarnMP_g01edc(Nag_LowerTail, x, v[0], v[1], f); };
  Routine beta_dev = [](Q p, V v, NagError* f) { return QuarnMP_g01fec(p, v[0], v[1], QuarnFloat(0.0), f); };
  Routine beta_prob = [](Q x, V v, NagError* f) {
    QuarnFloat p, q, pdf;
    QuarnMP_g01eec(x, v[0], v[1], QuarnFloat(0.0), &p, &q, &pdf, f);
    return p;
  };
  Routine gamma_dev = [](Q p, V v, NagError* f) { return QuarnMP_g01ffc(p, v[0], v[1], QuarnFloat(0.0), f); };
  Routine gamma_prob = [](Q x, V v, NagError* f) { return QuarnMP_g01efc(Nag_LowerTail, x, v[0], v[1], f); };
  return {
      {"normal", {}, normal_dev, normal_prob},
      {"t(0.75)", {0.75}, t_dev, t_prob},
      {"t(12)", {12.0}, t_dev, t_prob},
      {"chisq(0.25)", {0.25}, chi_dev, chi_prob},
      {"chisq(9)", {9.0}, chi_dev, chi_prob},
      {"F(3, 1.5)", {3.0, 1.5}, f_dev, f_prob},
      {"F(40, 60)", {40.0, 60.0}, f_dev, f_prob},
      {"beta(0.5, 8)", {0.5, 8.0}, beta_dev, beta_prob},
      {"beta(30, 2)", {30.0, 2.0}, beta_dev, beta_prob},
      {"gamma(3, 0.5)", {3.0, 0.5}, gamma_dev, gamma_prob},
      {"gamma(0.1, 7)", {0.1, 7.0}, gamma_dev, gamma_prob},
  };
}

// For an increasing probability P, the deviate x of p is correctly rounded
// only if P(x-) <= p <= P(x+) for the floats x- and x+ next to x. A beta
// deviate may round to 1, whose neighbour above lies outside the support.
void ExpectBracketed(const DeviateCase& c, const Params& params, const QuarnFloat& p, const std::string& what) {
  NagError f{};
  QuarnFloat x = c.deviate(p, params, &f);
  ASSERT_EQ(0, f.code) << what << ": " << f.message;
  const bool beta = std::string(c.name).rfind("beta", 0) == 0;
  auto probability = [&](const QuarnFloat& y) {
    return beta && y > 1 ? QuarnFloat(1.0) : c.probability(y, params, &f);
  };
  QuarnFloat below = probability(Next(x, -1)), above = probability(Next(x, 1));
  EXPECT_TRUE(below <= p && p <= above) << what << ": deviate " << Show(x) << ", P below " << Show(below)
                                         << ", target " << Show(p) << ", P above " << Show(above);
  EXPECT_EQ(0, f.code) << what << ": " << f.message;
}

TEST(Deviates, BracketedByTheProbabilitiesOfTheirNeighbours) {
  const double ps[] = {1e-40, 0.001, 0.2, 0.5, 0.7, 0.99, 1.0 - 1.0 / 65536};
  for (long d : kDigits) {
    ScopedDigits digits(d);
    for (const DeviateCase& c : DeviateCases()) {
      for (double pd : ps) {
        ExpectBracketed(c, Params(c.params.begin(), c.params.end()), QuarnFloat(pd),
                        std::string(c.name) + " p " + Show(QuarnFloat(pd)) + " Digits " + std::to_string(d));
      }
    }
  }
}

uint64_t Seed() {
  if (const char* s = std::getenv("QUARN_TEST_SEED")) return std::strtoull(s, nullptr, 10);
  return 20260117;
}

// Random parameters (2^-4 to 2^10, log-uniform), probabilities from 1e-30
// to 1 - 2^-40 and Digits from 10 to 120: the solver's start, its phase
// lengths and its last interval step meet inputs that no fixed case picks.
// QUARN_TEST_SEED sets the seed, QUARN_TEST_ITERATIONS the number of cases.
TEST(Deviates, RandomInputsAreBracketed) {
  const uint64_t seed = Seed();
  SCOPED_TRACE("QUARN_TEST_SEED=" + std::to_string(seed));
  std::mt19937_64 gen(seed);
  std::uniform_real_distribution<double> log_param(-4.0, 10.0), unit(0.0, 1.0);
  const long digits[] = {10, 15, 20, 35, 60, 120};
  const std::vector<DeviateCase> cases = DeviateCases();
  const char* iterations = std::getenv("QUARN_TEST_ITERATIONS");
  const int n = iterations != nullptr ? std::atoi(iterations) : 200;
  for (int i = 0; i < n; ++i) {
    const DeviateCase& c = cases[gen() % cases.size()];
    ScopedDigits d(digits[gen() % std::size(digits)]);
    Params params;
    for (size_t k = 0; k < c.params.size(); ++k) params.emplace_back(std::exp2(log_param(gen)));
    // A lower tail down to 1e-30, or an upper one down to 2^-40.
    const bool upper = gen() % 2 == 0;
    const double tail = std::exp2(upper ? -40.0 * unit(gen) : -100.0 * unit(gen) - 1.0);
    const QuarnFloat p(upper ? 1.0 - tail : tail);
    std::string what = std::string(c.name) + " case " + std::to_string(i) + " p " + Show(p) + " Digits " +
                       std::to_string(host::WorkingDigits());
    for (const QuarnFloat& v : params) what += " param " + Show(v);
    ExpectBracketed(c, params, p, what);
  }
}

TEST(Deviates, ProbabilityThenDeviateReturnsTheInput) {
  ScopedDigits digits(30);
  for (const DeviateCase& c : DeviateCases()) {
    std::vector<QuarnFloat> params(c.params.begin(), c.params.end());
    for (double x : {0.125, 0.75}) {
      NagError f{};
      QuarnFloat p = c.probability(QuarnFloat(x), params, &f);
      QuarnFloat back = c.deviate(p, params, &f);
      ASSERT_EQ(0, f.code) << c.name << " x " << x << ": " << f.message;
      // p is rounded, so back may differ from x by what one ulp of p moves
      // the deviate: no more than p's relative rounding over the elasticity.
      double rel = std::fabs((back - QuarnFloat(x)).ToDouble() / x);
      EXPECT_LT(rel, 1e-25) << c.name << " x " << x << " back " << Show(back);
    }
  }
}

TEST(Deviates, TwoTailFormsMapToTheLowerTail) {
  ScopedDigits digits(25);
  NagError f{};
  // (lower 31/32), (upper 1/32), (two-tail significance 1/16) and
  // (confidence 15/16) are the same deviate.
  QuarnFloat lower = QuarnMP_g01fac(Nag_LowerTail, QuarnFloat(0.96875), &f);
  QuarnFloat t = QuarnMP_g01fbc(Nag_LowerTail, QuarnFloat(0.96875), QuarnFloat(11.0), &f);
  const std::pair<Nag_TailProbability, double> same[] = {
      {Nag_UpperTail, 0.03125}, {Nag_TwoTailSignif, 0.0625}, {Nag_TwoTailConfid, 0.9375}};
  for (const auto& [tail, p] : same) {
    EXPECT_TRUE(Identical(lower, QuarnMP_g01fac(tail, QuarnFloat(p), &f))) << "normal, tail " << tail;
    EXPECT_TRUE(Identical(t, QuarnMP_g01fbc(tail, QuarnFloat(p), QuarnFloat(11.0), &f))) << "t, tail " << tail;
  }
  // The lower tail below 1/2 is the negative deviate.
  EXPECT_TRUE(Identical(-lower, QuarnMP_g01fac(Nag_LowerTail, QuarnFloat(0.03125), &f)));
  // The ends of the closed ranges.
  EXPECT_TRUE(QuarnMP_g01fcc(QuarnFloat(0.0), QuarnFloat(3.0), &f) == 0);
  EXPECT_TRUE(QuarnMP_g01fec(QuarnFloat(1.0), QuarnFloat(2.0), QuarnFloat(3.0), QuarnFloat(0.0), &f) == 1);
  EXPECT_EQ(0, f.code);
}

// ------------------------------------------------------- undefined inputs

TEST(Undefined, NanInputGivesNanWithoutErrorAndInfinitiesTheLimits) {
  ScopedDigits digits(20);
  QuarnFloat nan = QuarnFloatUndefined();
  NagError f{};
  f.code = 99;
  EXPECT_TRUE(IsQuarnFloatUndefined(QuarnMP_g01eac(Nag_LowerTail, nan, &f)));
  EXPECT_EQ(0, f.code);
  EXPECT_TRUE(IsQuarnFloatUndefined(QuarnMP_g01ebc(Nag_LowerTail, QuarnFloat(1.0), nan, &f)));
  EXPECT_TRUE(IsQuarnFloatUndefined(QuarnMP_g01fdc(nan, QuarnFloat(-1.0), QuarnFloat(2.0), &f)));
  EXPECT_EQ(0, f.code);
  QuarnFloat p, q, pdf;
  QuarnMP_g01eec(QuarnFloat(0.5), nan, QuarnFloat(2.0), QuarnFloat(0.0), &p, &q, &pdf, &f);
  EXPECT_TRUE(IsQuarnFloatUndefined(p) && IsQuarnFloatUndefined(q) && IsQuarnFloatUndefined(pdf));
  EXPECT_EQ(0, f.code);

  // Infinite arguments, and the density at the ends of the support.
  QuarnFloat inf = QuarnFloat(1.0) / QuarnFloat(0.0);
  EXPECT_TRUE(QuarnMP_g01eac(Nag_LowerTail, inf, &f) == 1);
  EXPECT_TRUE(QuarnMP_g01eac(Nag_UpperTail, -inf, &f) == 1);
  EXPECT_TRUE(QuarnMP_g01ebc(Nag_LowerTail, -inf, QuarnFloat(3.0), &f) == 0);
  EXPECT_TRUE(QuarnMP_g01ecc(Nag_UpperTail, inf, QuarnFloat(3.0), &f) == 0);
  EXPECT_TRUE(QuarnMP_g01edc(Nag_LowerTail, QuarnFloat(0.0), QuarnFloat(3.0), QuarnFloat(2.0), &f) == 0);
  QuarnMP_g01eec(QuarnFloat(0.0), QuarnFloat(0.5), QuarnFloat(2.0), QuarnFloat(0.0), &p, &q, &pdf, &f);
  EXPECT_TRUE(p == 0 && q == 1 && IsQuarnFloatInfinity(pdf));
  QuarnMP_g01eec(QuarnFloat(1.0), QuarnFloat(3.0), QuarnFloat(1.0), QuarnFloat(0.0), &p, &q, &pdf, &f);
  EXPECT_TRUE(p == 1 && q == 0 && pdf == 3) << Show(pdf);  // a x^(a-1) at x = 1
  QuarnMP_g01eec(QuarnFloat(0.0), QuarnFloat(3.0), QuarnFloat(2.0), QuarnFloat(0.0), &p, &q, &pdf, &f);
  EXPECT_TRUE(pdf == 0);
  EXPECT_EQ(0, f.code);
}

// ----------------------------------------------------------------- failures

struct FailureCase {
  const char* what;
  std::function<void(NagError*)> call;
  int code;
  const char* message;
};

TEST(Failures, InvalidArgumentsNameTheArgumentAndTheConstraint) {
  ScopedDigits digits(10);
  const QuarnFloat one(1.0), half(0.5), zero(0.0), minus(-1.0), big(2e6);
  const auto bad_tail = static_cast<Nag_TailProbability>(17);
  QuarnFloat p, q, pdf;
  const FailureCase cases[] = {
      {"normal tail", [&](NagError* f) { QuarnMP_g01eac(bad_tail, one, f); }, NE_BAD_PARAM,
       "tail must be Nag_LowerTail, Nag_UpperTail, Nag_TwoTailSignif or Nag_TwoTailConfid, received tail = 17."},
      {"chi-square two-tail", [&](NagError* f) { QuarnMP_g01ecc(Nag_TwoTailSignif, one, one, f); }, NE_BAD_PARAM,
       "tail must be Nag_LowerTail or Nag_UpperTail, received tail = 1331."},
      {"t df", [&](NagError* f) { QuarnMP_g01ebc(Nag_LowerTail, one, minus, f); }, NE_REAL_ARG_LE,
       "df must be positive, received df = -1."},
      {"chi-square x", [&](NagError* f) { QuarnMP_g01ecc(Nag_LowerTail, minus, one, f); }, NE_REAL_ARG_LT,
       "x must be non-negative, received x = -1."},
      {"F df2", [&](NagError* f) { QuarnMP_g01edc(Nag_UpperTail, one, one, zero, f); }, NE_REAL_ARG_LE,
       "df2 must be positive, received df2 = 0."},
      {"beta x", [&](NagError* f) { QuarnMP_g01eec(QuarnFloat(1.5), one, one, zero, &p, &q, &pdf, f); },
       NE_REAL_ARG_GT, "x must be in [0, 1], received x = 1.5"},
      {"beta b", [&](NagError* f) { QuarnMP_g01eec(half, one, big, zero, &p, &q, &pdf, f); }, NE_REAL_ARG_GT,
       "b must be positive and at most 1e6, received b = 2"},
      {"gamma scale", [&](NagError* f) { QuarnMP_g01efc(Nag_LowerTail, one, one, minus, f); }, NE_REAL_ARG_LE,
       "b must be positive, received b = -1."},
      {"normal p", [&](NagError* f) { QuarnMP_g01fac(Nag_LowerTail, one, f); }, NE_REAL_ARG_GE,
       "p must be in (0, 1), received p = 1."},
      {"t p", [&](NagError* f) { QuarnMP_g01fbc(Nag_LowerTail, zero, one, f); }, NE_REAL_ARG_LE,
       "p must be in (0, 1), received p = 0."},
      {"chi-square p", [&](NagError* f) { QuarnMP_g01fcc(one, one, f); }, NE_REAL_ARG_GE,
       "p must be in [0, 1), received p = 1."},
      {"F df1", [&](NagError* f) { QuarnMP_g01fdc(half, minus, one, f); }, NE_REAL_ARG_LE,
       "df1 must be positive, received df1 = -1."},
      {"beta a", [&](NagError* f) { QuarnMP_g01fec(half, zero, one, zero, f); }, NE_REAL_ARG_LE,
       "a must be positive and at most 1e6, received a = 0."},
      {"gamma a", [&](NagError* f) { QuarnMP_g01ffc(half, big, one, zero, f); }, NE_REAL_ARG_GT,
       "a must be positive and at most 1e6, received a = 2"},
      {"gamma p", [&](NagError* f) { QuarnMP_g01ffc(minus, one, one, zero, f); }, NE_REAL_ARG_LT,
       "p must be in [0, 1), received p = -1."},
      // Shapes and degrees of freedom beyond the range the methods reach
      // are refused at once (they ran for minutes).
      {"t df huge", [&](NagError* f) { QuarnMP_g01ebc(Nag_LowerTail, one, QuarnFloat(1e301), f); }, NE_REAL_ARG_GT,
       "df must be at most 1e300, received df = 1.e301."},
      {"F df2 tiny", [&](NagError* f) { QuarnMP_g01fdc(half, one, QuarnFloat(1e-301), f); }, NE_REAL_ARG_LT,
       "df2 must be at least 1e-300, received df2 = 1.e-301."},
      {"chi-square df huge", [&](NagError* f) { QuarnMP_g01fcc(half, QuarnFloat(1e20), f); }, NE_REAL_ARG_GT,
       "df must be at most 2e18, received df = 1.e20."},
      {"gamma shape huge", [&](NagError* f) { QuarnMP_g01efc(Nag_UpperTail, one, QuarnFloat(2e18), one, f); },
       NE_REAL_ARG_GT, "a must be at most 1e18, received a = 2.e18."},
      {"beta b tiny", [&](NagError* f) { QuarnMP_g01fec(half, one, QuarnFloat(1e-301), zero, f); }, NE_REAL_ARG_LT,
       "b must be at least 1e-300, received b = 1.e-301."},
      {"binomial n", [&](NagError* f) { QuarnMP_g01bjc(-1, half, 0, &p, &q, &pdf, f); }, NE_INT_ARG_LT,
       "n must be non-negative, received n = -1."},
      {"binomial p", [&](NagError* f) { QuarnMP_g01bjc(5, one, 0, &p, &q, &pdf, f); }, NE_REAL_ARG_GE,
       "p must be in (0, 1), received p = 1."},
      {"binomial variance", [&](NagError* f) { QuarnMP_g01bjc(5000000000, half, 0, &p, &q, &pdf, f); },
       NE_VARIANCE_TOO_LARGE, "the variance of the distribution must be at most 1e9, received variance = 1.25e+09."},
      {"Poisson mean", [&](NagError* f) { QuarnMP_g01bkc(zero, 0, &p, &q, &pdf, f); }, NE_REAL_ARG_LE,
       "rlamda must be positive, received rlamda = 0."},
      {"hypergeometric m", [&](NagError* f) { QuarnMP_g01blc(10, 3, 11, 1, &p, &q, &pdf, f); }, NE_2_INT_ARG_GT,
       "m must be at most n, received m = 11, n = 10."},
      {"non-central t df", [&](NagError* f) { QuarnMP_g01gbc(one, zero, one, zero, 100, f); }, NE_REAL_ARG_LE,
       "df must be positive, received df = 0."},
      {"non-central chi-square", [&](NagError* f) { QuarnMP_g01gcc(one, zero, zero, zero, 100, f); },
       NE_2_REAL_ARG_ZERO, "df and lambda must not both be 0, received df = 0, lambda = 0."},
      {"non-central F max_iter", [&](NagError* f) { QuarnMP_g01gdc(one, one, one, one, zero, 0, f); }, NE_INT_ARG_LT,
       "max_iter must be at least 1, received max_iter = 0."},
      {"non-central beta x", [&](NagError* f) { QuarnMP_g01gec(minus, one, one, one, zero, 5, f); }, NE_REAL_ARG_LT,
       "x must be in [0, 1], received x = -1."},
      {"non-central iteration limit",
       // lambda / 2 = 250: the weights within 2^-42 of the largest reach 129 above it.
       [&](NagError* f) { QuarnMP_g01gcc(one, one, QuarnFloat(500.0), zero, 20, f); }, NE_TOO_MANY_ITER,
       "QuarnMP_g01gcc needs 129 terms on a side of its Poisson sum at Digits = 10, more than max_iter = 20; raise "
       "the iteration limit (the host variable _EnvStatisticsIterations)."},
  };
  for (const FailureCase& c : cases) {
    NagError f{};
    c.call(&f);
    EXPECT_EQ(c.code, f.code) << c.what;
    EXPECT_EQ(0, std::string(f.message).rfind(c.message, 0)) << c.what << ": " << f.message;
  }
  // A valid call after a failure clears the record.
  NagError f{};
  QuarnMP_g01fac(Nag_LowerTail, one, &f);
  QuarnMP_g01fac(Nag_LowerTail, half, &f);
  EXPECT_EQ(0, f.code);
  EXPECT_STREQ("", f.message);
}

// ------------------------------------------------- methods against each other

// The series plus Arb's upper tail make 1 (prec 200); at high precision the
// lower tail below the mean comes from Arb's lower function where a is
// moderate: it must agree with the series, at nearly the series' accuracy,
// and so must the dispatcher's value (prec 2000).
TEST(Methods, GammaSeriesAgreesWithArb) {
  const double upper_cases[][2] = {{3.0, 2.5}, {40.0, 39.0}, {500.0, 480.0}, {0.01, 0.3}, {1e4, 1e4 - 30}};
  for (const auto& c : upper_cases) {
    SCOPED_TRACE(testing::Message() << "a " << c[0] << " z " << c[1]);
    nm::Ball a, z, p, q;
    arb_set_d(a, c[0]);
    arb_set_d(z, c[1]);
    nm::GammaLowerSeries(p, a, z, 200);
    arb_hypgeom_gamma_upper(q, a, z, 1, 200);
    EXPECT_GT(arb_rel_accuracy_bits(p), 150);
    arb_add(p, p, q, 200);
    arb_sub_ui(p, p, 1, 200);
    EXPECT_TRUE(arb_contains_zero(p));
  }
  const slong prec = 2000;
  const double lower_cases[][2] = {{3.5, 2.65}, {0.01, 0.3}, {2.0, 1.0 / 3.0}, {60.0, 55.5}, {100.0, 20.0}};
  for (const auto& c : lower_cases) {
    SCOPED_TRACE(testing::Message() << "a " << c[0] << " z " << c[1]);
    nm::Ball a, z, arb, series, tail;
    arb_set_d(a, c[0]);
    arb_set_d(z, c[1]);
    arb_hypgeom_gamma_lower(arb, a, z, 1, prec + 16);
    nm::GammaLowerSeries(series, a, z, prec);
    nm::GammaTail(tail, a, z, false, prec);
    EXPECT_GT(arb_rel_accuracy_bits(arb), prec - 8);
    EXPECT_GT(arb_rel_accuracy_bits(tail), prec - 8);
    EXPECT_TRUE(arb_overlaps(arb, series));
    EXPECT_TRUE(arb_overlaps(tail, series));
  }
}

// The series at falling precision (in fixed point for a short a) against
// mpmath (tools/gen_beta_series_refs.py): at x = p / q, a ball of radius
// about 2^-bits, the result's ball must hold the reference and lose at most
// a few bits, and the dispatcher's tail must agree.
TEST(Methods, BetaSeriesBallHoldsTheReference) {
  const auto rows = quarn::test::DataRows("beta_series.tsv");
  ASSERT_EQ(rows.size(), 180u);
  for (const auto& r : rows) {
    SCOPED_TRACE(testing::Message() << r[0] << " bits a " << r[1] << " b " << r[2] << " x " << r[3] << "/" << r[4]);
    const slong bits = std::stol(r[0]);
    nm::ResetWork();
    nm::Ball a, b, x, y, ref, s;
    arb_set_d(a, std::strtod(r[1].c_str(), nullptr));
    arb_set_d(b, std::strtod(r[2].c_str(), nullptr));
    const long p = std::stol(r[3]), q = std::stol(r[4]);
    fmpq_t v;
    fmpq_init(v);
    fmpq_set_si(v, p, static_cast<ulong>(q));
    arb_set_fmpq(x, v, bits);
    fmpq_set_si(v, q - p, static_cast<ulong>(q));
    arb_set_fmpq(y, v, bits);
    fmpq_clear(v);
    arb_set_str(ref, r[5].c_str(), 2400);
    nm::BetaLowerSeries(s, a, b, x, y, bits);
    EXPECT_TRUE(arb_contains(s, ref));
    EXPECT_GE(arb_rel_accuracy_bits(s), bits - 8);
    nm::BetaTail(s, a, b, x, y, false, bits);
    EXPECT_TRUE(arb_overlaps(s, ref));
  }
}

// The deviate solver's double-precision tails against mpmath
// (tools/gen_double_tails.py): where they accept a point, the log tail within
// the error they claim for it (the solver's first phase trusts that claim) and
// the log density to 1e-12; they must accept the moderate shapes, and the
// normal start must be good to 1e-13.
TEST(Methods, DoubleTailsWithinTheirClaimedError) {
  const auto rows = quarn::test::DataRows("double_tails.tsv");
  ASSERT_GT(rows.size(), 60u);
  for (const auto& r : rows) {
    SCOPED_TRACE(testing::Message() << r[0] << " a " << r[1] << " b " << r[2] << " w " << r[3]);
    const double a = std::stod(r[1]), b = std::stod(r[2]), w = std::stod(r[3]);
    const bool must_accept = r[4] == "1";
    const double ref = std::stod(r[5]), ref_density = std::stod(r[6]);
    if (r[0] == "normal") {
      nm::Ball q;
      arb_set_d(q, w);
      EXPECT_NEAR(nm::NormalQuantileStart(q), ref, 1e-13 * std::fmax(1.0, std::fabs(ref)));
      continue;
    }
    nm::LogTail tail;
    double density = 0.0, slope = 0.0;
    const bool accepted = r[0] == "beta" ? nm::BetaLogitDouble(a, b, w, &tail, &density, &slope)
                                         : nm::GammaLogDouble(a, w, r[0] == "gamma_upper", &tail, &density, &slope);
    EXPECT_TRUE(accepted || !must_accept);
    if (!accepted) continue;
    EXPECT_LE(std::fabs(tail.value - ref), tail.error);
    EXPECT_NEAR(density, ref_density, 1e-12 * std::fmax(1.0, std::fabs(ref_density)));
  }
}

// Next to the mean of a large shape the dispatcher takes Arb's upper tail
// (and its complement) instead of a series of some sqrt(2 a prec) terms; both
// tails must agree with the series, which is slow there but exact (prec 100).
TEST(Methods, GammaLargeShapeNearTheMeanAgreesWithTheSeries) {
  const slong prec = 100;
  for (double a : {1e7, 1e8}) {
    for (double sd : {-3.0, -0.5, 0.0, 0.5, 3.0}) {
      const double zd = std::floor(a + sd * std::sqrt(a));
      SCOPED_TRACE(testing::Message() << "a " << a << " z " << zd);
      nm::ResetWork();
      nm::Ball ab, z, series, lower, upper, one;
      arb_set_d(ab, a);
      arb_set_d(z, zd);
      nm::GammaLowerSeries(series, ab, z, prec);
      nm::GammaTail(lower, ab, z, false, prec);
      nm::GammaTail(upper, ab, z, true, prec);
      EXPECT_GT(arb_rel_accuracy_bits(lower), prec - 48);
      EXPECT_TRUE(arb_overlaps(lower, series));
      arb_add(one, upper, series, prec);
      arb_sub_ui(one, one, 1, prec);
      EXPECT_TRUE(arb_contains_zero(one));
    }
  }
}

// The series against Arb where Arb is reliable (prec 200); with one small
// and one large parameter Arb's hypergeometric evaluation gives up, the
// series does not, and the two tails add up (prec 300).
TEST(Methods, BetaSeriesAgreesWithArbAndTailsAddUp) {
  struct Row {
    double a, b, x;
    bool arb_reliable;
  };
  const Row rows[] = {{2.0, 3.0, 0.25, true},    {0.5, 0.5, 0.9, true},       {30.0, 20.0, 0.6, true},
                      {3.0, 4.0, 0.01, true},    {5.0, 1.5, 0.999, true},     {0.001, 1e6, 1e-7, false},
                      {0.001, 1e6, 0.3, false},  {0.5, 500.0, 0.002, false},  {1e6, 0.5, 0.999996, false}};
  for (const Row& r : rows) {
    SCOPED_TRACE(testing::Message() << "a " << r.a << " b " << r.b << " x " << r.x);
    nm::Ball a, b, x, y, s, t;
    arb_set_d(a, r.a);
    arb_set_d(b, r.b);
    arb_set_d(x, r.x);
    arb_one(y);
    arb_sub(y, y, x, ARF_PREC_EXACT);
    if (r.arb_reliable) {
      nm::BetaLowerSeries(s, a, b, x, y, 200);
      arb_hypgeom_beta_lower(t, a, b, x, 1, 200);
      EXPECT_TRUE(arb_overlaps(s, t));
      EXPECT_GT(arb_rel_accuracy_bits(s), 150);
    } else {
      nm::BetaTail(s, a, b, x, y, false, 300);
      nm::BetaTail(t, a, b, x, y, true, 300);
      EXPECT_GT(arb_rel_accuracy_bits(s), 250);
      EXPECT_GT(arb_rel_accuracy_bits(t), 250);
      arb_add(s, s, t, 300);
      arb_sub_ui(s, s, 1, 300);
      EXPECT_TRUE(arb_contains_zero(s));
    }
  }
}

}  // namespace
