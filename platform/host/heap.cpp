// The collected heap: allocation of host objects on the Boehm collector, the
// counted root set behind QuarnGcProtect, and host start-up.
#include <gc/gc.h>
#include <gc/gc_allocator.h>
#include <unistd.h>

#include <cassert>
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

}  // namespace

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
  GC_INIT();
  // Collect a little more eagerly than the default: float temporaries are
  // small and many, and a tighter heap keeps long loops within a few MB.
  GC_set_free_space_divisor(4);
  // Start with a few MB so that short-lived floats are reclaimed in batches
  // rather than by a collection every few thousand allocations.
  GC_expand_hp(8 << 20);
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
