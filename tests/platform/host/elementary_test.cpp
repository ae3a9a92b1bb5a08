// The host's elementary functions against MPFR's own correctly rounded ones:
// the value and the ternary value must be identical bit for bit, whichever
// of its two evaluation paths a call takes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>
#include <string>

#include "platform/host/elementary.h"

namespace {

using quarn::host::RoundedAtan;
using quarn::host::RoundedCos;
using quarn::host::RoundedExp;
using quarn::host::RoundedExpm1;
using quarn::host::RoundedLog;
using quarn::host::RoundedLog1p;
using quarn::host::RoundedPow;
using quarn::host::RoundedSin;
using quarn::host::RoundedTan;

using Unary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);

struct Num {
  mpfr_t v;
  explicit Num(mpfr_prec_t bits) { mpfr_init2(v, bits); }
  ~Num() { mpfr_clear(v); }
  Num(const Num&) = delete;
  Num& operator=(const Num&) = delete;
};

std::string Show(mpfr_srcptr x) {
  char* s = nullptr;
  mpfr_asprintf(&s, "%.40Rg (prec %ld)", x, static_cast<long>(mpfr_get_prec(x)));
  std::string r = s;
  mpfr_free_str(s);
  return r;
}

// Same value (NaN matching NaN, zeros by sign) and same ternary value.
::testing::AssertionResult Same(mpfr_srcptr got, int got_t, mpfr_srcptr want, int want_t) {
  bool value = (mpfr_nan_p(got) && mpfr_nan_p(want)) ||
               (mpfr_equal_p(got, want) && mpfr_signbit(got) == mpfr_signbit(want));
  bool ternary = (got_t > 0) == (want_t > 0) && (got_t < 0) == (want_t < 0);
  if (value && ternary) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "got " << Show(got) << " ternary " << got_t << ", MPFR gives "
                                       << Show(want) << " ternary " << want_t;
}

::testing::AssertionResult AgreeUnary(Unary ours, Unary mpfr, mpfr_srcptr x, mpfr_prec_t bits,
                                      mpfr_rnd_t rnd = MPFR_RNDN) {
  Num got(bits), want(bits);
  int gt = ours(got.v, x, rnd);
  int wt = mpfr(want.v, x, rnd);
  auto r = Same(got.v, gt, want.v, wt);
  if (!r) r << " at x = " << Show(x);
  return r;
}

::testing::AssertionResult AgreePow(mpfr_srcptr x, mpfr_srcptr y, mpfr_prec_t bits, mpfr_rnd_t rnd = MPFR_RNDN) {
  Num got(bits), want(bits);
  int gt = RoundedPow(got.v, x, y, rnd);
  int wt = mpfr_pow(want.v, x, y, rnd);
  auto r = Same(got.v, gt, want.v, wt);
  if (!r) r << " at x = " << Show(x) << ", y = " << Show(y);
  return r;
}

struct Function {
  const char* name;
  Unary ours;
  Unary mpfr;
};
const Function kFunctions[] = {
    {"exp", RoundedExp, mpfr_exp}, {"log", RoundedLog, mpfr_log},   {"sin", RoundedSin, mpfr_sin},
    {"cos", RoundedCos, mpfr_cos}, {"tan", RoundedTan, mpfr_tan},   {"atan", RoundedAtan, mpfr_atan},
    {"expm1", RoundedExpm1, mpfr_expm1}, {"log1p", RoundedLog1p, mpfr_log1p},
};

// Target precisions from below one limb to several (Digits 5 to 500), and
// arguments whose precision differs from the target's.
const mpfr_prec_t kBits[] = {20, 41, 58, 64, 65, 108, 128, 174, 341, 1000, 1670};

unsigned Seed() {
  const char* s = std::getenv("QUARN_TEST_SEED");
  return s != nullptr ? static_cast<unsigned>(std::strtoul(s, nullptr, 10)) : 20261123u;
}

