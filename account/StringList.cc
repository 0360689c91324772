// Lists of strings, read from property lists and turned into them.
#include "account/StringList.h"

#include <algorithm>
#include <utility>

namespace accountsettings {

std::optional<StringList> stringListOf(const PropertyList* value) {
  const Array* array = value != nullptr ? value->array() : nullptr;
  if (array == nullptr) return std::nullopt;
  StringList strings;
  strings.reserve(array->size());
  for (const PropertyList& each : *array) {
    if (const auto text = each.stringValue()) strings.emplace_back(*text);
  }
  return strings;
}

Array arrayOf(const StringList& strings) {
  return Array(std::vector<PropertyList>(strings.begin(), strings.end()));
}

std::optional<std::string_view> stringOf(const PropertyList* value) noexcept {
  return value != nullptr ? value->stringValue() : std::nullopt;
}

bool containsString(const Array& list, std::string_view text) noexcept {
  return std::any_of(list.begin(), list.end(),
                     [text](const PropertyList& each) { return each.stringValue() == text; });
}

}  // namespace accountsettings
