// What the disk tells of a run that was killed, and how each case is ended.
#include "staging/InterruptedMigration.h"

#include <algorithm>
#include <cerrno>
#include <set>
#include <string_view>
#include <utility>

#include "account/AccountConstants.h"
#include "host/CommitChange.h"
#include "host/Digest.h"
#include "host/LinuxHost.h"
#include "host/RememberedFiles.h"
#include "host/RootDirectory.h"
#include "migration/MigrationPaths.h"
#include "platform/ReadDictionary.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

// The sum of the file now; none where there is none.
Result<std::optional<std::string>> sumAt(LinuxFiles& files, const std::string& path) {
  const Result<Bytes> bytes = files.read(path);
  if (!bytes) {
    if (isAbsence(bytes.error())) return std::optional<std::string>();
    return bytes.error();
  }
  Result<std::string> sum = sha256(*bytes);
  if (!sum) return sum.error();
  return std::optional(std::move(*sum));
}

Result<bool> isThere(LinuxFiles& files, const std::string& path) {
  const Result<FileAttributes> there = files.attributes(path);
  if (there) return true;
  if (isAbsence(there.error())) return false;
  return there.error();
}

// What stands where a file was kept.
enum class Standing { Nothing, AsKept, Another };

Result<Standing> standingOf(LinuxFiles& files, const BackupFile& kept) {
  using Kind = FileAttributes::Kind;
  const Result<FileAttributes> there = files.attributes(kept.path);
  if (!there) {
    if (isAbsence(there.error())) return Standing::Nothing;
    return there.error();
  }
  const bool isLink = kept.state == BackupFile::State::Link;
  if (kept.state == BackupFile::State::Absent) return Standing::Another;
  if (there->kind != (isLink ? Kind::Link : Kind::Regular)) return Standing::Another;
  if (isLink) {
    const Result<std::string> target = files.linkTarget(kept.path);
    if (!target) return target.error();
    if (*target != kept.linkTarget) return Standing::Another;
  }
  const Result<std::optional<std::string>> sum = sumAt(files, kept.path);
  if (!sum) return sum.error();
  return sum->value_or("") == kept.sha256 ? Standing::AsKept : Standing::Another;
}

// Removes what killed writes left in a directory where only migrations write.
void removeTemporariesIn(LinuxFiles& files, const std::string& directory) {
  const Result<std::vector<std::string>> names = files.list(directory);
  if (!names) return;
  for (const std::string& name : *names) {
    if (LinuxFiles::isTemporaryName(name)) {
      (void)files.remove(appendPathComponent(directory, name));
    }
  }
}

// Removes what a killed run left of a file that it was putting back.
void removeHalfPutBack(LinuxFiles& files, const BackupFile& file) {
  const std::string path = pathWhilePutBack(file);
  if (LinuxFiles::isTemporaryName(lastComponent(path))) (void)files.remove(path);
}

// A journal is input: it shall lead nowhere but to the files that a migration touches.
Status checkPaths(const BackupManifest& journal) {
  const std::string settings = accountSettingsAccountsPath();
  const std::string logs = inHomeDirectory("Library/Logs");
  const std::string records = migrationRecordsDirectory();
  const auto refuse = [](const std::string& path) {
    return Error{path + ": the journal names a file that no migration touches"};
  };
  for (const BackupFile& file : journal.files) {
    if (roleOfPath(file.path) != file.role) return refuse(file.path);
  }
  for (const MeantChange& change : journal.meant) {
    const bool isDirectory = change.kind == FileChange::Kind::MakeDirectory;
    const bool isRecord = change.kind == FileChange::Kind::Write &&
                          directoryPart(change.path) == records &&
                          lastComponent(change.path).starts_with("AccountMigrationInformation-");
    const bool isAbove = isDirectory && (change.path + "/").starts_with(logs + "/") &&
                         (records + "/").starts_with(change.path + "/");
    if (!isRecord && !isAbove && (isDirectory || !roleOfPath(change.path))) {
      return refuse(change.path);
    }
  }
  if (!journal.preparedAs.empty() &&
      (directoryPart(journal.preparedAs) != directoryPart(settings) ||
       !LinuxFiles::isTemporaryName(lastComponent(journal.preparedAs)))) {
    return refuse(journal.preparedAs);
  }
  return {};
}

// What the interrupted run did and did not do, from what is there now.
class Diagnosis {
 public:
  Diagnosis(LinuxHost& host, BackupManifest journal) : files_(host.files()) {
    found_.journal = std::move(journal);
  }

  Status make();
  [[nodiscard]] InterruptedMigration take() { return std::move(found_); }

