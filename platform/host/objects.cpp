// Non-numeric host objects: names (interned, with values), strings, lists,
// expression sequences, unevaluated calls, equations, ranges, quoted
// expressions and tables; object kinds, structural equality and hashing.
#include <gc/gc.h>
#include <gc/gc_allocator.h>

#include <algorithm>
#include <cassert>
#include <unordered_map>

#include "platform/host/internal.h"

namespace quarn::host {

namespace {

using NameMap = std::unordered_map<std::string, HostObject, std::hash<std::string>, std::equal_to<std::string>,
                                   traceable_allocator<std::pair<const std::string, HostObject>>>;

// Every name ever made; names are never collected, like the globals they are.
NameMap& Names() {
  static NameMap* names = new (GC_MALLOC_UNCOLLECTABLE(sizeof(NameMap))) NameMap;
  return *names;
}

HostObject g_null = nullptr;
HostObject g_true = nullptr;
HostObject g_false = nullptr;
HostObject g_digits_name = nullptr;

HostObject MakeSlots(uint32_t tag, const std::vector<HostObject>& elements, size_t first = 1) {
  HostObject h = AllocObject(tag, static_cast<uint32_t>(first + elements.size()));
  for (size_t i = 0; i < elements.size(); ++i) Words(h)[first + i] = elements[i];
  return h;
}

}  // namespace

// ---------------------------------------------------------------- kinds

uint32_t TagOf(HostObject h) {
  if (IsImmediate(h)) return ImmediateValue(h) < 0 ? kTagIntNeg : kTagIntPos;
  return HeapTag(h);
}

Kind KindOf(HostObject h) {
  assert(h != nullptr);
  switch (TagOf(h)) {
    case kTagIntNeg:
    case kTagIntPos: return Kind::Integer;
    case kTagRational: return Kind::Rational;
    case kTagFloat: return Kind::Float;
    case kTagComplex: return Kind::Complex;
    case kTagString: return Kind::String;
    case kTagName: return Kind::Name;
    case kTagFunction: return Kind::Function;
    case kTagList: return Kind::List;
    case kTagExpSeq: return Kind::ExpSeq;
    case kTagTable: return Kind::Table;
    case kTagRTable: return Kind::RTable;
    case kTagProcedure: return Kind::Procedure;
    case kTagUneval: return Kind::Uneval;
    case kTagEquation: return Kind::Equation;
    case kTagRange: return Kind::Range;
    default: return Kind::Other;
  }
}

const char* KindName(Kind k) {
  static const char* const names[] = {"integer",   "rational", "float", "complex",  "string",    "name",
                                      "function",  "list",     "exprseq", "table",  "rtable",    "procedure",
                                      "uneval",    "equation", "range", "object"};
  return names[static_cast<int>(k)];
}

HostObject Slot(HostObject h, int i) { return Words(h)[i]; }
int Length(HostObject h) { return IsImmediate(h) ? 1 : static_cast<int>(HeapLength(h)); }

// ---------------------------------------------------------------- names

HostObject Name(const std::string& text) {
  NameMap& names = Names();
  auto it = names.find(text);
  if (it != names.end()) return it->second;
  HostObject n = AllocObject(kTagName, kNameLength);
  Words(n)[kNameText] = MakeString(text);
  names.emplace(text, n);
  return n;
}

std::string NameText(HostObject name) { return StringText(Words(name)[kNameText]); }

HostObject NameValue(HostObject name) { return Words(name)[kNameValue]; }
bool IsAssigned(HostObject name) { return IsTag(name, kTagName) && Words(name)[kNameValue] != nullptr; }

HostObject AssignName(HostObject name, HostObject value) {
  if (!IsTag(name, kTagName)) Raise("invalid left hand side of assignment: %1", name);
  if (name == g_digits_name && value != nullptr) {
    long d;
    if (!IsExact(value) || IsTag(value, kTagRational) || !IntegerToLong(value, &d) || d < 1 || d > 10000000)
      Raise("Digits must be assigned a positive integer, received: %1", value);
    SetWorkingPrecision(d);
  }
  HostObject previous = Words(name)[kNameValue];
  Words(name)[kNameValue] = value;
  return previous;
}

void SetDigits(long digits) { AssignName(g_digits_name, MakeInteger(digits)); }

HostObject True() { return g_true; }
HostObject False() { return g_false; }
HostObject Null() { return g_null; }

// ----------------------------------------------------------- containers

HostObject MakeString(const std::string& text) {
  HostObject s = AllocAtomicObject(kTagString, static_cast<uint32_t>(1 + (text.size() + 8) / 8));
  HeaderOf(s)->aux = static_cast<uint32_t>(text.size());
  std::memcpy(StringBytes(s), text.data(), text.size());
  StringBytes(s)[text.size()] = '\0';
  return s;
}

std::string StringText(HostObject s) { return std::string(StringBytes(s), HeaderOf(s)->aux); }

HostObject MakeList(const std::vector<HostObject>& elements) { return MakeSlots(kTagList, elements); }

HostObject MakeSeq(const std::vector<HostObject>& elements) {
  if (elements.size() == 1) return elements[0];
  if (elements.empty()) return g_null;
  // A sequence never nests: the elements of inner sequences are spliced in.
  std::vector<HostObject> flat;
  for (HostObject e : elements) {
    if (IsTag(e, kTagExpSeq)) {
      for (uint32_t i = 1; i < HeapLength(e); ++i) flat.push_back(Words(e)[i]);
    } else {
      flat.push_back(e);
    }
  }
  if (flat.size() == 1) return flat[0];
  if (flat.empty()) return g_null;
  return MakeSlots(kTagExpSeq, flat);
}

std::vector<HostObject> Elements(HostObject h) {
  std::vector<HostObject> out;
  if (IsImmediate(h)) return {h};
  uint32_t tag = HeapTag(h);
  uint32_t first;
  switch (tag) {
    case kTagList:
    case kTagExpSeq: first = 1; break;
    case kTagFunction: first = 2; break;
    default: return {h};
  }
  for (uint32_t i = first; i < HeapLength(h); ++i) out.push_back(Words(h)[i]);
  return out;
}

HostObject MakeFunction(HostObject fname, const std::vector<HostObject>& args) {
  HostObject f = AllocObject(kTagFunction, static_cast<uint32_t>(2 + args.size()));
  Words(f)[1] = fname;
  for (size_t i = 0; i < args.size(); ++i) Words(f)[2 + i] = args[i];
  return f;
}

HostObject FunctionName(HostObject f) { return Words(f)[1]; }

HostObject MakeEquation(HostObject lhs, HostObject rhs) { return MakeSlots(kTagEquation, {lhs, rhs}); }
HostObject MakeRange(HostObject lo, HostObject hi) { return MakeSlots(kTagRange, {lo, hi}); }
HostObject MakeUneval(HostObject e) { return MakeSlots(kTagUneval, {e}); }
HostObject UnevalBody(HostObject u) { return Words(u)[1]; }

// ------------------------------------------------------------- equality

namespace {
// Kinds compared and hashed by their slots, one handle each after the header.
bool IsCompound(uint32_t tag) {
  switch (tag) {
    case kTagRational:
    case kTagComplex:
    case kTagFunction:
    case kTagList:
    case kTagExpSeq:
    case kTagUneval:
    case kTagEquation:
    case kTagRange:
      return true;
    default:
      return false;
  }
}
}  // namespace

bool Equal(HostObject a, HostObject b) {
  if (a == b) return true;
  if (a == nullptr || b == nullptr || IsImmediate(a) || IsImmediate(b)) return false;
  uint32_t tag = HeapTag(a);
  if (tag != HeapTag(b)) return false;
  if (IsCompound(tag)) {
    if (HeapLength(a) != HeapLength(b)) return false;
    for (uint32_t i = 1; i < HeapLength(a); ++i)
      if (!Equal(Words(a)[i], Words(b)[i])) return false;
    return true;
  }
  switch (tag) {
    case kTagIntPos:
    case kTagIntNeg:
      return BigSize(a) == BigSize(b) && std::memcmp(BigLimbs(a), BigLimbs(b), BigSize(a) * sizeof(mp_limb_t)) == 0;
    case kTagFloat: {
      mpfr_ptr x = FloatMpfr(a), y = FloatMpfr(b);
      if (mpfr_nan_p(x) || mpfr_nan_p(y)) return mpfr_nan_p(x) && mpfr_nan_p(y);
      return mpfr_equal_p(x, y) && mpfr_signbit(x) == mpfr_signbit(y);
    }
    case kTagString: return StringText(a) == StringText(b);
    default: return false;  // names, tables, rtables, procedures: identity
  }
}

size_t Hash(HostObject h) {
  if (h == nullptr) return 0;
  if (IsImmediate(h)) return std::hash<long>()(ImmediateValue(h));
  uint32_t tag = HeapTag(h);
  size_t seed = tag * 0x9e3779b97f4a7c15ULL;
  auto mix = [&seed](size_t v) { seed ^= v + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2); };
  if (IsCompound(tag)) {
    for (uint32_t i = 1; i < HeapLength(h); ++i) mix(Hash(Words(h)[i]));
    return seed;
  }
  switch (tag) {
    case kTagIntPos:
    case kTagIntNeg:
      for (uint32_t i = 0; i < BigSize(h); ++i) mix(BigLimbs(h)[i]);
      return seed;
    case kTagFloat: {
      mpfr_ptr x = FloatMpfr(h);
      if (mpfr_nan_p(x)) return seed;
      mix(std::hash<double>()(mpfr_get_d(x, MPFR_RNDN)));
      return seed;
    }
    case kTagString: return std::hash<std::string>()(StringText(h));
    default: return std::hash<const void*>()(h);
  }
}

