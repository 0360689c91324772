// The made-up accounts.
#include "bench/SampleSettings.h"

#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace accountsettings {
namespace {

// A small generator whose sequence never changes, unlike those of the standard library.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15U + 1) {}

  // A number below `sides`.
  std::size_t roll(std::size_t sides) {
    state_ = state_ * 6364136223846793005U + 1442695040888963407U;
    return static_cast<std::size_t>((state_ >> 33) % sides);
  }

  std::string hex(std::size_t digits) {
    std::string text;
    for (std::size_t i = 0; i < digits; ++i) text += "0123456789ABCDEF"[roll(16)];
    return text;
  }

 private:
  std::uint64_t state_;
};

struct Type {
  std::string_view name;
  std::string_view accountClass;
  std::string_view host;
  std::int64_t port;
  std::array<std::string_view, 3> dataclasses;
};

constexpr std::array<Type, 8> kTypes{{
    {"Mail", "IMAPAccount", "imap.example.net", 993, {"Mail", "Notes", ""}},
    {"SMTP", "SMTPAccount", "smtp.example.net", 587, {"", "", ""}},
    {"Exchange", "ASAccount", "exchange.example.org", 443, {"Mail", "Contacts", "Calendars"}},
    {"CalDAV", "MobileCalDAVAccount", "dav.example.org", 8443, {"Calendars", "Reminders", ""}},
    {"CardDAV", "CardDAVAccount", "dav.example.org", 8443, {"Contacts", "", ""}},
    {"LDAP", "LDAPAccount", "ldap.example.com", 636, {"ContactsSearch", "", ""}},
    {"Gmail", "GmailAccount", "imap.gmail.com", 993, {"Mail", "Calendars", "Notes"}},
    {"Yahoo", "YahooAccount", "imap.example.com", 993, {"Mail", "Contacts", "Calendars"}},
}};

constexpr std::array<std::string_view, 18> kSettings{
    "ArchiveMailboxName",    "DraftsMailboxName", "SentMessagesMailboxName", "TrashMailboxName",
    "AuthenticationScheme",  "ServerPathPrefix",  "StoreDraftsOnServer",     "StoreSentOnServer",
    "StoreTrashOnServer",    "DaysToSync",        "SignatureStyle",          "ContactsGroup",
    "DefaultCalendarColour", "RefreshInterval",   "UseMobileNetwork",        "CertificatePolicy",
    "PushEnabled",           "EmptyTrashAfter"};

std::string uuid(Dice& dice) {
  return dice.hex(8) + '-' + dice.hex(4) + '-' + dice.hex(4) + '-' + dice.hex(4) + '-' +
         dice.hex(12);
}

Array dataclasses(const Type& type) {
  Array names;
  for (const std::string_view name : type.dataclasses) {
    if (!name.empty()) names.append("com.zelqo.Dataclass." + std::string(name));
  }
  return names;
}

// A setting whose value many accounts share.
PropertyList commonSetting(std::size_t index, Dice& dice) {
  switch (index % 3) {
    case 0:
      return "Choice " + std::to_string(dice.roll(40)) + " of " + std::string(kSettings[index]);
    case 1:
      return dice.roll(2) == 1;
    default:
      return dice.roll(300);
  }
}

Dictionary account(std::size_t number) {
  Dice dice(number);
  const Type& type = kTypes[dice.roll(kTypes.size())];
  const std::string user = "user" + std::to_string(number);
  const Array classes = dataclasses(type);
  Dictionary account{
      {"Identifier", uuid(dice)},
      {"Sync Identifier", uuid(dice)},
      {"Type", type.name},
      {"Class", type.accountClass},
      {"DisplayName", "Account " + std::to_string(dice.roll(500))},
      {"Username", user},
      {"Hostname", type.host},
      {"PortNumber", type.port},
      {"SSLEnabled", dice.roll(4) != 0},
      {"Enabled Dataclasses", classes},
  };
  const std::size_t more = dice.roll(21);
  const std::size_t first = dice.roll(kSettings.size());
  if (more > 0) account.set("EmailAddresses", Array{user + "@" + std::string(type.host)});
  if (more > 1) account.set("Session Token", dice.hex(144));
  for (std::size_t i = 2; i < more; ++i) {
    const std::size_t setting = (first + i) % kSettings.size();
    account.set(kSettings[setting], commonSetting(setting, dice));
  }
  return account;
}

// Of every ten accounts one belongs to the hosted service and has a child, one is a Gmail account,
// and one the CalDAV account that is folded into it.
Dictionary oldAccount(const Dictionary& sample, std::size_t index) {
  Dictionary account = sample;
  const std::string name = "user" + std::to_string(index / 10);
  switch (index % 10) {
    case 3:
      account.set("Type", "CalDAV");
      account.set("Class", "MobileCalDAVAccount");
      account.set("CalDAVPrincipalConfiguration",
                  Dictionary{{"CalDAV_Server_Key", "www.google.com"}, {"Login_Key", name}});
      account.set("CalDAVAccountConfiguration",
                  Dictionary{{"CalDAV_PrincipalPath_Key", "/calendar/dav/" + name + "/user"}});
      break;
    case 5:
      account.set("Type", "Quorra");
      account.set("Class", "QuorraAccount");
      account.set("IsActive", true);
      account.set("ChildAccounts", Array{Dictionary{{"Type", "CalDAV"},
                                                    {"Class", "MobileCalDAVAccount"},
                                                    {"Identifier", "child-" + name}}});
      break;
    case 6:
      account.set("Type", "Mail");
      account.set("Class", "GmailAccount");
      account.set("Username", name);
      break;
    default:
      break;
  }
  return account;
}

// Settings of version 0 whose accounts are what `finish` makes of them.
template <class Finish>
Dictionary oldSettingsWith(std::size_t count, Finish finish) {
  const Dictionary sample = sampleSettings(count, 0);
  const PropertyList accounts = *sample.find("Accounts");
  std::vector<PropertyList> old;
  old.reserve(count);
  for (const PropertyList& each : *accounts.array()) {
    old.emplace_back(finish(oldAccount(*each.dictionary(), old.size()), old.size()));
  }
  return {{"Version", 0}, {"Accounts", Array(std::move(old))}};
}

}  // namespace

Dictionary sampleSettings(std::size_t accounts, std::int64_t version) {
  Array list;
  for (std::size_t i = 0; i < accounts; ++i) list.append(account(i));
  return {{"Accounts", list}, {"Version", version}};
}

Dictionary oldSettings(std::size_t accounts) {
  return oldSettingsWith(accounts, [](Dictionary account, std::size_t) { return account; });
}

Dictionary distinctSettings(std::size_t accounts) {
  return oldSettingsWith(accounts, [](Dictionary account, std::size_t index) {
    const std::string number = std::to_string(index);
    account.set("DisplayName", "Person " + number);
    account.set("Username", "person" + number);
    account.set("Hostname", "host" + number + ".example.net");
    return account;
  });
}

}  // namespace accountsettings
