// Keeps the classes that modules register, by name.
#include "platform/ClassRegistry.h"

#include <utility>

namespace accountsettings {

ClassObject::~ClassObject() = default;

void ClassRegistry::registerClass(std::string_view name, std::shared_ptr<ClassObject> object) {
  classes_.emplace(name, std::move(object));
}

bool ClassRegistry::admitModule(const void* module) {
  return modules_.insert(module).second;
}

ClassObject* ClassRegistry::classNamed(std::string_view name) const noexcept {
  const auto found = classes_.find(name);
  return found == classes_.end() ? nullptr : found->second.get();
}

}  // namespace accountsettings
