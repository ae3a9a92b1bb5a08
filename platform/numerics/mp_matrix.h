// Dense real matrices of MPFR numbers at one precision, with the two
// factorizations the regression routines need: Householder QR and the
// one-sided Jacobi singular value decomposition.
//
// A matrix holds plain numbers, never host handles, so its storage (the
// number structs and their limbs in one block) comes from malloc, where the
// collector neither scans nor frees it. Elements are column-major:
// At(i, j) is row i, column j, counting from 0.
#ifndef QUARN_PLATFORM_NUMERICS_MP_MATRIX_H
#define QUARN_PLATFORM_NUMERICS_MP_MATRIX_H

#include <mpfr.h>

#include <cstddef>

namespace quarn::numerics {

class MpMatrix {
 public:
  // rows x cols zeros at prec bits.
  MpMatrix(size_t rows, size_t cols, mpfr_prec_t prec);
  ~MpMatrix();
  MpMatrix(const MpMatrix&) = delete;
  MpMatrix& operator=(const MpMatrix&) = delete;

  size_t rows() const { return rows_; }
  size_t cols() const { return cols_; }
  mpfr_prec_t prec() const { return prec_; }
  mpfr_ptr At(size_t i, size_t j) { return cells_ + j * rows_ + i; }
  mpfr_srcptr At(size_t i, size_t j) const { return cells_ + j * rows_ + i; }
  // Column j as a contiguous array of rows() numbers.
  mpfr_ptr Col(size_t j) { return cells_ + j * rows_; }
  mpfr_srcptr Col(size_t j) const { return cells_ + j * rows_; }

 private:
  size_t rows_, cols_;
  mpfr_prec_t prec_;
  mpfr_ptr cells_;  // rows * cols structs, then their limbs, in one block
};

// One MPFR number for the scope of a computation.
class MpNumber {
 public:
  explicit MpNumber(mpfr_prec_t prec) { mpfr_init2(v_, prec); mpfr_set_zero(v_, 1); }
  ~MpNumber() { mpfr_clear(v_); }
  MpNumber(const MpNumber&) = delete;
  MpNumber& operator=(const MpNumber&) = delete;
  operator mpfr_ptr() { return v_; }             // NOLINT: used as mpfr_t
  operator mpfr_srcptr() const { return v_; }    // NOLINT: used as mpfr_t

 private:
  mpfr_t v_;
};

// sum_{i=from}^{to-1} x[i] y[i], rounded at each step, into out.
void Dot(mpfr_ptr out, mpfr_srcptr x, mpfr_srcptr y, size_t from, size_t to);

// Householder QR of the first `steps` columns of a (rows >= steps), in
// place, LAPACK's convention: the reflector H_k = I - tau_k v_k v_k^T has
// v_k(k) = 1 and v_k(k+1 ..) stored below the diagonal of column k; R is on
// and above the diagonal. Every later column of a is transformed by the same
// reflectors (so a right-hand side appended as a column becomes Q^T y).
// tau (a vector of steps numbers) gets the scalars; tau_k is 0 when column
// k is already zero below the diagonal.
void HouseholderQr(MpMatrix& a, size_t steps, MpMatrix& tau);

// x <- H_0 H_1 ... H_{steps-1} x (the product Q times x) for the reflectors
// that HouseholderQr left in a; x has a.rows() entries.
void ApplyQ(const MpMatrix& a, size_t steps, const MpMatrix& tau, mpfr_ptr x);

// The singular value decomposition of the square matrix r, r = u diag(s) v^T
// (s a vector of r.cols() numbers),
// by one-sided Jacobi rotations on the columns of r (Hestenes). On return u
// holds r v (columns of length s[j]), normalized to unit length where s[j] > 0
// and left zero where s[j] = 0, v is orthogonal, and the singular values are
// in decreasing order. Returns false when the rotations did not converge in
// the sweep limit (not expected: convergence is quadratic).
bool JacobiSvd(const MpMatrix& r, MpMatrix& u, MpMatrix& v, MpMatrix& s);

// The inverse of the upper triangular n x n matrix r (nonzero diagonal) into
// inv (upper triangular), by back substitution.
void InvertUpper(const MpMatrix& r, MpMatrix& inv);

}  // namespace quarn::numerics

#endif
