// `report`: the parts of a report, each redacted on its way in.
#include "tool/commands/ReportCommand.h"

#include <array>
#include <deque>
#include <sstream>

#include "host/LinuxFiles.h"
#include "migration/MigrationPaths.h"
#include "platform/Directories.h"
#include "platform/Presence.h"
#include "plist/Reader.h"
#include "store/AccountsManager.h"
#include "tool/accounts/Redactor.h"
#include "tool/backup/BackupAccess.h"
#include "tool/backup/BackupText.h"
#include "tool/backup/DeviceInspection.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Json.h"
#include "tool/frame/Version.h"
#include "tool/inspection/FindingsText.h"
#include "tool/inspection/InspectionParts.h"
#include "tool/migration/MigrationSummaryText.h"
#include "tool/migration/RecordFiles.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {
namespace {

constexpr std::size_t kLogLines = 2000;

// ReportMaker puts the parts of a report together.
class ReportMaker {
 public:
  ReportMaker(OpenedRoot& device, Output& output)
      : device_(device), output_(output), files_(filesOfRoot()) {
    std::string root = device.shown("/");
    while (root.ends_with('/')) root.pop_back();
    redactor_.leaveOut(root);
    for (const InspectedFile* each : allFiles()) {
      if (each->content && *each->content) redactor_.learn(**each->content);
    }
    // A log tells of accounts that are no longer what they were.
    learnFromBackups();
    learnFromRecords();
  }

  Dictionary make(const std::optional<std::string>& logFile) {
    Dictionary report{{"toolVersion", kToolVersion},
                      {"currentVersion", AccountsManager::currentVersion()},
                      {"files", fileFacts()},
                      {"settings", contentOf(files_.settings)},
                      {"legacyMail", contentOf(files_.legacyMail)},
                      {"legacyExchange", contentOf(files_.legacyExchange)}};
    addPlan(report);
    report.set("backups", PropertyList(backups()));
    report.set("records", PropertyList(records()));
    if (logFile) report.set("log", PropertyList(logLines(*logFile)));
    report.set("replaced", PropertyList(replaced()));
    return report;
  }

  [[nodiscard]] std::vector<Redactor::Count> counts() const { return redactor_.counts(); }

 private:
  [[nodiscard]] std::array<const InspectedFile*, 3> allFiles() const {
    return {&files_.settings, &files_.legacyMail, &files_.legacyExchange};
  }

  void learnFromBackups() {
    for (const FoundBackup& backup : requireBackups(device_)) {
      if (!backup.manifest) continue;
      for (const BackupFile& file : backup.manifest->files) {
        if (file.savedAs.empty()) continue;
        const Result<Bytes> bytes = readFromBackup(device_.host(), *backup.manifest, file);
        const auto content = bytes ? readPropertyList(*bytes) : Result<PropertyList>(Error{});
        if (content) redactor_.learn(*content);
      }
    }
  }

  void learnFromRecords() {
    for (const RecordFile& record : findRecordFiles(device_.files())) {
      const auto content =
          readPropertyListAt(appendPathComponent(migrationRecordsDirectory(), record.name));
      if (content && *content) redactor_.learn(**content);
    }
  }

  Array fileFacts() {
    Array facts;
    for (const TouchedPath& each : pathsThatAMigrationTouches()) {
      Dictionary entry{{"path", each.path}, {"role", nameOf(each.role)}};
      const Result<FileAttributes> attributes = device_.files().attributes(each.path);
      entry.set("present", PropertyList(attributes.ok()));
      if (attributes) {
        entry.set("size", PropertyList(attributes->size));
        entry.set("mode", PropertyList(attributes->mode));
        entry.set("owner", PropertyList(attributes->owner));
        entry.set("group", PropertyList(attributes->group));
      } else if (!isAbsence(attributes.error())) {
        entry.set("problem", redactor_.sentence(attributes.error().message));
      }
      facts.append(std::move(entry));
    }
    return facts;
  }

