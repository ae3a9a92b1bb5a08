// Means, absolute deviation, expected value, moments, covariance sums,
// counts and cumulative sums and products of data samples.
#include <string>
#include <vector>

#include "stats/descriptive/descriptive.h"
#include "stats/descriptive/internal.h"
#include "stats/frame/adapters.h"

using quarn::floats::ExactSum;
using quarn::floats::GuardedBits;
using quarn::floats::ProductBits;

namespace quarnstats {

HostObject FloatList(QKernel kv, const std::vector<QuarnFloat>& values) {
  HostObject list = QuarnListAlloc(kv, static_cast<int>(values.size()));
  for (size_t i = 0; i < values.size(); ++i) QuarnListAssign(kv, list, static_cast<int>(i) + 1, FloatToHost(values[i]));
  return list;
}

void RaisePlain(QKernel kv, const char* message) { QuarnRaiseError1(kv, message, ToQuarnNULL(kv)); }

namespace {

enum MeanKind : long { kGeometric = 1, kHarmonic = 2, kQuadratic = 3 };

// The term of kind `kind` for x (log x, 1/x, x^2 or x) into the slot t.
void MeanTerm(mpfr_ptr t, const QuarnFloat& x, long kind) {
  switch (kind) {
    case kGeometric: mpfr_log(t, x.Mpfr(), MPFR_RNDN); break;
    case kHarmonic: mpfr_ui_div(t, 1, x.Mpfr(), MPFR_RNDN); break;
    case kQuadratic: mpfr_sqr(t, x.Mpfr(), MPFR_RNDN); break;
    default: mpfr_set(t, x.Mpfr(), MPFR_RNDN); break;
  }
}

// The mean of kind `kind` from the sum of terms s and the divisor d (the
// count or the total weight), rounded once to the working precision.
QuarnFloat FinishMean(mpfr_ptr s, mpfr_srcptr d, long kind) {
  return quarn::floats::Compute([&](mpfr_ptr z) {
    switch (kind) {
      case kGeometric: mpfr_div(s, s, d, MPFR_RNDN); mpfr_exp(z, s, MPFR_RNDN); break;
      case kHarmonic: mpfr_div(z, d, s, MPFR_RNDN); break;
      case kQuadratic: mpfr_div(s, s, d, MPFR_RNDN); mpfr_sqrt(z, s, MPFR_RNDN); break;
      default: mpfr_div(z, s, d, MPFR_RNDN); break;
    }
  });
}

// Slots wide enough for a term of the kind times a weight: a square times a
// weight exactly, the rest with guard bits.
mpfr_prec_t MeanSlotBits(long kind, bool weighted) {
  if (kind == kQuadratic) return weighted ? 3 * QuarnWorkingBits() : ProductBits();
  if (kind == kGeometric || kind == kHarmonic) return GuardedBits();
  return weighted ? ProductBits() : 0;
}

// The count n as the divisor, through a double.
void SetCount(mpfr_ptr d, size_t n) { mpfr_set_d(d, static_cast<double>(n), MPFR_RNDN); }

}  // namespace

QuarnFloat UnweightedMean(const QuarnFloat* x, size_t n, long kind) {
  ExactSum sum(n, MeanSlotBits(kind, false));
  for (size_t i = 0; i < n; ++i) {
    if (kind == kGeometric || kind == kHarmonic || kind == kQuadratic) {
      MeanTerm(sum.Slot(), x[i], kind);
    } else {
      sum.Add(x[i]);
    }
  }
  Scratch s, d;
  sum.Total(s);
  SetCount(d, n);
  return FinishMean(s, d, kind);
}

QuarnFloat WeightedMean(const QuarnFloat* x, const QuarnFloat* w, size_t n, long kind) {
  ExactSum sum(n, MeanSlotBits(kind, true)), weight(n, 0);
  Scratch t(MeanSlotBits(kind, true));
  for (size_t i = 0; i < n; ++i) {
    weight.Add(w[i]);
    if (kind == kGeometric || kind == kHarmonic || kind == kQuadratic) {
      MeanTerm(t, x[i], kind);
      mpfr_mul(sum.Slot(), t, w[i].Mpfr(), MPFR_RNDN);
    } else {
      sum.AddProduct(x[i], w[i]);
    }
  }
  Scratch s, d;
  sum.Total(s);
  weight.Total(d);
  return FinishMean(s, d, kind);
}

namespace {

// sum(term(x_i)) / n, or sum(term(x_i) w_i) / W, rounded once; term writes
// the i-th term into a slot of guarded precision.
template <class Term>
QuarnFloat AverageOf(const SampleArrays& s, Term term) {
  ExactSum sum(s.n, GuardedBits()), weight(s.n, 0);
  Scratch t;
  for (size_t i = 0; i < s.n; ++i) {
    if (s.weights == nullptr) {
      term(sum.Slot(), i);
    } else {
      term(t, i);
      mpfr_mul(sum.Slot(), t, s.weights[i].Mpfr(), MPFR_RNDN);
      weight.Add(s.weights[i]);
    }
  }
  Scratch total, d;
  sum.Total(total);
  if (s.weights == nullptr) {
    SetCount(d, s.n);
  } else {
    weight.Total(d);
  }
  return quarn::floats::Compute([&](mpfr_ptr z) { mpfr_div(z, total, d, MPFR_RNDN); });
}

// The sample of data (argument 1 + offset) and weights, read by the protocol
// with the ignore flag.
struct ReadData {
  _DataSample sample;
  SampleArrays arrays;
  ReadData(const Arguments& a, int data, int weights, int ignore)
      : sample(a.kv(), a[data], a[weights]), arrays(ReadSample(a.kv(), sample, a.Bool(ignore))) {}
};

[[noreturn]] void RaiseOrders(QKernel kv, HostObject orders) {
  QuarnRaiseError1(kv, "expected: list of positive integers, received %1", orders);
}

}  // namespace

}  // namespace quarnstats

