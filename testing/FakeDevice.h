// FakeDevice gathers the fakes whose answers a test simply sets: preferences, the
// device's answers, restrictions, external sources, the cloud-account model,
// directories, identifiers, configuration, and the captured system log.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <queue>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Clock.h"
#include "platform/Configuration.h"
#include "platform/Device.h"
#include "platform/Directories.h"
#include "platform/Preferences.h"
#include "platform/SystemLog.h"
#include "plist/PropertyList.h"
#include "testing/Faults.h"

namespace accountsettings::testing {

// The operations are "preferences.copyAppPreference" and "preferences.ownDefault"; a failing one
// answers none.
class FakePreferences : public Preferences {
 public:
  explicit FakePreferences(Faults& faults) : faults_(faults) {}

  void set(std::string_view domain, std::string_view key, PropertyList value);
  void setOwnDefault(std::string_view key, PropertyList value);

  [[nodiscard]] std::optional<PropertyList> copyAppPreference(std::string_view domain,
                                                              std::string_view key) override;
  [[nodiscard]] std::optional<PropertyList> ownDefault(std::string_view key) override;

  std::map<std::string, Dictionary, std::less<>> domains;
  Dictionary ownDefaults;

 private:
  Faults& faults_;
};

// The operation is "deviceAnswers.copyDeviceAnswer"; a failing one answers none.
class FakeDeviceAnswers : public DeviceAnswers {
 public:
  explicit FakeDeviceAnswers(Faults& faults) : faults_(faults) {}

  void set(std::string_view key, PropertyList value) { answers.set(key, std::move(value)); }

  [[nodiscard]] std::optional<PropertyList> copyDeviceAnswer(std::string_view key) override;

  Dictionary answers;

 private:
  Faults& faults_;
};

// The operations are "deviceInfo.connect" and "deviceInfo.copyDeviceInfoValue".
class FakeDeviceInfo : public DeviceInfo {
 public:
  explicit FakeDeviceInfo(Faults& faults) : faults_(faults) {}

  void set(std::string_view domain, std::string_view key, PropertyList value);

  [[nodiscard]] std::unique_ptr<DeviceInfoConnection> connect() override;

  std::map<std::string, Dictionary, std::less<>> domains;
  // Whether the service answers.
  bool reachable = true;
  // Connections that were made, and those still open.
  int connections = 0;
  int openConnections = 0;

 private:
  friend class FakeDeviceInfoConnection;
  Faults& faults_;
};

// A switch that was not set answers 0. Nothing here can fail.
class FakeRestrictions : public Restrictions {
 public:
  explicit FakeRestrictions(Faults& faults) : faults_(faults) {}

  void set(RestrictionSwitch feature, int value) { values_[feature] = value; }

  [[nodiscard]] int restrictionForFeature(RestrictionSwitch feature) override;

 private:
  Faults& faults_;
  std::map<RestrictionSwitch, int> values_;
};

// Answers neither sources nor an error for what was not set. The operation is
// "externalSources.copyExternalSourcesEnabled"; a failing one answers the error's text.
class FakeExternalSources : public ExternalSources {
 public:
  explicit FakeExternalSources(Faults& faults) : faults_(faults) {}

  void set(SyncDataType type, std::vector<std::string> sources);
  void setError(SyncDataType type, std::string error);

  [[nodiscard]] ExternalSourcesAnswer copyExternalSourcesEnabled(SyncDataType type) override;

  // The types that were asked for, in order.
  std::vector<SyncDataType> asked;

 private:
  Faults& faults_;
  std::map<SyncDataType, ExternalSourcesAnswer> answers_;
};

class FakeCloudAccountModel : public CloudAccountModel {
 public:
  [[nodiscard]] std::string cloudAccountStatusKey() override { return statusKey; }
  [[nodiscard]] std::string cloudAccountPrimaryKey() override { return primaryKey; }
  [[nodiscard]] std::string cloudAccountTypeString() override { return typeString; }

  std::string statusKey = "status";
  std::string primaryKey = "primaryAccount";
  std::string typeString = "Halden";
};

class FakeDirectories : public Directories {
 public:
  [[nodiscard]] std::string systemRootDirectory() override { return systemRoot; }
  [[nodiscard]] std::string homeDirectory() override { return home; }
  [[nodiscard]] std::string sharedResourcesDirectory() override { return sharedResources; }
  [[nodiscard]] std::string mailDataDirectory() override { return mailData; }
  [[nodiscard]] std::string plugInDirectory() override { return plugIns; }

  std::string systemRoot = "/";
  std::string home = "/var/mobile";
  std::string sharedResources = "/var/shared";
  std::string mailData = "/var/mobile/Library/Mail";
  std::string plugIns = "/plugins";
};

// Makes 00000000-0000-4000-8000-000000000001, ...2 and so on. The operation is
// "identifiers.makeUUID"; a failing one answers none.
class FakeIdentifiers : public Identifiers {
 public:
  explicit FakeIdentifiers(Faults& faults) : faults_(faults) {}

  // Makes these first, in this order.
  void makeNext(std::string identifier) { next_.push(std::move(identifier)); }
  // How many were made.
  [[nodiscard]] int made() const { return made_; }

  [[nodiscard]] std::optional<std::string> makeUUID() override;

 private:
  Faults& faults_;
  std::queue<std::string> next_;
  int made_ = 0;
};

class FakeConfiguration : public Configuration {
 public:
  FakeConfiguration();

  [[nodiscard]] const ConfigurationValues& values() override { return current; }

  // The maker's usual values; the hosted service's mail domains and the Yahoo IMAP host are none.
  ConfigurationValues current;
};

// FakeLog keeps what was written to the system log. Safe between threads.
class FakeLog : public SystemLog {
 public:
  void write(std::string_view message) override;

  [[nodiscard]] std::vector<std::string> lines() const;
  // How many lines are exactly this one.
  [[nodiscard]] std::size_t count(std::string_view line) const;
  // Whether some line holds this text.
  [[nodiscard]] bool contains(std::string_view text) const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace accountsettings::testing
