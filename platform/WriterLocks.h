/// \file
/// WriterLocks keeps apart the programs that read a file, work on what they read and replace it. It
/// is advisory: whoever writes without it is not kept out.
#pragma once

#include <memory>
#include <string>

#include "plist/Result.h"

namespace accountsettings {

/// \copydoc WriterLocks.h
class WriterLocks {
 public:
  /// Held keeps other holders out, on this thread and others and in other processes, until it is
  /// destroyed.
  class Held {
   public:
    virtual ~Held() = default;
  };

  virtual ~WriterLocks() = default;

  /// Waits, for a bounded time, until nobody else holds the file at `path`, and holds it; it need
  /// not be there, and nothing is created. Empty where there is no way to hold it, which keeps
  /// nobody from writing. Fails where somebody held it all the time, or the wait was ended (EINTR).
  [[nodiscard]] virtual Result<std::unique_ptr<Held>> hold(const std::string& path) = 0;
};

/// For a platform without such locks: nobody waits for anybody. Lives as long as the program.
[[nodiscard]] WriterLocks& noWriterLocks();

}  // namespace accountsettings
