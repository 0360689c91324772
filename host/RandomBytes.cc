// The kernel's randomness, with getrandom.
#include "host/RandomBytes.h"

#include <sys/random.h>

#include <cerrno>

namespace accountsettings {

bool fillWithRandomBytes(std::span<std::uint8_t> bytes) noexcept {
  while (!bytes.empty()) {
    const ssize_t count = ::getrandom(bytes.data(), bytes.size(), 0);
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace accountsettings
