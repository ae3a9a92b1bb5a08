// The regression entries: thin frames around the numerical routines'
// general linear regression (g02daf), standardized residuals (g02fac) and
// Durbin-Watson statistic (g02fcc).
//
// They reach the host through the kernel handle's function table and read
// argument i as the i-th element of the argument sequence. Each checks its
// argument count ("Incorrect number of arguments") and then, in increasing
// position, that each array argument is an rtable ("param N should be an
// rtable"); scalars are converted to native integers, doubles or text, and
// rtable data blocks are handed to the routine in place. Before the call the
// arrays the routine will touch are checked for what it assumes of them
// (rectangular storage, general data type with software floats where it
// reads, 32-bit integers for isx, and enough elements), so that a wrong
// array is refused with a message naming it instead of being misread.
#include <algorithm>
#include <initializer_list>
#include <string>

#include "platform/numerics/numerics.h"
#include "stats/inference/inference.h"

namespace quarnstats {
namespace {

// An entry's argument count and the positions that must be rtables.
struct Frame {
  int count;
  std::initializer_list<int> rtables;
};
constexpr Frame kG02daf{24, {4, 7, 9, 10, 13, 14, 15, 16, 17, 18, 22, 24}};
constexpr Frame kG02fac{7, {4, 5, 7}};
constexpr Frame kG02fcc{7, {3, 7}};

HostObject Arg(QKernel kv, HostObject args, int i) { return kv->exprseqSelect(kv, args, i); }

void CheckFrame(QKernel kv, HostObject args, const Frame& frame) {
  if (kv->numArgs(kv, args) != frame.count) kv->error(kv, "Incorrect number of arguments");
  for (int i : frame.rtables) {
    if (!kv->isRTable(kv, Arg(kv, args, i))) kv->error(kv, ("param " + std::to_string(i) + " should be an rtable").c_str());
  }
}

// What a routine does with an array argument.
enum class Use { kReadFloats, kWriteFloats, kReadInt32 };

// The data block of rtable argument `position` after checking that the
// routine may use its first `count` elements as `use` says.
void* Block(QKernel kv, HostObject args, int position, long count, Use use) {
  HostObject rt = Arg(kv, args, position);
  RTableSettingsRecord rts;
  RTableGetSettings(kv, &rts, rt);
  const bool ints = use == Use::kReadInt32;
  const long have = static_cast<long>(RTableNumElements(kv, rt));
  const bool type_ok = rts.storage == RTABLE_RECT && rts.data_type == (ints ? RTABLE_INTEGER32 : RTABLE_DAG);
  auto refuse = [&] {
    std::string what = ints ? "32-bit integers (datatype = integer[4])" : "floats (datatype = sfloat)";
    std::string text = "param " + std::to_string(position) + " should be a rectangular rtable of at least " +
                       std::to_string(std::max(count, 0L)) + " " + what + ", received: %1";
    QuarnRaiseError1(kv, text.c_str(), rt);
  };
  if (!type_ok || have < count) refuse();
  void* data = kv->rtableData(kv, rt);
  if (use == Use::kReadFloats) {
    auto* handles = static_cast<HostObject*>(data);
    for (long i = 0; i < count; ++i) {
      if (!IsSoftwareFloat(handles[i])) refuse();
    }
  }
  return data;
}

QuarnFloat* Floats(QKernel kv, HostObject args, int position, long count, Use use) {
  return static_cast<QuarnFloat*>(Block(kv, args, position, count, use));
}

}  // namespace
}  // namespace quarnstats

using namespace quarnstats;

