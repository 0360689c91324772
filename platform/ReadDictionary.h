/// \file
/// readDictionary reads a property-list file whose root is a dictionary.
#pragma once

#include <optional>
#include <string>

#include "platform/Files.h"
#include "plist/PropertyList.h"

namespace accountsettings {

/// The dictionary in the file, or none where the file is missing, unreadable, no property list, or
/// holds something else at its root.
[[nodiscard]] std::optional<Dictionary> readDictionary(Files& files, const std::string& path);

}  // namespace accountsettings
