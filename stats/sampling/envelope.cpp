// Adaptive rejection sampling under a piecewise-linear envelope, for a
// density given as host procedures (Gilks and Wild, "Adaptive rejection
// sampling for Gibbs sampling", Appl. Statist. 41, 1992, here on the density
// itself rather than its log).
#include <algorithm>

#include "stats/sampling/sampling.h"

namespace {

// The library-wide argument pair of the density and slope evaluations
// (element 1 is the point); allocated once, from memory the collector scans.
QuarnFloat* EvaluationArguments() {
  static QuarnFloat* arguments = new QuarnFloat[2];
  return arguments;
}

QuarnFloat Evaluate(quarnstats::ProcedureCallRecord* record, const QuarnFloat& x) {
  QuarnFloat* arguments = EvaluationArguments();
  arguments[1] = x;
  record->p = arguments;
  return quarnstats::EvaluateCallRecord(record);
}

// The two hulls at x in e: tangents (fl + dl (x - xl) left of z,
// fr + dr (x - xr) right of it) and chords (through f(z), slopes sl and sr).
QuarnFloat Tangent(const EnvelopeElement& e, const QuarnFloat& x) {
  return x < e.z ? e.fl + e.dl * (x - e.xl) : e.fr + e.dr * (x - e.xr);
}
QuarnFloat Chord(const EnvelopeElement& e, const QuarnFloat& x) {
  return x < e.z ? e.fl + e.sl * (x - e.xl) : e.fr + e.sr * (x - e.xr);
}
QuarnFloat Upper(const EnvelopeElement& e, const QuarnFloat& x) { return e.tangentUpper ? Tangent(e, x) : Chord(e, x); }
QuarnFloat Lower(const EnvelopeElement& e, const QuarnFloat& x) { return e.tangentUpper ? Chord(e, x) : Tangent(e, x); }

// A point under the envelope of e: a piece by its area, then uniform on a
// rectangle or, on a triangle, the larger (rising) or smaller (falling) of
// two uniforms.
QuarnFloat SampleElement(const EnvelopeElement& e) {
  using quarnstats::UniformFloat;
  const QuarnFloat a = UniformFloat() * e.T;
  const QuarnFloat u2 = UniformFloat();
  if (a <= e.A1) return e.xl + (e.z - e.xl) * u2;
  if (a <= e.A2) {
    const QuarnFloat u3 = UniformFloat();
    const QuarnFloat t = e.leftRising ? (u2 > u3 ? u2 : u3) : (u2 < u3 ? u2 : u3);
    return e.xl + (e.z - e.xl) * t;
  }
  if (a <= e.A3) return e.z + (e.xr - e.z) * u2;
  const QuarnFloat u3 = UniformFloat();
  const QuarnFloat t = e.rightRising ? (u2 > u3 ? u2 : u3) : (u2 < u3 ? u2 : u3);
  return e.z + (e.xr - e.z) * t;
}

// Rejections in a row after which Generate gives up.
constexpr long kMaxRejections = 100000;

}  // namespace

STATS_EnvelopeGenerator_MP::~STATS_EnvelopeGenerator_MP() = default;

QuarnFloat STATS_EnvelopeGenerator_MP::Density(const QuarnFloat& x) { return Evaluate(density_.get(), x); }
QuarnFloat STATS_EnvelopeGenerator_MP::Slope(const QuarnFloat& x) { return Evaluate(slope_.get(), x); }

std::unique_ptr<EnvelopeElement> STATS_EnvelopeGenerator_MP::Build(const QuarnFloat& xl, const QuarnFloat& xr,
                                                                   const QuarnFloat& fl, const QuarnFloat& fr,
                                                                   const QuarnFloat& dl, const QuarnFloat& dr) {
  // Where the tangents meet (the midpoint when they are parallel). Between
  // base points where f is concave or convex throughout, that is inside the
  // interval; base points that leave an inflection point between them can
  // put it outside, and the midpoint then keeps the element's draws inside
  // its interval.
  QuarnFloat z = dl == dr ? (xl + xr) / 2.0 : (fr - fl + dl * xl - dr * xr) / (dl - dr);
  if (!(z > xl && z < xr)) z = (xl + xr) / 2.0;
  auto e = std::make_unique<EnvelopeElement>(xl, xr, z, fl, fr, Density(z), dl, dr);
  e->sl = (e->fz - fl) / (e->z - xl);
  e->sr = (fr - e->fz) / (xr - e->z);
  e->tangentUpper = dl > e->sl;
  const QuarnFloat hz = e->tangentUpper ? fl + dl * (e->z - xl) : fl + e->sl * (e->z - xl);
  const QuarnFloat wl = e->z - xl, wr = xr - e->z;
  e->leftRising = hz > fl;
  e->A1 = (e->leftRising ? fl : hz) * wl;
  e->A2 = e->A1 + 0.5 * (e->leftRising ? hz - fl : fl - hz) * wl;
  e->rightRising = fr > hz;
  e->A3 = e->A2 + (e->rightRising ? hz : fr) * wr;
  e->T = e->A3 + 0.5 * (e->rightRising ? fr - hz : hz - fr) * wr;
  return e;
}

