// QuarnFloat: values against mpmath references at several Digits, the
// precision results carry, special values, conversions from host objects,
// and the handle's life under the collector.
#include "platform/float/quarnfloat.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "platform/host/quarnc.h"
#include "platform/numerics/nag.h"
#include "support/support.h"

namespace {

namespace host = quarn::host;
using quarn::test::ErrorOf;
using quarn::test::ScopedDigits;

using quarn::test::Mpfr;

std::string SourceDir() {
  if (const char* dir = std::getenv("QUARN_SOURCE_DIR")) return dir;
  std::string file = __FILE__;  // .../tests/platform/float/quarnfloat_test.cpp
  return file.substr(0, file.rfind("/tests/"));
}

// name -> decimal reference, from tests/data/quarnfloat_refs.tsv
// (tools/gen_quarnfloat_refs.py, mpmath at 250 digits).
const std::map<std::string, std::string>& References() {
  static const auto* refs = [] {
    auto* m = new std::map<std::string, std::string>;
    std::ifstream in(SourceDir() + "/tests/data/quarnfloat_refs.tsv");
    std::string line;
    while (std::getline(in, line)) {
      if (line.empty() || line[0] == '#') continue;
      std::istringstream row(line);
      std::string name, expr, value;
      std::getline(row, name, '\t');
      std::getline(row, expr, '\t');
      std::getline(row, value, '\t');
      (*m)[name] = value;
    }
    return m;
  }();
  return *refs;
}

const std::string& Ref(const std::string& name) {
  auto it = References().find(name);
  if (it == References().end()) {
    ADD_FAILURE() << "no reference " << name << " in tests/data/quarnfloat_refs.tsv";
    static const std::string none = "nan";
    return none;
  }
  return it->second;
}

// |x - ref| in units of the digits-th significant decimal digit of ref:
// at most 0.5 means x is right to its last decimal digit.
double UlpsAtDigits(const QuarnFloat& x, const std::string& ref, long digits) {
  Mpfr r(2048), diff(2048), unit(2048);
  if (mpfr_set_str(r.v, ref.c_str(), 10, MPFR_RNDN) != 0 || mpfr_zero_p(r.v)) return HUGE_VAL;
  if (!mpfr_number_p(x.Mpfr())) return HUGE_VAL;
  mpfr_sub(diff.v, x.Mpfr(), r.v, MPFR_RNDN);
  mpfr_abs(diff.v, diff.v, MPFR_RNDN);
  mpfr_abs(unit.v, r.v, MPFR_RNDN);
  mpfr_log10(unit.v, unit.v, MPFR_RNDN);
  mpfr_floor(unit.v, unit.v);
  long e = mpfr_get_si(unit.v, MPFR_RNDN) - digits + 1;
  mpfr_set_si(unit.v, e, MPFR_RNDN);
  mpfr_exp10(unit.v, unit.v, MPFR_RNDN);
  mpfr_div(diff.v, diff.v, unit.v, MPFR_RNDN);
  return mpfr_get_d(diff.v, MPFR_RNDU);
}

struct Case {
  std::string ref;
  std::string label;
  std::function<QuarnFloat()> compute;
};

HostObject Int(long n) { return host::MakeInteger(n); }

std::vector<Case> Cases() {
  std::vector<Case> cases = {
      {"third", "QF(1) / QF(3)", [] { return QuarnFloat(1) / QuarnFloat(3); }},
      {"third", "1.0 / QF(3)", [] { return 1.0 / QuarnFloat(3); }},
      {"third", "1 / QF(3)", [] { return 1 / QuarnFloat(3); }},
      {"third", "QF(1) / 3", [] { return QuarnFloat(1) / 3; }},
      {"third", "QF(host rational 1/3)", [] { return QuarnFloat(host::MakeRational(Int(1), Int(3))); }},
      {"five_sixths", "QF(1)/3 + 0.5", [] { return QuarnFloat(1) / 3 + 0.5; }},
      {"five_sixths", "0.5 + QF(1)/3", [] { return 0.5 + QuarnFloat(1) / 3; }},
      {"five_sixths", "1.5 - QF(2)/3", [] { return 1.5 - QuarnFloat(2) / 3; }},
      {"five_sixths", "5 / QF(6)", [] { return 5 / QuarnFloat(6); }},
      {"h30", "s += 1.0 / QF(k)",
       [] {
         QuarnFloat s = 0;
         for (int k = 1; k <= 30; ++k) s += 1.0 / QuarnFloat(k);
         return s;
       }},
      {"h30", "s = s + QF(1) / QF(k)",
       [] {
         QuarnFloat s;
         for (int k = 1; k <= 30; ++k) s = s + QuarnFloat(1) / QuarnFloat(k);
         return s;
       }},
      {"sqrt2", "sqrt(QF(2))", [] { return sqrt(QuarnFloat(2)); }},
      {"sqrt2", "pow(QF(2), 0.5)", [] { return pow(QuarnFloat(2), 0.5); }},
      {"sqrt2", "pow(QF(2), QF(0.5))", [] { return pow(QuarnFloat(2), QuarnFloat(0.5)); }},
      {"sqrt2", "fabs(-sqrt(QF(2)))", [] { return fabs(-sqrt(QuarnFloat(2))); }},
      {"sqrt2", "2 / sqrt(QF(2))", [] { return 2 / sqrt(QuarnFloat(2)); }},
      {"exp_third", "exp(QF(1) / 3)", [] { return exp(QuarnFloat(1) / 3); }},
      {"log10", "log(QF(10))", [] { return log(QuarnFloat(10)); }},
      {"exp_m20", "exp(QF(-20))", [] { return exp(QuarnFloat(-20)); }},
      {"pow_10_0.001", "pow(QF(10), 0.001)", [] { return pow(QuarnFloat(10), 0.001); }},
      {"pow_2_third", "pow(2.0, QF(1) / 3)", [] { return pow(2.0, QuarnFloat(1) / 3); }},
      {"pow_1.5_m2.5", "pow(QF(1.5), -2.5)", [] { return pow(QuarnFloat(1.5), -2.5); }},
      {"pi", "QF(host name Pi)", [] { return QuarnFloat(host::Name("Pi")); }},
      {"pi", "FromMpfr(pi at 2000 bits)",
       [] {
         Mpfr pi(2000);
         mpfr_const_pi(pi.v, MPFR_RNDN);
         return QuarnFloat::FromMpfr(pi.v);
       }},
      {"sin_1", "QF(host call sin(1))",
       [] { return QuarnFloat(host::MakeFunction(host::Name("sin"), {Int(1)})); }},
      {"int_1e41p1", "QF(host integer 10^41 + 1)",
       [] { return QuarnFloat(host::MakeIntegerFromString("100000000000000000000000000000000000000001")); }},
  };
  // The host functions the library calls by name, at a small, a negative and
  // a huge argument (argument reduction). The argument is made at 20 digits,
  // where the double converts exactly; at Digits 10 the function then sees
  // more bits than the working precision.
  static const char* const kNames[] = {"sin", "cos", "tan", "arctan", "exp", "ln"};
  static const std::pair<const char*, double> kArgs[] = {{"0.7", 0.7}, {"m3.25", -3.25}, {"1e22", 1e22}};
  for (const char* name : kNames) {
    for (const auto& [tag, x] : kArgs) {
      std::string ref = std::string(name) + "_" + tag;
      if (References().count(ref) == 0) continue;  // exp and ln at 0.7 only
      cases.push_back({ref, "QuarnEvalf1(" + std::string(name) + ", " + tag + ")", [name, x = x] {
                         QuarnFloat arg;
                         {
                           ScopedDigits exact(20);
                           arg = x;
                         }
                         return QuarnEvalf1(name, arg);
                       }});
    }
  }
  return cases;
}

TEST(QuarnFloat, ReferenceTable) {
  double worst = 0;
  std::string worst_row;
  int rows = 0;
  for (long digits : {10L, 30L, 40L, 50L, 100L}) {
    ScopedDigits d(digits);
    ASSERT_EQ(QuarnDigits(), digits);
    for (const Case& c : Cases()) {
      SCOPED_TRACE(c.label + " at Digits " + std::to_string(digits));
      QuarnFloat x = c.compute();
      double ulps = UlpsAtDigits(x, Ref(c.ref), digits);
      ++rows;
      EXPECT_LE(ulps, 0.5);
      // The result is a float made at the working precision.
      EXPECT_EQ(host::FloatDigits(x.Handle()), digits);
      EXPECT_EQ(mpfr_get_prec(x.Mpfr()), host::BitsForDigits(digits));
      if (ulps > worst) {
        worst = ulps;
        worst_row = c.label + " at Digits " + std::to_string(digits);
      }
    }
  }
  std::printf("%d rows, worst: %s, %.3g units in the last digit\n", rows, worst_row.c_str(), worst);
}

// An operand made at a higher precision takes part with all its bits, and
// the result still has the working precision: with x = 1 + 2^-100 made at 50
// digits, x - 1 at 15 digits is 2^-100, not the 0 that rounding x first
// would give.
TEST(QuarnFloat, OperandsKeepTheirOwnPrecision) {
  QuarnFloat x;
  {
    ScopedDigits d(50);
    x = 1 + pow(QuarnFloat(2), -100);
  }
  ScopedDigits d(15);
  const double tiny = std::ldexp(1.0, -100);
  QuarnFloat y = x - 1;
  EXPECT_TRUE(y == tiny);
  EXPECT_EQ(mpfr_get_prec(y.Mpfr()), host::BitsForDigits(15));
  EXPECT_TRUE(x - QuarnFloat(1) == tiny);
  EXPECT_TRUE(x > 1L);
  EXPECT_TRUE(x != 1.0);
  // ln(1 + e) = e - e^2/2 + ...: evaluated at x itself, not at x rounded to 15 digits.
  QuarnFloat l = QuarnEvalf1("ln", x);
  EXPECT_NEAR(l.ToDouble() / tiny, 1.0, 1e-12);
  EXPECT_EQ(mpfr_get_prec(l.Mpfr()), host::BitsForDigits(15));
  // The conversion back to double rounds once from all the bits.
  EXPECT_EQ((x * 3).ToDouble(), 3.0);
}

// Both operand orders of every operation, for each kind of scalar.
template <class T>
void CheckMixedOperands(const char* type) {
  SCOPED_TRACE(type);
  const QuarnFloat a = 7, b = 2;
  const T s7 = T(7), s2 = T(2);
  EXPECT_TRUE(a + s2 == 9 && s7 + b == 9);
  EXPECT_TRUE(a - s2 == 5 && s2 - a == -5);
  EXPECT_TRUE(a * s2 == 14 && s7 * b == 14);
  EXPECT_TRUE(a / s2 == 3.5 && s2 / a == QuarnFloat(2) / QuarnFloat(7));
  EXPECT_TRUE(s2 / a != 0.2857142857142857);  // not done in double
  QuarnFloat c = 10;
  EXPECT_TRUE((c += s2) == 12 && (c -= s7) == 5 && (c *= s2) == 10 && (c /= s2) == 5);
  EXPECT_TRUE(s7 > b && b < s7 && s2 <= b && s2 >= b && s2 == b && s7 != b);
}

TEST(QuarnFloat, MixedOperandsOnEitherSide) {
  ScopedDigits d(30);
  CheckMixedOperands<int>("int");
  CheckMixedOperands<long>("long");
  CheckMixedOperands<unsigned>("unsigned");
  CheckMixedOperands<unsigned long>("unsigned long");
  CheckMixedOperands<float>("float");
  CheckMixedOperands<double>("double");
  CheckMixedOperands<QuarnFloat>("QuarnFloat");
  // Integers beyond 2^53 take part exactly.
  const long big = (1L << 62) + 1;
  EXPECT_EQ(FloatToInt(QuarnFloat(0) + big), big);
  EXPECT_EQ(FloatToInt(QuarnFloat(big)), big);
  EXPECT_EQ(FloatToInt(big - QuarnFloat(0)), big);
  EXPECT_EQ(FloatToInt(QuarnFloat(2) * (big - 1) / 2), big - 1);
}

// A double that is an integer goes to MPFR's functions of a long: each
// result must be the one of the double made a float, to the sign of zero.
TEST(QuarnFloat, IntegerDoublesGiveTheResultsOfTheirFloats) {
  ScopedDigits d(20);
  const double vs[] = {-0.0, 0.0, 1.0, -3.0, 9007199254740992.0, -9007199254740994.0, 0.75, HUGE_VAL};
  const QuarnFloat xs[] = {QuarnFloat(-0.0), QuarnFloat(0.0), QuarnFloat(1) / 3, QuarnFloat(-7), 1 / QuarnFloat(0.0)};
  auto same = [](const QuarnFloat& a, const QuarnFloat& b) {
    return (mpfr_nan_p(a.Mpfr()) && mpfr_nan_p(b.Mpfr())) ||
           (mpfr_equal_p(a.Mpfr(), b.Mpfr()) && mpfr_signbit(a.Mpfr()) == mpfr_signbit(b.Mpfr()));
  };
  for (const QuarnFloat& x : xs) {
    for (double v : vs) {
      const QuarnFloat f(v);
      SCOPED_TRACE(x.ToDouble());
      SCOPED_TRACE(v);
      EXPECT_TRUE(same(x + v, x + f) && same(v + x, f + x) && same(x - v, x - f) && same(v - x, f - x));
      EXPECT_TRUE(same(x * v, x * f) && same(v * x, f * x) && same(x / v, x / f) && same(v / x, f / x));
    }
  }
}

// Floats are values: compound assignment rebinds the handle and leaves every
// other holder of the old float as it was.
TEST(QuarnFloat, CompoundAssignmentRebinds) {
  ScopedDigits d(20);
  QuarnFloat a = 1.0;
  const QuarnFloat b = a;
  const HostObject old = a.Handle();
  a += 1;
  a -= QuarnFloat(0.5);
  a *= 4.0;
  a /= QuarnFloat(3);
  EXPECT_TRUE(a == 2 && b == 1);
  EXPECT_EQ(b.Handle(), old);
  EXPECT_NE(a.Handle(), old);
  EXPECT_EQ(mpfr_cmp_ui(host::FloatMpfr(old), 1), 0);
  a = 0.25;
  EXPECT_TRUE(a == 0.25);
  a = 3;
  EXPECT_TRUE(a == 3L && b == 1);
}

// Collections, each followed by many floats of the working precision made
// and dropped, so that freed memory is soon reused.
void ChurnAndCollect() {
  for (int round = 0; round < 3; ++round) {
    host::Collect();
    for (int i = 1; i <= 50000; ++i) ASSERT_TRUE(QuarnFloat(i) / 7 > 0);
  }
  host::Collect();
}

// Made in a separate frame so that only the zero cache refers to the zero;
// returns its handle disguised so that this frame's words do not hold it.
[[gnu::noinline]] uintptr_t HiddenZeroHandle() {
  QuarnFloat z;
  return ~reinterpret_cast<uintptr_t>(z.Handle());
}

TEST(QuarnFloat, DefaultIsSharedZeroOfWorkingPrecision) {
  {
    ScopedDigits d(37);
    QuarnFloat z1, z2;
    EXPECT_TRUE(z1 == 0);
    EXPECT_FALSE(mpfr_signbit(z1.Mpfr()));
    EXPECT_EQ(host::FloatDigits(z1.Handle()), 37);
    EXPECT_EQ(mpfr_get_prec(z1.Mpfr()), host::BitsForDigits(37));
    // One object per precision: a large array of defaults allocates nothing
    // per element.
    EXPECT_EQ(z1.Handle(), z2.Handle());
    std::vector<QuarnFloat> many(1000);
    for (const QuarnFloat& z : many) ASSERT_EQ(z.Handle(), z1.Handle());
    ScopedDigits d2(38);
    QuarnFloat z3;
    EXPECT_EQ(host::FloatDigits(z3.Handle()), 38);
    EXPECT_TRUE(z3 == 0);
  }
  // The cached zero must survive collections in which floats of its size are
  // dropped and made again: a zero freed and reused would read nonzero.
  ScopedDigits d(41);
  uintptr_t hidden = HiddenZeroHandle();
  ChurnAndCollect();
  QuarnFloat z;
  EXPECT_EQ(~reinterpret_cast<uintptr_t>(z.Handle()), hidden);
  EXPECT_TRUE(z == 0);
  EXPECT_EQ(host::FloatDigits(z.Handle()), 41);
}

TEST(QuarnFloat, FromHostObjects) {
  HostObject f50;
  {
    ScopedDigits d(50);
    f50 = (QuarnFloat(1) / 3).Handle();
  }
  ScopedDigits d(15);
  // A float is held as it is, whatever its precision.
  QuarnFloat held(f50);
  EXPECT_EQ(held.Handle(), f50);
  EXPECT_EQ(held.Mpfr(), host::FloatMpfr(f50));
  EXPECT_EQ(mpfr_get_prec(held.Mpfr()), host::BitsForDigits(50));
  // Exact numbers become floats at the working precision.
  QuarnFloat seven(Int(7));
  EXPECT_TRUE(seven == 7);
  EXPECT_EQ(host::FloatDigits(seven.Handle()), 15);
  EXPECT_TRUE(QuarnFloat(Int(-7)) == -7);
  EXPECT_TRUE(QuarnFloat(host::MakeRational(Int(-7), Int(2))) == -3.5);
  QuarnFloat big(host::MakeIntegerFromString("-123456789012345678901234567890"));
  EXPECT_LE(UlpsAtDigits(big, "-123456789012345678901234567890", 15), 0.5);
  // Host numeric values that evalf handles.
  EXPECT_TRUE(IsQuarnFloatUndefined(QuarnFloat(host::FloatUndefined())));
  EXPECT_TRUE(IsQuarnFloatInfinity(QuarnFloat(host::Name("infinity"))));
  EXPECT_TRUE(QuarnFloat(host::MakeFunction(host::Name("sqrt"), {Int(4)})) == 2);
  // Anything that is not a real number.
  const std::vector<HostObject> bad = {
      host::MakeString("abc"),
      host::MakeList({Int(1), Int(2)}),
      host::Name("quarnfloat_test_unassigned"),
      host::MakeFunction(host::Name("sin"), {host::Name("quarnfloat_test_unassigned")}),
      host::Null(),
      host::MakeComplex(Int(1), Int(2)),
      host::True(),
  };
  for (HostObject h : bad) {
    SCOPED_TRACE(host::Print(h));
    EXPECT_EQ(ErrorOf([&] { QuarnFloat x(h); }),
              "unable to evaluate " + host::Print(h) + " to floating-point");
  }
}

enum Order { kLess, kEqual, kGreater, kUnordered };

// All six comparisons of a with b agree with their order.
template <class A, class B>
void ExpectOrder(const A& a, const B& b, Order order, const char* label) {
  SCOPED_TRACE(label);
  EXPECT_EQ(a < b, order == kLess);
  EXPECT_EQ(a <= b, order == kLess || order == kEqual);
  EXPECT_EQ(a == b, order == kEqual);
  EXPECT_EQ(a != b, order != kEqual);
  EXPECT_EQ(a >= b, order == kGreater || order == kEqual);
  EXPECT_EQ(a > b, order == kGreater);
}

// Comparisons use the exact values: nothing is rounded to double or to a
// common precision first. NaN is unordered with everything, itself included.
TEST(QuarnFloat, Comparisons) {
  QuarnFloat third15;
  {
    ScopedDigits d(15);
    third15 = QuarnFloat(1) / 3;
  }
  ScopedDigits d(50);
  const QuarnFloat third50 = QuarnFloat(1) / 3, nan = QuarnFloatUndefined(), one = 1;
  const QuarnFloat inf = one / 0.0, minf = log(QuarnFloat(0)), above3 = 3 + pow(QuarnFloat(10), -40);
  const QuarnFloat tenth = QuarnFloat(1) / 10;  // below the double 0.1 = 0.1000000000000000055...
  const double dnan = std::nan("");
#define ORDER(a, b, order) ExpectOrder(a, b, order, #a " vs " #b)
  ORDER(nan, one, kUnordered);  ORDER(one, nan, kUnordered);            ORDER(nan, nan, kUnordered);
  ORDER(nan, 0L, kUnordered);   ORDER(nan, 0.0, kUnordered);            ORDER(0.0, nan, kUnordered);
  ORDER(one, dnan, kUnordered); ORDER(dnan, one, kUnordered);           ORDER(inf, inf, kEqual);
  ORDER(inf, 1e308, kGreater);  ORDER(inf, LONG_MAX, kGreater);         ORDER(inf, HUGE_VAL, kEqual);
  ORDER(minf, -1e308, kLess);   ORDER(minf, LONG_MIN, kLess);           ORDER(minf, -HUGE_VAL, kEqual);
  ORDER(minf, inf, kLess);      ORDER(tenth, 0.1, kLess);               ORDER(0.1, tenth, kGreater);
  ORDER(above3, 3L, kGreater);  ORDER(above3, 3, kGreater);             ORDER(above3, 3.0, kGreater);
  ORDER(3.0, above3, kLess);    ORDER(above3, QuarnFloat(3), kGreater);
  ORDER(third15, third50, kGreater);  // 1/3 rounds up to 58 bits, down to 175
#undef ORDER
}

TEST(QuarnFloat, FloorCeilAndTruncation) {
  ScopedDigits d(30);
  // Doubles convert exactly; the C library gives the expected values.
  const double values[] = {-3.75, -2.5, -2.0, -1.5, -0.5, -0.0, 0.0, 0.5, 1.5, 2.5, 3.75, 1e15 + 0.5, -1e15 - 0.5};
  for (double v : values) {
    SCOPED_TRACE(v);
    const QuarnFloat x = v;
    const QuarnFloat f = floor(x), c = ceil(x);
    EXPECT_TRUE(f == std::floor(v));
    EXPECT_TRUE(c == std::ceil(v));
    EXPECT_EQ(mpfr_signbit(f.Mpfr()) != 0, std::signbit(std::floor(v)));
    EXPECT_EQ(mpfr_signbit(c.Mpfr()) != 0, std::signbit(std::ceil(v)));
    EXPECT_EQ(FloatToInt(x), static_cast<long>(v));
    EXPECT_EQ(host::FloatDigits(f.Handle()), 30);
  }
  // Just below an integer by far less than a double can show.
  ScopedDigits d50(50);
  const QuarnFloat eps = pow(QuarnFloat(10), -40), two62 = QuarnFloat(1L << 62);
  EXPECT_TRUE(floor(1 - eps) == 0 && ceil(1 - eps) == 1 && floor(eps - 1) == -1 && ceil(eps - 1) == 0);
  EXPECT_TRUE(mpfr_signbit(ceil(eps - 1).Mpfr()));
  const std::pair<QuarnFloat, long> truncated[] = {
      {1 - eps, 0}, {eps - 1, 0},
      // Beyond the range of double's integers, and beyond long.
      {two62 + 0.5, 1L << 62}, {-(two62 + 0.5), -(1L << 62)}, {two62 + 1 - pow(QuarnFloat(2), -50), 1L << 62},
      {QuarnFloat(1e30), LONG_MAX}, {QuarnFloat(-1e30), LONG_MIN}, {QuarnFloatUndefined(), 0},
      // Adding 0.5 before truncating rounds half away from zero for x >= 0.
      {QuarnFloat(2.5) + 0.5, 3}, {floor(QuarnFloat(-2.5) + 0.5), -2}};
  for (size_t i = 0; i < std::size(truncated); ++i) EXPECT_EQ(FloatToInt(truncated[i].first), truncated[i].second) << i;
}

TEST(QuarnFloat, SignTakesTheSignBitOfB) {
  ScopedDigits d(30);
  const std::pair<double, double> cases[] = {{3, -0.0}, {-3, 0.0}, {3, -2}, {-3, -2}, {-3, 5},
                                             {0.0, -1}, {-0.0, 1}, {3, -HUGE_VAL}};
  for (const auto& [a, b] : cases) {
    SCOPED_TRACE(std::to_string(a) + ", " + std::to_string(b));
    const QuarnFloat s = Sign(QuarnFloat(a), QuarnFloat(b));
    const double expected = std::copysign(a, b);
    EXPECT_TRUE(s == expected);
    EXPECT_EQ(mpfr_signbit(s.Mpfr()) != 0, std::signbit(expected));
  }
  // The magnitude keeps all its digits.
  const QuarnFloat third = QuarnFloat(1) / 3;
  EXPECT_TRUE(Sign(third, QuarnFloat(-1)) == -third);
  EXPECT_TRUE(Sign(-third, QuarnFloat(1)) == third);
}

TEST(QuarnFloat, PowSpecialCases) {
  ScopedDigits d(30);
  // Every operand type on either side; NaN stands for undefined.
  const std::pair<QuarnFloat, double> cases[] = {
      {pow(QuarnFloat(-8), 1.0 / 3), NAN}, {pow(QuarnFloat(-2), 0.5), NAN},     {pow(QuarnFloat(-2), 3.0), -8},
      {pow(QuarnFloat(-2), 3), -8},        {pow(QuarnFloat(-2), -2), 0.25},     {pow(QuarnFloat(2), -1.0), 0.5},
      {pow(QuarnFloat(2), 10u), 1024},     {pow(-2.0, QuarnFloat(3)), -8},      {pow(QuarnFloat(9), QuarnFloat(.5)), 3},
      {pow(QuarnFloat(0), -1.0), HUGE_VAL}, {pow(1.0, QuarnFloatUndefined()), 1}, {pow(QuarnFloatUndefined(), 0.0), 1}};
  for (size_t i = 0; i < std::size(cases); ++i) {
    const auto& [x, expected] = cases[i];
    EXPECT_TRUE(std::isnan(expected) ? IsQuarnFloatUndefined(x) != 0 : x == expected) << "row " << i;
  }
  // A double exponent is used exactly: 0.1 is not 1/10.
  const QuarnFloat a = pow(QuarnFloat(2), 0.1);
  const QuarnFloat b = pow(QuarnFloat(2), QuarnFloat(1) / 10);
  EXPECT_TRUE(a > b);
}

TEST(QuarnFloat, SpecialValuePredicates) {
  ScopedDigits d(20);
  struct Row {
    const char* label;
    QuarnFloat x;
    int undefined, inf, minf;
  };
  const Row rows[] = {
      {"QuarnFloatUndefined()", QuarnFloatUndefined(), 1, 0, 0},
      {"host undefined float", QuarnFloat(host::FloatUndefined()), 1, 0, 0},
      {"sqrt(-1)", sqrt(QuarnFloat(-1)), 1, 0, 0},
      {"0 / 0", QuarnFloat(0) / QuarnFloat(0), 1, 0, 0},
      {"1 / 0.0", 1 / QuarnFloat(0.0), 0, 1, 0},
      {"host infinity", QuarnFloat(host::FloatInfinity(1)), 0, 1, 0},
      {"exp(10^20) overflows", exp(QuarnFloat(1e20)), 0, 1, 0},
      {"log(0)", log(QuarnFloat(0)), 0, 0, 1},
      {"host -infinity", QuarnFloat(host::FloatInfinity(-1)), 0, 0, 1},
      {"-1 / 0.0", -1 / QuarnFloat(0.0), 0, 0, 1},
      {"0", QuarnFloat(), 0, 0, 0},
      {"-1e300", QuarnFloat(-1e300), 0, 0, 0},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.label);
    EXPECT_EQ(IsQuarnFloatUndefined(r.x) != 0, r.undefined != 0);
    EXPECT_EQ(IsQuarnFloatInfinity(r.x) != 0, r.inf != 0);
    EXPECT_EQ(IsQuarnFloatNegativeInfinity(r.x) != 0, r.minf != 0);
  }
  EXPECT_EQ(host::FloatDigits(QuarnFloatUndefined().Handle()), 20);
}

