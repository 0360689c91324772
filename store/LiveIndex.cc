// LiveIndex.cc. An entry is pinned under the hash of the identity that its record reported when it
// was last looked at. Invariants after catchUp():
//   1. An entry that does not float reports an identity of the pinned hash, or none if none is
//      pinned.
//   2. Every properties object whose change can alter that identity is in watched_ with the token.
// A candidate is compared by its text as well, since different texts may have one hash.
#include "store/LiveIndex.h"

#include <algorithm>
#include <limits>

#include "account/AccountConstants.h"
#include "account/StringList.h"

namespace accountsettings {

LiveIndex::LiveIndex(Identity identity)
    : key_(identity == Identity::Identifier ? kAccountIdentifier : kAccountSyncIdentifier),
      identity_(identity == Identity::Identifier ? &BasicAccount::identifier
                                                 : &BasicAccount::syncStoreIdentifier) {}

void LiveIndex::add(Token token, BasicAccount& record) {
  record.properties().noteIdentityChangesIn(journal_);
  pin(token, record);
}

void LiveIndex::remove(Token token) {
  unpin(token);
}

std::vector<LiveIndex::Token> LiveIndex::tokensWith(std::string_view value) {
  catchUp();
  std::vector<Token> tokens;
  const std::uint32_t hash = detail::hashOf(value);
  for (auto each = byHash_.lower_bound({hash, 0}); each != byHash_.end() && each->first == hash;
       ++each) {
    if (identityOf(*pins_.at(each->second).record) == value) tokens.push_back(each->second);
  }
  const auto pinned = static_cast<std::ptrdiff_t>(tokens.size());
  for (const Token token : floating_) {
    if (identityOf(*pins_.at(token).record) == value) tokens.push_back(token);
  }
  std::inplace_merge(tokens.begin(), tokens.begin() + pinned, tokens.end());
  return tokens;
}

std::optional<LiveIndex::Token> LiveIndex::lastTokenWith(std::string_view value) {
  catchUp();
  std::optional<Token> last;
  const std::uint32_t hash = detail::hashOf(value);
  auto each = byHash_.upper_bound({hash, std::numeric_limits<Token>::max()});
  while (!last && each != byHash_.begin() && (--each)->first == hash) {
    if (identityOf(*pins_.at(each->second).record) == value) last = each->second;
  }
  for (const Token token : floating_) {
    if (identityOf(*pins_.at(token).record) == value) last = std::max(last, std::optional(token));
  }
  return last;
}

std::shared_ptr<BasicAccount> LiveIndex::firstRecordWith(std::string_view value) {
  catchUp();
  std::optional<Token> first;
  const std::uint32_t hash = detail::hashOf(value);
  for (auto each = byHash_.lower_bound({hash, 0});
       !first && each != byHash_.end() && each->first == hash; ++each) {
    if (identityOf(*pins_.at(each->second).record) == value) first = each->second;
  }
  for (const Token token : floating_) {
    if (first && token > *first) break;
    if (identityOf(*pins_.at(token).record) == value) first = token;
  }
  return first ? pins_.at(*first).record->shared_from_this() : nullptr;
}

std::vector<LiveIndex::Token> LiveIndex::tokensOf(BasicAccount& record) const {
  std::vector<Token> tokens;
  const LiveProperties* properties = &record.properties();
  for (auto each = watched_.lower_bound({properties, 0});
       each != watched_.end() && each->first == properties; ++each) {
    // A child that inherits its identity watches its parent's properties too.
    if (pins_.at(each->second).record == &record) tokens.push_back(each->second);
  }
  return tokens;
}

std::optional<std::string> LiveIndex::identityOf(const BasicAccount& record) const {
  return (record.*identity_)();
}

LiveIndex::Pin LiveIndex::pinOf(BasicAccount& record) const {
  Pin pin;
  pin.record = &record;
  const PropertyList* stored = record.properties().find(key_);
  if (stored == nullptr && record.parentAccount() != nullptr) {
    BasicAccount& parent = *record.parentAccount();
    pin.source = &parent.properties();
    stored = pin.source->find(key_);
    pin.floats = stored == nullptr && parent.parentAccount() != nullptr;
  }
  const auto text = stringOf(stored);
  pin.floats = pin.floats || identityOf(record) != text;
  if (text && !pin.floats) pin.hash = detail::hashOf(*text);
  return pin;
}

void LiveIndex::pin(Token token, BasicAccount& record) {
  const Pin pin = pinOf(record);
  pins_[token] = pin;
  watched_.emplace(&record.properties(), token);
  if (pin.source != nullptr) {
    pin.source->noteIdentityChangesIn(journal_);
    watched_.emplace(pin.source, token);
  }
  if (pin.hash) byHash_.emplace(*pin.hash, token);
  if (pin.floats) floating_.insert(token);
}

void LiveIndex::unpin(Token token) {
  const auto found = pins_.find(token);
  if (found == pins_.end()) return;
  const Pin pin = found->second;
  pins_.erase(found);
  watched_.erase({&pin.record->properties(), token});
  if (pin.source != nullptr) watched_.erase({pin.source, token});
  if (pin.hash) byHash_.erase({*pin.hash, token});
  if (pin.floats) floating_.erase(token);
}

void LiveIndex::catchUp() {
  if (journal_->changed.empty()) return;
  const std::set<const LiveProperties*> changed(journal_->changed.begin(), journal_->changed.end());
  journal_->changed.clear();
  std::set<Token> tokens;
  for (const LiveProperties* properties : changed) {
    for (auto each = watched_.lower_bound({properties, 0});
         each != watched_.end() && each->first == properties; ++each) {
      tokens.insert(each->second);
    }
  }
  for (const Token token : tokens) {
    BasicAccount& record = *pins_.at(token).record;
    unpin(token);
    pin(token, record);
  }
}

}  // namespace accountsettings
