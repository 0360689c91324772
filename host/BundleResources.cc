// How the resources and string tables of the plug-in bundle are read.
#include "host/BundleResources.h"

#include <filesystem>
#include <utility>

#include "host/DropIns.h"
#include "host/FileIO.h"
#include "platform/ParsedResources.h"
#include "platform/Presence.h"

namespace accountsettings {

namespace {

// No resource comes near this size.
constexpr std::uint64_t kLargestResource = std::uint64_t{64} << 20;

// What is installed was never a device that is better looked at before it is opened.
Result<Bytes> readResource(const std::string& path) {
  return readSeenRegular(openerOf(path), kLargestResource, path);
}

// Empty where there is no such table.
Result<Dictionary> readTable(const std::string& path) {
  static ParsedResources parsed;
  Result<Bytes> bytes = readResource(path);
  if (!bytes && isAbsence(bytes.error())) return Dictionary();
  if (!bytes) return bytes.error();
  const Result<PropertyList> table = parsed.parse(path, std::move(bytes).value());
  if (!table) return Error{path + ": " + table.error().message};
  return table->dictionary() != nullptr ? *table->dictionary() : Dictionary();
}

bool isFileName(std::string_view name) {
  return !name.empty() && name.find('/') == std::string_view::npos;
}

}  // namespace

BundleResources::BundleResources(std::string directory, std::vector<std::string> languages,
                                 std::string dropIns, SystemLog& log)
    : directory_(std::move(directory)),
      dropIns_(std::move(dropIns)),
      log_(log),
      languages_(std::move(languages)) {}

std::optional<std::string> BundleResources::pathOf(std::string_view name) {
  std::string path = directory_ + '/' + std::string(name) + ".plist";
  if (resources_.contains(path)) return path;
  struct stat status {};
  if (!isFileName(name) || ::stat(path.c_str(), &status) != 0) return std::nullopt;
  return path;
}

Result<Bytes> BundleResources::read(const std::string& path) {
  if (const auto known = resources_.find(path); known != resources_.end()) return known->second;
  const std::string name = std::filesystem::path(path).stem();
  Result<Bytes> bytes = withDropIns(readResource(path), dropIns_ + '/' + name + ".d", log_);
  if (bytes) resources_.emplace(path, *bytes);
  return bytes;
}

std::string BundleResources::localizedString(std::string_view key, std::string_view defaultValue,
                                             std::string_view table) {
  if (isFileName(table)) {
    for (const std::string& language : languages_) {
      const PropertyList* value = tableIn(language, table).find(key);
      if (value == nullptr) continue;
      if (const std::optional<std::string_view> text = value->stringValue()) {
        return std::string(*text);
      }
    }
  }
  return std::string(defaultValue.empty() ? key : defaultValue);
}

const Dictionary& BundleResources::tableIn(const std::string& language, std::string_view table) {
  const std::string path = directory_ + '/' + language + '/' + std::string(table) + ".plist";
  if (const auto found = tables_.find(path); found != tables_.end()) return found->second;
  Result<Dictionary> texts = readTable(path);
  if (!texts) {
    static const Dictionary kNoTexts;
    tableFailure_ = texts.error();
    return kNoTexts;
  }
  return tables_.emplace(path, std::move(*texts)).first->second;
}

}  // namespace accountsettings
