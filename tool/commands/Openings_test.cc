// The settings are read once and compared: these tests hold how often a whole command opens them
// for reading, whatever it looks at beside, and that what an edit asks of the system does not grow
// with the number of accounts.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>
#include <thread>

#include "plist/BinaryWriter.h"
#include "testing/ToolRun.h"
#include "tool/commands/Commands.h"

namespace {

// How often the file of this machine was opened; what is opened only to be named counts not.
std::string countedFile;
int openings = 0;
// The opening of it that fails, from 1 on.
int failingOpening = 0;

// All that was opened, flushed and renamed.
struct SystemCalls {
  int opened = 0;
  int flushed = 0;
  int renamed = 0;

  bool operator==(const SystemCalls&) const = default;
};
SystemCalls calls;

std::ostream& operator<<(std::ostream& out, const SystemCalls& made) {
  return out << "opened " << made.opened << ", flushed " << made.flushed << ", renamed "
             << made.renamed;
}

// Answers what the caller gets.
long didOpen(long descriptor, std::uint64_t flags) {
  ++calls.opened;
  if (descriptor < 0 || countedFile.empty() || (flags & O_PATH) != 0) return descriptor;
  std::error_code none;
  const auto file =
      std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), none);
  if (file != countedFile || ++openings != failingOpening) return descriptor;
  ::close(static_cast<int>(descriptor));
  errno = EMFILE;
  return -1;
}

template <class Function>
Function theLibrarys(const char* name) {
  return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

// These stand before the C library's in this program, for the host library too.
extern "C" {
// It takes as many arguments as there can be, and not every caller gives them.
__attribute__((no_sanitize("address"))) long syscall(long number, ...) noexcept {
  va_list arguments;
  va_start(arguments, number);
  long given[6];
  for (long& each : given) each = va_arg(arguments, long);
  va_end(arguments);
  static const auto call = theLibrarys<long (*)(long, ...)>("syscall");
  const long result = call(number, given[0], given[1], given[2], given[3], given[4], given[5]);
  if (number != SYS_openat2) return result;
  return didOpen(result, reinterpret_cast<const open_how*>(given[2])->flags);
}
int fsync(int descriptor) {
  static const auto call = theLibrarys<int (*)(int)>("fsync");
  ++calls.flushed;
  return call(descriptor);
}
int renameat(int from, const char* source, int to, const char* target) noexcept {
  static const auto call = theLibrarys<int (*)(int, const char*, int, const char*)>("renameat");
  ++calls.renamed;
  return call(from, source, to, target);
}
int openat(int directory, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  static const auto call = theLibrarys<int (*)(int, const char*, int, ...)>("openat");
  return static_cast<int>(
      didOpen(call(directory, path, flags, mode), static_cast<unsigned>(flags)));
}
}

namespace accountsettings {
namespace {

using testing::ToolRoot;

class Openings : public ::testing::Test {
 protected:
  void prepare(const std::string& release) {
    ASSERT_EQ(testing::runTool({"sample", root(), "--release", release}).status, 0);
  }
  [[nodiscard]] std::string root() const { return directory_.path() / "device"; }

  // How often the command, run in this process, opens the settings.
  int of(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--root", root(), "--log", directory_.path() / "log"});
    CommandLine commandLine(allCommands());
    Command* command = commandLine.parse(arguments);
    CommonOptions options;
    options.json = true;
    Output output(options);  // never finished, and so it says nothing
    Session session{commandLine.options(), output};
    openings = 0;
    calls = {};
    countedFile = std::filesystem::canonical(root()).string() + ToolRoot::kSettings;
    EXPECT_EQ(command->run(session), ExitStatus::Done) << arguments.front();
    countedFile.clear();
    return openings;
  }

  // Files that were changed within a tick of the clock are read more often.
  static void letTick() { std::this_thread::sleep_for(std::chrono::milliseconds(150)); }

  // Current settings of so many accounts.
  void putAccounts(std::size_t count) {
    Array accounts;
    for (std::size_t i = 0; i < count; ++i) {
      accounts.append(Dictionary{{"Identifier", i == 0 ? kFirst : "account-" + std::to_string(i)},
                                 {"Type", "CalDAV"},
                                 {"Class", "MobileCalDAVAccount"},
                                 {"Username", "user-" + std::to_string(i)}});
    }
    const Bytes bytes =
        writeBinary(Dictionary{{"Version", 12}, {"Accounts", std::move(accounts)}}).value();
    std::ofstream(root() + ToolRoot::kSettings, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }

  inline static const std::string kFirst = "5A0DE000-0001-4000-8000-000000000001";
  testing::TemporaryDirectory directory_;
};

TEST_F(Openings, AMigrationOpensTheSettingsThriceAtMost) {
  prepare("oldest");
  const int plan = of({"plan"});
  EXPECT_GE(plan, 1);
  EXPECT_LE(plan, 2);
  EXPECT_LE(of({"check"}), 1);
  const int migration = of({"migrate"});
  EXPECT_GE(migration, 2) << "it reads back what it wrote";
  EXPECT_LE(migration, 3);
  EXPECT_LE(of({"check"}), 1);
}

TEST_F(Openings, AnEditOpensTheSettingsThriceAtMost) {
  prepare("current");
  const int edit = of({"set", kFirst, "DisplayName", "Work"});
  EXPECT_GE(edit, 2);
  EXPECT_LE(edit, 3) << "the backup is of what was read";
  EXPECT_LE(of({"set", kFirst, "DisplayName", "Work"}), 1) << "nothing is to be written";
}

TEST_F(Openings, AnEditThatCannotBeReadBackIsToldAndInTheHistoryAsBroken) {
  prepare("current");
  letTick();
  failingOpening = of({"set", kFirst, "DisplayName", "Work"});
  letTick();
  try {
    (void)of({"set", kFirst, "DisplayName", "Home"});
    ADD_FAILURE() << "it read back nothing";
  } catch (const CommandFailure& failure) {
    EXPECT_EQ(failure.status(), ExitStatus::Broken);
    EXPECT_NE(failure.problem().find("whether the file holds what was meant cannot be told"),
              std::string::npos);
  }
  failingOpening = 0;
  countedFile.clear();
  const Array entries =
      testing::documentIn(testing::runTool({"history", "--root", root(), "--json"}).out)
          .arrayOrEmpty("entries");
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[1].dictionary()->string("command"), "set");
  EXPECT_EQ(entries[1].dictionary()->string("outcome"), "broken");
}

TEST_F(Openings, AnEditAsksTheSameOfTheSystemForTenAccountsAndForAThousand) {
  const auto editOf = [&](std::size_t accounts) {
    std::filesystem::remove_all(root());
    prepare("current");
    putAccounts(accounts);
    letTick();
    EXPECT_GE(of({"set", kFirst, "DisplayName", "Work"}), 2);
    return calls;
  };
  const SystemCalls ofTen = editOf(10);
  EXPECT_EQ(ofTen.flushed, 11) << "the settings, their copy, its manifest, the history, and the "
                                  "folder of each; and those above a folder that is made";
  EXPECT_EQ(ofTen.renamed, 3);
  EXPECT_EQ(ofTen, editOf(1000));
}

}  // namespace
}  // namespace accountsettings
