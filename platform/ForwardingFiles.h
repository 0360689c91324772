/// \file
/// ForwardingFiles passes every call on to other files. What derives from it looks on: it is told
/// before each call and after each change, and may override what it does otherwise.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Files.h"

namespace accountsettings {

/// \copydoc ForwardingFiles.h
class ForwardingFiles : public Files {
 public:
  /// `files` must outlive this.
  explicit ForwardingFiles(Files& files) : files_(files) {}

  [[nodiscard]] Result<Bytes> read(const std::string& path) override {
    willCall();
    return files_.read(path);
  }
  [[nodiscard]] Presence exists(const std::string& path) override {
    willCall();
    return files_.exists(path);
  }
  [[nodiscard]] Presence isDirectory(const std::string& path) override {
    willCall();
    return files_.isDirectory(path);
  }
  Status copy(const std::string& source, const std::string& target) override {
    willCall();
    return didChange(files_.copy(source, target));
  }
  Status remove(const std::string& path) override {
    willCall();
    return didChange(files_.remove(path));
  }
  Status create(const std::string& path, std::span<const std::uint8_t> bytes) override {
    willCall();
    return didChange(files_.create(path, bytes));
  }
  Status makeDirectory(const std::string& path, unsigned mode) override {
    willCall();
    return didChange(files_.makeDirectory(path, mode));
  }
  Status writeAtomically(const std::string& path, std::span<const std::uint8_t> bytes) override {
    willCall();
    return didChange(files_.writeAtomically(path, bytes));
  }
  [[nodiscard]] Result<std::unique_ptr<TemporaryFile>> makeTemporary(
      const std::string& destination) override {
    willCall();
    Result<std::unique_ptr<TemporaryFile>> file = files_.makeTemporary(destination);
    if (Status made = didChange(file ? Status() : file.error()); !made) return made.error();
    return std::unique_ptr<TemporaryFile>(
        std::make_unique<Temporary>(*this, std::move(file).value()));
  }
  Status rename(const std::string& source, const std::string& target) override {
    willCall();
    return didChange(files_.rename(source, target));
  }
  Status flushDirectoryOf(const std::string& path) override {
    willCall();
    return files_.flushDirectoryOf(path);
  }

 protected:
  /// Before each call, those to temporary files too.
  virtual void willCall() {}
  /// After each call that changes something, with what it answered. Answers what the caller gets.
  virtual Status didChange(Status status) { return status; }
  /// A write to a temporary file.
  virtual Status writeTo(TemporaryFile& file, std::span<const std::uint8_t> bytes) {
    willCall();
    return didChange(file.write(bytes));
  }

  Files& files_;

 private:
  class Temporary : public TemporaryFile {
   public:
    Temporary(ForwardingFiles& owner, std::unique_ptr<TemporaryFile> file)
        : owner_(owner), file_(std::move(file)) {}

    const std::string& path() const override { return file_->path(); }
    Status write(std::span<const std::uint8_t> bytes) override {
      return owner_.writeTo(*file_, bytes);
    }
    Status setOwner(std::string_view owner, std::string_view group) override {
      owner_.willCall();
      return owner_.didChange(file_->setOwner(owner, group));
    }
    Status flushAndClose() override {
      owner_.willCall();
      return owner_.didChange(file_->flushAndClose());
    }

   private:
    ForwardingFiles& owner_;
    std::unique_ptr<TemporaryFile> file_;
  };
};

}  // namespace accountsettings
