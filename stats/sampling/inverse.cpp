// Inverse-transform sampling of distributions given by host procedures (the
// distribution function F and the density f), by a safeguarded Newton
// iteration on F(x) = u; and sampling from a density known by its values on
// an equally spaced grid, by exact inversion of its piecewise-linear
// interpolant.
#include <cmath>
#include <memory>
#include <vector>

#include "stats/frame/adapters.h"
#include "stats/frame/entry.h"
#include "stats/frame/sample.h"
#include "stats/rootfind/rootfind.h"
#include "stats/sampling/inverse.h"

namespace entry {
#define INVERSE_ENTRY STATS_DECLARE_TABLE_BODY
#include "stats/sampling/inverse.inc"
#undef INVERSE_ENTRY
}  // namespace entry

namespace quarnstats {
namespace {

// A host procedure of one float argument whose answers must be floats.
struct ProcedureCall {
  QKernel kv;
  HostObject procedure;
  HostObject evalf;
  bool flag;  // stored with the call, not consulted

  // The procedure at x, its answer evaluated by evalf when it is not a
  // number. Any failure calls the procedure once more outside the trap (so
  // that its own error reaches the host) and raises "%1 does not evaluate to
  // float" with its answer.
  QuarnFloat operator()(const QuarnFloat& x) const {
    struct Body {
      const ProcedureCall* call;
      HostObject argument;
      QuarnFloat value;
    } body{this, FloatToHost(x), QuarnFloat()};
    int trapped = 0;
    QuarnTrapError(
        kv,
        [](void* data) -> void* {
          auto* b = static_cast<Body*>(data);
          QKernel k = b->call->kv;
          HostObject r = EvalQuarnProc(k, b->call->procedure, 1, b->argument);
          if (!IsQuarnNumeric(k, r)) r = EvalQuarnProc(k, b->call->evalf, 1, r);
          b->value = FloatFromHost(r);
          return nullptr;
        },
        &body, &trapped);
    if (trapped) QuarnRaiseError1(kv, "%1 does not evaluate to float", EvalQuarnProc(kv, procedure, 1, body.argument));
    return body.value;
  }
};

// One variable sampled by inversion of F on [a, b] to absolute tolerance
// eps. Holds the host's evalf name protected while it lives.
class InverseSampler {
 public:
  InverseSampler(QKernel kv, HostObject F, HostObject f, HostObject a, HostObject b, HostObject eps, bool flag)
      : kv_(kv),
        evalf_(ToQuarnName(kv, "evalf", 1)),
        a_(FloatFromHost(a)),
        b_(FloatFromHost(b)),
        eps_(FloatFromHost(eps)),
        distribution_{kv, F, evalf_, flag},
        density_{kv, f, evalf_, flag} {
    QuarnGcProtect(kv_, evalf_);
    Fa_ = distribution_(a_);
    Fb_ = distribution_(b_);
    range_ = Fb_ - Fa_;
  }
  ~InverseSampler() { QuarnGcAllow(kv_, evalf_); }
  InverseSampler(const InverseSampler&) = delete;
  InverseSampler& operator=(const InverseSampler&) = delete;

  QuarnFloat Draw() const { return Solve(Fa_ + UniformFloat() * range_); }

 private:
  // The root of F(x) = t in [a, b]: Newton steps while they stay inside the
  // bracket and shrink fast enough, bisection otherwise; at most 100 steps.
  QuarnFloat Solve(const QuarnFloat& t) const {
    QuarnFloat xl = a_, xh = b_, x = 0.5 * (a_ + b_);
    QuarnFloat step_old = b_ - a_, step = step_old;
    QuarnFloat g = distribution_(x) - t, d = density_(x);
    for (int iteration = 0; iteration < 100; ++iteration) {
      const bool bisect = ((x - xh) * d - g) * ((x - xl) * d - g) > 0 || fabs(2.0 * g) > fabs(step_old * d);
      if (bisect) {
        step_old = step;
        step = 0.5 * (xh - xl);
        x = xl + step;
        if (xl == x) return x;
      } else {
        step_old = step;
        step = g / d;
        const QuarnFloat previous = x;
        x = x - step;
        if (previous == x) return x;
      }
      if (fabs(step) < eps_) return x;
      g = distribution_(x) - t;
      d = density_(x);
      if (g < 0) {
        xl = x;
      } else {
        xh = x;
      }
    }
    return x;
  }

