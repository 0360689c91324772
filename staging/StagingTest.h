// StagingTest is the fixture of tests that migrate real files beneath a root of their own, through
// the plug-in bundle of the build.
#pragma once

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/HostTest.h"
#include "host/LinuxHost.h"
#include "platform/Notifications.h"
#include "platform/ProcessContext.h"
#include "plist/BinaryWriter.h"
#include "plist/Description.h"
#include "plist/Reader.h"
#include "staging/MigrateStaged.h"

namespace accountsettings::testing {

// Notes what others are told, in order.
class NotedNotices : public Notifications {
 public:
  void postSystemNotification(std::string_view name) override { all.emplace_back(name); }
  void postAppPreferencesChanged(std::string_view domain, std::string_view key) override {
    all.push_back(std::string(domain) + " " + std::string(key));
  }
  void notifyCloudTabsToggled(bool enabled) override {
    all.emplace_back(enabled ? "tabs on" : "tabs off");
  }
  std::vector<std::string> all;
};

class StagingTest : public ::testing::Test {
 protected:
  static constexpr const char* kPreferences = "var/mobile/Library/Preferences";
  static constexpr const char* kSettings =
      "var/mobile/Library/Preferences/com.zelqo.accountsettings.plist";
  static constexpr const char* kCopy =
      "var/shared/Library/Logs/CrashReporter/com.zelqo.accountsettings.plist";
  static constexpr const char* kMail = "var/mobile/Library/Mail/Accounts.plist";
  static constexpr const char* kExchange =
      "var/mobile/Library/Preferences/com.zelqo.DataAccess.plist";
  static constexpr const char* kSentinel = "var/mobile/Library/Preferences/.removingOldAccounts";
  static constexpr const char* kMarker = "var/mobile/Library/Mail/AutoFetchEnabled";
  static constexpr const char* kBackups = "var/mobile/Library/Logs/AccountMigrationBackups";
  static constexpr const char* kLock = "tmp/AccountMigrationInProgress";

  StagingTest() { makeDevice(); }

  // Takes the device's files away and makes its directories anew.
  void makeDevice() {
    std::filesystem::remove_all(device.root());
    for (const char* each : {kPreferences, "var/mobile/Library/Mail", "tmp",
                             "var/shared/Library/Logs/CrashReporter"}) {
      std::filesystem::create_directories(device.path(each));
    }
    device.write("etc/passwd", "mobile:x:" + std::to_string(::getuid()) + ":" +
                                   std::to_string(::getgid()) + "::/var/mobile:/bin/sh\n");
    device.write("etc/group", "mobile:x:" + std::to_string(::getgid()) + ":\n");
  }
  void put(const char* path, const Dictionary& value) const {
    device.write(path, textOf(writeBinary(value).value()));
  }
  void putSettings(std::int64_t version) const {
    put(kSettings, {{"Version", version},
                    {"Accounts", Array{account("CalDAV", "MobileCalDAVAccount", "calendar"),
                                       account("LDAP", "MobileLDAPAccount", "directory")}}});
  }
  void putLegacyFiles() const {
    put(kMail,
        {{"MailAccounts", Array{Dictionary{{"AccountType", "POPAccount"}, {"uniqueId", "pop"}},
                                Dictionary{{"AccountType", "GmailAccount"}, {"uniqueId", "gm"}}}},
         {"DeliveryAccounts", Array{Dictionary{{"uniqueId", "smtp"}}}}});
    device.write(std::string(kMail) + ".original", "an older one");
    put(kExchange,
        {{"DAAccountsKey", Array{Dictionary{{"DAAccountConfigurationClass", "ASAccount"},
                                            {"DAAccountConfigurationAccountID", "exchange"}}}}});
  }
  static Dictionary account(const char* type, const char* accountClass, const char* identifier) {
    return {{"Type", type}, {"Class", accountClass}, {"Identifier", identifier}};
  }

