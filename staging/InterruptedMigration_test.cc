// Tests of what becomes of a migration that was cut short, where the device was not left alone
// since: nothing goes that is not kept and converted, and no backup leads anywhere else.
#include "staging/InterruptedMigration.h"

#include "host/RootDirectory.h"
#include "platform/AssertionFailure.h"
#include "staging/HeldMigrationLock.h"
#include "staging/StagingTest.h"

namespace accountsettings {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;
using Kind = MigrationOutcome::Kind;
using Cause = MigrationOutcome::Cause;

class InterruptedMigrationTest : public testing::StagingTest {
 protected:
  [[nodiscard]] std::string manifestOf(const std::string& backup) const {
    return std::string(kBackups) + "/" + backup + "/" + std::string(kManifestName);
  }
  // Takes the outcome out of the newest backup, as if the run had been killed just before.
  std::string reopen(bool temporary = false) const {
    std::string name = backups().back();
    Dictionary manifest = dictionaryAt(device.path(manifestOf(name))).value();
    manifest.remove("Outcome");
    if (temporary) manifest.set("Temporary", true);
    put(manifestOf(name).c_str(), manifest);
    return name;
  }
  // As the device is when a migration from version 3 with the legacy files was killed after these
  // went and before the settings took their place; answers the journal's name.
  std::string cutBeforeTheRename() {
    putSettings(3);
    putLegacyFiles();
    const std::string before = device.read(kSettings);
    EXPECT_EQ(migrate().kind, Kind::Done) << lastProblem;
    std::string name = reopen();
    device.write(prepared(name), device.read(kSettings));
    device.write(kSettings, before);
    return name;
  }
  [[nodiscard]] std::string prepared(const std::string& backup) const {
    const Dictionary manifest = dictionaryAt(device.path(manifestOf(backup))).value();
    return std::string(manifest.string("Prepared As").value().substr(1));
  }
  [[nodiscard]] Dictionary outcomeOf(const std::string& backup) const {
    const Dictionary manifest = dictionaryAt(device.path(manifestOf(backup))).value();
    const Dictionary* outcome = manifest.dictionary("Outcome");
    return outcome == nullptr ? Dictionary() : *outcome;
  }
  [[nodiscard]] std::string endedHow(const std::string& backup) const {
    return std::string(outcomeOf(backup).string("Ended Later").value_or(""));
  }
  void putLaterMail() const {
    put(kMail, {{"MailAccounts",
                 Array{Dictionary{{"AccountType", "POPAccount"}, {"uniqueId", "later"}}}}});
  }
  // Settings that a program has written anew.
  void putEditedSettings(const char* identifier = "edited") const {
    put(kSettings,
        {{"Version", 12}, {"Accounts", Array{account("LDAP", "MobileLDAPAccount", identifier)}}});
  }
  MigrationOutcome plan(const StagedMigrationOptions& options = {}) {
    const auto before = tree();
    const auto host = newHost();
    MigrationOutcome outcome = planStaged(*host, options);
    EXPECT_EQ(difference(tree(), before), "") << "a plan touches nothing";
    outcome.staged.reset();
    return outcome;
  }
  MigrationOutcome migrateAccepting() {
    StagedMigrationOptions options;
    options.acceptBrokenRun = true;
    return migrate(options);
  }
};

// MARK: Edits

// As the command edits an account: what it replaces is kept, which is no journal.
class BackupOfAnEdit : public InterruptedMigrationTest {
 protected:
  std::string edit(const char* identifier = "edited") {
    const auto host = newHost();
    ProcessContext context(host->platform());
    const ProcessContext::Override current(context);
    RememberedFiles before(host->files(), host->accountNames());
    const std::vector<FileChange> meant{
        {FileChange::Kind::Write,
         std::string("/") + kSettings,
         std::make_shared<const Bytes>(writeBinary(Dictionary{{"Version", 12}}).value()),
         0600,
         {}}};
    BackupManifest draft;
    draft.outcome = {{outcome::kEdit, "remove"}, {outcome::kAccount, identifier}};
    const auto made = makeBackup(*host, {before, 12, meant, true}, std::move(draft));
    EXPECT_TRUE(made.ok());
    putEditedSettings(identifier);
    return made ? made->manifest.name : "";
  }
  std::vector<FoundBackup> found() {
    const auto host = newHost();
    ProcessContext context(host->platform());
    const ProcessContext::Override current(context);
    return findBackups(*host).value();
  }
};

TEST_F(BackupOfAnEdit, KeepsTheSettingsAloneAndTellsWhatItWasMadeFor) {
  putSettings(12);
  putLegacyFiles();
  const std::string before = device.read(kSettings);
  const std::string name = edit();
  const BackupManifest manifest = found().back().manifest.value();
  ASSERT_EQ(manifest.files.size(), 1U);
  EXPECT_EQ(manifest.files[0].role, PathRole::Settings);
  EXPECT_EQ(device.read(std::string(kBackups) + "/" + name + "/" + manifest.files[0].savedAs),
            before);
  EXPECT_EQ(manifest.edit()->command, "remove");
  EXPECT_EQ(manifest.edit()->account, "edited");
  EXPECT_FALSE(manifest.isOpen());
  EXPECT_FALSE(manifest.isBroken());
}

TEST_F(BackupOfAnEdit, NamesAnAccountThatXmlCannotName) {
  putSettings(12);
  edit("A\x1b");
  EXPECT_EQ(found().back().manifest.value().edit()->account, "A\x1b");
}

TEST_F(BackupOfAnEdit, HidesNoMigrationThatWasCutShort) {
  const std::string journal = cutBeforeTheRename();
  putSettings(12);  // a program saved
  edit();
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.cutShort, journal);
  EXPECT_THAT(savedIdentifiers(), IsSupersetOf({"edited", "pop", "gm", "smtp", "exchange"}));
}

