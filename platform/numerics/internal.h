// Helpers shared by the numerical routines: Arb balls, correctly rounded
// evaluation (Ziv's strategy), the incomplete gamma and beta functions on
// balls, the deviate solver, and argument checks reported through NagError.
#ifndef QUARN_PLATFORM_NUMERICS_INTERNAL_H
#define QUARN_PLATFORM_NUMERICS_INTERNAL_H

#include <arb.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "platform/float/quarnfloat.h"
#include "platform/host/function_ref.h"
#include "platform/numerics/mp_errors.h"
#include "platform/numerics/nag.h"

namespace quarn::numerics {

// ------------------------------------------------------------- work limit

// Every routine call may do a bounded amount of work, so that it finishes
// in bounded time whatever its arguments. Work is counted in limb-steps: one
// term of a series, or one iteration of a solver, at the precision it runs
// at in 64-bit limbs. The methods charge what they do and stop at their next
// check once the limit is spent; the routine then fails with
// ReportPrecision's work-limit message. The limit is reset by Screen, which
// every distribution routine calls first.
//
// kWorkLimit limb-steps take some seconds on a current machine (a series
// term at one limb takes about 0.1 us, at 50 limbs, Digits 1000, some 2 us).
// Some of Arb's functions cost far more than their charge at a high
// precision with large parameters (2 s for one incomplete beta function
// with shapes of 10^6 at Digits 1000), so the limit is spent as well once
// the call has taken kTimeLimitSeconds of CPU time: the one bound that
// depends on the machine, far above what any call in the tests needs.
constexpr long kWorkLimit = 30000000;
constexpr double kTimeLimitSeconds = 15.0;

void ResetWork();
// Charges steps at prec bits; returns false once the limit is spent.
bool ChargeWork(slong prec, long steps = 1);
bool WorkExhausted();

// ------------------------------------------------------------------ balls

// An arb_t with a constructor and destructor.
class Ball {
 public:
  Ball() { arb_init(v_); }
  explicit Ball(const QuarnFloat& x) {  // exact
    arb_init(v_);
    arf_set_mpfr(arb_midref(v_), x.Mpfr());
  }
  ~Ball() { arb_clear(v_); }
  Ball(const Ball&) = delete;
  Ball& operator=(const Ball&) = delete;
  operator arb_ptr() { return v_; }              // NOLINT: used as arb_t
  operator arb_srcptr() const { return v_; }     // NOLINT: used as arb_t
  arb_ptr get() { return v_; }

 private:
  arb_t v_;
};

// n balls with a constructor and destructor.
class BallVector {
 public:
  explicit BallVector(slong n) : n_(n), v_(_arb_vec_init(n)) {}
  ~BallVector() { _arb_vec_clear(v_, n_); }
  BallVector(const BallVector&) = delete;
  BallVector& operator=(const BallVector&) = delete;
  arb_ptr operator[](slong i) { return v_ + i; }
  arb_srcptr operator[](slong i) const { return v_ + i; }
  slong size() const { return n_; }

 private:
  slong n_;
  arb_ptr v_;
};

// A constant of one problem (log B(a, b), log Gamma(a)) that an iteration
// needs at varying precisions: computed when a precision above every earlier
// one is asked for, and reused below it (a ball at a higher precision serves
// any lower one). A solver that asks at a low precision first and at the
// working precision later gives the latter as `floor`, so that the constant
// is computed once, at the higher (SolverConstantBits()).
class CachedConstant {
 public:
  explicit CachedConstant(std::function<void(arb_ptr, slong)> eval, slong floor = 0)
      : eval_(std::move(eval)), floor_(floor) {}
  arb_srcptr At(slong prec) {
    if (prec > prec_) {
      prec_ = std::max(prec, floor_);
      eval_(value_, prec_);
    }
    return value_;
  }

