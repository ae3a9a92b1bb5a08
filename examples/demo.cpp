// A small tour of the foundation: samples of several data types read as
// software floats at the working precision, through the library's own entry.
#include <cstdio>

#include "platform/host/host.h"
#include "stats/frame/frame.h"
#include "stats/frame/sample.h"

namespace host = quarn::host;

namespace {

HostObject Vector(int data_type, int lo, int hi, const std::vector<HostObject>& values) {
  QKernel kv = host::Kernel();
  RTableSettingsRecord rts;
  RTableGetDefaults(kv, &rts);
  rts.data_type = data_type;
  int bounds[2] = {lo, hi};
  HostObject rt = RTableCreate(kv, &rts, nullptr, bounds);
  for (int i = lo; i <= hi; ++i) {
    int index = i;
    RTableAssign(kv, rt, &index, host::ObjectToElement(data_type, values[static_cast<size_t>(i - lo)]));
  }
  return rt;
}

void Show(const char* label, HostObject rt) {
  QKernel kv = host::Kernel();
  std::printf("%s\n  given:     %s\n", label, host::Print(rt).c_str());
  try {
    HostObject floats = STATS_QuarnEvaluateToFloat_MP(kv, rt);
    std::printf("  as floats: %s\n", host::Print(floats).c_str());
  } catch (const host::Error& e) {
    std::printf("  Error, (in QuarnEvaluateToFloat) %s\n", e.message().c_str());
  }
}

}  // namespace

int main() {
  QKernel kv = host::Kernel();
  STATS_StatsInitialize_MP(kv, host::Null());
  host::SetDigits(30);
  HostObject third = host::MakeRational(host::MakeInteger(1), host::MakeInteger(3));
  HostObject root2 = host::MakeFunction(host::Name("sqrt"), {host::MakeInteger(2)});
  Show("general entries: an integer, a rational, a symbolic root, Pi (Digits = 30)",
       Vector(RTABLE_DAG, 1, 4, {host::MakeInteger(7), third, root2, host::Name("Pi")}));
  Show("32-bit integers indexed 5..7", Vector(RTABLE_INTEGER32, 5, 7, {host::MakeInteger(-3), host::MakeInteger(0), host::MakeInteger(7)}));
  host::SetDigits(20);
  Show("float[8] at Digits = 20 (the doubles' exact values, rounded to 20 digits)",
       Vector(RTABLE_FLOAT64, 1, 3, {host::ParseFloat("0.1"), host::ParseFloat("2.5"), host::ParseFloat("1e-300")}));
  Show("float[4]: 0.1 widened from single precision",
       Vector(RTABLE_FLOAT32, 1, 2, {host::ParseFloat("0.1"), host::ParseFloat("-1.5")}));
  Show("a symbol that has no numeric value", Vector(RTABLE_DAG, 1, 2, {host::MakeInteger(1), host::Name("x")}));
  STATS_StatsTerminate_MP(kv, host::Null());
  return 0;
}
