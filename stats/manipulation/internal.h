// Helpers shared by the data manipulation entries.
#ifndef QUARN_STATS_MANIPULATION_INTERNAL_H
#define QUARN_STATS_MANIPULATION_INTERNAL_H

#include "stats/descriptive/internal.h"
#include "stats/manipulation/manipulation.h"

namespace quarnstats {

// data itself when it is a one-dimensional rtable; raises "invalid data
// sample, expected: one-dimensional array, received %1" otherwise.
HostObject OneDimensional(QKernel kv, HostObject data);

// The elements of a one-dimensional rtable in index order, each in its own
// representation: straight from the data block when the storage is
// rectangular in Fortran order, else one RTableSelect per element.
class Elements {
 public:
  Elements(QKernel kv, HostObject rt);
  size_t Size() const { return size_; }
  int DataType() const { return settings_.data_type; }
  const RTableSettingsRecord& Settings() const { return settings_; }
  int Lower() const { return lower_; }
  // Bytes of one element (STATS_RTableDataSize_MP of the data type).
  size_t Bytes() const { return bytes_; }
  RTableData At(size_t i) const;
  // The element as a host object: integers and doubles made host numbers,
  // complex pairs host complex numbers, host objects as they are.
  HostObject Object(size_t i) const;

 private:
  QKernel kv_;
  HostObject rt_;
  RTableSettingsRecord settings_;
  const unsigned char* block_ = nullptr;
  size_t size_;
  size_t bytes_;
  int lower_;
};

// A new rtable with the settings (but never read-only: it is the caller's
// own), count elements from data (none when data is null) and the index
// range lower .. lower + count - 1.
HostObject NewRTable(QKernel kv, RTableSettingsRecord rts, void* data, long lower, long count);

// A host object of the given tag with the given slots (ranges, equations).
HostObject NewHostObject(QKernel kv, HostTag tag, HostObject first, HostObject second);

// True when h is a heap object of the tag.
bool HasTag(HostObject h, HostTag tag);

}  // namespace quarnstats

namespace entry {
#define MANIPULATION_ENTRY STATS_DECLARE_TABLE_BODY
#include "stats/manipulation/entries.inc"
#undef MANIPULATION_ENTRY
}  // namespace entry

#endif