 private:
  Status lookAtSettings();
  [[nodiscard]] bool settingsHoldAnyOf(const std::vector<std::string>& identifiers) const;
  Status lookAtLegacyFiles();
  Status lookAtSentinel();
  [[nodiscard]] Remedy remedy() const;

  LinuxFiles& files_;
  InterruptedMigration found_;
  bool changesSettings_ = false;  // the migration means to
  bool settingsAsMeant_ = false;
  bool holdsAdded_ = false;  // an account that only the migration brought
  bool isPrepared_ = false;
  bool anyLegacyLeft_ = false;
  bool hadSentinel_ = false;
  bool hasSentinel_ = false;
};

Status Diagnosis::lookAtSettings() {
  const BackupManifest& journal = found_.journal;
  const std::string settings = accountSettingsAccountsPath();
  const Result<std::optional<std::string>> now = sumAt(files_, settings);
  if (!now) return now.error();
  const BackupFile* kept = journal.fileInRole(PathRole::Settings);
  std::optional<std::string> before;
  if (kept != nullptr && !kept->sha256.empty()) before = kept->sha256;
  found_.settingsAsBefore = *now == before;
  const MeantChange* meant = journal.meantAt(settings);
  changesSettings_ = meant != nullptr;
  settingsAsMeant_ = changesSettings_ && *now == meant->sha256;
  if (!settingsAsMeant_ && !found_.settingsAsBefore) holdsAdded_ = settingsHoldAnyOf(journal.added);
  if (journal.preparedAs.empty()) return {};
  const Result<bool> prepared = isThere(files_, journal.preparedAs);
  if (!prepared) return prepared.error();
  isPrepared_ = *prepared;
  return {};
}

bool Diagnosis::settingsHoldAnyOf(const std::vector<std::string>& identifiers) const {
  if (identifiers.empty()) return false;
  const auto settings = readDictionary(files_, accountSettingsAccountsPath());
  if (!settings) return false;
  const std::set<std::string_view> wanted(identifiers.begin(), identifiers.end());
  const Array accounts = settings->arrayOrEmpty(kPlistAccountsKey);
  return std::any_of(accounts.begin(), accounts.end(), [&](const PropertyList& each) {
    const Dictionary* account = each.dictionary();
    return account != nullptr && wanted.contains(account->string(kAccountIdentifier).value_or(""));
  });
}

Status Diagnosis::lookAtLegacyFiles() {
  for (const BackupFile& file : found_.journal.files) {
    const MeantChange* meant = found_.journal.meantAt(file.path);
    if (!isLegacy(file.role) || meant == nullptr || meant->kind != FileChange::Kind::Remove) {
      continue;
    }
    const Result<Standing> standing = standingOf(files_, file);
    if (!standing) return standing.error();
    if (*standing == Standing::AsKept) anyLegacyLeft_ = true;
    if (*standing == Standing::Nothing) found_.missing.push_back(file);
    if (*standing == Standing::Another) found_.keptAlone.push_back(file);
  }
  return {};
}

Status Diagnosis::lookAtSentinel() {
  const Result<bool> there = isThere(files_, removalSentinelPath());
  if (!there) return there.error();
  hasSentinel_ = *there;
  const BackupFile* kept = found_.journal.fileInRole(PathRole::Sentinel);
  hadSentinel_ = kept != nullptr && kept->state != BackupFile::State::Absent;
  return {};
}

Remedy Diagnosis::remedy() const {
  if (settingsAsMeant_) return Remedy::Complete;
  if (changesSettings_) {
    // The prepared file gives its name up at the very moment in which it becomes the settings, and
    // legacy files go only while it is there. But whoever tidied up may have removed it: then the
    // accounts that came from these files are the proof.
    const bool wereChanged = !isPrepared_ && !found_.settingsAsBefore && !anyLegacyLeft_;
    const bool tookPlace = wereChanged && (holdsAdded_ || found_.journal.added.empty());
    return tookPlace ? Remedy::Forget : Remedy::Restart;
  }
  // Legacy files were to go because the settings hold their accounts, or because a sentinel said
  // so. Where that does not hold any more, they stay.
  const bool stillHolds =
      found_.settingsAsBefore && (!hadSentinel_ || hasSentinel_ || !anyLegacyLeft_);
  if (stillHolds) return Remedy::Complete;
  return anyLegacyLeft_ ? Remedy::Restart : Remedy::Forget;
}

