// rtable constructors and helpers:
//   Array(ranges or extents..., [init], options)
//   Vector(n, [init], options), Vector[row](...), Vector[column](...)
//   Matrix(m, n, [init], options)
// init is a list (nested lists from two dimensions on, which also give the
// bounds when none are written) or a procedure of the indices. Options:
//   datatype = anything | sfloat | any type name (code 0, with that element
//     type name) | complex(name) (1) | integer[1|2|4|8] (2-5) | float[8] (6)
//     | complex[8] (7) | float[4] (8) | a code 0-8
//   storage = rectangular | sparse,  order = Fortran_order | C_order,
//   fill = value,  readonly = true | false
// These are the words the host prints rtables with, so a printed rtable
// reads back as the same rtable.
#include <array>

#include "shell/eval.h"

namespace quarn::shell {

namespace {

QKernel Kv() { return host::Kernel(); }

struct Spec {
  RTableSettingsRecord rec;
  std::vector<int> bounds;     // lo, hi per dimension
  HostObject init = nullptr;   // list or procedure
  HostObject fill = nullptr;
};

std::string OptionText(HostObject v) {
  return host::KindOf(v) == host::Kind::Name ? host::NameText(v) : host::Print(v);
}

void SetDataType(Spec& s, HostObject v, const char* ctor) {
  static const std::array<std::pair<const char*, int>, 8> kFixed = {{
      {"integer[1]", RTABLE_INTEGER8}, {"integer[2]", RTABLE_INTEGER16}, {"integer[4]", RTABLE_INTEGER32},
      {"integer[8]", RTABLE_INTEGER64}, {"float[8]", RTABLE_FLOAT64}, {"complex[8]", RTABLE_COMPLEX},
      {"float[4]", RTABLE_FLOAT32}, {"complex", RTABLE_CXDAG},
  }};
  long code;
  switch (host::KindOf(v)) {
    case host::Kind::Integer:
      if (!host::IntegerToLong(v, &code) || code < 0 || code >= RTABLE_NUM_DATA_TYPES) break;
      s.rec.data_type = static_cast<int32_t>(code);
      return;
    case host::Kind::Name:
      for (const auto& [name, c] : kFixed) {
        if (host::NameText(v) == name) {
          s.rec.data_type = c;
          return;
        }
      }
      // integer[3] or float[2] would be a numeric type of a size there is none of.
      for (const char* prefix : {"integer[", "float[", "complex["}) {
        if (host::NameText(v).rfind(prefix, 0) == 0) host::Raise(std::string(ctor) + ": unknown datatype %1", v);
      }
      s.rec.data_type = RTABLE_DAG;
      s.rec.element_type_name = v;
      return;
    case host::Kind::Function: {
      std::vector<HostObject> args = host::Elements(v);
      HostObject f = host::FunctionName(v);
      if (host::KindOf(f) == host::Kind::Name && host::NameText(f) == "complex" && args.size() == 1) {
        s.rec.data_type = RTABLE_CXDAG;
        s.rec.element_type_name = args[0];
        return;
      }
      break;
    }
    default:
      break;
  }
  host::Raise(std::string(ctor) + ": unknown datatype %1", v);
}

void SetOption(Spec& s, HostObject eq, const char* ctor) {
  std::string key = OptionText(host::Slot(eq, 1));
  HostObject v = host::Slot(eq, 2);
  std::string text = OptionText(v);
  if (key == "datatype") {
    SetDataType(s, v, ctor);
  } else if (key == "storage" && (text == "rectangular" || text == "sparse")) {
    s.rec.storage = text == "sparse" ? RTABLE_SPARSE : RTABLE_RECT;
  } else if (key == "order" && (text == "Fortran_order" || text == "C_order")) {
    s.rec.order = text == "C_order" ? RTABLE_C : RTABLE_FORTRAN;
  } else if (key == "fill") {
    s.fill = v;
  } else if (key == "readonly") {
    s.rec.read_only = TruthOf(v) ? 1 : 0;
  } else {
    host::Raise(std::string(ctor) + ": invalid option %1", eq);
  }
}

int BoundInt(HostObject v, const char* ctor) {
  long n;
  if (host::KindOf(v) != host::Kind::Integer || !host::IntegerToLong(v, &n) || n < -(1L << 30) || n > (1L << 30)) {
    host::Raise(std::string(ctor) + ": bounds must be integers, received: %1", v);
  }
  return static_cast<int>(n);
}

// Bounds from the nesting of a list: [[1, 2], [3, 4]] is 1..2, 1..2.
void ShapeOf(HostObject list, Spec& s) {
  HostObject level = list;
  while (host::KindOf(level) == host::Kind::List && s.bounds.size() < 2 * RTABLE_MAX_DIMENSIONS) {
    std::vector<HostObject> e = host::Elements(level);
    s.bounds.push_back(1);
    s.bounds.push_back(static_cast<int>(e.size()));
    if (e.empty()) break;
    level = e[0];
  }
}

Spec Parse(const std::vector<HostObject>& args, const char* ctor, int32_t subtype, size_t max_dims) {
  Spec s;
  RTableGetDefaults(Kv(), &s.rec);
  s.rec.subtype = subtype;
  for (HostObject a : args) {
    host::Kind k = host::KindOf(a);
    if (k == host::Kind::Equation) {
      SetOption(s, a, ctor);
    } else if (s.init) {
      host::Raise(std::string(ctor) + ": unexpected argument %1", a);
    } else if (k == host::Kind::Range || k == host::Kind::Integer) {
      if (s.bounds.size() / 2 >= max_dims) host::Raise(std::string(ctor) + ": too many dimensions at %1", a);
      s.bounds.push_back(k == host::Kind::Range ? BoundInt(host::Slot(a, 1), ctor) : 1);
      s.bounds.push_back(BoundInt(k == host::Kind::Range ? host::Slot(a, 2) : a, ctor));
    } else if (k == host::Kind::List || k == host::Kind::Procedure) {
      s.init = a;
    } else {
      host::Raise(std::string(ctor) + ": unexpected argument %1", a);
    }
  }
  if (s.bounds.empty() && s.init && host::KindOf(s.init) == host::Kind::List) ShapeOf(s.init, s);
  if (s.bounds.empty()) s.bounds = {1, 0};
  if (s.bounds.size() / 2 > max_dims) host::Raise(std::string(ctor) + ": too many dimensions");
  // A one-dimensional Matrix(n) is square.
  if (subtype == RTABLE_MATRIX && s.bounds.size() == 2) s.bounds.insert(s.bounds.end(), {s.bounds[0], s.bounds[1]});
  s.rec.num_dimensions = static_cast<int32_t>(s.bounds.size() / 2);
  return s;
}

// The initial value at one index, or null when init gives none there.
HostObject InitialValue(const Spec& s, const std::vector<int>& at) {
  if (host::KindOf(s.init) == host::Kind::Procedure) {
    std::vector<HostObject> idx;
    for (int i : at) idx.push_back(host::MakeInteger(i));
    return host::Apply(s.init, host::MakeSeq(idx));
  }
  HostObject v = s.init;
  for (size_t d = 0; d < at.size(); ++d) {
    if (host::KindOf(v) != host::Kind::List) host::Raise("the initial list does not match the bounds: %1", s.init);
    std::vector<HostObject> e = host::Elements(v);
    size_t k = static_cast<size_t>(at[d] - s.bounds[2 * d]);
    if (k >= e.size()) return nullptr;
    v = e[k];
  }
  return v;
}

void Fill(HostObject rt, const Spec& s, std::vector<int>& at, size_t d) {
  if (d == at.size()) {
    HostObject v = s.init ? InitialValue(s, at) : nullptr;
    if (!v) v = s.fill;
    if (!v) return;
    if (s.rec.storage == RTABLE_SPARSE && host::IsZero(v)) return;
    CheckInterrupt();
    RTableAssign(Kv(), rt, at.data(), host::ObjectToElement(s.rec.data_type, v));
    return;
  }
  for (at[d] = s.bounds[2 * d]; at[d] <= s.bounds[2 * d + 1]; ++at[d]) Fill(rt, s, at, d + 1);
}

HostObject Construct(const std::vector<HostObject>& args, const char* ctor, int32_t subtype, size_t max_dims) {
  Spec s = Parse(args, ctor, subtype, max_dims);
  int32_t read_only = s.rec.read_only;
  s.rec.read_only = 0;  // filled first, then frozen
  HostObject rt = RTableCreate(Kv(), &s.rec, nullptr, s.bounds.data());
  if (s.init || s.fill) {
    std::vector<int> at(s.bounds.size() / 2);
    Fill(rt, s, at, 0);
  }
  if (read_only) {
    s.rec.read_only = 1;
    rt = RTableCopy(Kv(), &s.rec, rt);
  }
  return rt;
}

HostObject Array(const std::vector<HostObject>& a) { return Construct(a, "Array", RTABLE_ARRAY, RTABLE_MAX_DIMENSIONS); }
HostObject Column(const std::vector<HostObject>& a) { return Construct(a, "Vector", RTABLE_COLUMN, 1); }
HostObject Row(const std::vector<HostObject>& a) { return Construct(a, "Vector", RTABLE_ROW, 1); }
HostObject Matrix(const std::vector<HostObject>& a) { return Construct(a, "Matrix", RTABLE_MATRIX, 2); }

HostObject Bound(const std::vector<HostObject>& a, const char* name, bool upper) {
  if (a.size() != 2 || !IsQuarnRTable(Kv(), a[0])) RaiseArity(name, "an rtable and a dimension", a);
  long d;
  int dims = RTableNumDimensions(Kv(), a[0]);
  if (!host::IntegerToLong(a[1], &d) || d < 1 || d > dims) host::Raise(std::string(name) + ": no dimension %1", a[1]);
  int k = static_cast<int>(d);
  return host::MakeInteger(upper ? RTableUpperBound(Kv(), a[0], k) : RTableLowerBound(Kv(), a[0], k));
}
HostObject Lower(const std::vector<HostObject>& a) { return Bound(a, "lowerbound", false); }
HostObject Upper(const std::vector<HostObject>& a) { return Bound(a, "upperbound", true); }

// convert(x, list): the elements of a list, sequence, table (its values) or
// rtable (rows of a two-dimensional one as lists).
HostObject Convert(const std::vector<HostObject>& a) {
  if (a.size() != 2) RaiseArity("convert", "2 arguments", a);
  std::string to = OptionText(a[1]);
  if (to == "string") return host::MakeString(host::Print(a[0]));
  if (to != "list") host::Raise("convert: cannot convert to %1", a[1]);
  if (!IsQuarnRTable(Kv(), a[0]) || RTableNumDimensions(Kv(), a[0]) == 1) return host::MakeList(ForInElements(a[0]));
  if (RTableNumDimensions(Kv(), a[0]) != 2) host::Raise("convert: cannot make a list of %1", a[0]);
  std::vector<HostObject> rows;
  for (int i = RTableLowerBound(Kv(), a[0], 1); i <= RTableUpperBound(Kv(), a[0], 1); ++i) {
    std::vector<HostObject> row;
    for (int j = RTableLowerBound(Kv(), a[0], 2); j <= RTableUpperBound(Kv(), a[0], 2); ++j)
      row.push_back(RTableElement(a[0], {host::MakeInteger(i), host::MakeInteger(j)}));
    rows.push_back(host::MakeList(row));
  }
  return host::MakeList(rows);
}

}  // namespace

void RegisterRTableBuiltins() {
  RegisterBuiltin("Array", Array);
  RegisterBuiltin("Vector", Column);
  RegisterBuiltin("Vector[column]", Column);
  RegisterBuiltin("Vector[row]", Row);
  RegisterBuiltin("Matrix", Matrix);
  RegisterBuiltin("lowerbound", Lower);
  RegisterBuiltin("upperbound", Upper);
  RegisterBuiltin("convert", Convert);
}

}  // namespace quarn::shell
