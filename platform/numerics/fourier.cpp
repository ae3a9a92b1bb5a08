// Discrete Fourier transforms of real and Hermitian sequences of any length
// n >= 1, with the 1/sqrt(n) scale, correctly rounded to the working
// precision.
//
// Each transform loads its input exactly into Arb, runs acb_dft (radix 2,
// prime-factor or Bluestein: O(n log n) for every n), scales by the ball of
// 1/sqrt(n) and rounds every output ball to the working precision. An output
// whose ball still straddles a rounding boundary sends the whole transform
// round again at twice the precision (rare: the first pass carries
// 2 log2(n) + 24 bits beyond the target, more than the transform loses). An
// output whose ball keeps containing 0 is 0: once the precision has been
// doubled, its magnitude is below 2^-(2p + 32) of the largest output, p the
// target precision (structural zeros, such as the odd frequencies of a
// symmetric sequence, are exactly 0).
#include <acb.h>
#include <acb_dft.h>

#include <algorithm>
#include <vector>

#include "platform/host/host.h"
#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

namespace quarn::numerics {
namespace {

// A vector of n complex balls.
class AcbVector {
 public:
  explicit AcbVector(slong n) : n_(n), v_(_acb_vec_init(n)) {}
  ~AcbVector() { _acb_vec_clear(v_, n_); }
  AcbVector(const AcbVector&) = delete;
  AcbVector& operator=(const AcbVector&) = delete;
  acb_ptr operator[](slong i) { return v_ + i; }
  acb_ptr get() { return v_; }

 private:
  slong n_;
  acb_ptr v_;
};

void SetExact(arb_ptr b, const QuarnFloat& x) { arf_set_mpfr(arb_midref(b), x.Mpfr()); }

// The complex input vector of a transform: the real sequence itself, or the
// full conjugate-symmetric sequence a Hermitian storage stands for.
void LoadReal(AcbVector& v, const QuarnFloat* x, slong n) {
  for (slong j = 0; j < n; ++j) SetExact(acb_realref(v[j]), x[j]);
}

void LoadHermitian(AcbVector& v, const QuarnFloat* x, slong n) {
  SetExact(acb_realref(v[0]), x[0]);
  for (slong k = 1; 2 * k < n; ++k) {
    SetExact(acb_realref(v[k]), x[k]);
    SetExact(acb_imagref(v[k]), x[n - k]);
    acb_conj(v[n - k], v[k]);
  }
  if (n % 2 == 0) SetExact(acb_realref(v[n / 2]), x[n / 2]);
}

// The real output slot k of a transform: Hermitian storage of the spectrum
// of a real sequence (real parts up to n/2, imaginary parts from the top
// down), or the real part of the spectrum of a Hermitian sequence.
arb_srcptr RealStorageSlot(AcbVector& w, slong n, slong k) {
  if (k <= n / 2) return acb_realref(w[k]);
  return acb_imagref(w[n - k]);
}

arb_srcptr RealPartSlot(AcbVector& w, slong, slong k) { return acb_realref(w[k]); }

bool AllFinite(const QuarnFloat* x, slong n) {
  for (slong j = 0; j < n; ++j)
    if (!mpfr_number_p(x[j].Mpfr())) return false;
  return true;
}

// The transform of x into out (n floats), loading by load and reading the
// output slots by slot.
template <class Load, class SlotOf>
void Transform(const QuarnFloat* x, slong n, QuarnFloat* out, Load load, SlotOf slot) {
  const slong target = TargetBits();
  if (!AllFinite(x, n)) {
    for (slong k = 0; k < n; ++k) out[k] = Undefined();
    return;
  }
  slong log2n = 0;
  while ((slong{1} << log2n) < n) ++log2n;
  const slong first = target + 2 * log2n + 24;
  const slong cap = 4 * target + 256 + 4 * log2n;
  std::vector<char> done(static_cast<size_t>(n), 0);
  slong remaining = n;
  AcbVector v(n), w(n);
  load(v, x, n);
  Ball scale, largest, bound;
  mag_t zero_radius;
  mag_init(zero_radius);
  for (slong prec = first; remaining > 0; prec = std::min(2 * prec, cap)) {
    acb_dft(w.get(), v.get(), n, prec);
    arb_rsqrt_ui(scale, static_cast<ulong>(n), prec);
    _acb_vec_scalar_mul_arb(w.get(), w.get(), n, scale, prec);
    // The largest output magnitude, for the test of a zero output.
    arb_zero(largest);
    for (slong k = 0; k < n; ++k) {
      arb_abs(bound, slot(w, n, k));
      arb_max(largest, largest, bound, prec);
    }
    arb_get_mag(zero_radius, largest);
    mag_mul_2exp_si(zero_radius, zero_radius, -(2 * target + 32));
    const bool last = prec >= cap;
    for (slong k = 0; k < n; ++k) {
      if (done[k]) continue;
      arb_srcptr y = slot(w, n, k);
      bool decided = false;
      out[k] = floats::Compute([&](mpfr_ptr z) {
        if (RoundUnique(z, y)) {
          decided = true;
        } else if (prec > first && arb_contains_zero(y) && mag_cmp(arb_radref(y), zero_radius) <= 0) {
          mpfr_set_zero(z, 1);
          decided = true;
        } else if (last) {
          arf_get_mpfr(z, arb_midref(y), MPFR_RNDN);
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

// Checks n and sets ifail; true when the transform should run.
bool Accept(const long* n, long* ifail) {
  const bool ok = n != nullptr && *n >= 1;
  if (ifail != nullptr) *ifail = ok ? 0 : 1;
  return ok;
}

}  // namespace
}  // namespace quarn::numerics

using namespace quarn::numerics;

void QuarnMP_c06faf_(QuarnFloat* x, const long* n, QuarnFloat* work, long* ifail) {
  if (!Accept(n, ifail)) return;
  Transform(x, *n, work, LoadReal, RealStorageSlot);
  std::copy(work, work + *n, x);
}

void QuarnMP_c06fbf_(QuarnFloat* x, const long* n, QuarnFloat* work, long* ifail) {
  if (!Accept(n, ifail)) return;
  Transform(x, *n, work, LoadHermitian, RealPartSlot);
  std::copy(work, work + *n, x);
}

void QuarnMP_c06gbf_(QuarnFloat* x, const long* n, long* ifail) {
  if (!Accept(n, ifail)) return;
  // Exact negation at each value's own precision.
  for (long k = *n / 2 + 1; k < *n; ++k) {
    HostObject f = quarn::host::NewFloat(mpfr_get_prec(x[k].Mpfr()), quarn::host::FloatDigits(x[k].Handle()));
    mpfr_neg(quarn::host::FloatMpfr(f), x[k].Mpfr(), MPFR_RNDN);
    x[k] = QuarnFloat(f);
  }
}
