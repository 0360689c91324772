// How the parts of the host are made and put together.
#include "host/LinuxHost.h"

#include <cerrno>
#include <utility>

#include "host/AccountNames.h"
#include "host/BundleResources.h"
#include "host/BusNotifications.h"
#include "host/ConfiguredServices.h"
#include "host/DomainPreferences.h"
#include "host/DynamicModules.h"
#include "host/DynamicWebEngineLock.h"
#include "host/FileIO.h"
#include "host/FlockLocks.h"
#include "host/FlockWriterLocks.h"
#include "host/InotifyWatches.h"
#include "host/Language.h"
#include "host/LibraryLocation.h"
#include "host/LinuxFiles.h"
#include "host/LockTable.h"
#include "host/LogSinks.h"
#include "host/PollEventLoop.h"
#include "host/ProcessTable.h"
#include "host/RootDirectory.h"
#include "host/SaveCheck.h"
#include "host/SystemClock.h"
#include "platform/SameVersion.h"

namespace accountsettings {

namespace {

constexpr const char* kConfigurationFile = "/etc/accountsettings/host.plist";
constexpr const char* kPrivateSubdirectory = "accountsettings";
constexpr const char* kBundleResources = "Ferrant.migrator/Resources";
constexpr std::uint64_t kLargestConfiguration = std::uint64_t{16} << 20;

// The configuration file: one of this machine that was given, else the root's own, which may be
// missing.
struct ConfigurationFile {
  const RootDirectory& root;
  std::optional<std::string> given;

  [[nodiscard]] std::string shown() const {
    return given ? *given : root.shown(kConfigurationFile);
  }
  [[nodiscard]] Opener opener() const {
    if (given) return openerOf(*given);
    return [this](int flags) { return root.open(kConfigurationFile, flags); };
  }
  [[nodiscard]] Result<std::optional<Bytes>> read() const {
    Result<Bytes> bytes = readRegular(opener(), kLargestConfiguration, shown());
    if (bytes) return std::optional(std::move(bytes).value());
    if (!given && isAbsence(bytes.error())) return std::optional<Bytes>();
    return bytes.error();
  }
  // Whether read(), which answered this, would answer it again.
  [[nodiscard]] bool stillAnswers(const std::optional<Bytes>& answer) const {
    if (!answer) {
      const Result<std::optional<Bytes>> now = read();
      return now && !*now;
    }
    const Result<Bytes> now = readSeenRegular(opener(), kLargestConfiguration, shown());
    return now && *now == *answer;
  }
  [[nodiscard]] Result<HostConfiguration> parse(const std::optional<Bytes>& bytes) const {
    if (!bytes) return HostConfiguration();
    const bool mayNameCode = root.isThisMachine() || (given && !root.contains(*given));
    return HostConfiguration::parse(*bytes, shown(), mayNameCode);
  }
};

std::string besideTheLibrary() {
  return appendPathComponent(libraryDirectory(), kPrivateSubdirectory);
}

std::string plugInDirectoryOf(const HostConfiguration& configuration) {
  return configuration.plugInDirectory ? *configuration.plugInDirectory : besideTheLibrary();
}

std::string moduleDirectoryOf(const HostConfiguration& configuration) {
  return configuration.moduleDirectory ? *configuration.moduleDirectory
                                       : appendPathComponent(besideTheLibrary(), "modules");
}

std::unique_ptr<AccountNames> accountNamesOf(const RootDirectory& root) {
  if (root.isThisMachine()) return std::make_unique<SystemAccountNames>();
  return std::make_unique<RootAccountNames>(root);
}

// The service to use: the one given, else one of the host's own, which `owned` keeps.
template <class Service, class Make>
Service& givenOr(Service* given, std::unique_ptr<Service>& owned, Make make) {
  if (given != nullptr) return *given;
  owned = make();
  return *owned;
}

}  // namespace

// The members are made in this order, each from those above it.
struct LinuxHost::Services {
  Services(const HostOptions& options, RootDirectory&& opened, HostConfiguration&& read,
           std::optional<Bytes>&& readFrom)
      : root(std::move(opened)),
        configurationFile{root, options.configFile},
        configurationBytes(std::move(readFrom)),
        configuration(std::move(read)),
        programName(options.programName),
        ownedLog(options.systemLog == nullptr && root.isThisMachine()
                     ? std::make_unique<SyslogSink>(programName)
                     : nullptr),
        systemLog(options.systemLog != nullptr ? *options.systemLog
                  : ownedLog                   ? static_cast<SystemLog&>(*ownedLog)
                                               : noLog),
        hostLog(options.hostLog != nullptr ? *options.hostLog
                : ownedLog                 ? ownedLog->ofHost()
                                           : systemLog),
        names(accountNamesOf(root)),
        files(root, *names, hostLog, configuration.temporaryDirectory),
        resources(appendPathComponent(plugInDirectoryOf(configuration), kBundleResources),
                  languagesFor(configuration.language.value_or(localeOfMessages())),
                  plugInDirectoryOf(configuration), hostLog),
        locks(root, options.interrupted),
        writerLocks(root, options.writerLockLimit, options.interrupted),
        fileWatches(root),
        processes(root.isThisMachine(), options.processFilter),
        eventLoop(options.interrupted),
        webEngineLock(configuration.webEngineLibrary),
        notifications(givenOr(
            options.notifications, ownedNotifications,
            [&] { return std::make_unique<BusNotifications>(root.isThisMachine(), hostLog); })),
        preferences(files, configuration.homeDirectory, defaultsDomain()),
        device(configuration),
        modules(root.isThisMachine(), moduleDirectoryOf(configuration), options.builtInModules),
        directories(configuration, plugInDirectoryOf(configuration)),
        values(configuration) {}

