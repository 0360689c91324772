#include "tool/device/WatchedFiles.h"

#include <cerrno>
#include <utility>

namespace accountsettings {

class WatchedTemporaryFile : public TemporaryFile {
 public:
  WatchedTemporaryFile(WatchedFiles& watch, std::unique_ptr<TemporaryFile> file)
      : watch_(watch), file_(std::move(file)) {}

  const std::string& path() const override { return file_->path(); }
  Status write(std::span<const std::uint8_t> bytes) override {
    return watch_.noted(file_->write(bytes));
  }
  Status setOwner(std::string_view owner, std::string_view group) override {
    return watch_.noted(file_->setOwner(owner, group));
  }
  Status flushAndClose() override { return watch_.noted(file_->flushAndClose()); }

 private:
  WatchedFiles& watch_;
  std::unique_ptr<TemporaryFile> file_;
};

std::optional<Error> WatchedFiles::takeFailure() {
  return std::exchange(failure_, std::nullopt);
}

Status WatchedFiles::noted(Status status) {
  if (!status && !failure_) failure_ = status.error();
  return status;
}

Status WatchedFiles::notedUnlessMissing(Status status) {
  return !status && status.error().code == ENOENT ? status : noted(std::move(status));
}

Result<Bytes> WatchedFiles::read(const std::string& path) {
  return files_.read(path);
}

bool WatchedFiles::exists(const std::string& path) {
  return files_.exists(path);
}

bool WatchedFiles::isDirectory(const std::string& path) {
  return files_.isDirectory(path);
}

Status WatchedFiles::copy(const std::string& source, const std::string& target) {
  return notedUnlessMissing(files_.copy(source, target));
}

Status WatchedFiles::remove(const std::string& path) {
  return notedUnlessMissing(files_.remove(path));
}

Status WatchedFiles::create(const std::string& path, std::span<const std::uint8_t> bytes) {
  return noted(files_.create(path, bytes));
}

Status WatchedFiles::makeDirectory(const std::string& path, unsigned mode) {
  return noted(files_.makeDirectory(path, mode));
}

Status WatchedFiles::writeAtomically(const std::string& path, std::span<const std::uint8_t> bytes) {
  return noted(files_.writeAtomically(path, bytes));
}

Result<std::unique_ptr<TemporaryFile>> WatchedFiles::makeTemporary(const std::string& destination) {
  Result<std::unique_ptr<TemporaryFile>> file = files_.makeTemporary(destination);
  if (!file) {
    static_cast<void>(noted(file.error()));
    return file;
  }
  return std::unique_ptr<TemporaryFile>(
      std::make_unique<WatchedTemporaryFile>(*this, std::move(file).value()));
}

Status WatchedFiles::rename(const std::string& source, const std::string& target) {
  return noted(files_.rename(source, target));
}

Status WatchedFiles::flushDirectoryOf(const std::string& path) {
  return files_.flushDirectoryOf(path);
}

}  // namespace accountsettings
