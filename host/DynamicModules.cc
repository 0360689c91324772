// Modules and bundles, loaded with the dynamic loader.
#include "host/DynamicModules.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <utility>

#include "host/LoaderError.h"
#include "host/RootDirectory.h"
#include "platform/Directories.h"

namespace accountsettings {

namespace {

constexpr const char* kBundleModule = "AccountsDataMigrator.so";

bool isSevenBit(const std::string& path) {
  return std::ranges::all_of(path, [](char character) {
    return character != 0 && static_cast<unsigned char>(character) < 0x80;
  });
}

// True where `function` stands in the module of `handle` itself and not in a library that it needs.
bool isFrom(void* handle, void* function) {
  const link_map* module = nullptr;
  Dl_info info{};
  void* owner = nullptr;
  return ::dlinfo(handle, RTLD_DI_LINKMAP, &module) == 0 &&
         ::dladdr1(function, &info, &owner, RTLD_DL_LINKMAP) != 0 && owner == module;
}

}  // namespace

DynamicModules::DynamicModules(bool rootIsThisMachine, std::string moduleDirectory,
                               std::vector<std::string> builtIn)
    : rootIsThisMachine_(rootIsThisMachine),
      moduleDirectory_(std::move(moduleDirectory)),
      builtIn_(std::move(builtIn)) {}

Status DynamicModules::loadDynamicLibrary(const std::string& path, ClassRegistry& registry) {
  if (!isSevenBit(path)) {
    return Error{path + ": cannot open shared object file: the path is not 7-bit text", EINVAL};
  }
  if (std::ranges::find(builtIn_, lastComponent(path)) != builtIn_.end()) return {};
  return load(fileOf(path), registry);
}

Status DynamicModules::loadBundle(const std::string& path, ClassRegistry& registry) {
  std::error_code ignored;
  if (!std::filesystem::is_directory(path, ignored)) {
    return Error{path + ": there is no such bundle", ENOENT};
  }
  return load(appendPathComponent(path, kBundleModule), registry);
}

std::string DynamicModules::fileOf(const std::string& path) const {
  // The loader searches its own directories for a name without a slash, so one is always there.
  if (rootIsThisMachine_ && path.starts_with('/') && ::access(path.c_str(), F_OK) == 0) return path;
  return appendPathComponent(moduleDirectory_, lastComponent(path));
}

Status DynamicModules::load(const std::string& file, ClassRegistry& registry) {
  void* handle = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) return Error{loaderError()};
  void* function = ::dlsym(handle, kModuleRegistrationFunction);
  if (function == nullptr) return Error{loaderError()};
  if (!isFrom(handle, function)) {
    return Error{file + ": undefined symbol: " + kModuleRegistrationFunction};
  }
  if (registry.admitModule(handle))
    reinterpret_cast<ModuleRegistrationFunction>(function)(registry);
  return {};
}

}  // namespace accountsettings
