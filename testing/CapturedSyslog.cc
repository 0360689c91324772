// The functions of the C library that write to the system's log, which keep the lines instead.
#include "testing/CapturedSyslog.h"

#include <array>
#include <cstdarg>
#include <cstdio>

namespace accountsettings::testing {

std::vector<std::string>& syslogged() {
  static std::vector<std::string> lines;
  return lines;
}

namespace {

void keep(const char* format, va_list arguments) {
  std::array<char, 512> text{};
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): both callers have begun the list
  (void)std::vsnprintf(text.data(), text.size(), format, arguments);
  syslogged().emplace_back(text.data());
}

}  // namespace
}  // namespace accountsettings::testing

// These stand before the C library's in this program, for the host library too.
extern "C" {
void openlog(const char*, int, int) {}
void closelog() {}
void syslog(int, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  accountsettings::testing::keep(format, arguments);
  va_end(arguments);
}
void __syslog_chk(int, int, const char* format, ...);   // NOLINT(bugprone-reserved-identifier)
void __syslog_chk(int, int, const char* format, ...) {  // NOLINT(bugprone-reserved-identifier)
  va_list arguments;
  va_start(arguments, format);
  accountsettings::testing::keep(format, arguments);
  va_end(arguments);
}
}
