// BackupManifest is what a backup says about itself: every file that it keeps with its
// sum, owner, mode and links, what made it, and what the migration then did.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/LinuxFiles.h"
#include "migration/MigrationPaths.h"
#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

// One file as it stood. Where nothing lay at the path, `state` is Absent, and putting the backup
// back removes what has come to lie there.
struct BackupFile {
  enum class State { Absent, Regular, Link };

  PathRole role = PathRole::Settings;
  std::string path;  // the device path
  State state = State::Absent;
  std::string savedAs;     // the name in the backup's directory; empty where nothing was to keep
  std::string linkTarget;  // of a link, whose target's content is kept too
  std::string sha256;
  FileAttributes attributes;
  std::optional<std::int64_t> formatVersion;  // "Version" of the settings
};

struct BackupManifest {
  std::string name;         // of the backup's directory
  std::string toolVersion;  // that made it
  std::vector<BackupFile> files;
  // What the migration did, added when it had ended; empty where it was cut short.
  Dictionary outcome;

  [[nodiscard]] const BackupFile* fileInRole(PathRole role) const;
  [[nodiscard]] Dictionary asDictionary() const;
};

// The manifest of the backup `name`. It is checked like any input: the error says what is wrong.
[[nodiscard]] Result<BackupManifest> manifestFrom(const std::string& name, const Bytes& bytes);

inline constexpr std::string_view kManifestName = "manifest.plist";

}  // namespace accountsettings