Status Diagnosis::make() {
  if (Status safe = checkPaths(found_.journal); !safe) return safe;
  if (Status looked = lookAtSettings(); !looked) return looked;
  if (Status looked = lookAtLegacyFiles(); !looked) return looked;
  if (Status looked = lookAtSentinel(); !looked) return looked;
  found_.remedy = remedy();
  if (found_.remedy == Remedy::Forget) {
    found_.keptAlone.insert(found_.keptAlone.end(), found_.missing.begin(), found_.missing.end());
  }
  if (found_.remedy != Remedy::Restart) found_.missing.clear();
  found_.sentinelCameSince = !found_.missing.empty() && hasSentinel_ && !hadSentinel_;
  return {};
}

// Ender carries a remedy out.
class Ender {
 public:
  Ender(LinuxHost& host, const InterruptedMigration& interrupted)
      : host_(host), interrupted_(interrupted), journal_(interrupted.journal) {
    ended_.remedy = interrupted.remedy;
    ended_.backup = journal_.name;
  }

  Result<EndedMigration> end();

 private:
  Status complete();
  Status forget();
  Status putBackMissing();
  Status carryOut(const MeantChange& meant);
  Status close(std::string_view how, bool superfluous);
  void removeTemporaries();
  Status removePrepared();

  LinuxHost& host_;
  const InterruptedMigration& interrupted_;
  const BackupManifest& journal_;
  EndedMigration ended_;
};

Status Ender::carryOut(const MeantChange& meant) {
  FileChange change{meant.kind, meant.path, nullptr, meant.mode, meant.owner};
  if (meant.kind == FileChange::Kind::Remove) {
    // What came to lie there since is no part of this migration.
    const BackupFile* kept = journal_.fileAt(meant.path);
    if (kept == nullptr) return {};
    const Result<Standing> standing = standingOf(host_.files(), *kept);
    if (!standing) return standing.error();
    if (*standing == Standing::Another) return {};
  }
  if (meant.kind == FileChange::Kind::Write) {
    Result<Bytes> bytes = readFromBackup(host_, journal_, meant.savedAs, meant.sha256);
    if (!bytes) return bytes.error();
    change.bytes = std::make_shared<const Bytes>(std::move(bytes).value());
  }
  RememberedFiles now(host_.files(), host_.accountNames());
  const Result<bool> same = isAsMeant(now, change);
  if (!same || !*same) return commitChange(host_.files(), change);
  if (meant.kind != FileChange::Kind::MakeDirectory) return {};
  // It may have been cut before it had its mode.
  const auto there = now.entryAt(change.path);
  const bool wasJustMade = there && *there && (*there)->mode == 0700;
  return wasJustMade ? host_.files().setDirectoryMode(change.path, change.mode) : Status();
}

Status Ender::complete() {
  const std::string settings = accountSettingsAccountsPath();
  for (const MeantChange& meant : journal_.meant) {
    if (meant.path == settings) continue;
    Status done = carryOut(meant);
    if (done) continue;
    const auto role = roleOfPath(meant.path);
    if (role && isLegacy(*role)) return done;
    ended_.warnings.push_back("not done, without harm: " + done.error().message);
  }
  return close(outcome::kCompleted, journal_.isTemporary);
}

Status Ender::putBackMissing() {
  for (const BackupFile& file : interrupted_.missing) {
    if (Status back = putBack(host_, journal_, file); !back) return back;
    ended_.putBack = true;
  }
  for (const BackupFile& file : interrupted_.keptAlone) {
    ended_.warnings.push_back(host_.pathOnThisMachine(file.path) +
                              ": it is another file than the one in the backup " + journal_.name +
                              ", which is kept there alone");
  }
  // The legacy files are back: from here on this must not be taken for a migration that came as far
  // as the settings. A program may have changed these since; then the backup keeps what they were.
  return close(outcome::kPutBack, interrupted_.settingsAsBefore && interrupted_.keptAlone.empty());
}

Status Ender::forget() {
  if (!interrupted_.keptAlone.empty()) {
    ended_.warnings.push_back(
        "the settings were changed since the migration of backup " + journal_.name +
        " was cut short: look whether they hold the accounts of the legacy files, which are kept "
        "in that backup");
  }
  return close(outcome::kChangedSince, false);
}

// What killed writes left. In the directory of the settings other programs' files may be on their
// way.
void Ender::removeTemporaries() {
  const std::string settings = accountSettingsAccountsPath();
  for (const MeantChange& meant : journal_.meant) {
    const bool isWritten = meant.kind == FileChange::Kind::Write && meant.path != settings;
    if (isWritten) removeTemporariesIn(host_.files(), directoryPart(meant.path));
  }
  for (const BackupFile& file : journal_.files) {
    if (isLegacy(file.role)) removeHalfPutBack(host_.files(), file);
  }
}

