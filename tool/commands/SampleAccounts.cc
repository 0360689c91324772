// The accounts of an invented person, as each release wrote them: those of the settings stand in
// SampleAccounts.json, those of legacy files are made here.
#include "tool/commands/SampleAccounts.h"

#include <array>
#include <cstdio>
#include <string>

#include "account/AccountConstants.h"
#include "migration/LegacyFormats.h"
#include "store/AccountsManager.h"
#include "tool/frame/Json.h"

namespace accountsettings {

namespace {

// An identifier that tells by its last digits which account it is.
std::string identifier(unsigned group, unsigned number) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "5A0DE000-%04X-4000-8000-%012X", group, number);
  return text.data();
}

// What an application of its own once stored beside the keys that the system knows: a value of
// every kind. It has to come through everything untouched.
Dictionary oddities(unsigned number) {
  const std::array<std::uint8_t, 6> bytes = {0x00, 0x01, 0xFE,
                                             0xFF, 0x80, static_cast<std::uint8_t>(number)};
  return {{"X-Note", "Grüße aus Köln \xE2\x98\x83 <&>"},
          {"X-Counter", number},
          {"X-Large", std::uint64_t{18446744073709551615U}},
          {"X-Negative", std::int64_t{-9007199254740993}},
          {"X-Ratio", 0.1},
          {"X-Flag", false},
          {"X-Since", PropertyList::date(354'000'000 + number * 86'400.0)},
          {"X-Blob", PropertyList::data(bytes)},
          {"X-List", Array{"one", 2, 3.5, true, Array{}, Dictionary{}}},
          {"X-Table", Dictionary{{"", "empty key"}, {"Deep", Dictionary{{"Deeper", 1}}}}}};
}

void addAll(Dictionary& account, const Dictionary& more) {
  for (const auto& entry : more) account.set(entry.key(), entry.value());
}

// What the file says.
const Dictionary& sampleFile() {
  static const PropertyList file = fromJson(kSampleAccountsText).value();
  return *file.dictionary();
}

// All of what the account is like, and its own.
Dictionary descriptionOf(std::string_view name) {
  const Dictionary& own = *sampleFile().dictionary("accounts")->dictionary(name);
  Dictionary description;
  if (const auto like = own.string("like")) description = descriptionOf(*like);
  addAll(description, own);
  return description;
}

Dictionary accountNamed(std::string_view name) {
  Dictionary account = descriptionOf(name);
  if (const auto number = static_cast<unsigned>(account.integer("number")); number != 0) {
    const std::string made = identifier(
        account.contains("group") ? static_cast<unsigned>(account.integer("group")) : 1, number);
    account.set(kAccountIdentifier, made);
    account.set(kAccountSyncIdentifier, made);
    addAll(account, oddities(number));
  }
  if (account.contains("children")) {
    Array children;
    for (const PropertyList& each : account.arrayOrEmpty("children")) {
      children.append(accountNamed(*each.stringValue()));
    }
    account.set(kAccountChildAccounts, children);
  }
  for (const char* each : {"like", "group", "number", "children"}) account.remove(each);
  return account;
}

Array accountsOf(std::int64_t version) {
  Array accounts;
  for (const PropertyList& release : *sampleFile().array("releases")) {
    if (release.dictionary()->integer("version") > version) break;
    accounts = Array();
    for (const PropertyList& each : *release.dictionary()->array("accounts")) {
      accounts.append(accountNamed(*each.stringValue()));
    }
  }
  return accounts;
}

// How one person's mail accounts differ in a legacy file.
struct LegacyMailKind {
  std::string_view accountClass;
  std::string_view name;
  std::string_view host;
};

constexpr std::array<LegacyMailKind, 8> kLegacyMailKinds = {{
    {"IMAPAccount", "Home", "imap.home.example"},
    {"GmailAccount", "Gmail", "imap.gmail.com"},
    {"YahooAccount", "Yahoo", "imap.mail.yahoo.example"},
    {"POPAccount", "Old provider", "pop.provider.example"},
    {"QuorraAccount", "Quorra", "mail.quorra.example"},
    {"VantorAccount", "Vantor", "mail.vantor.example"},
    {"AOLAccount", "AOL", "imap.aol.example"},
    {"KetchIMAPAccount", "Letters", "imap.ketch.example"},
}};

constexpr std::array<std::string_view, 3> kPeople = {"anna", "björn", "chloé"};

}  // namespace

Dictionary sampleSettings(std::int64_t version) {
  return {{kPlistAccountsKey, accountsOf(version)}, {kPlistVersionKey, version}};
}

Dictionary sampleLegacyMail() {
  Array incoming;
  Array outgoing;
  unsigned number = 0;
  for (const std::string_view person : kPeople) {
    for (const LegacyMailKind& kind : kLegacyMailKinds) {
      ++number;
      const std::string user = std::string(person) + "@" + std::string(kind.host);
      Dictionary description{
          {kLegacyMail.classKey, kind.accountClass},
          {kLegacyMail.nameKey, std::string(kind.name) + " of " + std::string(person)},
          {kLegacyMail.identifierKey, identifier(4, number)},
          {kAccountUsername, user},
          {"Hostname", kind.host},
          {"AccountPath", "~/Library/Mail/" + std::string(kind.name) + "-" + user},
          {"Password", "open sesame"}};
      addAll(description, oddities(number));
      incoming.append(std::move(description));
    }
    Dictionary delivery{{kLegacyMail.nameKey, "Outgoing of " + std::string(person)},
                        {kLegacyMail.identifierKey, identifier(5, number)},
                        {kAccountUsername, std::string(person) + "@home.example"},
                        {"Hostname", "smtp.home.example"}};
    addAll(delivery, oddities(number));
    outgoing.append(std::move(delivery));
  }
  return {{kLegacyMail.lists[1].key, incoming}, {kLegacyMail.lists[0].key, outgoing}};
}

Dictionary sampleLegacyExchange() {
  Array accounts;
  unsigned number = 0;
  for (const std::string_view person : kPeople) {
    for (const std::string_view company : {"north", "south", "east", "west"}) {
      ++number;
      Dictionary description{
          {kLegacyExchange.classKey, "ASAccount"},
          {kLegacyExchange.nameKey, std::string(company) + " of " + std::string(person)},
          {kLegacyExchange.identifierKey, identifier(6, number)},
          {kAccountUsername, person},
          {"Hostname", "exchange." + std::string(company) + ".example"},
          {"DAAccountEnabledForCalendar", number % 2 == 0},
          {"DAAccountEnabledForEmail", true}};
      addAll(description, oddities(number));
      accounts.append(std::move(description));
    }
  }
  return {{kLegacyExchange.lists[0].key, accounts}};
}

}  // namespace accountsettings
