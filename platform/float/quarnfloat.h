// QuarnFloat: multiprecision floating point at the host's working precision.
//
// A QuarnFloat is one handle to a host software float and nothing else, so an
// array of QuarnFloat is laid out as the data block of a general rtable whose
// elements are floats.
//
// Invariants:
//  - The handle always points to a host float object (tag 4): never null,
//    never an immediate integer.
//  - Host floats are immutable values. Copying a QuarnFloat copies the handle;
//    no operation writes into a float object that another handle may see.
//    Every arithmetic result is a fresh float object made at the working
//    precision of the moment (host::WorkingBits(), digits host::WorkingDigits())
//    and correctly rounded to nearest from the exact operands (MPFR, or Arb
//    with a rounding check for exp, log and pow), so an operand of another
//    precision is used at its own precision. Compound
//    assignments (+= ...) rebind the handle.
//  - The collector owns the object. Destroying a QuarnFloat frees nothing, and
//    a handle stays valid while any word the collector scans (stack,
//    registers, static data, host objects, operator-new memory of an
//    executable linked with libgccpp) points at the object. Mpfr() points
//    into the object: keep the QuarnFloat alive while that pointer is in use.
//
// Special values follow IEEE 754 through MPFR: division by zero gives an
// infinity, invalid operations give NaN, and NaN is the undefined float that
// marks missing data. Nothing here raises a host error except conversion from
// a host object that is not a number and QuarnEvalf1 of an unknown function.
//
// Mixed operations with a C++ integer or double use the exact value of that
// operand (MPFR's _si, _ui and _d functions): no temporary float is made and
// nothing is rounded to double.
#ifndef QUARN_PLATFORM_FLOAT_QUARNFLOAT_H
#define QUARN_PLATFORM_FLOAT_QUARNFLOAT_H

#include <mpfr.h>

#include <cmath>
#include <concepts>
#include <type_traits>

#include "platform/host/elementary.h"
#include "platform/host/host.h"
#include "platform/host/internal.h"
#include "platform/host/quarnc.h"

class QuarnFloat;

namespace quarn::floats {

// C++ scalars that mix with QuarnFloat without conversion: integers that fit a
// long or an unsigned long, and float or double.
template <class T>
concept Integer = std::integral<T> && !std::same_as<T, bool> && sizeof(T) <= sizeof(long);
template <class T>
concept Real = std::same_as<T, float> || std::same_as<T, double>;
template <class T>
concept Scalar = Integer<T> || Real<T>;

// The MPFR number inside a host float object.
inline mpfr_ptr MpfrOf(HostObject f) { return &reinterpret_cast<host::FloatBody*>(f)->mp; }

// A fresh float object at the working precision, holding +0.
inline HostObject NewWorkingFloat() { return host::NewWorkingFloat(); }

// The shared +0 of the working precision (one object per precision, cached).
HostObject WorkingZero();

// The float object for a host object that is not a float: integers and
// rationals are rounded to the working precision, anything else goes through
// the host's evalf; raises "unable to evaluate %1 to floating-point" when no
// real float results.
HostObject ConvertToFloat(HostObject h);

// Grants the inline operations below the unchecked constructor.
struct Access;

}  // namespace quarn::floats

class QuarnFloat {
 public:
  // 0.0 at the working precision. The zero object is shared, so a large array
  // of default-constructed floats allocates nothing per element.
  QuarnFloat() : h_(quarn::floats::WorkingZero()) {}

  // The exact value rounded to the working precision. Implicit, so that
  // numerical code reads like its double original (QuarnFloat x = 0.5).
  QuarnFloat(double d) : h_(quarn::floats::NewWorkingFloat()) {
    mpfr_set_d(quarn::floats::MpfrOf(h_), d, MPFR_RNDN);
  }
  template <quarn::floats::Integer T>
  QuarnFloat(T n) : h_(quarn::floats::NewWorkingFloat()) {
    if constexpr (std::is_signed_v<T>) {
      mpfr_set_si(quarn::floats::MpfrOf(h_), static_cast<long>(n), MPFR_RNDN);
    } else {
      mpfr_set_ui(quarn::floats::MpfrOf(h_), static_cast<unsigned long>(n), MPFR_RNDN);
    }
  }

