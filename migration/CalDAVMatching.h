// CalDAVMatching finds the standalone CalDAV accounts that are really the calendars of a Gmail or
// Yahoo account. It looks them up instead of testing each mail account against each of them, with
// the same outcome.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "store/AccountsManager.h"

namespace accountsettings {

// What a CalDAV account is recognised by. The login stands first: it tells accounts apart soonest.
struct CalDAVIdentity {
  std::string login;
  std::string principalPath;
  std::string host;

  friend bool operator<(const CalDAVIdentity& left, const CalDAVIdentity& right);
};

// The identity of a standalone CalDAV account; none where a part of it is missing.
[[nodiscard]] std::optional<CalDAVIdentity> calDAVIdentityOf(const BasicAccount& calDAVAccount);

class CalDAVFolding {
 public:
  explicit CalDAVFolding(const AccountsManager::AccountList& accounts);

  // Marks the CalDAV accounts that match for deletion; answers whether there are any.
  bool foldInto(const BasicAccount& mailAccount);
  // Deletes each marked account once for every mail account that it matched: where identifiers
  // repeat, each time takes one more of them.
  void deleteFolded(AccountsManager& store) const;

 private:
  struct Candidates {
    std::vector<AccountsManager::Account> accounts;
    std::size_t matches = 0;
  };

  std::map<CalDAVIdentity, Candidates> candidates_;
};

}  // namespace accountsettings
