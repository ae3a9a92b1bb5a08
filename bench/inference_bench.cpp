// Speed of the regression, Shapiro-Wilk and Durbin-Watson routines at
// Digits 30 against the same computations on bare MPFR or Arb numbers.
//
//   inference_bench DIR [Filip.dat]
//
// writes the problems to DIR (hexadecimal floats, for peers_inference.py)
// and prints one tab-separated line per implementation:
//   case  implementation  cpu_seconds  check_value
// the fastest of a few runs of each. The cases, at Digits 30:
//   regression  n = 10^4 observations, an intercept and 9 normal regressors;
//               the library's g02daf against Householder QR on mpfr_t at the
//               working precision (the same steps: QR with y appended,
//               back substitution, R^-1 for the covariance, residuals
//               through Q, leverages from R^-T) and against Arb's
//               arb_mat_solve on the normal equations X^T X b = X^T y;
//   shapiro     n = 5000 normal values, sorted; g01ddc against the same
//               coefficients and W from Arb's erfcinv on balls at the
//               working precision (no rounding test);
//   durbin      n = 1000 residuals (an AR(1) series), 3 parameters; g02fcc
//               against d and one evaluation of the same two Imhof integrals
//               at the precision that gives their values to Digits (no
//               rounding test), and at the working precision alone.
#include <arb_hypgeom.h>
#include <arb_mat.h>
#include <mpfr.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

namespace {

namespace host = quarn::host;

double CpuSeconds() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return t.tv_sec + 1e-9 * t.tv_nsec;
}

// The fastest of `runs` runs of f, which returns a value to print.
void Time(const char* what, const char* who, int runs, const std::function<double()>& f) {
  double best = 1e300, value = 0;
  for (int r = 0; r < runs; ++r) {
    host::Collect();
    double t0 = CpuSeconds();
    value = f();
    best = std::min(best, CpuSeconds() - t0);
  }
  std::printf("%s\t%s\t%.6f\t%.17g\n", what, who, best, value);
  std::fflush(stdout);
}

void Write(const std::string& path, const std::vector<double>& v) {
  std::ofstream out(path);
  char buf[64];
  for (double x : v) {
    std::snprintf(buf, sizeof buf, "%a\n", x);
    out << buf;
  }
}

// ------------------------------------------------------- regression, MPFR

struct MpfrVec {
  std::vector<__mpfr_struct> v;
  MpfrVec(size_t n, mpfr_prec_t prec) : v(n) {
    for (auto& x : v) mpfr_init2(&x, prec), mpfr_set_zero(&x, 1);
  }
  ~MpfrVec() {
    for (auto& x : v) mpfr_clear(&x);
  }
  mpfr_ptr operator[](size_t i) { return &v[i]; }
};

