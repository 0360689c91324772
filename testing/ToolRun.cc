// Runs the command as a process of its own, and keeps what it wrote.
#include "testing/ToolRun.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "plist/BinaryWriter.h"
#include "plist/Reader.h"
#include "store/AccountsManager.h"
#include "tool/frame/Json.h"

namespace accountsettings::testing {
namespace {

namespace fs = std::filesystem;

struct Pipe {
  int read = -1;
  int write = -1;
  explicit Pipe(bool terminal = false) {
    if (terminal) {
      read = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
      if (read < 0 || ::grantpt(read) != 0 || ::unlockpt(read) != 0) {
        throw std::runtime_error("posix_openpt");
      }
      write = ::open(::ptsname(read), O_RDWR | O_NOCTTY | O_CLOEXEC);
      return;
    }
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe2");
    read = ends[0];
    write = ends[1];
  }
  ~Pipe() {
    closeRead();
    closeWrite();
  }
  void closeRead() { close(read); }
  void closeWrite() { close(write); }

 private:
  static void close(int& end) {
    if (end >= 0) ::close(end);
    end = -1;
  }
};

std::string readAll(int descriptor) {
  std::string text;
  char buffer[4096];
  for (ssize_t got = 0; (got = ::read(descriptor, buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<std::size_t>(got));
  }
  return text;
}

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

ToolRun& ToolRun::asUser(unsigned user) {
  user_ = user;
  return *this;
}

ToolRun& ToolRun::withFileSizeLimit(std::uint64_t bytes) {
  fileSizeLimit_ = bytes;
  return *this;
}

ToolRun& ToolRun::withMemoryLimit(std::uint64_t bytes) {
  memoryLimit_ = bytes;
  return *this;
}

ToolRun& ToolRun::withClosedOutput() {
  closedOutput_ = true;
  return *this;
}

ToolRun& ToolRun::withoutStream(int stream) {
  missingStreams_.push_back(stream);
  return *this;
}

ToolRun& ToolRun::killedAfter(std::chrono::microseconds delay, int signal) {
  killDelay_ = delay;
  killSignal_ = signal;
  return *this;
}

ToolRun& ToolRun::withTimeLimit(unsigned seconds) {
  timeLimit_ = seconds;
  return *this;
}

ToolRun& ToolRun::withErrorsOnTerminal() {
  errorsOnTerminal_ = true;
  return *this;
}

ToolRun& ToolRun::onTerminal(unsigned short columns) {
  onTerminal_ = true;
  columns_ = columns;
  return *this;
}

ToolRun& ToolRun::withInput(std::string text) {
  input_ = std::move(text);
  return *this;
}

ToolRun& ToolRun::withVariable(const std::string& name, const std::string& value) {
  variables_[name] = value;
  return *this;
}

void ToolRun::becomeTool(int in, int out, int err) const {
  ::dup2(in, 0);
  ::dup2(out, 1);
  ::dup2(err, 2);
  for (const int stream : missingStreams_) ::close(stream);
  ::setenv("PAGER", "cat", 1);
  for (const auto& [name, value] : variables_) ::setenv(name.c_str(), value.c_str(), 1);
  if (fileSizeLimit_) {
    ::signal(SIGXFSZ, SIG_IGN);
    const struct rlimit limit = {*fileSizeLimit_, *fileSizeLimit_};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  if (memoryLimit_) {
    const struct rlimit limit = {*memoryLimit_, *memoryLimit_};
    ::setrlimit(RLIMIT_AS, &limit);
  }
  if (user_ && (::setgroups(0, nullptr) != 0 || ::setgid(*user_) != 0 || ::setuid(*user_) != 0)) {
    ::_exit(126);
  }
  ::alarm(timeLimit_);
  std::vector<char*> arguments = {const_cast<char*>("accountsettings")};
  for (const std::string& each : arguments_) arguments.push_back(const_cast<char*>(each.c_str()));
  arguments.push_back(nullptr);
  ::execv(AS_TOOL_BINARY, arguments.data());
  ::_exit(127);
}

ToolResult ToolRun::run() {
  Pipe in;
  Pipe out(onTerminal_);
  Pipe err(errorsOnTerminal_);
  if (columns_ > 0) {
    const winsize size{24, columns_, 0, 0};
    if (::ioctl(out.write, TIOCSWINSZ, &size) != 0) throw std::runtime_error("TIOCSWINSZ");
  }
  // Before the tool can write.
  if (closedOutput_) out.closeRead();
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("fork");
  if (child == 0) becomeTool(in.read, out.write, err.write);
  in.closeRead();
  out.closeWrite();
  err.closeWrite();
  ToolResult result;
  std::thread errors([&] { result.err = readAll(err.read); });
  std::thread output([&] { result.out = out.read >= 0 ? readAll(out.read) : ""; });
  if (!input_.empty() && ::write(in.write, input_.data(), input_.size()) < 0) result.err += "?";
  in.closeWrite();
  if (killDelay_) {
    std::this_thread::sleep_for(*killDelay_);
    ::kill(child, killSignal_);
  }
  errors.join();
  output.join();
  int status = 0;
  ::waitpid(child, &status, 0);
  if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  return result;
}

ToolResult runTool(std::vector<std::string> arguments) {
  return ToolRun(std::move(arguments)).run();
}

ToolRoot::ToolRoot() {
  ::chmod(path().c_str(), 0755);
  for (const char* each : {"/etc", "/tmp", "/var/mobile/Library/Preferences",
                           "/var/mobile/Library/Mail", "/var/shared/Library/Logs/CrashReporter"}) {
    fs::create_directories(at(each));
  }
  const std::string user = std::to_string(::geteuid());
  const std::string group = std::to_string(::getegid());
  putText("/etc/passwd", "mobile:x:" + user + ":" + group + "::/var/mobile:/bin/sh\n");
  putText("/etc/group", "mobile:x:" + group + ":\n");
}

void ToolRoot::put(const std::string& devicePath, const PropertyList& value) {
  const auto bytes = writeBinary(value);
  if (!bytes) throw std::runtime_error(bytes.error().message);
  putText(devicePath, std::string(bytes->begin(), bytes->end()));
  ::chmod(at(devicePath).c_str(), 0600);
}

void ToolRoot::putText(const std::string& devicePath, const std::string& text) {
  fs::create_directories(fs::path(at(devicePath)).parent_path());
  std::ofstream(at(devicePath), std::ios::binary | std::ios::trunc) << text;
}

void ToolRoot::putSettings(std::int64_t version, const Array& accounts) {
  put(kSettings, Dictionary{{kPlistAccountsKey, accounts}, {kPlistVersionKey, version}});
}

std::optional<PropertyList> ToolRoot::get(const std::string& devicePath) const {
  const std::string content = contentOf(at(devicePath));
  const auto value = readPropertyList(
      std::span(reinterpret_cast<const std::uint8_t*>(content.data()), content.size()));
  return value ? std::optional(*value) : std::nullopt;
}

Dictionary ToolRoot::settings() const {
  const auto value = get(kSettings);
  return value && value->dictionary() ? *value->dictionary() : Dictionary();
}

Dictionary ToolRoot::account(std::size_t place) const {
  const Dictionary settings = this->settings();
  const Array& accounts = settings.arrayOrEmpty(kPlistAccountsKey);
  const Dictionary* account = place < accounts.size() ? accounts[place].dictionary() : nullptr;
  return account ? *account : Dictionary();
}

std::map<std::string, std::string> ToolRoot::snapshot() const {
  std::map<std::string, std::string> all;
  for (const auto& each : fs::recursive_directory_iterator(directory_.path())) {
    struct stat status {};
    ::lstat(each.path().c_str(), &status);
    std::string facts = std::to_string(status.st_mode) + " " + std::to_string(status.st_uid) + " " +
                        std::to_string(status.st_size);
    // Where the lock's file comes and goes the time tells nothing.
    if (each.path().string().substr(path().size()) != "/tmp") {
      facts += " " + std::to_string(status.st_mtim.tv_sec) + "." +
               std::to_string(status.st_mtim.tv_nsec);
    }
    if (S_ISREG(status.st_mode)) facts += " " + contentOf(each.path());
    all[each.path().string().substr(path().size())] = facts;
  }
  return all;
}

Dictionary mailAccount(const std::string& identifier) {
  return {{"Identifier", identifier},
          {"Type", "Mail"},
          {"Class", "IMAPAccount"},
          {"DisplayName", "Mail of " + identifier},
          {"Username", "user-" + identifier},
          {"Enabled Dataclasses", Array{"com.zelqo.Dataclass.Mail"}}};
}

Dictionary documentIn(const std::string& json) {
  const auto value = fromJson(json);
  if (!value) throw std::runtime_error(value.error().message + " in: " + json);
  return value->dictionary() ? *value->dictionary() : Dictionary();
}

std::string schemaErrors(const std::string& schema, const std::string& json) {
  const TemporaryDirectory directory;
  const fs::path document = directory.path() / "document.json";
  const fs::path errors = directory.path() / "errors";
  std::ofstream(document, std::ios::binary) << json;
  const std::string command = std::string("python3 -m jsonschema -i '") + document.string() +
                              "' '" AS_SCHEMA_DIR "/" + schema + "' > '" + errors.string() +
                              "' 2>&1";
  const int status = std::system(command.c_str());
  if (status == 0) return "";
  const std::string said = contentOf(errors);
  const bool missing = (WIFEXITED(status) && WEXITSTATUS(status) == 127) ||
                       said.find("No module named") != std::string::npos;
  if (missing) {
    [] { GTEST_SKIP() << "python3-jsonschema is not installed: no schema was checked"; }();
    return "";
  }
  return "status " + std::to_string(status) + ": " + said;
}

}  // namespace accountsettings::testing
