// rtables: tables of elements of one data type over a box of integer
// indices, with one to eight dimensions.
//
// A rectangular rtable (storage RTABLE_RECT) keeps every element in one data
// block, packed at DataTypeSize bytes per element, in Fortran order (first
// index fastest) or C order (last index fastest). A sparse rtable
// (RTABLE_SPARSE) keeps only the assigned elements, in a host table keyed by
// the list of indices, and reads every other element as the zero of its data
// type; it has no data block.
//
// Sparse values are host objects that hold the element exactly: integers for
// the integer types, floats of the IEEE precision for the float types, and
// two-element lists [re, im] for both complex types. A float made at the
// working precision would round a double whenever Digits is below 16.
#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "platform/host/internal.h"
#include "platform/host/quarnc.h"

namespace quarn::host {
namespace {

// Digits at which a symbolic value is evaluated before rounding it to an
// IEEE type: more than a double needs, so the rounding is the only error.
constexpr long kIeeeEvalfDigits = 20;

// Bits at which a rational is rounded before rounding it again to an IEEE
// type; so far beyond 53 that the second rounding is the only one that can
// matter except for values within 2^-128 of a midpoint.
constexpr mpfr_prec_t kRationalBits = 128;

// Decimal digits recorded in the exact floats that hold sparse doubles.
constexpr long kDoubleDigits = 15;

bool IsNumericType(int data_type) { return data_type >= RTABLE_INTEGER8; }

void CheckDataType(int data_type) {
  if (data_type < 0 || data_type >= RTABLE_NUM_DATA_TYPES) {
    Raise("invalid rtable data type %1", MakeInteger(data_type));
  }
}

const char* DataTypeName(int data_type) {
  static const char* const kNames[RTABLE_NUM_DATA_TYPES] = {
      "anything",   "complex(anything)", "integer[1]", "integer[2]", "integer[4]",
      "integer[8]", "float[8]",          "complex[8]", "float[4]",
  };
  return kNames[data_type];
}

[[noreturn]] void RaiseUnableToStore(int data_type, HostObject value) {
  Raise(std::string("unable to store %1 in an rtable of data type ") + DataTypeName(data_type), value);
}

RTableBody* BodyOf(HostObject rt) {
  if (!IsTag(rt, kTagRTable)) Raise("expected an rtable, received %1", rt);
  return RTableOf(rt);
}

int NumDims(const RTableBody* b) { return b->settings.num_dimensions; }
int Lower(const RTableBody* b, int k) { return b->bounds[2 * k]; }
int Upper(const RTableBody* b, int k) { return b->bounds[2 * k + 1]; }
size_t Extent(const RTableBody* b, int k) {
  int64_t n = int64_t{Upper(b, k)} - Lower(b, k) + 1;
  return n > 0 ? static_cast<size_t>(n) : 0;
}

// The index as a host object for messages: an integer for one dimension,
// a list otherwise; likewise the ranges of the bounds.
[[noreturn]] void RaiseIndexOutOfRange(const RTableBody* b, const int* index) {
  std::vector<HostObject> at, ranges;
  for (int k = 0; k < NumDims(b); ++k) {
    at.push_back(MakeInteger(index[k]));
    ranges.push_back(MakeRange(MakeInteger(Lower(b, k)), MakeInteger(Upper(b, k))));
  }
  if (at.size() == 1) Raise("index out of range: %1 is not in %2", at[0], ranges[0]);
  Raise("index out of range: %1 is not in %2", MakeList(at), MakeList(ranges));
}

// Position of an element in storage order, from 0; raises when the index
// lies outside the bounds.
size_t OffsetOf(const RTableBody* b, const int* index) {
  if (index == nullptr) Raise("no rtable index given");
  const int d = NumDims(b);
  for (int k = 0; k < d; ++k) {
    if (index[k] < Lower(b, k) || index[k] > Upper(b, k)) RaiseIndexOutOfRange(b, index);
  }
  size_t offset = 0, stride = 1;
  const bool fortran = b->settings.order == RTABLE_FORTRAN;
  for (int j = 0; j < d; ++j) {
    const int k = fortran ? j : d - 1 - j;
    offset += static_cast<size_t>(int64_t{index[k]} - Lower(b, k)) * stride;
    stride *= Extent(b, k);
  }
  return offset;
}

// The inverse of OffsetOf: the index of the element at a storage position.
void IndexAt(const RTableBody* b, size_t position, int* index) {
  const int d = NumDims(b);
  const bool fortran = b->settings.order == RTABLE_FORTRAN;
  for (int j = 0; j < d; ++j) {
    const int k = fortran ? j : d - 1 - j;
    index[k] = static_cast<int>(Lower(b, k) + static_cast<int64_t>(position % Extent(b, k)));
    position /= Extent(b, k);
  }
}

// An element with every byte zero, so that the bytes a narrow data type
// leaves unused compare equal.
RTableData Blank() {
  RTableData e;
  std::memset(&e, 0, sizeof e);
  return e;
}

RTableData ZeroElement(int data_type) {
  RTableData e = Blank();
  if (data_type == RTABLE_DAG) e.dag = MakeInteger(0);
  if (data_type == RTABLE_CXDAG) e.cxdag.re = e.cxdag.im = MakeInteger(0);
  return e;
}

// A general rtable whose element type is sfloat holds software floats only:
// every element is made a float when it is stored, and its zero is the
// float 0.
bool HoldsSoftwareFloats(const RTableSettingsRecord& s) {
  return s.data_type == RTABLE_DAG && s.element_type_name == Name("sfloat");
}

RTableData ZeroOf(const RTableBody* b) {
  if (!HoldsSoftwareFloats(b->settings)) return ZeroElement(b->settings.data_type);
  RTableData e = Blank();
  e.dag = MakeFloat(0.0);
  return e;
}

// The element as its rtable keeps it: a value stored into an sfloat rtable
// is evaluated to a float at the working precision (a float is kept as it
// is); one that does not evaluate to a float raises.
RTableData AsStored(const RTableBody* b, const RTableData& e) {
  if (!HoldsSoftwareFloats(b->settings) || e.dag == nullptr || IsFloatObject(e.dag)) return e;
  RTableData stored = e;
  stored.dag = Evalf(e.dag, WorkingDigits());
  if (!IsFloatObject(stored.dag)) Raise("unable to store %1 in an rtable of data type sfloat", e.dag);
  return stored;
}

RTableData LoadElement(const void* data, int data_type, size_t position) {
  RTableData e = Blank();
  const size_t size = DataTypeSize(data_type);
  std::memcpy(&e, static_cast<const char*>(data) + position * size, size);
  return e;
}

void StoreElement(void* data, int data_type, size_t position, const RTableData& e) {
  const size_t size = DataTypeSize(data_type);
  std::memcpy(static_cast<char*>(data) + position * size, &e, size);
}

// A float holding d exactly.
HostObject ExactDouble(double d) {
  HostObject f = NewFloat(std::max<mpfr_prec_t>(53, BitsForDigits(kDoubleDigits)), kDoubleDigits);
  mpfr_set_d(FloatMpfr(f), d, MPFR_RNDN);
  return f;
}

// The value of a numeric element as a host object, without rounding.
HostObject ExactObject(int data_type, const RTableData& e) {
  switch (data_type) {
    case RTABLE_INTEGER8: return MakeInteger(e.int8);
    case RTABLE_INTEGER16: return MakeInteger(e.int16);
    case RTABLE_INTEGER32: return MakeInteger(e.int32);
    case RTABLE_INTEGER64: return MakeInteger(e.int64);
    case RTABLE_FLOAT64: return ExactDouble(e.float64);
    case RTABLE_FLOAT32: return ExactDouble(e.float32);
    case RTABLE_COMPLEX: return MakeComplex(ExactDouble(e.complex.re), ExactDouble(e.complex.im));
    default: return ElementToObject(data_type, e);
  }
}

HostObject SparseKey(const RTableBody* b, const int* index) {
  std::vector<HostObject> key;
  for (int k = 0; k < NumDims(b); ++k) key.push_back(MakeInteger(index[k]));
  return MakeList(key);
}

HostObject SparseValue(int data_type, const RTableData& e) {
  switch (data_type) {
    case RTABLE_CXDAG: return MakeList({e.cxdag.re, e.cxdag.im});
    case RTABLE_COMPLEX: return MakeList({ExactDouble(e.complex.re), ExactDouble(e.complex.im)});
    default: return ExactObject(data_type, e);
  }
}

RTableData SparseElement(int data_type, HostObject value) {
  if (data_type != RTABLE_CXDAG && data_type != RTABLE_COMPLEX) return ObjectToElement(data_type, value);
  std::vector<HostObject> parts = Elements(value);
  assert(parts.size() == 2 && "a sparse complex entry is a pair");
  RTableData e = Blank();
  if (data_type == RTABLE_CXDAG) {
    e.cxdag.re = parts[0];
    e.cxdag.im = parts[1];
  } else {
    e.complex.re = ObjectToElement(RTABLE_FLOAT64, parts[0]).float64;
    e.complex.im = ObjectToElement(RTABLE_FLOAT64, parts[1]).float64;
  }
  return e;
}

RTableData GetElement(const RTableBody* b, const int* index) {
  const int data_type = b->settings.data_type;
  const size_t position = OffsetOf(b, index);
  if (b->settings.storage == RTABLE_RECT) return LoadElement(b->data, data_type, position);
  HostObject value = QuarnTableSelect(Kernel(), b->sparse, SparseKey(b, index));
  return value == nullptr ? ZeroOf(b) : SparseElement(data_type, value);
}

void PutElement(RTableBody* b, const int* index, const RTableData& given) {
  const int data_type = b->settings.data_type;
  if (data_type == RTABLE_DAG && given.dag == nullptr) Raise("cannot store a null handle in an rtable");
  if (data_type == RTABLE_CXDAG && (given.cxdag.re == nullptr || given.cxdag.im == nullptr)) {
    Raise("cannot store a null handle in an rtable");
  }
  const size_t position = OffsetOf(b, index);
  const RTableData e = AsStored(b, given);
  if (b->settings.storage == RTABLE_RECT) {
    StoreElement(b->data, data_type, position, e);
  } else {
    QuarnTableAssign(Kernel(), b->sparse, SparseKey(b, index), SparseValue(data_type, e));
  }
}

void CheckSettings(const RTableSettingsRecord* rts) {
  if (rts == nullptr) Raise("no rtable settings given");
  if (rts->num_dimensions < 1 || rts->num_dimensions > RTABLE_MAX_DIMENSIONS) {
    Raise("an rtable has 1 to 8 dimensions, received %1", MakeInteger(rts->num_dimensions));
  }
  if (rts->subtype < RTABLE_ARRAY || rts->subtype > RTABLE_ROW) {
    Raise("invalid rtable subtype %1", MakeInteger(rts->subtype));
  }
  CheckDataType(rts->data_type);
  if (rts->storage != RTABLE_RECT && rts->storage != RTABLE_SPARSE) {
    Raise("invalid rtable storage %1", MakeInteger(rts->storage));
  }
  if (rts->order != RTABLE_FORTRAN && rts->order != RTABLE_C) {
    Raise("invalid rtable order %1", MakeInteger(rts->order));
  }
}

// A new rtable of the given settings and bounds whose elements are all the
// zero of its data type (rectangular) or unassigned (sparse).
HostObject NewRTable(const RTableSettingsRecord* rts, const int* bounds) {
  CheckSettings(rts);
  if (bounds == nullptr) Raise("no rtable bounds given");
  auto* b = static_cast<RTableBody*>(AllocScanned(sizeof(RTableBody)));
  b->settings = *rts;
  if (b->settings.element_type_name == nullptr) b->settings.element_type_name = Name("anything");
  std::memcpy(b->bounds, bounds, 2 * sizeof(int) * rts->num_dimensions);
  size_t n = 1;
  for (int k = 0; k < rts->num_dimensions; ++k) {
    if (__builtin_mul_overflow(n, Extent(b, k), &n)) Raise("rtable too large");
  }
  b->num_elements = n;
  const int data_type = rts->data_type;
  if (rts->storage == RTABLE_RECT) {
    size_t bytes;
    if (__builtin_mul_overflow(n, DataTypeSize(data_type), &bytes)) Raise("rtable too large");
    // A block of at least one element, so that even an empty rtable has one.
    bytes = std::max(bytes, DataTypeSize(data_type));
    // Blocks of host objects are scanned; numeric ones are not. The heap
    // allocates large blocks to be referenced from their start only, which
    // the body's data pointer is.
    b->data = IsNumericType(data_type) ? AllocAtomic(bytes) : AllocScanned(bytes);
    if (IsNumericType(data_type)) {
      // Every numeric type's zero is all bits zero.
      std::memset(b->data, 0, bytes);
    } else {
      const RTableData zero = ZeroOf(b);
      for (size_t i = 0; i < n; ++i) StoreElement(b->data, data_type, i, zero);
    }
  } else {
    b->sparse = MakeTable();
  }
  HostObject rt = AllocObject(kTagRTable, 2);
  Words(rt)[1] = reinterpret_cast<HostObject>(b);
  return rt;
}

// An element of one data type converted to another: through the element's
// host object, exact for numeric to numeric.
RTableData ConvertElement(int from, int to, const RTableData& e) {
  if (from == to) return e;
  HostObject value = IsNumericType(from) && IsNumericType(to) ? ExactObject(from, e) : ElementToObject(from, e);
  return ObjectToElement(to, value);
}

// The real value of a number object: exact for integers and floats, the
// rational rounded to kRationalBits, anything else evaluated; value is null
// when it is not real.
struct RealValue {
  mpfr_t scratch;
  mpfr_srcptr value = nullptr;
  HostObject keep = nullptr;  // keeps an evaluated float reachable while value points into it

