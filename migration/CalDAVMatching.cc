// Finds the standalone CalDAV accounts that are the calendars of a mail account, by look-up.
#include "migration/CalDAVMatching.h"

#include <tuple>
#include <utility>

#include "logging/Logging.h"
#include "migration/AccountsDataMigrator.h"
#include "migration/StepReading.h"
#include "platform/ProcessContext.h"

namespace accountsettings {
namespace {

// The string under `key` of the dictionary that the account holds under `configuration`.
std::optional<std::string> configured(const BasicAccount& account, std::string_view configuration,
                                      std::string_view key) {
  const auto value = account.accountPropertyForKey(configuration);
  const Dictionary* dictionary = value ? value->dictionary() : nullptr;
  const auto text = dictionary != nullptr ? dictionary->string(key) : std::nullopt;
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

bool isLegalInURL(char character) {
  constexpr std::string_view kMarks = "-_.!~*'();:&=+$,";
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') || kMarks.find(character) != std::string_view::npos;
}

}  // namespace

std::string AccountsDataMigrator::_urlSafeUsername(std::string_view username) {
  constexpr std::string_view kHexDigits = "0123456789ABCDEF";
  std::string escaped;
  for (const char character : username) {
    if (isLegalInURL(character)) {
      escaped += character;
    } else {
      const auto byte = static_cast<unsigned char>(character);
      escaped += '%';
      escaped += kHexDigits[byte / 16];
      escaped += kHexDigits[byte % 16];
    }
  }
  return escaped;
}

StringList AccountsDataMigrator::_expectedCalDAVUsernamesForAccount(const BasicAccount& account) {
  const auto username = stringProperty(account, "Username");
  if (!username) return {};
  const auto at = username->find('@');
  if (at == std::string::npos) return {*username};
  return {*username, username->substr(0, at)};
}

std::optional<std::string> AccountsDataMigrator::_expectedCalDAVHostnameForAccount(
    const BasicAccount& account) {
  const ConfigurationValues& values = ProcessContext::current().platform().configuration.values();
  const auto accountClass = classOf(account);
  std::optional<std::string> host;
  if (accountClass == "GmailAccount") host = values.gmailCalDAVHost;
  if (accountClass == "YahooAccount") host = values.yahooCalDAVHost;
  if (host && host->empty()) host.reset();
  return host;
}

StringList AccountsDataMigrator::_expectedCalDAVPrincipalURLsForAccount(
    const BasicAccount& account) {
  const auto accountClass = classOf(account);
  StringList paths;
  for (const std::string& username : _expectedCalDAVUsernamesForAccount(account)) {
    const std::string escaped = _urlSafeUsername(username);
    if (accountClass == "GmailAccount") paths.push_back("/calendar/dav/" + escaped + "/user");
    if (accountClass == "YahooAccount") paths.push_back("/principals/users/" + escaped);
  }
  return paths;
}

bool AccountsDataMigrator::_calDAVAccountMatchesUmbrellaAccount(const BasicAccount& calDAVAccount,
                                                                const BasicAccount& mailAccount) {
  const auto identity = calDAVIdentityOf(calDAVAccount);
  const auto host = _expectedCalDAVHostnameForAccount(mailAccount);
  return identity && host && identity->host == *host &&
         contains(_expectedCalDAVUsernamesForAccount(mailAccount), identity->login) &&
         contains(_expectedCalDAVPrincipalURLsForAccount(mailAccount), identity->principalPath);
}

bool operator<(const CalDAVIdentity& left, const CalDAVIdentity& right) {
  return std::tie(left.login, left.principalPath, left.host) <
         std::tie(right.login, right.principalPath, right.host);
}

std::optional<CalDAVIdentity> calDAVIdentityOf(const BasicAccount& calDAVAccount) {
  auto host = configured(calDAVAccount, "CalDAVPrincipalConfiguration", "CalDAV_Server_Key");
  auto login = configured(calDAVAccount, "CalDAVPrincipalConfiguration", "Login_Key");
  auto path = configured(calDAVAccount, "CalDAVAccountConfiguration", "CalDAV_PrincipalPath_Key");
  if (!host || !login || !path) return std::nullopt;
  return CalDAVIdentity{std::move(*login), std::move(*path), std::move(*host)};
}

CalDAVFolding::CalDAVFolding(const AccountsManager::AccountList& accounts) {
  for (const auto& account : accounts) {
    if (classOf(*account) != "MobileCalDAVAccount") continue;
    if (auto identity = calDAVIdentityOf(*account)) {
      candidates_[std::move(*identity)].accounts.push_back(account);
    }
  }
}

bool CalDAVFolding::foldInto(const BasicAccount& mailAccount) {
  const auto host = AccountsDataMigrator::_expectedCalDAVHostnameForAccount(mailAccount);
  if (!host || candidates_.empty()) return false;
  const StringList logins = AccountsDataMigrator::_expectedCalDAVUsernamesForAccount(mailAccount);
  const StringList paths =
      AccountsDataMigrator::_expectedCalDAVPrincipalURLsForAccount(mailAccount);
  bool found = false;
  // At most two logins and two paths, which differ from each other, so that none counts twice.
  for (const std::string& login : logins) {
    for (const std::string& path : paths) {
      const auto place = candidates_.find(CalDAVIdentity{login, path, *host});
      if (place == candidates_.end()) continue;
      ++place->second.matches;
      found = true;
    }
  }
  return found;
}

void CalDAVFolding::deleteFolded(AccountsManager& store) const {
  for (const auto& [identity, candidates] : candidates_) {
    for (const auto& account : candidates.accounts) {
      for (std::size_t match = 0; match < candidates.matches; ++match) {
        const std::size_t before = store.count();
        store.deleteAccount(account);
        // Once nothing has that identifier, more deletions change nothing, but each is traced.
        if (store.count() == before && !getRSLoggingEnabled()) break;
      }
    }
  }
}

}  // namespace accountsettings
