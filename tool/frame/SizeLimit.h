// SizeLimit keeps what is shown in proportion to what is stored: a few hundred bytes of a binary
// file can share their parts so often that they come to gigabytes when each is spelled out.
#pragma once

#include <cstdint>

#include "plist/PropertyList.h"

namespace accountsettings {

struct Fitted {
  PropertyList value;
  std::uint64_t leftOut = 0;  // how many values are missing in it
};

// The value as it is where it comes, spelled out, to less than a mebibyte and 64 times what is
// stored of it. Else with "(... left out)" in the place of what is too much: the largest parts are
// cut first, and in long lists what stands last. Takes time in proportion to what is stored.
[[nodiscard]] Fitted fittedToLimit(const PropertyList& value);

}  // namespace accountsettings
