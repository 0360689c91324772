// The fake device's modules: what each one registers when it is loaded.
#include "testing/FakeModules.h"

#include <algorithm>
#include <utility>

namespace accountsettings::testing {

void FakeModules::put(const std::string& path, Registration registration) {
  modules_[path] = {std::move(registration), ""};
}

void FakeModules::putBundle(const std::string& path, Registration registration) {
  bundles_[path] = {std::move(registration), ""};
}

void FakeModules::fail(const std::string& path, std::string error) {
  bundles_[path] = {nullptr, error};
  modules_[path] = {nullptr, std::move(error)};
}

std::size_t FakeModules::loadCount(std::string_view path) const {
  return static_cast<std::size_t>(std::count(loads.begin(), loads.end(), path) +
                                  std::count(bundleLoads.begin(), bundleLoads.end(), path));
}

Status FakeModules::loadDynamicLibrary(const std::string& path, ClassRegistry& registry) {
  loads.push_back(path);
  if (std::optional<Error> error = faults_.check("modules.loadDynamicLibrary", path)) return *error;
  return load(modules_, path, registry);
}

Status FakeModules::loadBundle(const std::string& path, ClassRegistry& registry) {
  bundleLoads.push_back(path);
  if (std::optional<Error> error = faults_.check("modules.loadBundle", path)) return *error;
  return load(bundles_, path, registry);
}

Status FakeModules::load(const ModuleMap& modules, const std::string& path,
                         ClassRegistry& registry) {
  const auto found = modules.find(path);
  if (found == modules.end()) {
    return Error{path + ": cannot open shared object file: No such file or directory", ENOENT};
  }
  if (!found->second.registration) return Error{found->second.error};
  found->second.registration(registry);
  return {};
}

}  // namespace accountsettings::testing
