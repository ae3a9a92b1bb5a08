// Printed forms: numbers, floats at their own digits (read back through
// ParseFloat), strings, containers and rtables, and operator expressions,
// which must read back to the same value under the usual precedence rules.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <map>
#include <random>
#include <stdexcept>

#include "tests/platform/host/host_test_util.h"

namespace {

using namespace quarn::test::host_util;
using quarn::test::ErrorOf;
using quarn::test::ScopedDigits;

HostObject C(HostObject re, HostObject im) { return host::MakeComplex(re, im); }

TEST(HostPrint, Numbers) {
  EXPECT_EQ(P(I(-42)), "-42");
  EXPECT_EQ(P(Big("-1208925819614629174706176")), "-1208925819614629174706176");
  EXPECT_EQ(P(Q(-3, 7)), "-3/7");
  EXPECT_EQ(P(host::FloatUndefined()), "Float(undefined)");
  EXPECT_EQ(P(host::FloatInfinity(-1)), "-Float(infinity)");
  // A negative imaginary part, of any kind, prints as a difference.
  EXPECT_EQ(P(C(I(1), I(2))), "1 + 2*I");
  EXPECT_EQ(P(C(I(1), I(-2))), "1 - 2*I");
  EXPECT_EQ(P(C(I(1), Q(-1, 2))), "1 - 1/2*I");
  EXPECT_EQ(P(C(F("1.5"), F("-2."))), "1.5 - 2.*I");
  EXPECT_EQ(P(C(I(-1), Big("-1208925819614629174706176"))), "-1 - 1208925819614629174706176*I");

  ScopedDigits d(10);  // D digits, zeros stripped, plain form from 1e-5 up to 10^D
  const std::map<std::string, std::string> forms = {
      {"1.0", "1."},           {"-2.50", "-2.5"},     {"-0.000123", "-0.000123"},   {"0.00001", "0.00001"},
      {"0.000001", "1.e-6"},   {"1.5e-20", "1.5e-20"}, {"1234567890", "1234567890."}, {"12345678901", "1.23456789e10"},
      {"1.234567891e30", "1.234567891e30"}, {"0.99999999999", "1."}, {"9999999999.5", "1.e10"}, {"0", "0."}};
  for (const auto& [literal, printed] : forms) EXPECT_EQ(P(F(literal)), printed) << literal;
  HostObject third = host::Evalf(Q(1, 3), 20);  // its own digits, whatever Digits is now
  ScopedDigits more(40);
  EXPECT_EQ(P(third), "0.33333333333333333333");
}

// Printed at Digits D and read back at D, a float is within half a unit of
// its D-th digit and prints the same again.
TEST(HostPrint, FloatsReadBack) {
  std::mt19937_64 gen(5);
  for (long digits : {10L, 30L, 100L}) {
    ScopedDigits d(digits);
    for (int i = 0; i < 300; ++i) {
      HostObject x = host::Mul(host::MakeFloat(std::ldexp(static_cast<double>(gen() >> 11) + 1, -53)),
                               host::Pow(I(10), I(static_cast<long>(gen() % 80) - 40)));
      x = host::Div(i % 2 ? host::Neg(x) : x, I(static_cast<long>(gen() % 97) + 1));  // more digits than a double
      std::string s = P(x);
      HostObject y = F(s);
      EXPECT_EQ(P(y), s);
      EXPECT_LE(UnitsOfDigit(y, nullptr, x, digits), 0.51) << s;
    }
  }
}

TEST(HostPrint, StringsContainersAndRTables) {
  EXPECT_EQ(P(S("say \"hi\" \\o/")), "\"say \\\"hi\\\" \\\\o/\"");  // escaped: it reads back
  EXPECT_EQ(P(L({I(1), Q(2, 3), L({N("a"), S("s")})})), "[1, 2/3, [a, \"s\"]]");
  EXPECT_EQ(P(host::MakeSeq({N("a"), N("b"), I(3)})), "a, b, 3");
  EXPECT_EQ(P(host::Null()), "");
  EXPECT_EQ(P(host::MakeEquation(N("i"), host::MakeRange(I(1), I(10)))), "i = 1 .. 10");
  EXPECT_EQ(P(host::MakeUneval(N("a"))), "'a'");
  EXPECT_EQ(P(host::MakeFunction(N("f"), {N("a"), L({})})), "f(a, [])");
  HostObject t = QuarnTableAlloc(K());
  QuarnTableAssign(K(), t, S("b"), I(2));
  QuarnTableAssign(K(), t, N("c"), I(3));
  QuarnTableAssign(K(), t, S("a"), L({I(1)}));
  EXPECT_EQ(P(t), "table([\"a\" = [1], \"b\" = 2, c = 3])");

  // rtables show their elements; long ones the first and last five.
  RTableSettingsRecord s;
  RTableGetDefaults(K(), &s);
  s.data_type = RTABLE_FLOAT64;
  s.subtype = RTABLE_COLUMN;
  double data[20];
  for (int i = 0; i < 20; ++i) data[i] = i + 1;
  int twelve[2] = {1, 12}, twenty[2] = {1, 20};
  EXPECT_EQ(P(RTableCreate(K(), &s, data, twelve)),
            "Vector[column](1..12, [1., 2., 3., 4., 5., 6., 7., 8., 9., 10., 11., 12.], datatype = float[8])");
  EXPECT_EQ(P(RTableCreate(K(), &s, data, twenty)),
            "Vector[column](1..20, [1., 2., 3., 4., 5., ..., 16., 17., 18., 19., 20.], datatype = float[8], "
            "20 elements)");
  s.num_dimensions = 2;
  s.subtype = RTABLE_MATRIX;
  s.data_type = RTABLE_INTEGER32;
  int32_t by_columns[4] = {1, 3, 2, 4};
  int square[4] = {1, 2, 1, 2};
  EXPECT_EQ(P(RTableCreate(K(), &s, by_columns, square)),
            "Matrix(1..2, 1..2, [[1, 2], [3, 4]], datatype = integer[4])");

  // Empty ranges, down to the most negative bound: no element, no count (the
  // extent was once formed in int, and a negative one shown as unsigned).
  s.num_dimensions = 1;
  s.subtype = RTABLE_ARRAY;
  s.data_type = RTABLE_DAG;
  const int empty[][2] = {{1, 0}, {1, -3}, {1, INT32_MIN}, {INT32_MAX, INT32_MIN}};
  for (const auto& b : empty) {
    int bounds[2] = {b[0], b[1]};
    EXPECT_EQ(P(RTableCreate(K(), &s, nullptr, bounds)),
              "Array(" + std::to_string(b[0]) + ".." + std::to_string(b[1]) + ", [], datatype = anything)");
  }
}

TEST(HostPrint, OperatorParentheses) {
  HostObject a = N("a"), b = N("b"), c = N("c");
  EXPECT_EQ(P(Op("*", {Op("+", {a, b}), c})), "(a + b) * c");
  EXPECT_EQ(P(Op("-", {a, Op("-", {b, c})})), "a - (b - c)");
  EXPECT_EQ(P(Op("-", {Op("+", {a, b})})), "-(a + b)");
  EXPECT_EQ(P(Op("^", {I(-3), a})), "(-3) ^ a");
  EXPECT_EQ(P(Op("^", {a, Op("^", {b, c})})), "a ^ (b ^ c)");
  EXPECT_EQ(P(Op("^", {Op("^", {a, b}), c})), "(a ^ b) ^ c");
}

// Reads a printed expression by the usual rules (+ - below * /, below unary
// minus, below ^, which is right associative and may take a unary minus),
// computing with the host's exact arithmetic; names take the values given
// and I is the imaginary unit.
class Reader {
 public:
  Reader(const std::string& text, const std::map<std::string, HostObject>& values) : s_(text), values_(values) {}
  HostObject Read() {
    HostObject v = Sum();
    if (Space(), pos_ != s_.size()) throw std::runtime_error("unread text at " + std::to_string(pos_));
    return v;
  }

