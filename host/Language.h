// Language decides which languages a text is looked up in.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace accountsettings {

// The languages to try for `language`, most special first, English last. It is a language tag
// ("zh-Hans", "pt-BR") or a locale's name ("zh_CN.UTF-8"): the latter gives zh-Hans-CN, zh-Hans,
// zh, en. What is neither gives English.
[[nodiscard]] std::vector<std::string> languagesFor(std::string_view language);

// The name of the locale that this process's environment asks messages in; empty where none is.
[[nodiscard]] std::string localeOfMessages();

}  // namespace accountsettings
