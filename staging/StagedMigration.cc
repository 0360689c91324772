// The one run of the migrator, and what it would change.
#include "staging/StagedMigration.h"

#include <algorithm>
#include <map>
#include <utility>

#include "host/BundleResources.h"
#include "host/CommitChange.h"
#include "host/LinuxHost.h"
#include "host/RememberedFiles.h"
#include "host/RootDirectory.h"
#include "host/StagedFiles.h"
#include "migration/MigrationPaths.h"
#include "platform/PlatformWith.h"
#include "platform/ProcessContext.h"
#include "platform/SameVersion.h"
#include "platform/WriterLocks.h"
#include "staging/Backup.h"
#include "staging/HeldOutput.h"
#include "staging/PlugInMigrator.h"
#include "store/AccountsManager.h"
#include "store/KnownSettings.h"

namespace accountsettings {

namespace {

// `known` where it holds the very same values as `accounts`, so that a list is kept once, and known
// to be the same by itself.
Array sameOr(const Array& known, const Array& accounts) {
  const bool areSame = std::ranges::equal(
      known, accounts,
      [](const PropertyList& left, const PropertyList& right) { return left.identicalTo(right); });
  return areSame ? known : accounts;
}

// Keeps what each step was given and what it made of it.
class StepRecorder : public MigrationObserver {
 public:
  StepRecorder(std::vector<StagedStep>& steps, const StepProgress& progress)
      : steps_(steps), progress_(progress) {}

  void willRunStep(std::string_view step, const Array& accounts) override {
    if (progress_) progress_(step);
    const Array given = steps_.empty() ? accounts : sameOr(steps_.back().after, accounts);
    steps_.push_back({std::string(step), given, {}, true});
  }
  void didRunStep(std::string_view, const Array& accounts, bool result) override {
    steps_.back().after = sameOr(steps_.back().before, accounts);
    steps_.back().result = result;
    if (progress_) progress_({});
  }

 private:
  std::vector<StagedStep>& steps_;
  const StepProgress& progress_;
};

bool liesIn(const std::string& path, const std::string& directory) {
  return path == directory || path.starts_with(directory + "/");
}

// Whether the path is only about what is kept for diagnosis: the copy of the settings and the
// records. What fails there never holds a migration up.
bool isForDiagnosis(const std::string& path) {
  return liesIn(path, directoryPart(settingsCopyPath())) ||
         liesIn(path, directoryPart(migrationRecordsDirectory()));
}

// Where a change stands in the commit: legacy files go only while the old settings stand, and what
// told that they are to go stays until the settings tell it.
int rankOf(const std::string& path) {
  const std::optional<PathRole> role = roleOfPath(path);
  if (!role) return 4;  // the record and its directories
  switch (*role) {
    case PathRole::LegacyExchange:
    case PathRole::LegacyExchangeOriginal:
      return 0;
    case PathRole::LegacyMail:
    case PathRole::LegacyMailOriginal:
      return 1;
    case PathRole::Settings:
      return 2;
    case PathRole::Sentinel:
      return 3;
    case PathRole::AutoFetchMarker:
      return 5;
    case PathRole::SettingsCopy:
      break;
  }
  return 6;
}

// Why a text of the plug-in bundle could not be read, since this was last asked.
std::optional<Error> tableFailure(const Platform& platform) {
  auto* const bundle = dynamic_cast<BundleResources*>(&platform.resources);
  return bundle == nullptr ? std::nullopt : bundle->takeTableFailure();
}

}  // namespace

struct StagedMigration::State {
  State(LinuxHost& theHost, const Platform& platform)
      : host(theHost),
        before(theHost.files(), theHost.accountNames()),
        after(before, theHost),
        preferences(theHost.preferencesOver(after)),
        context(platformWith(platform, {.files = &after,
                                        .notifications = &notices,
                                        .preferences = preferences.get(),
                                        .systemLog = &log,
                                        .writerLocks = &noWriterLocks()})) {}

  void run(const StepProgress& progress);
  void collectChanges();
  // What stands against a commit.
  void findFailure();

