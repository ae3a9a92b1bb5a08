// General linear regression (g02daf) against exact rational least squares
// (tools/gen_inference_reference.py) at two precisions, invariants of every
// fit (residuals orthogonal to the model's columns, leverages summing to the
// rank, Q and R rebuilding the model matrix, the SVD rebuilding R), NAG's
// example and every failure indicator.
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
using quarn::test::ScopedDigits;

// One problem of inference_regression.tsv: fields by key.
using Problem = std::map<std::string, std::vector<std::string>>;

std::vector<std::string> Cells(const std::string& line, char sep) {
  std::vector<std::string> out;
  std::stringstream ss(line);
  for (std::string cell; std::getline(ss, cell, sep);) out.push_back(cell);
  return out;
}

std::vector<Problem> Problems() {
  const char* dir = std::getenv("QUARN_SOURCE_DIR");
  std::string file = __FILE__;
  std::ifstream in((dir ? std::string(dir) : file.substr(0, file.rfind("/tests/"))) +
                   "/tests/data/inference_regression.tsv");
  EXPECT_TRUE(in.good());
  std::vector<Problem> out;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> c = Cells(line, '\t');
    if (c[0] == "problem") out.emplace_back();
    out.back()[c[0]] = c[0] == "problem" ? c : Cells(c[2], ',');
  }
  return out;
}

QuarnFloat Exact(const std::string& text) {
  return quarn::floats::Compute([&](mpfr_ptr z) { mpfr_set_str(z, text.c_str(), 0, MPFR_RNDN); });
}

// |got - ref| in ulps of the working precision at the exponent of scale.
double Ulps(const QuarnFloat& got, const QuarnFloat& ref, const QuarnFloat& scale) {
  QuarnFloat d = fabs(got - ref);
  if (d == 0) return 0;
  return std::ldexp(d.ToDouble(), static_cast<int>(host::WorkingBits() - mpfr_get_exp(scale.Mpfr())));
}

// A fit and everything it was given, with arrays sized as the routine wants.
struct Fit {
  std::string mean = "M", weight = "U";
  int32_t n = 0, m = 0, ip = 0, ldx = 0, ldq = 0;
  std::vector<int32_t> isx;
  std::vector<QuarnFloat> x, y, wt;
  QuarnFloat tol = 1e-20;  // far below the conditions of the problems here
  // outputs
  QuarnFloat rss;
  int32_t idf = 0, irank = 0, ifail = 0;
  uint8_t svd = 0;
  std::vector<QuarnFloat> b, se, cov, res, h, q, p, wk;

  void Run() {
    const long pp = std::max(ip, 1);
    b.assign(pp, QuarnFloat());
    se = b;
    cov.assign(pp * (pp + 1) / 2, QuarnFloat());
    res.assign(std::max(n, 1), QuarnFloat());
    h = res;
    q.assign(std::max<long>(ldq, 1) * (pp + 1), QuarnFloat());
    p.assign(2 * pp + pp * pp, QuarnFloat());
    wk.assign(5 * pp + pp * pp, QuarnFloat());
    if (wt.empty()) wt.assign(std::max(n, 1), QuarnFloat(1.0));
    ifail = 1;
    QuarnMP_g02daf_f(mean.c_str(), weight.c_str(), &n, x.data(), &ldx, &m, isx.data(), &ip, y.data(), wt.data(),
                     &rss, &idf, b.data(), se.data(), cov.data(), res.data(), h.data(), q.data(), &ldq, &svd, &irank,
                     p.data(), &tol, wk.data(), &ifail, mean.size(), weight.size());
  }
  // Row i of the model matrix W^(1/2) X.
  std::vector<QuarnFloat> ModelRow(long i) const {
    QuarnFloat root = weight == "W" ? sqrt(wt[i]) : QuarnFloat(1.0);
    std::vector<QuarnFloat> row;
    if (mean == "M") row.push_back(root);
    for (long j = 0; j < m; ++j)
      if (isx[j] > 0) row.push_back(x[j * ldx + i] * root);
    return row;
  }
};

Fit FromTable(const Problem& pb) {
  const std::vector<std::string>& head = pb.at("problem");
  Fit f;
  f.mean = head[2];
  f.weight = head[3];
  f.n = f.ldx = f.ldq = std::stoi(head[4]);
  f.m = std::stoi(head[5]);
  for (const std::string& s : Cells(head[6], ',')) f.isx.push_back(std::stoi(s));
  f.ip = std::stoi(head[7]);
  for (const std::string& s : pb.at("x")) f.x.push_back(Exact(s));
  for (const std::string& s : pb.at("y")) f.y.push_back(Exact(s));
  if (f.weight == "W")
    for (const std::string& s : pb.at("wt")) f.wt.push_back(Exact(s));
  return f;
}

