// How the history is kept and told.
#include "tool/backup/History.h"

#include <algorithm>
#include <chrono>

#include "account/StringList.h"
#include "host/LinuxFiles.h"
#include "migration/MigrationSteps.h"
#include "plist/XmlScalars.h"
#include "staging/Backup.h"
#include "tool/frame/Json.h"
#include "tool/frame/Terminal.h"
#include "tool/frame/Version.h"

namespace accountsettings {

namespace {

constexpr std::size_t kMostBytes = 1 << 20;
constexpr unsigned kPrivate = 0700;
constexpr double kSecondsFrom1970To2001 = 978'307'200;

double now() {
  using namespace std::chrono;
  const auto since1970 = duration_cast<seconds>(system_clock::now().time_since_epoch());
  return static_cast<double>(since1970.count()) - kSecondsFrom1970To2001;
}

// The text of the file; empty where there is none.
Result<std::string> readText(LinuxFiles& files) {
  const Result<Bytes> bytes = files.read(historyPath());
  if (bytes) return std::string(reinterpret_cast<const char*>(bytes->data()), bytes->size());
  if (isAbsence(bytes.error())) return std::string();
  return bytes.error();
}

// The newest lines of the text that are not too much, the last one in any case.
std::string_view newestOf(std::string_view text) {
  if (text.size() <= kMostBytes) return text;
  const std::size_t last = text.rfind('\n', text.size() - 2);
  if (last == std::string_view::npos) return text;
  return text.substr(std::min(text.find('\n', text.size() - kMostBytes), last) + 1);
}

Status add(OpenedRoot& device, const Dictionary& entry) {
  LinuxFiles& files = device.files();
  const Result<FileAttributes> there = files.attributes(backupsDirectory());
  if (!there && !isAbsence(there.error())) return there.error();
  if (there && there->kind != FileAttributes::Kind::Directory) {
    return Error{device.shown(backupsDirectory()) + ": it must be a directory, and no link to one"};
  }
  Result<std::string> text = readText(files);
  if (!text) return text.error();
  const Result<std::string> line = toJson(entry, JsonForm::Compact);
  if (!line) return line.error();
  if (!text->empty() && !text->ends_with('\n')) *text += '\n';  // what was torn is not made worse
  const std::string_view newest = newestOf(text->append(*line).append("\n"));
  if (!there) {
    if (Status made = files.makeDirectory(backupsDirectory(), kPrivate); !made) return made;
  }
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(newest.data());
  return files.writeAtomically(historyPath(), {bytes, newest.size()});
}

void append(std::string& text, std::string_view before, const std::string& what) {
  if (!what.empty()) text.append(before).append(what);
}

std::string textUnder(const Dictionary& entry, std::string_view key) {
  return std::string(entry.string(key).value_or(""));
}

std::string listUnder(const Dictionary& entry, std::string_view key) {
  return joined(stringListOf(entry.find(key)).value_or(StringList()), ", ");
}

std::string versionsIn(const Dictionary& entry) {
  const std::string to = std::to_string(entry.integer(history::kToVersion));
  if (!entry.contains(history::kToVersion)) return "";
  if (!entry.contains(history::kFromVersion)) return "to version " + to;
  return "from version " + std::to_string(entry.integer(history::kFromVersion)) + " to " + to;
}

std::string stepsIn(const Dictionary& entry) {
  const StringList steps = stringListOf(entry.find(history::kSteps)).value_or(StringList());
  return steps.empty() ? "" : counted(steps.size(), "step", "steps");
}

std::string keysIn(const Dictionary& entry, bool all) {
  constexpr std::size_t kFew = 3;
  const StringList keys = stringListOf(entry.find(history::kKeys)).value_or(StringList());
  return all || keys.size() <= kFew ? joined(keys, ", ") : counted(keys.size(), "key", "keys");
}

}  // namespace

std::string historyPath() {
  return appendPathComponent(backupsDirectory(), "history");
}

void addToHistory(Session& session, OpenedRoot& device, Dictionary entry) {
  Dictionary whole{{history::kTime, PropertyList::date(now())},
                   {history::kUserIdentifier, terminal::userIdentifier()},
                   {history::kUser, terminal::userName()},
                   {history::kToolVersion, kToolVersion}};
  for (const auto& each : entry) whole.set(each.key(), each.value());
  const Status added = add(device, whole);
  if (!added) session.output.note("the history does not tell of this: " + added.error().message);
  session.leave(std::move(entry));
}

History requireHistory(OpenedRoot& device) {
  const Result<std::string> text = readText(device.files());
  if (!text) throw Prevented("", text.error(), "remove the cause and try again");
  History history;
  for (std::size_t at = 0; at < text->size();) {
    const std::size_t end = std::min(text->find('\n', at), text->size());
    const Result<PropertyList> entry = fromJson(std::string_view(*text).substr(at, end - at));
    if (entry && entry->dictionary() != nullptr) {
      history.entries.push_back(*entry->dictionary());
    } else {
      ++history.damaged;
    }
    at = end + 1;
  }
  return history;
}

std::vector<Dictionary> runsSince(const History& history, const std::string& backup) {
  const auto& entries = history.entries;
  auto each = std::find_if(entries.begin(), entries.end(), [&](const Dictionary& entry) {
    return entry.string(history::kBackup) == backup;
  });
  std::vector<Dictionary> since;
  for (; each != entries.end(); ++each) {
    const bool isItself = each->string(history::kBackup) == backup;
    if (!isItself && each->string(history::kCommand) != "prune") since.push_back(*each);
  }
  return since;
}

Dictionary runOf(const Dictionary& entry) {
  Dictionary run = entry;
  run.remove(history::kChanges);
  run.remove(history::kChangesLeftOut);
  return run;
}

std::string alsoUndoneInWords(std::size_t runs) {
  return runs == 0 ? "" : "that also undoes " + counted(runs, "later run", "later runs");
}

const Dictionary* pruningOf(const History& history, const std::string& backup) {
  const auto each =
      std::find_if(history.entries.rbegin(), history.entries.rend(), [&](const Dictionary& entry) {
        return containsString(entry.arrayOrEmpty(history::kPruned), backup);
      });
  return each == history.entries.rend() ? nullptr : &*each;
}

std::string timeOf(const Dictionary& entry) {
  const PropertyList* time = entry.find(history::kTime);
  const auto seconds = time == nullptr ? std::nullopt : time->dateSeconds();
  return seconds ? detail::formatDate(*seconds).value_or("?") : "?";
}

std::string userOf(const Dictionary& entry) {
  const std::string name = textUnder(entry, history::kUser);
  const std::string number = std::to_string(entry.integer(history::kUserIdentifier));
  return name.empty() ? "uid " + number : name + " (" + number + ")";
}

std::string historyLine(const Dictionary& entry, bool namesAllKeys) {
  std::string text = timeOf(entry) + "  by " + userOf(entry) + ", " +
                     textUnder(entry, history::kToolVersion) + "  " +
                     textUnder(entry, history::kCommand);
  append(text, " ", textUnder(entry, history::kAccount));
  append(text, " ", textUnder(entry, history::kRestored));
  append(text, " ", versionsIn(entry));
  append(text, ", ", stepsIn(entry));
  append(text, ": ", keysIn(entry, namesAllKeys));
  append(text, ", ", textUnder(entry, history::kOutcome));
  append(text, ", pruned ", listUnder(entry, history::kPruned));
  return text;
}

}  // namespace accountsettings
