// XmlText brings the bytes of an XML document into the one form that the reader
// understands: UTF-8 with LF line ends and no character that XML forbids.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "plist/Result.h"

namespace accountsettings::detail {

class XmlText {
 public:
  // The bytes must outlive the text, which refers to them where they need no change.
  static Result<XmlText> decode(std::span<const std::uint8_t> bytes);

  [[nodiscard]] std::string_view text() const noexcept {
    return isOwn_ ? std::string_view(own_) : given_;
  }

 private:
  std::string own_;
  std::string_view given_;
  bool isOwn_ = false;
};

// Whether XML allows this character in a document.
[[nodiscard]] bool isXmlCharacter(std::uint32_t codePoint) noexcept;

// An error at a place of a text with LF line ends: "line 3: " and what.
[[nodiscard]] Error xmlError(std::string_view text, std::size_t at, std::string_view what);

}  // namespace accountsettings::detail
