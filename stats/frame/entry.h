// The shape shared by the host entries that are listed in a table: a count
// check with the entry's own message, then a body that reads its arguments
// by position.
#ifndef QUARN_STATS_FRAME_ENTRY_H
#define QUARN_STATS_FRAME_ENTRY_H

#include "stats/frame/frame.h"

namespace quarnstats {

// The argument sequence of one entry call; positions count from 1.
class Arguments {
 public:
  Arguments(QKernel kv, HostObject args) : kv_(kv), args_(args) {}
  QKernel kv() const { return kv_; }
  HostObject operator[](int i) const { return QuarnExpseqSelect(kv_, args_, i); }
  int Count() const { return QuarnNumArgs(kv_, args_); }
  HostObject Sequence() const { return args_; }
  bool Bool(int i) const { return QuarnToQ_BOOL(kv_, (*this)[i]) != 0; }
  long Int(int i) const { return QuarnToQ_INT(kv_, (*this)[i]); }
  QuarnFloat Float(int i) const { return HostToFloat((*this)[i]); }

 private:
  QKernel kv_;
  HostObject args_;
};

// The count column of an entry that takes at least n arguments (any number
// beyond them is the body's affair).
struct AtLeast {
  int n;
};

// Raises message, with the whole argument sequence as %1, unless args has at
// least the given number of elements.
inline void ExpectArgs(QKernel kv, HostObject args, AtLeast count, const char* message) {
  if (QuarnNumArgs(kv, args) < count.n) QuarnRaiseError1(kv, message, args);
}

}  // namespace quarnstats

// STATS_Quarn<N>_MP: the count check, then entry::N(arguments).
#define STATS_DEFINE_TABLE_ENTRY(N, COUNT, MESSAGE)                  \
  HostObject STATS_Quarn##N##_MP(QKernel kv, HostObject args) {       \
    quarnstats::ExpectArgs(kv, args, COUNT, MESSAGE);                 \
    return entry::N(quarnstats::Arguments(kv, args));                 \
  }
#define STATS_DECLARE_TABLE_BODY(N, COUNT, MESSAGE) HostObject N(const quarnstats::Arguments& a);

#endif
