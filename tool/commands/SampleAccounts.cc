// The accounts of an invented person, as each release wrote them.
#include "tool/commands/SampleAccounts.h"

#include <array>
#include <cstdio>
#include <string>

#include "account/AccountConstants.h"
#include "migration/LegacyFormats.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

// An identifier that tells by its last digits which account it is.
std::string identifier(unsigned group, unsigned number) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "5A0DE000-%04X-4000-8000-%012X", group, number);
  return text.data();
}

Array listOf(std::initializer_list<std::string_view> strings) {
  Array list;
  for (const std::string_view each : strings) list.append(each);
  return list;
}

constexpr std::string_view kMail = kAccountDataclassMail;
constexpr std::string_view kContacts = kAccountDataclassContacts;
constexpr std::string_view kCalendars = kAccountDataclassCalendars;
constexpr std::string_view kReminders = kAccountDataclassReminders;
constexpr std::string_view kBookmarks = kAccountDataclassBookmarks;
constexpr std::string_view kNotes = kAccountDataclassNotes;

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

Dictionary account(std::string_view type, std::string_view accountClass, std::string_view name,
                   unsigned number) {
  Dictionary result{{kAccountIdentifier, identifier(1, number)},
                    {kAccountSyncIdentifier, identifier(1, number)},
                    {kAccountType, type},
                    {kAccountClass, accountClass},
                    {kAccountDisplayName, name}};
  addAll(result, oddities(number));
  return result;
}

Dictionary mailAccount(std::string_view type, std::string_view accountClass, std::string_view name,
                       std::string_view user, std::string_view host, unsigned number) {
  Dictionary result = account(type, accountClass, name, number);
  result.set(kAccountUsername, user);
  result.set("Hostname", host);
  result.set("PortNumber", 993);
  result.set("SSLEnabled", true);
  result.set("EmailAddresses", Array{user});
  result.set("AccountPath", "~/Library/Mail/IMAP-" + std::string(user) + "@" + std::string(host));
  result.set("Password", "correct horse battery staple");
  return result;
}

Dictionary onThisDevice() {
  Dictionary result{{kAccountType, kOnMyDeviceAccountType},
                    {kAccountClass, "DeviceLocalAccount"},
                    {kAccountTypeString, "On My Zumi"},
                    {kAccountShortTypeString, "On My Zumi"},
                    {kAccountIdentifier, "DeviceLocalAccount"}};
  result.set(kAccountEnabledDataclasses, listOf({kContacts, kCalendars, kBookmarks, kNotes}));
  return result;
}

// The calendar account that step 7A242 folds into the Gmail account of the same person.
Dictionary googleCalendar(unsigned number) {
  Dictionary result = account(kCalDAVAccountType, "MobileCalDAVAccount", "Google calendar", number);
  result.set("CalDAVPrincipalConfiguration", Dictionary{{"Login_Key", "anna.berg@gmail.com"},
                                                        {"CalDAV_Server_Key", "www.google.com"}});
  result.set("CalDAVAccountConfiguration",
             Dictionary{{"CalDAV_PrincipalPath_Key", "/calendar/dav/anna.berg%40gmail.com/user"}});
  result.set(kAccountEnabledDataclasses, listOf({kCalendars}));
  return result;
}

Dictionary companyCalendar(unsigned number) {
  Dictionary result =
      account(kCalDAVAccountType, "MobileCalDAVAccount", "Company calendar", number);
  result.set("CalDAVPrincipalConfiguration",
             Dictionary{{"Login_Key", "anna"}, {"CalDAV_Server_Key", "dav.company.example"}});
  result.set("CalDAVAccountConfiguration",
             Dictionary{{"CalDAV_PrincipalPath_Key", "/principals/anna/"}});
  result.set(kAccountEnabledDataclasses, listOf({kCalendars}));
  return result;
}

Dictionary exchange(unsigned number) {
  Dictionary result = account(kExchangeAccountType, "ASAccount", "Work", number);
  result.set(kAccountUsername, "aberg");
  result.set("Domain", "COMPANY");
  result.set("Hostname", "exchange.company.example");
  result.set("ExchangeDeviceToken", "0f1e2d3c4b5a69788796a5b4c3d2e1f0");
  result.set(kAccountEnabledDataclasses,
             listOf({kCalendars, kContacts, kMail, kAccountDataclassContactsSearch}));
  return result;
}

Dictionary smtp(unsigned number) {
  Dictionary result = account(kSMTPAccountType, "SMTPAccount", "Outgoing", number);
  result.set(kAccountUsername, "anna@home.example");
  result.set("Hostname", "smtp.home.example");
  result.set("PortNumber", 587);
  return result;
}

