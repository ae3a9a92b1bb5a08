// Shorthands shared by the host kernel's tests.
#ifndef QUARN_TESTS_PLATFORM_HOST_TEST_UTIL_H
#define QUARN_TESTS_PLATFORM_HOST_TEST_UTIL_H

#include <mpfr.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "platform/host/quarnc.h"
#include "support/support.h"

namespace quarn::test::host_util {

namespace host = quarn::host;

inline QKernel K() { return host::Kernel(); }
inline HostObject I(long n) { return host::MakeInteger(n); }
inline HostObject Big(const char* digits) { return host::MakeIntegerFromString(digits); }
inline HostObject Q(long n, long d) { return host::MakeRational(I(n), I(d)); }
inline HostObject F(const std::string& text) { return host::ParseFloat(text); }
inline HostObject S(const char* text) { return host::MakeString(text); }
inline HostObject N(const char* text) { return host::Name(text); }
inline HostObject L(const std::vector<HostObject>& e) { return host::MakeList(e); }
inline HostObject Op(const char* op, const std::vector<HostObject>& args) { return host::MakeFunction(N(op), args); }
inline std::string P(HostObject h) { return host::Print(h); }

inline std::string SourceDir() {
  if (const char* dir = std::getenv("QUARN_SOURCE_DIR")) return dir;
  std::string file = __FILE__;
  return file.substr(0, file.rfind("/tests/"));
}

// |x - reference| in units of the reference's d-th significant digit; the
// reference is a decimal string or, when null, the float y.
inline double UnitsOfDigit(HostObject x, const char* reference, HostObject y, long d) {
  mpfr_t ref, diff, unit;
  mpfr_inits2(4 * d + 64, ref, diff, unit, static_cast<mpfr_ptr>(nullptr));
  if (reference) mpfr_set_str(ref, reference, 10, MPFR_RNDN);
  else mpfr_set(ref, host::FloatMpfr(y), MPFR_RNDN);
  mpfr_sub(diff, host::FloatMpfr(x), ref, MPFR_RNDN);
  mpfr_abs(ref, ref, MPFR_RNDN);
  mpfr_log10(unit, ref, MPFR_RNDN);
  long e = mpfr_get_si(unit, MPFR_RNDD) + 1;  // ref = 0.ddd * 10^e
  mpfr_set_ui(unit, 10, MPFR_RNDN);
  mpfr_pow_si(unit, unit, e - d, MPFR_RNDN);
  mpfr_div(diff, diff, unit, MPFR_RNDN);
  double units = std::fabs(mpfr_get_d(diff, MPFR_RNDN));
  mpfr_clears(ref, diff, unit, static_cast<mpfr_ptr>(nullptr));
  return units;
}

}  // namespace quarn::test::host_util

#endif
