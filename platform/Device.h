/// \file
/// Device answers questions about the device: its properties, what a configuration
/// profile restricts, which external sources data comes from, and the cloud-account
/// model's names.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"

namespace accountsettings {

/// DeviceAnswers tells the properties of the device.
class DeviceAnswers {
 public:
  virtual ~DeviceAnswers() = default;

  /// The device property under `key` ("CPUArchitecture", "DeviceClass", ...), or none.
  [[nodiscard]] virtual std::optional<PropertyList> copyDeviceAnswer(std::string_view key) = 0;
};

/// DeviceInfoConnection is an open connection to the device-information service; destroying it
/// closes it.
class DeviceInfoConnection {
 public:
  virtual ~DeviceInfoConnection() = default;

  /// The value under `key` in `domain`; without a key the whole domain, as a dictionary.
  [[nodiscard]] virtual std::optional<PropertyList> copyDeviceInfoValue(
      std::string_view domain, std::optional<std::string_view> key) = 0;
};

/// DeviceInfo opens connections to the device-information service.
class DeviceInfo {
 public:
  virtual ~DeviceInfo() = default;

  /// None (empty) where the service cannot be reached.
  [[nodiscard]] virtual std::unique_ptr<DeviceInfoConnection> connect() = 0;
};

/// The switches of a configuration profile that concern data classes.
enum class RestrictionSwitch {
  CloudDocuments,      ///< documents and data in the cloud allowed
  PhotoStream,         ///< photo stream allowed
  SharedPhotoStreams,  ///< shared photo streams allowed
  CloudBackup,         ///< backup to the cloud allowed
  LockScreenCards,     ///< cards shown while the device is locked allowed
};

/// Restrictions tells what the installed configuration profiles turn off.
class Restrictions {
 public:
  virtual ~Restrictions() = default;

  /// 2 means that a profile explicitly turns the switch off; any other answer restricts nothing.
  [[nodiscard]] virtual int restrictionForFeature(RestrictionSwitch feature) = 0;
};

/// The kinds of data that the accounts daemon synchronises with external sources.
enum class SyncDataType { Bookmarks, Calendars, Contacts, Notes };

/// The names of the sources, or none where there are none; or what went wrong.
struct ExternalSourcesAnswer {
  std::optional<std::vector<std::string>> sources;
  std::optional<std::string> error;
};

/// ExternalSources tells where the device's data comes from beside its accounts.
class ExternalSources {
 public:
  virtual ~ExternalSources() = default;

  /// The sources from which data of the type comes to the device at present.
  [[nodiscard]] virtual ExternalSourcesAnswer copyExternalSourcesEnabled(SyncDataType type) = 0;
};

/// CloudAccountModel names the properties of a cloud account and its type as people read it.
class CloudAccountModel {
 public:
  virtual ~CloudAccountModel() = default;

  /// The key of the account's status, an integer, and of the flag of the primary account.
  ///@{
  [[nodiscard]] virtual std::string cloudAccountStatusKey() = 0;
  [[nodiscard]] virtual std::string cloudAccountPrimaryKey() = 0;
  ///@}
  /// The service's name, which cloud accounts show as their type.
  [[nodiscard]] virtual std::string cloudAccountTypeString() = 0;
};

}  // namespace accountsettings