TEST(Regression, ExactLeastSquares) {
  for (long digits : {30, 60}) {
    ScopedDigits scoped(digits);
    for (const Problem& pb : Problems()) {
      Fit f = FromTable(pb);
      f.Run();
      const std::vector<std::string>& head = pb.at("problem");
      SCOPED_TRACE(head[1] + " at Digits " + std::to_string(digits));
      EXPECT_EQ(std::stoi(head[8]), f.irank);
      EXPECT_EQ(std::stoi(head[9]), f.idf);
      EXPECT_EQ(f.irank < f.ip ? 6 : 0, f.ifail);
      double worst = 0;
      auto check = [&](const char* key, const std::vector<QuarnFloat>& got, bool normwise) {
        QuarnFloat scale = 0.0;
        for (const std::string& s : pb.at(key)) {
          if (fabs(Exact(s)) > scale) scale = fabs(Exact(s));
        }
        for (size_t i = 0; i < pb.at(key).size(); ++i) {
          QuarnFloat ref = Exact(pb.at(key)[i]);
          double e = Ulps(got[i], ref, normwise ? scale : ref);
          EXPECT_LE(e, 4.0) << key << "[" << i << "] = " << host::Print(got[i].Handle()) << ", exact " << pb.at(key)[i];
          worst = std::max(worst, e);
        }
      };
      check("b", f.b, false);
      check("se", f.se, false);
      check("rss", {f.rss}, false);
      check("res", f.res, true);
      check("h", f.h, true);
      std::printf("%s at Digits %ld: worst error %.3g ulp\n", head[1].c_str(), digits, worst);
    }
  }
}

TEST(Regression, Invariants) {
  ScopedDigits scoped(40);
  for (const Problem& pb : Problems()) {
    Fit f = FromTable(pb);
    f.Run();
    SCOPED_TRACE(pb.at("problem")[1]);
    const double eps = std::ldexp(1.0, -static_cast<int>(host::WorkingBits()) + 8);
    // Leverages sum to the rank; the residuals' squares to rss.
    QuarnFloat hsum = 0.0, rsum = 0.0;
    for (long i = 0; i < f.n; ++i) {
      hsum += f.h[i];
      rsum += f.res[i] * f.res[i];
    }
    EXPECT_LT(fabs(hsum - f.irank).ToDouble(), eps * f.n);
    EXPECT_LT(fabs(rsum / f.rss - 1).ToDouble(), eps);
    // Residuals orthogonal to every column of W^(1/2) X; Q [R; 0] = W^(1/2) X.
    std::vector<QuarnFloat> dots(f.ip, QuarnFloat(0.0)), colnorm(f.ip, QuarnFloat(0.0));
    QuarnFloat resnorm = sqrt(f.rss);
    std::vector<std::vector<QuarnFloat>> rebuilt(f.ip, std::vector<QuarnFloat>(f.n, QuarnFloat(0.0)));
    for (long j = 0; j < f.ip; ++j) {
      for (long i = 0; i <= j; ++i) rebuilt[j][i] = f.q[(j + 1) * f.ldq + i];
      for (long k = f.ip; k-- > 0;) {  // apply H_k = I - tau_k v v^T, v_k = 1, below from q
        QuarnFloat tau = f.p[k], w = rebuilt[j][k];
        for (long i = k + 1; i < f.n; ++i) w += f.q[(k + 1) * f.ldq + i] * rebuilt[j][i];
        w *= tau;
        rebuilt[j][k] -= w;
        for (long i = k + 1; i < f.n; ++i) rebuilt[j][i] -= w * f.q[(k + 1) * f.ldq + i];
      }
    }
    QuarnFloat frobenius = 0.0;
    for (long i = 0; i < f.n; ++i) {
      std::vector<QuarnFloat> row = f.ModelRow(i);
      for (long j = 0; j < f.ip; ++j) {
        dots[j] += row[j] * f.res[i];
        colnorm[j] += row[j] * row[j];
      }
    }
    for (long j = 0; j < f.ip; ++j) frobenius += colnorm[j];
    for (long i = 0; i < f.n; ++i) {
      std::vector<QuarnFloat> row = f.ModelRow(i);
      for (long j = 0; j < f.ip; ++j)
        EXPECT_LT(fabs(rebuilt[j][i] - row[j]).ToDouble(), eps * f.n * sqrt(frobenius).ToDouble()) << i << "," << j;
    }
    for (long j = 0; j < f.ip; ++j)
      EXPECT_LT(fabs(dots[j]).ToDouble(), eps * (sqrt(colnorm[j]) * resnorm).ToDouble() * f.n) << "column " << j;
    // The SVD rebuilds R: R = Q* diag(D) P_1^T with P_1^T = D (first irank rows of P*).
    if (f.svd) {
      for (long i = 0; i < f.ip; ++i) {
        for (long j = 0; j < f.ip; ++j) {
          QuarnFloat r = i <= j ? f.q[(j + 1) * f.ldq + i] : QuarnFloat(0.0), sum = 0.0;
          for (long l = 0; l < f.irank; ++l) {
            QuarnFloat d = f.p[f.ip + l];
            sum += f.wk[l * f.ip + i] * d * d * f.p[2 * f.ip + j * f.ip + l];
          }
          EXPECT_LT(fabs(sum - r).ToDouble(), eps * 1e3 * f.p[f.ip].ToDouble()) << i << "," << j;
        }
      }
    }
  }
}

