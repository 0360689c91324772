// The settings are read once and compared: this test holds how often a whole command opens them for
// reading, whatever it looks at beside.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <filesystem>
#include <string>

#include "testing/ToolRun.h"
#include "tool/commands/Commands.h"

namespace {

// How often the file of this machine was opened; what is opened only to be named counts not.
std::string countedFile;
int openings = 0;

void didOpen(long descriptor, std::uint64_t flags) {
  if (descriptor < 0 || countedFile.empty() || (flags & O_PATH) != 0) return;
  std::error_code none;
  const auto file =
      std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), none);
  if (file == countedFile) ++openings;
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
  if (number == SYS_openat2) didOpen(result, reinterpret_cast<const open_how*>(given[2])->flags);
  return result;
}
int openat(int directory, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  static const auto call = theLibrarys<int (*)(int, const char*, int, ...)>("openat");
  const int result = call(directory, path, flags, mode);
  didOpen(result, static_cast<unsigned>(flags));
  return result;
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
    countedFile = std::filesystem::canonical(root()).string() + ToolRoot::kSettings;
    EXPECT_EQ(command->run(session), ExitStatus::Done) << arguments.front();
    countedFile.clear();
    return openings;
  }

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
  const int edit = of({"set", "5A0DE000-0001-4000-8000-000000000001", "DisplayName", "Work"});
  EXPECT_GE(edit, 2);
  EXPECT_LE(edit, 3);
  EXPECT_LE(of({"set", "5A0DE000-0001-4000-8000-000000000001", "DisplayName", "Work"}), 1)
      << "nothing is to be written";
}

}  // namespace
}  // namespace accountsettings
