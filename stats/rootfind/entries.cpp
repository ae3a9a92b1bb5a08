// The root finders' host entries, stamped out from the table in entries.inc.
// Each checks its argument count, converts its arguments in order (a host
// procedure becomes a procedure adapter on the entry's stack), calls the
// computing function and converts the result back. The real-valued entries
// compute at three digits more than the caller's Digits, with a tolerance
// made from the caller's Digits, and assign the caller's Digits back
// afterwards. A raise ends the call where it happens: after a failure of
// the computation (or of the host procedure) Digits keeps the raised value.
#include <cstddef>
#include <string>
#include <tuple>
#include <type_traits>

#include "stats/frame/adapters.h"
#include "stats/frame/frame.h"
#include "stats/rootfind/rootfind.h"

namespace quarnstats {

namespace {

enum class Precision { Rounded, Raised, Integer };

// Whether an argument kind of entries.inc converts to the parameter type T.
template <class T>
constexpr bool KindFits(char kind) {
  if constexpr (std::is_same_v<T, QuarnFloat>) {
    return kind == 'f' || kind == 'g' || kind == 'k' || kind == 't';
  } else if constexpr (std::is_same_v<T, STATS_QuarnCallbackAdapter_MP*>) {
    return kind == 'p';
  } else if constexpr (std::is_same_v<T, long>) {
    return kind == 'n' || kind == 'i';
  } else if constexpr (std::is_same_v<T, int>) {
    return kind == 'b';
  } else {
    return false;
  }
}

// Reads an entry's arguments one after the other, in argument order, and
// owns the procedure adapters that the computing function is given.
class ArgumentReader {
 public:
  ArgumentReader(QKernel kv, HostObject args, const char* kinds, const char* procedure_name)
      : kv_(kv), args_(args), kinds_(kinds), procedure_name_(procedure_name), adapters_{{kv, nullptr}, {kv, nullptr}} {}
  ArgumentReader(const ArgumentReader&) = delete;
  ArgumentReader& operator=(const ArgumentReader&) = delete;

  // The next argument, converted by its kind to T.
  template <class T>
  T Next() {
    ++position_;
    char kind = kinds_[position_ - 1];
    HostObject a = QuarnExpseqSelect(kv_, args_, position_);
    if constexpr (std::is_same_v<T, QuarnFloat>) {
      switch (kind) {
        case 'g':
          return flag_ ? HostToFloat(a) : QuarnFloat(0.0);
        case 'k':  // converted to a double, then to a float
          return Tolerance(QuarnFloat(static_cast<double>(QuarnToInteger32(kv_, a))));
        case 't':
          return Tolerance(HostToFloat(a));
        default:
          return HostToFloat(a);
      }
    } else if constexpr (std::is_same_v<T, STATS_QuarnCallbackAdapter_MP*>) {
      static const char* const kOrdinals[] = {"first", "second", "third", "fourth"};
      std::string message = std::string(procedure_name_) + " expects a procedure as its " + kOrdinals[position_ - 1] +
                            " parameter, received: %1";
      STATS_QuarnProcAdapter_MP& adapter = adapters_[procedures_++];
      adapter.SetProcedure(ProcedureArg(kv_, args_, position_, message.c_str()));
      return &adapter;
    } else if constexpr (std::is_same_v<T, long>) {
      if (kind == 'i') return FloatToLong(HostToFloat(a));
      return QuarnToInteger32(kv_, a);
    } else {
      static_assert(std::is_same_v<T, int>);
      flag_ = QuarnToQ_BOOL(kv_, a);
      return flag_;
    }
  }

  // The caller's Digits, read with the tolerance factor.
  int32_t digits() const { return digits_; }

 private:
  // factor * 10^(-Digits), the power taken in double precision.
  QuarnFloat Tolerance(const QuarnFloat& factor) {
    digits_ = HostDigits(kv_);
    return factor * QuarnFloat(TolerancePower(digits_));
  }

  QKernel kv_;
  HostObject args_;
  const char* kinds_;
  const char* procedure_name_;
  int position_ = 0;  // of the argument read last, from 1
  int flag_ = 0;      // the flag read last
  int32_t digits_ = 0;
  int procedures_ = 0;
  STATS_QuarnProcAdapter_MP adapters_[2];
};

// The computing function's signature: its result and its parameters after
// the kernel handle.
template <class F>
struct Signature;
template <class R, class... A>
struct Signature<R (*)(QKernel, A...)> {
  static constexpr int kCount = static_cast<int>(sizeof...(A));

  static constexpr bool Matches(const char* kinds) {
    std::size_t i = 0;
    bool ok = true;
    ((ok = ok && kinds[i] != '\0' && KindFits<A>(kinds[i]), ++i), ...);
    return ok && kinds[i] == '\0';
  }

  // Braced initialisation converts the arguments strictly left to right.
  static std::tuple<A...> Read(ArgumentReader& reader) { return std::tuple<A...>{reader.Next<A>()...}; }
};

// One entry: the count check, the arguments in order, then the computation.
// The real-valued finders run with Digits raised by 3 (the tolerance was
// made from the caller's Digits while the arguments were read); the value
// QuarnAssign hands back is the caller's Digits, assigned back afterwards,
// and a Rounded result is evalf'd to the caller's digits.
template <auto Compute, Precision P>
HostObject RunEntry(QKernel kv, HostObject args, const char* kinds, const char* count_message,
                    const char* procedure_name) {
  using Sig = Signature<decltype(Compute)>;
  ExpectArgs(kv, args, Sig::kCount, count_message);
  ArgumentReader reader(kv, args, kinds, procedure_name);
  auto values = Sig::Read(reader);
  auto call = [&] { return std::apply([&](auto&... a) { return Compute(kv, a...); }, values); };
  if constexpr (P == Precision::Integer) {
    return ToQuarnInteger(kv, call());
  } else {
    int32_t d = reader.digits();
    HostObject digits_name = ToQuarnName(kv, "Digits", 1);
    HostObject kept = QuarnAssign(kv, digits_name, ToQuarnInteger(kv, d + 3));
    HostObject result = FloatToHost(call());
    QuarnAssign(kv, digits_name, kept);
    if constexpr (P == Precision::Rounded) {
      return EvalQuarnProc(kv, ToQuarnName(kv, "evalf", 1), 2, result, ToQuarnInteger(kv, d));
    } else {
      return result;
    }
  }
}

}  // namespace

}  // namespace quarnstats

#define ROOTFIND_ENTRY(NAME, PRECISION, KINDS, COUNT_MESSAGE, PROCEDURE_NAME)                                        \
  static_assert(quarnstats::Signature<decltype(&quarnstats::NAME)>::Matches(KINDS),                                  \
                "the argument kinds of " #NAME " do not fit its parameters");                                        \
  HostObject STATS_Quarn##NAME##_MP(QKernel kv, HostObject args) {                                                   \
    return quarnstats::RunEntry<&quarnstats::NAME, quarnstats::Precision::PRECISION>(kv, args, KINDS, COUNT_MESSAGE, \
                                                                                     PROCEDURE_NAME);                \
  }
#include "stats/rootfind/entries.inc"
#undef ROOTFIND_ENTRY
