// Ziggurat generators of the standard normal and the standard exponential
// distributions (Marsaglia and Tsang 2000) at the working precision.
//
// The area under the density is covered by 256 layers of equal area v: layer
// 0 is the base strip with the tail beyond r, layer 1 the cap at the top, and
// layer i (2..255) the rectangle [0, x_i] x [f(x_i), f(x_{i-1})]. A draw
// takes one random 32-bit integer j, selects the layer i = j & 255 and the
// point x = j w[i] with w[i] = x_i / 2^31; |j| < k[i] = 2^31 x_{i-1} / x_i
// means x lies under the next layer up, inside the density, and is accepted
// at once. That holds for about 99% of draws; only the rest pay for a
// uniform, an exponential and a comparison (wedges, cap) or for the tail.
//
// The tables are multiprecision: widths and heights are MPFR numbers at the
// precision of the Digits they were built at, so x = j w[i] carries the full
// working precision. They are rebuilt when Digits grows and reused at a lower
// Digits. The fast path computes into MPFR scratch values kept here and makes
// one float object per variate.
#include <cstdlib>

#include "stats/distributions/internal.h"
#include "stats/frame/frame.h"

namespace quarnstats::dist {

namespace {

constexpr int kLayers = 256;
constexpr double kTwo31 = 2147483648.0;

// The density (up to its constant) and its inverse, on floats for building
// the tables and on MPFR numbers for drawing.
struct Shape {
  double start;  // r: where the tail begins
  double area;   // v: the area of each layer
  QuarnFloat (*density)(const QuarnFloat& x);
  QuarnFloat (*inverse)(const QuarnFloat& y);
  void (*density_mpfr)(mpfr_ptr out, mpfr_srcptr x);
  // Symmetric about 0: the sign of the random integer is the sign of the
  // variate. Otherwise its absolute value is used.
  bool symmetric;
  // A variate from the tail beyond start, into out; j gives the side.
  void (*tail)(mpfr_ptr out, long j);
};

// exp(-x^2/2), written (c x) x with c = -0.5.
QuarnFloat NormalDensity(const QuarnFloat& x) { return exp((-0.5 * x) * x); }
QuarnFloat NormalInverse(const QuarnFloat& y) { return sqrt(-2.0 * log(y)); }
void NormalDensityMpfr(mpfr_ptr out, mpfr_srcptr x) {
  mpfr_mul_d(out, x, -0.5, MPFR_RNDN);
  mpfr_mul(out, out, x, MPFR_RNDN);
  mpfr_exp(out, out, MPFR_RNDN);
}
QuarnFloat ExponentialDensity(const QuarnFloat& x) { return exp(-x); }
QuarnFloat ExponentialInverse(const QuarnFloat& y) { return -log(y); }
void ExponentialDensityMpfr(mpfr_ptr out, mpfr_srcptr x) {
  mpfr_neg(out, x, MPFR_RNDN);
  mpfr_exp(out, out, MPFR_RNDN);
}

// The normal tail beyond r (Marsaglia 1964): xt = E1 / r, accepted when
// 2 E2 >= xt^2; on the side of j.
void NormalTail(mpfr_ptr out, long j);
// The exponential's tail beyond de is de plus an exponential.
void ExponentialTail(mpfr_ptr out, long j);

// r and v for 256 layers, as published (short decimals: the top of the cap,
// f[0], therefore comes out slightly above 1).
constexpr Shape kNormalShape{3.65415288, 0.00492868, NormalDensity, NormalInverse, NormalDensityMpfr, true,
                             NormalTail};
constexpr Shape kExponentialShape{7.69711747, 0.003949659823, ExponentialDensity, ExponentialInverse,
                                  ExponentialDensityMpfr, false, ExponentialTail};

void NormalTail(mpfr_ptr out, long j) {
  const double r = kNormalShape.start;
  QuarnFloat xt, yt;
  do {
    xt = -log(UniformFloat()) / r;
    yt = -log(UniformFloat());
  } while (yt + yt < xt * xt);
  QuarnFloat tail = j > 0 ? r + xt : -r - xt;
  mpfr_set(out, tail.Mpfr(), MPFR_RNDN);
}

void ExponentialTail(mpfr_ptr out, long j) {
  QuarnFloat tail = kExponentialShape.start - log(UniformFloat());
  mpfr_set(out, tail.Mpfr(), MPFR_RNDN);
}

// The tables of one ziggurat and the scratch numbers its draws compute in.
// Invariant: after Prepare(), the tables were built at Digits >= the working
// Digits and the scratch numbers have the working binary precision.
class Ziggurat {
 public:
  explicit Ziggurat(const Shape& shape) : shape_(shape) {}
  ~Ziggurat() {
    if (!initialised_) return;
    for (int i = 0; i < kLayers; ++i) mpfr_clears(w_[i], f_[i], nullptr);
    mpfr_clears(x_, y_, e_, nullptr);
  }
  Ziggurat(const Ziggurat&) = delete;
  Ziggurat& operator=(const Ziggurat&) = delete;

  // One variate at the working precision, into a scratch number that the
  // next draw overwrites. One random integer j picks the layer i = j & 255
  // and x = j w[i] (|j| for an asymmetric shape); |j| < k[i] accepts x at
  // once, the rest goes to the wedge, the cap or the tail.
  mpfr_ptr Draw() {
    Prepare();
    for (;;) {
      long j = RandomInt32();
      int i = static_cast<int>(j & (kLayers - 1));
      mpfr_mul_si(x_, w_[i], shape_.symmetric ? j : std::labs(j), MPFR_RNDN);
      bool inside = std::labs(j) < k_[i];
      if (i >= 2) {
        if (inside || UnderWedge(i)) return x_;
      } else if (i == 1) {
        if (UnderCap(shape_.symmetric && j <= 0)) return x_;
      } else if (inside) {
        return x_;
      } else {
        shape_.tail(x_, j);
        return x_;
      }
    }
  }

