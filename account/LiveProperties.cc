// The properties of a loaded account, which tell its store when its identity changes.
#include "account/LiveProperties.h"

#include <utility>

#include "account/AccountConstants.h"

namespace accountsettings {

void LiveProperties::set(std::string_view key, std::optional<PropertyList> value) {
  const bool isIdentity = key == kAccountIdentifier || key == kAccountSyncIdentifier;
  values_.set(key, std::move(value));
  if (isIdentity) noteIdentityChange();
}

void LiveProperties::assign(Dictionary values) {
  values_ = std::move(values);
  noteIdentityChange();
}

void LiveProperties::noteIdentityChangesIn(const std::shared_ptr<IdentityJournal>& journal) {
  std::erase_if(journals_, [](const auto& each) { return each.expired(); });
  for (const auto& each : journals_) {
    if (each.lock() == journal) return;
  }
  journals_.push_back(journal);
}

void LiveProperties::noteIdentityChange() {
  for (const auto& each : journals_) {
    if (const auto journal = each.lock()) journal->changed.push_back(this);
  }
}

}  // namespace accountsettings
