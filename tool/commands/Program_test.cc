// Tests of the frame of the program, run as a process: its command line, its help, its errors.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>

#include "testing/TemporaryDirectory.h"
#include "testing/ToolRun.h"
#include "tool/frame/Output.h"

namespace accountsettings::testing {
namespace {

constexpr std::array<const char*, 17> kCommands = {
    "migrate", "plan",   "show",    "diff", "check",  "restore", "history", "why",   "get",
    "set",     "enable", "disable", "add",  "remove", "plist",   "sample",  "report"};

void expectRefusal(std::vector<std::string> arguments, const std::string& message) {
  const ToolResult result = runTool(std::move(arguments));
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "accountsettings: " + message + "\n");
}

TEST(Program, HelpNamesEveryCommand) {
  const ToolResult result = runTool({"--help"});
  EXPECT_EQ(result.status, 0);
  for (const char* command : kCommands) {
    EXPECT_NE(result.out.find(std::string("\n  ") + command + " "), std::string::npos) << command;
  }
}

TEST(Program, HelpOfEachCommandShowsTwoExamplesAndTheCommonOptions) {
  for (const char* command : kCommands) {
    const ToolResult result = runTool({command, "--help"});
    EXPECT_EQ(result.status, 0);
    const std::string example = std::string("\n  accountsettings ") + command;
    const std::size_t first = result.out.find(example);
    ASSERT_NE(first, std::string::npos) << command;
    EXPECT_NE(result.out.find(example, first + 1), std::string::npos) << command;
    EXPECT_NE(result.out.find("--root DIR"), std::string::npos) << command;
  }
}

TEST(Program, TellsItsVersion) {
  EXPECT_EQ(runTool({"--version"}).out, "accountsettings " AS_VERSION "\n");
}

TEST(Program, SuggestsTheOptionThatWasMeant) {
  expectRefusal({"show", "--jsn"},
                "--jsn: unknown option; did you mean '--json'? see accountsettings show --help");
  expectRefusal(
      {"migrate", "--dryrun"},
      "--dryrun: unknown option; did you mean '--dry-run'? see accountsettings migrate --help");
  expectRefusal({"sample", "--nonsense"},
                "--nonsense: unknown option; see accountsettings sample --help");
  expectRefusal({"show", "--zzzzzzzz"},
                "--zzzzzzzz: unknown option; see accountsettings show --help");
}

TEST(Program, SuggestsTheCommandThatWasMeant) {
  expectRefusal({"shwo"}, "'shwo': unknown command; did you mean 'show'? see accountsettings help");
  expectRefusal({"xyzzyxyzzy"}, "'xyzzyxyzzy': unknown command; see accountsettings help");
}

TEST(Program, RefusesArgumentsTooMany) {
  expectRefusal({"show", "a", "b"}, "'b': one argument too many; see accountsettings show --help");
}

TEST(Program, EveryCommandRefusesAnUnknownOption) {
  for (const char* command : kCommands) {
    const ToolResult result = runTool({command, "--no-such-option"});
    EXPECT_EQ(result.status, 2) << command;
    EXPECT_EQ(result.out, "") << command;
    EXPECT_NE(result.err.find("--no-such-option: unknown option"), std::string::npos)
        << command << ": " << result.err;
  }
}

TEST(Program, KnowsOtherWordsForCommands) {
  const auto suggests = [](const char* word, const std::string& command) {
    expectRefusal({word}, std::string("'") + word + "': unknown command; did you mean '" + command +
                              "'? see accountsettings help");
  };
  suggests("list", "show");
  suggests("undo", "restore");
  suggests("status", "check");
}

TEST(Program, WithoutACommandItShowsAGuideWhoseCommandsRunInTurn) {
  const ToolResult guide = runTool({});
  EXPECT_EQ(guide.status, 2);
  const TemporaryDirectory directory;
  const std::string device = directory.path() / "device";
  ASSERT_EQ(runTool({"sample", device, "--release", "oldest"}).status, 0);
  const std::regex command("\n  accountsettings (\\w+) --root DIR  ");
  std::vector<std::string> commands;
  for (std::sregex_iterator at(guide.out.begin(), guide.out.end(), command), end; at != end; ++at) {
    commands.push_back(at->str(1));
    const ToolResult result = runTool({commands.back(), "--root", device});
    EXPECT_LE(result.status, commands.back() == "check" ? 1 : 0) << commands.back();
  }
  EXPECT_EQ(commands, (std::vector<std::string>{"show", "check", "plan", "migrate", "restore"}));
  EXPECT_NE(guide.out.find(" accountsettings sample DIR --release oldest\n"), std::string::npos);
  EXPECT_NE(guide.out.find(" accountsettings help\n"), std::string::npos);
}

TEST(Program, HelpAndVersionAreWordsToo) {
  EXPECT_EQ(runTool({"help"}).out, runTool({"--help"}).out);
  EXPECT_EQ(runTool({"help", "show"}).out, runTool({"show", "--help"}).out);
  EXPECT_EQ(runTool({"version"}).out, runTool({"--version"}).out);
  expectRefusal({"help", "shwo"},
                "'shwo': unknown command; did you mean 'show'? see accountsettings help");
}

TEST(Program, TakesTheRootAsAnArgumentWhereNothingElseIsOne) {
  ToolRoot root;
  root.putSettings(9, {mailAccount("A")});
  for (const char* command : {"show", "check", "plan", "history", "migrate"}) {
    EXPECT_EQ(runTool({command, root.path()}).status, 0) << command;
  }
  EXPECT_EQ(root.settings().integer("Version"), 12);
}

TEST(Program, OptionsMayStandBeforeTheCommand) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A")});
  const ToolResult after = runTool({"show", "--root", root.path(), "--json", "--type", "Mail"});
  const ToolResult before = runTool({"--type", "Mail", "--json", "--root", root.path(), "show"});
  EXPECT_EQ(after.status, 0);
  EXPECT_EQ(before.status, 0);
  // But for when it began and how long it took.
  EXPECT_EQ(documentIn(before.out).get("settings"), documentIn(after.out).get("settings"));
  EXPECT_EQ(documentIn(before.out).get("root"), documentIn(after.out).get("root"));
}

