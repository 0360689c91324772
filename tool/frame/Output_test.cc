// Tests of what the program makes of texts before it shows them.
#include "tool/frame/Output.h"

#include <gtest/gtest.h>

namespace accountsettings {
namespace {

TEST(Printable, KeepsWhatCanBeShown) {
  EXPECT_EQ(printable("Grüße ☃ 日本 𝄞 <&>"), "Grüße ☃ 日本 𝄞 <&>");
  EXPECT_EQ(printable(""), "");
}

TEST(Printable, ReplacesControlCharactersOfBothKinds) {
  EXPECT_EQ(printable("a\033[31m\a\r\tb\x7F"), "a?[31m???b?");
  EXPECT_EQ(printable("\xC2\x80\xC2\x9B\xC2\x9F\xC2\xA0"), "???\xC2\xA0");
  EXPECT_EQ(printable("a\nb"), "a↵b");
}

TEST(Printable, ReplacesWhatTurnsTheWritingDirection) {
  EXPECT_EQ(printable("\u202Efdp.\u2066x\u2069\u200F\u2028"), "?fdp.?x???");
}

TEST(Printable, ReplacesWhatIsNoUnicode) {
  EXPECT_EQ(printable("a\xED\xA0\x80"
                      "b"),
            "a?b");
  EXPECT_EQ(printable("a\x9B"
                      "31m\xFF\xC3"),
            "a?31m??");
}

TEST(CutTo, CountsCharacters) {
  EXPECT_EQ(cutTo("äöü", 3), "äöü");
  EXPECT_EQ(cutTo("äöüx", 3), "äö…");
}

}  // namespace
}  // namespace accountsettings
