// The kernel handle and its function table.
#include "platform/host/internal.h"

namespace quarn::host {

namespace {
_QKernelVectorDesc g_kernel;
}  // namespace

QKernel Kernel() { return &g_kernel; }

void InitKernelTable(QKernel kv) {
  kv->numArgs = QuarnNumArgs;
  kv->error = QuarnRaiseError;
  kv->isRTable = IsQuarnRTable;
  kv->toString = QuarnToString;
  kv->toInteger32 = QuarnToInteger32;
  kv->rtableData = RTableDataBlock;
  kv->toFloat64 = QuarnToFloat64;
  kv->assign = QuarnAssign;
  kv->toInteger = ToQuarnInteger;
  kv->toNULL = ToQuarnNULL;
  kv->exprseqSelect = QuarnExpseqSelect;
}

}  // namespace quarn::host
