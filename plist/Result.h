/// \file
/// Result carries either a value or an Error; Status is the Result of an
/// operation that yields nothing. An Error says where and what, so that its
/// message can be shown as it stands.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace accountsettings {

/// Error is a failure told in words. `code` is the system's error number where
/// there is one, else 0.
struct Error {
  std::string message;
  int code = 0;
};

/// Result<T> holds a T or an Error, never both. Reading the side that is not
/// held is a programming error and undefined.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
  Result(Error error) : state_(std::in_place_index<1>, std::move(error)) {}

  [[nodiscard]] bool ok() const noexcept { return state_.index() == 0; }
  explicit operator bool() const noexcept { return ok(); }

  [[nodiscard]] const T& value() const& noexcept { return *std::get_if<0>(&state_); }
  [[nodiscard]] T& value() & noexcept { return *std::get_if<0>(&state_); }
  [[nodiscard]] T&& value() && noexcept { return std::move(*std::get_if<0>(&state_)); }
  const T& operator*() const& noexcept { return value(); }
  T& operator*() & noexcept { return value(); }
  T&& operator*() && noexcept { return std::move(*this).value(); }
  const T* operator->() const noexcept { return std::get_if<0>(&state_); }
  T* operator->() noexcept { return std::get_if<0>(&state_); }

  [[nodiscard]] const Error& error() const noexcept { return *std::get_if<1>(&state_); }

 private:
  std::variant<T, Error> state_;
};

/// Result<void> succeeds when it holds no Error.
template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;
  Result(Error error) : error_(std::move(error)) {}

  [[nodiscard]] bool ok() const noexcept { return !error_.has_value(); }
  explicit operator bool() const noexcept { return ok(); }
  [[nodiscard]] const Error& error() const noexcept { return *error_; }

 private:
  std::optional<Error> error_;
};

/// What an operation that yields nothing answers.
using Status = Result<void>;

}  // namespace accountsettings
