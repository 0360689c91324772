// XmlReader reads the XML form of property lists.
#pragma once

#include <cstdint>
#include <span>

#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

// The value of a document: UTF-8, UTF-16, US-ASCII or ISO-8859-1, with or without a byte
// order mark, comments, CDATA sections and processing instructions. A document type is passed
// over: no other file is read and no entity of its own is expanded. Containers
// may nest as deep as in the binary form. The message of an error begins with the place, as
// in "line 12: unknown element \"strin\"".
[[nodiscard]] Result<PropertyList> readXml(std::span<const std::uint8_t> bytes);

}  // namespace accountsettings
