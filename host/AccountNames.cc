// Look-ups of names in the system's database, or in a root's own passwd and group files.
#include "host/AccountNames.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <charconv>
#include <ctime>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/FileIO.h"
#include "host/RootDirectory.h"
#include "host/SystemError.h"

namespace accountsettings {

namespace {

constexpr std::uint64_t kLargestDatabase = std::uint64_t{16} << 20;

Error unknown(const std::string& where, std::string_view kind, std::string_view name) {
  return Error{where + ": there is no " + std::string(kind) + " \"" + std::string(name) + '"',
               ENOENT};
}

// Calls one of the getXXnam_r functions with a buffer that is large enough.
template <class Record, class Call>
Result<Record> lookUp(Call call, std::string_view kind, const std::string& name) {
  std::vector<char> buffer(1024);
  for (;;) {
    Record record{};
    Record* found = nullptr;
    const int code = call(name.c_str(), &record, buffer.data(), buffer.size(), &found);
    if (code == EINTR) continue;
    if (code == ERANGE) {
      buffer.resize(buffer.size() * 4);
      continue;
    }
    if (found != nullptr) return record;
    // These too are how name services say that they do not know a name.
    if (code == 0 || code == ENOENT || code == ESRCH) {
      return unknown("the system's database", kind, name);
    }
    return systemError("the system's database, " + std::string(kind) + " \"" + name + '"', code);
  }
}

// The number is the third field, as in "name:x:501:...". The largest one means "leave as it is" to
// the kernel and can belong to nobody.
std::optional<std::uint32_t> numberIn(std::string_view line) {
  for (int fields = 0; fields < 2; ++fields) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) return std::nullopt;
    line.remove_prefix(colon + 1);
  }
  line = line.substr(0, line.find(':'));
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
  if (error != std::errc() || end != line.data() + line.size() || line.empty()) return std::nullopt;
  if (number == std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  return number;
}

bool isSameTime(const timespec& left, const timespec& right) {
  return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

bool isSameVersion(const struct stat& left, const struct stat& right) {
  return left.st_dev == right.st_dev && left.st_ino == right.st_ino &&
         left.st_size == right.st_size && isSameTime(left.st_mtim, right.st_mtim) &&
         isSameTime(left.st_ctim, right.st_ctim);
}

// Another change within one tick of the file system's clock would leave the times as they are.
bool wasChangedJustNow(const struct stat& status) {
  constexpr std::int64_t kTick = 100'000'000;
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return (now.tv_sec - status.st_ctim.tv_sec) * 1'000'000'000 + now.tv_nsec -
             status.st_ctim.tv_nsec <
         kTick;
}

}  // namespace

Result<FileOwner> numbersOf(AccountNames& names, std::string_view owner, std::string_view group) {
  const Result<std::uint32_t> ownerNumber = names.ownerNamed(owner);
  if (!ownerNumber) return ownerNumber.error();
  const Result<std::uint32_t> groupNumber = names.groupNamed(group);
  if (!groupNumber) return groupNumber.error();
  return FileOwner{*ownerNumber, *groupNumber};
}

Result<std::uint32_t> SystemAccountNames::ownerNamed(std::string_view name) {
  const Result<passwd> record = lookUp<passwd>(::getpwnam_r, "account", std::string(name));
  if (!record) return record.error();
  return std::uint32_t{record->pw_uid};
}

Result<std::uint32_t> SystemAccountNames::groupNamed(std::string_view name) {
  const Result<group> record = lookUp<group>(::getgrnam_r, "group", std::string(name));
  if (!record) return record.error();
  return std::uint32_t{record->gr_gid};
}

Result<std::uint32_t> RootAccountNames::ownerNamed(std::string_view name) {
  return look("/etc/passwd", name);
}

Result<std::uint32_t> RootAccountNames::groupNamed(std::string_view name) {
  return look("/etc/group", name);
}

Result<std::shared_ptr<const Bytes>> RootAccountNames::contentOf(const std::string& file) {
  const std::string shown = root_.shown(file);
  const Result<FileDescriptor> there = root_.open(file, O_PATH);
  if (!there) return there.error();
  const Result<struct stat> status = statusOf(*there, shown);
  if (!status) return status.error();
  const std::lock_guard guard(mutex_);
  Known& known = known_[file];
  if (known.bytes != nullptr && isSameVersion(known.status, *status)) return known.bytes;
  const Opener opener = [&](int flags) { return root_.open(file, flags); };
  const auto read = S_ISREG(status->st_mode) ? &readSeenRegular : &readRegular;
  Result<Bytes> bytes = read(opener, kLargestDatabase, shown);
  if (!bytes) return bytes.error();
  auto content = std::make_shared<const Bytes>(std::move(*bytes));
  known = wasChangedJustNow(*status) ? Known() : Known{*status, content};
  return content;
}

Result<std::uint32_t> RootAccountNames::look(const std::string& file, std::string_view name) {
  const std::string shown = root_.shown(file);
  const Result<std::shared_ptr<const Bytes>> content = contentOf(file);
  if (!content) return content.error();
  const Bytes& bytes = **content;

  std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    if (line.size() > name.size() && line.starts_with(name) && line[name.size()] == ':') {
      if (const std::optional<std::uint32_t> id = numberIn(line)) return *id;
      return Error{
          shown + ": line " + std::to_string(number) + ": expected a number in the third field",
          EINVAL};
    }
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return unknown(shown, file == "/etc/group" ? "group" : "account", name);
}

}  // namespace accountsettings
