// The fakes of processes, time, locks, resources and modules behave as a test scripts
// them.
#include "testing/FakePlatform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "testing/TemporaryDirectory.h"

namespace accountsettings::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using Seconds = std::chrono::duration<double>;

std::vector<int> running(FakePlatform& fake) {
  std::vector<int> identifiers;
  const std::vector<Process> processes = fake.processes.list().value();
  for (const Process& process : processes) {
    identifiers.push_back(process.identifier);
  }
  return identifiers;
}

TEST(FakeProcesses, OneExitsUponTheNotificationWhenItsDelayIsOver) {
  FakePlatform fake;
  fake.processes.add(7, "dataaccessd", ExitsUpon::Notification, Seconds(0.3));
  fake.processes.add(5, "other");
  EXPECT_THAT(running(fake), ElementsAre(5, 7));
  fake.notifications.postSystemNotification("Leave");
  EXPECT_THAT(running(fake), ElementsAre(5, 7));
  fake.eventLoop.run(Seconds(0.25));
  EXPECT_THAT(running(fake), ElementsAre(5, 7));
  fake.eventLoop.run(Seconds(0.25));
  EXPECT_THAT(running(fake), ElementsAre(5));
  EXPECT_THAT(fake.notifications.posted, ElementsAre("Leave"));
}

TEST(FakeProcesses, OneIgnoresTheNotificationAndDiesOfTheKill) {
  FakePlatform fake;
  fake.processes.add(7, "dataaccessd", ExitsUpon::Kill);
  fake.notifications.postSystemNotification("Leave");
  EXPECT_THAT(running(fake), ElementsAre(7));
  EXPECT_TRUE(fake.processes.kill(7).ok());
  EXPECT_THAT(running(fake), IsEmpty());
  EXPECT_THAT(fake.processes.killed(), ElementsAre(7));
}

TEST(FakeProcesses, OneNeverDies) {
  FakePlatform fake;
  fake.processes.add(7, "dataaccessd", ExitsUpon::Nothing);
  fake.notifications.postSystemNotification("Leave");
  EXPECT_TRUE(fake.processes.kill(7).ok());
  fake.eventLoop.run(Seconds(100));
  EXPECT_TRUE(fake.processes.isRunning(7));
}

TEST(FakeProcesses, WhatDoesNotRunCannotBeKilled) {
  FakePlatform fake;
  const Status killed = fake.processes.kill(7);
  ASSERT_FALSE(killed.ok());
  EXPECT_EQ(killed.error().code, ESRCH);
  EXPECT_THAT(fake.processes.killed(), IsEmpty());
}

TEST(FakeClock, MovesOnlyWithTheEventLoop) {
  FakePlatform fake;
  const Seconds start = fake.clock.monotonic();
  EXPECT_EQ(fake.clock.monotonic(), start);
  fake.eventLoop.run(Seconds(0.25));
  EXPECT_EQ(fake.clock.monotonic(), start + Seconds(0.25));
  fake.eventLoop.wakeAfter(Seconds(0.1));
  fake.eventLoop.run(Seconds(0.25));
  EXPECT_EQ(fake.clock.monotonic(), start + Seconds(0.25) + Seconds(0.1));
  EXPECT_THAT(fake.eventLoop.limits(), ElementsAre(0.25, 0.25));
}

TEST(FakeClock, RunsWhatFallsDueInOrderAtItsTime) {
  FakePlatform fake;
  const Seconds start = fake.clock.monotonic();
  std::vector<double> times;
  const auto note = [&] { times.push_back((fake.clock.monotonic() - start).count()); };
  fake.clock.schedule(Seconds(2), note);
  fake.clock.schedule(Seconds(1), [&] {
    note();
    fake.clock.schedule(Seconds(0.5), note);
  });
  fake.clock.schedule(Seconds(4), note);
  fake.clock.advance(Seconds(3));
  EXPECT_THAT(times, ElementsAre(1.0, 1.5, 2.0));
}

