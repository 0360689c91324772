// Which failures count as changes that failed.
#include "tool/device/WatchedFiles.h"

#include <cerrno>
#include <utility>

namespace accountsettings {

namespace {

bool isMissing(const Status& status) {
  return !status && status.error().code == ENOENT;
}

}  // namespace

std::optional<Error> WatchedFiles::takeFailure() {
  return std::exchange(failure_, std::nullopt);
}

Status WatchedFiles::copy(const std::string& source, const std::string& target) {
  Status copied = files_.copy(source, target);
  return isMissing(copied) ? copied : didChange(std::move(copied));
}

Status WatchedFiles::remove(const std::string& path) {
  Status removed = files_.remove(path);
  return isMissing(removed) ? removed : didChange(std::move(removed));
}

Status WatchedFiles::didChange(Status status) {
  if (!status && !failure_) failure_ = status.error();
  return status;
}

}  // namespace accountsettings
