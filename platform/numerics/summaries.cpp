// Summary statistics: weighted mean, standard deviation, skewness, kurtosis
// and extremes; the five-point summary.
#include <string>
#include <vector>

#include "platform/float/sum.h"
#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

using quarn::floats::ExactSum;
using quarn::floats::GuardedBits;
using quarn::floats::ProductBits;

namespace quarn::numerics {
namespace {

// An MPFR number with guard bits for the scope of a computation.
struct Guarded {
  mpfr_t v;
  Guarded() { mpfr_init2(v, GuardedBits()); }
  ~Guarded() { mpfr_clear(v); }
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;
};

void SetAll(std::initializer_list<QuarnFloat*> outs, const QuarnFloat& value) {
  for (QuarnFloat* o : outs) *o = value;
}

}  // namespace
}  // namespace quarn::numerics

using namespace quarn::numerics;

void QuarnMP_g01aac(long n, const QuarnFloat x[], const QuarnFloat wt[], long* nvalid, QuarnFloat* xmean,
                    QuarnFloat* xsd, QuarnFloat* xskew, QuarnFloat* xkurt, QuarnFloat* xmin, QuarnFloat* xmax,
                    QuarnFloat* wsum, NagError* fail) {
  SetAll({xmean, xsd, xskew, xkurt, xmin, xmax, wsum}, QuarnFloat(0.0));
  *nvalid = 0;
  if (n < 1) return Fail(fail, NE_INT_ARG_LT, "On entry, n = " + std::to_string(n) + ".\nConstraint: n >= 1.");
  const size_t count = static_cast<size_t>(n);
  bool undefined = false;
  if (wt != nullptr) {
    for (size_t i = 0; i < count; ++i) {
      if (wt[i] < 0.0)
        return Fail(fail, NE_REAL_ARG_LT,
                    "On entry, wt[" + std::to_string(i) + "] < 0.\nConstraint: wt[i] >= 0, for all i.");
      undefined = undefined || IsQuarnFloatUndefined(wt[i]);
    }
  }
  // The points that count: positive weight (every point when unweighted).
  std::vector<size_t> used;
  used.reserve(count);
  for (size_t i = 0; i < count; ++i) {
    if (wt == nullptr || wt[i] > 0.0) used.push_back(i);
  }
  ExactSum weight(count, 0), weight_squares(wt ? count : 0, ProductBits()), weighted_x(count, wt ? ProductBits() : 0);
  for (size_t i : used) {
    undefined = undefined || IsQuarnFloatUndefined(x[i]);
    if (wt == nullptr) {
      weighted_x.Add(x[i]);
    } else {
      weight.Add(wt[i]);
      weight_squares.AddProduct(wt[i], wt[i]);
      weighted_x.AddProduct(x[i], wt[i]);
    }
  }
  *nvalid = static_cast<long>(used.size());
  if (undefined) {
    SetAll({xmean, xsd, xskew, xkurt, xmin, xmax, wsum}, QuarnFloatUndefined());
    return Succeed(fail);
  }
  Guarded w_total, mean;
  if (wt == nullptr) {
    mpfr_set_ui(w_total.v, static_cast<unsigned long>(count), MPFR_RNDN);
  } else {
    weight.Total(w_total.v);
  }
  *wsum = QuarnFloat::FromMpfr(w_total.v);
  if (mpfr_zero_p(w_total.v)) {
    return Fail(fail, NE_ZERO_WEIGHTS, "On entry, the sum of the weights is 0.\nConstraint: it must be positive.");
  }
  weighted_x.Total(mean.v);
  mpfr_div(mean.v, mean.v, w_total.v, MPFR_RNDN);
  *xmean = QuarnFloat::FromMpfr(mean.v);
  QuarnFloat lo = x[used[0]], hi = x[used[0]];
  for (size_t i : used) {
    if (x[i] < lo) lo = x[i];
    if (x[i] > hi) hi = x[i];
  }
  *xmin = lo;
  *xmax = hi;
  if (used.size() < 2) {
    return Fail(fail, NE_ONE_WEIGHT,
                "On entry, only one point has a positive weight.\nConstraint: at least two must have.");
  }
  // Central sums of powers 2, 3 and 4, each term with guard bits.
  ExactSum m2(used.size(), GuardedBits()), m3(used.size(), GuardedBits()), m4(used.size(), GuardedBits());
  Guarded d, d2;
  for (size_t i : used) {
    mpfr_sub(d.v, x[i].Mpfr(), mean.v, MPFR_RNDN);
    mpfr_sqr(d2.v, d.v, MPFR_RNDN);
    mpfr_ptr t2 = m2.Slot(), t3 = m3.Slot(), t4 = m4.Slot();
    mpfr_set(t2, d2.v, MPFR_RNDN);
    mpfr_mul(t3, d2.v, d.v, MPFR_RNDN);
    mpfr_sqr(t4, d2.v, MPFR_RNDN);
    if (wt != nullptr) {
      mpfr_mul(t2, t2, wt[i].Mpfr(), MPFR_RNDN);
      mpfr_mul(t3, t3, wt[i].Mpfr(), MPFR_RNDN);
      mpfr_mul(t4, t4, wt[i].Mpfr(), MPFR_RNDN);
    }
  }
  Guarded dof, s2, s3, s4, sd, t;
  if (wt == nullptr) {
    mpfr_set_ui(dof.v, static_cast<unsigned long>(count - 1), MPFR_RNDN);
  } else {
    weight_squares.Total(t.v);
    mpfr_div(t.v, t.v, w_total.v, MPFR_RNDN);
    mpfr_sub(dof.v, w_total.v, t.v, MPFR_RNDN);
  }
  m2.Total(s2.v);
  m3.Total(s3.v);
  m4.Total(s4.v);
  mpfr_div(t.v, s2.v, dof.v, MPFR_RNDN);
  mpfr_sqrt(sd.v, t.v, MPFR_RNDN);
  *xsd = QuarnFloat::FromMpfr(sd.v);
  if (mpfr_zero_p(sd.v)) {
    SetAll({xskew, xkurt}, QuarnFloat(0.0));
    return Succeed(fail);
  }
  // skew = s3 / (dof sd^3), kurt = s4 / (dof sd^4) - 3
  mpfr_pow_ui(t.v, sd.v, 3, MPFR_RNDN);
  mpfr_mul(t.v, t.v, dof.v, MPFR_RNDN);
  mpfr_div(s3.v, s3.v, t.v, MPFR_RNDN);
  *xskew = QuarnFloat::FromMpfr(s3.v);
  mpfr_mul(t.v, t.v, sd.v, MPFR_RNDN);
  mpfr_div(s4.v, s4.v, t.v, MPFR_RNDN);
  mpfr_sub_ui(s4.v, s4.v, 3, MPFR_RNDN);
  *xkurt = QuarnFloat::FromMpfr(s4.v);
  Succeed(fail);
}

void QuarnMP_g01alc(long n, const QuarnFloat x[], QuarnFloat res[], NagError* fail) {
  if (n < 5) return Fail(fail, NE_INT_ARG_LT, "On entry, n = " + std::to_string(n) + ".\nConstraint: n >= 5.");
  std::vector<QuarnFloat> z(x, x + n);
  QuarnMP_m01cac(z.data(), z.size(), Nag_Ascending, fail);
  // 1-based positions: m the median's, k the lower hinge's.
  const long m = n % 2 == 0 ? n / 2 : (n + 1) / 2;
  const long k = m % 2 == 0 ? m / 2 : (m + 1) / 2;
  auto at = [&](long i) { return z[static_cast<size_t>(i - 1)]; };
  auto mid = [&](long i) { return (at(i) + at(i + 1)) / 2.0; };
  res[0] = at(1);
  res[1] = m % 2 == 1 ? at(k) : mid(k);
  res[2] = n % 2 == 1 ? at(m) : mid(m);
  res[3] = m % 2 == 1 ? at(n - k + 1) : mid(n - k);
  res[4] = at(n);
  Succeed(fail);
}
