#include "tool/device/PlatformWith.h"

namespace accountsettings {

namespace {

template <class Service>
Service& chosen(Service* other, Service& own) {
  return other != nullptr ? *other : own;
}

}  // namespace

Platform platformWith(const Platform& platform, const OtherServices& others) {
  return {chosen(others.files, platform.files),
          platform.resources,
          chosen(others.locks, platform.locks),
          chosen(others.processes, platform.processes),
          platform.eventLoop,
          platform.webEngineLock,
          chosen(others.notifications, platform.notifications),
          platform.preferences,
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
          platform.configuration};
}

}  // namespace accountsettings
