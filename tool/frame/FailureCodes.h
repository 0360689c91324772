// FailureCodes is the table of the words by which scripts tell failures apart, and the form in
// which they get them.
#pragma once

#include <array>
#include <cstddef>

#include "plist/PropertyList.h"
#include "tool/frame/Errors.h"

namespace accountsettings {

struct FailureKind {
  FailureCode id;
  const char* code;     // a stable word
  const char* meaning;  // a sentence for the manual
};

// In the order of the enumeration.
inline constexpr std::array kFailureKinds = std::to_array<FailureKind>({
    {FailureCode::Usage, "usage", "The command line is wrong."},
    {FailureCode::NoMatch, "no-match", "A filter, or a key that was asked for, matches nothing."},
    {FailureCode::NotFound, "not-found", "A file or directory that was named is not there."},
    {FailureCode::Forbidden, "forbidden", "This user may not read or write a file."},
    {FailureCode::NoSpace, "no-space", "There is no room for what is to be written."},
    {FailureCode::NoMemory, "no-memory", "There is not enough memory."},
    {FailureCode::NoDevice, "no-device", "The root is no device root."},
    {FailureCode::Unreadable, "unreadable",
     "A file is damaged, or holds something else than it should."},
    {FailureCode::NoAccount, "no-account", "There is no such account."},
    {FailureCode::Unfit, "unfit", "An account cannot hold what it is to be given."},
    {FailureCode::NoBackup, "no-backup", "There is no such backup."},
    {FailureCode::Exists, "exists", "Something stands already where something new is to be."},
    {FailureCode::OtherVersion, "other-version",
     "The settings, or a saved plan, have another version than is needed."},
    {FailureCode::Blocked, "blocked", "Something would be lost, and that was not accepted."},
    {FailureCode::Locked, "locked", "The migration lock could not be had."},
    {FailureCode::Changed, "changed", "A file changed meanwhile."},
    {FailureCode::Installation, "installation", "The program or its plug-in is incomplete."},
    {FailureCode::Prevented, "prevented",
     "Something else prevents the work; the message tells what."},
    {FailureCode::Broken, "broken", "Something was written, and the result is not what was meant."},
});

// What scripts are told of it: "code", "status", "message", "advice", and "file" if there is one.
[[nodiscard]] Dictionary problemForScripts(const Problem& problem, ExitStatus status);

namespace detail {

constexpr bool failureKindsAreInOrder() {
  std::size_t place = 0;
  for (const FailureKind& each : kFailureKinds) {
    if (static_cast<std::size_t>(each.id) != place++) return false;
  }
  return place == static_cast<std::size_t>(FailureCode::Broken) + 1;
}
static_assert(failureKindsAreInOrder());

}  // namespace detail

}  // namespace accountsettings
