// FileDescriptor owns an open descriptor and closes it. Every descriptor of the host is
// closed on exec.
#pragma once

#include <unistd.h>

#include <utility>

namespace accountsettings {

class FileDescriptor {
 public:
  FileDescriptor() noexcept = default;
  explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~FileDescriptor() { close(); }

  [[nodiscard]] int get() const noexcept { return descriptor_; }
  explicit operator bool() const noexcept { return descriptor_ >= 0; }
  [[nodiscard]] int release() noexcept { return std::exchange(descriptor_, -1); }

  // Answers what close() answers. The descriptor is gone either way: another thread may have its
  // number already, so a failed close is never tried again.
  int close() noexcept {
    const int descriptor = release();
    return descriptor < 0 ? 0 : ::close(descriptor);
  }

 private:
  int descriptor_ = -1;
};

}  // namespace accountsettings
