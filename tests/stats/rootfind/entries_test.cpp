// The root finders' host entries with host procedures: argument counts and
// procedure checks with their exact messages, conversions, the working
// precision raised for the computation and given back, results rounded to
// the caller's digits, errors of the procedure reaching the caller, and
// notices on the "hints" channel.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "stats/rootfind/rootfind.h"
#include "support/support.h"
#include "tests/stats/rootfind/rootfind_support.h"

namespace host = quarn::host;
using namespace quarn::test;

namespace {

// Digits as seen by the procedures during the last calls.
std::vector<long> g_seen_digits;

HostObject SquareFn(QKernel, HostObject, HostObject x) {
  g_seen_digits.push_back(host::WorkingDigits());
  return host::Mul(x, x);
}
HostObject TwiceFn(QKernel, HostObject, HostObject x) { return host::Mul(host::MakeInteger(2), x); }
// x - sqrt(2), left symbolic for evalf to finish.
HostObject SymbolicFn(QKernel, HostObject, HostObject x) {
  return host::Sub(x, host::MakeFunction(host::Name("sqrt"), {host::MakeInteger(2)}));
}
HostObject OneFn(QKernel, HostObject, HostObject) { return host::MakeInteger(1); }
HostObject FailingFn(QKernel, HostObject, HostObject x) { host::Raise("cannot evaluate at %1", x); }
// The logistic distribution function and its density.
HostObject LogisticCdfFn(QKernel, HostObject, HostObject x) {
  HostObject e = host::Evalf(host::MakeFunction(host::Name("exp"), {host::Neg(x)}));
  return host::Div(host::MakeInteger(1), host::Add(host::MakeInteger(1), e));
}
HostObject LogisticPdfFn(QKernel kv, HostObject data, HostObject x) {
  HostObject p = LogisticCdfFn(kv, data, x);
  return host::Mul(p, host::Sub(host::MakeInteger(1), p));
}
// floor(x)^2 for the discrete entries.
HostObject SquareOfFloorFn(QKernel, HostObject, HostObject x) {
  HostObject k = host::MakeInteger(static_cast<long>(std::floor(mpfr_get_d(host::FloatMpfr(x), MPFR_RNDD))));
  return host::Mul(k, k);
}

HostObject Proc(host::NativeProc fn) { return host::MakeProcedure(fn, nullptr, "proc(x) native end"); }
HostObject I(long n) { return host::MakeInteger(n); }
HostObject F(const char* text) { return host::ParseFloat(text); }
HostObject Name(const char* text) { return host::Name(text); }

using Entry = HostObject (*)(QKernel, HostObject);

// Calls an entry with the arguments as one sequence.
HostObject Call(Entry entry, const std::vector<HostObject>& args) { return entry(kv(), host::MakeSeq(args)); }

// Calls an entry that must succeed and give Digits back as it found it.
HostObject CallKeepingDigits(Entry entry, const std::vector<HostObject>& args) {
  const long digits = host::WorkingDigits();
  HostObject r = Call(entry, args);
  EXPECT_EQ(host::WorkingDigits(), digits);
  return r;
}

}  // namespace

TEST(RootFinderEntries, BrentMethodRunsThreeDigitsHigherAndRounds) {
  for (long digits : {10L, 25L, 40L}) {
    ScopedDigits d(digits);
    g_seen_digits.clear();
    HostObject r = CallKeepingDigits(STATS_QuarnBrentMethod_MP, {I(2), Proc(SquareFn), I(0), I(2), I(1), I(100)});
    EXPECT_EQ(host::FloatDigits(r), digits);
    EXPECT_LE(RelativeError(QuarnFloat(r), kSqrt2), std::pow(10.0, 1.0 - static_cast<double>(digits)));
    ASSERT_FALSE(g_seen_digits.empty());
    for (long seen : g_seen_digits) EXPECT_EQ(seen, digits + 3);
  }
}

