// DynamicModules loads modules and plug-in bundles with the dynamic loader. A loaded module
// stays loaded for the life of the process.
#pragma once

#include <string>
#include <vector>

#include "platform/Modules.h"

namespace accountsettings {

class DynamicModules : public Modules {
 public:
  // On a root that is not this machine's, paths of modules only lend their file names: the code
  // comes from `moduleDirectory`, a directory of this machine. On this machine's root a module is
  // taken from its path where it lies there, else from that directory. Modules whose file names are
  // in `builtIn` are part of the program.
  DynamicModules(bool rootIsThisMachine, std::string moduleDirectory,
                 std::vector<std::string> builtIn);

  Status loadDynamicLibrary(const std::string& path, ClassRegistry& registry) override;
  // A bundle is a directory of this machine that holds the module "AccountsDataMigrator.so".
  Status loadBundle(const std::string& path, ClassRegistry& registry) override;

 private:
  [[nodiscard]] std::string fileOf(const std::string& path) const;
  Status load(const std::string& file, ClassRegistry& registry);

  bool rootIsThisMachine_;
  std::string moduleDirectory_;
  std::vector<std::string> builtIn_;
};

}  // namespace accountsettings
