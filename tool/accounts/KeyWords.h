// KeyWords tells keys that a program's author chose from those under which a program keeps
// something for each person, folder or host by its name.
#pragma once

#include <string_view>

namespace accountsettings {

// Whether the key is made of words that programs use. Two words apart must both be such words, of
// words that are joined, as in "SmtpPortFlag", one is enough.
[[nodiscard]] bool isProgramKey(std::string_view key);

}  // namespace accountsettings
