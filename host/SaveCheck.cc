// What a save needs, asked in the order in which a save would.
#include "host/SaveCheck.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "host/FileIO.h"
#include "host/RootDirectory.h"
#include "host/SystemError.h"

namespace accountsettings {

namespace {

bool mayGiveAnyFileAway() {
  __user_cap_header_struct header{};
  header.version = _LINUX_CAPABILITY_VERSION_3;
  __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
  return ::syscall(SYS_capget, &header, data) == 0 &&
         (data[CAP_TO_INDEX(CAP_CHOWN)].effective & CAP_TO_MASK(CAP_CHOWN)) != 0;
}

bool isInGroup(gid_t group) {
  std::vector<gid_t> groups(static_cast<std::size_t>(std::max(::getgroups(0, nullptr), 0)));
  const int count = ::getgroups(static_cast<int>(groups.size()), groups.data());
  groups.resize(static_cast<std::size_t>(std::max(count, 0)));
  return group == ::getegid() || std::ranges::find(groups, group) != groups.end();
}

Status mayGiveTo(uid_t owner, gid_t group, const struct stat& directory, const SavePlan& plan) {
  if (mayGiveAnyFileAway()) return {};
  const bool inheritsGroup = (directory.st_mode & S_ISGID) != 0 && directory.st_gid == group;
  if (owner == ::geteuid() && (inheritsGroup || isInGroup(group))) return {};
  return systemError("giving a file to \"" + plan.owner + "\", group \"" + plan.group + '"', EPERM);
}

}  // namespace

Result<struct stat> writableDirectory(const RootDirectory& root, const std::string& path) {
  const Result<FileDescriptor> directory = root.open(path, O_PATH | O_DIRECTORY);
  if (!directory) return directory.error();
  if (::faccessat(directory->get(), ".", W_OK | X_OK, AT_EACCESS) != 0) {
    return systemError(root.shown(path));
  }
  return statusOf(*directory, root.shown(path));
}

Status saveCanSucceed(const RootDirectory& root, const Result<FileOwner>& numbers,
                      const SavePlan& plan) {
  if (!numbers) return numbers.error();
  const std::string directory = directoryPart(plan.destination);
  const std::string temporary = plan.temporaryDirectory.value_or(directory);
  const Result<struct stat> to = writableDirectory(root, directory);
  if (!to) return to.error();
  const Result<struct stat> from = temporary == directory ? to : writableDirectory(root, temporary);
  if (!from) return from.error();
  if (from->st_dev != to->st_dev) {
    return systemError(
        root.shown(temporary) + ": a file cannot be renamed from here to " + root.shown(directory),
        EXDEV);
  }
  return mayGiveTo(numbers->owner, numbers->group, *from, plan);
}

}  // namespace accountsettings