TEST(Program, TwoRootsThatContradictEachOtherAreRefused) {
  ToolRoot one;
  ToolRoot other;
  one.putSettings(9, {mailAccount("A")});
  other.putSettings(9, {mailAccount("B")});
  const auto before = other.snapshot();
  for (const char* command : {"migrate", "plan", "check", "show"}) {
    const ToolResult result = runTool({command, "--root", one.path(), other.path()});
    EXPECT_EQ(result.status, 2) << command;
    EXPECT_NE(result.err.find("--root names another device root, " + one.path()), std::string::npos)
        << result.err;
  }
  EXPECT_EQ(other.snapshot(), before);
  EXPECT_EQ(runTool({"check", "--root", one.path(), one.path()}).status, 0);
}

TEST(Program, AValueMayBeNamedLikeACommand) {
  const ToolResult result = runTool({"--root", "show", "show"});
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("show: No such file or directory"), std::string::npos) << result.err;
}

TEST(Program, SaysThatTheReaderOfItsOutputIsGone) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A")});
  const ToolResult result = ToolRun({"show", root.path()}).withClosedOutput().run();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(
      result.err,
      "accountsettings: standard output: Broken pipe; what was to be shown is incomplete: run it "
      "again where all of it can be written\n");
}

TEST(Program, AnAnswerThatDidNotArriveIsNone) {
  ToolRoot root;
  root.putSettings(9, {mailAccount("A")});
  const ToolRoot other;
  EXPECT_EQ(runTool({"diff", root.path(), other.path()}).status, 1);
  EXPECT_EQ(ToolRun({"diff", root.path(), other.path()}).withClosedOutput().run().status, 3);
  EXPECT_EQ(runTool({"plan", root.path(), "--exit-code"}).status, 10);
  EXPECT_EQ(ToolRun({"plan", root.path(), "--exit-code"}).withClosedOutput().run().status, 3);
  // A migration that changed files has been done all the same; one that had nothing to do has not.
  EXPECT_EQ(ToolRun({"migrate", root.path()}).withClosedOutput().run().status, 0);
  EXPECT_EQ(ToolRun({"migrate", root.path()}).withClosedOutput().run().status, 3);
}

