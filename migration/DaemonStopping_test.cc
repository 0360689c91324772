// Tests of finding the sync daemon and making it leave.
#include "platform/AssertionFailure.h"
#include "testing/MigrationTest.h"

namespace accountsettings {
namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using testing::ExitsUpon;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Seconds = std::chrono::duration<double>;

constexpr const char* kAsked = "Performing account migration. Asking dataaccessd to exit";
constexpr const char* kKilled = "dataaccessd does not seem to want to quit. Sending it a SIGKILL";
constexpr const char* kIgnored =
    "dataaccessd decided it didn't want to play well with others and refused to exit. We're going "
    "to continue with the backup/restore anyway and hope for the best.";

class DaemonStopping : public testing::MigrationTest {
 protected:
  std::size_t looks() const { return fake.faults.count("processes.list"); }
};

TEST_F(DaemonStopping, ProcessIsFoundByTheFirstSixteenCharacters) {
  fake.processes.add(7, "other");
  fake.processes.add(9, "dataaccessd");
  fake.processes.add(12, "dataaccessd");
  fake.processes.add(20, "sixteen-letters-and-more");
  EXPECT_EQ(findProcessByName("dataaccessd"), 9);
  EXPECT_EQ(findProcessByName("dataaccess"), -1);
  EXPECT_EQ(findProcessByName("dataaccessd2"), -1);
  EXPECT_EQ(findProcessByName("sixteen-letters-but-others"), 20);
  EXPECT_EQ(findProcessByName("sixteen-letters"), -1);
  EXPECT_EQ(findProcessByName("nobody"), -1);
}

TEST_F(DaemonStopping, IdentifiersBelowOneAreNoProcesses) {
  fake.processes.add(0, "dataaccessd");
  fake.processes.add(-3, "dataaccessd");
  EXPECT_EQ(findProcessByName("dataaccessd"), -1);
  fake.processes.add(1, "dataaccessd");
  EXPECT_EQ(findProcessByName("dataaccessd"), 1);
}

TEST_F(DaemonStopping, NothingIsFoundWhereProcessesCannotBeListed) {
  fake.processes.add(9, "dataaccessd");
  fake.faults.failAt("processes.list");
  EXPECT_EQ(findProcessByName("dataaccessd"), -1);
}

TEST_F(DaemonStopping, WithoutADaemonNothingHappens) {
  fake.webEngineLock.held = true;
  AccountsManager::killDataAccessIfNecessary();
  expectLog({});
  EXPECT_THAT(fake.notifications.posted, IsEmpty());
  EXPECT_THAT(fake.eventLoop.limits(), IsEmpty());
  EXPECT_EQ(fake.webEngineLock.takes, 0);
}

TEST_F(DaemonStopping, AProcessDoesNotStopItself) {
  fake.processes.own = 9;
  fake.processes.add(9, "dataaccessd");
  fake.webEngineLock.held = true;
  AccountsManager::killDataAccessIfNecessary();
  expectLog({});
  EXPECT_THAT(fake.notifications.posted, IsEmpty());
  EXPECT_THAT(fake.eventLoop.limits(), IsEmpty());
  EXPECT_THAT(fake.processes.killed(), IsEmpty());
  EXPECT_EQ(fake.webEngineLock.takes, 0);
}

TEST_F(DaemonStopping, ADaemonThatExitsAtOnceIsNotWaitedFor) {
  fake.processes.add(9, "dataaccessd", ExitsUpon::Notification);
  AccountsManager::killDataAccessIfNecessary();
  expectLog({kAsked});
  EXPECT_THAT(fake.notifications.posted, ElementsAre("com.zelqo.MobileSync.BackupAgent.WillStart"));
  EXPECT_THAT(fake.eventLoop.limits(), IsEmpty());
}

TEST_F(DaemonStopping, ADaemonIsGivenTimeToLeave) {
  fake.processes.add(9, "dataaccessd", ExitsUpon::Notification, Seconds(1.1));
  AccountsManager::killDataAccessIfNecessary();
  expectLog({kAsked});
  EXPECT_THAT(fake.eventLoop.limits(), AllOf(SizeIs(5), Each(0.25)));
  EXPECT_THAT(fake.processes.killed(), IsEmpty());
}

TEST_F(DaemonStopping, ADaemonThatIgnoresTheRequestIsKilledAfterFiveSeconds) {
  fake.processes.add(9, "dataaccessd", ExitsUpon::Kill);
  AccountsManager::killDataAccessIfNecessary();
  expectLog({kAsked, kKilled});
  EXPECT_THAT(fake.processes.killed(), ElementsAre(9));
  // At 5.0 seconds exactly there is one more round.
  EXPECT_THAT(fake.eventLoop.limits(), AllOf(SizeIs(21), Each(0.25)));
  EXPECT_EQ(fake.clock.monotonic(), Seconds(1005.25));
}

TEST_F(DaemonStopping, ADaemonThatOutlivesTheKillIsIgnoredAfterTenSeconds) {
  fake.processes.add(9, "dataaccessd", ExitsUpon::Nothing);
  AccountsManager::killDataAccessIfNecessary();
  expectLog({kAsked, kKilled, kIgnored});
  EXPECT_THAT(fake.processes.killed(), ElementsAre(9));
  EXPECT_NEAR(fake.clock.monotonic().count(), 1010.25, 0.05);
  EXPECT_EQ(fake.eventLoop.limits().back(), 0.01);
}

TEST_F(DaemonStopping, ADaemonThatIsRestartedCountsAsGone) {
  fake.processes.add(9, "dataaccessd", ExitsUpon::Notification, Seconds(0.3));
  fake.clock.schedule(Seconds(0.3), [&] { fake.processes.add(30, "dataaccessd"); });
  AccountsManager::killDataAccessIfNecessary();
  expectLog({kAsked});
  EXPECT_THAT(fake.processes.killed(), IsEmpty());
  EXPECT_TRUE(fake.processes.isRunning(30));
}

TEST_F(DaemonStopping, TheFirstLookIsTakenBeforeTheFirstWait) {
  fake.processes.add(9, "dataaccessd", ExitsUpon::Nothing);
  fake.eventLoop.wakeAfter(Seconds(0.25));
  std::size_t looksBeforeWaiting = 0;
  fake.faults.doAt("eventLoop.run", 1, [&] { looksBeforeWaiting = looks(); });
  AccountsManager::killDataAccessIfNecessary();
  EXPECT_EQ(looksBeforeWaiting, 2U);  // one to find it, one in the wait
}

TEST_F(DaemonStopping, ADaemonThatLeavesAtTheLastMomentIsNotKilled) {
  fake.processes.add(9, "dataaccessd", ExitsUpon::Notification, Seconds(5.25));
  AccountsManager::killDataAccessIfNecessary();
  // It was gone at the look before the kill and at the forced wait's first look.
  expectLog({kAsked, kKilled});
  EXPECT_THAT(fake.processes.killed(), IsEmpty());
  EXPECT_THAT(fake.eventLoop.limits(), AllOf(SizeIs(21), Each(0.25)));
  EXPECT_EQ(looks(), 24U);
}

TEST_F(DaemonStopping, WhoBearsTheNameByThenIsKilled) {
  fake.processes.add(9, "dataaccessd", ExitsUpon::Nothing);
  // The look to find it, one before and after each of the waits but the last, and then this one.
  fake.faults.doAt("processes.list", 23, [&] {
    fake.processes.end(9);
    fake.processes.add(30, "dataaccessd", ExitsUpon::Nothing);
  });
  AccountsManager::killDataAccessIfNecessary();
  EXPECT_THAT(fake.processes.killed(), ElementsAre(30));
  // The one that was asked is gone, and no more is waited for.
  expectLog({kAsked, kKilled});
  EXPECT_THAT(fake.eventLoop.limits(), AllOf(SizeIs(21), Each(0.25)));
}

TEST_F(DaemonStopping, TheRequestIsMentionedFirstAndTheWebEngineLockLookedAtAfterIt) {
  fake.processes.add(9, "dataaccessd", ExitsUpon::Notification);
  std::vector<std::string> logBefore;
  fake.faults.doAt("notifications.postSystemNotification", 1, [&] {
    logBefore = log();
    fake.webEngineLock.held = true;
  });
  AccountsManager::killDataAccessIfNecessary();
  EXPECT_THAT(logBefore, ElementsAre(kAsked));
  EXPECT_EQ(fake.webEngineLock.takes, 1);
}

TEST_F(DaemonStopping, AWebEngineLockThatTheEventLoopGaveAwayIsTakenAgain) {
  fake.processes.add(9, "dataaccessd", ExitsUpon::Notification, Seconds(1));
  fake.webEngineLock.held = true;
  fake.faults.doAt("eventLoop.run", 1, [&] { fake.webEngineLock.held = false; });
  AccountsManager::killDataAccessIfNecessary();
  EXPECT_EQ(fake.webEngineLock.takes, 1);
}

TEST_F(DaemonStopping, AKillThatIsRefusedIsWaitedForAllTheSame) {
  fake.processes.add(9, "dataaccessd", ExitsUpon::Kill);
  fake.faults.failAlways("processes.kill", EPERM);
  AccountsManager::killDataAccessIfNecessary();
  expectLog({kAsked, kKilled, kIgnored});
}

TEST_F(DaemonStopping, TheWebEngineLockIsTakenAgainHoweverTheWaitEnds) {
  struct Ending {
    ExitsUpon exitsUpon;
    Seconds delay;
  };
  int takes = 0;
  for (const Ending& ending :
       {Ending{ExitsUpon::Notification, Seconds(0)}, Ending{ExitsUpon::Notification, Seconds(1)},
        Ending{ExitsUpon::Kill, Seconds(0)}, Ending{ExitsUpon::Nothing, Seconds(0)}}) {
    fake.processes.add(9, "dataaccessd", ending.exitsUpon, ending.delay);
    fake.webEngineLock.held = true;
    AccountsManager::killDataAccessIfNecessary();
    EXPECT_EQ(fake.webEngineLock.takes, ++takes);
    fake.processes.end(9);
  }
}

TEST_F(DaemonStopping, TheWebEngineLockIsLeftAloneWhereItWasNotHeld) {
  fake.processes.add(9, "dataaccessd", ExitsUpon::Nothing);
  AccountsManager::killDataAccessIfNecessary();
  EXPECT_EQ(fake.webEngineLock.takes, 0);
}

}  // namespace
}  // namespace accountsettings
