// Evaluation of closed formulas with guard digits (internal.h), and the
// routines' deviate failures that point to an upper-tail entry.
#include <algorithm>
#include <cmath>
#include <string>

#include "stats/distributions/internal.h"

namespace quarnstats::dist {

namespace {

constexpr double kBitsPerDigit = 3.321928094887362;
// Guard digits of a first evaluation: about 33 bits, enough for a handful of
// roundings and a condition up to 2^20.
constexpr long kFirstGuardDigits = 10;
// Bits of the guard that must remain after the losses a formula reports.
constexpr double kMarginBits = 12.0;
// A loss that no guard covers (a sum cancelling to 0, an infinite condition).
constexpr double kTotalLoss = 1e9;
constexpr int kMaxEvaluations = 3;
// Digits the host accepts.
constexpr long kMaxDigits = 10000000;

// Digits assigned for one scope through the host, and the previous value
// assigned back when it ends.
class RaisedDigits {
 public:
  RaisedDigits(QKernel kv, long digits)
      : kv_(kv), name_(ToQuarnName(kv, "Digits", 1)), kept_(QuarnAssign(kv, name_, ToQuarnInteger(kv, digits))) {}
  ~RaisedDigits() { QuarnAssign(kv_, name_, kept_); }
  RaisedDigits(const RaisedDigits&) = delete;
  RaisedDigits& operator=(const RaisedDigits&) = delete;

 private:
  QKernel kv_;
  HostObject name_;
  HostObject kept_;
};

bool SameFloat(const QuarnFloat& a, const QuarnFloat& b) {
  return mpfr_equal_p(a.Mpfr(), b.Mpfr()) || (IsQuarnFloatUndefined(a) && IsQuarnFloatUndefined(b));
}

}  // namespace

void Guard::Lose(double bits) { lost_bits_ = std::max(lost_bits_, bits); }

// (A NaN condition comes of an undefined input, whose value no guard changes.)
void Guard::Condition(double c) {
  if (std::isnan(c)) return;
  Lose(std::isfinite(c) ? std::log2(1.0 + std::fabs(c)) : kTotalLoss);
}

QuarnFloat Guard::Add(const QuarnFloat& a, const QuarnFloat& b) {
  QuarnFloat sum = a + b;
  mpfr_srcptr s = sum.Mpfr(), x = a.Mpfr(), y = b.Mpfr();
  if (!mpfr_number_p(s) || !mpfr_number_p(x) || !mpfr_number_p(y)) return sum;
  if (mpfr_zero_p(s)) {
    if (!mpfr_zero_p(x) || !mpfr_zero_p(y)) Lose(kTotalLoss);
    return sum;
  }
  mpfr_exp_t largest = mpfr_get_emin();
  if (!mpfr_zero_p(x)) largest = std::max(largest, mpfr_get_exp(x));
  if (!mpfr_zero_p(y)) largest = std::max(largest, mpfr_get_exp(y));
  Lose(static_cast<double>(largest - mpfr_get_exp(s)));
  return sum;
}

QuarnFloat Guarded(QKernel kv, quarn::FunctionRef<QuarnFloat(Guard&)> formula) {
  const long digits = QuarnDigits();
  long extra = kFirstGuardDigits;
  QuarnFloat previous;
  for (int evaluation = 1;; ++evaluation) {
    Guard guard;
    QuarnFloat wide;
    {
      RaisedDigits raised(kv, std::min(kMaxDigits, digits + extra));
      wide = formula(guard);
    }
    QuarnFloat value = QuarnFloat::FromMpfr(wide.Mpfr());
    const double lost = guard.lost_bits();
    if (lost + kMarginBits <= extra * kBitsPerDigit) return value;
    if ((evaluation > 1 && SameFloat(value, previous)) || evaluation == kMaxEvaluations) return value;
    previous = value;
    // Enough for the loss with 32 bits to spare, within three times the
    // caller's Digits (a loss beyond that leaves the value to the second
    // evaluation's agreement).
    const double wanted = std::ceil((std::min(lost, 3.0 * kBitsPerDigit * digits + 300.0) + kMarginBits + 32.0) /
                                    kBitsPerDigit);
    extra = std::max(2 * extra, static_cast<long>(wanted));
  }
}

void RaiseDeviateFailure(QKernel kv, NagError& record, const char* upper_entry,
                         std::initializer_list<ArgumentName> renames) {
  record.message[sizeof record.message - 1] = '\0';
  std::string message = EntryMessage(record.message, renames);
  if (upper_entry != nullptr) {
    message += std::string(" A level of 1 has no finite deviate; for levels near 1, ") + upper_entry +
               " takes the upper-tail probability 1 - u itself.";
  }
  QuarnRaiseError1(kv, message.c_str(), ToQuarnNULL(kv));
}

}  // namespace quarnstats::dist
