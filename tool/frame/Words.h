// wordFor() is the word of an enumerator, for people and scripts, from a table in the enumeration's
// order.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace accountsettings {

template <class Enum, std::size_t N>
[[nodiscard]] constexpr std::string_view wordFor(Enum value,
                                                 const std::array<std::string_view, N>& words) {
  return words.at(static_cast<std::size_t>(value));
}

}  // namespace accountsettings
