// Template fills HTML with data. All markup stands in the template; every value is made visible and
// escaped on its way in, so that no text of a device can be more than text. The places:
//   {{name}}               the value: a text or an integer
//   {{#name}}...{{/name}}  once for each dictionary in the list; once for a dictionary; once for a
//                          true boolean, and for a text that is not empty
//   {{^name}}...{{/name}}  where that would be never
//   {{>name}}              the part of that name, filled in its turn
// A name is looked for in the innermost dictionary first.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "plist/PropertyList.h"

namespace accountsettings {

// Further templates, by name.
using TemplateParts = std::map<std::string_view, std::string_view>;

// AssertionFailure where the template is malformed, or asks for a value that is not there or is
// neither a text nor an integer.
[[nodiscard]] std::string filledTemplate(std::string_view text, const TemplateParts& parts,
                                         const Dictionary& data);

// "2026-11-22T13:50:12.123456Z" as "2026-11-22 13:50:12 UTC".
[[nodiscard]] std::string timeForPeople(std::string_view time);

// The text as it may stand in HTML, between tags and in a quoted attribute.
[[nodiscard]] std::string htmlText(std::string_view text);

}  // namespace accountsettings