  // A host float is held as it is (same object, its own precision). Integers
  // and rationals become floats at the working precision; other numeric
  // objects (constants, calls of known functions) are evaluated by the host's
  // evalf; anything else raises "unable to evaluate %1 to floating-point".
  explicit QuarnFloat(HostObject h)
      : h_(quarn::host::IsTag(h, kTagFloat) ? h : quarn::floats::ConvertToFloat(h)) {}

  // x rounded to the working precision.
  static QuarnFloat FromMpfr(mpfr_srcptr x);

  QuarnFloat(const QuarnFloat&) = default;
  QuarnFloat& operator=(const QuarnFloat&) = default;
  ~QuarnFloat() = default;

  template <quarn::floats::Scalar T>
  QuarnFloat& operator=(T v) {
    return *this = QuarnFloat(v);
  }

  // The host float object.
  HostObject Handle() const { return h_; }
  // The MPFR number, for numerical code; read only (floats are immutable).
  mpfr_srcptr Mpfr() const { return quarn::floats::MpfrOf(h_); }
  // Rounded to nearest double.
  double ToDouble() const { return mpfr_get_d(Mpfr(), MPFR_RNDN); }

  inline QuarnFloat& operator+=(const QuarnFloat& b);
  inline QuarnFloat& operator-=(const QuarnFloat& b);
  inline QuarnFloat& operator*=(const QuarnFloat& b);
  inline QuarnFloat& operator/=(const QuarnFloat& b);
  template <quarn::floats::Scalar T>
  QuarnFloat& operator+=(T b);
  template <quarn::floats::Scalar T>
  QuarnFloat& operator-=(T b);
  template <quarn::floats::Scalar T>
  QuarnFloat& operator*=(T b);
  template <quarn::floats::Scalar T>
  QuarnFloat& operator/=(T b);

 private:
  friend struct quarn::floats::Access;
  struct Adopt {};
  QuarnFloat(HostObject f, Adopt) : h_(f) {}

  HostObject h_;
};

static_assert(sizeof(QuarnFloat) == sizeof(HostObject), "a QuarnFloat is one rtable element of data type 0");
static_assert(std::is_trivially_copyable_v<QuarnFloat>, "arrays of QuarnFloat are copied as handles");