TEST(Regression, NagExampleAndFailures) {
  // NAG's example: a one-way layout with an intercept, rank 4 of 5.
  const double data[12][5] = {{1, 0, 0, 0, 33.63}, {0, 0, 0, 1, 39.62}, {0, 1, 0, 0, 38.18}, {0, 0, 1, 0, 41.46},
                              {0, 0, 0, 1, 38.02}, {0, 1, 0, 0, 35.83}, {0, 0, 0, 1, 35.99}, {1, 0, 0, 0, 36.58},
                              {0, 0, 1, 0, 42.92}, {1, 0, 0, 0, 37.80}, {0, 0, 1, 0, 40.43}, {0, 1, 0, 0, 37.89}};
  Fit f;
  f.n = f.ldx = f.ldq = 12;
  f.tol = 1e-6;
  f.m = 4;
  f.ip = 5;
  f.isx = {1, 1, 1, 1};
  f.x.resize(48);
  for (int i = 0; i < 12; ++i) {
    for (int j = 0; j < 4; ++j) f.x[j * 12 + i] = data[i][j];
    f.y.push_back(QuarnFloat(host::ParseFloat(std::to_string(data[i][4]))));
  }
  f.Run();
  EXPECT_EQ(6, f.ifail);
  EXPECT_EQ(4, f.irank);
  EXPECT_EQ(8, f.idf);
  EXPECT_EQ(1, f.svd);
  EXPECT_NEAR(22.2268, f.rss.ToDouble(), 5e-5);
  const double b[5] = {30.5567, 5.4467, 6.7433, 11.0467, 7.3200}, se[5] = {0.38494, 0.83896, 0.83896, 0.83896,
                                                                             0.83896};
  for (int j = 0; j < 5; ++j) {
    EXPECT_NEAR(b[j], f.b[j].ToDouble(), 5e-5);
    EXPECT_NEAR(se[j], f.se[j].ToDouble(), 5e-6);
  }
  EXPECT_NEAR(-2.3733, f.res[0].ToDouble(), 5e-5);
  for (int i = 0; i < 12; ++i) EXPECT_NEAR(1.0 / 3, f.h[i].ToDouble(), 1e-12);

  // Each failure from a change to a valid full-rank fit (no intercept).
  struct Case {
    const char* what;
    void (*change)(Fit&);
    int ifail;
  } cases[] = {
      {"n < 2", [](Fit& g) { g.n = 1; }, 1},
      {"m < 1", [](Fit& g) { g.m = 0; }, 1},
      {"ldx < n", [](Fit& g) { g.ldx = 11; }, 1},
      {"ldq < n", [](Fit& g) { g.ldq = 11; }, 1},
      {"ip < 1", [](Fit& g) { g.ip = 0; }, 1},
      {"tol < 0", [](Fit& g) { g.tol = -1e-6; }, 1},
      {"mean", [](Fit& g) { g.mean = "X"; }, 1},
      {"weight", [](Fit& g) { g.weight = "Q"; }, 1},
      {"negative weight",
       [](Fit& g) {
         g.weight = "W";
         g.wt.assign(12, QuarnFloat(1.0));
         g.wt[3] = -1.0;
       },
       2},
      {"isx < 0", [](Fit& g) { g.isx[2] = -1; }, 3},
      {"ip inconsistent", [](Fit& g) { g.ip = 3; }, 3},
      {"ip above nonzero weights",
       [](Fit& g) {
         g.weight = "W";
         g.wt.assign(12, QuarnFloat(0.0));
         g.wt[0] = g.wt[1] = g.wt[2] = 1.0;
       },
       3},
      {"no degrees of freedom",
       [](Fit& g) {
         g.n = g.ldx = g.ldq = 4;
         g.x.assign(16, QuarnFloat(0.0));
         for (int k = 0; k < 4; ++k) g.x[5 * k] = 1.0;
       },
       4},
      {"rank deficient",
       [](Fit& g) {
         g.mean = "M";
         g.ip = 5;
       },
       6},
  };
  for (const Case& c : cases) {
    Fit g = f;
    g.mean = "Z";
    g.ip = 4;
    c.change(g);
    g.Run();
    EXPECT_EQ(c.ifail, g.ifail) << c.what;
  }
}

}  // namespace
