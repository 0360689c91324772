#include "tool/frame/Digest.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <new>

namespace accountsettings {

std::string sha256(std::span<const std::uint8_t> bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> sum{};
  unsigned length = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), sum.data(), &length, EVP_sha256(), nullptr) != 1) {
    throw std::bad_alloc();  // the only way in which it can fail
  }
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (unsigned i = 0; i < length; ++i) {
    text += kDigits[sum[i] >> 4U];
    text += kDigits[sum[i] & 0xFU];
  }
  return text;
}

std::string base64(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t there = std::min<std::size_t>(bytes.size() - i, 3);
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 3; ++j) {
      group = (group << 8U) | (j < there ? bytes[i + j] : 0U);
    }
    for (std::size_t j = 0; j < 4; ++j) {
      text += j <= there ? kDigits[(group >> (18 - 6 * j)) & 0x3FU] : '=';
    }
  }
  return text;
}

namespace {

// The value of a digit, or 64 where it is none.
std::uint32_t valueOf(char digit) {
  if (digit >= 'A' && digit <= 'Z') return static_cast<std::uint32_t>(digit - 'A');
  if (digit >= 'a' && digit <= 'z') return static_cast<std::uint32_t>(digit - 'a' + 26);
  if (digit >= '0' && digit <= '9') return static_cast<std::uint32_t>(digit - '0' + 52);
  if (digit == '+') return 62;
  return digit == '/' ? 63 : 64;
}

}  // namespace

std::optional<Bytes> bytesFromBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  Bytes bytes;
  bytes.reserve(text.size() / 4 * 3);
  for (std::size_t i = 0; i < text.size(); i += 4) {
    const bool last = i + 4 == text.size();
    const std::size_t padding = !last || text[i + 3] != '=' ? 0 : text[i + 2] == '=' ? 2 : 1;
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 4; ++j) {
      const std::uint32_t digit = j >= 4 - padding ? 0 : valueOf(text[i + j]);
      if (digit > 63) return std::nullopt;
      group = (group << 6U) | digit;
    }
    for (std::size_t j = 0; j < 3 - padding; ++j) {
      bytes.push_back(static_cast<std::uint8_t>(group >> (16 - 8 * j)));
    }
  }
  return bytes;
}

}  // namespace accountsettings
