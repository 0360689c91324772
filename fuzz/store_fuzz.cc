// Fuzz target: any edits of a store, of another process too, any queries and one failing operation
// on files. What a save says holds on the disk, what was not edited stays, and nothing stays held
// or open.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/Demand.h"
#include "fuzz/FuzzedDevice.h"
#include "platform/AssertionFailure.h"
#include "store/AccountsManager.h"

namespace accountsettings::fuzz {
namespace {

using Account = AccountsManager::Account;

// A program with a store of its own.
class Program {
 public:
  Program(FuzzedDevice& device, Chooser& choose) : device_(device), choose_(choose) {}

  void act();
  void save();

 private:
  [[nodiscard]] Account newAccount() {
    const PropertyList value = choose_.account();
    return BasicAccount::accountWithProperties(value.dictionary() ? *value.dictionary()
                                                                  : Dictionary());
  }
  [[nodiscard]] Account anyAccount() {
    const auto& all = store_->allBasicAccounts();
    if (all.empty() || choose_.rarely()) return store_->accountWithIdentifier(choose_.identifier());
    return all[choose_.below(all.size())];
  }
  void change(const Account& account);
  void query();

  FuzzedDevice& device_;
  Chooser& choose_;
  ProcessContext context_{device_.fake.platform()};
  ProcessContext::Override current_{context_};
  std::unique_ptr<AccountsManager> store_ = AccountsManager::init();
};

void Program::change(const Account& account) {
  if (!account) return;
  const std::string key = choose_.word();
  if (choose_.rarely(4)) {
    account->removeAccountPropertyForKey(key);
  } else {
    account->setAccountPropertyForKey(choose_.value(2), key);
  }
  if (choose_.flag()) store_->updateAccount(account);
}

void Program::query() {
  (void)store_->accountWithIdentifier(choose_.identifier());
  (void)store_->syncableAccountWithSyncIdentifier(choose_.identifier());
  (void)store_->displayAccountWithSyncIdentifier(choose_.identifier());
  (void)store_->allBasicSyncableAccounts();
  demand(store_->countOfBasicAccountsWithTypes({"Mail", "CalDAV"}) ==
             store_->basicAccountsWithTypes({"Mail", "CalDAV"}).size(),
         "accounts are counted as they are listed");
}

void Program::act() {
  switch (choose_.below(10)) {
    case 0:
    case 1:
      return change(anyAccount());
    case 2:
      if (const Account account = newAccount()) store_->insertAccount(account);
      return;
    case 3:
      if (const Account account = anyAccount()) store_->deleteAccount(account);
      return;
    case 4:
      return store_->deleteAccountWithIdentifier(choose_.identifier());
    case 5:
      if (const Account old = anyAccount()) {
        if (const Account other = newAccount()) store_->replaceAccountWithAccount(old, other);
      }
      return;
    case 6: {
      AccountsManager::AccountList list;
      for (std::size_t count = choose_.below(4); count > 0; --count) {
        if (const Account account = newAccount()) list.push_back(account);
      }
      return store_->replaceAccountsWithTypesWithAccounts({choose_.word(), "Mail"}, list);
    }
    case 7:
      if (const Account parent = anyAccount()) {
        if (const Account child = choose_.flag() ? newAccount() : anyAccount()) {
          store_->addChildToAccount(child, parent);
        }
      }
      return;
    case 8:
      if (const Account parent = anyAccount()) {
        store_->removeChildWithIdentifierFromAccount(choose_.identifier(), parent);
      }
      return;
    default:
      return query();
  }
}

void Program::save() {
  const auto before = device_.fake.files.bytes(FuzzedDevice::kSettings);
  try {
    store_->saveAllAccounts();
  } catch (const AssertionFailure&) {
    // A module that tells of changes is not there; the file is written by then, or not.
    return;
  }
  const LastSave& last = store_->lastSave();
  const auto after = device_.fake.files.bytes(FuzzedDevice::kSettings);
  demand(last.saved() == (last.error() == nullptr), "a save says why it failed");
  if (last.saved()) {
    demand(after.has_value(), "a save that went well leaves a file");
  } else {
    demand(before == after, "a save that failed leaves the file alone");
  }
}

void run(std::span<const std::uint8_t> bytes) {
  Chooser choose(bytes);
  FuzzedDevice device(choose, FuzzedDevice::Kind::Current);
  if (choose.rarely(3))
    device.fake.faults.failNth(static_cast<int>(1 + choose.below(64)), "files.");
  Program first(device, choose);
  while (!choose.isAtEnd()) {
    for (std::size_t edits = choose.below(4); edits > 0; --edits) first.act();
    if (choose.rarely(4)) {
      Program other(device, choose);
      other.act();
      other.save();
    }
    first.save();
    for (const std::string& path : device.fake.files.temporaryFilesLeft()) {
      demand(device.fake.faults.fired(), "a temporary file stays only where its removal failed");
      device.fake.files.erase(path);
    }
    device.demandWhole();
  }
}

}  // namespace
}  // namespace accountsettings::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  accountsettings::fuzz::run({data, size});
  return 0;
}
