// How a backup is compared with the device and put back.
#include "tool/backup/Restore.h"

#include <algorithm>

#include "host/Digest.h"
#include "host/LinuxFiles.h"
#include "host/RememberedFiles.h"
#include "migration/MigrationPaths.h"
#include "platform/ReadDictionary.h"
#include "staging/InterruptedMigration.h"
#include "store/AccountsManager.h"
#include "tool/frame/Version.h"
#include "tool/inspection/Inspection.h"

namespace accountsettings {

namespace {

using Action = RestoreStep::Action;
using State = BackupFile::State;

// A manifest is input: it shall lead nowhere but to the files that a migration touches.
bool isWatched(const BackupFile& file) {
  return roleOfPath(file.path) == file.role;
}

Result<bool> holds(LinuxFiles& files, const BackupFile& file) {
  const Result<Bytes> content = files.read(file.path);
  if (!content) return content.error();
  const Result<std::string> sum = sha256(*content);
  if (!sum) return sum.error();
  return *sum == file.sha256;
}

// Whether the file is what the backup holds; an error where that cannot be told.
Result<bool> isSame(LinuxFiles& files, const BackupFile& file) {
  const Result<FileAttributes> now = files.attributes(file.path);
  const FileAttributes& then = file.attributes;
  if (!now) {
    if (isAbsence(now.error())) return file.state == State::Absent;
    return now.error();
  }
  if (file.state == State::Absent) return false;
  if (now->owner != then.owner || now->group != then.group) return false;
  if (file.state == State::Link) {
    if (now->kind != FileAttributes::Kind::Link) return false;
    const Result<std::string> target = files.linkTarget(file.path);
    if (!target) return target.error();
    return *target == file.linkTarget;
  }
  if (now->kind != FileAttributes::Kind::Regular || now->mode != then.mode) return false;
  return holds(files, file);
}

Action actionFor(bool same, const BackupFile& file) {
  if (same) return Action::Same;
  return file.state == State::Absent ? Action::Remove : Action::Write;
}

Status apply(LinuxHost& host, const BackupManifest& manifest, const RestoreStep& step) {
  if (step.action == Action::Same) return {};
  if (step.action == Action::Write) return putBack(host, manifest, step.file);
  if (Status removed = host.files().remove(step.file.path); !removed) return removed;
  return host.files().flushDirectoryOf(step.file.path);
}

}  // namespace

Result<std::vector<RestoreStep>> prepareRestore(OpenedRoot& device,
                                                const BackupManifest& manifest) {
  std::vector<RestoreStep> steps;
  for (const BackupFile& file : manifest.files) {
    if (!isWatched(file)) return Error{file.path + ": no migration of this device touches it"};
    if (!file.savedAs.empty()) {
      const Result<Bytes> content = readFromBackup(device.host(), manifest, file);
      if (!content) return content.error();
    } else if (file.state == State::Regular) {
      return Error{file.path + ": the backup does not hold it"};
    }
    steps.push_back({Action::Same, file});
  }
  for (RestoreStep& step : steps) {
    // What cannot be read is put back all the same.
    const Result<bool> same = isSame(device.files(), step.file);
    step.action = actionFor(same && *same, step.file);
  }
  return steps;
}

Result<std::optional<bool>> settingsAreAsLeft(OpenedRoot& device, const BackupManifest& manifest) {
  const std::string settings = accountSettingsAccountsPath();
  const MeantChange* left = manifest.meantAt(settings);
  if (left == nullptr) return std::optional<bool>();
  const Result<Bytes> content = device.files().read(settings);
  if (!content && isAbsence(content.error())) return std::optional(false);
  if (!content) return content.error();
  const Result<std::string> sum = sha256(*content);
  if (!sum) return sum.error();
  return std::optional(*sum == left->sha256);
}

Result<MadeBackup> keepReplaced(OpenedRoot& device, const BackupManifest& manifest) {
  RememberedFiles before(device.files(), device.host().accountNames());
  const std::vector<FileChange> nothingMeant;
  BackupSource source{before, std::nullopt, nothingMeant};
  const auto settings = readDictionary(before, accountSettingsAccountsPath());
  if (settings && settings->contains(kPlistVersionKey)) source.formatVersion = versionOf(*settings);
  BackupManifest draft;
  draft.toolVersion = kToolVersion;
  draft.outcome = {{outcome::kRestoreOf, manifest.name}};
  if (const auto edit = manifest.edit()) {
    source.settingsAlone = true;
    draft.outcome.set(outcome::kEdit, edit->command);
    draft.outcome.set(outcome::kAccount, edit->account);
  } else {
    draft.outcome.set(outcome::kAsMeant, false);
  }
  return makeBackup(device.host(), source, std::move(draft));
}

Status applyRestore(OpenedRoot& device, const BackupManifest& manifest,
                    const std::vector<RestoreStep>& steps) {
  // However far it comes, no account is in none of the files: first everything is written, then the
  // rest goes. But a migration that finds the sentinel deletes what was written, so that goes
  // before.
  const auto passOf = [](const RestoreStep& step) {
    if (step.action != Action::Remove) return 1;
    return step.file.role == PathRole::Sentinel ? 0 : 2;
  };
  for (const int pass : {0, 1, 2}) {
    for (const RestoreStep& step : steps) {
      if (passOf(step) != pass) continue;
      if (Status done = apply(device.host(), manifest, step); !done) return done;
    }
  }
  return {};
}

Result<std::vector<RestoreStep>> stepsLeft(OpenedRoot& device,
                                           const std::vector<RestoreStep>& steps) {
  std::vector<RestoreStep> left;
  for (const RestoreStep& step : steps) {
    const Result<bool> same = isSame(device.files(), step.file);
    if (!same) return same.error();
    if (!*same) left.push_back({actionFor(false, step.file), step.file});
  }
  return left;
}

Status noteEndOfRestore(OpenedRoot& device, const BackupManifest& manifest,
                        const std::optional<MadeBackup>& kept) {
  if (manifest.edit()) return {};
  if (Status noted = noteRestore(device.host()); !noted || !kept) return noted;
  Dictionary outcome = kept->manifest.outcome;
  outcome.set(outcome::kAsMeant, true);
  return recordOutcome(device.host(), kept->manifest, outcome);
}

}  // namespace accountsettings