TEST(RootFinderEntries, HybridBrentEntriesReturnTheRaisedPrecision) {
  ScopedDigits d(10);
  HostObject logistic = Proc(LogisticCdfFn);
  const std::pair<Entry, std::vector<HostObject>> calls[] = {
      {STATS_QuarnBrentMethodHybridLeft_MP, {F("0.999"), logistic, I(0), I(1), I(-1), I(1), I(1), I(100)}},
      {STATS_QuarnBrentMethodHybridRight_MP, {F("0.999"), logistic, I(0), I(1), I(0), I(40), I(1), I(100)}},
      {STATS_QuarnBrentMethodHybridUnbound_MP, {F("0.999"), logistic, I(0), I(1), I(1), I(-1), I(1), I(100)}},
  };
  for (const auto& [entry, args] : calls) {
    HostObject r = CallKeepingDigits(entry, args);
    EXPECT_EQ(host::FloatDigits(r), 13);
    EXPECT_LE(RelativeError(QuarnFloat(r), kLog999), 5e-10);
  }
  // The tolerance factor scales the tolerance 10^-Digits: a factor of 10^6
  // leaves an error far above 10^-10 but within its own bound.
  HostObject r = Call(STATS_QuarnBrentMethodHybridLeft_MP,
                      {F("0.999"), logistic, I(0), I(1), I(-1), I(1), I(1000000), I(100)});
  EXPECT_LE(RelativeError(QuarnFloat(r), kLog999) * 6.9, 4 * 1e-4 * 6.9 + 1e-4);
}

// Results printed at the caller's Digits (references from mpmath), Digits
// given back, and the notices each call shows at level 2 (none unless given).
TEST(RootFinderEntries, ResultsAndNotices) {
  HostObject square = Proc(SquareFn), twice = Proc(TwiceFn), no = host::False(), yes = host::True();
  HostObject floor_square = Proc(SquareOfFloorFn);
  struct Row {
    long digits;
    Entry entry;
    std::vector<HostObject> args;
    const char* printed;
    const char* hint = nullptr;
  };
  const Row rows[] = {
      {25, STATS_QuarnBrentMethod_MP, {I(2), square, I(0), I(2), I(1), I(100)}, "1.414213562373095048801689"},
      // Answers and arguments that evalf turns into numbers: x - sqrt(2) from
      // the procedure, sqrt(4) as the target.
      {30, STATS_QuarnBrentMethod_MP, {I(0), Proc(SymbolicFn), I(1), I(2), I(1), I(100)},
       "1.41421356237309504880168872421"},
      {30, STATS_QuarnNewtonRaphson_MP,
       {host::MakeFunction(Name("sqrt"), {I(4)}), square, twice, I(1), no, Name("unused"), no, Name("unused"), F("1.0"),
        I(100)},
       "1.41421356237309504880168872421"},
      // A barrier whose flag is false is never read: a name that evalf cannot
      // evaluate passes.
      {20, STATS_QuarnNewtonRaphson_MP, {I(2), square, twice, I(1), no, Name("nowhere"), no, Name("nowhere"), F("1.0"),
       I(100)}, "1.4142135623730950488"},
      {20, STATS_QuarnNewtonRaphson_MP, {I(2), square, twice, I(1), yes, I(1), yes, I(2), F("1.0"), I(100)},
       "1.4142135623730950488"},
      {20, STATS_QuarnNewtonRaphsonSafe_MP, {I(2), square, twice, F("1.5"), I(0), I(2), F("1.0"), I(100)},
       "1.4142135623730950488"},
      // The target 1023/1024 is a float at any precision; the root is ln(1023).
      {20, STATS_QuarnNewtonRaphsonHybrid_MP,
       {F("0.9990234375"), Proc(LogisticCdfFn), Proc(LogisticPdfFn), I(0), I(0), I(1), no, I(0), no, I(0), F("1.0"),
        I(200)},
       "6.9304947659516264814"},
      {10, STATS_QuarnNewtonRaphson_MP, {I(2), square, twice, I(100), no, I(0), no, I(0), F("1.0"), I(1)}, "50.01",
       "hints: NewtonRaphson completed the maximum number of iterations without converging"},
      // f = 1 is flat but d = 1: steps of 4 cut at the barrier 3 converge onto it.
      {10, STATS_QuarnNewtonRaphson_MP, {I(5), Proc(OneFn), Proc(OneFn), I(0), no, I(0), yes, I(3), F("1.0"), I(100)},
       "3.", "hints: NewtonRaphson has converged to a barrier point"},
      // The discrete entries give integers; positions are truncated floats:
      // 0.9 is 0, 100.7 is 100.
      {15, STATS_QuarnDiscreteInterpolation_MP, {I(50), floor_square, F("0.9"), F("100.7"), I(100)}, "8"},
      {15, STATS_QuarnDiscreteInterpolationHybridLeft_MP, {I(50), floor_square, I(0), I(100), I(0), I(1), I(100)}, "8"},
      {15, STATS_QuarnDiscreteInterpolationHybridRight_MP, {I(50), floor_square, I(0), I(100), I(30), I(40), I(100)},
       "8"},
      {15, STATS_QuarnDiscreteInterpolationHybridUnbound_MP, {I(50), floor_square, I(0), I(100), I(5), I(3), I(100)},
       "8"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.printed);
    ScopedDigits d(row.digits);
    CaptureHints hints;
    HostObject r = CallKeepingDigits(row.entry, row.args);
    EXPECT_EQ(host::Print(r), row.printed);
    const bool is_float = std::strchr(row.printed, '.') != nullptr;
    EXPECT_EQ(host::KindOf(r), is_float ? host::Kind::Float : host::Kind::Integer);
    if (is_float) {
      EXPECT_EQ(host::FloatDigits(r), row.digits);
    }
    EXPECT_EQ(hints.lines, row.hint ? std::vector<std::string>{row.hint} : std::vector<std::string>{});
  }
}

