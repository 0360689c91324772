// Inspection puts the parts of an inspection together and keeps what they share.
#include "tool/inspection/Inspection.h"

#include <algorithm>
#include <utility>

#include "account/RecordProblems.h"
#include "migration/MigrationPaths.h"
#include "platform/Presence.h"
#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"
#include "tool/frame/Errors.h"
#include "tool/frame/Words.h"
#include "tool/inspection/FindingKinds.h"
#include "tool/inspection/InspectionParts.h"
#include "tool/inspection/LegacyForecast.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {

std::string_view nameOf(Severity severity) {
  return wordFor(severity, {"note", "warning", "error"});
}

bool anyBlocksMigration(const Findings& findings) {
  return std::any_of(findings.begin(), findings.end(),
                     [](const Finding& finding) { return finding.kind->blocksMigration; });
}

std::int64_t versionOf(const Dictionary& settings) {
  return settings.integer(kPlistVersionKey);
}

std::string quoted(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

std::optional<Result<PropertyList>> readPropertyListAt(const std::string& path) {
  Files& files = ProcessContext::current().platform().files;
  const Result<Bytes> bytes = files.read(path);
  if (bytes) return propertyListIn(*bytes);
  Error error = bytes.error();
  // A file that nobody may look at is not one that is not there.
  const bool mayBeThere = error.code != 0 && !isAbsence(error);
  if (!mayBeThere && files.exists(path).isAbsent()) return std::nullopt;
  // Where the file lies is told beside the reason.
  const std::string place = path + ": ";
  const std::size_t at = error.message.find(place);
  if (at != std::string::npos) error.message.erase(0, at + place.size());
  return Result<PropertyList>(std::move(error));
}

std::string_view nextStepFor(const Error& error) {
  const std::string_view advice = adviceFor(error.code);
  return advice.empty() ? "see 'accountsettings check' for what can be done" : advice;
}

bool isForbidden(const Error& error) {
  return error.code == EACCES || error.code == EPERM;
}

std::optional<std::string> typeProblem(const Dictionary& properties) {
  const RecordProblems problems = recordProblemsOf(properties);
  if (problems.noType) return "has no \"Type\"";
  if (!problems.unknownType) return std::nullopt;
  return "has the type " + quoted(*properties.string(kAccountType)) +
         ", which the type registry does not know";
}

void FindingList::add(finding::Kind kind, std::string meaning) {
  addForAccount(kind, {}, {}, std::move(meaning));
}

void FindingList::addForAccount(finding::Kind kind, const std::string& account, std::string key,
                                std::string meaning, std::string action) {
  if (action.empty()) action = kFindingKinds[kind].action;
  findings_.push_back({&kFindingKinds[kind], file_, account, std::move(key), std::move(meaning),
                       std::move(action)});
}

Findings inspectFiles(const InspectedFiles& files) {
  Findings findings;
  const Dictionary* accounts = nullptr;
  if (const auto& settings = files.settings.content) {
    FindingList list(findings, files.settings.name);
    if (*settings) {
      inspectSettingsRoot(**settings, list);
      accounts = (*settings)->dictionary();
    } else if (isForbidden(settings->error())) {
      list.add(finding::kForbidden, "The file may not be read (" + settings->error().message +
                                        "), so that nothing can be told about what it holds.");
    } else {
      list.add(finding::kUnreadable, "The file cannot be read as a property list (" +
                                         settings->error().message +
                                         "): it counts as empty, and a save would replace it.");
    }
  }
  inspectLegacyFiles(legacyFilesOf(files), accounts, findings);
  return findings;
}

namespace {

InspectedFile fileAt(const std::string& path) {
  return {path, readPropertyListAt(path)};
}

// Whether a migration may have come to its end while these files of a root were read.
bool migratedMeanwhile(const InspectedFiles& files) {
  Files& root = ProcessContext::current().platform().files;
  const auto isGone = [&](const InspectedFile& file) {
    return file.content && root.exists(file.name).isAbsent();
  };
  return isGone(files.legacyExchange) || isGone(files.legacyMail) ||
         (!files.settings.content && root.exists(files.settings.name).isThere());
}

}  // namespace

InspectedFiles filesOfRoot(const std::optional<Dictionary>& settings) {
  constexpr int kMostReadings = 3;
  for (int reading = 1;; ++reading) {
    // A migration removes the legacy files first: of one that begins later they are here, and of
    // one that is over the settings are.
    InspectedFiles files;
    files.legacyExchange = fileAt(daAccountPath());
    files.legacyMail = fileAt(mailAccountsPath());
    const std::string path = accountSettingsAccountsPath();
    files.settings = settings ? InspectedFile{path, PropertyList(*settings)} : fileAt(path);
    if (settings || reading == kMostReadings || !migratedMeanwhile(files)) return files;
  }
}

std::size_t accountsIn(const InspectedFiles& files) {
  const auto& settings = files.settings.content;
  const Dictionary* root = settings && *settings ? (*settings)->dictionary() : nullptr;
  return root == nullptr ? 0 : root->arrayOrEmpty(kPlistAccountsKey).size();
}

Findings inspectRoot(OpenedRoot& device, const InspectedFiles& files) {
  InspectedFiles judged = files;
  if (ProcessContext::current().platform().files.exists(removalSentinelPath()).isThere()) {
    // The next migration converts nothing, and inspectSurroundings() tells what it deletes.
    judged.legacyExchange.content.reset();
    judged.legacyMail.content.reset();
  }
  Findings findings = inspectFiles(judged);
  inspectSurroundings(device, files.seen, findings);
  return findings;
}

}  // namespace accountsettings
