// Callback adapters: a real function of one variable that numerical code
// (root finders, expected values) evaluates without knowing whether it is a
// host procedure or one of the library's own distribution functions.
#ifndef QUARN_STATS_FRAME_ADAPTERS_H
#define QUARN_STATS_FRAME_ADAPTERS_H

#include "platform/float/quarnfloat.h"
#include "platform/host/quarnc.h"

class __attribute__((visibility("default"))) STATS_QuarnCallbackAdapter_MP {
 public:
  explicit STATS_QuarnCallbackAdapter_MP(QKernel kv) : kv_(kv) {}
  virtual ~STATS_QuarnCallbackAdapter_MP();
  // The function's value at x. Callers never copy or delete an adapter they
  // were given.
  virtual QuarnFloat Evaluate(QuarnFloat x) = 0;
  void SetKernel(QKernel kv) { kv_ = kv; }

 protected:
  QKernel kv_;
};

// A host procedure of one argument. Owns neither the handle nor the
// procedure, and does not protect the procedure: the host keeps it alive for
// the call that built the adapter.
class __attribute__((visibility("default"))) STATS_QuarnProcAdapter_MP : public STATS_QuarnCallbackAdapter_MP {
 public:
  STATS_QuarnProcAdapter_MP(QKernel kv, HostObject procedure)
      : STATS_QuarnCallbackAdapter_MP(kv), procedure_(procedure) {}
  ~STATS_QuarnProcAdapter_MP() override;
  // The procedure at x, untrapped: its errors reach the host unchanged. A
  // result that is not numeric goes through evalf once.
  QuarnFloat Evaluate(QuarnFloat x) override;
  void SetProcedure(HostObject procedure) { procedure_ = procedure; }

 private:
  HostObject procedure_;
};

// The library-wide procedure adapter; its kernel handle is set when the
// library is initialised, its procedure by the expected-value entry.
extern STATS_QuarnProcAdapter_MP LibraryProcAdapter;

// LibraryProcAdapter.Evaluate(x), as a plain function.
QuarnFloat EvaluateLibraryProcedure(QuarnFloat x);

#endif
