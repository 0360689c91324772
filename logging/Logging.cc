// Writes the system's log lines, and asks once whether it is to trace.
#include "logging/Logging.h"

#include <mutex>

#include "platform/ProcessContext.h"

namespace accountsettings {

namespace {

struct TracingSwitch {
  std::once_flag wasRead;
  bool isOn = false;
};

const ProcessContext::Slot<TracingSwitch> tracingSwitch{};

}  // namespace

bool getRSLoggingEnabled() {
  ProcessContext& context = ProcessContext::current();
  TracingSwitch& tracing = context.state(tracingSwitch);
  std::call_once(tracing.wasRead, [&] {
    const std::optional<PropertyList> value =
        context.platform().preferences.ownDefault("RSLoggingEnabled");
    tracing.isOn = value && value->booleanValue();
  });
  return tracing.isOn;
}

void writeSystemLog(std::string_view format, std::span<const LogArgument> arguments) {
  std::string line;
  for (detail::Placeholder found = detail::findPlaceholder(format); found.length != 0;
       found = detail::findPlaceholder(format)) {
    line += format.substr(0, found.begin);
    if (found.kind == detail::LogKind::None) {
      line += '%';
    } else {
      arguments.front().appendTo(line);
      arguments = arguments.subspan(1);
    }
    format.remove_prefix(found.begin + found.length);
  }
  line += format;
  ProcessContext::current().platform().systemLog.write(line);
}

}  // namespace accountsettings
