// Dictionary's look-up and changing operations.
#include <algorithm>
#include <memory>

#include "plist/Keys.h"
#include "plist/PropertyList.h"
#include "plist/Sequence.h"

namespace accountsettings {
namespace {

// Where the key stands, or kNoKey.
std::size_t placeIn(const detail::DictionaryNode* node, std::string_view key) noexcept {
  const bool hasKeys = node != nullptr && node->keys;
  return hasKeys ? detail::placeOfKey(*node->keys, key) : detail::kNoKey;
}

}  // namespace

Dictionary::Dictionary(std::initializer_list<std::pair<std::string_view, PropertyList>> entries) {
  for (const auto& [key, value] : entries) set(key, value);
}

const PropertyList* Dictionary::find(std::string_view key) const noexcept {
  const std::size_t place = placeIn(node_.get(), key);
  return place != detail::kNoKey ? node_->items() + place : nullptr;
}

void Dictionary::prefetch(std::size_t most) const noexcept {
  if (empty()) return;
  const PropertyList* values = node_->items();
  detail::Access::fetchStorage(values, values + std::min(size(), most));
}

void Dictionary::prefetchStorage() const noexcept {
  constexpr std::size_t kLine = 64;
  if (!node_) return;
  detail::fetch(node_.get());
  detail::fetch(reinterpret_cast<const char*>(node_.get()) + kLine);
}

std::optional<PropertyList> Dictionary::get(std::string_view key) const {
  const PropertyList* found = find(key);
  return found != nullptr ? std::optional(*found) : std::nullopt;
}

const Array& Dictionary::arrayOrEmpty(std::string_view key) const noexcept {
  static const Array none;
  const Array* found = array(key);
  return found != nullptr ? *found : none;
}

void Dictionary::set(std::string_view key, PropertyList value) {
  const std::size_t place = placeIn(node_.get(), key);
  if (place != detail::kNoKey) {
    detail::makeWritable(node_, size());
    node_->items()[place] = std::move(value);
    return;
  }
  detail::makeWritable(node_, size() + 1);
  detail::appendKey(node_->keys, key);
  std::construct_at(node_->items() + node_->size, std::move(value));
  ++node_->size;
}

bool Dictionary::remove(std::string_view key) {
  const std::size_t place = placeIn(node_.get(), key);
  if (place == detail::kNoKey) return false;
  detail::makeWritable(node_, size());
  detail::removeKeyAt(node_->keys, place);
  detail::eraseAt(*node_, place);
  return true;
}

}  // namespace accountsettings