// Least squares on bare mpfr_t at prec: a is n x (p + 1) column-major, the
// last column y. Returns b[1].
double BareMpfrLeastSquares(const std::vector<double>& data, long n, long p, mpfr_prec_t prec) {
  MpfrVec a(n * (p + 1), prec), tau(p, prec), b(p, prec), rinv(p * p, prec), res(n, prec), h(n, prec);
  MpfrVec t(4, prec);
  for (size_t k = 0; k < data.size(); ++k) mpfr_set_d(a[k], data[k], MPFR_RNDN);
  auto at = [&](long i, long j) { return a[j * n + i]; };
  auto reflect = [&](long k, mpfr_ptr x0, const std::function<mpfr_ptr(long)>& x) {
    mpfr_set(t[0], x0, MPFR_RNDN);
    for (long i = k + 1; i < n; ++i) mpfr_fma(t[0], at(i, k), x(i), t[0], MPFR_RNDN);
    mpfr_mul(t[0], t[0], tau[k], MPFR_RNDN);
    mpfr_sub(x0, x0, t[0], MPFR_RNDN);
    mpfr_neg(t[0], t[0], MPFR_RNDN);
    for (long i = k + 1; i < n; ++i) mpfr_fma(x(i), t[0], at(i, k), x(i), MPFR_RNDN);
  };
  for (long k = 0; k < p; ++k) {
    mpfr_set_zero(t[1], 1);
    for (long i = k + 1; i < n; ++i) mpfr_fma(t[1], at(i, k), at(i, k), t[1], MPFR_RNDN);
    mpfr_fma(t[2], at(k, k), at(k, k), t[1], MPFR_RNDN);
    mpfr_sqrt(t[2], t[2], MPFR_RNDN);
    if (mpfr_sgn(at(k, k)) >= 0) mpfr_neg(t[2], t[2], MPFR_RNDN);  // beta
    mpfr_sub(tau[k], t[2], at(k, k), MPFR_RNDN);
    mpfr_div(tau[k], tau[k], t[2], MPFR_RNDN);
    mpfr_sub(t[3], at(k, k), t[2], MPFR_RNDN);
    mpfr_ui_div(t[3], 1, t[3], MPFR_RNDN);
    for (long i = k + 1; i < n; ++i) mpfr_mul(at(i, k), at(i, k), t[3], MPFR_RNDN);
    mpfr_set(at(k, k), t[2], MPFR_RNDN);
    for (long j = k + 1; j <= p; ++j) reflect(k, at(k, j), [&](long i) { return at(i, j); });
  }
  // R^-1 and b = R^-1 c.
  for (long j = 0; j < p; ++j) {
    mpfr_ui_div(rinv[j * p + j], 1, at(j, j), MPFR_RNDN);
    for (long i = j - 1; i >= 0; --i) {
      mpfr_set_zero(t[0], 1);
      for (long k = i + 1; k <= j; ++k) mpfr_fma(t[0], at(i, k), rinv[j * p + k], t[0], MPFR_RNDN);
      mpfr_div(rinv[j * p + i], t[0], at(i, i), MPFR_RNDN);
      mpfr_neg(rinv[j * p + i], rinv[j * p + i], MPFR_RNDN);
    }
  }
  for (long i = 0; i < p; ++i)
    for (long j = i; j < p; ++j) mpfr_fma(b[i], rinv[j * p + i], at(j, p), b[i], MPFR_RNDN);
  // Residuals Q [0; c2]; leverages |R^-T x_i|^2 from the data.
  for (long i = p; i < n; ++i) mpfr_set(res[i], at(i, p), MPFR_RNDN);
  for (long k = p - 1; k >= 0; --k) reflect(k, res[k], [&](long i) { return res[i]; });
  for (long i = 0; i < n; ++i) {
    for (long l = 0; l < p; ++l) {
      mpfr_set_zero(t[0], 1);
      for (long j = 0; j <= l; ++j) {
        mpfr_set_d(t[1], data[j * n + i], MPFR_RNDN);
        mpfr_fma(t[0], rinv[l * p + j], t[1], t[0], MPFR_RNDN);
      }
      mpfr_fma(h[i], t[0], t[0], h[i], MPFR_RNDN);
    }
  }
  return mpfr_get_d(b[1], MPFR_RNDN);
}

