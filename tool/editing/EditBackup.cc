// How the backup of an edit is made, and when one goes.
#include "tool/editing/EditBackup.h"

#include <utility>

#include "staging/BackupManifest.h"
#include "tool/backup/BackupAccess.h"
#include "tool/frame/Version.h"

namespace accountsettings {

namespace {

std::string settingsSumIn(const BackupManifest& manifest) {
  const BackupFile* settings = manifest.fileInRole(PathRole::Settings);
  return settings == nullptr ? "" : settings->sha256;
}

// The newest of `found` before `made`, where its edit was never made; none else.
std::optional<std::string> cutShortBefore(const std::vector<FoundBackup>& found,
                                          const BackupManifest& made) {
  if (found.size() < 2 || found.back().name != made.name) return std::nullopt;
  const FoundBackup& last = found[found.size() - 2];
  if (!last.manifest || !last.manifest->edit() || last.manifest->restoreOf()) return std::nullopt;
  if (settingsSumIn(*last.manifest) != settingsSumIn(made)) return std::nullopt;
  return last.name;
}

}  // namespace

MadeBackup keepBefore(OpenedRoot& device, RememberedFiles& before, std::int64_t version,
                      const FileChange& change, const EditOfAccount& edit) {
  BackupManifest draft;
  draft.toolVersion = kToolVersion;
  draft.outcome = {{outcome::kEdit, edit.command}, {outcome::kAccount, edit.account}};
  const std::vector<FileChange> meant{change};
  Result<MadeBackup> made =
      makeBackup(device.host(), {before, version, meant, true}, std::move(draft));
  if (!made) {
    throw Prevented("", "what is there now cannot be kept: " + made.error().message,
                    "nothing was changed; remove the cause, or do without with --no-backup",
                    codeFor(made.error().code));
  }
  for (const std::string& directory : made->directories) before.accept(directory);
  return std::move(made).value();
}

std::vector<std::string> removeOldEdits(Session& session, OpenedRoot& device,
                                        const BackupManifest& made, std::size_t keep) {
  std::vector<std::string> removed;
  Result<std::vector<FoundBackup>> found = findBackups(device.host());
  Status done = found ? Status() : Status(found.error());
  if (done) {
    if (const auto cut = cutShortBefore(*found, made)) {
      done = discardBackup(device.host(), *cut);
      if (done) removed.push_back(*cut);
      std::erase_if(*found, [&](const FoundBackup& each) { return each.name == *cut; });
    }
    const Status gone =
        removeOldBackups(device.host(), std::move(*found), {{}, keep}, made.name, removed);
    if (done) done = gone;
  }
  if (!done) session.output.note("old backups stay: " + done.error().message);
  return removed;
}

}  // namespace accountsettings
