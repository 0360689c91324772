// Tests of the page about many devices, and of how results files are put together for it.
#include "tool/page/FleetPage.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>

#include "testing/TemporaryDirectory.h"

namespace accountsettings {
namespace {

using namespace std::chrono_literals;

DeviceResult resultOf(const std::string& root, DeviceOutcome outcome = DeviceOutcome::Done) {
  DeviceResult result;
  result.command = "migrate";
  result.root = root;
  result.outcome = outcome;
  result.versionBefore = 7;
  result.versionAfter = 12;
  result.took = 1500us;
  return result;
}

DeviceResult pageOf(const std::string& root, const std::string& page) {
  DeviceResult result = resultOf(root);
  result.command = "report";
  result.page = page;
  return result;
}

std::string pageOf(const std::vector<FleetDevice>& devices, bool isLimited = true) {
  return fleetPage(
      devices,
      {.madeAt = "2026-11-22T04:30:55.123456Z", .file = "/out/fleet.html", .isLimited = isLimited});
}

std::size_t countOf(const std::string& text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++count;
  return count;
}

class FleetStory : public ::testing::Test {
 protected:
  std::string put(const std::string& name, const std::vector<DeviceResult>& results,
                  const std::string& after = "") {
    const std::string file = directory_.path() / name;
    std::ofstream stream(file);
    for (const DeviceResult& each : results) stream << lineOf(each) << "\n";
    stream << after;
    return file;
  }

