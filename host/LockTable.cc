// The lines of /proc/locks.
#include "host/LockTable.h"

#include <fcntl.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <charconv>
#include <string>
#include <vector>

#include "host/FileIO.h"
#include "host/LinuxFiles.h"
#include "host/ProcessTable.h"
#include "host/SystemError.h"

namespace accountsettings {

namespace {

constexpr std::uint64_t kLargestTable = std::uint64_t{64} << 20;

std::vector<std::string_view> fieldsOf(std::string_view line) {
  std::vector<std::string_view> fields;
  while (!line.empty()) {
    const std::size_t begin = line.find_first_not_of(' ');
    if (begin == std::string_view::npos) break;
    line.remove_prefix(begin);
    fields.push_back(line.substr(0, line.find(' ')));
    line.remove_prefix(fields.back().size());
  }
  return fields;
}

template <class Number>
std::optional<Number> numberIn(std::string_view text, int base) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// "08:01:1234": the device in two hexadecimal numbers, the inode in decimal.
bool names(std::string_view place, const FileAttributes& file) {
  const std::size_t first = place.find(':');
  const std::size_t second = place.rfind(':');
  if (first == second) return false;
  return numberIn<unsigned>(place.substr(0, first), 16) == ::gnu_dev_major(file.device) &&
         numberIn<unsigned>(place.substr(first + 1, second - first - 1), 16) ==
             ::gnu_dev_minor(file.device) &&
         numberIn<std::uint64_t>(place.substr(second + 1), 10) == file.inode;
}

// Files of /proc tell no size, so this one is read until it ends.
Result<std::string> lockTable() {
  const FileDescriptor file(::open("/proc/locks", O_RDONLY | O_CLOEXEC));
  if (!file) return systemError("/proc/locks");
  const Result<Bytes> bytes = readAll(file, kLargestTable, "/proc/locks");
  if (!bytes) return bytes.error();
  return std::string(bytes->begin(), bytes->end());
}

}  // namespace

Result<std::optional<Process>> processHoldingFlock(const FileAttributes& file) {
  const Result<std::string> table = lockTable();
  if (!table) return table.error();
  const std::optional<int> holder = flockHolderIn(*table, file);
  if (!holder) return std::optional<Process>();
  return std::optional(runningProcess(*holder).value_or(Process{*holder, {}}));
}

std::optional<int> flockHolderIn(std::string_view table, const FileAttributes& file) {
  while (!table.empty()) {
    // "1: FLOCK  ADVISORY  WRITE 321 08:01:1234 0 EOF"; who waits has "->" before the kind.
    const std::string_view line = table.substr(0, table.find('\n'));
    table.remove_prefix(std::min(line.size() + 1, table.size()));
    const std::vector<std::string_view> fields = fieldsOf(line);
    if (fields.size() < 6 || fields[1] != "FLOCK" || !names(fields[5], file)) continue;
    if (const std::optional<int> holder = numberIn<int>(fields[4], 10)) return holder;
  }
  return std::nullopt;
}

}  // namespace accountsettings