// --------------------------------------------------------------- tables

HostObject MakeTable() {
  HostObject t = AllocObject(kTagTable, 2);
  Words(t)[1] = reinterpret_cast<HostObject>(AllocScanned(sizeof(TableBody)));
  return t;
}

namespace {

// Open addressing with linear probing; no deletion marks: deleting re-inserts
// the rest of the probe run.
size_t Probe(const TableBody* body, HostObject key) {
  size_t mask = body->capacity - 1;
  // Spread the hash over the low bits: integer keys hash to themselves, and
  // multiples of a power of two would otherwise share a few slots.
  size_t h = Hash(key) * 0x9e3779b97f4a7c15ULL;
  size_t i = (h ^ (h >> 29)) & mask;
  while (body->keys[i] != nullptr && !Equal(body->keys[i], key)) i = (i + 1) & mask;
  return i;
}

void Grow(TableBody* body) {
  size_t old_capacity = body->capacity;
  HostObject* old_keys = body->keys;
  HostObject* old_values = body->values;
  body->capacity = old_capacity == 0 ? 8 : 2 * old_capacity;
  body->keys = static_cast<HostObject*>(AllocScanned(body->capacity * sizeof(HostObject)));
  body->values = static_cast<HostObject*>(AllocScanned(body->capacity * sizeof(HostObject)));
  for (size_t i = 0; i < old_capacity; ++i) {
    if (old_keys[i] == nullptr) continue;
    size_t j = Probe(body, old_keys[i]);
    body->keys[j] = old_keys[i];
    body->values[j] = old_values[i];
  }
}

TableBody* CheckedTable(HostObject t) {
  if (!IsTag(t, kTagTable)) Raise("expected a table, received: %1", t);
  return TableOf(t);
}

}  // namespace

