// What a device's page says, under the names of its template (DevicePage.html).
#include "tool/page/DevicePage.h"

#include <algorithm>
#include <utility>

#include "account/StringList.h"
#include "migration/MigrationPaths.h"
#include "migration/MigrationSteps.h"
#include "store/AccountsManager.h"
#include "tool/frame/Json.h"
#include "tool/frame/Version.h"
#include "tool/inspection/FindingsText.h"
#include "tool/migration/DeviceRedaction.h"
#include "tool/page/AccountDetails.h"
#include "tool/page/AccountMap.h"
#include "tool/page/DamagedBytes.h"
#include "tool/page/PageContext.h"
#include "tool/page/PageTexts.h"
#include "tool/page/Template.h"

namespace accountsettings {
namespace {

std::string asSentence(std::string text) {
  if (text.front() >= 'a' && text.front() <= 'z')
    text.front() = static_cast<char>(text.front() - 32);
  return text.ends_with('.') ? text : text + ".";
}

// What the page says first.
struct Verdict {
  enum class Tone { Plain, Good, Warning, Bad };
  Tone tone = Tone::Plain;
  std::string headline;
  std::vector<std::string> sentences;
};

// "version 0 to 12 in 12 steps".
std::string courseOf(const MigrationSummary& migration) {
  const auto& before = migration.decision.version;
  const std::string after = std::to_string(migration.versionAfter);
  std::string text = !before ? "to version " + after
                     : *before == migration.versionAfter
                         ? "version " + after
                         : "version " + std::to_string(*before) + " to " + after;
  if (migration.steps.empty()) return text;
  return text + " in " + counted(migration.steps.size(), "step", "steps");
}

// Whether the migration that kept the backup ran the steps of this one.
bool ranTheseSteps(const BackupManifest& backup, const MigrationSummary& migration) {
  std::vector<std::string> steps;
  for (const StepRecord& each : migration.steps) steps.push_back(each.step);
  return stringListOf(backup.outcome.find(outcome::kSteps)).value_or(StringList()) == steps;
}

Verdict verdictOnPast(const PageContext& page) {
  using Tone = Verdict::Tone;
  const BackupManifest& backup = *page.story.backup;
  Verdict verdict{Tone::Good, "Migrated: " + courseOf(*page.story.migration), {}};
  verdict.sentences.push_back("Before is what the backup " + backup.name +
                              " keeps; after is what the device holds now.");
  if (!ranTheseSteps(backup, *page.story.migration)) {
    verdict.sentences.emplace_back(
        "It ran other steps than this program would: what is said of steps and rules is this "
        "program's.");
  }
  if (anyBlocksMigration(page.story.findings)) {
    verdict.tone = Tone::Warning;
    verdict.sentences.emplace_back("The findings below come first.");
  }
  if (backup.isBroken()) {
    verdict.tone = Tone::Bad;
    verdict.headline = "The last migration did not end as was meant";
    verdict.sentences.push_back("Put the backup back with: " +
                                page.command({"restore", backup.name}));
  } else if (const PropertyList* result = backup.outcome.find(outcome::kResult);
             result != nullptr && !result->booleanValue()) {
    verdict.tone = Tone::Warning;
    verdict.headline = "The last migration answered no: it stopped half-way";
  }
  return verdict;
}

// Whether the problem is one that the findings tell.
bool isFinding(const Findings& findings, std::string_view problem) {
  return std::any_of(findings.begin(), findings.end(), [&](const Finding& each) {
    std::string_view meaning = each.meaning;
    if (meaning.ends_with('.')) meaning.remove_suffix(1);
    return each.kind->blocksMigration && problem.ends_with(meaning);
  });
}

Verdict verdictOnPlan(const PageContext& page) {
  using Tone = Verdict::Tone;
  const MigrationSummary& plan = *page.story.migration;
  Verdict verdict{Tone::Plain, "", plan.decision.reasons};
  if (plan.outcome == SummaryOutcome::Refused) {
    verdict.tone = Tone::Bad;
    verdict.headline = "A migration would be refused";
    for (const MigrationProblem& each : plan.problems) {
      if (!isFinding(page.story.findings, each.text)) {
        verdict.sentences.push_back(asSentence(each.text));
      }
    }
    if (anyBlocksMigration(page.story.findings)) {
      verdict.sentences.emplace_back("What is found on the device stands against it, see below.");
    }
    verdict.sentences.push_back("Nothing was touched. What to do: " + plan.advice + ".");
  } else if (plan.outcome == SummaryOutcome::AnsweredNo) {
    verdict.tone = Tone::Bad;
    verdict.headline = "A migration would answer no and stop half-way";
  } else if (plan.decision.pending()) {
    verdict.headline = "A migration is pending: " + courseOf(plan);
  } else {
    verdict.tone = page.story.findings.empty() ? Tone::Good : Tone::Warning;
    verdict.headline = "No migration is needed: " + courseOf(plan);
  }
  return verdict;
}

Verdict verdictOn(const PageContext& page) {
  const DeviceStory& story = page.story;
  Verdict verdict{Verdict::Tone::Bad, "What a migration would do cannot be told", {}};
  if (story.migration) verdict = page.wasDone() ? verdictOnPast(page) : verdictOnPlan(page);
  if (!story.problem.empty()) verdict.sentences.push_back(asSentence(story.problem));
  return verdict;
}

void addVerdict(const PageContext& page, Dictionary& data) {
  using Tone = Verdict::Tone;
  const Verdict verdict = verdictOn(page);
  data.set("headline", page.told(verdict.headline));
  data.set("isGood", verdict.tone == Tone::Good);
  data.set("isWarning", verdict.tone == Tone::Warning);
  data.set("isBad", verdict.tone == Tone::Bad);
  data.set("sentences", listOf(verdict.sentences, [&](const std::string& each) {
             return Dictionary{{"text", page.told(each)}};
           }));
}

// Settings that cannot be read count as none in a plan, which is no fact about the device.
bool knowsSettings(const DeviceStory& story) {
  return std::none_of(story.damaged.begin(), story.damaged.end(), [](const DamagedFile& each) {
    return each.path == accountSettingsAccountsPath();
  });
}

Array factsOf(const PageContext& page) {
  const DeviceStory& story = page.story;
  Array facts;
  const auto add = [&](std::string_view name, const std::string& value) {
    facts.append(Dictionary{{"name", name}, {"value", value}});
  };
  if (story.tellsWays() && knowsSettings(story)) {
    const MigrationSummary& migration = *story.migration;
    const AccountCounts& counts = migration.ledger.accounts;
    const auto& version = migration.decision.version;
    const auto& after = story.settingsAfter();
    add("Version before", version ? std::to_string(*version) : "none");
    add("Version after", after ? std::to_string(versionOf(*after)) : "none");
    add("Accounts before", std::to_string(counts.before()));
    add("Accounts after", std::to_string(counts.after()));
    add("Accounts dropped", std::to_string(counts.dropped));
  }
  add("Findings", countsInWords(story.findings));
  add("Backup", story.backup ? story.backup->name : "none");
  return facts;
}

Dictionary findingsOf(const PageContext& page, const AccountMap& map) {
  const Findings& findings = page.story.findings;
  const std::size_t count = std::min(findings.size(), page.most(kMostLines));
  Array items;
  for (std::size_t i = 0; i < count; ++i) {
    items.append(findingItem(page, findings[i], map.linkToFinding(i)));
  }
  return {{"inWords", countsInWords(findings)},
          {"items", std::move(items)},
          {"leftOut", leftOutText(findings.size() - count)}};
}

Dictionary bytesForPage(const DamagedBytes& damaged) {
  const auto cell = [](const DamagedBytes::Byte& byte) {
    return Dictionary{{"hex", byte.hex}, {"isHere", byte.isHere}};
  };
  const Array rows = listOf(damaged.rows, [&](const DamagedBytes::Row& row) {
    return Dictionary{
        {"offset", row.offset}, {"text", row.text}, {"cells", listOf(row.bytes, cell)}};
  });
  return {{"size", damaged.size},
          {"isKnown", damaged.place.has_value()},
          {"place", damaged.place.value_or(0)},
          {"placeInHex", damaged.placeInHex},
          {"rows", rows}};
}

Array damagedFilesOf(const PageContext& page) {
  return listOf(page.story.damaged, [&](const DamagedFile& file) {
    Dictionary entry{{"path", page.told(file.path)}, {"problem", page.told(file.problem)}};
    if (file.bytes) {
      entry.set("bytes", bytesForPage(damagedBytes(*file.bytes, file.problem)));
    }
    return entry;
  });
}

void addSteps(const PageContext& page, Dictionary& data) {
  Array steps;
  if (page.story.tellsWays()) {
    steps = listOf(page.story.migration->steps, [](const StepRecord& step) {
      return Dictionary{
          {"name", nameOfStep(step.step)},
          {"meaning", meaningOfStep(step.step)},
          {"answersNo", !step.result},
          {"changed", countOfChangedAccounts(step.before, step.after, step.matching)}};
    });
  }
  data.set("hasSteps", !steps.empty());
  data.set("steps", std::move(steps));
}

Dictionary backupForPage(const PageContext& page, const BackupManifest& manifest) {
  using State = BackupFile::State;
  const Array kept = listOf(manifest.files, [&](const BackupFile& file) {
    const bool isThere = file.state != State::Absent;
    Dictionary entry{{"path", page.told(file.path)},
                     {"sha256", file.sha256},
                     {"state", isThere ? "a link" : "there was none"},
                     {"size", ""}};
    if (isThere) entry.set("size", file.attributes.size);
    return entry;
  });
  return {{"name", manifest.name},
          {"madeBy", manifest.toolVersion},
          {"undo", page.command({"restore", manifest.name})},
          {"kept", kept}};
}

void addFiles(const PageContext& page, Dictionary& data) {
  const DeviceStory& story = page.story;
  Array fates;
  if (story.migration && story.migration->outcome != SummaryOutcome::Refused) {
    fates = listOf(story.migration->files, [&](const FileFate& each) {
      return Dictionary{{"path", page.told(each.path)}, {"fate", nameOf(each.fate)}};
    });
  }
  Array sums;
  for (const PlanInput& each : story.sums) {
    // A configuration of this machine is no file of the device.
    if (!each.path.starts_with('/')) continue;
    sums.append(Dictionary{{"path", page.told(each.path)}, {"sha256", each.sha256.value_or("")}});
  }
  data.set("touches", page.wasDone() ? "touched" : "would touch");
  data.set("hasFates", !fates.empty());
  data.set("fates", std::move(fates));
  data.set("hasSums", !sums.empty());
  data.set("sums", std::move(sums));
  if (story.backup) data.set("backup", backupForPage(page, *story.backup));
}

Dictionary dataOf(const PageContext& page, const std::string& madeAt) {
  const bool reveals = page.disclosure.revealsAll();
  Dictionary data{{"toolVersion", kToolVersion},
                  {"madeAt", timeForPeople(madeAt)},
                  {"revealed", reveals},
                  {"root", reveals ? page.device.options().root : ""}};
  const AccountMap map(page);
  const AccountDetails details(page, map);
  addVerdict(page, data);
  data.set("facts", factsOf(page));
  if (!page.story.findings.empty()) data.set("findings", findingsOf(page, map));
  if (!page.story.damaged.empty()) data.set("damaged", Dictionary{{"files", damagedFilesOf(page)}});
  if (const Dictionary drawing = map.drawing(); !drawing.empty()) data.set("map", drawing);
  if (const Dictionary dropped = details.dropped(); !dropped.empty()) data.set("dropped", dropped);
  const Array accounts = details.accounts();
  data.set("hasDetails", !accounts.empty());
  data.set("details", accounts);
  addSteps(page, data);
  addFiles(page, data);
  return data;
}

}  // namespace

DevicePage devicePage(OpenedRoot& device, const DevicePageOptions& options, Output& output) {
  const InspectedFiles files = filesOfRoot();
  DeviceStory story = storyOf(device, files, output);
  Redactor redactor;
  if (!options.reveal) {
    learnDevice(redactor, device, files);
    if (const auto& after = story.settingsAfter()) redactor.learn(*after);
  }
  const Disclosure disclosure(options.reveal ? nullptr : &redactor);
  const PageContext page{device, story, disclosure, options.isLimited};
  const TemplateParts parts{{"head", kPageHead},
                            {"style", kPageStyle},
                            {"item", kAccountItem},
                            {"finding", kFindingItem}};
  std::string text = filledTemplate(kDevicePage, parts, dataOf(page, options.madeAt));
  return {std::move(text), std::move(story), redactor.counts()};
}

}  // namespace accountsettings
