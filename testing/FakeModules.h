// FakeModules stands for code that is loaded at run time: a test says which function a
// module would register its classes with, or with which text loading it fails.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Modules.h"
#include "testing/Faults.h"

namespace accountsettings::testing {

// The operations are "modules.loadDynamicLibrary" and "modules.loadBundle".
class FakeModules : public Modules {
 public:
  using Registration = std::function<void(ClassRegistry&)>;

  explicit FakeModules(Faults& faults) : faults_(faults) {}

  // Lets the module at `path`, for example "/System/Mail.so", be loaded.
  void put(const std::string& path, Registration registration);
  // Lets the bundle at `path`, for example "/plugins/Ferrant.migrator", be loaded.
  void putBundle(const std::string& path, Registration registration);
  // Makes loading from `path` fail with this text.
  void fail(const std::string& path, std::string error);

  // The paths that were asked for, in order, failed ones included.
  std::vector<std::string> loads;
  std::vector<std::string> bundleLoads;
  [[nodiscard]] std::size_t loadCount(std::string_view path) const;

  Status loadDynamicLibrary(const std::string& path, ClassRegistry& registry) override;
  Status loadBundle(const std::string& path, ClassRegistry& registry) override;

 private:
  struct Module {
    Registration registration;
    std::string error;
  };
  using ModuleMap = std::map<std::string, Module, std::less<>>;

  Status load(const ModuleMap& modules, const std::string& path, ClassRegistry& registry);

  Faults& faults_;
  ModuleMap modules_;
  ModuleMap bundles_;
};

}  // namespace accountsettings::testing
