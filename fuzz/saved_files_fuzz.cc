// Fuzz target: what the command saves and reads again, a plan and a backup's manifest, may be
// anything by then. A plan is refused or gives paths; a manifest is refused or leads to no file
// outside its backup, keeps itself, and as an interrupted migration's journal does no harm.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include "fuzz/Chooser.h"
#include "fuzz/Demand.h"
#include "host/LinuxHost.h"
#include "platform/ProcessContext.h"
#include "plist/BinaryWriter.h"
#include "staging/EarlierRuns.h"
#include "staging/InterruptedMigration.h"
#include "testing/FakePlatform.h"
#include "testing/TemporaryDirectory.h"
#include "tool/frame/Errors.h"
#include "tool/frame/Json.h"
#include "tool/migration/PlanInputs.h"

namespace accountsettings::fuzz {
namespace {

namespace fs = std::filesystem;

constexpr const char* kBackup =
    "var/mobile/Library/Logs/AccountMigrationBackups/2026-01-02-03-04-05";
constexpr const char* kPreferences = "var/mobile/Library/Preferences";

void write(const fs::path& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<long>(bytes.size()));
}

// A device of files, in memory where the machine has a place for that, with one backup; and a file
// beside it that nothing may touch.
class Device {
 public:
  Device() {
    const fs::path base = directory_.path();
    write(base / "canary", "sings");
    for (const char* each : {kBackup, kPreferences, "var/mobile/Library/Mail", "tmp"}) {
      fs::create_directories(root() / each);
    }
    write(root() / kPreferences / "com.zelqo.accountsettings.plist", "settings");
  }

  [[nodiscard]] fs::path root() const { return fs::path(directory_.path()) / "root"; }
  [[nodiscard]] fs::path plan() const { return fs::path(directory_.path()) / "plan.json"; }

  // Ends what this journal tells of, if anything.
  void endWith(const Bytes& manifest) {
    write(root() / kBackup / "manifest.plist",
          {reinterpret_cast<const char*>(manifest.data()), manifest.size()});
    HostOptions options;
    options.root = root();
    options.systemLog = &log_;
    auto host = LinuxHost::create(options);
    demand(host.ok(), "the host opens");
    ProcessContext context((*host)->platform());
    const ProcessContext::Override current(context);
    const EarlierRuns earlier = lookAtEarlierRuns(**host, false);
    if (earlier.interrupted) (void)endInterruptedMigration(**host, *earlier.interrupted);
    log_.clear();
    demandCanary();
  }

 private:
  void demandCanary() {
    std::ifstream canary(fs::path(directory_.path()) / "canary");
    const std::string song{std::istreambuf_iterator<char>(canary), {}};
    demand(song == "sings", "nothing outside the root is touched");
    demand(fs::exists(root() / kPreferences), "no directory goes");
    fs::create_directories(root() / kBackup);
  }

