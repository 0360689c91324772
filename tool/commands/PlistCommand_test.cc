// Tests of `plist`, run as a process.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "plist/BinaryWriter.h"
#include "testing/ToolRun.h"

namespace accountsettings::testing {
namespace {

namespace fs = std::filesystem;

class Plist : public ::testing::Test {
 protected:
  [[nodiscard]] std::string at(const std::string& name) const { return directory_.path() / name; }

  std::string write(const std::string& name, const std::string& content) {
    std::ofstream(at(name), std::ios::binary) << content;
    return at(name);
  }

  [[nodiscard]] std::string content(const std::string& name) const {
    std::ifstream stream(at(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  [[nodiscard]] std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory_.path())) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  TemporaryDirectory directory_;
  const std::string json_ =
      "{\n  \"Name\": \"x\",\n  \"List\": [\n    1,\n    2.5\n  ],\n"
      "  \"When\": {\n    \"$date\": \"2012-01-01T00:00:00Z\"\n  }\n}\n";
};

TEST_F(Plist, PrintsForPeople) {
  const ToolResult result = runTool({"plist", write("a.json", json_)});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "Name: \"x\"\nList:\n  - 1\n  - 2.5\nWhen: 2012-01-01T00:00:00Z\n");
}

TEST_F(Plist, ConvertsBetweenAllFormsAndBack) {
  ASSERT_EQ(runTool({"plist", write("a.json", json_), "-t", "xml", "-o", at("a.xml")}).status, 0);
  EXPECT_EQ(content("a.xml").substr(0, 5), "<?xml");
  EXPECT_EQ(fs::status(at("a.xml")).permissions(), fs::perms::owner_read | fs::perms::owner_write)
      << "it may hold passwords";
  ASSERT_EQ(runTool({"plist", at("a.xml"), "--to", "binary", "--out", at("a.bin")}).status, 0);
  EXPECT_EQ(content("a.bin").substr(0, 8), "bplist00");
  const ToolResult result = runTool({"plist", at("a.bin"), "--to", "json"});
  EXPECT_EQ(documentIn(result.out), documentIn(json_));
}

TEST_F(Plist, ReadsStandardInput) {
  const ToolResult result = ToolRun({"plist", "-"}).withInput("[1]").run();
  EXPECT_EQ(result.out, "- 1\n");
  EXPECT_EQ(ToolRun({"plist"}).withInput("[1]").run().out, result.out);
}

TEST_F(Plist, ATerminalIsShownNoBytes) {
  const std::string file = write("a.json", json_);
  const ToolResult result = ToolRun({"plist", file, "--to", "binary"}).onTerminal().run();
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "accountsettings: --to binary: standard output is a terminal, which cannot show this "
            "form; name a file with --out\n");
  EXPECT_EQ(runTool({"plist", file, "--to", "binary"}).out.substr(0, 8), "bplist00");
}

TEST_F(Plist, TellsWhereAFileIsMalformed) {
  const ToolResult result = runTool({"plist", write("a.xml", "<plist><dict><key>a</key>")});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(
      result.err.find("accountsettings: " + at("a.xml") + ": it is probably cut off, line 1: "), 0U)
      << result.err;
}

TEST_F(Plist, TellsAFileOfNoForm) {
  const ToolResult result = runTool({"plist", write("a", "hello")});
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("it is no property list (binary, XML or JSON), or a damaged one"),
            std::string::npos)
      << result.err;
}

TEST_F(Plist, TellsAnEmptyFileADirectoryAndAMissingOne) {
  EXPECT_EQ(runTool({"plist", write("a", "")}).err,
            "accountsettings: " + at("a") + ": it is empty, not a property list; check the path\n");
  EXPECT_EQ(runTool({"plist", directory_.path()}).err,
            "accountsettings: " + directory_.path().string() +
                ": this is a directory; give a file in it\n");
  EXPECT_EQ(runTool({"plist", at("none")}).err,
            "accountsettings: " + at("none") + ": No such file or directory; check the path\n");
}

