// The host entries of the distribution families, the variates that invert a
// deviate and the parameter-array overloads, all stamped out from
// families.inc by the templates below.
//
// Every entry does the same: check the argument count (its own message),
// convert the arguments in order (floats through the frame's conversion, so
// that a later argument is not looked at when an earlier one fails; integer
// parameters from a float by truncation), call the computing function and
// hand back its float, or its integer as a host integer.
#include <array>
#include <cstring>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "stats/distributions/distributions.h"
#include "stats/distributions/internal.h"
#include "stats/frame/frame.h"
#include "stats/frame/sample.h"

namespace quarnstats::dist {

namespace {

// Entries whose count message departs from "<entry> expects <n> arguments"
// (and "1 argument").
struct CountMessage {
  const char* entry;
  const char* message;
};
constexpr CountMessage kCountMessageExceptions[] = {
    {"QuarnInverseGaussianRandomVariate", "QuarnInverseGaussianRandomVariate expects 2 argument, received: %1"},
    {"QuarnMoyalRandomVariate", "QuarnMoyalRandomVariate expects 2 argument, received: %1"},
    {"QuarnNormalDeviateApprox", "QuarnNormalDeviateApprox expects 1 arguments, received: %1"},
    {"QuarnErrorRandomVariate", "expected 3 arguments, received: %1"},
    {"QuarnErrorRandomSample", "expected 4 arguments, received: %1"},
};

[[noreturn]] void RaiseCount(QKernel kv, HostObject args, int n, const char* entry) {
  for (const CountMessage& e : kCountMessageExceptions) {
    if (std::strcmp(e.entry, entry) == 0) QuarnRaiseError1(kv, e.message, args);
  }
  std::string message = std::string(entry) + " expects " + std::to_string(n) + (n == 1 ? " argument" : " arguments") +
                        ", received: %1";
  QuarnRaiseError1(kv, message.c_str(), args);
}

// Argument i (from 1) as a parameter of type T: a float, a long (integer
// parameters) truncated from the float, or an int flag (a host boolean).
template <class T>
T ArgumentAs(QKernel kv, HostObject args, int i) {
  if constexpr (std::is_same_v<T, int>) {
    return QuarnToQ_BOOL(kv, QuarnExpseqSelect(kv, args, i));
  } else if constexpr (std::is_same_v<T, long>) {
    return FloatToLong(FloatArg(kv, args, i));
  } else {
    return FloatArg(kv, args, i);
  }
}

// Arguments first, first + 1, ... as a tuple of the parameter types. The
// braced initialiser converts them strictly from left to right.
template <class... P, size_t... I>
std::tuple<P...> ConvertArguments(QKernel kv, HostObject args, int first, std::index_sequence<I...>) {
  return std::tuple<P...>{ArgumentAs<P>(kv, args, first + static_cast<int>(I))...};
}

// A float result as its host float, an integer result as a host integer.
template <class R>
HostObject ResultToHost(QKernel kv, const R& result) {
  if constexpr (std::is_same_v<R, long>) {
    return ToQuarnInteger(kv, result);
  } else {
    return FloatToHost(result);
  }
}

// Probability, Deviate, RandomVariate: every argument is a parameter of fn.
template <class R, class... P>
HostObject CallEntry(QKernel kv, HostObject args, const char* entry, R (*fn)(QKernel, P...)) {
  CheckCount(kv, args, sizeof...(P), entry);
  auto values = ConvertArguments<P...>(kv, args, 1, std::index_sequence_for<P...>{});
  return ResultToHost(kv, std::apply([&](const P&... v) { return fn(kv, v...); }, values));
}

// The accuracy that an entry hands to a non-central probability or deviate,
// from Digits D: 10^-D in double precision (0 from D = 324 on), the same
// with the result rounded to D digits by the host's evalf afterwards, or
// 0.1^(D-1) as a float power.
enum class Tolerance { kDigits, kDigitsEvalf, kTenth };

// Probability and Deviate with a last parameter tol: the arguments are the
// other parameters (floats), tol comes from Digits.
template <Tolerance kind, class... P>
HostObject ToleranceEntry(QKernel kv, HostObject args, const char* entry, QuarnFloat (*fn)(QKernel, P...)) {
  constexpr size_t n = sizeof...(P) - 1;
  CheckCount(kv, args, n, entry);
  return [&]<size_t... I>(std::index_sequence<I...>) {
    // The braced initialiser converts the arguments from left to right.
    std::array<QuarnFloat, n> values{FloatArg(kv, args, static_cast<int>(I) + 1)...};
    const int32_t digits = HostDigits(kv);
    const QuarnFloat tol = kind == Tolerance::kTenth ? pow(QuarnFloat(0.1), static_cast<long>(QuarnDigits() - 1))
                                                     : QuarnFloat(TolerancePower(digits));
    const QuarnFloat result = fn(kv, values[I]..., tol);
    if constexpr (kind == Tolerance::kDigitsEvalf) {
      return EvalQuarnProc(kv, ToQuarnName(kv, "evalf", 1), 2, FloatToHost(result), ToQuarnInteger(kv, digits));
    } else {
      return FloatToHost(result);
    }
  }(std::make_index_sequence<n>{});
}

// RandomSample: (n, parameters...) gives a new vector 1..n of variates,
// drawn in index order; the parameters are converted once.
template <class... P>
HostObject SampleEntry(QKernel kv, HostObject args, const char* entry, QuarnFloat (*variate)(QKernel, P...)) {
  CheckCount(kv, args, sizeof...(P) + 1, entry);
  int32_t n = SampleLength(kv, QuarnExpseqSelect(kv, args, 1));
  auto values = ConvertArguments<P...>(kv, args, 2, std::index_sequence_for<P...>{});
  HostObject result = CreateResultVector(kv, n);
  if (n <= 0) return result;
  auto* block = static_cast<QuarnFloat*>(RTableDataBlock(kv, result));
  for (int32_t k = 0; k < n; ++k) block[k] = std::apply([&](const P&... v) { return variate(kv, v...); }, values);
  return result;
}

// An element of a parameter array as a parameter of type T.
template <class T>
T ArrayElementAs(const QuarnFloat& p) {
  if constexpr (std::is_same_v<T, long>) {
    return FloatToInt(p);
  } else {
    return p;
  }
}

// The explicit variate with its parameters from p[0], p[1], ...
template <class... P, size_t... I>
QuarnFloat CallWithArray(QKernel kv, const QuarnFloat* p, QuarnFloat (*variate)(QKernel, P...),
                         std::index_sequence<I...>) {
  return variate(kv, ArrayElementAs<P>(p[I])...);
}
template <class... P>
QuarnFloat CallWithArray(QKernel kv, const QuarnFloat* p, QuarnFloat (*variate)(QKernel, P...)) {
  return CallWithArray(kv, p, variate, std::index_sequence_for<P...>{});
}

}  // namespace

void CheckCount(QKernel kv, HostObject args, int n, const char* entry) {
  if (QuarnNumArgs(kv, args) != n) RaiseCount(kv, args, n, entry);
}

QuarnFloat HostPi(QKernel kv) { return HostToFloat(ToQuarnName(kv, "Pi", 1)); }

}  // namespace quarnstats::dist

