// Errors of computed floats against high-precision decimal references, and
// the report of the worst error per function and Digits that the accuracy
// tests print and append to $QUARN_ACCURACY_REPORT (bench/run_accuracy.sh
// collects bench/accuracy.md from it).
#ifndef QUARN_TESTS_SUPPORT_ACCURACY_H
#define QUARN_TESTS_SUPPORT_ACCURACY_H

#include <gtest/gtest.h>
#include <mpfr.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/support.h"

namespace quarn::test {

struct UlpError {
  double binary_ulps;
  double decimal_ulps;
};

// |got - ref| in ulps of `bits` binary digits (2^(exponent of ref - bits)),
// and |round(got, digits) - ref| in units of the last of `digits` decimal
// digits. A reference of 0 or "inf" must be met exactly (else both errors
// are 1e300).
inline UlpError MeasureUlps(mpfr_srcptr got, const std::string& ref_text, long digits, long bits) {
  const mpfr_prec_t p = 4 * bits + 256;
  Mpfr ref(p), diff(p), ulp(p), printed(p);
  mpfr_set_str(ref.v, ref_text.c_str(), 10, MPFR_RNDN);
  UlpError e{0.0, 0.0};
  if (mpfr_zero_p(ref.v) || mpfr_inf_p(ref.v) || !mpfr_number_p(got)) {
    bool same = mpfr_equal_p(got, ref.v);
    return same ? e : UlpError{1e300, 1e300};
  }
  mpfr_sub(diff.v, got, ref.v, MPFR_RNDN);
  mpfr_abs(diff.v, diff.v, MPFR_RNDN);
  mpfr_set_ui_2exp(ulp.v, 1, mpfr_get_exp(ref.v) - bits, MPFR_RNDN);
  mpfr_div(ulp.v, diff.v, ulp.v, MPFR_RNDN);
  e.binary_ulps = mpfr_get_d(ulp.v, MPFR_RNDU);
  // The result as printed to `digits` significant digits.
  std::vector<char> buf(digits + 16);
  mpfr_exp_t exp10 = 0;
  mpfr_get_str(buf.data(), &exp10, 10, digits, got, MPFR_RNDN);
  std::string text(buf.data());
  bool negative = !text.empty() && text[0] == '-';
  std::string mantissa = negative ? text.substr(1) : text;
  std::string literal = std::string(negative ? "-" : "") + "0." + mantissa + "e" + std::to_string(exp10);
  mpfr_set_str(printed.v, literal.c_str(), 10, MPFR_RNDN);
  mpfr_sub(diff.v, printed.v, ref.v, MPFR_RNDN);
  mpfr_abs(diff.v, diff.v, MPFR_RNDN);
  // The decimal exponent of ref: ref in [10^e, 10^(e+1)).
  mpfr_abs(ulp.v, ref.v, MPFR_RNDN);
  mpfr_log10(ulp.v, ulp.v, MPFR_RNDD);
  mpfr_floor(ulp.v, ulp.v);
  long e10 = mpfr_get_si(ulp.v, MPFR_RNDN);
  mpfr_set_ui(ulp.v, 10, MPFR_RNDN);
  mpfr_pow_si(ulp.v, ulp.v, e10 - digits + 1, MPFR_RNDN);
  mpfr_div(diff.v, diff.v, ulp.v, MPFR_RNDN);
  e.decimal_ulps = mpfr_get_d(diff.v, MPFR_RNDU);
  return e;
}

// The worst errors per function and Digits, with the row of the largest
// decimal error; a test environment that prints them as a Markdown section
// headed `title` (the first column headed `what`) when the tests end, and
// appends it to $QUARN_ACCURACY_REPORT when that is set. Register one with
// testing::AddGlobalTestEnvironment.
class AccuracyReport : public testing::Environment {
 public:
  AccuracyReport(std::string title, std::string intro, std::string what)
      : title_(std::move(title)), intro_(std::move(intro)), what_(std::move(what)) {}

  void Add(const std::string& name, long digits, const UlpError& e, const std::string& where) {
    Worst& w = worst_[{name, digits}];
    ++w.rows;
    w.binary = std::max(w.binary, e.binary_ulps);
    if (e.decimal_ulps >= w.decimal) {
      w.decimal = e.decimal_ulps;
      w.where = where;
    }
  }

  void TearDown() override {
    if (worst_.empty()) return;
    std::string table = Markdown();
    std::printf("\n%s:\n%s\n", title_.c_str(), table.c_str());
    if (const char* path = std::getenv("QUARN_ACCURACY_REPORT")) {
      std::ofstream out(path, std::ios::app);
      out << "## " << title_ << "\n\n" << intro_ << "\n\n" << table << "\n";
    }
  }

 private:
  std::string Markdown() const {
    std::ostringstream md;
    md << "| " << what_ << " | Digits | rows | worst (binary ulps) | worst (decimal ulps, printed) | worst row |\n";
    md << "|---|---|---|---|---|---|\n";
    for (const auto& [key, w] : worst_) {
      char line[512];
      std::snprintf(line, sizeof line, "| %s | %ld | %d | %.3g | %.3g | %s |\n", key.first.c_str(), key.second,
                    w.rows, w.binary, w.decimal, w.where.c_str());
      md << line;
    }
    return md.str();
  }

  struct Worst {
    double binary = 0.0;
    double decimal = 0.0;
    int rows = 0;
    std::string where;
  };
  std::string title_, intro_, what_;
  std::map<std::pair<std::string, long>, Worst> worst_;
};

}  // namespace quarn::test

#endif
