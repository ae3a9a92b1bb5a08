// The error codes the QuarnMP_* routines put in NagError::code. Callers test
// only code != 0; the values are distinct so that tests can tell the exits
// apart. The values NAG publishes are kept where it publishes one.
#ifndef QUARN_PLATFORM_NUMERICS_MP_ERRORS_H
#define QUARN_PLATFORM_NUMERICS_MP_ERRORS_H

enum QuarnMPErrorCode {
  NE_NOERROR = 0,
  NE_REAL_ARG_LT = 5,
  NE_REAL_ARG_LE = 6,
  NE_REAL_ARG_GT = 7,
  NE_REAL_ARG_GE = 8,
  NE_INT_ARG_LT = 11,
  NE_INT_ARG_EQ = 12,
  NE_INT_ARG_GT = 13,
  NE_2_REAL_ARG_ZERO = 18,
  NE_VARIANCE_TOO_LARGE = 19,
  NE_2_INT_ARG_LE = 21,
  NE_2_INT_ARG_GT = 22,
  NE_REAL_ARRAY_CONS = 31,
  NE_RESID_TOO_LARGE = 32,
  NE_ALL_ELEMENTS_EQUAL = 41,
  NE_BAD_PARAM = 70,
  NE_NOT_MONOTONIC = 245,
  NE_TOO_MANY_ITER = 357,
  NE_ZERO_WEIGHTS = 415,
  NE_ONE_WEIGHT = 416,
};

#endif