namespace quarn::floats {

struct Access {
  static QuarnFloat Adopt(HostObject f) { return QuarnFloat(f, QuarnFloat::Adopt{}); }
};

// A fresh working-precision float computed by f(result).
template <class F>
inline QuarnFloat Compute(F&& f) {
  HostObject r = NewWorkingFloat();
  f(MpfrOf(r));
  return Access::Adopt(r);
}

// z = x op v and z = v op x for a C++ scalar v, given MPFR's function of
// op for each kind of scalar: double, long, unsigned long.
template <class D, class S, class U>
struct ScalarOp {
  D with_double;
  S with_long;
  U with_ulong;
};
using RightOp = ScalarOp<int (*)(mpfr_ptr, mpfr_srcptr, double, mpfr_rnd_t),
                         int (*)(mpfr_ptr, mpfr_srcptr, long, mpfr_rnd_t),
                         int (*)(mpfr_ptr, mpfr_srcptr, unsigned long, mpfr_rnd_t)>;
using LeftOp = ScalarOp<int (*)(mpfr_ptr, double, mpfr_srcptr, mpfr_rnd_t),
                        int (*)(mpfr_ptr, long, mpfr_srcptr, mpfr_rnd_t),
                        int (*)(mpfr_ptr, unsigned long, mpfr_srcptr, mpfr_rnd_t)>;
inline constexpr RightOp kAdd{mpfr_add_d, mpfr_add_si, mpfr_add_ui};
inline constexpr RightOp kSub{mpfr_sub_d, mpfr_sub_si, mpfr_sub_ui};
inline constexpr RightOp kMul{mpfr_mul_d, mpfr_mul_si, mpfr_mul_ui};
inline constexpr RightOp kDiv{mpfr_div_d, mpfr_div_si, mpfr_div_ui};
inline constexpr LeftOp kSubFrom{mpfr_d_sub, mpfr_si_sub, mpfr_ui_sub};
inline constexpr LeftOp kDivInto{mpfr_d_div, mpfr_si_div, mpfr_ui_div};

// A double that is a nonzero integer of magnitude at most 2^53, as a long:
// MPFR's functions of a long then give the same correctly rounded result as
// its functions of a double (the same exact operand) without first making a
// number of it, which is most of their cost at low precision. Zero keeps the
// double functions, for the sign of -0.
inline bool SmallInteger(double v, long* n) {
  if (v == 0.0 || !(std::fabs(v) <= 9007199254740992.0) || std::trunc(v) != v) return false;
  *n = static_cast<long>(v);
  return true;
}

template <Scalar T>
inline QuarnFloat Right(const RightOp& op, const QuarnFloat& x, T v) {
  return Compute([&](mpfr_ptr z) {
    long n;
    if constexpr (Real<T>) {
      if (SmallInteger(static_cast<double>(v), &n)) {
        op.with_long(z, x.Mpfr(), n, MPFR_RNDN);
      } else {
        op.with_double(z, x.Mpfr(), static_cast<double>(v), MPFR_RNDN);
      }
    } else if constexpr (std::is_signed_v<T>) {
      op.with_long(z, x.Mpfr(), static_cast<long>(v), MPFR_RNDN);
    } else {
      op.with_ulong(z, x.Mpfr(), static_cast<unsigned long>(v), MPFR_RNDN);
    }
  });
}
template <Scalar T>
inline QuarnFloat Left(const LeftOp& op, T v, const QuarnFloat& x) {
  return Compute([&](mpfr_ptr z) {
    long n;
    if constexpr (Real<T>) {
      if (SmallInteger(static_cast<double>(v), &n)) {
        op.with_long(z, n, x.Mpfr(), MPFR_RNDN);
      } else {
        op.with_double(z, static_cast<double>(v), x.Mpfr(), MPFR_RNDN);
      }
    } else if constexpr (std::is_signed_v<T>) {
      op.with_long(z, static_cast<long>(v), x.Mpfr(), MPFR_RNDN);
    } else {
      op.with_ulong(z, static_cast<unsigned long>(v), x.Mpfr(), MPFR_RNDN);
    }
  });
}

// Three-way comparison of x with v; both must be ordered (neither NaN).
template <Scalar T>
inline int CompareScalar(mpfr_srcptr x, T v) {
  if constexpr (Real<T>) {
    // A finite double is m 2^e with m an integer of 53 bits: compared as
    // such, without making a number of it.
    const double d = static_cast<double>(v);
    if (!std::isfinite(d)) return mpfr_cmp_d(x, d);
    int e;
    const double f = std::frexp(d, &e);
    return mpfr_cmp_si_2exp(x, static_cast<long>(std::ldexp(f, 53)), e - 53);
  } else if constexpr (std::is_signed_v<T>) {
    return mpfr_cmp_si(x, static_cast<long>(v));
  } else {
    return mpfr_cmp_ui(x, static_cast<unsigned long>(v));
  }
}
template <Scalar T>
inline bool IsNanScalar(T v) {
  if constexpr (Real<T>) {
    return std::isnan(v);
  } else {
    return false;
  }
}

}  // namespace quarn::floats

// ------------------------------------------------------------- arithmetic
// Each result is a fresh float at the working precision, correctly rounded.

inline QuarnFloat operator+(const QuarnFloat& a, const QuarnFloat& b) {
  return quarn::floats::Compute([&](mpfr_ptr z) { mpfr_add(z, a.Mpfr(), b.Mpfr(), MPFR_RNDN); });
}
inline QuarnFloat operator-(const QuarnFloat& a, const QuarnFloat& b) {
  return quarn::floats::Compute([&](mpfr_ptr z) { mpfr_sub(z, a.Mpfr(), b.Mpfr(), MPFR_RNDN); });
}
inline QuarnFloat operator*(const QuarnFloat& a, const QuarnFloat& b) {
  return quarn::floats::Compute([&](mpfr_ptr z) { mpfr_mul(z, a.Mpfr(), b.Mpfr(), MPFR_RNDN); });
}
inline QuarnFloat operator/(const QuarnFloat& a, const QuarnFloat& b) {
  return quarn::floats::Compute([&](mpfr_ptr z) { mpfr_div(z, a.Mpfr(), b.Mpfr(), MPFR_RNDN); });
}
inline QuarnFloat operator-(const QuarnFloat& a) {
  return quarn::floats::Compute([&](mpfr_ptr z) { mpfr_neg(z, a.Mpfr(), MPFR_RNDN); });
}

