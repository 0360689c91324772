// The fake device as the library sees it.
#include "testing/FakePlatform.h"

namespace accountsettings::testing {

Platform FakePlatform::platform() {
  return Platform{files,
                  resources,
                  locks,
                  processes,
                  eventLoop,
                  webEngineLock,
                  notifications,
                  preferences,
                  deviceAnswers,
                  deviceInfo,
                  restrictions,
                  externalSources,
                  cloudAccountModel,
                  modules,
                  clock,
                  identifiers,
                  directories,
                  log,
                  configuration,
                  writerLocks,
                  fileWatches};
}

}  // namespace accountsettings::testing
