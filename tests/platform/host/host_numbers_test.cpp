// Host numbers: the immediate/big integer boundary, rationals, exact against
// float arithmetic, comparison across kinds, complex numbers, and evalf
// against mpmath references at several Digits.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

#include "tests/platform/host/host_test_util.h"

namespace {

using namespace quarn::test::host_util;
using quarn::test::ErrorOf;
using quarn::test::ScopedDigits;

const std::string kDivByZero = "numeric exception: division by zero";
bool IsImmediate(HostObject h) { return (reinterpret_cast<uintptr_t>(h) & 1) != 0; }

TEST(HostIntegers, AcrossTheImmediateBoundary) {
  HostObject max = I((1L << 61) - 1), min = I(-(1L << 61));
  ASSERT_TRUE(IsImmediate(max) && IsImmediate(min));
  HostObject above = host::Add(max, I(1)), below = host::Sub(min, I(1));
  EXPECT_FALSE(IsImmediate(above) || IsImmediate(below));
  EXPECT_EQ(P(above), "2305843009213693952");
  EXPECT_EQ(P(below), "-2305843009213693953");
  EXPECT_TRUE(host::Equal(above, Big("+2305843009213693952")));  // a sign of either kind
  EXPECT_EQ(host::Sub(above, I(1)), max);  // back to the immediate
  EXPECT_EQ(host::Add(below, I(1)), min);
  EXPECT_TRUE(host::Equal(host::Neg(min), above));
  HostObject two80 = host::Mul(I(1L << 40), I(1L << 40));  // overflows a long on the way
  EXPECT_EQ(P(two80), "1208925819614629174706176");
  EXPECT_EQ(host::Div(two80, I(1L << 40)), I(1L << 40));
  EXPECT_EQ(host::Sub(two80, two80), I(0));
  EXPECT_EQ(P(host::Mul(I(-(1L << 40)), two80)), "-1329227995784915872903807060280344576");
  EXPECT_EQ(host::Compare(two80, max), 1);
  EXPECT_EQ(host::Compare(host::Neg(two80), min), -1);
  EXPECT_EQ(host::Compare(above, max), 1);
  EXPECT_EQ(host::Compare(two80, Big("1208925819614629174706176")), 0);
  long n = 0;
  EXPECT_TRUE(host::IntegerToLong(Big("-9223372036854775808"), &n) && n == INT64_MIN);
  EXPECT_FALSE(host::IntegerToLong(Big("9223372036854775808"), &n));
  EXPECT_NE(ErrorOf([] { Big("12a"); }), "");
}

TEST(HostRationals, Normalised) {
  EXPECT_EQ(P(Q(6, 4)), "3/2");
  EXPECT_EQ(Q(4, 2), I(2));
  EXPECT_EQ(P(Q(3, -6)), "-1/2");
  EXPECT_EQ(P(Q(-3, -6)), "1/2");
  EXPECT_EQ(P(host::MakeRational(Big("1208925819614629174706176"), Big("3626777458843887524118528"))), "1/3");
  EXPECT_EQ(P(host::Add(Q(1, 3), Q(1, 6))), "1/2");
  EXPECT_EQ(host::Mul(Q(2, 3), Q(3, 2)), I(1));
  EXPECT_EQ(P(host::Div(I(7), I(-21))), "-1/3");
  for (HostObject a : {I(1), Q(1, 3), F("1.5"), N("x")}) EXPECT_EQ(ErrorOf([&] { host::Div(a, I(0)); }), kDivByZero);
  EXPECT_EQ(ErrorOf([] { Q(1, 0); }), kDivByZero);
}

TEST(HostArithmetic, ExactAgainstFloat) {
  ScopedDigits d(30);
  HostObject r = host::Add(Q(1, 3), F("0.5"));
  ASSERT_EQ(host::KindOf(r), host::Kind::Float);
  EXPECT_EQ(host::FloatDigits(r), 30);
  EXPECT_EQ(P(r), "0.833333333333333333333333333333");
  EXPECT_EQ(P(host::Sub(I(1), Q(1, 3))), "2/3");
  EXPECT_EQ(host::KindOf(host::Mul(F("2.0"), I(3))), host::Kind::Float);
  EXPECT_EQ(P(F("0.1")), "0.1");  // the decimal, not the double nearest to it:
  EXPECT_EQ(P(host::MakeFloat(0.1)), "0.100000000000000005551115123126");
}

// A float and a small integer combine as if the integer were first made a
// float of the working precision: same value, same sign of zero, same NaN,
// whether the integer is exact there (read as it is) or not (rounded first).
TEST(HostArithmetic, FloatWithIntegerAsWithItsFloat) {
  ScopedDigits d(10);
  using Fn = HostObject (*)(HostObject, HostObject);
  const Fn ops[] = {host::Add, host::Sub, host::Mul, host::Div};
  const char* floats[] = {"0.0", "-0.0", "0.1", "-2.5", "1e30", "3.0"};
  const long ints[] = {0, 1, -7, 3, (1L << 40) + 1, (1L << 60) - 1};
  auto same = [](HostObject x, HostObject y) {
    mpfr_srcptr a = host::FloatMpfr(x), b = host::FloatMpfr(y);
    return (mpfr_nan_p(a) && mpfr_nan_p(b)) || (mpfr_equal_p(a, b) && mpfr_signbit(a) == mpfr_signbit(b));
  };
  std::vector<HostObject> specials = {host::FloatInfinity(1), host::FloatUndefined()};
  for (HostObject f : specials) ASSERT_EQ(host::KindOf(f), host::Kind::Float);
  std::vector<HostObject> xs(specials);
  for (const char* t : floats) xs.push_back(F(t));
  for (Fn op : ops) {
    for (HostObject x : xs) {
      for (long n : ints) {
        HostObject nf = host::Evalf(I(n));
        SCOPED_TRACE(P(x) + " with " + std::to_string(n));
        EXPECT_TRUE(same(op(I(n), x), op(nf, x)));
        if (op != host::Div || n != 0) {
          EXPECT_TRUE(same(op(x, I(n)), op(x, nf)));
        }
      }
    }
  }
}

TEST(HostArithmetic, Powers) {
  EXPECT_EQ(P(host::Pow(I(2), I(100))), "1267650600228229401496703205376");
  EXPECT_EQ(P(host::Pow(Q(2, 3), I(-2))), "9/4");
  EXPECT_EQ(P(host::Pow(Q(-2, 3), I(-3))), "-27/8");
  EXPECT_EQ(host::Pow(I(0), I(0)), I(1));
  EXPECT_EQ(ErrorOf([] { host::Pow(I(0), I(-1)); }), kDivByZero);
  EXPECT_EQ(P(host::Pow(F("4."), Q(1, 2))), "2.");
  // Exponents too large for an exact power stay unevaluated, the most
  // negative long included (whose magnitude no long holds).
  EXPECT_EQ(host::KindOf(host::Pow(I(2), Big("9223372036854775807"))), host::Kind::Function);
  EXPECT_EQ(host::KindOf(host::Pow(I(2), Big("-9223372036854775808"))), host::Kind::Function);
  // A float to an exact integer power: 2^43 + 1 needs 44 bits, Digits 10
  // gives 42; rounded, the odd exponent would turn even.
  HostObject odd = host::Add(I(1L << 43), I(1));
  EXPECT_EQ(P(host::Pow(F("-1."), odd)), "-1.");
  EXPECT_EQ(P(host::Pow(F("-1.5"), odd)), "-Float(infinity)");
}

TEST(HostArithmetic, CompareAcrossKinds) {
  ScopedDigits d(40);
  EXPECT_EQ(host::Compare(Q(1, 2), F("0.5")), 0);
  EXPECT_EQ(host::Compare(Q(1, 3), F("0.3333333333333333333333333333333333333333")), 1);
  EXPECT_EQ(host::Compare(F("0.3333333333333333333333333333333333333334"), Q(1, 3)), 1);
  EXPECT_EQ(host::Compare(Big("1000000000000000000000000000001"), F("1e30")), 1);
  EXPECT_EQ(host::Compare(host::FloatInfinity(-1), host::Neg(host::Pow(I(10), I(400)))), -1);
  HostObject nan = host::FloatUndefined();
  EXPECT_EQ(host::Compare(nan, I(1)), 2);
  EXPECT_EQ(host::Compare(Q(1, 3), nan), 2);
  EXPECT_EQ(ErrorOf([] { host::Compare(N("x"), I(1)); }),
            "cannot determine if this expression is true or false: x < 1");
}

TEST(HostArithmetic, ComplexNumbers) {
  HostObject a = host::MakeComplex(I(1), I(2)), b = host::MakeComplex(I(3), I(-1));
  HostObject p = host::Mul(a, b), q = host::Div(a, b);  // 5 + 5I and (1 + 7I)/10, exactly
  EXPECT_TRUE(host::ComplexRe(p) == I(5) && host::ComplexIm(p) == I(5));
  EXPECT_TRUE(host::Equal(host::ComplexRe(q), Q(1, 10)) && host::Equal(host::ComplexIm(q), Q(7, 10)));
  EXPECT_EQ(host::Mul(a, host::MakeComplex(I(1), I(-2))), I(5));  // an exact zero imaginary part goes
  HostObject sq = host::Pow(host::MakeComplex(I(1), I(1)), I(2));
  EXPECT_TRUE(host::ComplexRe(sq) == I(0) && host::ComplexIm(sq) == I(2));
  HostObject half = host::Mul(a, F("0.5"));
  EXPECT_EQ(host::KindOf(host::ComplexRe(half)), host::Kind::Float);
  EXPECT_EQ(host::Compare(host::ComplexIm(half), I(1)), 0);
  EXPECT_EQ(ErrorOf([&] { host::Div(a, I(0)); }), kDivByZero);
}

// ------------------------------------------------------ evalf references

HostObject Call(const char* f, HostObject x) { return host::MakeFunction(N(f), {x}); }

// The expressions of tests/data/host_evalf.tsv, built unevaluated.
const std::map<std::string, std::function<HostObject()>> kExpressions = {
    {"Pi", [] { return N("Pi"); }},
    {"sin(1)", [] { return Call("sin", I(1)); }},
    {"exp(-50)", [] { return Call("exp", I(-50)); }},
    {"exp(50)", [] { return Call("exp", I(50)); }},
    {"exp(-10)", [] { return Call("exp", I(-10)); }},
    {"exp(-12)", [] { return Call("exp", I(-12)); }},
    {"sqrt(2)", [] { return Call("sqrt", I(2)); }},
    {"ln(10)", [] { return Call("ln", I(10)); }},
    {"arctan(1/3)", [] { return Call("arctan", Q(1, 3)); }},
    // Apply leaves calls of exact arguments unevaluated; arithmetic on
    // them builds operator calls.
    {"sin(1)+2*cos(1)^2",
     [] {
       HostObject c = host::Apply(N("cos"), I(1));
       return host::Add(host::Apply(N("sin"), I(1)), host::Mul(I(2), host::Pow(c, I(2))));
     }},
    {"-exp(1)/7", [] { return host::Div(host::Neg(Call("exp", I(1))), I(7)); }},
};

struct Row {
  std::string expression, printed;
  long digits;
  int tolerance;  // units of the last printed digit; 0: the printed form exactly
};

std::vector<Row> LoadRows() {
  std::vector<Row> rows;
  std::ifstream in(SourceDir() + "/tests/data/host_evalf.tsv");
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    Row r;
    std::string digits, tolerance;
    std::getline(fields, r.expression, '\t');
    std::getline(fields, digits, '\t');
    std::getline(fields, r.printed, '\t');
    std::getline(fields, tolerance, '\t');
    r.digits = std::stol(digits);
    r.tolerance = std::stoi(tolerance);
    rows.push_back(r);
  }
  return rows;
}

