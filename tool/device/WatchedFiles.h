// WatchedFiles passes every call on to other files and remembers the first change that failed,
// because the store tells only that a save failed, and people want to know why.
#pragma once

#include <optional>
#include <string>

#include "platform/ForwardingFiles.h"

namespace accountsettings {

class WatchedFiles : public ForwardingFiles {
 public:
  using ForwardingFiles::ForwardingFiles;

  // The first failed change since the last call; none where all succeeded. What was to be removed
  // or copied and is not there does not count: it often never was.
  [[nodiscard]] std::optional<Error> takeFailure();

  Status copy(const std::string& source, const std::string& target) override;
  Status remove(const std::string& path) override;

 protected:
  Status didChange(Status status) override;

 private:
  std::optional<Error> failure_;
};

}  // namespace accountsettings
