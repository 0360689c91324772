// storageOf() is for walks that look at storage that several values share only once.
#pragma once

#include "plist/PropertyList.h"

namespace accountsettings {

// Where the values of a container are stored, the same for all that share them; nullptr where there
// are none.
///@{
[[nodiscard]] inline const void* storageOf(const Array& array) noexcept {
  return array.empty() ? nullptr : array.begin();
}
[[nodiscard]] inline const void* storageOf(const Dictionary& dictionary) noexcept {
  return dictionary.empty() ? nullptr : &dictionary.begin()->value();
}
///@}

}  // namespace accountsettings
