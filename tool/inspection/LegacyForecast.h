// LegacyForecast reads the files of the releases before the settings file the way the
// conversions do, and tells for each description what account it becomes or why none.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "migration/LegacyFormats.h"
#include "plist/PropertyList.h"
#include "tool/inspection/Inspection.h"

namespace accountsettings {

struct LegacyDescription {
  std::string label;      // the identifier that the account gets, else "#" and its place from 1
  Dictionary properties;  // of the account that it becomes
  std::optional<std::string> problem;  // why no account can be made of it ("has no ...")
};

// LegacySection is one list of descriptions in a file.
struct LegacySection {
  std::string key;           // the file's top-level key, for example "MailAccounts"
  std::string replacedType;  // existing accounts of this type give way to the section's
  std::vector<LegacyDescription> descriptions;
};

struct LegacyFile {
  std::string path;  // as the inspected file is named
  const LegacyFormat* format = nullptr;
  bool exists = false;
  std::optional<std::string> problem;  // why it cannot be read, where it exists
  bool forbidden = false;              // this user's rights are that problem
  Dictionary content;
  std::vector<LegacySection> sections;  // in the order of their conversion

  // The section under a top-level key, or nullptr.
  [[nodiscard]] const LegacySection* section(std::string_view key) const;
  // How many descriptions all sections hold.
  [[nodiscard]] std::size_t descriptionCount() const;
};

// Why a migration takes over none of its accounts, for example "it holds no account descriptions";
// empty where it takes them over. What else is on the device does not count.
[[nodiscard]] std::string whyNotConverted(const LegacyFile& file);

// The Exchange file and the mail file, in the order of their conversion.
[[nodiscard]] std::vector<LegacyFile> legacyFilesOf(const InspectedFiles& files);

}  // namespace accountsettings
