// Shapiro-Wilk, regression and Durbin-Watson routines against references
// from tools/gen_inference_reference.py (the statistics' definitions in
// mpmath, exact rational least squares, quadrature of Imhof's integral),
// NAG's published example results, invariants of a least squares fit, and
// every failure exit.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cstdlib>
#include <fstream>
#include <map>
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
using Row = std::vector<std::string>;

std::vector<Row> Table(const std::string& name) {
  const char* dir = std::getenv("QUARN_SOURCE_DIR");
  std::string file = __FILE__;
  std::ifstream in((dir ? std::string(dir) : file.substr(0, file.rfind("/tests/"))) + "/tests/data/" + name);
  EXPECT_TRUE(in.good()) << "missing " << name;
  std::vector<Row> rows;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    Row r;
    std::stringstream ss(line);
    for (std::string cell; std::getline(ss, cell, '\t');) r.push_back(cell);
    rows.push_back(r);
  }
  return rows;
}

std::vector<std::string> Split(const std::string& s) {
  std::vector<std::string> out;
  std::stringstream ss(s);
  for (std::string cell; std::getline(ss, cell, ',');) out.push_back(cell);
  return out;
}

// Hexadecimal floats (at most 40 bits), exact at every Digits tested.
std::vector<QuarnFloat> Floats(const std::string& list) {
  std::vector<QuarnFloat> v;
  for (const std::string& h : Split(list)) {
    v.push_back(quarn::floats::Compute([&](mpfr_ptr z) { EXPECT_EQ(0, mpfr_set_str(z, h.c_str(), 0, MPFR_RNDN)); }));
  }
  return v;
}

// |got - ref| in units of 2^(e - WorkingBits), e the exponent of scale (the
// reference itself when scale is empty).
double Ulps(const QuarnFloat& got, const std::string& ref, const std::string& scale = "") {
  Mpfr r(1024), s(1024), d(1024);
  mpfr_set_str(r.v, ref.c_str(), 10, MPFR_RNDN);
  mpfr_set_str(s.v, (scale.empty() ? ref : scale).c_str(), 10, MPFR_RNDN);
  if (!mpfr_number_p(got.Mpfr())) return 1e300;
  mpfr_sub(d.v, got.Mpfr(), r.v, MPFR_RNDN);
  if (mpfr_zero_p(d.v)) return 0;
  if (mpfr_zero_p(s.v)) return 1e300;
  return std::abs(mpfr_get_d(d.v, MPFR_RNDN)) /
         std::ldexp(1.0, static_cast<int>(mpfr_get_exp(s.v) - host::WorkingBits()));
}

// x rounded to `digits` decimals after the point, as NAG's examples print.
double Printed(const QuarnFloat& x, int decimals) {
  double scale = std::pow(10.0, decimals);
  return std::round(x.ToDouble() * scale) / scale;
}

// ------------------------------------------------------------ Shapiro-Wilk

TEST(ShapiroWilk, DefinitionAtHighPrecision) {
  double worst = 0;
  for (const Row& r : Table("inference_shapiro_wilk.tsv")) {
    ScopedDigits digits(std::stol(r[0]));
    std::vector<QuarnFloat> x = Floats(r[1]);
    NagError fail;
    QuarnMP_m01cac(x.data(), x.size(), Nag_Descending, &fail);  // either order is accepted
    std::vector<QuarnFloat> a(x.size());
    QuarnFloat w, pw;
    QuarnMP_g01ddc(static_cast<long>(x.size()), x.data(), Nag_TRUE, a.data(), &w, &pw, &fail);
    SCOPED_TRACE("n = " + std::to_string(x.size()) + ", Digits " + r[0]);
    ASSERT_EQ(0, fail.code) << fail.message;
    EXPECT_LE(Ulps(w, r[2]), 1.0);
    EXPECT_LE(Ulps(pw, r[3]), 1.0);
    worst = std::max({worst, Ulps(w, r[2]), Ulps(pw, r[3])});
    // Reusing the coefficients gives the same statistic.
    QuarnFloat w2, pw2;
    QuarnMP_g01ddc(static_cast<long>(x.size()), x.data(), Nag_FALSE, a.data(), &w2, &pw2, &fail);
    EXPECT_LE(Ulps(w2, r[2]), 2.0);
  }
  std::printf("Shapiro-Wilk: worst error %.3g ulp\n", worst);
}