TEST(Program, NoArgumentSpeaksToTheTerminal) {
  const std::string hostile = "\033[31m\xE2\x80\xAEx\n";
  for (const std::vector<std::string>& command : {std::vector<std::string>{hostile},
                                                  {"show", hostile},
                                                  {"show", "--" + hostile},
                                                  {"plan", "--root", hostile},
                                                  {"sample", "x", "--release", hostile}}) {
    const ToolResult result = runTool(command);
    EXPECT_NE(result.err.find("\\x1b[31m\\u202ex\\n"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find('\033'), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
  }
}

TEST(Program, NamesAnEmptyPath) {
  EXPECT_EQ(runTool({"show", ""}).err,
            "accountsettings: '': No such file or directory; check the path\n");
}

TEST(Program, ACommandThatChangedSomethingKeepsItsStatusWithoutAReader) {
  ToolRoot root;
  root.putSettings(11, {mailAccount("A")});
  const TemporaryDirectory directory;
  const auto file = [&](const char* name) { return directory.path().string() + "/" + name; };
  const std::string results = file("results.jsonl");
  const ToolRoot other;
  ASSERT_EQ(
      runTool({"plan", "--root", root.path(), "--root", other.path(), "--results", results}).status,
      0);
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"plan", root.path(), "--out", file("plan")},
        {"report", root.path(), "--out", file("report")},
        {"report", root.path(), "--html", file("page.html")},
        {"report", "--results", results, "--html", file("devices.html")},
        {"report", "--results", results, "--out", file("all.jsonl")},
        {"sample", file("device")},
        {"plist", root.settingsPath(), "--out", file("settings.txt")},
        {"migrate", "--root", root.path()},
        {"set", "A", "Note", "x", "--root", root.path()},
        {"restore", "--root", root.path()},
        {"restore", "--prune", "--keep", "1", "--root", root.path()}}) {
    EXPECT_EQ(ToolRun(command).withClosedOutput().run().status, 0) << command[0];
  }
}

TEST(Program, AFlagTakesNoValue) {
  expectRefusal({"plan", "--exit-code=5"},
                "--exit-code: it takes no value; see accountsettings plan --help");
  expectRefusal({"check", "--json=no"},
                "--json: it takes no value; see accountsettings check --help");
}

TEST(Program, WaitsForNoInputThatMayNeverCome) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A")});
  const std::string pipe = root.at("/pipe");
  const std::string huge = root.at("/huge");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  root.putText("/huge", "");
  std::filesystem::resize_file(huge, std::uintmax_t{5} << 30);
  for (const std::string& input : {pipe, std::string("/dev/zero"), huge}) {
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"show", input},
          {"check", input},
          {"plist", input},
          {"diff", root.path(), input},
          {"migrate", "--root", root.path(), "--plan", input},
          {"report", root.path(), "--out", root.at("/report"), "--include-log", input},
          {"add", "Mail", "IMAPAccount", "--properties", input, "--root", root.path()}}) {
      // Whoever waits is ended by a signal, and has no status then.
      const ToolResult result = ToolRun(command).withTimeLimit(10).run();
      EXPECT_EQ(result.status, 3) << command.front() << " " << input;
      EXPECT_NE(result.err.find(input == huge ? "more than a gigabyte" : "no regular file"),
                std::string::npos)
          << result.err;
    }
  }
  std::filesystem::remove(root.settingsPath());
  ASSERT_EQ(::mkfifo(root.settingsPath().c_str(), 0600), 0);
  for (const char* command : {"show", "check", "migrate"}) {
    EXPECT_EQ(ToolRun({command, "--root", root.path()}).withTimeLimit(10).run().status, 3)
        << command;
  }
}

