// rtables: every data type in both storages, element order in the data
// block, index ranges, copies between data types, settings, and elements
// kept alive by the collector.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "platform/host/quarnc.h"
#include "support/support.h"

namespace quarn::host {
namespace {

using test::ErrorOf;
using test::ScopedDigits;
using testing::HasSubstr;

HostObject NewRTable(int data_type, int storage, int order, std::vector<int> bounds, void* data = nullptr) {
  RTableSettingsRecord rts;
  RTableGetDefaults(Kernel(), &rts);
  rts.num_dimensions = static_cast<int>(bounds.size() / 2);
  rts.data_type = data_type;
  rts.storage = storage;
  rts.order = order;
  return RTableCreate(Kernel(), &rts, data, bounds.data());
}

HostObject CopyAs(HostObject rt, int data_type, int storage = RTABLE_RECT, int order = RTABLE_FORTRAN) {
  RTableSettingsRecord rts;
  RTableGetSettings(Kernel(), &rts, rt);
  rts.data_type = data_type;
  rts.storage = storage;
  rts.order = order;
  return RTableCopy(Kernel(), &rts, rt);
}

RTableData Zeroed() {
  RTableData e;
  std::memset(&e, 0, sizeof e);
  return e;
}
RTableData Dag(HostObject h) { RTableData e = Zeroed(); e.dag = h; return e; }
RTableData CxDag(HostObject re, HostObject im) { RTableData e = Zeroed(); e.cxdag = {re, im}; return e; }
RTableData Int8(int8_t v) { RTableData e = Zeroed(); e.int8 = v; return e; }
RTableData Int16(int16_t v) { RTableData e = Zeroed(); e.int16 = v; return e; }
RTableData Int32(int32_t v) { RTableData e = Zeroed(); e.int32 = v; return e; }
RTableData Int64(int64_t v) { RTableData e = Zeroed(); e.int64 = v; return e; }
RTableData Float64(double v) { RTableData e = Zeroed(); e.float64 = v; return e; }
RTableData Complex(double re, double im) { RTableData e = Zeroed(); e.complex = {re, im}; return e; }
RTableData Float32(float v) { RTableData e = Zeroed(); e.float32 = v; return e; }

// Bytes of one element of each data type, from the C types it holds.
size_t ElementBytes(int data_type) {
  switch (data_type) {
    case RTABLE_DAG: return sizeof(HostObject);
    case RTABLE_CXDAG: return 2 * sizeof(HostObject);
    case RTABLE_INTEGER8: return sizeof(int8_t);
    case RTABLE_INTEGER16: return sizeof(int16_t);
    case RTABLE_INTEGER32: return sizeof(int32_t);
    case RTABLE_INTEGER64: return sizeof(int64_t);
    case RTABLE_FLOAT64: return sizeof(double);
    case RTABLE_COMPLEX: return 2 * sizeof(double);
    default: return sizeof(float);
  }
}

bool SameBytes(int data_type, const RTableData& a, const void* b) {
  return std::memcmp(&a, b, ElementBytes(data_type)) == 0;
}

bool IsZeroElement(int data_type, const RTableData& e) {
  if (data_type == RTABLE_DAG) return IsQuarnUnnamedZero(Kernel(), e.dag);
  if (data_type == RTABLE_CXDAG) {
    return IsQuarnUnnamedZero(Kernel(), e.cxdag.re) && IsQuarnUnnamedZero(Kernel(), e.cxdag.im);
  }
  const RTableData zero = Zeroed();  // IEEE +0.0 and integer 0 are all bits zero
  return SameBytes(data_type, e, &zero);
}

double DoubleOf(HostObject f) {
  EXPECT_EQ(KindOf(f), Kind::Float) << Print(f);
  return mpfr_get_d(FloatMpfr(f), MPFR_RNDN);
}

RTableData Select(HostObject rt, std::vector<int> index) { return RTableSelect(Kernel(), rt, index.data()); }
void Assign(HostObject rt, std::vector<int> index, RTableData e) { RTableAssign(Kernel(), rt, index.data(), e); }

// Values for every data type, the extremes of each integer type, signed
// zeros, subnormals and infinities included; held exactly at any Digits.
std::vector<RTableData> SampleValues(int data_type) {
  const double inf = std::numeric_limits<double>::infinity();
  switch (data_type) {
    case RTABLE_DAG:
      return {Dag(MakeFloat(2.5)), Dag(Name("x")), Dag(MakeIntegerFromString("123456789012345678901234567890")),
              Dag(MakeList({MakeInteger(1), MakeInteger(2)}))};
    case RTABLE_CXDAG:
      return {CxDag(MakeInteger(1), MakeFloat(-0.5)), CxDag(Name("a"), Name("b"))};
    case RTABLE_INTEGER8: return {Int8(-128), Int8(127), Int8(-1)};
    case RTABLE_INTEGER16: return {Int16(-32768), Int16(32767), Int16(300)};
    case RTABLE_INTEGER32: return {Int32(INT32_MIN), Int32(INT32_MAX), Int32(-70000)};
    case RTABLE_INTEGER64:
      return {Int64(INT64_MIN), Int64(INT64_MAX), Int64(int64_t{1} << 62), Int64(-(int64_t{1} << 61) - 1)};
    case RTABLE_FLOAT64:
      return {Float64(0.1), Float64(-1e308), Float64(4.9406564584124654e-324), Float64(-0.0), Float64(inf),
              Float64(1.0 / 3.0)};
    case RTABLE_COMPLEX: return {Complex(0.1, -1e-300), Complex(-inf, -0.0), Complex(2.0 / 3.0, 7.0)};
    default: return {Float32(0.1f), Float32(-3.4e38f), Float32(1e-45f), Float32(-0.0f)};
  }
}

TEST(RTable, EveryDataTypeInBothStorages) {
  ScopedDigits digits(10);  // below the 16 a double needs: sparse values must not round
  for (int type = 0; type < RTABLE_NUM_DATA_TYPES; ++type) {
    EXPECT_EQ(DataTypeSize(type), ElementBytes(type));
    const std::vector<RTableData> values = SampleValues(type);
    const int n = static_cast<int>(values.size());
    for (int storage : {RTABLE_RECT, RTABLE_SPARSE}) {
      SCOPED_TRACE("data type " + std::to_string(type) + ", storage " + std::to_string(storage));
      HostObject rt = NewRTable(type, storage, RTABLE_FORTRAN, {-1, n});  // one spare element at the end
      ASSERT_EQ(RTableNumElements(Kernel(), rt), static_cast<size_t>(n + 2));
      for (int i = -1; i <= n; ++i) EXPECT_TRUE(IsZeroElement(type, Select(rt, {i}))) << "fresh element " << i;
      for (int k = 0; k < n; ++k) Assign(rt, {k - 1}, values[k]);
      for (int k = 0; k < n; ++k) EXPECT_TRUE(SameBytes(type, Select(rt, {k - 1}), &values[k])) << "element " << k;
      EXPECT_TRUE(IsZeroElement(type, Select(rt, {n}))) << "unassigned element";

      char* block = static_cast<char*>(RTableDataBlock(Kernel(), rt));
      if (storage == RTABLE_SPARSE) {
        EXPECT_EQ(block, nullptr);
      } else {
        ASSERT_NE(block, nullptr);
        for (int k = 0; k < n; ++k) EXPECT_TRUE(SameBytes(type, values[k], block + k * ElementBytes(type)));
      }

      // Initial data: packed elements in storage order.
      std::vector<char> packed(n * ElementBytes(type));
      for (int k = 0; k < n; ++k) std::memcpy(packed.data() + k * ElementBytes(type), &values[k], ElementBytes(type));
      HostObject given = NewRTable(type, storage, RTABLE_FORTRAN, {1, n}, packed.data());
      for (int k = 0; k < n; ++k) EXPECT_TRUE(SameBytes(type, Select(given, {k + 1}), &values[k])) << "given " << k;
    }
  }
}

// Element (i, j, ...) sits at the position a nested loop reaches it, the
// last index innermost in C order and the first innermost in Fortran order;
// a copy to the other order or to sparse storage keeps every element.
TEST(RTable, ElementOrderInTheDataBlock) {
  for (int order : {RTABLE_FORTRAN, RTABLE_C}) {
    SCOPED_TRACE(order == RTABLE_C ? "C order" : "Fortran order");
    const int other = order == RTABLE_C ? RTABLE_FORTRAN : RTABLE_C;
    HostObject rt = NewRTable(RTABLE_INTEGER32, RTABLE_RECT, order, {1, 3, 1, 4});
    for (int i = 1; i <= 3; ++i)
      for (int j = 1; j <= 4; ++j) Assign(rt, {i, j}, Int32(10 * i + j));
    HostObject copy = CopyAs(rt, RTABLE_INTEGER32, RTABLE_RECT, other);
    auto block = [](HostObject h) { return static_cast<const int32_t*>(RTableDataBlock(Kernel(), h)); };
    const int32_t* c_block = block(order == RTABLE_C ? rt : copy);
    const int32_t* fortran_block = block(order == RTABLE_C ? copy : rt);
    int p = 0;
    for (int i = 1; i <= 3; ++i)
      for (int j = 1; j <= 4; ++j, ++p) EXPECT_EQ(c_block[p], 10 * i + j);
    p = 0;
    for (int j = 1; j <= 4; ++j)
      for (int i = 1; i <= 3; ++i, ++p) EXPECT_EQ(fortran_block[p], 10 * i + j);
    HostObject s = CopyAs(rt, RTABLE_FLOAT64, RTABLE_SPARSE, other);
    for (int i = 1; i <= 3; ++i)
      for (int j = 1; j <= 4; ++j) EXPECT_EQ(Select(s, {i, j}).float64, 10.0 * i + j);

    // Three dimensions with bounds away from 1, filled from initial data.
    std::vector<double> data(3 * 2 * 3);
    for (size_t q = 0; q < data.size(); ++q) data[q] = static_cast<double>(q);
    HostObject cube = NewRTable(RTABLE_FLOAT64, RTABLE_RECT, order, {-1, 1, 0, 1, 2, 4}, data.data());
    HostObject sparse = NewRTable(RTABLE_FLOAT64, RTABLE_SPARSE, order, {-1, 1, 0, 1, 2, 4}, data.data());
    double q = 0;
    auto expect_next = [&](int i, int j, int k) {
      SCOPED_TRACE(testing::Message() << i << "," << j << "," << k);
      EXPECT_EQ(Select(cube, {i, j, k}).float64, q);
      EXPECT_EQ(Select(sparse, {i, j, k}).float64, q);
      const int position = static_cast<int>(q) + 1;
      EXPECT_EQ(DoubleOf(RTableElementObject(cube, &position)), q);
      EXPECT_EQ(DoubleOf(RTableElementObject(sparse, &position)), q);
      ++q;
    };
    if (order == RTABLE_C) {
      for (int i = -1; i <= 1; ++i)
        for (int j = 0; j <= 1; ++j)
          for (int k = 2; k <= 4; ++k) expect_next(i, j, k);
    } else {
      for (int k = 2; k <= 4; ++k)
        for (int j = 0; j <= 1; ++j)
          for (int i = -1; i <= 1; ++i) expect_next(i, j, k);
    }
    EXPECT_EQ(q, 18);
  }
}

TEST(RTable, IndexRangesAndBounds) {
  HostObject v = NewRTable(RTABLE_INTEGER16, RTABLE_RECT, RTABLE_FORTRAN, {5, 7});
  EXPECT_EQ(RTableNumDimensions(Kernel(), v), 1);
  EXPECT_EQ(RTableLowerBound(Kernel(), v, 1), 5);
  EXPECT_EQ(RTableUpperBound(Kernel(), v, 1), 7);
  EXPECT_EQ(RTableNumElements(Kernel(), v), 3u);
  Assign(v, {5}, Int16(-5));
  Assign(v, {7}, Int16(7));
  EXPECT_EQ(Select(v, {5}).int16, -5);
  EXPECT_EQ(Select(v, {7}).int16, 7);
  EXPECT_EQ(static_cast<const int16_t*>(RTableDataBlock(Kernel(), v))[2], 7);
  for (int bad : {4, 8, -5}) {
    std::string message = ErrorOf([&] { Select(v, {bad}); });
    EXPECT_THAT(message, HasSubstr("index out of range")) << bad;
    EXPECT_THAT(message, HasSubstr(Print(MakeInteger(bad)))) << bad;
    EXPECT_THAT(ErrorOf([&] { Assign(v, {bad}, Int16(1)); }), HasSubstr("index out of range")) << bad;
  }

  for (int storage : {RTABLE_RECT, RTABLE_SPARSE}) {
    HostObject m = NewRTable(RTABLE_FLOAT32, storage, RTABLE_C, {-2, 2, 5, 7});
    EXPECT_EQ(RTableNumDimensions(Kernel(), m), 2);
    EXPECT_EQ(RTableNumElements(Kernel(), m), 15u);
    EXPECT_EQ(RTableLowerBound(Kernel(), m, 2), 5);
    EXPECT_EQ(RTableUpperBound(Kernel(), m, 1), 2);
    Assign(m, {-2, 5}, Float32(1.5f));
    Assign(m, {2, 7}, Float32(-2.5f));
    EXPECT_EQ(Select(m, {-2, 5}).float32, 1.5f);
    EXPECT_EQ(Select(m, {2, 7}).float32, -2.5f);
    EXPECT_EQ(Select(m, {0, 6}).float32, 0.0f);
    for (std::vector<int> bad : std::vector<std::vector<int>>{{-3, 5}, {-2, 8}, {3, 4}}) {
      std::string message = ErrorOf([&] { Select(m, bad); });
      EXPECT_THAT(message, HasSubstr("index out of range"));
      EXPECT_THAT(message, HasSubstr(Print(MakeList({MakeInteger(bad[0]), MakeInteger(bad[1])}))));
    }
    EXPECT_NE(ErrorOf([&] { RTableLowerBound(Kernel(), m, 0); }), "");
    EXPECT_NE(ErrorOf([&] { RTableUpperBound(Kernel(), m, 3); }), "");
  }

  HostObject empty = NewRTable(RTABLE_DAG, RTABLE_RECT, RTABLE_FORTRAN, {1, 0});
  EXPECT_EQ(RTableNumElements(Kernel(), empty), 0u);
  EXPECT_THAT(ErrorOf([&] { Select(empty, {1}); }), HasSubstr("index out of range"));
  EXPECT_EQ(RTableNumElements(Kernel(), CopyAs(empty, RTABLE_FLOAT64)), 0u);
}

TEST(RTable, SparseReadsUnassignedAsZero) {
  HostObject s = NewRTable(RTABLE_FLOAT64, RTABLE_SPARSE, RTABLE_FORTRAN, {-2, 2, 1, 3});
  Assign(s, {-2, 1}, Float64(0.1));
  Assign(s, {2, 3}, Float64(-1e-310));
  Assign(s, {0, 2}, Float64(7.0));
  Assign(s, {0, 2}, Float64(8.0));  // reassignment replaces
  int assigned = 0;
  for (int i = -2; i <= 2; ++i)
    for (int j = 1; j <= 3; ++j) assigned += Select(s, {i, j}).float64 != 0.0;
  EXPECT_EQ(assigned, 3);
  EXPECT_EQ(Select(s, {-2, 1}).float64, 0.1);
  EXPECT_EQ(Select(s, {2, 3}).float64, -1e-310);
  EXPECT_EQ(Select(s, {0, 2}).float64, 8.0);
  EXPECT_EQ(Select(s, {1, 2}).float64, 0.0);

  HostObject g = NewRTable(RTABLE_DAG, RTABLE_SPARSE, RTABLE_C, {1, 4});
  HostObject x = Name("x");
  Assign(g, {3}, Dag(x));
  EXPECT_EQ(Select(g, {3}).dag, x);
  EXPECT_TRUE(IsQuarnUnnamedZero(Kernel(), Select(g, {2}).dag));
  EXPECT_EQ(Print(g), Print(CopyAs(g, RTABLE_DAG, RTABLE_SPARSE, RTABLE_C)));

  // Sparse to rectangular: unassigned elements become the zero of the
  // source type converted, here the float 0.
  HostObject sparse = NewRTable(RTABLE_FLOAT64, RTABLE_SPARSE, RTABLE_FORTRAN, {0, 1, 0, 2});
  Assign(sparse, {1, 2}, Float64(-2.5));
  HostObject dense = CopyAs(sparse, RTABLE_DAG, RTABLE_RECT, RTABLE_C);
  EXPECT_EQ(DoubleOf(Select(dense, {1, 2}).dag), -2.5);
  HostObject zero = Select(dense, {0, 1}).dag;
  EXPECT_EQ(KindOf(zero), Kind::Float);
  EXPECT_TRUE(IsZero(zero));
  HostObject sparse_again = CopyAs(dense, RTABLE_FLOAT64, RTABLE_SPARSE, RTABLE_FORTRAN);
  EXPECT_EQ(Select(sparse_again, {1, 2}).float64, -2.5);
  EXPECT_EQ(Select(sparse_again, {0, 0}).float64, 0.0);
}

TEST(RTable, CopyIntegersAndDoublesToGeneral) {
  const std::vector<int32_t> ints = {INT32_MIN, -3, 0, 7, INT32_MAX};
  HostObject a = NewRTable(RTABLE_INTEGER32, RTABLE_RECT, RTABLE_FORTRAN, {1, 5}, const_cast<int32_t*>(ints.data()));
  HostObject g = CopyAs(a, RTABLE_DAG);
  for (int i = 1; i <= 5; ++i) {
    HostObject e = Select(g, {i}).dag;
    EXPECT_EQ(KindOf(e), Kind::Integer);
    EXPECT_TRUE(Equal(e, MakeInteger(ints[i - 1]))) << Print(e);
  }

  ScopedDigits digits(30);  // floats of 30 digits hold a double exactly
  const std::vector<double> doubles = {0.1, -1e300, 4.9406564584124654e-324, -0.0};
  HostObject d = NewRTable(RTABLE_FLOAT64, RTABLE_RECT, RTABLE_FORTRAN, {0, 3}, const_cast<double*>(doubles.data()));
  HostObject dg = CopyAs(d, RTABLE_DAG);
  HostObject back = CopyAs(dg, RTABLE_FLOAT64);
  for (int i = 0; i <= 3; ++i) {
    EXPECT_EQ(DoubleOf(Select(dg, {i}).dag), doubles[i]);
    EXPECT_TRUE(SameBytes(RTABLE_FLOAT64, Select(back, {i}), &doubles[i])) << i;
  }

  // Numeric to numeric goes without a float of the working precision:
  // 2^53 + 1 is a tie that rounds to even, 2^53.
  ScopedDigits few(10);
  const int64_t big = (int64_t{1} << 53) + 1;
  HostObject i64 = NewRTable(RTABLE_INTEGER64, RTABLE_RECT, RTABLE_FORTRAN, {1, 1}, const_cast<int64_t*>(&big));
  EXPECT_EQ(Select(CopyAs(i64, RTABLE_FLOAT64), {1}).float64, 9007199254740992.0);
  const double third = 1.0 / 3.0;
  HostObject d1 = NewRTable(RTABLE_FLOAT64, RTABLE_RECT, RTABLE_FORTRAN, {1, 1}, const_cast<double*>(&third));
  EXPECT_EQ(Select(CopyAs(d1, RTABLE_COMPLEX), {1}).complex.re, third);
}

TEST(RTable, CopyGeneralToIeeeRoundsToNearest) {
  HostObject point_one;
  {
    ScopedDigits digits(30);
    point_one = MakeFloat(0.1);
  }
  // References: Python's float() of the exact values and mpmath at 53 and
  // 24 bits (mpmath.mp.prec = 24; float(mpmath.sqrt(2))).
  const std::pair<HostObject, double> rows[] = {
      {point_one, 0.1}, {MakeInteger(-7), -7.0}, {MakeRational(MakeInteger(1), MakeInteger(3)), 0.3333333333333333},
      {MakeFunction(Name("sqrt"), {MakeInteger(2)}), 1.4142135623730951},
      {MakeIntegerFromString("9007199254740993"), 9007199254740992.0},  // 2^53 + 1, a tie: to even
      {FloatUndefined(), NAN}, {FloatInfinity(-1), -std::numeric_limits<double>::infinity()},
      {MakeRational(MakeInteger(2), MakeInteger(7)), 0.2857142857142857}};
  HostObject g = NewRTable(RTABLE_DAG, RTABLE_RECT, RTABLE_FORTRAN, {1, 8});
  for (int i = 1; i <= 8; ++i) Assign(g, {i}, Dag(rows[i - 1].first));
  HostObject d = CopyAs(g, RTABLE_FLOAT64);
  for (int i = 1; i <= 8; ++i) {
    const double x = Select(d, {i}).float64, expected = rows[i - 1].second;
    EXPECT_TRUE(std::isnan(expected) ? std::isnan(x) : x == expected) << i << ": " << x;
  }

  HostObject f = CopyAs(g, RTABLE_FLOAT32);
  EXPECT_EQ(Select(f, {3}).float32, 0.3333333432674408f);
  EXPECT_EQ(Select(f, {4}).float32, 1.4142135381698608f);
  EXPECT_EQ(Select(f, {8}).float32, 0.2857142984867096f);

  HostObject c = CopyAs(g, RTABLE_COMPLEX);
  EXPECT_EQ(Select(c, {3}).complex.re, 0.3333333333333333);
  EXPECT_EQ(Select(c, {3}).complex.im, 0.0);
}

TEST(RTable, ValuesThatDoNotFitRaise) {
  auto store = [](int data_type, HostObject value) {
    return ErrorOf([&] {
      HostObject g = NewRTable(RTABLE_DAG, RTABLE_RECT, RTABLE_FORTRAN, {1, 1});
      Assign(g, {1}, Dag(value));
      CopyAs(g, data_type);
    });
  };
  HostObject x = Name("x");
  EXPECT_EQ(store(RTABLE_FLOAT64, x), "unable to store " + Print(x) + " in an rtable of data type float[8]");
  EXPECT_THAT(store(RTABLE_FLOAT32, x), HasSubstr("float[4]"));
  EXPECT_THAT(store(RTABLE_COMPLEX, MakeFunction(Name("f"), {x})), HasSubstr("unable to store f(x)"));
  HostObject huge = MakeIntegerFromString("1" + std::string(400, '0'));
  EXPECT_THAT(store(RTABLE_FLOAT64, huge), HasSubstr("unable to store"));
  EXPECT_THAT(store(RTABLE_INTEGER64, huge), HasSubstr("unable to store"));
  EXPECT_THAT(store(RTABLE_FLOAT32, ParseFloat("1e300")), HasSubstr("unable to store"));
  EXPECT_EQ(store(RTABLE_FLOAT64, ParseFloat("1e300")), "");
  EXPECT_THAT(store(RTABLE_INTEGER32, MakeInteger(2147483648L)), HasSubstr("unable to store 2147483648"));
  EXPECT_EQ(store(RTABLE_INTEGER32, MakeInteger(2147483647L)), "");
  EXPECT_THAT(store(RTABLE_INTEGER8, MakeInteger(-129)), HasSubstr("integer[1]"));
  EXPECT_THAT(store(RTABLE_INTEGER16, MakeFloat(2.0)), HasSubstr("unable to store"));
  EXPECT_THAT(store(RTABLE_FLOAT64, MakeComplex(MakeInteger(1), MakeInteger(2))), HasSubstr("unable to store"));

  const double d = 3.0;
  HostObject r = NewRTable(RTABLE_FLOAT64, RTABLE_RECT, RTABLE_FORTRAN, {1, 1}, const_cast<double*>(&d));
  EXPECT_THAT(ErrorOf([&] { CopyAs(r, RTABLE_INTEGER32); }), HasSubstr("integer[4]"));
  EXPECT_THAT(ErrorOf([&] { ObjectToElement(RTABLE_FLOAT64, x); }), HasSubstr("float[8]"));
}

TEST(RTable, ComplexCopies) {
  ScopedDigits digits(20);
  HostObject g = NewRTable(RTABLE_DAG, RTABLE_RECT, RTABLE_FORTRAN, {1, 2});
  HostObject z = MakeComplex(MakeInteger(3), MakeRational(MakeInteger(-1), MakeInteger(4)));
  Assign(g, {1}, Dag(z));
  Assign(g, {2}, Dag(MakeInteger(7)));
  HostObject c = CopyAs(g, RTABLE_COMPLEX);
  EXPECT_EQ(Select(c, {1}).complex.re, 3.0);
  EXPECT_EQ(Select(c, {1}).complex.im, -0.25);
  EXPECT_EQ(Select(c, {2}).complex.re, 7.0);
  HostObject cx = CopyAs(g, RTABLE_CXDAG);
  EXPECT_TRUE(Equal(Select(cx, {1}).cxdag.re, MakeInteger(3)));
  EXPECT_TRUE(Equal(Select(cx, {1}).cxdag.im, MakeRational(MakeInteger(-1), MakeInteger(4))));
  EXPECT_TRUE(Equal(Select(cx, {2}).cxdag.re, MakeInteger(7)));
  EXPECT_TRUE(IsQuarnUnnamedZero(Kernel(), Select(cx, {2}).cxdag.im));

  HostObject back = CopyAs(c, RTABLE_DAG);
  HostObject first = Select(back, {1}).dag;
  ASSERT_EQ(KindOf(first), Kind::Complex);
  EXPECT_EQ(DoubleOf(ComplexRe(first)), 3.0);
  EXPECT_EQ(DoubleOf(ComplexIm(first)), -0.25);
}

TEST(RTable, SettingsAreKeptAndCopied) {
  RTableSettingsRecord rts;
  RTableGetDefaults(Kernel(), &rts);
  EXPECT_EQ(rts.num_dimensions, 1);
  EXPECT_EQ(rts.subtype, RTABLE_ARRAY);
  EXPECT_EQ(rts.data_type, RTABLE_DAG);
  EXPECT_EQ(rts.storage, RTABLE_RECT);
  EXPECT_EQ(rts.order, RTABLE_FORTRAN);
  EXPECT_EQ(rts.read_only, 0);
  EXPECT_TRUE(Equal(rts.element_type_name, Name("anything")));
  EXPECT_TRUE(IsQuarnNULL(Kernel(), rts.attributes));

  int bounds[] = {-2, 2, 5, 7};
  rts.num_dimensions = 2;
  rts.data_type = RTABLE_FLOAT64;
  HostObject rt = RTableCreate(Kernel(), &rts, nullptr, bounds);
  rts.data_type = RTABLE_INTEGER8;  // the rtable keeps its own copy of the record
  bounds[0] = 0;
  RTableSettingsRecord got;
  RTableGetSettings(Kernel(), &got, rt);
  EXPECT_EQ(got.data_type, RTABLE_FLOAT64);
  EXPECT_EQ(RTableLowerBound(Kernel(), rt, 1), -2);

  HostObject attributes = MakeSeq({Name("symmetric"), MakeEquation(Name("shape"), Name("band"))});
  got.subtype = RTABLE_MATRIX;
  got.element_type_name = Name("sfloat");
  got.attributes = attributes;
  got.data_type = RTABLE_DAG;
  got.read_only = 1;
  got.num_dimensions = 1;  // the copy takes its dimensions from the source
  HostObject copy = RTableCopy(Kernel(), &got, rt);
  RTableSettingsRecord copied;
  RTableGetSettings(Kernel(), &copied, copy);
  EXPECT_EQ(copied.subtype, RTABLE_MATRIX);
  EXPECT_TRUE(Equal(copied.element_type_name, Name("sfloat")));
  EXPECT_TRUE(Equal(copied.attributes, attributes));
  EXPECT_EQ(copied.read_only, 1);
  EXPECT_EQ(copied.num_dimensions, 2);
  EXPECT_EQ(RTableLowerBound(Kernel(), copy, 1), -2);
  EXPECT_EQ(RTableUpperBound(Kernel(), copy, 2), 7);
  EXPECT_TRUE(IsZero(Select(copy, {0, 6}).dag));
  EXPECT_THAT(ErrorOf([&] { Assign(copy, {0, 6}, Dag(MakeInteger(1))); }), HasSubstr("read-only"));
}

TEST(RTable, RefusesWhatIsNotAnRTable) {
  HostObject list = MakeList({MakeInteger(1)});
  EXPECT_EQ(IsQuarnRTable(Kernel(), list), 0);
  EXPECT_EQ(IsQuarnRTable(Kernel(), MakeInteger(3)), 0);
  EXPECT_NE(IsQuarnRTable(Kernel(), NewRTable(RTABLE_DAG, RTABLE_RECT, RTABLE_FORTRAN, {1, 1})), 0);
  EXPECT_NE(ErrorOf([&] { RTableNumElements(Kernel(), list); }), "");
  EXPECT_NE(ErrorOf([&] { RTableDataBlock(Kernel(), MakeInteger(3)); }), "");
  EXPECT_NE(ErrorOf([&] { Select(list, {1}); }), "");

  RTableSettingsRecord rts;
  int bounds[] = {1, 2};
  auto create_with = [&](auto change) {
    RTableGetDefaults(Kernel(), &rts);
    change(rts);
    return ErrorOf([&] { RTableCreate(Kernel(), &rts, nullptr, bounds); });
  };
  EXPECT_NE(create_with([](RTableSettingsRecord& r) { r.data_type = 9; }), "");
  EXPECT_NE(create_with([](RTableSettingsRecord& r) { r.storage = 2; }), "");
  EXPECT_NE(create_with([](RTableSettingsRecord& r) { r.order = 2; }), "");
  EXPECT_NE(create_with([](RTableSettingsRecord& r) { r.num_dimensions = 0; }), "");
  EXPECT_NE(create_with([](RTableSettingsRecord& r) { r.num_dimensions = 9; }), "");
  EXPECT_EQ(create_with([](RTableSettingsRecord&) {}), "");
}

// Garbage of the same size as the elements, so that a collected element's
// memory is soon reused and its value visibly changed.
void ChurnAndCollect() {
  for (int round = 0; round < 4; ++round) {
    for (int i = 0; i < 200000; ++i) MakeFloat(-1.0);
    for (int i = 0; i < 2000; ++i) MakeList({MakeFloat(-2.0), MakeInteger(i)});
    Collect();
  }
}

TEST(RTable, CollectorKeepsElementsAlive) {
  const int n = 100000;  // a data block well beyond the large-block size
  HostObject g = NewRTable(RTABLE_DAG, RTABLE_RECT, RTABLE_FORTRAN, {1, n});
  HostObject d = NewRTable(RTABLE_FLOAT64, RTABLE_RECT, RTABLE_C, {1, n});
  HostObject s = NewRTable(RTABLE_DAG, RTABLE_SPARSE, RTABLE_FORTRAN, {1, n});
  for (int i = 1; i <= n; ++i) {
    Assign(g, {i}, Dag(MakeFloat(i + 0.25)));
    Assign(d, {i}, Float64(i + 0.5));
    if (i % 50 == 0) Assign(s, {i}, Dag(MakeFloat(-i - 0.75)));
  }
  HostObject c = CopyAs(g, RTABLE_DAG, RTABLE_RECT, RTABLE_C);
  ChurnAndCollect();
  auto holds = [](HostObject e, double v) {
    return KindOf(e) == Kind::Float && mpfr_get_d(FloatMpfr(e), MPFR_RNDN) == v;
  };
  int wrong[4] = {};  // general, its C-order copy, float[8], sparse
  for (int i = 1; i <= n; ++i) {
    wrong[0] += !holds(Select(g, {i}).dag, i + 0.25);
    wrong[1] += !holds(Select(c, {i}).dag, i + 0.25);
    wrong[2] += Select(d, {i}).float64 != i + 0.5;
    if (i % 50 == 0) wrong[3] += !holds(Select(s, {i}).dag, -i - 0.75);
  }
  EXPECT_EQ(std::vector<int>(wrong, wrong + 4), std::vector<int>(4, 0));
}

}  // namespace
}  // namespace quarn::host

