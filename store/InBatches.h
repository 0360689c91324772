// InBatches.h is for walks over many accounts, which lie all over the memory. A walk that visits
// them one after the other waits for the memory at each; here it waits for sixteen at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "account/BasicAccount.h"

namespace accountsettings {

// What fetch() will have to look at, to find out what it is to prefetch: of an account or a
// description the storage of its properties.
inline void approach(const std::shared_ptr<BasicAccount>& account) {
  if (account != nullptr) account->properties().values().prefetchStorage();
}
inline void approach(const PropertyList& description) {
  if (description.dictionary() != nullptr) description.dictionary()->prefetchStorage();
}
template <class Element>
void approach(const Element&) {}

// Calls `visit` with each element in order, and `fetch` some elements ahead, which is to prefetch
// what the visit reads and must change nothing.
template <class Iterator, class Fetch, class Visit>
void visitInBatches(Iterator first, Iterator last, Fetch fetch, Visit visit) {
  const auto approachBatch = [last](Iterator from) {
    constexpr std::ptrdiff_t kBatch = 16;
    const Iterator end = std::next(from, std::min(kBatch, std::distance(from, last)));
    std::for_each(from, end, [](const auto& element) { approach(element); });
    return end;
  };
  Iterator end = approachBatch(first);
  while (first != last) {
    const Iterator next = approachBatch(end);
    std::for_each(first, end, fetch);
    std::for_each(first, end, visit);
    first = std::exchange(end, next);
  }
}

// What the reading of an account's first properties needs.
inline void fetchAccount(const std::shared_ptr<BasicAccount>& account) {
  if (account != nullptr) account->properties().values().prefetch();
}
inline void fetchDescription(const PropertyList& description) {
  if (description.dictionary() != nullptr) description.dictionary()->prefetch();
}

// Calls `visit` with each account in order.
template <class Visit>
void forEachAccount(const std::vector<std::shared_ptr<BasicAccount>>& accounts, Visit visit) {
  visitInBatches(accounts.begin(), accounts.end(), fetchAccount, visit);
}

}  // namespace accountsettings
