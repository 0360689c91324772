// Tests of the repair of mail accounts.
#include "store/RSRuntimeFixMailAccount.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "store/AccountsManager.h"
#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RuntimeFixMailAccount : public testing::StoreTest {
 protected:
  // The record of a mail account of an unknown class with this path.
  static Account broken(std::string_view path) {
    return record(mailAccount("M", "Unheard", {{"AccountPath", path}}));
  }
  FixResult fix(const Account& account) {
    return fixer.fixBasicAccountIfNeededLoggingMessage(*account, "testing");
  }
  // The class that the path leads to; "none" where there is no repair.
  std::string classFor(std::string_view path) {
    const Account account = broken(path);
    return fix(account) == FixResult::Fixed ? account->accountClass().value() : "none";
  }
  void expectNotices(std::size_t count) {
    EXPECT_EQ(fake.notifications.preferencesChanged,
              (std::vector<std::pair<std::string, std::string>>(
                  count, {"com.zelqo.mobilemail", "MailAccounts"})));
  }

  RSRuntimeFixMailAccount fixer;
};

TEST_F(RuntimeFixMailAccount, LooksAtTwoTypes) {
  EXPECT_THAT(fixer.supportedAccountTypes(), ElementsAre("Mail", "Quorra"));
}

TEST_F(RuntimeFixMailAccount, KnownClassesNeedNoRepairWhateverThePath) {
  for (const char* accountClass : {"VantorAccount", "QuorraAccount", "POPAccount", "IMAPAccount",
                                   "AOLAccount", "LocalAccount", "GmailAccount", "YahooAccount"}) {
    const Account account = record(mailAccount("M", accountClass, {{"AccountPath", "Mail/AOL-x"}}));
    EXPECT_EQ(fix(account), FixResult::NothingToDo);
    EXPECT_EQ(account->accountClass(), accountClass);
  }
  fixer.accountsHaveBeenSaved(true);
  expectNotices(0);
}

TEST_F(RuntimeFixMailAccount, OtherMailClassesAreNotKnown) {
  for (const char* accountClass : {"MailAccount", "DAMailAccount", "KetchIMAPAccount"}) {
    EXPECT_EQ(fix(record(mailAccount("M", accountClass, {{"AccountPath", "Mail/IMAP-x"}}))),
              FixResult::Fixed);
  }
}

TEST_F(RuntimeFixMailAccount, OtherTypesAreNeverTouched) {
  for (const char* type : {"OnMyDevice", "Gmail", "Yahoo", "Exchange", "SMTP"}) {
    const Account account =
        record(with(mailAccount("M", "Unheard"), {{"Type", type}, {"AccountPath", "Mail/POP-x"}}));
    EXPECT_EQ(fix(account), FixResult::NothingToDo);
    EXPECT_EQ(account->accountClass(), "Unheard");
  }
  fixer.accountsHaveBeenSaved(true);
  expectNotices(0);
}

TEST_F(RuntimeFixMailAccount, QuorraAccountsAreRepairedToo) {
  const Account account = record(
      with(mailAccount("M", "Unheard"), {{"Type", "Quorra"}, {"AccountPath", "Mail/Quorra-x"}}));
  EXPECT_EQ(fix(account), FixResult::Fixed);
  EXPECT_EQ(account->accountClass(), "QuorraAccount");
}

TEST_F(RuntimeFixMailAccount, MissingClassIsRepaired) {
  const Account account = broken("Mail/POP-x");
  account->removeAccountPropertyForKey("Class");
  EXPECT_EQ(fix(account), FixResult::Fixed);
  EXPECT_EQ(account->accountClass(), "POPAccount");
}

TEST_F(RuntimeFixMailAccount, PathTellsTheClass) {
  fake.configuration.current.gmailDomain = "mail.test";
  fake.configuration.current.gmailIMAPHost = "imap.mail.test";
  fake.configuration.current.yahooIMAPHost = "imap.partner.test";
  const std::string in = "/var/mobile/Library/";
  EXPECT_EQ(classFor(in + "Mail/Tovi-me@x"), "VantorAccount");
  EXPECT_EQ(classFor(in + "Mail/Quorra-me@x"), "QuorraAccount");
  EXPECT_EQ(classFor(in + "Mail/AOL-me@x"), "AOLAccount");
  EXPECT_EQ(classFor(in + "Mail/Mailboxes"), "LocalAccount");
  EXPECT_EQ(classFor(in + "Mail/IMAP-me@mail.test@imap.mail.test"), "GmailAccount");
  EXPECT_EQ(classFor(in + "Mail/IMAP-me@imap.partner.test"), "YahooAccount");
  EXPECT_EQ(classFor(in + "Mail/POP-me@x"), "POPAccount");
  EXPECT_EQ(classFor(in + "Mail/IMAP-me@x"), "IMAPAccount");
  EXPECT_EQ(classFor(in + "Mail/Other-me@x"), "none");
}

