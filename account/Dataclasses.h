// Dataclasses knows the fourteen data classes and their canonical order, in which the
// account model reports every list of them.
#pragma once

#include <optional>
#include <string_view>

#include "account/StringList.h"

namespace accountsettings {

class BasicAccount;

// The fourteen data classes in canonical order.
[[nodiscard]] const StringList& allDataclasses();
// Whether `text` is one of the fourteen.
[[nodiscard]] bool isDataclass(std::string_view text);
// The known data classes of `list` once each, in canonical order, then all its other strings in
// their own order.
[[nodiscard]] StringList inCanonicalOrder(const StringList& list);
// Whether the account's supportedDataclasses() name the data class, without a copy of them.
[[nodiscard]] bool isSupported(std::string_view dataclass, const BasicAccount& account);

}  // namespace accountsettings
