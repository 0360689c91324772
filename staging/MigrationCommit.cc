// The single acts of a commit.
#include "staging/MigrationCommit.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <set>
#include <utility>

#include "account/AccountConstants.h"
#include "host/CommitChange.h"
#include "host/LinuxHost.h"
#include "host/RememberedFiles.h"
#include "migration/MigrationPaths.h"
#include "staging/StagedMigration.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

bool isRemoval(const FileChange& change) {
  return change.kind == FileChange::Kind::Remove;
}

bool isLegacyRemoval(const FileChange& change) {
  if (!isRemoval(change)) return false;
  const std::optional<PathRole> role = roleOfPath(change.path);
  return role && isLegacy(*role);
}

std::set<std::string> identifiersIn(const std::optional<Dictionary>& settings) {
  std::set<std::string> identifiers;
  if (!settings) return identifiers;
  for (const PropertyList& each : settings->arrayOrEmpty(kPlistAccountsKey)) {
    const Dictionary* account = each.dictionary();
    if (account == nullptr) continue;
    if (const auto identifier = account->string(kAccountIdentifier)) {
      identifiers.emplace(*identifier);
    }
  }
  return identifiers;
}

// The accounts that the settings do not hold and will.
std::vector<std::string> addedBy(StagedMigration& staged) {
  const std::set<std::string> before = identifiersIn(staged.settingsBefore());
  const std::set<std::string> after = identifiersIn(staged.settingsAfter());
  std::vector<std::string> added;
  std::set_difference(after.begin(), after.end(), before.begin(), before.end(),
                      std::back_inserter(added));
  return added;
}

// For the manifest: what comes of the migration where everything goes well.
Dictionary outcomeMeant(StagedMigration& staged) {
  Array steps;
  for (const StagedStep& step : staged.steps()) steps.append(step.selector);
  Dictionary outcome{{outcome::kResult, staged.result()},
                     {outcome::kAsMeant, true},
                     {outcome::kSteps, std::move(steps)}};
  if (const auto version = staged.versionBefore()) outcome.set(outcome::kFromVersion, *version);
  return outcome;
}

}  // namespace

MigrationCommit::MigrationCommit(LinuxHost& host, StagedMigration& staged)
    : host_(host), staged_(staged), settings_(accountSettingsAccountsPath()) {}

Status MigrationCommit::makeBackup(const Preparation& preparation) {
  BackupManifest draft;
  draft.toolVersion = preparation.madeBy;
  draft.isTemporary = !preparation.keepBackup;
  draft.meantOutcome = outcomeMeant(staged_);
  const auto& changes = staged_.changes();
  if (std::any_of(changes.begin(), changes.end(), isLegacyRemoval)) draft.added = addedBy(staged_);
  if (staged_.changeAt(settings_) != nullptr) {
    Result<std::string> path = host_.files().freshPathBeside(settings_);
    if (!path) return path.error();
    preparedAs_ = draft.preparedAs = std::move(path).value();
  }
  Result<MadeBackup> made = accountsettings::makeBackup(
      host_, {staged_.before(), staged_.versionBefore(), staged_.changes()}, std::move(draft));
  if (!made) return made.error();
  backup_ = std::move(made).value();
  warnings_.insert(warnings_.end(), backup_->warnings.begin(), backup_->warnings.end());
  for (const std::string& directory : backup_->directories) staged_.before().accept(directory);
  return {};
}

Status MigrationCommit::prepareSettings() {
  if (preparedAs_.empty()) return {};
  const FileChange& change = *staged_.changeAt(settings_);
  // Legacy files go only while it is there, after a power cut too.
  return host_.files().writeNewFlushed(preparedAs_, *change.bytes, change.mode, change.owner);
}

Status MigrationCommit::giveUp() {
  if (!preparedAs_.empty()) {
    const Status removed = host_.files().remove(preparedAs_);
    if (!removed && removed.error().code != ENOENT) return removed;
  }
  if (!backup_) return {};
  const MadeBackup backup = *std::exchange(backup_, std::nullopt);
  return discardBackup(host_, backup);
}

Status MigrationCommit::apply() {
  for (const FileChange& change : staged_.changes()) {
    const Status done = carryOut(change);
    if (done) continue;
    undo(done.error());
    return done;
  }
  return {};
}

Status MigrationCommit::carryOut(const FileChange& change) {
  if (isLegacyRemoval(change)) return removeLegacyFile(change);
  if (change.path == settings_) return replaceSettings(change);
  carryOutWithoutHarm(change);
  return {};
}

