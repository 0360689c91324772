/// \file
/// Reader reads a property list of either form.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

/// The two forms of files.
enum class PropertyListForm : std::uint8_t { Binary, Xml };

/// The form that the first bytes speak for; none where they speak for neither. It does not
/// promise that the rest is sound.
[[nodiscard]] std::optional<PropertyListForm> formOf(std::span<const std::uint8_t> bytes) noexcept;

/// The value that the bytes hold, in whichever form. The message of an error begins with the
/// place: "byte 118: offset table outside the file", "line 12: unknown element \"strin\"".
[[nodiscard]] Result<PropertyList> readPropertyList(std::span<const std::uint8_t> bytes);

}  // namespace accountsettings
