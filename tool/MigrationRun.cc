#include "tool/MigrationRun.h"

#include "account/CreatorCapabilities.h"
#include "tool/Errors.h"

namespace accountsettings {

namespace {

constexpr std::string_view kBundle = "Ferrant.migrator";
constexpr std::string_view kMigrator = "AccountsDataMigrator";

class NoLock : public ExclusiveFileLock {
 public:
  Status acquire() override { return {}; }
  void release() override {}
};

class NoLocks : public Locks {
 public:
  Result<std::unique_ptr<ExclusiveFileLock>> create(std::string_view) override {
    return std::unique_ptr<ExclusiveFileLock>(std::make_unique<NoLock>());
  }
};

// Without a process there is no daemon to be stopped.
class NoProcesses : public Processes {
 public:
  int ownIdentifier() override { return 1; }
  Result<std::vector<Process>> list() override { return std::vector<Process>(); }
  Status kill(int) override { return {}; }
};

class KeptNotices : public Notifications {
 public:
  void postSystemNotification(std::string_view name) override { notices.emplace_back(name); }
  void postAppPreferencesChanged(std::string_view domain, std::string_view key) override {
    notices.push_back(std::string(domain) + " " + std::string(key));
  }
  void notifyCloudTabsToggled(bool) override { notices.emplace_back("cloud tabs"); }

  std::vector<std::string> notices;
};

}  // namespace

bool runMigration(ProcessContext& context, MigrationObserver& observer) {
  const ProcessContext::Override current(context);
  const Platform& platform = context.platform();
  const std::string bundle = appendPathComponent(platform.directories.plugInDirectory(), kBundle);
  if (const Status loaded = platform.modules.loadBundle(bundle, context.classes()); !loaded) {
    throw Prevented("", loaded.error().message,
                    "the migration plug-in is missing or damaged: reinstall it, or name its place "
                    "with \"PlugInDirectory\" in the host configuration");
  }
  auto* migratorClass = capabilityOf<MigratorClass>(classNamed(kMigrator));
  if (migratorClass == nullptr) {
    throw Prevented(bundle, "the plug-in has no class " + std::string(kMigrator),
                    "reinstall the plug-in");
  }
  const std::unique_ptr<MigratorBase> migrator = migratorClass->makeMigrator();
  migrator->setObserver(&observer);
  return migrator->performMigration();
}

std::optional<std::string> RecordingIdentifiers::makeUUID() {
  made_.push_back(source_.makeUUID());
  return made_.back();
}

std::optional<std::string> ReplayingIdentifiers::makeUUID() {
  return next_ < recorded_.size() ? recorded_[next_++] : source_.makeUUID();
}

struct Rehearsal::Silence {
  NoLocks locks;
  NoProcesses processes;
  KeptNotices notices;
};

Rehearsal::Rehearsal(const Platform& real, SystemLog& log)
    : files_(real.files), identifiers_(real.identifiers), silence_(std::make_unique<Silence>()) {
  const Platform platform{files_,
                          real.resources,
                          silence_->locks,
                          silence_->processes,
                          real.eventLoop,
                          real.webEngineLock,
                          silence_->notices,
                          real.preferences,
                          real.deviceAnswers,
                          real.deviceInfo,
                          real.restrictions,
                          real.externalSources,
                          real.cloudAccountModel,
                          real.modules,
                          real.clock,
                          identifiers_,
                          real.directories,
                          log,
                          real.configuration};
  ProcessContext context(platform);
  result_ = runMigration(context, observer_);
}

Rehearsal::~Rehearsal() = default;

const std::vector<std::string>& Rehearsal::notices() const noexcept {
  return silence_->notices.notices;
}

}  // namespace accountsettings
