/// \file
/// LiveProperties is the mutable dictionary of one account record. Everyone who holds a
/// reference sees every change; who needs it beyond the record's life takes a share with
/// shared_from_this(). A store that indexes records by their identifiers keeps a journal,
/// in which each change of an identifier is noted, whoever makes it. Used from one thread
/// at a time, the record's.
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"

namespace accountsettings {

class LiveProperties;

/// IdentityJournal lists the records whose "Identifier" or "Sync Identifier" was written since its
/// owner last emptied it; a record may stand in it more than once, and may be gone by then.
struct IdentityJournal {
  std::vector<const LiveProperties*> changed;
};

/// \copydoc LiveProperties.h
class LiveProperties : public std::enable_shared_from_this<LiveProperties> {
 public:
  LiveProperties() = default;
  LiveProperties(const LiveProperties&) = delete;
  LiveProperties& operator=(const LiveProperties&) = delete;

  /// The current values; a copy of them is a snapshot and costs nothing.
  [[nodiscard]] const Dictionary& values() const noexcept { return values_; }
  /// The record's own value, or nullptr; good until the next change.
  [[nodiscard]] const PropertyList* find(std::string_view key) const noexcept {
    return values_.find(key);
  }
  /// A missing value removes the key.
  void set(std::string_view key, std::optional<PropertyList> value);
  void remove(std::string_view key) { set(key, std::nullopt); }
  /// Replaces everything.
  void assign(Dictionary values);

  /// Notes identity changes in `journal` for as long as its owner keeps it.
  void noteIdentityChangesIn(const std::shared_ptr<IdentityJournal>& journal);
  /// Notes one now; a record does so when its parent changes, from whom it may inherit.
  void noteIdentityChange();

 private:
  Dictionary values_;
  std::vector<std::weak_ptr<IdentityJournal>> journals_;
};

}  // namespace accountsettings
