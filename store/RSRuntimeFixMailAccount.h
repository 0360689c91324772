/// \file
/// RSRuntimeFixMailAccount is the store's runtime fixer of mail accounts: it gives an
/// account whose class is missing or unknown the class that its mail directory tells, and
/// informs the mail application once repaired accounts have been written.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "store/AccountsManager.h"

namespace accountsettings {

/// \copydoc RSRuntimeFixMailAccount.h
class RSRuntimeFixMailAccount : public RuntimeFixer {
 public:
  /// Whether an account of this type and class needs no repair.
  [[nodiscard]] static bool isInOrder(std::optional<std::string_view> type,
                                      std::optional<std::string_view> accountClass);
  /// Looks at accounts of the supported types whose class the mail application does not have.
  FixResult fixBasicAccountIfNeededLoggingMessage(BasicAccount& account,
                                                  std::string_view loggingMessage) override;
  /// Posts one notice where an account needed repair, whether it could be had or not, and `saved`.
  void accountsHaveBeenSaved(bool saved) override;
  [[nodiscard]] const std::set<std::string, std::less<>>& supportedAccountTypes() const override;
  /// Sets the class that the account's "AccountPath" tells, and answers whether it tells one; where
  /// not, the account is named in the system log.
  bool _cleanupAccountClass(BasicAccount& account);

  // Whether the mail application has this class: an account that names one is left alone.
  [[nodiscard]] static bool isMailClass(std::string_view accountClass);
  // The class that a mail directory of this path tells, or none.
  [[nodiscard]] static std::optional<std::string_view> mailClassToldBy(
      std::string_view accountPath);

 private:
  bool shouldNotifyMobileMail_ = false;
};

/// Hooks that are told of a generic legacy mail account class; they do nothing.
///@{
void reportMailAccountClassFound();
void reportMailAccountClassFound(const Dictionary& properties, std::string_view occasion);
///@}

}  // namespace accountsettings
