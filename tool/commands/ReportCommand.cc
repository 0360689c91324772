// `report`: the parts of a report, each redacted on its way in.
#include "tool/commands/ReportCommand.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <deque>
#include <filesystem>
#include <sstream>

#include "host/Digest.h"
#include "host/LinuxFiles.h"
#include "migration/MigrationPaths.h"
#include "platform/Directories.h"
#include "platform/Presence.h"
#include "store/AccountsManager.h"
#include "tool/accounts/Redactor.h"
#include "tool/backup/BackupAccess.h"
#include "tool/backup/BackupText.h"
#include "tool/backup/DeviceInspection.h"
#include "tool/device/OpenedRoot.h"
#include "tool/fleet/FleetSummary.h"
#include "tool/fleet/MigrationResult.h"
#include "tool/frame/Json.h"
#include "tool/frame/Version.h"
#include "tool/inspection/FindingsText.h"
#include "tool/inspection/InspectionParts.h"
#include "tool/migration/DeviceRedaction.h"
#include "tool/migration/MigrationSummaryText.h"
#include "tool/migration/RecordFiles.h"
#include "tool/page/DevicePage.h"
#include "tool/page/FleetPage.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {
namespace {

constexpr std::size_t kLogLines = 2000;

Array forScripts(const std::vector<Redactor::Count>& counts) {
  return listOf(counts, [](const Redactor::Count& each) {
    return Dictionary{{"kind", each.kind}, {"values", each.values}, {"places", each.places}};
  });
}

// The name of a device's page or report among those of others: readable, and one of its own.
std::string nameFor(const std::string& root, const char* extension) {
  constexpr std::size_t kLongest = 60;
  constexpr std::size_t kDigits = 12;
  std::string name = std::filesystem::path(root).filename().string().substr(0, kLongest);
  std::replace_if(
      name.begin(), name.end(),
      [](char unit) {
        return std::isalnum(static_cast<unsigned char>(unit)) == 0 && unit != '-' && unit != '_';
      },
      '_');
  const Result<std::string> sum =
      sha256({reinterpret_cast<const std::uint8_t*>(root.data()), root.size()});
  if (!sum) throw Prevented(root, sum.error().message);
  return name + "-" + sum->substr(0, kDigits) + extension;
}

// ReportMaker writes the parts of a report one after the other: no part need exist as a whole
// with what is personal replaced.
class ReportMaker {
 public:
  ReportMaker(OpenedRoot& device, Output& output) : device_(device), output_(output) {}

  // Finds out what is to be told.
  void prepare() {
    // The rehearsal takes the most memory, and so comes before what is kept of it.
    planned();
    learnDevice(redactor_, device_, files_);
  }

  void writeTo(JsonWriter& json, const std::optional<std::string>& logFile) {
    json_ = &json;
    output_.doing([&] {
      return Doing{"Replacing what is personal ...", placeIn("part", 2, 3), accountsIn(files_)};
    });
    write("currentVersion", AccountsManager::currentVersion());
    write("files", fileFacts());
    writeContent("settings", files_.settings);
    writeContent("legacyMail", files_.legacyMail);
    writeContent("legacyExchange", files_.legacyExchange);
    writePlan();
    output_.doing([] { return Doing{"Collecting the rest ...", placeIn("part", 3, 3)}; });
    writeTold("backups", listOf(requireBackups(device_), backupForScripts));
    writeTold("records",
              listOf(findRecordFiles(device_.files(), requireBackups(device_)), recordForScripts));
    if (logFile) write("log", logLines(*logFile));
    write("replaced", forScripts(counts()));
  }

  [[nodiscard]] std::vector<Redactor::Count> counts() const { return redactor_.counts(); }

 private:
  void write(std::string_view name, const PropertyList& value) {
    json_->member(name);
    json_->write(value);
  }

