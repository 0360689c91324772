// Tests of the sums by which files are known again.
#include "tool/values/Digest.h"

#include <gtest/gtest.h>

#include <array>

namespace accountsettings {
namespace {

TEST(Digest, IsTheSha256OfTheBytes) {
  EXPECT_EQ(sha256({}), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  const std::array<std::uint8_t, 3> abc = {'a', 'b', 'c'};
  EXPECT_EQ(sha256(abc), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace accountsettings