  QKernel kv_;
  HostObject evalf_;
  QuarnFloat a_, b_, eps_, Fa_, Fb_, range_;
  ProcedureCall distribution_, density_;
};

bool IsSampleLength(QKernel kv, HostObject h) { return IsQuarnInteger32(kv, h) && QuarnToInteger32(kv, h) > 0; }
bool IsProcedure(QKernel kv, HostObject h) { return IsQuarnProcedure(kv, h) != 0; }
bool IsNumeric(QKernel kv, HostObject h) { return IsQuarnNumeric(kv, h) != 0; }
bool IsList(QKernel kv, HostObject h) { return IsQuarnList(kv, h) != 0; }

// What an argument must be: absent, it raises `missing` (no placeholder);
// failing the test, `wrong` with the argument as %1.
struct ArgumentRule {
  bool (*test)(QKernel, HostObject);
  const char* missing;
  const char* wrong;
};

constexpr ArgumentRule kSampleLength = {IsSampleLength, "expecting sample length as first argument",
                                        "first argument (sample length) must be positive integer, received %1"};

// Arguments 1 .. N checked in order by the rules; then the optional flag
// after them (false when absent).
template <size_t N>
std::vector<HostObject> CheckedArguments(const Arguments& a, const ArgumentRule (&rules)[N], bool* flag) {
  std::vector<HostObject> args;
  for (size_t i = 0; i < N; ++i) {
    const int position = static_cast<int>(i) + 1;
    if (a.Count() < position) QuarnRaiseError(a.kv(), rules[i].missing);
    const HostObject h = a[position];
    if (!rules[i].test(a.kv(), h)) QuarnRaiseError1(a.kv(), rules[i].wrong, h);
    args.push_back(h);
  }
  *flag = a.Count() > static_cast<int>(N) && a.Bool(static_cast<int>(N) + 1);
  return args;
}

// A random variable of the list: [name, F, f, ...].
bool IsRandomVariable(QKernel kv, HostObject v) {
  return IsQuarnList(kv, v) && QuarnListLength(kv, v) >= 3 && IsQuarnProcedure(kv, QuarnListSelect(kv, v, 2)) &&
         IsQuarnProcedure(kv, QuarnListSelect(kv, v, 3));
}

// The cumulative table of a grid density, as the discrete root finder sees
// it: entry k of the table at the index k.
class _KernelProbabilityAdapter : public STATS_QuarnCallbackAdapter_MP {
 public:
  _KernelProbabilityAdapter(QKernel kv, const QuarnFloat* table) : STATS_QuarnCallbackAdapter_MP(kv), table_(table) {}
  QuarnFloat Evaluate(QuarnFloat x) override { return table_[FloatToLong(x)]; }

 private:
  const QuarnFloat* table_;
};

}  // namespace
}  // namespace quarnstats

using namespace quarnstats;

HostObject entry::InverseDistributionSampleId(const Arguments& a) {
  QKernel kv = a.kv();
  static constexpr ArgumentRule kRules[] = {
      kSampleLength,
      {IsProcedure, "expecting probability distribution as second argument",
       "expecting quarn procedure as second argument, received %1"},
      {IsProcedure, "expecting probability density function as third argument",
       "expecting quarn procedure as third argument, received %1"},
      {IsNumeric, "expecting lower bound for the interval as fourth argument",
       "expecting float as fourth argument, received %1"},
      {IsNumeric, "expecting upper bound for the interval as fifth argument",
       "expecting float as fifth argument, received %1"},
      {IsNumeric, "expecting precision as sixth argument", "expecting float as sixth argument, received %1"},
  };
  bool flag;
  const std::vector<HostObject> args = CheckedArguments(a, kRules, &flag);
  const long n = QuarnToInteger32(kv, args[0]);
  const InverseSampler sampler(kv, args[1], args[2], args[3], args[4], args[5], flag);
  HostObject result = CreateResultVector(kv, n);
  auto* out = static_cast<QuarnFloat*>(RTableDataBlock(kv, result));
  for (long i = 0; i < n; ++i) out[i] = sampler.Draw();
  return result;
}

