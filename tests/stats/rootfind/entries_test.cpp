// The root finders' host entries with host procedures: argument counts and
// procedure checks with their exact messages, conversions, the working
// precision raised for the computation and given back, results rounded to
// the caller's digits, errors of the procedure reaching the caller, and
// notices on the "hints" channel.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "stats/rootfind/rootfind.h"
#include "support/support.h"
#include "tests/stats/rootfind/rootfind_support.h"

namespace host = quarn::host;
using quarn::test::kv;
using quarn::test::CaptureHints;
using quarn::test::ErrorOf;
using quarn::test::kLog999;
using quarn::test::kSqrt2;
using quarn::test::RelativeError;
using quarn::test::ScopedDigits;

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
HostObject Seq(const std::vector<HostObject>& items) { return host::MakeSeq(items); }

using Entry = HostObject (*)(QKernel, HostObject);

// Calls an entry with the arguments as one sequence.
HostObject Call(Entry entry, const std::vector<HostObject>& args) { return entry(kv(), Seq(args)); }

}  // namespace

TEST(RootFinderEntries, BrentMethodRoundsToTheCallersDigits) {
  ScopedDigits d(25);
  g_seen_digits.clear();
  HostObject r = Call(STATS_QuarnBrentMethod_MP, {I(2), Proc(SquareFn), I(0), I(2), I(1), I(100)});
  // sqrt(2) to 25 digits (mpmath).
  EXPECT_EQ(host::Print(r), "1.414213562373095048801689");
  EXPECT_EQ(host::FloatDigits(r), 25);
  EXPECT_EQ(host::WorkingDigits(), 25);
  ASSERT_FALSE(g_seen_digits.empty());
  for (long seen : g_seen_digits) EXPECT_EQ(seen, 28);
  for (long digits : {10L, 40L}) {
    ScopedDigits dd(digits);
    r = Call(STATS_QuarnBrentMethod_MP, {I(2), Proc(SquareFn), I(0), I(2), I(1), I(100)});
    EXPECT_EQ(host::FloatDigits(r), digits);
    EXPECT_LE(RelativeError(QuarnFloat(r), kSqrt2), std::pow(10.0, 1.0 - static_cast<double>(digits)));
    EXPECT_EQ(host::WorkingDigits(), digits);
  }
}

TEST(RootFinderEntries, HybridBrentEntriesReturnTheRaisedPrecision) {
  ScopedDigits d(10);
  g_seen_digits.clear();
  HostObject logistic = Proc(LogisticCdfFn);
  HostObject r =
      Call(STATS_QuarnBrentMethodHybridLeft_MP, {F("0.999"), logistic, I(0), I(1), I(-1), I(1), I(1), I(100)});
  EXPECT_EQ(host::FloatDigits(r), 13);
  EXPECT_LE(RelativeError(QuarnFloat(r), kLog999), 5e-10);
  EXPECT_EQ(host::WorkingDigits(), 10);
  r = Call(STATS_QuarnBrentMethodHybridRight_MP, {F("0.999"), logistic, I(0), I(1), I(0), I(40), I(1), I(100)});
  EXPECT_EQ(host::FloatDigits(r), 13);
  EXPECT_LE(RelativeError(QuarnFloat(r), kLog999), 5e-10);
  r = Call(STATS_QuarnBrentMethodHybridUnbound_MP, {F("0.999"), logistic, I(0), I(1), I(1), I(-1), I(1), I(100)});
  EXPECT_EQ(host::FloatDigits(r), 13);
  EXPECT_LE(RelativeError(QuarnFloat(r), kLog999), 5e-10);
  EXPECT_EQ(host::WorkingDigits(), 10);
  // The tolerance factor scales the tolerance 10^-Digits: a factor of 10^6
  // leaves an error far above 10^-10 but within its own bound.
  r = Call(STATS_QuarnBrentMethodHybridLeft_MP, {F("0.999"), logistic, I(0), I(1), I(-1), I(1), I(1000000), I(100)});
  EXPECT_LE(RelativeError(QuarnFloat(r), kLog999) * 6.9, 4 * 1e-4 * 6.9 + 1e-4);
}

TEST(RootFinderEntries, SymbolicAnswersGoThroughEvalf) {
  ScopedDigits d(30);
  HostObject r = Call(STATS_QuarnBrentMethod_MP, {I(0), Proc(SymbolicFn), I(1), I(2), I(1), I(100)});
  // sqrt(2) to 30 digits (mpmath).
  EXPECT_EQ(host::Print(r), "1.41421356237309504880168872421");
  // Arguments that evalf turns into numbers: sqrt(4) as the target.
  HostObject target = host::MakeFunction(host::Name("sqrt"), {I(4)});
  r = Call(STATS_QuarnNewtonRaphson_MP, {target, Proc(SquareFn), Proc(TwiceFn), I(1), host::False(),
                                         host::Name("unused"), host::False(), host::Name("unused"), F("1.0"), I(100)});
  EXPECT_EQ(host::Print(r), "1.41421356237309504880168872421");
}

