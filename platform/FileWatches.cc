// FileWatches.cc holds the watches of a platform that has none.
#include "platform/FileWatches.h"

#include <cerrno>

namespace accountsettings {

namespace {

class NoFileWatches : public FileWatches {
 public:
  Result<std::unique_ptr<FileWatch>> watch(const std::string& path) override {
    return Error{path + ": this platform does not tell when a file changes", ENOTSUP};
  }
};

}  // namespace

FileWatches& noFileWatches() {
  static NoFileWatches none;
  return none;
}

}  // namespace accountsettings
