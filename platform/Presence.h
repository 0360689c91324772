/// \file
/// Presence is what a look at a path answers: something is there, nothing is, or the look failed.
/// A failure is no absence, so nothing turns a presence into a yes or no by itself: whoever asks
/// says which of the three counts.
#pragma once

#include <cerrno>
#include <optional>
#include <utility>

#include "plist/Result.h"

namespace accountsettings {

/// Whether the error of a look or a reading says that nothing is there, which is an answer. Any
/// other error leaves it open.
[[nodiscard]] inline bool isAbsence(const Error& error) noexcept {
  return error.code == ENOENT || error.code == ENOTDIR;
}

class [[nodiscard]] Presence {
 public:
  /// What a look that found out answers, and what one that failed does.
  ///@{
  [[nodiscard]] static Presence of(bool there) { return Presence(there); }
  Presence(Error error) : error_(std::move(error)) {}
  ///@}

  /// Known to be there; known not to be. Both are false after a failed look.
  ///@{
  [[nodiscard]] bool isThere() const noexcept { return !error_ && there_; }
  [[nodiscard]] bool isAbsent() const noexcept { return !error_ && !there_; }
  ///@}
  /// Why it is not known; nullptr where it is. Lives as long as this.
  [[nodiscard]] const Error* error() const noexcept { return error_ ? &*error_ : nullptr; }

 private:
  explicit Presence(bool there) : there_(there) {}

  bool there_ = false;
  std::optional<Error> error_;
};

}  // namespace accountsettings
