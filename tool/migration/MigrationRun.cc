#include "tool/migration/MigrationRun.h"

#include "account/CreatorCapabilities.h"
#include "platform/PlatformWith.h"
#include "tool/frame/Errors.h"

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

class RecordingIdentifiers : public Identifiers {
 public:
  RecordingIdentifiers(Identifiers& source, RehearsedChance& chance)
      : source_(source), chance_(chance) {}
  std::optional<std::string> makeUUID() override {
    chance_.identifiers.push_back(source_.makeUUID());
    return chance_.identifiers.back();
  }

 private:
  Identifiers& source_;
  RehearsedChance& chance_;
};

class RecordingClock : public Clock {
 public:
  RecordingClock(Clock& source, RehearsedChance& chance) : source_(source), chance_(chance) {}
  std::chrono::duration<double> monotonic() override { return source_.monotonic(); }
  CalendarTime localTime() override {
    chance_.times.push_back(source_.localTime());
    return chance_.times.back();
  }

 private:
  Clock& source_;
  RehearsedChance& chance_;
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

struct Rehearsal::Silence {
  Silence(const Platform& real, RehearsedChance& chance)
      : identifiers(real.identifiers, chance), clock(real.clock, chance) {}

  RecordingIdentifiers identifiers;
  RecordingClock clock;
  NoLocks locks;
  NoProcesses processes;
  KeptNotices notices;
};

Rehearsal::Rehearsal(const Platform& real, SystemLog& log, ChangeObserver::Progress progress)
    : files_(real.files),
      silence_(std::make_unique<Silence>(real, chance_)),
      observer_(std::move(progress)) {
  const Platform platform = platformWith(real, {.files = &files_,
                                                .locks = &silence_->locks,
                                                .processes = &silence_->processes,
                                                .notifications = &silence_->notices,
                                                .clock = &silence_->clock,
                                                .identifiers = &silence_->identifiers,
                                                .systemLog = &log,
                                                .writerLocks = &noWriterLocks()});
  ProcessContext context(platform);
  result_ = runMigration(context, observer_);
}

Rehearsal::~Rehearsal() = default;

const std::vector<std::string>& Rehearsal::notices() const noexcept {
  return silence_->notices.notices;
}

}  // namespace accountsettings