// Normal equations with Arb balls: X^T X b = X^T y by arb_mat_solve.
// Returns b[1]; *accuracy_bits gets the least relative accuracy of b's balls.
double ArbNormalEquations(const std::vector<double>& data, long n, long p, slong prec, long* accuracy_bits = nullptr) {
  arb_mat_t x, xt, xtx, y, xty, b;
  arb_mat_init(x, n, p);
  arb_mat_init(xt, p, n);
  arb_mat_init(xtx, p, p);
  arb_mat_init(y, n, 1);
  arb_mat_init(xty, p, 1);
  arb_mat_init(b, p, 1);
  for (long i = 0; i < n; ++i) {
    for (long j = 0; j < p; ++j) arb_set_d(arb_mat_entry(x, i, j), data[j * n + i]);
    arb_set_d(arb_mat_entry(y, i, 0), data[p * n + i]);
  }
  arb_mat_transpose(xt, x);
  arb_mat_mul(xtx, xt, x, prec);
  arb_mat_mul(xty, xt, y, prec);
  arb_mat_solve(b, xtx, xty, prec);
  double v = arf_get_d(arb_midref(arb_mat_entry(b, 1, 0)), ARF_RND_NEAR);
  if (accuracy_bits) {
    *accuracy_bits = prec;
    for (long j = 0; j < p; ++j) *accuracy_bits = std::min(*accuracy_bits, arb_rel_accuracy_bits(arb_mat_entry(b, j, 0)));
  }
  arb_mat_clear(x);
  arb_mat_clear(xt);
  arb_mat_clear(xtx);
  arb_mat_clear(y);
  arb_mat_clear(xty);
  arb_mat_clear(b);
  return v;
}

// ------------------------------------------------------ Shapiro-Wilk, Arb

double Poly(std::initializer_list<double> c, double x) {
  double r = 0;
  for (auto it = std::rbegin(c); it != std::rend(c); ++it) r = r * x + *it;
  return r;
}

// W for sorted x (n > 5) with the coefficients from erfcinv balls at prec.
double ArbShapiroWilk(const std::vector<double>& x, slong prec) {
  const long n = static_cast<long>(x.size()), half = n / 2;
  arb_ptr e = _arb_vec_init(half);
  arb_t q, s, m2, t, a1, a2, fac, sax, ssx, mean;
  for (arb_ptr v : {q, s, m2, t, a1, a2, fac, sax, ssx, mean}) arb_init(v);
  for (long i = 0; i < half; ++i) {
    arb_set_si(q, 8 * (i + 1) - 3);
    arb_div_si(q, q, 4 * n + 1, prec);
    arb_hypgeom_erfcinv(e + i, q, prec);
    arb_addmul(m2, e + i, e + i, prec);
  }
  arb_mul_2exp_si(m2, m2, 2);  // M
  arb_sqrt(s, m2, prec);
  const double u = 1 / std::sqrt(static_cast<double>(n));
  arb_sqrt_ui(t, 2, prec);
  arb_mul(a1, t, e, prec);
  arb_div(a1, a1, s, prec);
  arb_set_d(q, Poly({0, 0.221157, -0.147981, -2.071190, 4.434685, -2.706056}, u));
  arb_add(a1, a1, q, prec);
  arb_mul(a2, t, e + 1, prec);
  arb_div(a2, a2, s, prec);
  arb_set_d(q, Poly({0, 0.042981, -0.293762, -1.752461, 5.682633, -3.582633}, u));
  arb_add(a2, a2, q, prec);
  // fac^2 = (M - 4 e1^2 - 4 e2^2) / (1 - 2 a1^2 - 2 a2^2)
  arb_set(fac, m2);
  for (arb_srcptr v : {e + 0, e + 1}) {
    arb_mul(q, v, v, prec);
    arb_mul_2exp_si(q, q, 2);
    arb_sub(fac, fac, q, prec);
  }
  arb_one(q);
  for (arb_srcptr v : {a1, a2}) {
    arb_mul(s, v, v, prec);
    arb_mul_2exp_si(s, s, 1);
    arb_sub(q, q, s, prec);
  }
  arb_div(fac, fac, q, prec);
  arb_sqrt(fac, fac, prec);
  for (long i = 0; i < n; ++i) {
    arb_set_d(q, x[i]);
    arb_add(mean, mean, q, prec);
  }
  arb_div_si(mean, mean, n, prec);
  for (long i = 0; i < n; ++i) {
    const long k = std::min(i, n - 1 - i);
    if (k == 0) {
      arb_set(s, a1);
    } else if (k == 1) {
      arb_set(s, a2);
    } else if (2 * k + 1 == n) {
      arb_zero(s);
    } else {
      arb_mul(s, t, e + k, prec);
      arb_div(s, s, fac, prec);
    }
    if (i < n - 1 - i) arb_neg(s, s);
    arb_set_d(q, x[i]);
    arb_sub(q, q, mean, prec);
    arb_addmul(sax, s, q, prec);
    arb_addmul(ssx, q, q, prec);
  }
  arb_sqr(sax, sax, prec);
  arb_div(sax, sax, ssx, prec);  // W, as sum a^2 = 1
  double w = arf_get_d(arb_midref(sax), ARF_RND_NEAR);
  for (arb_ptr v : {q, s, m2, t, a1, a2, fac, sax, ssx, mean}) arb_clear(v);
  _arb_vec_clear(e, half);
  return w;
}