// evalf at Digits d gives a float of d digits printing as the value rounded
// to d digits (tools/gen_host_reference.py: mpmath at 3d + 30 digits; rows
// next to a rounding tie may be one unit off).
TEST(HostEvalf, ReferenceTable) {
  std::vector<Row> rows = LoadRows();
  ASSERT_GE(rows.size(), 40u);
  double worst = 0;
  std::string worst_row;
  for (const Row& r : rows) {
    std::string where = r.expression + " at " + std::to_string(r.digits);
    SCOPED_TRACE(where);
    ASSERT_EQ(kExpressions.count(r.expression), 1u);
    ScopedDigits d(r.digits);
    HostObject x = host::Evalf(kExpressions.at(r.expression)());
    ASSERT_EQ(host::KindOf(x), host::Kind::Float) << P(x);
    EXPECT_EQ(host::FloatDigits(x), r.digits);
    double units = UnitsOfDigit(x, r.printed.c_str(), nullptr, r.digits);
    if (units > worst) worst = units, worst_row = where;
    if (r.tolerance == 0) {
      EXPECT_EQ(P(x), r.printed);
    }
    EXPECT_LE(units, r.tolerance + 0.5);
  }
  std::printf("worst row: %s, %.3f units of the last digit\n", worst_row.c_str(), worst);
}

