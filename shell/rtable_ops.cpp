// Arithmetic on rtables: A + B and A - B element by element (same shape),
// c * A, A * c, A / c and -A, the product A . B (matrix by matrix, matrix by
// vector, row by column, column by column as a dot product, column by row
// as an outer product), and Transpose(A). Anything that is not an rtable
// goes to the host's arithmetic unchanged.
#include <algorithm>

#include "shell/eval.h"

namespace quarn::shell {

namespace {

QKernel Kv() { return host::Kernel(); }

bool IsRTable(HostObject x) { return host::KindOf(x) == host::Kind::RTable; }

RTableSettingsRecord Settings(HostObject rt) {
  RTableSettingsRecord rec;
  RTableGetSettings(Kv(), &rec, rt);
  return rec;
}

int Dims(HostObject rt) { return RTableNumDimensions(Kv(), rt); }
int Lo(HostObject rt, int d) { return RTableLowerBound(Kv(), rt, d); }
int Extent(HostObject rt, int d) { return std::max(0, RTableUpperBound(Kv(), rt, d) - Lo(rt, d) + 1); }

bool IsHardwareFloat(int data_type) {
  return data_type == RTABLE_FLOAT64 || data_type == RTABLE_COMPLEX || data_type == RTABLE_FLOAT32;
}

// The data type of a result computed from rtables of these types: a shared
// general or floating-point type is kept; integer types, whose results may
// not fit, and mixed types give general elements.
int ResultType(int a, int b) { return a == b && (a == RTABLE_DAG || IsHardwareFloat(a)) ? a : RTABLE_DAG; }

// A new dense rtable of the given subtype, data type and bounds (lo, hi per
// dimension).
HostObject NewRTable(int32_t subtype, int data_type, const std::vector<int>& bounds) {
  RTableSettingsRecord rec;
  RTableGetDefaults(Kv(), &rec);
  rec.subtype = subtype;
  rec.data_type = data_type;
  rec.num_dimensions = static_cast<int32_t>(bounds.size() / 2);
  std::vector<int> b = bounds;
  return RTableCreate(Kv(), &rec, nullptr, b.data());
}

void Put(HostObject rt, const std::vector<int>& at, HostObject v, int data_type) {
  std::vector<int> index = at;
  RTableAssign(Kv(), rt, index.data(), host::ObjectToElement(data_type, v));
}

std::vector<int> BoundsOf(HostObject rt) {
  std::vector<int> b;
  for (int d = 1; d <= Dims(rt); ++d) {
    b.push_back(Lo(rt, d));
    b.push_back(RTableUpperBound(Kv(), rt, d));
  }
  return b;
}

// Applies f to every element of a (and the element of b at the same
// position, when b is given) into a new rtable shaped like a.
template <class F>
HostObject Elementwise(HostObject a, HostObject b, int data_type, F f) {
  const std::vector<int> bounds = BoundsOf(a);
  HostObject out = NewRTable(Settings(a).subtype, data_type, bounds);
  std::vector<HostObject> ea = AllElements(a), eb = b ? AllElements(b) : std::vector<HostObject>();
  // AllElements runs row by row: walk the indices in the same order.
  std::vector<int> at;
  for (size_t d = 0; d < bounds.size(); d += 2) at.push_back(bounds[d]);
  for (size_t k = 0; k < ea.size(); ++k) {
    CheckInterrupt();
    Put(out, at, f(ea[k], b ? eb[k] : nullptr), data_type);
    for (int d = static_cast<int>(at.size()) - 1; d >= 0; --d) {
      if (++at[static_cast<size_t>(d)] <= bounds[2 * static_cast<size_t>(d) + 1]) break;
      at[static_cast<size_t>(d)] = bounds[2 * static_cast<size_t>(d)];
    }
  }
  return out;
}

std::string Shape(HostObject rt) {
  if (Dims(rt) == 2) return "a " + std::to_string(Extent(rt, 1)) + " x " + std::to_string(Extent(rt, 2)) + " Matrix";
  static const char* const kinds[] = {"an Array", "a Matrix", "a column Vector", "a row Vector"};
  int32_t subtype = Settings(rt).subtype;
  std::string size;
  for (int d = 1; d <= Dims(rt); ++d) size += (d > 1 ? " x " : "") + std::to_string(Extent(rt, d));
  return std::string(subtype >= 0 && subtype <= 3 ? kinds[subtype] : "an rtable") + " of " + size + " elements";
}

[[noreturn]] void Mismatch(const char* op, HostObject a, HostObject b) {
  host::Raise(std::string("the shapes do not fit: ") + (IsRTable(a) ? Shape(a) : host::Print(a)) + " " + op + " " +
              (IsRTable(b) ? Shape(b) : host::Print(b)));
}

HostObject AddOrSubtract(HostObject a, HostObject b, bool subtract) {
  const char* op = subtract ? "-" : "+";
  if (!IsRTable(a) || !IsRTable(b)) {
    host::Raise(std::string("an rtable and a value that is not one cannot be added: ") +
                (IsRTable(a) ? Shape(a) : host::Print(a)) + " " + op + " " + (IsRTable(b) ? Shape(b) : host::Print(b)));
  }
  if (Dims(a) != Dims(b)) Mismatch(op, a, b);
  for (int d = 1; d <= Dims(a); ++d)
    if (Extent(a, d) != Extent(b, d)) Mismatch(op, a, b);
  return Elementwise(a, b, ResultType(Settings(a).data_type, Settings(b).data_type),
                     [&](HostObject x, HostObject y) { return subtract ? host::Sub(x, y) : host::Add(x, y); });
}

// c * A: the data type of A is kept when it holds floats or anything.
HostObject Scale(HostObject rt, HostObject c, bool divide, bool scalar_first) {
  int t = Settings(rt).data_type;
  return Elementwise(rt, nullptr, ResultType(t, t), [&](HostObject x, HostObject) {
    if (divide) return host::Div(x, c);
    return scalar_first ? host::Mul(c, x) : host::Mul(x, c);
  });
}

// The element (i, j) of a one- or two-dimensional rtable seen as a matrix:
// a column vector is n x 1, a row vector 1 x n.
struct MatrixView {
  HostObject rt;
  bool row_vector;
  int rows, cols;
  explicit MatrixView(HostObject x) : rt(x) {
    row_vector = Dims(x) == 1 && Settings(x).subtype == RTABLE_ROW;
    if (Dims(x) == 2) {
      rows = Extent(x, 1);
      cols = Extent(x, 2);
    } else {
      rows = row_vector ? 1 : Extent(x, 1);
      cols = row_vector ? Extent(x, 1) : 1;
    }
  }
  HostObject At(int i, int j) const {  // from 0
    if (Dims(rt) == 2) return RTableElement(rt, {host::MakeInteger(Lo(rt, 1) + i), host::MakeInteger(Lo(rt, 2) + j)});
    return RTableElement(rt, {host::MakeInteger(Lo(rt, 1) + (row_vector ? j : i))});
  }
};

HostObject DotProduct(HostObject a, HostObject b) {
  if (Dims(a) > 2 || Dims(b) > 2) Mismatch(".", a, b);
  MatrixView x(a), y(b);
  const int type = ResultType(Settings(a).data_type, Settings(b).data_type);
  const bool a_column = Dims(a) == 1 && !x.row_vector, b_column = Dims(b) == 1 && !y.row_vector;
  // Two column vectors (or two rows) of one length: their dot product.
  if (Dims(a) == 1 && Dims(b) == 1 && x.row_vector == y.row_vector) {
    if (Extent(a, 1) != Extent(b, 1)) Mismatch(".", a, b);
    HostObject sum = host::MakeInteger(0);
    for (int k = 0; k < Extent(a, 1); ++k) {
      sum = host::Add(sum, host::Mul(a_column ? x.At(k, 0) : x.At(0, k), b_column ? y.At(k, 0) : y.At(0, k)));
    }
    return sum;
  }
  if (x.cols != y.rows) Mismatch(".", a, b);
  auto entry = [&](int i, int j) {
    CheckInterrupt();
    HostObject sum = host::MakeInteger(0);
    for (int k = 0; k < x.cols; ++k) sum = host::Add(sum, host::Mul(x.At(i, k), y.At(k, j)));
    return sum;
  };
  if (x.rows == 1 && y.cols == 1 && x.row_vector && b_column) return entry(0, 0);
  HostObject out;
  if (Dims(b) == 1 && b_column && Dims(a) == 2) {
    out = NewRTable(RTABLE_COLUMN, type, {1, x.rows});
    for (int i = 0; i < x.rows; ++i) Put(out, {i + 1}, entry(i, 0), type);
  } else if (Dims(a) == 1 && x.row_vector && Dims(b) == 2) {
    out = NewRTable(RTABLE_ROW, type, {1, y.cols});
    for (int j = 0; j < y.cols; ++j) Put(out, {j + 1}, entry(0, j), type);
  } else {
    out = NewRTable(RTABLE_MATRIX, type, {1, x.rows, 1, y.cols});
    for (int i = 0; i < x.rows; ++i)
      for (int j = 0; j < y.cols; ++j) Put(out, {i + 1, j + 1}, entry(i, j), type);
  }
  return out;
}

HostObject Transpose(const std::vector<HostObject>& a) {
  if (a.size() != 1 || !IsRTable(a[0]) || Dims(a[0]) > 2) {
    host::Raise("Transpose expects a Matrix or Vector, received: %1", host::MakeSeq(a));
  }
  HostObject m = a[0];
  RTableSettingsRecord rec = Settings(m);
  if (Dims(m) == 1) {
    // A column becomes a row and a row a column, with the same elements.
    rec.subtype = rec.subtype == RTABLE_ROW ? RTABLE_COLUMN : RTABLE_ROW;
    rec.read_only = 0;
    return RTableCopy(Kv(), &rec, m);
  }
  HostObject out = NewRTable(rec.subtype, rec.data_type, {Lo(m, 2), RTableUpperBound(Kv(), m, 2), Lo(m, 1),
                                                          RTableUpperBound(Kv(), m, 1)});
  for (int i = Lo(m, 1); i <= RTableUpperBound(Kv(), m, 1); ++i)
    for (int j = Lo(m, 2); j <= RTableUpperBound(Kv(), m, 2); ++j)
      Put(out, {j, i}, RTableElement(m, {host::MakeInteger(i), host::MakeInteger(j)}), rec.data_type);
  return out;
}

}  // namespace

HostObject Arith(ExprKind op, HostObject a, HostObject b) {
  const bool ra = IsRTable(a), rb = b && IsRTable(b);
  switch (op) {
    case ExprKind::Add: return ra || rb ? AddOrSubtract(a, b, false) : host::Add(a, b);
    case ExprKind::Sub: return ra || rb ? AddOrSubtract(a, b, true) : host::Sub(a, b);
    case ExprKind::Mul:
      if (ra && rb) host::Raise("use . for the product of two rtables: " + Shape(a) + " * " + Shape(b));
      if (ra) return Scale(a, b, false, false);
      return rb ? Scale(b, a, false, true) : host::Mul(a, b);
    case ExprKind::Div:
      if (rb) host::Raise("cannot divide by an rtable: %1", b);
      return ra ? Scale(a, b, true, false) : host::Div(a, b);
    case ExprKind::Neg:
      return ra ? Elementwise(a, nullptr, ResultType(Settings(a).data_type, Settings(a).data_type),
                              [](HostObject x, HostObject) { return host::Neg(x); })
                : host::Neg(a);
    case ExprKind::Dot:
      if (ra && rb) return DotProduct(a, b);
      if (ra) return Scale(a, b, false, false);
      return rb ? Scale(b, a, false, true) : host::Mul(a, b);
    default:
      host::Raise("not an arithmetic operation");
  }
}

void RegisterRTableOps() {
  RegisterBuiltin("Transpose", Transpose, "Transpose(A): the transpose of a Matrix; a column Vector becomes a row");
}

}  // namespace quarn::shell