std::vector<std::pair<HostObject, HostObject>> TableEntries(HostObject t) {
  TableBody* body = CheckedTable(t);
  std::vector<std::pair<HostObject, HostObject>> out;
  for (size_t i = 0; i < body->capacity; ++i)
    if (body->keys[i] != nullptr) out.emplace_back(body->keys[i], body->values[i]);
  std::vector<std::pair<std::string, size_t>> order;
  for (size_t i = 0; i < out.size(); ++i) order.emplace_back(Print(out[i].first), i);
  std::sort(order.begin(), order.end());
  std::vector<std::pair<HostObject, HostObject>> sorted;
  for (const auto& [text, i] : order) sorted.push_back(out[i]);
  return sorted;
}

void TableDelete(HostObject t, HostObject key) {
  TableBody* body = CheckedTable(t);
  if (body->capacity == 0) return;
  size_t i = Probe(body, key);
  if (body->keys[i] == nullptr) return;
  body->keys[i] = body->values[i] = nullptr;
  --body->count;
  size_t mask = body->capacity - 1;
  for (size_t j = (i + 1) & mask; body->keys[j] != nullptr; j = (j + 1) & mask) {
    HostObject k = body->keys[j], v = body->values[j];
    body->keys[j] = body->values[j] = nullptr;
    size_t slot = Probe(body, k);
    body->keys[slot] = k;
    body->values[slot] = v;
  }
}

