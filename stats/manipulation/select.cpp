// Selection and removal: the elements of a one-dimensional rtable that pass
// a test (a host procedure, being a usable number, lying in a half-open
// interval, not being NULL) and those that fail it, copied in their own
// representation into rtables of the input's settings.
#include <cstring>

#include "stats/manipulation/internal.h"

namespace quarnstats {
namespace {

// Passing and failing elements in input order; only the buffers the caller
// asks for are kept.
class Partition {
 public:
  Partition(QKernel kv, const Elements& data, bool keep_pass, bool keep_fail)
      : kv_(kv), data_(data), pass_(Buffer(keep_pass)), fail_(Buffer(keep_fail)) {}

  void Add(size_t i, bool passes) {
    unsigned char* buffer = passes ? pass_ : fail_;
    if (buffer == nullptr) return;
    const RTableData e = data_.At(i);
    long& count = passes ? passed_ : failed_;
    std::memcpy(buffer + static_cast<size_t>(count) * data_.Bytes(), &e, data_.Bytes());
    ++count;
  }

  HostObject Passing(long lower) const { return Result(pass_, passed_, lower); }
  HostObject Failing(long lower) const { return Result(fail_, failed_, lower); }

  // By the mode: 1 the passing rtable, 2 the failing one, anything else the
  // sequence (passing, failing).
  HostObject ByMode(long mode, long lower) const {
    if (mode == 1) return Passing(lower);
    if (mode == 2) return Failing(lower);
    return Both(Passing(lower), Failing(lower));
  }

  HostObject Both(HostObject first, HostObject second) const {
    HostObject seq = NewQuarnExpressionSequence(kv_, 2);
    QuarnExpseqAssign(kv_, seq, 1, first);
    QuarnExpseqAssign(kv_, seq, 2, second);
    return seq;
  }

 private:
  unsigned char* Buffer(bool keep) const {
    if (!keep) return nullptr;
    return static_cast<unsigned char*>(QuarnAlloc(kv_, data_.Size() * data_.Bytes()));
  }
  HostObject Result(unsigned char* buffer, long count, long lower) const {
    return NewRTable(kv_, data_.Settings(), buffer, lower, count);
  }

  QKernel kv_;
  const Elements& data_;
  unsigned char* pass_;
  unsigned char* fail_;
  long passed_ = 0, failed_ = 0;
};

// A float excluded by the flags: undefined, or an infinity.
bool Excluded(const QuarnFloat& x, bool infinity, bool undefined) {
  if (undefined && IsQuarnFloatUndefined(x)) return true;
  return infinity && (IsQuarnFloatInfinity(x) || IsQuarnFloatNegativeInfinity(x));
}

// Whether element e (of the data type) is a usable number under the flags.
bool UsableNumber(QKernel kv, int data_type, const RTableData& e, bool infinity, bool undefined) {
  QuarnFloat x;
  switch (data_type) {
    case RTABLE_INTEGER8:
    case RTABLE_INTEGER16:
    case RTABLE_INTEGER32:
    case RTABLE_INTEGER64: return true;
    case RTABLE_FLOAT64: return !Excluded(QuarnFloat(e.float64), infinity, undefined);
    case RTABLE_FLOAT32: return !Excluded(QuarnFloat(static_cast<double>(e.float32)), infinity, undefined);
    case RTABLE_COMPLEX: return e.complex.im == 0.0 && !Excluded(QuarnFloat(e.complex.re), infinity, undefined);
    case RTABLE_CXDAG:
      if (!IsQuarnUnnamedZero(kv, e.cxdag.im) || !TryHostToFloat(e.cxdag.re, &x)) return false;
      return !Excluded(x, infinity, undefined);
    default: return TryHostToFloat(e.dag, &x) && !Excluded(x, infinity, undefined);
  }
}

// Whether element e lies in [lower, upper).
bool InRange(int data_type, const RTableData& e, const QuarnFloat& lower, const QuarnFloat& upper) {
  auto in = [&](const QuarnFloat& x) { return lower <= x && x < upper; };
  switch (data_type) {
    case RTABLE_INTEGER8: return in(QuarnFloat(static_cast<double>(e.int8)));
    case RTABLE_INTEGER16: return in(QuarnFloat(static_cast<double>(e.int16)));
    case RTABLE_INTEGER32: return in(QuarnFloat(static_cast<double>(e.int32)));
    case RTABLE_INTEGER64: return in(QuarnFloat(static_cast<double>(e.int64)));
    case RTABLE_FLOAT64: return in(QuarnFloat(e.float64));
    case RTABLE_FLOAT32: return in(QuarnFloat(static_cast<double>(e.float32)));
    case RTABLE_COMPLEX: return e.complex.im == 0.0 && in(QuarnFloat(e.complex.re));
    case RTABLE_CXDAG: return HostToFloat(e.cxdag.im) == 0.0 && in(HostToFloat(e.cxdag.re));
    default: return in(HostToFloat(e.dag));
  }
}

}  // namespace
}  // namespace quarnstats

