// Helpers shared by the distribution sources of this folder only.
#ifndef QUARN_STATS_DISTRIBUTIONS_INTERNAL_H
#define QUARN_STATS_DISTRIBUTIONS_INTERNAL_H

#include <cstring>
#include <tuple>

#include "platform/float/quarnfloat.h"
#include "platform/host/quarnc.h"
#include "platform/numerics/nag.h"
#include "stats/frame/adapters.h"
#include "stats/frame/sample.h"

namespace quarnstats::dist {

// Every probability and deviate of the library asks the numerical routines
// for the lower tail (tail code 1).
inline constexpr Nag_TailProbability kLowerTail = quarn::numerics::TailFromCode(1);

// Runs routine(&record) with a fresh error record (no printing, no handler)
// and returns its result; a nonzero code raises the record's message with the
// host's NULL as %1.
template <class Routine>
auto CallRoutine(QKernel kv, Routine&& routine) {
  NagError record;
  std::memset(&record, 0, sizeof record);
  auto result = routine(&record);
  if (record.code != 0) {
    record.message[sizeof record.message - 1] = '\0';
    QuarnRaiseError1(kv, record.message, ToQuarnNULL(kv));
  }
  return result;
}

// Raises the entry's argument-count message with the argument sequence as %1
// unless args has n elements. `entry` is the host name, e.g.
// "QuarnBetaDeviate"; the message is "<entry> expects <n> arguments,
// received: %1" apart from the few entries whose wording differs.
void CheckCount(QKernel kv, HostObject args, int n, const char* entry);

// A distribution's cumulative probability at x with its parameters fixed,
// as a callback adapter for the root finders: Evaluate(x) is
// Probability(kernel, x, parameters...).
template <auto Probability, class... P>
class ProbabilityAdapter : public STATS_QuarnCallbackAdapter_MP {
 public:
  ProbabilityAdapter(QKernel kv, P... parameters) : STATS_QuarnCallbackAdapter_MP(kv), parameters_(parameters...) {}
  QuarnFloat Evaluate(QuarnFloat x) override {
    return std::apply([&](const P&... p) { return Probability(kv_, x, p...); }, parameters_);
  }

 private:
  std::tuple<P...> parameters_;
};

// The length of a sample entry's first argument (a non-negative integer).
using quarnstats::SampleLength;

// Pi at the working precision, from the host name Pi.
QuarnFloat HostPi(QKernel kv);

// ---------------------------------------------------------------- ziggurats
// Standard normal and standard exponential variates by 256-layer ziggurats
// (Marsaglia and Tsang, "The ziggurat method for generating random
// variables", J. Stat. Software 5(8), 2000) at the working precision. The
// tables are built on first use and rebuilt whenever Digits exceeds the
// precision they were built at.

QuarnFloat StandardNormal();
// mu + sigma Z (sigma Z rounded first), made as one float.
QuarnFloat ScaledNormal(const QuarnFloat& mu, const QuarnFloat& sigma);
// b E, made as one float.
QuarnFloat ScaledExponential(const QuarnFloat& b);

// The Digits the tables were last built at; 0 before the first variate.
long NormalTablesDigits();
long ExponentialTablesDigits();

}  // namespace quarnstats::dist

#endif
