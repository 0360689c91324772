// Tests of the short cuts that a migration and its saves take: what comes out is the same without
// them, to the byte and to the line, and what they leave to be done does not grow with the
// accounts.
#include "store/ShortCuts.h"

#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "platform/AssertionFailure.h"
#include "plist/BinaryWriter.h"
#include "plist/XmlWriter.h"
#include "testing/MigrationTest.h"

namespace accountsettings {
namespace {

using testing::dataclass;

// Whatever can be seen of a run from outside.
struct Outcome {
  std::map<std::string, Bytes> files;
  std::vector<testing::Call> calls;  // of every service of the device, in order
  std::vector<std::string> log;
  int identifiersMade = 0;
};

// A device that is made up by a seed: what it holds, what fails, and what other processes do
// meanwhile.
class Device : public testing::MigrationTest {
 public:
  explicit Device(std::uint32_t seed) : random_(seed) {
    if (roll(8) == 0) switchTracingOn();
    if (roll(3) == 0) switchRecordsOn();
    if (roll(10) != 0) putNewSettings();
    if (roll(6) == 0) fake.files.putPropertyList(kLegacyMail, legacyMail());
    if (roll(12) == 0) fake.files.put(kSentinel, "");
    if (roll(4) == 0) fake.faults.failNth(1 + roll(60), "files.");
    for (int edits = roll(3); edits > 0; --edits) {
      const char* const moments[] = {"files.read", "files.makeTemporary", "files.rename"};
      fake.faults.doAt(moments[roll(3)], 1 + roll(12), [this] { editByAnother(); });
    }
  }
  void TestBody() override {}

  Outcome migrateTwice() {
    (void)migrate();
    // Afterwards a program of the same process edits what it finds.
    const auto store = AccountsManager::init();
    for (int edits = roll(4); edits > 0; --edits) {
      edit(*store);
      if (roll(4) == 0) editByAnother();
      save(*store);
    }
    (void)migrate();
    return outcome();
  }

 private:
  // Who has no creators information, as these devices, cannot tell anybody of changes.
  void save(AccountsManager& store) {
    try {
      store.saveAllAccounts();
    } catch (const AssertionFailure& failure) {
      fake.log.write(failure.what());
    }
  }

  int roll(int sides) { return static_cast<int>(random_() % static_cast<unsigned>(sides)); }
  template <class T>
  T oneOf(std::initializer_list<T> all) {
    return *(all.begin() + roll(static_cast<int>(all.size())));
  }

  Outcome outcome() {
    Outcome result;
    for (const std::string& path : fake.files.paths()) result.files[path] = *fake.files.bytes(path);
    result.calls = fake.faults.calls();
    result.log = log();
    result.identifiersMade = fake.identifiers.made();
    return result;
  }

  // Few, so that they repeat, also between accounts and children.
  std::string identifier() { return "id-" + std::to_string(roll(roll(3) == 0 ? 4 : 400)); }

  // Mostly an account that loads without a word; else one that is broken in one of many ways.
  PropertyList account(int depth = 0) {
    const bool isOdd = roll(12) == 0;
    if (isOdd && roll(8) == 0) return oneOf<PropertyList>({"text", 7, Array{}});
    Dictionary properties;
    if (!isOdd || roll(2) == 0) properties.set("Identifier", identifier());
    if (isOdd && roll(4) == 0) properties.set("Identifier", oneOf<PropertyList>({5, ""}));
    if (roll(3) != 0) properties.set("Sync Identifier", identifier());
    properties.set("Type", oneOf<std::string_view>({"Mail", "Quorra", "CalDAV", "Gmail", "Exchange",
                                                    "SMTP", "ZelqoAccount", "OnMyDevice"}));
    if (isOdd && roll(3) == 0) properties.set("Type", oneOf<PropertyList>({"Unheard-of", 3, ""}));
    properties.set("Class",
                   oneOf<std::string_view>({"IMAPAccount", "QuorraAccount", "POPAccount",
                                            "GmailAccount", "VantorAccount", "ZQAccount"}));
    if (isOdd && roll(3) == 0) properties.remove("Class");
    if (isOdd && roll(3) == 0) properties.set("Class", oneOf<PropertyList>({"", 4}));
    if (roll(10) == 0) properties.set("Class", "NotKnownToMail");
    if (roll(2) == 0) {
      properties.set("AccountPath", oneOf<std::string_view>({"/Mail/POP-a", "/Mail/AOL-b", "/x"}));
    }
    if (roll(2) == 0) properties.set("Username", "user" + std::to_string(roll(9)));
    if (roll(3) == 0) properties.set("status", roll(3));
    if (roll(4) == 0) properties.set("IsActive", roll(2) == 0);
    if (roll(5) == 0) properties.set("uniqueId", identifier());
    if (roll(3) == 0) {
      properties.set("Enabled Dataclasses",
                     Array{dataclass("Calendars"), dataclass(roll(2) == 0 ? "Notes" : "Ubiquity")});
    }
    if (depth == 0 && roll(4) == 0) {
      Array children;
      for (int i = roll(4); i > 0; --i) children.append(account(1));
      properties.set("ChildAccounts", children);
    }
    return properties;
  }

