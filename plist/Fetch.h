// fetch() prefetches a place in memory: the processor goes on meanwhile. Where many places are
// needed, fetching them all first costs the time of one.
#pragma once

namespace accountsettings::detail {

// Any address will do, nullptr too.
inline void fetch(const void* place) noexcept {
  __builtin_prefetch(place);
  // Without this the compiler takes a function that only fetches for one that has no effect, and
  // drops the calls of it.
  asm volatile("");
}

}  // namespace accountsettings::detail
