// SettingsFile reads and replaces the settings file. It remembers what it last read or wrote, so
// that a file that nobody has changed since is compared, byte by byte, and not parsed again.
#pragma once

#include <optional>

#include "plist/PropertyList.h"

namespace accountsettings {

class SettingsFile {
 public:
  // The dictionary in the file now; none where the file is missing, unreadable or holds something
  // else.
  [[nodiscard]] std::optional<Dictionary> read();
  // Replaces the file, whole or not at all, by `data`, which is `root` serialised. Without data, as
  // after any other failure, it answers false; the file is as it was and nothing else stays behind.
  bool replace(std::optional<Bytes> data, const Dictionary& root);

 private:
  Bytes knownBytes_;
  Dictionary knownRoot_;
};

}  // namespace accountsettings
