// Loads the modules that create accounts, and finds the classes that they register.
#include "account/CreatorModules.h"

#include <algorithm>
#include <string>

#include "platform/AssertionFailure.h"
#include "platform/ProcessContext.h"

namespace accountsettings {

namespace {

Status loadModule(const std::string& path) {
  // The loader takes paths in the 7-bit character set alone.
  const bool isSevenBit = std::all_of(path.begin(), path.end(), [](char each) {
    return static_cast<unsigned char>(each) < 0x80 && each != '\0';
  });
  if (!isSevenBit) return Error{"the path holds characters outside the 7-bit set", 0};
  ProcessContext& context = ProcessContext::current();
  return context.platform().modules.loadDynamicLibrary(path, context.classes());
}

}  // namespace

void loadCreatorFramework(std::string_view framework, const char* method, const char* sourceFile) {
  if (framework == kBuiltInFramework) return;
  Directories& directories = ProcessContext::current().platform().directories;
  const std::string path = appendPathComponent(directories.systemRootDirectory(), framework);
  if (const Status loaded = loadModule(path); !loaded) {
    throw AssertionFailure("Could not load the account creator framework " + path + ". Error " +
                               loaded.error().message,
                           method, sourceFile);
  }
}

}  // namespace accountsettings
