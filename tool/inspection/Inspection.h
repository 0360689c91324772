// Inspection looks at account settings and the legacy files beside them and tells what is
// broken, what a save or a migration would lose, and what to do about it. It only reads.
// Data classes, account types and mail-class repairs are judged by ProcessContext::current().
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

class OpenedRoot;
class RememberedFiles;

enum class Severity { Note, Warning, Error };

// "note", "warning" or "error".
[[nodiscard]] std::string_view nameOf(Severity severity);

namespace finding {
enum Kind : std::size_t;  // listed in FindingKinds.h
}

// FindingKind is what all findings of one sort have in common.
struct FindingKind {
  finding::Kind id;
  const char* code;  // a stable word for scripts
  Severity severity;
  // A migration would lose something, or cannot read it: it goes on only when told to.
  bool blocksMigration;
  // An edit would lose something, or could not be saved: it goes on only when told to. What the
  // store does not load an edit keeps.
  bool blocksEdits;
  const char* action;  // what to do, one sentence
};

// Finding is one thing that an inspection found.
struct Finding {
  const FindingKind* kind;
  std::string file;     // device path, or the path of a settings file by itself
  std::string account;  // identifier, else "#" and the place from 1; "PARENT/CHILD" for a child
  std::string key;
  std::string meaning;  // one sentence
  // What to do about it. Commands are for the device of which the settings are those in use.
  std::string action;
};

using Findings = std::vector<Finding>;

[[nodiscard]] bool anyBlocksMigration(const Findings& findings);

// Files by themselves, already read, as they lie in a backup. A content is none where there is no
// such file; the names stand for the files in the findings.
struct InspectedFile {
  std::string name;
  std::optional<Result<PropertyList>> content;
};
struct InspectedFiles {
  InspectedFile settings;
  InspectedFile legacyExchange;
  InspectedFile legacyMail;
  // How the device answered whoever has read them; nullptr where it is to be asked.
  RememberedFiles* seen = nullptr;
};
[[nodiscard]] Findings inspectFiles(const InspectedFiles& files);
// Those of the root that ProcessContext::current() stands on. `settings` is what the settings file
// holds, where somebody has read it already.
[[nodiscard]] InspectedFiles filesOfRoot(const std::optional<Dictionary>& settings = {});
// How many top-level accounts the settings list.
[[nodiscard]] std::size_t accountsIn(const InspectedFiles& files);
// Everything of the device root: settings file, legacy files, sentinel, lock, leftovers, in this
// order.
[[nodiscard]] Findings inspectRoot(OpenedRoot& device, const InspectedFiles& files);

// What to do about a file that cannot be read, for messages.
[[nodiscard]] std::string_view nextStepFor(const Error& error);

// The settings file's "Version" as steps and saves read it: 0 where it is missing.
[[nodiscard]] std::int64_t versionOf(const Dictionary& settings);

}  // namespace accountsettings
