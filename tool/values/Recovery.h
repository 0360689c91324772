// recoverCutOff() takes out of a property list that was cut off what is still whole. Nothing else
// can read such a file: the binary form tells at its end where its objects lie.
#pragma once

#include <cstddef>

#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

struct Recovered {
  PropertyList value;
  // Values, and keys, of which is known that they were there: in a binary file "…" and a number
  // stands for each, the same for the same one.
  std::size_t cutOff = 0;
};

// The error says where not even a beginning can be read.
[[nodiscard]] Result<Recovered> recoverCutOff(const Bytes& bytes);

}  // namespace accountsettings
