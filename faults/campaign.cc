// The fault campaign: each scenario is run once for every call that reaches the disk, which fails
// with each of its errors, once or for good, or ends the process; and once for every state that a
// power cut may leave. Then the invariants are asked, and an undisturbed run follows. Images that
// mean harm and races of several programs come last.
//
//   faults [--seconds N] [--seed N] [--only TEXT] [--sort SORT] [--part I/N] [--list]
//
// Without --seconds everything is tried. With it, as much is drawn at random as that time allows
// after the preparations. Each minute it tells how far it is; SIGTERM ends it with its figures.
#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "faults/CrashStates.h"
#include "faults/Hostile.h"
#include "faults/Program.h"
#include "faults/Racing.h"
#include "faults/RealProgram.h"
#include "faults/Scenarios.h"
#include "faults/ToldHistory.h"
#include "testing/TemporaryDirectory.h"

namespace accountsettings::faults {
namespace {

using Effect = testing::DiskPlan::Effect;
using Kind = Scenario::Kind;
using Clock = std::chrono::steady_clock;

// Where in the time each sort of trial ends.
constexpr double kErrors = 0.4;
constexpr double kPowerCuts = 0.6;
constexpr double kRealProgram = 0.75;
constexpr double kImages = 0.9;

struct Options {
  std::optional<double> seconds;
  unsigned seed = 1;
  std::string only;
  // Of trial: "errors", "lasting", "kills", "cuts", "real", "images" or "races"; empty: all.
  std::string sort;
  bool list = false;
  // Of so many campaigns side by side, this is the one of that number.
  std::size_t part = 0;
  std::size_t parts = 1;
};

// What is disturbed: a call of a run, which may be the run after a disturbed one.
struct Trial {
  const Scenario* scenario;
  testing::DiskPlan plan;
};

// Set by SIGTERM.
volatile ::sig_atomic_t isEnding = 0;

struct Figures {
  std::size_t tried = 0;
  std::size_t possible = 0;
  std::size_t violations = 0;
};

class Campaign {
 public:
  explicit Campaign(Options options)
      : options_(std::move(options)), random_(options_.seed), root_(directory_.path() / "root") {}

  int run();

 private:
  std::vector<Trial> allTrials();
  void tryErrorsAndKills();
  void tryPowerCuts();
  void tryRealProgram();
  void tryOne(const Trial& trial);
  void tryState(const Scenario& scenario, const DiskTree& state);
  // Counts a trial that was made, and reports what does not hold after it.
  void judge(const Scenario& scenario, const Told& told, const Disturbance& disturbance,
             const std::string& kind, const std::string& what);
  // What of the invariants does not hold right after a disturbance; and after undisturbed runs.
  std::string whatIsWrong(const Scenario& scenario, const Told& told,
                          const Disturbance& disturbance);
  std::string whatDoesNotSettle(const Scenario& scenario, const Told& told,
                                const std::set<std::string>& accounts,
                                const Disturbance& disturbance);
  void report(const std::string& kind, const std::string& what, const std::string& problem);
  [[nodiscard]] double secondsGone() const {
    return std::chrono::duration<double>(Clock::now() - began_).count();
  }
  [[nodiscard]] bool timeIsUp(double share) const {
    return isEnding != 0 || (options_.seconds && secondsGone() > *options_.seconds * share);
  }
  [[nodiscard]] bool isWanted(const char* sort) const {
    return isEnding == 0 && (options_.sort.empty() || options_.sort == sort);
  }
  // Counts one trial more of a kind; tells each minute how many there were.
  void count(const std::string& kind);
  void tryHostileImages();
  void tryImage(const std::string& path, const Replacement& replacement, const DiskTree& device);
  void tryExchange(const std::string& path, const Replacement& replacement, const DiskTree& device,
                   int at);
  void tryRaces();
  // Whether the trial of this number is this campaign's, and not one's beside it. Two runs may
  // differ by a call: it is counted from the beginning of each scenario, so that no trial gets lost
  // between.
  [[nodiscard]] bool isMine(std::size_t number) const {
    return number % options_.parts == options_.part;
  }
  int conclude();

