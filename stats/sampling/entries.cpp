// The sampling entries: samples of combinations of random variables, alias
// urn samples, bootstrap resamples and bootstrap distributions of a
// statistic. The bodies read their arguments in order after the count check
// of entries.inc.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "stats/frame/entry.h"
#include "stats/frame/sample.h"
#include "stats/manipulation/manipulation.h"
#include "stats/sampling/sampling.h"

using quarnstats::Arguments;

namespace entry {
#define SAMPLING_ENTRY STATS_DECLARE_TABLE_BODY
#include "stats/sampling/entries.inc"
#undef SAMPLING_ENTRY
}  // namespace entry

namespace {

// A count given by the host (replicates, replicate length): a non-negative
// integer of 32 bits.
int32_t Count(QKernel kv, HostObject arg, const char* message) {
  if (!IsQuarnInteger32(kv, arg) || QuarnToInteger32(kv, arg) < 0) QuarnRaiseError1(kv, message, arg);
  return QuarnToInteger32(kv, arg);
}

// Uniform indices 0..c-1: the top bits of a random 32-bit integer, shifted
// right by the q halvings that bring 2^31 - 1 to c - 1 or below, redrawn
// until they fall in range.
class UniformIndex {
 public:
  explicit UniformIndex(int32_t c) : top_(static_cast<uint32_t>(c - 1)) {
    for (uint32_t v = 0x7fffffffu; v > top_ && shift_ < 31; v >>= 1) ++shift_;
  }
  int32_t Draw() const {
    uint32_t j;
    do {
      j = static_cast<uint32_t>(quarnstats::RandomInt32()) >> shift_;
    } while (j > top_);
    return static_cast<int32_t>(j);
  }

 private:
  uint32_t top_;
  int shift_ = 0;
};

// Indices into c data elements: uniform, or by an alias urn over weights.
class Resampler {
 public:
  Resampler(int32_t c, const QuarnFloat* weights) : uniform_(c) {
    if (weights != nullptr) {
      urn_ = std::make_unique<AliasUrn>();
      urn_->Build(c, c, weights);
    }
  }
  int32_t Draw() const { return urn_ ? urn_->Draw() : uniform_.Draw(); }

 private:
  UniformIndex uniform_;
  std::unique_ptr<AliasUrn> urn_;
};

// Resampling from nothing cannot end; the entries refuse it when a draw is due.
void RefuseEmpty(QKernel kv, size_t c, long draws, HostObject data) {
  if (c == 0 && draws > 0) QuarnRaiseError1(kv, "cannot resample from an empty data sample: %1", data);
}

// A statistic's answer as a float.
QuarnFloat Statistic(QKernel kv, HostObject statistic, HostObject sample) {
  return quarnstats::HostToFloat(EvalQuarnProc(kv, statistic, 1, sample));
}

}  // namespace

#define SAMPLING_ENTRY STATS_DEFINE_TABLE_ENTRY
#include "stats/sampling/entries.inc"
#undef SAMPLING_ENTRY

// (output rtable, combining procedure or NULL, list of generator
// descriptions [kind, description], flag): fills the output in storage
// order with the first generator's variates (NULL), or with the procedure at
// one variate of each generator. Kind 1 is the envelope generator, any other
// the default generator.
HostObject entry::RandomSample(const Arguments& a) {
  QKernel kv = a.kv();
  HostObject out = a[1], descriptions = a[3];
  if (!IsQuarnList(kv, descriptions)) QuarnRaiseError1(kv, "expected: quarn list, received: %1", descriptions);
  const int k = QuarnListLength(kv, descriptions);
  if (k == 0) return out;
  if (!IsQuarnRTable(kv, out)) QuarnRaiseError1(kv, "output array has invalid storage type %1", out);
  RTableSettingsRecord rts;
  RTableGetSettings(kv, &rts, out);
  if (rts.storage != RTABLE_RECT) QuarnRaiseError1(kv, "output array has invalid storage type %1", out);
  if (rts.data_type != RTABLE_DAG) QuarnRaiseError1(kv, "output array has invalid data type %1", out);
  const size_t count = RTableNumElements(kv, out);

  std::vector<std::unique_ptr<STATS_RandomVariateGenerator_MP>> generators;
  for (int i = 1; i <= k; ++i) {
    HostObject d = QuarnListSelect(kv, descriptions, i);
    const char* refused = "unable to initialize random variate generator with parameters %1";
    if (!IsQuarnList(kv, d) || QuarnListLength(kv, d) < 2) QuarnRaiseError1(kv, refused, d);
    if (QuarnToQ_INT(kv, QuarnListSelect(kv, d, 1)) == 1) {
      generators.push_back(std::make_unique<STATS_EnvelopeGenerator_MP>(kv));
    } else {
      generators.push_back(std::make_unique<STATS_DefaultGenerator_MP>(kv));
    }
    if (generators.back()->Initialize(kv, QuarnListSelect(kv, d, 2)) == 0) {
      generators.clear();
      QuarnRaiseError1(kv, refused, d);
    }
  }
  auto* block = static_cast<QuarnFloat*>(RTableDataBlock(kv, out));
  if (IsQuarnNULL(kv, a[2])) {
    for (size_t i = 0; i < count; ++i) block[i] = generators[0]->Generate(kv);
    return out;
  }
  const int flag = a.Bool(4);
  if (!IsQuarnProcedure(kv, a[2])) QuarnRaiseError1(kv, "expected: quarn procedure, received: %1", a[2]);
  std::vector<QuarnFloat> arguments(static_cast<size_t>(k) + 1);
  quarnstats::ProcedureCallRecord record{a[2], flag, k, arguments.data()};
  for (size_t i = 0; i < count; ++i) {
    for (int g = 0; g < k; ++g) arguments[static_cast<size_t>(g) + 1] = generators[static_cast<size_t>(g)]->Generate(kv);
    block[i] = quarnstats::EvaluateCallRecord(&record);
  }
  return out;
}

