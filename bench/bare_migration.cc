// Does what any migration of all versions has to do with its settings, and nothing else: reads and
// parses them, puts a copy aside, looks at each account once for each version, serialises two
// states of them, replaces the file seven times, and asks twelve times whether it is still what was
// read or written. What is faster than this does less. Tells the processor time in seconds and the
// peak of memory, as JSON.
//
// usage: bare_migration ROOT      where settings of an old version wait
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/ProcessorTime.h"
#include "plist/BinaryReader.h"
#include "plist/BinaryWriter.h"

namespace accountsettings {
namespace {

constexpr int kSteps = 12;
constexpr int kSaves = 7;
// How often the chain asks for the settings before its first save, the first reading left out.
constexpr int kReadings = 5;

// Ends the program where a call failed.
void require(bool done, const std::string& what) {
  if (done) return;
  std::perror(what.c_str());
  std::exit(1);
}

Bytes readFile(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY);
  struct stat status {};
  require(file >= 0 && ::fstat(file, &status) == 0, path);
  Bytes bytes(static_cast<std::size_t>(status.st_size));
  require(::read(file, bytes.data(), bytes.size()) == status.st_size, path);
  ::close(file);
  return bytes;
}

void requireHolds(const std::string& path, const Bytes& bytes) {
  const int file = ::open(path.c_str(), O_RDONLY);
  require(file >= 0, path);
  static std::vector<std::uint8_t> piece(std::size_t{256} * 1024);
  std::size_t at = 0;
  for (ssize_t size = 1; size > 0; at += static_cast<std::size_t>(size)) {
    size = ::read(file, piece.data(), piece.size());
    require(size >= 0 && at + static_cast<std::size_t>(size) <= bytes.size() &&
                std::memcmp(piece.data(), bytes.data() + at, static_cast<std::size_t>(size)) == 0,
            path);
  }
  require(at == bytes.size(), path);
  ::close(file);
}

void replaceFile(const std::string& path, const Bytes& bytes) {
  const std::string made = path + ".new";
  const int file = ::open(made.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
  require(
      file >= 0 && ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
      made);
  require(::fsync(file) == 0 && ::close(file) == 0, made);
  require(::rename(made.c_str(), path.c_str()) == 0, path);
}

// What every step asks of every account; the answer keeps the compiler from leaving it out.
std::size_t lookAt(const PropertyList& settings) {
  std::size_t found = 0;
  for (const PropertyList& each : settings.dictionary()->arrayOrEmpty("Accounts")) {
    const Dictionary& account = *each.dictionary();
    found += account.string("Identifier").value_or("").size();
    found +=
        account.string("Type").value_or("").size() + account.string("Class").value_or("").size();
  }
  return found;
}

// The settings with another value in each account.
PropertyList changed(const PropertyList& settings) {
  std::vector<PropertyList> accounts;
  for (const PropertyList& each : settings.dictionary()->arrayOrEmpty("Accounts")) {
    Dictionary account = *each.dictionary();
    account.set("SSLEnabled", !account.boolean("SSLEnabled"));
    accounts.emplace_back(std::move(account));
  }
  return Dictionary{{"Version", kSteps}, {"Accounts", Array(std::move(accounts))}};
}

int migrate(const std::string& root) {
  const std::string path = root + "/var/mobile/Library/Preferences/com.zelqo.accountsettings.plist";
  const double start = processorTime();
  Bytes bytes = readFile(path);
  PropertyList settings = readBinary(bytes).value();
  replaceFile(path + ".copy", bytes);
  for (int i = 0; i < kReadings; ++i) requireHolds(path, bytes);
  std::size_t found = 0;
  for (int i = 0; i < kSteps; ++i) found += lookAt(settings);
  for (int i = 0; i < kSaves; ++i) {
    requireHolds(path, bytes);
    if (i == 0 || i == kSaves / 2) {
      settings = changed(settings);
      Bytes().swap(bytes);
      bytes = writeBinary(settings).value();
    }
    replaceFile(path, bytes);
  }
  settings = PropertyList();
  std::printf("{\"seconds\": %.6f, \"peak\": %.0f, \"looks\": %zu}\n", processorTime() - start,
              peakMemory(), found);
  return 0;
}

}  // namespace
}  // namespace accountsettings

int main(int argc, char** argv) {
  return argc == 2 ? accountsettings::migrate(argv[1]) : 2;
}
