// Tests of the line that tells how far a command has come: what it says, that it is never of what
// is over, and that nothing is left of it.
#include "tool/frame/Progress.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include "testing/ToolRun.h"
#include "tool/migration/MigrationProgress.h"

namespace accountsettings {
namespace {

using namespace std::chrono_literals;

constexpr const char* kErased = "\r\033[K";

// What a child writes to standard error while it does `body`, which gets a reader that waits until
// a text has arrived.
std::string errorsOf(const std::function<void(const std::function<void(const char*)>&)>& body) {
  int ends[2];
  int seen[2];
  EXPECT_EQ(::pipe(ends), 0);
  EXPECT_EQ(::pipe(seen), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[0]);
    ::close(ends[1]);
    ::close(seen[1]);
    body([&](const char* text) {
      // The parent passes on what it has read, a byte for each.
      std::string all;
      char unit = 0;
      while (all.find(text) == std::string::npos && ::read(seen[0], &unit, 1) == 1) all += unit;
    });
    ::_exit(0);
  }
  ::close(ends[1]);
  ::close(seen[0]);
  std::string errors;
  char unit = 0;
  ::signal(SIGPIPE, SIG_IGN);
  bool isRead = true;  // by a child that waits for something
  while (::read(ends[0], &unit, 1) == 1) {
    errors += unit;
    isRead = isRead && ::write(seen[1], &unit, 1) == 1;
  }
  ::close(ends[0]);
  ::close(seen[1]);
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status));
  return errors;
}

TEST(Progress, TellsTimeStepAndAccountsBeforeTheWords) {
  const Doing doing{"Judging the accounts ...", placeIn("step", 3, 12), 8000};
  EXPECT_EQ(Progress::lineOf(doing, 512, 2460ms, 80),
            "2.4 s  step 3/12  512/8000 accounts  Judging the accounts ...");
  EXPECT_EQ(Progress::lineOf(doing, 0, 0ms, 80),
            "0.0 s  step 3/12  8000 accounts  Judging the accounts ...");
  EXPECT_EQ(Progress::lineOf(doing, 9000, 61s, 30), "61.0 s  step 3/12  8000/8000 …");
  EXPECT_EQ(Progress::lineOf({"Reading ..."}, 7, 1s, 80), "1.0 s  Reading ...");
}

TEST(Progress, OfAStepTellsWhereItStandsAndNothingOfItWhenItIsOver) {
  EXPECT_EQ(doingStep("Migrating", "_migrateAccountsFrom7A153:", 0).place, "step 3/12");
  EXPECT_EQ(doingStep("Migrating", "_migrateAccountsFrom7A153:", 0).what,
            "Migrating: make the on-this-device account anew");
  EXPECT_EQ(doingStep("Migrating", "_migrateDAAccounts:", 2).place, "conversion 1/2");
  EXPECT_EQ(doingStep("Migrating", "_migrateMailAccounts:", 2).place, "conversion 2/2");
  EXPECT_EQ(doingStep("Migrating", "_migrateMailAccounts:", 1).place, "conversion 1/1");
  EXPECT_EQ(doingStep("Migrating", "", 2).what, "Migrating ...");
  EXPECT_EQ(doingStep("Migrating", "", 2).place, "");
}

TEST(Progress, ShowsNothingOfWhatIsQuick) {
  EXPECT_EQ(errorsOf([](const auto&) {
              Progress progress(1h);
              progress.show({"one"});
              progress.show({"two"});
            }),
            "");
}

TEST(Progress, PutsWhatIsDoneNowInThePlaceOfWhatIsOver) {
  const std::string errors = errorsOf([](const auto& waitFor) {
    Progress progress(0ms);
    progress.show({"one"});
    waitFor("s  one");
    progress.show({"two"});
    progress.note("a note\n");
    progress.show({"three"});
    waitFor("s  three");
  });
  const auto at = [&](const char* text) { return errors.find(text); };
  EXPECT_LT(at("s  one"), at("s  two"));
  EXPECT_EQ(errors.find("s  one", at("s  two")), std::string::npos) << errors;
  EXPECT_NE(at("\r\033[Ka note\n"), std::string::npos) << "a note has its own line";
  EXPECT_TRUE(errors.ends_with(kErased)) << errors;
}

namespace fs = std::filesystem;

// A command that takes longer than half a second, because it waits that long for the lock.
testing::ToolResult slowMigration(const testing::ToolRoot& root,
                                  const std::function<void(testing::ToolRun&)>& change) {
  const std::string path = root.at(testing::ToolRoot::kLock);
  const int lock = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  EXPECT_EQ(::flock(lock, LOCK_EX), 0);
  std::thread releasing([&] {
    std::this_thread::sleep_for(1200ms);
    ::flock(lock, LOCK_UN);
  });
  testing::ToolRun run({"migrate", "--root", root.path(), "--wait", "60"});
  change(run.withVariable("TERM", "xterm"));
  const testing::ToolResult result = run.run();
  releasing.join();
  ::close(lock);
  EXPECT_EQ(result.status, 0) << result.err;
  return result;
}

TEST(Progress, OfACommandIsForATerminalAlone) {
  testing::ToolRoot root;
  root.putSettings(9, {testing::mailAccount("A")});
  const std::string shown =
      slowMigration(root, [](testing::ToolRun& run) { run.withErrorsOnTerminal(); }).err;
  EXPECT_NE(shown.find(" s  Reading the settings ..."), std::string::npos) << shown;
  EXPECT_TRUE(shown.ends_with(kErased)) << shown;
  root.putSettings(9, {testing::mailAccount("A")});
  const std::string piped = slowMigration(root, [](testing::ToolRun&) {}).err;
  EXPECT_EQ(piped.find("Reading"), std::string::npos) << piped;
  EXPECT_EQ(piped.find('\033'), std::string::npos) << piped;
}

}  // namespace
}  // namespace accountsettings
