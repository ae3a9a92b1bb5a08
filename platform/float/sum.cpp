// Sums rounded once, on mpfr_sum.
#include "platform/float/sum.h"

#include <cassert>

namespace quarn::floats {

ExactSum::ExactSum(size_t capacity, mpfr_prec_t slot_bits) : slot_bits_(slot_bits) {
  terms_.reserve(capacity);
  if (capacity == 0 || slot_bits == 0) return;
  limbs_per_slot_ = (mpfr_custom_get_size(slot_bits) + sizeof(mp_limb_t) - 1) / sizeof(mp_limb_t);
  slots_.resize(capacity);
  limbs_.resize(capacity * limbs_per_slot_);
}

mpfr_ptr ExactSum::Slot() {
  assert(used_ < slots_.size() && "more slot terms than the sum was made for");
  mpfr_ptr x = &slots_[used_];
  mpfr_custom_init_set(x, MPFR_ZERO_KIND, 0, slot_bits_, &limbs_[used_ * limbs_per_slot_]);
  ++used_;
  terms_.push_back(x);
  return x;
}

void ExactSum::AddProduct(const QuarnFloat& x, const QuarnFloat& y) {
  mpfr_mul(Slot(), x.Mpfr(), y.Mpfr(), MPFR_RNDN);
}

void ExactSum::Total(mpfr_ptr out) const {
  mpfr_sum(out, terms_.data(), terms_.size(), MPFR_RNDN);
}

QuarnFloat ExactSum::Total() const {
  return Compute([&](mpfr_ptr z) { Total(z); });
}

QuarnFloat Sum(const QuarnFloat* x, size_t n) {
  ExactSum sum(n, 0);
  for (size_t i = 0; i < n; ++i) sum.Add(x[i]);
  return sum.Total();
}

}  // namespace quarn::floats
