#include "host/LogSinks.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "host/SystemError.h"

namespace accountsettings {

namespace {

std::string hexEscape(unsigned value) {
  return {'\\', 'x', "0123456789abcdef"[value >> 4 & 15U], "0123456789abcdef"[value & 15U]};
}

// Texts of account files must not drive the terminal that shows the log: the control characters of
// ASCII, and those of Unicode (U+0080 to U+009F, in UTF-8 C2 80 to C2 9F), are shown as text.
bool isControl(unsigned char byte) {
  return (byte < 0x20 && byte != '\t') || byte == 0x7F;
}
bool isWideControl(std::string_view text) {
  return text.size() >= 2 && text[0] == '\xC2' && static_cast<unsigned char>(text[1]) < 0xA0;
}

}  // namespace

std::string singleLine(std::string_view message) {
  std::string line;
  line.reserve(message.size());
  for (std::size_t index = 0; index < message.size(); ++index) {
    const auto byte = static_cast<unsigned char>(message[index]);
    if (byte == '\n') {
      line += "\\n";
    } else if (byte == '\r') {
      line += "\\r";
    } else if (isControl(byte)) {
      line += hexEscape(byte);
    } else if (isWideControl(message.substr(index))) {
      line += hexEscape(static_cast<unsigned char>(message[++index]));
    } else {
      line += message[index];
    }
  }
  return line;
}

SyslogSink::SyslogSink(std::string programName) : programName_(std::move(programName)) {
  ::openlog(programName_.c_str(), LOG_PID, LOG_USER);
}

SyslogSink::~SyslogSink() {
  ::closelog();  // it also forgets the name, which ends here
}

void SyslogSink::write(std::string_view message) {
  ::syslog(LOG_NOTICE, "%s", singleLine(message).c_str());
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
  const std::string line = singleLine(message) + '\n';
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