TEST(RootFinderEntries, NewtonEntries) {
  ScopedDigits d(20);
  HostObject square = Proc(SquareFn), twice = Proc(TwiceFn);
  // A barrier whose flag is false is never read: a name that evalf cannot
  // evaluate passes.
  HostObject r = Call(STATS_QuarnNewtonRaphson_MP, {I(2), square, twice, I(1), host::False(), host::Name("nowhere"),
                                                    host::False(), host::Name("nowhere"), F("1.0"), I(100)});
  EXPECT_EQ(host::Print(r), "1.4142135623730950488");  // sqrt(2) to 20 digits
  EXPECT_EQ(host::WorkingDigits(), 20);
  EXPECT_EQ(ErrorOf([&] {
              Call(STATS_QuarnNewtonRaphson_MP, {I(2), square, twice, I(1), host::True(), host::Name("nowhere"),
                                                 host::False(), I(0), F("1.0"), I(100)});
            }),
            "unable to evaluate nowhere to floating-point");
  r = Call(STATS_QuarnNewtonRaphson_MP,
           {I(2), square, twice, I(1), host::True(), I(1), host::True(), I(2), F("1.0"), I(100)});
  EXPECT_EQ(host::Print(r), "1.4142135623730950488");
  r = Call(STATS_QuarnNewtonRaphsonSafe_MP, {I(2), square, twice, F("1.5"), I(0), I(2), F("1.0"), I(100)});
  EXPECT_EQ(host::Print(r), "1.4142135623730950488");
  EXPECT_EQ(host::FloatDigits(r), 20);
  // The target 1023/1024 is a float at any precision; the root is ln(1023).
  r = Call(STATS_QuarnNewtonRaphsonHybrid_MP, {F("0.9990234375"), Proc(LogisticCdfFn), Proc(LogisticPdfFn), I(0), I(0),
                                               I(1), host::False(), I(0), host::False(), I(0), F("1.0"), I(200)});
  EXPECT_EQ(host::Print(r), "6.9304947659516264814");  // ln(1023) to 20 digits (mpmath)
  EXPECT_EQ(host::WorkingDigits(), 20);
}

TEST(RootFinderEntries, NewtonNoticesAtLevelTwo) {
  ScopedDigits d(10);
  HostObject square = Proc(SquareFn), twice = Proc(TwiceFn);
  CaptureHints hints;
  HostObject r = Call(STATS_QuarnNewtonRaphson_MP,
                      {I(2), square, twice, I(100), host::False(), I(0), host::False(), I(0), F("1.0"), I(1)});
  EXPECT_EQ(host::Print(r), "50.01");
  EXPECT_EQ(hints.lines, std::vector<std::string>{
                             "hints: NewtonRaphson completed the maximum number of iterations without converging"});
  hints.lines.clear();
  r = Call(STATS_QuarnNewtonRaphson_MP,
           {I(5), Proc(OneFn), Proc(OneFn), I(0), host::False(), I(0), host::True(), I(3), F("1.0"), I(100)});
  // f = 1 is flat but d = 1: steps of 4 cut at the barrier 3 converge onto it.
  EXPECT_EQ(host::Print(r), "3.");
  EXPECT_EQ(hints.lines, std::vector<std::string>{"hints: NewtonRaphson has converged to a barrier point"});
}

TEST(RootFinderEntries, DiscreteEntriesLeaveDigitsAlone) {
  ScopedDigits d(15);
  HostObject f = Proc(SquareOfFloorFn);
  g_seen_digits.clear();
  // Positions are truncated floats: 0.9 is 0, 100.7 is 100.
  HostObject r = Call(STATS_QuarnDiscreteInterpolation_MP, {I(50), f, F("0.9"), F("100.7"), I(100)});
  EXPECT_EQ(host::Print(r), "8");
  EXPECT_EQ(host::KindOf(r), host::Kind::Integer);
  r = Call(STATS_QuarnDiscreteInterpolationHybridLeft_MP, {I(50), f, I(0), I(100), I(0), I(1), I(100)});
  EXPECT_EQ(host::Print(r), "8");
  r = Call(STATS_QuarnDiscreteInterpolationHybridRight_MP, {I(50), f, I(0), I(100), I(30), I(40), I(100)});
  EXPECT_EQ(host::Print(r), "8");
  r = Call(STATS_QuarnDiscreteInterpolationHybridUnbound_MP, {I(50), f, I(0), I(100), I(5), I(3), I(100)});
  EXPECT_EQ(host::Print(r), "8");
  EXPECT_EQ(host::WorkingDigits(), 15);
  EXPECT_EQ(ErrorOf([&] {
              Call(STATS_QuarnDiscreteInterpolation_MP, {I(500), f, I(0), I(10), I(100)});
            }),
            "root must be bracketed by left and right barriers.");
  EXPECT_EQ(host::WorkingDigits(), 15);
}

