// LiveIndex.cc. An entry is pinned under the hash of the identity that its record reported when it
// was last looked at. Invariants after catchUp():
//   1. An entry that does not float reports an identity of the pinned hash, or none if none is
//      pinned.
//   2. Every properties object whose change can alter that identity is in watched_ with the token.
// A candidate is compared by its text as well, since different texts may have one hash.
#include "store/LiveIndex.h"

#include <algorithm>
#include <utility>

#include "account/AccountConstants.h"
#include "account/StringList.h"

namespace accountsettings {

LiveIndex::LiveIndex(Identity identity)
    : key_(identity == Identity::Identifier ? kAccountIdentifier : kAccountSyncIdentifier),
      identity_(identity == Identity::Identifier ? &BasicAccount::identifier
                                                 : &BasicAccount::syncStoreIdentifier) {}

void LiveIndex::reserve(std::size_t records) {
  pins_.reserve(records);
  byHash_.reserve(records);
  watched_.reserve(records);
}

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
  const auto collect = [&](Token token) {
    if (reports(token, value)) tokens.push_back(token);
  };
  byHash_.forEach(detail::hashOf(value), collect);
  const auto pinned = static_cast<std::ptrdiff_t>(tokens.size());
  std::for_each(floating_.begin(), floating_.end(), collect);
  std::inplace_merge(tokens.begin(), tokens.begin() + pinned, tokens.end());
  return tokens;
}

std::optional<LiveIndex::Token> LiveIndex::lastTokenWith(std::string_view value) {
  catchUp();
  const auto accept = [&](Token token) { return reports(token, value); };
  const auto pinned = byHash_.last(detail::hashOf(value), accept);
  const auto floating = std::find_if(floating_.rbegin(), floating_.rend(), accept);
  return floating != floating_.rend() ? std::max(pinned, std::optional(*floating)) : pinned;
}

std::shared_ptr<BasicAccount> LiveIndex::firstRecordWith(std::string_view value) {
  catchUp();
  const auto accept = [&](Token token) { return reports(token, value); };
  auto token = byHash_.first(detail::hashOf(value), accept);
  const auto floating = std::find_if(floating_.begin(), floating_.end(), accept);
  if (floating != floating_.end() && (!token || *floating < *token)) token = *floating;
  return token ? pinAt(*token).record->shared_from_this() : nullptr;
}

std::vector<LiveIndex::Token> LiveIndex::tokensOf(BasicAccount& record) const {
  std::vector<Token> tokens;
  watched_.forEach(keyOf(&record.properties()), [&](Token token) {
    // A child that inherits its identity watches its parent's properties too.
    if (pinAt(token).record == &record) tokens.push_back(token);
  });
  return tokens;
}

std::size_t LiveIndex::placeOf(Token token) const {
  const auto place =
      std::lower_bound(pins_.begin(), pins_.end(), token,
                       [](const TokenPin& each, Token sought) { return each.token < sought; });
  return static_cast<std::size_t>(place - pins_.begin());
}

TokenTable::Key LiveIndex::keyOf(const LiveProperties* properties) noexcept {
  return reinterpret_cast<std::uintptr_t>(properties);
}

bool LiveIndex::reports(Token token, std::string_view value) const {
  return (pinAt(token).record->*identity_)() == value;
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
  pin.floats = pin.floats || (record.*identity_)() != text;
  if (text && !pin.floats) pin.hash = detail::hashOf(*text);
  return pin;
}

void LiveIndex::pin(Token token, BasicAccount& record) {
  const Pin pin = pinOf(record);
  const bool isLast = pins_.empty() || pins_.back().token < token;
  const std::size_t place = isLast ? pins_.size() : placeOf(token);
  if (isLast || pins_[place].token != token) {
    pins_.insert(pins_.begin() + static_cast<std::ptrdiff_t>(place), {token, pin});
  } else {
    if (pins_[place].pin.record == nullptr) --unused_;
    pins_[place].pin = pin;
  }
  watched_.add(keyOf(&record.properties()), token);
  if (pin.source != nullptr) {
    pin.source->noteIdentityChangesIn(journal_);
    watched_.add(keyOf(pin.source), token);
  }
  if (pin.hash) byHash_.add(*pin.hash, token);
  if (pin.floats) floating_.insert(token);
}

void LiveIndex::unpin(Token token) {
  const std::size_t place = placeOf(token);
  if (place == pins_.size() || pins_[place].token != token) return;
  const Pin pin = std::exchange(pins_[place].pin, Pin());
  if (pin.record == nullptr) return;
  watched_.remove(keyOf(&pin.record->properties()), token);
  if (pin.source != nullptr) watched_.remove(keyOf(pin.source), token);
  if (pin.hash) byHash_.remove(*pin.hash, token);
  if (pin.floats) floating_.erase(token);
  if (++unused_ <= pins_.size() / 2) return;
  std::erase_if(pins_, [](const TokenPin& each) { return each.pin.record == nullptr; });
  unused_ = 0;
}

void LiveIndex::catchUp() {
  if (journal_->changed.empty()) return;
  const std::set<const LiveProperties*> changed(journal_->changed.begin(), journal_->changed.end());
  journal_->changed.clear();
  std::set<Token> tokens;
  for (const LiveProperties* properties : changed) {
    watched_.forEach(keyOf(properties), [&](Token token) { tokens.insert(token); });
  }
  for (const Token token : tokens) {
    BasicAccount& record = *pinAt(token).record;
    unpin(token);
    pin(token, record);
  }
}

}  // namespace accountsettings
