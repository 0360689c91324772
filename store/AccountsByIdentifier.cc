// AccountsByIdentifier.cc keeps the map and, once somebody has searched it, its index in step.
#include "store/AccountsByIdentifier.h"

#include <algorithm>
#include <utility>

namespace accountsettings {

AccountsByIdentifier::Account AccountsByIdentifier::find(std::string_view identifier) const {
  const Entry* entry = entries_.find(identifier);
  return entry != nullptr ? entry->account : nullptr;
}

void AccountsByIdentifier::set(std::string_view identifier, Account account) {
  const auto [entry, isNew] = entries_.insert(identifier);
  if (!isNew && entry->account == account) return;
  if (bySyncIdentifier_) {
    if (!isNew) bySyncIdentifier_->remove(entry->token);
    bySyncIdentifier_->add(nextToken_, *account);
  }
  *entry = {std::move(account), nextToken_++};
}

void AccountsByIdentifier::remove(std::string_view identifier) {
  const Entry* entry = entries_.find(identifier);
  if (entry == nullptr) return;
  if (bySyncIdentifier_) bySyncIdentifier_->remove(entry->token);
  entries_.remove(identifier);
}

void AccountsByIdentifier::clear() {
  bySyncIdentifier_.reset();
  entries_.clear();
}

void AccountsByIdentifier::reorder(const std::vector<std::size_t>& places) {
  bySyncIdentifier_.reset();
  entries_.reorder(places);
  nextToken_ = 0;
  entries_.forEachValue([this](Entry& entry) { entry.token = nextToken_++; });
}

AccountsByIdentifier::Account AccountsByIdentifier::withSyncIdentifier(
    std::string_view syncIdentifier) const {
  if (!bySyncIdentifier_) {
    bySyncIdentifier_.emplace(LiveIndex::Identity::SyncIdentifier);
    bySyncIdentifier_->reserve(entries_.size());
    // An account that has replaced another stands in its place with a later token.
    std::vector<const Entry*> byToken;
    byToken.reserve(entries_.size());
    for (const auto& each : entries_) byToken.push_back(&each.value);
    std::sort(byToken.begin(), byToken.end(),
              [](const Entry* left, const Entry* right) { return left->token < right->token; });
    for (const Entry* each : byToken) bySyncIdentifier_->add(each->token, *each->account);
  }
  return bySyncIdentifier_->firstRecordWith(syncIdentifier);
}

}  // namespace accountsettings