Status Ender::removePrepared() {
  if (journal_.preparedAs.empty()) return {};
  const Status removed = host_.files().remove(journal_.preparedAs);
  if (!removed && removed.error().code != ENOENT) return removed;
  return host_.files().flushDirectoryOf(journal_.preparedAs);
}

Status Ender::close(std::string_view how, bool superfluous) {
  removeTemporaries();
  Dictionary outcome;
  if (how == outcome::kCompleted) outcome = journal_.meantOutcome;
  outcome.set(outcome::kEndedLater, how);
  if (Status recorded = recordOutcome(host_, journal_, outcome); !recorded) return recorded;
  ended_.outcome = std::move(outcome);
  // For good, before the journal goes, which alone names it; else the next run finds it by that.
  if (const Status removed = removePrepared(); !removed) {
    ended_.warnings.push_back(removed.error().message);
    superfluous = false;
  }
  ended_.kept = !superfluous;
  if (!superfluous) return {};
  if (const Status gone = discardBackup(host_, journal_.name); !gone) {
    ended_.warnings.push_back(gone.error().message);
  }
  return {};
}

Result<EndedMigration> Ender::end() {
  Status done;
  switch (interrupted_.remedy) {
    case Remedy::Complete:
      done = complete();
      break;
    case Remedy::Restart:
      done = putBackMissing();
      break;
    case Remedy::Forget:
      done = forget();
      break;
  }
  if (!done) return done.error();
  return std::move(ended_);
}

}  // namespace

Result<InterruptedMigration> diagnose(LinuxHost& host, BackupManifest journal) {
  Diagnosis diagnosis(host, std::move(journal));
  if (const Status made = diagnosis.make(); !made) return made.error();
  return diagnosis.take();
}

Result<std::vector<AssumedFile>> filesOnceEnded(LinuxHost& host,
                                                const InterruptedMigration& interrupted) {
  std::vector<AssumedFile> files;
  for (const BackupFile& file : interrupted.missing) {
    Result<AssumedFile> back = oncePutBack(host, interrupted.journal, file);
    if (!back) return back.error();
    files.push_back(std::move(back).value());
  }
  if (interrupted.remedy != Remedy::Complete) return files;
  for (const MeantChange& meant : interrupted.journal.meant) {
    const BackupFile* kept = interrupted.journal.fileAt(meant.path);
    if (meant.kind != FileChange::Kind::Remove || kept == nullptr) continue;
    const Result<Standing> standing = standingOf(host.files(), *kept);
    if (!standing) return standing.error();
    if (*standing == Standing::AsKept) files.push_back({meant.path, {}, {}, nullptr});
  }
  return files;
}

Result<EndedMigration> endInterruptedMigration(LinuxHost& host,
                                               const InterruptedMigration& interrupted) {
  return Ender(host, interrupted).end();
}

Status removeLeftovers(LinuxHost& host, std::vector<FoundBackup>& found) {
  Status first;
  removeTemporariesIn(host.files(), backupsDirectory());  // of the history
  for (const FoundBackup& each : found) {
    if (each.unfinished) {
      const Status gone = discardBackup(host, each.name);
      if (!gone && first) first = gone;
    }
    if (!each.manifest) continue;
    removeTemporariesIn(host.files(), pathOfBackup(each.name));
    if (!checkPaths(*each.manifest)) continue;
    for (const BackupFile& file : each.manifest->files) {
      if (!file.sha256.empty()) removeHalfPutBack(host.files(), file);
    }
    const bool isOver = !each.manifest->isOpen() && !each.manifest->preparedAs.empty();
    if (isOver) (void)host.files().remove(each.manifest->preparedAs);
  }
  std::erase_if(found, [](const FoundBackup& each) { return each.unfinished; });
  return first;
}

Status removeLeftovers(LinuxHost& host) {
  Result<std::vector<FoundBackup>> found = findBackups(host);
  return found ? removeLeftovers(host, *found) : found.error();
}

Status noteRestore(LinuxHost& host) {
  const Result<std::vector<FoundBackup>> found = findBackups(host);
  if (!found) return found.error();
  for (const FoundBackup& each : *found) {
    if (!each.manifest || (!each.manifest->isOpen() && !each.manifest->isBroken())) continue;
    Dictionary outcome = each.manifest->outcome;
    outcome.set(outcome::kRestored, true);
    if (Status noted = recordOutcome(host, *each.manifest, outcome); !noted) return noted;
  }
  return {};
}

}  // namespace accountsettings
