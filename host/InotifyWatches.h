// InotifyWatches watches files by the directories in which they lie, because a save puts a new file
// in the old one's place.
#pragma once

#include <memory>
#include <string>

#include "host/RootDirectory.h"
#include "platform/FileWatches.h"

namespace accountsettings {

class InotifyWatches : public FileWatches {
 public:
  // `root` must outlive the watches.
  explicit InotifyWatches(const RootDirectory& root) : root_(root) {}

  [[nodiscard]] Result<std::unique_ptr<FileWatch>> watch(const std::string& path) override;

 private:
  const RootDirectory& root_;
};

}  // namespace accountsettings
