// Reads a file that is to hold a dictionary.
#include "platform/ReadDictionary.h"

#include "plist/Reader.h"

namespace accountsettings {

std::optional<Dictionary> readDictionary(Files& files, const std::string& path) {
  const Result<Bytes> bytes = files.read(path);
  if (!bytes) return std::nullopt;
  const Result<PropertyList> value = readPropertyList(*bytes);
  if (!value || value->dictionary() == nullptr) return std::nullopt;
  return *value->dictionary();
}

}  // namespace accountsettings
