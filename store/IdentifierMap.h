// IdentifierMap maps identifiers to values. It is walked in the order in which the
// identifiers were entered, so that runs repeat; a look-up takes constant time, also
// where hostile input chose the identifiers.
#pragma once

#include <cstddef>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "plist/PropertyList.h"

namespace accountsettings {

template <class Value>
class IdentifierMap {
 public:
  struct Entry {
    std::string identifier;
    Value value;
  };
  using const_iterator = typename std::list<Entry>::const_iterator;

  IdentifierMap() = default;
  // Moving keeps the nodes, and with them the texts that the index looks at.
  IdentifierMap(IdentifierMap&&) = default;
  IdentifierMap& operator=(IdentifierMap&&) = default;

  [[nodiscard]] std::size_t size() const noexcept { return entries_.size(); }
  [[nodiscard]] const_iterator begin() const noexcept { return entries_.begin(); }
  [[nodiscard]] const_iterator end() const noexcept { return entries_.end(); }

  // The value under `identifier`, or nullptr; the pointer lives until that entry is removed.
  [[nodiscard]] const Value* find(std::string_view identifier) const {
    const auto found = index_.find(identifier);
    return found != index_.end() ? &found->second->value : nullptr;
  }
  [[nodiscard]] Value* find(std::string_view identifier) {
    return const_cast<Value*>(std::as_const(*this).find(identifier));
  }

  // A value that is there already is replaced, in its old place of the order.
  void set(std::string_view identifier, Value value) {
    if (Value* old = find(identifier)) {
      *old = std::move(value);
      return;
    }
    entries_.push_back({std::string(identifier), std::move(value)});
    index_.emplace(entries_.back().identifier, std::prev(entries_.end()));
  }

  void remove(std::string_view identifier) {
    const auto found = index_.find(identifier);
    if (found == index_.end()) return;
    const auto entry = found->second;
    index_.erase(found);
    entries_.erase(entry);
  }

  void clear() {
    index_.clear();
    entries_.clear();
  }

 private:
  struct Hash {
    std::size_t operator()(std::string_view text) const noexcept { return detail::hashOf(text); }
  };

  std::list<Entry> entries_;
  std::unordered_map<std::string_view, typename std::list<Entry>::iterator, Hash> index_;
};

}  // namespace accountsettings
