// Turns the descriptions of legacy files into the properties of accounts.
#include "migration/LegacyDescriptions.h"

#include <optional>
#include <span>
#include <utility>

#include "account/StringList.h"
#include "migration/GoogleMail.h"

namespace accountsettings {
namespace {

// A key of an old description and the account property that took its place.
struct RenamedKey {
  std::string_view oldKey;
  std::string_view newKey;
};

// What the mail application called things before accounts had common names for them.
constexpr RenamedKey kMailKeys[] = {
    {"AccountType", "Class"},
    {"AccountName", "DisplayName"},
    {"uniqueId", "Identifier"},
};
constexpr RenamedKey kExchangeKeys[] = {
    {"DAAccountConfigurationClass", "Class"},
    {"DAAccountDescription", "DisplayName"},
    {"DAAccountConfigurationAccountID", "Identifier"},
};

// Moves each value under an old key to its new key, over whatever is there.
void renameKeys(Dictionary& properties, std::span<const RenamedKey> keys) {
  for (const RenamedKey& key : keys) {
    auto value = properties.get(key.oldKey);
    if (!value) continue;
    properties.remove(key.oldKey);
    properties.set(key.newKey, std::move(*value));
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
  renameKeys(properties, kMailKeys);
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

Dictionary exchangeAccountProperties(const Dictionary& description) {
  Dictionary properties = description;
  renameKeys(properties, kExchangeKeys);
  properties.set("Enabled Dataclasses", takeEnabledDataclasses(properties));
  properties.set("Type", "Exchange");
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