  // A host of the device as it is now.
  [[nodiscard]] std::unique_ptr<LinuxHost> newHost() {
    HostOptions options;
    options.root = device.root();
    options.systemLog = &log;
    options.notifications = &notices;
    return std::move(LinuxHost::create(options)).value();
  }
  MigrationOutcome migrate(const StagedMigrationOptions& options = {}) {
    const auto host = newHost();
    MigrationOutcome outcome = migrateStaged(*host, options);
    lastProblem = outcome.problem;
    outcome.staged.reset();  // it lives no longer than its host
    return outcome;
  }

  [[nodiscard]] bool has(const std::string& path) const {
    return std::filesystem::exists(std::filesystem::symlink_status(device.path(path)));
  }
  [[nodiscard]] std::optional<Dictionary> dictionaryAt(const std::filesystem::path& path) const {
    const auto value = readPropertyList(bytesOf(DeviceRoot::readFile(path)));
    if (!value || value->dictionary() == nullptr) return std::nullopt;
    return *value->dictionary();
  }
  // Every text under "Identifier", "uniqueId" and the like, however deep.
  static void collectIdentifiers(const PropertyList& value, std::set<std::string>& into) {
    if (const Array* array = value.array()) {
      for (const PropertyList& each : *array) collectIdentifiers(each, into);
    }
    if (const Dictionary* dictionary = value.dictionary()) {
      for (const auto& entry : *dictionary) {
        const std::string key(entry.key());
        if (key == "Identifier" || key == "uniqueId" || key == "DAAccountConfigurationAccountID") {
          into.emplace(entry.value().stringValue().value_or(""));
        }
        collectIdentifiers(entry.value(), into);
      }
    }
  }
  [[nodiscard]] std::set<std::string> identifiersIn(const std::filesystem::path& path) const {
    std::set<std::string> identifiers;
    if (const auto root = dictionaryAt(path)) collectIdentifiers(*root, identifiers);
    return identifiers;
  }
  [[nodiscard]] std::set<std::string> savedIdentifiers() const {
    return identifiersIn(device.path(kSettings));
  }
  [[nodiscard]] std::vector<std::string> backups() const {
    std::vector<std::string> names;
    if (!has(kBackups)) return names;
    for (const auto& each : std::filesystem::directory_iterator(device.path(kBackups))) {
      names.push_back(each.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  // The file's content in words; fresh identifiers, which are random, are all the same.
  [[nodiscard]] std::string inWords(const std::filesystem::path& file) const {
    const std::string text = DeviceRoot::readFile(file);
    const auto value = readPropertyList(bytesOf(text));
    static const std::regex fresh("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}");
    return std::regex_replace(value ? description(*value, 1U << 20) : text, fresh, "FRESH");
  }
  // Everything on the device by path, with kind, mode, owner and content.
  [[nodiscard]] std::map<std::string, std::string> tree(bool exact = true) const {
    std::map<std::string, std::string> entries;
    const std::filesystem::path root = device.root();
    for (const auto& each : std::filesystem::recursive_directory_iterator(root)) {
      struct stat status {};
      ::lstat(each.path().c_str(), &status);
      std::string entry = std::to_string(status.st_mode) + " " + std::to_string(status.st_uid) +
                          ":" + std::to_string(status.st_gid) + " ";
      if (each.is_symlink()) {
        entry += std::filesystem::read_symlink(each.path()).string();
      } else if (each.is_regular_file()) {
        entry += exact ? DeviceRoot::readFile(each.path()) : inWords(each.path());
      }
      entries[each.path().lexically_relative(root).string()] = entry;
    }
    return entries;
  }

  // What two such trees do not have in common, in words; empty where they are the same.
  [[nodiscard]] static std::string difference(const std::map<std::string, std::string>& left,
                                              const std::map<std::string, std::string>& right) {
    std::string text;
    for (const auto& [path, entry] : left) {
      const auto found = right.find(path);
      if (found == right.end()) {
        text += "only here: " + path + "\n";
      } else if (found->second != entry) {
        text += path + ": " + entry + "\n  not " + found->second + "\n";
      }
    }
    for (const auto& [path, entry] : right) {
      if (!left.contains(path)) text += "missing: " + path + "\n";
    }
    return text;
  }

  DeviceRoot device;
  KeptLog log;
  NotedNotices notices;
  std::string lastProblem;  // of migrate(), for messages
};

}  // namespace accountsettings::testing
