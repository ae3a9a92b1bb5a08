// Helpers shared by the distribution sources of this folder only.
#ifndef QUARN_STATS_DISTRIBUTIONS_INTERNAL_H
#define QUARN_STATS_DISTRIBUTIONS_INTERNAL_H

#include <cstring>
#include <initializer_list>
#include <string>

#include "platform/float/quarnfloat.h"
#include "platform/host/quarnc.h"
#include "platform/numerics/nag.h"

namespace quarnstats::dist {

// Every probability and deviate of the library asks the numerical routines
// for the lower tail (tail code 1).
inline constexpr Nag_TailProbability kLowerTail = quarn::numerics::TailFromCode(1);

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

// Raises the entry's argument-count message with the argument sequence as %1
// unless args has n elements. `entry` is the host name, e.g.
// "QuarnBetaDeviate"; the message is "<entry> expects <n> arguments,
// received: %1" apart from the few entries whose wording differs.
void CheckCount(QKernel kv, HostObject args, int n, const char* entry);

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
