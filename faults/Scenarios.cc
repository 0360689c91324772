// Devices are samples of each release and what is made of them.
#include "faults/Scenarios.h"

#include <signal.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "account/BasicAccount.h"
#include "host/LinuxHost.h"
#include "platform/ProcessContext.h"
#include "plist/BinaryWriter.h"
#include "staging/PlugInMigrator.h"
#include "store/AccountsManager.h"

namespace accountsettings::faults {

namespace {

namespace fs = std::filesystem;
using Kind = Scenario::Kind;

// Says nothing.
class Silence : public SystemLog {
 public:
  void write(std::string_view) override {}
};

// A program of its own on the device.
int asProgram(const std::string& root, int (*act)()) {
  Silence log;
  HostOptions options;
  options.root = root;
  options.systemLog = &log;
  const auto host = LinuxHost::create(options);
  if (!host) return 3;
  ProcessContext context((*host)->platform());
  const ProcessContext::Override current(context);
  return act();
}

int migrateByLibrary(const std::string& root) {
  return asProgram(root, [] {
    const auto migrator = makePlugInMigrator();
    if (!migrator) return 3;
    return (*migrator)->performMigration() ? 0 : 1;
  });
}

int editByLibrary(const std::string& root) {
  return asProgram(root, [] {
    const auto store = AccountsManager::init();
    if (!store->accountWithIdentifier("added")) {
      store->insertAccount(BasicAccount::accountWithProperties(
          {{"Type", "CalDAV"}, {"Class", "MobileCalDAVAccount"}, {"Identifier", "added"}}));
    }
    store->saveAllAccounts();
    return store->lastSave().saved() ? 0 : 1;
  });
}

class Maker {
 public:
  Maker(std::string only, fs::path root) : only_(std::move(only)), root_(std::move(root)) {}

  [[nodiscard]] std::vector<Scenario> all();

 private:
  [[nodiscard]] DiskTree sample(const std::string& release) const {
    fs::remove_all(root_);
    must({"sample", root_, "--release", release});
    return readTree(root_);
  }
  // The device after the command.
  [[nodiscard]] DiskTree after(const DiskTree& before, std::vector<std::string> command) const {
    writeTree(before, root_);
    command.insert(command.end(), {"--root", root_});
    must(command);
    return readTree(root_);
  }
  static void must(const std::vector<std::string>& arguments) {
    const Told told = runProgram(arguments);
    if (told.status != 0) throw std::runtime_error(arguments.front() + ": " + told.words);
  }
  // A run that was killed when this part of its changes was made.
  [[nodiscard]] DiskTree killed(const DiskTree& before, double part) const {
    const std::vector<std::string> migrate = {"migrate", "--root", root_};
    writeTree(before, root_);
    (void)runProgram(migrate);
    const int calls = testing::diskCallsMade();
    writeTree(before, root_);
    testing::DiskPlan plan;
    plan.effect = testing::DiskPlan::Effect::Kill;
    plan.at = static_cast<int>(part * calls);
    const Told told = runProgram(migrate, plan);
    if (told.status != 1000 + SIGKILL) throw std::runtime_error("not killed: " + told.words);
    return readTree(root_);
  }
  void add(const std::string& name, Kind kind, std::vector<std::string> command,
           const DiskTree& before, Body body = nullptr);

