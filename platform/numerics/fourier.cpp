// Discrete Fourier transforms of real and Hermitian sequences of any length
// n >= 1, with the 1/sqrt(n) scale, correctly rounded to the working
// precision.
//
// Each transform loads its input exactly into Arb and computes every output
// as a ball with acb_dft (radix 2, prime-factor or Bluestein: O(n log n) for
// every n). For even n it transforms n/2 complex numbers instead of n: a
// real sequence as x[2j] + i x[2j+1], split afterwards into the spectra of
// its even and odd halves; a Hermitian one by folding it into the n/2
// numbers whose transform holds the even outputs in its real parts and the
// odd ones in its imaginary parts. Every output ball is then rounded to the
// working precision. An output whose ball still straddles a rounding
// boundary sends the whole transform round again at twice the precision
// (rare: the first pass carries 2 log2(n) + 24 bits beyond the target, more
// than the transform loses). An output whose ball keeps containing 0 is 0:
// once the precision has been doubled, its magnitude is below 2^-(2p + 32)
// of the largest output, p the target precision (structural zeros, such as
// the spectrum of a constant beyond frequency 0, are exactly 0).
#include <acb.h>
#include <acb_dft.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

#include "platform/host/host.h"
#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

namespace quarn::numerics {
namespace {

// A vector of complex balls.
class AcbVector {
 public:
  explicit AcbVector(slong n) : n_(n), v_(_acb_vec_init(std::max<slong>(n, 1))) {}
  ~AcbVector() { _acb_vec_clear(v_, std::max<slong>(n_, 1)); }
  AcbVector(const AcbVector&) = delete;
  AcbVector& operator=(const AcbVector&) = delete;
  acb_ptr operator[](slong i) { return v_ + i; }
  acb_ptr get() { return v_; }

