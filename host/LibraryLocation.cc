// The directory of the loaded library, asked of the dynamic loader.
#include "host/LibraryLocation.h"

#include <dlfcn.h>

#include <cstdlib>
#include <memory>

#include "host/RootDirectory.h"
#include "platform/AssertionFailure.h"

namespace accountsettings {

namespace {

std::string findDirectory() {
  static const char anchor = 0;  // any address inside this library
  Dl_info info{};
  if (::dladdr(&anchor, &info) != 0 && info.dli_fname != nullptr) {
    const std::unique_ptr<char, decltype(&std::free)> path(::realpath(info.dli_fname, nullptr),
                                                           &std::free);
    if (path != nullptr) return directoryPart(path.get());
  }
  throw AssertionFailure("Could not find out where the library lies", "libraryDirectory",
                         "LibraryLocation");
}

}  // namespace

const std::string& libraryDirectory() {
  static const std::string directory = findDirectory();
  return directory;
}

}  // namespace accountsettings