// ----------------------------------------------------- Durbin-Watson, Arb

// d in Arb and P(sum (l_j - d) u_j^2 <= 0), j = first .. first + m - 1, by
// one evaluation of the library's Imhof integral at prec (absolute accuracy,
// no rounding test): the computation the routine repeats at higher precision
// until its result rounds to one float.
double ArbBound(const std::vector<double>& r, long first, long m, slong prec) {
  namespace nm = quarn::numerics;
  const long n = static_cast<long>(r.size());
  nm::Ball num, den, diff, x, y, p;
  for (long i = 0; i < n; ++i) {
    arb_set_d(x, r[i]);
    arb_addmul(den, x, x, prec);
    if (i + 1 < n) {
      arb_set_d(y, r[i + 1]);
      arb_sub(diff, y, x, prec);
      arb_addmul(num, diff, diff, prec);
    }
  }
  arb_div(num, num, den, prec);  // d
  nm::BallVector a(m);
  for (long j = 0; j < m; ++j) {
    arb_const_pi(a[j], prec);
    arb_mul_si(a[j], a[j], first + j, prec);
    arb_div_si(a[j], a[j], 2 * n, prec);
    arb_sin(a[j], a[j], prec);
    arb_sqr(a[j], a[j], prec);
    arb_mul_2exp_si(a[j], a[j], 2);
    arb_sub(a[j], a[j], num, prec);
  }
  nm::ImhofProbability(p, a, m, prec);
  return arf_get_d(arb_midref(p.get()), ARF_RND_NEAR);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: inference_bench DIR\n");
    return 2;
  }
  const std::string dir = argv[1];
  host::Initialize();
  host::SetDigits(30);
  const slong prec = static_cast<slong>(host::WorkingBits());
  std::mt19937_64 rng(20240611);
  std::normal_distribution<double> normal;

  // Regression: n x 10 with an intercept, y = X beta + noise.
  const int32_t n = 10000, m = 9, ip = 10;
  std::vector<double> data(static_cast<size_t>(n) * (ip + 1));
  for (long i = 0; i < n; ++i) {
    data[i] = 1.0;
    double yv = 1.0;
    for (long j = 1; j < ip; ++j) {
      data[j * n + i] = normal(rng);
      yv += j * data[j * n + i];
    }
    data[static_cast<size_t>(ip) * n + i] = yv + normal(rng);
  }
  Write(dir + "/regression.txt", data);
  {
    std::vector<QuarnFloat> x(data.begin() + n, data.begin() + static_cast<long>(n) * ip),
        y(data.begin() + static_cast<long>(n) * ip, data.end()), wt(1), b(ip), se(ip), cov(ip * (ip + 1) / 2), res(n),
        h(n), q(static_cast<size_t>(n) * (ip + 1)), p(2 * ip + ip * ip), wk(5 * ip + ip * ip);
    int32_t isx[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1}, idf, irank, ifail;
    uint8_t svd;
    QuarnFloat rss, tol(1e-20);
    Time("regression", "quarnstats", 3, [&] {
      QuarnMP_g02daf_f("M", "U", &n, x.data(), &n, &m, isx, &ip, y.data(), wt.data(), &rss, &idf, b.data(), se.data(),
                       cov.data(), res.data(), h.data(), q.data(), &n, &svd, &irank, p.data(), &tol, wk.data(), &ifail,
                       1, 1);
      return b[1].ToDouble();
    });
  }
  Time("regression", "mpfr-qr", 3, [&] { return BareMpfrLeastSquares(data, n, ip, prec); });
  Time("regression", "arb-normal-equations", 3, [&] { return ArbNormalEquations(data, n, ip, prec); });

  // Shapiro-Wilk of 5000 sorted normal values.
  std::vector<double> sample(5000);
  for (double& v : sample) v = normal(rng);
  std::sort(sample.begin(), sample.end());
  Write(dir + "/shapiro.txt", sample);
  {
    std::vector<QuarnFloat> x(sample.begin(), sample.end()), a(sample.size());
    QuarnFloat w, pw;
    NagError fail;
    Time("shapiro", "quarnstats", 3, [&] {
      QuarnMP_g01ddc(5000, x.data(), Nag_TRUE, a.data(), &w, &pw, &fail);
      return w.ToDouble();
    });
  }
  Time("shapiro", "arb", 3, [&] { return ArbShapiroWilk(sample, prec); });

  // Durbin-Watson of 1000 residuals (an AR(1) series), 3 parameters.
  std::vector<double> r(1000);
  double prev = 0;
  for (double& v : r) v = prev = 0.3 * prev + normal(rng);
  Write(dir + "/durbin.txt", r);
  double pdl_value = 0, pdu_value = 0;
  {
    std::vector<QuarnFloat> res(r.begin(), r.end()), work(r.size());
    QuarnFloat d, pdl, pdu;
    int32_t nn = 1000, pp = 3, ifail;
    Time("durbin", "quarnstats", 2, [&] {
      QuarnMP_g02fcc(&nn, &pp, res.data(), &d, &pdl, &pdu, work.data(), &ifail);
      return pdl.ToDouble();
    });
    pdl_value = pdl.ToDouble();
    pdu_value = pdu.ToDouble();
  }
  // The same accuracy as the library's (Digits digits of a probability far
  // below 1 need as many more bits as it is small), and the working
  // precision alone, whose absolute accuracy leaves few digits of a tiny
  // probability.
  auto bits_for = [&](double v) { return prec + 12 + std::max(0, -std::ilogb(v)); };
  Time("durbin", "arb", 2, [&] {
    double pdl = ArbBound(r, 1, 997, bits_for(pdl_value));
    ArbBound(r, 3, 997, bits_for(pdu_value));
    return pdl;
  });
  Time("durbin", "arb-working-precision", 2, [&] {
    double pdl = ArbBound(r, 1, 997, prec);
    ArbBound(r, 3, 997, prec);
    return pdl;
  });
  // Normal equations square the condition number: on NIST's Filip data
  // (a degree-10 polynomial, condition about 5e9 with unit columns) at the
  // same precision they keep few of the estimates' bits.
  if (argc > 2) {
    std::ifstream in(argv[2]);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    std::vector<double> xs, ys;
    for (size_t i = 60; i < lines.size() && i < 142; ++i) {
      double yv, xv;
      if (std::sscanf(lines[i].c_str(), "%lf %lf", &yv, &xv) == 2) ys.push_back(yv), xs.push_back(xv);
    }
    const long fn = static_cast<long>(xs.size()), fp = 11;
    std::vector<double> fdata(static_cast<size_t>(fn) * (fp + 1));
    for (long i = 0; i < fn; ++i) {
      for (long j = 0; j < fp; ++j) fdata[j * fn + i] = std::pow(xs[i], static_cast<double>(j));
      fdata[fp * fn + i] = ys[i];
    }
    long bits = 0;
    ArbNormalEquations(fdata, fn, fp, prec, &bits);
    std::printf("filip\tarb-normal-equations-accuracy-bits\t0\t%ld\n", bits);
  }
  return 0;
}
