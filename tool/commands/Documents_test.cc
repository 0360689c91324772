// Tests of what all documents of --json have in common: their head, why a command failed, and the
// codes of failures in the schemas and in the manual.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>

#include "testing/DocumentPath.h"
#include "testing/ToolRun.h"
#include "tool/frame/FailureCodes.h"

namespace accountsettings::testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::literals::operator""_json_pointer;

std::string contentOf(const fs::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The failure in what the command printed, which must say the same on standard error.
Dictionary failureIn(const ToolResult& result, const char* schema = "error.schema.json") {
  EXPECT_EQ(schemaErrors(schema, result.out), "");
  const Dictionary document = documentIn(result.out);
  const Dictionary failure =
      document.dictionary("error") ? *document.dictionary("error") : Dictionary();
  EXPECT_EQ(failure.integer("status"), result.status);
  const std::string message(failure.string("message").value_or("?"));
  const std::string advice(failure.string("advice").value_or("?"));
  EXPECT_NE(
      result.err.find("accountsettings: " + message + (advice.empty() ? "" : "; " + advice) + "\n"),
      std::string::npos)
      << result.err;
  return failure;
}

TEST(Failures, ADocumentTellsCodeMessagePathAndAdvice) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A")});
  const std::string missing = root.at("/missing");
  const std::string onRoot = "--root=" + root.path();
  struct Case {
    std::vector<std::string> command;
    const char* code;
    std::string path;
  };
  for (const Case& each :
       {Case{{"show", "--nonsense"}, "usage", ""}, Case{{"shwo"}, "usage", ""},
        Case{{"show", missing}, "not-found", missing},
        Case{{"check", missing}, "not-found", missing},
        Case{{"plan", root.at("/var")}, "no-device", root.at("/var")},
        Case{{"get", "B", onRoot}, "no-account", ""},
        Case{{"set", "B", "X", "1", onRoot}, "no-account", ""},
        Case{{"history", "B", onRoot}, "no-account", ""},
        Case{{"why", "B", onRoot}, "no-account", ""},
        Case{{"why", missing, onRoot}, "not-found", missing},
        Case{{"restore", onRoot}, "no-backup", ""}, Case{{"restore", "x", onRoot}, "no-backup", ""},
        Case{{"plist", root.path()}, "unreadable", root.path()},
        Case{{"sample", root.path()}, "exists", root.path()},
        Case{{"set", "A", "Type", "x", onRoot}, "unfit", ""},
        Case{{"migrate", onRoot, "--plan", root.settingsPath()}, "unreadable", root.settingsPath()},
        Case{{"report", onRoot, "--out", missing + "/x"}, "not-found", missing + "/x"},
        Case{{"migrate", onRoot, "--plan", missing}, "not-found", missing}}) {
    std::vector<std::string> arguments = each.command;
    arguments.emplace_back("--json");
    const ToolResult result = runTool(arguments);
    const Dictionary failure = failureIn(result);
    EXPECT_EQ(failure.string("code"), each.code) << each.command.front();
    // No root is told where the command line was not understood.
    EXPECT_EQ(documentIn(result.out).string("root").has_value(), each.code != std::string("usage"));
    if (!each.path.empty()) {
      EXPECT_EQ(failure.string("file"), each.path);
    }
    arguments.pop_back();
    EXPECT_EQ(runTool(arguments).out, "") << each.command.front();
  }
}

TEST(Failures, StandInTheDocumentThatTheCommandGivesAllTheSame) {
  ToolRoot root;
  root.putSettings(9, {Dictionary{{"Identifier", "P"}, {"Type", "Pigeon"}, {"Class", "P"}}});
  Dictionary failure =
      failureIn(runTool({"migrate", "--root", root.path(), "--json"}), "migration.schema.json");
  EXPECT_EQ(failure.string("code"), "blocked");
  EXPECT_EQ(failure.string("file"), root.settingsPath());
  failure = failureIn(runTool({"show", root.path(), "--json", "--type", "x"}), "show.schema.json");
  EXPECT_EQ(failure.string("code"), "no-match");
  root.putText(ToolRoot::kSettings, "nonsense");
  failure = failureIn(runTool({"show", root.path(), "--json"}), "show.schema.json");
  EXPECT_EQ(failure.string("code"), "unreadable");
  EXPECT_EQ(failure.string("file"), root.settingsPath());
  EXPECT_EQ(failure.string("path"), ToolRoot::kSettings);
  EXPECT_NE(failure.string("advice")->find("--root " + root.path()), std::string::npos);
}

TEST(FailureCodes, AreThoseOfTheSchemas) {
  nlohmann::json codes = nlohmann::json::array();
  for (const FailureKind& each : kFailureKinds) codes.push_back(each.code);
  std::size_t schemas = 0;
  for (const auto& file : fs::directory_iterator(AS_SCHEMA_DIR)) {
    const auto schema = nlohmann::json::parse(contentOf(file.path()));
    if (file.path().filename() == "report.schema.json") continue;  // a file, whose command tells
    EXPECT_EQ(schema.at("/definitions/failure/properties/code/enum"_json_pointer), codes)
        << file.path();
    ++schemas;
  }
  EXPECT_GE(schemas, 13U);
}

TEST(FailureCodes, AreThoseOfTheManual) {
  std::string section;
  for (const FailureKind& each : kFailureKinds) {
    std::string code;
    for (const char letter : std::string(each.code)) {
      code += letter == '-' ? "\\-" : std::string(1, letter);
    }
    section += ".TP\n.B " + code + "\n" + each.meaning + "\n";
  }
  const std::string manual = contentOf(AS_SCHEMA_DIR "/../../docs/accountsettings.1.in");
  EXPECT_NE(manual.find("by these codes:\n" + section + ".SH FILES\n"), std::string::npos)
      << section;
}

TEST(Documents, TellWhoMadeThemOfWhatAndWhen) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A")});
  for (const std::vector<std::string>& command : {std::vector<std::string>{"show"},
                                                  {"check"},
                                                  {"plan"},
                                                  {"history"},
                                                  {"history", "A"},
                                                  {"why", "A"},
                                                  {"restore", "--list"},
                                                  {"get", "A"},
                                                  {"migrate", "--dry-run"}}) {
    std::vector<std::string> arguments = command;
    arguments.insert(arguments.end(), {"--root", root.path(), "--json"});
    const Dictionary document = documentIn(runTool(arguments).out);
    EXPECT_EQ(document.string("toolVersion"), AS_VERSION) << command.front();
    EXPECT_EQ(document.string("root"), root.path()) << command.front();
    const std::string started(document.string("startedAt").value_or(""));
    EXPECT_EQ(started.size(), 27U) << started;
    EXPECT_GE(started, "2026-01-01T00:00:00.000000Z");
    const PropertyList* seconds = document.find("durationSeconds");
    ASSERT_NE(seconds, nullptr) << command.front();
    EXPECT_GT(seconds->real().value_or(0), 0);
  }
}

TEST(Documents, AreCompactOnRequest) {
  ToolRoot root;
  root.putSettings(12, {mailAccount("A")});
  const std::string text = runTool({"show", root.path(), "--compact"}).out;
  EXPECT_EQ(text.find('\n'), text.size() - 1);
  EXPECT_EQ(schemaErrors("show.schema.json", text), "");
  EXPECT_EQ(documentIn(runTool({"shwo", "--compact"}).out).string("format"),
            "accountsettings.error");
}

}  // namespace
}  // namespace accountsettings::testing