using namespace quarnstats;

HostObject entry::Mean(const Arguments& a) {
  ReadData d(a, 1, 2, 3);
  long kind = a.Int(4);
  const SampleArrays& s = d.arrays;
  return FloatToHost(s.weights ? WeightedMean(s.points, s.weights, s.n, kind) : UnweightedMean(s.points, s.n, kind));
}

HostObject entry::AbsoluteDeviation(const Arguments& a) {
  ReadData d(a, 1, 3, 4);
  QuarnFloat c = a.Float(2);
  const SampleArrays& s = d.arrays;
  return FloatToHost(AverageOf(s, [&](mpfr_ptr t, size_t i) {
    mpfr_sub(t, s.points[i].Mpfr(), c.Mpfr(), MPFR_RNDN);
    mpfr_abs(t, t, MPFR_RNDN);
  }));
}

HostObject entry::ExpectedValue(const Arguments& a) {
  LibraryProcAdapter.SetProcedure(a[1]);
  ReadData d(a, 2, 3, 4);
  const SampleArrays& s = d.arrays;
  return FloatToHost(AverageOf(s, [&](mpfr_ptr t, size_t i) {
    QuarnFloat fx = EvaluateLibraryProcedure(s.points[i]);
    mpfr_set(t, fx.Mpfr(), MPFR_RNDN);
  }));
}

