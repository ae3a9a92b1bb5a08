// Helpers of the root finders' tests: functions as callback adapters that
// record where they were evaluated, capture of the host's information
// messages, and accuracy against decimal references.
#ifndef QUARN_TESTS_STATS_ROOTFIND_SUPPORT_H
#define QUARN_TESTS_STATS_ROOTFIND_SUPPORT_H

#include <mpfr.h>

#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/float/quarnfloat.h"
#include "platform/host/host.h"
#include "stats/frame/adapters.h"

namespace quarn::test {

// Roots known exactly, to 80 digits (mpmath): sqrt(2), ln 2, the logistic
// quantiles log(0.01/0.99) and log(0.999/0.001) = ln 999.
inline constexpr const char* kSqrt2 =
    "1.414213562373095048801688724209698078569671875376948073176679737990732478462107";
inline constexpr const char* kLn2 =
    "0.69314718055994530941723212145817656807550013436025525412068000949339362196969472";
inline constexpr const char* kLogit001 =
    "-4.5951198501345899268524340518101807091166879695829160786879563764055622103504546";
inline constexpr const char* kLog999 =
    "6.906754778648553518553831381799024277842549260635884518848995682105472626646188";

// A real function given as a C++ callable; remembers every point it was
// evaluated at, in order.
class Fn : public STATS_QuarnCallbackAdapter_MP {
 public:
  explicit Fn(std::function<QuarnFloat(const QuarnFloat&)> f)
      : STATS_QuarnCallbackAdapter_MP(quarn::host::Kernel()), f_(std::move(f)) {}
  QuarnFloat Evaluate(QuarnFloat x) override {
    points.push_back(x.ToDouble());
    return f_(x);
  }
  size_t calls() const { return points.size(); }

  std::vector<double> points;

 private:
  std::function<QuarnFloat(const QuarnFloat&)> f_;
};

// Shows the "hints" channel at a level for one scope and collects what the
// host prints; afterwards the level is 0 again and output goes to stdout.
class CaptureHints {
 public:
  explicit CaptureHints(int level = 2) {
    quarn::host::SetInfoLevel("hints", level);
    quarn::host::SetOutputSink([this](const std::string& text) { lines.push_back(text); });
  }
  ~CaptureHints() {
    quarn::host::SetInfoLevel("hints", 0);
    quarn::host::SetOutputSink([](const std::string& text) { std::printf("%s\n", text.c_str()); });
  }
  CaptureHints(const CaptureHints&) = delete;
  CaptureHints& operator=(const CaptureHints&) = delete;

  std::vector<std::string> lines;
};

// |x - reference| / |reference| for a decimal reference (given to more
// digits than any test uses), as a double.
inline double RelativeError(const QuarnFloat& x, const char* reference) {
  mpfr_t r, d;
  mpfr_inits2(2000, r, d, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_str(r, reference, 10, MPFR_RNDN);
  mpfr_sub(d, x.Mpfr(), r, MPFR_RNDN);
  mpfr_div(d, d, r, MPFR_RNDN);
  double e = std::abs(mpfr_get_d(d, MPFR_RNDN));
  mpfr_clears(r, d, static_cast<mpfr_ptr>(nullptr));
  return e;
}

// |x - reference| for a decimal reference, as a double.
inline double AbsoluteError(const QuarnFloat& x, const char* reference) {
  mpfr_t r;
  mpfr_init2(r, 2000);
  mpfr_set_str(r, reference, 10, MPFR_RNDN);
  mpfr_sub(r, x.Mpfr(), r, MPFR_RNDN);
  double e = std::abs(mpfr_get_d(r, MPFR_RNDN));
  mpfr_clear(r);
  return e;
}

// A float parsed from decimal text at the working precision.
inline QuarnFloat Float(const char* text) { return QuarnFloat(quarn::host::ParseFloat(text)); }

// 10^(-digits) as a float at the working precision.
inline QuarnFloat PowerOfTen(long digits) { return pow(QuarnFloat(10), -digits); }

}  // namespace quarn::test

#endif
