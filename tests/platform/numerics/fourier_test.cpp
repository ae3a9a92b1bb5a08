// The Fourier transforms c06faf and c06fbf against direct sums at Digits 15,
// 30 and 100: the mpmath table (every output up to n = 100, a spread of
// outputs beyond) and, for every output of every length, an exact
// fixed-point direct sum (O(n^2) integer multiply-adds against roots of
// unity rounded to 512 bits by MPFR) computed here. Then the round trip
// c06faf, c06gbf, c06fbf, and the edges of the interface.
//
// Errors are in binary ulps of the working precision at the reference's
// exponent; a correctly rounded output is within 0.5. The worst per routine
// and Digits is printed, and written as Markdown to $QUARN_FOURIER_REPORT.
#include <gtest/gtest.h>
#include <gmp.h>
#include <mpfr.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "platform/numerics/numerics.h"
#include "support/support.h"

namespace {

namespace host = quarn::host;
using quarn::test::Mpfr;
using quarn::test::ScopedDigits;

const long kLengths[] = {1, 2, 3, 5, 7, 8, 64, 100, 1000, 1024, 4096};
const long kDigits[] = {15, 30, 100};

// The test sequence of tools/gen_fft_reference.py: integers over 2^15.
long Numerator(long n, long j) { return ((j + n) * (j + n + 7) * 40503 + 12345 * (j + n + 1)) % 65521 - 32760; }

std::vector<QuarnFloat> Sequence(long n) {
  std::vector<QuarnFloat> x;
  for (long j = 0; j < n; ++j) x.emplace_back(static_cast<double>(Numerator(n, j)) / 32768.0);
  return x;
}

using Routine = void (*)(QuarnFloat*, const long*, QuarnFloat*, long*);

std::vector<QuarnFloat> Apply(Routine routine, std::vector<QuarnFloat> x) {
  const long n = static_cast<long>(x.size());
  std::vector<QuarnFloat> work(x.size());
  long ifail = -1;
  routine(x.data(), &n, work.data(), &ifail);
  EXPECT_EQ(0, ifail);
  return x;
}

// ------------------------------------------------------------ direct sums

constexpr long kFixedBits = 512;
constexpr mpfr_prec_t kRefBits = 640;

// Every output of c06faf and c06fbf on Sequence(n), as decimal strings of
// 180 digits: integer sums of numerator * round(2^512 cos or sin) scaled
// back once.
struct DirectSums {
  std::vector<std::string> faf, fbf;
};

std::string Scaled(mpz_srcptr sum, long n) {
  Mpfr v(kRefBits), root(kRefBits);
  mpfr_set_z(v.v, sum, MPFR_RNDN);
  mpfr_div_2si(v.v, v.v, kFixedBits + 15, MPFR_RNDN);
  mpfr_sqrt_ui(root.v, static_cast<unsigned long>(n), MPFR_RNDN);
  mpfr_div(v.v, v.v, root.v, MPFR_RNDN);
  std::vector<char> buf(200);
  mpfr_snprintf(buf.data(), buf.size(), "%.180Re", v.v);
  return buf.data();
}

DirectSums Direct(long n) {
  std::vector<mpz_t> cosine(n), sine(n);
  Mpfr t(kFixedBits + 64);
  for (long m = 0; m < n; ++m) {
    mpz_init(cosine[m]);
    mpz_init(sine[m]);
    mpfr_set_si(t.v, m, MPFR_RNDN);
    mpfr_cosu(t.v, t.v, static_cast<unsigned long>(n), MPFR_RNDN);
    mpfr_mul_2si(t.v, t.v, kFixedBits, MPFR_RNDN);
    mpfr_get_z(cosine[m], t.v, MPFR_RNDN);
    mpfr_set_si(t.v, m, MPFR_RNDN);
    mpfr_sinu(t.v, t.v, static_cast<unsigned long>(n), MPFR_RNDN);
    mpfr_mul_2si(t.v, t.v, kFixedBits, MPFR_RNDN);
    mpfr_get_z(sine[m], t.v, MPFR_RNDN);
  }
  auto add = [](mpz_ptr s, long a, mpz_srcptr r) {
    if (a >= 0) {
      mpz_addmul_ui(s, r, static_cast<unsigned long>(a));
    } else {
      mpz_submul_ui(s, r, static_cast<unsigned long>(-a));
    }
  };
  DirectSums d;
  mpz_t s, one;
  mpz_init(s);
  mpz_init_set_ui(one, 1);
  mpz_mul_2exp(one, one, kFixedBits);
  for (long k = 0; k < n; ++k) {
    mpz_set_ui(s, 0);
    if (k <= n / 2) {
      for (long j = 0; j < n; ++j) add(s, Numerator(n, j), cosine[(j * k) % n]);
    } else {
      for (long j = 0; j < n; ++j) add(s, -Numerator(n, j), sine[(j * (n - k)) % n]);
    }
    d.faf.push_back(Scaled(s, n));
    mpz_set_ui(s, 0);
    add(s, Numerator(n, 0), one);
    for (long j = 1; 2 * j < n; ++j) {
      add(s, 2 * Numerator(n, j), cosine[(j * k) % n]);
      add(s, 2 * Numerator(n, n - j), sine[(j * k) % n]);
    }
    if (n % 2 == 0) add(s, k % 2 == 0 ? Numerator(n, n / 2) : -Numerator(n, n / 2), one);
    d.fbf.push_back(Scaled(s, n));
  }
  mpz_clear(s);
  mpz_clear(one);
  for (long m = 0; m < n; ++m) {
    mpz_clear(cosine[m]);
    mpz_clear(sine[m]);
  }
  return d;
}

// ------------------------------------------------------------ measurement

// |got - ref| in ulps at the reference's exponent, or at the given one.
double Ulps(const QuarnFloat& got, const std::string& ref_text, std::optional<mpfr_exp_t> at_exponent = {}) {
  Mpfr ref(kRefBits), diff(kRefBits);
  mpfr_set_str(ref.v, ref_text.c_str(), 10, MPFR_RNDN);
  if (!mpfr_number_p(got.Mpfr())) return 1e300;
  mpfr_sub(diff.v, got.Mpfr(), ref.v, MPFR_RNDN);
  const mpfr_exp_t e = at_exponent ? *at_exponent : mpfr_get_exp(ref.v);
  mpfr_mul_2si(diff.v, diff.v, static_cast<long>(host::WorkingBits()) - e, MPFR_RNDN);
  return std::fabs(mpfr_get_d(diff.v, MPFR_RNDU));
}

// The worst error per check and Digits, printed after the tests (and
// written as Markdown to $QUARN_FOURIER_REPORT).
std::map<std::pair<std::string, long>, std::pair<double, long>> g_worst;

void Note(const std::string& what, long digits, double ulps) {
  auto& w = g_worst[{what, digits}];
  w.first = std::max(w.first, ulps);
  ++w.second;
}

class ReportPrinter : public testing::Environment {
 public:
  void TearDown() override {
    std::ostringstream md;
    md << "| check | Digits | outputs | worst (binary ulps) |\n|---|---|---|---|\n";
    for (const auto& [key, w] : g_worst)
      md << "| " << key.first << " | " << key.second << " | " << w.second << " | " << w.first << " |\n";
    std::printf("\nFourier transforms, worst errors:\n%s\n", md.str().c_str());
    if (const char* path = std::getenv("QUARN_FOURIER_REPORT")) {
      std::ofstream(path) << "# Accuracy of the Fourier transforms\n\n"
                          << "Worst error per check and Digits over n = 1, 2, 3, 5, 7, 8, 64, 100, 1000, 1024 and 4096, "
                          << "from tests/platform/numerics/fourier_test.cpp: every output against an exact fixed-point "
                          << "direct sum, the mpmath table tests/data/fft_reference.tsv (tools/gen_fft_reference.py), "
                          << "and c06faf, c06gbf, c06fbf against the input. Binary ulps of the working precision at the "
                          << "reference's exponent (the round trip: at the largest input's, and for comparison at each input's own); a correctly rounded "
                          << "output is within 0.5.\n\n"
                          << md.str();
    }
  }
};
[[maybe_unused]] testing::Environment* const kReportPrinter = testing::AddGlobalTestEnvironment(new ReportPrinter);

// --------------------------------------------------------------- the tests

TEST(FourierTransforms, CorrectlyRoundedAgainstDirectSums) {
  const auto table = quarn::test::DataRows("fft_reference.tsv");  // routine, n, slot, value
  ASSERT_GT(table.size(), 600u);
  for (long n : kLengths) {
    const DirectSums direct = Direct(n);
    for (long digits : kDigits) {
      ScopedDigits d(digits);
      SCOPED_TRACE("n = " + std::to_string(n) + ", Digits = " + std::to_string(digits));
      const std::vector<QuarnFloat> faf = Apply(QuarnMP_c06faf_, Sequence(n));
      const std::vector<QuarnFloat> fbf = Apply(QuarnMP_c06fbf_, Sequence(n));
      for (long k = 0; k < n; ++k) {
        const double e_faf = Ulps(faf[k], direct.faf[k]), e_fbf = Ulps(fbf[k], direct.fbf[k]);
        EXPECT_LE(e_faf, 0.5) << "c06faf slot " << k << " got " << host::Print(faf[k].Handle());
        EXPECT_LE(e_fbf, 0.5) << "c06fbf slot " << k << " got " << host::Print(fbf[k].Handle());
        Note("c06faf vs direct sum", digits, e_faf);
        Note("c06fbf vs direct sum", digits, e_fbf);
      }
      for (const auto& r : table) {
        if (std::stol(r[1]) != n) continue;
        const double e = Ulps((r[0] == "c06faf" ? faf : fbf)[std::stol(r[2])], r[3]);
        EXPECT_LE(e, 0.5) << r[0] << " slot " << r[2] << " against mpmath";
        Note(r[0] + " vs mpmath", digits, e);
      }
    }
  }
}

// c06faf, c06gbf, c06fbf give back the input: within 2 ulps at the largest
// input's exponent (the intermediate rounding is spread over every output).
TEST(FourierTransforms, RoundTripReturnsTheInput) {
  for (long n : kLengths) {
    for (long digits : kDigits) {
      ScopedDigits d(digits);
      SCOPED_TRACE("n = " + std::to_string(n) + ", Digits = " + std::to_string(digits));
      const std::vector<QuarnFloat> x = Sequence(n);
      std::vector<QuarnFloat> y = Apply(QuarnMP_c06faf_, x);
      long ifail = -1;
      QuarnMP_c06gbf_(y.data(), &n, &ifail);
      EXPECT_EQ(0, ifail);
      y = Apply(QuarnMP_c06fbf_, y);
      mpfr_exp_t top = mpfr_get_exp(x[0].Mpfr());
      for (const QuarnFloat& v : x) top = std::max(top, mpfr_get_exp(v.Mpfr()));
      for (long j = 0; j < n; ++j) {
        std::vector<char> text(64);
        mpfr_snprintf(text.data(), text.size(), "%.30Re", x[j].Mpfr());
        const double e = Ulps(y[j], text.data(), top);
        EXPECT_LE(e, 2.0) << "element " << j;
        Note("round trip, ulps at the largest input", digits, e);
        // Small inputs carry the rounding of outputs as large as the largest
        // input; shown, not checked.
        Note("round trip, each input's own ulps (shown only)", digits, Ulps(y[j], text.data()));
      }
    }
  }
}

TEST(FourierTransforms, InterfaceEdges) {
  QuarnFloat x[4] = {1.0, 2.0, 3.0, 4.0}, work[4];
  // A length below 1 fails with ifail 1 and leaves the data alone.
  for (long n : {0L, -3L}) {
    long ifail = 0;
    QuarnMP_c06faf_(x, &n, work, &ifail);
    EXPECT_EQ(1, ifail);
    ifail = -1;
    QuarnMP_c06fbf_(x, &n, work, &ifail);
    EXPECT_EQ(1, ifail);
    ifail = 0;
    QuarnMP_c06gbf_(x, &n, &ifail);
    EXPECT_EQ(1, ifail);
  }
  EXPECT_TRUE(x[0] == 1.0 && x[3] == 4.0);
  // A constant sequence has exact zeros above frequency 0: they come out 0.
  long n = 4, ifail = -1;
  QuarnFloat c[4] = {0.3, 0.3, 0.3, 0.3};
  QuarnMP_c06faf_(c, &n, work, &ifail);
  EXPECT_EQ(0, ifail);
  EXPECT_TRUE(c[0] == QuarnFloat(0.6)) << host::Print(c[0].Handle());
  for (int k = 1; k < 4; ++k) EXPECT_TRUE(mpfr_zero_p(c[k].Mpfr())) << k << ": " << host::Print(c[k].Handle());
  // An undefined input makes every output undefined.
  QuarnFloat u[3] = {1.0, QuarnFloatUndefined(), 2.0};
  n = 3;
  QuarnMP_c06fbf_(u, &n, work, &ifail);
  EXPECT_EQ(0, ifail);
  for (const QuarnFloat& v : u) EXPECT_TRUE(IsQuarnFloatUndefined(v));
  // c06gbf negates exactly the upper half: n = 5 gives slots 3 and 4.
  QuarnFloat h[5] = {1.0, 2.0, 3.0, 4.0, 5.0};
  n = 5;
  QuarnMP_c06gbf_(h, &n, &ifail);
  EXPECT_TRUE(h[2] == 3.0 && h[3] == -4.0 && h[4] == -5.0);
}

}  // namespace
