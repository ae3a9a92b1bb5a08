// The call frame's conversions, procedure evaluation, adapters and library
// state.
#include <gtest/gtest.h>

#include "platform/host/host.h"
#include "stats/frame/adapters.h"
#include "stats/frame/frame.h"
#include "support/support.h"

namespace host = quarn::host;
using namespace quarnstats;
using quarn::test::ErrorOf;
using quarn::test::kv;
using quarn::test::ScopedDigits;

namespace {

// Native host procedures for the tests; the data handle selects behaviour.
HostObject Square(QKernel, HostObject, HostObject args) { return host::Mul(args, args); }
HostObject SinOf(QKernel, HostObject, HostObject args) { return host::MakeFunction(host::Name("sin"), {args}); }
HostObject Fails(QKernel, HostObject, HostObject args) { host::Raise("my procedure failed at %1", args); }
HostObject Symbol(QKernel, HostObject, HostObject) { return host::Name("y"); }
HostObject SumOfArgs(QKernel, HostObject, HostObject args) {
  HostObject sum = host::MakeInteger(0);
  for (HostObject a : host::Elements(args)) sum = host::Add(sum, a);
  return sum;
}
// Collects in the middle of every tenth call.
HostObject CollectingSquare(QKernel kv, HostObject, HostObject args) {
  static int calls = 0;
  if (++calls % 10 == 0) host::Collect();
  return host::Mul(args, args);
}

HostObject Proc(host::NativeProc fn) { return host::MakeProcedure(fn, nullptr, "proc() native end"); }

}  // namespace

TEST(Conversions, FloatsAreTakenAsTheyAreAndOthersEvaluated) {
  ScopedDigits digits(25);
  HostObject f = host::MakeFloat(2.5);
  EXPECT_TRUE(IsSoftwareFloat(f));
  EXPECT_EQ(HostToFloat(f).Handle(), f);  // no evalf, no copy
  HostObject three = host::MakeInteger(3);
  EXPECT_FALSE(IsSoftwareFloat(three));
  EXPECT_EQ(host::Print(HostToFloat(three).Handle()), "3.");
  // 1/7 to 25 digits (mpmath: 0.1428571428571428571428571).
  HostObject seventh = host::MakeRational(host::MakeInteger(1), host::MakeInteger(7));
  EXPECT_EQ(host::Print(HostToFloat(seventh).Handle()), "0.1428571428571428571428571");
  {
    ScopedDigits more(35);
    EXPECT_EQ(host::Print(HostToFloat(seventh).Handle()), "0.14285714285714285714285714285714286");
  }
}

TEST(Conversions, FailedEvaluationsGetTheLibraryMessage) {
  HostObject x = host::Name("x");
  EXPECT_EQ(ErrorOf([&] { HostToFloat(x); }), "unable to evaluate x to floating-point");
  // evalf itself raises on three arguments: the message quotes the argument.
  HostObject seq = host::MakeSeq({host::MakeInteger(1), host::MakeInteger(2), host::MakeInteger(3)});
  EXPECT_EQ(ErrorOf([&] { HostToFloat(seq); }), "unable to evaluate 1, 2, 3 to floating-point");

  QuarnFloat out(7.0);
  EXPECT_EQ(TryHostToFloat(x, &out), 0);
  EXPECT_EQ(out.ToDouble(), 0.0);
  EXPECT_EQ(TryHostToFloat(seq, &out), 0);
  EXPECT_EQ(TryHostToFloat(host::MakeFunction(host::Name("sqrt"), {host::MakeInteger(4)}), &out), 1);
  EXPECT_EQ(out.ToDouble(), 2.0);
}

TEST(Conversions, ElementsOfEachKind) {
  ScopedDigits digits(20);  // enough for every double to convert exactly
  RTableData e{};
  e.float32 = 0.1f;
  EXPECT_EQ(ElementToFloat(e, RTABLE_FLOAT32).ToDouble(), static_cast<double>(0.1f));
  e.float64 = -1e-300;
  EXPECT_EQ(ElementToFloat(e, RTABLE_FLOAT64).ToDouble(), -1e-300);
  e.dag = host::MakeInteger(-4);
  EXPECT_EQ(ElementToFloat(e, RTABLE_DAG).ToDouble(), -4.0);
  e.dag = host::Name("z");
  EXPECT_EQ(ErrorOf([&] { ElementToFloat(e, RTABLE_DAG); }), "expected quarn float, received z");
  EXPECT_EQ(FloatToLong(QuarnFloat(-2.75)), -2);
  EXPECT_TRUE(IsQuarnFloatUndefined(UndefinedFloat()));
}

