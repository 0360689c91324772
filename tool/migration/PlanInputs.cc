#include "tool/migration/PlanInputs.h"

#include <algorithm>

#include "host/LinuxFiles.h"
#include "migration/MigrationPaths.h"
#include "store/AccountsManager.h"
#include "tool/accounts/AccountTree.h"
#include "tool/frame/Digest.h"
#include "tool/frame/Errors.h"
#include "tool/frame/Json.h"
#include "tool/frame/ReadFile.h"

namespace accountsettings {

std::vector<PlanInput> planInputs(Device& device) {
  std::vector<PlanInput> inputs;
  for (const std::string& path :
       {accountSettingsAccountsPath(), daAccountPath(), mailAccountsPath(), removalSentinelPath(),
        std::string("/etc/accountsettings/host.plist")}) {
    const Result<Bytes> bytes = device.files().read(path);
    inputs.push_back({path, bytes ? std::optional(sha256(*bytes)) : std::nullopt});
  }
  return inputs;
}

std::vector<PlanInput> readPlanInputs(const std::string& file) {
  const Bytes bytes = readFile(file);
  const Result<PropertyList> read =
      fromJson({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  const std::string makeOne = "save one with 'accountsettings plan --out FILE'";
  if (!read) throw Prevented(file, "this is no saved plan: " + read.error().message, makeOne);
  const Dictionary* plan = read->dictionary();
  const PropertyList* inputs = plan ? plan->find("inputs") : nullptr;
  if (!inputs || !inputs->array() || textOf(*plan, "format") != kPlanFormat) {
    throw Prevented(file, "this is no saved plan", makeOne);
  }
  if (plan->find("formatVersion") == nullptr ||
      plan->find("formatVersion")->integerValue() != kPlanFormatVersion) {
    throw Prevented(file, "the plan was saved by another version of this program", makeOne);
  }
  std::vector<PlanInput> result;
  for (const PropertyList& each : *inputs->array()) {
    const Dictionary* input = each.dictionary();
    if (!input || textOf(*input, "path").empty()) {
      throw Prevented(file, "the plan's inputs are damaged", makeOne);
    }
    const std::string digest = textOf(*input, "sha256");
    result.push_back(
        {textOf(*input, "path"), digest.empty() ? std::nullopt : std::optional(digest)});
  }
  return result;
}

std::optional<std::string> changedSince(const std::vector<PlanInput>& inputs, Device& device) {
  for (const PlanInput& now : planInputs(device)) {
    if (std::find(inputs.begin(), inputs.end(), now) == inputs.end()) return now.path;
  }
  return std::nullopt;
}

}  // namespace accountsettings
