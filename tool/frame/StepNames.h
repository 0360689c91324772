// StepNames puts the steps of a migration, which are known by their selectors, into words.
#pragma once

#include <string_view>

namespace accountsettings {

// The step's name for people: the build whose data it upgrades, or the file it converts.
[[nodiscard]] std::string_view nameOfStep(std::string_view step);
// What a step does, in a few words for people; the selector itself where it is unknown.
[[nodiscard]] std::string_view meaningOfStep(std::string_view step);

}  // namespace accountsettings
