// The digests of a migration's inputs, and their comparison with those of a saved plan.
#include "tool/migration/PlanInputs.h"

#include <algorithm>
#include <filesystem>

#include "host/Digest.h"
#include "migration/MigrationPaths.h"
#include "store/AccountsManager.h"
#include "tool/frame/Errors.h"
#include "tool/frame/Json.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {
namespace {

// A configuration that is not the root's own is told from device paths by these words before it.
constexpr std::string_view kGivenConfiguration = "--config ";

std::string digestOf(const Bytes& bytes) {
  Result<std::string> sum = sha256(bytes);
  if (!sum) throw Prevented("", sum.error());
  return std::move(sum).value();
}

// None for a file of this machine that cannot be read.
std::optional<std::string> digestOfFile(const std::string& file) {
  try {
    return digestOf(readFile(file));
  } catch (const CommandFailure&) {
    return std::nullopt;
  }
}

}  // namespace

std::vector<PlanInput> planInputs(OpenedRoot& device, Files& files) {
  std::vector<PlanInput> inputs;
  const auto add = [&](const std::string& path) {
    const Result<SharedBytes> bytes = files.readExpecting(path, nullptr);
    inputs.push_back({path, bytes ? std::optional(digestOf(**bytes)) : std::nullopt});
  };
  for (const std::string& path : {accountSettingsAccountsPath(), daAccountPath(),
                                  mailAccountsPath(), removalSentinelPath()}) {
    add(path);
  }
  const std::string configuration = "/etc/accountsettings/host.plist";
  if (const auto& given = device.options().config) {
    add(configuration);
    std::error_code code;
    const auto whole = std::filesystem::absolute(*given, code);
    const std::string path = code ? *given : whole.string();
    inputs.push_back({std::string(kGivenConfiguration) + path, digestOfFile(path)});
  } else {
    // As it was read when the root was opened, and is compared when the migration is committed.
    const auto& bytes = device.host().configurationBytes();
    inputs.push_back({configuration, bytes ? std::optional(digestOf(*bytes)) : std::nullopt});
  }
  return inputs;
}

std::vector<PlanInput> readPlanInputs(const std::string& file) {
  const Bytes bytes = readFile(file);
  const Result<PropertyList> read =
      fromJson({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  const std::string makeOne = "save one with 'accountsettings plan --out FILE'";
  if (!read)
    throw Prevented(file, "this is no saved plan: " + read.error().message, makeOne,
                    FailureCode::Unreadable);
  const Dictionary* plan = read->dictionary();
  const Array* inputs = plan ? plan->array("inputs") : nullptr;
  if (!inputs || plan->string("format") != "accountsettings." + std::string(kPlanFormat)) {
    throw Prevented(file, "this is no saved plan", makeOne, FailureCode::Unreadable);
  }
  if (plan->integer("formatVersion") != 1) {
    throw Prevented(file, "the plan was saved by another version of this program", makeOne,
                    FailureCode::OtherVersion);
  }
  std::vector<PlanInput> result;
  for (const PropertyList& each : *inputs) {
    const Dictionary* input = each.dictionary();
    const std::string path(input ? input->string("path").value_or("") : "");
    if (path.empty())
      throw Prevented(file, "the plan's inputs are damaged", makeOne, FailureCode::Unreadable);
    const std::string digest(input->string("sha256").value_or(""));
    result.push_back({path, digest.empty() ? std::nullopt : std::optional(digest)});
  }
  return result;
}

std::optional<std::string> changedSince(const std::vector<PlanInput>& planned,
                                        const std::vector<PlanInput>& now, OpenedRoot& device) {
  const auto missingFrom = [&](const std::vector<PlanInput>& all,
                               const std::vector<PlanInput>& wanted) -> std::optional<std::string> {
    for (const PlanInput& each : wanted) {
      if (std::find(all.begin(), all.end(), each) != all.end()) continue;
      return each.path.starts_with(kGivenConfiguration) ? each.path : device.shown(each.path);
    }
    return std::nullopt;
  };
  // A plan may also be of inputs that are none now, such as another configuration.
  const auto changed = missingFrom(planned, now);
  return changed ? changed : missingFrom(now, planned);
}

}  // namespace accountsettings
