// ValueText turns what a person types into a value of an account.
#pragma once

#include <string>
#include <vector>

#include "plist/PropertyList.h"

namespace accountsettings {

// The words that valueFromText() knows: "string", "int", "bool", "plist".
[[nodiscard]] const std::vector<std::string>& valueTypes();

// `text` as a string, an integer, a boolean (true, false, yes, no), or a property list in its XML
// form or as JSON. Throws WrongUsage where it is none, naming `option`.
[[nodiscard]] PropertyList valueFromText(const std::string& text, const std::string& type,
                                         const std::string& option);

// A data class by its name or by the part behind the common prefix: "Mail" stands for
// "com.zelqo.Dataclass.Mail". Throws WrongUsage, listing all, where there is none.
[[nodiscard]] std::string dataclassFromText(const std::string& text);

}  // namespace accountsettings