TEST_F(BackupOfAnEdit, HidesNoMigrationThatWentWrong) {
  putSettings(3);
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  const std::string name = backups().back();
  Dictionary manifest = dictionaryAt(device.path(manifestOf(name))).value();
  Dictionary outcome = *manifest.dictionary("Outcome");
  outcome.set("As Meant", false);
  manifest.set("Outcome", outcome);
  put(manifestOf(name).c_str(), manifest);
  edit();
  putLegacyFiles();
  EXPECT_EQ(migrate().cause, Cause::BrokenRun);
}

TEST_F(BackupOfAnEdit, NeitherTakesThePlaceOfAMigrationsNorGivesItsOwn) {
  putSettings(3);
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  std::vector<std::string> edits;
  for (int i = 0; i < 3; ++i) edits.push_back(edit());
  StagedMigrationOptions options;
  options.keep = 1;
  for (int i = 0; i < 3; ++i) {
    putSettings(11);
    ASSERT_EQ(migrate(options).kind, Kind::Done) << lastProblem;
  }
  EXPECT_THAT(backups(), IsSupersetOf(edits));
  EXPECT_EQ(backups().size(), edits.size() + 3) << "the oldest of 3 and of 11, and the newest";
  const auto names = superfluousBackups(found(), {{}, 1});
  EXPECT_THAT(names, ElementsAre(edits[1], edits[0])) << "of the edits the oldest go";
}

// MARK: Legacy files

TEST_F(InterruptedMigrationTest, WhatWasEndedIsToldThoughTheInstallationIsFoundIncomplete) {
  const std::string journal = cutBeforeTheRename();
  StagedMigrationOptions options;
  options.judge = [](StagedMigration&) -> bool {
    throw AssertionFailure("a resource is missing", "+[BasicAccount initialize]", "BasicAccount");
  };
  std::optional<MigrationOutcome> told;
  options.willRelease = [&](const MigrationOutcome& outcome) { told = outcome; };
  const auto host = newHost();
  EXPECT_THROW((void)migrateStaged(*host, options), AssertionFailure);
  ASSERT_TRUE(told);
  EXPECT_EQ(told->cause, Cause::Installation);
  EXPECT_EQ(told->problem, "a resource is missing");
  EXPECT_EQ(told->putBack, journal);
  told->staged.reset();
  EXPECT_TRUE(has(kMail));
  EXPECT_TRUE(has(kLock)) << "for a run that touched the device it stays";
}