TEST(HostEvalf, ExplicitDigitsAndNames) {
  std::map<long, std::string> pi;
  for (const Row& r : LoadRows())
    if (r.expression == "Pi") pi[r.digits] = r.printed;
  ScopedDigits d(12);
  HostObject x = host::Evalf(N("Pi"), 100);
  EXPECT_EQ(P(x), pi[100]);
  EXPECT_EQ(host::WorkingDigits(), 12);  // evalf(e, n) leaves Digits alone
  EXPECT_EQ(host::NameValue(N("Digits")), I(12));
  EXPECT_EQ(host::FloatDigits(host::MakeFloat(1.0)), 12);
  EXPECT_EQ(P(host::Apply(N("evalf"), host::MakeSeq({N("Pi"), I(30)}))), pi[30]);
  EXPECT_EQ(P(host::Evalf(x, 10)), pi[10]);

  // Assigned names evaluate to their values; a cycle of names is an error,
  // not an endless loop.
  HostObject a = N("numbers_test_a"), b = N("numbers_test_b");
  host::AssignName(a, b);
  host::AssignName(b, Q(1, 4));
  EXPECT_EQ(P(host::Evalf(L({a, N("numbers_test_free")}))), "[0.25, numbers_test_free]");
  host::AssignName(b, a);
  std::string message = ErrorOf([&] { host::Evalf(a); });
  host::AssignName(a, nullptr);
  host::AssignName(b, nullptr);
  EXPECT_EQ(message.rfind("too many levels of recursion evaluating", 0), 0u) << message;
}

}  // namespace
