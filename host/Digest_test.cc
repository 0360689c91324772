// Sums that other programs computed too, by both ways and at every length around a block's end.
#include "host/Digest.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace accountsettings {
namespace {

std::vector<std::uint8_t> bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

TEST(Digest, TheSumsOfTheStandardsExamples) {
  EXPECT_EQ(*sha256(bytesOf("")),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(*sha256(bytesOf("abc")),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(*sha256(bytesOf("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(*sha256(std::vector<std::uint8_t>(1000000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Digest, LengthsAroundTheEndOfABlock) {
  struct {
    std::size_t size;
    std::string_view sum;
  } const cases[] = {
      {0, "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {1, "4bf5122f344554c53bde2ebb8cd2b7e3d1600ad631c385a5d7cce23c7785459a"},
      {55, "81afe5b788dc2ce138ff83d9b20164db75a94d75d2b2432eea4a0ef605088c72"},
      {56, "2aba54f0ac632420a2b502431408866e40e1d5e430df4cd822642c78ab2eb9c1"},
      {63, "733d3d4ee79ee67145bf73da13588f6f235d37414fc64b14a2f00f1762792f5e"},
      {64, "79322907b3e9d013d7dc2c2f256674dbf733045cde01df3539271c6f5605feb8"},
      {65, "d85c007c6eb440f085afa2b84f6f2bce4658b240e9f62cb1364bf0485a57e720"},
      {119, "6c87eedf096b345de205b702e5223b73b447a3207791ded3ea007ba15ed6736e"},
      {120, "42500cf6a1e3936d6b9e0bcfe296d654b63255e525487d3634d0b15fde591c4d"},
      {127, "68f6ff710276900c0ffbbc57426f67e00c2e01f0750c7edc25ac06b8ce7a8095"},
      {128, "489d55fea9a73af36b6dd0be7b4117d8e5683386d39544e8a44c99a87f368707"},
      {1000, "6b0df76627243d095b0c4400cb658b7e804dd03461cc03aee8fc8fe0bcada168"},
  };
  for (const auto& [size, sum] : cases) {
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + size);
    EXPECT_EQ(*sha256(bytes), sum) << size;
  }
}

TEST(Digest, EveryProcessorComputesTheSame) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < 600; ++i) {
    EXPECT_EQ(detail::portableSha256(bytes), *sha256(bytes)) << i;
    bytes.push_back(static_cast<std::uint8_t>(i * i + 3 * i));
  }
}

}  // namespace
}  // namespace accountsettings
