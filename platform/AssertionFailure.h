/// \file
/// AssertionFailure is thrown for programming and installation errors: a missing
/// resource, a malformed creators entry, a missing argument. It stops the
/// operation; where nobody catches it, it ends the process. what() is the message, and what to do
/// about it where there is something to say.
#pragma once

#include <stdexcept>
#include <string>

namespace accountsettings {

/// \copydoc AssertionFailure.h
class AssertionFailure : public std::runtime_error {
 public:
  /// `method` in the system's notation, for example "-[BasicAccount init]"; `sourceFile` is the
  /// name of the class whose source raised it, for example "BasicAccount"; `advice` is a sentence,
  /// without its period.
  AssertionFailure(const std::string& message, std::string method, std::string sourceFile,
                   const std::string& advice = {});
  ~AssertionFailure() override;

  /// What is wrong, in the system's own words.
  [[nodiscard]] const std::string& message() const noexcept { return message_; }
  [[nodiscard]] const std::string& method() const noexcept { return method_; }
  [[nodiscard]] const std::string& sourceFile() const noexcept { return sourceFile_; }

 private:
  std::string message_;
  std::string method_;
  std::string sourceFile_;
};

}  // namespace accountsettings
