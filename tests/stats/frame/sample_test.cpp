// Data samples: every data type and storage reads as the same floats as a
// dense sfloat vector of the numbers; missing data is kept or dropped; bad
// samples are refused with the library's messages.
#include <gtest/gtest.h>

#include "platform/host/host.h"
#include "stats/frame/frame.h"
#include "stats/frame/sample.h"
#include "support/support.h"

namespace host = quarn::host;
using namespace quarnstats;
using quarn::test::ErrorOf;
using quarn::test::kv;
using quarn::test::ScopedDigits;

namespace {

HostObject MakeVector(int data_type, int storage, int lo, const std::vector<RTableData>& elements,
                      HostObject type_name = nullptr) {
  RTableSettingsRecord rts;
  RTableGetDefaults(kv(), &rts);
  rts.data_type = data_type;
  rts.storage = storage;
  if (type_name != nullptr) rts.element_type_name = type_name;
  int bounds[2] = {lo, lo + static_cast<int>(elements.size()) - 1};
  HostObject rt = RTableCreate(kv(), &rts, nullptr, bounds);
  for (size_t i = 0; i < elements.size(); ++i) {
    int index = lo + static_cast<int>(i);
    RTableAssign(kv(), rt, &index, elements[i]);
  }
  return rt;
}

// A dense sfloat vector holding the given host floats.
HostObject SfloatVector(const std::vector<HostObject>& floats) {
  std::vector<RTableData> e(floats.size());
  for (size_t i = 0; i < floats.size(); ++i) e[i].dag = floats[i];
  return MakeVector(RTABLE_DAG, RTABLE_RECT, 1, e, host::Name("sfloat"));
}

RTableData Element(int data_type, double v) {
  RTableData e{};
  switch (data_type) {
    case RTABLE_DAG: e.dag = host::MakeFloat(v); break;
    case RTABLE_CXDAG: e.cxdag.re = host::MakeFloat(v); e.cxdag.im = host::MakeInteger(0); break;
    case RTABLE_INTEGER8: e.int8 = static_cast<int8_t>(v); break;
    case RTABLE_INTEGER16: e.int16 = static_cast<int16_t>(v); break;
    case RTABLE_INTEGER32: e.int32 = static_cast<int32_t>(v); break;
    case RTABLE_INTEGER64: e.int64 = static_cast<int64_t>(v); break;
    case RTABLE_FLOAT64: e.float64 = v; break;
    case RTABLE_COMPLEX: e.complex.re = v; e.complex.im = 0.0; break;
    case RTABLE_FLOAT32: e.float32 = static_cast<float>(v); break;
  }
  return e;
}

bool SameValue(const QuarnFloat& a, const QuarnFloat& b) { return mpfr_equal_p(a.Mpfr(), b.Mpfr()) != 0; }

}  // namespace

TEST(DataSample, EveryDataTypeAndStorageReadsLikeDenseSfloat) {
  ScopedDigits digits(30);
  const std::vector<double> integral = {-3, 0, 7, 100, -128};
  const std::vector<double> fractional = {0.1, -2.5, 1e-300, 3.0e10, -0.0};
  for (int type = RTABLE_DAG; type < RTABLE_NUM_DATA_TYPES; ++type) {
    bool integer_type = type >= RTABLE_INTEGER8 && type <= RTABLE_INTEGER64;
    std::vector<double> values = integer_type ? integral : fractional;
    // The reference: the value each element holds, widened exactly to a
    // double (a float[4] element is the nearest single), as a host float.
    std::vector<HostObject> expected;
    for (double v : values) expected.push_back(host::MakeFloat(type == RTABLE_FLOAT32 ? static_cast<float>(v) : v));
    HostObject reference_vector = SfloatVector(expected);
    _DataSample reference_sample(kv(), reference_vector);
    const QuarnFloat* reference = reference_sample.Points();
    for (int storage : {RTABLE_RECT, RTABLE_SPARSE}) {
      SCOPED_TRACE("data type " + std::to_string(type) + ", storage " + std::to_string(storage));
      std::vector<RTableData> elements;
      for (double v : values) elements.push_back(Element(type, v));
      _DataSample sample(kv(), MakeVector(type, storage, -2, elements));
      ASSERT_EQ(sample.Size(), values.size());
      for (size_t i = 0; i < values.size(); ++i) EXPECT_TRUE(SameValue(sample.Points()[i], reference[i])) << i;
    }
  }
}

TEST(DataSample, DenseSfloatIsReadInPlaceAndCopiesAreProtected) {
  HostObject dense = SfloatVector({host::MakeFloat(1.0), host::MakeFloat(2.0)});
  size_t protected_before = host::ProtectedCount();
  {
    _SampleVector view(kv(), dense);
    EXPECT_EQ(static_cast<void*>(view.Data()), RTableDataBlock(kv(), dense));
    EXPECT_EQ(host::ProtectedCount(), protected_before);
  }
  HostObject doubles = MakeVector(RTABLE_FLOAT64, RTABLE_RECT, 1, {Element(RTABLE_FLOAT64, 1.0)});
  {
    _SampleVector view(kv(), doubles);
    EXPECT_NE(static_cast<void*>(view.Data()), RTableDataBlock(kv(), doubles));
    EXPECT_EQ(host::ProtectedCount(), protected_before + 1);
  }
  EXPECT_EQ(host::ProtectedCount(), protected_before);
}