  long BuiltDigits() const { return built_digits_; }

 private:
  void Prepare() {
    if (QuarnDigits() > built_digits_) Build();
    mpfr_prec_t bits = mpfr_get_prec(QuarnFloat().Mpfr());
    if (mpfr_get_prec(x_) != bits) {
      mpfr_set_prec(x_, bits);
      mpfr_set_prec(y_, bits);
      mpfr_set_prec(e_, bits);
    }
  }

  // Layers 2..255, outside the next layer up: x is accepted when a point
  // uniform in height between f[i] and f[i-1] lies under the density.
  bool UnderWedge(int i) {
    QuarnFloat u = UniformFloat();
    mpfr_sub(y_, f_[i - 1], f_[i], MPFR_RNDN);
    mpfr_mul(y_, u.Mpfr(), y_, MPFR_RNDN);
    mpfr_add(y_, f_[i], y_, MPFR_RNDN);
    shape_.density_mpfr(e_, x_);
    return mpfr_less_p(y_, e_);
  }

  // The cap (layer 1): a point uniform in [0, x_1] x [f[1], f[0]], accepted
  // under the density; negative tells the sign of the result.
  bool UnderCap(bool negative) {
    QuarnFloat u = UniformFloat();
    mpfr_sub(y_, f_[0], f_[1], MPFR_RNDN);
    mpfr_mul(y_, u.Mpfr(), y_, MPFR_RNDN);
    mpfr_add(y_, f_[1], y_, MPFR_RNDN);
    if (mpfr_cmp_ui(y_, 1) > 0) return false;
    QuarnFloat u2 = UniformFloat();
    mpfr_mul_d(x_, w_[1], kTwo31, MPFR_RNDN);
    mpfr_mul(x_, x_, u2.Mpfr(), MPFR_RNDN);
    if (negative) mpfr_neg(x_, x_, MPFR_RNDN);
    shape_.density_mpfr(e_, x_);
    return mpfr_less_p(y_, e_);
  }

  // The tables at the working precision. From x_255 = r down to x_1, each
  // edge is the one that gives the layer above it the area v:
  // x_{i-1} = f^-1(v / x_i + f(x_i)). The base strip is widened to
  // q = v / f(r) so that it, too, has area v with the tail included.
  void Build() {
    const QuarnFloat v(shape_.area), m(kTwo31);
    QuarnFloat x(shape_.start);
    QuarnFloat t = x;
    QuarnFloat q = v / shape_.density(x);
    QuarnFloat w[kLayers], f[kLayers];
    k_[0] = FloatToInt(floor((x / q) * m));
    k_[1] = 0;
    w[0] = q / m;
    w[kLayers - 1] = x / m;
    f[kLayers - 1] = shape_.density(x);
    for (int i = kLayers - 2; i >= 1; --i) {
      x = shape_.inverse(v / x + shape_.density(x));
      k_[i + 1] = FloatToInt((x / t) * m);
      t = x;
      f[i] = shape_.density(x);
      w[i] = x / m;
    }
    QuarnFloat x1 = w[1] * m;
    f[0] = shape_.density(x1) + v / x1;

    if (!initialised_) {
      for (int i = 0; i < kLayers; ++i) mpfr_inits2(MPFR_PREC_MIN, w_[i], f_[i], nullptr);
      mpfr_inits2(MPFR_PREC_MIN, x_, y_, e_, nullptr);
      initialised_ = true;
    }
    for (int i = 0; i < kLayers; ++i) {
      Store(w_[i], w[i]);
      Store(f_[i], f[i]);
    }
    built_digits_ = QuarnDigits();
  }

  static void Store(mpfr_ptr slot, const QuarnFloat& value) {
    mpfr_set_prec(slot, mpfr_get_prec(value.Mpfr()));
    mpfr_set(slot, value.Mpfr(), MPFR_RNDN);
  }

  const Shape& shape_;
  bool initialised_ = false;
  long built_digits_ = 0;
  long k_[kLayers] = {};
  mpfr_t w_[kLayers];
  mpfr_t f_[kLayers];
  mpfr_t x_, y_, e_;  // the result and two temporaries of a draw
};

Ziggurat g_normal(kNormalShape);
Ziggurat g_exponential(kExponentialShape);

}  // namespace

QuarnFloat StandardNormal() { return QuarnFloat::FromMpfr(g_normal.Draw()); }

QuarnFloat ScaledNormal(const QuarnFloat& mu, const QuarnFloat& sigma) {
  mpfr_ptr z = g_normal.Draw();
  mpfr_mul(z, sigma.Mpfr(), z, MPFR_RNDN);
  mpfr_add(z, mu.Mpfr(), z, MPFR_RNDN);
  return QuarnFloat::FromMpfr(z);
}

QuarnFloat ScaledExponential(const QuarnFloat& b) {
  mpfr_ptr e = g_exponential.Draw();
  mpfr_mul(e, b.Mpfr(), e, MPFR_RNDN);
  return QuarnFloat::FromMpfr(e);
}

long NormalTablesDigits() { return g_normal.BuiltDigits(); }
long ExponentialTablesDigits() { return g_exponential.BuiltDigits(); }

}  // namespace quarnstats::dist