TEST(HostElementary, RandomArgumentsMatchMpfr) {
  unsigned seed = Seed();
  SCOPED_TRACE("QUARN_TEST_SEED=" + std::to_string(seed));
  std::mt19937_64 gen(seed);
  gmp_randstate_t rs;
  gmp_randinit_mt(rs);
  gmp_randseed_ui(rs, seed);
  std::uniform_int_distribution<int> exponent(-60, 40);
  for (mpfr_prec_t bits : kBits) {
    for (mpfr_prec_t arg_bits : {bits, bits / 2 + 1, 2 * bits}) {
      Num x(arg_bits);
      for (int i = 0; i < 60; ++i) {
        mpfr_urandomb(x.v, rs);
        mpfr_mul_2si(x.v, x.v, exponent(gen), MPFR_RNDN);
        if (gen() & 1) mpfr_neg(x.v, x.v, MPFR_RNDN);
        for (const Function& f : kFunctions) {
          ASSERT_TRUE(AgreeUnary(f.ours, f.mpfr, x.v, bits)) << f.name << " at " << bits << " bits";
        }
        Num y(arg_bits);
        mpfr_urandomb(y.v, rs);
        mpfr_mul_2si(y.v, y.v, exponent(gen) % 8, MPFR_RNDN);
        if (gen() & 1) mpfr_neg(y.v, y.v, MPFR_RNDN);
        mpfr_abs(x.v, x.v, MPFR_RNDN);
        ASSERT_TRUE(AgreePow(x.v, y.v, bits)) << "pow at " << bits << " bits";
      }
    }
  }
  gmp_randclear(rs);
}

TEST(HostElementary, SpecialValuesAndRangeEndsMatchMpfr) {
  Num x(64);
  const double specials[] = {0.0, -0.0, 1.0, -1.0, 1e10, -1e10, 1e300, -1e300, 745.2, -745.2,
                             1e-300, 3.14159265358979, 1.5707963267948966, INFINITY, -INFINITY, NAN};
  for (double d : specials) {
    mpfr_set_d(x.v, d, MPFR_RNDN);
    for (const Function& f : kFunctions) {
      for (mpfr_prec_t bits : {58, 200}) {
        EXPECT_TRUE(AgreeUnary(f.ours, f.mpfr, x.v, bits)) << f.name << "(" << d << ")";
      }
    }
  }
  // exp near the ends of the exponent range: overflow to infinity and
  // underflow to zero must come out as MPFR has them.
  Num big(200), ln2(200);
  mpfr_const_log2(ln2.v, MPFR_RNDN);
  for (long e : {mpfr_get_emax() - 1, mpfr_get_emax() + 1, mpfr_get_emin() - 1, mpfr_get_emin() - 3}) {
    mpfr_set_si(big.v, e, MPFR_RNDN);
    mpfr_mul(big.v, big.v, ln2.v, MPFR_RNDN);
    EXPECT_TRUE(AgreeUnary(RoundedExp, mpfr_exp, big.v, 100)) << "exp near 2^" << e;
  }
}

TEST(HostElementary, ExactResultsAndTiesMatchMpfr) {
  for (mpfr_prec_t bits : {24, 58, 108, 341}) {
    Num x(2 * bits + 8), y(64);
    // Exact powers: the ball then contains a representable number.
    mpfr_set_ui(x.v, 9, MPFR_RNDN);
    mpfr_set_d(y.v, 0.5, MPFR_RNDN);
    EXPECT_TRUE(AgreePow(x.v, y.v, bits));
    mpfr_set_ui(x.v, 32, MPFR_RNDN);
    mpfr_set_d(y.v, 0.6, MPFR_RNDN);  // 0.6 as a double is not 3/5: inexact
    EXPECT_TRUE(AgreePow(x.v, y.v, bits));
    mpfr_set_d(y.v, 1.5, MPFR_RNDN);
    mpfr_set_ui(x.v, 4, MPFR_RNDN);
    EXPECT_TRUE(AgreePow(x.v, y.v, bits));
    // Exact results through exp(y log x): 16^0.25 = 2, 81^0.25 = 3,
    // 4096^0.75 = 512, where the ball holds the answer with a nonzero radius.
    mpfr_set_d(y.v, 0.25, MPFR_RNDN);
    for (unsigned long b : {16UL, 81UL}) {
      mpfr_set_ui(x.v, b, MPFR_RNDN);
      EXPECT_TRUE(AgreePow(x.v, y.v, bits));
    }
    mpfr_set_d(y.v, 0.75, MPFR_RNDN);
    mpfr_set_ui(x.v, 4096, MPFR_RNDN);
    EXPECT_TRUE(AgreePow(x.v, y.v, bits));
    // sqrt((1 + 2^-bits)^2) = 1 + 2^-bits lies exactly halfway between two
    // numbers of the target precision: ties go to even.
    mpfr_set_ui(x.v, 1, MPFR_RNDN);
    mpfr_add_d(x.v, x.v, std::ldexp(1.0, -static_cast<int>(bits)), MPFR_RNDN);
    mpfr_sqr(x.v, x.v, MPFR_RNDN);
    mpfr_set_d(y.v, 0.5, MPFR_RNDN);
    EXPECT_TRUE(AgreePow(x.v, y.v, bits));
    // log(1) is exactly 0; log just above 1 is tiny and must keep every bit.
    mpfr_set_ui(x.v, 1, MPFR_RNDN);
    EXPECT_TRUE(AgreeUnary(RoundedLog, mpfr_log, x.v, bits));
    mpfr_nextabove(x.v);
    EXPECT_TRUE(AgreeUnary(RoundedLog, mpfr_log, x.v, bits));
    EXPECT_TRUE(AgreeUnary(RoundedExp, mpfr_exp, x.v, bits));
    // Negative bases: integer exponents are defined, others are NaN.
    mpfr_set_si(x.v, -3, MPFR_RNDN);
    mpfr_set_si(y.v, 3, MPFR_RNDN);
    EXPECT_TRUE(AgreePow(x.v, y.v, bits));
    mpfr_set_d(y.v, 0.5, MPFR_RNDN);
    EXPECT_TRUE(AgreePow(x.v, y.v, bits));
  }
}