  std::string only_;
  fs::path root_;
  std::vector<Scenario> scenarios_;
};

void Maker::add(const std::string& name, Kind kind, std::vector<std::string> command,
                const DiskTree& before, Body body) {
  if (name.find(only_) == std::string::npos) return;
  Scenario scenario{name, kind, std::move(command), body, before, {}, {}, 1};
  writeTree(before, root_);
  const Told told = scenario.run(root_);
  const bool isSound = told.status == 0 || (kind == Kind::Reading && told.status == 1);
  if (!isSound) throw std::runtime_error(name + ": " + told.words);
  scenario.reference = scenario.settled = readTree(root_);
  const bool isMigration = kind == Kind::Migration || kind == Kind::Library;
  for (; isMigration && scenario.runs < 4; ++scenario.runs) {
    (void)scenario.run(root_);
    DiskTree next = readTree(root_);
    if (comparable(next) == comparable(scenario.settled)) break;
    scenario.settled = std::move(next);
  }
  scenarios_.push_back(std::move(scenario));
}

DiskTree joined(DiskTree first, const DiskTree& second) {
  first.insert(second.begin(), second.end());
  return first;
}

DiskTree without(DiskTree tree, const char* path) {
  tree.erase(path);
  return tree;
}

// Settings that a legacy file beside them takes nothing away from.
std::string withoutConvertedTypes(const DiskTree& tree) {
  const auto settings = propertyListAt(tree, kSettings);
  Array accounts;
  for (const PropertyList& each : settings->dictionary()->arrayOrEmpty("Accounts")) {
    const auto type = each.dictionary()->string("Type");
    if (type != "Mail" && type != "SMTP" && type != "Exchange") accounts.append(each);
  }
  Dictionary root = *settings->dictionary();
  root.set("Accounts", accounts);
  const Bytes bytes = writeBinary(root).value();
  return {bytes.begin(), bytes.end()};
}

std::string firstAccountOf(const DiskTree& tree) {
  const auto settings = propertyListAt(tree, kSettings);
  return std::string(settings->dictionary()
                         ->arrayOrEmpty("Accounts")[0]
                         .dictionary()
                         ->string("Identifier")
                         .value());
}

std::vector<Scenario> Maker::all() {
  std::vector<std::pair<std::string, DiskTree>> devices;
  for (const char* release :
       {"current", "oldest", "7A153", "8A293", "8C136", "9A182", "9A334", "9B176"}) {
    devices.emplace_back(release, sample(release));
  }
  const DiskTree current = devices[0].second;
  const DiskTree oldest = devices[1].second;
  const DiskTree legacy = sample("legacy");
  DiskTree both = joined(oldest, legacy);
  both[kSettings].content = withoutConvertedTypes(oldest);
  DiskTree sentinel = both;
  sentinel[kSentinel] = {DiskEntry::Kind::File, 0600, 501, 501, "mark"};
  const DiskTree migrated = after(oldest, {"migrate"});
  DiskTree again = migrated;  // an old backup of the settings was put on a device
  again[kSettings] = sample("9A334").at(kSettings);
  devices.emplace_back("legacy files", legacy);
  devices.emplace_back("legacy mail", without(legacy, kLegacyExchange));
  devices.emplace_back("legacy Exchange", without(legacy, kLegacyMail));
  devices.emplace_back("settings and legacy files", both);
  devices.emplace_back("an interrupted removal", sentinel);
  devices.emplace_back("an earlier backup", again);
  devices.emplace_back("a migration cut early", killed(both, 0.5));
  double part = 0.5;
  DiskTree halfway = killed(both, part);
  while (halfway.contains(kLegacyMail) || halfway.contains(kLegacyExchange)) {
    halfway = killed(both, part += 0.02);
  }
  devices.emplace_back("a migration cut when the legacy files had gone", halfway);
  devices.emplace_back("a migration cut late", killed(both, 0.8));
  for (const auto& [name, device] : devices) {
    // What the mark of the removal costs has to be accepted.
    std::vector<std::string> command = {"migrate"};
    if (device.contains(kSentinel)) command.emplace_back("--accept-loss");
    add("migrate: " + name, Kind::Migration, command, device);
  }
  add("migrate --no-backup: settings and legacy files", Kind::Migration, {"migrate", "--no-backup"},
      both);

  add("set", Kind::Edit, {"set", firstAccountOf(current), "DisplayName", "Changed"}, current);
  add("set on a device with a backup", Kind::Edit,
      {"set", firstAccountOf(migrated), "DisplayName", "Changed"}, migrated);
  add("remove", Kind::Edit, {"remove", firstAccountOf(current)}, current);
  add("add", Kind::Edit, {"add", "CalDAV", "MobileCalDAVAccount"}, current);

  const auto backupIn = [](const DiskTree& tree) {
    for (const auto& [path, entry] : tree) {
      if (path.starts_with(std::string(kBackups) + "/")) return fs::path(path).filename().string();
    }
    return std::string();
  };
  add("restore: oldest", Kind::Restore, {"restore", backupIn(migrated)}, migrated);
  const DiskTree converted = after(both, {"migrate"});
  add("restore: settings and legacy files", Kind::Restore, {"restore", backupIn(converted)},
      converted);

  const DiskTree removed = after(current, {"remove", firstAccountOf(current)});
  add("restore: a removed account", Kind::Restore, {"restore", backupIn(removed)}, removed);

  for (const char* each : {"plan", "check", "show", "history"}) {
    add(std::string(each) + ": settings and legacy files", Kind::Reading, {each}, both);
  }
  add("migrate --dry-run: settings and legacy files", Kind::Reading, {"migrate", "--dry-run"},
      both);

  for (const auto& [name, device] : devices) {
    add("performMigration: " + name, Kind::Library, {}, device, migrateByLibrary);
  }
  add("saveAllAccounts", Kind::Save, {}, current, editByLibrary);
  return std::move(scenarios_);
}

}  // namespace

std::set<std::string> Scenario::accounts() const {
  const bool keepsBackup = kind == Kind::Restore || kind == Kind::Edit ||
                           (kind == Kind::Migration && std::find(command.begin(), command.end(),
                                                                 "--no-backup") == command.end());
  if (keepsBackup) return accountsAnywhere(before);
  std::set<std::string> both;
  const std::set<std::string> then = accountsInUse(before);
  const std::set<std::string> now = accountsInUse(settled);
  std::set_intersection(then.begin(), then.end(), now.begin(), now.end(),
                        std::inserter(both, both.end()));
  return both;
}

std::vector<std::string> Scenario::commandOn(const fs::path& root) const {
  std::vector<std::string> arguments = command;
  arguments.insert(arguments.end(), {"--root", root});
  return arguments;
}

Told Scenario::run(const fs::path& root, testing::DiskPlan plan) const {
  return body != nullptr ? runInChild(body, root, std::move(plan))
                         : runProgram(commandOn(root), std::move(plan));
}

std::vector<testing::DiskChange> Scenario::changes(const fs::path& root) const {
  return body != nullptr ? recordInChild(body, root) : recordProgram(commandOn(root));
}

std::vector<Scenario> scenariosNamed(const std::string& only, const fs::path& root) {
  return Maker(only, root).all();
}

}  // namespace accountsettings::faults