TEST(FakeLocks, AWaitForOneselfIsAnErrorInsteadOfAHang) {
  FakePlatform fake;
  const auto first = fake.locks.create("One").value();
  const auto second = fake.locks.create("One").value();
  ASSERT_TRUE(first->acquire().ok());
  const Status acquired = second->acquire();
  ASSERT_FALSE(acquired.ok());
  EXPECT_EQ(acquired.error().code, EDEADLK);
  EXPECT_EQ(fake.locks.blocked("One"), 1);
  EXPECT_EQ(fake.locks.acquired("One"), 1);
}

TEST(FakeLocks, AnotherProcessGoesOnWhenOneWaitsForIt) {
  FakePlatform fake;
  fake.locks.holdElsewhere("One");
  fake.locks.whenBlocked = [&](std::string_view name) { fake.locks.releaseElsewhere(name); };
  const auto lock = fake.locks.create("One").value();
  EXPECT_TRUE(fake.locks.isHeld("One"));
  EXPECT_TRUE(lock->acquire().ok());
  EXPECT_EQ(fake.locks.blocked("One"), 1);
  lock->release();
  EXPECT_FALSE(fake.locks.isHeld("One"));
  EXPECT_THAT(fake.faults.operations("locks."),
              ElementsAre("locks.create", "locks.acquire", "locks.release"));
}

TEST(FakeLocks, CreatingAndAcquiringCanFail) {
  FakePlatform fake;
  fake.faults.failAt("locks.create");
  EXPECT_FALSE(fake.locks.create("One").ok());
  fake.faults.failAt("locks.acquire");
  const auto lock = fake.locks.create("One").value();
  EXPECT_FALSE(lock->acquire().ok());
  EXPECT_FALSE(fake.locks.isHeld("One"));
}

Bytes bytesAt(FakeResources& resources, std::string_view name) {
  const std::optional<std::string> path = resources.pathOf(name);
  return path ? resources.read(*path).value() : Bytes();
}

TEST(FakeResources, ServesTheShippedResources) {
  FakePlatform fake;
  EXPECT_FALSE(bytesAt(fake.resources, "AccountTypesProperties").empty());
  EXPECT_FALSE(fake.resources.pathOf("NoSuchResource").has_value());
}

TEST(FakeResources, ATestReplacesAndRemovesThem) {
  FakePlatform fake;
  fake.resources.putBytes("AccountTypesProperties", {'x'});
  EXPECT_THAT(bytesAt(fake.resources, "AccountTypesProperties"), ElementsAre('x'));
  fake.resources.put("Other", Dictionary{{"a", 1}});
  EXPECT_FALSE(bytesAt(fake.resources, "Other").empty());
  fake.resources.remove("AccountTypesProperties");
  EXPECT_FALSE(fake.resources.pathOf("AccountTypesProperties").has_value());
}

TEST(FakeResources, ATextFallsBackToItsDefaultAndThenToItsKey) {
  FakePlatform fake;
  fake.resources.putText("Table", "Key", "Text");
  EXPECT_EQ(fake.resources.localizedString("Key", "Default", "Table"), "Text");
  EXPECT_EQ(fake.resources.localizedString("Other", "Default", "Table"), "Default");
  EXPECT_EQ(fake.resources.localizedString("Other", "", "Table"), "Other");
  fake.faults.failAt("resources.localizedString");
  EXPECT_EQ(fake.resources.localizedString("Key", "Default", "Table"), "Default");
}

TEST(FakeModules, RegisterTheirClassesOrFailWithTheLoadersText) {
  struct Thing : ClassObject {};
  FakePlatform fake;
  ClassRegistry registry;
  fake.modules.put("/m.so", [](ClassRegistry& classes) {
    classes.registerClass("Thing", std::make_shared<Thing>());
  });
  fake.modules.fail("/broken.so", "undefined symbol: x");
  EXPECT_TRUE(fake.modules.loadDynamicLibrary("/m.so", registry).ok());
  EXPECT_NE(registry.classNamed("Thing"), nullptr);
  EXPECT_EQ(fake.modules.loadDynamicLibrary("/broken.so", registry).error().message,
            "undefined symbol: x");
  EXPECT_FALSE(fake.modules.loadDynamicLibrary("/missing.so", registry).ok());
  EXPECT_FALSE(fake.modules.loadBundle("/m.so", registry).ok());
  EXPECT_THAT(fake.modules.loads, ElementsAre("/m.so", "/broken.so", "/missing.so"));
  EXPECT_EQ(fake.modules.loadCount("/m.so"), 2U);
}

