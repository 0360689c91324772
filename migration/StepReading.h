// StepReading holds the readings of accounts that several version steps share. It knows no
// property key but "Class": the others stand beside the steps, where later renames cannot reach
// them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "account/BasicAccount.h"
#include "account/StringList.h"

namespace accountsettings {

[[nodiscard]] bool contains(const StringList& list, std::string_view text);
[[nodiscard]] inline bool contains(const std::optional<StringList>& list, std::string_view text) {
  return list && contains(*list, text);
}

[[nodiscard]] bool isOneOf(std::optional<std::string_view> text,
                           std::initializer_list<std::string_view> texts);

// The account's class, or its parent's, without a copy; good until one of them changes.
[[nodiscard]] std::optional<std::string_view> classOf(const BasicAccount& account);
// The string under `key`, or none where there is none or something else.
[[nodiscard]] std::optional<std::string> stringProperty(const BasicAccount& account,
                                                        std::string_view key);
// A missing value reads as `otherwise`.
[[nodiscard]] bool booleanProperty(const BasicAccount& account, std::string_view key,
                                   bool otherwise);
// A missing value reads as 0.
[[nodiscard]] std::int64_t integerProperty(const BasicAccount& account, std::string_view key);

}  // namespace accountsettings
