// Fuzz target: a device of any content is migrated in memory. Without a fault, every account and
// key is there or a rule tells why not, short cuts change nothing, and further migrations come to
// rest; after a failed operation the settings can be read, and an undisturbed migration goes
// through.
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "fuzz/Demand.h"
#include "fuzz/FuzzedDevice.h"
#include "migration/AccountsDataMigrator.h"
#include "platform/AssertionFailure.h"
#include "platform/ReadDictionary.h"
#include "plist/Description.h"
#include "store/ShortCuts.h"
#include "tool/inspection/Inspection.h"
#include "tool/inspection/LegacyForecast.h"
#include "tool/migration/Ledger.h"

namespace accountsettings::fuzz {
namespace {

class StepRecorder : public MigrationObserver {
 public:
  void willRunStep(std::string_view step, const Array& accounts) override {
    step_ = step;
    before_ = accounts;
  }
  void didRunStep(std::string_view, const Array& accounts, bool result) override {
    steps.emplace_back(step_, before_, accounts, result);
  }

  std::vector<StepRecord> steps;

 private:
  std::string step_;
  Array before_;
};

constexpr int kErrors[] = {EIO, EACCES, ENOSPC, ENOENT, EMFILE, ENOMEM};

enum class Answer { Yes, No, Raised };

// A migration in a process of its own.
Answer migrate(FuzzedDevice& device, bool shortCuts = true, StepRecorder* recorder = nullptr) {
  ProcessContext context(device.fake.platform());
  const ProcessContext::Override current(context);
  takeShortCuts(shortCuts);
  AccountsDataMigrator migrator;
  migrator.setObserver(recorder);
  try {
    return migrator.performMigration() ? Answer::Yes : Answer::No;
  } catch (const AssertionFailure&) {
    return Answer::Raised;
  }
}

std::string inWords(const std::optional<Dictionary>& root) {
  return root ? description(*root, 4000) : "nothing";
}

// What the ledger needs to know, before and after.
class Bookkeeper {
 public:
  explicit Bookkeeper(FuzzedDevice& device) : device_(device) {
    ProcessContext context(device.fake.platform());
    const ProcessContext::Override current(context);
    files_ = filesOfRoot();
    isAcceptable_ = !anyBlocksMigration(inspectFiles(files_)) && accountsCanBeToldApart() &&
                    !device.fake.files.has(FuzzedDevice::kSentinel);
    legacyFiles_ = legacyFilesOf(files_);
  }

  // The command refuses the others unless it is told to accept losses.
  [[nodiscard]] bool isAcceptable() const noexcept { return isAcceptable_; }

  void demandNothingLost(const std::vector<StepRecord>& steps) {
    ProcessContext context(device_.fake.platform());
    const ProcessContext::Override current(context);
    LedgerInput input;
    input.settingsPath = FuzzedDevice::kSettings;
    if (const Dictionary* root = settings()) input.settings = *root;
    for (const LegacyFile& file : legacyFiles_) {
      input.legacyFiles.push_back({file, device_.fake.files.has(file.path)});
    }
    input.result = readDictionary(device_.fake.files, FuzzedDevice::kSettings);
    for (const LedgerEntry& lost : makeLedger(input, steps).unexplained()) {
      demand(false, "a rule explains why " + lost.account + " " + lost.key + " is dropped by " +
                        lost.step + "\nbefore: " + inWords(input.settings) +
                        "\nafter: " + inWords(input.result));
    }
  }

 private:
  [[nodiscard]] const Dictionary* settings() const {
    const auto& content = files_.settings.content;
    return content && content->ok() ? (**content).dictionary() : nullptr;
  }
  // Where two have one identifier, or one has none, the ledger may take an account that moved for
  // one that went: the command then refuses too, which loses nothing.
  [[nodiscard]] bool accountsCanBeToldApart() const {
    std::set<std::string> identifiers;
    bool allDiffer = true;
    const Dictionary* root = settings();
    forEachAccount(root ? root->arrayOrEmpty("Accounts") : Array(),
                   [&](AccountPlace, const Dictionary& account) {
                     const std::string identifier(identifierOf(account));
                     allDiffer &= !identifier.empty() && identifiers.insert(identifier).second;
                   });
    return allDiffer;
  }

