// What the disk tells of a run that was killed, and how each case is ended.
#include "staging/InterruptedMigration.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/Digest.h"
#include "host/LinuxHost.h"
#include "host/RememberedFiles.h"
#include "host/RootDirectory.h"
#include "migration/MigrationPaths.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

constexpr std::string_view kCompleted = "completed";
constexpr std::string_view kPutBack = "put back";
constexpr std::string_view kChangedSince = "changed since";

bool isLegacy(PathRole role) {
  return role == PathRole::LegacyMail || role == PathRole::LegacyMailOriginal ||
         role == PathRole::LegacyExchange || role == PathRole::LegacyExchangeOriginal;
}

std::optional<PathRole> roleOf(const std::string& path) {
  for (const TouchedPath& each : pathsThatAMigrationTouches()) {
    if (each.path == path) return each.role;
  }
  return std::nullopt;
}

// The sum of the file now; none where there is none.
Result<std::optional<std::string>> sumAt(LinuxFiles& files, const std::string& path) {
  const Result<Bytes> bytes = files.read(path);
  if (!bytes) {
    const int code = bytes.error().code;
    if (code == ENOENT || code == ENOTDIR) return std::optional<std::string>();
    return bytes.error();
  }
  Result<std::string> sum = sha256(*bytes);
  if (!sum) return sum.error();
  return std::optional(std::move(*sum));
}