TEST(DataSample, GeneralElementsAreEvaluatedAtTheWorkingPrecision) {
  ScopedDigits digits(40);
  RTableData third{}, root{}, pi{};
  third.dag = host::MakeRational(host::MakeInteger(1), host::MakeInteger(3));
  root.dag = host::MakeFunction(host::Name("sqrt"), {host::MakeInteger(2)});
  pi.dag = host::Name("Pi");
  _DataSample sample(kv(), MakeVector(RTABLE_DAG, RTABLE_RECT, 1, {third, root, pi}));
  // References: mpmath at 40 digits.
  const char* expected[] = {"0.3333333333333333333333333333333333333333",
                            "1.41421356237309504880168872420969807857",  // the trailing 0 is not printed
                            "3.141592653589793238462643383279502884197"};
  for (int i = 0; i < 3; ++i) EXPECT_EQ(host::Print(sample.Points()[i].Handle()), expected[i]);
}

TEST(DataSample, IgnoreMissingCompactsPointsAndPairs) {
  HostObject undefined = host::FloatUndefined();
  HostObject points = SfloatVector({host::MakeFloat(1), undefined, host::MakeFloat(3)});
  HostObject weights = SfloatVector({host::MakeFloat(1), host::MakeFloat(1), undefined});
  _DataSample weighted(kv(), points, weights);
  std::vector<QuarnFloat> x(3), w(3);
  EXPECT_EQ(weighted.CopyTo(x.data(), w.data(), true), 1u);
  EXPECT_EQ(x[0].ToDouble(), 1.0);
  EXPECT_EQ(weighted.CopyTo(x.data(), w.data(), false), 3u);
  EXPECT_TRUE(IsQuarnFloatUndefined(x[1]));
  EXPECT_TRUE(IsQuarnFloatUndefined(w[2]));

  _DataSample unweighted(kv(), points);
  EXPECT_FALSE(unweighted.HasWeights());
  EXPECT_EQ(unweighted.CopyTo(x.data(), nullptr, true), 2u);
  EXPECT_EQ(x[0].ToDouble(), 1.0);
  EXPECT_EQ(x[1].ToDouble(), 3.0);
}

TEST(DataSample, EmptyWeightsMeanNoWeightsAndSizesMustAgree) {
  std::vector<HostObject> ten;
  for (int i = 0; i < 10; ++i) ten.push_back(host::MakeFloat(i));
  HostObject points = SfloatVector(ten);
  _DataSample unweighted(kv(), points, MakeVector(RTABLE_FLOAT64, RTABLE_RECT, 1, {}));
  EXPECT_FALSE(unweighted.HasWeights());
  EXPECT_EQ(unweighted.Weights(), nullptr);
  HostObject short_weights = SfloatVector(std::vector<HostObject>(ten.begin(), ten.end() - 1));
  EXPECT_EQ(ErrorOf([&] { _DataSample bad(kv(), points, short_weights); }),
            host::FormatMessage(
                "vector of points and vector of weights are expected to have the same size, received %1, %2", points,
                short_weights));
}

TEST(DataSample, UnconvertibleSamplesAreRefused) {
  HostObject list = host::MakeList({host::MakeInteger(1)});
  EXPECT_EQ(ErrorOf([&] { _DataSample s(kv(), list); }), "invalid data sample, expected: rtable, received [1]");
  RTableData one{}, x{};
  one.dag = host::MakeInteger(1);
  x.dag = host::Name("x");
  EXPECT_EQ(ErrorOf([&] { _DataSample s(kv(), MakeVector(RTABLE_DAG, RTABLE_RECT, 1, {one, x})); }),
            "unable to evaluate x to floating-point");
  RTableData c{};
  c.complex.re = 1.0;
  c.complex.im = 2.0;
  HostObject expected = ToQuarnComplex(kv(), 1.0, 2.0);
  EXPECT_EQ(ErrorOf([&] { _DataSample s(kv(), MakeVector(RTABLE_COMPLEX, RTABLE_RECT, 1, {Element(7, 0.5), c})); }),
            "unable to evaluate " + host::Print(expected) + " to floating-point");
  RTableData cx{};
  cx.cxdag.re = host::MakeFloat(1.0);
  cx.cxdag.im = host::MakeFloat(0.0);  // a float zero is not the unnamed zero
  EXPECT_EQ(ErrorOf([&] { _DataSample s(kv(), MakeVector(RTABLE_CXDAG, RTABLE_RECT, 1, {cx})); }),
            "unable to evaluate " + host::Print(ToQuarnComplexFloat(kv(), cx.cxdag.re, cx.cxdag.im)) +
                " to floating-point");
  // A sample is one-dimensional: a matrix (which was read as its first
  // column) is refused.
  RTableSettingsRecord rts;
  RTableGetDefaults(kv(), &rts);
  rts.num_dimensions = 2;
  int bounds[4] = {1, 2, 1, 1};
  HostObject matrix = RTableCreate(kv(), &rts, nullptr, bounds);
  EXPECT_EQ(ErrorOf([&] { _DataSample s(kv(), matrix); }),
            host::FormatMessage("invalid data sample, expected: one-dimensional array, received %1", matrix));
  // Refused samples release the copies they had protected (checked after
  // every test by the driver); this guards against a leak when the
  // conversion raises halfway.
}

