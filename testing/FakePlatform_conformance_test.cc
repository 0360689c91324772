// The fake device passes the suite that the real ones pass.
#include <memory>

#include "testing/ConformanceDevice.h"
#include "testing/FakePlatform.h"

namespace accountsettings::testing {
namespace {

class FakeConformanceDevice : public ConformanceDevice {
 public:
  [[nodiscard]] Platform platform() override { return fake_.platform(); }

  void setPreference(const std::string& domain, const std::string& key,
                     const PropertyList& value) override {
    fake_.preferences.set(domain, key, value);
  }
  void setOwnDefault(const std::string& key, const PropertyList& value) override {
    fake_.preferences.setOwnDefault(key, value);
  }
  int startProcess(const std::string& commandName) override {
    fake_.processes.add(++lastProcess_, commandName);
    return lastProcess_;
  }
  [[nodiscard]] unsigned mode(const std::string& path) override {
    return fake_.files.mode(path).value();
  }
  [[nodiscard]] bool isOwnedBy(const std::string& path, const std::string& owner,
                               const std::string& group) override {
    return fake_.files.owner(path) == std::pair(owner, group);
  }

 private:
  FakePlatform fake_;
  int lastProcess_ = 1000;
};

}  // namespace

std::vector<ConformanceFactory> conformanceDevices() {
  return {{"Fake", [] { return std::make_unique<FakeConformanceDevice>(); }}};
}

}  // namespace accountsettings::testing
