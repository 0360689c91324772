/// \file
/// Platform gathers the device's services that the system calls on. It does not own
/// them; whoever makes a Platform keeps them alive as long as the ProcessContext that
/// uses it.
#pragma once

#include "platform/Clock.h"
#include "platform/Configuration.h"
#include "platform/Device.h"
#include "platform/Directories.h"
#include "platform/ExclusiveFileLock.h"
#include "platform/FileWatches.h"
#include "platform/Files.h"
#include "platform/Modules.h"
#include "platform/Notifications.h"
#include "platform/Preferences.h"
#include "platform/Processes.h"
#include "platform/Resources.h"
#include "platform/SystemLog.h"
#include "platform/WriterLocks.h"

namespace accountsettings {

/// \copydoc Platform.h
struct Platform {
  Files& files;
  Resources& resources;
  Locks& locks;
  Processes& processes;
  EventLoop& eventLoop;
  WebEngineLock& webEngineLock;
  Notifications& notifications;
  Preferences& preferences;
  DeviceAnswers& deviceAnswers;
  DeviceInfo& deviceInfo;
  Restrictions& restrictions;
  ExternalSources& externalSources;
  CloudAccountModel& cloudAccountModel;
  Modules& modules;
  Clock& clock;
  Identifiers& identifiers;
  Directories& directories;
  SystemLog& systemLog;
  Configuration& configuration;
  WriterLocks& writerLocks = noWriterLocks();
  FileWatches& fileWatches = noFileWatches();
};

}  // namespace accountsettings
