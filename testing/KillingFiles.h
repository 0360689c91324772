// KillingFiles passes every call on to other files, and kills this process, without warning, at
// one of them. A test uses it in a child process.
#pragma once

#include <signal.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Files.h"

namespace accountsettings::testing {

class KillingFiles : public Files {
 public:
  // Kills just before the call of this number, from 1 on; a write is half done by then. 0 never.
  KillingFiles(Files& files, int killAt) : files_(files), killAt_(killAt) {}

  // How many calls there were.
  [[nodiscard]] int calls() const { return calls_; }

  Result<Bytes> read(const std::string& path) override {
    count();
    return files_.read(path);
  }
  bool exists(const std::string& path) override {
    count();
    return files_.exists(path);
  }
  bool isDirectory(const std::string& path) override {
    count();
    return files_.isDirectory(path);
  }
  Status copy(const std::string& source, const std::string& target) override {
    count();
    return files_.copy(source, target);
  }
  Status remove(const std::string& path) override {
    count();
    return files_.remove(path);
  }
  Status create(const std::string& path, std::span<const std::uint8_t> bytes) override {
    if (isDue()) {
      (void)files_.create(path, bytes.first(bytes.size() / 2));
      die();
    }
    return files_.create(path, bytes);
  }
  Status makeDirectory(const std::string& path, unsigned mode) override {
    count();
    return files_.makeDirectory(path, mode);
  }
  Status writeAtomically(const std::string& path, std::span<const std::uint8_t> bytes) override {
    count();
    return files_.writeAtomically(path, bytes);
  }
  Result<std::unique_ptr<TemporaryFile>> makeTemporary(const std::string& destination) override {
    count();
    Result<std::unique_ptr<TemporaryFile>> made = files_.makeTemporary(destination);
    if (!made) return made;
    return {std::make_unique<Temporary>(*this, std::move(*made))};
  }
  Status rename(const std::string& source, const std::string& target) override {
    count();
    return files_.rename(source, target);
  }
  Status flushDirectoryOf(const std::string& path) override {
    count();
    return files_.flushDirectoryOf(path);
  }

 private:
  class Temporary : public TemporaryFile {
   public:
    Temporary(KillingFiles& owner, std::unique_ptr<TemporaryFile> file)
        : owner_(owner), file_(std::move(file)) {}
    const std::string& path() const override { return file_->path(); }
    Status write(std::span<const std::uint8_t> bytes) override {
      if (owner_.isDue()) {
        (void)file_->write(bytes.first(bytes.size() / 2));
        die();
      }
      return file_->write(bytes);
    }
    Status setOwner(std::string_view user, std::string_view group) override {
      owner_.count();
      return file_->setOwner(user, group);
    }
    Status flushAndClose() override {
      owner_.count();
      return file_->flushAndClose();
    }

   private:
    KillingFiles& owner_;
    std::unique_ptr<TemporaryFile> file_;
  };

  bool isDue() { return ++calls_ == killAt_; }
  void count() {
    if (isDue()) die();
  }
  [[noreturn]] static void die() {
    ::raise(SIGKILL);
    std::abort();
  }

  Files& files_;
  int killAt_;
  int calls_ = 0;
};

}  // namespace accountsettings::testing