TEST_F(InterruptedMigrationTest, ALegacyFileThatCameSinceIsConvertedAndNotRemoved) {
  putSettings(3);
  putLegacyFiles();
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  reopen();
  putLaterMail();
  EXPECT_EQ(migrate().kind, Kind::Done) << lastProblem;
  EXPECT_THAT(savedIdentifiers(), Contains("later"));
  EXPECT_FALSE(has(kMail));
}

TEST_F(InterruptedMigrationTest, ALegacyFileThatIsAsKeptGoesWhenTheRestIsDone) {
  putSettings(3);
  putLegacyFiles();
  const std::string exchange = device.read(kExchange);
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  Dictionary told = outcomeOf(backups().back());
  const std::string name = reopen();
  device.write(kExchange, exchange);
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Completed) << outcome.problem;
  EXPECT_EQ(outcome.completed, name);
  EXPECT_FALSE(has(kExchange));
  EXPECT_EQ(told.integer("From Version"), 3);
  told.set("Ended Later", "completed");
  EXPECT_EQ(outcomeOf(name), told);
}

TEST_F(InterruptedMigrationTest, TheJournalOfARunWithoutBackupGoesWithItsEnd) {
  for (const bool holdsOthersFile : {false, true}) {
    makeDevice();
    putSettings(3);
    putLegacyFiles();
    const std::string exchange = device.read(kExchange);
    ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
    const std::string name = reopen(true);
    device.write(kExchange, exchange);
    const std::string letter = std::string(kBackups) + "/" + name + "/letter";
    if (holdsOthersFile) device.write(letter, "dear");
    const MigrationOutcome outcome = migrate();
    EXPECT_EQ(outcome.kind, Kind::Completed) << outcome.problem;
    if (holdsOthersFile) {
      EXPECT_THAT(outcome.warnings, ElementsAre(HasSubstr("letter")));
      EXPECT_EQ(device.read(letter), "dear");
    } else {
      EXPECT_THAT(outcome.warnings, IsEmpty());
      EXPECT_FALSE(has((std::string(kBackups) + "/" + name).c_str()));
    }
  }
}

TEST_F(InterruptedMigrationTest, WithoutTheSentinelThatItFoundTheLegacyFilesStay) {
  for (const bool temporary : {false, true}) {
    makeDevice();
    putSettings(3);
    putLegacyFiles();
    const std::string sentinel = "Old Account Information Removal Sentinel";
    device.write(kSentinel, sentinel);
    ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
    // Killed when the mail file had gone; then the sentinel is removed to save what is left.
    reopen(temporary);
    putLegacyFiles();
    fs::remove(device.path(kMail));
    const MigrationOutcome outcome = migrate();
    EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
    EXPECT_TRUE(outcome.putBack.has_value());
    EXPECT_THAT(savedIdentifiers(), IsSupersetOf({"pop", "gm", "smtp", "exchange"}));
  }
}

TEST_F(InterruptedMigrationTest, ARemovalWhoseSentinelStillStandsIsEnded) {
  putSettings(3);
  putLegacyFiles();
  device.write(kSentinel, "Old Account Information Removal Sentinel");
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  const std::string name = reopen();
  device.write(kSentinel, "Old Account Information Removal Sentinel");
  putLegacyFiles();
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.completed, name);
  for (const char* gone : {kMail, kExchange, kSentinel}) EXPECT_FALSE(has(gone)) << gone;
}

