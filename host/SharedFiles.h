// SharedFiles hand out what they read without a copy of it; only read() copies that.
#pragma once

#include <string>

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
  [[nodiscard]] Result<SharedBytes> readExpecting(const std::string& path,
                                                  const SharedBytes& expected) final {
    Result<SharedBytes> bytes = readShared(path);
    return bytes && expected != nullptr && areEqual(*bytes, expected) ? expected : bytes;
  }
};

}  // namespace accountsettings
