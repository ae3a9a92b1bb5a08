// Data samples and the output vectors of random samples.
#include "stats/frame/sample.h"

#include <cassert>
#include <cstring>
#include <functional>

namespace quarnstats {

namespace {

size_t ElementBytes(int data_type) {
  switch (data_type) {
    case RTABLE_DAG: return sizeof(HostObject);
    case RTABLE_CXDAG: return 2 * sizeof(HostObject);
    case RTABLE_INTEGER8: return 1;
    case RTABLE_INTEGER16: return 2;
    case RTABLE_INTEGER32: return 4;
    case RTABLE_INTEGER64: return 8;
    case RTABLE_FLOAT64: return 8;
    case RTABLE_COMPLEX: return 16;
    case RTABLE_FLOAT32: return 4;
    default: return 0;
  }
}

[[noreturn]] void RaiseElement(QKernel kv, HostObject element) {
  QuarnRaiseError1(kv, "unable to evaluate %1 to floating-point", element);
}

// One source element as a float, by the source's data type.
QuarnFloat ConvertElement(QKernel kv, int data_type, const RTableData& e) {
  switch (data_type) {
    case RTABLE_DAG: {
      if (IsSoftwareFloat(e.dag)) return FloatFromHost(e.dag);
      QuarnFloat x;
      if (!TryHostToFloat(e.dag, &x)) RaiseElement(kv, e.dag);
      return x;
    }
    case RTABLE_CXDAG:
      if (IsQuarnUnnamedZero(kv, e.cxdag.im) && IsQuarnNumeric(kv, e.cxdag.re)) return FloatFromHost(e.cxdag.re);
      RaiseElement(kv, ToQuarnComplexFloat(kv, e.cxdag.re, e.cxdag.im));
    case RTABLE_INTEGER8: return QuarnFloat(static_cast<double>(e.int8));
    case RTABLE_INTEGER16: return QuarnFloat(static_cast<double>(e.int16));
    case RTABLE_INTEGER32: return QuarnFloat(static_cast<double>(e.int32));
    case RTABLE_INTEGER64: return QuarnFloat(static_cast<double>(e.int64));
    case RTABLE_FLOAT64: return QuarnFloat(e.float64);
    case RTABLE_COMPLEX:
      if (e.complex.im == 0.0) return QuarnFloat(e.complex.re);
      RaiseElement(kv, ToQuarnComplex(kv, e.complex.re, e.complex.im));
    case RTABLE_FLOAT32: return QuarnFloat(static_cast<double>(e.float32));
    default: assert(false && "callers skip unknown data types"); return QuarnFloat();
  }
}

// The index of the element at a position (from 0) in the rtable's storage
// order: Fortran order runs the first index fastest, C order the last.
void IndexAt(QKernel kv, HostObject rt, const RTableSettingsRecord& rts, size_t position, int* index) {
  const int d = rts.num_dimensions;
  for (int j = 0; j < d; ++j) {
    const int k = rts.order == RTABLE_FORTRAN ? j : d - 1 - j;
    const int lower = RTableLowerBound(kv, rt, k + 1);
    const int64_t extent = int64_t{RTableUpperBound(kv, rt, k + 1)} - lower + 1;
    index[k] = static_cast<int>(lower + static_cast<int64_t>(position % static_cast<size_t>(extent)));
    position /= static_cast<size_t>(extent);
  }
}

// The first n elements of the source in its storage order, converted into
// out: straight from the data block of a rectangular rtable, one selection
// at a full index for any other storage. A data type outside the known
// codes leaves out as it is.
void ConvertElements(QKernel kv, HostObject source, QuarnFloat* out, size_t n) {
  RTableSettingsRecord rts;
  RTableGetSettings(kv, &rts, source);
  const size_t bytes = ElementBytes(rts.data_type);
  if (bytes == 0) return;
  const auto* block =
      rts.storage == RTABLE_RECT ? static_cast<const unsigned char*>(RTableDataBlock(kv, source)) : nullptr;
  int index[RTABLE_MAX_DIMENSIONS];
  for (size_t k = 0; k < n; ++k) {
    RTableData e;
    if (block != nullptr) {
      std::memset(&e, 0, sizeof e);
      std::memcpy(&e, block + k * bytes, bytes);
    } else {
      IndexAt(kv, source, rts, k, index);
      e = RTableSelect(kv, source, index);
    }
    out[k] = ConvertElement(kv, rts.data_type, e);
  }
}

// A new rectangular sfloat rtable with the settings of rt (and the given
// number of dimensions and bounds) but no data.
HostObject NewFloatTable(QKernel kv, RTableSettingsRecord rts, int dims, int* bounds) {
  rts.num_dimensions = dims;
  rts.storage = RTABLE_RECT;
  rts.data_type = RTABLE_DAG;
  rts.element_type_name = ToQuarnName(kv, "sfloat", 1);
  return RTableCreate(kv, &rts, nullptr, bounds);
}

}  // namespace

size_t RTableSize(QKernel kv, HostObject rt) {
  long lo = RTableLowerBound(kv, rt, 1), hi = RTableUpperBound(kv, rt, 1);
  return hi >= lo ? static_cast<size_t>(hi - lo + 1) : 0;
}

int32_t SampleLength(QKernel kv, HostObject arg, const char* message) {
  if (!IsQuarnInteger32(kv, arg) || QuarnToInteger32(kv, arg) < 0) QuarnRaiseError1(kv, message, arg);
  return QuarnToInteger32(kv, arg);
}

void CheckWritable(QKernel kv, const RTableSettingsRecord& rts, HostObject out) {
  if (rts.read_only) QuarnRaiseError1(kv, "output array must not be read-only, received: %1", out);
}

_SampleVector::_SampleVector(QKernel kv, HostObject rtable) : source_(rtable), kv_(kv) {
  if (!IsQuarnRTable(kv, rtable)) QuarnRaiseError1(kv, "invalid data sample, expected: rtable, received %1", rtable);
  // A sample is a vector: a table of more dimensions has no single order of
  // its elements to read it in.
  if (RTableNumDimensions(kv, rtable) != 1) {
    QuarnRaiseError1(kv, "invalid data sample, expected: one-dimensional array, received %1", rtable);
  }
  size_ = RTableSize(kv, rtable);
  if (size_ == 0) return;
  RTableSettingsRecord rts;
  RTableGetSettings(kv, &rts, rtable);
  if (rts.storage == RTABLE_RECT && rts.data_type == RTABLE_DAG &&
      rts.element_type_name == ToQuarnName(kv, "sfloat", 1)) {
    float_table_ = rtable;
    data_ = static_cast<QuarnFloat*>(RTableDataBlock(kv, rtable));
    return;
  }
  // A conversion that raises halfway leaves the constructor without the
  // destructor running: release the copy's protection on that path too.
  struct ReleaseUnlessDone {
    _SampleVector* view;
    bool done = false;
    ~ReleaseUnlessDone() {
      if (!done && view->float_table_ != nullptr && view->float_table_ != view->source_)
        QuarnGcAllow(view->kv_, view->float_table_);
    }
  } guard{this};
  ConvertToFloatArray();
  guard.done = true;
}

_SampleVector::~_SampleVector() {
  if (float_table_ != nullptr && float_table_ != source_) QuarnGcAllow(kv_, float_table_);
}

void _SampleVector::ConvertToFloatArray() {
  if (float_table_ != nullptr && float_table_ != source_) QuarnGcAllow(kv_, float_table_);
  RTableSettingsRecord copy;
  RTableGetDefaults(kv_, &copy);
  int bounds[2] = {0, static_cast<int>(size_) - 1};
  float_table_ = NewFloatTable(kv_, copy, 1, bounds);
  QuarnGcProtect(kv_, float_table_);
  data_ = static_cast<QuarnFloat*>(RTableDataBlock(kv_, float_table_));
  ConvertElements(kv_, source_, data_, size_);
}

_DataSample::_DataSample(QKernel kv, HostObject points) : points_(new _SampleVector(kv, points)), kv_(kv) {}

_DataSample::_DataSample(QKernel kv, HostObject points, HostObject weights)
    : points_(new _SampleVector(kv, points)), weights_(weights ? new _SampleVector(kv, weights) : nullptr), kv_(kv) {
  if (weights_ && weights_->Size() == 0) weights_.reset();
  if (weights_ && weights_->Size() != points_->Size())
    QuarnRaiseError2(kv, "vector of points and vector of weights are expected to have the same size, received %1, %2",
                     points, weights);
}

size_t _DataSample::CopyTo(QuarnFloat* points, QuarnFloat* weights, bool ignore_missing) const {
  size_t n = Size();
  const QuarnFloat* x = Points();
  const QuarnFloat* w = Weights();
  if (!ignore_missing) {
    for (size_t i = 0; i < n; ++i) points[i] = x[i];
    if (w != nullptr)
      for (size_t i = 0; i < n; ++i) weights[i] = w[i];
    return n;
  }
  size_t k = 0;
  for (size_t i = 0; i < n; ++i) {
    points[k] = x[i];
    if (w != nullptr) {
      weights[k] = w[i];
      if (!IsQuarnFloatUndefined(x[i]) && !IsQuarnFloatUndefined(w[i])) ++k;
    } else if (!IsQuarnFloatUndefined(x[i])) {
      ++k;
    }
  }
  return k;
}

size_t _DataSample::CopyPointsTo(QuarnFloat* points) const {
  const QuarnFloat* x = Points();
  for (size_t i = 0; i < Size(); ++i) points[i] = x[i];
  return Size();
}

SampleArrays ReadSample(QKernel kv, const _DataSample& sample, bool ignore_missing, bool copy) {
  if (!ignore_missing && !copy) return {sample.Size(), sample.Points(), sample.Weights()};
  const size_t size = sample.Size();
  auto* points = static_cast<QuarnFloat*>(QuarnAlloc(kv, size * sizeof(QuarnFloat)));
  QuarnFloat* weights =
      sample.HasWeights() ? static_cast<QuarnFloat*>(QuarnAlloc(kv, size * sizeof(QuarnFloat))) : nullptr;
  size_t n = sample.CopyTo(points, weights, ignore_missing);
  return {n, points, weights};
}

HostObject CreateResultVector(QKernel kv, long n, int data_type) {
  RTableSettingsRecord rts;
  RTableGetDefaults(kv, &rts);
  rts.num_dimensions = 1;
  rts.data_type = data_type;
  int bounds[2] = {1, static_cast<int>(n)};
  return RTableCreate(kv, &rts, nullptr, bounds);
}

HostObject GetOutputVector(QKernel kv, HostObject arg) {
  if (IsQuarnRTable(kv, arg)) {
    RTableSettingsRecord rts;
    RTableGetSettings(kv, &rts, arg);
    if (rts.storage != RTABLE_RECT)
      QuarnRaiseError1(kv, "output array must have rectangular storage, received: %1", arg);
    // The caller writes QuarnFloat objects into the data block, which only a
    // general-type array holds: float[8] is refused too.
    if (rts.data_type != RTABLE_DAG)
      QuarnRaiseError1(kv, "output array must have float[8] or sfloat data type, received: %1", arg);
    CheckWritable(kv, rts, arg);
    return arg;
  }
  return CreateResultVector(kv, SampleLength(kv, arg));
}

void FillOutputVector(QKernel kv, HostObject out, quarn::FunctionRef<QuarnFloat()> next) {
  const size_t n = RTableNumElements(kv, out);
  auto* floats = static_cast<QuarnFloat*>(RTableDataBlock(kv, out));
  for (size_t k = 0; k < n; ++k) floats[k] = next();
}

}  // namespace quarnstats