// The list starts with room for the maximum number of elements and grows to
// the larger of what is needed and 1.25 times its count.
void STATS_EnvelopeGenerator_MP::Append(std::unique_ptr<EnvelopeElement> e) {
  const size_t count = elements_.size();
  if (count + 1 >= elements_.capacity()) {
    elements_.reserve(std::max(count + 1, static_cast<size_t>(1.25 * static_cast<double>(count))));
  }
  elements_.push_back(std::move(e));
}

void STATS_EnvelopeGenerator_MP::RebuildUrn() {
  std::vector<QuarnFloat> totals;
  totals.reserve(elements_.size());
  for (const auto& e : elements_) totals.push_back(e->T);
  const auto m = static_cast<int32_t>(totals.size());
  urn_.Build(m, m, totals.data());
}

uint32_t STATS_EnvelopeGenerator_MP::Initialize(QKernel kv, HostObject description) {
  kv_ = kv;
  if (!IsQuarnList(kv, description) || QuarnListLength(kv, description) != 5) {
    QuarnRaiseError1(kv, "expected: list of size 5, received: %1", description);
  }
  HostObject maximum = QuarnListSelect(kv, description, 4);
  if (!IsQuarnInteger32(kv, maximum) || QuarnToInteger32(kv, maximum) < 1) {
    QuarnRaiseError1(kv, "invalid maximum number of envelope elements, expected: positive integer, received %1",
                     maximum);
  }
  HostObject base = QuarnListSelect(kv, description, 3);
  const bool is_list = IsQuarnList(kv, base) != 0;
  RTableSettingsRecord rts{};
  if (!is_list) {
    if (!IsQuarnRTable(kv, base) || RTableNumDimensions(kv, base) != 1) {
      QuarnRaiseError1(kv, "expected base points as list or one-dimensional array, received %1", base);
    }
    RTableGetSettings(kv, &rts, base);
    if (rts.data_type != RTABLE_FLOAT64 && rts.data_type != RTABLE_FLOAT32 && rts.data_type != RTABLE_DAG) {
      QuarnRaiseError1(kv, "expected array of floats, received %1", base);
    }
  }
  max_elements_ = QuarnToInteger32(kv, maximum);
  const int flag = QuarnToQ_BOOL(kv, QuarnListSelect(kv, description, 5));
  density_.reset(new quarnstats::ProcedureCallRecord{QuarnListSelect(kv, description, 1), flag, 1, nullptr});
  slope_.reset(new quarnstats::ProcedureCallRecord{QuarnListSelect(kv, description, 2), flag, 1, nullptr});
  elements_.clear();
  elements_.reserve(static_cast<size_t>(max_elements_));
  urn_ = AliasUrn();
  std::vector<QuarnFloat> points;
  if (is_list) {
    const int k = QuarnListLength(kv, base);
    for (int i = 1; i <= k; ++i) points.push_back(quarnstats::FloatFromHost(QuarnListSelect(kv, base, i)));
  } else {
    for (int i = RTableLowerBound(kv, base, 1); i <= RTableUpperBound(kv, base, 1); ++i) {
      points.push_back(quarnstats::ElementToFloat(RTableSelect(kv, base, &i), rts.data_type));
    }
  }
  // One point makes no interval to sample from.
  if (points.size() < 2) return 0;
  for (size_t i = 1; i < points.size(); ++i) {
    const QuarnFloat fl = Density(points[i - 1]), dl = Slope(points[i - 1]);
    const QuarnFloat fr = Density(points[i]), dr = Slope(points[i]);
    Append(Build(points[i - 1], points[i], fl, fr, dl, dr));
  }
  RebuildUrn();
  return 1;
}

// An element by its area, a point under its envelope, then the squeeze test
// against the lower hull, and only then f. A rejected point splits its
// element while there is room for more.
QuarnFloat STATS_EnvelopeGenerator_MP::Generate(QKernel kv) {
  for (long rejections = 0; rejections < kMaxRejections; ++rejections) {
    const int32_t k = urn_.Draw();
    EnvelopeElement& e = *elements_[static_cast<size_t>(k)];
    const QuarnFloat x = SampleElement(e);
    const QuarnFloat v = Upper(e, x) * quarnstats::UniformFloat();
    if (v < Lower(e, x)) return x;
    const QuarnFloat fx = Density(x);
    if (v < fx) return x;
    if (static_cast<int32_t>(elements_.size()) < max_elements_) {
      const QuarnFloat dx = Slope(x);
      const QuarnFloat xr = e.xr, fr = e.fr, dr = e.dr;
      elements_[static_cast<size_t>(k)] = Build(e.xl, x, e.fl, fx, e.dl, dx);
      Append(Build(x, xr, fx, fr, dx, dr));
      RebuildUrn();
    }
  }
  QuarnRaiseError1(kv, "the envelope generator rejected %1 proposals in a row: the density is 0 or above its "
                       "envelope where the envelope lies",
                   ToQuarnInteger(kv, kMaxRejections));
}