 private:
  void Space() {
    while (pos_ < s_.size() && s_[pos_] == ' ') ++pos_;
  }
  bool Take(char c) { return Space(), pos_ < s_.size() && s_[pos_] == c ? (++pos_, true) : false; }
  HostObject Sum() {
    for (HostObject v = Term();;) {
      if (Take('+')) v = host::Add(v, Term());
      else if (Take('-')) v = host::Sub(v, Term());
      else return v;
    }
  }
  HostObject Term() {
    for (HostObject v = Unary();;) {
      if (Take('*')) v = host::Mul(v, Unary());
      else if (Take('/')) v = host::Div(v, Unary());
      else return v;
    }
  }
  HostObject Unary() { return Take('-') ? host::Neg(Unary()) : Power(); }
  HostObject Power() {
    HostObject base = Atom();
    return Take('^') ? host::Pow(base, Unary()) : base;
  }
  HostObject Atom() {
    if (Take('(')) {
      HostObject v = Sum();
      if (!Take(')')) throw std::runtime_error("missing ) at " + std::to_string(pos_));
      return v;
    }
    size_t start = pos_;
    auto at = [this](bool digit) {
      return pos_ < s_.size() && (digit ? std::isdigit(static_cast<unsigned char>(s_[pos_]))
                                        : std::isalpha(static_cast<unsigned char>(s_[pos_])));
    };
    if (at(true)) {
      while (at(true)) ++pos_;
      return Big(s_.substr(start, pos_ - start).c_str());
    }
    while (at(false)) ++pos_;
    std::string name = s_.substr(start, pos_ - start);
    if (name == "I") return C(I(0), I(1));
    if (!values_.count(name)) throw std::runtime_error("unexpected '" + name + "' at " + std::to_string(start));
    return values_.at(name);
  }