  void writeTold(std::string_view name, const PropertyList& value) {
    json_->member(name);
    redactor_.writeTold(*json_, value);
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

  void writeContent(std::string_view name, const InspectedFile& file) {
    json_->member(name);
    json_->begin();
    write("present", file.content.has_value());
    if (file.content && !*file.content) {
      write("problem", redactor_.sentence(file.content->error().message));
    } else if (file.content) {
      json_->member("content");
      redactor_.writeStored(*json_, output_.fitting(**file.content));
    }
    json_->end();
  }

  // What a migration would do, or why that cannot be told.
  void planned() {
    try {
      MigrationSummary summary = planMigration(device_, output_);
      // An earlier migration that is to be ended first counts as ended in the plan.
      files_ = summary.decision.interruptedMigration ? filesOfRoot()
                                                     : filesOfRoot(summary.settingsBefore);
      // Where somebody keeps the device root is nobody's business.
      summary.root = "/";
      for (Finding& each : summary.findings) each.action = each.kind->action;
      plan_ = summaryForScripts(summary, ShownPath::onTheDevice(), SummaryDetail::ForSupport);
    } catch (const CommandFailure& failure) {
      problem_ = failure.what();
      files_ = filesOfRoot();
    }
  }

  void writePlan() {
    if (plan_) return writeTold("plan", *plan_);
    write("planProblem", redactor_.sentence(problem_));
    writeTold("findings",
              findingsForScripts(inspectDevice(device_, files_), ShownPath::onTheDevice()));
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

  OpenedRoot& device_;
  Output& output_;
  InspectedFiles files_;
  std::optional<Dictionary> plan_;
  std::string problem_;  // why there is none
  Redactor redactor_;
  JsonWriter* json_ = nullptr;
};

}  // namespace

void ReportCommand::describeOwn(OptionSet& options) {
  options.argument("ROOT", root_, "The device root; the --root where left out");
  options.text("-o,--out", out_, "FILE",
               "Where to write the report, as JSON; for many devices the folder of their reports, "
               "and for --results alone one file of them all");
  options.text(
      "--html", html_, "FILE",
      "Where to write a page for people: the accounts before and after, what was dropped "
      "and why, findings, steps and the backup; for many devices the folder of their pages");
  options.flag("--reveal", reveal_,
               "Show names, users and hosts on the page; passwords and tokens stay out of it");
  options.text("--include-log", logFile_, "FILE",
               "A file that --log wrote, to put into the JSON report too");
  options.example("accountsettings report --root device --out report.json",
                  "Collects what support needs, with everything personal replaced.");
  options.example("accountsettings report --root old --html old.html",
                  "A page about what a migration did or would do, for any browser.");
}

ReportCommand::Counts ReportCommand::writeReport(Session& session, OpenedRoot& device,
                                                 const std::string& file) const {
  session.output.doing([] { return Doing{"Reading the accounts ...", placeIn("part", 1, 3)}; });
  const auto maker = std::make_shared<ReportMaker>(device, session.output);
  session.leave(maker);
  maker->prepare();
  const Result<std::string> text = session.output.documentText(
      "report", [&](JsonWriter& json) { maker->writeTo(json, logFile_); }, "/");
  if (!text) throw Prevented(file, text.error().message);
  writeFile(file, *text);
  return maker->counts();
}

DevicePage ReportCommand::pageOf(Session& session, OpenedRoot& device) const {
  return devicePage(device,
                    {.madeAt = session.output.startedAt(),
                     .reveal = reveal_,
                     .isLimited = !session.options.noLimit},
                    session.output);
}

ReportCommand::Counts ReportCommand::writePage(Session& session, OpenedRoot& device) const {
  const DevicePage page = pageOf(session, device);
  writeFile(*html_, page.text);
  return page.replaced;
}

void ReportCommand::writeFleetPage(Session& session) const {
  if (reveal_) throw WrongUsage("--reveal", "results are shown as they are", "leave it out");
  const std::vector<FleetDevice> devices = devicesIn(fleet().results);
  writeFile(*html_, fleetPage(devices, {.madeAt = session.output.startedAt(),
                                        .file = *html_,
                                        .isLimited = !session.options.noLimit}));
  session.changed = true;
  if (session.output.json()) {
    session.output.document("report-summary", {{"file", *html_}, {"replaced", Array()}});
  } else {
    session.output.line("Wrote " + *html_ + " about " +
                        counted(devices.size(), "device", "devices") + ".");
  }
}

void ReportCommand::requireOneFile() const {
  const char* const help = "see accountsettings report --help";
  if (!out_ && !html_) throw WrongUsage("--out", "the file to write is needed", help);
  if (out_ && html_) throw WrongUsage("--html", "one run writes one file, not --out too", help);
  if (reveal_ && !html_) throw WrongUsage("--reveal", "only a page may show all", help);
  if (logFile_ && !out_) throw WrongUsage("--include-log", "a page holds no log", help);
}

bool ReportCommand::tellsResults(const Session& session) const {
  return !fleet().results.empty() && !root_ && !fleet().rootsFrom && session.options.roots.empty();
}

ExitStatus ReportCommand::run(Session& session) {
  const bool sumsUp = tellsResults(session) && !html_;
  if (sumsUp && !reveal_ && !logFile_) return sumUp(session);
  requireOneFile();
  if (!tellsResults(session)) return DeviceCommand::run(session);
  writeFleetPage(session);
  return ExitStatus::Done;
}

ExitStatus ReportCommand::sumUp(Session& session) const {
  FleetSummary summary;
  std::string lines;
  auto first = std::chrono::system_clock::time_point::max();
  auto last = std::chrono::system_clock::time_point::min();
  for (const FleetDevice& device : devicesIn(fleet().results)) {
    const DeviceResult& result = device.result;
    summary.command = result.command;
    summary.tally.add(result);
    first = std::min(first, result.startedAt);
    last = std::max(last, result.startedAt + result.took);
    if (out_) lines += lineOf(result) + "\n";
  }
  summary.devices = summary.tally.devices();
  if (summary.devices > 0) summary.time = last - first;
  if (out_) writeFile(*out_, lines);
  session.changed = out_.has_value();
  session.options.root.clear();  // it is about many
  if (session.output.json()) {
    session.output.document("fleet", summaryForScripts(summary));
  } else {
    writeSummary(session.output, summary);
  }
  return summary.tally.status();
}

FleetCommand ReportCommand::forMany() {
  refuseForMany(root_.has_value(), "ROOT");
  refuseForMany(logFile_.has_value(), "--include-log");
  const std::string& named = html_ ? *html_ : *out_;
  std::error_code problem;
  const auto folder = std::filesystem::absolute(named, problem);
  const auto results = fleet().resultsFile();
  const auto base =
      results && !problem ? std::filesystem::absolute(*results, problem).parent_path() : folder;
  if (!problem) std::filesystem::create_directories(folder, problem);
  if (problem) throw Prevented(named, problem.message(), adviceFor(problem.value()));
  const auto work = [this, folder, base](Session& session, DeviceResult& result) {
    OpenedDevice device(session.options);
    if (out_) {
      result.report = folder / nameFor(result.root, ".json");
      writeReport(session, device, result.report);
      return ExitStatus::Done;
    }
    const DevicePage page = pageOf(session, device);
    const auto file = folder / nameFor(result.root, ".html");
    writeFile(file, page.text);
    result.page = file.lexically_normal().lexically_proximate(base.lexically_normal());
    result.findings = codesOf(page.story.findings);
    if (page.story.settings && page.story.settings->contains(kPlistVersionKey)) {
      result.versionBefore = versionOf(*page.story.settings);
    }
    return ExitStatus::Done;
  };
  return {.name = "report", .work = work, .changesDevices = false, .listsDevices = false};
}

ExitStatus ReportCommand::runOnOne(Session& session) {
  if (root_) useRoot(session, *root_);
  OpenedDevice device(session.options);
  const std::string& file = html_ ? *html_ : *out_;
  const Counts counts = html_ ? writePage(session, device) : writeReport(session, device, file);
  session.changed = true;
  Output& output = session.output;
  if (output.json()) {
    output.document("report-summary", {{"file", file}, {"replaced", forScripts(counts)}});
  } else {
    tell(output, file, counts);
  }
  return ExitStatus::Done;
}

void ReportCommand::tell(Output& output, const std::string& file, const Counts& counts) const {
  if (reveal_) {
    output.line("Wrote " + file + ". It shows everything but passwords and tokens.");
    return;
  }
  output.line("Wrote " + file + ". In it stand-ins take the place of:");
  for (const Redactor::Count& each : counts) {
    output.line("  " + padded(each.kind, 11) + counted(each.values, "value", "values") + " in " +
                counted(each.places, "place", "places"));
  }
  if (counts.empty()) output.line("  nothing");
  output.line(
      "Types, classes, numbers, dates and the keys that programs use are as they were; look it "
      "over before you send it.");
}

}  // namespace accountsettings
