// The promises, one function each.
#include "faults/Invariants.h"

#include <algorithm>
#include <cstddef>

namespace accountsettings::faults {

namespace {

constexpr int kDone = 0;
constexpr int kAnsweredNo = 1;
constexpr int kPrevented = 3;
constexpr int kBroken = 4;

std::set<std::string> accountsWhere(const DiskTree& disk, bool (*counts)(const std::string&)) {
  std::set<std::string> accounts;
  for (const auto& [path, entry] : disk) {
    if (entry.kind != DiskEntry::Kind::File || !counts(path)) continue;
    if (const auto value = propertyListAt(disk, path)) collectAccounts(*value, accounts);
  }
  return accounts;
}

bool isInUse(const std::string& path) {
  return path == kSettings || path == kLegacyMail || path == kLegacyExchange;
}

// A copy of what was there; what a migration means to write is none, and brings new identifiers.
bool isKept(const std::string& path) {
  return path.starts_with(kBackups) && !path.ends_with("/manifest.plist") &&
         path.find("/meant-") == std::string::npos;
}

bool isTemporary(const std::string& path) {
  return path.find("/.accountsettings-") != std::string::npos;
}

// Without temporary files and what is kept for diagnosis.
DiskTree essence(DiskTree disk) {
  std::erase_if(disk, [](const auto& entry) {
    return isForDiagnosis(entry.first) || isTemporary(entry.first);
  });
  return disk;
}

std::size_t countOfBackups(const DiskTree& disk) {
  return static_cast<std::size_t>(std::count_if(disk.begin(), disk.end(), [](const auto& entry) {
    return entry.first.starts_with(kBackups) && entry.second.kind == DiskEntry::Kind::Directory;
  }));
}

bool says(const Told& told, const char* words) {
  return told.words.find(words) != std::string::npos;
}

std::string whatIsNotDone(const Told& told, const DiskTree& disk, const DiskTree& reference) {
  // What is kept for diagnosis may be missing, if the words name it; and what an earlier run was
  // writing there when it was cut may lie there still.
  const bool saysWhatIsMissing = says(told, "without harm") || says(told, "/Logs/CrashReporter");
  DiskTree now = disk;
  std::erase_if(now, [](const auto& entry) {
    return isTemporary(entry.first) && isForDiagnosis(entry.first);
  });
  const std::string other =
      saysWhatIsMissing ? difference(comparable(essence(now)), comparable(essence(reference)))
                        : difference(comparable(now), comparable(reference));
  return other.empty() ? "" : "it said done, but " + other;
}

std::string whatIsNotAsBefore(const Told& told, const Disturbance& disturbance,
                              const DiskTree& before, const DiskTree& disk) {
  // What a run ended that was cut before it is told; where the installation is found incomplete
  // after that, it is all that is told.
  for (const char* words :
       {"completed the migration of backup", "were put back first",
        "what an earlier run left was ended", "the installation is incomplete"}) {
    if (says(told, words)) return "";
  }
  const bool mayLeave =
      says(told, "stays") || (disturbance.lasting && !says(told, "nothing was changed"));
  const std::string changed =
      mayLeave ? difference(comparable(essence(disk)), comparable(essence(before)))
               : difference(comparable(disk), comparable(before));
  if (!changed.empty()) return "it said prevented, but " + changed;
  return mayLeave || countOfBackups(disk) == countOfBackups(before)
             ? ""
             : "it said prevented, but a backup stays";
}

}  // namespace

std::set<std::string> accountsInUse(const DiskTree& disk) {
  return accountsWhere(disk, isInUse);
}

std::set<std::string> accountsAnywhere(const DiskTree& disk) {
  return accountsWhere(disk, [](const std::string& path) { return isInUse(path) || isKept(path); });
}

std::string settingsAreWhole(const DiskTree& disk) {
  if (!disk.contains(kSettings)) return "";
  const auto settings = propertyListAt(disk, kSettings);
  if (!settings) return "the settings cannot be read";
  const Dictionary* root = settings->dictionary();
  return root != nullptr && root->array("Accounts") != nullptr ? ""
                                                               : "the settings list no accounts";
}

std::string noAccountIsLost(const std::set<std::string>& accounts, const DiskTree& disk) {
  const std::set<std::string> there = accountsAnywhere(disk);
  for (const std::string& each : accounts) {
    if (!there.contains(each)) return "the account " + each + " is nowhere";
  }
  return "";
}

std::set<std::string> acceptedLosses(const Disturbance& disturbance, const DiskTree& before) {
  for (const char* file : {kLegacyMail, kLegacyExchange}) {
    if (!disturbance.call.ends_with(std::string("/") + file)) continue;
    std::set<std::string> accounts;
    if (const auto value = propertyListAt(before, file)) collectAccounts(*value, accounts);
    return accounts;
  }
  return {};
}

std::string nothingTemporaryIsLeft(const DiskTree& disk) {
  for (const auto& [path, entry] : disk) {
    if (isTemporary(path) && !isForDiagnosis(path)) return path + " is left";
  }
  return "";
}

std::string whatWasToldIsSo(const Told& told, const Disturbance& disturbance,
                            const DiskTree& before, const DiskTree& disk,
                            const DiskTree& reference) {
  switch (told.status) {
    case kDone:
      return whatIsNotDone(told, disk, reference);
    case kPrevented:
      return whatIsNotAsBefore(told, disturbance, before, disk);
    case kAnsweredNo:
    case kBroken:
      if (says(told, "nothing was changed"))
        return "it said that something and nothing was changed";
      return told.words.empty() ? "it did not say what is wrong" : "";
    default:
      return told.status >= 1000 ? "the program ended by a signal" : "there is no such status";
  }
}

bool isTheSame(const DiskTree& disk, const DiskTree& reference) {
  return comparable(essence(disk)) == comparable(essence(reference));
}

std::string isAsIfNothingHadHappened(const Told& told, const DiskTree& disk,
                                     const DiskTree& reference) {
  if (told.status != kDone) return "an undisturbed run did not go through";
  const std::string other = difference(comparable(essence(disk)), comparable(essence(reference)));
  return other.empty() ? "" : "an undisturbed run brought another result: " + other;
}

}  // namespace accountsettings::faults
