// Tests of results files: lines that are appended and read, whole or not at all.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <thread>

#include "testing/TemporaryDirectory.h"
#include "tool/fleet/ResultsReader.h"
#include "tool/fleet/ResultsWriter.h"

namespace accountsettings::testing {
namespace {

class ResultsFile : public ::testing::Test {
 protected:
  [[nodiscard]] std::string content() const {
    std::ifstream file(file_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  void put(const std::string& text) const { std::ofstream(file_, std::ios::binary) << text; }

  static std::string line(const std::string& root) {
    DeviceResult result;
    result.command = "migrate";
    result.root = root;
    return lineOf(result);
  }

  [[nodiscard]] std::vector<std::string> roots() const {
    std::vector<std::string> all;
    const Result<std::size_t> count =
        readResults(file_, [&](const DeviceResult& each) { all.push_back(each.root); });
    EXPECT_TRUE(count) << count.error().message;
    if (count) {
      EXPECT_EQ(*count, all.size());
    }
    return all;
  }

  TemporaryDirectory directory_;
  std::string file_ = directory_.path().string() + "/results.jsonl";
};

TEST_F(ResultsFile, HoldsTheLinesThatWereAppended) {
  const auto writer = ResultsWriter::open(file_, false);
  ASSERT_TRUE(writer) << writer.error().message;
  EXPECT_TRUE((*writer)->append(line("/a")));
  EXPECT_TRUE((*writer)->append(line("/b")));
  EXPECT_TRUE((*writer)->flush());
  EXPECT_EQ(content(), line("/a") + "\n" + line("/b") + "\n");
  EXPECT_EQ(roots(), (std::vector<std::string>{"/a", "/b"}));
}

TEST_F(ResultsFile, ALastLineThatWasCutOffIsPassedOverAndTakenAway) {
  for (const std::size_t size : {std::size_t{1}, line("/b").size() - 1, line("/b").size()}) {
    put(line("/a") + "\n" + line("/b").substr(0, size));
    EXPECT_EQ(roots(), std::vector<std::string>{"/a"});
    const auto writer = ResultsWriter::open(file_, true);
    ASSERT_TRUE(writer) << writer.error().message;
    EXPECT_EQ(content(), line("/a") + "\n");
  }
  put(std::string(10'000, 'x'));  // more than is looked at at once
  EXPECT_EQ(roots(), std::vector<std::string>{});
  ASSERT_TRUE(ResultsWriter::open(file_, true));
  EXPECT_EQ(content(), "");
  put(line("/a") + "\n" + std::string(10'000, 'x'));
  ASSERT_TRUE(ResultsWriter::open(file_, true));
  EXPECT_EQ(content(), line("/a") + "\n");
}

TEST_F(ResultsFile, AMalformedLineIsNamed) {
  put(line("/a") + "\nnonsense\n" + line("/b") + "\n");
  const auto read = readResults(file_, [](const DeviceResult&) {});
  ASSERT_FALSE(read);
  EXPECT_NE(read.error().message.find(file_ + ": line 2: "), std::string::npos)
      << read.error().message;
  EXPECT_FALSE(readResults(directory_.path().string() + "/none", [](const DeviceResult&) {}));
}

TEST_F(ResultsFile, ThatHoldsResultsIsNotMixedWithOthers) {
  put(line("/a") + "\n");
  const auto refused = ResultsWriter::open(file_, false);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().code, EEXIST);
  EXPECT_EQ(content(), line("/a") + "\n");
}

TEST_F(ResultsFile, MayBeAPipeThatSomebodyWritesInto) {
  ASSERT_EQ(::mkfifo(file_.c_str(), 0600), 0);
  // The second is longer than a pipe is waited for that nobody has open.
  for (const auto pause : {std::chrono::milliseconds(0), std::chrono::milliseconds(1200)}) {
    std::thread writer([&] {
      std::ofstream pipe(file_, std::ios::binary);
      std::this_thread::sleep_for(pause);
      pipe << line("/a") << "\n" << std::flush;
      std::this_thread::sleep_for(pause);
      pipe << line("/b") << "\n" << line("/c").substr(0, 40);
    });
    EXPECT_EQ(roots(), (std::vector<std::string>{"/a", "/b"})) << pause.count();
    writer.join();
  }
}

TEST_F(ResultsFile, APipeThatNobodyWritesIntoIsNotWaitedFor) {
  ASSERT_EQ(::mkfifo(file_.c_str(), 0600), 0);
  alarm(20);  // which ends the test where it is
  const auto problemWith = [](const std::string& file) {
    const Result<std::size_t> read = readResults(file, [](const DeviceResult&) {});
    return read ? "" : read.error().message;
  };
  EXPECT_EQ(problemWith(file_), file_ + ": nobody writes into this pipe");
  EXPECT_EQ(problemWith("/dev/zero"), "/dev/zero: this is no regular file and no pipe");
  EXPECT_EQ(problemWith("/tmp"), "/tmp: Is a directory");
  alarm(0);
}

TEST_F(ResultsFile, IsWrittenByOneRunAtATime) {
  const auto first = ResultsWriter::open(file_, false);
  ASSERT_TRUE(first);
  const auto second = ResultsWriter::open(file_, true);
  ASSERT_FALSE(second);
  EXPECT_EQ(second.error().code, EWOULDBLOCK);
}

TEST_F(ResultsFile, ALineThatHasNoRoomIsNotBegun) {
  const auto writer = ResultsWriter::open(file_, false);
  ASSERT_TRUE(writer);
  ASSERT_TRUE((*writer)->append(line("/a")));
  const pid_t child = fork();
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{line("/a").size() + 20, line("/a").size() + 20};
    setrlimit(RLIMIT_FSIZE, &limit);
    const Status status = (*writer)->append(line("/b"));
    _exit(!status && status.error().code == ENOSPC ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(content(), line("/a") + "\n");
  EXPECT_TRUE((*writer)->append(line("/c")));
  EXPECT_EQ(roots(), (std::vector<std::string>{"/a", "/c"}));
}

}  // namespace
}  // namespace accountsettings::testing
