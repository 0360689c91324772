/// \file
/// LogSinks are the places where the system log may go: syslog, an open stream such as standard
/// error, a file, or nowhere. Each message becomes one line, `TIME LEVEL [ROOT] MESSAGE`: the time
/// in UTC at which it arose (syslog keeps its own), `notice` for the system's own lines and `host`
/// for those of the host and the program, and the device root that it is about. Line breaks and
/// other control characters are written as escapes (`\n`, `\r`, `\x1b`).
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/SystemLog.h"
#include "plist/Result.h"

namespace accountsettings {

/// LogSink is a place for the lines about one device root.
class LogSink : public SystemLog {
 public:
  explicit LogSink(std::string_view root);
  LogSink(const LogSink&) = delete;
  LogSink& operator=(const LogSink&) = delete;

  /// The system's own lines.
  ///@{
  void write(std::string_view message) final;
  void writeLate(std::string_view message, std::chrono::system_clock::time_point arose) final;
  ///@}
  /// Takes the lines of the host and the program to the same place; lives as long as the sink.
  [[nodiscard]] SystemLog& ofHost() noexcept { return host_; }

 protected:
  using Time = std::chrono::system_clock::time_point;
  /// Writes `line`, which is all but the time and fit to be shown.
  virtual void writeLine(Time arose, const std::string& line) = 0;

 private:
  class HostLines : public SystemLog {
   public:
    explicit HostLines(LogSink& sink) noexcept : sink_(sink) {}
    void write(std::string_view message) override;
    void writeLate(std::string_view message, Time arose) override;

   private:
    LogSink& sink_;
  };
  void writeAs(std::string_view level, std::string_view message, Time arose);

  std::string root_;
  HostLines host_;
};

/// SyslogSink writes to the machine's system log.
class SyslogSink : public LogSink {
 public:
  /// `programName` stands before each line.
  explicit SyslogSink(std::string programName, std::string_view root = "/");
  ~SyslogSink() override;

 protected:
  void writeLine(Time arose, const std::string& line) override;

 private:
  std::string programName_;
};

/// LineSink appends lines to a descriptor, each with one write, so that the lines of several
/// processes do not mix.
class LineSink : public LogSink {
 public:
  /// Writes to a descriptor that stays the caller's, for example 2.
  explicit LineSink(int descriptor, std::string_view root = "/");
  /// Appends to the file of this machine at `path`, which is created with mode 0600 where missing.
  [[nodiscard]] static Result<std::unique_ptr<LineSink>> open(const std::string& path,
                                                              std::string_view root = "/");
  ~LineSink() override;

  /// The first write that failed, if one did; later lines are tried all the same.
  [[nodiscard]] const std::optional<Error>& failure() const noexcept { return failure_; }

 protected:
  void writeLine(Time arose, const std::string& line) override;

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
[[nodiscard]] Result<std::unique_ptr<LogSink>> openLogSink(const std::string& target,
                                                           const std::string& programName,
                                                           std::string_view root = "/");

}  // namespace accountsettings
