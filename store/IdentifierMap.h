// IdentifierMap maps identifiers to values. It is walked in the order in which the
// identifiers were entered, so that runs repeat; a look-up takes constant time, also
// where hostile input chose the identifiers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "plist/PropertyList.h"
#include "store/TokenTable.h"

namespace accountsettings {

template <class Value>
class IdentifierMap {
 public:
  struct Entry {
    std::string identifier;
    Value value;
  };

  // Iterator passes over what was removed.
  class Iterator {
   public:
    Iterator(const std::optional<Entry>* at, const std::optional<Entry>* end) : at_(at), end_(end) {
      skip();
    }
    const Entry& operator*() const { return **at_; }
    Iterator& operator++() {
      ++at_;
      skip();
      return *this;
    }
    bool operator==(const Iterator& other) const { return at_ == other.at_; }

   private:
    void skip() {
      while (at_ != end_ && !*at_) ++at_;
    }

    const std::optional<Entry>* at_;
    const std::optional<Entry>* end_;
  };

  [[nodiscard]] std::size_t size() const noexcept { return entries_.size() - removed_; }
  [[nodiscard]] Iterator begin() const {
    return {entries_.data(), entries_.data() + entries_.size()};
  }
  [[nodiscard]] Iterator end() const {
    return {entries_.data() + entries_.size(), entries_.data() + entries_.size()};
  }

  // The value under `identifier`, or nullptr; the pointer lives until the next change.
  [[nodiscard]] const Value* find(std::string_view identifier) const {
    const auto index = indexOf(identifier);
    return index ? &entries_[*index]->value : nullptr;
  }
  [[nodiscard]] Value* find(std::string_view identifier) {
    return const_cast<Value*>(std::as_const(*this).find(identifier));
  }

  // Where the identifier stands, below places(); good until the next change.
  [[nodiscard]] std::optional<std::size_t> placeOf(std::string_view identifier) const {
    return indexOf(identifier);
  }
  [[nodiscard]] std::size_t places() const noexcept { return entries_.size(); }
  // What stands at a place that placeOf() answered.
  [[nodiscard]] const Value& at(std::size_t place) const { return entries_[place]->value; }
  // REQUIRES: `places` are those of all identifiers, each once.
  // Brings the entries into this order.
  void reorder(const std::vector<std::size_t>& places) {
    if (isOrder(places)) return;
    std::vector<std::size_t> now(entries_.size());
    std::vector<std::optional<Entry>> former;
    former.reserve(places.size());
    former.swap(entries_);
    for (const std::size_t place : places) {
      now[place] = entries_.size();
      entries_.push_back(std::move(former[place]));
    }
    removed_ = 0;
    index_.renumber([&](TokenTable::Token place) { return now[place]; });
  }

  // Calls `visit` with each value, in order.
  template <class Visit>
  void forEachValue(Visit visit) {
    for (auto& entry : entries_) {
      if (entry) visit(entry->value);
    }
  }

  void reserve(std::size_t size) {
    entries_.reserve(size);
    index_.reserve(size);
  }

  // A value that is there already is replaced, in its old place of the order.
  void set(std::string_view identifier, Value value) {
    *insert(identifier).first = std::move(value);
  }
  // The value under `identifier`, an empty one where there was none, and whether there was none.
  // The pointer lives until the next change.
  std::pair<Value*, bool> insert(std::string_view identifier) {
    if (isAt(expected_, identifier)) return {&entries_[expected_++]->value, false};
    const TokenTable::Key key = keyOf(identifier);
    if (const auto index = indexWith(key, identifier)) {
      expected_ = *index + 1;
      return {&entries_[*index]->value, false};
    }
    index_.add(key, entries_.size());
    entries_.push_back(Entry{std::string(identifier), Value()});
    return {&entries_.back()->value, true};
  }

  void remove(std::string_view identifier) {
    const auto index = indexOf(identifier);
    if (!index) return;
    index_.remove(keyOf(identifier), *index);
    entries_[*index].reset();
    ++removed_;
    if (removed_ > entries_.size() / 2) closeGaps();
  }

  void clear() {
    index_.clear();
    entries_.clear();
    removed_ = 0;
  }

 private:
  static TokenTable::Key keyOf(std::string_view identifier) { return detail::hashOf(identifier); }

  [[nodiscard]] std::optional<std::size_t> indexOf(std::string_view identifier) const {
    std::optional<std::size_t> index = expected_;
    if (!isAt(*index, identifier)) {
      // Or it is looked up in the opposite order: before the one that was found last.
      index = expected_ - 2;
      if (!isAt(*index, identifier)) index = indexWith(keyOf(identifier), identifier);
    }
    if (index) expected_ = *index + 1;
    return index;
  }
  // Whether the entries stand in this order already, without gaps.
  [[nodiscard]] bool isOrder(const std::vector<std::size_t>& places) const {
    std::size_t next = 0;
    return entries_.size() == places.size() &&
           std::all_of(places.begin(), places.end(),
                       [&next](std::size_t place) { return place == next++; });
  }
  [[nodiscard]] bool isAt(std::size_t index, std::string_view identifier) const {
    return index < entries_.size() && entries_[index] && entries_[index]->identifier == identifier;
  }
  [[nodiscard]] std::optional<std::size_t> indexWith(TokenTable::Key key,
                                                     std::string_view identifier) const {
    // Different identifiers may have one key.
    return index_.first(
        key, [&](std::size_t index) { return entries_[index]->identifier == identifier; });
  }

  void closeGaps() {
    std::erase_if(entries_, [](const auto& entry) { return !entry; });
    removed_ = 0;
    index_.clear();
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      index_.add(keyOf(entries_[i]->identifier), i);
    }
  }

  // In the order of entry; removing leaves a gap.
  std::vector<std::optional<Entry>> entries_;
  std::size_t removed_ = 0;
  TokenTable index_;
  // The entry after the one that was found last. Whoever looks up many does so in order more often
  // than not, and finds them without a search that jumps about in memory.
  mutable std::size_t expected_ = 0;
};

}  // namespace accountsettings
