// Tests of many processes, and threads, that write the settings at once, on real files: nobody's
// edit is lost. The processes write for as long as AS_WRITERS_SECONDS says, else for a second each.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/HostTest.h"
#include "host/LinuxHost.h"
#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"
#include "store/AccountsWatcher.h"
#include "store/ShortCuts.h"

namespace accountsettings {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::ElementsAre;

constexpr int kWriters = 8;

std::chrono::seconds duration() {
  const char* wanted = std::getenv("AS_WRITERS_SECONDS");
  return std::chrono::seconds(wanted != nullptr ? std::max(1, std::atoi(wanted)) : 1);
}

class AccountsManagerWriters : public ::testing::Test {
 protected:
  AccountsManagerWriters() {
    fs::create_directories(device.path("var/mobile/Library/Preferences"));
    const std::string ids = std::to_string(::getuid()) + ":" + std::to_string(::getgid());
    device.write("etc/passwd", "mobile:x:" + ids + "::/var/mobile:/bin/sh\n");
    device.write("etc/group", "mobile:x:" + std::to_string(::getgid()) + ":\n");
  }

  // A host of the process that asks, and its context.
  struct World {
    explicit World(const std::string& root, milliseconds limit) {
      HostOptions options;
      options.root = root;
      options.systemLog = &log;
      options.writerLockLimit = limit;
      host = std::move(LinuxHost::create(std::move(options))).value();
      context = std::make_unique<ProcessContext>(host->platform());
      current = std::make_unique<ProcessContext::Override>(*context);
    }
    testing::KeptLog log;
    std::unique_ptr<LinuxHost> host;
    std::unique_ptr<ProcessContext> context;
    std::unique_ptr<ProcessContext::Override> current;
  };
  [[nodiscard]] World world(milliseconds limit = milliseconds(120'000)) const {
    return World(device.root(), limit);
  }

  static Dictionary account(const std::string& identifier) {
    return {{"Identifier", identifier}, {"Type", "CalDAV"}, {"Class", "MobileCalDAVAccount"}};
  }
  static void insert(AccountsManager& store, const std::string& identifier) {
    store.insertAccount(BasicAccount::accountWithProperties(account(identifier)));
  }
  void fill(int accounts) const {
    const World here = world();
    const auto store = AccountsManager::init();
    for (int i = 0; i < accounts; ++i) insert(*store, "A" + std::to_string(i));
    store->saveAllAccounts();
    ASSERT_TRUE(store->lastSave().saved());
  }
  static std::int64_t numberOf(const AccountsManager& store, const std::string& identifier,
                               const std::string& key) {
    const auto record = store.accountWithIdentifier(identifier);
    const auto value =
        record != nullptr ? record->accountPropertyForKey(key) : std::optional<PropertyList>();
    return value ? value->integerValue() : 0;
  }

  // Runs the writers, each in a process of its own, until time is up; answers how many edits each
  // made. A writer answers whether its edit was saved; one that was not ends the test.
  std::vector<std::int64_t> run(const std::function<std::function<bool(int)>(int)>& makeWriter) {
    std::vector<pid_t> children;
    int ready[2];
    EXPECT_EQ(::pipe(ready), 0);
    for (int writer = 0; writer < kWriters; ++writer) {
      const pid_t child = ::fork();
      if (child == 0) {
        ::close(ready[1]);
        const World here = world();
        const std::function<bool(int)> edit = makeWriter(writer);
        char none = 0;
        while (::read(ready[0], &none, 1) > 0) continue;  // until all are there
        const auto end = steady_clock::now() + duration();
        int edits = 0;
        while (steady_clock::now() < end || edits == 0) {
          if (!edit(++edits)) ::_exit(1);
        }
        device.write("edits" + std::to_string(writer), std::to_string(edits));
        ::_exit(0);
      }
      children.push_back(child);
    }
    ::close(ready[0]);
    ::close(ready[1]);
    std::vector<std::int64_t> edits;
    for (int writer = 0; writer < kWriters; ++writer) {
      int status = 0;
      ::waitpid(children[static_cast<std::size_t>(writer)], &status, 0);
      EXPECT_EQ(status, 0) << "writer " << writer;
      edits.push_back(std::atoll(device.read("edits" + std::to_string(writer)).c_str()));
    }
    return edits;
  }

  testing::DeviceRoot device;
};

TEST_F(AccountsManagerWriters, WhoLoadsEditsAndSavesUnderTheLockLosesNothing) {
  fill(1);
  const auto edits = run([](int writer) {
    return [writer](int edit) {
      bool saved = false;
      const Status done = AccountsManager::withSettingsLocked([&] {
        const auto store = AccountsManager::init();
        // What all count up together, and accounts that the others have not loaded.
        store->accountWithIdentifier("A0")->setAccountPropertyForKey(
            numberOf(*store, "A0", "sum") + 1, "sum");
        if (edit % 16 == 1) insert(*store, std::to_string(writer) + "-" + std::to_string(edit));
        store->saveAllAccounts();
        saved = store->lastSave().saved();
      });
      return done.ok() && saved;
    };
  });
  const World here = world();
  const auto store = AccountsManager::init();
  std::int64_t sum = 0;
  std::size_t accounts = 1;
  for (const std::int64_t each : edits) {
    EXPECT_GT(each, 0);
    sum += each;
    accounts += static_cast<std::size_t>((each + 15) / 16);
  }
  EXPECT_EQ(numberOf(*store, "A0", "sum"), sum);
  EXPECT_EQ(store->count(), accounts);
}

// Each writer goes round over many keys, so that not only its last save would be missed.
constexpr int kKeys = 8 * kWriters;

std::string accountOfEdit(std::int64_t edit) {
  return "A" + std::to_string(edit % kWriters);
}

std::string keyOfEdit(int writer, std::int64_t edit) {
  return std::to_string(writer) + " " + std::to_string(edit % kKeys);
}

TEST_F(AccountsManagerWriters, WhoEditsKeysOfAccountsThatAllHaveLoadedLosesNothing) {
  fill(kWriters);
  const auto edits = run([](int writer) {
    const std::shared_ptr<AccountsManager> store = AccountsManager::init();
    return [store, writer](int edit) {
      store->accountWithIdentifier(accountOfEdit(edit))
          ->setAccountPropertyForKey(edit, keyOfEdit(writer, edit));
      store->saveAllAccounts();
      return store->lastSave().saved();
    };
  });
  const World here = world();
  const auto store = AccountsManager::init();
  ASSERT_EQ(store->count(), static_cast<std::size_t>(kWriters));
  for (int writer = 0; writer < kWriters; ++writer) {
    const std::int64_t last = edits[static_cast<std::size_t>(writer)];
    for (std::int64_t edit = std::max<std::int64_t>(1, last - kKeys + 1); edit <= last; ++edit) {
      EXPECT_EQ(numberOf(*store, accountOfEdit(edit), keyOfEdit(writer, edit)), edit);
    }
  }
}

TEST_F(AccountsManagerWriters, ASaveThatWaitedTooLongFailsAndSaysSo) {
  fill(1);
  const World here = world(milliseconds(30));
  const auto store = AccountsManager::init();
  store->accountWithIdentifier("A0")->setAccountPropertyForKey(1, "ours");
  const auto held =
      here.host->platform().writerLocks.hold(AccountsManager::fullPathToAccountSettingsPlist());
  ASSERT_TRUE(held.ok());
  store->saveAllAccounts();
  EXPECT_EQ(store->lastSave().outcome(), LastSave::Outcome::NotLocked);
  EXPECT_EQ(store->lastSave().error()->code, EBUSY);
  EXPECT_EQ(numberOf(*AccountsManager::init(), "A0", "ours"), 0);
}

TEST_F(AccountsManagerWriters, SavingLeavesNoFileBesideTheSettings) {
  fill(1);
  std::vector<std::string> names;
  for (const auto& each : fs::directory_iterator(device.path("var/mobile/Library/Preferences"))) {
    names.push_back(each.path().filename());
  }
  EXPECT_THAT(names, ElementsAre(std::string(kAccountsFilename)));
}

// Each thread has stores of its own; the context is one for all, or each has its own. Together with
// ThreadSanitizer it looks at what stores share beneath: values, the registry, the known settings.
TEST_F(AccountsManagerWriters, ThreadsLoseNoEditInOneContextOrInTheirOwn) {
  constexpr int kThreads = 4;
  constexpr int kEdits = 8;
  fill(kThreads);
  const World shared = world();
  for (const bool ownContext : {false, true}) {
    const std::string key = ownContext ? "own" : "shared";
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number) {
      threads.emplace_back([&, identifier = "A" + std::to_string(number)] {
        const auto own = ownContext ? std::make_unique<World>(world()) : nullptr;
        const ProcessContext::Override here(ownContext ? *own->context : *shared.context);
        for (int edit = 1; edit <= kEdits; ++edit) {
          const Status done = AccountsManager::withSettingsLocked([&] {
            const auto store = AccountsManager::init();
            store->accountWithIdentifier(identifier)->setAccountPropertyForKey(edit, key);
            store->saveAllAccounts();
          });
          EXPECT_TRUE(done.ok()) << done.error().message;
        }
      });
    }
    for (std::thread& each : threads) each.join();
    const auto store = AccountsManager::init();
    for (int number = 0; number < kThreads; ++number) {
      EXPECT_EQ(numberOf(*store, "A" + std::to_string(number), key), kEdits) << key;
    }
  }
}

// No lock keeps them apart here, so that ThreadSanitizer sees what they share.
TEST_F(AccountsManagerWriters, ThreadsThatLoadAndSaveAtOnceAreCounted) {
  constexpr std::size_t kThreads = 4;
  constexpr std::size_t kRounds = 50;
  fill(kThreads);
  const World shared = world();
  const SettingsWork before = settingsWork();
  std::vector<std::thread> threads;
  for (std::size_t number = 0; number < kThreads; ++number) {
    threads.emplace_back([&shared, identifier = "A" + std::to_string(number)] {
      const ProcessContext::Override here(*shared.context);
      for (std::size_t round = 1; round <= kRounds; ++round) {
        const auto store = AccountsManager::init();
        store->accountWithIdentifier(identifier)
            ->setAccountPropertyForKey(static_cast<std::int64_t>(round), "round");
        store->saveAllAccounts();
      }
    });
  }
  for (std::thread& each : threads) each.join();
  // Whoever saves over what another saved builds one more.
  EXPECT_GE(settingsWork().storesBuilt - before.storesBuilt, kThreads * kRounds);
  EXPECT_EQ(settingsWork().serialized - before.serialized, kThreads * kRounds);
  const auto store = AccountsManager::init();
  for (std::size_t number = 0; number < kThreads; ++number) {
    EXPECT_EQ(numberOf(*store, "A" + std::to_string(number), "round"), kRounds);
  }
}

TEST_F(AccountsManagerWriters, AProgramLearnsOfTheEditsOfAnother) {
  fill(2);
  const World here = world();
  std::vector<std::string> changed;
  auto watcher = AccountsWatcher::start([&](const Array& changes) {
    for (const PropertyList& each : changes) {
      changed.emplace_back(*each.dictionary()->find(kRSChangeAccountIdentifierKey)->stringValue());
    }
  });
  ASSERT_TRUE(watcher.ok()) << watcher.error().message;
  EXPECT_GE((*watcher)->descriptor(), 0);
  // Another process edits one account; this one edits another.
  EXPECT_EQ(testing::inChild([&] {
              const World there = world();
              const auto store = AccountsManager::init();
              store->accountWithIdentifier("A1")->setAccountPropertyForKey(1, "theirs");
              store->saveAllAccounts();
              return store->lastSave().saved() ? 0 : 1;
            }),
            0);
  const auto store = AccountsManager::init();
  store->accountWithIdentifier("A0")->setAccountPropertyForKey(1, "ours");
  store->saveAllAccounts();
  EXPECT_TRUE((*watcher)->waitAndTellChanges(milliseconds(60'000)).ok());
  EXPECT_THAT(changed, ElementsAre("A1"));
}

}  // namespace
}  // namespace accountsettings
