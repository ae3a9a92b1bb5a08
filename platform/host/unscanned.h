// Memory that the collector neither scans nor counts, for large scratch
// arrays of numbers (doubles, or float handles that another array the
// collector sees also holds): the standard allocator's, as a C++ allocator.
// operator new's memory is scanned (the collector's C++ support), which for
// an array of 10^7 doubles costs a marking pass over it at every collection.
#ifndef QUARN_PLATFORM_HOST_UNSCANNED_H
#define QUARN_PLATFORM_HOST_UNSCANNED_H

#include <cstdlib>
#include <new>
#include <vector>

namespace quarn {

template <class T>
struct UnscannedAllocator {
  using value_type = T;
  UnscannedAllocator() = default;
  template <class U>
  UnscannedAllocator(const UnscannedAllocator<U>&) {}
  T* allocate(size_t n) {
    void* p = std::malloc(n * sizeof(T));
    if (p == nullptr) throw std::bad_alloc();
    return static_cast<T*>(p);
  }
  void deallocate(T* p, size_t) { std::free(p); }
  bool operator==(const UnscannedAllocator&) const { return true; }
};

template <class T>
using UnscannedVector = std::vector<T, UnscannedAllocator<T>>;

}  // namespace quarn

#endif  // QUARN_PLATFORM_HOST_UNSCANNED_H
