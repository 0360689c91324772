// Digest is the SHA-256 sum of bytes, by which a file is known again. libcrypto computes it; it is
// opened at the first sum, so that programs that need none do not pay for it.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "plist/Result.h"

namespace accountsettings {

/// 64 lower-case hexadecimal digits. Fails where libcrypto cannot be loaded.
[[nodiscard]] Result<std::string> sha256(std::span<const std::uint8_t> bytes);

}  // namespace accountsettings
