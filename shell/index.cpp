// Indexing: t[k] of tables, v[i] and m[i, j] of rtables, L[i] and L[a..b] of
// lists and sequences, and the indexed names (float[8], infolevel[ch]) that
// an unassigned name gives.
#include <climits>

#include "shell/eval.h"

namespace quarn::shell {

namespace {

QKernel Kv() { return host::Kernel(); }

// The channel of infolevel[ch]: a name or a string.
std::string Channel(HostObject key) {
  host::Kind k = host::KindOf(key);
  if (k == host::Kind::Name) return host::NameText(key);
  if (k == host::Kind::String) return host::StringText(key);
  host::Raise("infolevel expects a channel name, received: %1", key);
}

HostObject TableKey(const std::vector<HostObject>& idx) {
  return idx.size() == 1 ? idx[0] : host::MakeSeq(idx);
}

long IndexInteger(HostObject v, const char* what) {
  long n;
  if (host::KindOf(v) != host::Kind::Integer || !host::IntegerToLong(v, &n)) {
    host::Raise(std::string(what) + " index must be an integer, received: %1", v);
  }
  return n;
}

// Position from 0 of index i into n elements; negative i counts from the end.
size_t ListPosition(HostObject i, size_t n) {
  long k = IndexInteger(i, "a list");
  long at = k < 0 ? static_cast<long>(n) + k : k - 1;
  if (k == 0 || at < 0 || at >= static_cast<long>(n)) {
    host::Raise("index out of range: %1 is not in %2", i,
                host::MakeRange(host::MakeInteger(1), host::MakeInteger(static_cast<long>(n))));
  }
  return static_cast<size_t>(at);
}

HostObject ListIndex(HostObject value, const std::vector<HostObject>& idx) {
  std::vector<HostObject> elems = host::Elements(value);
  bool is_list = host::KindOf(value) == host::Kind::List;
  if (idx.size() != 1) host::Raise("a list takes one index, received: %1", host::MakeSeq(idx));
  HostObject i = idx[0];
  if (host::KindOf(i) == host::Kind::Range) {
    // L[a..b]: the sublist, empty when b = a - 1.
    long lo = IndexInteger(host::Slot(i, 1), "a list");
    long hi = IndexInteger(host::Slot(i, 2), "a list");
    long n = static_cast<long>(elems.size());
    if (lo < 0) lo += n + 1;
    if (hi < 0) hi += n + 1;
    if (lo < 1 || hi > n || hi < lo - 1) host::Raise("invalid subscript range %1", i);
    std::vector<HostObject> part(elems.begin() + (lo - 1), elems.begin() + hi);
    return is_list ? host::MakeList(part) : host::MakeSeq(part);
  }
  return elems[ListPosition(i, elems.size())];
}

void CheckRTableIndex(HostObject rt, const std::vector<HostObject>& idx, int* at) {
  int dims = RTableNumDimensions(Kv(), rt);
  if (static_cast<int>(idx.size()) != dims) {
    host::Raise("an rtable of " + std::to_string(dims) + " dimension" + (dims == 1 ? "" : "s") +
                    " takes as many indices, received: %1",
                host::MakeSeq(idx));
  }
  for (int k = 0; k < dims; ++k) {
    long n = IndexInteger(idx[k], "an rtable");
    if (n < INT_MIN || n > INT_MAX) host::Raise("index out of range: %1", idx[k]);
    at[k] = static_cast<int>(n);
  }
}

int DataTypeOf(HostObject rt) {
  RTableSettingsRecord rec;
  RTableGetSettings(Kv(), &rec, rt);
  return rec.data_type;
}

// The object an index expression's base refers to, creating a table for an
// unassigned name (t[k] := v makes t a table).
HostObject ContainerFor(const Expr& base, const EnvPtr& env) {
  if (base.kind == ExprKind::Name) {
    HostObject v = BoundValue(base.text, env);
    if (!v) {
      HostObject t = host::MakeTable();
      AssignVar(base.text, t, env);
      return t;
    }
  }
  return Eval(base, env);
}

}  // namespace

HostObject RTableElement(HostObject rt, const std::vector<HostObject>& idx) {
  int at[RTABLE_MAX_DIMENSIONS];
  CheckRTableIndex(rt, idx, at);
  return host::ElementToObject(DataTypeOf(rt), RTableSelect(Kv(), rt, at));
}

HostObject IndexValue(const Expr& base, HostObject value, const std::vector<HostObject>& idx) {
  switch (host::KindOf(value)) {
    case host::Kind::Name: {
      const std::string& text = host::NameText(value);
      if (text == "infolevel" && idx.size() == 1) return host::MakeInteger(host::InfoLevel(Channel(idx[0])));
      // An indexed name such as float[8] is the name of that spelling.
      std::string spelled = text + "[";
      for (size_t i = 0; i < idx.size(); ++i) spelled += (i ? ", " : "") + host::Print(idx[i]);
      return host::Name(spelled + "]");
    }
    case host::Kind::Table: {
      HostObject key = TableKey(idx);
      if (!QuarnTableHasEntry(Kv(), value, key)) host::Raise("the table has no entry %1", key);
      return QuarnTableSelect(Kv(), value, key);
    }
    case host::Kind::RTable:
      return RTableElement(value, idx);
    case host::Kind::List:
    case host::Kind::ExpSeq:
      return ListIndex(value, idx);
    case host::Kind::Procedure:
      // Builtins with an index in their name: Vector[row], Vector[column].
      if (base.kind == ExprKind::Name && idx.size() == 1) {
        if (HostObject b = BuiltinProcedure(base.text + "[" + host::Print(idx[0]) + "]")) return b;
      }
      host::Raise("cannot index %1", value);
    default:
      host::Raise("cannot index %1", value);
  }
}

void AssignIndexed(const Expr& target, HostObject value, const EnvPtr& env) {
  const Expr& base = *target.a;
  std::vector<HostObject> idx = EvalItems(target.items, env, false);
  if (base.kind == ExprKind::Name && base.text == "infolevel" && !BoundValue(base.text, env)) {
    long level;
    if (idx.size() != 1 || host::KindOf(value) != host::Kind::Integer || !host::IntegerToLong(value, &level)) {
      host::Raise("infolevel[channel] takes an integer level, received: %1", value);
    }
    host::SetInfoLevel(Channel(idx[0]), static_cast<int>(level));
    return;
  }
  HostObject c = ContainerFor(base, env);
  switch (host::KindOf(c)) {
    case host::Kind::Table:
      QuarnTableAssign(Kv(), c, TableKey(idx), value);
      return;
    case host::Kind::RTable: {
      int at[RTABLE_MAX_DIMENSIONS];
      CheckRTableIndex(c, idx, at);
      RTableAssign(Kv(), c, at, host::ObjectToElement(DataTypeOf(c), value));
      return;
    }
    case host::Kind::List: {
      // Lists are immutable: the name gets a new list with the entry replaced.
      if (base.kind != ExprKind::Name) host::Raise("cannot assign to an entry of %1", c);
      if (idx.size() != 1) host::Raise("a list takes one index, received: %1", host::MakeSeq(idx));
      std::vector<HostObject> elems = host::Elements(c);
      elems[ListPosition(idx[0], elems.size())] = value;
      AssignVar(base.text, host::MakeList(elems), env);
      return;
    }
    default:
      host::Raise("cannot assign to an entry of %1", c);
  }
}

// assigned(t[k]): a table entry that exists, or any element of an rtable
// within its bounds.
bool IsIndexAssigned(const Expr& target, const EnvPtr& env) {
  HostObject c = Eval(*target.a, env);
  std::vector<HostObject> idx = EvalItems(target.items, env, false);
  switch (host::KindOf(c)) {
    case host::Kind::Table:
      return QuarnTableHasEntry(Kv(), c, TableKey(idx)) != 0;
    case host::Kind::RTable:
    case host::Kind::List:
    case host::Kind::ExpSeq:
      try {
        IndexValue(*target.a, c, idx);
        return true;
      } catch (const host::Error&) {
        return false;
      }
    default:
      return false;
  }
}

}  // namespace quarn::shell