// A value that shares its parts so often that nobody could ever see all of it.
PropertyList endlessValue() {
  PropertyList value = "x";
  for (int i = 0; i < 40; ++i) value = Array{value, value};
  return value;
}

PropertyList endlessTree() {
  PropertyList value = "x";
  for (int i = 0; i < 40; ++i) value = Dictionary{{"Left", value}, {"Right", value}};
  return value;
}

TEST(Program, WhatItShowsIsInProportionToWhatIsStored) {
  ToolRoot root;
  Dictionary account = mailAccount("A");
  account.set("Blob", endlessValue());
  account.set("Folders", Dictionary{{"Password", endlessTree()}, {"List", endlessValue()}});
  account.set("Tree", endlessTree());
  root.putSettings(12, {account, mailAccount("B")});
  ToolRoot other;
  other.putSettings(12, {mailAccount("B")});
  const std::string report = root.at("/report.json");
  for (const std::vector<std::string>& command : {std::vector<std::string>{"show", "--all"},
                                                  {"show", "--json"},
                                                  {"get", "A"},
                                                  {"get", "A", "--json"},
                                                  {"get", "A", "Blob"},
                                                  {"get", "A", "Tree"},
                                                  {"check", "--json"},
                                                  {"plist", root.settingsPath()},
                                                  {"diff", root.path(), other.path()},
                                                  {"diff", root.path(), other.path(), "--json"},
                                                  {"migrate", "--dry-run", "-v", "--json"},
                                                  {"remove", "A", "--dry-run", "--json"},
                                                  {"report", "--out", report}}) {
    std::vector<std::string> arguments = command;
    arguments.insert(arguments.end(), {"--root", root.path()});
    const ToolResult result = runTool(arguments);
    const bool differs = command.front() == "diff";
    EXPECT_EQ(result.status, differs ? 1 : 0) << command.front() << result.err;
    EXPECT_LT(result.out.size(), 4U << 20) << command.front();
    const bool isCut = result.out.find("left out)") != std::string::npos;
    EXPECT_EQ(result.err.find("; --no-limit spells them out\n") != std::string::npos,
              isCut || command.front() == "report")
        << command.front() << result.err;
    if (isCut && command.back() == "--json") {
      EXPECT_NE(result.out.find("\"leftOut\": "), std::string::npos) << command.front();
    }
  }
  EXPECT_LT(std::filesystem::file_size(report), 4U << 20);
  const ToolResult shown = runTool({"show", "--json", "--root", root.path()});
  EXPECT_EQ(schemaErrors("show.schema.json", shown.out), "");
  EXPECT_NE(shown.out.find("\"B\""), std::string::npos) << "what stands behind it is shown";
}

// What is converted is whole, or nothing is.
TEST(Program, ConvertsNothingThatSharesTooMuchButToTheFormThatShares) {
  ToolRoot root;
  root.put("/value", endlessValue());
  const std::string value = root.at("/value");
  for (const char* form : {"json", "xml"}) {
    const ToolResult result = runTool({"plist", value, "--to", form});
    EXPECT_EQ(result.status, 3) << form;
    EXPECT_EQ(result.out, "") << form;
    EXPECT_NE(result.err.find("values that are shared so often"), std::string::npos) << result.err;
  }
  EXPECT_EQ(runTool({"plist", value, "--to", "binary", "--out", root.at("/out")}).status, 0);
  EXPECT_EQ(root.get("/out"), endlessValue());
}

#if defined(__has_feature)
#  if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#    define AS_IS_SANITIZED
#  endif
#endif
#if !defined(AS_IS_SANITIZED) && !defined(__SANITIZE_ADDRESS__)