HostObject entry::Moment(const Arguments& a) {
  QKernel kv = a.kv();
  ReadData d(a, 1, 4, 5);
  QuarnFloat c = a.Float(3);
  HostObject orders_arg = a[2];
  std::vector<long> orders;
  const bool as_list = IsQuarnList(kv, orders_arg);
  if (as_list) {
    for (int i = 1; i <= QuarnListLength(kv, orders_arg); ++i) {
      long k = QuarnToQ_INT(kv, QuarnListSelect(kv, orders_arg, i));
      if (k <= 0) RaiseOrders(kv, orders_arg);
      orders.push_back(k);
    }
  } else if (IsQuarnInteger(kv, orders_arg)) {
    orders.push_back(QuarnToQ_INT(kv, orders_arg));
  } else {
    RaiseOrders(kv, orders_arg);
  }
  const SampleArrays& s = d.arrays;
  std::vector<QuarnFloat> moments;
  for (long k : orders) {
    moments.push_back(AverageOf(s, [&](mpfr_ptr t, size_t i) {
      mpfr_sub(t, s.points[i].Mpfr(), c.Mpfr(), MPFR_RNDN);
      if (k == 2) {
        mpfr_sqr(t, t, MPFR_RNDN);
      } else if (k != 1) {
        mpfr_pow_si(t, t, k, MPFR_RNDN);
      }
    }));
  }
  return as_list ? FloatList(kv, moments) : FloatToHost(moments[0]);
}

HostObject entry::Covariance(const Arguments& a) {
  QKernel kv = a.kv();
  _DataSample xs(kv, a[1]), ys(kv, a[2]), ws(kv, a[3]);
  if (xs.Size() != ys.Size()) RaisePlain(kv, "data samples are expected to have the same size");
  const bool ignore = a.Int(4) == 1;
  QuarnUserInfo(kv, 2, "Statistics", ignore ? "instructed to igore missing data" : "instructed not to ignore missing data");
  const bool weighted = ws.Size() != 0;
  if (weighted && ws.Size() != xs.Size())
    RaisePlain(kv, "array of weights is expected to be of the same size as both data samples");
  const size_t n = xs.Size();
  const QuarnFloat *x = xs.Points(), *y = ys.Points(), *w = weighted ? ws.Points() : nullptr;
  std::vector<size_t> used;
  used.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    if (ignore && (IsUndefined(x[i]) || IsUndefined(y[i]) || (weighted && IsUndefined(w[i])))) continue;
    used.push_back(i);
  }
  // First pass: the weighted sums of x and y and the total weight.
  ExactSum sx(used.size(), weighted ? ProductBits() : 0), sy(used.size(), weighted ? ProductBits() : 0),
      sw(used.size(), 0);
  for (size_t i : used) {
    if (weighted) {
      sx.AddProduct(x[i], w[i]);
      sy.AddProduct(y[i], w[i]);
      sw.Add(w[i]);
    } else {
      sx.Add(x[i]);
      sy.Add(y[i]);
    }
  }
  Scratch total_weight, mean_x, mean_y;
  if (weighted) {
    sw.Total(total_weight);
  } else {
    SetCount(total_weight, used.size());
  }
  if (mpfr_zero_p(total_weight)) QuarnUserInfo(kv, 2, "Statistics", "cumulative weight is equal to 0");
  sx.Total(mean_x);
  sy.Total(mean_y);
  mpfr_div(mean_x, mean_x, total_weight, MPFR_RNDN);
  mpfr_div(mean_y, mean_y, total_weight, MPFR_RNDN);
  // Second pass: centred sums of products.
  ExactSum sxy(used.size(), GuardedBits()), sxx(used.size(), GuardedBits()), syy(used.size(), GuardedBits());
  Scratch dx, dy;
  for (size_t i : used) {
    mpfr_sub(dx, x[i].Mpfr(), mean_x, MPFR_RNDN);
    mpfr_sub(dy, y[i].Mpfr(), mean_y, MPFR_RNDN);
    mpfr_ptr txy = sxy.Slot(), txx = sxx.Slot(), tyy = syy.Slot();
    mpfr_mul(txy, dx, dy, MPFR_RNDN);
    mpfr_sqr(txx, dx, MPFR_RNDN);
    mpfr_sqr(tyy, dy, MPFR_RNDN);
    if (weighted) {
      mpfr_mul(txy, txy, w[i].Mpfr(), MPFR_RNDN);
      mpfr_mul(txx, txx, w[i].Mpfr(), MPFR_RNDN);
      mpfr_mul(tyy, tyy, w[i].Mpfr(), MPFR_RNDN);
    }
  }
  return FloatList(kv, {sxy.Total(), sxx.Total(), syy.Total(), Rounded(total_weight)});
}

