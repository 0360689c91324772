// Finds and reads the property lists and texts of the plug-in bundle.
#include "account/BundleResources.h"

#include <map>
#include <mutex>
#include <utility>

#include "platform/ProcessContext.h"
#include "plist/Reader.h"

namespace accountsettings {

namespace {

// ParsedResources keeps what the bytes of a resource were parsed to: a process that works on many
// devices reads the same ones for each. Only the same bytes are answered the same.
class ParsedResources {
 public:
  [[nodiscard]] std::optional<Dictionary> parse(const std::string& path, Result<Bytes> bytes) {
    if (!bytes) return std::nullopt;
    const std::lock_guard lock(mutex_);
    const auto known = parsed_.find(path);
    if (known != parsed_.end() && known->second.bytes == *bytes) return known->second.content;
    const Result<PropertyList> value = readPropertyList(*bytes);
    if (!value || value->dictionary() == nullptr) return std::nullopt;
    parsed_.insert_or_assign(path, Parsed{std::move(bytes).value(), *value->dictionary()});
    return *value->dictionary();
  }

 private:
  struct Parsed {
    Bytes bytes;
    Dictionary content;
  };
  std::mutex mutex_;
  std::map<std::string, Parsed> parsed_;
};

}  // namespace

std::optional<std::string> pathOfBundleResource(std::string_view name) {
  return ProcessContext::current().platform().resources.pathOf(name);
}

std::optional<Dictionary> readBundleDictionary(const std::string& path) {
  static ParsedResources parsed;
  return parsed.parse(path, ProcessContext::current().platform().resources.read(path));
}

std::optional<Dictionary> bundleDictionaryNamed(std::string_view name) {
  const std::optional<std::string> path = pathOfBundleResource(name);
  return path ? readBundleDictionary(*path) : std::nullopt;
}

}  // namespace accountsettings