TEST(EvaluateToFloat, KeepsTheIndexRangeAndMakesANewDenseSfloatVector) {
  HostObject source = MakeVector(RTABLE_INTEGER32, RTABLE_RECT, 5, {Element(4, -3), Element(4, 0), Element(4, 7)});
  HostObject result = STATS_QuarnEvaluateToFloat_MP(kv(), source);
  RTableSettingsRecord rts;
  RTableGetSettings(kv(), &rts, result);
  EXPECT_EQ(rts.data_type, RTABLE_DAG);
  EXPECT_EQ(rts.storage, RTABLE_RECT);
  EXPECT_EQ(rts.element_type_name, host::Name("sfloat"));
  EXPECT_EQ(RTableLowerBound(kv(), result, 1), 5);
  EXPECT_EQ(RTableUpperBound(kv(), result, 1), 7);
  int index = 7;
  EXPECT_EQ(host::Print(RTableSelect(kv(), result, &index).dag), "7.");
  // A dense sfloat argument still gives a new rtable.
  HostObject dense = SfloatVector({host::MakeFloat(1.5)});
  EXPECT_NE(STATS_QuarnEvaluateToFloat_MP(kv(), dense), dense);
  // What it refuses beyond the argument count is _DataSample's, above.
  HostObject two = host::MakeSeq({source, source});
  EXPECT_EQ(ErrorOf([&] { STATS_QuarnEvaluateToFloat_MP(kv(), two); }),
            host::FormatMessage("expected one argument, received: %1", two));
}

TEST(OutputVector, MadeFromACountOrCheckedWhenGiven) {
  HostObject made = GetOutputVector(kv(), host::MakeInteger(4));
  RTableSettingsRecord rts;
  RTableGetSettings(kv(), &rts, made);
  EXPECT_EQ(rts.data_type, RTABLE_DAG);
  EXPECT_EQ(RTableLowerBound(kv(), made, 1), 1);
  EXPECT_EQ(RTableUpperBound(kv(), made, 1), 4);
  HostObject general = MakeVector(RTABLE_DAG, RTABLE_RECT, 1, {Element(0, 1.0)});
  EXPECT_EQ(GetOutputVector(kv(), general), general);
  // Only general-type arrays hold floats: float[8] and the other numeric
  // types are refused.
  for (HostObject numeric : {MakeVector(RTABLE_FLOAT64, RTABLE_RECT, 1, {Element(6, 1.0)}),
                             MakeVector(RTABLE_FLOAT32, RTABLE_RECT, 1, {Element(8, 1.0)})}) {
    EXPECT_EQ(ErrorOf([&] { GetOutputVector(kv(), numeric); }),
              host::FormatMessage("output array must have float[8] or sfloat data type, received: %1", numeric));
  }
  HostObject sparse = MakeVector(RTABLE_DAG, RTABLE_SPARSE, 1, {Element(0, 1.0)});
  EXPECT_EQ(ErrorOf([&] { GetOutputVector(kv(), sparse); }),
            host::FormatMessage("output array must have rectangular storage, received: %1", sparse));
  // Sizes are non-negative 32-bit integers (a negative one made a vector
  // 1..-3 that claimed 2^64 - 3 elements).
  for (HostObject bad : {host::MakeInteger(-3), host::MakeFloat(2.0), host::MakeIntegerFromString("4294967296"),
                         host::Name("x")}) {
    EXPECT_EQ(ErrorOf([&] { GetOutputVector(kv(), bad); }),
              host::FormatMessage("the sample size must be a non-negative integer, received: %1", bad));
  }
  EXPECT_EQ(SampleLength(kv(), host::MakeInteger(0)), 0);
}

TEST(DataSample, CopiesSurviveCollectionsWhileInUse) {
  const int n = 100000;
  std::vector<RTableData> e(n);
  for (int i = 0; i < n; ++i) e[i].int32 = i - n / 2;
  HostObject source = MakeVector(RTABLE_INTEGER32, RTABLE_RECT, 1, e);
  _DataSample sample(kv(), source);
  for (int round = 0; round < 5; ++round) {
    for (int i = 0; i < 20000; ++i) host::MakeFloat(i);  // garbage
    host::Collect();
  }
  for (int i = 0; i < n; ++i) ASSERT_EQ(sample.Points()[i].ToDouble(), static_cast<double>(i - n / 2)) << i;
}
