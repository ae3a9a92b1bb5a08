// Helpers shared by the unit tests.
#ifndef QUARN_TESTS_SUPPORT_H
#define QUARN_TESTS_SUPPORT_H

#include <mpfr.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

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

// The rows of the tab-separated file tests/data/<name>, each as its fields;
// blank lines and lines starting with '#' are skipped.
inline std::vector<std::vector<std::string>> DataRows(const std::string& name) {
  const char* dir = std::getenv("QUARN_SOURCE_DIR");
  std::ifstream in(std::string(dir ? dir : ".") + "/tests/data/" + name);
  std::vector<std::vector<std::string>> rows;
  std::string line, field;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::stringstream fields(line);
    rows.emplace_back();
    while (std::getline(fields, field, '\t')) rows.back().push_back(field);
  }
  return rows;
}

}  // namespace quarn::test

#endif
