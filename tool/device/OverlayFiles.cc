#include "tool/device/OverlayFiles.h"

#include <cerrno>
#include <system_error>

namespace accountsettings {

namespace {

Error errorAt(const std::string& path, int code) {
  return {path + ": " + std::generic_category().message(code), code};
}

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

}  // namespace

// OverlayTemporaryFile collects what is written to it; the overlay sees it at once.
class OverlayTemporaryFile : public TemporaryFile {
 public:
  OverlayTemporaryFile(OverlayFiles& files, std::string path)
      : files_(files), path_(std::move(path)) {}

  [[nodiscard]] const std::string& path() const override { return path_; }
  Status write(std::span<const std::uint8_t> bytes) override {
    files_.changes_[path_] = Bytes(bytes.begin(), bytes.end());
    return {};
  }
  Status setOwner(std::string_view, std::string_view) override { return {}; }
  Status flushAndClose() override { return {}; }

 private:
  OverlayFiles& files_;
  std::string path_;
};

Result<Bytes> OverlayFiles::read(const std::string& path) {
  const auto changed = changes_.find(path);
  if (changed == changes_.end()) return real_.read(path);
  if (!changed->second) return errorAt(path, ENOENT);
  return *changed->second;
}

Presence OverlayFiles::exists(const std::string& path) {
  const auto changed = changes_.find(path);
  if (changed != changes_.end()) return Presence::of(changed->second.has_value());
  if (directories_.contains(path)) return Presence::of(true);
  return real_.exists(path);
}

Presence OverlayFiles::isDirectory(const std::string& path) {
  if (directories_.contains(path)) return Presence::of(true);
  if (changes_.contains(path)) return Presence::of(false);
  return real_.isDirectory(path);
}

Status OverlayFiles::copy(const std::string& source, const std::string& target) {
  Result<Bytes> bytes = read(source);
  if (!bytes) return bytes.error();
  const Presence inTheWay = exists(target);
  if (inTheWay.error() != nullptr) return *inTheWay.error();
  if (inTheWay.isThere()) return errorAt(target, EEXIST);
  return put(target, std::move(bytes).value());
}

Status OverlayFiles::remove(const std::string& path) {
  if (Status file = checkThatNoDirectoryIsAt(path); !file) return file;
  const Presence there = exists(path);
  if (there.error() != nullptr) return *there.error();
  if (there.isAbsent()) return errorAt(path, ENOENT);
  changes_[path] = std::nullopt;
  return {};
}

Status OverlayFiles::create(const std::string& path, std::span<const std::uint8_t> bytes) {
  return put(path, Bytes(bytes.begin(), bytes.end()));
}

Status OverlayFiles::makeDirectory(const std::string& path, unsigned) {
  if (isDirectory(path).isThere()) return {};
  const Presence inTheWay = exists(path);
  if (inTheWay.error() != nullptr) return *inTheWay.error();
  if (inTheWay.isThere()) return errorAt(path, ENOTDIR);
  if (Status above = makeDirectory(directoryOf(path), 0); !above) return above;
  directories_.insert(path);
  return {};
}

Status OverlayFiles::writeAtomically(const std::string& path, std::span<const std::uint8_t> bytes) {
  return put(path, Bytes(bytes.begin(), bytes.end()));
}

Result<std::unique_ptr<TemporaryFile>> OverlayFiles::makeTemporary(const std::string& destination) {
  if (const Status there = checkDirectoryOf(destination); !there) return there.error();
  std::string path = destination + ".rehearsed-" + std::to_string(++temporaries_);
  changes_[path] = Bytes();
  return std::unique_ptr<TemporaryFile>(
      std::make_unique<OverlayTemporaryFile>(*this, std::move(path)));
}

Status OverlayFiles::rename(const std::string& source, const std::string& target) {
  Result<Bytes> bytes = read(source);
  if (!bytes) return bytes.error();
  if (Status moved = put(target, std::move(bytes).value()); !moved) return moved;
  // What was there only between two renames was never there.
  if (real_.exists(source).isAbsent()) {
    changes_.erase(source);
  } else {
    changes_[source] = std::nullopt;
  }
  return {};
}

Status OverlayFiles::flushDirectoryOf(const std::string&) {
  return {};
}

Status OverlayFiles::checkDirectoryOf(const std::string& path) {
  const Presence directory = isDirectory(directoryOf(path));
  if (directory.error() != nullptr) return *directory.error();
  return directory.isThere() ? Status() : errorAt(path, ENOENT);
}

Status OverlayFiles::checkThatNoDirectoryIsAt(const std::string& path) {
  const Presence directory = isDirectory(path);
  if (directory.error() != nullptr) return *directory.error();
  return directory.isAbsent() ? Status() : errorAt(path, EISDIR);
}

Status OverlayFiles::put(const std::string& path, Bytes bytes) {
  if (Status there = checkDirectoryOf(path); !there) return there;
  if (Status file = checkThatNoDirectoryIsAt(path); !file) return file;
  changes_[path] = std::move(bytes);
  return {};
}

}  // namespace accountsettings
