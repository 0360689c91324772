/// \file
/// platformWith makes a platform in which some services are replaced.
#pragma once

#include "platform/Platform.h"

namespace accountsettings {

/// The services that take another's place; nullptr leaves the one that is there. They must outlive
/// the platform's users.
struct OtherServices {
  Files* files = nullptr;
  Locks* locks = nullptr;
  Processes* processes = nullptr;
  Notifications* notifications = nullptr;
  Preferences* preferences = nullptr;
  Clock* clock = nullptr;
  Identifiers* identifiers = nullptr;
  SystemLog* systemLog = nullptr;
  WriterLocks* writerLocks = nullptr;
};

[[nodiscard]] inline Platform platformWith(const Platform& platform, const OtherServices& others) {
  const auto chosen = [](auto* other, auto& own) -> auto& {
    return other ? *other : own;
  };
  return {chosen(others.files, platform.files),
          platform.resources,
          chosen(others.locks, platform.locks),
          chosen(others.processes, platform.processes),
          platform.eventLoop,
          platform.webEngineLock,
          chosen(others.notifications, platform.notifications),
          chosen(others.preferences, platform.preferences),
          platform.deviceAnswers,
          platform.deviceInfo,
          platform.restrictions,
          platform.externalSources,
          platform.cloudAccountModel,
          platform.modules,
          chosen(others.clock, platform.clock),
          chosen(others.identifiers, platform.identifiers),
          platform.directories,
          chosen(others.systemLog, platform.systemLog),
          platform.configuration,
          chosen(others.writerLocks, platform.writerLocks),
          platform.fileWatches};
}

}  // namespace accountsettings
