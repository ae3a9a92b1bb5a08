// Host objects: names and assignment (Digits included), sequences and lists,
// tables with keys of every kind, and the conversions a library applies to
// its arguments.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "tests/platform/host/host_test_util.h"

namespace {

using namespace quarn::test::host_util;
using quarn::test::ErrorOf;
using quarn::test::ScopedDigits;

TEST(HostNames, InternedAndAssigned) {
  HostObject x = N("objects_test_x");
  EXPECT_EQ(x, host::Name(std::string("objects_test_") + "x"));
  EXPECT_EQ(x, ToQuarnName(K(), "objects_test_x", 1));
  EXPECT_NE(x, N("objects_test_y"));
  EXPECT_EQ(host::AssignName(x, I(1)), nullptr);
  EXPECT_EQ(host::AssignName(x, I(2)), I(1));
  EXPECT_EQ(QuarnEval(K(), x), I(2));
  EXPECT_EQ(QuarnAssign(K(), x, I(3)), I(2));  // the previous value...
  EXPECT_EQ(host::AssignName(x, nullptr), I(3));
  EXPECT_FALSE(IsQuarnAssignedName(K(), x));
  EXPECT_EQ(QuarnAssign(K(), x, S("v")), x);  // ...or the name when there was none
  host::AssignName(x, nullptr);
  EXPECT_NE(ErrorOf([] { host::AssignName(I(1), I(2)); }), "");
}

TEST(HostNames, DigitsTakesPositiveIntegersOnly) {
  ScopedDigits d(12);
  HostObject digits = N("Digits");
  for (HostObject bad : {I(0), I(-3), F("2.5"), F("15."), Q(5, 2), Big("100000000000000000000"), S("20")}) {
    EXPECT_EQ(ErrorOf([&] { host::AssignName(digits, bad); }),
              "Digits must be assigned a positive integer, received: " + P(bad));
    EXPECT_EQ(host::WorkingDigits(), 12);
    EXPECT_EQ(host::NameValue(digits), I(12));
  }
  EXPECT_EQ(QuarnAssign(K(), digits, I(25)), I(12));
  EXPECT_EQ(host::FloatDigits(host::MakeFloat(1.0)), 25);
  EXPECT_EQ(QuarnToInteger32(K(), QuarnEval(K(), ToQuarnName(K(), "Digits", 1))), 25);
}

TEST(HostSequences, SequencesAndLists) {
  HostObject a = N("a"), b = N("b"), null = host::Null();
  EXPECT_TRUE(IsQuarnNULL(K(), null) && IsQuarnNULL(K(), host::MakeSeq({})) && IsQuarnNULL(K(), ToQuarnNULL(K())));
  EXPECT_FALSE(IsQuarnNULL(K(), L({})));
  EXPECT_EQ(QuarnNumArgs(K(), null), 0);
  EXPECT_EQ(host::MakeSeq({a}), a);
  EXPECT_EQ(host::MakeSeq({null, b, null}), b);
  HostObject s = host::MakeSeq({a, host::MakeSeq({b, I(3)}), null, I(4)});  // spliced flat
  ASSERT_EQ(QuarnNumArgs(K(), s), 4);
  EXPECT_TRUE(QuarnExpseqSelect(K(), s, 2) == b && QuarnExpseqSelect(K(), s, 4) == I(4));
  EXPECT_EQ(QuarnNumArgs(K(), a), 1);  // one object is a sequence of one
  EXPECT_EQ(K()->exprseqSelect(K(), a, 1), a);
  EXPECT_NE(ErrorOf([&] { QuarnExpseqSelect(K(), s, 5); }), "");
  EXPECT_NE(ErrorOf([&] { QuarnExpseqSelect(K(), null, 1); }), "");

  HostObject l = QuarnListAlloc(K(), 3);
  QuarnListAssign(K(), l, 1, I(10));
  QuarnListAssign(K(), l, 3, S("c"));
  EXPECT_EQ(QuarnListLength(K(), l), 3);
  EXPECT_TRUE(IsQuarnNULL(K(), QuarnListSelect(K(), l, 2)));
  EXPECT_EQ(QuarnListSelect(K(), l, 1), I(10));
  EXPECT_EQ(ErrorOf([&] { QuarnListSelect(K(), l, 4); }), "list index out of range: 4");
  EXPECT_EQ(ErrorOf([&] { QuarnListAssign(K(), l, 0, I(1)); }), "list index out of range: 0");
  EXPECT_EQ(ErrorOf([] { QuarnListLength(K(), I(1)); }), "expected a list, received: 1");
}

// Keys of every kind; made twice, so that lookups go through structurally
// equal but distinct objects.
std::vector<HostObject> KindsOfKeys() {
  return {I(7), I(-7), Big("1208925819614629174706176"), Big("-1208925819614629174706176"), Q(1, 3), F("0.25"),
          F("1.5e-300"), S("seven"), S(""), L({I(1), I(2)}), L({I(2), I(1)}), L({}), L({L({S("x")}), F("2.5")}),
          N("seven"), host::MakeComplex(I(1), I(-1)), host::MakeEquation(N("a"), I(1)), host::MakeRange(I(1), I(5))};
}

TEST(HostTables, KeysOfManyKinds) {
  HostObject t = QuarnTableAlloc(K());
  std::vector<HostObject> keys = KindsOfKeys(), again = KindsOfKeys();
  for (size_t i = 0; i < keys.size(); ++i) QuarnTableAssign(K(), t, keys[i], I(static_cast<long>(i)));
  for (size_t i = 0; i < again.size(); ++i)
    EXPECT_EQ(QuarnTableSelect(K(), t, again[i]), I(static_cast<long>(i))) << P(again[i]);
  QuarnTableAssign(K(), t, L({I(1), I(2)}), S("replaced"));  // an equal key replaces the value
  EXPECT_EQ(host::TableEntries(t).size(), keys.size());
  EXPECT_EQ(P(QuarnTableSelect(K(), t, L({I(1), I(2)}))), "\"replaced\"");
  // Keys that print alike or are numerically equal are still other keys.
  for (HostObject absent : {I(8), F("7."), S("7"), L({I(1)}), L({I(1), I(2), I(3)}), N("Seven"), Q(2, 3),
                            Big("1208925819614629174706177")})
    EXPECT_FALSE(QuarnTableHasEntry(K(), t, absent)) << P(absent);
  EXPECT_NE(ErrorOf([] { QuarnTableSelect(K(), L({}), I(1)); }), "");
}

// Integer keys k * 4096 all start their probe at one slot, so deleting them
// re-inserts long probe runs.
TEST(HostTables, GrowthAndDeletion) {
  HostObject t = QuarnTableAlloc(K());
  const long n = 1500;
  auto key = [](long i) { return i % 3 == 0 ? S(("k" + std::to_string(i)).c_str()) : I(i * 4096); };
  for (long i = 0; i < n; ++i) QuarnTableAssign(K(), t, key(i), I(i));
  ASSERT_EQ(host::TableEntries(t).size(), static_cast<size_t>(n));
  for (long i = 0; i < n; i += 2) host::TableDelete(t, key(i));
  host::TableDelete(t, I(-1));  // absent: nothing happens
  EXPECT_EQ(host::TableEntries(t).size(), static_cast<size_t>(n / 2));
  long wrong = 0;
  for (long i = 0; i < n; ++i) wrong += QuarnTableSelect(K(), t, key(i)) != (i % 2 ? I(i) : nullptr);
  EXPECT_EQ(wrong, 0);
  for (long i = 0; i < n; i += 2) QuarnTableAssign(K(), t, key(i), I(-i));
  for (long i = 0; i < n; ++i) wrong += QuarnTableSelect(K(), t, key(i)) != I(i % 2 ? i : -i);
  EXPECT_EQ(wrong, 0);

  // Entries come in the order of their printed keys, whatever the history.
  HostObject t1 = QuarnTableAlloc(K()), t2 = QuarnTableAlloc(K());
  std::vector<const char*> names = {"pear", "apple", "fig", "banana"};
  for (const char* s : names) QuarnTableAssign(K(), t1, S(s), I(1));
  QuarnTableAssign(K(), t2, S("zzz"), I(1));
  for (auto it = names.rbegin(); it != names.rend(); ++it) QuarnTableAssign(K(), t2, S(*it), I(1));
  host::TableDelete(t2, S("zzz"));
  std::string order1, order2;
  for (const auto& [k, v] : host::TableEntries(t1)) order1 += P(k);
  for (const auto& [k, v] : host::TableEntries(t2)) order2 += P(k);
  EXPECT_EQ(order1, "\"apple\"\"banana\"\"fig\"\"pear\"");
  EXPECT_EQ(order2, order1);
}

TEST(HostConversions, Integers) {
  host::AssignName(N("objects_test_n"), I(12));
  const std::string m32 = "expected an integer of 32 bits, received: ";
  EXPECT_EQ(QuarnToInteger32(K(), I(INT32_MIN)), INT32_MIN);
  EXPECT_EQ(QuarnToInteger32(K(), I(INT32_MAX)), INT32_MAX);
  EXPECT_EQ(QuarnToInteger32(K(), F("7.")), 7);
  EXPECT_EQ(K()->toInteger32(K(), N("objects_test_n")), 12);
  for (HostObject bad : {I(2147483648L), I(-2147483649L), F("2.5"), N("objects_test_free"), host::FloatUndefined()})
    EXPECT_EQ(ErrorOf([&] { QuarnToInteger32(K(), bad); }), m32 + P(bad));
  EXPECT_EQ(QuarnToQ_INT(K(), Big("-9223372036854775808")), INT64_MIN);
  EXPECT_EQ(QuarnToQ_INT(K(), N("objects_test_n")), 12);
  EXPECT_EQ(QuarnToInteger64(K(), Big("9223372036854775807")), INT64_MAX);
  for (HostObject bad : {Big("9223372036854775808"), Q(1, 2), S("1")})
    EXPECT_EQ(ErrorOf([&] { QuarnToQ_INT(K(), bad); }), "expected an integer, received: " + P(bad));
  host::AssignName(N("objects_test_n"), nullptr);
  EXPECT_TRUE(IsQuarnInteger32(K(), I(INT32_MIN)) && !IsQuarnInteger32(K(), I(INT32_MAX + 1L)));
  EXPECT_TRUE(IsQuarnInteger8(K(), I(-128)) && !IsQuarnInteger8(K(), I(128)));
  EXPECT_TRUE(IsQuarnInteger64(K(), Big("-9223372036854775808")) && !IsQuarnInteger64(K(), Big("9223372036854775808")));
  EXPECT_TRUE(IsQuarnUnnamedZero(K(), I(0)) && !IsQuarnUnnamedZero(K(), F("0.")));
  EXPECT_STREQ(QuarnToString(K(), N("sfloat")), "sfloat");
  EXPECT_EQ(ErrorOf([] { QuarnToString(K(), I(3)); }), "expected a string, received: 3");
}

TEST(HostConversions, BooleansAndDoubles) {
  host::AssignName(N("objects_test_yes"), host::True());
  host::AssignName(N("objects_test_quarter"), F("0.25"));
  const std::pair<HostObject, int> booleans[] = {{ToQuarnBoolean(K(), 1), 1}, {ToQuarnBoolean(K(), 0), 0},
                                                 {N("FAIL"), 0}, {N("objects_test_yes"), 1}, {I(0), 0}, {I(3), 1}};
  for (const auto& [h, b] : booleans) EXPECT_EQ(QuarnToQ_BOOL(K(), h), b) << P(h);
  for (HostObject bad : {S("yes"), N("maybe"), F("1.")})
    EXPECT_EQ(ErrorOf([&] { QuarnToQ_BOOL(K(), bad); }), "expected true or false, received: " + P(bad));

  // The double nearest to the value, whatever Digits: no rounding to the
  // working precision on the way (2^53 - 1 needs 53 bits, Digits 10 has 42).
  const std::pair<HostObject, double> doubles[] = {
      {N("objects_test_quarter"), 0.25}, {I(9007199254740991L), 9007199254740991.0}, {Q(-2, 7), -2.0 / 7.0},
      {N("Pi"), M_PI}};
  for (const auto& [h, d] : doubles) EXPECT_EQ(QuarnToFloat64(K(), h), d) << P(h);
  EXPECT_EQ(K()->toFloat64(K(), Op("sqrt", {I(2)})), M_SQRT2);
  EXPECT_TRUE(std::isnan(QuarnToFloat64(K(), host::FloatUndefined())));
  host::AssignName(N("objects_test_yes"), nullptr);
  host::AssignName(N("objects_test_quarter"), nullptr);
  for (HostObject bad : {L({I(1), N("x")}), N("x"), host::MakeComplex(I(1), I(2)), S("0.5")})
    EXPECT_EQ(ErrorOf([&] { QuarnToFloat64(K(), bad); }), "unable to evaluate " + P(bad) + " to floating-point");
  EXPECT_EQ(ErrorOf([] { QuarnToFloat64(K(), L({I(1), N("x")})); }), "unable to evaluate [1, x] to floating-point");
}

}  // namespace