// Both messages of each entry: the argument count (two arguments given) and
// a name where a procedure belongs. The three discrete hybrid entries share
// their messages.
TEST(RootFinderEntries, ArgumentCountAndProcedureMessages) {
  struct Row {
    Entry entry;
    const char* count_name;
    int count;
    const char* procedure_name;
    int procedures;  // the second argument, or the second and the third
  };
  const Row rows[] = {
      {STATS_QuarnBrentMethod_MP, "QuarnBrentMethod", 6, "QuarnBrentMethod", 1},
      {STATS_QuarnBrentMethodHybridLeft_MP, "QuarnBrentMethodHybridLeft", 8, "QuarnBrentMethodHybridLeft", 1},
      {STATS_QuarnBrentMethodHybridRight_MP, "QuarnBrentMethodHybridRight", 8, "QuarnBrentMethodHybridRight", 1},
      {STATS_QuarnBrentMethodHybridUnbound_MP, "QuarnBrentMethodHybridUnbound", 8, "QuarnBrentMethodHybridUnbound", 1},
      {STATS_QuarnNewtonRaphson_MP, "QuarnNewtonRaphson", 10, "QuarnNewtonRaphson", 2},
      {STATS_QuarnNewtonRaphsonHybrid_MP, "QuarnNewtonRaphsonHybrid", 12, "QuarnNewtonRaphsonHybrid", 2},
      {STATS_QuarnNewtonRaphsonSafe_MP, "QuarnNewtonRaphsonSafe", 8, "QuarnNewtonRaphsonSafe", 2},
      {STATS_QuarnDiscreteInterpolation_MP, "QuarnDiscreteInterpolation", 5, "QuarnDiscreteInterpolation", 1},
      {STATS_QuarnDiscreteInterpolationHybridLeft_MP, "QuarnDiscreteInterpolationHybrid", 7,
       "QuarnDiscreteInterpolationHybridLeft", 1},
      {STATS_QuarnDiscreteInterpolationHybridRight_MP, "QuarnDiscreteInterpolationHybrid", 7,
       "QuarnDiscreteInterpolationHybridLeft", 1},
      {STATS_QuarnDiscreteInterpolationHybridUnbound_MP, "QuarnDiscreteInterpolationHybrid", 7,
       "QuarnDiscreteInterpolationHybridLeft", 1},
  };
  const HostObject p = Proc(SquareFn);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.count_name);
    EXPECT_EQ(ErrorOf([&] { Call(row.entry, {I(1), I(2)}); }),
              std::string(row.count_name) + " expects " + std::to_string(row.count) + " arguments, received: 1, 2");
    for (int bad = 2; bad <= row.procedures + 1; ++bad) {
      std::vector<HostObject> args(static_cast<size_t>(row.count), I(1));
      for (int k = 1; k <= row.procedures; ++k) args[static_cast<size_t>(k)] = p;
      args[static_cast<size_t>(bad - 1)] = Name("notaprocedure");
      EXPECT_EQ(ErrorOf([&] { Call(row.entry, args); }), std::string(row.procedure_name) +
                                                             " expects a procedure as its " +
                                                             (bad == 2 ? "second" : "third") +
                                                             " parameter, received: notaprocedure");
    }
  }
  // No arguments at all, and one too many.
  EXPECT_EQ(ErrorOf([&] { STATS_QuarnBrentMethod_MP(kv(), host::Null()); }),
            "QuarnBrentMethod expects 6 arguments, received: ");
  EXPECT_EQ(ErrorOf([&] { Call(STATS_QuarnDiscreteInterpolation_MP, {I(1), I(2), I(3), I(4), I(5), I(6)}); }),
            "QuarnDiscreteInterpolation expects 5 arguments, received: 1, 2, 3, 4, 5, 6");
}

