// How the host and the log of a device root are opened, and why they cannot be.
#include "tool/device/OpenedRoot.h"

#include <filesystem>

#include "host/LinuxFiles.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

namespace fs = std::filesystem;

constexpr const char* kProgram = "accountsettings";

// Each line names the root; without links, however the root was given.
std::string rootForLog(const std::string& root) {
  std::error_code none;
  const fs::path path = fs::canonical(root, none);
  return path.empty() ? root : path.string();
}

// nullptr where --log is not given.
std::unique_ptr<LogSink> openLog(const CommonOptions& options) {
  if (!options.log) return nullptr;
  Result<std::unique_ptr<LogSink>> sink =
      openLogSink(*options.log, kProgram, rootForLog(options.root));
  if (!sink) throw Prevented("", sink.error(), "give --log a file that can be written");
  return std::move(sink).value();
}

std::unique_ptr<LinuxHost> openHost(const CommonOptions& options, LogSink* log,
                                    DefaultLog defaultLog) {
  static DiscardingSink nowhere;
  HostOptions host;
  host.root = options.root;
  host.configFile = options.config;
  host.programName = kProgram;
  if (log != nullptr) {
    host.systemLog = log;
    host.hostLog = &log->ofHost();
  } else if (defaultLog == DefaultLog::Nowhere) {
    host.systemLog = &nowhere;
  }
  Result<std::unique_ptr<LinuxHost>> opened = LinuxHost::create(std::move(host));
  if (!opened) {
    const std::string_view advice = adviceFor(opened.error().code);
    throw Prevented("", opened.error(),
                    advice.empty() ? "correct that file, or give another with --config" : advice);
  }
  return std::move(opened).value();
}

}  // namespace

OpenedRoot::OpenedRoot(const CommonOptions& options, DefaultLog defaultLog)
    : options_(options),
      log_(openLog(options)),
      host_(openHost(options, log_.get(), defaultLog)),
      context_(host_->platform()),
      current_(context_) {}

std::string OpenedRoot::deviceAbove(const std::string& path) {
  const std::string home = context_.platform().directories.homeDirectory();
  std::error_code code;
  for (fs::path above = fs::weakly_canonical(path, code); above.has_relative_path();) {
    above = above.parent_path();
    if (!fs::is_directory(above.string() + home, code)) continue;
    const fs::path fromHere = above.lexically_relative(fs::current_path(code));
    return fromHere.empty() || *fromHere.begin() == ".." ? above : fromHere;
  }
  return "";
}

void OpenedRoot::requireDevice() {
  const std::string home = context_.platform().directories.homeDirectory();
  if (!context_.platform().files.exists(home).isAbsent()) return;
  const std::string above = deviceAbove(options_.root);
  throw Prevented(options_.root, "this is no device root: it has no " + home,
                  above.empty() ? "give the directory that stands for the device's /"
                                : "did you mean " + above + "?",
                  FailureCode::NoDevice);
}

std::optional<Process> OpenedRoot::lockHolder() {
  if (holdsLock_) return std::nullopt;
  const Result<std::optional<Process>> holder =
      host_->lockHolder(std::string(kAccountMigrationLockFilename));
  if (!holder || !*holder) return std::nullopt;
  if ((*holder)->identifier == context_.platform().processes.ownIdentifier()) return std::nullopt;
  return *holder;
}

Prevented OpenedRoot::lockFailure(const std::string& why) const {
  return {
      shown(std::string(kAccountMigrationLockFilename)),
      "the migration lock cannot be taken: " + why,
      "create the directory, remove what lies in the lock file's place, or act as a user who may "
      "write there",
      FailureCode::Locked};
}

std::string inWords(const Process& process) {
  std::string text = "a process of another container";
  if (process.identifier > 0) text = "process " + std::to_string(process.identifier);
  if (!process.commandName.empty()) text += " (" + process.commandName + ")";
  return text;
}

}  // namespace accountsettings
