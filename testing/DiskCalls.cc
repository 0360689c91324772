// The C library's calls, each first asking what is planned for it.
#include "testing/DiskCalls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <map>
#include <utility>

namespace accountsettings::testing {

namespace {

// The calls by name, with what each may answer. A change comes before the looks.
struct Row {
  const char* name;
  bool changes;
  std::vector<int> errors;
};
enum Name : std::uint8_t {
  Create,
  Write,
  Flush,
  Mode,
  Owner,
  Truncate,
  Rename,
  Unlink,
  MakeDirectory,
  Link,
  Open,
  Read,
  Status,
  ReadLink,
  ReadDirectory,
  Lock
};
const std::array<Row, 16>& rows() {
  static const std::array<Row, 16> all = {{
      {"create", true, {EIO, EACCES, ENOSPC, EROFS, EMFILE}},
      {"write", true, {EIO, ENOSPC}},
      {"fsync", true, {EIO}},
      {"fchmod", true, {EIO, EPERM}},
      {"fchown", true, {EIO, EPERM}},
      {"ftruncate", true, {EIO}},
      {"rename", true, {EIO, EACCES, ENOSPC}},
      {"unlink", true, {EIO, EACCES}},
      {"mkdir", true, {EIO, EACCES, ENOSPC}},
      {"symlink", true, {EIO, ENOSPC}},
      {"open", false, {EIO, EACCES, EMFILE, ENOMEM}},
      {"read", false, {EIO}},
      {"stat", false, {EIO}},
      {"readlink", false, {EIO}},
      {"getdents", false, {EIO}},
      {"flock", false, {EIO, ENOLCK}},
  }};
  return all;
}

constexpr int kNamesKept = 16384;
struct Shared {
  int calls;
  int cameAboutAt;  // -1: not yet
  std::uint8_t names[kNamesKept];
  char subject[256];  // of the call of the plan
};

Shared& shared() {
  static Shared* const memory = static_cast<Shared*>(
      ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  return *memory;
}

// Before the first child begins: what that counts would be its own otherwise.
[[maybe_unused]] const Shared& sharedFromTheStart = shared();

bool active = false;
DiskPlan plan;
int record = -1;

template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

long rawCall(long number, long a = 0, long b = 0, long c = 0, long d = 0) {
  static auto* const real = next<long(long, ...)>("syscall");
  return real(number, a, b, c, d);
}

// Whether the call of this number is the one that the plan is about.
bool isDue(Name name, const std::function<std::string()>& subject) {
  if (!active || (plan.calls == DiskPlan::Calls::Changes && !rows()[name].changes)) return false;
  const int call = ++shared().calls;
  if (call <= kNamesKept) shared().names[call - 1] = name;
  const bool isDue = call == plan.at || (plan.effect == DiskPlan::Effect::FailFromHere &&
                                         plan.at > 0 && call > plan.at);
  if (isDue && shared().cameAboutAt < 0) {
    shared().cameAboutAt = name;
    subject().copy(shared().subject, sizeof(Shared::subject) - 1);
  }
  return isDue;
}

// Whether the call is to fail; errno then tells how.
bool fails(Name name, const std::function<std::string()>& subject) {
  if (!isDue(name, subject)) return false;
  switch (plan.effect) {
    case DiskPlan::Effect::Count:
      return false;
    case DiskPlan::Effect::Kill:
      ::raise(SIGKILL);
      return false;
    case DiskPlan::Effect::Act: {
      const std::function<void()> action = std::exchange(plan.action, {});
      active = false;
      if (action) action();
      active = true;
      return false;
    }
    case DiskPlan::Effect::Fail:
    case DiskPlan::Effect::FailFromHere:
      break;
  }
  // What does not change the disk goes on where only changes are counted.
  errno = plan.error;
  return true;
}

bool isNextKill() {
  return active && plan.effect == DiskPlan::Effect::Kill && shared().calls + 1 == plan.at;
}

std::string pathOf(int descriptor) {
  char path[PATH_MAX];
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  const long length = rawCall(SYS_readlinkat, AT_FDCWD, reinterpret_cast<long>(link.c_str()),
                              reinterpret_cast<long>(path), sizeof path);
  return length < 0 ? "" : std::string(path, static_cast<std::size_t>(length));
}

std::string pathOf(int directory, const char* name) {
  return name[0] == '/' ? name : pathOf(directory) + "/" + name;
}

// A change in a file: these numbers, then its texts.
struct Header {
  DiskChange::Kind kind;
  unsigned mode;
  unsigned owner;
  unsigned group;
  std::size_t lengths[3];
};

void note(const DiskChange& change) {
  if (record < 0) return;
  const int kept = errno;
  const Header header{change.kind,
                      change.mode,
                      change.owner,
                      change.group,
                      {change.path.size(), change.to.size(), change.bytes.size()}};
  std::string text(reinterpret_cast<const char*>(&header), sizeof header);
  text += change.path + change.to + change.bytes;
  rawCall(SYS_write, record, reinterpret_cast<long>(text.data()), static_cast<long>(text.size()));
  errno = kept;
}

bool fails(Name name, int descriptor) {
  return fails(name, [&] { return pathOf(descriptor); });
}
bool fails(Name name, int directory, const char* path) {
  return fails(name, [&] { return pathOf(directory, path); });
}

bool isStream(int descriptor) {
  return descriptor <= STDERR_FILENO;
}

}  // namespace

void planDiskCalls(DiskPlan next) {
  shared().calls = 0;
  shared().cameAboutAt = -1;
  std::memset(shared().subject, 0, sizeof(Shared::subject));
  plan = std::move(next);
  active = true;
}

void leaveDiskCalls() {
  active = false;
}

int diskCallsMade() {
  return shared().calls;
}

bool diskPlanCameAbout() {
  return shared().cameAboutAt >= 0;
}

std::string diskCallOfPlan() {
  if (!diskPlanCameAbout()) return "";
  return std::string(rows()[static_cast<std::size_t>(shared().cameAboutAt)].name) + " " +
         shared().subject;
}

const std::vector<int>& errorsOfDiskCall(const std::string& name) {
  const auto found =
      std::find_if(rows().begin(), rows().end(), [&](const Row& row) { return row.name == name; });
  static const std::vector<int> none;
  return found == rows().end() ? none : found->errors;
}

std::vector<std::string> diskCallNames() {
  std::vector<std::string> names;
  for (int i = 0; i < std::min(shared().calls, kNamesKept); ++i) {
    names.emplace_back(rows()[shared().names[i]].name);
  }
  return names;
}

void recordDiskChanges(int descriptor) {
  record = descriptor;
}

std::vector<DiskChange> diskChangesIn(int descriptor) {
  std::vector<DiskChange> changes;
  ::lseek(descriptor, 0, SEEK_SET);
  const auto text = [&](std::size_t length) {
    std::string bytes(length, '\0');
    rawCall(SYS_read, descriptor, reinterpret_cast<long>(bytes.data()), static_cast<long>(length));
    return bytes;
  };
  Header header{};
  while (rawCall(SYS_read, descriptor, reinterpret_cast<long>(&header), sizeof header) ==
         static_cast<long>(sizeof header)) {
    DiskChange change;
    change.kind = header.kind;
    change.path = text(header.lengths[0]);
    change.to = text(header.lengths[1]);
    change.bytes = text(header.lengths[2]);
    change.mode = header.mode;
    change.owner = header.owner;
    change.group = header.group;
    changes.push_back(std::move(change));
  }
  return changes;
}

}  // namespace accountsettings::testing

namespace disk = accountsettings::testing;
using Kind = disk::DiskChange::Kind;

extern "C" {

ssize_t write(int descriptor, const void* bytes, size_t count) {
  if (!disk::isStream(descriptor)) {
    if (disk::isNextKill()) {
      disk::rawCall(SYS_write, descriptor, reinterpret_cast<long>(bytes),
                    static_cast<long>(count / 2));
    }
    if (disk::fails(disk::Write, descriptor)) return -1;
    if (disk::record >= 0) {
      disk::note({Kind::Write, disk::pathOf(descriptor), "",
                  std::string(static_cast<const char*>(bytes), count)});
    }
  }
  return disk::rawCall(SYS_write, descriptor, reinterpret_cast<long>(bytes),
                       static_cast<long>(count));
}

int fsync(int descriptor) {
  if (disk::fails(disk::Flush, descriptor)) return -1;
  if (disk::record >= 0) {
    struct stat status {};
    ::fstat(descriptor, &status);
    disk::note(
        {S_ISDIR(status.st_mode) ? Kind::FlushDirectory : Kind::Flush, disk::pathOf(descriptor)});
  }
  return 0;  // the trials look at what was asked for, and need no storage to spin
}

int fchmod(int descriptor, mode_t mode) {
  if (disk::fails(disk::Mode, descriptor)) return -1;
  if (disk::record >= 0) disk::note({Kind::Mode, disk::pathOf(descriptor), "", "", mode});
  return static_cast<int>(disk::rawCall(SYS_fchmod, descriptor, mode));
}

int fchown(int descriptor, uid_t owner, gid_t group) {
  if (disk::fails(disk::Owner, descriptor)) return -1;
  if (disk::record >= 0) {
    disk::note({Kind::Owner, disk::pathOf(descriptor), "", "", 0, owner, group});
  }
  return static_cast<int>(disk::rawCall(SYS_fchown, descriptor, owner, group));
}

int fchownat(int directory, const char* path, uid_t owner, gid_t group, int flags) noexcept {
  if (disk::fails(disk::Owner, directory, path)) return -1;
  if (disk::record >= 0) {
    disk::note({Kind::Owner, disk::pathOf(directory, path), "", "", 0, owner, group});
  }
  static auto* const real = disk::next<int(int, const char*, uid_t, gid_t, int)>("fchownat");
  return real(directory, path, owner, group, flags);
}

int ftruncate(int descriptor, off_t length) noexcept {
  if (disk::fails(disk::Truncate, descriptor)) return -1;
  disk::note({Kind::Truncate, disk::record >= 0 ? disk::pathOf(descriptor) : ""});
  return static_cast<int>(disk::rawCall(SYS_ftruncate, descriptor, length));
}

int renameat(int from, const char* source, int to, const char* target) noexcept {
  if (disk::fails(disk::Rename, from, source)) return -1;
  if (disk::record >= 0) {
    disk::note({Kind::Rename, disk::pathOf(from, source), disk::pathOf(to, target)});
  }
  return static_cast<int>(disk::rawCall(SYS_renameat, from, reinterpret_cast<long>(source), to,
                                        reinterpret_cast<long>(target)));
}

int unlinkat(int directory, const char* path, int flags) noexcept {
  if (disk::fails(disk::Unlink, directory, path)) return -1;
  const int done =
      static_cast<int>(disk::rawCall(SYS_unlinkat, directory, reinterpret_cast<long>(path), flags));
  if (done == 0 && disk::record >= 0) {
    disk::note({(flags & AT_REMOVEDIR) != 0 ? Kind::RemoveDirectory : Kind::Unlink,
                disk::pathOf(directory, path)});
  }
  return done;
}

int mkdirat(int directory, const char* path, mode_t mode) noexcept {
  if (disk::fails(disk::MakeDirectory, directory, path)) return -1;
  const int done =
      static_cast<int>(disk::rawCall(SYS_mkdirat, directory, reinterpret_cast<long>(path), mode));
  if (done == 0 && disk::record >= 0) {
    disk::note({Kind::MakeDirectory, disk::pathOf(directory, path), "", "", mode});
  }
  return done;
}

int symlinkat(const char* target, int directory, const char* path) noexcept {
  if (disk::fails(disk::Link, directory, path)) return -1;
  if (disk::record >= 0) {
    disk::note({Kind::Link, disk::pathOf(directory, path), target});
  }
  return static_cast<int>(disk::rawCall(SYS_symlinkat, reinterpret_cast<long>(target), directory,
                                        reinterpret_cast<long>(path)));
}

int openat(int directory, const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
  }
  const bool creates = (flags & O_CREAT) != 0;
  if (disk::fails(creates ? disk::Create : disk::Open, directory, path)) return -1;
  const int opened = static_cast<int>(
      disk::rawCall(SYS_openat, directory, reinterpret_cast<long>(path), flags, mode));
  if (creates && opened >= 0 && (flags & O_EXCL) != 0 && disk::record >= 0) {
    disk::note({Kind::Create, disk::pathOf(directory, path), "", "", mode});
  }
  return opened;
}

int open(const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
  }
  if (disk::fails((flags & O_CREAT) != 0 ? disk::Create : disk::Open, AT_FDCWD, path)) return -1;
  return static_cast<int>(
      disk::rawCall(SYS_openat, AT_FDCWD, reinterpret_cast<long>(path), flags, mode));
}

