// Tests of the bundle's resources and string tables.
#include "host/BundleResources.h"

#include <stdlib.h>

#include <cerrno>

#include "host/HostTest.h"
#include "host/Language.h"
#include "plist/Reader.h"
#include "plist/XmlWriter.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;

TEST(Language, ALocaleGivesItsLanguagesMostSpecialFirst) {
  EXPECT_THAT(languagesFor("de_AT.UTF-8@euro"), ElementsAre("de-AT", "de", "en"));
  EXPECT_THAT(languagesFor("pt-BR"), ElementsAre("pt-BR", "pt", "en"));
  EXPECT_THAT(languagesFor("en_GB"), ElementsAre("en-GB", "en"));
}

TEST(Language, ChineseLocalesKnowTheirScript) {
  EXPECT_THAT(languagesFor("zh_CN.UTF-8"), ElementsAre("zh-Hans-CN", "zh-Hans", "zh", "en"));
  EXPECT_THAT(languagesFor("zh_TW"), ElementsAre("zh-Hant-TW", "zh-Hant", "zh", "en"));
  EXPECT_THAT(languagesFor("zh_HK"), ElementsAre("zh-Hant-HK", "zh-Hant", "zh", "en"));
  EXPECT_THAT(languagesFor("zh"), ElementsAre("zh-Hans", "zh", "en"));
  EXPECT_THAT(languagesFor("zh-Hant"), ElementsAre("zh-Hant", "zh", "en"));
}

TEST(Language, WhatIsNoLanguageGivesEnglish) {
  for (const char* text : {"", "C", "C.UTF-8", "POSIX", "../../etc", "de/../..", "-", "de_", "_"}) {
    EXPECT_THAT(languagesFor(text), ElementsAre("en")) << text;
  }
}

TEST(Language, TheEnvironmentNamesTheLocale) {
  EXPECT_EQ(testing::inChild([] {
              for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) ::unsetenv(name);
              if (!localeOfMessages().empty()) return 1;
              ::setenv("LANG", "de_DE", 1);
              if (localeOfMessages() != "de_DE") return 2;
              ::setenv("LC_MESSAGES", "fr_FR", 1);
              if (localeOfMessages() != "fr_FR") return 3;
              ::setenv("LC_ALL", "", 1);
              if (localeOfMessages() != "fr_FR") return 4;
              ::setenv("LC_ALL", "ja_JP", 1);
              return localeOfMessages() == "ja_JP" ? 0 : 5;
            }),
            0);
}

class BundleResourcesTest : public ::testing::Test {
 protected:
  void write(const std::string& name, const PropertyList& value) {
    testing::DeviceRoot::writeFile(directory.path() / name, testing::textOf(*writeXml(value)));
  }

  testing::TemporaryDirectory directory;
  testing::KeptLog log;
  BundleResources resources{
      directory.path(), {"de-AT", "de", "en"}, directory.path() / "beside", log};
};

TEST_F(BundleResourcesTest, FindsAndReadsAPropertyList) {
  EXPECT_EQ(resources.pathOf("Types"), std::nullopt);
  write("Types.plist", Dictionary{{"a", 1}});
  const std::optional<std::string> path = resources.pathOf("Types");
  ASSERT_EQ(path, directory.path() / "Types.plist");
  EXPECT_EQ(resources.read(*path).value(), *writeXml(Dictionary{{"a", 1}}));
  EXPECT_EQ(resources.read(*path + "x").error().code, ENOENT);
}

TEST_F(BundleResourcesTest, ANameIsNoPath) {
  write("../Other.plist", Dictionary{});
  EXPECT_EQ(resources.pathOf("../Other"), std::nullopt);
  EXPECT_EQ(resources.pathOf(""), std::nullopt);
  EXPECT_EQ(resources.localizedString("key", "default", "../en/Table"), "default");
  std::filesystem::remove(directory.path() / "../Other.plist");
}

TEST_F(BundleResourcesTest, DropInsAddTheirEntriesInTheOrderOfTheirNames) {
  write("Creators.plist", Dictionary{{"Mail", Array{"packaged"}}, {"Notes", Array{"packaged"}}});
  write("beside/Creators.d/20-b.plist", Dictionary{{"Mail", Array{"b"}}, {"New", Array{"b"}}});
  write("beside/Creators.d/10-a.plist", Dictionary{{"Mail", Array{"a1", "a2"}}});
  write("beside/Creators.d/unused.txt", Dictionary{{"Mail", Array{"unused"}}});
  write("beside/Others.d/c.plist", Dictionary{{"Mail", Array{"unused"}}});
  const Result<Bytes> bytes = resources.read(*resources.pathOf("Creators"));
  ASSERT_TRUE(bytes.ok());
  EXPECT_EQ(*readPropertyList(*bytes),
            PropertyList(Dictionary{{"Mail", Array{"packaged", "a1", "a2", "b"}},
                                    {"Notes", Array{"packaged"}},
                                    {"New", Array{"b"}}}));
  EXPECT_THAT(log.lines, ::testing::IsEmpty());
}