TEST(Conversions, DigitsAndToleranceAndIterationLimit) {
  ScopedDigits digits(17);
  EXPECT_EQ(HostDigits(kv()), 17);
  EXPECT_EQ(WorkingDigits(), 17);
  EXPECT_EQ(TolerancePower(3), 1e-3);
  EXPECT_EQ(TolerancePower(324), 0.0);
  HostObject limit = host::Name("_EnvStatisticsIterations");
  EXPECT_EQ(IterationLimit(kv()), 100);
  host::AssignName(limit, host::MakeInteger(250));
  EXPECT_EQ(IterationLimit(kv()), 250);
  host::AssignName(limit, nullptr);
}

// A call record evaluates its procedure at its float arguments, evalfs a
// symbolic result, and lets the procedure's own errors through.
TEST(CallRecord, EvaluatesAtFloatArgumentsAndPassesErrorsOn) {
  ScopedDigits digits(30);
  QuarnFloat args[3] = {QuarnFloat(), QuarnFloat(1.5), QuarnFloat(2.25)};
  ProcedureCallRecord sum{Proc(SumOfArgs), 0, 2, args};
  EXPECT_EQ(EvaluateCallRecord(&sum).ToDouble(), 3.75);
  ProcedureCallRecord sine{Proc(SinOf), 0, 1, args};
  // sin(1.5) to 30 digits (mpmath).
  EXPECT_EQ(host::Print(EvaluateCallRecord(&sine).Handle()), "0.997494986604054430941723371141");
  ProcedureCallRecord failing{Proc(Fails), 0, 1, args};
  EXPECT_EQ(ErrorOf([&] { EvaluateCallRecord(&failing); }), "my procedure failed at 1.5");
  ProcedureCallRecord symbolic{Proc(Symbol), 0, 1, args};
  EXPECT_EQ(ErrorOf([&] { EvaluateCallRecord(&symbolic); }), "unable to evaluate y to floating-point");
}

TEST(Adapters, ProcedureAdapterEvaluatesUntrapped) {
  ScopedDigits digits(20);
  STATS_QuarnProcAdapter_MP square(kv(), Proc(Square));
  EXPECT_EQ(square.Evaluate(QuarnFloat(1.5)).ToDouble(), 2.25);
  STATS_QuarnProcAdapter_MP sine(kv(), Proc(SinOf));
  // sin(0.5) to 20 digits (mpmath).
  EXPECT_EQ(host::Print(sine.Evaluate(QuarnFloat(0.5)).Handle()), "0.47942553860420300027");
  STATS_QuarnProcAdapter_MP failing(kv(), Proc(Fails));
  STATS_QuarnCallbackAdapter_MP& base = failing;
  EXPECT_EQ(ErrorOf([&] { base.Evaluate(QuarnFloat(2.0)); }), "my procedure failed at 2.");
  LibraryProcAdapter.SetProcedure(Proc(Square));
  EXPECT_EQ(EvaluateLibraryProcedure(QuarnFloat(3.0)).ToDouble(), 9.0);
}

TEST(Adapters, ResultsSurviveCollectionsInsideCallbacks) {
  ScopedDigits digits(30);
  STATS_QuarnProcAdapter_MP square(kv(), Proc(CollectingSquare));
  std::vector<QuarnFloat> results;
  for (int i = 0; i < 2000; ++i) results.push_back(square.Evaluate(QuarnFloat(i) / 7));
  for (int i = 0; i < 2000; ++i) {
    QuarnFloat expected = (QuarnFloat(i) / 7) * (QuarnFloat(i) / 7);
    ASSERT_TRUE(results[static_cast<size_t>(i)] == expected) << i;
  }
}

TEST(LibraryState, InitialiseIsIdempotentUntilTerminated) {
  size_t protected_before = host::ProtectedCount();
  EXPECT_EQ(STATS_StatsInitialize_MP(kv(), host::Null()), host::True());
  EXPECT_EQ(host::ProtectedCount(), protected_before);  // nothing changes on a second call
  EXPECT_EQ(STATS_StatsTerminate_MP(kv(), host::Null()), host::True());
  EXPECT_EQ(STATS_StatsInitialize_MP(kv(), host::Null()), host::True());
  // A fresh initialise protects the evalf name again; the first protection
  // was never released.
  EXPECT_EQ(host::ProtectedCount(), protected_before + 1);
  QuarnGcAllow(kv(), host::Name("evalf"));
  EXPECT_EQ(host::Print(HostToFloat(host::MakeInteger(2)).Handle()), "2.");
}
