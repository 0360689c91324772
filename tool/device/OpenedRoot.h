// OpenedRoot is the device root that a command works on: the Linux host over its root, and the
// process context in which the library's operations run for as long as it lives.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/LinuxHost.h"
#include "host/LogSinks.h"
#include "platform/ProcessContext.h"
#include "platform/Processes.h"
#include "platform/SystemLog.h"
#include "tool/frame/Errors.h"
#include "tool/frame/Options.h"

namespace accountsettings {

// Where the log goes when --log does not say it: the system's log is that of this machine's own
// root alone.
enum class DefaultLog { Nowhere, System };

class OpenedRoot {
 public:
  // Throws Prevented where the root, its configuration or the log cannot be opened.
  OpenedRoot(const CommonOptions& options, DefaultLog defaultLog);

  // The nearest directory of this machine above `path` that holds a home directory, as a path from
  // here where it is beneath here; empty where there is none.
  [[nodiscard]] std::string deviceAbove(const std::string& path);
  // Throws Prevented where the root holds no home directory, so that it is no device, and names the
  // directory above it that was probably meant.
  void requireDevice();

  [[nodiscard]] LinuxHost& host() noexcept { return *host_; }
  [[nodiscard]] LinuxFiles& files() noexcept { return host_->files(); }
  [[nodiscard]] ProcessContext& context() noexcept { return context_; }
  // Where the system's own lines go, and where those of the command.
  [[nodiscard]] SystemLog& log() noexcept { return host_->platform().systemLog; }
  [[nodiscard]] SystemLog& commandLog() noexcept { return host_->hostLog(); }
  // What it was opened with.
  [[nodiscard]] const CommonOptions& options() const noexcept { return options_; }
  // Where a device path lies on this machine, for messages.
  [[nodiscard]] std::string shown(const std::string& devicePath) const {
    return host_->pathOnThisMachine(devicePath);
  }
  // The command line that runs the program with these words on this device.
  [[nodiscard]] std::string commandLine(const std::vector<std::string>& words) const {
    return commandLineFor(options_, words);
  }
  // The other process that holds the migration lock, or none. The command name is empty where the
  // process cannot be looked at; the identifier is 0 or below for one outside this one's view.
  // Waits for nobody.
  [[nodiscard]] std::optional<Process> lockHolder();
  // To be told while this process holds the migration lock: then nobody else is looked for.
  void setHoldsLock(bool holds) noexcept { holdsLock_ = holds; }
  // To be thrown where the migration lock could not be taken.
  [[nodiscard]] Prevented lockFailure(const std::string& why) const;

 private:
  bool holdsLock_ = false;
  CommonOptions options_;
  std::unique_ptr<LogSink> log_;
  std::unique_ptr<LinuxHost> host_;
  ProcessContext context_;
  ProcessContext::Override current_;
};

// A root that is a device.
struct OpenedDevice : OpenedRoot {
  // Throws Prevented as requireDevice() does too.
  explicit OpenedDevice(const CommonOptions& options, DefaultLog defaultLog = DefaultLog::Nowhere)
      : OpenedRoot(options, defaultLog) {
    requireDevice();
  }
};

// "process 42 (migrator)", for messages.
[[nodiscard]] std::string inWords(const Process& process);

}  // namespace accountsettings