HostObject STATS_QuarnEvaluateToFloat_MP(QKernel kv, HostObject args) {
  using namespace quarnstats;
  ExpectArgs(kv, args, 1, "expected one argument, received: %1");
  HostObject arg = QuarnExpseqSelect(kv, args, 1);
  if (IsQuarnRTable(kv, arg) && RTableNumDimensions(kv, arg) > 1) {
    // A table of more dimensions is converted whole: same bounds, order and
    // subtype, every element in storage order.
    RTableSettingsRecord rts;
    RTableGetSettings(kv, &rts, arg);
    int bounds[2 * RTABLE_MAX_DIMENSIONS];
    for (int d = 0; d < rts.num_dimensions; ++d) {
      bounds[2 * d] = RTableLowerBound(kv, arg, d + 1);
      bounds[2 * d + 1] = RTableUpperBound(kv, arg, d + 1);
    }
    HostObject result = NewFloatTable(kv, rts, rts.num_dimensions, bounds);
    ConvertElements(kv, arg, static_cast<QuarnFloat*>(RTableDataBlock(kv, result)), RTableNumElements(kv, result));
    return result;
  }
  _DataSample sample(kv, arg);
  RTableSettingsRecord rts;
  RTableGetSettings(kv, &rts, arg);
  int lower = RTableLowerBound(kv, arg, 1);
  int bounds[2] = {lower, lower + static_cast<int>(sample.Size()) - 1};
  HostObject result = NewFloatTable(kv, rts, 1, bounds);
  if (sample.Size() > 0) sample.CopyPointsTo(static_cast<QuarnFloat*>(RTableDataBlock(kv, result)));
  return result;
}