TEST(Program, SaysThatThereIsNotEnoughMemory) {
  ToolRoot root;
  Dictionary account = mailAccount("A");
  account.set("Blob", endlessValue());
  root.putSettings(12, {account});
  for (const std::uint64_t limit : {60U, 40U}) {
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"show", "--json", "--no-limit", "--root", root.path()},
          {"plist", root.settingsPath(), "--no-limit"}}) {
      const ToolResult result = ToolRun(command).withMemoryLimit(limit << 20).run();
      EXPECT_EQ(result.signal, 0);
      EXPECT_EQ(result.status, 3);
      EXPECT_EQ(result.err,
                "accountsettings: there is not enough memory; nothing was changed; close other "
                "programs and try again\n");
      if (command.front() == "plist") {
        EXPECT_EQ(result.out, "");
      } else {
        const Dictionary document = documentIn(result.out);
        EXPECT_EQ(document.dictionary("error")->string("code"), "no-memory");
      }
    }
  }
}

TEST(Program, AMigrationThatRunsOutOfMemoryLosesNothing) {
  ToolRoot root;
  Array accounts;
  for (int i = 0; i < 2000; ++i) {
    Dictionary account = mailAccount("account-" + std::to_string(i));
    account.set("Text", std::string(3000, 't') + std::to_string(i));
    accounts.append(account);
  }
  root.putSettings(9, accounts);
  int withoutMemory = 0;
  for (std::uint64_t limit = 28; limit < 80; limit += 8) {
    const ToolResult result =
        ToolRun({"migrate", "--root", root.path()}).withMemoryLimit(limit << 20).run();
    EXPECT_EQ(result.signal, 0) << limit;
    if (result.status == 0) continue;
    EXPECT_TRUE(result.status == 3 || result.status == 4) << limit << result.err;
    const bool isTold = result.err.find("there is not enough memory") != std::string::npos;
    withoutMemory += isTold ? 1 : 0;
    if (!isTold) continue;
    EXPECT_EQ(result.err.find("nothing was changed") == std::string::npos, result.status == 4)
        << result.err;
    EXPECT_EQ(root.settings().array("Accounts")->size(), accounts.size()) << limit;
  }
  EXPECT_GT(withoutMemory, 0);
  EXPECT_EQ(runTool({"migrate", "--root", root.path()}).status, 0);
  EXPECT_EQ(root.settings().get("Version"), PropertyList(12));
  EXPECT_EQ(root.settings().array("Accounts")->size(), accounts.size());
}

#endif

TEST(Program, TellsAMissingRoot) {
  const ToolResult result = runTool({"show", "--root", "/nonexistent-root"});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find("/nonexistent-root: No such file or directory"), std::string::npos)
      << result.err;
}

TEST(Program, RefusesARootThatIsNoDeviceAndNamesTheOneAboveIt) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A")});
  const std::string wrong = root.at("/var/mobile");
  for (const std::vector<std::string>& command : {std::vector<std::string>{"show"},
                                                  {"check"},
                                                  {"plan", "--exit-code"},
                                                  {"migrate"},
                                                  {"restore"},
                                                  {"history"},
                                                  {"report", "--out", root.at("/report")},
                                                  {"diff", wrong, root.path()},
                                                  {"get", "A"},
                                                  {"set", "A", "DisplayName", "x"}}) {
    std::vector<std::string> arguments = command;
    arguments.insert(arguments.end(), {"--root", wrong});
    const ToolResult result = runTool(arguments);
    EXPECT_EQ(result.status, 3) << command.front();
    EXPECT_EQ(result.err, "accountsettings: " + wrong +
                              ": this is no device root: it has no /var/mobile; did you mean " +
                              root.path() + "?\n");
  }
  const TemporaryDirectory empty;
  EXPECT_NE(runTool({"show", empty.path()})
                .err.find("; give the directory that stands for the device's /\n"),
            std::string::npos);
}

