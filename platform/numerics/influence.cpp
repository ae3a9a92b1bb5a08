// Standardized residuals and influence statistics of a linear regression
// (g02fac), each correctly rounded at the working precision.
//
// For residual r_i with leverage h_i, s^2 = rms and n - p residual degrees
// of freedom:
//   internally studentized  RI_i = r_i / (s sqrt(1 - h_i)),
//   externally studentized  RE_i = r_i / (s_(i) sqrt(1 - h_i)), with the
//                           variance without observation i
//                           s_(i)^2 = ((n - p) s^2 - r_i^2 / (1 - h_i)) / (n - p - 1),
//   Cook's distance         D_i = RI_i^2 h_i / (p (1 - h_i)),
//   Atkinson's T            T_i = RE_i sqrt((n - p) h_i / (p (1 - h_i))),
//                           with the sign of the residual.
#include <string>

#include "platform/host/host.h"
#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

namespace quarn::numerics {
namespace {

std::string Int(long v) { return std::to_string(v); }

// A float as the host prints it, ending a sentence without a doubled point.
std::string Sentence(const QuarnFloat& v) {
  std::string s = host::Print(v.Handle());
  if (s.empty() || s.back() != '.') s += '.';
  return s;
}

enum Statistic { kInternal, kExternal, kCook, kAtkinson };

// One statistic of one residual at prec.
void StatisticAt(arb_ptr out, Statistic which, long n, long ip, arb_srcptr r, arb_srcptr h, arb_srcptr rms,
              slong prec) {
  Ball one_minus_h, s2i, t, root;
  arb_sub_ui(one_minus_h, h, 1, prec);
  arb_neg(one_minus_h, one_minus_h);
  const long df = n - ip;
  if (which == kInternal || which == kCook) {
    arb_mul(t, rms, one_minus_h, prec);
    arb_sqrt(t, t, prec);
    arb_div(out, r, t, prec);  // RI
    if (which == kCook) {
      arb_sqr(out, out, prec);
      arb_mul(out, out, h, prec);
      arb_div(out, out, one_minus_h, prec);
      arb_div_si(out, out, ip, prec);
    }
    return;
  }
  arb_sqr(t, r, prec);
  arb_div(t, t, one_minus_h, prec);
  arb_mul_si(s2i, rms, df, prec);
  arb_sub(s2i, s2i, t, prec);
  arb_div_si(s2i, s2i, df - 1, prec);
  arb_mul(t, s2i, one_minus_h, prec);
  arb_sqrt(t, t, prec);
  arb_div(out, r, t, prec);  // RE
  if (which == kAtkinson) {
    arb_mul_si(root, h, df, prec);
    arb_div(root, root, one_minus_h, prec);
    arb_div_si(root, root, ip, prec);
    arb_sqrt(root, root, prec);
    arb_mul(out, out, root, prec);
  }
}

}  // namespace
}  // namespace quarn::numerics

using namespace quarn::numerics;

void QuarnMP_g02fac(long n, long ip, long nres, const QuarnFloat res[], const QuarnFloat h[], QuarnFloat rms,
                    QuarnFloat sres[], NagError* fail) {
  if (ip < 1) return Fail(fail, NE_INT_ARG_LT, "On entry, ip = " + Int(ip) + ".\nConstraint: ip >= 1.");
  if (nres < 1) return Fail(fail, NE_INT_ARG_LT, "On entry, nres = " + Int(nres) + ".\nConstraint: nres >= 1.");
  if (n <= ip + 1) {
    return Fail(fail, NE_2_INT_ARG_LE,
                "On entry, n = " + Int(n) + " and ip = " + Int(ip) + ".\nConstraint: n > ip + 1.");
  }
  if (nres > n) {
    return Fail(fail, NE_2_INT_ARG_GT,
                "On entry, nres = " + Int(nres) + " and n = " + Int(n) + ".\nConstraint: nres <= n.");
  }
  const bool undefined_rms = IsQuarnFloatUndefined(rms);
  if (!undefined_rms && !(rms > 0)) {
    return Fail(fail, NE_REAL_ARG_LE, "On entry, rms = " + Sentence(rms) + "\nConstraint: rms > 0.");
  }
  for (long i = 0; i < nres && !undefined_rms; ++i) {
    if (IsQuarnFloatUndefined(h[i]) || IsQuarnFloatUndefined(res[i])) continue;
    if (!(h[i] > 0 && h[i] < 1)) {
      return Fail(fail, NE_REAL_ARRAY_CONS,
                  "On entry, h[" + Int(i) + "] = " + Sentence(h[i]) + "\nConstraint: 0 < h[i] < 1.");
    }
    // (n - p) rms - r^2 / (1 - h) > 0, decided exactly: (n - p) rms (1 - h) > r^2.
    Ball left, right;
    arb_sub_ui(left, Ball(h[i]), 1, ARF_PREC_EXACT);
    arb_neg(left, left);
    arb_mul(left, left, Ball(rms), ARF_PREC_EXACT);
    arb_mul_si(left, left, n - ip, ARF_PREC_EXACT);
    arb_sqr(right, Ball(res[i]), ARF_PREC_EXACT);
    if (!arb_gt(left, right)) {
      return Fail(fail, NE_RESID_TOO_LARGE,
                  "On entry, res[" + Int(i) + "] = " + Sentence(res[i]) + " is too large for rms = " +
                      Sentence(rms) + "\nConstraint: (n - ip) rms - res[i]^2 / (1 - h[i]) > 0.");
    }
  }
  Succeed(fail);
  for (long i = 0; i < nres; ++i) {
    const bool undefined = undefined_rms || IsQuarnFloatUndefined(h[i]) || IsQuarnFloatUndefined(res[i]);
    Ball r(res[i]), hb(h[i]), s2(rms);
    for (int k = 0; k < 4; ++k) {
      QuarnFloat& out = sres[i * 4 + k];
      if (undefined) {
        out = Undefined();
        continue;
      }
      NagError local;
      out = Evaluate(&local, "QuarnMP_g02fac", [&](arb_ptr v, slong prec) {
        StatisticAt(v, static_cast<Statistic>(k), n, ip, r, hb, s2, prec);
      });
      if (local.code != NE_NOERROR) *fail = local;
    }
  }
}
