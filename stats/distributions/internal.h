// Helpers shared by the distribution sources of this folder only.
#ifndef QUARN_STATS_DISTRIBUTIONS_INTERNAL_H
#define QUARN_STATS_DISTRIBUTIONS_INTERNAL_H

#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>
#include <tuple>

#include "platform/float/quarnfloat.h"
#include "platform/host/function_ref.h"
#include "platform/host/quarnc.h"
#include "platform/numerics/nag.h"
#include "stats/frame/adapters.h"
#include "stats/frame/sample.h"

namespace quarnstats::dist {

// Every probability and deviate of the library asks the numerical routines
// for the lower tail (tail code 1); the upper-tail entries ask for the upper
// tail (code 2).
inline constexpr Nag_TailProbability kLowerTail = quarn::numerics::TailFromCode(1);
inline constexpr Nag_TailProbability kUpperTail = quarn::numerics::TailFromCode(2);


// A routine's name for an argument and the entry's name for the same value.
struct ArgumentName {
  const char* routine;
  const char* entry;
};

// A routine's failure message as the entry's user reads it. The routine
// names values by its own arguments ("g must be non-negative, received
// g = -1."): the point is x and the level u in every entry, the degrees of
// freedom nu, nu1 and nu2, and `renames` gives the others that differ (the
// gamma routines' shape a is the entry's c). A failure to decide the
// rounding drops the routine's name, since the host names the entry.
std::string EntryMessage(const char* message, std::initializer_list<ArgumentName> renames);

// Raises a deviate routine's failure: the record's message in the entry's
// names (the host's NULL as %1), followed by a pointer to upper_entry when
// that is not null.
[[noreturn]] void RaiseDeviateFailure(QKernel kv, NagError& record, const char* upper_entry,
                                      std::initializer_list<ArgumentName> renames = {});

// Runs routine(&record) with a fresh error record (no printing, no handler)
// and returns its result; a nonzero code raises the record's message, in
// the entry's names (EntryMessage), with the host's NULL as %1.
template <class Routine>
auto CallRoutine(QKernel kv, Routine&& routine, std::initializer_list<ArgumentName> renames = {}) {
  NagError record;
  std::memset(&record, 0, sizeof record);
  auto result = routine(&record);
  if (record.code != 0) {
    record.message[sizeof record.message - 1] = '\0';
    QuarnRaiseError1(kv, EntryMessage(record.message, renames).c_str(), ToQuarnNULL(kv));
  }
  return result;
}

// CallRoutine for a deviate at the level u. When the routine refuses a level
// of exactly 1 (which has no finite deviate), the message goes on to name
// upper_entry, the entry that takes the upper-tail probability 1 - u itself.
template <class Routine>
auto CallDeviateRoutine(QKernel kv, const QuarnFloat& u, const char* upper_entry, Routine&& routine,
                        std::initializer_list<ArgumentName> renames = {}) {
  NagError record;
  std::memset(&record, 0, sizeof record);
  auto result = routine(&record);
  if (record.code != 0) RaiseDeviateFailure(kv, record, u == 1 ? upper_entry : nullptr, renames);
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

// The beta probability I_x(a, b) (STATS_BetaProbability_MP), its routine's
// messages in the caller's names (renames): the negative binomial's p, r and
// x + 1.
QuarnFloat BetaLowerTail(QKernel kv, QuarnFloat x, QuarnFloat a, QuarnFloat b,
                         std::initializer_list<ArgumentName> renames = {});

// The length of a sample entry's first argument (a non-negative integer).
using quarnstats::SampleLength;

// Pi at the working precision, from the host name Pi.
QuarnFloat HostPi(QKernel kv);

// ---------------------------------------------------------- guard digits
// Closed formulas are evaluated with Digits raised by guard digits and
// rounded once to the caller's precision, so that their roundings stay far
// below an ulp of the result. A formula tells its Guard the bits it loses
// beyond those roundings: the condition number of a step (the exponential
// of a large argument multiplies the argument's relative error by it), or a
// cancellation in a sum. When they use up the guard, the formula is
// evaluated again with guard digits for them; a second evaluation that
// rounds to the same float as the first settles the value (an exact zero,
// or a loss that was overestimated).
class Guard {
 public:
  // The next step multiplies the relative error of its inputs by about |c|
  // (infinite: by more than any guard covers; NaN: nothing to cover).
  void Condition(double c);
  // a + b, noting the bits that cancel.
  QuarnFloat Add(const QuarnFloat& a, const QuarnFloat& b);
  double lost_bits() const { return lost_bits_; }

 private:
  void Lose(double bits);
  double lost_bits_ = 0.0;
};

// formula(guard) evaluated at raised Digits and rounded to the working
// precision. Digits is restored on every path, a host error included.
QuarnFloat Guarded(QKernel kv, quarn::FunctionRef<QuarnFloat(Guard&)> formula);

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
