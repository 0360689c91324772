// FakeFileWatches tells where a file of the fake device holds something else than it did, and of
// the changes that a test announces. It waits for none.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/FileWatches.h"
#include "testing/FakeFiles.h"
#include "testing/Faults.h"

namespace accountsettings::testing {

class FakeFileWatches : public FileWatches {
 public:
  FakeFileWatches(Faults& faults, const FakeFiles& files) : faults_(faults), files_(files) {}

  // Somebody has written the file, the same as was there perhaps.
  void announce(const std::string& path) { ++changes_[path]; }

  // The operations are "fileWatches.watch" and, of the watches, "fileWatches.takeChange".
  [[nodiscard]] Result<std::unique_ptr<FileWatch>> watch(const std::string& path) override {
    if (std::optional<Error> error = faults_.check("fileWatches.watch", path)) return *error;
    if (!files_.has(path.substr(0, path.rfind('/')))) {
      return Error{path + ": No such file or directory", ENOENT};
    }
    return std::unique_ptr<FileWatch>(std::make_unique<Watch>(*this, path));
  }

 private:
  // How many changes were announced, and what the file holds.
  using State = std::pair<int, std::optional<Bytes>>;

  class Watch : public FileWatch {
   public:
    Watch(FakeFileWatches& owner, std::string path)
        : owner_(owner), path_(std::move(path)), seen_(owner.stateOf(path_)) {}

    [[nodiscard]] int descriptor() const noexcept override { return -1; }
    [[nodiscard]] Result<bool> takeChange() override {
      if (auto error = owner_.faults_.check("fileWatches.takeChange", path_)) return *error;
      const State now = owner_.stateOf(path_);
      return std::exchange(seen_, now) != now;
    }
    [[nodiscard]] Result<bool> waitForChange(std::chrono::milliseconds) override {
      return takeChange();
    }

   private:
    FakeFileWatches& owner_;
    std::string path_;
    State seen_;
  };

  [[nodiscard]] State stateOf(const std::string& path) {
    return {changes_[path], files_.bytes(path)};
  }

  Faults& faults_;
  const FakeFiles& files_;
  std::map<std::string, int> changes_;
};

}  // namespace accountsettings::testing
