// SettingsFile reads and replaces the settings file. It remembers what it last read or wrote, so
// that a file that nobody has changed since is compared, byte by byte, and not parsed again.
#pragma once

#include <memory>
#include <optional>

#include "plist/PropertyList.h"
#include "plist/Result.h"
#include "store/KnownSettings.h"

namespace accountsettings {

class SettingsFile {
 public:
  // The dictionary in the file now; none where there is no file or it holds something else. Fails
  // where the file cannot be read: nobody can tell then what it holds.
  [[nodiscard]] Result<std::optional<Dictionary>> read();
  // The accounts that were read or written last; none before.
  [[nodiscard]] Array knownAccounts() const;
  // Replaces the file, whole or not at all, by `data`, which is `root` serialised. After a failure,
  // which lacking data is too, the file is as it was and nothing else stays behind.
  Status replace(Result<SharedBytes> data, const Dictionary& root);
  // The bytes that were read or written last are needed no more: others are about to be written.
  // Should they not be written, the file is parsed at the next reading.
  void forget();
  // The bytes that this object wrote last, or read where saves are rehearsed, if their root had the
  // very same accounts and version as `root`, so that serialising it again would give them again;
  // else nullptr.
  [[nodiscard]] SharedBytes serializationOf(const Dictionary& root) const;

 private:
  std::shared_ptr<const KnownSettings> known_;  // what was read or written last
  bool isOwn_ = false;                          // it was written
};

// The list of accounts in a settings file's root; empty where it has none.
[[nodiscard]] Array accountsOf(const Dictionary& root);

}  // namespace accountsettings