TEST_F(Plist, AFileThatIsWrittenKeepsItsModeAndOwner) {
  const std::string out = write("out", "old");
  ASSERT_EQ(::chmod(out.c_str(), 0640), 0);
  const bool canGiveAway = ::geteuid() == 0;
  if (canGiveAway) {
    ASSERT_EQ(::chown(out.c_str(), 501, 502), 0);
  }
  fs::create_symlink("out", at("link"));
  const std::string source = write("a.json", json_);
  for (const char* place : {"out", "link"}) {
    ASSERT_EQ(runTool({"plist", source, "--to", "json", "--out", at(place)}).status, 0);
    struct stat status {};
    ASSERT_EQ(::lstat(out.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U) << place;
    if (canGiveAway) {
      EXPECT_EQ(status.st_uid, 501U) << place;
      EXPECT_EQ(status.st_gid, 502U) << place;
    }
    EXPECT_EQ(documentIn(content("out")), documentIn(json_));
  }
  EXPECT_TRUE(fs::is_symlink(at("link")));
  EXPECT_EQ(names(), (std::vector<std::string>{"a.json", "link", "out"}));
}

// Nobody's file becomes somebody else's.
TEST_F(Plist, AFileThatCannotKeepItsOwnerIsNotWritten) {
  if (::geteuid() != 0) GTEST_SKIP() << "another user needs root";
  constexpr unsigned kUser = 12345;
  const std::string source = write("a.json", json_);
  const std::string out = write("out", "old");
  ASSERT_EQ(::chmod(directory_.path().c_str(), 0777), 0);
  const ToolResult result =
      ToolRun({"plist", source, "--to", "json", "--out", out}).asUser(kUser).run();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.err, "accountsettings: " + out +
                            ": the new file cannot be given to user 0 and group 0, whose the old "
                            "one is; run as a user who may, or change the permissions\n");
  EXPECT_EQ(content("out"), "old");
  EXPECT_EQ(names(), (std::vector<std::string>{"a.json", "out"}));
}

TEST_F(Plist, AFullDiskLeavesTheOldFile) {
  const std::string out = write("out", "old");
  const ToolResult result = ToolRun({"plist", write("a.json", json_), "--to", "json", "--out", out})
                                .withFileSizeLimit(8)
                                .run();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.err, "accountsettings: " + out + ": File too large; make room and try again\n");
  EXPECT_EQ(content("out"), "old");
  EXPECT_EQ(names(), (std::vector<std::string>{"a.json", "out"}));
}

TEST_F(Plist, RefusesAFormThatCannotHoldTheValue) {
  const ToolResult result =
      runTool({"plist", write("a.json", R"({"u": {"$uid": 7}})"), "-t", "xml", "-o", at("out")});
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("this form cannot hold the value"), std::string::npos) << result.err;
  EXPECT_EQ(names(), (std::vector<std::string>{"a.json"}));
}

TEST_F(Plist, RefusesAnUnknownForm) {
  const ToolResult result = runTool({"plist", write("a.json", json_), "--to", "yaml"});
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.err.find("yaml"), std::string::npos) << result.err;
}

TEST_F(Plist, AFullDiskLeavesTheOldFileAndNothingElse) {
  write("in.json", "\"" + std::string(10000, 'x') + "\"");
  write("out", "old");
  const ToolResult result = ToolRun({"plist", at("in.json"), "-t", "binary", "-o", at("out")})
                                .withFileSizeLimit(5000)
                                .run();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.err,
            "accountsettings: " + at("out") + ": File too large; make room and try again\n");
  EXPECT_EQ(content("out"), "old");
  EXPECT_EQ(names(), (std::vector<std::string>{"in.json", "out"}));
}

TEST_F(Plist, DoesNotWriteOverADirectory) {
  fs::create_directory(at("out"));
  const ToolResult result =
      runTool({"plist", write("a.json", json_), "-t", "xml", "-o", at("out")});
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("this is a directory; give the name of a file in it"),
            std::string::npos)
      << result.err;
}

TEST_F(Plist, AFileThatALinkLeadsToIsReplacedNotTheLink) {
  write("target", "old");
  fs::create_symlink("target", at("link"));
  ASSERT_EQ(runTool({"plist", write("a.json", json_), "-t", "json", "-o", at("link")}).status, 0);
  EXPECT_TRUE(fs::is_symlink(at("link")));
  EXPECT_EQ(documentIn(content("target")), documentIn(json_));
}

TEST_F(Plist, ADirectoryWithoutPermissionIsTold) {
  if (::geteuid() != 0) GTEST_SKIP() << "another user needs root";
  fs::permissions(directory_.path(), fs::perms(0755));
  const std::string in = write("a.json", json_);
  const ToolResult result =
      ToolRun({"plist", in, "-t", "json", "-o", at("out")}).asUser(12345).run();
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("Permission denied; run as a user who may"), std::string::npos)
      << result.err;
}