  FuzzedDevice& device_;
  InspectedFiles files_;
  std::vector<LegacyFile> legacyFiles_;
  bool isAcceptable_ = false;
};

void migrateUndisturbed(const Chooser& choices) {
  Chooser choose = choices;
  FuzzedDevice device(choose, FuzzedDevice::Kind::Any);
  const bool hadSentinel = device.fake.files.has(FuzzedDevice::kSentinel);
  Bookkeeper bookkeeper(device);
  StepRecorder recorder;
  const Answer answer = migrate(device, true, &recorder);
  device.demandWhole();
  if (answer == Answer::Yes && bookkeeper.isAcceptable()) {
    bookkeeper.demandNothingLost(recorder.steps);
  }

  Chooser again = choices;
  FuzzedDevice twin(again, FuzzedDevice::Kind::Any);
  demand(migrate(twin, false) == answer, "short cuts do not change the answer");
  demand(twin.contents() == device.contents(), "short cuts do not change a file");
  demand(twin.fake.log.lines() == device.fake.log.lines(), "short cuts do not change the log");

  // A sentinel, and a generic mail account beyond repair, take a run of their own each.
  for (int runs = hadSentinel ? 2 : 1; runs > 0; --runs) (void)migrate(device);
  const auto settled = device.fake.files.bytes(FuzzedDevice::kSettings);
  (void)migrate(device);
  demand(device.fake.files.bytes(FuzzedDevice::kSettings) == settled, "migrations come to rest");
  device.demandWhole();
}

// Of the top-level accounts that the settings hold now.
std::set<std::string> identifiersIn(FuzzedDevice& device) {
  ProcessContext context(device.fake.platform());
  const ProcessContext::Override current(context);
  const auto settings = readDictionary(device.fake.files, FuzzedDevice::kSettings);
  std::set<std::string> identifiers;
  forEachAccount(storedAccounts(settings), [&](AccountPlace place, const Dictionary& account) {
    if (!place.isChild()) identifiers.emplace(identifierOf(account));
  });
  return identifiers;
}

// What was there before, and is after an undisturbed migration, is there after a disturbed one.
// A legacy file that could not be read counts as empty, and takes the accounts of its types with
// it.
void demandSameAccounts(const std::set<std::string>& before, const Chooser& choices,
                        FuzzedDevice& device) {
  Chooser choose = choices;
  FuzzedDevice twin(choose, FuzzedDevice::Kind::Any);
  if (twin.fake.files.has(FuzzedDevice::kMail) || twin.fake.files.has(FuzzedDevice::kExchange)) {
    return;
  }
  (void)migrate(twin);
  (void)migrate(twin);
  const std::set<std::string> now = identifiersIn(device);
  for (const std::string& each : identifiersIn(twin)) {
    if (before.contains(each)) demand(now.contains(each), "the account " + each + " is there");
  }
}

void migrateDisturbed(const Chooser& choices, int operation, int error) {
  Chooser choose = choices;
  FuzzedDevice device(choose, FuzzedDevice::Kind::Any);
  const std::set<std::string> before = identifiersIn(device);
  device.fake.faults.failNth(operation, "", error);
  (void)migrate(device);
  device.fake.faults.clear();
  const auto left = device.fake.files.temporaryFilesLeft();
  for (const std::string& path : left) device.fake.files.erase(path);  // its removal failed
  device.demandWhole();
  (void)migrate(device);
  device.demandWhole();
  // Whatever is answered with this is not there.
  if (error != ENOENT) demandSameAccounts(before, choices, device);
}

void run(std::span<const std::uint8_t> bytes) {
  Chooser choose(bytes);
  const int operation = static_cast<int>(choose.below(256));
  const int error = choose.oneOf(kErrors);
  if (operation < 128) {
    migrateUndisturbed(choose);
  } else {
    migrateDisturbed(choose, operation - 127, error);
  }
}

}  // namespace
}  // namespace accountsettings::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  accountsettings::fuzz::run({data, size});
  return 0;
}
