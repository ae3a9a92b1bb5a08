// The printed form of host objects, used for results and error messages.
// Floats print to their own digits; operators print infix.
#include <cstring>

#include "platform/host/internal.h"

namespace quarn::host {

namespace {

constexpr size_t kElideAbove = 12;  // rtables longer than this print ends only
constexpr size_t kElideKeep = 5;

std::string PrintFloat(HostObject f) {
  mpfr_ptr x = FloatMpfr(f);
  if (mpfr_nan_p(x)) return "Float(undefined)";
  if (mpfr_inf_p(x)) return mpfr_sgn(x) < 0 ? "-Float(infinity)" : "Float(infinity)";
  std::string sign = mpfr_signbit(x) ? "-" : "";
  if (mpfr_zero_p(x)) return sign + "0.";
  long digits = std::max(1L, FloatDigits(f));
  mpfr_exp_t exp10;
  char* s = mpfr_get_str(nullptr, &exp10, 10, static_cast<size_t>(digits), x, MPFR_RNDN);
  std::string mant(s[0] == '-' ? s + 1 : s);
  mpfr_free_str(s);
  while (mant.size() > 1 && mant.back() == '0') mant.pop_back();
  // value = 0.mant x 10^exp10
  long e = static_cast<long>(exp10);
  if (e > 0 && e <= digits) {
    std::string intpart = mant.substr(0, std::min<size_t>(mant.size(), static_cast<size_t>(e)));
    intpart.append(static_cast<size_t>(e) - intpart.size(), '0');
    std::string frac = static_cast<size_t>(e) < mant.size() ? mant.substr(static_cast<size_t>(e)) : "";
    return sign + intpart + "." + frac;
  }
  if (e <= 0 && e > -5) return sign + "0." + std::string(static_cast<size_t>(-e), '0') + mant;
  return sign + mant.substr(0, 1) + "." + mant.substr(1) + "e" + std::to_string(e - 1);
}

std::string PrintInteger(HostObject h) {
  if (IsImmediate(h)) return std::to_string(ImmediateValue(h));
  mpz_t z;
  mpz_init(z);
  IntegerToMpz(h, z);
  char* s = mpz_get_str(nullptr, 10, z);
  std::string out(s);
  void (*free_fn)(void*, size_t);
  mp_get_memory_functions(nullptr, nullptr, &free_fn);
  free_fn(s, std::strlen(s) + 1);
  mpz_clear(z);
  return out;
}

std::string Join(const std::vector<HostObject>& elements, size_t first = 0) {
  std::string out;
  for (size_t i = first; i < elements.size(); ++i) {
    if (i > first) out += ", ";
    out += Print(elements[i]);
  }
  return out;
}

int Precedence(HostObject h) {
  if (IsTag(h, kTagFunction) && IsTag(FunctionName(h), kTagName)) {
    std::string op = NameText(FunctionName(h));
    size_t n = HeapLength(h) - 2;
    if ((op == "+" || op == "-") && n == 2) return 1;
    if (op == "*" || op == "/") return 2;
    if (op == "-" && n == 1) return 3;
    if (op == "^") return 4;
  }
  if (IsTag(h, kTagRational)) return 2;
  if (IsTag(h, kTagComplex)) return 1;
  if ((IsImmediate(h) && ImmediateValue(h) < 0) || IsTag(h, kTagIntNeg)) return 3;
  if (IsFloatObject(h) && mpfr_signbit(FloatMpfr(h))) return 3;
  return 10;
}

std::string Operand(HostObject h, int min_precedence) {
  std::string s = Print(h);
  return Precedence(h) < min_precedence ? "(" + s + ")" : s;
}

std::string PrintFunction(HostObject f) {
  HostObject fname = FunctionName(f);
  std::vector<HostObject> args = Elements(f);
  if (IsTag(fname, kTagName)) {
    std::string op = NameText(fname);
    if (args.size() == 2 && (op == "+" || op == "-" || op == "*" || op == "/" || op == "^")) {
      int p = Precedence(f);
      // Left-associative: the right operand of - and / needs a tighter bind.
      int right_min = (op == "-" || op == "/") ? p + 1 : (op == "^" ? p + 1 : p);
      int left_min = op == "^" ? p + 1 : p;
      return Operand(args[0], left_min) + " " + op + " " + Operand(args[1], right_min);
    }
    if (args.size() == 1 && op == "-") return "-" + Operand(args[0], 4);
  }
  return Operand(fname, 10) + "(" + Join(args) + ")";
}

std::string DataTypeName(const RTableSettingsRecord& s) {
  switch (s.data_type) {
    case RTABLE_DAG: return Print(s.element_type_name);
    case RTABLE_CXDAG: return "complex(" + Print(s.element_type_name) + ")";
    case RTABLE_INTEGER8: return "integer[1]";
    case RTABLE_INTEGER16: return "integer[2]";
    case RTABLE_INTEGER32: return "integer[4]";
    case RTABLE_INTEGER64: return "integer[8]";
    case RTABLE_FLOAT64: return "float[8]";
    case RTABLE_COMPLEX: return "complex[8]";
    case RTABLE_FLOAT32: return "float[4]";
    default: return "unknown";
  }
}

// The number of indices of dimension dim (from 0), formed in 64 bits: the
// bounds may be any two ints, in either order.
size_t ExtentOf(const RTableBody* body, int dim) {
  const int64_t n = int64_t{body->bounds[2 * dim + 1]} - body->bounds[2 * dim] + 1;
  return n > 0 ? static_cast<size_t>(n) : 0;
}

// Rows of a two-dimensional rtable and the elements of a one-dimensional one,
// long ones elided to their first and last few elements.
std::string PrintRTableElements(HostObject rt, const RTableBody* body, int dim, int* index) {
  const int lo = body->bounds[2 * dim];
  const size_t n = ExtentOf(body, dim);
  std::string out = "[";
  for (size_t k = 0; k < n; ++k) {
    if (n > kElideAbove && k == kElideKeep) {
      out += ", ...";
      k = n - kElideKeep - 1;
      continue;
    }
    if (k > 0) out += ", ";
    index[dim] = static_cast<int>(lo + static_cast<int64_t>(k));
    if (dim + 1 < body->settings.num_dimensions) {
      out += PrintRTableElements(rt, body, dim + 1, index);
    } else {
      out += Print(ElementToObject(body->settings.data_type, RTableSelect(Kernel(), rt, index)));
    }
  }
  return out + "]";
}

std::string PrintRTable(HostObject rt) {
  const RTableBody* body = RTableOf(rt);
  const RTableSettingsRecord& s = body->settings;
  static const char* const subtypes[] = {"Array", "Matrix", "Vector[column]", "Vector[row]"};
  std::string out = (s.subtype >= 0 && s.subtype <= 3) ? subtypes[s.subtype] : "Array";
  out += "(";
  for (int d = 0; d < s.num_dimensions; ++d)
    out += std::to_string(body->bounds[2 * d]) + ".." + std::to_string(body->bounds[2 * d + 1]) + ", ";
  int index[RTABLE_MAX_DIMENSIONS] = {0};
  if (s.num_dimensions > 2) {
    out += "<" + std::to_string(body->num_elements) + " elements>";
  } else {
    out += PrintRTableElements(rt, body, 0, index);
  }
  out += ", datatype = " + DataTypeName(s);
  if (s.storage == RTABLE_SPARSE) out += ", storage = sparse";
  if (s.order == RTABLE_C) out += ", order = C_order";
  const size_t per_row = s.num_dimensions >= 1 ? ExtentOf(body, 0) : 0;
  if (s.num_dimensions == 1 && per_row > kElideAbove) out += ", " + std::to_string(per_row) + " elements";
  return out + ")";
}

}  // namespace

std::string Print(HostObject h) {
  if (h == nullptr) return "<null>";
  switch (TagOf(h)) {
    case kTagIntPos:
    case kTagIntNeg: return PrintInteger(h);
    case kTagRational: return PrintInteger(Words(h)[1]) + "/" + PrintInteger(Words(h)[2]);
    case kTagFloat: return PrintFloat(h);
    case kTagComplex: {
      HostObject re = Words(h)[1], im = Words(h)[2];
      if (IsExact(im) && IsZero(im)) return Print(re);
      bool unit = IsExact(im) && (Equal(im, Immediate(1)) || Equal(im, Immediate(-1)));
      std::string ims = unit ? "" : Operand(im, 2) + "*";
      if (unit && Equal(im, Immediate(-1))) ims = "-";
      if (IsZero(re) && IsExact(re)) return ims + "I";
      // Negative rationals bind like a quotient, so ask the sign, not the precedence.
      bool negative = IsFloatObject(im) ? mpfr_signbit(FloatMpfr(im)) != 0
                                        : IsExact(im) && Compare(im, Immediate(0)) < 0;
      if (negative) {
        HostObject magnitude = Neg(im);
        return Print(re) + " - " + (Equal(magnitude, Immediate(1)) ? "" : Operand(magnitude, 2) + "*") + "I";
      }
      return Print(re) + " + " + ims + "I";
    }
    case kTagString: {
      // Escaped so that the printed literal reads back as the same string.
      std::string out = "\"";
      for (char c : StringText(h)) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
      }
      return out + "\"";
    }
    case kTagName: return NameText(h);
    case kTagFunction: return PrintFunction(h);
    case kTagList: return "[" + Join(Elements(h)) + "]";
    case kTagExpSeq: return Join(Elements(h));
    case kTagTable: {
      std::string out = "table([";
      bool first = true;
      for (const auto& [k, v] : TableEntries(h)) {
        if (!first) out += ", ";
        first = false;
        out += Print(k) + " = " + Print(v);
      }
      return out + "])";
    }
    case kTagRTable: return PrintRTable(h);
    case kTagProcedure: return StringText(Words(h)[kProcText]);
    case kTagUneval: return "'" + Print(Words(h)[1]) + "'";
    case kTagEquation: return Print(Words(h)[1]) + " = " + Print(Words(h)[2]);
    case kTagRange: return Print(Words(h)[1]) + " .. " + Print(Words(h)[2]);
    default: return "<object of kind " + std::to_string(TagOf(h)) + ">";
  }
}

}  // namespace quarn::host
