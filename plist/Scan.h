// scan() finds the first byte of a text that meets a condition, sixteen bytes at a time.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace accountsettings::detail {

using ByteBlock [[gnu::vector_size(16)]] = std::uint8_t;

// The place of the first byte of a block for which `condition` holds, else 16.
template <class Condition>
[[nodiscard]] std::size_t firstHit(const ByteBlock& block, const Condition& condition) noexcept {
  const auto hits = condition(block);
  std::uint64_t halves[2];
  static_assert(sizeof(hits) == sizeof(halves));
  std::memcpy(halves, &hits, sizeof(halves));
  if ((halves[0] | halves[1]) == 0) return sizeof(block);
  std::size_t skipped = 0;
  if (halves[0] == 0) {
    halves[0] = halves[1];
    skipped = 8;
  }
  const int bits = std::endian::native == std::endian::little ? std::countr_zero(halves[0])
                                                              : std::countl_zero(halves[0]);
  return skipped + static_cast<std::size_t>(bits) / 8;
}

// The place of the first byte at or behind `from` for which `condition` holds, else the text's
// size. The condition must be written so that it takes a block of bytes, for which it answers a
// block that is all ones where it holds, and a single byte alike: comparisons joined with & and |.
template <class Condition>
[[nodiscard]] std::size_t scan(std::string_view text, std::size_t from,
                               const Condition& condition) noexcept {
  ByteBlock block;
  for (; text.size() - from >= sizeof(block); from += sizeof(block)) {
    std::memcpy(&block, text.data() + from, sizeof(block));
    const std::size_t hit = firstHit(block, condition);
    if (hit != sizeof(block)) return from + hit;
  }
  constexpr std::size_t kHalf = sizeof(block) / 2;
  if (text.size() - from >= kHalf) {
    // The first and the last bytes, which overlap.
    const std::size_t last = text.size() - kHalf;
    std::memcpy(&block, text.data() + from, kHalf);
    std::memcpy(reinterpret_cast<std::uint8_t*>(&block) + kHalf, text.data() + last, kHalf);
    const std::size_t hit = firstHit(block, condition);
    return hit < kHalf ? from + hit : last + hit - kHalf;
  }
  while (from < text.size() && !condition(static_cast<std::uint8_t>(text[from]))) ++from;
  return from;
}

}  // namespace accountsettings::detail
