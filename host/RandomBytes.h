// fillWithRandomBytes asks the kernel for randomness.
#pragma once

#include <cstdint>
#include <span>

namespace accountsettings {

// False where the kernel has none to give; errno tells why.
[[nodiscard]] bool fillWithRandomBytes(std::span<std::uint8_t> bytes) noexcept;

}  // namespace accountsettings
