// The things that may lie where a file should.
#include "faults/Hostile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <fstream>

namespace accountsettings::faults {

namespace {

namespace fs = std::filesystem;

constexpr unsigned kMemoryDevices = 1;
constexpr unsigned kNull = 3;
constexpr unsigned kZero = 5;

void putDevice(const fs::path& at, unsigned minor) {
  // Without the right to make devices a link to the machine's own stands in; it leads out.
  if (::mknod(at.c_str(), S_IFCHR | 0666, ::makedev(kMemoryDevices, minor)) != 0) {
    fs::create_symlink(minor == kNull ? "/dev/null" : "/dev/zero", at);
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
                                                      {"get", "X"},
                                                      {"restore", "--list"},
                                                      {"migrate", "--dry-run"},
                                                      {"migrate"},
                                                      {"set", "X", "DisplayName", "Y"},
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
  if (told.status >= 1000) return "it was ended by signal " + std::to_string(told.status - 1000);
  const bool isKnown = told.status <= 4 || told.status == 10 || told.status == 11;
  return isKnown ? "" : "there is no such status";
}

}  // namespace accountsettings::faults
