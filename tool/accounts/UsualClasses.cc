// The table of types and classes, and what it tells of an account.
#include "tool/accounts/UsualClasses.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "account/BasicAccount.h"
#include "store/LoadProblems.h"
#include "store/RSRuntimeFixMailAccount.h"
#include "tool/frame/Suggestions.h"

namespace accountsettings {

namespace {

// The first row with a type, or a class, is the usual one.
constexpr std::array<std::pair<std::string_view, std::string_view>, 17> kUsual = {
    {{"Mail", "IMAPAccount"},
     {"Mail", "POPAccount"},
     {"Mail", "GmailAccount"},
     {"Mail", "YahooAccount"},
     {"Quorra", "QuorraAccount"},
     {"SMTP", "SMTPAccount"},
     {"Exchange", "ASAccount"},
     {"ZelqoAccount", "ZQAccount"},
     {"CalDAV", "MobileCalDAVAccount"},
     {"CardDAV", "CardDAVAccount"},
     {"BookmarkDAV", "BookmarkDAVAccount"},
     {"LDAP", "LDAPAccount"},
     {"KetchIMAP", "KetchIMAPAccount"},
     {"Subscribed Calendar", "SubscribedCalendarAccount"},
     {"OnMyDevice", "DeviceLocalAccount"},
     {"Gmail", "GmailAccount"},
     {"Yahoo", "YahooAccount"}}};

std::string nearestType(std::string_view typed) {
  constexpr std::size_t kLongest = 60;  // of what somebody may have meant
  if (typed.size() > kLongest) return "";
  std::vector<std::string> known;
  for (const auto& row : kUsual) {
    if (BasicAccount::_isValidAccountType(row.first)) known.emplace_back(row.first);
  }
  return nearestOf(typed, known);
}

}  // namespace

std::string probableTypeOf(const Dictionary& account) {
  const std::string_view accountClass = account.string(kAccountClass).value_or("");
  const auto row = std::find_if(kUsual.begin(), kUsual.end(),
                                [&](const auto& each) { return each.second == accountClass; });
  if (row != kUsual.end() && BasicAccount::_isValidAccountType(row->first)) {
    return std::string(row->first);
  }
  return nearestType(account.string(kAccountType).value_or(""));
}

std::string probableClassOf(const Dictionary& account) {
  const std::string_view type = account.string(kAccountType).value_or("");
  if (RSRuntimeFixMailAccount().supportedAccountTypes().contains(type)) {
    const auto told =
        RSRuntimeFixMailAccount::mailClassToldBy(account.string("AccountPath").value_or(""));
    if (told) return std::string(*told);
  }
  const auto row = std::find_if(kUsual.begin(), kUsual.end(),
                                [&](const auto& each) { return each.first == type; });
  return row == kUsual.end() ? "" : std::string(row->second);
}

}  // namespace accountsettings
