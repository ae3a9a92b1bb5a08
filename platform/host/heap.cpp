// The collected heap: allocation of host objects on the Boehm collector, the
// counted root set behind QuarnGcProtect, and host start-up.
#include <gc/gc.h>
#include <gc/gc_allocator.h>
#include <gc/gc_inline.h>
#include <gc/gc_mark.h>
#include <unistd.h>

#include <cassert>
#include <cstring>
#include <unordered_map>

#include "platform/host/internal.h"

namespace quarn::host {

namespace {

// Blocks this large are referenced from their start only; telling the
// collector so keeps stray interior-looking words from pinning them.
constexpr size_t kLargeBlock = 64 * 1024;

void OutOfMemory() { throw Error("out of memory"); }

// Counted root set. The map and its nodes live in uncollectable memory that
// the collector scans, so the keys it holds keep their objects alive.
using RootMap = std::unordered_map<HostObject, size_t, std::hash<HostObject>, std::equal_to<HostObject>,
                                   traceable_allocator<std::pair<const HostObject, size_t>>>;
RootMap& Roots() {
  static RootMap* roots = new (GC_MALLOC_UNCOLLECTABLE(sizeof(RootMap))) RootMap;
  return *roots;
}

bool g_initialized = false;

// The static data of the libraries below is no root. None of them ever holds
// a host handle: the number libraries allocate with malloc, and the C and
// C++ runtimes keep their own malloc'd or uncollectable (operator new)
// memory, which needs no root; handles never go to C libraries' memory.
// Scanning them cost most of each collection of a heap of float temporaries
// (FLINT alone has 1.2 MB of tables).
int ScanStaticData(const char* library, void*, size_t) {
  const char* base = std::strrchr(library, '/');
  base = base ? base + 1 : library;
  for (const char* skip : {"libflint", "libgmp.", "libmpfr.", "libc.", "libstdc++."}) {
    if (std::strncmp(base, skip, std::strlen(skip)) == 0) return 0;
  }
  return 1;
}

// The collector kind of float objects (see g_float_free).
int g_float_kind = -1;

}  // namespace

void* g_float_free[kFloatFreeLists];

void* AllocFloatSlow(uint32_t granules) {
  if (!g_initialized) Initialize();
  const size_t bytes = static_cast<size_t>(granules) * GC_GRANULE_BYTES;
  if (granules >= kFloatFreeLists) {
    void* p = GC_malloc_kind(bytes, g_float_kind);
    if (p == nullptr) OutOfMemory();
    return p;
  }
  // A block's worth of objects, linked through their first words; the
  // collector may run first.
  GC_generic_malloc_many(bytes, g_float_kind, &g_float_free[granules]);
  void* p = g_float_free[granules];
  if (p == nullptr) OutOfMemory();
  g_float_free[granules] = *static_cast<void**>(p);
  return p;
}

void* AllocScanned(size_t bytes) {
  void* p = bytes >= kLargeBlock ? GC_MALLOC_IGNORE_OFF_PAGE(bytes) : GC_MALLOC(bytes);
  if (p == nullptr) OutOfMemory();
  return p;  // GC_MALLOC returns cleared memory
}

void* AllocAtomic(size_t bytes) {
  void* p = bytes >= kLargeBlock ? GC_MALLOC_ATOMIC_IGNORE_OFF_PAGE(bytes) : GC_MALLOC_ATOMIC(bytes);
  if (p == nullptr) OutOfMemory();
  return p;
}

HostObject AllocObject(uint32_t tag, uint32_t length) {
  assert(length >= 1 && length <= kLengthMask);
  auto* h = static_cast<Header*>(AllocScanned(length * sizeof(HostObject)));
  h->word = (tag << 26) | length;
  h->aux = 0;
  return reinterpret_cast<HostObject>(h);
}

HostObject AllocAtomicObject(uint32_t tag, uint32_t length) {
  assert(length >= 1 && length <= kLengthMask);
  auto* h = static_cast<Header*>(AllocAtomic(length * sizeof(HostObject)));
  h->word = (tag << 26) | length;
  h->aux = 0;
  return reinterpret_cast<HostObject>(h);
}

size_t ProtectedCount() {
  size_t n = 0;
  for (const auto& [h, count] : Roots()) n += count;
  return n;
}

void Collect() { GC_gcollect(); }

void Initialize() {
  if (g_initialized) return;
  g_initialized = true;
  GC_register_has_static_roots_callback(ScanStaticData);
  GC_INIT();
  // Collect a little more eagerly than the default: float temporaries are
  // small and many, and a tighter heap keeps long loops within a few MB.
  GC_set_free_space_divisor(4);
  // Start with 1 MB: short-lived floats are reclaimed in batches of some
  // 10^4, while the objects handed out stay within the processor's caches (a
  // larger start heap streams every new float through fresh memory, which
  // costs more than the extra collections save).
  GC_expand_hp(1 << 20);
  // Floats hold no handles; only their first word is scanned, which links
  // the objects of a free list together until they are handed out.
  static_assert(sizeof(void*) == sizeof(Header), "a free object's link overlays the header");
  g_float_kind = static_cast<int>(GC_new_kind(GC_new_free_list(), GC_DS_LENGTH | sizeof(void*), 0, 0));
  // The heap grows to half the machine's memory at most: beyond it a request
  // (a sample of 2^31 floats) is refused with "out of memory" instead of
  // driving the machine into its out-of-memory killer.
  const long pages = sysconf(_SC_PHYS_PAGES), page_size = sysconf(_SC_PAGESIZE);
  if (pages > 0 && page_size > 0) GC_set_max_heap_size(static_cast<GC_word>(pages) * static_cast<GC_word>(page_size) / 2);
  // The refusal is the host's error; the collector's own warnings about it
  // (and about large blocks) would only repeat it on standard error.
  GC_set_warn_proc(GC_ignore_warn_proc);
  InitNames();
  InitRandom();
  InitEvalf();
  InitKernelTable(Kernel());
}

namespace {
// The host starts when its library is loaded, before any client code runs.
struct StartAtLoad {
  StartAtLoad() { Initialize(); }
} g_start_at_load;
}  // namespace

}  // namespace quarn::host



extern "C" void QuarnGcProtect(QKernel, HostObject h) {
  if (h == nullptr || quarn::host::IsImmediate(h)) return;
  ++quarn::host::Roots()[h];
}

extern "C" void QuarnGcAllow(QKernel, HostObject h) {
  if (h == nullptr || quarn::host::IsImmediate(h)) return;
  auto& roots = quarn::host::Roots();
  auto it = roots.find(h);
  if (it == roots.end()) return;
  if (--it->second == 0) roots.erase(it);
}

extern "C" void* QuarnAlloc(QKernel, size_t bytes) { return quarn::host::AllocScanned(bytes == 0 ? 1 : bytes); }

extern "C" HostObject QuarnNew(QKernel, int tag, int length) {
  return quarn::host::AllocObject(static_cast<uint32_t>(tag), static_cast<uint32_t>(length));
}