  [[nodiscard]] std::string defaultsDomain() const {
    return configuration.defaultsDomain.value_or(programName);
  }

  RootDirectory root;
  ConfigurationFile configurationFile;
  std::optional<Bytes> configurationBytes;
  HostConfiguration configuration;
  std::string programName;
  DiscardingSink noLog;
  std::unique_ptr<LogSink> ownedLog;  // where the program has given none, and there is one to write
  SystemLog& systemLog;
  SystemLog& hostLog;
  std::unique_ptr<AccountNames> names;
  LinuxFiles files;
  BundleResources resources;
  FlockLocks locks;
  FlockWriterLocks writerLocks;
  InotifyWatches fileWatches;
  ProcessTable processes;
  PollEventLoop eventLoop;
  DynamicWebEngineLock webEngineLock;
  std::unique_ptr<Notifications> ownedNotifications;
  Notifications& notifications;
  DomainPreferences preferences;
  ConfiguredDevice device;
  DynamicModules modules;
  SystemClock clock;
  KernelIdentifiers identifiers;
  ConfiguredDirectories directories;
  ConfiguredValues values;
  Platform platform{.files = files,
                    .resources = resources,
                    .locks = locks,
                    .processes = processes,
                    .eventLoop = eventLoop,
                    .webEngineLock = webEngineLock,
                    .notifications = notifications,
                    .preferences = preferences,
                    .deviceAnswers = device,
                    .deviceInfo = device,
                    .restrictions = device,
                    .externalSources = device,
                    .cloudAccountModel = device,
                    .modules = modules,
                    .clock = clock,
                    .identifiers = identifiers,
                    .directories = directories,
                    .systemLog = systemLog,
                    .configuration = values,
                    .writerLocks = writerLocks,
                    .fileWatches = fileWatches};
};

LinuxHost::LinuxHost(std::unique_ptr<Services> services) noexcept
    : services_(std::move(services)) {}

LinuxHost::~LinuxHost() = default;

Result<std::unique_ptr<LinuxHost>> LinuxHost::create(const HostOptions& options, std::size_t size) {
  if (size != sizeof(HostOptions)) {
    return Error{std::string(kBuiltForAnotherVersion) + ". " + kBuildItAnew + "."};
  }
  Result<RootDirectory> root = RootDirectory::open(options.root, options.useOpenat2);
  if (!root) return root.error();
  const ConfigurationFile file{*root, options.configFile};
  Result<std::optional<Bytes>> bytes = file.read();
  if (!bytes) return bytes.error();
  Result<HostConfiguration> configuration = file.parse(*bytes);
  if (!configuration) return configuration.error();
  auto services = std::make_unique<Services>(options, std::move(*root), std::move(*configuration),
                                             std::move(*bytes));
  for (const std::string& warning : services->configuration.warnings) {
    services->hostLog.write(warning);
  }
  return std::unique_ptr<LinuxHost>(new LinuxHost(std::move(services)));
}

const Platform& LinuxHost::platform() const noexcept {
  return services_->platform;
}

const HostConfiguration& LinuxHost::configuration() const noexcept {
  return services_->configuration;
}

const std::optional<Bytes>& LinuxHost::configurationBytes() const noexcept {
  return services_->configurationBytes;
}

LinuxFiles& LinuxHost::files() noexcept {
  return services_->files;
}

PollEventLoop& LinuxHost::eventLoop() noexcept {
  return services_->eventLoop;
}

AccountNames& LinuxHost::accountNames() noexcept {
  return *services_->names;
}

SystemLog& LinuxHost::hostLog() noexcept {
  return services_->hostLog;
}

bool LinuxHost::rootIsThisMachine() const noexcept {
  return services_->root.isThisMachine();
}

std::string LinuxHost::pathOnThisMachine(const std::string& devicePath) const {
  return services_->root.shown(devicePath);
}

std::unique_ptr<Preferences> LinuxHost::preferencesOver(Files& files) const {
  return std::make_unique<DomainPreferences>(files, services_->configuration.homeDirectory,
                                             services_->defaultsDomain());
}

std::optional<std::string> LinuxHost::changedConfiguration() const {
  if (services_->configurationFile.stillAnswers(services_->configurationBytes)) return std::nullopt;
  return services_->configurationFile.shown();
}

Status LinuxHost::saveCanSucceed(const std::string& devicePath) {
  const ConfigurationValues& values = services_->configuration.values;
  return saveCanSucceed(devicePath, numbersOf(*services_->names, values.owner, values.group));
}

Status LinuxHost::saveCanSucceed(const std::string& devicePath, const Result<FileOwner>& numbers) {
  const ConfigurationValues& values = services_->configuration.values;
  const SavePlan plan{devicePath, services_->configuration.temporaryDirectory, values.owner,
                      values.group};
  return accountsettings::saveCanSucceed(services_->root, numbers, plan);
}

Result<std::optional<Process>> LinuxHost::lockHolder(const std::string& devicePath) {
  const Result<FileAttributes> file = services_->files.attributes(devicePath);
  if (!file && file.error().code == ENOENT) return std::optional<Process>();
  if (!file) return file.error();
  return processHoldingFlock(*file);
}

}  // namespace accountsettings
