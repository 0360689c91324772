/// \file
/// SystemLog is the sink of the system log: it takes whole lines that are already
/// filled in.
#pragma once

#include <string_view>

namespace accountsettings {

/// \copydoc SystemLog.h
class SystemLog {
 public:
  virtual ~SystemLog() = default;

  /// Writes one message. It may hold line breaks; how they are shown is the sink's business.
  virtual void write(std::string_view message) = 0;
};

}  // namespace accountsettings