TEST(ShapiroWilk, NagExampleAndFailures) {
  const char* samples[2] = {
      "0.11 7.87 4.61 10.14 7.95 3.14 0.46 4.43 0.21 4.75 0.71 1.52 3.24 0.93 0.42 4.97 9.53 4.55 0.47 6.66",
      "1.36 1.14 2.92 2.55 1.46 1.06 5.27 -1.11 3.48 1.10 0.88 -0.51 1.46 0.52 6.20 1.69 0.08 3.67 2.81 3.49"};
  const double printed[2][2] = {{0.9005, 0.0421}, {0.9590, 0.5246}};
  NagError fail;
  for (int s = 0; s < 2; ++s) {
    std::vector<QuarnFloat> x, a(20);
    std::stringstream in(samples[s]);
    for (std::string v; in >> v;) x.push_back(QuarnFloat(host::ParseFloat(v)));
    QuarnMP_m01cac(x.data(), x.size(), Nag_Ascending, &fail);
    QuarnFloat w, pw;
    QuarnMP_g01ddc(20, x.data(), Nag_TRUE, a.data(), &w, &pw, &fail);
    EXPECT_EQ(printed[s][0], Printed(w, 4));
    EXPECT_EQ(printed[s][1], Printed(pw, 4));
  }
  struct Case {
    std::vector<double> x;
    int code;
    const char* message;
  } cases[] = {
      {{1, 2}, NE_INT_ARG_LT, "On entry, n = 2.\nConstraint: n >= 3."},
      {std::vector<double>(5001, 1.0), NE_INT_ARG_GT, "On entry, n = 5001.\nConstraint: n <= 5000."},
      {{2, 2, 2, 2}, NE_ALL_ELEMENTS_EQUAL, "On entry, all elements of x are equal."},
      {{1, 3, 2, 4},
       NE_NOT_MONOTONIC,
       "On entry, x is not sorted: x[1] and x[2] are out of order.\nConstraint: x must be in ascending or "
       "descending order."},
  };
  for (const Case& c : cases) {
    std::vector<QuarnFloat> x(c.x.begin(), c.x.end()), a(c.x.size());
    QuarnFloat w, pw;
    QuarnMP_g01ddc(static_cast<long>(x.size()), x.data(), Nag_TRUE, a.data(), &w, &pw, &fail);
    EXPECT_EQ(c.code, fail.code);
    EXPECT_STREQ(c.message, fail.message);
  }
  // n = 3 on its exact boundaries, and undefined data.
  std::vector<QuarnFloat> x = {0.0, 0.0, 1.0}, a(3);
  QuarnFloat w, pw;
  QuarnMP_g01ddc(3, x.data(), Nag_TRUE, a.data(), &w, &pw, &fail);
  EXPECT_TRUE(w == 0.75 && pw == 0) << host::Print(w.Handle()) << " " << host::Print(pw.Handle());
  x = {-1.0, 0.5, 2.0};
  QuarnMP_g01ddc(3, x.data(), Nag_TRUE, a.data(), &w, &pw, &fail);
  EXPECT_TRUE(w == 1 && pw == 1);
  x = {1.0, 2.0, QuarnFloatUndefined()};
  QuarnMP_g01ddc(3, x.data(), Nag_TRUE, a.data(), &w, &pw, &fail);
  EXPECT_TRUE(fail.code == 0 && IsQuarnFloatUndefined(w) && IsQuarnFloatUndefined(pw));
}

// ------------------------------------------------------------ Durbin-Watson

TEST(DurbinWatson, ImhofQuadratureAtHighPrecision) {
  double worst = 0;
  for (const Row& r : Table("inference_durbin_watson.tsv")) {
    ScopedDigits digits(std::stol(r[0]));
    std::vector<QuarnFloat> res = Floats(r[2]), work(res.size());
    const int32_t n = static_cast<int32_t>(res.size()), ip = std::stoi(r[1]);
    QuarnFloat d, pdl, pdu;
    int32_t ifail = -1;
    QuarnMP_g02fcc(&n, &ip, res.data(), &d, &pdl, &pdu, work.data(), &ifail);
    SCOPED_TRACE("n = " + std::to_string(n) + ", ip = " + r[1] + ", Digits " + r[0]);
    ASSERT_EQ(0, ifail);
    for (auto [got, ref] : {std::pair{d, r[3]}, {pdl, r[4]}, {pdu, r[5]}}) {
      EXPECT_LE(Ulps(got, ref), 1.0) << host::Print(got.Handle()) << " vs " << ref;
      worst = std::max(worst, Ulps(got, ref));
    }
    EXPECT_GE(pdl, pdu);
  }
  std::printf("Durbin-Watson: worst error %.3g ulp\n", worst);
}

TEST(DurbinWatson, NagExampleAndFailures) {
  const char* res_text[] = {"3.735719", "0.912755", "0.683626", "0.416693", "1.990200",
                            "-0.444816", "-1.283088", "-3.666035", "-0.426357", "-1.918697"};
  std::vector<QuarnFloat> res, work(10);
  for (const char* t : res_text) res.push_back(QuarnFloat(host::ParseFloat(t)));
  int32_t n = 10, ip = 2, ifail = -1;
  QuarnFloat d, pdl, pdu;
  QuarnMP_g02fcc(&n, &ip, res.data(), &d, &pdl, &pdu, work.data(), &ifail);
  EXPECT_EQ(0, ifail);
  EXPECT_EQ(0.9238, Printed(d, 4));
  EXPECT_EQ(0.0610, Printed(pdl, 4));
  EXPECT_EQ(0.0060, Printed(pdu, 4));
  // work holds the eigenvalues 2 (1 - cos(pi j / n)).
  EXPECT_NEAR(2 * (1 - std::cos(M_PI / 10)), work[0].ToDouble(), 1e-10);
  EXPECT_NEAR(4.0 - 2 * (1 - std::cos(M_PI / 10)), work[8].ToDouble(), 1e-9);
  struct Case {
    int32_t n, ip;
    bool zero;
    int32_t ifail;
  } cases[] = {{10, 10, false, 1}, {10, 0, false, 1}, {10, 2, true, 2}};
  for (const Case& c : cases) {
    std::vector<QuarnFloat> r = c.zero ? std::vector<QuarnFloat>(10, QuarnFloat(0.0)) : res;
    QuarnMP_g02fcc(&c.n, &c.ip, r.data(), &d, &pdl, &pdu, work.data(), &ifail);
    EXPECT_EQ(c.ifail, ifail);
  }
}