TEST_F(InterruptedMigrationTest, AJournalThatStayedAfterARefusalRemovesNothing) {
  const std::string name = cutBeforeTheRename();
  putLegacyFiles();
  fs::remove(device.path(prepared(name)));
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
  EXPECT_FALSE(outcome.completed.has_value());
  EXPECT_THAT(savedIdentifiers(),
              IsSupersetOf({"calendar", "directory", "pop", "gm", "smtp", "exchange"}));
}

TEST_F(InterruptedMigrationTest, PreparedSettingsThatCannotBeTakenAwayAreNamed) {
  const std::string left = prepared(cutBeforeTheRename());
  fs::remove(device.path(left));
  fs::create_directories(device.path(left));
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
  EXPECT_THAT(savedIdentifiers(), IsSupersetOf({"calendar", "pop", "exchange"}));
  EXPECT_THAT(outcome.warnings, ElementsAre(HasSubstr(left + ": Is a directory")));
}

TEST_F(InterruptedMigrationTest, WhereAnotherLegacyFileCameTheOldOneStaysInTheBackup) {
  const std::string name = cutBeforeTheRename();
  putLaterMail();
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
  EXPECT_THAT(savedIdentifiers(), IsSupersetOf({"calendar", "later", "exchange"}));
  EXPECT_THAT(backups(), Contains(name));
  EXPECT_THAT(outcome.warnings, ElementsAre(AllOf(HasSubstr("Accounts.plist"), HasSubstr(name))));
}

// MARK: Settings that were changed since

TEST_F(InterruptedMigrationTest, SettingsThatWereChangedSinceAreLeftAndTheBackupIsNamed) {
  putSettings(3);
  putLegacyFiles();
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  const std::string name = reopen();
  putEditedSettings("exchange");
  const MigrationOutcome outcome = migrate();
  EXPECT_THAT(savedIdentifiers(), ElementsAre("exchange"));
  EXPECT_THAT(outcome.warnings, ElementsAre(AllOf(HasSubstr(name), HasSubstr("legacy files"))));
  EXPECT_EQ(endedHow(name), "changed since");
  EXPECT_THAT(backups(), Contains(name));
}

// Somebody tidied the prepared settings away, and then a program saved: no account of the legacy
// files ever was in the settings.
TEST_F(InterruptedMigrationTest, WithoutAnyAccountOfTheLegacyFilesTheseComeBack) {
  const std::string name = cutBeforeTheRename();
  fs::remove(device.path(prepared(name)));
  putEditedSettings();
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
  EXPECT_EQ(outcome.putBack, name);
  EXPECT_THAT(savedIdentifiers(), IsSupersetOf({"edited", "pop", "gm", "smtp", "exchange"}));
  EXPECT_EQ(endedHow(name), "put back");
  EXPECT_THAT(backups(), Contains(name)) << "it holds the settings that were edited away";
}

TEST_F(InterruptedMigrationTest, AnUpgradeThatWasCutAndEditedSinceWarnsOfNothing) {
  putSettings(3);
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  const std::string name = reopen();
  putEditedSettings();
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(endedHow(name), "changed since");
  EXPECT_THAT(outcome.warnings, IsEmpty());
}

// MARK: A sentinel that came since

TEST_F(InterruptedMigrationTest, WhatWouldComeBackOnlyToBeRemovedIsNotPutBack) {
  const std::string name = cutBeforeTheRename();
  device.write(kSentinel, "Old Account Information Removal Sentinel");
  const auto before = tree();
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Refused);
  EXPECT_EQ(outcome.cause, Cause::Sentinel);
  EXPECT_THAT(outcome.problem, AllOf(HasSubstr(".removingOldAccounts"), HasSubstr(name)));
  EXPECT_EQ(difference(tree(), before), "");

  fs::remove(device.path(kSentinel));
  EXPECT_EQ(migrate().kind, Kind::Done) << lastProblem;
  EXPECT_THAT(savedIdentifiers(), IsSupersetOf({"calendar", "pop", "gm", "smtp", "exchange"}));
}

