// Json is the JSON form of property lists, in which the program speaks to scripts.
// Strings, numbers, booleans, arrays and dictionaries stand for themselves. What JSON
// lacks is a dictionary of one key: {"$date": "2012-06-01T08:30:00Z"} (or the seconds since
// 2001 where a fraction or a far year would be lost), {"$data": "base64"}, {"$uid": 7},
// {"$real": "nan"} (or "inf", "-inf"), {"$text": "base64"} for a text that is not Unicode, as one
// with a lone surrogate, and {"$entries": [[key, value], ...]} for a dictionary with such a key.
// A real dictionary whose only key begins with "$" is written with one "$" more.
#pragma once

#include <string>
#include <string_view>

#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

// The list of what `form` makes of each item, for a document.
template <class Items, class Form>
[[nodiscard]] Array listOf(const Items& items, const Form& form) {
  Array list;
  for (const auto& each : items) list.append(form(each));
  return list;
}

enum class JsonForm { Indented, Compact };

// Indented by two spaces or in one line, keys in the dictionaries' order, no line break at the end;
// what a terminal would obey is escaped. Fails for a value that would take more than a gigabyte, as
// one that shares its parts many times over can.
[[nodiscard]] Result<std::string> toJson(const PropertyList& value,
                                         JsonForm form = JsonForm::Indented);

// The error says at which byte the text is malformed, or what has no place in a property list
// (null).
[[nodiscard]] Result<PropertyList> fromJson(std::string_view text);

}  // namespace accountsettings
