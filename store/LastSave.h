/// \file
/// LastSave tells what became of a store's last save, and why it failed.
#pragma once

#include <optional>
#include <utility>

#include "plist/Result.h"

namespace accountsettings {

/// \copydoc LastSave.h
class LastSave {
 public:
  enum class Outcome {
    None,         ///< the store has not saved yet
    Saved,        ///< the file holds what was meant
    NeverLoaded,  ///< refused: the file could not be read when the store was loaded; load a new one
    NotLocked,    ///< refused: another program held the settings for too long; save again later
    NotReadAgain,   ///< refused: the file could not be read, to be merged with; save again later
    NotSerialized,  ///< the accounts hold a value that the file cannot
    NotWritten      // the new file could not be written, given its owner or put in its place
  };

  LastSave() = default;
  /// One that failed.
  LastSave(Outcome outcome, Error error) : outcome_(outcome), error_(std::move(error)) {}
  /// One that succeeded.
  [[nodiscard]] static LastSave success() {
    LastSave save;
    save.outcome_ = Outcome::Saved;
    return save;
  }

  [[nodiscard]] Outcome outcome() const noexcept { return outcome_; }
  [[nodiscard]] bool saved() const noexcept { return outcome_ == Outcome::Saved; }
  /// Whether it was given up before anything was written, lest it replace what nobody had seen.
  [[nodiscard]] bool refused() const noexcept {
    return outcome_ == Outcome::NeverLoaded || outcome_ == Outcome::NotLocked ||
           outcome_ == Outcome::NotReadAgain;
  }
  /// Why it failed; nullptr where it did not. Lives as long as this.
  [[nodiscard]] const Error* error() const noexcept { return error_ ? &*error_ : nullptr; }

 private:
  Outcome outcome_ = Outcome::None;
  std::optional<Error> error_;
};

}  // namespace accountsettings
