// `check`: findings about a device root, a settings file or a backup.
#include "tool/commands/CheckCommand.h"

#include <algorithm>

#include "plist/Reader.h"
#include "tool/backup/DeviceInspection.h"
#include "tool/commands/Input.h"
#include "tool/device/OpenedRoot.h"
#include "tool/inspection/FindingKinds.h"
#include "tool/inspection/FindingsText.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {
namespace {

// The content of a settings file or a backup. A file that is no property list is not refused: that
// is what there is to find.
InspectedFiles filesOf(Input::Kind kind, const std::string& path, const CommonOptions& options) {
  if (kind == Input::Kind::Backup) return openInput(path, options).files;
  return {{path, readPropertyList(readFile(path))}, {}, {}};
}

// What could not be read can be judged by nobody.
ExitStatus statusOf(const Findings& findings) {
  const bool unread = std::any_of(findings.begin(), findings.end(), [](const Finding& each) {
    return each.kind->id == finding::kUnreadable || each.kind->id == finding::kForbidden ||
           each.kind->id == finding::kLegacyUnreadable ||
           each.kind->id == finding::kLegacyForbidden;
  });
  if (unread) return ExitStatus::Prevented;
  return findings.empty() ? ExitStatus::Done : ExitStatus::No;
}

}  // namespace

void CheckCommand::describe(OptionSet& options) {
  options.argument("PATH", path_,
                   "A device root, a settings file or a backup; the --root where left out");
  options.example("accountsettings check --root device",
                  "Everything that is broken on a device, or would be lost.");
  options.example(
      "accountsettings check device/var/mobile/Library/Preferences/com.zelqo.accountsettings.plist "
      "--json",
      "The findings about one settings file, for a script.");
}

ExitStatus CheckCommand::run(Session& session) {
  const std::string path = path_.value_or(session.options.root);
  const Input::Kind kind = kindOfInput(path);
  const bool isRoot = kind == Input::Kind::DeviceRoot;
  if (isRoot) session.options.root = path;
  OpenedRoot device(session.options, DefaultLog::Nowhere);
  if (isRoot) device.requireDevice();
  const Findings findings = isRoot ? inspectDevice(device, filesOfRoot())
                                   : inspectFiles(filesOf(kind, path, session.options));
  const ShownPath shown = [&](const std::string& file) {
    return isRoot ? device.shown(file) : file;
  };
  Output& output = session.output;
  if (output.json()) {
    output.document("check", {{"source", Input{kind, path, {}}.forScripts()},
                              {"clean", findings.empty()},
                              {"findings", findingsForScripts(findings, shown)}});
  } else {
    writeFindings(output, findings, shown);
    output.line("Checked " + Input{kind, path, {}}.description() + ": found " +
                countsInWords(findings) + ".");
  }
  return statusOf(findings);
}

}  // namespace accountsettings
