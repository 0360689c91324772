// Hands out the resources that are shipped, or those that a test puts in their place.
#include "testing/FakeResources.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "plist/BinaryWriter.h"
#include "plist/Reader.h"

namespace accountsettings::testing {

namespace {

std::string resourcePath(std::string_view name) {
  return std::string(AS_RESOURCES_DIR "/").append(name).append(".plist");
}

std::optional<Bytes> contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

}  // namespace

void FakeResources::put(const std::string& name, const PropertyList& value) {
  putBytes(name, writeBinary(value).value());
}

void FakeResources::putBytes(const std::string& name, Bytes bytes) {
  replaced_[resourcePath(name)] = std::move(bytes);
}

void FakeResources::remove(const std::string& name) {
  replaced_[resourcePath(name)].reset();
}

void FakeResources::putText(const std::string& table, std::string_view key, std::string_view text) {
  texts_[table].set(key, text);
}

std::optional<std::string> FakeResources::pathOf(std::string_view name) {
  if (faults_.check("resources.pathOf", name)) return std::nullopt;
  std::string path = resourcePath(name);
  const auto replaced = replaced_.find(path);
  const bool isThere = replaced == replaced_.end() ? std::filesystem::is_regular_file(path)
                                                   : replaced->second.has_value();
  if (!isThere) return std::nullopt;
  return path;
}

Result<Bytes> FakeResources::read(const std::string& path) {
  if (std::optional<Error> error = faults_.check("resources.read", path)) return *error;
  const auto replaced = replaced_.find(path);
  std::optional<Bytes> bytes = replaced == replaced_.end() ? contentOf(path) : replaced->second;
  if (!bytes) return failure(path, ENOENT);
  return *std::move(bytes);
}

std::optional<std::string> FakeResources::localizedEntry(std::string_view key,
                                                         std::string_view table) const {
  std::optional<PropertyList> text;
  if (const auto found = texts_.find(table); found != texts_.end()) text = found->second.get(key);
  if (!text) {
    const std::optional<Bytes> bytes = contentOf(resourcePath(language + "/" + std::string(table)));
    if (!bytes) return std::nullopt;
    const Result<PropertyList> value = readPropertyList(*bytes);
    if (value && value->dictionary() != nullptr) text = value->dictionary()->get(key);
  }
  if (!text || !text->stringValue()) return std::nullopt;
  return std::string(*text->stringValue());
}

std::string FakeResources::localizedString(std::string_view key, std::string_view defaultValue,
                                           std::string_view table) {
  const bool failed = faults_.check("resources.localizedString", table).has_value();
  if (!failed) {
    if (std::optional<std::string> text = localizedEntry(key, table)) return *text;
  }
  return std::string(defaultValue.empty() ? key : defaultValue);
}

}  // namespace accountsettings::testing
