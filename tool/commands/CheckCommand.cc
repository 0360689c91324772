// `check`: findings about a device root, a settings file or a backup.
#include "tool/commands/CheckCommand.h"

#include <algorithm>

#include "store/AccountsManager.h"
#include "tool/backup/BackupAccess.h"
#include "tool/backup/DeviceInspection.h"
#include "tool/commands/Input.h"
#include "tool/device/OpenedRoot.h"
#include "tool/fleet/MigrationResult.h"
#include "tool/inspection/FindingKinds.h"
#include "tool/inspection/FindingsText.h"
#include "tool/inspection/InspectionParts.h"
#include "tool/inspection/LegacyForecast.h"
#include "tool/migration/MigrationSummary.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {
namespace {

// The content of a settings file or a backup. A file that is no property list is not refused: that
// is what there is to find.
InspectedFiles filesOf(Input::Kind kind, const std::string& path, const CommonOptions& options) {
  if (kind == Input::Kind::Backup) return openInput(path, options).files;
  return {{path, propertyListIn(readFile(path))}, {}, {}};
}

// What a device, a file or a backup holds.
struct Contents {
  std::string settings = "no settings";  // in words
  std::optional<std::int64_t> version;   // none where the settings tell none
  std::size_t accounts = 0;
  std::size_t legacyAccounts = 0;
  bool pending = false;  // a migration is
};

std::string inWords(const Contents& contents) {
  std::string text = contents.settings;
  if (contents.version) text += " " + std::to_string(*contents.version);
  if (contents.accounts > 0 || contents.version) {
    text += ", " + counted(contents.accounts, "account", "accounts");
  }
  if (contents.legacyAccounts > 0) {
    text += ", " + counted(contents.legacyAccounts, "legacy account", "legacy accounts");
  }
  return text;
}

// `device` is nullptr for files by themselves.
Contents contentsOf(const InspectedFiles& files, OpenedRoot* device) {
  Contents contents;
  if (const auto& settings = files.settings.content) {
    const Dictionary* root = *settings ? (*settings)->dictionary() : nullptr;
    contents.settings = root == nullptr                    ? "settings that cannot be read"
                        : root->contains(kPlistVersionKey) ? "version"
                                                           : "settings without a version";
    if (root != nullptr && root->contains(kPlistVersionKey)) contents.version = versionOf(*root);
    if (root != nullptr) contents.accounts = root->arrayOrEmpty(kPlistAccountsKey).size();
  }
  for (const LegacyFile& file : legacyFilesOf(files)) {
    contents.legacyAccounts += file.descriptionCount();
  }
  contents.pending =
      device != nullptr
          ? decisionOn(*device, files).pending()
          : contents.legacyAccounts > 0 ||
                (contents.version && *contents.version < AccountsManager::currentVersion());
  return contents;
}

// The files of a backup that are no settings and no legacy files, and yet must be whole if it is to
// be put back.
void checkOtherFiles(const std::string& backup, Findings& findings) {
  for (const BackupFile& file : readManifest(backup).files) {
    const bool isJudged = file.role == PathRole::Settings || file.role == PathRole::LegacyMail ||
                          file.role == PathRole::LegacyExchange;
    if (isJudged || file.savedAs.empty()) continue;
    const Result<Bytes> content = readKept(backup, file);
    if (content) continue;
    FindingList(findings, backup + "/" + file.savedAs)
        .add(finding::kUnreadable,
             "The kept file cannot be put back: " + content.error().message + ".");
  }
}

// Of files by themselves. The commands that are advised are for the device in which they lie, if
// they do in one, and edit nothing: the device may hold other accounts.
Findings findingsAlone(const InspectedFiles& files, OpenedRoot& device, const std::string& path) {
  CommonOptions options = device.options();
  const std::string above = device.deviceAbove(path);
  options.root = above.empty() ? "DIR" : above;
  Findings findings = inspectFiles(files);
  if (kindOfInput(path) == Input::Kind::Backup) checkOtherFiles(path, findings);
  for (Finding& each : findings) each.action = adviceWithRoot(options, each.kind->action);
  return findings;
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

void CheckCommand::describeOwn(OptionSet& options) {
  options.argument("PATH", path_,
                   "A device root, a settings file or a backup; the --root where left out");
  options.example("accountsettings check --root device",
                  "Everything that is broken on a device, or would be lost.");
  options.example(
      "accountsettings check device/var/mobile/Library/Preferences/com.zelqo.accountsettings.plist "
      "--json",
      "The findings about one settings file, for a script.");
}

ExitStatus CheckCommand::runOnOne(Session& session) {
  const std::string path = path_.value_or(session.options.root);
  const Input::Kind kind = kindOfInput(path);
  const bool isRoot = kind == Input::Kind::DeviceRoot;
  if (isRoot) useRoot(session, path);
  OpenedRoot device(session.options, DefaultLog::Nowhere);
  if (isRoot) device.requireDevice();
  Output& output = session.output;
  output.doing([] { return Doing{"Reading the files ...", placeIn("part", 1, 3)}; });
  const InspectedFiles files = isRoot ? filesOfRoot() : filesOf(kind, path, session.options);
  output.doing([&] {
    return Doing{"Judging the accounts ...", placeIn("part", 2, 3), accountsIn(files)};
  });
  const Findings findings =
      isRoot ? inspectDevice(device, files) : findingsAlone(files, device, path);
  output.doing([] { return Doing{"Looking for earlier runs ...", placeIn("part", 3, 3)}; });
  const Contents contents = contentsOf(files, isRoot ? &device : nullptr);
  const ShownPath shown = isRoot ? ShownPath::of(device) : ShownPath::onThisMachine();
  if (output.json()) {
    Dictionary document{{"source", Input{kind, path, {}}.forScripts()},
                        {"accounts", contents.accounts},
                        {"legacyAccounts", contents.legacyAccounts},
                        {"pending", contents.pending},
                        {"clean", findings.empty()},
                        {"findings", findingsForScripts(findings, shown)}};
    document.set("version", contents.version);
    output.document("check", document);
  } else {
    if (isRoot && !findings.empty()) output.line(Input{kind, path, {}}.description());
    writeFindings(output, findings, shown);
    output.paragraph("", "Checked " + Input{kind, path, {}}.description() + ": " +
                             inWords(contents) + "; found " + countsInWords(findings) + ".");
    if (contents.pending) {
      output.paragraph(
          "", "A migration to version " + std::to_string(AccountsManager::currentVersion()) +
                  " is pending" +
                  (isRoot ? "; what it would do: " + device.commandLine({"plan"}) : "."));
    }
  }
  return statusOf(findings);
}

FleetCommand CheckCommand::forMany() {
  refuseForMany(path_.has_value(), "PATH");
  const auto work = [](Session& session, DeviceResult& result) {
    OpenedDevice device(session.options);
    const InspectedFiles files = filesOfRoot();
    const Findings findings = inspectDevice(device, files);
    const Contents contents = contentsOf(files, &device);
    const ExitStatus status = statusOf(findings);
    result.outcome = status == ExitStatus::Done ? DeviceOutcome::Done
                     : status == ExitStatus::No ? DeviceOutcome::AnsweredNo
                                                : DeviceOutcome::Refused;
    result.versionBefore = contents.version;
    result.accountsBefore = contents.accounts + contents.legacyAccounts;
    result.pending = contents.pending;
    result.findings = codesOf(findings);
    result.bytes = sizeOf(device, files);
    return status;
  };
  return {.name = "check", .work = work, .changesDevices = false, .listsDevices = true};
}

}  // namespace accountsettings