// The interval of every variable is [-b, b], b the upper bound (argument 4):
// the argument list has no place for a lower bound, and a symmetric interval
// holds any support within it (where the density is 0 the iteration
// bisects).
HostObject entry::InverseDistributionSample(const Arguments& a) {
  QKernel kv = a.kv();
  static constexpr ArgumentRule kRules[] = {
      kSampleLength,
      {IsProcedure, "expecting expression involving random variables as second argument",
       "expecting quarn procedure as second argument, received %1"},
      {IsList, "expecting list of random variables as third argument",
       "expecting list of random variables as third argument, received %1"},
      {IsNumeric, "expecting upper bound for the interval as fourth argument",
       "expecting float as fourth argument, received %1"},
      {IsNumeric, "expecting precision as fifth argument", "expecting float as fifth argument, received %1"},
  };
  bool flag;
  const std::vector<HostObject> args = CheckedArguments(a, kRules, &flag);
  const long n = QuarnToInteger32(kv, args[0]);
  const HostObject combine = args[1], variables = args[2], upper = args[3], eps = args[4];
  const HostObject lower = FloatToHost(-FloatFromHost(upper));
  const int count = QuarnListLength(kv, variables);
  std::vector<std::unique_ptr<InverseSampler>> samplers;
  for (int e = 1; e <= count; ++e) {
    const HostObject v = QuarnListSelect(kv, variables, e);
    if (!IsRandomVariable(kv, v))
      QuarnRaiseError1(kv, "expecting list of random variables as third argument, received %1", variables);
    samplers.push_back(std::make_unique<InverseSampler>(kv, QuarnListSelect(kv, v, 2), QuarnListSelect(kv, v, 3), lower,
                                                        upper, eps, flag));
  }
  HostObject result = CreateResultVector(kv, n);
  auto* out = static_cast<QuarnFloat*>(RTableDataBlock(kv, result));
  for (long i = 0; i < n; ++i) {
    HostObject values = NewQuarnExpressionSequence(kv, count);
    for (int e = 0; e < count; ++e) QuarnExpseqAssign(kv, values, e + 1, FloatToHost(samplers[e]->Draw()));
    out[i] = FloatFromHost(EvalQuarnProcedure(kv, combine, values));
  }
  return result;
}

// The density is the piecewise-linear interpolant of the m grid values D at
// a + j h, h = (b - a)/(m - 1), with a triangle on each side (from 0 at
// a - h up to D[0], from D[m-1] down to 0 at b + h). C[k] is its area up to
// node k (C[0] the left triangle, C[m] the whole); a target area t = u C[m]
// falls in the cell the discrete root finder names, and the offset into
// that cell solves the quadratic of the area under a linear piece.
HostObject entry::KernelDensitySample(const Arguments& a) {
  QKernel kv = a.kv();
  _DataSample grid(kv, a[1]);
  const QuarnFloat left = a.Float(2), right = a.Float(3);
  const HostObject length = a[4];
  const long m = static_cast<long>(grid.Size());
  if (m < 2) QuarnRaiseError1(kv, "expected at least two grid values, received: %1", a[1]);
  const int32_t n = SampleLength(kv, length);
  const QuarnFloat* D = grid.Points();
  const QuarnFloat h = (right - left) / QuarnFloat(m - 1);
  HostObject table = CreateResultVector(kv, m + 1);
  auto* C = static_cast<QuarnFloat*>(RTableDataBlock(kv, table));
  C[0] = (0.5 * D[0]) * h;
  for (long i = 1; i < m; ++i) C[i] = C[i - 1] + (0.5 * h) * (D[i - 1] + D[i]);
  C[m] = C[m - 1] + (0.5 * D[m - 1]) * h;
  _KernelProbabilityAdapter adapter(kv, C);
  HostObject result = CreateResultVector(kv, n);
  auto* out = static_cast<QuarnFloat*>(RTableDataBlock(kv, result));
  for (int32_t i = 0; i < n; ++i) {
    const QuarnFloat t = UniformFloat() * C[m];
    const long k = DiscreteInterpolation(kv, t, &adapter, 0, m, 100);
    if (k == 0) {
      out[i] = (left - h) + sqrt(((2.0 * h) * t) / D[0]);
      continue;
    }
    const QuarnFloat r = t - C[k - 1], p = D[k - 1], q = k == m ? QuarnFloat(0.0) : D[k];
    QuarnFloat s;
    if (p == q) {
      // The cell is flat: the offset is linear in the area (none when the
      // cell has none).
      s = p == 0 ? QuarnFloat(0.0) : r / p;
    } else {
      const QuarnFloat S = sqrt((h * h) * (p * p) + ((2.0 * h) * (q - p)) * r);
      s = (h * p - S) / (p - q);
    }
    out[i] = (left + QuarnFloat(k - 1) * h) + s;
  }
  return result;
}

#define INVERSE_ENTRY STATS_DEFINE_TABLE_ENTRY
#include "stats/sampling/inverse.inc"
#undef INVERSE_ENTRY
