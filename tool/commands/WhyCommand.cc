// `why`: one answer about an account or a legacy file, with the findings about it and what the
// history tells of it.
#include "tool/commands/WhyCommand.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <utility>

#include "host/LinuxFiles.h"
#include "migration/MigrationPaths.h"
#include "tool/accounts/AccountNaming.h"
#include "tool/accounts/AccountTree.h"
#include "tool/backup/AccountHistory.h"
#include "tool/backup/BackupAccess.h"
#include "tool/backup/DeviceInspection.h"
#include "tool/backup/HistoryChanges.h"
#include "tool/device/KnownPresence.h"
#include "tool/editing/AccountInBackup.h"
#include "tool/frame/Words.h"
#include "tool/inspection/FindingsText.h"
#include "tool/inspection/LegacyForecast.h"

namespace accountsettings {

namespace {

namespace fs = std::filesystem;

// What became of an account, or becomes of a legacy file.
enum class State {
  Loaded,
  NotLoaded,
  Gone,          // the account was dropped or removed
  InLegacyFile,  // the account waits there
  WillConvert,   // the next migration takes the file's accounts over
  WillNotConvert,
  Converted,
  NotConverted,
  Absent  // there is no such file, and nobody knows of one
};

std::string_view nameOf(State state) {
  return wordFor(state, {"loaded", "not-loaded", "gone", "in-legacy-file", "will-convert",
                         "will-not-convert", "converted", "not-converted", "absent"});
}

bool isGood(State state) {
  return state == State::Loaded || state == State::WillConvert || state == State::Converted;
}

struct Answer {
  State state = State::Absent;
  std::string text;    // one sentence
  std::string reason;  // of a state that is not good; empty where nobody knows
  Findings findings;
  std::vector<AccountEvent> events;
  std::string undo;            // the command that brings a lost account back; empty where none does
  std::size_t alsoUndone = 0;  // later runs, by that command
};

// What is known of the device.
struct Known {
  OpenedRoot& device;
  InspectedFiles files;
  std::vector<LegacyFile> legacyFiles;
  Findings findings;
  History history;
};

Known lookAt(OpenedRoot& device) {
  InspectedFiles files = filesOfRoot();
  std::vector<LegacyFile> legacy = legacyFilesOf(files);
  Findings findings = inspectDevice(device, files);
  return {device, std::move(files), std::move(legacy), std::move(findings), requireHistory(device)};
}

// Why the file's accounts are not taken over by the next migration; empty where they are.
std::string whyNotConverted(const Known& known, const LegacyFile& file) {
  if (isThere(known.device.files(), removalSentinelPath())) {
    return "an earlier removal of the legacy files was interrupted, and the next migration only "
           "finishes it";
  }
  return whyNotConverted(file);
}

std::string withReason(std::string text, const std::string& reason) {
  return text + (reason.empty() ? "." : ": " + reason + ".");
}

// MARK: Legacy files

bool isSameFile(const std::string& left, const std::string& right) {
  std::error_code none;
  return fs::weakly_canonical(left, none) == fs::weakly_canonical(right, none);
}

const LegacyFile& legacyFileNamed(const Known& known, const std::string& subject) {
  for (const LegacyFile& each : known.legacyFiles) {
    if (subject == each.path || isSameFile(subject, known.device.shown(each.path))) return each;
  }
  throw Prevented(subject, "it is no legacy file of this device",
                  "these are " + known.device.shown(known.legacyFiles.front().path) + " and " +
                      known.device.shown(known.legacyFiles.back().path) +
                      "; 'accountsettings check' looks at the settings",
                  FailureCode::NotFound);
}

Answer aboutMissingFile(const Known& known, const LegacyFile& file) {
  Answer answer;
  answer.events = eventsOfFile(known.history, file.path);
  if (answer.events.empty()) {
    answer.text = file.path + " is not there, and the history tells of no run that met it.";
    return answer;
  }
  // The last run that met it tells; one that takes it over tells of each account.
  const Dictionary& last = *answer.events.back().change;
  if (last.string(history::kFate) != history::kNotConverted) {
    const Dictionary* run = answer.events.back().entry;
    const auto taken = static_cast<std::size_t>(
        std::count_if(answer.events.begin(), answer.events.end(),
                      [&](const AccountEvent& each) { return each.entry == run; }));
    answer.state = State::Converted;
    answer.text =
        file.path + " was converted: a migration took over " +
        (run->boolean(history::kChangesLeftOut)
             ? "its accounts; the history had no room for more than " + std::to_string(taken) + "."
             : counted(taken, "account", "accounts") + " of it.");
    return answer;
  }
  answer.state = State::NotConverted;
  answer.reason = last.string(history::kRule).value_or("");
  answer.text = withReason(file.path + " was removed and not converted", answer.reason);
  return answer;
}

Answer aboutFile(const Known& known, const std::string& subject) {
  const LegacyFile& file = legacyFileNamed(known, subject);
  if (!file.exists) return aboutMissingFile(known, file);
  Answer answer;
  answer.reason = whyNotConverted(known, file);
  answer.state = answer.reason.empty() ? State::WillConvert : State::WillNotConvert;
  answer.text = answer.reason.empty()
                    ? "The next migration takes over the " +
                          counted(file.descriptionCount(), "account", "accounts") + " of " +
                          file.path + "."
                    : withReason(file.path + " is not going to be converted", answer.reason);
  std::copy_if(known.findings.begin(), known.findings.end(), std::back_inserter(answer.findings),
               [&](const Finding& each) {
                 return each.file == file.path || each.file == removalSentinelPath();
               });
  return answer;
}

// MARK: Accounts

const AccountNode* nodeIn(const std::vector<AccountNode>& accounts, const std::string& identifier) {
  const AccountNode* found = nullptr;
  for (const AccountNode& each : accounts) {
    // Of several of one identifier the last is loaded; the trouble is with those before it.
    const AccountNode* here =
        each.identifier == identifier ? &each : nodeIn(each.children, identifier);
    if (here != nullptr && (found == nullptr || found->notLoaded.empty())) found = here;
  }
  return found;
}

// The one that is named by its place.
const AccountNode* nodePlaced(const std::vector<AccountNode>& accounts, const std::string& name) {
  const AccountNode* found = nullptr;
  forEachNode(accounts, [&](const AccountNode& each) {
    if (!name.empty() && each.placeName == name) found = &each;
  });
  // Whoever asks changes nothing: any place will do.
  for (const AccountNode& each : accounts) {
    if (placeName(each.index) == name) found = &each;
  }
  return found;
}

std::string titleOf(const AccountNode& account) {
  std::string text =
      "Account " + (account.placeName.empty() ? account.identifier : account.placeName);
  const std::string title = accountTitle(account.properties);
  if (!title.empty()) text += " (" + title + ")";
  return text;
}

// Whether the finding is about the account, or one of its children.
bool isAbout(const Finding& finding, const std::string& account) {
  if (account.empty()) return false;
  return finding.account == account || finding.account.starts_with(account + "/") ||
         finding.account.ends_with("/" + account);
}

void addFindings(const Known& known, const AccountNode& account, Answer& answer) {
  std::copy_if(known.findings.begin(), known.findings.end(), std::back_inserter(answer.findings),
               [&](const Finding& each) {
                 return isAbout(each, account.identifier) || isAbout(each, account.placeName);
               });
}

Answer aboutStored(const Known& known, const AccountNode& node) {
  Answer answer;
  answer.state = node.notLoaded.empty() ? State::Loaded : State::NotLoaded;
  answer.reason = node.notLoaded;
  answer.text = node.notLoaded.empty()
                    ? titleOf(node) + " is loaded."
                    : withReason(titleOf(node) + " is not loaded", answer.reason);
  addFindings(known, node, answer);
  return answer;
}

// Of an account that a legacy file describes; none where none does.
std::optional<Answer> aboutDescribed(const Known& known, const std::string& account) {
  for (const LegacyFile& file : known.legacyFiles) {
    const auto tree = legacyTreeOf(file.content, *file.format);
    const AccountNode* node = nodeIn(tree.accounts, account);
    if (node == nullptr) continue;
    Answer answer;
    answer.state = State::InLegacyFile;
    answer.reason = whyNotConverted(known, file);
    answer.text =
        titleOf(*node) + " is in no settings yet, but in " + file.path +
        (answer.reason.empty() ? ", which the next migration takes over."
                               : ", which is not going to be converted: " + answer.reason + ".");
    addFindings(known, *node, answer);
    return answer;
  }
  return std::nullopt;
}

// What took the account away, when and by whom.
std::string goneBy(const Dictionary& run) {
  const std::string command(run.string(history::kCommand).value_or(""));
  const std::string who = userOf(run) + ", at " + timeOf(run);
  if (command == "migrate") return "a migration dropped it, run by " + who;
  if (command == "restore") {
    return "backup " + std::string(run.string(history::kRestored).value_or("")) +
           ", which lacks it, was put back by " + who;
  }
  return "the command '" + command + "' took it away, run by " + who;
}

// Why the account went: by which rule of a migration. A restore may have brought about again what
// that did.
std::string ruleThatDropped(const AccountHistory& told) {
  std::string rule;
  for (const AccountEvent& each : told.events) {
    if (each.change->string(history::kFate) != history::kRemoved) continue;
    const std::string now(each.change->string(history::kRule).value_or(""));
    const bool isRestored = each.entry->string(history::kCommand) == "restore";
    if (!now.empty() || !isRestored) rule = now;
  }
  return rule;
}

Answer aboutGone(const Known& known, const std::string& account) {
  Answer answer;
  answer.state = State::Gone;
  const AccountHistory told = accountHistoryOf(known.history, account);
  answer.events = told.events;
  answer.text = "Account " + account + " is not on the device any more";
  if (const AccountEvent* removal = removalIn(told)) {
    answer.reason = ruleThatDropped(told);
    answer.text += ": " + goneBy(*removal->entry);
    const auto backup = removal->entry->string(history::kBackup);
    const auto manifest = backup ? backupNamed(known.device, *backup) : std::nullopt;
    if (manifest) {
      std::vector<std::string> words{"restore", manifest->name};
      if (accountInBackup(known.device, *manifest, account)) {
        words.insert(words.end(), {"--account", account});
      } else {
        answer.alsoUndone = runsSince(known.history, manifest->name).size();
      }
      answer.undo = known.device.commandLine(words);
    }
  }
  answer.text = withReason(answer.text, answer.reason);
  return answer;
}

Answer aboutAccount(const Known& known, const std::string& typed) {
  const auto& settings = known.files.settings.content;
  AccountTree tree;
  if (settings && *settings) tree = accountTreeOf(**settings);
  if (const AccountNode* node = nodePlaced(tree.accounts, typed)) return aboutStored(known, *node);
  const std::string account = accountMeantBy(typed, known.files, known.history);
  if (const AccountNode* node = nodeIn(tree.accounts, account)) return aboutStored(known, *node);
  // One that has another identifier now is told of as what it is now.
  for (const std::string& each : accountHistoryOf(known.history, account).identifiers) {
    if (const AccountNode* node = nodeIn(tree.accounts, each)) return aboutStored(known, *node);
  }
  if (auto answer = aboutDescribed(known, account)) return *std::move(answer);
  return aboutGone(known, account);
}

}  // namespace

void WhyCommand::describe(OptionSet& options) {
  options.argument(
      "ACCOUNT", subject_,
      "An account's identifier, now or before, or the beginning of one, or its name, or its place "
      "('#3'); or the path of a legacy file");
  options.example("accountsettings why 5A0DE000-0001-4000-8000-000000000001 --root old",
                  "Whether an account is loaded, and why not, or where it went.");
  options.example(
      "accountsettings why old/var/mobile/Library/Mail/Accounts.plist",
      "Why a legacy file is not, or was not, converted; status 1 tells that it was not.");
}

ExitStatus WhyCommand::run(Session& session) {
  const bool isFile = subject_.find('/') != std::string::npos;
  std::optional<OpenedRoot> device(std::in_place, session.options, DefaultLog::Nowhere);
  if (isFile && session.options.root == "/") {
    // A file of a mounted device tells by its place which device is meant.
    const std::string above = device->deviceAbove(subject_);
    if (!above.empty()) {
      session.options.root = above;
      device.reset();
      device.emplace(session.options, DefaultLog::Nowhere);
    }
  }
  device->requireDevice();
  const Known known = lookAt(*device);
  const Answer answer = isFile ? aboutFile(known, subject_) : aboutAccount(known, subject_);
  const ShownPath shown = ShownPath::of(*device);
  Output& output = session.output;
  if (output.json()) {
    Dictionary document{{"subject", subject_},
                        {"kind", isFile ? "file" : "account"},
                        {"state", nameOf(answer.state)},
                        {"answer", answer.text},
                        {"findings", findingsForScripts(answer.findings, shown)},
                        {"events", eventsForScripts(answer.events)}};
    if (!answer.reason.empty()) document.set("reason", answer.reason);
    if (!answer.undo.empty()) {
      document.set("undo", answer.undo);
      document.set("alsoUndone", answer.alsoUndone);
    }
    output.document("why", document);
  } else {
    output.paragraph("", answer.text, Colour::Bold);
    writeFindings(output, answer.findings, shown);
    if (!answer.undo.empty()) {
      output.line("Bring it back with: " + answer.undo);
      const std::string also = alsoUndoneInWords(answer.alsoUndone);
      if (!also.empty()) {
        output.line("  " + also + "; with --dry-run it tells them");
      }
    }
    writeEvents(output, answer.events, undoWhereKept(*device, known.history),
                {.verbosely = device->commandLine({"history", subject_, "-v"})});
  }
  return isGood(answer.state) ? ExitStatus::Done : ExitStatus::No;
}

}  // namespace accountsettings
