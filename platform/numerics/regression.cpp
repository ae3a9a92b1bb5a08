// General linear regression (g02daf): least squares by Householder QR, and
// the minimum-norm solution through the singular value decomposition of R
// when the model matrix is rank deficient.
//
// Arguments, with X the n x k model matrix (a column of ones when mean is
// 'M', then the columns j of x with isx[j] > 0, in order) and W the weights
// (the identity when weight is 'U'):
//   rss  the residual sum of squares, weighted;
//   idf  the residual degrees of freedom: observations of nonzero weight
//        minus irank;
//   b    the estimates; se their standard errors; cov the upper triangle of
//        their covariance matrix packed by columns (cov(i, j), i <= j, at
//        j (j + 1) / 2 + i counting from 0);
//   res  the weighted residuals sqrt(w_i) (y_i - x_i b), 0 where w_i = 0, so
//        that rss is their sum of squares and each has variance
//        sigma^2 (1 - h_i);
//   h    the leverages, the diagonal of W^(1/2) X (X^T W X)^+ X^T W^(1/2);
//   q    (ldq x (ip + 1), column-major) column 1: Q^T W^(1/2) y; columns 2 ..
//        ip + 1: R on and above the diagonal, the Householder vectors below
//        it (LAPACK's convention: H_k = I - tau_k v_k v_k^T, v_k(k) = 1);
//   p    p(1 .. ip): the scalars tau_k. When the SVD was used (svd = 1),
//        R = Q* diag(D, 0) P^T: p(ip+1 .. 2 ip) the singular values in
//        decreasing order, then P* by columns (ip x ip): D^-1 P_1^T above
//        P_0^T, where P_1 holds the right singular vectors of the irank
//        singular values kept and P_0 the rest;
//   wk   when svd = 1, Q* by columns (ip x ip; its columns beyond irank an
//        orthonormal completion); otherwise scratch.
// The singular values kept are those above tol times the largest, and above
// 2^(8 - bits) times it at the working precision's bits: smaller ones are
// below what the data at that precision can resolve. tol = 0 thus asks for
// the SVD only where R is singular at the working precision.
//
// ifail: 0 success; 1 n < 2, m < 1, ldx < n, ldq < n, ip < 1, tol < 0 or
// mean or weight not one of their letters; 2 a weight < 0; 3 an isx < 0, ip
// not the number of parameters that mean and isx give, or ip above the number
// of observations of nonzero weight; 4 no residual degrees of freedom (b, res
// and h are returned, se and cov are 0); 5 the SVD did not converge; 6 the
// model is not of full rank (every output is returned). An undefined or
// infinite value in the data gives undefined outputs with ifail 0.
//
// Accuracy: Householder QR is backward stable columnwise, so the error of
// the estimates grows with the condition number kappa of X with unit
// columns, and as kappa^2 with the residual. The fit runs with guard bits
// for the length of the sums plus 2 log2 kappa, kappa estimated from R after
// a first pass (and the pass repeated when it had too few), so every output
// carries the working precision.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <memory>

#include "platform/numerics/internal.h"
#include "platform/numerics/mp_matrix.h"
#include "platform/numerics/numerics.h"

namespace quarn::numerics {
namespace {

// The problem as given, with the model's columns picked out.
struct Problem {
  long n = 0, ip = 0, n_eff = 0;
  bool intercept = false, weighted = false;
  const QuarnFloat* x = nullptr;
  long ldx = 0;
  std::vector<long> columns;  // of x, in model order after the intercept
  const QuarnFloat* y = nullptr;
  const QuarnFloat* wt = nullptr;
  QuarnFloat tol;

