/// \file
/// Description is the text that stands for a value in a message.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "plist/PropertyList.h"

namespace accountsettings {

/// So many bytes of a value are shown where no limit is given.
inline constexpr std::size_t kDescriptionLimit = 4096;

/// "a string", "an integer", "an array" and so on: what kind of value it is, in words.
[[nodiscard]] std::string_view kindInWords(const PropertyList& value) noexcept;

/// The value in one line: `{ Key = value; "Key two" = ( a, b ); }`, reals with a point or exponent,
/// data as `<00ff>`, dates as 2011-05-04T12:34:56Z, UIDs as UID(7). Strings inside
/// containers are quoted where they are not plain words; a string by itself is shown as it is.
/// A text of more than `limit` bytes is cut there and ends in "...". The effort does
/// not depend on what is left away.
///@{
[[nodiscard]] std::string description(const PropertyList& value,
                                      std::size_t limit = kDescriptionLimit);
[[nodiscard]] std::string description(const Dictionary& value,
                                      std::size_t limit = kDescriptionLimit);
[[nodiscard]] std::string description(const Array& value, std::size_t limit = kDescriptionLimit);
///@}

}  // namespace accountsettings