HostObject entry::Count(const Arguments& a) {
  QKernel kv = a.kv();
  _DataSample sample(kv, a[1], a[2]);
  const bool ignore = a.Int(3) == 1;
  const size_t n = sample.Size();
  const QuarnFloat *x = sample.Points(), *w = sample.Weights();
  if (w == nullptr) {
    if (!ignore) return ToQuarnInteger(kv, static_cast<long>(n));
    long present = 0;
    for (size_t i = 0; i < n; ++i) present += IsUndefined(x[i]) ? 0 : 1;
    return ToQuarnInteger(kv, present);
  }
  ExactSum sum(n, 0);
  for (size_t i = 0; i < n; ++i) {
    if (!ignore || (!IsUndefined(x[i]) && !IsUndefined(w[i]))) sum.Add(w[i]);
  }
  return FloatToHost(sum.Total());
}

HostObject entry::CountMissing(const Arguments& a) {
  QKernel kv = a.kv();
  _DataSample sample(kv, a[1], a[2]);
  const size_t n = sample.Size();
  const QuarnFloat *x = sample.Points(), *w = sample.Weights();
  if (w == nullptr) {
    long missing = 0;
    for (size_t i = 0; i < n; ++i) missing += IsUndefined(x[i]) ? 1 : 0;
    return ToQuarnInteger(kv, missing);
  }
  ExactSum sum(n, 0);
  for (size_t i = 0; i < n; ++i) {
    if (IsUndefined(x[i]) && !IsUndefined(w[i])) sum.Add(w[i]);
  }
  return FloatToHost(sum.Total());
}

HostObject entry::Cumulative(const Arguments& a) {
  QKernel kv = a.kv();
  _DataSample sample(kv, a[1], a[2]);
  HostObject out = a[3];
  if (!IsQuarnRTable(kv, out)) QuarnRaiseError1(kv, "invalid 3rd argument, expected rtable, received: %1", out);
  if (RTableNumDimensions(kv, out) != 1)
    QuarnRaiseError1(kv, "invalid 3rd argument, expected one-dimensional rtable, received: %1", out);
  const size_t n = sample.Size();
  RTableSettingsRecord rts;
  if (RTableNumElements(kv, out) < 1) {
    RTableGetDefaults(kv, &rts);
    rts.num_dimensions = 1;
    rts.data_type = RTABLE_DAG;
    rts.element_type_name = ToQuarnName(kv, "sfloat", 1);
    rts.storage = RTABLE_RECT;
    int lower = RTableLowerBound(kv, a[1], 1);
    int bounds[2] = {lower, lower + static_cast<int>(n) - 1};
    out = RTableCreate(kv, &rts, nullptr, bounds);
  } else {
    RTableGetSettings(kv, &rts, out);
    if (RTableNumElements(kv, out) < n) QuarnRaiseError1(kv, "output array has insufficient number of elements: %1", out);
    if (rts.data_type != RTABLE_DAG) QuarnRaiseError1(kv, "output array has invalid data type: %1", out);
    if (rts.storage != RTABLE_RECT) QuarnRaiseError1(kv, "output array has invalid storage type: %1", out);
    quarnstats::CheckWritable(kv, rts, out);
  }
  if (n == 0) return out;
  const bool product = a.Int(4) != 0;
  const QuarnFloat *x = sample.Points(), *w = sample.Weights();
  auto* o = static_cast<QuarnFloat*>(RTableDataBlock(kv, out));
  QuarnFloat running = w ? x[0] * w[0] : x[0];
  o[0] = running;
  for (size_t k = 1; k < n; ++k) {
    if (product) {
      running = w ? (running * x[k]) * w[k] : running * x[k];
    } else {
      running = w ? running + x[k] * w[k] : running + x[k];
    }
    o[k] = running;
  }
  return out;
}