TEST(QuarnFloat, Evalf1OfUnknownFunctionRaises) {
  ScopedDigits d(20);
  std::string message = ErrorOf([] { QuarnEvalf1("quarnfloat_no_such_function", QuarnFloat(1)); });
  EXPECT_NE(message.find("unable to evaluate"), std::string::npos) << message;
  EXPECT_NE(message.find("quarnfloat_no_such_function"), std::string::npos) << message;
}

// The collector owns floats: a handle taken from a copy stays valid after the
// original and the copy are gone, through collections that reuse free memory.
TEST(QuarnFloat, HandleOutlivesTheQuarnFloat) {
  ScopedDigits d(30);
  HostObject h;
  std::vector<QuarnFloat> copies;
  {
    QuarnFloat original = sqrt(QuarnFloat(2));
    QuarnFloat copy = original;
    copies.push_back(copy);
    h = copy.Handle();
  }
  HostObject temporary = (QuarnFloat(1) / 7).Handle();
  ChurnAndCollect();
  ASSERT_EQ(host::KindOf(h), host::Kind::Float);
  EXPECT_EQ(copies[0].Handle(), h);
  EXPECT_LE(UlpsAtDigits(QuarnFloat(h), Ref("sqrt2"), 30), 0.5);
  ASSERT_EQ(host::KindOf(temporary), host::Kind::Float);
  EXPECT_TRUE(QuarnFloat(temporary) * 7 == 1);
}

