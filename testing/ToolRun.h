// ToolRun runs the program `accountsettings` as a process of its own, as a person or a
// script would; ToolRoot is a device root on this machine for it to work on.
#pragma once

#include <chrono>
#include <csignal>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "plist/PropertyList.h"
#include "testing/TemporaryDirectory.h"

namespace accountsettings::testing {

struct ToolResult {
  int status = -1;  // the exit status; -1 where a signal ended it
  int signal = 0;
  std::string out;
  std::string err;
};

class ToolRun {
 public:
  explicit ToolRun(std::vector<std::string> arguments) : arguments_(std::move(arguments)) {}

  // The user and group that the program runs as; needs root.
  ToolRun& asUser(unsigned user);
  // No file grows beyond this size: a disk that is full.
  ToolRun& withFileSizeLimit(std::uint64_t bytes);
  // The program can have this much address space. Not under a sanitizer, which takes terabytes.
  ToolRun& withMemoryLimit(std::uint64_t bytes);
  // Nobody reads standard output any more.
  ToolRun& withClosedOutput();
  // The program begins without standard input (0), output (1) or errors (2).
  ToolRun& withoutStream(int stream);
  // The program is killed after this time, or gets another signal, if it has not ended by then.
  ToolRun& killedAfter(std::chrono::microseconds delay, int signal = SIGKILL);
  // A signal ends the program where it takes longer, as one that waits for ever does.
  ToolRun& withTimeLimit(unsigned seconds);
  // Standard output is a terminal, which is so wide or does not tell.
  ToolRun& onTerminal(unsigned short columns = 0);
  // Standard error is a terminal.
  ToolRun& withErrorsOnTerminal();
  ToolRun& withInput(std::string text);
  ToolRun& withVariable(const std::string& name, const std::string& value);

  [[nodiscard]] ToolResult run();

 private:
  [[noreturn]] void becomeTool(int in, int out, int err) const;

  std::vector<std::string> arguments_;
  std::map<std::string, std::string> variables_;
  std::optional<unsigned> user_;
  std::optional<std::uint64_t> fileSizeLimit_;
  std::optional<std::uint64_t> memoryLimit_;
  std::optional<std::chrono::microseconds> killDelay_;
  int killSignal_ = 0;
  unsigned timeLimit_ = 0;  // none
  bool closedOutput_ = false;
  std::vector<int> missingStreams_;
  bool onTerminal_ = false;
  unsigned short columns_ = 0;
  bool errorsOnTerminal_ = false;
  std::string input_;
};

// Runs the program with these arguments.
[[nodiscard]] ToolResult runTool(std::vector<std::string> arguments);

class ToolRoot {
 public:
  // A device root with the usual directories, whose files belong to "mobile", this very user.
  ToolRoot();

  // Where the root lies.
  [[nodiscard]] std::string path() const { return directory_.path(); }
  // A device path on this machine.
  [[nodiscard]] std::string at(const std::string& devicePath) const { return path() + devicePath; }
  [[nodiscard]] std::string settingsPath() const { return at(kSettings); }

  // Writes a file, in the binary form and mode 0600 where it is a property list.
  void put(const std::string& devicePath, const PropertyList& value);
  void putText(const std::string& devicePath, const std::string& text);
  // Settings of that version with these accounts.
  void putSettings(std::int64_t version, const Array& accounts);
  // The property list in a file; none where there is none.
  [[nodiscard]] std::optional<PropertyList> get(const std::string& devicePath) const;
  [[nodiscard]] Dictionary settings() const;
  // The account at that place of the settings.
  [[nodiscard]] Dictionary account(std::size_t place) const;

  // Everything in the root: path to kind, mode, owner, size, time of change and content. Equal
  // snapshots mean that nothing was touched.
  [[nodiscard]] std::map<std::string, std::string> snapshot() const;

  static constexpr const char* kSettings =
      "/var/mobile/Library/Preferences/com.zelqo.accountsettings.plist";
  static constexpr const char* kLegacyMail = "/var/mobile/Library/Mail/Accounts.plist";
  static constexpr const char* kLegacyExchange =
      "/var/mobile/Library/Preferences/com.zelqo.DataAccess.plist";
  static constexpr const char* kSentinel = "/var/mobile/Library/Preferences/.removingOldAccounts";
  static constexpr const char* kLock = "/tmp/AccountMigrationInProgress";

 private:
  TemporaryDirectory directory_;
};

// A mail account that is loaded without complaint.
[[nodiscard]] Dictionary mailAccount(const std::string& identifier);
// The value in a JSON document, as the program's own reader sees it.
[[nodiscard]] Dictionary documentIn(const std::string& json);
// What a JSON schema of the program says against the document; empty where it is valid. Where
// nothing can check it, the test counts as skipped, whatever else it finds sound.
[[nodiscard]] std::string schemaErrors(const std::string& schema, const std::string& json);

}  // namespace accountsettings::testing
