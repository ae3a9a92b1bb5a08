// Helpers shared by the unit tests.
#ifndef QUARN_TESTS_SUPPORT_H
#define QUARN_TESTS_SUPPORT_H

#include <mpfr.h>

#include <string>

#include "platform/host/host.h"

namespace quarn::test {

// The process's kernel handle, for calls through the external interface.
inline QKernel kv() { return host::Kernel(); }

// An MPFR number for the scope of a test.
struct Mpfr {
  mpfr_t v;
  explicit Mpfr(mpfr_prec_t bits) { mpfr_init2(v, bits); }
  ~Mpfr() { mpfr_clear(v); }
  Mpfr(const Mpfr&) = delete;
  Mpfr& operator=(const Mpfr&) = delete;
};

// Sets Digits for one scope.
class ScopedDigits {
 public:
  explicit ScopedDigits(long digits) : saved_(host::WorkingDigits()) { host::SetDigits(digits); }
  ~ScopedDigits() { host::SetDigits(saved_); }
  ScopedDigits(const ScopedDigits&) = delete;
  ScopedDigits& operator=(const ScopedDigits&) = delete;

 private:
  long saved_;
};

// Saves the random state and restores it at the end of the scope.
class ScopedRandomState {
 public:
  ScopedRandomState() : saved_(host::RandomState()) {}
  ~ScopedRandomState() { host::SetRandomState(saved_); }

 private:
  std::string saved_;
};

// The message of the host error that running f raises, or "" when none.
template <class F>
std::string ErrorOf(F&& f) {
  try {
    f();
  } catch (const host::Error& e) {
    return e.message();
  }
  return "";
}

}  // namespace quarn::test

#endif
