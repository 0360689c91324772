/// \file
/// StringList is a list of data-class, type or action strings. The helpers read such lists
/// out of property-list values, in which members of another kind are passed over.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"

namespace accountsettings {

/// Strings in order; one may stand there twice.
using StringList = std::vector<std::string>;

/// The strings of the array `value`, in order; none where it is nullptr or no array.
[[nodiscard]] std::optional<StringList> stringListOf(const PropertyList* value);
/// An array of the strings, in order.
[[nodiscard]] Array arrayOf(const StringList& strings);
/// The string `value`; none where it is nullptr or no string. The view lives as long as the value.
[[nodiscard]] std::optional<std::string_view> stringOf(const PropertyList* value) noexcept;
/// Whether a member of `list` is the string `text`.
[[nodiscard]] bool containsString(const Array& list, std::string_view text) noexcept;

}  // namespace accountsettings
