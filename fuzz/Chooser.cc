// The words and shapes among which the bytes choose.
#include "fuzz/Chooser.h"

namespace accountsettings::fuzz {

namespace {

constexpr std::string_view kTypes[] = {
    "Mail",         "Gmail",       "Yahoo",     "Quorra",     "Exchange",
    "SMTP",         "CalDAV",      "CardDAV",   "LDAP",       "IMAPNotes",
    "ZelqoAccount", "BookmarkDAV", "KetchIMAP", "OnMyDevice", "Subscribed Calendar"};
constexpr std::string_view kClasses[] = {
    "IMAPAccount", "POPAccount",   "GmailAccount",       "YahooAccount",        "AOLAccount",
    "SMTPAccount", "MailAccount",  "KetchIMAPAccount",   "MobileCalDAVAccount", "QuorraAccount",
    "ZQAccount",   "BasicAccount", "DeviceLocalAccount", "VantorAccount",       "DAMailAccount"};
constexpr std::string_view kDataclasses[] = {
    "com.zelqo.Dataclass.Mail",          "com.zelqo.Dataclass.Notes",
    "com.zelqo.Dataclass.Contacts",      "com.zelqo.Dataclass.Calendars",
    "com.zelqo.Dataclass.Reminders",     "com.zelqo.Dataclass.Bookmarks",
    "com.zelqo.Dataclass.Ubiquity",      "com.zelqo.Dataclass.KeyValue",
    "com.zelqo.Dataclass.DeviceLocator", "com.zelqo.Dataclass.ContactsSearch",
    "com.zelqo.Dataclass.SharedStreams", "com.zelqo.Dataclass.MediaStream",
    "com.zelqo.Dataclass.Backup",        "com.zelqo.Dataclass.Quillet"};
constexpr std::string_view kKeys[] = {"Identifier",
                                      "Sync Identifier",
                                      "Type",
                                      "Class",
                                      "DisplayName",
                                      "Username",
                                      "Hostname",
                                      "ChildAccounts",
                                      "Enabled Dataclasses",
                                      "Provisioned Dataclasses",
                                      "OriginalDataclasses",
                                      "Supported Dataclasses",
                                      "Type String",
                                      "Short Type String",
                                      "IsActive",
                                      "AccountPath",
                                      "uniqueId",
                                      "AccountType",
                                      "AccountName",
                                      "AccountID",
                                      "EmailAddresses",
                                      "DeliveryAccount",
                                      "CalDAVEnabled",
                                      "CalDAVAccountConfiguration",
                                      "CalDAV_Server_Key",
                                      "CalDAV_PrincipalPath_Key",
                                      "CalDAVPrincipalConfiguration",
                                      "Login_Key",
                                      "CalendarsWereMigrated",
                                      "primaryAccount",
                                      "DAAccountConfigurationClass",
                                      "DAAccountConfigurationAccountID",
                                      "DAAccountDescription",
                                      "DAAccountEnabledForEmail",
                                      "DAAccountEnabledForContacts",
                                      "DAAccountEnabledForCalendar",
                                      "DAAccountEnabledForContactsSearch",
                                      "DAExoSubscribedCalendarInfos",
                                      "Prevent Recents Syncing",
                                      "Show Reminders Separately",
                                      "Version",
                                      "Accounts"};
constexpr std::string_view kTexts[] = {"me@gmail.com",
                                       "me@quorra.test",
                                       "me@vantor.test",
                                       "me",
                                       "imap.gmail.com",
                                       "www.google.com",
                                       "caldav.calendar.yahoo.com",
                                       "YES",
                                       "true",
                                       "1",
                                       "",
                                       "/var/mobile/Library/Mail/POP-me@pop.test",
                                       "/var/mobile/Library/Mail/IMAP-me@imap.gmail.com",
                                       "/var/mobile/Library/Mail/AOL-me",
                                       "/var/mobile/Library/Mail/Quorra-me",
                                       "/var/mobile/Library/Mail/Tovi-me"};

}  // namespace

std::size_t Chooser::below(std::size_t count) {
  if (bytes_.empty() || count == 0) return 0;
  const std::size_t byte = bytes_.front();
  bytes_ = bytes_.subspan(1);
  return byte % count;
}

std::string Chooser::word() {
  switch (below(8)) {
    case 0:
    case 1:
      return std::string(oneOf(kTexts));
    case 2:
      return std::string(oneOf(kDataclasses));
    case 3:
      return std::string(oneOf(kTypes));
    case 4:
      return std::string(oneOf(kClasses));
    case 5:
      return identifier();
    case 6:
      return std::string(oneOf(kKeys));
    default: {
      std::string text;
      for (std::size_t length = below(6); length > 0; --length) {
        text.push_back(static_cast<char>(below(128)));
      }
      return text;
    }
  }
}

std::string Chooser::identifier() {
  return "id-" + std::to_string(below(12));
}

PropertyList Chooser::value(int depth) {
  switch (below(depth > 0 ? 10 : 6)) {
    case 0:
    case 1:
      return word();
    case 2:
      return flag();
    case 3:
      return static_cast<std::int64_t>(below(16));
    case 4:
      return 0.5 * static_cast<double>(below(8));
    case 5:
      return PropertyList::data(Bytes(below(4), 0xA5));
    case 6:
    case 7: {
      Array list;
      for (std::size_t count = below(5); count > 0; --count) list.append(value(depth - 1));
      return list;
    }
    case 8: {
      Array list;
      for (std::size_t count = below(6); count > 0; --count) list.append(oneOf(kDataclasses));
      return list;
    }
    default: {
      Dictionary entries;
      for (std::size_t count = below(5); count > 0; --count) {
        const std::string key(rarely() ? word() : std::string(oneOf(kKeys)));
        entries.set(key, value(depth - 1));
      }
      return entries;
    }
  }
}

void Chooser::addAnything(Dictionary& to) {
  for (std::size_t count = below(6); count > 0; --count) {
    const std::string key(rarely() ? word() : std::string(oneOf(kKeys)));
    to.set(key, value(2));
  }
}

PropertyList Chooser::account(int depth) {
  if (rarely(32)) return value();
  Dictionary properties{{"Type", oneOf(kTypes)}, {"Class", oneOf(kClasses)}};
  if (!rarely(16)) properties.set("Identifier", identifier());
  if (depth > 0 && rarely(4)) properties.set("ChildAccounts", accounts(depth - 1));
  addAnything(properties);
  return properties;
}

Array Chooser::accounts(int depth) {
  Array list;
  for (std::size_t count = below(5); count > 0; --count) list.append(account(depth));
  return list;
}

PropertyList Chooser::mailDescription() {
  if (rarely(32)) return value();
  Dictionary description{{"AccountType", oneOf(kClasses)}};
  if (!rarely(16)) description.set("uniqueId", identifier());
  addAnything(description);
  return description;
}

PropertyList Chooser::exchangeDescription() {
  if (rarely(32)) return value();
  Dictionary description{{"DAAccountConfigurationClass", rarely() ? word() : "ASAccount"}};
  if (!rarely(16)) description.set("DAAccountConfigurationAccountID", identifier());
  addAnything(description);
  return description;
}

}  // namespace accountsettings::fuzz
