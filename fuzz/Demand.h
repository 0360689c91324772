// Demand ends the process where something does not hold, which is how a fuzzer notices.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace accountsettings::fuzz {

inline void demand(bool holds, const std::string& what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what.c_str());
  std::abort();
}

}  // namespace accountsettings::fuzz
