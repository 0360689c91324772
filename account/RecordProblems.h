/// \file
/// RecordProblems answers what keeps an account record from being made of properties.
#pragma once

#include "plist/PropertyList.h"

namespace accountsettings {

/// What is wrong; several things may be.
struct RecordProblems {
  bool noType = false;       ///< no "Type", an empty one, or one that is no string
  bool unknownType = false;  ///< the type registry has no such type
  bool noClass = false;      ///< no "Class", an empty one, or one that is no string

  [[nodiscard]] bool any() const noexcept { return noType || unknownType || noClass; }
};

/// Asks the type registry of ProcessContext::current(); writes nothing to the log.
[[nodiscard]] RecordProblems recordProblemsOf(const Dictionary& properties);

}  // namespace accountsettings
