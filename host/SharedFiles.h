// SharedFiles hand out what they read without a copy of it; read() and readUnless() copy that.
#pragma once

#include <algorithm>
#include <optional>
#include <span>
#include <string>

#include "host/FileChange.h"
#include "platform/Files.h"

namespace accountsettings {

class SharedFiles : public Files {
 public:
  // The file's bytes; they stay as they are.
  [[nodiscard]] virtual Result<SharedBytes> readShared(const std::string& path) = 0;

  [[nodiscard]] Result<Bytes> read(const std::string& path) final {
    const Result<SharedBytes> bytes = readShared(path);
    if (!bytes) return bytes.error();
    return Bytes(**bytes);
  }
  [[nodiscard]] Result<std::optional<Bytes>> readUnless(const std::string& path,
                                                        std::span<const std::uint8_t> known) final {
    const Result<SharedBytes> bytes = readShared(path);
    if (!bytes) return bytes.error();
    if (std::ranges::equal(**bytes, known)) return std::optional<Bytes>();
    return std::optional<Bytes>(**bytes);
  }
};

}  // namespace accountsettings
