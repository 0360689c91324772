// HostConfiguration is what the device maker configures on a Linux host: directories,
// account names, answers about the device, host names, and where code lies. It is read
// from one property list, which completes the defaults key by key.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/Configuration.h"
#include "platform/Device.h"
#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

struct HostConfiguration {
  // Device paths, all absolute.
  std::string homeDirectory = "/var/mobile";
  std::string sharedResourcesDirectory = "/var/shared";
  std::string mailDataDirectory = "/var/mobile/Library/Mail";
  std::optional<std::string> temporaryDirectory;  // none: the saved file's own directory

  // What the services answer; the keys of the file, which docs/FORMATS.md tells, bear their names.
  Dictionary deviceAnswers;
  std::map<std::string, Dictionary, std::less<>> deviceInfo;  // by domain
  std::map<RestrictionSwitch, int> restrictions;
  std::map<SyncDataType, ExternalSourcesAnswer> externalSources;
  std::string cloudAccountStatusKey = "status";
  std::string cloudAccountPrimaryKey = "primaryAccount";
  std::string cloudAccountTypeString = "Halden";

  // Owner and group, host names and mail domains.
  ConfigurationValues values = defaultValues();

  // Paths of this machine, all absolute.
  std::optional<std::string> webEngineLibrary;
  std::optional<std::string> plugInDirectory;
  std::optional<std::string> moduleDirectory;

  // Which string tables are read; none: those of the locale.
  std::optional<std::string> language;
  // The domain of the program's own defaults; none: the program's name.
  std::optional<std::string> defaultsDomain;

  // What the reader of the file should know and did not have to stop for, in the file's order.
  std::vector<std::string> warnings;

  // The values where the file names none.
  static ConfigurationValues defaultValues();

  // The defaults completed by the property list in `bytes`. `file` names it in messages. Where
  // `mayNameCode` is false, keys that name code are ignored with a warning. Fails on a value of the
  // wrong kind; an unknown key is a warning.
  [[nodiscard]] static Result<HostConfiguration> parse(std::span<const std::uint8_t> bytes,
                                                       const std::string& file, bool mayNameCode);
};

}  // namespace accountsettings
