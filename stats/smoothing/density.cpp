// Kernel density estimation on an equally spaced grid: the sample is
// linearly binned onto the grid, transformed, multiplied by the Fourier
// transform of the kernel at the bandwidth's scale and transformed back;
// and the bounds of a sample, from which the host places the grid.
#include <mpfr.h>

#include <algorithm>
#include <vector>

#include "platform/numerics/numerics.h"
#include "stats/manipulation/manipulation.h"
#include "stats/smoothing/internal.h"

namespace quarnstats {
namespace {

enum KernelId { kGaussian = 0, kTriangular = 1, kRectangular = 2, kEpanechnikov = 3, kBiweight = 4 };

// The kernels' constants sqrt 3, sqrt 5, sqrt 6, sqrt 7, 1/3 and 3/25, kept
// for the library's lifetime at the highest precision asked for so far
// (recomputed when a higher one is needed, so that no later Digits gets
// fewer correct digits than it asks for).
class KernelConstants {
 public:
  enum Name { kSqrt3, kSqrt5, kSqrt6, kSqrt7, kThird, kThreeOver25, kCount };
  mpfr_srcptr Get(Name name, mpfr_prec_t bits) {
    if (bits > bits_) Compute(bits);
    return values_[name];
  }
  ~KernelConstants() {
    if (bits_ > 0)
      for (auto& v : values_) mpfr_clear(v);
  }

 private:
  void Compute(mpfr_prec_t bits) {
    for (auto& v : values_) {
      if (bits_ > 0) {
        mpfr_set_prec(v, bits);
      } else {
        mpfr_init2(v, bits);
      }
    }
    mpfr_sqrt_ui(values_[kSqrt3], 3, MPFR_RNDN);
    mpfr_sqrt_ui(values_[kSqrt5], 5, MPFR_RNDN);
    mpfr_sqrt_ui(values_[kSqrt6], 6, MPFR_RNDN);
    mpfr_sqrt_ui(values_[kSqrt7], 7, MPFR_RNDN);
    mpfr_set_ui(values_[kThird], 1, MPFR_RNDN);
    mpfr_div_ui(values_[kThird], values_[kThird], 3, MPFR_RNDN);
    mpfr_set_ui(values_[kThreeOver25], 3, MPFR_RNDN);
    mpfr_div_ui(values_[kThreeOver25], values_[kThreeOver25], 25, MPFR_RNDN);
    bits_ = bits;
  }

  mpfr_t values_[kCount];
  mpfr_prec_t bits_ = 0;
};

KernelConstants g_constants;

// Bits lost near t = 0 per bit of 1/t: the closed forms subtract terms of
// order t^k to leave one of order t^(k + e), e being this factor.
int CancellationFactor(int id) {
  switch (id) {
    case kTriangular:
    case kEpanechnikov: return 2;
    case kBiweight: return 4;
    default: return 0;
  }
}

// phi(t) at the precision of z (t != 0, id 1 .. 4 or the Gaussian).
void Phi(mpfr_ptr z, int id, mpfr_srcptr t) {
  const mpfr_prec_t bits = mpfr_get_prec(z);
  using C = KernelConstants;
  MPFR_DECL_INIT(s, bits);
  MPFR_DECL_INIT(c, bits);
  MPFR_DECL_INIT(u, bits);
  MPFR_DECL_INIT(v, bits);
  switch (id) {
    case kGaussian:  // exp(-t^2/2)
      mpfr_sqr(u, t, MPFR_RNDN);
      mpfr_div_si(u, u, -2, MPFR_RNDN);
      mpfr_exp(z, u, MPFR_RNDN);
      return;
    case kTriangular:  // (1/3)(1 - cos(sqrt6 t))/t^2
      mpfr_mul(u, g_constants.Get(C::kSqrt6, bits), t, MPFR_RNDN);
      mpfr_cos(c, u, MPFR_RNDN);
      mpfr_ui_sub(c, 1, c, MPFR_RNDN);
      mpfr_mul(c, c, g_constants.Get(C::kThird, bits), MPFR_RNDN);
      mpfr_sqr(u, t, MPFR_RNDN);
      mpfr_div(z, c, u, MPFR_RNDN);
      return;
    case kRectangular:  // sin(sqrt3 t)/(sqrt3 t)
      mpfr_mul(u, g_constants.Get(C::kSqrt3, bits), t, MPFR_RNDN);
      mpfr_sin(s, u, MPFR_RNDN);
      mpfr_div(z, s, u, MPFR_RNDN);
      return;
    case kEpanechnikov:  // (3/25)(sqrt5 sin(sqrt5 t) - 5 t cos(sqrt5 t))/t^3
      mpfr_mul(u, g_constants.Get(C::kSqrt5, bits), t, MPFR_RNDN);
      mpfr_sin_cos(s, c, u, MPFR_RNDN);
      mpfr_mul(s, s, g_constants.Get(C::kSqrt5, bits), MPFR_RNDN);
      mpfr_mul(c, c, t, MPFR_RNDN);
      mpfr_mul_ui(c, c, 5, MPFR_RNDN);
      mpfr_sub(s, s, c, MPFR_RNDN);
      mpfr_mul(s, s, g_constants.Get(C::kThreeOver25, bits), MPFR_RNDN);
      mpfr_pow_ui(u, t, 3, MPFR_RNDN);
      mpfr_div(z, s, u, MPFR_RNDN);
      return;
    default:  // biweight, u = sqrt7 t: 15((3 - u^2) sin u - 3u cos u)/u^5
      mpfr_mul(u, g_constants.Get(C::kSqrt7, bits), t, MPFR_RNDN);
      mpfr_sin_cos(s, c, u, MPFR_RNDN);
      mpfr_sqr(v, u, MPFR_RNDN);
      mpfr_ui_sub(v, 3, v, MPFR_RNDN);
      mpfr_mul(s, s, v, MPFR_RNDN);
      mpfr_mul(c, c, u, MPFR_RNDN);
      mpfr_mul_ui(c, c, 3, MPFR_RNDN);
      mpfr_sub(s, s, c, MPFR_RNDN);
      mpfr_mul_ui(s, s, 15, MPFR_RNDN);
      mpfr_pow_ui(v, u, 5, MPFR_RNDN);
      mpfr_div(z, s, v, MPFR_RNDN);
      return;
  }
}

[[noreturn]] void RaiseTransform(QKernel kv, const char* message) { QuarnRaiseError(kv, message); }

}  // namespace

QuarnFloat KernelTransform(int id, const QuarnFloat& t) {
  if (mpfr_zero_p(t.Mpfr())) return 1.0;
  const mpfr_exp_t e = mpfr_get_exp(t.Mpfr());
  const mpfr_prec_t bits = QuarnWorkingBits() + 24 + CancellationFactor(id) * std::max<mpfr_exp_t>(0, -e) +
                           std::max<mpfr_exp_t>(0, e);
  return quarn::floats::Compute([&](mpfr_ptr z) {
    MPFR_DECL_INIT(r, bits);
    Phi(r, id, t.Mpfr());
    mpfr_set(z, r, MPFR_RNDN);
  });
}

}  // namespace quarnstats

