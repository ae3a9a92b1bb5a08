// Object layout of the host heap, shared by the host's sources only.
//
// A heap object is an array of 8-byte words from the collector. Word 0 is the
// header: its first 32-bit word holds the tag (top 6 bits) and the length in
// words, header included (low 26 bits); the second 32-bit word is per kind
// (a float's digits, a string's byte count, a big integer's sign and size).
// Objects whose words hold handles are allocated scanned; floats, strings and
// big integers hold no handles and are allocated atomic.
#ifndef QUARN_PLATFORM_HOST_INTERNAL_H
#define QUARN_PLATFORM_HOST_INTERNAL_H

#include <gmp.h>
#include <mpfr.h>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <string>

#include "platform/host/host.h"
#include "platform/host/quarnc.h"

namespace quarn::host {

struct Header {
  uint32_t word;  // tag << 26 | length
  uint32_t aux;
};
static_assert(sizeof(Header) == 8, "the header is one word");

constexpr uint32_t kLengthMask = (1u << 26) - 1;

inline bool IsImmediate(HostObject h) { return (reinterpret_cast<uintptr_t>(h) & 1) != 0; }
inline Header* HeaderOf(HostObject h) { return reinterpret_cast<Header*>(h); }
inline uint32_t HeapTag(HostObject h) { return HeaderOf(h)->word >> 26; }
inline uint32_t HeapLength(HostObject h) { return HeaderOf(h)->word & kLengthMask; }
inline HostObject* Words(HostObject h) { return reinterpret_cast<HostObject*>(h); }

// Immediate integers hold 62-bit signed values.
constexpr long kImmediateMax = (1L << 61) - 1;
constexpr long kImmediateMin = -(1L << 61);
inline HostObject Immediate(long n) {
  return reinterpret_cast<HostObject>((static_cast<uintptr_t>(n) << 1) | 1);
}
inline long ImmediateValue(HostObject h) { return static_cast<long>(reinterpret_cast<intptr_t>(h)) >> 1; }

// Allocation. Length counts words, header included.
HostObject AllocObject(uint32_t tag, uint32_t length);         // scanned, slots zeroed
HostObject AllocAtomicObject(uint32_t tag, uint32_t length);   // not scanned
void* AllocScanned(size_t bytes);
void* AllocAtomic(size_t bytes);

inline bool IsTag(HostObject h, uint32_t tag) {
  return h != nullptr && !IsImmediate(h) && HeapTag(h) == tag;
}

// Floats: [header (aux = digits), __mpfr_struct, limbs...]; the struct's limb
// pointer points into the same object.
struct FloatBody {
  Header header;
  __mpfr_struct mp;
  mp_limb_t limbs[1];
};

// Length in words, header included, of a float object of that precision.
constexpr uint32_t FloatWords(mpfr_prec_t bits) {
  size_t limbs = static_cast<size_t>((bits + GMP_NUMB_BITS - 1) / GMP_NUMB_BITS);
  return static_cast<uint32_t>((offsetof(FloatBody, limbs) + limbs * sizeof(mp_limb_t) + 7) / 8);
}

// Float objects come from a collector kind of their own, which scans the
// first word of an object and nothing else: the float's header once it is
// made, the link to the next free object while it waits on one of the free
// lists below. The host keeps one list per size in granules, in static data
// (a root), so that making a float takes the first object of its list
// without a call into the collector; an empty list is refilled with a
// block's worth of objects (AllocFloatSlow). The host runs on one thread.
constexpr uint32_t kFloatFreeLists = 25;  // up to 24 granules: 384 bytes, about 900 digits
extern void* g_float_free[kFloatFreeLists];
void* AllocFloatSlow(uint32_t granules);

// A float object of that length, its number set to +0 at bits.
inline HostObject MakeFloatObject(uint32_t words, uint32_t granules, mpfr_prec_t bits, long digits) {
  void* p;
  if (granules < kFloatFreeLists && (p = g_float_free[granules]) != nullptr) {
    g_float_free[granules] = *static_cast<void**>(p);
  } else {
    p = AllocFloatSlow(granules);
  }
  auto* body = static_cast<FloatBody*>(p);
  body->header.word = (kTagFloat << 26) | words;
  body->header.aux = static_cast<uint32_t>(digits);
  mpfr_custom_init_set(&body->mp, MPFR_ZERO_KIND, 0, bits, body->limbs);
  return reinterpret_cast<HostObject>(p);
}

// Big integers: [header (aux = limb count), limbs...]; the sign is the tag.
// Values that fit an immediate are always immediate.
inline mp_limb_t* BigLimbs(HostObject h) { return reinterpret_cast<mp_limb_t*>(Words(h) + 1); }
inline uint32_t BigSize(HostObject h) { return HeaderOf(h)->aux; }

// Strings: [header (aux = byte count), bytes..., NUL].
inline char* StringBytes(HostObject h) { return reinterpret_cast<char*>(Words(h) + 1); }

// Names: [header, value or null, text (a string object)].
enum { kNameValue = 1, kNameText = 2, kNameLength = 3 };

// Procedures: [header, native function, data, printed text (a string)].
enum { kProcFn = 1, kProcData = 2, kProcText = 3, kProcLength = 4 };

// Tables: [header, TableBody*]; the body is scanned memory.
struct TableBody {
  size_t count;
  size_t capacity;      // a power of two, or 0
  HostObject* keys;     // capacity slots, null when empty
  HostObject* values;
};
inline TableBody* TableOf(HostObject t) { return reinterpret_cast<TableBody*>(Words(t)[1]); }

// rtables: [header, RTableBody*]; the body is scanned memory. A rectangular
// rtable keeps its elements in data (scanned for data types 0 and 1, atomic
// otherwise); a sparse one keeps assigned elements in a host table keyed by
// the list of indices, element objects as values.
struct RTableBody {
  RTableSettingsRecord settings;
  int bounds[2 * RTABLE_MAX_DIMENSIONS];
  size_t num_elements;
  void* data;
  HostObject sparse;
};
inline RTableBody* RTableOf(HostObject rt) { return reinterpret_cast<RTableBody*>(Words(rt)[1]); }

// Set by RequestInterrupt (from a signal handler), read by the allocation of
// every float.
extern volatile std::sig_atomic_t g_interrupt_requested;

// A fresh float at the working precision, holding +0: what every float
// operation allocates for its result.
inline HostObject NewWorkingFloat() {
  if (g_interrupt_requested) CheckInterrupt();
  const WorkingPrecision& w = g_working;
  return MakeFloatObject(w.float_words, w.float_granules, w.bits, w.digits);
}

// The state a kernel handle stands for lives in statics of the host library;
// these are the pieces the sources share.
HostObject MathConstantPi();
void InitNames();
void InitRandom();
void InitKernelTable(QKernel kv);
void InitEvalf();

}  // namespace quarn::host



namespace quarn::host {
// Sets the fast working-precision globals (the Digits name is kept by names.cpp).
void SetWorkingPrecision(long digits);
// Real numbers (integers, rationals, floats) to MPFR, rounded to out's precision.
bool ToMpfr(HostObject h, mpfr_ptr out);
// Exact numbers (integers, rationals) to GMP rationals.
bool ToMpq(HostObject h, mpq_ptr out);
HostObject FromMpq(mpq_srcptr q);
bool IsExact(HostObject h);       // integer or rational
bool IsReal(HostObject h);        // integer, rational or float
bool IsFloatObject(HostObject h);
}  // namespace quarn::host
#endif
