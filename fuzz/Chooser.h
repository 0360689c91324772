// Chooser turns a fuzzer's bytes into choices: numbers, words that the system knows, property
// lists, accounts. The same bytes give the same choices; where they end, all further choices are
// the first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "plist/PropertyList.h"

namespace accountsettings::fuzz {

class Chooser {
 public:
  explicit Chooser(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  [[nodiscard]] bool isAtEnd() const noexcept { return bytes_.empty(); }
  // From 0 to `count` - 1; at most 256.
  std::size_t below(std::size_t count);
  bool flag() { return below(2) == 1; }
  // What is unusual: true for one byte of `count`.
  bool rarely(std::size_t count = 8) { return below(count) == count - 1; }
  template <class List>
  const auto& oneOf(const List& list) {
    return list[below(std::size(list))];
  }

  // A key, type, class or data class of the system, or any short 7-bit text.
  std::string word();
  // One of few, so that they repeat.
  std::string identifier();
  // Any property list, at most `depth` levels deep.
  PropertyList value(int depth = 3);
  // A dictionary that is mostly what an account has; its children are `depth` levels deep.
  PropertyList account(int depth = 1);
  Array accounts(int depth = 1);
  // What an old release wrote about a mail account, and about an Exchange account.
  PropertyList mailDescription();
  PropertyList exchangeDescription();

 private:
  void addAnything(Dictionary& to);

  std::span<const std::uint8_t> bytes_;
};

}  // namespace accountsettings::fuzz