void InitNames() {
  g_null = AllocObject(kTagExpSeq, 1);
  g_true = Name("true");
  g_false = Name("false");
  g_digits_name = Name("Digits");
  SetDigits(10);
}

}  // namespace quarn::host

using namespace quarn::host;

extern "C" {

HostObject ToQuarnName(QKernel, const char* text, int) { return Name(text); }
HostObject ToQuarnString(QKernel, const char* text) { return MakeString(text); }
HostObject ToQuarnNULL(QKernel) { return Null(); }
HostObject ToQuarnBoolean(QKernel, int b) { return b ? True() : False(); }

int IsQuarnNULL(QKernel, HostObject h) { return IsTag(h, kTagExpSeq) && HeapLength(h) == 1; }
int IsQuarnList(QKernel, HostObject h) { return IsTag(h, kTagList); }
int IsQuarnName(QKernel, HostObject h) { return IsTag(h, kTagName); }
int IsQuarnString(QKernel, HostObject h) { return IsTag(h, kTagString); }
int IsQuarnTable(QKernel, HostObject h) { return IsTag(h, kTagTable); }
int IsQuarnAssignedName(QKernel, HostObject h) { return IsAssigned(h); }

int QuarnNumArgs(QKernel, HostObject seq) {
  if (IsTag(seq, kTagExpSeq)) return static_cast<int>(HeapLength(seq)) - 1;
  return 1;
}

HostObject QuarnExpseqSelect(QKernel kv, HostObject seq, int i) {
  int n = QuarnNumArgs(kv, seq);
  if (i < 1 || i > n) Raise("invalid subscript selector: " + std::to_string(i) + " of a sequence of " + std::to_string(n));
  return IsTag(seq, kTagExpSeq) ? Words(seq)[i] : seq;
}

HostObject NewQuarnExpressionSequence(QKernel, int n) {
  HostObject s = AllocObject(kTagExpSeq, static_cast<uint32_t>(1 + n));
  for (int i = 1; i <= n; ++i) Words(s)[i] = Null();
  return s;
}

void QuarnExpseqAssign(QKernel, HostObject seq, int i, HostObject value) {
  assert(IsTag(seq, kTagExpSeq) && i >= 1 && static_cast<uint32_t>(i) < HeapLength(seq));
  Words(seq)[i] = value;
}

HostObject QuarnListAlloc(QKernel, int n) {
  HostObject l = AllocObject(kTagList, static_cast<uint32_t>(1 + n));
  for (int i = 1; i <= n; ++i) Words(l)[i] = Null();
  return l;
}

int QuarnListLength(QKernel, HostObject list) {
  if (!IsTag(list, kTagList)) Raise("expected a list, received: %1", list);
  return static_cast<int>(HeapLength(list)) - 1;
}

void QuarnListAssign(QKernel kv, HostObject list, int i, HostObject value) {
  if (i < 1 || i > QuarnListLength(kv, list)) Raise("list index out of range: " + std::to_string(i));
  Words(list)[i] = value;
}

HostObject QuarnListSelect(QKernel kv, HostObject list, int i) {
  if (i < 1 || i > QuarnListLength(kv, list)) Raise("list index out of range: " + std::to_string(i));
  return Words(list)[i];
}

HostObject QuarnTableAlloc(QKernel) { return MakeTable(); }

void QuarnTableAssign(QKernel, HostObject t, HostObject key, HostObject value) {
  TableBody* body = CheckedTable(t);
  if (2 * (body->count + 1) > body->capacity) Grow(body);
  size_t i = Probe(body, key);
  if (body->keys[i] == nullptr) {
    body->keys[i] = key;
    ++body->count;
  }
  body->values[i] = value;
}

HostObject QuarnTableSelect(QKernel, HostObject t, HostObject key) {
  TableBody* body = CheckedTable(t);
  if (body->capacity == 0) return nullptr;
  size_t i = Probe(body, key);
  return body->keys[i] == nullptr ? nullptr : body->values[i];
}

int QuarnTableHasEntry(QKernel kv, HostObject t, HostObject key) { return QuarnTableSelect(kv, t, key) != nullptr; }

HostObject QuarnAssign(QKernel, HostObject name, HostObject value) {
  HostObject previous = AssignName(name, value);
  return previous == nullptr ? name : previous;
}

}  // extern "C"