TEST_F(RuntimeFixMailAccount, PathMayBeTheParents) {
  const Account child = record(mailAccount("M", "Unheard"));
  child->setParentAccount(broken("Mail/POP-x"));
  EXPECT_EQ(fix(child), FixResult::Fixed);
  EXPECT_EQ(child->accountClass(), "POPAccount");
}

TEST_F(RuntimeFixMailAccount, TableOrderWinsOverPosition) {
  EXPECT_EQ(classFor("Mail/IMAP-x/Mail/AOL-y"), "AOLAccount");
  EXPECT_EQ(classFor("Mail/AOL-y/Mail/IMAP-x"), "AOLAccount");
  EXPECT_EQ(classFor("Mail/IMAP-x/Mail/POP-y/Mail/Tovi-z"), "VantorAccount");
}

TEST_F(RuntimeFixMailAccount, EachRowGoesBeforeAllThatFollowIt) {
  fake.configuration.current.gmailDomain = "mail.test";
  fake.configuration.current.gmailIMAPHost = "imap.mail.test";
  fake.configuration.current.yahooIMAPHost = "imap.partner.test";
  const std::vector<std::pair<std::string, std::string>> rows{
      {"Mail/Tovi-", "VantorAccount"},
      {"Mail/Quorra-", "QuorraAccount"},
      {"Mail/AOL-", "AOLAccount"},
      {"Mail/Mailboxes", "LocalAccount"},
      {"mail.test@imap.mail.test", "GmailAccount"},
      {"@imap.partner.test", "YahooAccount"},
      {"Mail/POP-", "POPAccount"},
      {"Mail/IMAP-", "IMAPAccount"}};
  for (std::size_t first = 0; first < rows.size(); ++first) {
    for (std::size_t second = first + 1; second < rows.size(); ++second) {
      EXPECT_EQ(classFor(rows[first].first + "/" + rows[second].first), rows[first].second);
      EXPECT_EQ(classFor(rows[second].first + "/" + rows[first].first), rows[first].second);
    }
  }
}

TEST_F(RuntimeFixMailAccount, RowsNeedTheirWholePattern) {
  for (const char* name : {"Tovi", "Quorra", "AOL", "Mailbox", "POP", "IMAP"}) {
    EXPECT_EQ(classFor(std::string("Mail/") + name), "none") << name;
    EXPECT_EQ(classFor(std::string("mail/") + name + "-"), "none") << name;
  }
}

TEST_F(RuntimeFixMailAccount, HostRowsNeedTheirWholePattern) {
  fake.configuration.current.gmailDomain = "mail.test";
  fake.configuration.current.gmailIMAPHost = "imap.mail.test";
  fake.configuration.current.yahooIMAPHost = "imap.partner.test";
  EXPECT_EQ(classFor("Mail/Other-me@imap.mail.test"), "none");
  EXPECT_EQ(classFor("Mail/Other-me@mail.test"), "none");
  EXPECT_EQ(classFor("Mail/Other-imap.partner.test"), "none");
}

TEST_F(RuntimeFixMailAccount, UnconfiguredHostsSwitchTheirRowsOff) {
  auto& values = fake.configuration.current;
  for (const auto& unset : {std::optional<std::string>(), std::optional<std::string>("")}) {
    for (const bool domainIsSet : {true, false}) {
      values.gmailDomain = domainIsSet ? std::optional<std::string>("mail.test") : unset;
      values.gmailIMAPHost = domainIsSet ? unset : std::optional<std::string>("imap.mail.test");
      values.yahooIMAPHost = unset;
      ProcessContext fresh(fake.platform());
      const ProcessContext::Override overriding(fresh);
      EXPECT_EQ(classFor("Mail/IMAP-me@mail.test@imap.mail.test"), "IMAPAccount");
      EXPECT_EQ(classFor("Mail/Other-me@x"), "none");
    }
  }
}

