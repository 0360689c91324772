// DamagedBytes shows the bytes of a file around the place where it cannot be read, in hexadecimal.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"

namespace accountsettings {

struct DamagedBytes {
  struct Byte {
    std::string hex;      // two digits, or two dots in the place of what is not to be seen
    bool isHere = false;  // at the place of the damage
  };
  struct Row {
    std::string offset;  // of the first byte, eight hexadecimal digits
    std::vector<Byte> bytes;
    std::string text;  // the same bytes as characters
  };

  std::size_t size = 0;                // of the file
  std::optional<std::size_t> place{};  // of the damage; none where the message names none
  std::string placeInHex;
  std::vector<Row> rows;
};

// The rows around the place that a reader's message names ("byte 118: ...", "line 3: ..."); around
// the file's end where it names none. Every byte is left out that can belong to a text or to data:
// where a file is damaged, nobody can tell which of these are passwords.
[[nodiscard]] DamagedBytes damagedBytes(const Bytes& file, std::string_view message);

}  // namespace accountsettings
