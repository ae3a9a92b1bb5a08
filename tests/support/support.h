// Helpers shared by the unit tests.
#ifndef QUARN_TESTS_SUPPORT_H
#define QUARN_TESTS_SUPPORT_H

#include <string>

#include "platform/host/host.h"

namespace quarn::test {

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
