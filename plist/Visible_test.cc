// Tests of what is shown of texts that would drive a terminal or feign another text.
#include "plist/Visible.h"

#include <gtest/gtest.h>

namespace accountsettings {
namespace {

TEST(Visible, LeavesTextsOfAllLanguagesAlone) {
  EXPECT_EQ(visible("Grüße ☃ 日本 𝄞 <&>"), "Grüße ☃ 日本 𝄞 <&>");
  EXPECT_EQ(visible("a\\b"), "a\\b");
  EXPECT_EQ(visible("\xC2\xA0"), "\xC2\xA0");
  EXPECT_EQ(visible(""), "");
}

TEST(Visible, EscapesControlCharacters) {
  EXPECT_EQ(visible("a\nb\r\tc"), "a\\nb\\r\\tc");
  EXPECT_EQ(visible("\033[31m\a\x7F"), "\\x1b[31m\\x07\\x7f");
  EXPECT_EQ(visible(std::string_view("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(visible("\xC2\x80\xC2\x9B\xC2\x9F"), "\\x80\\x9b\\x9f");
}

TEST(Visible, EscapesTurnsOfTheWritingDirectionAndLineSeparators) {
  EXPECT_EQ(visible("\u202Efdp.\u2066x\u2069\u200F\u061C"),
            "\\u202efdp.\\u2066x\\u2069\\u200f\\u061c");
  EXPECT_EQ(visible("\u2028\u2029"), "\\u2028\\u2029");
}

TEST(Visible, EscapesWhatIsNoUnicode) {
  EXPECT_EQ(visible("a\x9B"
                    "31m\xC2"),
            "a\\x9b31m\\xc2");
  EXPECT_EQ(visible("\xED\xA0\x80"), "\\ud800");
}

}  // namespace
}  // namespace accountsettings
