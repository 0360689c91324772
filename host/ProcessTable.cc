// Processes, read from /proc.
#include "host/ProcessTable.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <memory>
#include <utility>

#include "host/FileDescriptor.h"
#include "host/SystemError.h"

namespace accountsettings {

namespace {

std::optional<int> numberIn(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// The field at `index` of a text whose fields are parted by one blank; empty where there is none.
std::string_view fieldAt(std::string_view text, int index) {
  for (; index > 0; --index) {
    const std::size_t blank = text.find(' ');
    if (blank == std::string_view::npos) return {};
    text.remove_prefix(blank + 1);
  }
  return text.substr(0, text.find_first_of(" \n"));
}

}  // namespace

std::optional<Process> runningProcess(int identifier) {
  const std::string path = "/proc/" + std::to_string(identifier) + "/stat";
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return std::nullopt;
  std::array<char, 1024> text{};  // the fields that count are the first twenty
  ssize_t size = -1;
  do {
    size = ::read(file.get(), text.data(), text.size());
  } while (size < 0 && errno == EINTR);
  if (size <= 0) return std::nullopt;
  return runningProcessIn({text.data(), static_cast<std::size_t>(size)});
}

std::optional<Process> runningProcessIn(std::string_view stat) {
  // "42 (a name) S 1 ...": the name may hold blanks and parentheses, the rest holds none.
  const std::size_t open = stat.find(" (");
  const std::size_t close = stat.rfind(") ");
  if (open == std::string_view::npos || close == std::string_view::npos || close < open + 2) {
    return std::nullopt;
  }
  const std::optional<int> identifier = numberIn(stat.substr(0, open));
  const std::string_view rest = stat.substr(close + 2);
  const std::string_view state = fieldAt(rest, 0);
  const std::optional<int> threads = numberIn(fieldAt(rest, 17));
  if (!identifier || !threads) return std::nullopt;
  if (state == "X" || state == "x" || (state == "Z" && *threads <= 1)) return std::nullopt;
  return Process{*identifier, std::string(stat.substr(open + 2, close - open - 2))};
}

ProcessTable::ProcessTable(bool rootIsThisMachine, std::function<bool(int)> filter)
    : rootIsThisMachine_(rootIsThisMachine), filter_(std::move(filter)) {}

int ProcessTable::ownIdentifier() {
  return ::getpid();
}

bool ProcessTable::concernsUs(int identifier) const {
  return rootIsThisMachine_ && identifier >= 1 && (!filter_ || filter_(identifier));
}

Result<std::vector<Process>> ProcessTable::list() {
  std::vector<Process> processes;
  if (!rootIsThisMachine_) return processes;
  const std::unique_ptr<DIR, int (*)(DIR*)> proc(::opendir("/proc"), &::closedir);
  if (proc == nullptr) return systemError("/proc");
  errno = 0;
  while (const dirent* entry = ::readdir(proc.get())) {
    const std::optional<int> identifier = numberIn(entry->d_name);
    if (identifier && concernsUs(*identifier)) {
      if (std::optional<Process> process = runningProcess(*identifier)) {
        processes.push_back(std::move(*process));
      }
    }
    errno = 0;
  }
  if (errno != 0) return systemError("/proc");
  std::ranges::sort(processes, {}, &Process::identifier);
  return processes;
}

Status ProcessTable::kill(int identifier) {
  const std::string shown = "process " + std::to_string(identifier);
  if (!concernsUs(identifier)) return systemError(shown, ESRCH);
  if (::kill(identifier, SIGKILL) != 0) return systemError(shown);
  return {};
}

}  // namespace accountsettings
