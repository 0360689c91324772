// The things that may lie where a file should.
#include "faults/Hostile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

namespace accountsettings::faults {

namespace {

namespace fs = std::filesystem;

// One that every sample of a device with settings has.
constexpr const char* kSampleAccount = "5A0DE000-0001-4000-8000-000000000001";

constexpr unsigned kMemoryDevices = 1;
constexpr unsigned kNull = 3;
constexpr unsigned kZero = 5;

void putDevice(const fs::path& at, unsigned minor) {
  // Without the right to make devices a link to the machine's own stands in; it leads out.
  if (::mknod(at.c_str(), S_IFCHR | 0666, ::makedev(kMemoryDevices, minor)) != 0) {
    fs::create_symlink(minor == kNull ? "/dev/null" : "/dev/zero", at);
  }
}

// Writes at the end, as fast as a reader reads; from time to time it begins anew.
void grow(const fs::path& at) {
  constexpr off_t kMost = off_t{16} << 20;
  const std::string more(1 << 16, 'x');
  const int file = ::open(at.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  for (off_t length = 0; file >= 0; length += static_cast<off_t>(more.size())) {
    if (length >= kMost && ::ftruncate(file, length = 0) != 0) return;
    if (::write(file, more.data(), more.size()) < 0) return;
  }
}

constexpr Replacement kReplacements[] = {
    {"link out of the root",
     [](const fs::path& at, const fs::path& outside) { fs::create_symlink(outside / "file", at); }},
    {"link to a directory outside",
     [](const fs::path& at, const fs::path& outside) { fs::create_symlink(outside, at); }},
    {"relative link out of the root",
     [](const fs::path& at, const fs::path&) {
       fs::create_symlink("../../../../../../../../outside/file", at);
     }},
    {"dangling link",
     [](const fs::path& at, const fs::path& outside) { fs::create_symlink(outside / "new", at); }},
    {"link to itself",
     [](const fs::path& at, const fs::path&) { fs::create_symlink(at.filename(), at); }},
    {"pipe", [](const fs::path& at, const fs::path&) { (void)::mkfifo(at.c_str(), 0666); }},
    {"socket",
     [](const fs::path& at, const fs::path&) { (void)::mknod(at.c_str(), S_IFSOCK | 0666, 0); }},
    {"null device", [](const fs::path& at, const fs::path&) { putDevice(at, kNull); }},
    {"endless device", [](const fs::path& at, const fs::path&) { putDevice(at, kZero); }},
    {"file of a terabyte",
     [](const fs::path& at, const fs::path&) {
       std::ofstream(at) << "bplist00";
       fs::resize_file(at, std::uintmax_t{1} << 40);
     }},
    {"empty file", [](const fs::path& at, const fs::path&) { std::ofstream(at).flush(); }},
    {"directory", [](const fs::path& at, const fs::path&) { fs::create_directory(at); }},
    {"file that nobody may read",
     [](const fs::path& at, const fs::path&) {
       std::ofstream(at) << "secret";
       ::chmod(at.c_str(), 0);
     }},
    {"growing file", [](const fs::path& at, const fs::path&) { std::ofstream(at) << "bplist00"; },
     grow},
};

}  // namespace

std::span<const Replacement> replacements() {
  return kReplacements;
}

void replace(const fs::path& root, const std::string& path, const Replacement& replacement,
             const fs::path& outside) {
  fs::remove_all(root / path);
  replacement.put(root / path, outside);
}

KeptUp::KeptUp(const fs::path& root, const std::string& path, const Replacement& replacement) {
  if (replacement.keepUp == nullptr) return;
  process_ = ::fork();
  if (process_ != 0) return;
  replacement.keepUp(root / path);
  ::_exit(0);
}

KeptUp::~KeptUp() {
  if (process_ < 0) return;
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
}

std::vector<std::string> pathsToReplace(const DiskTree& device) {
  std::vector<std::string> paths = {
      "tmp/AccountMigrationInProgress", "var/mobile/Library/Mail/AutoFetchEnabled",
      "var/shared/Library/Logs/CrashReporter/com.zelqo.accountsettings.plist", kSentinel};
  for (const auto& [path, entry] : device) paths.push_back(path);
  return paths;
}

std::span<const std::vector<std::string>> commandsOnImages() {
  static const std::vector<std::string> commands[] = {{"show"},
                                                      {"check"},
                                                      {"plan"},
                                                      {"history"},
                                                      {"get", kSampleAccount},
                                                      {"why", kSampleAccount},
                                                      {"report", "--out", "/dev/null"},
                                                      {"restore", "--list"},
                                                      {"migrate", "--dry-run"},
                                                      {"migrate"},
                                                      {"set", kSampleAccount, "DisplayName", "Y"},
                                                      {"restore"}};
  return commands;
}

void makeOutside(const fs::path& outside) {
  fs::create_directories(outside);
  for (const char* name : {"file", "com.zelqo.accountsettings.plist", "Accounts.plist",
                           "manifest.plist", "host.plist"}) {
    std::ofstream(outside / name) << "not to be touched";
  }
}

std::string endsAsItShould(const Told& told) {
  if (told.status == 1000 + SIGALRM) return "it waits";
  if (told.status == 1000 + SIGXCPU || told.status == 1000 + SIGKILL) return "it does not end";
  if (told.status >= 1000) return "it was ended by signal " + std::to_string(told.status - 1000);
  const bool isKnown = told.status <= 4 || told.status == 10 || told.status == 11;
  return isKnown ? "" : "there is no such status";
}

}  // namespace accountsettings::faults
