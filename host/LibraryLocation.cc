// The directory of libaccountsettings, asked of the dynamic loader.
#include "host/LibraryLocation.h"

#include <dlfcn.h>

#include <cstdlib>
#include <memory>

#include "host/RootDirectory.h"
#include "platform/AssertionFailure.h"
#include "platform/ProcessContext.h"

namespace accountsettings {

namespace {

std::string findDirectory() {
  // Any address inside it; the host may be a part of the program.
  const auto* const inside = reinterpret_cast<const void*>(&ProcessContext::current);
  Dl_info info{};
  if (::dladdr(inside, &info) != 0 && info.dli_fname != nullptr) {
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
