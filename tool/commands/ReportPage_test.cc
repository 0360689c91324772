// Tests of the pages that `report --html` writes: what they tell, what they do not tell, and that
// no text of a device becomes more than text.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>

#include "plist/Text.h"
#include "plist/Visible.h"
#include "testing/DocumentPath.h"
#include "testing/ToolRun.h"

namespace accountsettings::testing {
namespace {

namespace fs = std::filesystem;

std::size_t countOf(const std::string& text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++count;
  return count;
}

class ReportPage : public ::testing::Test {
 protected:
  ToolResult run(std::vector<std::string> more = {}) {
    std::vector<std::string> arguments = {"report", "--root", device_, "--html", file()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return runTool(std::move(arguments));
  }
  [[nodiscard]] std::string file() const { return directory.path() / "page.html"; }
  // The page that the command makes of the root.
  std::string page(std::vector<std::string> more = {}) {
    const ToolResult result = run(std::move(more));
    EXPECT_EQ(result.status, 0) << result.err;
    std::ifstream stream(file());
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  void migrate() {
    const ToolResult result = runTool({"migrate", "--root", root.path(), "--accept-loss"});
    ASSERT_EQ(result.status, 0) << result.err;
  }

  ToolRoot root;
  std::string device_ = root.path();  // that the pages are about
  TemporaryDirectory directory;
};

// An account of the oldest release, whose calendars the account of the same person takes over.
Dictionary calendarAccount() {
  return {{"Identifier", "calendar-1"},
          {"Type", "CalDAV"},
          {"Class", "MobileCalDAVAccount"},
          {"DisplayName", "Calendar of Anna"},
          {"Hostname", "www.google.com"},
          {"Username", "anna.berg@gmail.com"},
          {"Enabled Dataclasses", Array{"com.zelqo.Dataclass.Calendars"}}};
}

Dictionary hostedAccount() {
  return {{"Identifier", "hosted-1"},
          {"Type", "Quorra"},
          {"Class", "QuorraAccount"},
          {"DisplayName", "Hosted of Anna"},
          {"Username", "anna.berg"},
          {"Password", "s3cr3t-word"},
          {"Enabled Dataclasses", Array{"com.zelqo.Dataclass.Contacts"}}};
}

TEST_F(ReportPage, TellsWhatAMigrationWouldDoAndTouchesNothing) {
  root.putSettings(6, {hostedAccount(), mailAccount("plain")});
  const auto before = root.snapshot();
  const std::string html = page();
  EXPECT_EQ(root.snapshot(), before);
  EXPECT_NE(html.find("A migration is pending: version 6 to 12 in 6 steps"), std::string::npos);
  EXPECT_NE(html.find("Now: version 6"), std::string::npos);
  EXPECT_NE(html.find("After a migration: version 12"), std::string::npos);
  // One account goes under a new one, the other stays.
  EXPECT_EQ(countOf(html, "<path class=\"moved\""), 1U);
  EXPECT_EQ(countOf(html, "<path class=\"added\""), 1U);
  EXPECT_EQ(countOf(html, "<path class=\"kept\"") + countOf(html, "<path class=\"changed\""), 1U);
  EXPECT_NE(html.find("Would move under ZelqoAccount"), std::string::npos);
  EXPECT_NE(html.find("put hosted-service accounts under a cloud account"), std::string::npos);
  EXPECT_NE(html.find("There is no backup yet."), std::string::npos);
}

TEST_F(ReportPage, TellsFromTheNewestBackupWhatAMigrationDid) {
  root.putSettings(6, {hostedAccount(), mailAccount("plain")});
  migrate();
  const auto before = root.snapshot();
  const std::string html = page();
  EXPECT_EQ(root.snapshot(), before);
  EXPECT_EQ(html.find("other steps"), std::string::npos);
  EXPECT_NE(html.find("Migrated: version 6 to 12 in 6 steps"), std::string::npos);
  EXPECT_NE(html.find("Before: version 6"), std::string::npos);
  EXPECT_NE(html.find("Now: version 12"), std::string::npos);
  EXPECT_EQ(countOf(html, "<path class=\"moved\""), 1U);
  EXPECT_NE(html.find("Undo with: <code>accountsettings restore --root DIR 2"), std::string::npos);
  EXPECT_EQ(html.find("Since that migration"), std::string::npos);
  const std::regex sum("<code>[0-9a-f]{64}</code>");
  EXPECT_TRUE(std::regex_search(html, sum));
}

TEST_F(ReportPage, TellsWhatCameAndWentSinceTheMigration) {
  root.putSettings(6, {hostedAccount(), mailAccount("plain")});
  migrate();
  ASSERT_EQ(runTool({"remove", "plain", "--root", root.path()}).status, 0);
  ASSERT_EQ(runTool({"add", "Mail", "IMAPAccount", "--root", root.path()}).status, 0);
  const std::string html = page();
  EXPECT_NE(html.find("Since that migration 1 account was added and 1 removed."),
            std::string::npos);
  EXPECT_NE(html.find("gone since"), std::string::npos);
}

TEST_F(ReportPage, TellsOfTheMigrationAgainWhereItsUndoingIsUndone) {
  root.putSettings(6, {hostedAccount(), mailAccount("plain")});
  migrate();
  const std::string migrated = page();
  const auto restore = [&](std::vector<std::string> words) {
    words.insert(words.begin(), "restore");
    words.insert(words.end(), {"--root", root.path(), "--json"});
    const Dictionary document = documentIn(runTool(std::move(words)).out);
    return std::string(document.string("kept").value_or(""));
  };
  const std::string undo = restore({});
  const std::string of = "Before is what the backup ";
  ASSERT_NE(migrated.find(of), std::string::npos);
  EXPECT_EQ(page().find(of), std::string::npos) << "nothing is migrated there";
  ASSERT_NE(restore({undo}), "");
  const std::string line = migrated.substr(migrated.find(of), of.size() + 40);
  EXPECT_NE(page().find(line), std::string::npos) << "of the same backup";
  ASSERT_EQ(runTool({"set", "plain", "X", "1", "--root", root.path()}).status, 0);
  EXPECT_NE(page().find(line), std::string::npos) << "after an edit, too";
}

TEST_F(ReportPage, TellsTrulyOfAMigrationThatWasCutShort) {
  root.putSettings(6, {hostedAccount(), mailAccount("plain")});
  migrate();
  const std::string backups = root.at("/var/mobile/Library/Logs/AccountMigrationBackups");
  std::string manifest;
  for (const auto& each : std::filesystem::directory_iterator(backups)) {
    if (each.is_directory()) manifest = each.path().string() + "/manifest.plist";
  }
  manifest.erase(0, root.path().size());
  Dictionary cut = *root.get(manifest)->dictionary();
  cut.remove("Outcome");
  root.put(manifest, cut);
  ASSERT_EQ(runTool({"set", "plain", "X", "1", "--root", root.path()}).status, 0);
  migrate();
  EXPECT_EQ(page().find("answered no"), std::string::npos);
  EXPECT_NE(page().find("Before is what the backup "), std::string::npos);
  EXPECT_NE(runTool({"restore", "--list", "--root", root.path()})
                .out.find("was cut short once the settings were migrated, which were edited since"),
            std::string::npos);

  cut.set("Outcome", Dictionary{{"Ended Later", "put back"}});
  root.put(manifest, cut);
  EXPECT_EQ(page().find("Before is what the backup "), std::string::npos);
  EXPECT_NE(runTool({"restore", "--list", "--root", root.path()})
                .out.find("the migration was cut short, and nothing was left of it"),
            std::string::npos);
}

TEST_F(ReportPage, TellsWhatWasDroppedWithTheRule) {
  device_ = directory.path() / "device";
  ASSERT_EQ(runTool({"sample", device_, "--release", "oldest"}).status, 0);
  for (const bool migrated : {false, true}) {
    if (migrated) {
      ASSERT_EQ(runTool({"migrate", "--root", device_, "--accept-loss"}).status, 0);
    }
    const std::string html = page();
    EXPECT_NE(html.find(migrated ? "Accounts that were dropped" : "Accounts that would be dropped"),
              std::string::npos);
    EXPECT_NE(html.find("the mail account of the same person serves its calendars now"),
              std::string::npos);
    EXPECT_EQ(countOf(html, "<path class=\"dropped\""), 1U);
    EXPECT_NE(html.find("<details open><summary><b>CalDAV</b>"), std::string::npos);
  }
}

TEST_F(ReportPage, TellsOfEachDroppedKeyAloneHowOftenItIs) {
  root.putSettings(6, {hostedAccount(), calendarAccount()});
  Dictionary settings = root.settings();
  settings.set("Foreign", 1);
  root.put(testing::ToolRoot::kSettings, settings);
  const std::string html = page({"--reveal"});
  EXPECT_EQ(countOf(html, "data-label=\"Times\""), 1U);
  const std::size_t key = html.find("class=\"loss\"><code>Foreign</code></th>");
  ASSERT_NE(key, std::string::npos);
  const std::size_t times = html.find("data-label=\"Times\" class=\"number\">1</td>", key);
  EXPECT_LT(times, html.find("</tr>", key));
}

TEST_F(ReportPage, NothingPersonalIsToldUnlessAskedFor) {
  root.putSettings(6, {hostedAccount(), calendarAccount()});
  for (const bool migrated : {false, true}) {
    if (migrated) migrate();
    const std::string html = page();
    for (const char* each : {"anna", "Anna", "google.com", "hosted-1", "calendar-1", "s3cr3t"}) {
      EXPECT_EQ(html.find(each), std::string::npos) << each;
    }
    EXPECT_EQ(html.find(root.path()), std::string::npos);
    const std::string revealed = page({"--reveal"});
    for (const char* each : {"anna.berg@gmail.com", "Hosted of Anna", "calendar-1"}) {
      EXPECT_NE(revealed.find(each), std::string::npos) << each;
    }
    EXPECT_NE(revealed.find(root.path()), std::string::npos);
    EXPECT_EQ(revealed.find("s3cr3t"), std::string::npos) << "no page shows a password";
  }
}

TEST_F(ReportPage, RulesAndFindingsNameNobodyEither) {
  Dictionary odd = hostedAccount();
  odd.set("Type", "anna.berg of hosted-1");
  odd.set("Class", "Möbel of Anna");
  Dictionary child = odd;
  odd.set("ChildAccounts", Array{child});
  root.put(ToolRoot::kSettings, Dictionary{{"Version", 6},
                                           {"anna.berg@gmail.com", 1},
                                           {"Accounts", Array{odd, hostedAccount(), odd, "anna"}}});
  root.put(ToolRoot::kLegacyMail,
           Dictionary{{"anna.berg@gmail.com", 1},
                      {"MailAccounts", Array{Dictionary{{"AccountType", "Möbel by Anna"},
                                                        {"AccountName", "Anna"}}}}});
  const std::string html = page();
  EXPECT_NE(html.find("its type"), std::string::npos);
  for (const char* each : {"anna", "Anna", "hosted-1", "s3cr3t"}) {
    EXPECT_EQ(html.find(each), std::string::npos) << each;
  }
}

TEST_F(ReportPage, LegacyFilesAreAColumnOfTheirOwn) {
  const auto description = [](const char* name, const char* identifier) {
    return Dictionary{{"AccountType", "IMAPAccount"},
                      {"AccountName", name},
                      {"uniqueId", identifier},
                      {"Username", "anna"}};
  };
  root.put(ToolRoot::kLegacyMail,
           Dictionary{{"MailAccounts", Array{description("Old mail", "old-1"),
                                             description("Older mail", "old-2")}}});
  const std::string planned = page({"--reveal"});
  EXPECT_NE(planned.find("Legacy file Accounts.plist"), std::string::npos);
  EXPECT_EQ(countOf(planned, "<path class=\"changed\"") + countOf(planned, "<path class=\"kept\""),
            2U);
  migrate();
  const std::string html = page({"--reveal"});
  EXPECT_NE(html.find("Before: no settings"), std::string::npos);
  EXPECT_NE(html.find("Legacy file Accounts.plist"), std::string::npos);
  EXPECT_NE(html.find("moved to DisplayName"), std::string::npos);
}

// What an account in settings would be wrong with is no fault of a description.
TEST_F(ReportPage, ADescriptionInALegacyFileIsNotToldAsAnAccountThatIsNotLoaded) {
  const Dictionary description{{"AccountType", "IMAPAccount"}, {"uniqueId", "old-1"}};
  root.put(ToolRoot::kLegacyMail, Dictionary{{"MailAccounts", Array{description, description}}});
  EXPECT_EQ(page({"--reveal"}).find("a later account has the same identifier"), std::string::npos);
}

TEST_F(ReportPage, ShowsOfAPropertyWhatItWasAndWhatItBecomes) {
  Dictionary plain = mailAccount("plain");
  plain.remove("Enabled Dataclasses");
  root.putSettings(
      5, {plain, Dictionary{{"Identifier", "calendars"},
                            {"Type", "CalDAV"},
                            {"Class", "MobileCalDAVAccount"},
                            {"Enabled Dataclasses", Array{"com.zelqo.Dataclass.Calendars"}}}});
  const std::string html = page({"--reveal"});
  const std::string calendars = "(&quot;com.zelqo.Dataclass.Calendars&quot;";
  EXPECT_NE(html.find("<code>Enabled Dataclasses</code></th><td data-label=\"Before\">" +
                      calendars + ")</td><td data-label=\"After\">" + calendars +
                      ", &quot;com.zelqo.Dataclass.Reminders&quot;)</td>"),
            std::string::npos);
  EXPECT_NE(html.find("<p>New properties: Enabled Dataclasses</p>"), std::string::npos);
  EXPECT_EQ(html.find("… and "), std::string::npos) << "of so little nothing is left out";
}

TEST_F(ReportPage, FindingsStandAtTheirPlace) {
  Dictionary odd = mailAccount("odd");
  odd.remove("Class");
  root.putSettings(12, {mailAccount("plain"), odd});
  const std::string html = page();
  EXPECT_NE(html.find("A migration would be refused"), std::string::npos);
  std::smatch link;
  ASSERT_TRUE(std::regex_search(html, link, std::regex("<a href=\"#(b[0-9]+)\">at its place")));
  EXPECT_EQ(link[1], "b2");
  const std::string place = html.substr(html.find("id=\"b2\""));
  EXPECT_LT(place.find("missing-class"), place.find("</details>"));
}

TEST_F(ReportPage, WhatCannotBeCarriedOutTellsNothingOfAccounts) {
  root.putSettings(9, {mailAccount("plain")});
  fs::remove(root.at("/etc/passwd"));
  const std::string html = page();
  EXPECT_NE(html.find("A migration would be refused"), std::string::npos);
  EXPECT_NE(html.find("The settings could not be saved"), std::string::npos);
  EXPECT_NE(html.find("Now: version 9"), std::string::npos);
  EXPECT_EQ(html.find("After a migration"), std::string::npos);
  EXPECT_EQ(html.find("<path"), std::string::npos);
}

TEST_F(ReportPage, SettingsThatCannotBeReadAreShownInHexadecimal) {
  root.putText(ToolRoot::kSettings, "bplist00 and then nonsense of Anna");
  const std::string html = page();
  EXPECT_NE(html.find("It cannot be read: it is probably cut off, byte "), std::string::npos);
  EXPECT_NE(html.find("62 70 6c"), std::string::npos);
  EXPECT_EQ(html.find("<dt>Accounts before"), std::string::npos) << "nobody knows how many";
}

TEST_F(ReportPage, NoPageShowsThePasswordsOfADamagedFile) {
  root.putText(ToolRoot::kSettings,
               "<?xml version=\"1.0\"?>\n<plist><dict><key>Password</key>"
               "<string>s3cr3t</strng></dict></plist>");
  for (const char* each : {"s3cr3t", "73 33 63 72 33 74"}) {
    EXPECT_EQ(page({"--reveal"}).find(each), std::string::npos) << each;
  }
}

TEST_F(ReportPage, ADeviceWithoutAnythingHasAPageToo) {
  const std::string html = page();
  EXPECT_NE(html.find("No migration is needed"), std::string::npos);
  EXPECT_EQ(html.find("Accounts before and after"), std::string::npos);
}

// Everything that a page could load, or run.
TEST_F(ReportPage, LoadsNothingAndRunsNothing) {
  root.putSettings(6, {hostedAccount()});
  const std::string html = page();
  for (const char* each : {"<script", "<link", "<img", "<iframe", "<object", "@import", "url(",
                           "http:", "https:", "javascript:", "src="}) {
    EXPECT_EQ(html.find(each), std::string::npos) << each;
  }
  EXPECT_NE(html.find("default-src 'none'"), std::string::npos);
  const std::regex reference("href=\"([^\"]*)\"");
  for (std::sregex_iterator each(html.begin(), html.end(), reference), end; each != end; ++each) {
    EXPECT_EQ((*each)[1].str().front(), '#') << (*each)[1];
  }
}

// Each place that is linked is there, once.
TEST_F(ReportPage, LinksLeadSomewhere) {
  root.putSettings(6, {hostedAccount(), calendarAccount(), mailAccount("plain")});
  migrate();
  const std::string html = page();
  std::multiset<std::string> places;
  const std::regex place(" id=\"([^\"]*)\"");
  for (std::sregex_iterator each(html.begin(), html.end(), place), end; each != end; ++each) {
    places.insert((*each)[1]);
  }
  const std::regex reference(" (?:href=\"#|aria-labelledby=\")([^\"]*)\"");
  for (std::sregex_iterator each(html.begin(), html.end(), reference), end; each != end; ++each) {
    EXPECT_EQ(places.count((*each)[1]), 1U) << (*each)[1];
  }
}

// Text that is markup, a template, a way out of an attribute, a turn of the writing direction.
const std::string kHostile =
    "<script>alert(1)</script>\" onmouseover=\"x' onfocus='x</style></title>--><!--{{root}}{{>x}}"
    "&lt;javascript:x\u202egnp.\u2066\x1b]0;x\x07\n]]>";

Dictionary hostileAccount(const std::string& identifier, const std::string& type) {
  return {{"Identifier", identifier},
          {"Type", type},
          {"Class", kHostile},
          {"DisplayName", kHostile},
          {"Username", kHostile},
          {"Enabled Dataclasses", Array{kHostile}},
          {kHostile, Dictionary{{kHostile, kHostile}}}};
}

// Holds the page to the markup of its templates: tags and attributes that these have.
void holdMarkup(const std::string& html) {
  std::string_view rest = html;
  while (!rest.empty()) {
    const accountsettings::detail::CodePoint first = accountsettings::detail::firstCodePoint(rest);
    ASSERT_GT(first.length, 0U);
    ASSERT_TRUE(first.value == '\n' || isVisible(first.value)) << visible(rest.substr(0, 80));
    rest.remove_prefix(first.length);
  }
  static const std::regex kTag(
      "</?(html|head|meta|title|style|body|a|header|main|footer|section|nav|div|h1|h2|h3|p|b|span|"
      "strong|code|mark|dl|dt|dd|ul|ol|li|table|caption|thead|tbody|tr|th|td|details|summary|svg|"
      "path)( (lang|charset|name|content|http-equiv|class|href|id|aria-[a-z]+|viewBox|"
      "preserveAspectRatio|style|d|scope|tabindex|role|title|data-label|open)(=\"[^\"<>]*\")?)*/"
      "?>");
  const std::size_t body = html.find("<body>");
  for (std::size_t at = html.find('<', body); at != std::string::npos;
       at = html.find('<', at + 1)) {
    const std::string tag = html.substr(at, html.find('>', at) - at + 1);
    ASSERT_TRUE(std::regex_match(tag, kTag)) << tag;
  }
  for (const char* each : {"<script", "</style></title>", "<!--", "\" on", "' on"}) {
    EXPECT_EQ(html.find(each), std::string::npos) << each;
  }
}

TEST_F(ReportPage, HostileTextsStayTexts) {
  Dictionary parent = hostileAccount("parent" + kHostile, "IMAP");
  parent.set("ChildAccounts", Array{hostileAccount("child" + kHostile, kHostile), kHostile});
  const Array accounts{parent,
                       hostileAccount("twice" + kHostile, "CalDAV"),
                       hostileAccount("twice" + kHostile, "CalDAV"),
                       hostileAccount(kHostile, kHostile),
                       hostileAccount("mail", "Mail"),
                       hostileAccount("hosted", "Quorra"),
                       kHostile};
  root.put(ToolRoot::kSettings,
           Dictionary{{"Version", 5}, {kHostile, kHostile}, {"Accounts", accounts}});
  root.put(ToolRoot::kLegacyMail,
           Dictionary{{"MailAccounts", Array{Dictionary{{"uniqueId", kHostile},
                                                        {"AccountType", kHostile},
                                                        {"AccountName", kHostile},
                                                        {kHostile, kHostile}},
                                             kHostile}},
                      {kHostile, kHostile}});
  for (const char* each : {"", "--reveal"}) {
    const std::vector<std::string> more(*each == 0 ? 0 : 1, each);
    holdMarkup(page(more));
    holdMarkup(page({"--no-limit"}));
  }
  EXPECT_NE(page({"--reveal"}).find("&lt;script&gt;alert(1)&lt;/script&gt;"), std::string::npos);
  ASSERT_EQ(runTool({"migrate", "--root", root.path(), "--accept-loss"}).signal, 0);
  holdMarkup(page());
  holdMarkup(page({"--reveal"}));
  root.putText(ToolRoot::kSettings, "<?xml version=\"1.0\"?>\n<" + kHostile);
  holdMarkup(page({"--reveal"}));
}

TEST_F(ReportPage, APageOfManyAccountsIsBoundedAndTellsOfTheLosses) {
  Array accounts;
  for (int i = 0; i < 3000; ++i) accounts.append(mailAccount("account-" + std::to_string(i)));
  Dictionary odd = mailAccount("odd");
  odd.remove("Class");
  accounts.append(odd);
  root.putSettings(12, accounts);
  const std::string limited = page();
  const std::string whole = page({"--no-limit"});
  EXPECT_EQ(countOf(limited, "<details"), 1000U);
  EXPECT_EQ(countOf(whole, "<details"), 3001U);
  EXPECT_LT(limited.size(), 3'000'000U);
  EXPECT_NE(limited.find("--no-limit shows all"), std::string::npos);
  EXPECT_EQ(limited.find("<p>New.</p>"), std::string::npos);
  EXPECT_NE(limited.find("missing-class"), std::string::npos);
  EXPECT_NE(limited.find("id=\"b3001\""), std::string::npos);
}

TEST_F(ReportPage, APageOfLongTextsIsBounded) {
  const std::string text(50'000, 'x');
  Array accounts;
  for (int i = 0; i < 20; ++i) {
    Dictionary odd = mailAccount(text + std::to_string(i));
    odd.set("DisplayName", text);
    odd.set("Type", text);
    odd.set("Class", text);
    odd.set(text, text);
    accounts.append(odd);
  }
  root.putSettings(6, accounts);
  EXPECT_LT(page().size(), 300'000U);
  EXPECT_LT(page({"--reveal"}).size(), 300'000U);
}

TEST_F(ReportPage, OfManyDevicesEachHasItsPageAndTheResultsLeadThere) {
  const std::string list = directory.path() / "list";
  const std::string results = directory.path() / "results";
  std::ofstream lines(list);
  for (const char* each : {"one", "two"}) {
    const std::string device = directory.path() / "devices" / each;
    ASSERT_EQ(runTool({"sample", device, "--release", "9A182"}).status, 0);
    lines << device << "\n";
  }
  lines << root.at("/nothing") << "\n";
  lines.close();
  const std::string pages = directory.path() / "out/pages";
  const ToolResult made =
      runTool({"report", "--roots-from", list, "--html", pages, "--results", results});
  EXPECT_EQ(made.status, 3) << made.err;
  const ToolResult told = runTool({"report", "--html", file(), "--results", results, results});
  ASSERT_EQ(told.status, 0) << told.err;
  std::ifstream stream(file());
  const std::string html{std::istreambuf_iterator<char>(stream), {}};
  EXPECT_EQ(countOf(html, "<tr data-outcome=\"done\""), 2U);
  EXPECT_EQ(countOf(html, "<tr data-outcome=\"refused\""), 1U);
  const std::regex link("<a href=\"(out/pages/(one|two)-[0-9a-f]{12}\\.html)\"");
  std::size_t links = 0;
  for (std::sregex_iterator each(html.begin(), html.end(), link), end; each != end; ++each) {
    EXPECT_TRUE(fs::exists(directory.path() / (*each)[1].str())) << (*each)[1];
    ++links;
  }
  EXPECT_EQ(links, 2U);
}

TEST_F(ReportPage, WritesOneFileOrNone) {
  root.putSettings(12, {mailAccount("plain")});
  EXPECT_EQ(run({"--out", directory.path() / "x"}).status, 2);
  EXPECT_EQ(run({"--include-log", file()}).status, 2);
  EXPECT_EQ(runTool({"report", "--results", file(), "--reveal", "--html", file()}).status, 2);
  EXPECT_EQ(runTool({"report", root.path(), "--results", file(), "--html", file()}).status, 2);
  EXPECT_EQ(runTool({"report", "--results", file(), "--html", file()}).status, 3);
  EXPECT_FALSE(fs::exists(file()));
  EXPECT_EQ(runTool({"report", root.at("/nothing"), "--html", file()}).status, 3);
  EXPECT_EQ(runTool({"report", root.path(), "--html", root.path()}).status, 3);
  const ToolResult full =
      ToolRun({"report", root.path(), "--html", file()}).withFileSizeLimit(512).run();
  EXPECT_EQ(full.status, 3);
  EXPECT_TRUE(fs::is_empty(directory.path()));
  const ToolResult told = run({"--json"});
  EXPECT_EQ(told.status, 0);
  EXPECT_EQ(schemaErrors("report-summary.schema.json", told.out), "");
  EXPECT_EQ(documentIn(told.out).get("file"), PropertyList(file()));
}

}  // namespace
}  // namespace accountsettings::testing
