// Tests of saves on real files: beside a reader, killed at any call, without the right to write,
// and on a full disk.
#include <signal.h>
#include <sys/resource.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include "host/HostTest.h"
#include "host/LinuxHost.h"
#include "platform/PlatformWith.h"
#include "platform/ProcessContext.h"
#include "plist/Reader.h"
#include "store/AccountsManager.h"
#include "testing/KillingFiles.h"

namespace accountsettings {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

class AccountsManagerHostFiles : public ::testing::Test {
 protected:
  static constexpr const char* kPreferences = "var/mobile/Library/Preferences";

  AccountsManagerHostFiles() {
    fs::create_directories(device.path(kPreferences));
    giveTo(::getuid(), ::getgid());
    HostOptions options;
    options.root = device.root();
    options.systemLog = &log;
    Result<std::unique_ptr<LinuxHost>> made = LinuxHost::create(std::move(options));
    EXPECT_TRUE(made.ok()) << made.error().message;
    host = std::move(*made);
    context = std::make_unique<ProcessContext>(host->platform());
    current = std::make_unique<ProcessContext::Override>(*context);
  }

  // Lets the account and group "mobile" of the root be these.
  void giveTo(unsigned user, unsigned group) {
    const std::string ids = std::to_string(user) + ":" + std::to_string(group);
    device.write("etc/passwd", "mobile:x:" + ids + "::/var/mobile:/bin/sh\n");
    device.write("etc/group", "mobile:x:" + std::to_string(group) + ":\n");
  }
  fs::path file() const {
    return device.path(kPreferences) / fs::path(std::string(kAccountsFilename));
  }
  // The names in the preferences directory.
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& each : fs::directory_iterator(device.path(kPreferences))) {
      found.push_back(each.path().filename());
    }
    return found;
  }
  std::string content() const { return testing::DeviceRoot::readFile(file()); }

  static Dictionary account(int number) {
    return {{"Identifier", "A" + std::to_string(number)},
            {"Type", "CalDAV"},
            {"Class", "MobileCalDAVAccount"},
            {"Padding", std::string(100, 'x')}};
  }
  // Fills the settings file with so many accounts.
  void fill(int accounts) {
    const auto store = AccountsManager::initWithAccounsInfoArray(std::nullopt);
    for (int i = 0; i < accounts; ++i) {
      store->insertAccount(BasicAccount::accountWithProperties(account(i)));
    }
    store->saveAllAccounts();
  }
  // Gives every account this text and saves.
  static void saveEverywhere(AccountsManager& store, const std::string& text) {
    for (const auto& each : store.allBasicAccounts()) {
      each->setAccountPropertyForKey(text, "Text");
    }
    store.saveAllAccounts();
  }
  // The text that all accounts of the file share; empty where the file is not whole.
  static std::string sharedText(const std::string& bytes, std::size_t accounts) {
    const auto root = readPropertyList(testing::bytesOf(bytes));
    if (!root || root->dictionary() == nullptr) return "";
    const Array& list = root->dictionary()->arrayOrEmpty("Accounts");
    if (list.size() != accounts) return "";
    std::string shared;
    for (const PropertyList& each : list) {
      const std::string own(each.dictionary()->string("Text").value_or(""));
      if (!shared.empty() && own != shared) return "";
      shared = own;
    }
    return shared;
  }

  testing::DeviceRoot device;
  testing::KeptLog log;
  std::unique_ptr<LinuxHost> host;
  std::unique_ptr<ProcessContext> context;
  std::unique_ptr<ProcessContext::Override> current;
};

TEST_F(AccountsManagerHostFiles, SavedFileHasModeOwnerAndNoCompanions) {
  fill(3);
  EXPECT_EQ(testing::modeOf(file()), 0600U);
  EXPECT_THAT(names(), ElementsAre(std::string(kAccountsFilename)));
  EXPECT_EQ(AccountsManager::init()->count(), 3U);
  EXPECT_THAT(log.lines, ::testing::IsEmpty());
}

TEST_F(AccountsManagerHostFiles, ReaderNeverSeesHalfAFile) {
  constexpr int kAccounts = 300;
  fill(kAccounts);
  const auto store = AccountsManager::init();
  saveEverywhere(*store, "0");
  std::atomic<bool> done{false};
  std::atomic<int> broken{0};
  std::atomic<int> reads{0};
  std::thread reader([&] {
    const fs::path path = file();
    while (!done || reads == 0) {
      if (sharedText(testing::DeviceRoot::readFile(path), kAccounts).empty()) ++broken;
      ++reads;
    }
  });
  for (int save = 1; save <= 60; ++save) saveEverywhere(*store, std::to_string(save));
  done = true;
  reader.join();
  EXPECT_EQ(broken, 0) << "of " << reads;
  EXPECT_EQ(sharedText(content(), kAccounts), "60");
}

