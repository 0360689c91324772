// RSRuntimeFixMailAccount is the store's runtime fixer of mail accounts: it gives an
// account whose class is missing or unknown the class that its mail directory tells, and
// informs the mail application once repaired accounts have been written.
#pragma once

#include <set>
#include <string>
#include <string_view>

#include "store/AccountsManager.h"

namespace accountsettings {

class RSRuntimeFixMailAccount : public RuntimeFixer {
 public:
  // Looks at accounts of the supported types whose class the mail application does not have.
  FixResult fixBasicAccountIfNeededLoggingMessage(BasicAccount& account,
                                                  std::string_view loggingMessage) override;
  // Posts one notice where an account needed repair, whether it could be had or not, and `saved`.
  void accountsHaveBeenSaved(bool saved) override;
  [[nodiscard]] const std::set<std::string, std::less<>>& supportedAccountTypes() const override;
  // Sets the class that the account's "AccountPath" tells, and answers whether it tells one; where
  // not, the account is named in the system log.
  bool _cleanupAccountClass(BasicAccount& account);

 private:
  bool shouldNotifyMobileMail_ = false;
};

// Hooks that are told of a generic legacy mail account class; they do nothing.
void reportMailAccountClassFound();
void reportMailAccountClassFound(const Dictionary& properties, std::string_view occasion);

}  // namespace accountsettings
