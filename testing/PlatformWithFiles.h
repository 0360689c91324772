// platformWithFiles is a platform with other files in place of its own.
#pragma once

#include "platform/Platform.h"

namespace accountsettings::testing {

inline Platform platformWithFiles(const Platform& base, Files& files) {
  return {files,
          base.resources,
          base.locks,
          base.processes,
          base.eventLoop,
          base.webEngineLock,
          base.notifications,
          base.preferences,
          base.deviceAnswers,
          base.deviceInfo,
          base.restrictions,
          base.externalSources,
          base.cloudAccountModel,
          base.modules,
          base.clock,
          base.identifiers,
          base.directories,
          base.systemLog,
          base.configuration};
}

}  // namespace accountsettings::testing