TEST_F(AccountsManagerHostFiles, KillAtAnyCallLeavesTheOldFileOrTheNewOne) {
  fill(20);
  saveEverywhere(*AccountsManager::init(), "old");
  const std::string oldContent = content();
  // Runs a save in a child that is killed at that call; answers how the child ended.
  const auto saveKilledAt = [&](int call) {
    return testing::inChild([&] {
      testing::KillingFiles files(host->platform().files, call);
      ProcessContext killed(platformWith(host->platform(), {.files = &files}));
      const ProcessContext::Override overriding(killed);
      saveEverywhere(*AccountsManager::init(), "new");
      return files.calls();
    });
  };
  const int calls = saveKilledAt(0);
  const std::string newContent = content();
  // Loading reads once; a save reads, makes, writes, gives away, flushes, renames and flushes.
  ASSERT_EQ(calls, 8);
  ASSERT_EQ(sharedText(newContent, 20), "new");
  ASSERT_NE(newContent, oldContent);
  for (int call = 1; call <= calls; ++call) {
    SCOPED_TRACE("call " + std::to_string(call));
    testing::DeviceRoot::writeFile(file(), oldContent);
    EXPECT_EQ(saveKilledAt(call), 1000 + SIGKILL);
    // The rename is the call before the last.
    EXPECT_EQ(content(), call < calls ? oldContent : newContent);
    // What a killed save leaves behind stands in nobody's way.
    saveEverywhere(*AccountsManager::init(), "again");
    EXPECT_EQ(sharedText(content(), 20), "again");
  }
}

TEST_F(AccountsManagerHostFiles, WithoutTheRightToGiveTheFileAwayNothingIsSaved) {
  AS_NEEDS_ROOT();
  fill(1);
  const std::string before = content();
  fs::permissions(file(), fs::perms::owner_read | fs::perms::others_read);
  fs::permissions(device.path(kPreferences), fs::perms::all);
  // In the child, files belong to another account than the root's "mobile".
  const int lines = testing::asOtherUser([&] {
    saveEverywhere(*AccountsManager::init(), "new");
    const bool asExpected =
        log.lines.size() == 2 &&
        log.lines[0].starts_with(
            "Could not set attributes on the temporary account settings plist. ") &&
        log.lines[1] == "Failed to save accounts to filesystem.";
    return asExpected ? 0 : 1;
  });
  EXPECT_EQ(lines, 0);
  EXPECT_EQ(content(), before);
  EXPECT_THAT(names(), ElementsAre(std::string(kAccountsFilename)));
}

TEST_F(AccountsManagerHostFiles, WithoutTheRightToWriteTheDirectoryNothingIsSaved) {
  AS_NEEDS_ROOT();
  fill(1);
  const std::string before = content();
  fs::permissions(file(), fs::perms::owner_read | fs::perms::others_read);
  const int lines = testing::asOtherUser([&] {
    saveEverywhere(*AccountsManager::init(), "new");
    return log.lines == std::vector<std::string>{"Failed to save accounts to filesystem."} ? 0 : 1;
  });
  EXPECT_EQ(lines, 0);
  EXPECT_EQ(content(), before);
}

TEST_F(AccountsManagerHostFiles, AStoreThatWasLoadedWithoutDescriptorsReplacesNothing) {
  fill(3);
  const std::string before = content();
  EXPECT_EQ(testing::inChild([&] {
              struct rlimit limit {};
              if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 99;
              const struct rlimit none { 0, limit.rlim_max };
              ::setrlimit(RLIMIT_NOFILE, &none);
              const auto store = AccountsManager::init();
              ::setrlimit(RLIMIT_NOFILE, &limit);
              if (store->loadError() == nullptr || store->loadError()->code != EMFILE) return 1;
              store->saveAllAccounts();
              return store->lastSave().outcome() == LastSave::Outcome::NeverLoaded ? 0 : 2;
            }),
            0);
  EXPECT_EQ(content(), before);
  EXPECT_EQ(AccountsManager::init()->count(), 3U);
}

TEST_F(AccountsManagerHostFiles, FullDiskLeavesTheOldFile) {
  fill(50);
  const std::string before = content();
  const int ended = testing::inChild([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{1000, 1000};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) return 2;
    saveEverywhere(*AccountsManager::init(), "new");
    return log.lines == std::vector<std::string>{"Failed to save accounts to filesystem."} ? 0 : 1;
  });
  EXPECT_EQ(ended, 0);
  EXPECT_EQ(content(), before);
  EXPECT_THAT(names(), ElementsAre(std::string(kAccountsFilename)));
}

}  // namespace
}  // namespace accountsettings
