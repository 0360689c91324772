// BinaryReader reads the binary form of property lists, "bplist00".
#pragma once

#include <cstdint>
#include <span>

#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

// The root object of a file in the binary form. Objects that the file stores once
// and refers to often share their storage. The message of an error begins with the
// place, as in "byte 118: offset table outside the file".
[[nodiscard]] Result<PropertyList> readBinary(std::span<const std::uint8_t> bytes);

}  // namespace accountsettings