namespace quarn::host {
namespace {

// An sfloat rtable holds software floats: values are evaluated to floats at
// the working precision when the rtable is made (its zero included) and
// when an element is assigned, in either storage; a value that is no
// number is refused. (The library reads such rtables in place as floats.)
TEST(RTable, SfloatElementsAreFloats) {
  ScopedDigits digits(10);
  struct Case {
    HostObject value;
    double as_double;
  };
  const Case cases[] = {{MakeInteger(2), 2.0}, {MakeRational(MakeInteger(1), MakeInteger(2)), 0.5},
                        {Name("Pi"), 3.141592654}, {MakeFloat(0.25), 0.25}};
  for (int storage : {RTABLE_RECT, RTABLE_SPARSE}) {
    RTableSettingsRecord rts;
    RTableGetDefaults(Kernel(), &rts);
    rts.storage = storage;
    rts.element_type_name = Name("sfloat");
    int bounds[2] = {1, 2};
    HostObject rt = RTableCreate(Kernel(), &rts, nullptr, bounds);
    EXPECT_EQ(DoubleOf(Select(rt, {2}).dag), 0.0);
    for (const Case& c : cases) {
      SCOPED_TRACE(Print(c.value));
      Assign(rt, {1}, Dag(c.value));
      EXPECT_NEAR(DoubleOf(Select(rt, {1}).dag), c.as_double, 1e-9);
    }
    EXPECT_THAT(ErrorOf([&] { Assign(rt, {1}, Dag(Name("x"))); }),
                HasSubstr("unable to store x in an rtable of data type sfloat"));
  }
  // Initial data given to the constructor is converted too.
  RTableSettingsRecord rts;
  RTableGetDefaults(Kernel(), &rts);
  rts.element_type_name = Name("sfloat");
  HostObject data[2] = {MakeInteger(3), MakeRational(MakeInteger(1), MakeInteger(4))};
  int bounds[2] = {1, 2};
  HostObject rt = RTableCreate(Kernel(), &rts, data, bounds);
  EXPECT_EQ(DoubleOf(Select(rt, {1}).dag), 3.0);
  EXPECT_EQ(DoubleOf(Select(rt, {2}).dag), 0.25);
}

}  // namespace
}  // namespace quarn::host