TEST_F(InterruptedMigrationTest, AcceptedASentinelRemovesWhatCameBack) {
  cutBeforeTheRename();
  device.write(kSentinel, "Old Account Information Removal Sentinel");
  EXPECT_EQ(migrateAccepting().kind, Kind::Done) << lastProblem;
  for (const char* gone : {kMail, kExchange, kSentinel}) EXPECT_FALSE(has(gone)) << gone;
}

// MARK: Journals that cannot be used

TEST_F(InterruptedMigrationTest, ADamagedNewestJournalRefusesUntilItIsAccepted) {
  putSettings(3);
  const std::string damaged = "2020-01-01-00-00-00";
  Dictionary later = {{"Format", "accountsettings.backup"}, {"Format Version", 3}};
  later.set("Files", Array{});
  later.set("Meant", Array{});
  Dictionary withoutMeant = {{"Format", "accountsettings.backup"}, {"Format Version", 2}};
  withoutMeant.set("Files", Array{});
  for (const auto& [manifest, problem] :
       std::vector<std::pair<std::optional<Dictionary>, std::string>>{
           {std::nullopt, "the manifest is damaged"},
           {later, "only a later version"},
           {withoutMeant, "does not list what was meant"}}) {
    SCOPED_TRACE(problem);
    device.write(manifestOf(damaged), "<plist");
    if (manifest) put(manifestOf(damaged).c_str(), *manifest);
    const auto before = tree();
    const MigrationOutcome outcome = migrate();
    EXPECT_EQ(outcome.kind, Kind::Refused);
    EXPECT_EQ(outcome.cause, Cause::Interrupted);
    EXPECT_THAT(outcome.problem, AllOf(HasSubstr(damaged), HasSubstr(problem)));
    EXPECT_EQ(difference(tree(), before), "");
  }
  EXPECT_EQ(migrateAccepting().kind, Kind::Done) << lastProblem;
  EXPECT_TRUE(has(manifestOf(damaged)));
  putSettings(3);
  EXPECT_EQ(migrate().kind, Kind::Done) << "it is not the newest any more: " << lastProblem;
}

TEST_F(InterruptedMigrationTest, AJournalThatNamesWhatNoMigrationTouchesIsRefused) {
  putSettings(3);
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  const std::string name = reopen();
  const Dictionary journal = dictionaryAt(device.path(manifestOf(name))).value();
  const auto before = tree();
  for (const auto& [change, path] : std::vector<std::pair<const char*, const char*>>{
           {"remove", "/etc/passwd"},
           {"write", "/etc/passwd"},
           {"write", "/var/mobile/Library/Logs"},
           {"write", "/var/mobile/Library/Logs/AccountMigrationInformation-1.plist"},
           {"make-directory", "/var"},
           {"make-directory", "/var/mobile/Library/Logs/Elsewhere"}}) {
    Array meant = journal.arrayOrEmpty("Meant");
    meant.append(Dictionary{{"Change", change}, {"Path", path}, {"Mode", 0777}});
    Dictionary changed = journal;
    changed.set("Meant", meant);
    put(manifestOf(name).c_str(), changed);
    const MigrationOutcome outcome = migrateAccepting();
    EXPECT_EQ(outcome.kind, Kind::Refused);
    EXPECT_THAT(outcome.problem, HasSubstr(std::string(path) + ": the journal names")) << change;
  }
  put(manifestOf(name).c_str(), journal);
  EXPECT_EQ(difference(tree(), before), "");
}

TEST_F(InterruptedMigrationTest, AJournalThatCannotBeReadRefusesWhateverIsAccepted) {
  putSettings(3);
  const std::string manifest = manifestOf("2020-01-01-00-00-00");
  device.write(manifest, "");
  fs::resize_file(device.path(manifest), LinuxFiles::kLargestFile + 1);
  const MigrationOutcome outcome = migrateAccepting();
  EXPECT_EQ(outcome.kind, Kind::Refused);
  EXPECT_EQ(outcome.cause, Cause::Interrupted);
  EXPECT_EQ(dictionaryAt(device.path(kSettings))->get("Version"), PropertyList(3));
}

