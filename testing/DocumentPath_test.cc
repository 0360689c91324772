// Tests of reaching into a document.
#include "testing/DocumentPath.h"

#include <gtest/gtest.h>

namespace accountsettings {
namespace {

using testing::at;

const Dictionary& document() {
  static const Dictionary document{
      {"accounts", Array{"none", Dictionary{{"steps", Array{1, 2}}, {"name", "Ann"}}}}};
  return document;
}

TEST(DocumentPathTest, LeadsToTheValueItself) {
  EXPECT_EQ(at(document(), "accounts", 1, "name"), PropertyList("Ann"));
  EXPECT_EQ(at(document(), "accounts", 1, "steps", 0), PropertyList(1));
  EXPECT_EQ(&at(document(), "accounts"), document().find("accounts"));
  EXPECT_EQ(at(*document().array("accounts"), 0), PropertyList("none"));
  EXPECT_EQ(at(PropertyList(document()), "accounts", 0), PropertyList("none"));
}

TEST(DocumentPathTest, SaysWhichStepLeadsNowhere) {
  const auto failureAt = [](const auto&... steps) -> std::string {
    try {
      at(document(), steps...);
    } catch (const std::out_of_range& failure) {
      return failure.what();
    }
    return "";
  };
  EXPECT_EQ(failureAt("acounts", 1), "the document has nothing at \"acounts\"");
  EXPECT_EQ(failureAt("accounts", 2), "the document has nothing at 2");
  EXPECT_EQ(failureAt("accounts", "name"), "the document has nothing at \"name\"");
  EXPECT_EQ(failureAt("accounts", 1, "name", 0), "the document has nothing at 0");
}

}  // namespace
}  // namespace accountsettings