  explicit RealValue(HostObject v) {
    mpfr_init2(scratch, MPFR_PREC_MIN);
    Kind kind = KindOf(v);
    if (kind == Kind::Complex) {
      if (!IsZero(ComplexIm(v))) return;
      v = ComplexRe(v);
      kind = KindOf(v);
    }
    if (kind == Kind::Integer) {
      mpz_t z;
      mpz_init(z);
      IntegerToMpz(v, z);
      mpfr_set_prec(scratch, std::max<mpfr_prec_t>(MPFR_PREC_MIN, mpz_sizeinbase(z, 2)));
      mpfr_set_z(scratch, z, MPFR_RNDN);  // exact: the precision holds every bit
      mpz_clear(z);
      value = scratch;
      return;
    }
    if (kind == Kind::Rational) {
      mpfr_set_prec(scratch, kRationalBits);
      ToMpfr(v, scratch);
      value = scratch;
      return;
    }
    if (kind != Kind::Float) v = Evalf(v, std::max(WorkingDigits(), kIeeeEvalfDigits));
    if (KindOf(v) == Kind::Float) {
      keep = v;
      value = FloatMpfr(v);
    }
  }
  ~RealValue() { mpfr_clear(scratch); }
  RealValue(const RealValue&) = delete;
  RealValue& operator=(const RealValue&) = delete;
};

// Rounds a real value to double or float; raises when it is not real or
// when a finite value overflows the type.
template <class T>
T ToIeee(int data_type, HostObject whole, HostObject part) {
  RealValue r(part);
  if (r.value == nullptr) RaiseUnableToStore(data_type, whole);
  T x;
  if constexpr (sizeof(T) == sizeof(double)) {
    x = mpfr_get_d(r.value, MPFR_RNDN);
  } else {
    x = mpfr_get_flt(r.value, MPFR_RNDN);
  }
  if (std::isinf(x) && mpfr_number_p(r.value)) RaiseUnableToStore(data_type, whole);
  return x;
}

template <class T>
T ToSignedInteger(int data_type, HostObject value) {
  long n;
  if (KindOf(value) != Kind::Integer || !IntegerToLong(value, &n)) RaiseUnableToStore(data_type, value);
  const T t = static_cast<T>(n);  // wraps when n does not fit, caught below
  if (t != n) RaiseUnableToStore(data_type, value);
  return t;
}

int Bound(HostObject rt, int dim, int side) {
  const RTableBody* b = BodyOf(rt);
  if (dim < 1 || dim > NumDims(b)) Raise("the rtable has no dimension %1", MakeInteger(dim));
  return b->bounds[2 * (dim - 1) + side];
}

}  // namespace

size_t DataTypeSize(int data_type) {
  static const size_t kSizes[RTABLE_NUM_DATA_TYPES] = {
      sizeof(HostObject), 2 * sizeof(HostObject), 1, 2, 4, 8, 8, 16, 4,
  };
  CheckDataType(data_type);
  return kSizes[data_type];
}

// Integers go to integer types when they fit; reals (after evalf for
// anything that is not an integer or a float) are rounded to nearest for
// the float types, and complex numbers with a zero imaginary part count as
// real. A finite value beyond the type's range raises.
RTableData ObjectToElement(int data_type, HostObject value) {
  CheckDataType(data_type);
  if (value == nullptr) Raise("cannot store a null handle in an rtable");
  RTableData e = Blank();
  switch (data_type) {
    case RTABLE_DAG:
      e.dag = value;
      break;
    case RTABLE_CXDAG:
      if (KindOf(value) == Kind::Complex) {
        e.cxdag.re = ComplexRe(value);
        e.cxdag.im = ComplexIm(value);
      } else {
        e.cxdag.re = value;
        e.cxdag.im = MakeInteger(0);
      }
      break;
    case RTABLE_INTEGER8: e.int8 = ToSignedInteger<int8_t>(data_type, value); break;
    case RTABLE_INTEGER16: e.int16 = ToSignedInteger<int16_t>(data_type, value); break;
    case RTABLE_INTEGER32: e.int32 = ToSignedInteger<int32_t>(data_type, value); break;
    case RTABLE_INTEGER64: e.int64 = ToSignedInteger<int64_t>(data_type, value); break;
    case RTABLE_FLOAT64: e.float64 = ToIeee<double>(data_type, value, value); break;
    case RTABLE_FLOAT32: e.float32 = ToIeee<float>(data_type, value, value); break;
    case RTABLE_COMPLEX: {
      HostObject v = value;
      if (KindOf(v) != Kind::Complex && !IsReal(v)) {
        v = Evalf(v, std::max(WorkingDigits(), kIeeeEvalfDigits));
      }
      if (KindOf(v) == Kind::Complex) {
        e.complex.re = ToIeee<double>(data_type, value, ComplexRe(v));
        e.complex.im = ToIeee<double>(data_type, value, ComplexIm(v));
      } else {
        e.complex.re = ToIeee<double>(data_type, value, v);
      }
      break;
    }
  }
  return e;
}

HostObject ElementToObject(int data_type, const RTableData& e) {
  CheckDataType(data_type);
  QKernel kv = Kernel();
  switch (data_type) {
    case RTABLE_DAG: return e.dag;
    case RTABLE_CXDAG: return ToQuarnComplexFloat(kv, e.cxdag.re, e.cxdag.im);
    case RTABLE_INTEGER8: return MakeInteger(e.int8);
    case RTABLE_INTEGER16: return MakeInteger(e.int16);
    case RTABLE_INTEGER32: return MakeInteger(e.int32);
    case RTABLE_INTEGER64: return ToQuarnInteger64(kv, e.int64);
    case RTABLE_FLOAT64: return MakeFloat(e.float64);
    case RTABLE_COMPLEX: return ToQuarnComplex(kv, e.complex.re, e.complex.im);
    default: return MakeFloat(e.float32);
  }
}

// index[0] is the position from 1 in storage order, whatever the storage.
HostObject RTableElementObject(HostObject rt, const int* index) {
  const RTableBody* b = BodyOf(rt);
  if (index == nullptr) Raise("no rtable index given");
  if (index[0] < 1 || static_cast<size_t>(index[0]) > b->num_elements) {
    Raise("index out of range: %1 is not in %2", MakeInteger(index[0]),
          MakeRange(MakeInteger(1), MakeInteger(static_cast<long>(b->num_elements))));
  }
  const size_t position = static_cast<size_t>(index[0]) - 1;
  if (b->settings.storage == RTABLE_RECT) {
    return ElementToObject(b->settings.data_type, LoadElement(b->data, b->settings.data_type, position));
  }
  int at[RTABLE_MAX_DIMENSIONS];
  IndexAt(b, position, at);
  return ElementToObject(b->settings.data_type, GetElement(b, at));
}

}  // namespace quarn::host

