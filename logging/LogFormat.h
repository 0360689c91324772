// LogFormat is a format text checked against its arguments at compile time; LogArgument
// is one argument of any kind that a placeholder can show.
#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "plist/PropertyList.h"

namespace accountsettings {

// The draft of the logging layer's owner replaces this file.

}  // namespace accountsettings
