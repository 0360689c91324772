// Digest is the SHA-256 sum of bytes, by which the program knows a file again; base64 is
// the text form of bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "plist/PropertyList.h"

namespace accountsettings {

// 64 lower-case hexadecimal digits.
[[nodiscard]] std::string sha256(std::span<const std::uint8_t> bytes);

[[nodiscard]] std::string base64(std::span<const std::uint8_t> bytes);
// None where the text is not base64 with its padding.
[[nodiscard]] std::optional<Bytes> bytesFromBase64(std::string_view text);

}  // namespace accountsettings