TEST_F(Plist, RecoversWhatIsWholeOfAFileThatWasCutOffAndLeavesTheFile) {
  Array list;
  for (int i = 0; i < 40; ++i) list.append(Dictionary{{"Name", "Account " + std::to_string(i)}});
  const auto whole = writeBinary(Dictionary{{"Accounts", list}});
  const std::string cut(whole->begin(), whole->end() - 400);
  const std::string file = write("cut.plist", cut);
  const ToolResult refused = runTool({"plist", file});
  EXPECT_EQ(refused.status, 3);
  EXPECT_NE(refused.err.find("--recover prints what is whole"), std::string::npos) << refused.err;
  const ToolResult result = runTool({"plist", "--recover", file});
  EXPECT_EQ(result.status, 1) << result.err;
  // The last account stands at the beginning of the file.
  EXPECT_NE(result.out.find(": \"Account 39\"\n"), std::string::npos) << result.out;
  EXPECT_EQ(result.out.find("\"Account 0\""), std::string::npos) << result.out;
  EXPECT_NE(result.err.find("it was cut off; "), std::string::npos) << result.err;
  EXPECT_EQ(content("cut.plist"), cut);
  EXPECT_EQ(names(), std::vector<std::string>{"cut.plist"});
  for (const std::vector<std::string>& more :
       {std::vector<std::string>{"--out", file}, {"--to", "binary"}, {"--json"}}) {
    std::vector<std::string> arguments{"plist", "--recover", file};
    arguments.insert(arguments.end(), more.begin(), more.end());
    EXPECT_EQ(runTool(arguments).status, 2);
  }
  write("whole.plist", std::string(whole->begin(), whole->end()));
  EXPECT_EQ(runTool({"plist", "--recover", at("whole.plist")}).status, 0);
}

// A pipe that lies in the file system.
class PlistPipe : public Plist {
 protected:
  PlistPipe() {
    EXPECT_EQ(::mkfifo(at("pipe").c_str(), 0600), 0);
    Array list;
    for (int i = 0; i < 20'000; ++i) list.append("a string of some length " + std::to_string(i));
    const auto bytes = writeBinary(list);
    write("large.plist", std::string(bytes->begin(), bytes->end()));
  }

  ToolResult writeToPipe() {
    return ToolRun({"plist", at("large.plist"), "--to", "binary", "--out", at("pipe")})
        .withTimeLimit(30)
        .run();
  }
};

TEST_F(PlistPipe, ThatNobodyReadsIsAnErrorForOutAndLog) {
  const ToolResult out = writeToPipe();
  EXPECT_EQ(out.status, 3);
  EXPECT_NE(out.err.find("nobody reads from this pipe"), std::string::npos) << out.err;
  ToolRoot root;
  root.putSettings(12, {});
  const ToolResult log =
      ToolRun({"migrate", "--root", root.path(), "--log", at("pipe")}).withTimeLimit(30).run();
  EXPECT_EQ(log.status, 3);
  EXPECT_NE(log.err.find("nobody reads from this pipe"), std::string::npos) << log.err;
}

TEST_F(PlistPipe, WhoseReaderDoesNotReadIsAnErrorToo) {
  const int reader = ::open(at("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  const ToolResult result = writeToPipe();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.signal, 0);
  EXPECT_NE(result.err.find("nobody reads what is written"), std::string::npos) << result.err;
  ::close(reader);
}

TEST_F(PlistPipe, ThatIsReadGetsEverything) {
  const int reader = ::open(at("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ::fcntl(reader, F_SETFL, 0);
  const std::string whole = content("large.plist");
  std::string got;
  std::atomic<bool> isOver = false;
  std::thread reading([&] {
    char buffer[1 << 16];
    // Before the command opens it there is nobody who writes, and reading ends at once.
    for (ssize_t count = 0; count > 0 || !isOver;) {
      count = ::read(reader, buffer, sizeof buffer);
      if (count > 0) got.append(buffer, static_cast<std::size_t>(count));
      if (count <= 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
  EXPECT_EQ(writeToPipe().status, 0);
  isOver = true;
  reading.join();
  EXPECT_EQ(got, whole);
  ::close(reader);
}

}  // namespace
}  // namespace accountsettings::testing
