/// \file
/// Logging fills the system's printf-like formats and writes them: systemLog() always,
/// RSLog() only when tracing is switched on. Placeholders are "%@" (the description of
/// an object), "%s" (text), "%ld" and "%d" (integers); "%%" is a percent sign. That each
/// placeholder has an argument of its kind is checked when the call is compiled;
/// arguments beyond the placeholders are accepted and not shown.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "logging/LogFormat.h"

namespace accountsettings {

/// Whether this process traces: the boolean "RSLoggingEnabled" of its own defaults, read on the
/// first call in the process and remembered. Safe between threads.
[[nodiscard]] bool getRSLoggingEnabled();

/// Fills `format`, which fits the arguments, and hands the line to the current context's system
/// log.
void writeSystemLog(std::string_view format, std::span<const LogArgument> arguments);

/// Writes one line to the system log, unconditionally. "%@" shows property-list values, texts,
/// lists of texts, errors, whatever has a description(), and pointers to and optionals of these;
/// nothing at all is shown as "(null)".
template <class... Args>
void systemLog(LogFormat<std::type_identity_t<Args>...> format, const Args&... args) {
  const LogArgument arguments[] = {LogArgument(args)..., LogArgument()};
  writeSystemLog(format.text(), {arguments, sizeof...(Args)});
}

/// Writes like systemLog(), but only when getRSLoggingEnabled(); nothing is described otherwise.
template <class... Args>
void RSLog(LogFormat<std::type_identity_t<Args>...> format, const Args&... args) {
  if (getRSLoggingEnabled()) systemLog<Args...>(format, args...);
}

}  // namespace accountsettings
