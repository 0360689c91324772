// Benchmarks of the account store at three sizes: loading, editing each account once, saving, and
// all of it together. "account" is the time per account, which should stay flat. The settings file
// is kept in memory, so that what is measured is the store and not the disk; loadEditSave/disk uses
// real files. Repeated runs find a small store in the caches; loadEditSaveOnce is without them.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bench/SampleSettings.h"
#include "host/LinuxHost.h"
#include "host/RememberedFiles.h"
#include "host/StagedFiles.h"
#include "platform/PlatformWith.h"
#include "platform/ProcessContext.h"
#include "plist/BinaryWriter.h"
#include "store/AccountsManager.h"

namespace accountsettings {
namespace {

// The system log's lines would be part of what is measured.
class SilentLog : public SystemLog {
 public:
  void write(std::string_view message) override {
    std::cerr << "unexpected message: " << message << '\n';
    std::abort();
  }
};

// The settings file with that many accounts. A child process makes it up, so that this one's heap
// is as fresh as that of a program that has just started. It does so once: after a fork the system
// has each page of the heap written to for the first time, as it were.
const Bytes& settingsFile(std::int64_t accounts, const std::filesystem::path& scratch) {
  static std::map<std::int64_t, Bytes> files;
  Bytes& bytes = files[accounts];
  if (!bytes.empty()) return bytes;
  const pid_t child = ::fork();
  if (child == 0) {
    const Bytes made = writeBinary(sampleSettings(static_cast<std::size_t>(accounts), 12)).value();
    std::ofstream(scratch, std::ios::binary)
        .write(reinterpret_cast<const char*>(made.data()),
               static_cast<std::streamsize>(made.size()));
    ::_exit(0);
  }
  int status = 0;
  if (::waitpid(child, &status, 0) != child || status != 0) std::abort();
  bytes.resize(std::filesystem::file_size(scratch));
  std::ifstream(scratch, std::ios::binary)
      .read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

// Device is a device root in a temporary directory, with its settings file in memory or on disk.
class Device {
 public:
  Device(std::int64_t accounts, bool inMemory) {
    std::string pattern = std::filesystem::temp_directory_path() / "store-bench-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    root_ = pattern;
    HostOptions options;
    options.root = root_.string();
    options.systemLog = &log_;
    writeAccountNames();
    host_ = std::move(LinuxHost::create(std::move(options)).value());
    remembered_.emplace(host_->files(), host_->accountNames());
    memory_.emplace(*remembered_, *host_);
    Platform platform = host_->platform();
    context_ = std::make_unique<ProcessContext>(
        inMemory ? platformWith(platform, {.files = &*memory_}) : platform);
    override_ = std::make_unique<ProcessContext::Override>(*context_);
    settings_ = settingsFile(accounts, root_ / "scratch");
    putSettings();
  }
  ~Device() { std::filesystem::remove_all(root_); }
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  void putSettings() {
    const std::string path = AccountsManager::fullPathToAccountSettingsPlist();
    Files& files = ProcessContext::current().platform().files;
    if (!files.writeAtomically(path, settings_)) std::abort();
  }

 private:
  // A root other than "/" has accounts of its own, to whom a saved file is given.
  void writeAccountNames() const {
    std::filesystem::create_directories(root_ / "var/mobile/Library/Preferences");
    std::filesystem::create_directories(root_ / "etc");
    const std::string user = std::to_string(::getuid());
    const std::string group = std::to_string(::getgid());
    write("etc/passwd", "mobile:x:" + user + ":" + group + "::/var/mobile:/bin/sh\n");
    write("etc/group", "mobile:x:" + group + ":\n");
  }
  void write(const char* path, const std::string& text) const {
    std::ofstream(root_ / path) << text;
  }

  std::filesystem::path root_;
  SilentLog log_;
  std::unique_ptr<LinuxHost> host_;
  std::optional<RememberedFiles> remembered_;
  std::optional<StagedFiles> memory_;
  std::unique_ptr<ProcessContext> context_;
  std::unique_ptr<ProcessContext::Override> override_;
  Bytes settings_;
};

void countAccounts(benchmark::State& state) {
  state.counters["account"] = benchmark::Counter(
      static_cast<double>(state.range(0)),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void editEach(AccountsManager& store, int value) {
  const auto accounts = store.allBasicAccounts();
  for (const auto& account : accounts) {
    account->setAccountPropertyForKey(value, "Edited");
    store.updateAccount(account);
  }
}

void load(benchmark::State& state) {
  const Device device(state.range(0), true);
  for ([[maybe_unused]] auto each : state) benchmark::DoNotOptimize(AccountsManager::init());
  countAccounts(state);
}

void edit(benchmark::State& state) {
  const Device device(state.range(0), true);
  const auto store = AccountsManager::init();
  int value = 0;
  for ([[maybe_unused]] auto each : state) editEach(*store, ++value);
  countAccounts(state);
}

void saveUnchanged(benchmark::State& state) {
  const Device device(state.range(0), true);
  const auto store = AccountsManager::init();
  store->saveAllAccounts();
  for ([[maybe_unused]] auto each : state) store->saveAllAccounts();
  countAccounts(state);
}

void saveEdited(benchmark::State& state) {
  const Device device(state.range(0), true);
  const auto store = AccountsManager::init();
  int value = 0;
  for ([[maybe_unused]] auto each : state) {
    state.PauseTiming();
    editEach(*store, ++value);
    state.ResumeTiming();
    store->saveAllAccounts();
  }
  countAccounts(state);
}

void loadEditSave(benchmark::State& state, bool inMemory) {
  Device device(state.range(0), inMemory);
  for ([[maybe_unused]] auto each : state) {
    state.PauseTiming();
    device.putSettings();
    state.ResumeTiming();
    const auto store = AccountsManager::init();
    editEach(*store, 1);
    store->saveAllAccounts();
  }
  countAccounts(state);
}

// The processor time, in seconds, that the work takes in a process that has done nothing before: it
// finds neither its memory nor anything in the caches, whatever the size of the store.
template <class Work>
double secondsInAFreshProcess(Work work) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) std::abort();
  const pid_t child = ::fork();
  if (child == 0) {
    const std::clock_t start = std::clock();
    work();
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    ::_exit(::write(ends[1], &seconds, sizeof(seconds)) == sizeof(seconds) ? 0 : 1);
  }
  double seconds = 0;
  int status = 0;
  if (::read(ends[0], &seconds, sizeof(seconds)) != sizeof(seconds)) std::abort();
  if (::waitpid(child, &status, 0) != child || status != 0) std::abort();
  ::close(ends[0]);
  ::close(ends[1]);
  return seconds;
}

// What a program costs that starts, loads, edits, saves and ends.
void loadEditSaveOnce(benchmark::State& state) {
  const Device device(state.range(0), true);
  for ([[maybe_unused]] auto each : state) {
    state.SetIterationTime(secondsInAFreshProcess([] {
      const auto store = AccountsManager::init();
      editEach(*store, 1);
      store->saveAllAccounts();
    }));
  }
  countAccounts(state);
}

// Every account is looked up, given a new identifier in place and replaced by a new record.
void replaceEach(benchmark::State& state) {
  const Device device(state.range(0), true);
  for ([[maybe_unused]] auto each : state) {
    state.PauseTiming();
    const auto store = AccountsManager::init();
    const auto accounts = store->allBasicAccounts();
    state.ResumeTiming();
    for (const auto& account : accounts) {
      benchmark::DoNotOptimize(
          store->syncableAccountWithSyncIdentifier(*account->syncStoreIdentifier()));
      account->setAccountPropertyForKey(*account->identifier() + "-new", kAccountIdentifier);
      store->replaceAccountWithAccount(
          account, BasicAccount::accountWithProperties(account->properties().values()));
    }
  }
  countAccounts(state);
}

void deleteEach(benchmark::State& state) {
  const Device device(state.range(0), true);
  for ([[maybe_unused]] auto each : state) {
    state.PauseTiming();
    const auto store = AccountsManager::init();
    const auto accounts = store->allBasicAccounts();
    state.ResumeTiming();
    for (const auto& account : accounts) store->deleteAccount(account);
  }
  countAccounts(state);
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  // Long enough for several runs of the largest store too. If it ran only once, it alone would be
  // charged with what a first run costs.
  benchmark->Arg(1000)->Arg(10000)->Arg(100000)->MinTime(2)->Unit(benchmark::kMillisecond);
}

BENCHMARK(load)->Apply(sizes);
BENCHMARK(edit)->Apply(sizes);
BENCHMARK(saveUnchanged)->Apply(sizes);
BENCHMARK(saveEdited)->Apply(sizes);
BENCHMARK_CAPTURE(loadEditSave, memory, true)->Apply(sizes);
BENCHMARK_CAPTURE(loadEditSave, disk, false)->Apply(sizes);
BENCHMARK(loadEditSaveOnce)->Apply(sizes)->UseManualTime();
BENCHMARK(replaceEach)->Apply(sizes);
BENCHMARK(deleteEach)->Apply(sizes);

}  // namespace
}  // namespace accountsettings

int main(int argc, char** argv) {
  // The heap keeps its pages between iterations. Otherwise large stores, and they alone, would be
  // charged with fresh pages from the system in each.
  ::mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
  ::mallopt(M_MMAP_MAX, 0);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
