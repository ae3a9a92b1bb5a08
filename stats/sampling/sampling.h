// Random sampling: random variate generators (the built-in distributions by
// type id, and densities given as host procedures, sampled by adaptive
// rejection under a piecewise-linear envelope), Walker's alias urn, and the
// host entries that draw samples of combinations of random variables,
// weighted indices and bootstrap replicates.
//
// Every random number comes from the host's generator (UniformFloat and
// RandomInt32 of the frame), so the host's seed reproduces every sample.
#ifndef QUARN_STATS_SAMPLING_SAMPLING_H
#define QUARN_STATS_SAMPLING_SAMPLING_H

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/float/quarnfloat.h"
#include "platform/host/quarnc.h"
#include "stats/frame/frame.h"

#define STATS_SAMPLING_API __attribute__((visibility("default")))

// Walker's alias method over n weights in m >= n cells (cells from n on
// have probability 0): Draw() returns cell i with probability w[i] / sum w
// in a constant expected number of random draws.
//
// Invariants after Build: alias and probability hold m entries; a cell's
// probability is its chance of keeping a draw that lands on it, the alias
// the cell it hands the draw to otherwise.
class STATS_SAMPLING_API AliasUrn {
 public:
  // Replaces any previous table. Negative or undefined weights are not
  // checked; all-zero weights give every cell the same chance.
  void Build(int32_t m, int32_t n, const QuarnFloat* weights);
  // A cell index in [0, m); m must be at least 1.
  int32_t Draw() const;
  int32_t Cells() const { return m_; }

 private:
  int32_t n_ = 0;
  int32_t m_ = 0;
  std::vector<int32_t> alias_;
  std::vector<QuarnFloat> probability_;
};

// A generator of random floats, initialised once from a host description.
class STATS_SAMPLING_API STATS_RandomVariateGenerator_MP {
 public:
  virtual ~STATS_RandomVariateGenerator_MP() = default;
  // Reads the description: nonzero on success, 0 when it names nothing
  // this generator can build; a malformed description raises a host error.
  virtual uint32_t Initialize(QKernel kv, HostObject description) = 0;
  // The next variate.
  virtual QuarnFloat Generate(QKernel kv) = 0;
};

// One piece [xl, xr] of the envelope: the tangents at its ends meet at z;
// the envelope is the two straight pieces (xl, fl)-(z, hz)-(xr, fr), each a
// rectangle of the lower height and a triangle on top, of cumulative areas
// A1 (left rectangle), A2 (with the left triangle), A3 (with the right
// rectangle) and T (all). tangentUpper: the tangents are the upper hull and
// the chords through f(z) the lower (a concave piece); else the reverse.
struct EnvelopeElement {
  EnvelopeElement(QuarnFloat xl_, QuarnFloat xr_, QuarnFloat z_, QuarnFloat fl_, QuarnFloat fr_, QuarnFloat fz_,
                  QuarnFloat dl_, QuarnFloat dr_)
      : xl(xl_), xr(xr_), z(z_), fl(fl_), fr(fr_), fz(fz_), dl(dl_), dr(dr_) {}
  QuarnFloat xl, xr, z;
  QuarnFloat fl, fr, fz;
  QuarnFloat dl, dr;
  QuarnFloat sl, sr;
  QuarnFloat A1, A2, A3, T;
  bool leftRising = false, rightRising = false, tangentUpper = false;
};

// Adaptive rejection under a piecewise-linear envelope for a density given
// as two host procedures, f and its derivative. Description: the host list
// [f, f', base points, maximum number of elements, flag], the base points a
// list or a one-dimensional rtable (float[8], float[4] or host objects) of
// at least two points, in the order given. Each consecutive pair makes one
// element; a rejected proposal splits its element there (and f' is
// evaluated) until the maximum number of elements is reached, after which
// the envelope stays fixed. f is evaluated only when the squeeze test
// fails. Not re-entrant: the evaluation point passes through a library-wide
// scratch pair.
class STATS_SAMPLING_API STATS_EnvelopeGenerator_MP : public STATS_RandomVariateGenerator_MP {
 public:
  explicit STATS_EnvelopeGenerator_MP(QKernel kv) : kv_(kv) {}
  ~STATS_EnvelopeGenerator_MP() override;
  uint32_t Initialize(QKernel kv, HostObject description) override;
  // Raises a host error after 10^5 rejections in a row (a density that is
  // 0, or not below the envelope, where the envelope puts its mass).
  QuarnFloat Generate(QKernel kv) override;

  size_t Elements() const { return elements_.size(); }
  const EnvelopeElement& Element(size_t i) const { return *elements_[i]; }

 private:
  QuarnFloat Density(const QuarnFloat& x);
  QuarnFloat Slope(const QuarnFloat& x);
  // The element on [xl, xr] from the values at its ends (f evaluated at the
  // meeting point of the tangents).
  std::unique_ptr<EnvelopeElement> Build(const QuarnFloat& xl, const QuarnFloat& xr, const QuarnFloat& fl,
                                         const QuarnFloat& fr, const QuarnFloat& dl, const QuarnFloat& dr);
  void Append(std::unique_ptr<EnvelopeElement> e);
  void RebuildUrn();

  int32_t max_elements_ = 0;
  std::vector<std::unique_ptr<EnvelopeElement>> elements_;
  AliasUrn urn_;
  QKernel kv_;
  std::unique_ptr<quarnstats::ProcedureCallRecord> density_;
  std::unique_ptr<quarnstats::ProcedureCallRecord> slope_;
};

// The variate of a built-in distribution from its parameter array.
using STATS_ArrayVariate_MP = QuarnFloat (*)(QKernel kv, const QuarnFloat* p);

// A built-in distribution's variates, by type id. Description: the host
// list [type id, list of at most 5 coefficients]; ids 1-33 without 7 and 32
// name the distributions in alphabetical order (1 Bernoulli ... 33
// Weibull); any other id names nothing (Initialize returns 0).
class STATS_SAMPLING_API STATS_DefaultGenerator_MP : public STATS_RandomVariateGenerator_MP {
 public:
  explicit STATS_DefaultGenerator_MP(QKernel kv) {}
  uint32_t Initialize(QKernel kv, HostObject description) override;
  QuarnFloat Generate(QKernel kv) override { return variate_(kv, parameters_.get()); }

  // The parameter-array variate of a type id, or null.
  static STATS_ArrayVariate_MP VariateOf(long id);

 private:
  STATS_ArrayVariate_MP variate_ = nullptr;
  int32_t count_ = 0;
  std::unique_ptr<QuarnFloat[]> parameters_;
};

#define SAMPLING_ENTRY(N, COUNT, MESSAGE) STATS_EXPORT HostObject STATS_Quarn##N##_MP(QKernel kv, HostObject args);
#include "stats/sampling/entries.inc"
#undef SAMPLING_ENTRY

#endif