using namespace quarnstats;

HostObject entry::KernelBounds(const Arguments& a) {
  QKernel kv = a.kv();
  _DataSample sample(kv, a[1]);
  if (sample.Size() == 0) QuarnRaiseError(kv, "invalid input - dataset must contain at least one element.");
  const QuarnFloat* x = sample.Points();
  QuarnFloat lo = x[0], hi = x[0];
  for (size_t i = 1; i < sample.Size(); ++i) {
    if (IsQuarnFloatUndefined(x[i])) continue;
    if (x[i] < lo) {
      lo = x[i];
    } else if (x[i] > hi) {
      hi = x[i];
    }
  }
  return FloatList(kv, {lo, hi});
}

// The estimate at the n nodes a + k (b - a)/(n - 1): the binned data (total
// n/(b - a)) transformed, frequency j scaled by phi(2 pi h j/(b - a)), and
// transformed back. Frequency 0 is never scaled, so the estimate keeps the
// binned total. For odd n both halves of the last frequency (entries
// (n - 1)/2 and (n + 1)/2 of the Hermitian storage) are scaled, so that the
// estimate is the real convolution it is for even n.
HostObject entry::KernelDensity(const Arguments& a) {
  QKernel kv = a.kv();
  _DataSample sample(kv, a[1], a[2]);
  const HostObject id = a[3];
  const int32_t kernel = QuarnToInteger32(kv, id);
  const QuarnFloat h = a.Float(4);
  const long n = QuarnToInteger32(kv, a[5]);
  const bool quiet = a.Bool(6);
  const QuarnFloat left = a.Float(7), right = a.Float(8);
  HostObject result = CreateResultVector(kv, std::max(n, 0L));
  auto* x = static_cast<QuarnFloat*>(RTableDataBlock(kv, result));
  auto* scratch = static_cast<QuarnFloat*>(QuarnAlloc(kv, static_cast<size_t>(std::max(n, 1L)) * sizeof(QuarnFloat)));
  STATS_Discretize_MP(kv, static_cast<int>(n), left, right, QuarnFloat(0.0), quiet ? 1 : 0,
                      static_cast<int>(sample.Size()), sample.Points(), sample.Weights(), x);
  long ifail = 0;
  QuarnMP_c06faf_(x, &n, scratch, &ifail);
  if (ifail != 0) RaiseTransform(kv, "nag function failed to compute the forward fourier transform");
  if (kernel < kGaussian || kernel > kBiweight) QuarnRaiseError1(kv, "invalid kernel, received: %1", ToQuarnInteger(kv, kernel));
  const QuarnFloat pi = HostToFloat(QuarnEval(kv, ToQuarnName(kv, "Pi", 1)));
  const QuarnFloat c = ((2.0 * pi) * h) / (right - left);
  for (long j = 1; j < n / 2; ++j) {
    const QuarnFloat v = KernelTransform(kernel, c * j);
    x[j] *= v;
    x[n - j] *= v;
  }
  const QuarnFloat last = KernelTransform(kernel, c * (n / 2));
  x[n / 2] *= last;
  if (n % 2 == 1 && n > 1) x[n / 2 + 1] *= last;
  QuarnMP_c06gbf_(x, &n, &ifail);
  if (ifail != 0) RaiseTransform(kv, "nag function failed to compute complex conjugates");
  QuarnMP_c06fbf_(x, &n, scratch, &ifail);
  if (ifail != 0) RaiseTransform(kv, "nag function failed to compute the reverse fourier transform");
  return result;
}
