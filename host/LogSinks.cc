// Log lines on their way to syslog, a stream or a file.
#include "host/LogSinks.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "host/SystemError.h"
#include "plist/Visible.h"

namespace accountsettings {

SyslogSink::SyslogSink(std::string programName) : programName_(std::move(programName)) {
  ::openlog(programName_.c_str(), LOG_PID, LOG_USER);
}

SyslogSink::~SyslogSink() {
  ::closelog();  // it also forgets the name, which ends here
}

void SyslogSink::write(std::string_view message) {
  ::syslog(LOG_NOTICE, "%s", visible(message).c_str());
}

LineSink::LineSink(int descriptor) noexcept : descriptor_(descriptor) {}

Result<std::unique_ptr<LineSink>> LineSink::open(const std::string& path) {
  const int descriptor =
      ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0600);
  if (descriptor < 0) return systemError(path);
  auto sink = std::make_unique<LineSink>(descriptor);
  sink->owned_ = true;
  sink->name_ = path;
  return sink;
}

LineSink::~LineSink() {
  if (owned_) ::close(descriptor_);
}

void LineSink::write(std::string_view message) {
  const std::string line = visible(message) + '\n';
  std::string_view rest = line;
  while (!rest.empty()) {
    const ssize_t count = ::write(descriptor_, rest.data(), rest.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      if (!failure_) failure_ = systemError(name_);
      return;
    }
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
}

Result<std::unique_ptr<SystemLog>> openLogSink(const std::string& target,
                                               const std::string& programName) {
  if (target == "-") return std::unique_ptr<SystemLog>(std::make_unique<LineSink>(STDERR_FILENO));
  if (target == "syslog") {
    return std::unique_ptr<SystemLog>(std::make_unique<SyslogSink>(programName));
  }
  Result<std::unique_ptr<LineSink>> file = LineSink::open(target);
  if (!file) return file.error();
  return std::unique_ptr<SystemLog>(std::move(*file));
}

}  // namespace accountsettings