  Array accounts() {
    Array all;
    for (int i = roll(10); i > 0; --i) all.append(account());
    return all;
  }

  void putNewSettings() {
    Dictionary root{{"Accounts", accounts()}};
    if (roll(8) != 0) root.set("Version", roll(14));
    const auto xml = roll(4) == 0 ? writeXml(root) : Result<Bytes>(Error{});
    fake.files.put(kSettings, xml ? *xml : *writeBinary(root));
  }

  Dictionary legacyMail() {
    return {{"MailAccounts", Array{Dictionary{{"Class", "POPAccount"}, {"uniqueId", identifier()}},
                                   Dictionary{{"Class", "Other"}, {"uniqueId", identifier()}}}}};
  }

  // What another process makes of the settings file.
  void editByAnother() {
    const auto file = fake.files.propertyList(kSettings);
    if (!file || file->dictionary() == nullptr || roll(6) == 0) return putNewSettings();
    if (roll(12) == 0) return fake.files.put(kSettings, "neither form");
    Dictionary root = *file->dictionary();
    const PropertyList* stored = root.find("Accounts");
    Array all = stored != nullptr && stored->array() != nullptr ? *stored->array() : Array();
    if (!all.empty() && roll(3) != 0) {
      const auto place = static_cast<std::size_t>(roll(static_cast<int>(all.size())));
      Dictionary changed =
          all[place].dictionary() != nullptr ? *all[place].dictionary() : Dictionary();
      changed.set("theirs", roll(100));
      if (roll(5) == 0) changed.set("Class", "NotKnownToMail");
      all.set(place, changed);
    } else if (!all.empty() && roll(2) == 0) {
      all.removeAt(static_cast<std::size_t>(roll(static_cast<int>(all.size()))));
    } else {
      all.append(account());
    }
    root.set("Accounts", all);
    fake.files.putPropertyList(kSettings, root);
  }

  void edit(AccountsManager& store) {
    const auto all = store.allBasicAccounts();
    const auto some =
        all.empty() ? nullptr : all[static_cast<std::size_t>(roll(static_cast<int>(all.size())))];
    const PropertyList description = account();
    const auto fresh = description.dictionary() != nullptr
                           ? BasicAccount::initWithProperties(*description.dictionary())
                           : nullptr;
    switch (some != nullptr ? roll(8) : 6) {
      case 0:
        return some->setAccountPropertyForKey(roll(100), "mine");
      case 1:
        return some->removeAccountPropertyForKey(
            oneOf<std::string_view>({"Username", "Identifier"}));
      case 2:
        return some->_forcedSetAccountPropertyForKey("NotKnownToMail", "Class");
      case 3:
        return store.deleteAccount(some);
      case 4:
        return store.replaceAccountWithAccount(some, fresh);
      case 5:
        return store.addChildToAccount(fresh, some);
      case 6:
        return store.insertAccount(fresh);
      default:
        return some->setAccountPropertyForKey(identifier(), "Identifier");
    }
  }

