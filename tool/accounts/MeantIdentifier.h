// identifierMeantBy() takes what a person types for an account: its identifier in any case, or the
// beginning of it.
#pragma once

#include <string>
#include <vector>

namespace accountsettings {

// The one of `known` that `typed` stands for: the same one, one of other case, or the only one that
// begins so; empty where there is none. Throws Prevented where several begin so.
[[nodiscard]] std::string identifierMeantBy(const std::string& typed,
                                            const std::vector<std::string>& known);

}  // namespace accountsettings