// exp of an integer at high precision goes through a power of e: both signs,
// the largest power taken that way and the first beyond it, below and above
// the precision where that path starts.
TEST(HostElementary, ExpOfIntegersMatchesMpfr) {
  for (mpfr_prec_t bits : {200, 256, 700, 1700}) {
    Num x(64);
    for (long n : {1L, -1L, 3L, 40L, -40L, 1000L, -65536L, 65536L, 65537L}) {
      mpfr_set_si(x.v, n, MPFR_RNDN);
      EXPECT_TRUE(AgreeUnary(RoundedExp, mpfr_exp, x.v, bits)) << "n = " << n << " at " << bits << " bits";
    }
  }
}

// Arguments where the function loses relative accuracy: tan and cos next to
// pi/2, sin next to pi, log next to 1, a few ulps of the argument away.
TEST(HostElementary, ArgumentsNearZerosAndPolesMatchMpfr) {
  for (mpfr_prec_t bits : {41, 58, 108, 341}) {
    for (mpfr_prec_t arg_bits : {bits, 2 * bits}) {
      Num x(arg_bits);
      for (int k = -3; k <= 3; ++k) {
        mpfr_const_pi(x.v, MPFR_RNDN);
        mpfr_div_2ui(x.v, x.v, 1, MPFR_RNDN);
        for (int i = 0; i < std::abs(k); ++i) k > 0 ? mpfr_nextabove(x.v) : mpfr_nextbelow(x.v);
        EXPECT_TRUE(AgreeUnary(RoundedTan, mpfr_tan, x.v, bits)) << "tan, pi/2 " << k << " ulps, " << bits;
        EXPECT_TRUE(AgreeUnary(RoundedCos, mpfr_cos, x.v, bits)) << "cos, pi/2 " << k << " ulps, " << bits;
        mpfr_mul_2ui(x.v, x.v, 1, MPFR_RNDN);
        EXPECT_TRUE(AgreeUnary(RoundedSin, mpfr_sin, x.v, bits)) << "sin, pi " << k << " ulps, " << bits;
        mpfr_set_ui(x.v, 1, MPFR_RNDN);
        mpfr_add_d(x.v, x.v, std::ldexp(static_cast<double>(k), -static_cast<int>(bits) / 2), MPFR_RNDN);
        EXPECT_TRUE(AgreeUnary(RoundedLog, mpfr_log, x.v, bits)) << "log, 1 + " << k << " 2^-" << bits / 2;
      }
    }
  }
}

TEST(HostElementary, DirectedRoundingAndAliasing) {
  Num x(58);
  mpfr_set_d(x.v, 0.7, MPFR_RNDN);
  for (mpfr_rnd_t rnd : {MPFR_RNDZ, MPFR_RNDU, MPFR_RNDD}) {
    for (const Function& f : kFunctions) EXPECT_TRUE(AgreeUnary(f.ours, f.mpfr, x.v, 58, rnd)) << f.name;
  }
  // The result written over the argument, as the host's evalf does.
  for (const Function& f : kFunctions) {
    Num in_place(58), want(58);
    mpfr_set_d(in_place.v, 0.7, MPFR_RNDN);
    int t = f.ours(in_place.v, in_place.v, MPFR_RNDN);
    int wt = f.mpfr(want.v, x.v, MPFR_RNDN);
    EXPECT_TRUE(Same(in_place.v, t, want.v, wt)) << f.name;
  }
}

}  // namespace