 private:
  slong n_;
  acb_ptr v_;
};

void SetExact(arb_ptr b, const QuarnFloat& x) { arf_set_mpfr(arb_midref(b), x.Mpfr()); }

// The full conjugate-symmetric sequence that a Hermitian storage of length
// n stands for.
void LoadHermitian(AcbVector& v, const QuarnFloat* x, slong n) {
  SetExact(acb_realref(v[0]), x[0]);
  for (slong k = 1; 2 * k < n; ++k) {
    SetExact(acb_realref(v[k]), x[k]);
    SetExact(acb_imagref(v[k]), x[n - k]);
    acb_conj(v[n - k], v[k]);
  }
  if (n % 2 == 0) SetExact(acb_realref(v[n / 2]), x[n / 2]);
}

// The powers w^0 .. w^(len-1) of w = e^(-2 pi i/order).
void Twiddles(AcbVector& w, slong order, slong len, slong prec) { _acb_vec_unit_roots(w.get(), -order, len, prec); }

// The unscaled outputs of a transform of n inputs, as balls at a precision,
// in output order.
using BallTransform = std::function<void(BallVector& out, slong prec)>;

// The real sequence x to its spectrum in Hermitian storage.
BallTransform RealToHermitian(const QuarnFloat* x, slong n) {
  if (n % 2 == 1) {
    auto v = std::make_shared<AcbVector>(n);
    for (slong j = 0; j < n; ++j) SetExact(acb_realref((*v)[j]), x[j]);
    return [v, n](BallVector& out, slong prec) {
      AcbVector w(n);
      acb_dft(w.get(), v->get(), n, prec);
      for (slong k = 0; k <= n / 2; ++k) arb_set(out[k], acb_realref(w[k]));
      for (slong k = 1; 2 * k < n; ++k) arb_set(out[n - k], acb_imagref(w[k]));
    };
  }
  // X[k] = E[k] + w^k O[k], E and O the spectra of the even and the odd
  // halves: from Z, the spectrum of x[2j] + i x[2j+1],
  // E[k] = (Z[k] + conj Z[m-k])/2 and O[k] = (Z[k] - conj Z[m-k])/(2i).
  const slong m = n / 2;
  auto v = std::make_shared<AcbVector>(m);
  for (slong j = 0; j < m; ++j) {
    SetExact(acb_realref((*v)[j]), x[2 * j]);
    SetExact(acb_imagref((*v)[j]), x[2 * j + 1]);
  }
  return [v, n, m](BallVector& out, slong prec) {
    AcbVector z(m), w(m + 1);
    acb_dft(z.get(), v->get(), m, prec);
    Twiddles(w, n, m + 1, prec);
    acb_t zk, zc, e, o;
    acb_init(zk);
    acb_init(zc);
    acb_init(e);
    acb_init(o);
    for (slong k = 0; k <= m; ++k) {
      acb_set(zk, z[k % m]);
      acb_conj(zc, z[(m - k) % m]);
      acb_add(e, zk, zc, prec);
      acb_sub(o, zk, zc, prec);
      acb_div_onei(o, o);
      acb_mul(o, o, w[k], prec);
      acb_add(e, e, o, prec);
      acb_mul_2exp_si(e, e, -1);
      arb_set(out[k], acb_realref(e));
      if (k >= 1 && k < m) arb_set(out[n - k], acb_imagref(e));
    }
    acb_clear(zk);
    acb_clear(zc);
    acb_clear(e);
    acb_clear(o);
  };
}

// The Hermitian sequence x (Hermitian storage) to its real transform.
BallTransform HermitianToReal(const QuarnFloat* x, slong n) {
  if (n % 2 == 1) {
    auto v = std::make_shared<AcbVector>(n);
    LoadHermitian(*v, x, n);
    return [v, n](BallVector& out, slong prec) {
      AcbVector w(n);
      acb_dft(w.get(), v->get(), n, prec);
      for (slong k = 0; k < n; ++k) arb_set(out[k], acb_realref(w[k]));
    };
  }
  // Outputs 2j and 2j+1 are the real and imaginary parts of the transform
  // of B[k] = (X[k] + X[k+m]) + i w^k (X[k] - X[k+m]), k < m = n/2.
  const slong m = n / 2;
  auto v = std::make_shared<AcbVector>(n);
  LoadHermitian(*v, x, n);
  return [v, m](BallVector& out, slong prec) {
    AcbVector b(m), w(m), d(m);
    Twiddles(w, 2 * m, m, prec);
    acb_t s;
    acb_init(s);
    for (slong k = 0; k < m; ++k) {
      acb_sub(s, (*v)[k], (*v)[k + m], prec);
      acb_mul(s, s, w[k], prec);
      acb_mul_onei(s, s);
      acb_add(b[k], (*v)[k], (*v)[k + m], prec);
      acb_add(b[k], b[k], s, prec);
    }
    acb_clear(s);
    acb_dft(d.get(), b.get(), m, prec);
    for (slong j = 0; j < m; ++j) {
      arb_set(out[2 * j], acb_realref(d[j]));
      arb_set(out[2 * j + 1], acb_imagref(d[j]));
    }
  };
}

bool AllFinite(const QuarnFloat* x, slong n) {
  for (slong j = 0; j < n; ++j)
    if (!mpfr_number_p(x[j].Mpfr())) return false;
  return true;
}

// The n outputs of the transform, scaled by 1/sqrt(n) and rounded into out.
void RoundOutputs(const BallTransform& transform, slong n, QuarnFloat* out) {
  const slong target = TargetBits();
  slong log2n = 0;
  while ((slong{1} << log2n) < n) ++log2n;
  const slong first = target + 2 * log2n + 24;
  const slong cap = 4 * target + 256 + 4 * log2n;
  std::vector<char> done(static_cast<size_t>(n), 0);
  slong remaining = n;
  BallVector y(n);
  Ball scale, largest, bound;
  mag_t zero_radius;
  mag_init(zero_radius);
  for (slong prec = first; remaining > 0; prec = std::min(2 * prec, cap)) {
    transform(y, prec);
    arb_rsqrt_ui(scale, static_cast<ulong>(n), prec);
    arb_zero(largest);
    for (slong k = 0; k < n; ++k) {
      arb_mul(y[k], y[k], scale, prec);
      arb_abs(bound, y[k]);
      arb_max(largest, largest, bound, prec);
    }
    arb_get_mag(zero_radius, largest);
    mag_mul_2exp_si(zero_radius, zero_radius, -(2 * target + 32));
    const bool last = prec >= cap;
    for (slong k = 0; k < n; ++k) {
      if (done[k]) continue;
      bool decided = false;
      out[k] = floats::Compute([&](mpfr_ptr z) {
        if (RoundUnique(z, y[k])) {
          decided = true;
        } else if (prec > first && arb_contains_zero(y[k]) && mag_cmp(arb_radref(y[k]), zero_radius) <= 0) {
          mpfr_set_zero(z, 1);
          decided = true;
        } else if (last) {
          arf_get_mpfr(z, arb_midref(y[k]), MPFR_RNDN);
          decided = true;
        }
      });
      if (decided) {
        done[k] = 1;
        --remaining;
      }
    }
  }
  mag_clear(zero_radius);
}

// Runs a transform of x in place through the work array: checks n, sets
// ifail, and makes every output undefined when an input is not finite.
void Run(QuarnFloat* x, const long* n, QuarnFloat* work, long* ifail,
         BallTransform (*make)(const QuarnFloat*, slong)) {
  const bool ok = n != nullptr && *n >= 1;
  if (ifail != nullptr) *ifail = ok ? 0 : 1;
  if (!ok) return;
  if (AllFinite(x, *n)) {
    RoundOutputs(make(x, *n), *n, work);
  } else {
    for (long k = 0; k < *n; ++k) work[k] = Undefined();
  }
  std::copy(work, work + *n, x);
}

}  // namespace
}  // namespace quarn::numerics

using namespace quarn::numerics;

void QuarnMP_c06faf_(QuarnFloat* x, const long* n, QuarnFloat* work, long* ifail) {
  Run(x, n, work, ifail, RealToHermitian);
}

void QuarnMP_c06fbf_(QuarnFloat* x, const long* n, QuarnFloat* work, long* ifail) {
  Run(x, n, work, ifail, HermitianToReal);
}

void QuarnMP_c06gbf_(QuarnFloat* x, const long* n, long* ifail) {
  const bool ok = n != nullptr && *n >= 1;
  if (ifail != nullptr) *ifail = ok ? 0 : 1;
  if (!ok) return;
  // Exact negation at each value's own precision.
  for (long k = *n / 2 + 1; k < *n; ++k) {
    HostObject f = quarn::host::NewFloat(mpfr_get_prec(x[k].Mpfr()), quarn::host::FloatDigits(x[k].Handle()));
    mpfr_neg(quarn::host::FloatMpfr(f), x[k].Mpfr(), MPFR_RNDN);
    x[k] = QuarnFloat(f);
  }
}
