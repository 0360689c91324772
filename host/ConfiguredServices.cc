// The device's answers, restrictions and sources, as the configuration gives them.
#include "host/ConfiguredServices.h"

#include <utility>

namespace accountsettings {

namespace {

class ConfiguredInfo : public DeviceInfoConnection {
 public:
  explicit ConfiguredInfo(const HostConfiguration& configuration) noexcept
      : configuration_(configuration) {}

  std::optional<PropertyList> copyDeviceInfoValue(std::string_view domain,
                                                  std::optional<std::string_view> key) override {
    const auto found = configuration_.deviceInfo.find(domain);
    if (found == configuration_.deviceInfo.end()) return std::nullopt;
    return key ? found->second.get(*key) : PropertyList(found->second);
  }

 private:
  const HostConfiguration& configuration_;
};

}  // namespace

std::optional<PropertyList> ConfiguredDevice::copyDeviceAnswer(std::string_view key) {
  return configuration_.deviceAnswers.get(key);
}

std::unique_ptr<DeviceInfoConnection> ConfiguredDevice::connect() {
  return std::make_unique<ConfiguredInfo>(configuration_);
}

int ConfiguredDevice::restrictionForFeature(RestrictionSwitch feature) {
  const auto found = configuration_.restrictions.find(feature);
  return found == configuration_.restrictions.end() ? 0 : found->second;
}

ExternalSourcesAnswer ConfiguredDevice::copyExternalSourcesEnabled(SyncDataType type) {
  const auto found = configuration_.externalSources.find(type);
  return found == configuration_.externalSources.end() ? ExternalSourcesAnswer() : found->second;
}

std::string ConfiguredDevice::cloudAccountStatusKey() {
  return configuration_.cloudAccountStatusKey;
}

std::string ConfiguredDevice::cloudAccountPrimaryKey() {
  return configuration_.cloudAccountPrimaryKey;
}

std::string ConfiguredDevice::cloudAccountTypeString() {
  return configuration_.cloudAccountTypeString;
}

ConfiguredDirectories::ConfiguredDirectories(const HostConfiguration& configuration,
                                             std::string plugInDirectory)
    : configuration_(configuration), plugInDirectory_(std::move(plugInDirectory)) {}

std::string ConfiguredDirectories::systemRootDirectory() {
  return "/";
}

std::string ConfiguredDirectories::homeDirectory() {
  return configuration_.homeDirectory;
}

std::string ConfiguredDirectories::sharedResourcesDirectory() {
  return configuration_.sharedResourcesDirectory;
}

std::string ConfiguredDirectories::mailDataDirectory() {
  return configuration_.mailDataDirectory;
}

std::string ConfiguredDirectories::plugInDirectory() {
  return plugInDirectory_;
}

}  // namespace accountsettings
