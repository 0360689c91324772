// Turns the descriptions of legacy files into the properties of accounts.
#include "migration/LegacyDescriptions.h"

#include <optional>
#include <span>
#include <utility>

#include "migration/GoogleMail.h"
#include "migration/LegacyFormats.h"

namespace accountsettings {
namespace {

// Moves each value under an old key to the key that took its place, over whatever is there.
void renameKeys(Dictionary& properties, const LegacyFormat& format) {
  const std::pair<std::string_view, std::string_view> renamed[] = {
      {format.classKey, "Class"},
      {format.nameKey, "DisplayName"},
      {format.identifierKey, "Identifier"},
  };
  for (const auto& [oldKey, newKey] : renamed) {
    auto value = properties.get(oldKey);
    if (!value) continue;
    properties.remove(oldKey);
    properties.set(newKey, std::move(*value));
  }
}

struct ClassToText {
  std::string_view accountClass;
  std::string_view text;
};

constexpr ClassToText kTypes[] = {
    {"GmailAccount", "Gmail"},         {"VantorAccount", "Quorra"}, {"QuorraAccount", "Quorra"},
    {"KetchIMAPAccount", "KetchIMAP"}, {"YahooAccount", "Yahoo"},   {"DAMailAccount", "Exchange"},
    {"DeliveryAccount", "SMTP"},       {"SMTPAccount", "SMTP"},
};

// What people read. The mark after "Yahoo!" keeps the "!" on its side in right-to-left text.
constexpr ClassToText kTypeStrings[] = {
    {"VantorAccount", "Quorra"},      {"KetchIMAPAccount", "Halden"},
    {"YahooAccount", "Yahoo!\u200E"}, {"DAMailAccount", "Exchange ActiveSync"},
    {"QuorraAccount", "Quorra"},
};

std::string textFor(std::string_view accountClass, std::span<const ClassToText> table,
                    std::string_view otherwise) {
  for (const ClassToText& row : table) {
    if (row.accountClass == accountClass) return std::string(row.text);
  }
  return std::string(otherwise);
}

// The class that the description tells; a delivery account that tells none gets the usual one.
std::optional<std::string> classOf(Dictionary& properties, std::string_view type) {
  if (!properties.string("Class") && type == "SMTP") {
    properties.set("Class", "SMTPAccount");
  }
  const auto accountClass = properties.string("Class");
  return accountClass ? std::optional<std::string>(*accountClass) : std::nullopt;
}

// The hosted service knows its users without their domain.
void cutUsernameAtDomain(Dictionary& properties) {
  const auto username = properties.string("Username");
  if (username && username->find('@') != std::string_view::npos) {
    properties.set("Username", std::string(username->substr(0, username->find('@'))));
  }
}

// An old Exchange account had one flag for each kind of data, and carried what no flag denied.
struct EnableFlag {
  std::string_view key;
  std::string_view dataclass;
};
constexpr EnableFlag kEnableFlags[] = {
    {"DAAccountEnabledForCalendar", "com.zelqo.Dataclass.Calendars"},
    {"DAAccountEnabledForContacts", "com.zelqo.Dataclass.Contacts"},
    {"DAAccountEnabledForEmail", "com.zelqo.Dataclass.Mail"},
    {"DAAccountEnabledForContactsSearch", "com.zelqo.Dataclass.ContactsSearch"},
};

Array takeEnabledDataclasses(Dictionary& properties) {
  Array enabled;
  for (const EnableFlag& flag : kEnableFlags) {
    const PropertyList* value = properties.find(flag.key);
    if (value == nullptr || value->booleanValue()) enabled.append(flag.dataclass);
    properties.remove(flag.key);
  }
  return enabled;
}

}  // namespace

Dictionary mailAccountProperties(const Dictionary& description, std::string_view type) {
  Dictionary properties = description;
  renameKeys(properties, kLegacyMail);
  properties.set("Type", type);
  if (const auto accountClass = classOf(properties, type)) {
    const std::string typeString = typeStringOfMailAccountClass(*accountClass);
    properties.set("Type String", typeString);
    properties.set("Short Type String", typeString);
    properties.set("Type", typeOfMailAccountClass(*accountClass));
  }
  if (properties.string("Type") == "Quorra") cutUsernameAtDomain(properties);
  return properties;
}

Dictionary exchangeAccountProperties(const Dictionary& description, std::string_view type) {
  Dictionary properties = description;
  renameKeys(properties, kLegacyExchange);
  properties.set("Enabled Dataclasses", takeEnabledDataclasses(properties));
  properties.set("Type", type);
  properties.set("Type String", "Exchange");
  properties.set("Short Type String", "Exchange");
  return properties;
}

std::string typeOfMailAccountClass(std::string_view accountClass) {
  return textFor(accountClass, kTypes, "Mail");
}

std::string typeStringOfMailAccountClass(std::string_view accountClass) {
  if (accountClass == "GmailAccount") return _UseGoogleMail() ? "Google Mail" : "Gmail";
  return textFor(accountClass, kTypeStrings, "Account");
}

}  // namespace accountsettings
