// SHA-256, by libcrypto.
#include "tool/values/Digest.h"

#include <openssl/evp.h>

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

}  // namespace accountsettings
