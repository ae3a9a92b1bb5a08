// Callback adapters and the library-wide procedure adapter.
#include "stats/frame/adapters.h"

#include "stats/frame/frame.h"

STATS_QuarnCallbackAdapter_MP::~STATS_QuarnCallbackAdapter_MP() = default;
STATS_QuarnProcAdapter_MP::~STATS_QuarnProcAdapter_MP() = default;

QuarnFloat STATS_QuarnProcAdapter_MP::Evaluate(QuarnFloat x) {
  HostObject h = quarnstats::FloatToHost(x);
  HostObject r = EvalQuarnProcedure(kv_, procedure_, h);
  if (!IsQuarnNumeric(kv_, r)) r = EvalQuarnProcedure(kv_, ToQuarnName(kv_, "evalf", 1), r);
  return quarnstats::FloatFromHost(r);
}

STATS_QuarnProcAdapter_MP LibraryProcAdapter(nullptr, nullptr);

QuarnFloat EvaluateLibraryProcedure(QuarnFloat x) { return LibraryProcAdapter.Evaluate(x); }