TEST(FakeDeviceInfo, AnswersAKeyOrAWholeDomainOverAConnection) {
  FakePlatform fake;
  fake.deviceInfo.set("domain", "key", 1);
  {
    const auto connection = fake.deviceInfo.connect();
    ASSERT_NE(connection, nullptr);
    EXPECT_EQ(fake.deviceInfo.openConnections, 1);
    EXPECT_THAT(connection->copyDeviceInfoValue("domain", "key"), Optional(PropertyList(1)));
    EXPECT_THAT(connection->copyDeviceInfoValue("domain", std::nullopt),
                Optional(PropertyList(Dictionary{{"key", 1}})));
    EXPECT_FALSE(connection->copyDeviceInfoValue("other", std::nullopt).has_value());
  }
  EXPECT_EQ(fake.deviceInfo.openConnections, 0);
  fake.deviceInfo.reachable = false;
  EXPECT_EQ(fake.deviceInfo.connect(), nullptr);
}

TEST(FakeIdentifiers, AreMadeInTurnUnlessATestNamesThem) {
  FakePlatform fake;
  fake.identifiers.makeNext("MINE");
  EXPECT_THAT(fake.identifiers.makeUUID(), Optional(std::string("MINE")));
  EXPECT_THAT(fake.identifiers.makeUUID(),
              Optional(std::string("00000000-0000-4000-8000-000000000002")));
  fake.faults.failAt("identifiers.makeUUID");
  EXPECT_FALSE(fake.identifiers.makeUUID().has_value());
}

TEST(FakeAnswers, CanBeMadeToFail) {
  FakePlatform fake;
  fake.preferences.set("domain", "key", 1);
  fake.preferences.setOwnDefault("key", 1);
  fake.deviceAnswers.set("key", 1);
  fake.externalSources.set(SyncDataType::Notes, {"a"});
  fake.faults.failAt("preferences.copyAppPreference");
  fake.faults.failAt("preferences.ownDefault");
  fake.faults.failAt("deviceAnswers.copyDeviceAnswer");
  fake.faults.failAt("externalSources.copyExternalSourcesEnabled");
  EXPECT_FALSE(fake.preferences.copyAppPreference("domain", "key").has_value());
  EXPECT_FALSE(fake.preferences.ownDefault("key").has_value());
  EXPECT_FALSE(fake.deviceAnswers.copyDeviceAnswer("key").has_value());
  EXPECT_TRUE(fake.externalSources.copyExternalSourcesEnabled(SyncDataType::Notes).error);
  EXPECT_TRUE(fake.preferences.copyAppPreference("domain", "key").has_value());
  EXPECT_TRUE(fake.preferences.ownDefault("key").has_value());
  EXPECT_TRUE(fake.deviceAnswers.copyDeviceAnswer("key").has_value());
  EXPECT_TRUE(fake.externalSources.copyExternalSourcesEnabled(SyncDataType::Notes).sources);
}

TEST(FakeLog, KeepsLinesFromSeveralThreads) {
  FakePlatform fake;
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&] {
      for (int turn = 0; turn < 100; ++turn) fake.log.write("line");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(fake.log.count("line"), 400U);
  EXPECT_TRUE(fake.log.contains("in"));
  fake.log.clear();
  EXPECT_THAT(fake.log.lines(), IsEmpty());
}

TEST(TemporaryDirectory, IsFreshAndGoneAfterwards) {
  std::filesystem::path path;
  {
    const TemporaryDirectory directory;
    const TemporaryDirectory other;
    path = directory.path();
    EXPECT_NE(path, other.path());
    EXPECT_TRUE(std::filesystem::is_empty(path));
    std::filesystem::create_directories(path / "x/y");
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace accountsettings::testing
