/// \file
/// SystemLog is the sink of the system log: it takes whole lines that are already
/// filled in.
#pragma once

#include <chrono>
#include <string_view>

namespace accountsettings {

/// \copydoc SystemLog.h
class SystemLog {
 public:
  virtual ~SystemLog() = default;

  /// Writes one message. It may hold line breaks; how they are shown is the sink's business.
  virtual void write(std::string_view message) = 0;
  /// Writes a message that arose earlier and was held back; a sink that tells times tells that one.
  virtual void writeLate(std::string_view message, std::chrono::system_clock::time_point arose) {
    static_cast<void>(arose);
    write(message);
  }
};

}  // namespace accountsettings