template <quarn::floats::Scalar T>
inline QuarnFloat operator+(const QuarnFloat& a, T b) {
  return quarn::floats::Right(quarn::floats::kAdd, a, b);
}
template <quarn::floats::Scalar T>
inline QuarnFloat operator+(T a, const QuarnFloat& b) {
  return quarn::floats::Right(quarn::floats::kAdd, b, a);
}
template <quarn::floats::Scalar T>
inline QuarnFloat operator-(const QuarnFloat& a, T b) {
  return quarn::floats::Right(quarn::floats::kSub, a, b);
}
template <quarn::floats::Scalar T>
inline QuarnFloat operator-(T a, const QuarnFloat& b) {
  return quarn::floats::Left(quarn::floats::kSubFrom, a, b);
}
template <quarn::floats::Scalar T>
inline QuarnFloat operator*(const QuarnFloat& a, T b) {
  return quarn::floats::Right(quarn::floats::kMul, a, b);
}
template <quarn::floats::Scalar T>
inline QuarnFloat operator*(T a, const QuarnFloat& b) {
  return quarn::floats::Right(quarn::floats::kMul, b, a);
}
template <quarn::floats::Scalar T>
inline QuarnFloat operator/(const QuarnFloat& a, T b) {
  return quarn::floats::Right(quarn::floats::kDiv, a, b);
}
template <quarn::floats::Scalar T>
inline QuarnFloat operator/(T a, const QuarnFloat& b) {
  return quarn::floats::Left(quarn::floats::kDivInto, a, b);
}

inline QuarnFloat& QuarnFloat::operator+=(const QuarnFloat& b) { return *this = *this + b; }
inline QuarnFloat& QuarnFloat::operator-=(const QuarnFloat& b) { return *this = *this - b; }
inline QuarnFloat& QuarnFloat::operator*=(const QuarnFloat& b) { return *this = *this * b; }
inline QuarnFloat& QuarnFloat::operator/=(const QuarnFloat& b) { return *this = *this / b; }
template <quarn::floats::Scalar T>
inline QuarnFloat& QuarnFloat::operator+=(T b) {
  return *this = *this + b;
}
template <quarn::floats::Scalar T>
inline QuarnFloat& QuarnFloat::operator-=(T b) {
  return *this = *this - b;
}
template <quarn::floats::Scalar T>
inline QuarnFloat& QuarnFloat::operator*=(T b) {
  return *this = *this * b;
}
template <quarn::floats::Scalar T>
inline QuarnFloat& QuarnFloat::operator/=(T b) {
  return *this = *this / b;
}

// ------------------------------------------------------------ comparisons
// Exact comparisons of the values (operands of different precisions compare
// as they are). Nonzero for true. As in IEEE 754, every comparison with a NaN
// is false except !=, which is true.

inline int operator==(const QuarnFloat& a, const QuarnFloat& b) { return mpfr_equal_p(a.Mpfr(), b.Mpfr()); }
inline int operator!=(const QuarnFloat& a, const QuarnFloat& b) { return !mpfr_equal_p(a.Mpfr(), b.Mpfr()); }
inline int operator<(const QuarnFloat& a, const QuarnFloat& b) { return mpfr_less_p(a.Mpfr(), b.Mpfr()); }
inline int operator<=(const QuarnFloat& a, const QuarnFloat& b) { return mpfr_lessequal_p(a.Mpfr(), b.Mpfr()); }
inline int operator>(const QuarnFloat& a, const QuarnFloat& b) { return mpfr_greater_p(a.Mpfr(), b.Mpfr()); }
inline int operator>=(const QuarnFloat& a, const QuarnFloat& b) { return mpfr_greaterequal_p(a.Mpfr(), b.Mpfr()); }

