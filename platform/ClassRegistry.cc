#include "platform/ClassRegistry.h"

#include <utility>

namespace accountsettings {

ClassObject::~ClassObject() = default;

void ClassRegistry::registerClass(std::string_view name, std::shared_ptr<ClassObject> object) {
  classes_.emplace(name, std::move(object));
}

ClassObject* ClassRegistry::classNamed(std::string_view name) const noexcept {
  const auto found = classes_.find(name);
  return found == classes_.end() ? nullptr : found->second.get();
}

}  // namespace accountsettings
