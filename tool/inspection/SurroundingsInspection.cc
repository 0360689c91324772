// SurroundingsInspection judges what lies around the account files: the sentinel of an
// interrupted removal, who may read and save the settings, leftovers and the lock.
#include <set>
#include <string>

#include "host/HostConfiguration.h"
#include "host/LinuxFiles.h"
#include "host/RememberedFiles.h"
#include "host/RootDirectory.h"
#include "migration/MigrationPaths.h"
#include "platform/Directories.h"
#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"
#include "tool/device/OpenedRoot.h"
#include "tool/inspection/InspectionParts.h"

namespace accountsettings {
namespace {

constexpr unsigned kModeOfSaves = 0600;

std::string octal(unsigned mode) {
  std::string digits;
  for (; mode != 0; mode /= 8) {
    digits.insert(digits.begin(), static_cast<char>('0' + mode % 8));
  }
  return "0" + digits;
}

// The legacy files that are there, in words; empty where there are none.
std::string legacyFilesLeft() {
  std::string left;
  for (const std::string& legacy : {daAccountPath(), mailAccountsPath()}) {
    // What cannot be looked at would be deleted all the same.
    if (!ProcessContext::current().platform().files.exists(legacy).isAbsent()) {
      left += (left.empty() ? "" : " and ") + legacy;
    }
  }
  return left;
}

void inspectSentinel(LinuxFiles& files, Findings& findings) {
  const std::string sentinel = removalSentinelPath();
  const Presence presence = ProcessContext::current().platform().files.exists(sentinel);
  if (presence.isAbsent()) return;
  FindingList list(findings, sentinel);
  if (!presence.isThere()) {
    list.add(finding::kUnreadable,
             "It cannot be told whether a removal of the legacy files was interrupted (" +
                 presence.error()->message + "): a migration may delete them unconverted.");
    return;
  }
  const Result<FileAttributes> attributes = files.attributes(sentinel);
  const bool isDirectory = attributes && attributes->kind == FileAttributes::Kind::Directory;
  if (isDirectory) {
    list.add(
        finding::kSentinelIsDirectory,
        "A directory lies in the place of the sentinel: no migration removes it, and each takes "
        "it for an interrupted removal of the legacy files, which it finishes, and upgrades "
        "nothing.");
  }
  const std::string left = legacyFilesLeft();
  if (left.empty() && isDirectory) return;
  if (left.empty()) {
    list.add(finding::kLeftoverSentinel,
             "An earlier removal of the legacy files was interrupted: the next migration only "
             "finishes it and upgrades nothing.");
  } else {
    list.add(finding::kSentinelDeletesLegacy,
             "An earlier removal of the legacy files was interrupted: the next migration deletes " +
                 left + " without converting anything.");
  }
}

// Temporary files that saves and restores began and never finished, as device paths.
void inspectTemporaries(LinuxHost& host, Findings& findings) {
  std::set<std::string> directories;
  if (const auto& directory = host.configuration().temporaryDirectory) {
    directories.insert(*directory);
  }
  for (const TouchedPath& each : pathsThatAMigrationTouches()) {
    directories.insert(directoryPart(each.path));
  }
  for (const std::string& directory : directories) {
    const Result<std::vector<std::string>> names = host.files().list(directory);
    if (!names) continue;  // whoever saves there is told
    for (const std::string& name : *names) {
      if (!LinuxFiles::isTemporaryName(name)) continue;
      FindingList(findings, appendPathComponent(directory, name))
          .add(finding::kStaleTemporary,
               "A save or a restore that was killed left this temporary file.");
    }
  }
}

void inspectSettingsFile(LinuxHost& host, RememberedFiles& seen, Findings& findings) {
  const std::string path = AccountsManager::fullPathToAccountSettingsPlist();
  FindingList list(findings, path);
  const Status save = seen.saveCanSucceed(host, path);
  if (!save) {
    std::string meaning = "Saving the settings would fail: " + save.error().message + ".";
    if (!legacyFilesLeft().empty()) {
      meaning += " A migration removes the legacy files all the same.";
    }
    list.add(finding::kSaveWouldFail, std::move(meaning));
  }
  inspectTemporaries(host, findings);
  const auto there = seen.entryAt(path);
  const FileAttributes* const attributes = there && *there ? &**there : nullptr;
  if (attributes == nullptr) return;
  if (attributes->kind == FileAttributes::Kind::Link) {
    list.add(finding::kSettingsIsLink, "The settings file is a symbolic link.");
    if (ProcessContext::current().platform().files.exists(path).isAbsent()) {
      list.add(finding::kUnreadable,
               "The link leads to no file of the device: the settings count as missing, and a save "
               "would put an empty file in the link's place.");
    }
    return;
  }
  // What else lies there is told as a file that cannot be read.
  if (attributes->kind != FileAttributes::Kind::Regular) return;
  const unsigned mode = attributes->mode;
  if ((mode & kModeOfSaves) != kModeOfSaves || (mode & 07111U) != 0) {
    list.add(finding::kWrongMode,
             "The file has the mode " + octal(mode) + " instead of " + octal(kModeOfSaves) + ".");
  }
  if ((mode & 0066U) != 0) {
    list.add(finding::kReadersLoseAccess, "The mode " + octal(mode) +
                                              " lets others than the owner read or write the file; "
                                              "after a save the mode " +
                                              octal(kModeOfSaves) + " shuts them out.");
  }
  const Result<FileOwner> expected = seen.ownerOfSaves(host);
  if (expected && (attributes->owner != expected->owner || attributes->group != expected->group)) {
    const ConfigurationValues& names = ProcessContext::current().platform().configuration.values();
    list.add(finding::kWrongOwner,
             "The file belongs to user " + std::to_string(attributes->owner) + " and group " +
                 std::to_string(attributes->group) + ", not to " + names.owner + " (" +
                 std::to_string(expected->owner) + ") and " + names.group + " (" +
                 std::to_string(expected->group) + "); a save gives it to these.");
  }
}

void inspectLock(OpenedRoot& device, Findings& findings) {
  const auto holder = device.lockHolder();
  if (!holder) return;
  FindingList(findings, std::string(kAccountMigrationLockFilename))
      .add(finding::kLockHeld,
           "The migration lock is held by " + inWords(*holder) + ": migrations and edits wait.");
}

}  // namespace

void inspectSurroundings(OpenedRoot& device, RememberedFiles* seen, Findings& findings) {
  RememberedFiles now(device.files(), device.host().accountNames());
  inspectSentinel(device.files(), findings);
  inspectSettingsFile(device.host(), seen != nullptr ? *seen : now, findings);
  inspectLock(device, findings);
}

}  // namespace accountsettings
