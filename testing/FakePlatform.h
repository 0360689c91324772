// FakePlatform is a whole device in memory: a fake of every platform interface, all of
// them counted and made to fail through one Faults object. Each test makes its own.
#pragma once

#include "platform/Platform.h"
#include "testing/FakeDevice.h"
#include "testing/FakeFileWatches.h"
#include "testing/FakeFiles.h"
#include "testing/FakeLocks.h"
#include "testing/FakeModules.h"
#include "testing/FakeProcesses.h"
#include "testing/FakeResources.h"
#include "testing/Faults.h"

namespace accountsettings::testing {

class FakePlatform {
 public:
  FakePlatform() = default;
  FakePlatform(const FakePlatform&) = delete;
  FakePlatform& operator=(const FakePlatform&) = delete;

  // The fakes as the system sees them; they must outlive the contexts made from it.
  [[nodiscard]] Platform platform();

  Faults faults;
  FakeFiles files{faults};
  FakeResources resources{faults};
  FakeLocks locks{faults};
  FakeWriterLocks writerLocks{faults};
  FakeFileWatches fileWatches{faults, files};
  FakeClock clock{faults};
  FakeEventLoop eventLoop{faults, clock};
  FakeProcesses processes{faults, clock};
  FakeNotifications notifications{faults, processes};
  FakeWebEngineLock webEngineLock{faults};
  FakePreferences preferences{faults};
  FakeDeviceAnswers deviceAnswers{faults};
  FakeDeviceInfo deviceInfo{faults};
  FakeRestrictions restrictions{faults};
  FakeExternalSources externalSources{faults};
  FakeCloudAccountModel cloudAccountModel;
  FakeModules modules{faults};
  FakeIdentifiers identifiers{faults};
  FakeDirectories directories;
  FakeLog log;
  FakeConfiguration configuration;
};

}  // namespace accountsettings::testing
