// Look-ups that the version steps have in common.
#include "migration/StepReading.h"

#include <algorithm>

namespace accountsettings {

bool contains(const StringList& list, std::string_view text) {
  return std::ranges::find(list, text) != list.end();
}

bool isOneOf(std::optional<std::string_view> text, std::initializer_list<std::string_view> texts) {
  return text && std::ranges::find(texts, *text) != texts.end();
}

std::optional<std::string_view> classOf(const BasicAccount& account) {
  return account.textForKey("Class");
}

std::optional<std::string> stringProperty(const BasicAccount& account, std::string_view key) {
  const auto text = account.textForKey(key);
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

bool booleanProperty(const BasicAccount& account, std::string_view key, bool otherwise) {
  const auto value = account.accountPropertyForKey(key);
  return value ? value->booleanValue() : otherwise;
}

std::int64_t integerProperty(const BasicAccount& account, std::string_view key) {
  const auto value = account.accountPropertyForKey(key);
  return value ? value->integerValue() : 0;
}

}  // namespace accountsettings