// An array of QuarnFloat is the data block of a general rtable, both ways.
TEST(QuarnFloat, ArrayIsGeneralRTableDataBlock) {
  static_assert(sizeof(QuarnFloat) == sizeof(HostObject));
  static_assert(sizeof(QuarnFloat[7]) == 7 * sizeof(HostObject));
  ScopedDigits d(30);
  QKernel kv = host::Kernel();
  RTableSettingsRecord rts;
  RTableGetDefaults(kv, &rts);
  rts.num_dimensions = 1;
  rts.data_type = RTABLE_DAG;
  rts.storage = RTABLE_RECT;
  int bounds[2] = {1, 5};

  HostObject rt = RTableCreate(kv, &rts, nullptr, bounds);
  auto* block = static_cast<QuarnFloat*>(RTableDataBlock(kv, rt));
  for (int i = 0; i < 5; ++i) block[i] = QuarnFloat(i + 1) / 4;
  host::Collect();
  for (int i = 1; i <= 5; ++i) {
    RTableData e = RTableSelect(kv, rt, &i);
    EXPECT_EQ(e.dag, block[i - 1].Handle());
    EXPECT_TRUE(QuarnFloat(e.dag) == i / 4.0);
  }

  QuarnFloat values[5] = {0.5, -1.0, 2.0, QuarnFloat(1) / 3, QuarnFloatUndefined()};
  HostObject copy = RTableCreate(kv, &rts, values, bounds);
  for (int i = 1; i <= 5; ++i) EXPECT_EQ(RTableSelect(kv, copy, &i).dag, values[i - 1].Handle());
}