// A hosted-service mail account as it stood before there were cloud accounts.
Dictionary hostedMail(std::string_view accountClass, std::string_view name, std::string_view user,
                      unsigned number) {
  Dictionary result =
      mailAccount(kQuorraAccountType, accountClass, name, user, "mail.quorra.example", number);
  result.set("IsActive", true);
  result.set("CalDAVEnabled", true);
  result.set(kCalendarsAccountSubscribedCalendars,
             Array{Dictionary{{"URL", "webcal://holidays.example/de.ics"}, {"Title", "Holidays"}}});
  result.set(kAccountEnabledDataclasses,
             listOf({kMail, kContacts, kCalendars, kBookmarks, kNotes}));
  return result;
}

Dictionary child(std::string_view type, std::string_view accountClass, unsigned number) {
  Dictionary result{{kAccountIdentifier, identifier(2, number)},
                    {kAccountSyncIdentifier, identifier(2, number)},
                    {kAccountType, type},
                    {kAccountClass, accountClass}};
  addAll(result, oddities(number));
  return result;
}

// The cloud account with the accounts that serve it.
Dictionary cloudAccount(int status, bool withChildren, unsigned number) {
  Dictionary result = account(kZelqoAccountType, "ZQAccount", "Halden", number);
  result.set(kAccountTypeString, "Halden");
  result.set(kAccountShortTypeString, "Halden");
  result.set(kAccountUsername, "anna.berg@halden.example");
  result.set("status", status);
  result.set("authToken", "EAAbAAAABLwIAAAAAFEw");
  if (withChildren) {
    Dictionary mail = child(kQuorraAccountType, "QuorraAccount", 0x10 * number + 1);
    mail.set(kAccountDisplayName, "Halden mail");
    mail.set(kAccountUsername, "anna.berg");
    Dictionary calendars = child(kCalDAVAccountType, "MobileCalDAVAccount", 0x10 * number + 2);
    Dictionary contacts = child(kCardDAVAccountType, "CardDAVAccount", 0x10 * number + 3);
    Dictionary bookmarks = child(kBookmarkDAVAccountType, "BookmarkDAVAccount", 0x10 * number + 4);
    result.set(kAccountChildAccounts, Array{mail, calendars, contacts, bookmarks});
  }
  return result;
}

Dictionary primaryCloudAccount(unsigned number) {
  Dictionary result = cloudAccount(1, true, number);
  result.set("primaryAccount", true);
  result.set(kAccountEnabledDataclasses,
             listOf({kMail, kContacts, kCalendars, kReminders, kBookmarks, kNotes,
                     kAccountDataclassDeviceLocator, kAccountDataclassBackup,
                     kAccountDataclassUbiquity, kAccountDataclassKeyValue}));
  return result;
}

// The mail accounts as the oldest releases wrote them: all of type "Mail", with identifiers of
// their own kind.
Array accountsOfOldestRelease() {
  Dictionary home = mailAccount(kMailAccountType, "IMAPAccount", "Home", "anna@home.example",
                                "imap.home.example", 1);
  home.set("uniqueId", identifier(3, 1));
  home.set("DeliveryAccounts", Array{identifier(3, 9)});
  Dictionary gmail = mailAccount(kMailAccountType, "GmailAccount", "Gmail", "anna.berg@gmail.com",
                                 "imap.gmail.com", 2);
  gmail.set("uniqueId", identifier(3, 2));
  Dictionary yahoo = mailAccount(kMailAccountType, "YahooAccount", "Yahoo", "annaberg",
                                 "imap.mail.yahoo.example", 3);
  yahoo.set("uniqueId", identifier(3, 3));
  yahoo.set("IsActive", false);
  Dictionary old = mailAccount(kMailAccountType, "POPAccount", "Old provider", "berg7",
                               "pop.provider.example", 4);
  old.set("uniqueId", identifier(3, 4));
  Dictionary hosted = hostedMail("QuorraAccount", "Quorra", "anna.berg", 5);
  hosted.set("uniqueId", identifier(3, 5));
  Dictionary older = hostedMail("VantorAccount", "Vantor", "aberg", 6);
  older.set("uniqueId", identifier(3, 6));
  Dictionary outgoing = smtp(9);
  outgoing.set("uniqueId", identifier(3, 9));
  Dictionary work = exchange(7);
  work.set("uniqueId", identifier(3, 7));
  Dictionary device = onThisDevice();
  return {home,     gmail,
          yahoo,    old,
          hosted,   older,
          work,     googleCalendar(8),
          outgoing, companyCalendar(10),
          device};
}

