// Builtins on numbers and collections of numbers:
//   floor ceil round trunc frac abs    exact on integers and rationals, on
//                                      floats at their precision; calls of
//                                      anything else stay unevaluated
//   iquo(a, b), irem(a, b)            quotient toward zero, remainder with a's sign
//   max, min                          over values, lists and rtables
//   sort(L), sort(L, `>`), sort(L, f)  a list (or one-dimensional rtable) in order
//   numelems(x)                       elements of an rtable, list or table
//   rand(a..b)                        an integer uniform on a..b from the host's source
//   time()                            CPU seconds used by the session
#include <gmp.h>
#include <mpfr.h>

#include <algorithm>
#include <ctime>

#include "shell/eval.h"

namespace quarn::shell {

namespace {

QKernel Kv() { return host::Kernel(); }

// An mpz_t for the length of a scope.
struct Mpz {
  Mpz() { mpz_init(v); }
  ~Mpz() { mpz_clear(v); }
  Mpz(const Mpz&) = delete;
  Mpz& operator=(const Mpz&) = delete;
  mpz_t v;
};

bool IsInteger(HostObject x) { return host::KindOf(x) == host::Kind::Integer; }

HostObject Unevaluated(const char* name, const std::vector<HostObject>& a) {
  return host::MakeFunction(host::Name(name), a);
}

enum class Rounding { Floor, Ceil, Trunc, Round };

// Rounding of an exact rational num/den to an integer.
HostObject RoundRational(HostObject x, Rounding mode) {
  Mpz num, den, q;
  host::IntegerToMpz(host::Slot(x, 1), num.v);
  host::IntegerToMpz(host::Slot(x, 2), den.v);
  switch (mode) {
    case Rounding::Floor: mpz_fdiv_q(q.v, num.v, den.v); break;
    case Rounding::Ceil: mpz_cdiv_q(q.v, num.v, den.v); break;
    case Rounding::Trunc: mpz_tdiv_q(q.v, num.v, den.v); break;
    case Rounding::Round:
      // Half away from zero: trunc((2 num + sign(num) den) / (2 den)).
      mpz_mul_2exp(num.v, num.v, 1);
      if (mpz_sgn(num.v) < 0) {
        mpz_sub(num.v, num.v, den.v);
      } else {
        mpz_add(num.v, num.v, den.v);
      }
      mpz_mul_2exp(den.v, den.v, 1);
      mpz_tdiv_q(q.v, num.v, den.v);
      break;
  }
  return host::MakeIntegerFromMpz(q.v);
}

HostObject RoundFloat(HostObject x, Rounding mode) {
  mpfr_ptr f = host::FloatMpfr(x);
  if (!mpfr_number_p(f)) return x;  // undefined and infinities stay as they are
  Mpz z;
  // A float of at least 10^digits has no fraction at the digits it carries:
  // it stands for the integer its decimal digits show (1.5e25 is
  // 15000000000000000000000000), not for its binary neighbour.
  const long digits = std::max(1L, host::FloatDigits(x));
  if (!mpfr_zero_p(f) && mpfr_get_exp(f) > static_cast<mpfr_exp_t>(digits * 3.33) + 1) {
    mpfr_exp_t e10;
    char* text = mpfr_get_str(nullptr, &e10, 10, static_cast<size_t>(digits), f, MPFR_RNDN);
    mpz_set_str(z.v, text, 10);
    mpfr_free_str(text);
    Mpz scale;
    mpz_ui_pow_ui(scale.v, 10, static_cast<unsigned long>(std::max<long>(0, static_cast<long>(e10) - digits)));
    mpz_mul(z.v, z.v, scale.v);
    return host::MakeIntegerFromMpz(z.v);
  }
  mpfr_t r;
  mpfr_init2(r, mpfr_get_prec(f));
  switch (mode) {
    case Rounding::Floor: mpfr_floor(r, f); break;
    case Rounding::Ceil: mpfr_ceil(r, f); break;
    case Rounding::Trunc: mpfr_trunc(r, f); break;
    case Rounding::Round: mpfr_round(r, f); break;  // half away from zero
  }
  mpfr_get_z(z.v, r, MPFR_RNDN);
  mpfr_clear(r);
  return host::MakeIntegerFromMpz(z.v);
}

// floor and friends of a real constant (Pi, sqrt(2)) through its value at
// 20 digits more than Digits; null when x has no numeric value.
HostObject NumericValue(HostObject x) {
  try {
    HostObject v = host::Evalf(x, host::WorkingDigits() + 20);
    if (host::KindOf(v) == host::Kind::Float) return v;
  } catch (const InterruptError&) {
    throw;
  } catch (const host::Error&) {
  }
  return nullptr;
}

HostObject Rounded(const std::vector<HostObject>& a, const char* name, Rounding mode) {
  if (a.size() != 1) RaiseArity(name, "1 argument", a);
  HostObject x = a[0];
  switch (host::KindOf(x)) {
    case host::Kind::Integer: return x;
    case host::Kind::Rational: return RoundRational(x, mode);
    case host::Kind::Float: return RoundFloat(x, mode);
    default:
      if (HostObject v = NumericValue(x)) return RoundFloat(v, mode);
      return Unevaluated(name, a);
  }
}

HostObject Floor(const std::vector<HostObject>& a) { return Rounded(a, "floor", Rounding::Floor); }
HostObject Ceil(const std::vector<HostObject>& a) { return Rounded(a, "ceil", Rounding::Ceil); }
HostObject Trunc(const std::vector<HostObject>& a) { return Rounded(a, "trunc", Rounding::Trunc); }
HostObject Round(const std::vector<HostObject>& a) { return Rounded(a, "round", Rounding::Round); }

// frac(x) = x - trunc(x): exact for rationals, a float for floats.
HostObject Frac(const std::vector<HostObject>& a) {
  if (a.size() != 1) RaiseArity("frac", "1 argument", a);
  HostObject x = a[0];
  host::Kind k = host::KindOf(x);
  if (k == host::Kind::Integer) return host::MakeInteger(0);
  if (k == host::Kind::Rational) return host::Sub(x, RoundRational(x, Rounding::Trunc));
  if (k == host::Kind::Float) {
    if (!mpfr_number_p(host::FloatMpfr(x))) return x;
    HostObject r = host::NewFloat(mpfr_get_prec(host::FloatMpfr(x)), host::FloatDigits(x));
    mpfr_frac(host::FloatMpfr(r), host::FloatMpfr(x), MPFR_RNDN);
    return r;
  }
  return Unevaluated("frac", a);
}

HostObject Abs(const std::vector<HostObject>& a) {
  if (a.size() != 1) RaiseArity("abs", "1 argument", a);
  HostObject x = a[0];
  switch (host::KindOf(x)) {
    case host::Kind::Integer:
    case host::Kind::Rational:
    case host::Kind::Float:
      return host::Compare(x, host::MakeInteger(0)) < 0 ? host::Neg(x) : x;
    case host::Kind::Complex: {
      HostObject re = host::ComplexRe(x), im = host::ComplexIm(x);
      HostObject square = host::Add(host::Mul(re, re), host::Mul(im, im));
      if (host::KindOf(re) == host::Kind::Float || host::KindOf(im) == host::Kind::Float) {
        return host::Evalf(host::MakeFunction(host::Name("sqrt"), {square}));
      }
      // Exact parts: the exact root when the square is a square of a rational.
      HostObject num = host::KindOf(square) == host::Kind::Rational ? host::Slot(square, 1) : square;
      HostObject den = host::KindOf(square) == host::Kind::Rational ? host::Slot(square, 2) : host::MakeInteger(1);
      Mpz n, d;
      host::IntegerToMpz(num, n.v);
      host::IntegerToMpz(den, d.v);
      if (mpz_perfect_square_p(n.v) && mpz_perfect_square_p(d.v)) {
        mpz_sqrt(n.v, n.v);
        mpz_sqrt(d.v, d.v);
        return host::MakeRational(host::MakeIntegerFromMpz(n.v), host::MakeIntegerFromMpz(d.v));
      }
      return host::MakeFunction(host::Name("sqrt"), {square});
    }
    default:
      return Unevaluated("abs", a);
  }
}

// iquo and irem: a = iquo(a, b) b + irem(a, b), the quotient truncated.
HostObject Divide(const std::vector<HostObject>& a, const char* name, bool quotient) {
  if (a.size() != 2) RaiseArity(name, "2 arguments", a);
  if (!IsInteger(a[0]) || !IsInteger(a[1])) host::Raise(std::string(name) + " expects integers, received: %1", host::MakeSeq(a));
  Mpz x, y, q, r;
  host::IntegerToMpz(a[0], x.v);
  host::IntegerToMpz(a[1], y.v);
  if (mpz_sgn(y.v) == 0) host::Raise("numeric exception: division by zero");
  mpz_tdiv_qr(q.v, r.v, x.v, y.v);
  return host::MakeIntegerFromMpz(quotient ? q.v : r.v);
}
HostObject Iquo(const std::vector<HostObject>& a) { return Divide(a, "iquo", true); }
HostObject Irem(const std::vector<HostObject>& a) { return Divide(a, "irem", false); }

// The values of lists, sequences and rtables, spliced; other values as they are.
void Flatten(HostObject x, std::vector<HostObject>* out) {
  switch (host::KindOf(x)) {
    case host::Kind::List:
    case host::Kind::ExpSeq:
      for (HostObject e : host::Elements(x)) Flatten(e, out);
      return;
    case host::Kind::RTable:
      for (HostObject e : AllElements(x)) out->push_back(e);
      return;
    default:
      out->push_back(x);
  }
}

// max and min of real numbers; undefined floats are skipped (missing data),
// and the result is undefined only when every value is.
HostObject Extreme(const std::vector<HostObject>& a, const char* name, int sign) {
  std::vector<HostObject> values;
  for (HostObject x : a) Flatten(x, &values);
  if (values.empty()) host::Raise(std::string(name) + " expects at least one value");
  HostObject best = nullptr;
  for (HostObject v : values) {
    if (host::KindOf(v) != host::Kind::Integer && host::KindOf(v) != host::Kind::Rational &&
        host::KindOf(v) != host::Kind::Float) {
      host::Raise(std::string(name) + " expects real numbers, received: %1", v);
    }
    if (host::Compare(v, v) == 2) continue;
    if (!best || host::Compare(v, best) * sign > 0) best = v;
  }
  return best ? best : values[0];
}
HostObject Max(const std::vector<HostObject>& a) { return Extreme(a, "max", 1); }
HostObject Min(const std::vector<HostObject>& a) { return Extreme(a, "min", -1); }

bool IsReal(HostObject v) {
  host::Kind k = host::KindOf(v);
  return k == host::Kind::Integer || k == host::Kind::Rational || k == host::Kind::Float;
}

// sort(L): real numbers ascending (undefined last), strings and names by
// their text; sort(L, `>`) descending; sort(L, f) by a procedure f(a, b)
// that is true when a goes before b. The sort is stable.
HostObject Sort(const std::vector<HostObject>& a) {
  if (a.empty() || a.size() > 2) RaiseArity("sort", "1 or 2 arguments", a);
  host::Kind k = host::KindOf(a[0]);
  bool vector = k == host::Kind::RTable && RTableNumDimensions(Kv(), a[0]) == 1;
  if (k != host::Kind::List && !vector) host::Raise("sort expects a list or a Vector, received: %1", a[0]);
  std::vector<HostObject> v = vector ? AllElements(a[0]) : host::Elements(a[0]);
  HostObject order = a.size() == 2 ? a[1] : nullptr;
  bool descending = false;
  if (order && host::KindOf(order) == host::Kind::Name) {
    std::string o = host::NameText(order);
    if (o != "<" && o != ">") host::Raise("sort: the order must be `<`, `>` or a procedure, received: %1", order);
    descending = o == ">";
    order = nullptr;
  }
  if (order) {
    std::stable_sort(v.begin(), v.end(), [&](HostObject x, HostObject y) {
      return TruthOf(host::Apply(order, host::MakeSeq({x, y})));
    });
  } else {
    bool reals = std::all_of(v.begin(), v.end(), IsReal);
    bool texts = std::all_of(v.begin(), v.end(), [](HostObject x) {
      return host::KindOf(x) == host::Kind::String || host::KindOf(x) == host::Kind::Name;
    });
    if (!reals && !texts) host::Raise("sort: cannot order %1 without a procedure", a[0]);
    auto key = [](HostObject x) {
      return host::KindOf(x) == host::Kind::String ? host::StringText(x) : host::NameText(x);
    };
    std::stable_sort(v.begin(), v.end(), [&](HostObject x, HostObject y) {
      if (!reals) return descending ? key(y) < key(x) : key(x) < key(y);
      int c = host::Compare(x, y);
      if (c == 2) return host::Compare(x, x) != 2;  // undefined goes last
      return descending ? c > 0 : c < 0;
    });
  }
  if (!vector) return host::MakeList(v);
  RTableSettingsRecord rec;
  RTableGetSettings(Kv(), &rec, a[0]);
  rec.read_only = 0;
  int lo = RTableLowerBound(Kv(), a[0], 1);
  HostObject out = RTableCopy(Kv(), &rec, a[0]);
  for (size_t i = 0; i < v.size(); ++i) {
    int at = lo + static_cast<int>(i);
    RTableAssign(Kv(), out, &at, host::ObjectToElement(rec.data_type, v[i]));
  }
  return out;
}

HostObject Numelems(const std::vector<HostObject>& a) {
  if (a.size() != 1) RaiseArity("numelems", "1 argument", a);
  switch (host::KindOf(a[0])) {
    case host::Kind::RTable: return host::MakeInteger(static_cast<long>(RTableNumElements(Kv(), a[0])));
    case host::Kind::List:
    case host::Kind::ExpSeq: return host::MakeInteger(static_cast<long>(host::Elements(a[0]).size()));
    case host::Kind::Table: return host::MakeInteger(static_cast<long>(host::TableEntries(a[0]).size()));
    default: host::Raise("numelems expects an rtable, list or table, received: %1", a[0]);
  }
}

// rand(a..b): every integer of a..b equally likely. Random words of 32 bits
// make a number of as many bits as b - a has; one outside 0..b-a is drawn
// again (fewer than two draws on average), so no value is favoured.
HostObject Rand(const std::vector<HostObject>& a) {
  if (a.size() != 1 || host::KindOf(a[0]) != host::Kind::Range || !IsInteger(host::Slot(a[0], 1)) ||
      !IsInteger(host::Slot(a[0], 2))) {
    host::Raise("rand expects a range of integers a..b, received: %1", host::MakeSeq(a));
  }
  Mpz lo, span, r;
  host::IntegerToMpz(host::Slot(a[0], 1), lo.v);
  host::IntegerToMpz(host::Slot(a[0], 2), span.v);
  mpz_sub(span.v, span.v, lo.v);  // b - a
  if (mpz_sgn(span.v) < 0) host::Raise("rand expects a nonempty range, received: %1", a[0]);
  size_t bits = mpz_sizeinbase(span.v, 2);
  do {
    mpz_set_ui(r.v, 0);
    for (size_t have = 0; have < bits; have += 32) {
      mpz_mul_2exp(r.v, r.v, 32);
      mpz_add_ui(r.v, r.v, static_cast<uint32_t>(QuarnRandomInt32(Kv())));
    }
    mpz_fdiv_r_2exp(r.v, r.v, bits);
  } while (mpz_cmp(r.v, span.v) > 0);
  mpz_add(r.v, r.v, lo.v);
  return host::MakeIntegerFromMpz(r.v);
}

// time(): processor seconds used so far, to the millisecond.
HostObject Time(const std::vector<HostObject>& a) {
  if (!a.empty()) RaiseArity("time", "no arguments", a);
  timespec ts{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  long ms = static_cast<long>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
  return host::Evalf(host::MakeRational(host::MakeInteger(ms), host::MakeInteger(1000)));
}

}  // namespace

std::vector<HostObject> AllElements(HostObject rt) {
  QKernel kv = Kv();
  int dims = RTableNumDimensions(kv, rt);
  std::vector<int> lo(static_cast<size_t>(dims)), hi(static_cast<size_t>(dims));
  for (int d = 0; d < dims; ++d) {
    lo[static_cast<size_t>(d)] = RTableLowerBound(kv, rt, d + 1);
    hi[static_cast<size_t>(d)] = RTableUpperBound(kv, rt, d + 1);
    if (hi[static_cast<size_t>(d)] < lo[static_cast<size_t>(d)]) return {};
  }
  // Row by row: the last index varies fastest.
  std::vector<HostObject> out;
  std::vector<int> at = lo;
  for (;;) {
    std::vector<HostObject> idx;
    for (int i : at) idx.push_back(host::MakeInteger(i));
    out.push_back(RTableElement(rt, idx));
    int d = dims - 1;
    while (d >= 0 && ++at[static_cast<size_t>(d)] > hi[static_cast<size_t>(d)]) {
      at[static_cast<size_t>(d)] = lo[static_cast<size_t>(d)];
      --d;
    }
    if (d < 0) return out;
  }
}

void RegisterNumberBuiltins() {
  RegisterBuiltin("floor", Floor, "floor(x): the largest integer <= x");
  RegisterBuiltin("ceil", Ceil, "ceil(x): the smallest integer >= x");
  RegisterBuiltin("round", Round, "round(x): the nearest integer (halves away from zero)");
  RegisterBuiltin("trunc", Trunc, "trunc(x): x without its fraction (toward zero)");
  RegisterBuiltin("frac", Frac, "frac(x): x - trunc(x)");
  RegisterBuiltin("abs", Abs, "abs(x): the absolute value");
  RegisterBuiltin("iquo", Iquo, "iquo(a, b): the integer quotient, truncated toward zero");
  RegisterBuiltin("irem", Irem, "irem(a, b): the remainder a - iquo(a, b) b, with the sign of a");
  RegisterBuiltin("max", Max, "max(x, ...): the largest of the values, lists and rtables given (undefined skipped)");
  RegisterBuiltin("min", Min, "min(x, ...): the smallest of the values, lists and rtables given (undefined skipped)");
  RegisterBuiltin("sort", Sort, "sort(L), sort(L, `>`), sort(L, f): a list or Vector in order (f(a, b) true when a goes first)");
  RegisterBuiltin("numelems", Numelems, "numelems(x): the number of elements of an rtable, list or table");
  RegisterBuiltin("rand", Rand, "rand(a..b): an integer uniform on a..b, from the source randomize seeds");
  RegisterBuiltin("time", Time, "time(): processor seconds used by the session");
}

}  // namespace quarn::shell
