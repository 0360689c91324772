// Tests of replacing accounts by themselves, as the steps of a migration do: done in place or built
// anew, the store is the same, the order in which changes are told included.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <string>

#include "plist/Description.h"
#include "store/ShortCuts.h"
#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

// A store that is made up and edited by a seed.
class EditedStore : public testing::StoreTest {
 public:
  EditedStore(unsigned seed, bool takesShortCuts) : random_(seed) {
    takeShortCuts(takesShortCuts);
    Array accounts;
    for (unsigned n = upTo(6); n-- > 0;) accounts.append(anyAccount());
    store_ = loaded(accounts);
  }
  void TestBody() override {}

  // What can be seen of the store after each of some edits, and what is told of a save at the end.
  std::string history() {
    const ListenerRegistration registration = AccountsManager::addChangeListener(
        [this](const Array& changes) { shown_ << "told: " << description(changes) << '\n'; });
    for (int step = 0; step < 12; ++step) {
      edit();
      show();
    }
    store_->saveAllAccounts();
    shown_ << description(savedAccounts()) << '\n';
    for (const std::string& line : fake.log.lines()) shown_ << line << '\n';
    return shown_.str();
  }

 private:
  unsigned upTo(unsigned size) { return static_cast<unsigned>(random_() % size); }
  std::string anyIdentifier(unsigned of) {
    return std::string(1, static_cast<char>('A' + upTo(of)));
  }

  Dictionary anyAccount() {
    Dictionary properties = account(anyIdentifier(upTo(3) == 0 ? 4 : 26));
    if (upTo(2) == 0) properties.set("Type", "CardDAV");
    if (upTo(2) == 0) properties.set("Sync Identifier", "sync " + anyIdentifier(2));
    if (upTo(3) == 0) {
      properties.set("ChildAccounts",
                     Array{account("child " + anyIdentifier(5)), account("child")});
    }
    properties.set("Enabled Dataclasses", Array{"com.zelqo.Dataclass.Calendars"});
    return properties;
  }

  void edit() {
    const AccountList all = store_->allBasicAccounts();
    const Account some = all.empty() ? nullptr : all[upTo(static_cast<unsigned>(all.size()))];
    switch (upTo(some != nullptr ? 8 : 1)) {
      case 0:
        return store_->insertAccount(record(anyAccount()));
      case 1:
        return some->setAccountPropertyForKey(anyIdentifier(26), "Identifier");
      case 2:
        return some->setAccountPropertyForKey(Array{account("child " + anyIdentifier(5))},
                                              "ChildAccounts");
      case 3:  // may then be there twice
        return store_->replaceAccountWithAccount(some, all.front());
      default:
        return replace(some);
    }
  }

  // Mostly all accounts of a type by themselves.
  void replace(const Account& some) {
    const StringList types{upTo(2) == 0 ? "CalDAV" : "CardDAV"};
    AccountList accounts = store_->basicAccountsWithTypes(types);
    if (upTo(3) == 0) accounts = store_->allBasicAccounts();
    if (upTo(4) == 0) std::shuffle(accounts.begin(), accounts.end(), random_);
    if (upTo(3) == 0) accounts.push_back(record(anyAccount()));
    if (upTo(8) == 0) accounts.push_back(accounts.empty() ? nullptr : accounts.back());
    if (upTo(8) == 0 && !accounts.empty()) accounts.erase(accounts.begin());
    if (upTo(12) == 0 && some != nullptr) {
      accounts.push_back(record(anyAccount()));
      accounts.back()->setParentAccount(some);
    }
    store_->replaceAccountsWithTypesWithAccounts(types, accounts);
  }

  void show() {
    for (const Account& each : store_->allBasicSyncableAccounts()) {
      shown_ << description(each->properties().values()) << ' ';
    }
    for (const char* each : {"sync A", "sync B"}) {
      const Account found = store_->syncableAccountWithSyncIdentifier(each);
      shown_ << (found != nullptr ? found->identifier().value_or("-") : "none") << ' ';
    }
    for (char each = 'A'; each <= 'Z'; ++each) {
      const Account found = store_->accountWithIdentifier(std::string(1, each));
      shown_ << (found != nullptr ? '1' : '0');
    }
    shown_ << '\n';
  }

  std::mt19937 random_;
  std::unique_ptr<AccountsManager> store_;
  std::ostringstream shown_;
};

TEST(ReplacementInPlace, LeavesTheStoreThatBuildingItAnewLeaves) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    const std::string inPlace = EditedStore(seed, true).history();
    const std::string anew = EditedStore(seed, false).history();
    ASSERT_EQ(inPlace, anew) << seed;
  }
}

}  // namespace
}  // namespace accountsettings