  testing::TemporaryDirectory directory_;
  testing::FakeLog log_;
};

Device& device() {
  static Device only;
  return only;
}

void checkManifest(const Bytes& bytes) {
  const Result<BackupManifest> read = manifestFrom("2026-01-02-03-04-05", bytes);
  if (!read) {
    demand(!read.error().message.empty(), "a refusal says why");
    return;
  }
  for (const BackupFile& file : read->files) {
    demand(file.savedAs.find('/') == std::string::npos, "a kept file lies in the backup");
    demand(file.attributes.mode <= 0777, "no file gives rights");
  }
  for (const MeantChange& change : read->meant) {
    demand(change.savedAs.find('/') == std::string::npos, "a meant file lies in the backup");
    demand(change.mode <= 0777, "no change gives rights");
  }
  const Dictionary first = read->asDictionary();
  const auto again = manifestFrom(read->name, writeBinary(first).value());
  demand(again.ok(), "a manifest that is written can be read");
  demand(again->asDictionary() == first, "a manifest keeps itself");
  device().endWith(bytes);
}

void checkPlan(std::string_view text) {
  const Result<PropertyList> value = fromJson(text);
  if (value) {
    const Result<std::string> written = toJson(*value);
    demand(!written || fromJson(*written).ok(), "JSON that is written can be read");
    if (written) demand(*fromJson(*written) == *value, "JSON keeps the value");
  }
  write(device().plan(), text);
  try {
    for (const PlanInput& input : readPlanInputs(device().plan())) {
      demand(!input.path.empty(), "an input has a path");
    }
  } catch (const CommandFailure&) {
    // It is no plan.
  }
}

// A manifest whose parts are as they should be, each with a chance of being anything.
Bytes manifestFromChoices(Chooser& choose) {
  static constexpr std::pair<std::string_view, std::string_view> kFiles[] = {
      {"settings", "/var/mobile/Library/Preferences/com.zelqo.accountsettings.plist"},
      {"legacy-mail", "/var/mobile/Library/Mail/Accounts.plist"},
      {"legacy-exchange", "/var/mobile/Library/Preferences/com.zelqo.DataAccess.plist"},
      {"sentinel", "/var/mobile/Library/Preferences/.removingOldAccounts"},
      {"auto-fetch-marker", "/var/mobile/Library/Mail/AutoFetchEnabled"},
      {"settings", "/canary"},
      {"settings", "/../canary"}};
  static constexpr std::string_view kStates[] = {"absent", "regular", "link"};
  static constexpr std::string_view kChanges[] = {"write", "remove", "make-directory"};
  static constexpr std::string_view kNames[] = {"settings", "", "../../x", "manifest.plist", "."};
  // The sum of what stands there, and that of nothing.
  static constexpr std::string_view kSums[] = {
      "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855", "", "0"};
  Array files;
  for (std::size_t count = choose.below(5); count > 0; --count) {
    const auto& [role, path] = choose.oneOf(kFiles);
    Dictionary file{{"Role", role}, {"Path", path}, {"State", choose.oneOf(kStates)}};
    file.set("Saved As", choose.oneOf(kNames));
    file.set("SHA-256", choose.oneOf(kSums));
    file.set("Mode", static_cast<std::int64_t>(choose.below(256)) * 16);
    if (choose.rarely()) file.set(choose.word(), choose.value());
    files.append(file);
  }
  Array meant;
  for (std::size_t count = choose.below(5); count > 0; --count) {
    const auto& [role, path] = choose.oneOf(kFiles);
    Dictionary change{{"Change", choose.oneOf(kChanges)}, {"Path", path}};
    change.set("Saved As", choose.oneOf(kNames));
    change.set("SHA-256", choose.oneOf(kSums));
    if (choose.rarely()) change.set(choose.word(), choose.value());
    meant.append(change);
  }
  Dictionary root{{"Format", "accountsettings.backup"},
                  {"Format Version", static_cast<std::int64_t>(choose.rarely() ? 1 : 2)},
                  {"Tool Version", "1"},
                  {"Files", files},
                  {"Meant", meant}};
  if (choose.flag()) {
    root.set("Prepared As",
             std::string("/var/mobile/Library/Preferences/.accountsettings-") + choose.word());
  }
  if (choose.rarely()) root.set("Temporary", true);
  if (choose.rarely()) root.set("Outcome", choose.value());
  if (choose.rarely()) root.set(choose.word(), choose.value());
  return writeBinary(root).value();
}

}  // namespace
}  // namespace accountsettings::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace accountsettings::fuzz;
  Chooser choose({data, size});
  switch (choose.below(3)) {
    case 0:
      checkManifest(manifestFromChoices(choose));
      break;
    case 1:
      if (size > 1) checkManifest(accountsettings::Bytes(data + 1, data + size));
      break;
    default:
      if (size > 1) checkPlan({reinterpret_cast<const char*>(data) + 1, size - 1});
  }
  return 0;
}
