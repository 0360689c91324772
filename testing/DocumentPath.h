// at() reaches into a document, so that a test says in one line where the value lies that it looks
// at.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

#include "plist/PropertyList.h"

namespace accountsettings::testing {

namespace detail {

inline const PropertyList& step(const Dictionary* dictionary, std::string_view key) {
  const PropertyList* found = dictionary != nullptr ? dictionary->find(key) : nullptr;
  if (found != nullptr) return *found;
  throw std::out_of_range("the document has nothing at \"" + std::string(key) + "\"");
}

inline const PropertyList& step(const Array* array, std::size_t index) {
  if (array != nullptr && index < array->size()) return (*array)[index];
  throw std::out_of_range("the document has nothing at " + std::to_string(index));
}

inline const Dictionary* dictionaryOf(const Dictionary& document) {
  return &document;
}
inline const Dictionary* dictionaryOf(const Array&) {
  return nullptr;
}
inline const Dictionary* dictionaryOf(const PropertyList& document) {
  return document.dictionary();
}
inline const Array* arrayOf(const Dictionary&) {
  return nullptr;
}
inline const Array* arrayOf(const Array& document) {
  return &document;
}
inline const Array* arrayOf(const PropertyList& document) {
  return document.array();
}

template <class Document, class Step>
const PropertyList& at(const Document& document, const Step& step) {
  if constexpr (std::is_integral_v<Step>) {
    return detail::step(arrayOf(document), static_cast<std::size_t>(step));
  } else {
    return detail::step(dictionaryOf(document), step);
  }
}

}  // namespace detail

// The value at the end of the steps through a Dictionary, an Array or a PropertyList, a string
// being the key in a dictionary and a number the place in an array: at(document, "accounts", 0,
// "name"). It lives as long as the document is not changed. Where a step leads nowhere,
// std::out_of_range says which; a test fails with it.
template <class Document, class Step, class... Steps>
const PropertyList& at(const Document& document, const Step& step, const Steps&... steps) {
  const PropertyList& found = detail::at(document, step);
  if constexpr (sizeof...(Steps) == 0) {
    return found;
  } else {
    return at(found, steps...);
  }
}

}  // namespace accountsettings::testing