TEST_F(BundleResourcesTest, ADropInThatIsWrongIsLoggedAndTheOthersCount) {
  write("Creators.plist", Dictionary{{"Mail", Array{"packaged"}}, {"Table", Dictionary()}});
  const std::string folder = directory.path() / "beside/Creators.d";
  testing::DeviceRoot::writeFile(folder + "/1.plist", "nonsense");
  write("beside/Creators.d/2.plist", Array{1});
  write("beside/Creators.d/3.plist",
        Dictionary{{"Mail", "text"}, {"Table", Array{1}}, {"New", Array{1}}});
  std::filesystem::create_directories(folder + "/4.plist");
  testing::DeviceRoot::writeFile(folder + "/5.plist", "");
  std::filesystem::resize_file(folder + "/5.plist", (std::uintmax_t{16} << 20) + 1);
  write("beside/Creators.d/6.plist", Dictionary{{"Mail", Array{"good"}}});
  const Result<Bytes> bytes = resources.read(*resources.pathOf("Creators"));
  ASSERT_TRUE(bytes.ok());
  EXPECT_EQ(*readPropertyList(*bytes),
            PropertyList(Dictionary{
                {"Mail", Array{"packaged", "good"}}, {"Table", Dictionary()}, {"New", Array{1}}}));
  ASSERT_EQ(log.lines.size(), 6U);
  EXPECT_TRUE(log.lines[0].starts_with(folder + "/1.plist: "));
  EXPECT_EQ(log.lines[1], folder + "/2.plist: a dictionary of lists was expected");
  EXPECT_EQ(log.lines[2],
            folder + "/3.plist: the value of \"Mail\" is no list that adds to a list");
  EXPECT_EQ(log.lines[3],
            folder + "/3.plist: the value of \"Table\" is no list that adds to a list");
  EXPECT_EQ(log.lines[4], folder + "/4.plist: Is a directory");
  EXPECT_EQ(log.lines[5], folder + "/5.plist: larger than 16777216 bytes");
}

TEST_F(BundleResourcesTest, AResourceThatIsMissingOrDamagedIsNotMadeOfDropIns) {
  write("beside/Creators.d/1.plist", Dictionary{{"Mail", Array{1}}});
  EXPECT_EQ(resources.read(directory.path() / "Creators.plist").error().code, ENOENT);
  testing::DeviceRoot::writeFile(directory.path() / "Creators.plist", "nonsense");
  EXPECT_EQ(resources.read(*resources.pathOf("Creators")).value(), testing::bytesOf("nonsense"));
}

TEST_F(BundleResourcesTest, TheFirstLanguageWithTheKeyCounts) {
  write("en/Table.plist", Dictionary{{"one", "One"}, {"two", "Two"}, {"three", "Three"}});
  write("de/Table.plist", Dictionary{{"one", "Eins"}, {"two", "Zwei"}, {"four", 4}});
  write("de-AT/Table.plist", Dictionary{{"one", "Oans"}});
  EXPECT_EQ(resources.localizedString("one", "", "Table"), "Oans");
  EXPECT_EQ(resources.localizedString("two", "", "Table"), "Zwei");
  EXPECT_EQ(resources.localizedString("three", "", "Table"), "Three");
  EXPECT_EQ(resources.localizedString("four", "", "Table"), "four");
}

TEST_F(BundleResourcesTest, AMissingTextIsTheDefaultElseTheKey) {
  EXPECT_EQ(resources.localizedString("key", "default", "Table"), "default");
  EXPECT_EQ(resources.localizedString("key", "", "Table"), "key");
}

TEST_F(BundleResourcesTest, ABrokenTableIsAnEmptyOne) {
  testing::DeviceRoot::writeFile(directory.path() / "de/Table.plist", "nonsense");
  write("en/Table.plist", Dictionary{{"one", "One"}});
  EXPECT_EQ(resources.localizedString("one", "", "Table"), "One");
}

}  // namespace
}  // namespace accountsettings
