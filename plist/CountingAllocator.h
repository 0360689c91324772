// CountingAllocator tells how much memory a test takes. Linking CountingAllocator.cc
// replaces operator new; under a sanitizer, which has its own, nothing is counted.
#pragma once

#include <cstddef>

namespace accountsettings {

[[nodiscard]] bool countsAllocations() noexcept;

// PeakMemory watches from its construction on.
class PeakMemory {
 public:
  PeakMemory() noexcept;
  // The most bytes that were allocated at a time since then, beyond those at the start.
  [[nodiscard]] std::size_t bytes() const noexcept;

 private:
  std::size_t start_;
};

}  // namespace accountsettings
