// The call frame shared by every entry point of the library: library state,
// conversions between host objects and QuarnFloat, argument checking, the
// evaluation of host procedures at float arguments, and the random source.
#ifndef QUARN_STATS_FRAME_FRAME_H
#define QUARN_STATS_FRAME_FRAME_H

#include <cstdint>

#include "platform/float/quarnfloat.h"
#include "platform/host/quarnc.h"

#define STATS_EXPORT extern "C" __attribute__((visibility("default")))

// Library state: set up and cleared by the host.
STATS_EXPORT HostObject STATS_StatsInitialize_MP(QKernel kv, HostObject args);
STATS_EXPORT HostObject STATS_StatsTerminate_MP(QKernel kv, HostObject args);

namespace quarnstats {

// A host procedure and the float arguments to evaluate it at; p[1] .. p[n]
// are the arguments (p[0] is never touched).
struct ProcedureCallRecord {
  HostObject procedure;
  int flag;
  int32_t n;
  QuarnFloat* p;
};

// True when h is a host software float (never for an immediate integer).
bool IsSoftwareFloat(HostObject h);

// A host number or expression as a float: a software float directly,
// anything else through evalf under the host's error trap. Raises
// "unable to evaluate %1 to floating-point" when evalf raises.
QuarnFloat HostToFloat(HostObject h);
// As HostToFloat, but never raises: returns 0 and stores 0.0 when the
// evaluation raises or gives something that is not a number.
int TryHostToFloat(HostObject h, QuarnFloat* out);
[[noreturn]] void RaiseNotFloat(HostObject h);
QuarnFloat FloatFromHost(HostObject h);
HostObject FloatToHost(QuarnFloat x);
QuarnFloat UndefinedFloat();
long FloatToLong(QuarnFloat x);
// An rtable element of data type 6 (double), 8 (single) or a host object.
QuarnFloat ElementToFloat(RTableData value, int code);
long WorkingDigits();
// The record's procedure at its float arguments; a symbolic result goes
// through evalf once. An error inside is re-raised as the procedure's own.
QuarnFloat EvaluateCallRecord(ProcedureCallRecord* record);
QuarnFloat UniformFloat();
int32_t RandomInt32();

// The host's Digits, read through its name.
int32_t HostDigits(QKernel kv);
// 10^(-digits) in double precision (0 from 324 digits on).
double TolerancePower(int32_t digits);
// The iteration limit of iterative code: _EnvStatisticsIterations, or 100.
// Raises unless the variable is unassigned or an integer from 0 to
// kMaxIterationLimit.
constexpr long kMaxIterationLimit = 1000000;
long IterationLimit(QKernel kv);

// Argument checking with the library's messages. Expect raises `message`
// (with the whole argument sequence as %1) unless args has n elements.
void ExpectArgs(QKernel kv, HostObject args, int n, const char* message);
// Argument i (from 1) that must be a procedure; raises `message` with the
// argument as %1 otherwise.
HostObject ProcedureArg(QKernel kv, HostObject args, int i, const char* message);
// Argument i (from 1) converted to a float.
QuarnFloat FloatArg(QKernel kv, HostObject args, int i);

}  // namespace quarnstats

#endif