  Dictionary contentOf(const InspectedFile& file) {
    if (!file.content) return {{"present", false}};
    if (!*file.content) {
      return {{"present", true}, {"problem", redactor_.sentence(file.content->error().message)}};
    }
    return {{"present", true}, {"content", redactor_.stored(output_.fitting(**file.content))}};
  }

  void addPlan(Dictionary& report) {
    try {
      MigrationSummary plan = planMigration(device_);
      // Where somebody keeps the device root is nobody's business.
      plan.root = "/";
      for (Finding& each : plan.findings) each.action = each.kind->action;
      report.set("plan", redactor_.told(summaryForScripts(plan, ShownPath::onTheDevice(),
                                                          SummaryDetail::ForSupport)));
    } catch (const CommandFailure& failure) {
      report.set("planProblem", PropertyList(redactor_.sentence(failure.what())));
      report.set("findings", redactor_.told(findingsForScripts(inspectDevice(device_, files_),
                                                               ShownPath::onTheDevice())));
    }
  }

  Array backups() {
    return listOf(requireBackups(device_),
                  [&](const FoundBackup& each) { return redactor_.told(backupForScripts(each)); });
  }

  Array records() {
    return listOf(findRecordFiles(device_.files()),
                  [&](const RecordFile& each) { return redactor_.told(recordForScripts(each)); });
  }

  // The last lines of a file that the program's --log made.
  Array logLines(const std::string& logFile) {
    const Bytes bytes = readFile(logFile);
    std::istringstream stream(std::string(bytes.begin(), bytes.end()));
    std::deque<std::string> last;
    for (std::string line; std::getline(stream, line);) {
      last.push_back(line);
      if (last.size() > kLogLines) last.pop_front();
    }
    return listOf(last, [&](const std::string& line) { return redactor_.logLine(line); });
  }

  Array replaced() const {
    return listOf(redactor_.counts(), [](const Redactor::Count& each) {
      return Dictionary{{"kind", each.kind}, {"values", each.values}, {"places", each.places}};
    });
  }

  OpenedRoot& device_;
  Output& output_;
  InspectedFiles files_;
  Redactor redactor_;
};

}  // namespace

void ReportCommand::describe(OptionSet& options) {
  options.argument("ROOT", root_, "The device root; the --root where left out");
  options.text("-o,--out", out_, "FILE", "Where to write the report (needed)");
  options.text("--include-log", logFile_, "FILE", "A file that --log wrote, to put in too");
  options.example("accountsettings report --root device --out report.json",
                  "Collects what support needs, with everything personal replaced.");
  options.example("accountsettings report --root old --out old.json --include-log migration.log",
                  "The same after a migration, with the lines of its log.");
}

ExitStatus ReportCommand::run(Session& session) {
  if (!out_) {
    throw WrongUsage("--out", "the file to write is needed", "see accountsettings report --help");
  }
  if (root_) session.options.root = *root_;
  OpenedRoot device(session.options, DefaultLog::Nowhere);
  device.requireDevice();
  ReportMaker maker(device, session.output);
  const Dictionary report = maker.make(logFile_);
  const Result<std::string> text = session.output.documentText("report", report, "/");
  if (!text) throw Prevented(*out_, text.error().message);
  writeFile(*out_, *text);
  session.changed = true;
  Output& output = session.output;
  if (output.json()) {
    output.document("report-summary", {{"file", *out_}, {"replaced", *report.find("replaced")}});
    return ExitStatus::Done;
  }
  output.line("Wrote " + *out_ + ". In it stand-ins take the place of:");
  const std::vector<Redactor::Count> counts = maker.counts();
  for (const Redactor::Count& each : counts) {
    output.line("  " + padded(each.kind, 11) + counted(each.values, "value", "values") + " in " +
                counted(each.places, "place", "places"));
  }
  if (counts.empty()) output.line("  nothing");
  output.line(
      "Types, classes, numbers, dates and the keys that programs use are as they were; look it "
      "over before you send it.");
  return ExitStatus::Done;
}

}  // namespace accountsettings