  std::mt19937 random_;
};

Outcome outcomeOf(std::uint32_t seed, bool takesShortCuts, SettingsWork* work) {
  Device device(seed);
  takeShortCuts(takesShortCuts);
  const Outcome outcome = device.migrateTwice();
  *work = settingsWork();
  return outcome;
}

TEST(ShortCutsTest, FilesCallsAndLogsAreTheSameWithoutThem) {
  SettingsWork with;
  SettingsWork without;
  for (std::uint32_t seed = 1; seed <= 2000; ++seed) {
    SettingsWork work;
    const Outcome shortOne = outcomeOf(seed, true, &work);
    with.parsed += work.parsed;
    with.serialized += work.serialized;
    with.storesBuilt += work.storesBuilt;
    const Outcome longOne = outcomeOf(seed, false, &work);
    without.parsed += work.parsed;
    without.serialized += work.serialized;
    without.storesBuilt += work.storesBuilt;
    ASSERT_EQ(shortOne.log, longOne.log) << seed;
    ASSERT_EQ(shortOne.calls, longOne.calls) << seed;
    ASSERT_EQ(shortOne.identifiersMade, longOne.identifiersMade) << seed;
    ASSERT_TRUE(shortOne.files == longOne.files) << seed;
  }
  // The devices are not such that no short cut was ever taken.
  EXPECT_LT(with.parsed, without.parsed / 2);
  EXPECT_LT(with.serialized, without.serialized);
  EXPECT_LT(with.storesBuilt, without.storesBuilt);
}

class ChainWork : public testing::MigrationTest {
 protected:
  // What a chain from version 0 does on a device with so many accounts of each of a few kinds.
  struct Work {
    SettingsWork settings;
    std::vector<std::string> fileOperations;
  };

  Work workOfChain(int accounts) {
    Array all;
    for (int i = 0; i < accounts; ++i) all.append(account(i));
    fake.files.erase(kSettingsCopy);
    putSettings(0, all);
    fake.faults.forgetCalls();
    settingsWork() = {};
    EXPECT_TRUE(migrate());
    EXPECT_EQ(savedVersion(), PropertyList(12));
    return {settingsWork(), fake.faults.operations("files.")};
  }

  static Dictionary account(int number) {
    const std::string identifier = "account-" + std::to_string(number);
    Dictionary properties{{"Identifier", identifier}, {"Username", "user"}};
    switch (number % 4) {
      case 0:
        properties.set("Type", "Mail");
        properties.set("Class", "IMAPAccount");
        break;
      case 1:
        properties.set("Type", "CalDAV");
        properties.set("Class", "MobileCalDAVAccount");
        break;
      case 2:
        properties.set("Type", "Quorra");
        properties.set("Class", "QuorraAccount");
        properties.set("IsActive", true);
        properties.set("ChildAccounts",
                       Array{Dictionary{{"Type", "CalDAV"},
                                        {"Class", "MobileCalDAVAccount"},
                                        {"Identifier", "child of " + identifier}}});
        break;
      default:
        properties.set("Type", "SMTP");
        properties.set("Class", "SMTPAccount");
        break;
    }
    return properties;
  }
};

TEST_F(ChainWork, DoesNotGrowWithTheAccounts) {
  const Work few = workOfChain(10);
  EXPECT_EQ(few.settings.parsed, 1U);
  EXPECT_EQ(few.settings.storesBuilt, 1U);
  const auto count = [&](std::string_view operation) {
    return std::ranges::count(few.fileOperations, operation);
  };
  // Six steps save, and the end of the migration.
  EXPECT_EQ(count("files.rename"), 7);
  EXPECT_EQ(count("files.flushAndClose"), 7);
  EXPECT_EQ(count("files.flushDirectoryOf"), 7);
  // To decide, to load, to choose the steps, and before each save.
  EXPECT_EQ(count("files.read"), 10);

  const Work many = workOfChain(1000);
  EXPECT_EQ(many.settings, few.settings);
  EXPECT_EQ(many.fileOperations, few.fileOperations);
}

}  // namespace
}  // namespace accountsettings