namespace quarn::floats {
// The sign of x - v as -1, 0, 1, or 2 when unordered (either is NaN).
template <Scalar T>
inline int Order(const QuarnFloat& x, T v) {
  if (mpfr_nan_p(x.Mpfr()) || IsNanScalar(v)) return 2;
  int c = CompareScalar(x.Mpfr(), v);
  return c < 0 ? -1 : (c > 0 ? 1 : 0);
}
}  // namespace quarn::floats

template <quarn::floats::Scalar T>
inline int operator==(const QuarnFloat& a, T b) {
  return quarn::floats::Order(a, b) == 0;
}
template <quarn::floats::Scalar T>
inline int operator!=(const QuarnFloat& a, T b) {
  return quarn::floats::Order(a, b) != 0;
}
template <quarn::floats::Scalar T>
inline int operator<(const QuarnFloat& a, T b) {
  return quarn::floats::Order(a, b) == -1;
}
template <quarn::floats::Scalar T>
inline int operator<=(const QuarnFloat& a, T b) {
  int c = quarn::floats::Order(a, b);
  return c == -1 || c == 0;
}
template <quarn::floats::Scalar T>
inline int operator>(const QuarnFloat& a, T b) {
  return quarn::floats::Order(a, b) == 1;
}
template <quarn::floats::Scalar T>
inline int operator>=(const QuarnFloat& a, T b) {
  int c = quarn::floats::Order(a, b);
  return c == 1 || c == 0;
}
template <quarn::floats::Scalar T>
inline int operator==(T a, const QuarnFloat& b) {
  return b == a;
}
template <quarn::floats::Scalar T>
inline int operator!=(T a, const QuarnFloat& b) {
  return b != a;
}
template <quarn::floats::Scalar T>
inline int operator<(T a, const QuarnFloat& b) {
  return b > a;
}
template <quarn::floats::Scalar T>
inline int operator<=(T a, const QuarnFloat& b) {
  return b >= a;
}
template <quarn::floats::Scalar T>
inline int operator>(T a, const QuarnFloat& b) {
  return b < a;
}
template <quarn::floats::Scalar T>
inline int operator>=(T a, const QuarnFloat& b) {
  return b <= a;
}

// -------------------------------------------------------------- functions
// Correctly rounded to the working precision, with C's conventions for
// special values: log(0) = -inf, log(x < 0) and sqrt(x < 0) are NaN.

inline QuarnFloat exp(const QuarnFloat& x) {
  return quarn::floats::Compute([&](mpfr_ptr z) { quarn::host::RoundedExp(z, x.Mpfr(), MPFR_RNDN); });
}
inline QuarnFloat log(const QuarnFloat& x) {
  return quarn::floats::Compute([&](mpfr_ptr z) { quarn::host::RoundedLog(z, x.Mpfr(), MPFR_RNDN); });
}
// exp(x) - 1 and log(1 + x), which keep their relative accuracy near x = 0.
inline QuarnFloat expm1(const QuarnFloat& x) {
  return quarn::floats::Compute([&](mpfr_ptr z) { quarn::host::RoundedExpm1(z, x.Mpfr(), MPFR_RNDN); });
}
inline QuarnFloat log1p(const QuarnFloat& x) {
  return quarn::floats::Compute([&](mpfr_ptr z) { quarn::host::RoundedLog1p(z, x.Mpfr(), MPFR_RNDN); });
}
inline QuarnFloat sqrt(const QuarnFloat& x) {
  return quarn::floats::Compute([&](mpfr_ptr z) { mpfr_sqrt(z, x.Mpfr(), MPFR_RNDN); });
}
inline QuarnFloat fabs(const QuarnFloat& x) {
  return quarn::floats::Compute([&](mpfr_ptr z) { mpfr_abs(z, x.Mpfr(), MPFR_RNDN); });
}
// The largest integer <= x and the smallest integer >= x (the sign of a zero
// result is the sign of x: ceil(-0.5) is -0). An integer too large for the
// working precision rounds toward the function's direction.
inline QuarnFloat floor(const QuarnFloat& x) {
  return quarn::floats::Compute([&](mpfr_ptr z) { mpfr_floor(z, x.Mpfr()); });
}
inline QuarnFloat ceil(const QuarnFloat& x) {
  return quarn::floats::Compute([&](mpfr_ptr z) { mpfr_ceil(z, x.Mpfr()); });
}

