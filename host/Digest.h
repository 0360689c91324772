// Digest is the SHA-256 sum of bytes, by which a file is known again.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "plist/Result.h"

namespace accountsettings {

/// 64 lower-case hexadecimal digits.
[[nodiscard]] Result<std::string> sha256(std::span<const std::uint8_t> bytes);

namespace detail {
// The same by what every processor can do; sha256() uses instructions of their own where there are
// some.
[[nodiscard]] std::string portableSha256(std::span<const std::uint8_t> bytes);
}  // namespace detail

}  // namespace accountsettings
