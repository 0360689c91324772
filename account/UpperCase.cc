// UpperCase.cc knows by ranges which letters have an upper case, and where it lies.
#include "account/UpperCase.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "plist/Text.h"

namespace accountsettings {

namespace {

// Lower-case letters from `first` to `last`, each `step` from the next; the upper-case letter lies
// `distance` before.
struct LowerCase {
  std::uint32_t first;
  std::uint32_t last;
  std::uint32_t step;
  std::uint32_t distance;
};

// In ascending order.
constexpr LowerCase kLowerCase[] = {
    {0x61, 0x7A, 1, 32},    {0xE0, 0xF6, 1, 32},    {0xF8, 0xFE, 1, 32},    {0x101, 0x12F, 2, 1},
    {0x131, 0x131, 1, 232}, {0x133, 0x137, 2, 1},   {0x13A, 0x148, 2, 1},   {0x14B, 0x177, 2, 1},
    {0x17A, 0x17E, 2, 1},   {0x17F, 0x17F, 1, 300}, {0x3AC, 0x3AC, 1, 38},  {0x3AD, 0x3AF, 1, 37},
    {0x3B1, 0x3C1, 1, 32},  {0x3C2, 0x3C2, 1, 31},  {0x3C3, 0x3CB, 1, 32},  {0x3CC, 0x3CC, 1, 64},
    {0x3CD, 0x3CE, 1, 63},  {0x430, 0x44F, 1, 32},  {0x450, 0x45F, 1, 80},  {0x461, 0x481, 2, 1},
    {0x48B, 0x4BF, 2, 1},   {0x4C2, 0x4CE, 2, 1},   {0x4CF, 0x4CF, 1, 15},  {0x4D1, 0x52F, 2, 1},
    {0x561, 0x586, 1, 48},  {0x1E01, 0x1E95, 2, 1}, {0x1EA1, 0x1EFF, 2, 1},
};

std::uint32_t upperCased(std::uint32_t letter) {
  const LowerCase* range = std::ranges::lower_bound(kLowerCase, letter, {}, &LowerCase::last);
  const bool isLowerCase = range != std::end(kLowerCase) && letter >= range->first &&
                           (letter - range->first) % range->step == 0;
  return isLowerCase ? letter - range->distance : letter;
}

}  // namespace

std::string upperCased(std::string_view text) {
  constexpr std::uint32_t kSharpS = 0xDF;
  constexpr std::uint32_t kYWithDiaeresis = 0xFF;
  constexpr std::uint32_t kMicro = 0xB5;
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const detail::CodePoint letter = detail::firstCodePoint(text);
    const std::size_t length = std::max<std::size_t>(letter.length, 1);
    if (letter.length == 0) {
      result += text.front();
    } else if (letter.value == kSharpS) {
      result += "SS";
    } else if (letter.value == kYWithDiaeresis) {
      detail::appendUtf8(result, 0x178);
    } else if (letter.value == kMicro) {
      detail::appendUtf8(result, 0x39C);
    } else {
      detail::appendUtf8(result, upperCased(letter.value));
    }
    text.remove_prefix(length);
  }
  return result;
}

}  // namespace accountsettings
