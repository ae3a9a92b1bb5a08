// Data samples: points and optional weights read from host rtables of any
// data type and storage as contiguous QuarnFloat arrays, with missing data
// (the undefined float) kept or dropped.
#ifndef QUARN_STATS_FRAME_SAMPLE_H
#define QUARN_STATS_FRAME_SAMPLE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/float/quarnfloat.h"
#include "platform/host/function_ref.h"
#include "platform/host/quarnc.h"
#include "stats/frame/frame.h"

namespace quarnstats {

// The view of one rtable as Size() floats in the source's index order.
// Invariants: a dense sfloat source is read in place (float table = source,
// nothing protected); any other source is converted once into a copy that
// the view protects from the collector for as long as it holds it. An empty
// view has no float table and no data.
class _SampleVector {
 public:
  // Raises "invalid data sample, expected: rtable, received %1" for a
  // non-rtable and "unable to evaluate %1 to floating-point" for an element
  // that is not a number.
  _SampleVector(QKernel kv, HostObject rtable);
  ~_SampleVector();
  _SampleVector(const _SampleVector&) = delete;
  _SampleVector& operator=(const _SampleVector&) = delete;

  size_t Size() const { return size_; }
  QuarnFloat* Data() const { return data_; }

 private:
  void ConvertToFloatArray();

  HostObject source_;
  HostObject float_table_ = nullptr;
  QuarnFloat* data_ = nullptr;
  QKernel kv_;
  size_t size_ = 0;
};

// Points and optional weights of the same size. A weights rtable with no
// elements (or a null weights handle) counts as no weights.
class _DataSample {
 public:
  _DataSample(QKernel kv, HostObject points);
  _DataSample(QKernel kv, HostObject points, HostObject weights);
  _DataSample(const _DataSample&) = delete;
  _DataSample& operator=(const _DataSample&) = delete;

  size_t Size() const { return points_->Size(); }
  bool HasWeights() const { return weights_ != nullptr; }
  QuarnFloat* Points() const { return points_->Data(); }
  QuarnFloat* Weights() const { return weights_ ? weights_->Data() : nullptr; }
  // Copies into caller arrays of Size() slots; with ignore_missing, drops
  // every point (or pair) with an undefined value, keeping the order.
  // Returns the number of values written.
  size_t CopyTo(QuarnFloat* points, QuarnFloat* weights, bool ignore_missing) const;
  size_t CopyPointsTo(QuarnFloat* points) const;

 private:
  std::unique_ptr<_SampleVector> points_;
  std::unique_ptr<_SampleVector> weights_;
  QKernel kv_;
};

// The arrays a statistic computes on, read from a sample: with
// ignore_missing or copy, copies made with CopyTo in the host's collected
// memory (missing values dropped when ignore_missing, n the number kept);
// otherwise the sample's own arrays and n = Size(). weights is null for an
// unweighted sample.
struct SampleArrays {
  size_t n;
  QuarnFloat* points;
  QuarnFloat* weights;
};
SampleArrays ReadSample(QKernel kv, const _DataSample& sample, bool ignore_missing, bool copy = false);

// A new general-type rtable 1..n without initial data (of another data
// type when one is given).
HostObject CreateResultVector(QKernel kv, long n, int data_type = RTABLE_DAG);
// An rtable to assign floats into: the argument itself when it is a
// writable rectangular rtable of general data type, or a new
// general one of the size it gives (checked by SampleLength).
HostObject GetOutputVector(QKernel kv, HostObject arg);
// Assigns next() to every element of an rtable from GetOutputVector, in
// storage order.
void FillOutputVector(QKernel kv, HostObject out, quarn::FunctionRef<QuarnFloat()> next);

// Number of elements of an rtable's first dimension.
size_t RTableSize(QKernel kv, HostObject rt);

// A length given by the host (a sample size, a number of replicates): a
// non-negative integer of 32 bits; raises the message (by default "the
// sample size must be a non-negative integer, received: %1") with the
// argument for anything else.
int32_t SampleLength(QKernel kv, HostObject arg,
                     const char* message = "the sample size must be a non-negative integer, received: %1");
// Refuses an output rtable that the caller has made read-only.
void CheckWritable(QKernel kv, const RTableSettingsRecord& rts, HostObject out);

}  // namespace quarnstats

STATS_EXPORT HostObject STATS_QuarnEvaluateToFloat_MP(QKernel kv, HostObject args);

#endif
