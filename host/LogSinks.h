/// \file
/// LogSinks are the places where the system log may go: syslog, an open stream such as
/// standard error, a file, or nowhere. Each message becomes one line: line breaks and
/// other control characters inside it are written as escapes (`\n`, `\r`, `\x1b`).
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/SystemLog.h"
#include "plist/Result.h"

namespace accountsettings {

/// SyslogSink writes to the machine's system log.
class SyslogSink : public SystemLog {
 public:
  /// `programName` stands before each line.
  explicit SyslogSink(std::string programName);
  ~SyslogSink() override;
  SyslogSink(const SyslogSink&) = delete;
  SyslogSink& operator=(const SyslogSink&) = delete;

  void write(std::string_view message) override;

 private:
  std::string programName_;
};

/// LineSink appends lines to a descriptor, each with one write, so that the lines of several
/// processes do not mix.
class LineSink : public SystemLog {
 public:
  /// Writes to a descriptor that stays the caller's, for example 2.
  explicit LineSink(int descriptor) noexcept;
  /// Appends to the file of this machine at `path`, which is created with mode 0600 where missing.
  [[nodiscard]] static Result<std::unique_ptr<LineSink>> open(const std::string& path);
  ~LineSink() override;
  LineSink(const LineSink&) = delete;
  LineSink& operator=(const LineSink&) = delete;

  void write(std::string_view message) override;
  /// The first write that failed, if one did; later lines are tried all the same.
  [[nodiscard]] const std::optional<Error>& failure() const noexcept { return failure_; }

 private:
  int descriptor_;
  bool owned_ = false;
  std::string name_ = "log";
  std::optional<Error> failure_;
};

/// DiscardingSink drops every message.
class DiscardingSink : public SystemLog {
 public:
  void write(std::string_view) override {}
};

/// The sink that a log option names: "-" is standard error, "syslog" the system log, anything else
/// a file.
[[nodiscard]] Result<std::unique_ptr<SystemLog>> openLogSink(const std::string& target,
                                                             const std::string& programName);

}  // namespace accountsettings
