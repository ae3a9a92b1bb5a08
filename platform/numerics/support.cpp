// Correct rounding of Arb balls to the working precision, and the argument
// checks and error records of the numerical routines.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/host/host.h"
#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"

namespace quarn::numerics {

slong TargetBits() { return static_cast<slong>(host::WorkingBits()); }

namespace {

long g_work_left = kWorkLimit;
double g_started = 0.0;  // CPU seconds of this thread when the call began
long g_charges = 0;
int g_shared_depth = 0;  // SharedWorkLimit objects alive

double ThreadSeconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// The thread's CPU seconds, as of at most one tick of the coarse wall clock
// (a few milliseconds) ago. Reading the CPU clock is a system call (a quarter
// of a microsecond, as much as a whole small routine call), while the coarse
// clock is read without entering the kernel: within one of its ticks the last
// reading is taken again. As the start of a call it overcounts the call's
// time by at most a tick; in a check of the time spent, it finds the limit
// passed at most a tick late.
double RecentSeconds() {
  static timespec last_tick = {-1, 0};
  static double last_seconds = 0.0;
  timespec tick;
  clock_gettime(CLOCK_MONOTONIC_COARSE, &tick);
  if (tick.tv_sec != last_tick.tv_sec || tick.tv_nsec != last_tick.tv_nsec) {
    last_tick = tick;
    last_seconds = ThreadSeconds();
  }
  return last_seconds;
}

}  // namespace

void ResetWork() {
  g_work_left = kWorkLimit;
  g_charges = 0;
  if (g_shared_depth == 0) {
    g_started = RecentSeconds();
  } else if (RecentSeconds() - g_started > kTimeLimitSeconds) {
    g_work_left = 0;  // the shared time is spent: fail before any work
  }
}

SharedWorkLimit::SharedWorkLimit() {
  if (g_shared_depth++ == 0) g_started = RecentSeconds();
}

SharedWorkLimit::~SharedWorkLimit() { --g_shared_depth; }

bool ChargeWork(slong prec, long steps) {
  const long limbs = static_cast<long>(std::max<slong>(prec, 0) / 64 + 1);
  g_work_left -= limbs * steps;
  // Every 256th charge of a single step, and every charge of more (an Arb
  // function), also looks at the clock.
  if (g_work_left > 0 && (steps > 1 || (++g_charges & 255) == 0) && RecentSeconds() - g_started > kTimeLimitSeconds) {
    g_work_left = 0;
  }
  return g_work_left > 0;
}

bool WorkExhausted() {
  if (g_work_left > 0 && RecentSeconds() - g_started > kTimeLimitSeconds) g_work_left = 0;
  return g_work_left <= 0;
}

slong SolverConstantBits() { return TargetBits() + 4 * kGuardBits + 16; }

slong MagnitudeBits(double v) {
  double m = std::fabs(v);
  if (!(m < 1e300)) return 1100;
  return static_cast<slong>(std::ceil(std::log2(1.0 + m)));
}

bool RoundUnique(mpfr_ptr out, arb_srcptr x) {
  if (!arb_is_finite(x)) return false;
  if (mag_is_zero(arb_radref(x))) {
    arf_get_mpfr(out, arb_midref(x), MPFR_RNDN);
    return true;
  }
  // The end points, rounded outward (the enclosure only widens) at the
  // precision of the ball itself: a value within a hair of a rounding
  // boundary must be decided as soon as the ball is narrow enough.
  slong bits = std::max(arb_bits(x), static_cast<slong>(mpfr_get_prec(out))) + 32;
  arf_t lo, hi;
  arf_init(lo);
  arf_init(hi);
  arb_get_lbound_arf(lo, x, bits);
  arb_get_ubound_arf(hi, x, bits);
  MPFR_DECL_INIT(other, mpfr_get_prec(out));
  arf_get_mpfr(out, lo, MPFR_RNDN);
  arf_get_mpfr(other, hi, MPFR_RNDN);
  bool same = mpfr_equal_p(out, other) && (mpfr_signbit(out) == mpfr_signbit(other));
  arf_clear(lo);
  arf_clear(hi);
  if (same) return true;
  // A ball far narrower than an ulp that still straddles a rounding boundary
  // holds a value on the boundary itself, as exact results can (the square
  // of a float with one bit more than half the precision): round that tie to
  // even.
  const mpfr_prec_t prec = mpfr_get_prec(out);
  if (arb_rel_accuracy_bits(x) < 3 * static_cast<slong>(prec) + 128) return false;
  MPFR_DECL_INIT(next, prec);
  mpfr_set(next, out, MPFR_RNDN);
  mpfr_nextabove(next);
  if (!mpfr_equal_p(next, other)) return false;
  MPFR_DECL_INIT(tie, prec + 2);
  mpfr_add(tie, out, other, MPFR_RNDN);  // exact
  mpfr_div_2ui(tie, tie, 1, MPFR_RNDN);
  mpfr_set(out, tie, MPFR_RNDN);
  return true;
}

bool CorrectlyRounded(QuarnFloat* out, const BallFunction& eval, slong extra_bits) {
  const slong bits = TargetBits();
  // Beyond this the value is out of the method's reach (a value exactly on
  // a rounding boundary is decided well before, see RoundUnique).
  const slong cap = 16 * bits + 4096 + 4 * extra_bits;
  slong prec = bits + kFirstGuardBits + extra_bits;
  Ball r;
  bool unique = false;
  int retries = 0;
  *out = floats::Compute([&](mpfr_ptr z) {
    for (;;) {
      host::CheckInterrupt();  // a pass at high precision can take seconds
      if (!ChargeWork(prec)) break;
      eval(r, prec);
      if (RoundUnique(z, r)) {
        unique = true;
        return;
      }
      if (prec >= cap) break;
      // Raise by the bits the ball lost and a doubling guard: a pass that
      // lost a few bits more than its guard (Arb's incomplete beta at a
      // decimal parameter) is then repeated only a little above. From the
      // second retry on, by at least half as much again, so that a value
      // close to a rounding boundary is reached in few passes.
      slong acc = arb_is_finite(r) ? arb_rel_accuracy_bits(r) : -prec;
      slong lost = prec - (acc > -prec ? acc : -prec);
      slong step = lost + 2 * kGuardBits;
      if (retries++ > 0 && step < prec / 2) step = prec / 2;
      prec += step;
      if (prec > cap) prec = cap;
    }
    if (arb_is_finite(r)) {
      arf_get_mpfr(z, arb_midref(r.get()), MPFR_RNDN);
    } else {
      mpfr_set_nan(z);
    }
  });
  return unique;
}

void OneMinusExact(arb_ptr res, arb_srcptr x) {
  arb_sub_si(res, x, 1, ARF_PREC_EXACT);
  arb_neg(res, res);
}

void ReportPrecision(NagError* fail, const char* routine) {
  const std::string digits = std::to_string(host::WorkingDigits());
  if (WorkExhausted()) {
    Fail(fail, NE_TOO_MANY_ITER,
         std::string(routine) + " could not determine its result to the working precision (Digits = " + digits +
             ") within its work limit.");
    return;
  }
  Fail(fail, NE_TOO_MANY_ITER,
       std::string(routine) + " could not determine its result to the working precision (Digits = " + digits + ").");
}

QuarnFloat Evaluate(NagError* fail, const char* routine, const BallFunction& eval, slong extra_bits) {
  QuarnFloat v;
  return Finish(fail, routine, CorrectlyRounded(&v, eval, extra_bits), v);
}

QuarnFloat Finish(NagError* fail, const char* routine, bool ok, const QuarnFloat& value) {
  if (ok) {
    Succeed(fail);
  } else {
    ReportPrecision(fail, routine);
  }
  return value;
}

QuarnFloat Exact(NagError* fail, double c) {
  Succeed(fail);
  return QuarnFloat(c);
}

// ------------------------------------------------------------------ errors

void Succeed(NagError* fail) {
  if (fail == nullptr) return;
  fail->code = NE_NOERROR;
  fail->message[0] = '\0';
}

void Fail(NagError* fail, int code, const std::string& message) {
  if (fail == nullptr) return;
  fail->code = code;
  std::snprintf(fail->message, sizeof fail->message, "%s", message.c_str());
}

namespace {

struct BoundInfo {
  const char* text;
  int code_low;   // code when x is below the allowed range
  int code_high;  // code when x is above it
};

BoundInfo Describe(Bound bound) {
  switch (bound) {
    case Bound::kAny: break;
    case Bound::kPositive: return {"positive", NE_REAL_ARG_LE, NE_REAL_ARG_LE};
    case Bound::kNonNegative: return {"non-negative", NE_REAL_ARG_LT, NE_REAL_ARG_LT};
    case Bound::kShape: return {"positive", NE_REAL_ARG_LE, NE_REAL_ARG_GT};
    case Bound::kNonNegativeShape: return {"non-negative", NE_REAL_ARG_LT, NE_REAL_ARG_GT};
    case Bound::kAtMostMillion: return {"positive and at most 1e6", NE_REAL_ARG_LE, NE_REAL_ARG_GT};
    case Bound::kUnitClosed: return {"in [0, 1]", NE_REAL_ARG_LT, NE_REAL_ARG_GT};
    case Bound::kUnitOpen: return {"in (0, 1)", NE_REAL_ARG_LE, NE_REAL_ARG_GE};
    case Bound::kUnitHalfOpen: return {"in [0, 1)", NE_REAL_ARG_LT, NE_REAL_ARG_GE};
    case Bound::kUnitHalfOpenBelow: return {"in (0, 1]", NE_REAL_ARG_LE, NE_REAL_ARG_GT};
  }
  return {"valid", NE_BAD_PARAM, NE_BAD_PARAM};
}

// -1 below the range, 1 above it, 0 inside.
int Position(const QuarnFloat& x, Bound bound, double shape_max) {
  switch (bound) {
    case Bound::kAny: return 0;
    case Bound::kPositive: return x > 0 ? 0 : -1;
    case Bound::kNonNegative: return x >= 0 ? 0 : -1;
    case Bound::kShape: return x <= 0 ? -1 : (x < kShapeMin ? -2 : (x > shape_max ? 1 : 0));
    case Bound::kNonNegativeShape: return x < 0 ? -1 : (x > shape_max ? 1 : 0);
    case Bound::kAtMostMillion: return x <= 0 ? -1 : (x < kShapeMin ? -2 : (x > 1000000 ? 1 : 0));
    case Bound::kUnitClosed: return x < 0 ? -1 : (x > 1 ? 1 : 0);
    case Bound::kUnitOpen: return x <= 0 ? -1 : (x >= 1 ? 1 : 0);
    case Bound::kUnitHalfOpen: return x < 0 ? -1 : (x >= 1 ? 1 : 0);
    case Bound::kUnitHalfOpenBelow: return x <= 0 ? -1 : (x > 1 ? 1 : 0);
  }
  return 0;
}

bool CheckArg(NagError* fail, const Arg& arg) {
  int where = Position(arg.value, arg.bound, arg.shape_max);
  if (where == 0) return true;
  BoundInfo info = Describe(arg.bound);
  // Shapes beyond the double range: the end of the range they passed.
  if (where == -2) info = {"at least 1e-300", NE_REAL_ARG_LT, NE_REAL_ARG_LT};
  char at_most[32];
  std::snprintf(at_most, sizeof at_most, "at most %g", arg.shape_max);
  std::string text = at_most;
  if (text.find("e+") != std::string::npos) text.erase(text.find("e+") + 1, 1);  // 1e300, not 1e+300
  std::snprintf(at_most, sizeof at_most, "%s", text.c_str());
  if (where == 1 && (arg.bound == Bound::kShape || arg.bound == Bound::kNonNegativeShape)) info = {at_most, NE_REAL_ARG_GT, NE_REAL_ARG_GT};
  // The host prints floats with a trailing point ("-1."); end the sentence
  // without doubling it.
  std::string value = host::Print(arg.value.Handle());
  if (value.empty() || value.back() != '.') value += '.';
  Fail(fail, where < 0 ? info.code_low : info.code_high,
       std::string(arg.name) + " must be " + info.text + ", received " + arg.name + " = " + value);
  return false;
}

bool CheckTail(NagError* fail, Tails tails, Nag_TailProbability tail) {
  if (tails == Tails::kNone) return true;
  bool two_tails_allowed = tails == Tails::kAll;
  bool ok = tail == Nag_LowerTail || tail == Nag_UpperTail ||
            (two_tails_allowed && (tail == Nag_TwoTailSignif || tail == Nag_TwoTailConfid));
  if (ok) return true;
  Fail(fail, NE_BAD_PARAM,
       std::string("tail must be ") +
           (two_tails_allowed ? "Nag_LowerTail, Nag_UpperTail, Nag_TwoTailSignif or Nag_TwoTailConfid"
                              : "Nag_LowerTail or Nag_UpperTail") +
           ", received tail = " + std::to_string(static_cast<int>(tail)) + ".");
  return false;
}

}  // namespace

std::optional<QuarnFloat> Screen(NagError* fail, Tails tails, Nag_TailProbability tail,
                                 std::initializer_list<Arg> args) {
  ResetWork();
  if (!CheckTail(fail, tails, tail)) return QuarnFloat(0.0);
  for (const Arg& arg : args) {
    if (IsQuarnFloatUndefined(arg.value)) {
      Succeed(fail);
      return Undefined();
    }
  }
  for (const Arg& arg : args) {
    if (!CheckArg(fail, arg)) return QuarnFloat(0.0);
  }
  return std::nullopt;
}

void SetSymmetricTarget(SymmetricTarget* target, Nag_TailProbability tail, const QuarnFloat& p) {
  Ball pb(p);
  switch (tail) {
    case Nag_LowerTail:
    case Nag_UpperTail: {
      // |x| has P(|X| > |x|) = 2 min(p, 1 - p); x < 0 for a lower tail
      // below 1/2 and an upper tail above it.
      target->zero = p == 0.5;
      bool below_half = p < 0.5;
      below_half ? arb_set(target->outer, pb) : OneMinusExact(target->outer, pb);
      arb_mul_2exp_si(target->outer, target->outer, 1);
      target->sign = (below_half == (tail == Nag_LowerTail)) ? -1 : 1;
      OneMinusExact(target->inner, target->outer);
      break;
    }
    case Nag_TwoTailSignif:
      arb_set(target->outer, pb);
      OneMinusExact(target->inner, pb);
      break;
    default:
      arb_set(target->inner, pb);
      OneMinusExact(target->outer, pb);
      break;
  }
}

QuarnFloat Undefined() {
  return floats::Compute([](mpfr_ptr z) { mpfr_set_nan(z); });
}

}  // namespace quarn::numerics
