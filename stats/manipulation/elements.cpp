// Reading the elements of one-dimensional rtables in their own
// representation, and making the rtables and small host objects that the
// manipulation entries return.
#include <cstring>

#include "stats/manipulation/internal.h"

namespace quarnstats {

HostObject OneDimensional(QKernel kv, HostObject data) {
  if (!IsQuarnRTable(kv, data) || RTableNumDimensions(kv, data) != 1)
    QuarnRaiseError1(kv, "invalid data sample, expected: one-dimensional array, received %1", data);
  return data;
}

Elements::Elements(QKernel kv, HostObject rt) : kv_(kv), rt_(rt) {
  RTableGetSettings(kv, &settings_, rt);
  size_ = RTableNumElements(kv, rt);
  bytes_ = STATS_RTableDataSize_MP(kv, settings_.data_type);
  lower_ = RTableLowerBound(kv, rt, 1);
  if (settings_.storage == RTABLE_RECT && settings_.order == RTABLE_FORTRAN)
    block_ = static_cast<const unsigned char*>(RTableDataBlock(kv, rt));
}

RTableData Elements::At(size_t i) const {
  if (block_ == nullptr) {
    int index = lower_ + static_cast<int>(i);
    return RTableSelect(kv_, rt_, &index);
  }
  RTableData e;
  std::memset(&e, 0, sizeof e);
  std::memcpy(&e, block_ + i * bytes_, bytes_);
  return e;
}

HostObject Elements::Object(size_t i) const {
  const RTableData e = At(i);
  switch (settings_.data_type) {
    case RTABLE_CXDAG: return ToQuarnComplexFloat(kv_, e.cxdag.re, e.cxdag.im);
    case RTABLE_INTEGER8: return ToQuarnInteger(kv_, e.int8);
    case RTABLE_INTEGER16: return ToQuarnInteger(kv_, e.int16);
    case RTABLE_INTEGER32: return ToQuarnInteger(kv_, e.int32);
    case RTABLE_INTEGER64: return ToQuarnInteger64(kv_, e.int64);
    case RTABLE_FLOAT64: return ToQuarnFloat(kv_, e.float64);
    case RTABLE_FLOAT32: return ToQuarnFloat(kv_, static_cast<double>(e.float32));
    case RTABLE_COMPLEX: return ToQuarnComplex(kv_, e.complex.re, e.complex.im);
    default: return e.dag;
  }
}

HostObject NewRTable(QKernel kv, RTableSettingsRecord rts, void* data, long lower, long count) {
  rts.num_dimensions = 1;
  rts.read_only = 0;
  int bounds[2] = {static_cast<int>(lower), static_cast<int>(lower + count - 1)};
  return RTableCreate(kv, &rts, data, bounds);
}

HostObject NewHostObject(QKernel kv, HostTag tag, HostObject first, HostObject second) {
  HostObject h = QuarnNew(kv, static_cast<int>(tag), 3);
  HostObject* slots = reinterpret_cast<HostObject*>(h);
  slots[1] = first;
  slots[2] = second;
  return h;
}

bool HasTag(HostObject h, HostTag tag) {
  if ((reinterpret_cast<uintptr_t>(h) & 1) != 0) return false;  // an immediate integer
  return (*reinterpret_cast<const uint32_t*>(h) >> 26) == tag;
}

}  // namespace quarnstats