// The one way to openat2.
long syscall(long number, ...) noexcept {
  long values[4];
  va_list arguments;
  va_start(arguments, number);
  for (long& each : values) each = va_arg(arguments, long);
  va_end(arguments);
  if (number == SYS_openat2 && disk::fails(disk::Open, static_cast<int>(values[0]),
                                           reinterpret_cast<const char*>(values[1]))) {
    return -1;
  }
  return disk::rawCall(number, values[0], values[1], values[2], values[3]);
}

ssize_t read(int descriptor, void* bytes, size_t count) {
  if (!disk::isStream(descriptor) && disk::fails(disk::Read, descriptor)) return -1;
  return disk::rawCall(SYS_read, descriptor, reinterpret_cast<long>(bytes),
                       static_cast<long>(count));
}

int fstat(int descriptor, struct stat* status) noexcept {
  if (disk::fails(disk::Status, descriptor)) return -1;
  return static_cast<int>(disk::rawCall(SYS_fstat, descriptor, reinterpret_cast<long>(status)));
}

ssize_t readlinkat(int directory, const char* path, char* target, size_t size) noexcept {
  if (disk::fails(disk::ReadLink, directory, path)) return -1;
  return disk::rawCall(SYS_readlinkat, directory, reinterpret_cast<long>(path),
                       reinterpret_cast<long>(target), static_cast<long>(size));
}

ssize_t getdents64(int directory, void* entries, size_t size) noexcept {
  if (disk::fails(disk::ReadDirectory, directory)) return -1;
  return disk::rawCall(SYS_getdents64, directory, reinterpret_cast<long>(entries),
                       static_cast<long>(size));
}

int flock(int descriptor, int operation) noexcept {
  if ((operation & LOCK_UN) == 0 && disk::fails(disk::Lock, descriptor)) return -1;
  return static_cast<int>(disk::rawCall(SYS_flock, descriptor, operation));
}
}
