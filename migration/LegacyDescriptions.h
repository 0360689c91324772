// LegacyDescriptions knows how the releases before the settings file described accounts, and what
// properties such a description becomes. The migrator's conversions make accounts of them; whoever
// only wants to foresee a conversion needs no migrator.
#pragma once

#include <string>
#include <string_view>

#include "plist/PropertyList.h"

namespace accountsettings {

// The properties of the account that a description of the legacy mail file stands for. `type` is
// the type to give it, "Mail" or "SMTP", where its class tells none. Without any class the result
// has none either, and no account can be made of it.
[[nodiscard]] Dictionary mailAccountProperties(const Dictionary& description,
                                               std::string_view type);

// The same for a description of the legacy Exchange file, which knew one type.
[[nodiscard]] Dictionary exchangeAccountProperties(const Dictionary& description,
                                                   std::string_view type = "Exchange");

// The account type of a mail account of this class; "Mail" for classes that have none of their own.
[[nodiscard]] std::string typeOfMailAccountClass(std::string_view accountClass);
// The same as people read it; "Account" for classes that have no name of their own.
[[nodiscard]] std::string typeStringOfMailAccountClass(std::string_view accountClass);

}  // namespace accountsettings
