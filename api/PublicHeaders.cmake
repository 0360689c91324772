# The headers that programs see. One that is not listed is not installed, and the build fails where
# a listed one includes it.
set(AS_PUBLIC_HEADERS
  # What most programs need, in one.
  api/accountsettings.h

  # Property lists.
  plist/BinaryWriter.h plist/Description.h plist/Nodes.h plist/PropertyList.h plist/Reader.h
  plist/Result.h plist/XmlWriter.h

  # The services of a device, for whoever supplies them.
  platform/AssertionFailure.h platform/BoundedLock.h platform/ClassRegistry.h platform/Clock.h platform/Configuration.h
  platform/Device.h platform/Directories.h platform/ExclusiveFileLock.h platform/FileWatches.h
  platform/Files.h platform/ForwardingFiles.h platform/MigratorBase.h platform/Modules.h
  platform/Notifications.h platform/Platform.h platform/PlatformWith.h platform/Preferences.h
  platform/Presence.h platform/ProcessContext.h platform/Processes.h platform/ReadDictionary.h
  platform/Resources.h platform/SystemLog.h platform/WriterLocks.h
  testing/ConformanceDevice.h testing/ConformanceSuite.h

  # Accounts, their store, and the system log.
  account/AccountConstants.h account/BasicAccount.h account/CreatorCapabilities.h
  account/DeviceLocalAccount.h account/LiveProperties.h account/RecordProblems.h
  account/StringList.h
  logging/LogFormat.h logging/Logging.h
  migration/GoogleMail.h
  store/AccountsManager.h store/AccountsWatcher.h store/ChangeListener.h store/LastSave.h
  store/LoadProblems.h store/RSRuntimeFixMailAccount.h

  # The host for Linux.
  host/FileChange.h host/LinuxHost.h host/LinuxProgram.h host/LogSinks.h
  host/PollEventLoop.h

  # Migrating a device as one.
  staging/MigrateStaged.h staging/StagedMigration.h)