using namespace quarn::host;

extern "C" {

int IsQuarnRTable(QKernel kv, HostObject h) { return IsTag(h, kTagRTable) ? 1 : 0; }

void RTableGetDefaults(QKernel kv, RTableSettingsRecord* rts) {
  if (rts == nullptr) Raise("no rtable settings given");
  rts->num_dimensions = 1;
  rts->subtype = RTABLE_ARRAY;
  rts->data_type = RTABLE_DAG;
  rts->storage = RTABLE_RECT;
  rts->order = RTABLE_FORTRAN;
  rts->read_only = 0;
  rts->element_type_name = Name("anything");
  rts->attributes = Null();
}

void RTableGetSettings(QKernel kv, RTableSettingsRecord* rts, HostObject rt) {
  const RTableBody* b = BodyOf(rt);
  if (rts == nullptr) Raise("no rtable settings given");
  *rts = b->settings;
}

// data, when given, holds num_elements elements packed in the record's order.
HostObject RTableCreate(QKernel kv, RTableSettingsRecord* rts, void* data, int* bounds) {
  HostObject rt = NewRTable(rts, bounds);
  RTableBody* b = RTableOf(rt);
  if (data == nullptr || b->num_elements == 0) return rt;
  const int data_type = b->settings.data_type;
  if (b->settings.storage == RTABLE_RECT) {
    std::memcpy(b->data, data, b->num_elements * DataTypeSize(data_type));
    if (HoldsSoftwareFloats(b->settings)) {
      for (size_t i = 0; i < b->num_elements; ++i)
        StoreElement(b->data, data_type, i, AsStored(b, LoadElement(b->data, data_type, i)));
    }
    return rt;
  }
  int at[RTABLE_MAX_DIMENSIONS];
  for (size_t i = 0; i < b->num_elements; ++i) {
    IndexAt(b, i, at);
    PutElement(b, at, LoadElement(data, data_type, i));
  }
  return rt;
}

// The record's number of dimensions is ignored: the copy has rt's bounds.
HostObject RTableCopy(QKernel kv, RTableSettingsRecord* rts, HostObject rt) {
  const RTableBody* from = BodyOf(rt);
  if (rts == nullptr) Raise("no rtable settings given");
  RTableSettingsRecord settings = *rts;
  settings.num_dimensions = NumDims(from);
  HostObject copy = NewRTable(&settings, from->bounds);
  RTableBody* to = RTableOf(copy);
  const int from_type = from->settings.data_type, to_type = settings.data_type;
  int at[RTABLE_MAX_DIMENSIONS];
  if (from->settings.storage == RTABLE_SPARSE) {
    // Unassigned elements read as the source's zero: a rectangular copy
    // holds that zero converted, a sparse one leaves them unassigned.
    if (settings.storage == RTABLE_RECT) {
      const RTableData zero = ConvertElement(from_type, to_type, ZeroElement(from_type));
      for (size_t i = 0; i < to->num_elements; ++i) StoreElement(to->data, to_type, i, zero);
    }
    for (const auto& [key, value] : TableEntries(from->sparse)) {
      std::vector<HostObject> index = Elements(key);
      for (size_t k = 0; k < index.size(); ++k) {
        long i;
        [[maybe_unused]] bool ok = IntegerToLong(index[k], &i);
        assert(ok && "sparse keys are lists of machine integers");
        at[k] = static_cast<int>(i);
      }
      PutElement(to, at, ConvertElement(from_type, to_type, SparseElement(from_type, value)));
    }
    return copy;
  }
  for (size_t i = 0; i < to->num_elements; ++i) {
    IndexAt(to, i, at);
    PutElement(to, at, ConvertElement(from_type, to_type, GetElement(from, at)));
  }
  return copy;
}

void* RTableDataBlock(QKernel kv, HostObject rt) { return BodyOf(rt)->data; }

size_t RTableNumElements(QKernel kv, HostObject rt) { return BodyOf(rt)->num_elements; }

int RTableNumDimensions(QKernel kv, HostObject rt) { return NumDims(BodyOf(rt)); }

int RTableLowerBound(QKernel kv, HostObject rt, int dim) { return Bound(rt, dim, 0); }

int RTableUpperBound(QKernel kv, HostObject rt, int dim) { return Bound(rt, dim, 1); }

RTableData RTableSelect(QKernel kv, HostObject rt, int* index) { return GetElement(BodyOf(rt), index); }

// Returns the element as stored.
RTableData RTableAssign(QKernel kv, HostObject rt, int* index, RTableData value) {
  RTableBody* b = BodyOf(rt);
  if (b->settings.read_only) Raise("cannot assign to a read-only rtable");
  PutElement(b, index, value);
  return value;
}

}  // extern "C"
