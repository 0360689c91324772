// Benchmarks of a whole migration from version 0 to 12, by the library alone and by the command,
// and of what else the command does with the same settings, on real files, at three sizes. Each
// runs in a process of its own, which is charged with what it reads, writes and needs in memory.
// Times are processor times, so that who else uses the machine counts little. "account" is the time
// per account, which should stay flat.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "bench/SampleSettings.h"
#include "host/LinuxHost.h"
#include "platform/MigratorBase.h"
#include "platform/ProcessContext.h"
#include "plist/BinaryWriter.h"
#include "store/AccountsManager.h"
#include "store/ShortCuts.h"

namespace accountsettings {
namespace {

namespace fs = std::filesystem;

class NoLog : public SystemLog {
 public:
  void write(std::string_view) override {}
};

// What one migration cost.
struct Cost {
  double seconds = 0;
  double bytesRead = 0;
  double bytesWritten = 0;
  double peakMemory = 0;
  SettingsWork work;  // of the library in this process
};

double ioCounter(const std::string& wanted) {
  std::ifstream io("/proc/self/io");
  std::string name;
  double value = 0;
  while (io >> name >> value) {
    if (name == wanted) return value;
  }
  return 0;
}

double processorTime() {
  double seconds = 0;
  for (const int whose : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage{};
    ::getrusage(whose, &usage);
    for (const timeval& part : {usage.ru_utime, usage.ru_stime}) {
      seconds += static_cast<double>(part.tv_sec) + static_cast<double>(part.tv_usec) * 1e-6;
    }
  }
  return seconds;
}

// Runs `work` and tells its time and what this process, and any child that it waited for, read and
// wrote.
Cost costOf(const std::function<void()>& work) {
  const double readBefore = ioCounter("rchar:");
  const double writtenBefore = ioCounter("wchar:");
  const double start = processorTime();
  work();
  Cost cost;
  cost.seconds = processorTime() - start;
  cost.bytesRead = ioCounter("rchar:") - readBefore;
  cost.bytesWritten = ioCounter("wchar:") - writtenBefore;
  return cost;
}

double peakMemory(int whose) {
  rusage usage{};
  ::getrusage(whose, &usage);
  return static_cast<double>(usage.ru_maxrss) * 1024;
}

Cost migrateByLibrary(const fs::path& root) {
  NoLog log;
  HostOptions options;
  options.root = root.string();
  options.systemLog = &log;
  const auto host = LinuxHost::create(std::move(options));
  if (!host) std::abort();
  ProcessContext context((*host)->platform());
  const ProcessContext::Override current(context);

  Cost cost = costOf([] { AccountsManager::_migrateAccountsIfNeeded(); });
  cost.peakMemory = peakMemory(RUSAGE_SELF);
  cost.work = settingsWork();
  return cost;
}

[[noreturn]] void becomeCommand(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (std::string& each : words) arguments.push_back(each.data());
  arguments.push_back(nullptr);
  if (std::freopen("/dev/null", "w", stdout) != nullptr) ::execv(AS_TOOL_BINARY, arguments.data());
  std::abort();
}

// Answers what runs the command `accountsettings` with these words on a root.
std::function<Cost(const fs::path&)> command(std::vector<std::string> words) {
  return [words = std::move(words)](const fs::path& root) {
    std::vector<std::string> all{"accountsettings", "--root", root.string()};
    all.insert(all.end(), words.begin(), words.end());
    Cost cost = costOf([&] {
      const pid_t child = ::fork();
      if (child == 0) becomeCommand(all);
      int status = 0;
      ::waitpid(child, &status, 0);
      // `check` ends with 1 where it finds something.
      if (!WIFEXITED(status) || WEXITSTATUS(status) > 1) std::abort();
    });
    cost.peakMemory = peakMemory(RUSAGE_CHILDREN);
    return cost;
  };
}

// Runs `body` in a child process and hands back what it answered.
template <class Body>
Cost inChild(Body body) {
  int ends[2];
  if (::pipe(ends) != 0) std::abort();
  const pid_t child = ::fork();
  if (child == 0) {
    const Cost cost = body();
    const bool told = ::write(ends[1], &cost, sizeof cost) == static_cast<ssize_t>(sizeof cost);
    ::_exit(told ? 0 : 1);
  }
  Cost cost;
  int status = 0;
  const bool heard = ::read(ends[0], &cost, sizeof cost) == static_cast<ssize_t>(sizeof cost);
  ::waitpid(child, &status, 0);
  ::close(ends[0]);
  ::close(ends[1]);
  if (!heard || status != 0) std::abort();
  return cost;
}

void writeFile(const fs::path& path, const Bytes& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

void prepare(const fs::path& root, std::size_t accounts) {
  const auto text = [&](const char* path, const std::string& line) {
    writeFile(root / path, Bytes(line.begin(), line.end()));
  };
  const std::string user = std::to_string(::getuid());
  const std::string group = std::to_string(::getgid());
  text("etc/passwd", "mobile:x:" + user + ":" + group + "::/var/mobile:/bin/sh\n");
  text("etc/group", "mobile:x:" + group + ":\n");
  fs::create_directories(root / "tmp");
  fs::create_directories(root / "var/shared/Library/Logs/CrashReporter");
  writeFile(root / "old.plist", writeBinary(oldSettings(accounts)).value());
}

// Does `work` on a root with settings of version 0.
void measure(benchmark::State& state, const std::function<Cost(const fs::path& root)>& work) {
  std::string pattern = fs::temp_directory_path() / "migration-bench-XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) std::abort();
  const fs::path root = pattern;
  const fs::path settings = root / "var/mobile/Library/Preferences/com.zelqo.accountsettings.plist";
  fs::create_directories(settings.parent_path());
  const auto accounts = static_cast<std::size_t>(state.range(0));
  // In a child too, so that this process stays as small as one that has just started.
  inChild([&] {
    prepare(root, accounts);
    return Cost();
  });
  Cost cost;
  for ([[maybe_unused]] auto each : state) {
    fs::copy_file(root / "old.plist", settings, fs::copy_options::overwrite_existing);
    cost = inChild([&] { return work(root); });
    state.SetIterationTime(cost.seconds);
  }
  state.counters["account"] = benchmark::Counter(
      static_cast<double>(accounts),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["file"] = static_cast<double>(fs::file_size(root / "old.plist"));
  state.counters["read"] = cost.bytesRead;
  state.counters["written"] = cost.bytesWritten;
  state.counters["peak"] = cost.peakMemory;
  state.counters["parsed"] = static_cast<double>(cost.work.parsed);
  state.counters["serialized"] = static_cast<double>(cost.work.serialized);
  state.counters["stores"] = static_cast<double>(cost.work.storesBuilt);
  fs::remove_all(root);
}

void atEverySize(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(1000)->Arg(10000)->Arg(100000)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(measure, libraryMigrates, migrateByLibrary)->Apply(atEverySize);
BENCHMARK_CAPTURE(measure, migrate, command({"migrate"}))->Apply(atEverySize);
BENCHMARK_CAPTURE(measure, plan, command({"plan"}))->Apply(atEverySize);
BENCHMARK_CAPTURE(measure, check, command({"check"}))->Apply(atEverySize);
BENCHMARK_CAPTURE(measure, show, command({"show"}))->Apply(atEverySize);
BENCHMARK_CAPTURE(measure, report, command({"report", "--out", "/dev/null"}))->Apply(atEverySize);

}  // namespace
}  // namespace accountsettings

BENCHMARK_MAIN();
