// SettingsHistory is what this process knows of the settings on disk, so that edits of others can
// be told from its own saves. All of one context are guarded by one mutex, which OwnSave holds.
#pragma once

#include <mutex>
#include <utility>
#include <vector>

#include "plist/PropertyList.h"

namespace accountsettings {

class SettingsHistory {
 public:
  // States of the accounts between which somebody else changed them.
  using Steps = std::vector<std::pair<Array, Array>>;

  explicit SettingsHistory(Array accounts) : known_(std::move(accounts)) {}

  // The accounts were read: what differs from what was known, others did.
  void seen(Array accounts);
  // This process read the accounts and replaced them by others: only what it read was others' work.
  void replaced(Array read, Array written);
  // What others did since the last call.
  [[nodiscard]] Steps takeSteps();

 private:
  void note(Array accounts);

  Array known_;
  Steps steps_;
};

// OwnSave keeps the watchers of the current context from reading the settings while they are
// replaced, and tells them that this process did it.
class OwnSave {
 public:
  OwnSave();

  // The settings are replaced: of these accounts, read before, by those.
  void succeeded(const Array& read, const Array& written);

 private:
  std::unique_lock<std::mutex> lock_;
};

}  // namespace accountsettings
