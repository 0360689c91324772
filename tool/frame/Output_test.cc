// Tests of what the program makes of texts before it shows them.
#include "tool/frame/Output.h"

#include <gtest/gtest.h>

namespace accountsettings {
namespace {

TEST(ShownText, IsMadeVisibleWhateverItIsMadeOf) {
  const std::string hostile = "\033[31m\u202E";
  EXPECT_EQ(ShownText(hostile).string(), "\\x1b[31m\\u202e");
  EXPECT_EQ((hostile + ShownText("a") + "\n").string(), "\\x1b[31m\\u202ea\\n");
  EXPECT_EQ(Output(CommonOptions{}).paint(Colour::Red, "\a").string(), "\\x07");
}

TEST(CutTo, CountsCharacters) {
  EXPECT_EQ(cutTo("äöü", 3), "äöü");
  EXPECT_EQ(cutTo("äöüx", 3), "äö…");
  EXPECT_EQ(cutTo("\a\a", 4), "\\x0…");
}

}  // namespace
}  // namespace accountsettings
