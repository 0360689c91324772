#include "tool/commands/CheckCommand.h"

#include "plist/Reader.h"
#include "tool/backup/DeviceInspection.h"
#include "tool/commands/Input.h"
#include "tool/device/OpenedRoot.h"
#include "tool/inspection/FindingsText.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {
namespace {

// What was looked at, and what was found there.
struct Checked {
  Input::Kind kind = Input::Kind::SettingsFile;
  std::string path;
  Findings findings;
  ShownPath shown = [](const std::string& file) { return file; };
};

Checked checkRoot(const CommonOptions& options, OpenedRoot& device) {
  return {Input::Kind::DeviceRoot, options.root, inspectDevice(device, filesOfRoot()),
          [&device](const std::string& file) { return device.shown(file); }};
}

// A file that is no property list is not refused: that is what there is to find.
Checked checkSettingsFile(const std::string& path) {
  InspectedFiles files;
  files.settings = {path, readPropertyList(readFile(path))};
  return {Input::Kind::SettingsFile, path, inspectFiles(files)};
}

Checked checkBackup(const std::string& path, const CommonOptions& options) {
  return {Input::Kind::Backup, path, inspectFiles(openInput(path, options).files)};
}

Dictionary documentOf(const Checked& checked) {
  return {{"format", "accountsettings.check"},
          {"formatVersion", 1},
          {"source", Dictionary{{"kind", nameOf(checked.kind)}, {"path", checked.path}}},
          {"clean", checked.findings.empty()},
          {"findings", findingsForScripts(checked.findings, checked.shown)}};
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
  CommonOptions options = session.options;
  const std::string path = path_.value_or(options.root);
  const Input::Kind kind = kindOfInput(path);
  if (kind == Input::Kind::DeviceRoot) options.root = path;
  OpenedRoot device(options, DefaultLog::Nowhere);
  const Checked checked = kind == Input::Kind::DeviceRoot ? checkRoot(options, device)
                          : kind == Input::Kind::Backup   ? checkBackup(path, options)
                                                          : checkSettingsFile(path);
  Output& output = session.output;
  if (output.json()) {
    const Status written = output.value(documentOf(checked));
    if (!written) throw Prevented(path, written.error().message);
  } else {
    writeFindings(output, checked.findings, checked.shown);
    output.line("Checked " + std::string(nameOf(checked.kind)) + " " + path + ": found " +
                countsInWords(checked.findings) + ".");
  }
  return checked.findings.empty() ? ExitStatus::Done : ExitStatus::No;
}

}  // namespace accountsettings