  testing::TemporaryDirectory directory_;
};

TEST_F(FleetStory, TheLastResultOfADeviceCountsOverAllFiles) {
  const auto a = put("a", {resultOf("/1", DeviceOutcome::Refused), resultOf("/2")});
  const auto b = put("b", {resultOf("/3"), resultOf("/1")});
  const std::vector<FleetDevice> devices = devicesIn({a, b});
  ASSERT_EQ(devices.size(), 3U);
  EXPECT_EQ(devices[0].result.root, "/1");
  EXPECT_EQ(devices[0].result.outcome, DeviceOutcome::Done);
  EXPECT_EQ(devicesIn({b, a})[1].result.outcome, DeviceOutcome::Refused);
}

TEST_F(FleetStory, ALastLineThatWasCutOffIsPassedOver) {
  const std::string line = lineOf(resultOf("/2"));
  EXPECT_EQ(devicesIn({put("a", {resultOf("/1")}, line.substr(0, 40))}).size(), 1U);
  EXPECT_THROW(static_cast<void>(devicesIn({put("b", {}, "nonsense\n")})), Prevented);
  EXPECT_THROW(static_cast<void>(devicesIn({directory_.path() / "none"})), Prevented);
}

TEST_F(FleetStory, AReportTellsOfThePageAndNotOfTheOutcome) {
  const auto a = put("a", {resultOf("/1", DeviceOutcome::Refused)});
  const auto b = put("b", {pageOf("/1", "pages/1.html"), pageOf("/2", "")});
  for (const auto& files : {std::vector{a, b}, std::vector{b, a}}) {
    const std::vector<FleetDevice> devices = devicesIn(files);
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[0].result.outcome, DeviceOutcome::Refused);
    EXPECT_EQ(devices[0].page, directory_.path() / "pages/1.html");
    EXPECT_EQ(devices[1].page, "");
  }
}

TEST(FleetPage, HasARowForEachDeviceThoseThatNeedAPersonFirst) {
  const std::string html = pageOf({{resultOf("/1"), ""},
                                   {resultOf("/2", DeviceOutcome::Refused), ""},
                                   {resultOf("/3", DeviceOutcome::Broken), ""}});
  EXPECT_EQ(countOf(html, "<tr data-outcome="), 3U);
  const std::size_t first = html.find("data-outcome=\"broken\"");
  const std::size_t second = html.find("data-outcome=\"refused\"");
  EXPECT_LT(first, second);
  EXPECT_LT(second, html.find("data-outcome=\"done\""));
  EXPECT_NE(html.find("2 devices need a person"), std::string::npos);
  EXPECT_NE(html.find("7 → 12"), std::string::npos);
}

TEST(FleetPage, CountsTimesAndVersionsAndFindings) {
  DeviceResult slow = resultOf("/1");
  slow.took = 5ms;
  slow.versionBefore.reset();
  slow.findings = {"unreadable", "lock-held"};
  DeviceResult other = resultOf("/2");
  other.findings = {"lock-held"};
  const std::string html = pageOf({{slow, ""}, {other, ""}});
  for (const char* each :
       {"below 2 ms</th><td class=\"number\">1<", "below 4 ms</th><td class=\"number\">0<",
        "below 8 ms</th><td class=\"number\">1<", "none</th><td class=\"number\">1<",
        "7</th><td class=\"number\">1<", "lock-held</th><td class=\"number\">2<",
        "<option value=\"lock-held\">lock-held (2)", "data-findings=\"unreadable lock-held\""}) {
    EXPECT_NE(html.find(each), std::string::npos) << each;
  }
}

TEST(FleetPage, LinksToThePagesOfTheDevicesAndNowhereElse) {
  const auto linkTo = [](const std::string& page) {
    const std::string html = pageOf({{resultOf("/1"), page}});
    const std::size_t begin = html.find("<a href=\"", html.find("<tbody>\n<tr data")) + 9;
    return html.substr(begin, html.find('"', begin) - begin);
  };
  EXPECT_EQ(linkTo("/out/pages/1.html"), "pages/1.html");
  EXPECT_EQ(linkTo("/srv/1.html"), "../srv/1.html");
  EXPECT_EQ(linkTo("/out/javascript:alert(1).html"), "javascript%3Aalert%281%29.html");
  EXPECT_EQ(linkTo("/out/\"><b>.html"), "%22%3E%3Cb%3E.html");
}

TEST(FleetPage, EscapesWhateverTheResultsHold) {
  const std::string hostile = "</script><script>\"'>{{x}}\xe2\x80\xae";
  DeviceResult result = resultOf("/" + hostile);
  result.findings = {hostile};
  result.backup = hostile;
  result.signal = hostile;
  result.error = Problem{FailureCode::Prevented, hostile, hostile, hostile};
  const std::string html = pageOf({{result, "/out/" + hostile}});
  EXPECT_EQ(countOf(html, "<script>"), 1U);
  EXPECT_EQ(countOf(html, "</script>"), 1U);
  EXPECT_EQ(html.find("\xe2\x80\xae"), std::string::npos);
  EXPECT_NE(html.find("&lt;/script&gt;&lt;script&gt;&quot;&#39;&gt;{{x}}\\u202e"),
            std::string::npos);
}

TEST(FleetPage, TellsWhatAllDevicesComeTo) {
  std::vector<FleetDevice> devices;
  for (int i = 1; i <= 101; ++i) {
    DeviceResult result = resultOf("/" + std::to_string(i));
    result.took = i * 1ms;
    result.accountsBefore = 3;
    result.bytes = 100;
    result.losses = DeviceResult::Losses{.accounts = i == 7 ? 2U : 0U};
    devices.push_back({result, ""});
  }
  const std::string html = pageOf(devices);
  for (const auto& [name, value] :
       std::map<std::string, std::string>{{"Devices", "101"},
                                          {"Accounts found", "303"},
                                          {"Accounts dropped", "2"},
                                          {"Bytes read", "10100"},
                                          {"Median time", "51.0 ms"},
                                          {"95 % took at most", "96.0 ms"},
                                          {"Longest", "101 ms"},
                                          {"All together", "5151 ms"}}) {
    EXPECT_NE(html.find("<dt>" + name + "</dt><dd>" + value + "</dd>"), std::string::npos) << name;
  }
  // The longest bar fills its picture.
  EXPECT_NE(html.find("viewBox=\"0 0 1000 10\""), std::string::npos);
  EXPECT_NE(html.find("H1000V"), std::string::npos);
}

TEST(FleetPage, LoadsNothing) {
  const std::string html = pageOf({{resultOf("/1"), ""}});
  for (const char* each : {"<link", "<img", "@import", "url(", "http:", "https:", "src=\""}) {
    EXPECT_EQ(html.find(each), std::string::npos) << each;
  }
  EXPECT_NE(html.find("default-src 'none'; style-src 'unsafe-inline'; script-src 'sha256-"),
            std::string::npos);
}

TEST(FleetPage, OfTooManyDevicesThoseThatNeedAPersonAreShown) {
  std::vector<FleetDevice> devices;
  for (int i = 0; i < 6000; ++i) devices.push_back({resultOf("/" + std::to_string(i)), ""});
  devices.push_back({resultOf("/odd", DeviceOutcome::Crashed), ""});
  const std::string limited = pageOf(devices);
  EXPECT_EQ(countOf(limited, "<tr data-outcome="), 5000U);
  EXPECT_EQ(countOf(limited, "data-outcome=\"crashed\""), 1U);
  // The script writes into the first of these lines, and the other stays.
  EXPECT_NE(limited.find("<p id=\"count\" role=\"status\">5000 devices.</p>\n"
                         "<p class=\"dim\">1001 more, which need nobody, are left out"),
            std::string::npos);
  EXPECT_EQ(countOf(pageOf(devices, false), "<tr data-outcome="), 6001U);
}

TEST(FleetPage, ThereMayBeNoDevices) {
  EXPECT_NE(pageOf({}).find("There are no results"), std::string::npos);
}

}  // namespace
}  // namespace accountsettings
