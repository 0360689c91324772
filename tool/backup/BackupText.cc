// The line that tells a backup, and its form for scripts.
#include "tool/backup/BackupText.h"

#include <algorithm>

#include "account/StringList.h"
#include "migration/MigrationSteps.h"
#include "tool/frame/Words.h"

namespace accountsettings {

namespace {

std::string_view nameOf(Retention retention) {
  return wordFor(retention, {"by-count", "oldest-of-version", "no-good-end", "unreadable"});
}

std::size_t filesKept(const BackupManifest& manifest) {
  return static_cast<std::size_t>(
      std::count_if(manifest.files.begin(), manifest.files.end(),
                    [](const auto& file) { return file.state != BackupFile::State::Absent; }));
}

// Which settings the backup puts back.
std::string settingsText(const BackupManifest& manifest) {
  const BackupFile* settings = manifest.fileInRole(PathRole::Settings);
  if (settings == nullptr || settings->state == BackupFile::State::Absent) {
    return "without settings before";
  }
  return settings->formatVersion ? "from version " + std::to_string(*settings->formatVersion)
                                 : "from settings without a version";
}

std::string_view retentionText(Retention retention) {
  return wordFor(retention,
                 {"", "; stays as the oldest of its version", "; stays as the way back", ""});
}

void write(Output& output, const FoundBackup& backup, std::string_view indent,
           std::string_view more) {
  const Output::Piece name = output.piece(Colour::Bold, backup.name);
  const Output::Piece label{indent + name.shown + " ", indent.size() + name.width + 1};
  const std::string text = backup.manifest
                               ? purposeOf(*backup.manifest) + ", " +
                                     counted(filesKept(*backup.manifest), "file", "files") + " kept"
                               : "unusable: " + backup.problem;
  output.item(label, std::string(indent) + "    ", text + std::string(more));
}

}  // namespace

std::string purposeOf(const BackupManifest& manifest) {
  const std::string from = settingsText(manifest);
  const auto edit = manifest.edit();
  const std::string edited = edit ? edit->command + " of " + edit->account : "";
  if (edit && !manifest.restoreOf()) return from + ", before " + edited;
  if (const auto restored = manifest.restoreOf()) {
    return from + ", undoes the restore of " + *restored + (edit ? " from before " + edited : "") +
           (manifest.isBroken() ? ", WHICH WAS CUT SHORT" : "");
  }
  if (manifest.outcome.empty()) return from + ", the migration was cut short";
  const PropertyList* ended = manifest.outcome.find(outcome::kEndedLater);
  if (manifest.wasPutBack()) {
    return from + ", the migration was cut short, and nothing was left of it";
  }
  if (ended != nullptr && !manifest.outcome.contains(outcome::kResult)) {
    return from +
           ", the migration was cut short once the settings were migrated, which were edited "
           "since";
  }
  std::string text = from;
  if (const auto steps = stringListOf(manifest.outcome.find("Steps")); steps && !steps->empty()) {
    text += ", " + counted(steps->size(), "step", "steps") + " (";
    text += nameOfStep(steps->front());
    if (steps->size() > 1) text += " to " + std::string(nameOfStep(steps->back()));
    text += ")";
  } else {
    text += ", only rewritten";
  }
  if (!manifest.outcome.boolean("Result")) text += ", answered no";
  if (ended != nullptr) text += ", completed after it was cut short";
  if (!manifest.outcome.boolean("As Meant")) text += ", NOT WHAT WAS MEANT";
  return text;
}

void writeBackup(Output& output, const FoundBackup& backup, std::string_view indent) {
  write(output, backup, indent, "");
}

void writeBackupWithRetention(Output& output, const FoundBackup& backup) {
  write(output, backup, "", retentionText(backup.retention));
}

void writeUndo(Output& output, const OpenedRoot& device, const MadeBackup& backup) {
  const std::string& name = backup.manifest.name;
  output.pieces(
      "", "",
      {output.piece(Colour::Plain, "What was there before is backup " + name + ";"),
       output.piece(Colour::Plain, "undo with: " + device.commandLine({"restore", name}))},
      " ");
}

Dictionary backupForScripts(const FoundBackup& backup) {
  Dictionary entry{{"name", backup.name}, {"complete", backup.manifest.has_value()}};
  if (!backup.manifest) {
    entry.set("problem", backup.problem);
    return entry;
  }
  const BackupManifest& manifest = *backup.manifest;
  entry.set("toolVersion", manifest.toolVersion);
  const auto restored = manifest.restoreOf();
  const auto edit = manifest.edit();
  entry.set("madeBy", restored ? "restore" : edit ? edit->command : "migrate");
  if (restored) entry.set("restored", *restored);
  if (edit) entry.set("edit", Dictionary{{"command", edit->command}, {"account", edit->account}});
  entry.set("retention", nameOf(backup.retention));
  const BackupFile* settings = manifest.fileInRole(PathRole::Settings);
  if (settings != nullptr && settings->formatVersion) {
    entry.set("fromVersion", *settings->formatVersion);
  }
  Array paths;
  for (const BackupFile& file : manifest.files) {
    if (file.state != BackupFile::State::Absent) paths.append(file.path);
  }
  entry.set("paths", paths);
  entry.set("finished", !manifest.outcome.empty());
  if (manifest.outcome.empty() || edit) return entry;
  entry.set("asMeant", manifest.outcome.boolean("As Meant"));
  if (restored) return entry;
  entry.set("result", manifest.outcome.boolean("Result"));
  entry.set("steps", arrayOf(stringListOf(manifest.outcome.find("Steps")).value_or(StringList())));
  return entry;
}

}  // namespace accountsettings
