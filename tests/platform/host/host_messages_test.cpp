// Host errors, the error trap, information messages and the random source.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>

#include "tests/platform/host/host_test_util.h"

namespace {

using namespace quarn::test::host_util;
using quarn::test::ErrorOf;
using quarn::test::ScopedDigits;
using quarn::test::ScopedRandomState;

TEST(HostMessages, FormatAndRaise) {
  HostObject list = L({I(1), N("x")});
  EXPECT_EQ(host::FormatMessage("%1 and %2, %1", list, S("s")), "[1, x] and \"s\", [1, x]");
  EXPECT_EQ(host::FormatMessage("100% sure: %3 %x %", I(1), nullptr), "100% sure: %3 %x %");
  EXPECT_EQ(ErrorOf([&] { QuarnRaiseError1(K(), "unable to evaluate %1 to floating-point", list); }),
            "unable to evaluate [1, x] to floating-point");
  EXPECT_EQ(ErrorOf([] { QuarnRaiseError2(K(), "%2 is not %1", I(-3), Q(1, 2)); }), "1/2 is not -3");
  EXPECT_EQ(ErrorOf([] { QuarnRaiseError1(K(), "no data%1", ToQuarnNULL(K())); }), "no data");
  EXPECT_EQ(ErrorOf([] { K()->error(K(), "plain %1"); }), "plain %1");
}

// ------------------------------------------------------------ the trap

int g_marker = 0;
void* Returns(void*) { return &g_marker; }
void* Raises(void*) { QuarnRaiseError(K(), "inner"); }
struct Nested {
  int inner_flag = -1;
  bool raise_after = false;
};
void* TrapsInside(void* data) {
  auto* n = static_cast<Nested*>(data);
  if (QuarnTrapError(K(), Raises, nullptr, &n->inner_flag) != nullptr) return nullptr;
  if (n->raise_after) QuarnRaiseError(K(), "outer");
  return &g_marker;
}

// [data, number of arguments, the arguments...]
HostObject CountArgs(QKernel kv, HostObject data, HostObject args) {
  std::vector<HostObject> out = {data, ToQuarnInteger(kv, QuarnNumArgs(kv, args))};
  for (int i = 1; i <= QuarnNumArgs(kv, args); ++i) out.push_back(QuarnExpseqSelect(kv, args, i));
  return L(out);
}
HostObject RaiseArgs(QKernel kv, HostObject, HostObject args) { QuarnRaiseError1(kv, "bad arguments: %1", args); }
struct Call {
  HostObject proc, args, result;
};
void* CallProc(void* data) {
  auto* c = static_cast<Call*>(data);
  c->result = EvalQuarnProcedure(K(), c->proc, c->args);
  return c;
}

TEST(HostTrap, FlagsResultsAndProcedures) {
  int flag = 7;
  EXPECT_EQ(QuarnTrapError(K(), Returns, nullptr, &flag), &g_marker);
  EXPECT_EQ(flag, 0);
  EXPECT_EQ(QuarnTrapError(K(), Raises, nullptr, &flag), nullptr);
  EXPECT_NE(flag, 0);
  Nested caught, raised;
  raised.raise_after = true;
  EXPECT_EQ(QuarnTrapError(K(), TrapsInside, &caught, &flag), &g_marker);
  EXPECT_TRUE(flag == 0 && caught.inner_flag != 0);  // the inner trap caught it
  EXPECT_EQ(QuarnTrapError(K(), TrapsInside, &raised, &flag), nullptr);
  EXPECT_TRUE(flag != 0 && raised.inner_flag != 0);

  // Native procedures, called directly, by name and under the trap.
  HostObject count = host::MakeProcedure(CountArgs, S("data"), "proc() count end");
  EXPECT_EQ(P(EvalQuarnProc(K(), count, 2, N("a"), N("b"))), "[\"data\", 2, a, b]");
  EXPECT_EQ(P(EvalQuarnProc(K(), count, 0)), "[\"data\", 0]");
  host::AssignName(N("messages_test_count"), count);
  EXPECT_EQ(P(host::Apply(N("messages_test_count"), host::MakeSeq({I(1), I(2), I(3)}))), "[\"data\", 3, 1, 2, 3]");
  host::AssignName(N("messages_test_count"), nullptr);
  Call bad{host::MakeProcedure(RaiseArgs, nullptr, "proc() raise end"), host::MakeSeq({I(1), I(2)}), nullptr};
  EXPECT_EQ(QuarnTrapError(K(), CallProc, &bad, &flag), nullptr);
  EXPECT_TRUE(flag != 0 && bad.result == nullptr);
  EXPECT_EQ(ErrorOf([&] { CallProc(&bad); }), "bad arguments: 1, 2");
  Call good{count, N("a"), nullptr};
  EXPECT_EQ(QuarnTrapError(K(), CallProc, &good, &flag), &good);
  EXPECT_EQ(flag, 0);
  EXPECT_EQ(P(good.result), "[\"data\", 1, a]");
  EXPECT_EQ(ErrorOf([] { host::Apply(I(3), I(1)); }), "illegal use of an object as a function: 3");
}

TEST(HostInfo, ShownAtOrUnderTheChannelLevel) {
  std::vector<std::string> seen;
  host::SetOutputSink([&seen](const std::string& text) { seen.push_back(text); });
  host::SetInfoLevel("messages_test", 2);
  for (int level = 1; level <= 3; ++level)
    QuarnUserInfo(K(), level, "messages_test", ("at " + std::to_string(level)).c_str());
  QuarnUserInfo(K(), 1, "messages_test_other", "other channel");
  host::SetInfoLevel("messages_test", 0);
  QuarnUserInfo(K(), 1, "messages_test", "after lowering");
  host::SetOutputSink([](const std::string& text) { std::printf("%s\n", text.c_str()); });
  EXPECT_EQ(seen, (std::vector<std::string>{"messages_test: at 1", "messages_test: at 2"}));
}

// ---------------------------------------------------------- random source

TEST(HostRandom, SameSeedSameSequence) {
  ScopedRandomState keep;
  ScopedDigits d(30);
  auto draw = [] {
    std::vector<std::string> out;
    for (int i = 0; i < 50; ++i) {
      out.push_back(std::to_string(QuarnRandomInt32(K())));
      out.push_back(P(QuarnRandomSoftwareFloat01(K())));
    }
    return out;
  };
  host::SeedRandom(20240611);
  std::vector<std::string> first = draw();
  std::string middle = host::RandomState();
  std::vector<std::string> second = draw();
  host::SeedRandom(20240611);
  EXPECT_EQ(draw(), first);
  host::SetRandomState(middle);
  EXPECT_EQ(draw(), second);
  host::SeedRandom(20240612);
  EXPECT_NE(draw(), first);
}

// Counts within 5 standard deviations of n p.
void ExpectBinomial(int count, int n, double p) { EXPECT_NEAR(count, n * p, 5 * std::sqrt(n * p * (1 - p))); }

TEST(HostRandom, Int32CoversTheSignedRange) {
  ScopedRandomState keep;
  host::SeedRandom(7);
  const int n = 100000;
  double sum = 0;
  int negative = 0, high = 0, low = 0;
  for (int i = 0; i < n; ++i) {
    int32_t r = QuarnRandomInt32(K());
    sum += r;
    negative += r < 0;
    high += r >= (1 << 30);
    low += r < -(1 << 30);
  }
  // Uniform on [-2^31, 2^31): mean -1/2, standard deviation 2^32/sqrt(12).
  EXPECT_LT(std::fabs(sum / n + 0.5), 5 * std::ldexp(1.0, 32) / std::sqrt(12.0 * n));
  ExpectBinomial(negative, n, 0.5);
  ExpectBinomial(high, n, 0.25);
  ExpectBinomial(low, n, 0.25);
}

// Bit k after the binary point of x in [0, 1).
int Bit(HostObject x, int k) {
  mpfr_t y;
  mpfr_init2(y, mpfr_get_prec(host::FloatMpfr(x)) + 8);
  mpfr_mul_2ui(y, host::FloatMpfr(x), static_cast<unsigned long>(k), MPFR_RNDN);
  mpfr_floor(y, y);
  mpfr_div_2ui(y, y, 1, MPFR_RNDN);
  int bit = mpfr_integer_p(y) ? 0 : 1;
  mpfr_clear(y);
  return bit;
}

// Uniform on [0, 1) with random bits down to the working precision: the
// first bit and one far beyond a double's are each 1 half of the time.
TEST(HostRandom, FloatsCarryTheWorkingPrecision) {
  ScopedRandomState keep;
  host::SeedRandom(99);
  for (long digits : {10L, 50L, 200L}) {
    SCOPED_TRACE(digits);
    ScopedDigits d(digits);
    const int n = 4000, deep = static_cast<int>(digits * 3.32) - 4;
    int deep_ones = 0, top_ones = 0, outside = 0, wrong_digits = 0;
    double sum = 0;
    for (int i = 0; i < n; ++i) {
      HostObject x = QuarnRandomSoftwareFloat01(K());
      outside += host::KindOf(x) != host::Kind::Float || host::Compare(x, I(0)) < 0 || host::Compare(x, I(1)) >= 0;
      wrong_digits += host::FloatDigits(x) != digits;
      sum += mpfr_get_d(host::FloatMpfr(x), MPFR_RNDN);
      deep_ones += Bit(x, deep);
      top_ones += Bit(x, 1);
    }
    EXPECT_EQ(outside + wrong_digits, 0);
    EXPECT_NEAR(sum / n, 0.5, 5 * std::sqrt(1.0 / 12 / n));
    ExpectBinomial(top_ones, n, 0.5);
    ExpectBinomial(deep_ones, n, 0.5);
  }
}

}  // namespace