  // Row i of W^(1/2) X and W^(1/2) y, at prec, into row (an array of ip + 1).
  void Row(long i, mpfr_ptr row, mpfr_ptr root_w) const {
    if (weighted) mpfr_sqrt(root_w, wt[i].Mpfr(), MPFR_RNDN);
    long c = 0;
    auto put = [&](mpfr_srcptr v) {
      if (weighted) {
        mpfr_mul(row + c, v, root_w, MPFR_RNDN);
      } else {
        mpfr_set(row + c, v, MPFR_RNDN);
      }
      ++c;
    };
    if (intercept) {
      if (weighted) {
        mpfr_set(row + c, root_w, MPFR_RNDN);
      } else {
        mpfr_set_ui(row + c, 1, MPFR_RNDN);
      }
      ++c;
    }
    for (long j : columns) put(x[j * ldx + i].Mpfr());
    put(y[i].Mpfr());
  }
  bool Excluded(long i) const { return weighted && mpfr_zero_p(wt[i].Mpfr()); }
};

// Where the results go.
struct Outputs {
  QuarnFloat *rss, *b, *se, *cov, *res, *h, *q, *p, *wk;
  int32_t *idf, *irank;
  uint8_t* svd;
  long ldq;
};

QuarnFloat Round(mpfr_srcptr v) { return QuarnFloat::FromMpfr(v); }

// log2 of a positive number, as a double (for precision estimates).
double Log2(mpfr_srcptr v) {
  long e;
  double m = mpfr_get_d_2exp(&e, v, MPFR_RNDN);
  return static_cast<double>(e) + std::log2(std::fabs(m));
}

// One fit at prec. Returns the precision the problem needs; when prec is
// enough (or cap is reached) writes the outputs and sets *ifail.
slong FitAt(const Problem& pb, slong prec, slong target, slong guard, slong cap, const Outputs& out,
            int32_t* ifail) {
  const long n = pb.n, ip = pb.ip;
  MpMatrix a(n, ip + 1, prec), tau(ip, 1, prec);
  MpNumber root_w(prec), t(prec);
  MpMatrix row(ip + 1, 1, prec);
  for (long i = 0; i < n; ++i) {
    pb.Row(i, row.Col(0), root_w);
    for (long j = 0; j <= ip; ++j) mpfr_set(a.At(i, j), row.At(j, 0), MPFR_RNDN);
  }
  HouseholderQr(a, ip, tau);
  MpMatrix r(ip, ip, prec), u(ip, ip, prec), v(ip, ip, prec), s(ip, 1, prec);
  for (long j = 0; j < ip; ++j)
    for (long i = 0; i <= j; ++i) mpfr_set(r.At(i, j), a.At(i, j), MPFR_RNDN);
  const bool converged = JacobiSvd(r, u, v, s);

  // Rank: singular values above max(tol, 2^(8 - target)) times the largest.
  MpNumber limit(prec);
  mpfr_set(limit, pb.tol.Mpfr(), MPFR_RNDN);
  mpfr_set_ui_2exp(t, 1, 8 - target, MPFR_RNDN);
  if (mpfr_less_p(limit, t)) mpfr_set(limit, t, MPFR_RNDN);
  mpfr_mul(limit, limit, s.At(0, 0), MPFR_RNDN);
  long rank = 0;
  while (rank < ip && mpfr_greater_p(s.At(rank, 0), limit)) ++rank;
  const bool use_svd = rank < ip;

  // g maps a row x_i of W^(1/2) X to the coordinates whose squares sum to
  // h_i, and gives the estimates as b = g^T (g-coordinates of c): g = R^-T
  // when of full rank, D^-1 P_1^T from the SVD otherwise.
  MpMatrix g(std::max<long>(rank, 1), ip, prec), rinv(ip, ip, prec);
  MpMatrix coords(std::max<long>(rank, 1), 1, prec);  // g-coordinates of c_1
  double log2_kappa = 0;
  if (!use_svd) {
    InvertUpper(r, rinv);
    for (long l = 0; l < ip; ++l)
      for (long j = 0; j < ip; ++j) mpfr_set(g.At(l, j), rinv.At(j, l), MPFR_RNDN);
    for (long l = 0; l < ip; ++l) mpfr_set(coords.At(l, 0), a.At(l, ip), MPFR_RNDN);
    // kappa <= |R D^-1|_F |D R^-1|_F for the column lengths D of R.
    MpNumber left(prec), right(prec), len(prec);
    for (long j = 0; j < ip; ++j) {
      Dot(len, r.Col(j), r.Col(j), 0, ip);
      if (mpfr_zero_p(static_cast<mpfr_srcptr>(len))) continue;
      mpfr_add_ui(left, left, 1, MPFR_RNDN);
      for (long l = 0; l < ip; ++l) {
        mpfr_sqr(t, rinv.At(j, l), MPFR_RNDN);
        mpfr_fma(right, t, len, right, MPFR_RNDN);
      }
    }
    mpfr_mul(t, left, right, MPFR_RNDN);
    if (mpfr_regular_p(static_cast<mpfr_srcptr>(t))) log2_kappa = std::max(0.0, Log2(t) / 2);
  } else if (rank > 0) {
    for (long l = 0; l < rank; ++l) {
      for (long j = 0; j < ip; ++j) mpfr_div(g.At(l, j), v.At(j, l), s.At(l, 0), MPFR_RNDN);
      Dot(coords.At(l, 0), u.Col(l), a.Col(ip), 0, ip);  // (Q*_1^T c_1)_l
    }
    mpfr_div(t, s.At(0, 0), s.At(rank - 1, 0), MPFR_RNDN);
    log2_kappa = Log2(t);
  }
  const slong need = target + guard + 2 * static_cast<slong>(std::ceil(log2_kappa));
  if (need > prec && prec < cap) return std::min(need + 16, cap);

  // b = g^T coords.
  MpMatrix beta(ip, 1, prec);
  for (long j = 0; j < ip; ++j) {
    for (long l = 0; l < rank; ++l) mpfr_fma(beta.At(j, 0), g.At(l, j), coords.At(l, 0), beta.At(j, 0), MPFR_RNDN);
  }
  // The residual vector Q [e_1; c_2], e_1 = c_1 - Q*_1 Q*_1^T c_1 the part of
  // c_1 outside the space of the kept singular values (0 at full rank).
  MpMatrix z(n, 1, prec);
  for (long i = ip; i < n; ++i) mpfr_set(z.At(i, 0), a.At(i, ip), MPFR_RNDN);
  if (use_svd) {
    for (long i = 0; i < ip; ++i) {
      mpfr_set(z.At(i, 0), a.At(i, ip), MPFR_RNDN);
      for (long l = 0; l < rank; ++l) {
        mpfr_mul(t, u.At(i, l), coords.At(l, 0), MPFR_RNDN);
        mpfr_sub(z.At(i, 0), z.At(i, 0), t, MPFR_RNDN);
      }
    }
  }
  MpNumber rss(prec), s2(prec);
  Dot(rss, z.Col(0), z.Col(0), 0, n);
  ApplyQ(a, ip, tau, z.Col(0));

  const long idf = pb.n_eff - rank;
  *out.idf = static_cast<int32_t>(idf);
  *out.irank = static_cast<int32_t>(rank);
  *out.svd = use_svd ? 1 : 0;
  *out.rss = Round(rss);
  for (long j = 0; j < ip; ++j) out.b[j] = Round(beta.At(j, 0));
  // Covariance s^2 G^T G, G = g (rank rows).
  if (idf > 0) mpfr_div_si(s2, rss, idf, MPFR_RNDN);
  for (long j = 0; j < ip; ++j) {
    for (long i = 0; i <= j; ++i) {
      mpfr_set_zero(t, 1);
      for (long l = 0; l < rank; ++l) mpfr_fma(t, g.At(l, i), g.At(l, j), t, MPFR_RNDN);
      mpfr_mul(t, t, s2, MPFR_RNDN);
      out.cov[j * (j + 1) / 2 + i] = Round(t);
      if (i == j) {
        mpfr_sqrt(t, t, MPFR_RNDN);
        out.se[j] = Round(t);
      }
    }
  }
  // Residuals and leverages h_i = |g x_i|^2.
  MpNumber hi(prec);
  for (long i = 0; i < n; ++i) {
    if (pb.Excluded(i)) {
      out.res[i] = out.h[i] = QuarnFloat(0.0);
      continue;
    }
    out.res[i] = Round(z.At(i, 0));
    pb.Row(i, row.Col(0), root_w);
    mpfr_set_zero(hi, 1);
    for (long l = 0; l < rank; ++l) {
      mpfr_set_zero(t, 1);
      for (long j = 0; j < ip; ++j) mpfr_fma(t, g.At(l, j), row.At(j, 0), t, MPFR_RNDN);
      mpfr_fma(hi, t, t, hi, MPFR_RNDN);
    }
    out.h[i] = Round(hi);
  }
  // The QR results, the reflectors' scalars and the SVD.
  for (long i = 0; i < n; ++i) {
    out.q[i] = Round(a.At(i, ip));
    for (long j = 0; j < ip; ++j) out.q[(j + 1) * out.ldq + i] = Round(a.At(i, j));
  }
  for (long j = 0; j < ip; ++j) out.p[j] = Round(tau.At(j, 0));
  if (use_svd) {
    for (long l = 0; l < ip; ++l) out.p[ip + l] = Round(s.At(l, 0));
    for (long j = 0; j < ip; ++j) {
      for (long l = 0; l < ip; ++l) {
        mpfr_srcptr e = l < rank ? g.At(l, j) : v.At(j, l);
        out.p[2 * ip + j * ip + l] = Round(e);
      }
    }
    // Q*: the kept left singular vectors, completed to an orthonormal basis
    // by Gram-Schmidt (twice) on the unit vectors.
    long filled = rank;
    for (long e = 0; e < ip && filled < ip; ++e) {
      MpMatrix cand(ip, 1, prec);
      mpfr_set_ui(cand.At(e, 0), 1, MPFR_RNDN);
      for (int pass = 0; pass < 2; ++pass) {
        for (long l = 0; l < filled; ++l) {
          Dot(t, u.Col(l), cand.Col(0), 0, ip);
          for (long i = 0; i < ip; ++i) {
            mpfr_mul(hi, t, u.At(i, l), MPFR_RNDN);
            mpfr_sub(cand.At(i, 0), cand.At(i, 0), hi, MPFR_RNDN);
          }
        }
      }
      Dot(t, cand.Col(0), cand.Col(0), 0, ip);
      mpfr_sqrt(t, t, MPFR_RNDN);
      if (mpfr_cmp_d(t, 0.5) < 0) continue;  // e_e lies mostly in the span already
      for (long i = 0; i < ip; ++i) mpfr_div(u.At(i, filled), cand.At(i, 0), t, MPFR_RNDN);
      ++filled;
    }
    for (long j = 0; j < ip; ++j)
      for (long i = 0; i < ip; ++i) out.wk[j * ip + i] = Round(u.At(i, j));
  }
  if (!converged) {
    *ifail = 5;
  } else if (idf == 0) {
    *ifail = 4;
  } else {
    *ifail = use_svd ? 6 : 0;
  }
  return prec;
}

}  // namespace
}  // namespace quarn::numerics