  LinuxHost& host;
  RememberedFiles before;
  StagedFiles after;
  std::unique_ptr<Preferences> preferences;
  HeldLog log;
  HeldNotices notices;
  ProcessContext context;
  std::optional<StagingFailure> failure;
  bool result = false;
  std::vector<StagedStep> steps;
  std::vector<FileChange> changes;
  std::optional<Dictionary> settingsBefore;
  std::optional<Dictionary> settingsAfter;
};

void StagedMigration::State::run(const StepProgress& progress) {
  const ProcessContext::Override current(context);
  const Result<std::unique_ptr<MigratorBase>> migrator = makePlugInMigrator();
  if (!migrator) {
    failure = {StagingFailure::Kind::NoPlugIn, "", migrator.error()};
    return;
  }
  // What the migrator reads and leaves it parses itself, or has written: who judges the migration
  // gets the same values.
  const KeptSettings known;
  (void)tableFailure(context.platform());  // that of an earlier run
  settingsBefore = settingsInFile();
  StepRecorder recorder(steps, progress);
  (*migrator)->setObserver(&recorder);
  // Not performMigration(): who commits holds the lock and stops the daemon, and who only looks
  // does neither.
  result = (*migrator)->executeMigrationSteps();
  settingsAfter = settingsInFile();
  collectChanges();
  findFailure();
}

void StagedMigration::State::collectChanges() {
  std::multimap<int, FileChange> ranked;  // in the order of the staging within a rank
  bool isAllForDiagnosis = true;
  for (FileChange& change : after.changes()) {
    // What cannot be compared is written.
    const Result<bool> same = isAsMeant(before, change);
    if (same && *same) continue;
    isAllForDiagnosis = isAllForDiagnosis && isForDiagnosis(change.path);
    const int rank = rankOf(change.path);
    ranked.emplace(rank, std::move(change));
  }
  if (isAllForDiagnosis) return;
  for (auto& [rank, change] : ranked) changes.push_back(std::move(change));
}

void StagedMigration::State::findFailure() {
  // Accounts would be saved with the names of texts in place of these.
  if (auto texts = tableFailure(context.platform())) {
    failure = {StagingFailure::Kind::Unreadable, "", std::move(*texts)};
    return;
  }
  for (const RememberedFiles::Failure& each : before.failures()) {
    if (isForDiagnosis(each.path)) continue;
    failure = {StagingFailure::Kind::Unreadable, each.path, each.error};
    return;
  }
  // Of what is neither a file nor a link no backup can be kept.
  for (const FileChange& change : changes) {
    if (change.kind != FileChange::Kind::Remove) continue;
    const auto entry = before.entryAt(change.path);
    if (!entry || !*entry || (*entry)->kind == FileAttributes::Kind::Regular ||
        (*entry)->kind == FileAttributes::Kind::Link) {
      continue;
    }
    failure = {StagingFailure::Kind::Unreadable, change.path,
               Error{host.pathOnThisMachine(change.path) + ": it is no regular file"}};
    return;
  }
  if (const auto& save = after.saveFailure()) {
    failure = {StagingFailure::Kind::CannotSave, accountSettingsAccountsPath(), *save};
    return;
  }
  // A migrator always saves, unless it only ends an interrupted removal. What it removed must not
  // be removed without that.
  const std::string settings = accountSettingsAccountsPath();
  const std::vector<FileChange> made = after.changes();
  const bool saved = std::any_of(made.begin(), made.end(),
                                 [&](const FileChange& each) { return each.path == settings; });
  if (!saved && before.exists(removalSentinelPath()).isAbsent()) {
    failure = {StagingFailure::Kind::CannotSave, settings, Error{"the settings were not saved"}};
  }
}

StagedMigration::StagedMigration(LinuxHost& host, const Platform& platform)
    : state_(std::make_unique<State>(host, platform)) {}
StagedMigration::~StagedMigration() = default;

std::shared_ptr<StagedMigration> StagedMigration::stage(LinuxHost& host,
                                                        const StepProgress& progress) {
  return stage(host, host.platform(), progress);
}
std::shared_ptr<StagedMigration> StagedMigration::stage(LinuxHost& host, const Platform& platform,
                                                        const StepProgress& progress,
                                                        std::size_t size) {
  requireSize(size, sizeof(Platform), "StagedMigration::stage", "StagedMigration");
  return stageAssuming(host, platform, progress, {});
}
std::shared_ptr<StagedMigration> StagedMigration::stageAssuming(
    LinuxHost& host, const Platform& platform, const StepProgress& progress,
    const std::vector<AssumedFile>& assumed) {
  std::shared_ptr<StagedMigration> staged(new StagedMigration(host, platform));
  for (const AssumedFile& each : assumed) staged->state_->before.assume(each);
  staged->state_->run(progress);
  return staged;
}

const std::optional<StagingFailure>& StagedMigration::failure() const noexcept {
  return state_->failure;
}
bool StagedMigration::result() const noexcept {
  return state_->result;
}
const std::vector<StagedStep>& StagedMigration::steps() const noexcept {
  return state_->steps;
}

const std::vector<FileChange>& StagedMigration::changes() const noexcept {
  return state_->changes;
}
const FileChange* StagedMigration::changeAt(const std::string& path) const {
  const auto found = std::find_if(state_->changes.begin(), state_->changes.end(),
                                  [&](const FileChange& each) { return each.path == path; });
  return found == state_->changes.end() ? nullptr : &*found;
}

const std::optional<Dictionary>& StagedMigration::settingsBefore() const noexcept {
  return state_->settingsBefore;
}
const std::optional<Dictionary>& StagedMigration::settingsAfter() const noexcept {
  return state_->settingsAfter;
}
std::optional<std::int64_t> StagedMigration::versionBefore() const {
  const std::optional<Dictionary>& settings = settingsBefore();
  const PropertyList* version = settings ? settings->find(kPlistVersionKey) : nullptr;
  return version ? std::optional(version->integerValue()) : std::nullopt;
}

RememberedFiles& StagedMigration::before() noexcept {
  return state_->before;
}
StagedFiles& StagedMigration::after() noexcept {
  return state_->after;
}
std::optional<std::string> StagedMigration::firstChange() {
  if (auto configuration = state_->host.changedConfiguration()) return configuration;
  const auto path = state_->before.firstChange();
  if (!path) return std::nullopt;
  return path->starts_with('/') ? state_->host.pathOnThisMachine(*path) : *path;
}

HeldLog& StagedMigration::log() noexcept {
  return state_->log;
}
HeldNotices& StagedMigration::notices() noexcept {
  return state_->notices;
}

}  // namespace accountsettings
