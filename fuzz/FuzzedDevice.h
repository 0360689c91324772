// FuzzedDevice is a device in memory that a fuzzer's bytes describe: what it holds, how it is
// configured, and at times one operation that fails.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/Chooser.h"
#include "platform/ProcessContext.h"
#include "testing/FakePlatform.h"

namespace accountsettings::fuzz {

class FuzzedDevice {
 public:
  static constexpr const char* kSettings =
      "/var/mobile/Library/Preferences/com.zelqo.accountsettings.plist";
  static constexpr const char* kMail = "/var/mobile/Library/Mail/Accounts.plist";
  static constexpr const char* kExchange =
      "/var/mobile/Library/Preferences/com.zelqo.DataAccess.plist";
  static constexpr const char* kSentinel = "/var/mobile/Library/Preferences/.removingOldAccounts";

  // Only with settings of the current version, or whatever else stands before a migration.
  enum class Kind { Current, Any };
  FuzzedDevice(Chooser& choose, Kind kind);

  // Settings that can be read hold a dictionary with a list of accounts; nothing is held or open.
  void demandWhole() const;
  [[nodiscard]] std::map<std::string, Bytes> contents() const;

  testing::FakePlatform fake;

 private:
  void putResources();
  void configure(Chooser& choose);
  void putMigrationFiles(Chooser& choose);
};

}  // namespace accountsettings::fuzz
