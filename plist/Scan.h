// scan() finds the first byte of a text that meets a condition, sixteen bytes at a time.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace accountsettings::detail {

// The place of the first byte at or behind `from` for which `condition` holds, else the text's
// size. The condition must be written so that it takes a block of bytes, for which it answers a
// block that is all ones where it holds, and a single byte alike: comparisons joined with & and |.
template <class Condition>
[[nodiscard]] std::size_t scan(std::string_view text, std::size_t from,
                               const Condition& condition) noexcept {
  using Block [[gnu::vector_size(16)]] = std::uint8_t;
  while (text.size() - from >= sizeof(Block)) {
    Block block;
    std::memcpy(&block, text.data() + from, sizeof(block));
    const auto hits = condition(block);
    std::uint64_t halves[2];
    static_assert(sizeof(hits) == sizeof(halves));
    std::memcpy(halves, &hits, sizeof(halves));
    if ((halves[0] | halves[1]) != 0) {
      if constexpr (std::endian::native != std::endian::little) break;
      const int bits =
          halves[0] != 0 ? std::countr_zero(halves[0]) : 64 + std::countr_zero(halves[1]);
      return from + static_cast<std::size_t>(bits) / 8;
    }
    from += sizeof(Block);
  }
  while (from < text.size() && !condition(static_cast<std::uint8_t>(text[from]))) ++from;
  return from;
}

}  // namespace accountsettings::detail
