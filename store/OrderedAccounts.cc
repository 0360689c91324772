// OrderedAccounts.cc keeps the list and, once somebody has searched it, its index in step.
#include "store/OrderedAccounts.h"

#include <algorithm>
#include <utility>

#include "store/InBatches.h"

namespace accountsettings {

const std::vector<OrderedAccounts::Account>& OrderedAccounts::accounts() const {
  closeHoles();
  return slots_;
}

void OrderedAccounts::reserve(std::size_t size) {
  slots_.reserve(size);
  places_.reserve(size);
}

void OrderedAccounts::assign(std::vector<Account> accounts) {
  index_.reset();
  visitInBatches(slots_.begin(), slots_.end(), fetchAccount, [](Account& each) { each.reset(); });
  slots_.clear();
  places_.clear();
  holes_ = 0;
  reserve(accounts.size());
  for (Account& each : accounts) append(std::move(each));
}

void OrderedAccounts::append(Account account) {
  if (index_) index_->add(nextPlace_, *account);
  slots_.push_back(std::move(account));
  places_.push_back(nextPlace_++);
}

void OrderedAccounts::replace(Place place, Account account) {
  Account& slot = at(place);
  if (slot == account) return;
  index().remove(place);
  index().add(place, *account);
  slot = std::move(account);
}

void OrderedAccounts::remove(BasicAccount& account) {
  for (const Place place : index().tokensOf(account)) {
    index().remove(place);
    at(place).reset();
    ++holes_;
  }
  if (holes_ > slots_.size() / 2) closeHoles();
}

std::vector<OrderedAccounts::Place> OrderedAccounts::placesOf(std::string_view identifier) {
  return index().tokensWith(identifier);
}

OrderedAccounts::Account OrderedAccounts::lastWithIdentifier(std::string_view identifier) {
  const std::optional<Place> last = index().lastTokenWith(identifier);
  return last ? at(*last) : nullptr;
}

std::optional<OrderedAccounts::Place> OrderedAccounts::placeOf(BasicAccount& account) {
  const std::vector<Place> places = index().tokensOf(account);
  return places.empty() ? std::nullopt : std::optional(places.front());
}

LiveIndex& OrderedAccounts::index() {
  if (!index_) {
    index_.emplace(LiveIndex::Identity::Identifier);
    index_->reserve(slots_.size());
    auto place = places_.begin();
    const auto fetch = [&](const Account& account) {
      if (account != nullptr) index_->prefetch(*account);
    };
    visitInBatches(slots_.begin(), slots_.end(), fetch, [&](const Account& account) {
      if (account != nullptr) index_->add(*place, *account);
      ++place;
    });
  }
  return *index_;
}

OrderedAccounts::Account& OrderedAccounts::at(Place place) {
  const auto found = std::lower_bound(places_.begin(), places_.end(), place);
  return slots_[static_cast<std::size_t>(found - places_.begin())];
}

void OrderedAccounts::closeHoles() const {
  if (holes_ == 0) return;
  std::size_t kept = 0;
  for (std::size_t i = 0; i < slots_.size(); ++i) {
    if (slots_[i] == nullptr) continue;
    if (kept != i) {
      slots_[kept] = std::move(slots_[i]);
      places_[kept] = places_[i];
    }
    ++kept;
  }
  slots_.resize(kept);
  places_.resize(kept);
  holes_ = 0;
}

}  // namespace accountsettings