Result<bool> isThere(LinuxFiles& files, const std::string& path) {
  const Result<FileAttributes> there = files.attributes(path);
  if (there) return true;
  if (there.error().code == ENOENT || there.error().code == ENOTDIR) return false;
  return there.error();
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

// A journal is input: it shall lead nowhere but to the files that a migration touches.
Status checkPaths(const BackupManifest& journal) {
  const std::string settings = accountSettingsAccountsPath();
  const std::string logs = inHomeDirectory("Library/Logs");
  const std::string records = migrationRecordsDirectory();
  const auto refuse = [](const std::string& path) {
    return Error{path + ": the journal names a file that no migration touches"};
  };
  for (const BackupFile& file : journal.files) {
    if (roleOf(file.path) != file.role) return refuse(file.path);
  }
  for (const MeantChange& change : journal.meant) {
    const bool isDirectory = change.kind == FileChange::Kind::MakeDirectory;
    const bool isRecord = change.kind == FileChange::Kind::Write &&
                          directoryPart(change.path) == records &&
                          lastComponent(change.path).starts_with("AccountMigrationInformation-");
    const bool isAbove = isDirectory && (change.path + "/").starts_with(logs + "/") &&
                         (records + "/").starts_with(change.path + "/");
    if (!isRecord && !isAbove && (isDirectory || !roleOf(change.path))) return refuse(change.path);
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
  Status lookAtLegacyFiles();

  LinuxFiles& files_;
  InterruptedMigration found_;
  bool settingsAsMeant_ = false;
  bool isPrepared_ = false;
  bool anyLegacyLeft_ = false;
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
  // Without a change of the settings everything else only has to be done.
  settingsAsMeant_ = meant == nullptr || *now == meant->sha256;
  if (journal.preparedAs.empty()) return {};
  const Result<bool> prepared = isThere(files_, journal.preparedAs);
  if (!prepared) return prepared.error();
  isPrepared_ = *prepared;
  return {};
}

Status Diagnosis::lookAtLegacyFiles() {
  for (const BackupFile& file : found_.journal.files) {
    const MeantChange* meant = found_.journal.meantAt(file.path);
    if (!isLegacy(file.role) || meant == nullptr || meant->kind != FileChange::Kind::Remove) {
      continue;
    }
    const Result<bool> there = isThere(files_, file.path);
    if (!there) return there.error();
    if (*there) {
      anyLegacyLeft_ = true;
    } else {
      found_.missing.push_back(file);
    }
  }
  return {};
}

Status Diagnosis::make() {
  if (Status safe = checkPaths(found_.journal); !safe) return safe;
  if (Status looked = lookAtSettings(); !looked) return looked;
  if (Status looked = lookAtLegacyFiles(); !looked) return looked;
  // The prepared file gives its name up at the very moment in which it becomes the settings, and
  // legacy files go only while it is there.
  const bool wereReplaced =
      !isPrepared_ && !found_.settingsAsBefore && !anyLegacyLeft_ && !found_.missing.empty();
  if (settingsAsMeant_) {
    found_.remedy = Remedy::Complete;
  } else if (wereReplaced) {
    found_.remedy = Remedy::Forget;
  } else {
    found_.remedy = Remedy::Restart;
  }
  if (found_.remedy != Remedy::Restart) found_.missing.clear();
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
  Status putBackMissing();
  Status carryOut(const MeantChange& meant);
  Status close(std::string_view how, bool superfluous);

  LinuxHost& host_;
  const InterruptedMigration& interrupted_;
  const BackupManifest& journal_;
  EndedMigration ended_;
};

Status Ender::carryOut(const MeantChange& meant) {
  FileChange change{meant.kind, meant.path, nullptr, meant.mode, meant.owner};
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
    const Status done = carryOut(meant);
    if (done) continue;
    const auto role = roleOf(meant.path);
    if (role && isLegacy(*role)) return done;
    ended_.warnings.push_back(done.error().message);
  }
  return close(kCompleted, journal_.isTemporary);
}

Status Ender::putBackMissing() {
  for (const BackupFile& file : interrupted_.missing) {
    if (Status back = putBack(host_, journal_, file); !back) return back;
    ended_.putBack = true;
  }
  // The legacy files are back: from here on this must not be taken for a migration that came as far
  // as the settings. A program may have changed these since; then the backup keeps what they were.
  return close(kPutBack, interrupted_.settingsAsBefore);
}

Status Ender::close(std::string_view how, bool superfluous) {
  Dictionary outcome;
  if (how == kCompleted) outcome = journal_.meantOutcome;
  outcome.set(outcome::kEndedLater, how);
  if (Status recorded = recordOutcome(host_, journal_, outcome); !recorded) return recorded;
  if (!journal_.preparedAs.empty()) {
    const Status removed = host_.files().remove(journal_.preparedAs);
    if (!removed && removed.error().code != ENOENT) {
      ended_.warnings.push_back(removed.error().message);
    }
  }
  const std::string settings = accountSettingsAccountsPath();
  for (const MeantChange& meant : journal_.meant) {
    const bool isWritten = meant.kind == FileChange::Kind::Write && meant.path != settings;
    if (isWritten) removeTemporariesIn(host_.files(), directoryPart(meant.path));
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
      done = close(kChangedSince, false);
      break;
  }
  if (!done) return done.error();
  return std::move(ended_);
}

}  // namespace

Result<std::optional<InterruptedMigration>> findInterruptedMigration(LinuxHost& host) {
  const Result<std::vector<FoundBackup>> found = findBackups(host);
  if (!found) return found.error();
  for (auto each = found->rbegin(); each != found->rend(); ++each) {
    if (each->unreadable) return Error{each->problem};
    if (!each->manifest) continue;
    if (!each->manifest->isOpen()) break;
    Diagnosis diagnosis(host, *each->manifest);
    if (const Status made = diagnosis.make(); !made) return made.error();
    return std::optional(diagnosis.take());
  }
  return std::optional<InterruptedMigration>();
}

Result<EndedMigration> endInterruptedMigration(LinuxHost& host,
                                               const InterruptedMigration& interrupted) {
  return Ender(host, interrupted).end();
}

void removeLeftovers(LinuxHost& host) {
  const Result<std::vector<FoundBackup>> found = findBackups(host);
  if (!found) return;
  for (const FoundBackup& each : *found) {
    if (each.unfinished) (void)discardBackup(host, each.name);
    if (each.manifest) removeTemporariesIn(host.files(), pathOfBackup(each.name));
    if (!each.manifest || each.manifest->isOpen() || each.manifest->preparedAs.empty()) continue;
    if (checkPaths(*each.manifest)) (void)host.files().remove(each.manifest->preparedAs);
  }
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
