// XmlScalars holds the texts that scalars have in the XML form, both ways.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "plist/PropertyList.h"

namespace accountsettings::detail {

// Each reading answers none where the whole text is not such a scalar.

// Decimal or, after "0x", hexadecimal digits with an optional sign; -2^63 to 2^64-1.
[[nodiscard]] std::optional<PropertyList> parseInteger(std::string_view text) noexcept;
// A decimal number with an optional exponent, or "nan", "inf", "infinity" in any case. A number
// too small for a double is 0, one too large is none.
[[nodiscard]] std::optional<double> parseReal(std::string_view text);
// YYYY-MM-DDThh:mm:ssZ from the years 1 to 9999, as seconds since 2001-01-01T00:00:00Z.
[[nodiscard]] std::optional<double> parseDate(std::string_view text) noexcept;
// Base64 with padding; white space counts for nothing.
[[nodiscard]] std::optional<Bytes> parseBase64(std::string_view text);

// The shortest text that reads back to the same double; all NaNs are "nan".
[[nodiscard]] std::string formatReal(double real);
// The text of a date of whole seconds in the years 1 to 9999, else none.
[[nodiscard]] std::optional<std::string> formatDate(double seconds);
// Appends four characters for every three bytes begun, without line breaks.
void appendBase64(std::string& out, std::span<const std::uint8_t> bytes);

}  // namespace accountsettings::detail
