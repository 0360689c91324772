/// \file
/// XmlWriter writes the XML form of property lists.
#pragma once

#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

/// The bytes of a document that holds `value`, indented with tabs, in UTF-8.
///
/// The XML form cannot hold a UID, a date that has fractions of a second or lies outside the
/// years 1 to 9999, nor a string with control characters, lone surrogates, U+FFFE or U+FFFF; the
/// error names the value, as in `Accounts[3].Token: UID, which the XML form cannot hold`. It has no
/// way to share a value that occurs often: where spelling all out would multiply what is
/// stored, that is an error too.
[[nodiscard]] Result<Bytes> writeXml(const PropertyList& value);

}  // namespace accountsettings
