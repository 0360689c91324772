// How results files are put together.
#include "tool/page/FleetStory.h"

#include <filesystem>
#include <unordered_map>
#include <utility>

#include "tool/fleet/ResultsReader.h"
#include "tool/frame/Errors.h"

namespace accountsettings {
namespace {

constexpr std::string_view kReport = "report";

class Devices {
 public:
  void add(DeviceResult result, const std::filesystem::path& folder) {
    const auto [known, isNew] = numbers_.emplace(result.root, devices_.size());
    if (isNew) devices_.emplace_back();
    FleetDevice& device = devices_[known->second];
    if (!result.page.empty()) device.page = (folder / result.page).lexically_normal();
    if (isNew || result.command != kReport || device.result.command == kReport) {
      device.result = std::move(result);
    }
  }
  std::vector<FleetDevice> take() { return std::move(devices_); }

 private:
  std::unordered_map<std::string, std::size_t> numbers_;  // by root
  std::vector<FleetDevice> devices_;
};

}  // namespace

std::vector<FleetDevice> devicesIn(const std::vector<std::string>& files) {
  Devices devices;
  for (const std::string& file : files) {
    std::error_code ignored;
    const auto folder = std::filesystem::absolute(file, ignored).parent_path();
    const Result<std::size_t> read =
        readResults(file, [&](DeviceResult result) { devices.add(std::move(result), folder); });
    if (!read) {
      throw Prevented("", read.error().message, "give files that --results wrote",
                      codeFor(read.error().code, FailureCode::Unreadable));
    }
  }
  return devices.take();
}

}  // namespace accountsettings