TEST(RootFinderEntries, ArgumentCountMessages) {
  struct Case {
    Entry entry;
    const char* message;
  };
  const Case cases[] = {
      {STATS_QuarnBrentMethod_MP, "QuarnBrentMethod expects 6 arguments, received: 1, 2"},
      {STATS_QuarnBrentMethodHybridLeft_MP, "QuarnBrentMethodHybridLeft expects 8 arguments, received: 1, 2"},
      {STATS_QuarnBrentMethodHybridRight_MP, "QuarnBrentMethodHybridRight expects 8 arguments, received: 1, 2"},
      {STATS_QuarnBrentMethodHybridUnbound_MP, "QuarnBrentMethodHybridUnbound expects 8 arguments, received: 1, 2"},
      {STATS_QuarnNewtonRaphson_MP, "QuarnNewtonRaphson expects 10 arguments, received: 1, 2"},
      {STATS_QuarnNewtonRaphsonHybrid_MP, "QuarnNewtonRaphsonHybrid expects 12 arguments, received: 1, 2"},
      {STATS_QuarnNewtonRaphsonSafe_MP, "QuarnNewtonRaphsonSafe expects 8 arguments, received: 1, 2"},
      {STATS_QuarnDiscreteInterpolation_MP, "QuarnDiscreteInterpolation expects 5 arguments, received: 1, 2"},
      {STATS_QuarnDiscreteInterpolationHybridLeft_MP,
       "QuarnDiscreteInterpolationHybrid expects 7 arguments, received: 1, 2"},
      {STATS_QuarnDiscreteInterpolationHybridRight_MP,
       "QuarnDiscreteInterpolationHybrid expects 7 arguments, received: 1, 2"},
      {STATS_QuarnDiscreteInterpolationHybridUnbound_MP,
       "QuarnDiscreteInterpolationHybrid expects 7 arguments, received: 1, 2"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    EXPECT_EQ(ErrorOf([&] { Call(c.entry, {I(1), I(2)}); }), c.message);
  }
  // No arguments at all, and one too many.
  EXPECT_EQ(ErrorOf([&] { STATS_QuarnBrentMethod_MP(kv(), host::Null()); }),
            "QuarnBrentMethod expects 6 arguments, received: ");
  EXPECT_EQ(ErrorOf([&] {
              Call(STATS_QuarnDiscreteInterpolation_MP, {I(1), I(2), I(3), I(4), I(5), I(6)});
            }),
            "QuarnDiscreteInterpolation expects 5 arguments, received: 1, 2, 3, 4, 5, 6");
}

TEST(RootFinderEntries, ProcedureMessages) {
  HostObject p = Proc(SquareFn);
  HostObject x = host::Name("notaprocedure");
  auto args = [&](int n, int bad) {
    std::vector<HostObject> a(static_cast<size_t>(n), I(1));
    a[1] = p;
    if (n >= 10 || bad == 3) a[2] = p;
    a[static_cast<size_t>(bad - 1)] = x;
    return a;
  };
  struct Case {
    Entry entry;
    int count, bad;
    const char* message;
  };
  const Case cases[] = {
      {STATS_QuarnBrentMethod_MP, 6, 2,
       "QuarnBrentMethod expects a procedure as its second parameter, received: notaprocedure"},
      {STATS_QuarnBrentMethodHybridLeft_MP, 8, 2,
       "QuarnBrentMethodHybridLeft expects a procedure as its second parameter, received: notaprocedure"},
      {STATS_QuarnBrentMethodHybridRight_MP, 8, 2,
       "QuarnBrentMethodHybridRight expects a procedure as its second parameter, received: notaprocedure"},
      {STATS_QuarnBrentMethodHybridUnbound_MP, 8, 2,
       "QuarnBrentMethodHybridUnbound expects a procedure as its second parameter, received: notaprocedure"},
      {STATS_QuarnNewtonRaphson_MP, 10, 2,
       "QuarnNewtonRaphson expects a procedure as its second parameter, received: notaprocedure"},
      {STATS_QuarnNewtonRaphson_MP, 10, 3,
       "QuarnNewtonRaphson expects a procedure as its third parameter, received: notaprocedure"},
      {STATS_QuarnNewtonRaphsonHybrid_MP, 12, 2,
       "QuarnNewtonRaphsonHybrid expects a procedure as its second parameter, received: notaprocedure"},
      {STATS_QuarnNewtonRaphsonHybrid_MP, 12, 3,
       "QuarnNewtonRaphsonHybrid expects a procedure as its third parameter, received: notaprocedure"},
      {STATS_QuarnNewtonRaphsonSafe_MP, 8, 2,
       "QuarnNewtonRaphsonSafe expects a procedure as its second parameter, received: notaprocedure"},
      {STATS_QuarnNewtonRaphsonSafe_MP, 8, 3,
       "QuarnNewtonRaphsonSafe expects a procedure as its third parameter, received: notaprocedure"},
      {STATS_QuarnDiscreteInterpolation_MP, 5, 2,
       "QuarnDiscreteInterpolation expects a procedure as its second parameter, received: notaprocedure"},
      {STATS_QuarnDiscreteInterpolationHybridLeft_MP, 7, 2,
       "QuarnDiscreteInterpolationHybridLeft expects a procedure as its second parameter, received: notaprocedure"},
      {STATS_QuarnDiscreteInterpolationHybridRight_MP, 7, 2,
       "QuarnDiscreteInterpolationHybridLeft expects a procedure as its second parameter, received: notaprocedure"},
      {STATS_QuarnDiscreteInterpolationHybridUnbound_MP, 7, 2,
       "QuarnDiscreteInterpolationHybridLeft expects a procedure as its second parameter, received: notaprocedure"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    EXPECT_EQ(ErrorOf([&] { Call(c.entry, args(c.count, c.bad)); }), c.message);
  }
  // Arguments are converted in order: a bad first argument is reported
  // before a bad procedure.
  EXPECT_EQ(ErrorOf([&] {
              Call(STATS_QuarnBrentMethod_MP, {host::Name("t"), x, I(0), I(2), I(1), I(100)});
            }),
            "unable to evaluate t to floating-point");
  // ... and the procedure before a bad third argument.
  EXPECT_EQ(ErrorOf([&] {
              Call(STATS_QuarnBrentMethod_MP, {I(2), x, host::Name("t"), I(2), I(1), I(100)});
            }),
            "QuarnBrentMethod expects a procedure as its second parameter, received: notaprocedure");
}

TEST(RootFinderEntries, ErrorsLeaveDigitsRaised) {
  ScopedDigits d(10);
  // An error of the procedure reaches the caller unchanged; the computation
  // ended inside, so Digits keeps its raised value.
  EXPECT_EQ(ErrorOf([&] {
              Call(STATS_QuarnBrentMethod_MP, {I(2), Proc(FailingFn), I(0), I(2), I(1), I(100)});
            }),
            "cannot evaluate at 0.");
  EXPECT_EQ(host::WorkingDigits(), 13);
  host::SetDigits(10);
  EXPECT_EQ(ErrorOf([&] {
              Call(STATS_QuarnNewtonRaphsonSafe_MP,
                   {I(2), Proc(SquareFn), Proc(FailingFn), I(1), I(0), I(2), F("1.0"), I(10)});
            }),
            "cannot evaluate at 1.");
  EXPECT_EQ(host::WorkingDigits(), 13);
  host::SetDigits(10);
  // So does a failure of the method.
  EXPECT_EQ(ErrorOf([&] {
              Call(STATS_QuarnBrentMethod_MP, {I(-2), Proc(SquareFn), I(0), I(2), I(1), I(100)});
            }),
            "root must be bracketed by lower and upper boundaries.");
  EXPECT_EQ(host::WorkingDigits(), 13);
  host::SetDigits(10);
  EXPECT_EQ(
      ErrorOf([&] {
        Call(STATS_QuarnBrentMethodHybridUnbound_MP, {I(2), Proc(SquareFn), I(0), I(9), I(1), I(1), I(1), I(100)});
      }),
      "BrentMethodHybridUnbound requires distinct initial points (InitPoint1 != InitPoint2).");
  EXPECT_EQ(host::WorkingDigits(), 13);
  host::SetDigits(10);
  // A failed conversion comes before Digits is raised.
  EXPECT_EQ(ErrorOf([&] {
              Call(STATS_QuarnBrentMethod_MP, {I(2), Proc(SquareFn), I(0), I(2), F("1.5"), I(100)});
            }).empty(),
            false);
  EXPECT_EQ(host::WorkingDigits(), 10);
  // The discrete entries never touch Digits.
  EXPECT_EQ(ErrorOf([&] {
              Call(STATS_QuarnDiscreteInterpolation_MP, {I(2), Proc(FailingFn), I(0), I(2), I(100)});
            }),
            "cannot evaluate at 0.");
  EXPECT_EQ(host::WorkingDigits(), 10);
}