// Host arguments: MEAN, WEIGHT, N, X, LDX, M, ISX, IP, Y, WT, RSS, IDF, B,
// SE, COV, RES, H, Q, LDQ, SVD, IRANK, P, TOL, WK. RSS, IDF, SVD and IRANK
// are names, assigned whatever the routine's IFAIL.
HostObject STATS_g02daf_MP(QKernel kv, HostObject args) {
  CheckFrame(kv, args, kG02daf);
  const char* mean = kv->toString(kv, Arg(kv, args, 1));
  const char* weight = kv->toString(kv, Arg(kv, args, 2));
  const int32_t n = kv->toInteger32(kv, Arg(kv, args, 3));
  const int32_t ldx = kv->toInteger32(kv, Arg(kv, args, 5));
  const int32_t m = kv->toInteger32(kv, Arg(kv, args, 6));
  const int32_t ip = kv->toInteger32(kv, Arg(kv, args, 8));
  const int32_t ldq = kv->toInteger32(kv, Arg(kv, args, 19));
  const QuarnFloat tol = QuarnFloat(kv->toFloat64(kv, Arg(kv, args, 23)));
  // The arrays, sized as the routine reads and writes them; with sizes it
  // refuses at once (ifail 1) it touches none of them.
  const bool sizes_ok = n >= 2 && m >= 1 && ldx >= n && ldq >= n && ip >= 1;
  const long np = sizes_ok ? n : 0, pp = sizes_ok ? ip : 0, mp = sizes_ok ? m : 0;
  auto* isx = static_cast<int32_t*>(Block(kv, args, 7, mp, Use::kReadInt32));
  QuarnFloat* x = Floats(kv, args, 4, sizes_ok ? static_cast<long>(ldx) * m : 0, Use::kWriteFloats);
  for (long j = 0; j < mp; ++j) {  // the rows the routine reads of the columns it includes
    for (long i = 0; i < np && isx[j] > 0; ++i) {
      if (!IsSoftwareFloat(x[j * ldx + i].Handle())) {
        QuarnRaiseError1(kv, "param 4 should hold floats in the columns that isx includes, received: %1",
                         Arg(kv, args, 4));
      }
    }
  }
  QuarnFloat* y = Floats(kv, args, 9, np, Use::kReadFloats);
  const bool weighted = weight[0] == 'W' || weight[0] == 'w';
  QuarnFloat* wt = Floats(kv, args, 10, weighted ? np : 0, Use::kReadFloats);
  QuarnFloat* b = Floats(kv, args, 13, pp, Use::kWriteFloats);
  QuarnFloat* se = Floats(kv, args, 14, pp, Use::kWriteFloats);
  QuarnFloat* cov = Floats(kv, args, 15, pp * (pp + 1) / 2, Use::kWriteFloats);
  QuarnFloat* res = Floats(kv, args, 16, np, Use::kWriteFloats);
  QuarnFloat* h = Floats(kv, args, 17, np, Use::kWriteFloats);
  QuarnFloat* q = Floats(kv, args, 18, sizes_ok ? static_cast<long>(ldq) * (pp + 1) : 0, Use::kWriteFloats);
  QuarnFloat* p = Floats(kv, args, 22, 2 * pp + pp * pp, Use::kWriteFloats);
  QuarnFloat* wk = Floats(kv, args, 24, sizes_ok ? std::max(2L, 5 * (pp - 1) + pp * pp) : 0, Use::kWriteFloats);

  QuarnFloat rss;
  int32_t idf = 0, irank = 0, ifail = 1;
  uint8_t svd = 0;
  QuarnMP_g02daf_f(mean, weight, &n, x, &ldx, &m, isx, &ip, y, wt, &rss, &idf, b, se, cov, res, h, q, &ldq, &svd,
                   &irank, p, &tol, wk, &ifail, 1, 1);
  kv->assign(kv, Arg(kv, args, 11), FloatToHost(rss));
  kv->assign(kv, Arg(kv, args, 12), kv->toInteger(kv, idf));
  kv->assign(kv, Arg(kv, args, 21), kv->toInteger(kv, irank));
  kv->assign(kv, Arg(kv, args, 20), kv->toInteger(kv, svd));
  return kv->toInteger(kv, ifail);
}

// Host arguments: n, ip, nres, res, h, rms, sres (nres x 4, row-major).
HostObject STATS_g02fac_MP(QKernel kv, HostObject args) {
  static NagError fail;  // the library's one record for this routine
  CheckFrame(kv, args, kG02fac);
  const int32_t n = kv->toInteger32(kv, Arg(kv, args, 1));
  const int32_t ip = kv->toInteger32(kv, Arg(kv, args, 2));
  const int32_t nres = kv->toInteger32(kv, Arg(kv, args, 3));
  const QuarnFloat rms = QuarnFloat(kv->toFloat64(kv, Arg(kv, args, 6)));
  // The routine reads the arrays only once its scalar checks pass.
  const long count = (ip >= 1 && nres >= 1 && n > ip + 1 && nres <= n) ? nres : 0;
  QuarnFloat* res = Floats(kv, args, 4, count, Use::kReadFloats);
  QuarnFloat* h = Floats(kv, args, 5, count, Use::kReadFloats);
  QuarnFloat* sres = Floats(kv, args, 7, 4 * count, Use::kWriteFloats);
  fail.print = 0;
  fail.handler = nullptr;
  QuarnMP_g02fac(n, ip, nres, res, h, rms, sres, &fail);
  if (fail.code != 0) kv->error(kv, fail.message);
  return kv->toNULL(kv);
}

// Host arguments: n, ip, res, the names for d, pdl and pdu, work (n).
HostObject STATS_g02fcc_MP(QKernel kv, HostObject args) {
  CheckFrame(kv, args, kG02fcc);
  const int32_t n = kv->toInteger32(kv, Arg(kv, args, 1));
  const int32_t ip = kv->toInteger32(kv, Arg(kv, args, 2));
  const long used = (ip >= 1 && n > ip) ? n : 0;  // the routine reads nothing when it fails at once
  QuarnFloat* res = Floats(kv, args, 3, used, Use::kReadFloats);
  QuarnFloat* work = Floats(kv, args, 7, used, Use::kWriteFloats);
  QuarnFloat d, pdl, pdu;
  int32_t ifail = 0;
  QuarnMP_g02fcc(&n, &ip, res, &d, &pdl, &pdu, work, &ifail);
  if (ifail == 0) {
    kv->assign(kv, Arg(kv, args, 4), FloatToHost(d));
    kv->assign(kv, Arg(kv, args, 5), FloatToHost(pdl));
    kv->assign(kv, Arg(kv, args, 6), FloatToHost(pdu));
  }
  return kv->toInteger(kv, ifail);
}