// (n, weights): n cells drawn by an alias urn over the weights, as 0-based
// 32-bit integers.
HostObject entry::AliasUrnSample(const Arguments& a) {
  QKernel kv = a.kv();
  if (!IsQuarnInteger32(kv, a[1]) || QuarnToInteger32(kv, a[1]) < 0) {
    QuarnRaiseError1(kv, "invalid sample length, expected positive integer, received: %1", a[1]);
  }
  const int32_t n = QuarnToInteger32(kv, a[1]);
  quarnstats::_DataSample weights(kv, a[2]);
  const auto c = static_cast<int32_t>(weights.Size());
  RefuseEmpty(kv, weights.Size(), n, a[2]);
  AliasUrn urn;
  urn.Build(c, c, weights.Points());
  HostObject result = quarnstats::CreateResultVector(kv, n, RTABLE_INTEGER32);
  if (n == 0) return result;
  auto* block = static_cast<int32_t*>(RTableDataBlock(kv, result));
  for (int32_t i = 0; i < n; ++i) block[i] = urn.Draw();
  return result;
}

// (data, r, s, weights): an r x s rtable of elements of the data (of its
// data type and settings), drawn uniformly, or by an alias urn over the
// weights when they are not empty.
HostObject entry::BootstrapSample(const Arguments& a) {
  QKernel kv = a.kv();
  for (int i : {1, 4}) {
    if (!IsQuarnRTable(kv, a[i]) || RTableNumDimensions(kv, a[i]) != 1) {
      QuarnRaiseError1(kv, "expected: one-dimensional array, received %1", a[i]);
    }
  }
  const int32_t r = Count(kv, a[2], "the number of replicates must be a non-negative integer, received: %1");
  const int32_t s = Count(kv, a[3], "the replicate length must be a non-negative integer, received: %1");
  RTableSettingsRecord rts;
  RTableGetSettings(kv, &rts, a[1]);
  if (rts.storage != RTABLE_RECT) QuarnRaiseError1(kv, "input array must have rectangular storage type", ToQuarnNULL(kv));
  const size_t c = RTableNumElements(kv, a[1]);
  const size_t w = RTableNumElements(kv, a[4]);
  std::unique_ptr<quarnstats::_DataSample> weights;
  if (w != 0) {
    if (w != c) {
      QuarnRaiseError1(kv, "data array and weights array must have the same number of elements", ToQuarnNULL(kv));
    }
    weights = std::make_unique<quarnstats::_DataSample>(kv, a[4]);
  }
  const long draws = static_cast<long>(r) * s;
  RefuseEmpty(kv, c, draws, a[1]);
  rts.num_dimensions = 2;
  rts.storage = RTABLE_RECT;
  int bounds[4] = {1, r, 1, s};
  HostObject result = RTableCreate(kv, &rts, nullptr, bounds);
  if (draws == 0) return result;
  Resampler pick(static_cast<int32_t>(c), weights ? weights->Points() : nullptr);
  const size_t size = STATS_RTableDataSize_MP(kv, rts.data_type);
  const auto* from = static_cast<const unsigned char*>(RTableDataBlock(kv, a[1]));
  auto* to = static_cast<unsigned char*>(RTableDataBlock(kv, result));
  for (long i = 0; i < draws; ++i) std::memcpy(to + i * size, from + static_cast<size_t>(pick.Draw()) * size, size);
  return result;
}

// (data, weights, statistic, s, r): the statistic at r resamples of s
// points (uniform, or by an alias urn over the weights), one work vector
// reused for every replicate.
HostObject entry::BootstrapStatistic(const Arguments& a) {
  QKernel kv = a.kv();
  quarnstats::_DataSample sample(kv, a[1], a[2]);
  const int32_t s = Count(kv, a[4], "the replicate length must be a non-negative integer, received: %1");
  const int32_t r = Count(kv, a[5], "the number of replicates must be a non-negative integer, received: %1");
  HostObject result = quarnstats::CreateResultVector(kv, r);
  HostObject work = quarnstats::CreateResultVector(kv, s);
  RefuseEmpty(kv, sample.Size(), static_cast<long>(r) * s, a[1]);
  if (r == 0) return result;
  Resampler pick(static_cast<int32_t>(sample.Size()), sample.Weights());
  const QuarnFloat* points = sample.Points();
  auto* values = static_cast<QuarnFloat*>(RTableDataBlock(kv, result));
  auto* replicate = s > 0 ? static_cast<QuarnFloat*>(RTableDataBlock(kv, work)) : nullptr;
  for (int32_t i = 0; i < r; ++i) {
    for (int32_t j = 0; j < s; ++j) replicate[j] = points[pick.Draw()];
    values[i] = Statistic(kv, a[3], work);
  }
  return result;
}

// (sampler, statistic, length argument, r): the statistic at r samples that
// the sampler draws from the length argument as given.
HostObject entry::BootstrapStatisticRV(const Arguments& a) {
  QKernel kv = a.kv();
  const int32_t r = Count(kv, a[4], "the number of replicates must be a non-negative integer, received: %1");
  HostObject result = quarnstats::CreateResultVector(kv, r);
  auto* values = r > 0 ? static_cast<QuarnFloat*>(RTableDataBlock(kv, result)) : nullptr;
  for (int32_t i = 0; i < r; ++i) values[i] = Statistic(kv, a[2], EvalQuarnProc(kv, a[1], 1, a[3]));
  return result;
}