  Options options_;
  std::mt19937 random_;
  testing::TemporaryDirectory directory_;
  std::filesystem::path root_;
  Clock::time_point began_ = Clock::now();
  std::vector<Scenario> scenarios_;
  std::map<std::string, Figures> figures_;  // by kind of disturbance
  int shown_ = 0;
  double toldAt_ = 0;
};

const char* nameOf(Effect effect) {
  switch (effect) {
    case Effect::Kill:
      return "kill";
    case Effect::Fail:
      return "error";
    case Effect::FailFromHere:
      return "error for good";
    default:
      return "undisturbed";
  }
}

// Whether the call that failed was about the localised texts that the plug-in brings.
bool isOfTexts(const Disturbance& disturbance) {
  return disturbance.call.find(".migrator/Resources/") != std::string::npos;
}

void Campaign::report(const std::string& kind, const std::string& what,
                      const std::string& problem) {
  if (problem.empty()) return;
  ++figures_[kind].violations;
  if (++shown_ <= 40) std::printf("%s: %s: %s\n", kind.c_str(), what.c_str(), problem.c_str());
  std::fflush(stdout);
}

void Campaign::count(const std::string& kind) {
  Figures& figures = figures_[kind];
  ++figures.tried;
  if (secondsGone() < toldAt_ + 60) return;
  toldAt_ = secondsGone();
  std::printf("[%.0f s: %zu of %zu %s]\n", toldAt_, figures.tried, figures.possible, kind.c_str());
  std::fflush(stdout);
}

const char* sortOf(Effect effect) {
  return effect == Effect::Fail ? "errors" : effect == Effect::Kill ? "kills" : "lasting";
}

// The trials of a scenario follow from the calls of an undisturbed run.
std::vector<Trial> Campaign::allTrials() {
  std::vector<Trial> trials;
  const auto add = [&](const Scenario& scenario, testing::DiskPlan plan) {
    if (!isWanted(sortOf(plan.effect)) || !isMine(static_cast<std::size_t>(plan.at))) return;
    ++figures_[nameOf(plan.effect)].possible;
    trials.push_back({&scenario, std::move(plan)});
  };
  for (const Scenario& scenario : scenarios_) {
    writeTree(scenario.before, root_);
    (void)scenario.run(root_, {Effect::Count, testing::DiskPlan::Calls::All});
    const std::vector<std::string> names = testing::diskCallNames();
    for (std::size_t i = 0; i < names.size(); ++i) {
      const int at = static_cast<int>(i) + 1;
      for (const int error : testing::errorsOfDiskCall(names[i])) {
        add(scenario, {Effect::Fail, testing::DiskPlan::Calls::All, at, error});
      }
    }
    writeTree(scenario.before, root_);
    (void)scenario.run(root_);
    for (int at = 1; at <= testing::diskCallsMade(); ++at) {
      add(scenario, {Effect::Kill, testing::DiskPlan::Calls::Changes, at});
      for (const int error : {ENOSPC, EIO, EROFS}) {
        add(scenario, {Effect::FailFromHere, testing::DiskPlan::Calls::Changes, at, error});
      }
    }
  }
  return trials;
}

void Campaign::tryErrorsAndKills() {
  std::vector<Trial> trials = allTrials();
  if (options_.seconds) std::shuffle(trials.begin(), trials.end(), random_);
  began_ = Clock::now();
  for (const Trial& each : trials) {
    if (timeIsUp(kErrors)) return;
    tryOne(each);
  }
}

void Campaign::tryOne(const Trial& trial) {
  writeTree(trial.scenario->before, root_);
  const Told told = trial.scenario->run(root_, trial.plan);
  Disturbance disturbance;
  disturbance.call = testing::diskCallOfPlan();
  disturbance.cut = trial.plan.effect == Effect::Kill && told.status == 1000 + SIGKILL;
  disturbance.lasting = trial.plan.effect == Effect::FailFromHere;
  judge(*trial.scenario, told, disturbance, nameOf(trial.plan.effect),
        "call " + std::to_string(trial.plan.at) + " (" + disturbance.call + ", " +
            std::to_string(trial.plan.error) + ")");
}

void Campaign::judge(const Scenario& scenario, const Told& told, const Disturbance& disturbance,
                     const std::string& kind, const std::string& what) {
  count(kind);
  const std::string problem = whatIsWrong(scenario, told, disturbance);
  if (problem.empty()) return;
  report(kind, scenario.name + ", " + what,
         problem + " [" + std::to_string(told.status) + ": " + told.words.substr(0, 300) + "]");
}

// The program as it is shipped, under strace: the errors and kills of each of its changes.
void Campaign::tryRealProgram() {
  if (!canInject()) {
    std::printf("NOT RUN: the real program, for want of strace\n");
    return;
  }
  struct RealTrial {
    const Scenario* scenario;
    SystemCall call;
    int error;
  };
  std::vector<RealTrial> trials;
  for (const Scenario& scenario : scenarios_) {
    if (scenario.body != nullptr || scenario.kind == Kind::Reading) continue;
    writeTree(scenario.before, root_);
    std::size_t number = 0;
    for (const SystemCall& call :
         changesOfRealProgram(scenario.commandOn(root_), directory_.path() / "calls")) {
      if (!isMine(number++)) continue;
      for (const int error : disturbancesOf(call)) trials.push_back({&scenario, call, error});
    }
  }
  figures_["real program"].possible = trials.size();
  if (options_.seconds) std::shuffle(trials.begin(), trials.end(), random_);
  for (const auto& [scenario, call, error] : trials) {
    if (timeIsUp(kRealProgram)) return;
    writeTree(scenario->before, root_);
    const Told told = runRealProgram(scenario->commandOn(root_), call, error);
    Disturbance disturbance;
    disturbance.call = call.name;
    disturbance.cut = told.status == 1000 + SIGKILL;
    judge(*scenario, told, disturbance, "real program",
          call.name + " " + std::to_string(call.number) +
              (error == 0 ? " (kill)" : " (" + std::to_string(error) + ")"));
  }
}

void Campaign::tryState(const Scenario& scenario, const DiskTree& state) {
  writeTree(state, root_);
  count("power cut");
  report("power cut", scenario.name + ", state " + std::to_string(figures_["power cut"].tried),
         whatIsWrong(scenario, {}, {.cut = true}));
}

std::string Campaign::whatIsWrong(const Scenario& scenario, const Told& told,
                                  const Disturbance& disturbance) {
  const DiskTree disk = readTree(root_);
  if (std::string wrong = settingsAreWhole(disk); !wrong.empty()) return wrong;
  std::set<std::string> accounts = scenario.accounts();
  if (scenario.kind == Kind::Library) {
    const std::size_t all = accounts.size();
    for (const std::string& each : acceptedLosses(disturbance, scenario.before))
      accounts.erase(each);
    if (accounts.size() < all && !noAccountIsLost(scenario.accounts(), disk).empty()) {
      ++figures_["(library took an unreadable legacy file for an empty one)"].tried;
    }
  }
  if (std::string lost = noAccountIsLost(accounts, disk); !lost.empty()) return lost;
  const bool isByLibrary = scenario.kind == Kind::Library || scenario.kind == Kind::Save;
  if (isByLibrary && isOfTexts(disturbance) && told.status == 0) {
    // A text of the installation that cannot be read stands for itself in what is saved.
    ++figures_["(a localised text could not be read, and its key was saved)"].tried;
    return "";
  }
  if (!disturbance.cut && !isByLibrary) {
    std::string lie = whatWasToldIsSo(told, disturbance, scenario.before, disk, scenario.reference);
    if (!lie.empty()) return lie;
    const std::string untold = historyIsTrue(told, scenario.before, disk);
    if (!untold.empty()) return untold;
  }
  if (scenario.kind == Kind::Reading)
    return difference(comparable(disk), comparable(scenario.before));
  return whatDoesNotSettle(scenario, told, accounts, disturbance);
}

std::string Campaign::whatDoesNotSettle(const Scenario& scenario, const Told& told,
                                        const std::set<std::string>& accounts,
                                        const Disturbance& disturbance) {
  const DiskTree left = readTree(root_);
  if (left == scenario.before) return "";  // the reference was made from there
  const bool isEdit = scenario.kind == Kind::Edit || scenario.kind == Kind::Save;
  // An edit is made or not, nothing between.
  if (isEdit && isTheSame(left, scenario.reference)) return "";
  // What is broken is put back first, as the words advise.
  if (scenario.kind == Kind::Migration && told.status == 4) {
    (void)runProgram({"restore", "--root", root_});
  }
  Told again = scenario.run(root_);
  for (int i = 1; i < scenario.runs; ++i) again = scenario.run(root_);
  const DiskTree disk = readTree(root_);
  std::string wrong = isAsIfNothingHadHappened(again, disk, scenario.settled);
  // A library's migration saves after each step: one that was cut between goes on from there, by
  // the rules of the steps that are left.
  if (scenario.kind == Kind::Library && !wrong.empty() && again.status == 0) {
    ++figures_["(library went on from another step)"].tried;
    wrong = noAccountIsLost(accounts, disk);
  }
  // Only a migration by the command cleans up, and only where the disk lets it.
  const bool cleansUp = scenario.kind == Kind::Migration && !disturbance.lasting;
  if (wrong.empty() && cleansUp) wrong = nothingTemporaryIsLeft(disk);
  return wrong.empty() ? "" : wrong + " [then " + again.words.substr(0, 300) + "]";
}

void Campaign::tryPowerCuts() {
  std::vector<const Scenario*> order;
  for (const Scenario& each : scenarios_) {
    if (each.kind != Kind::Reading) order.push_back(&each);
  }
  double part = 0;
  for (const Scenario* scenario : order) {
    writeTree(scenario->before, root_);
    const auto changes = scenario->changes(root_);
    std::vector<DiskTree> states;
    std::size_t number = 0;
    const CrashFigures figures =
        crashStates(scenario->before, changes, root_, [&](const DiskTree& state) {
          if (isMine(number++)) states.push_back(state);
          return true;
        });
    figures_["power cut"].possible += states.size();
    std::printf("%s: %zu changes, %zu states, at most %zu not flushed\n", scenario->name.c_str(),
                changes.size(), figures.states, figures.mostOpen);
    if (options_.seconds) std::shuffle(states.begin(), states.end(), random_);
    const double share =
        kErrors + (kPowerCuts - kErrors) * ++part / static_cast<double>(order.size());
    for (const DiskTree& state : states) {
      if (timeIsUp(share)) break;
      tryState(*scenario, state);
    }
  }
}

// Everything that a command may meet is replaced in turn, before it begins and while it runs.
void Campaign::tryHostileImages() {
  writeTree(scenarios_.front().before, root_);
  const auto migratable = [](const Scenario& each) {
    return each.name == "migrate: settings and legacy files" || each.name == "restore: oldest";
  };
  struct Image {
    const Scenario* scenario;
    std::string path;
    const Replacement* replacement;
  };
  std::vector<Image> images;
  std::size_t number = 0;
  for (const Scenario& scenario : scenarios_) {
    if (!migratable(scenario)) continue;
    for (const std::string& path : pathsToReplace(scenario.before)) {
      for (const Replacement& each : replacements()) {
        if (isMine(number++)) images.push_back({&scenario, path, &each});
      }
    }
  }
  figures_["hostile image"].possible = images.size() * commandsOnImages().size();
  figures_["exchange"].possible = images.size();
  std::shuffle(images.begin(), images.end(), random_);
  makeOutside(directory_.path() / "outside");
  if (!noticesWaits()) throw std::runtime_error("a program that waits would not be noticed");
  for (const Image& each : images) {
    if (timeIsUp(kImages)) return;
    tryImage(each.path, *each.replacement, each.scenario->before);
    tryExchange(each.path, *each.replacement, each.scenario->before,
                1 + static_cast<int>(random_() % 60));
  }
}

void Campaign::tryImage(const std::string& path, const Replacement& replacement,
                        const DiskTree& device) {
  const std::filesystem::path outside = directory_.path() / "outside";
  const DiskTree untouched = readTree(outside);
  for (const std::vector<std::string>& command : commandsOnImages()) {
    writeTree(device, root_);
    replace(root_, path, replacement, outside);
    std::vector<std::string> arguments = command;
    arguments.insert(arguments.end(), {"--root", root_});
    const KeptUp keptUp(root_, path, replacement);
    const Told told = runUnwaiting(arguments);
    count("hostile image");
    std::string problem = endsAsItShould(told);
    if (readTree(outside) != untouched) problem = "something outside the root was touched";
    report("hostile image", command.front() + ", " + path + " is a " + replacement.name, problem);
  }
}

void Campaign::tryExchange(const std::string& path, const Replacement& replacement,
                           const DiskTree& device, int at) {
  const std::filesystem::path outside = directory_.path() / "outside";
  const DiskTree untouched = readTree(outside);
  writeTree(device, root_);
  testing::DiskPlan plan;
  plan.effect = Effect::Act;
  plan.at = at;
  plan.action = [&] { replace(root_, path, replacement, outside); };
  const Told told = runUnwaiting({"migrate", "--root", root_}, std::move(plan));
  count("exchange");
  std::string problem = endsAsItShould(told);
  if (readTree(outside) != untouched) problem = "something outside the root was touched";
  report("exchange",
         "migrate, " + path + " becomes a " + replacement.name + " at change " + std::to_string(at),
         problem);
}

void Campaign::tryRaces() {
  const auto found = std::find_if(scenarios_.begin(), scenarios_.end(), [](const Scenario& each) {
    return each.name == "set on a device with a backup";
  });
  const double seconds = options_.seconds ? *options_.seconds * (1 - kImages) / 3 : 60;
  for (const bool withRestores : {false, true}) {
    const RaceResult result = race(found->before, root_, seconds, withRestores);
    Figures& figures = figures_[withRestores ? "race with restores" : "race"];
    figures.tried = figures.possible = result.commands;
    report(withRestores ? "race with restores" : "race", std::to_string(result.edits) + " edits",
           result.problem);
  }
  const auto waiting = std::find_if(scenarios_.begin(), scenarios_.end(), [](const Scenario& each) {
    return each.name == "migrate: settings and legacy files";
  });
  const RaceResult result = raceOfMigrations(waiting->before, root_, seconds);
  Figures& figures = figures_["race of migrations"];
  figures.tried = figures.possible = result.commands;
  report(
      "race of migrations",
      std::to_string(result.migrations) + " migrations, " + std::to_string(result.edits) + " edits",
      result.problem);
}

int Campaign::conclude() {
  std::size_t violations = 0;
  std::size_t tried = 0;
  std::printf("%zu scenarios, %.0f s, seed %u\n", scenarios_.size(), secondsGone(), options_.seed);
  for (const auto& [kind, figures] : figures_) {
    if (kind.front() == '(') {
      std::printf("%8zu %s\n", figures.tried, kind.c_str());
      continue;
    }
    std::printf("%-16s %8zu of %8zu tried, %zu violations\n", kind.c_str(), figures.tried,
                figures.possible, figures.violations);
    violations += figures.violations;
    tried += figures.tried;
  }
  return violations == 0 && tried > 0 ? 0 : 1;
}

int Campaign::run() {
  scenarios_ = scenariosNamed(options_.only, root_);
  if (options_.list) {
    for (const Scenario& each : scenarios_) std::printf("%s\n", each.name.c_str());
    return 0;
  }
  if (isWanted("errors") || isWanted("lasting") || isWanted("kills")) tryErrorsAndKills();
  if (isWanted("cuts")) tryPowerCuts();
  if (isWanted("real")) tryRealProgram();
  if (options_.only.empty() && isWanted("images")) tryHostileImages();
  if (options_.only.empty() && isWanted("races")) tryRaces();
  return conclude();
}

Options optionsFrom(int count, char** values) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string name = values[i];
    const auto value = [&] { return i + 1 < count ? std::string(values[++i]) : std::string(); };
    if (name == "--seconds") {
      options.seconds = std::stod(value());
    } else if (name == "--seed") {
      options.seed = static_cast<unsigned>(std::stoul(value()));
    } else if (name == "--only") {
      options.only = value();
    } else if (name == "--sort") {
      options.sort = value();
    } else if (name == "--part") {
      const std::string which = value();  // "0/2"
      options.part = std::stoul(which);
      options.parts = std::stoul(which.substr(which.find('/') + 1));
    } else if (name == "--list") {
      options.list = true;
    } else {
      throw std::invalid_argument(
          "usage: faults [--seconds N] [--seed N] [--only TEXT] [--sort SORT] [--part I/N] "
          "[--list]");
    }
  }
  return options;
}

}  // namespace
}  // namespace accountsettings::faults

int main(int count, char** values) {
  ::signal(SIGTERM, [](int) { accountsettings::faults::isEnding = 1; });
  try {
    return accountsettings::faults::Campaign(accountsettings::faults::optionsFrom(count, values))
        .run();
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "faults: %s\n", problem.what());
    return 2;
  }
}
