// PropertyText is how the program shows property-list values to people.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "plist/PropertyList.h"

namespace accountsettings {

// The whole value, one entry per line, indented. What would come to more than a gigabyte ends in
// "...".
[[nodiscard]] std::string propertyText(const PropertyList& value);

// The value on one line of at most `width` characters.
[[nodiscard]] std::string propertyLine(const PropertyList& value, std::size_t width);

// Whether values under this key are passwords, tokens or the like.
[[nodiscard]] bool isSecretKey(std::string_view key);
// Whether the value may be seen although it stands under a secret key: a boolean, which tells
// whether there is a password and not what it is. Nothing inside a container there may.
[[nodiscard]] bool isSeenUnderSecretKey(const PropertyList& value);
// The dictionary with "(hidden)" for everything that lies under a secret key, at any depth, and may
// not be seen there.
[[nodiscard]] Dictionary withSecretsHidden(const Dictionary& dictionary);
// The same of one entry: its value.
[[nodiscard]] PropertyList withSecretsHidden(std::string_view key, const PropertyList& value);

// A data class without the prefix that all of them share, for people.
[[nodiscard]] std::string_view shortDataclass(std::string_view dataclass);

}  // namespace accountsettings
