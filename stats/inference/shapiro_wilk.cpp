// The Shapiro-Wilk test of normality: the host entry and its computing
// function over the numerical routines' sort and test.
#include <algorithm>
#include <climits>

#include "platform/numerics/numerics.h"
#include "stats/frame/sample.h"
#include "stats/inference/inference.h"

void STATS_ShapiroWilk_MP(QKernel kv, int32_t n, QuarnFloat* x, QuarnFloat* w, QuarnFloat* p) {
  NagError fail;
  fail.print = 0;
  fail.handler = nullptr;
  QuarnMP_m01cac(x, static_cast<size_t>(std::max<int32_t>(n, 0)), Nag_Ascending, &fail);
  if (fail.code != 0) QuarnRaiseError1(kv, fail.message, ToQuarnNULL(kv));
  auto* coefficients = static_cast<QuarnFloat*>(QuarnAlloc(kv, sizeof(QuarnFloat) * std::max<int32_t>(n, 1)));
  QuarnMP_g01ddc(n, x, Nag_TRUE, coefficients, w, p, &fail);
  if (fail.code != 0) QuarnRaiseError1(kv, fail.message, ToQuarnNULL(kv));
}

HostObject STATS_QuarnShapiroWilk_MP(QKernel kv, HostObject args) {
  using namespace quarnstats;
  ExpectArgs(kv, args, 3, "QuarnShapiroWilk expects 3 arguments, received: %1");
  _DataSample sample(kv, QuarnExpseqSelect(kv, args, 1), QuarnExpseqSelect(kv, args, 2));
  QuarnToQ_BOOL(kv, QuarnExpseqSelect(kv, args, 3));  // read, but the test is on every point as given
  QuarnFloat w = 0.0, p = 0.0;
  const size_t size = std::min<size_t>(sample.Size(), INT32_MAX);
  STATS_ShapiroWilk_MP(kv, static_cast<int32_t>(size), sample.Points(), &w, &p);
  HostObject result = QuarnListAlloc(kv, 2);
  QuarnListAssign(kv, result, 1, FloatToHost(w));
  QuarnListAssign(kv, result, 2, FloatToHost(p));
  return result;
}
