// The choice between the two readers.
#include "plist/Reader.h"

#include <algorithm>
#include <string_view>

#include "plist/BinaryReader.h"
#include "plist/XmlReader.h"

namespace accountsettings {

std::optional<PropertyListForm> formOf(std::span<const std::uint8_t> bytes) noexcept {
  // Enough to see past a byte order mark and some white space.
  constexpr std::size_t kHead = 64;
  std::string_view head(reinterpret_cast<const char*>(bytes.data()), std::min(bytes.size(), kHead));
  if (head.starts_with("bplist")) return PropertyListForm::Binary;
  for (const std::string_view mark : {"\xEF\xBB\xBF", "\xFF\xFE", "\xFE\xFF"}) {
    if (head.starts_with(mark)) head.remove_prefix(mark.size());
  }
  const std::size_t first = head.find_first_not_of(std::string_view(" \t\r\n\0", 5));
  if (first == std::string_view::npos || head[first] != '<') return std::nullopt;
  return PropertyListForm::Xml;
}

Result<PropertyList> readPropertyList(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) return Error{"byte 0: the file is empty"};
  const auto form = formOf(bytes);
  if (!form) return Error{"byte 0: neither a binary nor an XML property list"};
  return *form == PropertyListForm::Binary ? readBinary(bytes) : readXml(bytes);
}

}  // namespace accountsettings