  const std::string& s_;
  const std::map<std::string, HostObject>& values_;
  size_t pos_ = 0;
};

// The value of an operator tree under the same substitution.
HostObject ValueOf(HostObject e, const std::map<std::string, HostObject>& values) {
  if (host::KindOf(e) == host::Kind::Name) return values.at(host::NameText(e));
  if (host::KindOf(e) != host::Kind::Function) return e;
  std::vector<HostObject> x = host::Elements(e);
  for (HostObject& v : x) v = ValueOf(v, values);
  if (x.size() == 1) return host::Neg(x[0]);
  switch (host::NameText(host::FunctionName(e))[0]) {
    case '+': return host::Add(x[0], x[1]);
    case '-': return host::Sub(x[0], x[1]);
    case '*': return host::Mul(x[0], x[1]);
    case '/': return host::Div(x[0], x[1]);
    default: return host::Pow(x[0], x[1]);
  }
}

// Random trees over names, integers, rationals and complex numbers; the
// exponents are small positive integer expressions, so every value is exact.
HostObject RandomTree(std::mt19937_64& gen, int depth) {
  auto pick = [&gen](size_t n) { return static_cast<size_t>(gen() % n); };
  const std::vector<HostObject> leaves = {N("a"), N("b"), N("c"), I(2), I(-3), Q(1, 2), Q(-2, 3),
                                          Big("1180591620717411303424"), C(I(1), I(2)), C(I(1), I(-2)),
                                          C(I(0), I(3)), C(Q(1, 3), Q(-1, 2))};
  if (depth == 0 || pick(4) == 0) return leaves[pick(leaves.size())];
  size_t k = pick(6);
  if (k == 0) return Op("-", {RandomTree(gen, depth - 1)});
  if (k == 1) {
    const std::vector<HostObject> exponents = {I(2), I(3), Op("+", {I(2), I(3)}), Op("*", {I(2), I(3)}),
                                               Op("^", {I(2), I(2)})};
    return Op("^", {RandomTree(gen, depth - 1), exponents[pick(exponents.size())]});
  }
  static const char* const ops[] = {"+", "-", "*", "/"};
  return Op(ops[pick(4)], {RandomTree(gen, depth - 1), RandomTree(gen, depth - 1)});
}

TEST(HostPrint, OperatorExpressionsReadBackToTheSameValue) {
  const uint64_t seed = 2024;
  std::mt19937_64 gen(seed);
  const std::map<std::string, HostObject> values = {{"a", Q(2, 7)}, {"b", Q(-3, 5)}, {"c", I(11)}};
  int checked = 0;
  for (int i = 0; i < 600; ++i) {
    HostObject e = RandomTree(gen, 4), expected = nullptr, read = nullptr;
    SCOPED_TRACE("seed " + std::to_string(seed) + ", tree " + std::to_string(i) + ": " + P(e));
    if (!ErrorOf([&] { expected = ValueOf(e, values); }).empty()) continue;  // divides by zero
    try {
      read = Reader(P(e), values).Read();
    } catch (const std::exception& err) {
      ADD_FAILURE() << "cannot read back: " << err.what();
      continue;
    }
    EXPECT_TRUE(host::Equal(read, expected)) << P(read) << " instead of " << P(expected);
    ++checked;
  }
  EXPECT_GT(checked, 400);
}

}  // namespace
