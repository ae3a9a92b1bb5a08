// The statistic summary and the five-point summary of a data sample.
#include "platform/numerics/numerics.h"
#include "stats/descriptive/descriptive.h"
#include "stats/descriptive/internal.h"

namespace quarnstats {
namespace {

// A new sfloat vector 1..n whose data block the caller fills.
HostObject SummaryVector(QKernel kv, int n) {
  RTableSettingsRecord rts;
  RTableGetDefaults(kv, &rts);
  rts.num_dimensions = 1;
  rts.data_type = RTABLE_DAG;
  rts.element_type_name = ToQuarnName(kv, "sfloat", 1);
  rts.storage = RTABLE_RECT;
  int bounds[2] = {1, n};
  return RTableCreate(kv, &rts, nullptr, bounds);
}

NagError ClearedError() {
  NagError fail{};
  fail.print = 0;
  fail.handler = nullptr;
  return fail;
}

}  // namespace
}  // namespace quarnstats

using namespace quarnstats;

HostObject entry::StatisticSummary(const Arguments& a) {
  QKernel kv = a.kv();
  _DataSample sample(kv, a[1], a[2]);
  const bool ignore = a.Bool(3);
  SampleArrays s = ReadSample(kv, sample, ignore);
  if (ignore && s.n == 0) QuarnRaiseError(kv, "the data set contains only missing data");
  long valid = 0;
  QuarnFloat out[7];
  NagError fail = ClearedError();
  QuarnMP_g01aac(static_cast<long>(s.n), s.points, s.weights, &valid, &out[0], &out[1], &out[2], &out[3], &out[4],
                 &out[5], &out[6], &fail);
  HostObject result = SummaryVector(kv, 7);
  auto* block = static_cast<QuarnFloat*>(RTableDataBlock(kv, result));
  const bool undefined = IsUndefined(out[4]);
  for (int i = 0; i < 7; ++i) block[i] = undefined ? UndefinedFloat() : out[i];
  switch (fail.code) {
    case 0: return result;
    case 5: RaisePlain(kv, "data weights can not be negative");
    case 415: RaisePlain(kv, "cumulative data weight must be strictly positive");
    case 416: RaisePlain(kv, "data sample must contain at least two elements of non-zero weight");
    default: RaisePlain(kv, "internal error occured in a NAG routine");
  }
}

HostObject entry::FivePointSummary(const Arguments& a) {
  QKernel kv = a.kv();
  _DataSample sample(kv, a[1]);
  SampleArrays s = ReadSample(kv, sample, a.Bool(2));
  HostObject result = SummaryVector(kv, 5);
  NagError fail = ClearedError();
  QuarnMP_g01alc(static_cast<long>(s.n), s.points, static_cast<QuarnFloat*>(RTableDataBlock(kv, result)), &fail);
  switch (fail.code) {
    case 0: return result;
    case 11: RaisePlain(kv, "data sample must contain at least five elements");
    default: RaisePlain(kv, "internal error occured in a NAG routine");
  }
}
