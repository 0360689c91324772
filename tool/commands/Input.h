// Input is what a command that looks at settings was given: a settings file alone, a
// device root, or a backup of one. It says which it took.
#pragma once

#include <string>

#include "tool/frame/Options.h"
#include "tool/inspection/Inspection.h"

namespace accountsettings {

struct Input {
  enum class Kind { SettingsFile, DeviceRoot, Backup };

  Kind kind = Kind::SettingsFile;
  std::string path;      // as it was given
  InspectedFiles files;  // named as on this machine

  // "device root /mnt/device", for the first line of what is shown.
  [[nodiscard]] std::string description() const;
  [[nodiscard]] Dictionary forScripts() const;
};

// Reads what lies at `path`. Throws Prevented where there is nothing or where it is none of the
// three. Creates nothing.
[[nodiscard]] Input openInput(const std::string& path, const CommonOptions& options);

// What lies at `path` by its looks, without reading it; what is missing counts as a settings file.
[[nodiscard]] Input::Kind kindOfInput(const std::string& path);
// A word for the kind: "settings file", "device root", "backup".
[[nodiscard]] std::string_view nameOf(Input::Kind kind);

}  // namespace accountsettings