// x^y with C's pow conventions (a negative base needs an integer exponent).
inline QuarnFloat pow(const QuarnFloat& x, const QuarnFloat& y) {
  return quarn::floats::Compute([&](mpfr_ptr z) { quarn::host::RoundedPow(z, x.Mpfr(), y.Mpfr(), MPFR_RNDN); });
}
inline QuarnFloat pow(const QuarnFloat& x, double y) {
  return quarn::floats::Compute([&](mpfr_ptr z) {
    MPFR_DECL_INIT(e, 53);  // a double fits 53 bits exactly
    mpfr_set_d(e, y, MPFR_RNDN);
    quarn::host::RoundedPow(z, x.Mpfr(), e, MPFR_RNDN);
  });
}
inline QuarnFloat pow(double x, const QuarnFloat& y) {
  return quarn::floats::Compute([&](mpfr_ptr z) {
    MPFR_DECL_INIT(b, 53);
    mpfr_set_d(b, x, MPFR_RNDN);
    quarn::host::RoundedPow(z, b, y.Mpfr(), MPFR_RNDN);
  });
}
template <quarn::floats::Integer T>
inline QuarnFloat pow(const QuarnFloat& x, T n) {
  return quarn::floats::Compute([&](mpfr_ptr z) {
    if constexpr (std::is_signed_v<T>) {
      mpfr_pow_si(z, x.Mpfr(), static_cast<long>(n), MPFR_RNDN);
    } else {
      mpfr_pow_ui(z, x.Mpfr(), static_cast<unsigned long>(n), MPFR_RNDN);
    }
  });
}

// The magnitude of a with the sign of b. The sign of b is its sign bit, as in
// IEEE copysign: Sign(3, -0.0) is -3.
inline QuarnFloat Sign(const QuarnFloat& a, const QuarnFloat& b) {
  return quarn::floats::Compute([&](mpfr_ptr z) { mpfr_copysign(z, a.Mpfr(), b.Mpfr(), MPFR_RNDN); });
}

// The integer part of x (truncation toward zero) as a long; values beyond the
// range of long give LONG_MAX or LONG_MIN, and NaN gives 0. Callers wanting
// floor, ceiling or rounding apply floor, ceil or add 0.5 first.
inline long FloatToInt(const QuarnFloat& x) {
  if (mpfr_nan_p(x.Mpfr())) return 0;
  return mpfr_get_si(x.Mpfr(), MPFR_RNDZ);
}

// Nonzero for the undefined float (NaN, missing data), +infinity, -infinity.
inline int IsQuarnFloatUndefined(const QuarnFloat& x) { return mpfr_nan_p(x.Mpfr()); }
inline int IsQuarnFloatInfinity(const QuarnFloat& x) { return mpfr_inf_p(x.Mpfr()) && mpfr_sgn(x.Mpfr()) > 0; }
inline int IsQuarnFloatNegativeInfinity(const QuarnFloat& x) { return mpfr_inf_p(x.Mpfr()) && mpfr_sgn(x.Mpfr()) < 0; }

// The undefined float (NaN) at the working precision.
QuarnFloat QuarnFloatUndefined();

// The working precision in decimal digits (the host's Digits).
inline long QuarnDigits() { return quarn::host::WorkingDigits(); }
// The binary precision of a float made at the working precision.
inline mpfr_prec_t QuarnWorkingBits() { return quarn::host::WorkingBits(); }

// The host's numeric function of that name ("sin", "cos", "tan", "arctan",
// "exp", "ln", ...) at x, at the working precision. Raises
// "unable to evaluate %1 to floating-point" when the host knows no such
// function.
QuarnFloat QuarnEvalf1(const char* name, const QuarnFloat& x);

#endif
