// The racers are processes; what they did they tell through a pipe.
#include "faults/Racing.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <sstream>
#include <vector>

#include "faults/Program.h"

namespace accountsettings::faults {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kEditors = 3;

std::vector<std::string> identifiersIn(const DiskTree& device) {
  std::vector<std::string> identifiers;
  const auto settings = propertyListAt(device, kSettings);
  for (const PropertyList& each : settings->dictionary()->arrayOrEmpty("Accounts")) {
    identifiers.emplace_back(each.dictionary()->string("Identifier").value_or(""));
  }
  return identifiers;
}

// What was last stored in each account, by its identifier.
std::map<std::string, std::string> namesIn(const DiskTree& device) {
  std::map<std::string, std::string> names;
  const auto settings = propertyListAt(device, kSettings);
  if (!settings) return names;
  const auto enter = [&](const Dictionary& account) {
    names[std::string(account.string("Identifier").value_or(""))] =
        account.string("DisplayName").value_or("");
  };
  for (const PropertyList& each : settings->dictionary()->arrayOrEmpty("Accounts")) {
    enter(*each.dictionary());
    for (const PropertyList& child : each.dictionary()->arrayOrEmpty("ChildAccounts")) {
      enter(*child.dictionary());
    }
  }
  return names;
}

// Why the program must not have ended so while others worked on the same device; empty where it
// may.
std::string wrongEnd(const std::string& what, int status, const std::string& words) {
  const auto tells = [&](const char* text) { return words.find(text) != std::string::npos; };
  const bool isWrong = status >= 4 || tells("no rule explains") || tells("cut short") ||
                       tells("--accept-loss") || (what == "migrate" && status != 0 && status != 3);
  return isWrong ? what + " answered " + std::to_string(status) + ":" + words : "";
}

class Race {
 public:
  Race(std::filesystem::path root, double seconds)
      : root_(std::move(root)),
        end_(Clock::now() +
             std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds))) {
    if (::pipe(ends_) != 0) ends_[0] = ends_[1] = -1;
  }

  // Begins a process that runs a command again and again; `command` makes it from its number. What
  // was done is told in lines of `what` and the number.
  void begin(const std::string& what,
             const std::function<std::vector<std::string>(int number)>& command) {
    const pid_t child = ::fork();
    if (child != 0) {
      children_.push_back(child);
      return;
    }
    for (int number = 1; Clock::now() < end_; ++number) {
      std::vector<std::string> arguments = command(number);
      arguments.insert(arguments.end(), {"--root", root_});
      const Told told = runProgram(arguments);
      const std::string words =
          told.words.substr(0, std::min<std::size_t>(told.words.find('\n'), 200));
      std::string line = what;
      line.append(" ").append(std::to_string(number));
      line.append(" ").append(std::to_string(told.status));
      line.append(" ").append(words).append("\n");
      (void)!::write(ends_[1], line.data(), line.size());
    }
    ::_exit(0);
  }

  // The lines that were told, when all have ended.
  [[nodiscard]] std::string end() {
    ::close(ends_[1]);
    std::string lines;
    char buffer[4096];
    for (ssize_t got; (got = ::read(ends_[0], buffer, sizeof buffer)) > 0;) {
      lines.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(ends_[0]);
    for (const pid_t child : children_) ::waitpid(child, nullptr, 0);
    return lines;
  }

 private:
  std::filesystem::path root_;
  Clock::time_point end_;
  int ends_[2] = {-1, -1};
  std::vector<pid_t> children_;
};

}  // namespace

namespace {

enum class Racers { Edits, Restores, Migrations };

RaceResult round(const DiskTree& device, const std::filesystem::path& root, double seconds,
                 Racers racers) {
  const bool withRestores = racers == Racers::Restores;
  const bool migrates = racers == Racers::Migrations;
  writeTree(device, root);
  const std::vector<std::string> identifiers = identifiersIn(device);
  Race race(root, seconds);
  for (std::size_t i = 0; i < kEditors; ++i) {
    race.begin("edit " + identifiers[i], [&](int number) -> std::vector<std::string> {
      return {"set", identifiers[i], "DisplayName", "number " + std::to_string(number)};
    });
  }
  race.begin("show -", [](int) -> std::vector<std::string> { return {"show"}; });
  race.begin("plan -", [](int) -> std::vector<std::string> { return {"plan"}; });
  race.begin("migrate -", [](int) -> std::vector<std::string> { return {"migrate"}; });
  if (migrates)
    race.begin("migrate -", [](int) -> std::vector<std::string> { return {"migrate"}; });
  if (withRestores)
    race.begin("restore -", [](int) -> std::vector<std::string> { return {"restore"}; });

  RaceResult result;
  std::map<std::string, int> last;  // number of the last edit that was done, by account
  std::istringstream lines(race.end());
  std::string what;
  std::string account;
  int number = 0;
  int status = 0;
  std::string words;
  while (lines >> what >> account >> number >> status && std::getline(lines, words)) {
    ++result.commands;
    if (what == "edit" && status == 0) {
      ++result.edits;
      last[account] = number;
    }
    if (status >= 1000) result.problem = what + " ended by a signal";
    if (migrates) {
      if (std::string wrong = wrongEnd(what, status, words); !wrong.empty()) result.problem = wrong;
      if (what == "migrate" && status == 0) ++result.migrations;
    }
    // A reader sees the file before an edit or after it, never a part; or it says that the file
    // keeps changing.
    const bool reads = what == "show" || what == "plan";
    if (reads && status > 1 && words.find("keeps changing") == std::string::npos) {
      result.problem = what;
      result.problem.append(" answered ").append(std::to_string(status)).append(":").append(words);
    }
  }
  const DiskTree disk = readTree(root);
  if (std::string wrong = settingsAreWhole(disk); !wrong.empty()) result.problem = wrong;
  if (std::string lost = noAccountIsLost(accountsInUse(device), disk); !lost.empty()) {
    result.problem = lost;
  }
  const auto names = namesIn(disk);
  for (const auto& [identifier, count] : last) {
    const auto found = names.find(identifier);
    const std::string meant = "number " + std::to_string(count);
    if (!withRestores && (found == names.end() || found->second != meant)) {
      result.problem = "the edit '";
      result.problem.append(meant).append("' of ").append(identifier).append(" is lost");
    }
  }
  if (result.problem.empty()) result.problem = nothingTemporaryIsLeft(disk);
  return result;
}

}  // namespace

RaceResult race(const DiskTree& device, const std::filesystem::path& root, double seconds,
                bool withRestores) {
  return round(device, root, seconds, withRestores ? Racers::Restores : Racers::Edits);
}

RaceResult raceOfMigrations(const DiskTree& device, const std::filesystem::path& root,
                            double seconds) {
  constexpr double kRound = 0.25;
  RaceResult all;
  for (double gone = 0; gone < seconds && all.problem.empty(); gone += kRound) {
    const RaceResult each = round(device, root, kRound, Racers::Migrations);
    all.commands += each.commands;
    all.edits += each.edits;
    all.migrations += each.migrations;
    all.problem =
        each.migrations == 0 && each.problem.empty() ? "nobody could migrate" : each.problem;
  }
  return all;
}

}  // namespace accountsettings::faults