TEST(Program, TellsAMalformedConfigurationWithFileAndKey) {
  ToolRoot root;
  root.put("/etc/accountsettings/host.plist", Dictionary{{"Owner", 5}});
  const ToolResult result = runTool({"migrate", "--root", root.path()});
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("host.plist"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("Owner"), std::string::npos) << result.err;
}

TEST(Program, TellsALogThatCannotBeOpened) {
  ToolRoot root;
  const ToolResult result =
      runTool({"migrate", "--root", root.path(), "--log", root.path() + "/none/log"});
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("/none/log"), std::string::npos) << result.err;
}

TEST(Program, ColourNeedsATerminalUnlessItIsAskedFor) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A")});
  const auto coloured = [&](const char* when, bool terminal) {
    ToolRun run({"show", root.path(), when});
    run.withVariable("TERM", "xterm");
    if (terminal) run.onTerminal();
    return run.run().out.find('\033') != std::string::npos;
  };
  EXPECT_FALSE(coloured("--color=auto", false));
  EXPECT_TRUE(coloured("--color=auto", true));
  EXPECT_TRUE(coloured("--color=always", false));
  EXPECT_FALSE(coloured("--color=never", true));
}

TEST(Program, APagerShowsWhatGoesToATerminal) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A")});
  const auto shown = [&](std::map<std::string, std::string> variables, bool terminal = true) {
    ToolRun run({"show", root.path(), "--color=never"});
    variables.emplace("TERM", "xterm");
    for (const auto& [name, value] : variables) run.withVariable(name, value);
    if (terminal) run.onTerminal();
    const ToolResult result = run.withTimeLimit(30).run();
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  };
  const std::string marking = "sed \"s/^/$LESS:/\"";
  EXPECT_EQ(shown({{"PAGER", marking}}).substr(0, 11), "FRX:device ");
  EXPECT_EQ(shown({{"PAGER", "false"}, {"ACCOUNTSETTINGS_PAGER", marking}}).substr(0, 4), "FRX:");
  EXPECT_EQ(shown({{"PAGER", marking}, {"LESS", "X"}}).substr(0, 2), "X:");
  EXPECT_EQ(shown({{"PAGER", marking}}, false).substr(0, 7), "device ");
  EXPECT_EQ(shown({{"PAGER", marking}, {"TERM", "dumb"}}).substr(0, 7), "device ");
  // Whoever leaves the pager has seen enough.
  EXPECT_EQ(shown({{"PAGER", "true"}}), "");
}

TEST(Program, OnePagerShowsALongOutputToItsEnd) {
  ToolRoot root;
  Array accounts;
  for (int i = 0; i < 2000; ++i) accounts.append(mailAccount("ACCOUNT-" + std::to_string(i)));
  root.putSettings(12, accounts);
  const std::string out = ToolRun({"show", root.path(), "--color=never"})
                              .onTerminal()
                              .withVariable("TERM", "xterm")
                              .withVariable("PAGER", "echo begun; cat; echo ended")
                              .withTimeLimit(30)
                              .run()
                              .out;
  EXPECT_GT(out.size(), 2U << 16U) << "what is kept back is shown in several parts";
  EXPECT_TRUE(out.starts_with("begun\r\ndevice root")) << out.substr(0, 100);
  EXPECT_TRUE(out.ends_with("ended\r\n"));
  EXPECT_EQ(out.find("begun", 1), std::string::npos);
  EXPECT_EQ(out.find("ended"), out.size() - 7);
  EXPECT_NE(out.find("ACCOUNT-1999\r\n"), std::string::npos);
}

// A device of the oldest release that was migrated, with something to be found.
std::string migratedDevice(const TemporaryDirectory& directory) {
  const std::string device = directory.path() / "d";
  EXPECT_EQ(runTool({"sample", device, "--release", "oldest"}).status, 0);
  EXPECT_EQ(runTool({"migrate", device}).status, 0);
  EXPECT_EQ(::chmod((device + ToolRoot::kSettings).c_str(), 0644), 0);
  return device;
}

