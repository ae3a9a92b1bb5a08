// Linked into every executable of an AddressSanitizer build, beside the
// collector's static C++ support (see the top-level CMakeLists.txt). That
// support defines the plain and sized forms of operator new and delete; the
// nothrow forms would otherwise come from the sanitizer's allocator, and
// their memory would then reach the collector's delete (std::stable_sort's
// temporary buffer takes that path). Here they go to the collector's
// uncollectable, scanned heap like every other new.
#include <gc.h>

#include <cstddef>
#include <new>

void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return GC_MALLOC_UNCOLLECTABLE(n ? n : 1); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return GC_MALLOC_UNCOLLECTABLE(n ? n : 1); }
void operator delete(void* p, const std::nothrow_t&) noexcept { GC_FREE(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { GC_FREE(p); }