// Errors at Digits 10 and the Digits they leave: an error of the procedure
// or a failure of the method ends the computation inside, so Digits keeps
// its raised value; a failed conversion comes before Digits is raised; the
// discrete entries never touch Digits.
TEST(RootFinderEntries, ErrorsAndTheDigitsTheyLeave) {
  HostObject square = Proc(SquareFn), failing = Proc(FailingFn), x = Name("notaprocedure"), t = Name("t");
  struct Row {
    Entry entry;
    std::vector<HostObject> args;
    const char* message;  // nullptr: any message
    long digits_after;
  };
  const Row rows[] = {
      {STATS_QuarnBrentMethod_MP, {I(2), failing, I(0), I(2), I(1), I(100)}, "cannot evaluate at 0.", 13},
      {STATS_QuarnNewtonRaphsonSafe_MP, {I(2), square, failing, I(1), I(0), I(2), F("1.0"), I(10)},
       "cannot evaluate at 1.", 13},
      {STATS_QuarnBrentMethod_MP, {I(-2), square, I(0), I(2), I(1), I(100)},
       "root must be bracketed by lower and upper boundaries.", 13},
      {STATS_QuarnBrentMethodHybridUnbound_MP, {I(2), square, I(0), I(9), I(1), I(1), I(1), I(100)},
       "BrentMethodHybridUnbound requires distinct initial points (InitPoint1 != InitPoint2).", 13},
      {STATS_QuarnBrentMethod_MP, {I(2), square, I(0), I(2), F("1.5"), I(100)}, nullptr, 10},
      // Arguments are converted in order: a bad first argument is reported
      // before a bad procedure, and the procedure before a bad third argument.
      {STATS_QuarnBrentMethod_MP, {t, x, I(0), I(2), I(1), I(100)}, "unable to evaluate t to floating-point", 10},
      {STATS_QuarnBrentMethod_MP, {I(2), x, t, I(2), I(1), I(100)},
       "QuarnBrentMethod expects a procedure as its second parameter, received: notaprocedure", 10},
      // A barrier whose flag is true is converted.
      {STATS_QuarnNewtonRaphson_MP,
       {I(2), square, Proc(TwiceFn), I(1), host::True(), Name("nowhere"), host::False(), I(0), F("1.0"), I(100)},
       "unable to evaluate nowhere to floating-point", 10},
      {STATS_QuarnDiscreteInterpolation_MP, {I(2), failing, I(0), I(2), I(100)}, "cannot evaluate at 0.", 10},
      {STATS_QuarnDiscreteInterpolation_MP, {I(500), Proc(SquareOfFloorFn), I(0), I(10), I(100)},
       "root must be bracketed by left and right barriers.", 10},
  };
  for (const Row& row : rows) {
    ScopedDigits d(10);
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    const std::string message = ErrorOf([&] { Call(row.entry, row.args); });
    if (row.message) {
      EXPECT_EQ(message, row.message);
    } else {
      EXPECT_NE(message, "");
    }
    EXPECT_EQ(host::WorkingDigits(), row.digits_after);
  }
}
