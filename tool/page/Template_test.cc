// Tests of templates: what their places are filled with, and that no value can be more than text.
#include "tool/page/Template.h"

#include <gtest/gtest.h>

#include "platform/AssertionFailure.h"

namespace accountsettings {
namespace {

std::string filled(std::string_view text, const Dictionary& data, const TemplateParts& parts = {}) {
  return filledTemplate(text, parts, data);
}

TEST(Template, PutsTextsAndIntegersInTheirPlaces) {
  EXPECT_EQ(filled("<b>{{name}}</b> {{count}}", {{"name", "Anna"}, {"count", -3}}),
            "<b>Anna</b> -3");
}

TEST(Template, EscapesWhateverMarkupIsMadeOf) {
  EXPECT_EQ(filled("<a title=\"{{x}}\">", {{"x", "<b>&\"'</b>"}}),
            "<a title=\"&lt;b&gt;&amp;&quot;&#39;&lt;/b&gt;\">");
}

TEST(Template, MakesVisibleWhatABrowserWouldObey) {
  EXPECT_EQ(filled("{{x}}", {{"x",
                              "a\xe2\x80\xae"
                              "b\n\x1b\xff"}}),
            "a\\u202eb\\n\\x1b\\xff");
}

TEST(Template, AValueIsNoTemplate) {
  EXPECT_EQ(filled("{{x}}", {{"x", "{{y}}{{>z}}"}, {"y", "1"}}), "{{y}}{{&gt;z}}");
}

TEST(Template, RepeatsASectionForEachDictionary) {
  const Array list{Dictionary{{"n", 1}}, Dictionary{{"n", 2}}};
  EXPECT_EQ(filled("{{#list}}<{{n}}{{/list}}{{^list}}none{{/list}}", {{"list", list}}), "<1<2");
  EXPECT_EQ(filled("{{#list}}x{{/list}}{{^list}}none{{/list}}", {{"list", Array()}}), "none");
}

TEST(Template, ASectionStandsOnceWhereSomethingIsThere) {
  const std::string_view text = "{{#x}}yes{{/x}}{{^x}}no{{/x}}";
  EXPECT_EQ(filled(text, {{"x", true}}), "yes");
  EXPECT_EQ(filled(text, {{"x", "a"}}), "yes");
  EXPECT_EQ(filled(text, {{"x", Dictionary()}}), "yes");
  EXPECT_EQ(filled(text, {{"x", false}}), "no");
  EXPECT_EQ(filled(text, {{"x", ""}}), "no");
  EXPECT_EQ(filled(text, {}), "no");
}

TEST(Template, LooksForANameInTheInnermostDictionaryFirst) {
  const Dictionary data{{"name", "outer"}, {"only", "o"}, {"in", Dictionary{{"name", "inner"}}}};
  EXPECT_EQ(filled("{{#in}}{{name}} {{only}} {{/in}}{{name}}", data), "inner o outer");
}

TEST(Template, FillsPartsInTheirTurn) {
  const Array list{Dictionary{{"n", 1}}, Dictionary{{"n", 2}}};
  EXPECT_EQ(filled("{{#list}}{{>one}}{{/list}}", {{"list", list}}, {{"one", "<{{n}}>"}}), "<1><2>");
}

TEST(Template, RefusesWhatIsMalformed) {
  const Dictionary data{{"x", Array{1}}, {"real", 1.5}};
  for (const std::string_view text : {"{{missing}}", "{{x}}", "{{real}}", "{{#x}}{{/x}}", "{{#a}}",
                                      "{{/a}}", "{{#a}}{{/b}}", "{{open", "{{}}", "{{>nothing}}"}) {
    EXPECT_THROW(static_cast<void>(filled(text, data)), AssertionFailure) << text;
  }
}

TEST(Template, NamesWhatNothingOpens) {
  try {
    (void)filled("a{{/list}}b", {});
    FAIL() << "it was filled";
  } catch (const AssertionFailure& failure) {
    EXPECT_EQ(failure.message(), "nothing opens \"a{{/list}}b\" in the template of a page");
  }
}

}  // namespace
}  // namespace accountsettings
