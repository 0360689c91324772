// Tests of the choice between the forms.
#include "plist/Reader.h"

#include <gtest/gtest.h>

#include <string_view>

#include "plist/BinaryFile.h"

namespace accountsettings {
namespace {

Bytes bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

TEST(ReaderTest, TheFirstBytesTellTheForm) {
  EXPECT_EQ(formOf(bytesOf("bplist00")), PropertyListForm::Binary);
  EXPECT_EQ(formOf(bytesOf("<plist>")), PropertyListForm::Xml);
  EXPECT_EQ(formOf(bytesOf(" \n\t<plist>")), PropertyListForm::Xml);
  EXPECT_EQ(formOf(bytesOf("\xEF\xBB\xBF<plist>")), PropertyListForm::Xml);
  EXPECT_EQ(formOf(bytesOf({"\xFF\xFE<\0", 4})), PropertyListForm::Xml);
  EXPECT_EQ(formOf(bytesOf({"\xFE\xFF\0<", 4})), PropertyListForm::Xml);
  EXPECT_EQ(formOf(bytesOf("{ a = b; }")), std::nullopt);
  EXPECT_EQ(formOf(bytesOf("plain")), std::nullopt);
  EXPECT_EQ(formOf({}), std::nullopt);
}

TEST(ReaderTest, EitherFormIsRead) {
  EXPECT_TRUE(readPropertyList(BinaryFile().add({0x09}).bytes()).value() == PropertyList(true));
  EXPECT_TRUE(readPropertyList(bytesOf("<plist><true/></plist>")).value() == PropertyList(true));
}

TEST(ReaderTest, WhatIsNeitherFormIsSaidSo) {
  EXPECT_EQ(readPropertyList({}).error().message, "byte 0: the file is empty");
  EXPECT_EQ(readPropertyList(bytesOf("{ a = b; }")).error().message,
            "byte 0: neither a binary nor an XML property list");
}

}  // namespace
}  // namespace accountsettings