// Accounts that every release after the oldest has in the same form.
Array commonAccounts() {
  Dictionary home = mailAccount(kMailAccountType, "IMAPAccount", "Home", "anna@home.example",
                                "imap.home.example", 1);
  Dictionary old = mailAccount(kMailAccountType, "POPAccount", "Old provider", "berg7",
                               "pop.provider.example", 4);
  old.set("IsActive", false);
  return {home, old, exchange(7), smtp(9), companyCalendar(10), onThisDevice()};
}

void appendAll(Array& list, const Array& more) {
  for (const PropertyList& each : more) list.append(each);
}

// Gmail and Yahoo accounts, of type "Mail" until version 5.
Array namedMailAccounts(bool ownTypes) {
  Dictionary gmail = mailAccount(ownTypes ? kGmailAccountType : kMailAccountType, "GmailAccount",
                                 "Gmail", "anna.berg@gmail.com", "imap.gmail.com", 2);
  Dictionary yahoo = mailAccount(ownTypes ? kYahooAccountType : kMailAccountType, "YahooAccount",
                                 "Yahoo", "annaberg", "imap.mail.yahoo.example", 3);
  if (ownTypes) {
    gmail.set(kAccountEnabledDataclasses, listOf({kMail, kCalendars, kNotes}));
    yahoo.set(kAccountEnabledDataclasses, listOf({kMail}));
  }
  return {gmail, yahoo};
}

// The accounts of the hosted service, which changed most from release to release.
Array hostedAccounts(std::int64_t version) {
  if (version <= 6) {
    return {hostedMail("QuorraAccount", "Quorra", "anna.berg", 5),
            hostedMail("VantorAccount", "Vantor", "aberg", 6)};
  }
  if (version <= 8) {
    Dictionary cloud = cloudAccount(1, true, 5);
    cloud.set(kAccountEnabledDataclasses, listOf({kMail, kContacts, kCalendars}));
    return {cloud};
  }
  if (version == 9) {
    Dictionary withChildren = cloudAccount(2, true, 5);
    withChildren.set(kAccountEnabledDataclasses, listOf({kMail, kContacts, kCalendars}));
    Dictionary alone = cloudAccount(2, false, 6);
    alone.set(kAccountDisplayName, "Quorra");
    alone.set(kAccountEnabledDataclasses, listOf({kCalendars, kAccountDataclassDeviceLocator}));
    return {withChildren, alone};
  }
  Dictionary primary = primaryCloudAccount(5);
  if (version == 10) {
    Dictionary secondary = cloudAccount(2, true, 6);
    secondary.set(
        kAccountProvisionedDataclasses,
        listOf({kContacts, kBookmarks, kAccountDataclassUbiquity, kAccountDataclassKeyValue}));
    secondary.set(kAccountEnabledDataclasses,
                  listOf({kContacts, kAccountDataclassUbiquity, kAccountDataclassKeyValue}));
    return {primary, secondary};
  }
  if (version == 11) {
    primary.set(kAccountProvisionedDataclasses,
                listOf({kMail, kContacts, kCalendars, kReminders, kBookmarks, kNotes,
                        kAccountDataclassDeviceLocator, kAccountDataclassBackup,
                        kAccountDataclassUbiquity, kAccountDataclassKeyValue}));
  }
  return {primary};
}

// What only the current release's device has, so that it shows accounts of every type.
Array furtherAccounts() {
  Dictionary contacts = account(kCardDAVAccountType, "CardDAVAccount", "Company contacts", 11);
  contacts.set(kAccountUsername, "anna");
  contacts.set(kAccountEnabledDataclasses, listOf({kContacts}));
  Dictionary directory = account(kLDAPAccountType, "LDAPAccount", "Company directory", 12);
  directory.set("Hostname", "ldap.company.example");
  directory.set(kAccountEnabledDataclasses, listOf({kAccountDataclassContactsSearch}));
  Dictionary holidays =
      account(kSubscribedCalendarAccountType, "SubscribedCalendarAccount", "Public holidays", 13);
  holidays.set("SubscriptionURL", "webcal://holidays.example/de.ics");
  holidays.set(kAccountEnabledDataclasses, listOf({kCalendars}));
  Dictionary letters = mailAccount(kKetchIMAPAccountType, "KetchIMAPAccount", "Letters",
                                   "anna@ketch.example", "imap.ketch.example", 14);
  letters.set(kAccountEnabledDataclasses, listOf({kMail}));
  return {contacts, directory, holidays, letters};
}

Array accountsOf(std::int64_t version) {
  if (version <= 1) return accountsOfOldestRelease();
  Array accounts = commonAccounts();
  appendAll(accounts, namedMailAccounts(version >= 5));
  if (version < 5) accounts.append(googleCalendar(8));
  appendAll(accounts, hostedAccounts(version));
  if (version >= 12) appendAll(accounts, furtherAccounts());
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
