// RecordFiles are the dated files in which the migrator writes down what it converted,
// where the device has that switched on. Their names tell no time, though they look like it: year,
// month, day, hour, the month again, and tenths of a second.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "plist/PropertyList.h"
#include "staging/Backup.h"

namespace accountsettings {

class LinuxFiles;

struct RecordFile {
  std::string name;
  bool readable = false;
  std::optional<std::int64_t> fromVersion;  // of the settings before the steps
  bool legacyMail = false;
  bool legacyExchange = false;
  std::string backup;  // that its migration kept; empty where none is there that tells so
};

// The records of the root that `files` and ProcessContext::current() stand on, by name; `backups`
// are the root's. Throws Prevented where they may not be looked at.
[[nodiscard]] std::vector<RecordFile> findRecordFiles(LinuxFiles& files,
                                                      const std::vector<FoundBackup>& backups);

// For people, and for scripts.
[[nodiscard]] std::string recordLine(const RecordFile& record);
[[nodiscard]] Dictionary recordForScripts(const RecordFile& record);

}  // namespace accountsettings