using namespace quarnstats::dist;
using quarnstats::UniformFloat;

// ------------------------------------------------------------ stamped out

// The explicit variate of family N, picked from its overloads (with the
// flag of the Flag kind).
#define STATS_DIST_VARIATE(N, P) static_cast<QuarnFloat (*)(QKernel, STATS_DIST_OPEN P)>(&STATS_##N##RandomVariate_MP)
#define STATS_DIST_VARIATE_Inversion STATS_DIST_VARIATE
#define STATS_DIST_VARIATE_Own STATS_DIST_VARIATE
#define STATS_DIST_VARIATE_Explicit STATS_DIST_VARIATE
#define STATS_DIST_VARIATE_Flag(N, P) \
  static_cast<QuarnFloat (*)(QKernel, STATS_DIST_OPEN P, int)>(&STATS_##N##RandomVariate_MP)

#define STATS_DIST_DEFINE_ENTRY(N, OP, FN) \
  HostObject STATS_Quarn##N##OP##_MP(QKernel kv, HostObject args) { return CallEntry(kv, args, "Quarn" #N #OP, FN); }
#define STATS_DIST_DEFINE_TOLERANCE_ENTRY(N, OP, KIND)                                    \
  HostObject STATS_Quarn##N##OP##_MP(QKernel kv, HostObject args) {                       \
    return ToleranceEntry<Tolerance::KIND>(kv, args, "Quarn" #N #OP, &STATS_##N##OP##_MP); \
  }

#define STATS_DIST_DEFINE_Probability_Real(N, P) STATS_DIST_DEFINE_ENTRY(N, Probability, &STATS_##N##Probability_MP)
#define STATS_DIST_DEFINE_Probability_Mass STATS_DIST_DEFINE_Probability_Real
#define STATS_DIST_DEFINE_Probability_Tolerance(N, P) STATS_DIST_DEFINE_TOLERANCE_ENTRY(N, Probability, kDigits)
#define STATS_DIST_DEFINE_Probability_ToleranceEvalf(N, P) \
  STATS_DIST_DEFINE_TOLERANCE_ENTRY(N, Probability, kDigitsEvalf)
#define STATS_DIST_DEFINE_Probability_ToleranceTenth(N, P) STATS_DIST_DEFINE_TOLERANCE_ENTRY(N, Probability, kTenth)
#define STATS_DIST_DEFINE_Probability_None(N, P)
#define STATS_DIST_DEFINE_Deviate_Real(N, P) STATS_DIST_DEFINE_ENTRY(N, Deviate, &STATS_##N##Deviate_MP)
#define STATS_DIST_DEFINE_Deviate_Integer STATS_DIST_DEFINE_Deviate_Real
#define STATS_DIST_DEFINE_Deviate_IntegerLocal STATS_DIST_DEFINE_Deviate_Real
#define STATS_DIST_DEFINE_Deviate_Tolerance(N, P) STATS_DIST_DEFINE_TOLERANCE_ENTRY(N, Deviate, kDigits)
#define STATS_DIST_DEFINE_Deviate_None(N, P)
#define STATS_DIST_DEFINE_Upper_Real(N, P)                                          \
  STATS_DIST_DEFINE_ENTRY(N, UpperProbability, &STATS_##N##UpperProbability_MP) \
  STATS_DIST_DEFINE_ENTRY(N, UpperDeviate, &STATS_##N##UpperDeviate_MP)
#define STATS_DIST_DEFINE_Upper_None(N, P)
#define STATS_DIST_DEFINE_Density_Real(N, P) STATS_DIST_DEFINE_ENTRY(N, Density, &STATS_##N##Density_MP)
#define STATS_DIST_DEFINE_Density_None(N, P)

// Inversion: one uniform through the deviate. Both generated kinds get the
// parameter-array overload.
#define STATS_DIST_DEFINE_ARRAY_VARIATE(N, P)                                 \
  QuarnFloat STATS_##N##RandomVariate_MP(QKernel kv, const QuarnFloat* p) { \
    return CallWithArray(kv, p, STATS_DIST_VARIATE(N, P));                  \
  }
#define STATS_DIST_DEFINE_Variate_Inversion(N, P, A)                      \
  QuarnFloat STATS_##N##RandomVariate_MP(QKernel kv, STATS_DIST_OPEN P) { \
    return STATS_##N##Deviate_MP(kv, UniformFloat(), STATS_DIST_OPEN A);   \
  }                                                                       \
  STATS_DIST_DEFINE_ARRAY_VARIATE(N, P)
#define STATS_DIST_DEFINE_Variate_Own(N, P, A) STATS_DIST_DEFINE_ARRAY_VARIATE(N, P)
#define STATS_DIST_DEFINE_Variate_Explicit(N, P, A)
#define STATS_DIST_DEFINE_Variate_Flag(N, P, A)

#define STATS_DIST_DEFINE_Sample_Standard(N, P, VARIATE)                                          \
  HostObject STATS_Quarn##N##RandomSample_MP(QKernel kv, HostObject args) {                        \
    return SampleEntry(kv, args, "Quarn" #N "RandomSample", STATS_DIST_VARIATE_##VARIATE(N, P)); \
  }
#define STATS_DIST_DEFINE_Sample_Own(N, P, VARIATE)

#define FAMILY(N, P, A, PROBABILITY, DEVIATE, UPPER, DENSITY, VARIATE, SAMPLE)  \
  STATS_DIST_DEFINE_Probability_##PROBABILITY(N, P)                              \
  STATS_DIST_DEFINE_Deviate_##DEVIATE(N, P)                                      \
  STATS_DIST_DEFINE_Upper_##UPPER(N, P)                                          \
  STATS_DIST_DEFINE_Density_##DENSITY(N, P)                                      \
  STATS_DIST_DEFINE_Variate_##VARIATE(N, P, A)                                   \
  STATS_DIST_DEFINE_ENTRY(N, RandomVariate, STATS_DIST_VARIATE_##VARIATE(N, P))  \
  STATS_DIST_DEFINE_Sample_##SAMPLE(N, P, VARIATE)
#include "stats/distributions/families.inc"
#undef FAMILY

STATS_DIST_DEFINE_ENTRY(Normal, DeviateApprox, &STATS_NormalDeviateApprox_MP)
STATS_DIST_DEFINE_ENTRY(Normal, WApprox, &STATS_NormalWApprox_MP)