void MigrationCommit::undo(const Error& cause) {
  problem_.clear();  // what could not be removed stays, like everything else
  applied_.clear();
  const Status back = putLegacyFilesBack();
  if (back) return;
  leaveOpen_ = true;
  tellProblem(cause.message + ", and a legacy file cannot be put back: " + back.error().message);
}

// Fails where the file went and its going cannot be flushed.
Status MigrationCommit::removeLegacyFile(const FileChange& change) {
  // A file that stays is converted again by the next run, and those after it with it.
  if (!problem_.empty()) return {};
  const Status removed = host_.files().remove(change.path);
  if (!removed && removed.error().code != ENOENT) {
    tellProblem("the legacy file cannot be removed: " + removed.error().message);
    return {};
  }
  removed_.push_back(change.path);
  if (Status flushed = host_.files().flushDirectoryOf(change.path); !flushed) return flushed;
  applied_.push_back(&change);
  return {};
}

Status MigrationCommit::replaceSettings(const FileChange& change) {
  const Result<FileAttributes> prepared = host_.files().attributes(preparedAs_);
  if (!prepared) return prepared.error();
  inode_ = prepared->inode;
  const Result<Status> flushed = host_.files().renameFlushed(preparedAs_, settings_);
  if (!flushed) return flushed.error();
  preparedAs_.clear();
  applied_.push_back(&change);
  if (!*flushed) {
    // After a power cut the old settings may stand there, without the legacy files.
    leaveOpen_ = true;
    warn("the settings' directory cannot be flushed", flushed->error());
  }
  return {};
}

void MigrationCommit::carryOutWithoutHarm(const FileChange& change) {
  const Status done = commitChange(host_.files(), change);
  if (done) {
    applied_.push_back(&change);
  } else if (isRemoval(change) && change.path == removalSentinelPath()) {
    // The next run would take a new legacy file for one that is converted already.
    tellProblem("the mark of an interrupted removal cannot be removed: " + done.error().message);
  } else {
    warn("not done, without harm", done.error());
  }
}

Status MigrationCommit::putLegacyFilesBack() {
  Status first;
  for (const std::string& path : removed_) {
    // It is there: what no backup can hold is not removed.
    const Status back = putBack(host_, backup_->manifest, *backup_->manifest.fileAt(path));
    if (!back && first) first = back;
  }
  return first;
}

void MigrationCommit::verify() {
  verifySettings();
  RememberedFiles now(host_.files(), host_.accountNames());
  for (const FileChange& change : staged_.changes()) {
    if (!isLegacyRemoval(change)) continue;
    const Result<bool> gone = isAsMeant(now, change);
    if (!gone) tellProblem(gone.error().message);
    if (gone && !*gone) {
      tellProblem(host_.pathOnThisMachine(change.path) + ": it should have gone");
    }
  }
}

void MigrationCommit::verifySettings() {
  const FileChange* meant = staged_.changeAt(settings_);
  if (meant == nullptr) return;
  RememberedFiles now(host_.files(), host_.accountNames());
  now.expect(settings_, meant->bytes);
  static_cast<void>(now.readShared(settings_));  // one look answers all that is asked below
  const Result<bool> same = isAsMeant(now, *meant);
  if (!same) return tellProblem(same.error().message);
  if (*same) return;
  const std::string shown = host_.pathOnThisMachine(settings_);
  const auto there = now.entryAt(settings_);
  if (there && *there && inode_ && (*there)->inode != *inode_) {
    warnings_.push_back(shown + ": another program has changed the settings since");
  } else {
    tellProblem(shown + ": it does not hold what was meant");
  }
}

void MigrationCommit::close() {
  if (!backup_ || leaveOpen_) return;
  if (problem_.empty() && backup_->manifest.isTemporary) {
    const MadeBackup backup = *std::exchange(backup_, std::nullopt);
    const Status gone = discardBackup(host_, backup);
    if (!gone) warn("the journal stays", gone.error());
    return;
  }
  Dictionary outcome = backup_->manifest.meantOutcome;
  outcome.set(outcome::kAsMeant, problem_.empty());
  backup_->manifest.outcome = outcome;
  const Status recorded = recordOutcome(host_, backup_->manifest, outcome);
  if (!recorded) warn("the backup does not tell what was done", recorded.error());
}

void MigrationCommit::warn(const std::string& what, const Error& error) {
  warnings_.push_back(what + ": " + error.message);
}

void MigrationCommit::tellProblem(std::string problem) {
  if (problem_.empty()) problem_ = std::move(problem);
}

}  // namespace accountsettings
