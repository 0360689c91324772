// ConfiguredServices are the services whose answers a Linux host takes from its
// configuration, which must outlive them.
#pragma once

#include "host/HostConfiguration.h"
#include "platform/Device.h"
#include "platform/Directories.h"

namespace accountsettings {

class ConfiguredDevice : public DeviceAnswers,
                         public DeviceInfo,
                         public Restrictions,
                         public ExternalSources,
                         public CloudAccountModel {
 public:
  explicit ConfiguredDevice(const HostConfiguration& configuration) noexcept
      : configuration_(configuration) {}

  [[nodiscard]] std::optional<PropertyList> copyDeviceAnswer(std::string_view key) override;
  // The service can always be reached; a domain that is not configured has no values.
  [[nodiscard]] std::unique_ptr<DeviceInfoConnection> connect() override;
  [[nodiscard]] int restrictionForFeature(RestrictionSwitch feature) override;
  [[nodiscard]] ExternalSourcesAnswer copyExternalSourcesEnabled(SyncDataType type) override;
  [[nodiscard]] std::string cloudAccountStatusKey() override;
  [[nodiscard]] std::string cloudAccountPrimaryKey() override;
  [[nodiscard]] std::string cloudAccountTypeString() override;

 private:
  const HostConfiguration& configuration_;
};

class ConfiguredDirectories : public Directories {
 public:
  // `plugInDirectory` is a directory of this machine.
  ConfiguredDirectories(const HostConfiguration& configuration, std::string plugInDirectory);

  [[nodiscard]] std::string systemRootDirectory() override;
  [[nodiscard]] std::string homeDirectory() override;
  [[nodiscard]] std::string sharedResourcesDirectory() override;
  [[nodiscard]] std::string mailDataDirectory() override;
  [[nodiscard]] std::string plugInDirectory() override;

 private:
  const HostConfiguration& configuration_;
  std::string plugInDirectory_;
};

class ConfiguredValues : public Configuration {
 public:
  explicit ConfiguredValues(const HostConfiguration& configuration) noexcept
      : configuration_(configuration) {}

  [[nodiscard]] const ConfigurationValues& values() override { return configuration_.values; }

 private:
  const HostConfiguration& configuration_;
};

}  // namespace accountsettings
