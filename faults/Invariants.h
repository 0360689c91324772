// Invariants are what holds whatever fails and whenever the power goes. Each answers an empty text,
// or what is wrong in one sentence. All look at the disk as a value.
#pragma once

#include <set>
#include <string>

#include "faults/DiskTree.h"

namespace accountsettings::faults {

inline constexpr const char* kSettings =
    "var/mobile/Library/Preferences/com.zelqo.accountsettings.plist";
inline constexpr const char* kLegacyMail = "var/mobile/Library/Mail/Accounts.plist";
inline constexpr const char* kLegacyExchange =
    "var/mobile/Library/Preferences/com.zelqo.DataAccess.plist";
inline constexpr const char* kSentinel = "var/mobile/Library/Preferences/.removingOldAccounts";
inline constexpr const char* kBackups = "var/mobile/Library/Logs/AccountMigrationBackups";

// What a run of the program told.
inline constexpr int kRaised = 70;  // the status of a program in which the library raised
struct Told {
  int status = 0;  // the exit status; 1000 and the signal where one ended it
  std::string words;
};

// What disturbed a run.
struct Disturbance {
  bool cut = false;      // the process or the power ended in the middle
  bool lasting = false;  // the disk refuses every change from some moment on, cleaning up too
  std::string call{};    // that failed: "open /var/mobile/Library/Mail/Accounts.plist"
};

// The accounts in the settings and the legacy files; with backups, in what they keep too.
[[nodiscard]] std::set<std::string> accountsInUse(const DiskTree& disk);
[[nodiscard]] std::set<std::string> accountsAnywhere(const DiskTree& disk);

// The settings, where there are any, can be read and list their accounts.
[[nodiscard]] std::string settingsAreWhole(const DiskTree& disk);
// Every account is in the settings, in a legacy file or in a kept backup.
[[nodiscard]] std::string noAccountIsLost(const std::set<std::string>& accounts,
                                          const DiskTree& disk);
// What was told is so: done, with the result that an undisturbed run brings; or prevented, with
// nothing changed but what an earlier cut had left to be ended; or a reason, where neither is so.
[[nodiscard]] std::string whatWasToldIsSo(const Told& told, const Disturbance& disturbance,
                                          const DiskTree& before, const DiskTree& disk,
                                          const DiskTree& reference);
// Whether two runs left the same, what is only kept for diagnosis and temporary files aside: a run
// may leave the one out if it says so, and no later run makes up for it.
[[nodiscard]] bool isTheSame(const DiskTree& disk, const DiskTree& reference);
// An undisturbed run brought the result of one that was never disturbed.
[[nodiscard]] std::string isAsIfNothingHadHappened(const Told& told, const DiskTree& disk,
                                                   const DiskTree& reference);
// What the rules of the library's own migration let a failure cost: a legacy file that cannot be
// read counts as one without accounts, and goes like every other. The command never gets there: its
// migration is staged, and ends where something cannot be read.
[[nodiscard]] std::set<std::string> acceptedLosses(const Disturbance& disturbance,
                                                   const DiskTree& before);
// No temporary file is there, the folders of what is kept for diagnosis aside.
[[nodiscard]] std::string nothingTemporaryIsLeft(const DiskTree& disk);

}  // namespace accountsettings::faults