TEST_F(RuntimeFixMailAccount, UnrepairableAccountIsNamedInTheLog) {
  const std::string line = "Could not fix the class of the mail account: ";
  EXPECT_EQ(fix(record(mailAccount("M", "Unheard"))), FixResult::Unfixable);
  EXPECT_EQ(fix(broken("")), FixResult::Unfixable);
  EXPECT_EQ(fix(broken("Mail/Other-x")), FixResult::Unfixable);
  EXPECT_EQ(fix(record(mailAccount("M", "Unheard", {{"AccountPath", 5}}))), FixResult::Unfixable);
  expectLog(
      {line + "{ Identifier = M; Type = Mail; Class = Unheard; }",
       line + R"({ Identifier = M; Type = Mail; Class = Unheard; AccountPath = ""; })",
       line + R"({ Identifier = M; Type = Mail; Class = Unheard; AccountPath = Mail/Other-x; })",
       line + "{ Identifier = M; Type = Mail; Class = Unheard; AccountPath = 5; }"});
}

TEST_F(RuntimeFixMailAccount, CleanupAnswersWhetherAClassCouldBeSet) {
  EXPECT_TRUE(fixer._cleanupAccountClass(*broken("Mail/POP-x")));
  EXPECT_FALSE(fixer._cleanupAccountClass(*broken("x")));
}

TEST_F(RuntimeFixMailAccount, NoticeIsPostedOnceForASaveAfterAnyNeedOfRepair) {
  fix(broken("Mail/POP-x"));
  fixer.accountsHaveBeenSaved(true);
  expectNotices(1);
  fixer.accountsHaveBeenSaved(true);
  expectNotices(1);
  fix(broken("nowhere"));
  fixer.accountsHaveBeenSaved(true);
  expectNotices(2);
}

TEST_F(RuntimeFixMailAccount, SaveThatDidNotHappenClearsTheNeedOfANotice) {
  fix(broken("Mail/POP-x"));
  fixer.accountsHaveBeenSaved(false);
  fixer.accountsHaveBeenSaved(true);
  expectNotices(0);
}

// In a store

TEST_F(RuntimeFixMailAccount, RepairAtLoadLeadsToNoNoticeThenOrLater) {
  const auto store = loaded({mailAccount("M", "Unheard", {{"AccountPath", "Mail/POP-x"}})});
  store->saveAllAccounts();
  store->saveAllAccounts();
  EXPECT_EQ(*savedAccount().find("Class"), PropertyList("POPAccount"));
  expectNotices(0);
}

TEST_F(RuntimeFixMailAccount, RepairAtASaveLeadsToOneNotice) {
  const auto store = loaded({});
  store->insertAccount(broken("Mail/POP-x"));
  store->saveAllAccounts();
  expectNotices(1);
  EXPECT_EQ(*savedAccount().find("Class"), PropertyList("POPAccount"));
  store->saveAllAccounts();
  expectNotices(1);
}

TEST_F(RuntimeFixMailAccount, ClassRemovedInMemoryIsRepairedAtTheSave) {
  const auto store = loaded({mailAccount("M", "IMAPAccount", {{"AccountPath", "Mail/POP-x"}})});
  store->accountWithIdentifier("M")->removeAccountPropertyForKey("Class");
  store->saveAllAccounts();
  EXPECT_EQ(*savedAccount().find("Class"), PropertyList("POPAccount"));
  expectNotices(1);
}

TEST_F(RuntimeFixMailAccount, UnfixableAccountLeadsToANoticeAtEverySaveWhileItIsListed) {
  const auto store = loaded({});
  store->insertAccount(broken("nowhere"));
  store->saveAllAccounts();
  store->saveAllAccounts();
  expectNotices(2);
  EXPECT_EQ(savedAccounts().size(), 1U);
  // Loading leaves it out, so the save after that loses it.
  const auto next = AccountsManager::init();
  EXPECT_EQ(next->count(), 0U);
  next->saveAllAccounts();
  EXPECT_THAT(savedAccounts(), IsEmpty());
}

TEST_F(RuntimeFixMailAccount, ReportingHooksDoNothing) {
  reportMailAccountClassFound();
  reportMailAccountClassFound(mailAccount("M", "MailAccount"), "testing");
  EXPECT_THAT(log(), IsEmpty());
  expectNotices(0);
}

}  // namespace
}  // namespace accountsettings
