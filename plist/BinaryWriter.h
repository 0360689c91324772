/// \file
/// BinaryWriter writes the binary form of property lists, "bplist00".
#pragma once

#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

/// The bytes of a file that holds `value`. Equal objects are written once, and offsets
/// and references are as short as they can be; equal values give equal bytes if their
/// dictionaries agree in order. The one thing that the form cannot hold is a string that is not
/// UTF-8: the error names where it stands.
[[nodiscard]] Result<Bytes> writeBinary(const PropertyList& value);

}  // namespace accountsettings
