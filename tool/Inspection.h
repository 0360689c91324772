// Inspection looks at account settings and the legacy files beside them and tells what is
// broken, what a save or a migration would lose, and what to do about it. It only reads.
// Data classes, account types and mail-class repairs are judged by ProcessContext::current().
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"
#include "plist/Result.h"
#include "tool/HostFacts.h"

namespace accountsettings {

enum class Severity { Note, Warning, Error };

[[nodiscard]] std::string_view nameOf(Severity severity);

struct Finding {
  Severity severity = Severity::Note;
  // A stable word for scripts, for example "unknown-type"; docs and the JSON schema list them all.
  std::string code;
  std::string file;     // device path, or the path of a settings file alone
  std::string account;  // the account's identifier, else "#" and its place from 1; may be empty
  std::string key;      // may be empty
  std::string meaning;  // one sentence
  std::string action;   // what to do, one sentence
  // A migration would lose something here, or cannot read it: `migrate` goes on only when told to.
  bool blocksMigration = false;
  // Any save would lose something here: edits go on only when told to.
  bool blocksEdits = false;
};

using Findings = std::vector<Finding>;

[[nodiscard]] bool anyBlocksMigration(const Findings& findings);
[[nodiscard]] bool anyBlocksEdits(const Findings& findings);

// Everything of the root that ProcessContext::current() stands on: settings file, legacy files,
// sentinel, lock, leftovers. Ordered by file, then as found; `facts` may be nullptr, and then only
// contents are judged.
[[nodiscard]] Findings inspectRoot(HostFacts* facts);

// A settings file by itself, already read; `name` stands for it in the findings.
[[nodiscard]] Findings inspectSettings(const Result<PropertyList>& settings,
                                       const std::string& name);

}  // namespace accountsettings
