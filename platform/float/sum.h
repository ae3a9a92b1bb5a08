// Sums rounded once: the terms of a sum are collected (as references to
// existing numbers, or computed into slots of a chosen precision) and added
// by MPFR's mpfr_sum, which returns the exact sum correctly rounded. A sum of
// n floats then carries at most half an ulp of error whatever n and whatever
// cancellation, where one addition at a time carries up to n - 1 roundings.
#ifndef QUARN_PLATFORM_FLOAT_SUM_H
#define QUARN_PLATFORM_FLOAT_SUM_H

#include <mpfr.h>

#include <cstddef>
#include <vector>

#include "platform/float/quarnfloat.h"

namespace quarn::floats {

// The terms of one sum. Slots are MPFR numbers of a fixed precision in one
// block of limbs owned by the sum; references point at numbers that the
// caller keeps alive (QuarnFloat handles on the stack or in scanned memory)
// until the total is taken.
class ExactSum {
 public:
  // Room for up to `capacity` slot terms of `slot_bits` bits each (0 when only
  // references will be added).
  ExactSum(size_t capacity, mpfr_prec_t slot_bits);
  ExactSum(const ExactSum&) = delete;
  ExactSum& operator=(const ExactSum&) = delete;

  // The next slot term, holding +0; the caller sets it (mpfr_mul, mpfr_sub,
  // ...). At most `capacity` slots.
  mpfr_ptr Slot();
  // x itself as a term, exactly.
  void Add(const QuarnFloat& x) { terms_.push_back(const_cast<mpfr_ptr>(x.Mpfr())); }
  // The product x * y as a term: exact when the slots have at least the sum
  // of the two precisions (ProductBits() for working-precision operands),
  // else rounded at the slot precision, far below the total's half ulp.
  void AddProduct(const QuarnFloat& x, const QuarnFloat& y);

  size_t Terms() const { return terms_.size(); }
  // The exact sum of the terms rounded to nearest at `bits` (the empty sum
  // is +0). NaN when a term is NaN or when +inf and -inf meet.
  void Total(mpfr_ptr out) const;
  // The total rounded to the working precision.
  QuarnFloat Total() const;

 private:
  std::vector<mpfr_ptr> terms_;
  std::vector<__mpfr_struct> slots_;
  std::vector<mp_limb_t> limbs_;
  size_t used_ = 0;
  size_t limbs_per_slot_ = 0;
  mpfr_prec_t slot_bits_;
};

// x[0] + ... + x[n-1] correctly rounded to the working precision.
QuarnFloat Sum(const QuarnFloat* x, size_t n);

// The working precision plus guard bits for terms that are rounded before
// they are summed (differences, powers, quotients): with 64 guard bits their
// rounding errors stay far below the final half ulp.
inline mpfr_prec_t GuardedBits() { return host::WorkingBits() + 64; }
// Slots that hold the product of two working-precision floats exactly.
inline mpfr_prec_t ProductBits() { return 2 * host::WorkingBits(); }

}  // namespace quarn::floats

#endif
