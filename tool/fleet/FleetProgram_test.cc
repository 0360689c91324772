// Tests of the program on many devices at once, each in a process of its own.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <thread>

#include "testing/ToolRun.h"
#include "tool/commands/SampleAccounts.h"
#include "tool/fleet/ResultsReader.h"

namespace accountsettings::testing {
namespace {

namespace fs = std::filesystem;

// Devices of version 9, a list of them, and a results file.
class FleetProgram : public ::testing::Test {
 protected:
  void makeDevices(std::size_t count, std::int64_t version = 9) {
    for (std::size_t i = 0; i < count; ++i) {
      devices_.push_back(std::make_unique<ToolRoot>());
      devices_.back()->putSettings(version, {mailAccount("A"), mailAccount("B")});
      std::ofstream(list_, std::ios::app) << devices_.back()->path() << "\n";
    }
  }

  [[nodiscard]] ToolRoot& device(std::size_t index) const { return *devices_.at(index); }

  [[nodiscard]] std::vector<std::string> command(std::vector<std::string> words) const {
    words.insert(words.end(), {"--roots-from", list_});
    return words;
  }
  [[nodiscard]] ToolResult run(std::vector<std::string> words) const {
    return runTool(command(std::move(words)));
  }
  [[nodiscard]] ToolResult migrate(std::vector<std::string> more = {}) const {
    more.insert(more.begin(), {"migrate", "--results", results_});
    return run(std::move(more));
  }

  // The results in the file, by the device's place in the list; the last of each counts.
  [[nodiscard]] std::map<std::size_t, DeviceResult> results() const {
    std::map<std::size_t, DeviceResult> all;
    const auto count = readResults(results_, [&](const DeviceResult& each) {
      const auto device =
          std::ranges::find(devices_, each.root, [](const auto& one) { return one->path(); });
      EXPECT_NE(device, devices_.end()) << each.root;
      all[static_cast<std::size_t>(device - devices_.begin())] = each;
    });
    EXPECT_TRUE(count) << count.error().message;
    return all;
  }

  [[nodiscard]] std::vector<std::string> lines() const {
    std::ifstream file(results_);
    std::vector<std::string> all;
    for (std::string line; std::getline(file, line);) all.push_back(line);
    return all;
  }

  [[nodiscard]] std::size_t backupsOf(std::size_t index) const {
    std::size_t count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(device(index).path())) {
      if (entry.path().filename() == "manifest.plist") ++count;
    }
    return count;
  }

