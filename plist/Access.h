// Access is how the readers, writers and comparison of this folder reach the
// nodes behind values, to build them in place and to recognise shared ones.
#pragma once

#include <bit>
#include <cstring>
#include <utility>

#include "plist/Fetch.h"
#include "plist/PropertyList.h"

namespace accountsettings::detail {

using Entry = Dictionary::Entry;

struct Access {
  static const Shared<StringNode>& text(const PropertyList& value) { return value.text_; }
  static const Shared<DataNode>& data(const PropertyList& value) { return value.data_; }
  static Shared<ArrayNode>& node(Array& array) { return array.node_; }
  static const Shared<ArrayNode>& node(const Array& array) { return array.node_; }
  static Shared<DictionaryNode>& node(Dictionary& dictionary) { return dictionary.node_; }
  static const Shared<DictionaryNode>& node(const Dictionary& dictionary) {
    return dictionary.node_;
  }
  static Array& array(PropertyList& value) { return value.array_; }
  static Dictionary& dictionary(PropertyList& value) { return value.dictionary_; }
  // The node of a string, data or a container, if it has one.
  static Counted* storage(const PropertyList& value) {
    switch (value.kind_) {
      case PropertyList::Kind::String:
        return value.text_.get();
      case PropertyList::Kind::Data:
        return value.data_.get();
      case PropertyList::Kind::Array:
        return value.array_.node_.get();
      case PropertyList::Kind::Dictionary:
        return value.dictionary_.node_.get();
      default:
        return nullptr;
    }
  }
  // Prefetches the storage of some values, all at a time; met one after the other, each would be
  // waited for.
  static void fetchStorage(const PropertyList* first, const PropertyList* last) noexcept {
    for (; first < last; ++first) fetch(storage(*first));
  }
  // Constructs a copy that is not counted as a reference: the caller sees to the count.
  static void copyUncounted(const PropertyList& value, PropertyList* place) {
    std::memcpy(static_cast<void*>(place), &value, sizeof(PropertyList));
  }
  // The node of an array or a dictionary.
  static const Counted* container(const PropertyList& value) {
    if (const Array* array = value.array()) return node(*array).get();
    return node(*value.dictionary()).get();
  }
  static const StringNode* key(const Entry& entry) { return entry.key_; }
  // The 64 bits of a scalar.
  static std::uint64_t bits(const PropertyList& value) {
    const bool isReal = value.kind_ == PropertyList::Kind::Real;
    if (isReal || value.kind_ == PropertyList::Kind::Date) {
      return std::bit_cast<std::uint64_t>(value.real_);
    }
    return static_cast<std::uint64_t>(value.integer_);
  }
  static double number(const PropertyList& value) { return value.real_; }

  static PropertyList string(Shared<StringNode> text) { return PropertyList(std::move(text)); }
  static Array arrayOf(Shared<ArrayNode> node) { return Array(std::move(node)); }
  static Dictionary dictionaryOf(Shared<DictionaryNode> node) {
    return Dictionary(std::move(node));
  }
};

}  // namespace accountsettings::detail