// A long loop of fresh floats with forced collections keeps every value:
// the running sum and the snapshots kept in a std::vector (memory the
// collector scans through operator new).
TEST(QuarnFloat, LongLoopSurvivesForcedCollections) {
  ScopedDigits d(30);
  constexpr long kIterations = 1000000, kEvery = 10000;
  QuarnFloat sum;
  std::vector<QuarnFloat> snapshots;
  for (long i = 1; i <= kIterations; ++i) {
    sum += QuarnFloat(i) * 0.5;
    if (i % kEvery == 0) {
      host::Collect();
      snapshots.push_back(sum);
    }
  }
  // sum of i/2 for i = 1..n is n(n+1)/4, exact at 30 digits.
  EXPECT_EQ(FloatToInt(sum * 4), kIterations * (kIterations + 1));
  EXPECT_TRUE(sum * 4 == kIterations * (kIterations + 1));
  ASSERT_EQ(snapshots.size(), static_cast<size_t>(kIterations / kEvery));
  for (size_t j = 0; j < snapshots.size(); ++j) {
    const long n = static_cast<long>(j + 1) * kEvery;
    ASSERT_TRUE(snapshots[j] * 4 == n * (n + 1)) << "snapshot " << j;
    ASSERT_EQ(host::FloatDigits(snapshots[j].Handle()), 30);
  }
}

TEST(NagError, LayoutAndTailCodes) {
  EXPECT_EQ(offsetof(NagError, code), 0u);
  EXPECT_EQ(offsetof(NagError, print), 4u);
  EXPECT_EQ(offsetof(NagError, message), 5u);
  EXPECT_EQ(offsetof(NagError, handler), 520u);
  EXPECT_EQ(sizeof(NagError().message), 512u);
  // Codes 1 to 4 name the tails; anything else is the first.
  const std::pair<int, int> tails[] = {{1, 1329},  {2, 1330},    {3, 1331},    {4, 1332},      {0, 1329},
                                       {5, 1329}, {-1, 1329}, {1329, 1329}, {INT_MIN, 1329}};
  for (auto [code, tail] : tails) EXPECT_EQ(static_cast<int>(quarn::numerics::TailFromCode(code)), tail) << code;
  EXPECT_EQ(static_cast<int>(Nag_Ascending), 1597);
  EXPECT_EQ(static_cast<int>(Nag_Descending), 1598);
}

}  // namespace
