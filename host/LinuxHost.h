/// \file
/// LinuxHost implements the platform's interfaces on Linux, for one device root. A program makes
/// one at its start, makes a ProcessContext from its platform(), and uses the library.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/FileChange.h"
#include "platform/Platform.h"
#include "plist/Result.h"

namespace accountsettings {

class AccountNames;
struct HostConfiguration;
class LinuxFiles;
class PollEventLoop;

/// What a program says of itself and of the root. The defaults serve this machine's own "/".
struct HostOptions {
  /// The directory on this machine beneath which every device path lies. On any other root than
  /// "/" the host touches no process of this machine and loads no code from the root.
  std::string root = "/";
  /// A configuration file of this machine, instead of etc/accountsettings/host.plist beneath the
  /// root.
  std::optional<std::string> configFile = {};
  /// The name under which this program logs and keeps its own defaults.
  std::string programName = "accountsettings";
  /// Where the system log goes. Must outlive the host. Where it is nullptr, the log of this
  /// machine's own root goes to syslog, and that of any other root nowhere.
  SystemLog* systemLog = nullptr;
  /// Takes the place of the notifications on the system bus where set. Must outlive the host.
  Notifications* notifications = nullptr;
  /// Processes that it answers false for are neither listed nor signalled.
  std::function<bool(int)> processFilter = {};
  /// Asked while the host waits for a lock or in the event loop: true ends the wait, a lock's with
  /// a failure of the code EINTR. Without it an interrupted wait goes on.
  std::function<bool()> interrupted = {};
  /// File names of modules whose classes are part of the program: loading one loads nothing.
  std::vector<std::string> builtInModules = {"DeviceLocalAccount"};
  /// False resolves every path by the walk that serves kernels without openat2.
  bool useOpenat2 = true;
  /// How long a save waits for another program that holds the settings, before it fails.
  std::chrono::milliseconds writerLockLimit{10'000};
  /// Where the host's own messages go; nullptr: to the system log. Must outlive the host.
  SystemLog* hostLog = nullptr;
};

/// Use one host from one thread at a time; several hosts may exist at once.
class LinuxHost {
 public:
  /// Opens the root and reads the configuration; fails where either cannot be done, with a message
  /// that names the file, the key and what was expected. `size` is how the library knows which
  /// options the caller's HostOptions has; it fails where they are others than its own.
  [[nodiscard]] static Result<std::unique_ptr<LinuxHost>> create(
      const HostOptions& options, std::size_t size = sizeof(HostOptions));
  ~LinuxHost();
  LinuxHost(const LinuxHost&) = delete;
  LinuxHost& operator=(const LinuxHost&) = delete;

  /// The services, which live as long as the host. To replace some, see platformWith().
  [[nodiscard]] const Platform& platform() const noexcept;

  /// The event loop of platform(), to which a program adds sources of its own.
  [[nodiscard]] PollEventLoop& eventLoop() noexcept;
  /// The log of the host's own messages, for those of the program too.
  [[nodiscard]] SystemLog& hostLog() noexcept;
  /// True where the root is this machine's own "/".
  [[nodiscard]] bool rootIsThisMachine() const noexcept;
  /// Where a device path lies on this machine, for messages.
  [[nodiscard]] std::string pathOnThisMachine(const std::string& devicePath) const;

  /// The preferences as those of platform(), read through other files, which must outlive them.
  [[nodiscard]] std::unique_ptr<Preferences> preferencesOver(Files& files) const;
  /// The configuration file, as it is named in messages, where it is not what was read at the
  /// start; none where it is.
  [[nodiscard]] std::optional<std::string> changedConfiguration() const;

  /// Why a save of the file at `devicePath` would fail, as far as can be told without making
  /// anything: an unknown owner, a directory that is missing, closed or on another file system, no
  /// right to give files away.
  [[nodiscard]] Status saveCanSucceed(const std::string& devicePath);
  /// The process that holds the lock on the file at `devicePath`, or none. Its identifier is 0 or
  /// less where it lives outside this process's view, and its name empty where it cannot be had.
  [[nodiscard]] Result<std::optional<Process>> lockHolder(const std::string& devicePath);

  // MARK: Internal - for the command of the same version, whose headers are not installed.

  /// What was read from the configuration file, completed by the defaults.
  [[nodiscard]] const HostConfiguration& configuration() const noexcept;
  /// That file as it was read; none where there is none.
  [[nodiscard]] const std::optional<Bytes>& configurationBytes() const noexcept;
  /// As saveCanSucceed(), where the numbers of the configured owner and group are known already.
  [[nodiscard]] Status saveCanSucceed(const std::string& devicePath,
                                      const Result<FileOwner>& numbers);
  /// The services with what they offer beyond their interfaces.
  ///@{
  [[nodiscard]] LinuxFiles& files() noexcept;
  [[nodiscard]] AccountNames& accountNames() noexcept;
  ///@}

 private:
  struct Services;
  explicit LinuxHost(std::unique_ptr<Services> services) noexcept;

  std::unique_ptr<Services> services_;
};

}  // namespace accountsettings
