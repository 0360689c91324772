// The replaced allocation functions. They count what malloc really gave.
#include "plist/CountingAllocator.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#  define AS_COUNTS_ALLOCATIONS 0
#elif defined(__has_feature)
#  if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#    define AS_COUNTS_ALLOCATIONS 0
#  endif
#endif
#ifndef AS_COUNTS_ALLOCATIONS
#  define AS_COUNTS_ALLOCATIONS 1
#endif

#if AS_COUNTS_ALLOCATIONS

#  include <malloc.h>

#  include <atomic>
#  include <cstdlib>
#  include <new>

namespace {

std::atomic<std::size_t> current{0};
std::atomic<std::size_t> peak{0};

void* counted(void* memory) {
  if (memory == nullptr) throw std::bad_alloc();
  const std::size_t now =
      current.fetch_add(malloc_usable_size(memory)) + malloc_usable_size(memory);
  std::size_t highest = peak.load();
  while (now > highest && !peak.compare_exchange_weak(highest, now)) {
  }
  return memory;
}

void release(void* memory) noexcept {
  if (memory != nullptr) current.fetch_sub(malloc_usable_size(memory));
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
  return counted(std::malloc(size));
}
void* operator new[](std::size_t size) {
  return counted(std::malloc(size));
}
void operator delete(void* memory) noexcept {
  release(memory);
}
void operator delete[](void* memory) noexcept {
  release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  release(memory);
}

namespace accountsettings {

bool countsAllocations() noexcept {
  return true;
}

PeakMemory::PeakMemory() noexcept : start_(current.load()) {
  peak.store(start_);
}

std::size_t PeakMemory::bytes() const noexcept {
  return peak.load() - start_;
}

}  // namespace accountsettings

#else

namespace accountsettings {

bool countsAllocations() noexcept {
  return false;
}

PeakMemory::PeakMemory() noexcept : start_(0) {}

std::size_t PeakMemory::bytes() const noexcept {
  return start_;
}

}  // namespace accountsettings

#endif
