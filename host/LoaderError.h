// loaderError is the dynamic loader's own text about what failed last on this thread.
#pragma once

#include <dlfcn.h>

#include <string>

namespace accountsettings {

[[nodiscard]] inline std::string loaderError() {
  const char* text = ::dlerror();
  return text == nullptr ? "unknown loader error" : text;
}

}  // namespace accountsettings