// ---------------------------------------------------- influence statistics

TEST(Influence, FormulasAtHighPrecision) {
  double worst = 0;
  for (const Row& r : Table("inference_g02fac.tsv")) {
    ScopedDigits digits(std::stol(r[0]));
    std::vector<QuarnFloat> rms = Floats(r[3]), res = Floats(r[4]), h = Floats(r[5]), sres(4);
    NagError fail;
    QuarnMP_g02fac(std::stol(r[1]), std::stol(r[2]), 1, res.data(), h.data(), rms[0], sres.data(), &fail);
    ASSERT_EQ(0, fail.code) << fail.message;
    for (int k = 0; k < 4; ++k) {
      EXPECT_LE(Ulps(sres[k], r[6 + k]), 1.0) << "statistic " << k << " of " << r[4];
      worst = std::max(worst, Ulps(sres[k], r[6 + k]));
    }
  }
  std::printf("g02fac: worst error %.3g ulp\n", worst);
}

TEST(Influence, NagExampleAndFailures) {
  // NAG's example: n = 24, p = 11, rms = 0.5798, the first ten residuals.
  const double data[10][2] = {{0.2660, 0.5519},  {-0.1387, 0.9746}, {-0.2971, 0.6256}, {0.5926, 0.3144},
                              {-0.4013, 0.4106}, {0.1396, 0.6268},  {-1.3173, 0.5479}, {1.1226, 0.2325},
                              {0.0321, 0.4115},  {-0.7111, 0.3577}};
  const double printed[10][4] = {{0.522, 0.507, 0.030, 0.611},    {-1.143, -1.158, 4.557, -7.797},
                                 {-0.638, -0.622, 0.062, -0.875}, {0.940, 0.935, 0.037, 0.689},
                                 {-0.686, -0.672, 0.030, -0.610}, {0.300, 0.289, 0.014, 0.408},
                                 {-2.573, -3.529, 0.729, -4.223}, {1.683, 1.828, 0.078, 1.094},
                                 {0.055, 0.053, 0.000, 0.048},    {-1.165, -1.183, 0.069, -0.960}};
  std::vector<QuarnFloat> res, h, sres(40);
  for (const auto& row : data) {
    res.push_back(QuarnFloat(host::ParseFloat(std::to_string(row[0]))));
    h.push_back(QuarnFloat(host::ParseFloat(std::to_string(row[1]))));
  }
  const QuarnFloat rms(host::ParseFloat("0.5798"));
  NagError fail;
  QuarnMP_g02fac(24, 11, 10, res.data(), h.data(), rms, sres.data(), &fail);
  ASSERT_EQ(0, fail.code);
  for (int i = 0; i < 10; ++i)
    for (int k = 0; k < 4; ++k) EXPECT_EQ(printed[i][k], Printed(sres[4 * i + k], 3)) << i << " " << k;
  struct Case {
    long n, ip, nres;
    double rms, h0, r0;
    int code;
  } cases[] = {
      {24, 0, 10, 0.5798, 0.5, 0.1, NE_INT_ARG_LT},      {24, 11, 0, 0.5798, 0.5, 0.1, NE_INT_ARG_LT},
      {12, 11, 10, 0.5798, 0.5, 0.1, NE_2_INT_ARG_LE},   {24, 11, 25, 0.5798, 0.5, 0.1, NE_2_INT_ARG_GT},
      {24, 11, 10, 0.0, 0.5, 0.1, NE_REAL_ARG_LE},       {24, 11, 10, 0.5798, 1.0, 0.1, NE_REAL_ARRAY_CONS},
      {24, 11, 10, 0.5798, 0.5, 10.0, NE_RESID_TOO_LARGE},
  };
  for (const Case& c : cases) {
    res[0] = c.r0;
    h[0] = c.h0;
    QuarnMP_g02fac(c.n, c.ip, c.nres, res.data(), h.data(), QuarnFloat(c.rms), sres.data(), &fail);
    EXPECT_EQ(c.code, fail.code) << fail.message;
  }
  h[0] = 1.0;
  QuarnMP_g02fac(24, 11, 10, res.data(), h.data(), rms, sres.data(), &fail);
  EXPECT_STREQ("On entry, h[0] = 1.\nConstraint: 0 < h[i] < 1.", fail.message);
}

}  // namespace
