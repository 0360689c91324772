// Finds and reads the property lists and texts of the plug-in bundle.
#include "account/BundleResources.h"

#include "platform/ProcessContext.h"
#include "plist/Reader.h"

namespace accountsettings {

std::optional<std::string> pathOfBundleResource(std::string_view name) {
  return ProcessContext::current().platform().resources.pathOf(name);
}

std::optional<Dictionary> readBundleDictionary(const std::string& path) {
  const Result<Bytes> bytes = ProcessContext::current().platform().resources.read(path);
  if (!bytes) return std::nullopt;
  const Result<PropertyList> value = readPropertyList(*bytes);
  if (!value || value->dictionary() == nullptr) return std::nullopt;
  return *value->dictionary();
}

std::optional<Dictionary> bundleDictionaryNamed(std::string_view name) {
  const std::optional<std::string> path = pathOfBundleResource(name);
  return path ? readBundleDictionary(*path) : std::nullopt;
}

}  // namespace accountsettings