// MARK: Plans

TEST_F(InterruptedMigrationTest, APlanSeesTheLegacyFilesThatWouldBePutBack) {
  const std::string name = cutBeforeTheRename();
  std::set<std::string> identifiers;
  StagedMigrationOptions options;
  options.judge = [&](StagedMigration& staged) {
    collectIdentifiers(*staged.settingsAfter(), identifiers);
    return true;
  };
  const MigrationOutcome outcome = plan(options);
  EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
  EXPECT_EQ(outcome.putBack, name);
  EXPECT_THAT(identifiers,
              IsSupersetOf({"calendar", "directory", "pop", "gm", "smtp", "exchange"}));
}

TEST_F(InterruptedMigrationTest, APlanSeesALinkThatWouldBePutBackLeadWhereItLeads) {
  putLegacyFiles();
  const std::string elsewhere = "var/mobile/Library/Mail/Elsewhere.plist";
  fs::rename(device.path(kMail), device.path(elsewhere));
  fs::create_symlink("Elsewhere.plist", device.path(kMail));
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  const std::string name = reopen();
  fs::rename(device.path(kSettings), device.path(prepared(name)));
  std::set<std::string> identifiers;
  StagedMigrationOptions options;
  options.judge = [&](StagedMigration& staged) {
    collectIdentifiers(*staged.settingsAfter(), identifiers);
    return true;
  };
  EXPECT_EQ(plan(options).kind, Kind::Done);
  EXPECT_THAT(identifiers, IsSupersetOf({"pop", "gm", "smtp", "exchange"}));
  EXPECT_EQ(migrate().kind, Kind::Done) << lastProblem;
  EXPECT_THAT(savedIdentifiers(), IsSupersetOf({"pop", "gm", "smtp", "exchange"}));
}

TEST_F(InterruptedMigrationTest, APlanSeesWhatWouldBeCompleted) {
  putSettings(3);
  putLegacyFiles();
  const std::string exchange = device.read(kExchange);
  ASSERT_EQ(migrate().kind, Kind::Done) << lastProblem;
  const std::string name = reopen();
  device.write(kExchange, exchange);
  const MigrationOutcome outcome = plan();
  EXPECT_EQ(outcome.kind, Kind::Completed) << outcome.problem;
  EXPECT_EQ(outcome.completed, name);
}

TEST_F(InterruptedMigrationTest, APlanIsRefusedAsTheMigrationWouldBe) {
  const std::string name = cutBeforeTheRename();
  device.write(kSentinel, "Old Account Information Removal Sentinel");
  MigrationOutcome outcome = plan();
  EXPECT_EQ(outcome.kind, Kind::Refused);
  EXPECT_EQ(outcome.cause, Cause::Sentinel);
  EXPECT_EQ(outcome.problem, migrate().problem);
  fs::remove(device.path(kSentinel));

  Dictionary broken = dictionaryAt(device.path(manifestOf(name))).value();
  broken.set("Outcome", Dictionary{{"As Meant", false}});
  put(manifestOf(name).c_str(), broken);
  outcome = plan();
  EXPECT_EQ(outcome.kind, Kind::Refused);
  EXPECT_EQ(outcome.cause, Cause::BrokenRun);
  EXPECT_EQ(outcome.backup, name);
  EXPECT_EQ(outcome.problem, migrate().problem);
  StagedMigrationOptions accepting;
  accepting.acceptBrokenRun = true;
  EXPECT_EQ(plan(accepting).kind, Kind::Done);

  device.write(manifestOf(name), "<plist");
  outcome = plan();
  EXPECT_EQ(outcome.cause, Cause::Interrupted);
  EXPECT_EQ(outcome.problem, migrate().problem);
  EXPECT_EQ(plan(accepting).kind, Kind::Done);
}

