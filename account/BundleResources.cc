// Finds and reads the property lists and texts of the plug-in bundle.
#include "account/BundleResources.h"

#include <utility>

#include "platform/ParsedResources.h"
#include "platform/ProcessContext.h"

namespace accountsettings {

std::optional<std::string> pathOfBundleResource(std::string_view name) {
  return ProcessContext::current().platform().resources.pathOf(name);
}

std::optional<Dictionary> readBundleDictionary(const std::string& path) {
  static ParsedResources parsed;
  Result<Bytes> bytes = ProcessContext::current().platform().resources.read(path);
  if (!bytes) return std::nullopt;
  const Result<PropertyList> content = parsed.parse(path, std::move(bytes).value());
  if (!content || content->dictionary() == nullptr) return std::nullopt;
  return *content->dictionary();
}

std::optional<Dictionary> bundleDictionaryNamed(std::string_view name) {
  const std::optional<std::string> path = pathOfBundleResource(name);
  return path ? readBundleDictionary(*path) : std::nullopt;
}

}  // namespace accountsettings