 private:
  std::function<void(arb_ptr, slong)> eval_;
  Ball value_;
  slong floor_;
  slong prec_ = 0;
};

// The binary precision of the result: that of the working Digits.
slong TargetBits();

// The floor for a deviate solver's constants: above what its last step asks
// for at the working precision (guard bits, the integer bits of w, margins):
// 35 to 41 bits above the target for the density on the benchmark's rows,
// up to 69 (at Digits 50 and 100) for a beta tail's prefactor. A problem that
// asks for more (large shapes, a far tail) computes its constant again there.
slong SolverConstantBits();

// Bits beyond the target that the deviate solver carries, and by which the
// rounding loop raises the precision of a pass that failed (twice over, with
// the bits the pass lost).
constexpr slong kGuardBits = 24;

// Bits beyond the target (and the caller's extra bits) of the rounding loop's
// first pass. Arb's functions lose only a few bits at an exact argument, so
// the first pass rarely fails, and fewer bits keep it on Arb's faster paths
// at low precision (one or two limbs).
constexpr slong kFirstGuardBits = 12;

// Writes the float at out's precision (round to nearest) that every point of
// the ball rounds to, and returns true; returns false when the ball straddles
// a rounding boundary or is not finite. A ball more than 3 times the target
// precision (plus 128 bits) narrower than an ulp that straddles a boundary is
// taken to hold the boundary value itself, which is rounded to even.
bool RoundUnique(mpfr_ptr out, arb_srcptr x);

// Evaluates a real function to a ball at a precision, given as
// eval(result, prec).
using BallFunction = FunctionRef<void(arb_ptr, slong)>;

// The value of eval correctly rounded to the working precision (Ziv):
// evaluates at TargetBits() + kFirstGuardBits + extra_bits, and raises the
// precision by the bits the ball lost and 2 kGuardBits (from the second
// retry on, at least by half)
// until the ball rounds to one float. extra_bits are the bits the caller
// knows eval to lose (a condition number); arguments that eval computes
// should carry the bits their own condition costs, so that only the final
// function's few bits are lost. Returns false, leaving *out at the rounded
// midpoint, when no precision up to a fixed cap decides the rounding (a
// value that is not finite, or one that sits on a rounding boundary).
bool CorrectlyRounded(QuarnFloat* out, const BallFunction& eval, slong extra_bits = 0);

// Bits needed to carry |v| in an exponent-like sum to absolute accuracy:
// about log2(1 + |v|).
slong MagnitudeBits(double v);

// ------------------------------------------------------- special functions

// Regularized incomplete gamma P(a, z) (upper false) or Q(a, z) (upper true)
// for a > 0, z >= 0. Each tail is computed directly where it is small, so
// both have relative accuracy: Arb's upper function, or below the mean a
// series of positive terms for the lower function (Arb's lower function
// loses all accuracy for large a; at high precision and moderate a it is
// used, when its ball is narrow).
void GammaTail(arb_ptr res, arb_srcptr a, arb_srcptr z, bool upper, slong prec);

// erfc(y) at an exact y of at most 53 bits in [2, 40] for prec <= 90, by a
// continued fraction in double-double arithmetic with a proven error bound.
// Returns false, leaving res alone, outside that range (use Arb's erfc).
bool ErfcFraction(arb_ptr res, arb_srcptr y, slong prec);

// Regularized incomplete beta I_x(a, b) (upper false) or
// 1 - I_x(a, b) = I_y(b, a) (upper true), for a, b > 0 and x in [0, 1], where
// y = 1 - x is passed separately so that neither end loses accuracy. Arb's
// function, or a hypergeometric series of positive terms where Arb fails.
// A caller that keeps log B(a, b) (a deviate solver, for the density) passes
// it as log_beta: Arb's hypergeometric function is then divided by it, in
// place of the gamma functions of Arb's regularised function.
void BetaTail(arb_ptr res, arb_srcptr a, arb_srcptr b, arb_srcptr x, arb_srcptr y, bool upper, slong prec,
              CachedConstant* log_beta = nullptr);

// 1 - c for a ball c in [0, 1], at prec; and the bits that forming it loses
// (all of prec when the result's ball contains 0).
void Complement(arb_ptr res, arb_srcptr c, slong prec);
double ComplementLoss(arb_srcptr c, slong prec);

// The series variants, exposed for tests that compare methods.
// P(a, z) by z^a e^-z / Gamma(a+1) * sum z^k / (a+1)_k; needs z < a + 1 to
// converge fast (correct for any z >= 0).
void GammaLowerSeries(arb_ptr res, arb_srcptr a, arb_srcptr z, slong prec);
// I_x(a, b) by x^a y^b / (a B(a, b)) * sum (a+b)_k / (a+1)_k x^k. Leaves a
// non-finite ball when it would take more than a few million terms.
void BetaLowerSeries(arb_ptr res, arb_srcptr a, arb_srcptr b, arb_srcptr x, arb_srcptr y, slong prec);

// s log z - z - log Gamma(s + 1), the log of the Poisson-type term
// z^s e^-z / Gamma(s + 1), to absolute accuracy about 2^-prec (the caller
// adds the bits the size of the summands costs).
void LogPoissonTerm(arb_ptr res, arb_srcptr s, arb_srcptr z, slong prec);

// log Gamma(a) + log Gamma(b) - log Gamma(a + b).
void LogBeta(arb_ptr res, arb_srcptr a, arb_srcptr b, slong prec);

// r += (e - shift) log x: a power's term in a log density.
void AddLogPower(arb_ptr r, arb_srcptr x, arb_srcptr e, slong shift, slong prec);

// ---------------------------------------------------------------- deviates

// The log of a tail in double precision and an estimate of its error (about
// the tail's relative error).
struct LogTail {
  double value = 0.0;
  double error = 0.0;
};

// The lower tail I_x(a, b) at x = 1 / (1 + e^-w), the log density of w
// (a log x + b log(1 - x) - log B(a, b)) and its slope in w, in double
// precision; false where the method declines (see double_tails.cpp).
bool BetaLogitDouble(double a, double b, double w, LogTail* tail, double* log_density, double* slope);
// P(a, z) (Q(a, z) when upper) at z = e^w, the log density of w
// (a w - e^w - log Gamma(a)) and its slope, in double precision.
bool GammaLogDouble(double a, double w, bool upper, LogTail* tail, double* log_density, double* slope);

// A function of w to a ball at prec, as the solver below calls it.
using PointFunction = FunctionRef<void(arb_ptr, arb_srcptr w, slong prec)>;

// A continuous distribution seen through a variable w in which its density
// is log-concave on the whole real line (log y for gamma, logit x for beta),
// so that Newton's method on the log of a tail converges from any start.
// The functions are references: the callables must outlive the problem
// (named lambdas of the scope that solves it).
struct TailProblem {
  // The tail at w (increasing in w when direction > 0), to a ball.
  PointFunction tail;
  // The log of the density of w at w.
  PointFunction log_density;
  // Its derivative in w (for Halley's steps and the second-order enclosure).
  PointFunction log_density_slope;
  // The deviate the caller returns, as a function of w.
  PointFunction result;
  int direction = 1;
  // The target tail probability (exact, positive) and a starting w.
  arb_srcptr target = nullptr;
  double start = 0.0;
  // Optional: the tail, the log density and its slope at w in double
  // precision, for the first phase (false where it declines; the first phase
  // then evaluates the functions above at 64 bits).
  std::optional<FunctionRef<bool(double w, LogTail* tail, double* log_density, double* slope)>> double_point;
};

// Solves tail(w) = target and returns result(w) correctly rounded to the
// working precision. Halley steps on log tail at low precision from the
// start, then Halley steps at tripling precision up to a third of the
// precision, then one second-order interval step whose enclosure of the
// root must round to a single float (repeated, raising the precision, until
// it does). Returns false when that does not happen.
bool SolveTail(QuarnFloat* out, const TailProblem& problem);

// Standard normal quantile at the lower tail probability q (0 < q < 1, exact
// ball, may be far below the double range), in double precision.
double NormalQuantileStart(arb_srcptr q);

// log(q) in double precision for a positive ball (finite even when q is far
// below the double range).
double LogDouble(arb_srcptr q);

// Starting values in w for the two families, from double-precision
// approximations (small-tail power laws, Wilson-Hilferty, a skew-corrected
// normal on the logit scale).
double GammaStart(double a, arb_srcptr q, bool upper);
double BetaLogitStart(double a, double b, arb_srcptr q);

// Solves the lower tail of Beta(a, b) at w = logit x equal to q, returning
// result(w) rounded; the beta, F and t deviates all reduce to this. The
// start is BetaLogitStart's unless the caller gives a finite one.
bool SolveBetaLogit(QuarnFloat* out, arb_srcptr a, arb_srcptr b, arb_srcptr q, PointFunction result,
                    double start = std::numeric_limits<double>::quiet_NaN());

// ------------------------------------------------------------ Durbin-Watson

// P(sum a_j u_j^2 <= 0) for u_j iid N(0, 1) and the m balls a (nonzero, of
// both signs), by Imhof's integral at prec, a ball of about prec bits of
// absolute accuracy.
void ImhofProbability(arb_ptr out, const BallVector& a, slong m, slong prec);

// ------------------------------------------------------------------ errors

// Marks success.
void Succeed(NagError* fail);
// Records a failure with a code and a message.
void Fail(NagError* fail, int code, const std::string& message);

// The range a float argument must lie in (kAny: only checked for being
// undefined).
// kShape is the range of shapes and degrees of freedom: positive, and
// between kShapeMin and kShapeMax, where the methods' double-precision
// estimates hold; kAtMostMillion is positive, at least kShapeMin and at
// most 1e6.
enum class Bound {
  kAny,
  kPositive,
  kNonNegative,
  kShape,
  kNonNegativeShape,  // [0, shape_max]: a non-central law's degrees of freedom
  kAtMostMillion,
  kUnitClosed,
  kUnitOpen,
  kUnitHalfOpen,      // [0, 1)
  kUnitHalfOpenBelow  // (0, 1]
};
constexpr double kShapeMin = 1e-300;
constexpr double kShapeMax = 1e300;
// Gamma shapes: next to the mean of a larger one no method here (nor Arb's
// upper function) gives a result in reasonable time.
constexpr double kGammaShapeMax = 1e18;

// A float argument, its name in messages, and its range (for kShape, with
// an upper end of its own where the methods reach less far).
struct Arg {
  const char* name;
  const QuarnFloat& value;
  Bound bound;
  double shape_max = kShapeMax;
};

// The tails a routine accepts.
enum class Tails { kNone, kLowerUpper, kAll };

// The checks every routine starts with, in order: the tail ("tail must be
// ..."), undefined inputs (the result is NaN, with success), then each
// argument's range ("<name> must be <range>, received <name> = <value>.",
// with a code for the side it fell out on; the result is 0). Returns that
// early result, or nothing when the routine should go on.
std::optional<QuarnFloat> Screen(NagError* fail, Tails tails, Nag_TailProbability tail,
                                 std::initializer_list<Arg> args);

// A deviate of a symmetric distribution (normal, t) as a two-sided problem:
// outer = P(|X| > |x|) and inner = P(|X| <= |x|), both exact, and the sign of
// x. zero is set when the deviate is 0 (a lower or upper tail of 1/2).
struct SymmetricTarget {
  Ball outer, inner;
  int sign = 1;
  bool zero = false;
};
void SetSymmetricTarget(SymmetricTarget* target, Nag_TailProbability tail, const QuarnFloat& p);

// NaN (the undefined float) at the working precision.
QuarnFloat Undefined();

// Records that a routine could not decide the rounding of its result.
void ReportPrecision(NagError* fail, const char* routine);

// A routine's correctly rounded value of eval: marks success, or reports
// the failure to decide the rounding.
QuarnFloat Evaluate(NagError* fail, const char* routine, const BallFunction& eval, slong extra_bits = 0);

// A routine's result from a solver that reported ok or not.
QuarnFloat Finish(NagError* fail, const char* routine, bool ok, const QuarnFloat& value);

// The exact constant c (0, 1/2, 1) at the working precision, marking
// success.
QuarnFloat Exact(NagError* fail, double c);

// 1 - x for an exact ball x, exact.
void OneMinusExact(arb_ptr res, arb_srcptr x);

}  // namespace quarn::numerics

#endif