TEST_F(InterruptedMigrationTest, APlanTakesTheJournalOfARunAtWorkForNoInterruption) {
  cutBeforeTheRename();
  const auto host = newHost();
  const auto lock = HeldMigrationLock::take(*host, host->platform());
  ASSERT_TRUE(lock.ok());
  EXPECT_FALSE(plan().cutShort.has_value());
}

// MARK: Directories of backups

TEST_F(InterruptedMigrationTest, ALinkOfABackupsNameIsNoneAndItsTargetStays) {
  putSettings(3);
  device.write("var/mobile/Library/Mail/letter", "dear");
  device.write("var/mobile/Library/Other/manifest.plist", "mine");
  fs::create_directories(device.path(kBackups));
  const std::string link = std::string(kBackups) + "/2020-01-01-00-00-00";
  fs::create_directory_symlink("../../Mail", device.path(link));
  fs::create_directory_symlink("../../Other", device.path(link + "-2"));
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
  EXPECT_THAT(outcome.warnings, IsEmpty());
  EXPECT_EQ(device.read("var/mobile/Library/Mail/letter"), "dear");
  EXPECT_EQ(device.read("var/mobile/Library/Other/manifest.plist"), "mine");
  EXPECT_TRUE(has(link));
}

TEST_F(InterruptedMigrationTest, AFileOfABackupsNameIsNone) {
  putSettings(3);
  const std::string file = std::string(kBackups) + "/2020-01-01-00-00-00";
  device.write(file, "no backup");
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
  EXPECT_THAT(outcome.warnings, IsEmpty());
  EXPECT_EQ(device.read(file), "no backup");
}

TEST_F(InterruptedMigrationTest, ALinkInPlaceOfAllBackupsRefuses) {
  putSettings(3);
  fs::create_directories(device.path("var/mobile/Library/Mail/2020-01-01-00-00-00"));
  device.write("var/mobile/Library/Mail/2020-01-01-00-00-00/letter", "dear");
  fs::create_directories(device.path("var/mobile/Library/Logs"));
  fs::create_directory_symlink("../Mail", device.path(kBackups));
  const auto before = tree();
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Refused);
  EXPECT_THAT(outcome.problem, HasSubstr("no link"));
  EXPECT_EQ(difference(tree(), before), "");
}

TEST_F(InterruptedMigrationTest, ADirectoryWithFilesOfOthersIsNotRemoved) {
  putSettings(3);
  const std::string directory = std::string(kBackups) + "/2020-01-01-00-00-00";
  device.write(directory + "/letter", "dear");
  device.write(directory + "/settings-com.zelqo.accountsettings.plist", "kept");
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
  EXPECT_EQ(device.read(directory + "/letter"), "dear");
  EXPECT_TRUE(has(directory + "/settings-com.zelqo.accountsettings.plist"));
  EXPECT_THAT(outcome.warnings, ElementsAre(HasSubstr("letter")));
}

TEST_F(InterruptedMigrationTest, AJournalThatGoesLeavesTheRecordsDirectoryAsItIsMeant) {
  putSettings(3);
  put("var/mobile/Library/Preferences/com.zelqo.accountsettings-logging.plist",
      {{"RSSaveMigrationInformation", true}});
  StagedMigrationOptions options;
  options.keepBackup = false;
  const MigrationOutcome outcome = migrate(options);
  EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
  EXPECT_THAT(outcome.warnings, IsEmpty());
  EXPECT_THAT(backups(), IsEmpty());
  EXPECT_EQ(testing::modeOf(device.path("var/mobile/Library/Logs")), 0777U);
}

TEST_F(InterruptedMigrationTest, AnOldCopyThatCannotBeReadIsNotKeptAndNothingMore) {
  putSettings(3);
  fs::create_symlink("com.zelqo.accountsettings.plist", device.path(kCopy));  // leads to itself
  const MigrationOutcome outcome = migrate();
  EXPECT_EQ(outcome.kind, Kind::Done) << outcome.problem;
  EXPECT_THAT(outcome.warnings, Contains(HasSubstr("the old copy of the settings is not kept")));
}

}  // namespace
}  // namespace accountsettings
