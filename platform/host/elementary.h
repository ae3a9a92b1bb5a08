// Correctly rounded elementary functions for the host's floats.
//
// Same calling convention and the same results as MPFR's functions of the
// same meaning (z may alias x; the return value is MPFR's ternary value), but
// evaluated with Arb's ball arithmetic where that is faster: an evaluation a
// few guard bits above the target precision, whose ball is checked to round
// to a single number, and if it does not, one more with the bits the first
// lost and a wide guard. A ball that straddles a rounding boundary (values that
// are exact or lie very close to a boundary), special values (0, infinities,
// NaN), arguments or results near the ends of the exponent range, and
// rounding modes other than to-nearest are handed to MPFR itself. Either way
// the result is the correctly rounded value, so the choice is invisible to
// callers.
#ifndef QUARN_PLATFORM_HOST_ELEMENTARY_H
#define QUARN_PLATFORM_HOST_ELEMENTARY_H

#include <mpfr.h>

namespace quarn::host {

int RoundedExp(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd);
int RoundedLog(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd);
int RoundedExpm1(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd);
int RoundedLog1p(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd);
int RoundedSin(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd);
int RoundedCos(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd);
int RoundedTan(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd);
int RoundedAtan(mpfr_ptr z, mpfr_srcptr x, mpfr_rnd_t rnd);
// x^y with C's conventions; integer exponents go to MPFR's exact powering.
int RoundedPow(mpfr_ptr z, mpfr_srcptr x, mpfr_srcptr y, mpfr_rnd_t rnd);

}  // namespace quarn::host

#endif
