// Digest is the SHA-256 sum of bytes, by which the program knows a file again.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace accountsettings {

// 64 lower-case hexadecimal digits.
[[nodiscard]] std::string sha256(std::span<const std::uint8_t> bytes);

}  // namespace accountsettings