using namespace quarnstats;

HostObject entry::SelectRemove(const Arguments& a) {
  QKernel kv = a.kv();
  const HostObject procedure = a[2];
  if (!IsQuarnProcedure(kv, procedure))
    QuarnRaiseError1(kv, "invalid selecting function, expected a procedure that always returns true or false, received: %1",
                     procedure);
  const long mode = a.Int(3);
  const int extra = a.Count() - 3;
  HostObject extras = NewQuarnExpressionSequence(kv, extra);
  for (int i = 1; i <= extra; ++i) QuarnExpseqAssign(kv, extras, i, a[3 + i]);
  const HostObject rt = OneDimensional(kv, a[1]);
  const Elements data(kv, rt);
  Partition parts(kv, data, mode != 2, mode != 1);
  for (size_t i = 0; i < data.Size(); ++i) {
    HostObject call = NewQuarnExpressionSequence(kv, 1 + extra);
    QuarnExpseqAssign(kv, call, 1, data.Object(i));
    for (int j = 1; j <= extra; ++j) QuarnExpseqAssign(kv, call, 1 + j, QuarnExpseqSelect(kv, extras, j));
    parts.Add(i, QuarnToQ_BOOL(kv, EvalQuarnProcedure(kv, procedure, call)) != 0);
  }
  return parts.ByMode(mode, data.Lower());
}

// The elements that are not usable numbers pass; true returns them alone,
// anything else (non-numeric, numeric).
HostObject entry::SelectRemoveNonNumeric(const Arguments& a) {
  QKernel kv = a.kv();
  const bool infinity = a.Bool(2), undefined = a.Bool(3), only_non_numeric = a.Bool(4);
  const Elements data(kv, OneDimensional(kv, a[1]));
  Partition parts(kv, data, true, !only_non_numeric);
  for (size_t i = 0; i < data.Size(); ++i)
    parts.Add(i, !UsableNumber(kv, data.DataType(), data.At(i), infinity, undefined));
  if (only_non_numeric) return parts.Passing(1);
  return parts.Both(parts.Passing(1), parts.Failing(1));
}

HostObject entry::SelectRemoveInRange(const Arguments& a) {
  QKernel kv = a.kv();
  const QuarnFloat lower = a.Float(2), upper = a.Float(3);
  const long mode = a.Int(4);
  const Elements data(kv, OneDimensional(kv, a[1]));
  Partition parts(kv, data, mode != 2, mode != 1);
  for (size_t i = 0; i < data.Size(); ++i) parts.Add(i, InRange(data.DataType(), data.At(i), lower, upper));
  return parts.ByMode(mode, data.Lower());
}

HostObject entry::RemoveNULL(const Arguments& a) {
  QKernel kv = a.kv();
  const HostObject rt = OneDimensional(kv, a[1]);
  const Elements data(kv, rt);
  // Numeric data types cannot hold NULL.
  if (data.DataType() >= RTABLE_CXDAG && data.DataType() <= RTABLE_FLOAT32) {
    RTableSettingsRecord rts = data.Settings();
    rts.read_only = 0;
    return RTableCopy(kv, &rts, rt);
  }
  Partition parts(kv, data, true, false);
  for (size_t i = 0; i < data.Size(); ++i) parts.Add(i, !IsQuarnNULL(kv, data.At(i).dag));
  return parts.Passing(1);
}
