// Log lines on their way to syslog, a stream or a file.
#include "host/LogSinks.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "host/FileIO.h"
#include "host/SystemError.h"
#include "host/UtcTime.h"
#include "plist/Visible.h"

namespace accountsettings {

LogSink::LogSink(std::string_view root) : root_(visible(root)), host_(*this) {}

void LogSink::write(std::string_view message) {
  writeLate(message, std::chrono::system_clock::now());
}

void LogSink::writeLate(std::string_view message, Time arose) {
  writeAs("notice", message, arose);
}

void LogSink::HostLines::write(std::string_view message) {
  writeLate(message, std::chrono::system_clock::now());
}

void LogSink::HostLines::writeLate(std::string_view message, Time arose) {
  sink_.writeAs("host", message, arose);
}

void LogSink::writeAs(std::string_view level, std::string_view message, Time arose) {
  std::string line(level);
  line += " [" + root_ + "] " + visible(message);
  writeLine(arose, line);
}

SyslogSink::SyslogSink(std::string programName, std::string_view root)
    : LogSink(root), programName_(std::move(programName)) {
  ::openlog(programName_.c_str(), LOG_PID, LOG_USER);
}

SyslogSink::~SyslogSink() {
  ::closelog();  // it also forgets the name, which ends here
}

void SyslogSink::writeLine(Time, const std::string& line) {
  ::syslog(LOG_NOTICE, "%s", line.c_str());
}

LineSink::LineSink(int descriptor, std::string_view root)
    : LogSink(root), descriptor_(descriptor) {}

Result<std::unique_ptr<LineSink>> LineSink::open(const std::string& path, std::string_view root) {
  // A pipe that nobody reads from is no reason to wait.
  const int descriptor =
      ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600);
  const int code = errno;
  if (descriptor < 0 && code == ENXIO) {
    return Error{path + ": nobody reads from this pipe, device or socket", code};
  }
  if (descriptor < 0) return systemError(path, code);
  auto sink = std::make_unique<LineSink>(descriptor, root);
  sink->owned_ = true;
  sink->name_ = path;
  return sink;
}

LineSink::~LineSink() {
  if (owned_) ::close(descriptor_);
}

void LineSink::writeLine(Time arose, const std::string& line) {
  // Nor is each line of a log that nobody reads any more.
  if (failure_ && failure_->code == EAGAIN) return;
  const std::string all = inUtc(arose) + ' ' + line + '\n';
  std::string_view rest = all;
  while (!rest.empty()) {
    const ssize_t count = ::write(descriptor_, rest.data(), rest.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno == EAGAIN && isTakenSoon(descriptor_)) continue;
    if (count < 0) {
      if (!failure_) failure_ = systemError(name_);
      return;
    }
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
}

Result<std::unique_ptr<LogSink>> openLogSink(const std::string& target,
                                             const std::string& programName,
                                             std::string_view root) {
  if (target == "-") {
    return std::unique_ptr<LogSink>(std::make_unique<LineSink>(STDERR_FILENO, root));
  }
  if (target == "syslog") {
    return std::unique_ptr<LogSink>(std::make_unique<SyslogSink>(programName, root));
  }
  Result<std::unique_ptr<LineSink>> file = LineSink::open(target, root);
  if (!file) return file.error();
  return std::unique_ptr<LogSink>(std::move(*file));
}

}  // namespace accountsettings
