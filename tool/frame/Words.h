// wordFor() is the word of an enumerator, for people and scripts, from a table in the enumeration's
// order.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace accountsettings {

template <class Enum, std::size_t N>
[[nodiscard]] constexpr std::string_view wordFor(Enum value, const std::string_view (&words)[N]) {
  return std::to_array(words).at(static_cast<std::size_t>(value));
}

}  // namespace accountsettings
