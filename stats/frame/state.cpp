// Library state and the conversions of the call frame.
#include <cassert>
#include <cmath>

#include "stats/frame/adapters.h"
#include "stats/frame/frame.h"

namespace quarnstats {

namespace {

// Process-wide state; the host calls one entry at a time.
struct LibraryState {
  bool initialised = false;
  QKernel entry_kernel = nullptr;
  QKernel conversion_kernel = nullptr;
  QKernel random_kernel = nullptr;
  HostObject evalf_name = nullptr;
};

LibraryState g_state;

// The scratch float of EvaluateCallRecord, built on its first use.
QuarnFloat* g_scratch = nullptr;

// Trapped body of HostToFloat: a float as it is, anything else evalf'd.
void* EvalfBody(void* data) {
  HostObject h = static_cast<HostObject>(data);
  if (IsSoftwareFloat(h)) return h;
  return EvalQuarnProcedure(g_state.conversion_kernel, g_state.evalf_name, h);
}

HostObject ArgumentSequence(QKernel kv, const ProcedureCallRecord* record) {
  HostObject seq = NewQuarnExpressionSequence(kv, record->n);
  for (int i = 1; i <= record->n; ++i) QuarnExpseqAssign(kv, seq, i, FloatToHost(record->p[i]));
  return seq;
}

void* EvaluateCallBody(void* data) {
  auto* record = static_cast<ProcedureCallRecord*>(data);
  QKernel kv = g_state.conversion_kernel;
  if (g_scratch == nullptr) g_scratch = new QuarnFloat();
  HostObject r = EvalQuarnProcedure(kv, record->procedure, ArgumentSequence(kv, record));
  if (!IsQuarnNumeric(kv, r)) r = EvalQuarnProcedure(kv, g_state.evalf_name, r);
  *g_scratch = FloatFromHost(r);
  return g_scratch;
}

}  // namespace

bool IsSoftwareFloat(HostObject h) {
  uintptr_t bits = reinterpret_cast<uintptr_t>(h);
  if ((bits & 1) != 0) return false;  // an immediate integer
  return (*reinterpret_cast<const uint32_t*>(h) >> 26) == 4;
}

QuarnFloat FloatFromHost(HostObject h) { return QuarnFloat(h); }
HostObject FloatToHost(QuarnFloat x) { return x.Handle(); }
QuarnFloat UndefinedFloat() { return QuarnFloatUndefined(); }
long FloatToLong(QuarnFloat x) { return FloatToInt(x); }
long WorkingDigits() { return QuarnDigits(); }

void RaiseNotFloat(HostObject h) {
  QuarnRaiseError1(g_state.conversion_kernel, "unable to evaluate %1 to floating-point", h);
}

QuarnFloat HostToFloat(HostObject h) {
  if (IsSoftwareFloat(h)) return FloatFromHost(h);
  int trapped = 0;
  void* result = QuarnTrapError(g_state.conversion_kernel, EvalfBody, h, &trapped);
  if (trapped) RaiseNotFloat(h);
  return FloatFromHost(static_cast<HostObject>(result));
}

int TryHostToFloat(HostObject h, QuarnFloat* out) {
  if (IsSoftwareFloat(h)) {
    *out = FloatFromHost(h);
    return 1;
  }
  int trapped = 0;
  void* result = QuarnTrapError(g_state.conversion_kernel, EvalfBody, h, &trapped);
  if (trapped || !IsQuarnNumeric(g_state.conversion_kernel, static_cast<HostObject>(result))) {
    *out = QuarnFloat(0.0);
    return 0;
  }
  *out = FloatFromHost(static_cast<HostObject>(result));
  return 1;
}

QuarnFloat ElementToFloat(RTableData value, int code) {
  if (code == RTABLE_FLOAT32) return QuarnFloat(static_cast<double>(value.float32));
  if (code == RTABLE_FLOAT64) return QuarnFloat(value.float64);
  if (IsQuarnNumeric(g_state.conversion_kernel, value.dag)) return FloatFromHost(value.dag);
  QuarnRaiseError1(g_state.conversion_kernel, "expected quarn float, received %1", value.dag);
}

QuarnFloat EvaluateCallRecord(ProcedureCallRecord* record) {
  QKernel kv = g_state.conversion_kernel;
  int trapped = 0;
  void* result = QuarnTrapError(kv, EvaluateCallBody, record, &trapped);
  if (!trapped) return *static_cast<QuarnFloat*>(result);
  // Evaluate once more outside the trap, so that an error of the procedure
  // itself reaches the host as its own; only a result that evalf could not
  // handle gets the library's message.
  HostObject r = EvalQuarnProcedure(kv, record->procedure, ArgumentSequence(kv, record));
  RaiseNotFloat(r);
}

QuarnFloat UniformFloat() { return FloatFromHost(QuarnRandomSoftwareFloat01(g_state.random_kernel)); }
int32_t RandomInt32() { return QuarnRandomInt32(g_state.random_kernel); }

int32_t HostDigits(QKernel kv) { return QuarnToInteger32(kv, QuarnEval(kv, ToQuarnName(kv, "Digits", 1))); }

double TolerancePower(int32_t digits) { return std::pow(10.0, -static_cast<double>(digits)); }

long IterationLimit(QKernel kv) {
  HostObject name = ToQuarnName(kv, "_EnvStatisticsIterations", 1);
  if (!IsQuarnAssignedName(kv, name)) return 100;
  // Named in the message: the user set the variable, not an argument. A
  // million iterations bounds the time an iteration that never converges
  // takes (a creeping Newton iteration would go on for days at 10^9).
  HostObject value = QuarnEval(kv, name);
  if (!IsQuarnInteger64(kv, value) || QuarnToInteger64(kv, value) < 0 ||
      QuarnToInteger64(kv, value) > kMaxIterationLimit) {
    QuarnRaiseError1(kv, "_EnvStatisticsIterations must be an integer from 0 to 1000000, received: %1", value);
  }
  return QuarnToQ_INT(kv, name);
}

void ExpectArgs(QKernel kv, HostObject args, int n, const char* message) {
  if (QuarnNumArgs(kv, args) != n) QuarnRaiseError1(kv, message, args);
}

HostObject ProcedureArg(QKernel kv, HostObject args, int i, const char* message) {
  HostObject f = QuarnExpseqSelect(kv, args, i);
  if (!IsQuarnProcedure(kv, f)) QuarnRaiseError1(kv, message, f);
  return f;
}

QuarnFloat FloatArg(QKernel kv, HostObject args, int i) { return HostToFloat(QuarnExpseqSelect(kv, args, i)); }

namespace {
// The scratch float goes with the library.
struct ReleaseAtUnload {
  ~ReleaseAtUnload() {
    delete g_scratch;
    g_scratch = nullptr;
  }
} g_release_at_unload;
}  // namespace

}  // namespace quarnstats

using quarnstats::g_state;

HostObject STATS_StatsInitialize_MP(QKernel kv, HostObject) {
  if (!g_state.initialised) {
    g_state.entry_kernel = kv;
    g_state.initialised = true;
    LibraryProcAdapter.SetKernel(kv);
    g_state.random_kernel = kv;
    g_state.conversion_kernel = kv;
    g_state.evalf_name = ToQuarnName(kv, "evalf", 1);
    QuarnGcProtect(kv, g_state.evalf_name);
  }
  return ToQuarnBoolean(kv, 1);
}

HostObject STATS_StatsTerminate_MP(QKernel kv, HostObject) {
  g_state.initialised = false;
  g_state.entry_kernel = nullptr;
  return ToQuarnBoolean(kv, 1);
}
