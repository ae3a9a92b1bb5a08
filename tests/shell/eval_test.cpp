// The evaluator through whole statements: values that must survive the
// collector, limits that must give errors rather than crashes, and the
// state (Digits) that procedures and entries must give back.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/host/host.h"
#include "shell/eval.h"
#include "shell/library.h"
#include "shell/output.h"
#include "shell/session.h"

namespace quarn::shell {
namespace {

// Runs source in a session and returns what it printed, errors included,
// one entry per line.
std::vector<std::string> RunSource(const std::string& source) {
  InitShell();
  std::vector<std::string> lines;
  host::SetOutputSink([&](const std::string& s) { lines.push_back(s); });
  SetErrorSink([&](const std::string& s) { lines.push_back(s); });
  Session session;
  session.Run(source, true);
  host::SetOutputSink([](const std::string& s) { std::printf("%s\n", s.c_str()); });
  SetErrorSink(nullptr);
  return lines;
}

using Lines = std::vector<std::string>;

TEST(Eval, ClosuresTablesAndRTablesSurviveCollections) {
  // Every value below is reachable only through shell frames, closures and
  // tables; a collection between building and using them must keep them.
  Lines out = RunSource(
      "mk := proc(k) local t, v; t := table(); t[1] := evalf(k/3); v := Vector([k, evalf(k/7)]);"
      "  x -> x + t[1] + v[2] end proc:"
      "fs := [seq(mk(i), i = 1..200)]:"
      "for j to 100 do junk := [seq(evalf(i/3), i = 1..200)]: end do:"
      "gc(): fs[7](1.0); evalf(1 + 7/3 + 7/7);"
      "T := table(): for i to 500 do T[i] := [evalf(i/11)] end do: gc(): T[123][1]; evalf(123/11);"
      "unassign('fs', 'T', 'junk', 'mk', 'i', 'j');");
  ASSERT_EQ(out.size(), 4u);
  EXPECT_EQ(out[0], out[1]);
  EXPECT_EQ(out[2], out[3]);
}

TEST(Eval, DeepRecursionIsAnErrorNotACrash) {
  Lines out = RunSource("r := proc(n) if n = 0 then 0 else 1 + r(n - 1) end if end proc: r(200); r(10^7); unassign('r');");
  EXPECT_EQ(out, (Lines{"200", "Error, too many levels of recursion"}));
}

TEST(Eval, ProceduresGiveDigitsBack) {
  Lines out = RunSource(
      "hp := proc(x) Digits := 20; evalf(x) end proc: hp(1/3); Digits;"
      "bad := proc() Digits := 25; error \"failed at %1\", Digits end proc: bad(); Digits;"
      "unassign('hp', 'bad');");
  EXPECT_EQ(out, (Lines{"0.33333333333333333333", "10", "Error, failed at 25", "10"}));
  EXPECT_EQ(host::WorkingDigits(), 10);
}

TEST(Eval, InterruptStopsLoopsAndIsNotCaught) {
  RequestInterrupt();
  Lines out = RunSource("try for i do od catch: \"caught\" end try; \"next statement runs\"; unassign('i');");
  EXPECT_EQ(out, (Lines{"Error, interrupted", "\"next statement runs\""}));
}

// An interrupt that comes inside an entry, here in the conversion of an
// argument that the entry runs under its error trap, must leave as an
// interrupt: not as the entry's "unable to evaluate" message.
TEST(Eval, InterruptPassesTheEntriesTraps) {
  std::string why;
  ASSERT_TRUE(LoadLibrary(DefaultLibraryPath(), &why)) << why;
  RequestInterrupt();
  Lines out = RunSource("QuarnNormalDeviate(3/10, 0, 1); QuarnNormalDeviate(1/2, 0, 1);");
  EXPECT_EQ(out, (Lines{"Error, interrupted", "0."}));
}

TEST(Eval, EqualityOfNumbersIsByValue) {
  Lines out = RunSource(
      "evalb(1 = 1.0), evalb(1/2 = 0.5), evalb(0. = -0.), evalb(1 <> 1.0);"
      "u := evalf(undefined): evalb(u = u), evalb(u < 1), evalb(u >= 1), evalb(u = 1); unassign('u');");
  EXPECT_EQ(out, (Lines{"true, true, true, false", "true, false, false, false"}));
}

TEST(Eval, GlobalsLocalsAndEnvironmentNames) {
  Lines out = RunSource(
      "c := 0: inc := proc() global c; c := c + 1 end proc: inc(): inc(): c;"
      "shadow := proc() c := 100; c end proc: shadow(), c;"
      "_EnvTestLimit := 1: setenv := proc() _EnvTestLimit := 7 end proc: setenv(): _EnvTestLimit;"
      "unassign('c', 'inc', 'shadow', '_EnvTestLimit', 'setenv');");
  EXPECT_EQ(out, (Lines{"2", "100, 2", "7"}));
}

}  // namespace
}  // namespace quarn::shell