TEST(Program, FitsLinesToATerminalBetweenWords) {
  const TemporaryDirectory directory;
  const std::string device = migratedDevice(directory);
  const std::string old = directory.path() / "old";
  ASSERT_EQ(runTool({"sample", old, "--release", "oldest"}).status, 0);
  const std::string account = "5A0DE000-0003-4000-8000-000000000002";
  for (const unsigned short columns : std::to_array<unsigned short>({80, 100, 160})) {
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"show", device, "--all"},
          {"show", device, "--table"},
          {"check", device},
          {"plan", old},
          {"migrate", old, "--dry-run", "--verbose"},
          {"diff", old, device, "--verbose"},
          {"history", device},
          {"history", account, "--root", device},
          {"why", "5A0DE000-0001-4000-8000-000000000008", "--root", device},
          {"restore", "--list", "--root", device},
          {"restore", "--show", "--root", device},
          {"restore", "--dry-run", "--root", device}}) {
      std::vector<std::string> arguments = command;
      arguments.emplace_back("--color=never");
      const ToolResult fitted = ToolRun(arguments).onTerminal(columns).run();
      EXPECT_NE(fitted.out, "") << command.front() << fitted.err;
      std::istringstream lines(fitted.out);
      for (std::string line; std::getline(lines, line);) {
        line.erase(line.find_last_not_of("\r") + 1);
        // A command is to be pasted, and so is the root.
        const bool isWhole = line.find("accountsettings ") != std::string::npos ||
                             line.find(directory.path().string()) != std::string::npos;
        EXPECT_TRUE(lengthOf(line) <= columns || isWhole)
            << command.front() << " at " << columns << ": " << line;
      }
    }
  }
}

TEST(Program, AWiderTerminalShowsMore) {
  const TemporaryDirectory directory;
  const std::string device = migratedDevice(directory);
  const auto cutIn = [&](const std::vector<std::string>& arguments, unsigned short columns) {
    std::vector<std::string> plain = arguments;
    plain.emplace_back("--color=never");
    const std::string out = ToolRun(plain).onTerminal(columns).run().out;
    std::size_t cut = 0;
    for (std::size_t at = out.find("…"); at != std::string::npos; at = out.find("…", at + 1)) ++cut;
    EXPECT_EQ(cut > 0, out.find("… stands for more: ") != std::string::npos) << out;
    return cut;
  };
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"show", device, "--all"}, {"show", device, "--table"}}) {
    EXPECT_GT(cutIn(command, 80), cutIn(command, 160)) << command.back();
  }
}

TEST(Program, NamesFilesBeneathTheRootThatStandsOnceAtTheTop) {
  const TemporaryDirectory directory;
  const std::string device = migratedDevice(directory);
  for (const std::vector<std::string>& command : {std::vector<std::string>{"check", device},
                                                  {"plan", device},
                                                  {"migrate", device},
                                                  {"restore", "--show", "--root", device},
                                                  {"restore", "--dry-run", "--root", device}}) {
    const std::string out = runTool(command).out;
    EXPECT_NE(out.find("/var/mobile/Library/Preferences/"), std::string::npos) << out;
    EXPECT_EQ(out.find(device + "/var"), std::string::npos) << out;
    EXPECT_LT(out.find(device), out.find("/var/mobile/")) << out;
  }
}

TEST(Program, SaysTheSameWordsOnATerminal) {
  const TemporaryDirectory directory;
  const std::string device = migratedDevice(directory);
  // The same words stand there as elsewhere.
  const auto wordsOf = [](const std::string& text) {
    std::istringstream stream(text);
    return std::vector<std::string>{std::istream_iterator<std::string>(stream), {}};
  };
  EXPECT_EQ(wordsOf(ToolRun({"check", device, "--color=never"}).onTerminal().run().out),
            wordsOf(runTool({"check", device}).out));
}

}  // namespace
}  // namespace accountsettings::testing
