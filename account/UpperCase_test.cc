// Tests of upper case.
#include "account/UpperCase.h"

#include <gtest/gtest.h>

namespace accountsettings {
namespace {

TEST(UpperCase, KnowsTheScriptsThatHaveCases) {
  EXPECT_EQ(upperCased("Zumi Slate-2 [az]"), "ZUMI SLATE-2 [AZ]");
  EXPECT_EQ(upperCased("gerät àöøþ÷"), "GERÄT ÀÖØÞ÷");
  EXPECT_EQ(upperCased("straße ÿ µ"), "STRASSE Ÿ Μ");
  EXPECT_EQ(upperCased("āķ ıĳ ĺň ŋŷ źž ſ"), "ĀĶ IĲ ĹŇ ŊŶ ŹŽ S");
  EXPECT_EQ(upperCased("ά έή αρς σω όύώ"), "Ά ΈΉ ΑΡΣ ΣΩ ΌΎΏ");
  EXPECT_EQ(upperCased("устройство ёђ ѡ ґ ӂ ӏ ӑ"), "УСТРОЙСТВО ЁЂ Ѡ Ґ Ӂ Ӏ Ӑ");
  EXPECT_EQ(upperCased("սարք ḁ ạ"), "ՍԱՐՔ Ḁ Ạ");
}

TEST(UpperCase, LeavesWhatIsUpperCaseOrHasNoneAsItIs) {
  for (const char* text :
       {"", "ZUMI", "ÄÖÜ Σ Ж", "装置 デバイス", "ĸ × ÷", "\xFF\xC3", "a\xE2\x82"}) {
    const std::string upper = upperCased(text);
    EXPECT_EQ(upperCased(upper), upper);
  }
  EXPECT_EQ(upperCased("装置 デバイス ĸ"), "装置 デバイス ĸ");
  EXPECT_EQ(upperCased("a\xFFz\xC3"), "A\xFFZ\xC3");
}

}  // namespace
}  // namespace accountsettings
