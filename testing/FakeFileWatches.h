// FakeFileWatches tells of the changes that a test announces, and waits for none.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/FileWatches.h"
#include "testing/Faults.h"

namespace accountsettings::testing {

class FakeFileWatches : public FileWatches {
 public:
  explicit FakeFileWatches(Faults& faults) : faults_(faults) {}

  // Somebody has changed the file.
  void announce(const std::string& path) { ++changes_[path]; }

  // The operations are "fileWatches.watch" and, of the watches, "fileWatches.takeChange".
  [[nodiscard]] Result<std::unique_ptr<FileWatch>> watch(const std::string& path) override {
    if (std::optional<Error> error = faults_.check("fileWatches.watch", path)) return *error;
    return std::unique_ptr<FileWatch>(std::make_unique<Watch>(*this, path));
  }

 private:
  class Watch : public FileWatch {
   public:
    Watch(FakeFileWatches& owner, std::string path)
        : owner_(owner), path_(std::move(path)), seen_(owner.changes_[path_]) {}

    [[nodiscard]] int descriptor() const noexcept override { return -1; }
    [[nodiscard]] Result<bool> takeChange() override {
      if (auto error = owner_.faults_.check("fileWatches.takeChange", path_)) return *error;
      return std::exchange(seen_, owner_.changes_[path_]) != owner_.changes_[path_];
    }
    [[nodiscard]] Result<bool> waitForChange(std::chrono::milliseconds) override {
      return takeChange();
    }

   private:
    FakeFileWatches& owner_;
    std::string path_;
    int seen_;
  };

  Faults& faults_;
  std::map<std::string, int> changes_;
};

}  // namespace accountsettings::testing