using namespace quarn::numerics;

void QuarnMP_g02daf_f(const char* mean, const char* weight, const int32_t* n, const QuarnFloat x[],
                      const int32_t* ldx, const int32_t* m, const int32_t isx[], const int32_t* ip,
                      const QuarnFloat y[], const QuarnFloat wt[], QuarnFloat* rss, int32_t* idf, QuarnFloat b[],
                      QuarnFloat se[], QuarnFloat cov[], QuarnFloat res[], QuarnFloat h[], QuarnFloat q[],
                      const int32_t* ldq, uint8_t* svd, int32_t* irank, QuarnFloat p[], const QuarnFloat* tol,
                      QuarnFloat wk[], int32_t* ifail, size_t mean_length, size_t weight_length) {
  *rss = QuarnFloat(0.0);
  *idf = 0;
  *irank = 0;
  *svd = 0;
  const char mean_c = mean_length > 0 ? static_cast<char>(std::toupper(static_cast<unsigned char>(mean[0]))) : ' ';
  const char weight_c =
      weight_length > 0 ? static_cast<char>(std::toupper(static_cast<unsigned char>(weight[0]))) : ' ';
  if (*n < 2 || *m < 1 || *ldx < *n || *ldq < *n || *ip < 1 || !(*tol >= 0) || (mean_c != 'M' && mean_c != 'Z') ||
      (weight_c != 'U' && weight_c != 'W')) {
    *ifail = 1;
    return;
  }
  Problem pb;
  pb.n = *n;
  pb.ip = *ip;
  pb.ldx = *ldx;
  pb.x = x;
  pb.y = y;
  pb.tol = *tol;
  pb.intercept = mean_c == 'M';
  pb.weighted = weight_c == 'W';
  pb.wt = wt;
  pb.n_eff = pb.n;
  if (pb.weighted) {
    pb.n_eff = 0;
    for (long i = 0; i < pb.n; ++i) {
      if (!(wt[i] >= 0)) {
        *ifail = 2;
        return;
      }
      if (wt[i] > 0) ++pb.n_eff;
    }
  }
  for (long j = 0; j < *m; ++j) {
    if (isx[j] < 0) {
      *ifail = 3;
      return;
    }
    if (isx[j] > 0) pb.columns.push_back(j);
  }
  if (pb.ip != static_cast<long>(pb.columns.size()) + (pb.intercept ? 1 : 0) || pb.ip > pb.n_eff) {
    *ifail = 3;
    return;
  }
  Outputs out{rss, b, se, cov, res, h, q, p, wk, idf, irank, svd, *ldq};
  // Undefined or infinite data: undefined results.
  bool finite = true;
  for (long i = 0; i < pb.n && finite; ++i) {
    if (pb.Excluded(i)) continue;
    finite = mpfr_number_p(y[i].Mpfr()) && (!pb.weighted || mpfr_number_p(wt[i].Mpfr()));
    for (long j : pb.columns) finite = finite && mpfr_number_p(x[j * pb.ldx + i].Mpfr());
  }
  if (!finite) {
    const QuarnFloat u = Undefined();
    *rss = u;
    *irank = *ip;
    *idf = static_cast<int32_t>(pb.n_eff - pb.ip);
    for (long j = 0; j < pb.ip; ++j) b[j] = se[j] = u;
    for (long j = 0; j < pb.ip * (pb.ip + 1) / 2; ++j) cov[j] = u;
    for (long i = 0; i < pb.n; ++i) res[i] = h[i] = u;
    *ifail = 0;
    return;
  }
  const slong target = TargetBits();
  const slong guard = 16 + MagnitudeBits(static_cast<double>(pb.n)) + MagnitudeBits(static_cast<double>(pb.ip));
  const slong cap = 4 * target + 4096;
  for (slong prec = target + guard;;) {
    const slong need = FitAt(pb, prec, target, guard, cap, out, ifail);
    if (need <= prec) break;
    prec = need;
  }
}