  TemporaryDirectory directory_;
  std::string list_ = directory_.path().string() + "/list";
  std::string results_ = directory_.path().string() + "/results.jsonl";
  std::vector<std::unique_ptr<ToolRoot>> devices_;
};

// A file that another process would hold locked.
class HeldLock {
 public:
  explicit HeldLock(const ToolRoot& root)
      : descriptor_(open(root.at(ToolRoot::kLock).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
    EXPECT_EQ(flock(descriptor_, LOCK_EX | LOCK_NB), 0);
  }
  ~HeldLock() { close(descriptor_); }

 private:
  int descriptor_;
};

TEST_F(FleetProgram, MigratesEachDeviceAndTellsItInALine) {
  makeDevices(7);
  const ToolResult result = migrate({"--jobs", "3"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("migrate on 7 devices in "), std::string::npos) << result.out;
  EXPECT_NE(result.out.find(" s with 3 jobs: 7 done."), std::string::npos) << result.out;
  const std::size_t slowest = result.out.find("\nThe slowest\n  ");
  ASSERT_NE(slowest, std::string::npos) << result.out;
  EXPECT_EQ(std::ranges::count(result.out.substr(slowest), '/'),
            5 * std::ranges::count(device(0).path(), '/'));
  ASSERT_EQ(lines().size(), 7U);
  EXPECT_EQ(schemaErrors("results.schema.json", lines().front()), "");
  for (const auto& [index, each] : results()) {
    EXPECT_EQ(each.command, "migrate");
    EXPECT_EQ(each.outcome, DeviceOutcome::Done);
    EXPECT_EQ(each.status, ExitStatus::Done);
    EXPECT_EQ(each.versionBefore, 9);
    EXPECT_EQ(each.versionAfter, 12);
    EXPECT_EQ(each.accountsBefore, 2U);
    EXPECT_EQ(each.accountsAfter, 2U);
    EXPECT_EQ(each.losses, DeviceResult::Losses());
    EXPECT_GT(each.bytes, 100U);
    EXPECT_FALSE(each.backup.empty());
    EXPECT_GT(each.took.count(), 0);
    EXPECT_EQ(device(index).settings().integer("Version"), 12);
    EXPECT_EQ(runTool({"restore", each.backup, "--root", each.root}).status, 0);
    EXPECT_EQ(device(index).settings().integer("Version"), 9);
  }
}

TEST_F(FleetProgram, TakesRootsFromTheCommandLineAndFromStandardInput) {
  makeDevices(4);
  const ToolResult two =
      runTool({"check", "--root", device(0).path(), "--root", device(1).path() + "/"});
  EXPECT_EQ(two.status, 0) << two.err;
  EXPECT_NE(
      two.out.find(device(0).path() + ": done, version 9, 2 accounts, a migration is pending\n"),
      std::string::npos)
      << two.out;
  EXPECT_NE(two.out.find(device(1).path() + ": done"), std::string::npos) << two.out;
  const ToolResult ended =
      ToolRun({"check", "--roots-from", "-", "-0", "--root", device(3).path()})
          .withInput(device(0).path() + std::string(1, '\0') + device(2).path())
          .run();
  EXPECT_EQ(ended.status, 0) << ended.err;
  for (const std::size_t index : {0U, 2U, 3U}) {
    EXPECT_NE(ended.out.find(device(index).path() + ": done"), std::string::npos) << ended.out;
  }
  EXPECT_NE(ended.out.find("check on 3 devices"), std::string::npos) << ended.out;
}

TEST_F(FleetProgram, ADeviceThatIsRefusedTouchesNoOther) {
  makeDevices(5);
  device(1).putText(ToolRoot::kSettings, "nonsense");
  fs::remove_all(device(2).at("/var"));
  const HeldLock lock(device(3));
  const auto before = device(1).snapshot();
  const ToolResult result = migrate();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(device(1).snapshot(), before);
  const auto told = results();
  ASSERT_EQ(told.size(), 5U);
  for (const std::size_t index : {0U, 4U}) EXPECT_EQ(told.at(index).status, ExitStatus::Done);
  for (const std::size_t index : {1U, 2U, 3U}) {
    EXPECT_EQ(told.at(index).outcome, DeviceOutcome::Refused);
    EXPECT_EQ(told.at(index).status, ExitStatus::Prevented);
    ASSERT_TRUE(told.at(index).error);
    EXPECT_NE(result.out.find(device(index).path() + ": refused: " + told.at(index).error->message +
                              "\n    " + told.at(index).error->advice + "\n"),
              std::string::npos)
        << result.out;
  }
  EXPECT_EQ(told.at(1).findings, std::vector<std::string>{"unreadable"});
  EXPECT_EQ(told.at(1).error->file, device(1).settingsPath());
  EXPECT_NE(told.at(1).error->advice.find("'accountsettings restore --root " + device(1).path() +
                                          " --list'"),
            std::string::npos)
      << told.at(1).error->advice;
  EXPECT_NE(told.at(1).error->advice.find("takes the file for empty"), std::string::npos);
  EXPECT_EQ(told.at(2).error->code, FailureCode::NoDevice);
  EXPECT_NE(told.at(3).error->message.find("the migration lock is held"), std::string::npos);
  EXPECT_EQ(told.at(3).error->code, FailureCode::Locked);
  EXPECT_NE(result.out.find("Run those again with: accountsettings migrate --results " + results_),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find(" --resume\n"), std::string::npos) << result.out;
  for (const std::string& line : lines()) EXPECT_EQ(schemaErrors("results.schema.json", line), "");
}

TEST_F(FleetProgram, GoesOnFromItsResults) {
  makeDevices(4);
  device(1).putText(ToolRoot::kSettings, "nonsense");
  EXPECT_EQ(migrate().status, 3);
  EXPECT_EQ(migrate().status, 3);  // it holds results already
  EXPECT_EQ(lines().size(), 4U);
  device(1).putSettings(9, {mailAccount("A")});
  makeDevices(1);
  const ToolResult result = migrate({"--resume"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("3 devices were left out"), std::string::npos) << result.out;
  EXPECT_EQ(lines().size(), 6U);
  const auto told = results();
  ASSERT_EQ(told.size(), 5U);
  for (const auto& [index, each] : told) EXPECT_EQ(each.outcome, DeviceOutcome::Done) << index;
}

TEST_F(FleetProgram, TellsWhatWasDoneAndNotYetTold) {
  makeDevices(3);
  EXPECT_EQ(migrate().status, 0);
  const auto before = results();
  std::vector<std::string> kept = lines();
  std::erase_if(kept, [&](const std::string& line) {
    return line.find(device(1).path()) != std::string::npos;
  });
  std::ofstream(results_) << kept.at(0) << "\n"
                          << kept.at(1) << "\n"
                          << R"({"format":"accountsett)";
  const ToolResult result = migrate({"--resume"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("1 had been done by an earlier run"), std::string::npos) << result.out;
  const auto told = results();
  ASSERT_EQ(told.size(), 3U);
  EXPECT_TRUE(told.at(1).doneEarlier);
  EXPECT_EQ(told.at(1).outcome, DeviceOutcome::Done);
  EXPECT_EQ(told.at(1).backup, before.at(1).backup);
  EXPECT_EQ(told.at(1).versionBefore, 9);
  EXPECT_EQ(told.at(1).versionAfter, 12);
  EXPECT_FALSE(told.at(0).doneEarlier);
  EXPECT_EQ(backupsOf(1), 1U);
}

TEST_F(FleetProgram, WhatWasMadeOfLegacyFilesHadNoVersion) {
  makeDevices(1);
  fs::remove(device(0).settingsPath());
  device(0).put(ToolRoot::kLegacyMail, sampleLegacyMail());
  EXPECT_EQ(migrate().status, 0);
  EXPECT_EQ(results().at(0).versionBefore, std::nullopt);
  fs::remove(results_);
  EXPECT_EQ(migrate({"--resume"}).status, 0);
  EXPECT_TRUE(results().at(0).doneEarlier);
  EXPECT_EQ(results().at(0).versionBefore, std::nullopt);
}

TEST_F(FleetProgram, AResultOfAnotherCommandCountsForNothing) {
  makeDevices(2);
  EXPECT_EQ(run({"migrate", "--dry-run", "--results", results_}).status, 0);
  EXPECT_EQ(results().at(0).command, "plan");
  EXPECT_EQ(results().at(0).pending, true);
  EXPECT_EQ(device(0).settings().integer("Version"), 9);
  EXPECT_EQ(migrate({"--resume"}).status, 0);
  EXPECT_EQ(results().at(0).command, "migrate");
  EXPECT_EQ(device(0).settings().integer("Version"), 12);
}

TEST_F(FleetProgram, RefusesDevicesThatAreNotSeparateBeforeAnythingBegins) {
  makeDevices(2);
  const auto before = device(0).snapshot();
  std::ofstream(list_, std::ios::app)
      << device(0).path() << "/../" << fs::path(device(0).path()).filename().string() << "\n";
  EXPECT_EQ(migrate().status, 3);
  EXPECT_NE(migrate().err.find("listed twice"), std::string::npos);
  std::ofstream(list_) << device(1).path() << "\n"
                       << device(0).at("/var") << "\n"
                       << device(0).path() << "\n";
  const ToolResult result = migrate();
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("lies inside another one"), std::string::npos) << result.err;
  EXPECT_EQ(device(0).snapshot(), before);
  EXPECT_EQ(device(1).settings().integer("Version"), 9);
  EXPECT_FALSE(fs::exists(results_));
}

TEST_F(FleetProgram, RefusesWhatIsForOneDevice) {
  makeDevices(2);
  const std::string root = device(0).path();
  for (const std::vector<std::string>& wrong :
       {std::vector<std::string>{"migrate", "--plan", list_},
        {"migrate", "--verbose"},
        {"migrate", root},
        {"plan", "--out", results_},
        {"plan", root},
        {"check", root},
        {"show", "--table"},
        {"show", root},
        {"migrate", "--resume"},
        {"migrate", "--results", results_, "--results", list_},
        {"migrate", "--shard", "3/2"},
        {"migrate", "--jobs", "0"}}) {
    const ToolResult result = run(wrong);
    EXPECT_EQ(result.status, 2) << wrong.front() << " " << wrong.back() << " " << result.err;
  }
  EXPECT_EQ(runTool({"get", "A", "--root", root, "--root", device(1).path()}).status, 2);
  EXPECT_EQ(runTool({"migrate", "--jobs", "2"}).status, 2);
  EXPECT_EQ(runTool({"migrate", "--null", "--root", root}).status, 2);
  EXPECT_EQ(device(0).settings().integer("Version"), 9);
}

TEST_F(FleetProgram, AWorkerThatTakesTooLongIsKilledAndTold) {
  makeDevices(3);
  const HeldLock lock(device(1));
  const ToolResult result = migrate({"--wait", "600", "--timeout", "1"});
  EXPECT_EQ(result.status, 3);
  const auto told = results();
  ASSERT_EQ(told.size(), 3U);
  EXPECT_EQ(told.at(1).outcome, DeviceOutcome::TimedOut);
  EXPECT_EQ(told.at(1).signal, "SIGKILL");
  EXPECT_EQ(told.at(0).outcome, DeviceOutcome::Done);
  EXPECT_EQ(told.at(2).outcome, DeviceOutcome::Done);
  for (const std::string& line : lines()) EXPECT_EQ(schemaErrors("results.schema.json", line), "");
}

// The only child of that process; 0 where it has none yet.
pid_t childOf(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/task/" + std::to_string(process) +
                     "/children");
  pid_t child = 0;
  file >> child;
  return child;
}

TEST_F(FleetProgram, AWorkerThatCrashesIsToldWithItsSignal) {
  makeDevices(2);
  const HeldLock lock(device(1));
  const pid_t here = getpid();
  std::jthread killer([&](const std::stop_token& stop) {
    // The tool is this process's child, and the worker that waits for the lock is the tool's.
    while (!stop.stop_requested()) {
      const pid_t tool = childOf(here);
      const pid_t worker = tool > 0 ? childOf(tool) : 0;
      if (worker > 0 && fs::exists(results_) && fs::file_size(results_) > 0) {
        kill(worker, SIGABRT);  // which no sanitizer catches
        return;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  });
  const ToolResult result = migrate({"--wait", "600"});
  killer.request_stop();
  EXPECT_EQ(result.status, 3);
  const auto told = results();
  EXPECT_EQ(told.at(1).outcome, DeviceOutcome::Crashed);
  EXPECT_EQ(told.at(1).signal, "SIGABRT");
  EXPECT_NE(result.out.find(device(1).path() + ": crashed: the worker was ended by SIGABRT"),
            std::string::npos)
      << result.out;
  EXPECT_EQ(device(1).settings().integer("Version"), 9);
}

TEST_F(FleetProgram, AnInterruptLetsNoOtherDeviceBeginAndCompletesTheResults) {
  makeDevices(40);
  const ToolResult result = ToolRun(command({"migrate", "--jobs", "1", "--results", results_}))
                                .killedAfter(std::chrono::milliseconds(60), SIGINT)
                                .run();
  const auto told = results();
  if (result.signal == 0) GTEST_SKIP() << "all were done before the signal came";
  EXPECT_EQ(result.signal, SIGINT);
  ASSERT_LT(told.size(), 40U);
  for (std::size_t index = 0; index < devices_.size(); ++index) {
    EXPECT_EQ(device(index).settings().integer("Version"), told.contains(index) ? 12 : 9);
  }
  // The signal may have come before anything was begun.
  if (!result.out.empty()) {
    EXPECT_NE(result.err.find("stopping: "), std::string::npos) << result.err;
    EXPECT_NE(result.out.find("Go on with: accountsettings migrate"), std::string::npos)
        << result.out;
  }
  EXPECT_EQ(migrate({"--resume"}).status, 0);
  EXPECT_EQ(results().size(), 40U);
}

TEST_F(FleetProgram, ASecondInterruptKillsWhatIsUnderWay) {
  makeDevices(2);
  const HeldLock first(device(0));
  const pid_t here = getpid();
  std::jthread killer([&](const std::stop_token& stop) {
    for (int sent = 0; sent < 2 && !stop.stop_requested();) {
      const pid_t tool = childOf(here);
      if (tool > 0 && childOf(tool) > 0 && kill(tool, SIGTERM) == 0) ++sent;
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
  });
  const ToolResult result = migrate({"--wait", "600", "--jobs", "1"});
  killer.request_stop();
  EXPECT_EQ(result.signal, SIGTERM);
  const auto told = results();
  ASSERT_EQ(told.size(), 1U);
  EXPECT_EQ(told.at(0).outcome, DeviceOutcome::Interrupted);
  EXPECT_EQ(told.at(0).signal, "SIGKILL");
  EXPECT_EQ(device(1).settings().integer("Version"), 9);
}

TEST_F(FleetProgram, ResultsThatCannotBeWrittenStopTheRun) {
  makeDevices(30);
  const ToolResult result =
      ToolRun(command({"migrate", "--no-backup", "--jobs", "1", "--results", results_}))
          .withFileSizeLimit(5000)
          .run();
  EXPECT_EQ(result.status, 3) << "no device is broken";
  EXPECT_NE(result.err.find("there is no room for another line; no further device was begun"),
            std::string::npos)
      << result.err;
  EXPECT_LT(results().size(), 30U);
  EXPECT_GT(results().size(), 0U);
  EXPECT_EQ(migrate({"--resume"}).status, 0);
  EXPECT_EQ(results().size(), 30U);
  for (const char* looking : {"check", "plan", "show"}) {
    const std::string told = directory_.path().string() + "/" + looking;
    const ToolResult ended =
        ToolRun(command({looking, "--jobs", "1", "--results", told})).withFileSizeLimit(5000).run();
    EXPECT_EQ(ended.status, 3) << looking;
    EXPECT_NE(ended.err.find("no further device was begun"), std::string::npos) << ended.err;
  }
}

TEST_F(FleetProgram, ADevicesOwnConfigurationCountsForItAlone) {
  makeDevices(4);
  fs::create_directories(device(1).at("/etc/accountsettings"));
  device(1).put("/etc/accountsettings/host.plist", Dictionary{{"HomeDirectory", "/elsewhere"}});
  const ToolResult result = migrate({"--jobs", "1"});
  EXPECT_EQ(result.status, 3);
  for (const auto& [index, each] : results()) {
    EXPECT_EQ(each.outcome, index == 1 ? DeviceOutcome::Refused : DeviceOutcome::Done);
    if (index == 1) {
      EXPECT_NE(each.error->message.find("/elsewhere"), std::string::npos);
    }
  }
}

TEST_F(FleetProgram, EachLineOfTheLogNamesItsDevice) {
  makeDevices(3);
  const std::string log = directory_.path().string() + "/log";
  EXPECT_EQ(migrate({"--log", log}).status, 0);
  std::ifstream file(log);
  std::map<std::string, std::size_t> lines;
  for (std::string line; std::getline(file, line);) {
    const std::size_t begin = line.find('[');
    ASSERT_NE(begin, std::string::npos) << line;
    ++lines[line.substr(begin + 1, line.find(']') - begin - 1)];
  }
  ASSERT_EQ(lines.size(), 3U);
  for (const auto& each : devices_) EXPECT_GT(lines[each->path()], 0U);
}

TEST_F(FleetProgram, APlanTellsItsExitStatusForAll) {
  makeDevices(2);
  makeDevices(1, 12);
  const ToolResult pending = run({"plan", "--exit-code", "--results", results_});
  EXPECT_EQ(pending.status, 10) << pending.err;
  EXPECT_EQ(results().at(0).status, ExitStatus::Pending);
  EXPECT_EQ(results().at(0).versionAfter, 12);
  EXPECT_EQ(results().at(2).outcome, DeviceOutcome::NothingToDo);
  device(0).putText(ToolRoot::kSettings, "nonsense");
  const ToolResult blocked = run({"plan", "--exit-code"});
  EXPECT_EQ(blocked.status, 11) << blocked.err;
  EXPECT_NE(blocked.out.find(device(0).path() + ": refused"), std::string::npos) << blocked.out;
  EXPECT_EQ(device(1).settings().integer("Version"), 9);
}

TEST_F(FleetProgram, ShowsAndChecksMany) {
  makeDevices(3);
  device(2).put(ToolRoot::kSettings,
                Dictionary{{"Version", 12}, {"Accounts", Array{mailAccount("A")}}, {"Extra", 1}});
  const ToolResult check = run({"check"});
  EXPECT_EQ(check.status, 1) << check.out;
  EXPECT_NE(check.out.find(device(2).path() +
                           ": answered-no, version 12, 1 account; found foreign-root-key\n"),
            std::string::npos)
      << check.out;
  const ToolResult show = run({"show"});
  EXPECT_EQ(show.status, 0) << show.out;
  EXPECT_NE(show.out.find(device(1).path() + ": done, version 9, 2 accounts\n"), std::string::npos)
      << show.out;
  const ToolResult filtered = run({"show", "--id", "B"});
  EXPECT_EQ(filtered.status, 1);
  EXPECT_NE(filtered.out.find(device(1).path() + ": done, version 9, 1 account\n"),
            std::string::npos)
      << filtered.out;
}

TEST_F(FleetProgram, NoPagerHoldsBackWhatATerminalIsTold) {
  makeDevices(2);
  const ToolResult result = ToolRun(command({"show", "--color=never"}))
                                .withVariable("TERM", "xterm")
                                .withVariable("PAGER", "sed 's/^/paged: /'")
                                .onTerminal()
                                .withTimeLimit(30)
                                .run();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find(device(1).path() + ": done, version 9, 2 accounts"), std::string::npos)
      << result.out;
  EXPECT_EQ(result.out.find("paged: "), std::string::npos) << result.out;
}

TEST_F(FleetProgram, WhatACheckOfManyFoundStandsInItsSummary) {
  makeDevices(2);
  device(1).putText(ToolRoot::kSettings, "nonsense");
  const std::string list = device(0).path() + "\n" + device(1).path() + "\n";
  const ToolResult result = ToolRun({"check", "--roots-from", "-"}).withInput(list).run();
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.out.find("\n  " + device(1).path() + ": refused; found unreadable\n"),
            std::string::npos)
      << result.out;
  // What came through a pipe is gone.
  EXPECT_NE(result.out.find("Run all again with, the same list on standard input: accountsettings "
                            "check --roots-from -\n"),
            std::string::npos)
      << result.out;
}

TEST_F(FleetProgram, TheDocumentFollowsItsSchema) {
  makeDevices(3);
  device(0).putText(ToolRoot::kSettings, "nonsense");
  const ToolResult result = migrate({"--json"});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(schemaErrors("fleet.schema.json", result.out), "");
  const Dictionary document = documentIn(result.out);
  EXPECT_EQ(document.integer("devices"), 3);
  EXPECT_EQ(document.integer("notDone"), 1);
  EXPECT_EQ(document.dictionary("outcomes")->integer("done"), 2);
  EXPECT_EQ(document.dictionary("outcomes")->integer("refused"), 1);
  EXPECT_NE(document.string("again")->find("--resume"), std::string::npos);
  const Dictionary* open = (*document.array("firstNotDone"))[0].dictionary();
  ASSERT_NE(open, nullptr);
  EXPECT_EQ(open->string("root"), device(0).path());
  EXPECT_EQ(open->dictionary("error")->string("code"), "blocked");
  EXPECT_EQ(open->dictionary("error")->string("file"), device(0).settingsPath());
  EXPECT_FALSE(open->dictionary("error")->string("advice")->empty());
}

TEST_F(FleetProgram, WritesAReportOrAPageOfEachDevice) {
  makeDevices(3);
  const std::string reports = directory_.path().string() + "/reports";
  EXPECT_EQ(run({"report", "--out", reports, "--results", results_}).status, 0);
  for (const auto& [index, each] : results()) {
    EXPECT_EQ(each.command, "report");
    EXPECT_TRUE(each.report.starts_with(reports + "/")) << each.report;
    std::ifstream file(each.report);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(documentIn(text).string("format"), "accountsettings.report");
  }
  fs::remove(results_);
  EXPECT_EQ(run({"report", "--html", directory_.path().string() + "/pages", "--results", results_})
                .status,
            0);
  std::set<std::string> pages;
  for (const auto& [index, each] : results()) {
    EXPECT_TRUE(fs::exists(directory_.path() / each.page)) << each.page;
    EXPECT_TRUE(each.page.starts_with("pages/")) << each.page;
    pages.insert(each.page);
  }
  EXPECT_EQ(pages.size(), 3U);
  EXPECT_EQ(run({"report"}).status, 2);
}

TEST_F(FleetProgram, PutsTheResultsOfSeveralRunsTogether) {
  makeDevices(6);
  device(1).putText(ToolRoot::kSettings, "nonsense");
  const std::string other = directory_.path().string() + "/other.jsonl";
  EXPECT_NE(run({"migrate", "--shard", "1/2", "--results", results_}).status, 2);
  EXPECT_NE(run({"migrate", "--shard", "2/2", "--results", other}).status, 2);
  const std::string all = directory_.path().string() + "/all.jsonl";
  const ToolResult summed = runTool({"report", "--results", results_, other, "--out", all});
  EXPECT_EQ(summed.status, 3) << summed.err;
  EXPECT_NE(summed.out.find("migrate on 6 devices in "), std::string::npos) << summed.out;
  EXPECT_NE(summed.out.find(": 5 done, 1 refused."), std::string::npos) << summed.out;
  device(1).putSettings(9, {mailAccount("A")});
  fs::rename(all, results_);
  EXPECT_EQ(migrate({"--resume"}).status, 0);
  const ToolResult after = runTool({"report", "--results", results_, "--json"});
  EXPECT_EQ(after.status, 0);
  EXPECT_EQ(schemaErrors("fleet.schema.json", after.out), "");
  EXPECT_EQ(documentIn(after.out).dictionary("outcomes")->integer("done"), 6);
  EXPECT_EQ(runTool({"report", "--results", list_}).status, 3);
}

TEST_F(FleetProgram, ResultsThatComeThroughAPipeAreReadAndGoneOnFromByNobody) {
  makeDevices(2);
  EXPECT_EQ(migrate().status, 0);
  const std::string pipe = directory_.path().string() + "/pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  std::thread writer([&] { std::ofstream(pipe) << std::ifstream(results_).rdbuf(); });
  const ToolResult read = ToolRun({"report", "--results", pipe}).withTimeLimit(30).run();
  writer.join();
  EXPECT_EQ(read.status, 0) << read.err;
  EXPECT_NE(read.out.find(": 2 done."), std::string::npos) << read.out;
  const ToolResult nobody = ToolRun({"report", "--results", pipe}).withTimeLimit(30).run();
  EXPECT_EQ(nobody.status, 3);
  EXPECT_NE(nobody.err.find("nobody writes into this pipe"), std::string::npos) << nobody.err;
  const ToolResult again =
      ToolRun(command({"migrate", "--results", pipe, "--resume"})).withTimeLimit(30).run();
  EXPECT_EQ(again.status, 3);
  EXPECT_NE(again.err.find("this is a pipe"), std::string::npos) << again.err;
}

// The current directory is another one for as long as it lives.
class WorkingDirectory {
 public:
  explicit WorkingDirectory(const fs::path& there) : before_(fs::current_path()) {
    fs::current_path(there);
  }
  ~WorkingDirectory() { fs::current_path(before_); }
  WorkingDirectory(const WorkingDirectory&) = delete;
  WorkingDirectory& operator=(const WorkingDirectory&) = delete;

 private:
  fs::path before_;
};

TEST_F(FleetProgram, RelativeRootsNeedACurrentDirectory) {
  makeDevices(2);
  const std::string gone = directory_.path().string() + "/gone";
  fs::create_directory(gone);
  const WorkingDirectory there(gone);
  fs::remove(gone);
  const ToolResult absolute = run({"check"});
  const ToolResult relative = run({"check", "--root", "device"});
  EXPECT_EQ(absolute.status, 0) << absolute.err;
  EXPECT_EQ(relative.status, 3);
  EXPECT_NE(relative.err.find("device: the current directory cannot be told"), std::string::npos)
      << relative.err;
}

TEST_F(FleetProgram, MakesNothingInTheCurrentDirectory) {
  makeDevices(1);
  const std::string place = directory_.path().string() + "/place";
  fs::create_directory(place);
  const WorkingDirectory there(place);
  const auto before = fs::last_write_time(place);
  const ToolResult result =
      ToolRun(command({"check"})).withVariable("TMPDIR", "/nonexistent").run();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(fs::last_write_time(place), before);
}

TEST(FleetHelp, EachOptionStandsInTheManual) {
  std::ifstream file(AS_SCHEMA_DIR "/../../docs/accountsettings.1.in");
  const std::string manual{std::istreambuf_iterator<char>(file), {}};
  const std::string help = runTool({"migrate", "--help"}).out;
  const std::size_t begin = help.find("\nMany devices:\n");
  ASSERT_NE(begin, std::string::npos) << help;
  std::istringstream options(help.substr(begin, help.find("\n\n", begin) - begin));
  std::size_t count = 0;
  for (std::string word; options >> word;) {
    const std::size_t name = word.find("--");
    if (name == std::string::npos || word.find('\'') != std::string::npos) continue;
    std::string escaped;
    for (const char each : word.substr(name)) {
      escaped += each == '-' ? "\\-" : std::string(1, each);
    }
    EXPECT_NE(manual.find("\\fB" + escaped + "\\fR"), std::string::npos) << escaped;
    ++count;
  }
  EXPECT_GE(count, 8U);
}

TEST_F(FleetProgram, AShardTakesItsPart) {
  makeDevices(12);
  std::size_t done = 0;
  for (const char* shard : {"1/2", "2/2"}) {
    EXPECT_EQ(migrate({"--resume", "--shard", shard}).status, 0);
    EXPECT_GT(lines().size(), done);
    done = lines().size();
  }
  EXPECT_EQ(done, 12U);
  EXPECT_EQ(results().size(), 12U);
}

}  // namespace
}  // namespace accountsettings::testing
