// with() and without() are a dictionary with one key changed, for tests of what differs by one.
#pragma once

#include <string_view>
#include <utility>

#include "plist/PropertyList.h"

namespace accountsettings::testing {

[[nodiscard]] inline Dictionary with(Dictionary dictionary, std::string_view key,
                                     PropertyList value) {
  dictionary.set(key, std::move(value));
  return dictionary;
}

[[nodiscard]] inline Dictionary without(Dictionary dictionary, std::string_view key) {
  dictionary.remove(key);
  return dictionary;
}

}  // namespace accountsettings::testing
