// Dates are the texts in which the program shows and reads the dates of property lists.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace accountsettings {

// "2012-06-01T08:30:00Z" for seconds since 2001; none where a fraction of a second or a year
// outside 1 to 9999 would not survive.
[[nodiscard]] std::optional<std::string> dateText(double secondsSince2001);
// The reverse; none for any other text.
[[nodiscard]] std::optional<double> dateFromText(std::string_view text);

}  // namespace accountsettings
