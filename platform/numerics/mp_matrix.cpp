// Dense MPFR matrices: storage, Householder QR, one-sided Jacobi SVD and
// triangular inversion.
#include "platform/numerics/mp_matrix.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <new>
#include <numeric>
#include <utility>
#include <vector>

namespace quarn::numerics {

MpMatrix::MpMatrix(size_t rows, size_t cols, mpfr_prec_t prec) : rows_(rows), cols_(cols), prec_(prec) {
  const size_t count = rows * cols;
  const size_t limb_bytes = mpfr_custom_get_size(prec);
  void* block = std::malloc(count * (sizeof(__mpfr_struct) + limb_bytes) + 1);
  if (block == nullptr) throw std::bad_alloc();
  cells_ = static_cast<mpfr_ptr>(block);
  char* limbs = static_cast<char*>(block) + count * sizeof(__mpfr_struct);
  for (size_t k = 0; k < count; ++k) {
    void* mine = limbs + k * limb_bytes;
    mpfr_custom_init(mine, prec);
    mpfr_custom_init_set(cells_ + k, MPFR_ZERO_KIND, 0, prec, mine);
  }
}

MpMatrix::~MpMatrix() { std::free(cells_); }

void Dot(mpfr_ptr out, mpfr_srcptr x, mpfr_srcptr y, size_t from, size_t to) {
  mpfr_set_zero(out, 1);
  for (size_t i = from; i < to; ++i) mpfr_fma(out, x + i, y + i, out, MPFR_RNDN);
}

namespace {

// x(from ..) -= w * v(from ..).
void Axpy(mpfr_ptr x, mpfr_srcptr v, mpfr_srcptr w, mpfr_ptr neg_w, size_t from, size_t to) {
  mpfr_neg(neg_w, w, MPFR_RNDN);
  for (size_t i = from; i < to; ++i) mpfr_fma(x + i, neg_w, v + i, x + i, MPFR_RNDN);
}

// Applies H = I - tau v v^T (v(k) = 1, v(k+1 ..) in vcol) to x(k ..).
void Reflect(mpfr_srcptr vcol, mpfr_srcptr tau, size_t k, size_t rows, mpfr_ptr x, mpfr_ptr w, mpfr_ptr t) {
  Dot(w, vcol, x, k + 1, rows);
  mpfr_add(w, w, x + k, MPFR_RNDN);
  mpfr_mul(w, w, tau, MPFR_RNDN);
  mpfr_sub(x + k, x + k, w, MPFR_RNDN);
  Axpy(x, vcol, w, t, k + 1, rows);
}

}  // namespace

void HouseholderQr(MpMatrix& a, size_t steps, MpMatrix& tau) {
  const size_t rows = a.rows();
  assert(steps <= rows && steps <= a.cols() && tau.rows() >= steps);
  MpNumber norm2(a.prec()), beta(a.prec()), w(a.prec()), t(a.prec());
  for (size_t k = 0; k < steps; ++k) {
    mpfr_ptr col = a.Col(k);
    mpfr_ptr tk = tau.At(k, 0);
    Dot(norm2, col, col, k + 1, rows);
    if (mpfr_zero_p(static_cast<mpfr_srcptr>(norm2))) {
      mpfr_set_zero(tk, 1);
      continue;
    }
    // beta = -sign(alpha) sqrt(alpha^2 + |x|^2), so that alpha - beta adds
    // two numbers of the same sign and nothing cancels.
    mpfr_fma(beta, col + k, col + k, norm2, MPFR_RNDN);
    mpfr_sqrt(beta, beta, MPFR_RNDN);
    if (mpfr_sgn(col + k) >= 0) mpfr_neg(beta, beta, MPFR_RNDN);
    mpfr_sub(tk, beta, col + k, MPFR_RNDN);
    mpfr_div(tk, tk, beta, MPFR_RNDN);          // tau = (beta - alpha) / beta
    mpfr_sub(t, col + k, beta, MPFR_RNDN);      // alpha - beta
    mpfr_ui_div(t, 1, t, MPFR_RNDN);
    for (size_t i = k + 1; i < rows; ++i) mpfr_mul(col + i, col + i, t, MPFR_RNDN);
    mpfr_set(col + k, beta, MPFR_RNDN);
    for (size_t j = k + 1; j < a.cols(); ++j) Reflect(col, tk, k, rows, a.Col(j), w, t);
  }
}

void ApplyQ(const MpMatrix& a, size_t steps, const MpMatrix& tau, mpfr_ptr x) {
  MpNumber w(a.prec()), t(a.prec());
  for (size_t k = steps; k-- > 0;) {
    if (mpfr_zero_p(tau.At(k, 0))) continue;
    Reflect(a.Col(k), tau.At(k, 0), k, a.rows(), x, w, t);
  }
}

bool JacobiSvd(const MpMatrix& r, MpMatrix& u, MpMatrix& v, MpMatrix& s) {
  const size_t n = r.cols();
  const mpfr_prec_t prec = u.prec();
  for (size_t j = 0; j < n; ++j) {
    for (size_t i = 0; i < n; ++i) {
      mpfr_set(u.At(i, j), r.At(i, j), MPFR_RNDN);
      mpfr_set_ui(v.At(i, j), i == j ? 1 : 0, MPFR_RNDN);
    }
  }
  MpNumber alpha(prec), beta(prec), gamma(prec), bound(prec), zeta(prec), c(prec), sn(prec), x(prec), y(prec);
  MpNumber one(prec);
  mpfr_set_ui(one, 1, MPFR_RNDN);
  // Columns count as orthogonal when |gamma| <= eps sqrt(alpha beta), eps a
  // few units of the precision times the order (rounded up to a power of 2).
  long order_bits = 0;
  while ((size_t{1} << order_bits) < n) ++order_bits;
  const long eps_exp = -static_cast<long>(prec) + 4 + order_bits;
  auto rotate = [&](MpMatrix& m, size_t i, size_t j) {
    for (size_t k = 0; k < n; ++k) {
      mpfr_mul(x, c, m.At(k, i), MPFR_RNDN);
      mpfr_fms(x, sn, m.At(k, j), x, MPFR_RNDN);   // s m_kj - c m_ki
      mpfr_neg(x, x, MPFR_RNDN);                    // c m_ki - s m_kj
      mpfr_mul(y, sn, m.At(k, i), MPFR_RNDN);
      mpfr_fma(m.At(k, j), c, m.At(k, j), y, MPFR_RNDN);
      mpfr_set(m.At(k, i), x, MPFR_RNDN);
    }
  };
  bool converged = false;
  for (int sweep = 0; sweep < 80 && !converged; ++sweep) {
    converged = true;
    for (size_t i = 0; i + 1 < n; ++i) {
      for (size_t j = i + 1; j < n; ++j) {
        Dot(alpha, u.Col(i), u.Col(i), 0, n);
        Dot(beta, u.Col(j), u.Col(j), 0, n);
        Dot(gamma, u.Col(i), u.Col(j), 0, n);
        if (mpfr_zero_p(static_cast<mpfr_srcptr>(gamma))) continue;
        mpfr_mul(bound, alpha, beta, MPFR_RNDN);
        mpfr_sqrt(bound, bound, MPFR_RNDN);
        mpfr_mul_2si(bound, bound, eps_exp, MPFR_RNDN);
        if (mpfr_cmpabs(gamma, bound) <= 0) continue;
        converged = false;
        // zeta = (beta - alpha) / (2 gamma), t = sign(zeta) / (|zeta| +
        // sqrt(1 + zeta^2)), the smaller rotation; c = 1 / sqrt(1 + t^2).
        mpfr_sub(zeta, beta, alpha, MPFR_RNDN);
        mpfr_div(zeta, zeta, gamma, MPFR_RNDN);
        mpfr_mul_2si(zeta, zeta, -1, MPFR_RNDN);
        mpfr_hypot(x, zeta, one, MPFR_RNDN);
        mpfr_abs(y, zeta, MPFR_RNDN);
        mpfr_add(x, x, y, MPFR_RNDN);
        mpfr_ui_div(sn, 1, x, MPFR_RNDN);                       // |t|
        if (mpfr_sgn(static_cast<mpfr_srcptr>(zeta)) < 0) mpfr_neg(sn, sn, MPFR_RNDN);   // t
        mpfr_hypot(c, sn, one, MPFR_RNDN);
        mpfr_ui_div(c, 1, c, MPFR_RNDN);
        mpfr_mul(sn, sn, c, MPFR_RNDN);
        rotate(u, i, j);
        rotate(v, i, j);
      }
    }
  }
  // Singular values are the column lengths; sort them in decreasing order,
  // moving the columns of u and v with them.
  std::vector<size_t> order(n);
  std::iota(order.begin(), order.end(), 0);
  MpMatrix len(n, 1, prec);
  for (size_t j = 0; j < n; ++j) {
    Dot(len.At(j, 0), u.Col(j), u.Col(j), 0, n);
    mpfr_sqrt(len.At(j, 0), len.At(j, 0), MPFR_RNDN);
  }
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return mpfr_greater_p(len.At(a, 0), len.At(b, 0)) != 0; });
  MpMatrix u2(n, n, prec), v2(n, n, prec);
  for (size_t j = 0; j < n; ++j) {
    const size_t from = order[j];
    mpfr_set(s.At(j, 0), len.At(from, 0), MPFR_RNDN);
    for (size_t k = 0; k < n; ++k) {
      if (mpfr_zero_p(s.At(j, 0))) {
        mpfr_set_zero(u2.At(k, j), 1);
      } else {
        mpfr_div(u2.At(k, j), u.At(k, from), s.At(j, 0), MPFR_RNDN);
      }
      mpfr_set(v2.At(k, j), v.At(k, from), MPFR_RNDN);
    }
  }
  for (size_t j = 0; j < n; ++j) {
    for (size_t k = 0; k < n; ++k) {
      mpfr_set(u.At(k, j), u2.At(k, j), MPFR_RNDN);
      mpfr_set(v.At(k, j), v2.At(k, j), MPFR_RNDN);
    }
  }
  return converged;
}

void InvertUpper(const MpMatrix& r, MpMatrix& inv) {
  const size_t n = r.cols();
  MpNumber sum(inv.prec());
  for (size_t j = 0; j < n; ++j) {
    for (size_t i = j + 1; i < n; ++i) mpfr_set_zero(inv.At(i, j), 1);
    mpfr_ui_div(inv.At(j, j), 1, r.At(j, j), MPFR_RNDN);
    for (size_t i = j; i-- > 0;) {
      mpfr_set_zero(sum, 1);
      for (size_t k = i + 1; k <= j; ++k) mpfr_fma(sum, r.At(i, k), inv.At(k, j), sum, MPFR_RNDN);
      mpfr_div(inv.At(i, j), sum, r.At(i, i), MPFR_RNDN);
      mpfr_neg(inv.At(i, j), inv.At(i, j), MPFR_RNDN);
    }
  }
}

}  // namespace quarn::numerics
