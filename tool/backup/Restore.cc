// How a backup is compared with the device and put back.
#include "tool/backup/Restore.h"

#include <algorithm>

#include "host/LinuxFiles.h"
#include "migration/MigrationPaths.h"

namespace accountsettings {

namespace {

using Action = RestoreStep::Action;
using State = BackupFile::State;

// A manifest is input: it shall lead nowhere but to the files that a migration touches.
bool isWatched(const BackupFile& file) {
  const std::vector<TouchedPath> watched = pathsThatAMigrationTouches();
  return std::any_of(watched.begin(), watched.end(), [&](const TouchedPath& each) {
    return each.role == file.role && each.path == file.path;
  });
}

bool isSame(LinuxFiles& files, const RestoreStep& step) {
  const Result<FileAttributes> now = files.attributes(step.file.path);
  const FileAttributes& then = step.file.attributes;
  if (step.file.state == State::Absent) return !now.ok();
  if (!now || now->owner != then.owner || now->group != then.group) return false;
  if (step.file.state == State::Link) {
    const Result<std::string> target = files.linkTarget(step.file.path);
    return now->kind == FileAttributes::Kind::Link && target && *target == step.file.linkTarget;
  }
  if (now->kind != FileAttributes::Kind::Regular || now->mode != then.mode) return false;
  const Result<Bytes> content = files.read(step.file.path);
  return content && *content == step.content;
}

Status apply(LinuxFiles& files, const RestoreStep& step) {
  if (step.action == Action::Same) return {};
  if (step.action == Action::Remove) {
    if (Status removed = files.remove(step.file.path); !removed) return removed;
    return files.flushDirectoryOf(step.file.path);
  }
  if (step.file.state == State::Link) {
    return files.replaceWithLink(step.file.path, step.file.linkTarget, step.file.attributes);
  }
  return files.replace(step.file.path, step.content, step.file.attributes);
}

}  // namespace

Result<std::vector<RestoreStep>> prepareRestore(OpenedRoot& device,
                                                const BackupManifest& manifest) {
  std::vector<RestoreStep> steps;
  for (const BackupFile& file : manifest.files) {
    if (!isWatched(file)) return Error{file.path + ": no migration of this device touches it"};
    RestoreStep step{Action::Same, file, {}};
    if (!file.savedAs.empty()) {
      Result<Bytes> content = readFromBackup(device.host(), manifest, file);
      if (!content) return content.error();
      step.content = std::move(content).value();
    } else if (file.state == State::Regular) {
      return Error{file.path + ": the backup does not hold it"};
    }
    if (!isSame(device.files(), step)) {
      step.action = file.state == State::Absent ? Action::Remove : Action::Write;
    }
    steps.push_back(std::move(step));
  }
  return steps;
}

Status applyRestore(OpenedRoot& device, const std::vector<RestoreStep>& steps) {
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
      if (Status done = apply(device.files(), step); !done) return done;
    }
  }
  return {};
}

}  // namespace accountsettings
