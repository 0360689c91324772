/// \file
/// LogFormat is a format text that was checked against the types of its arguments when
/// the call was compiled; LogArgument is one of those arguments, described only when a
/// line is really written. Which types a placeholder can show is decided here.
#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

namespace detail {

/// What a placeholder may show: "%@" takes objects and texts, "%s" texts, "%ld" and "%d" integers.
enum class LogKind { None, Object, Text, Integer };

template <class T, class... Others>
concept OneOf = (std::same_as<T, Others> || ...);

/// std::string, std::string_view, const char*, string literals.
template <class T>
concept LoggedText = std::convertible_to<const T&, std::string_view>;

/// Integers and booleans (shown as 0 and 1), no characters.
template <class T>
concept LoggedInteger = std::integral<T> && !OneOf<T, char, wchar_t, char8_t, char16_t, char32_t>;

template <class T>
concept LoggedPropertyList = OneOf<T, PropertyList, Dictionary, Array>;

template <class T>
concept LoggedList = OneOf<T, std::vector<std::string>, std::vector<std::string_view>>;

/// A class that describes itself, for example an account.
template <class T>
concept Described = requires(const T& object) {
  { object.description() } -> std::convertible_to<std::string>;
};

/// Pointers, owning ones too, and std::optional: something to show, or nothing.
template <class T>
concept Nullable = !std::is_array_v<T> && requires(const T& holder) {
  static_cast<bool>(holder);
  *holder;
};

template <class T>
consteval LogKind logKindOf() {
  if constexpr (LoggedText<T>) {
    return LogKind::Text;
  } else if constexpr (LoggedInteger<T>) {
    return LogKind::Integer;
  } else if constexpr (LoggedPropertyList<T> || LoggedList<T> || Described<T> ||
                       std::same_as<T, Error>) {
    return LogKind::Object;
  } else if constexpr (Nullable<T>) {
    constexpr LogKind kind = logKindOf<std::remove_cvref_t<decltype(*std::declval<const T&>())>>();
    return kind == LogKind::Object || kind == LogKind::Text ? LogKind::Object : LogKind::None;
  } else {
    return LogKind::None;
  }
}

/// Placeholder is the first one in a text: where it begins, its length, and what it takes. `kind`
/// is None for "%%"; `length` is 0 where there is no placeholder, or an unknown one at `begin`.
struct Placeholder {
  std::size_t begin = std::string_view::npos;
  std::size_t length = 0;
  LogKind kind = LogKind::None;
};

constexpr Placeholder findPlaceholder(std::string_view text) {
  const std::size_t begin = text.find('%');
  if (begin == std::string_view::npos) return {};
  const std::string_view rest = text.substr(begin + 1);
  if (rest.starts_with('%')) return {begin, 2, LogKind::None};
  if (rest.starts_with('@')) return {begin, 2, LogKind::Object};
  if (rest.starts_with('s')) return {begin, 2, LogKind::Text};
  if (rest.starts_with('d')) return {begin, 2, LogKind::Integer};
  if (rest.starts_with("ld")) return {begin, 3, LogKind::Integer};
  return {begin, 0, LogKind::None};
}

/// Whether a placeholder of one kind can show an argument of the other.
constexpr bool canShow(LogKind placeholder, LogKind argument) {
  return placeholder == argument || (placeholder == LogKind::Object && argument == LogKind::Text);
}

/// Whether every placeholder of `text` is known and has an argument that it can show. Arguments
/// beyond the placeholders are fine.
template <class... Args>
consteval bool formatFits(std::string_view text) {
  const LogKind arguments[] = {logKindOf<Args>()..., LogKind::None};
  std::size_t next = 0;
  for (Placeholder found = findPlaceholder(text); found.begin != std::string_view::npos;
       found = findPlaceholder(text)) {
    if (found.length == 0) return false;
    if (found.kind != LogKind::None) {
      if (next == sizeof...(Args) || !canShow(found.kind, arguments[next])) return false;
      ++next;
    }
    text.remove_prefix(found.begin + found.length);
  }
  return true;
}

/// Not constexpr on purpose: a format that reaches it does not compile.
void logFormatDoesNotFitItsArguments();

/// Append what a placeholder shows to `line`.
///@{
void appendLogged(std::string& line, const PropertyList& value);
void appendLogged(std::string& line, const Dictionary& value);
void appendLogged(std::string& line, const Array& value);
void appendLogged(std::string& line, const std::vector<std::string>& texts);
void appendLogged(std::string& line, const std::vector<std::string_view>& texts);
void appendLoggedText(std::string& line, std::string_view text);
void appendLoggedNothing(std::string& line);
///@}

template <class T>
void appendLoggedValue(std::string& line, const T& value) {
  if constexpr (Nullable<T>) {
    if (!static_cast<bool>(value)) return appendLoggedNothing(line);
  }
  if constexpr (LoggedText<T>) {
    appendLoggedText(line, value);
  } else if constexpr (LoggedInteger<T>) {
    line += std::to_string(value);
  } else if constexpr (std::same_as<T, Error>) {
    appendLoggedText(line, value.message);
  } else if constexpr (Described<T>) {
    line += value.description();
  } else if constexpr (Nullable<T>) {
    appendLoggedValue(line, *value);
  } else {
    appendLogged(line, value);
  }
}

}  // namespace detail

/// \copydoc LogFormat.h
template <class... Args>
class LogFormat {
 public:
  template <detail::LoggedText Text>
  consteval LogFormat(const Text& text) : text_(text) {
    if (!detail::formatFits<Args...>(text_)) detail::logFormatDoesNotFitItsArguments();
  }

  [[nodiscard]] constexpr std::string_view text() const noexcept { return text_; }

 private:
  std::string_view text_;
};

/// LogArgument refers to an argument, which must outlive it.
class LogArgument {
 public:
  LogArgument() noexcept = default;
  template <class T>
  explicit LogArgument(const T& value) noexcept
      : value_(&value), append_([](std::string& line, const void* argument) {
          detail::appendLoggedValue(line, *static_cast<const T*>(argument));
        }) {}

  /// Appends the argument as its placeholder shows it.
  void appendTo(std::string& line) const { append_(line, value_); }

 private:
  const void* value_ = nullptr;
  void (*append_)(std::string& line, const void* argument) = nullptr;
};

}  // namespace accountsettings
