// The texts by which files, notifiers and other processes know the store.
#include <gtest/gtest.h>

#include <string_view>
#include <utility>

#include "store/AccountsManager.h"

namespace accountsettings {
namespace {

TEST(StoreConstants, TextsAreWhatFilesAndOtherProcessesHold) {
  const std::pair<std::string_view, std::string_view> constants[] = {
      {kAccountsFilename, "com.zelqo.accountsettings.plist"},
      {kPlistVersionKey, "Version"},
      {kPlistAccountsKey, "Accounts"},
      {kRSChangeAccountChangeTypeKey, "ChangeType"},
      {kRSChangeAccountIdentifierKey, "AccountID"},
      {kRSChangeAccountTypeKey, "AccountType"},
      {kRSChangeAccountOriginallyEnabledDataclassesKey, "OriginalDataclasses"},
      {kAccountMigrationLockFilename, "/tmp/AccountMigrationInProgress"},
  };
  for (const auto& [constant, text] : constants) EXPECT_EQ(constant, text);
}

TEST(StoreConstants, NumbersAreWhatFilesAndNotifiersHold) {
  EXPECT_EQ(AccountsManager::currentVersion(), 12);
  EXPECT_EQ(static_cast<int>(AccountChangeType::Added), 0);
  EXPECT_EQ(static_cast<int>(AccountChangeType::Modified), 1);
  EXPECT_EQ(static_cast<int>(AccountChangeType::Deleted), 2);
  EXPECT_EQ(static_cast<int>(FixResult::NothingToDo), 0);
  EXPECT_EQ(static_cast<int>(FixResult::Fixed), 1);
  EXPECT_EQ(static_cast<int>(FixResult::Unfixable), 2);
}

}  // namespace
}  // namespace accountsettings
