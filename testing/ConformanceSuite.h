/// \file
/// ConformanceSuite holds the tests that every implementation of the platform has to pass, the fake
/// one and the real ones alike. Include it in one source file of a test program, and in another or
/// in the same derive from ConformanceDevice and define conformanceDevices():
///
///   class MyDevice : public ConformanceDevice { ... };
///   std::vector<ConformanceFactory> accountsettings::testing::conformanceDevices() {
///     return {{"Mine", [] { return std::make_unique<MyDevice>(); }}};
///   }
///
/// Each test makes a device of its own and drops it at the end.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <regex>
#include <set>
#include <string_view>
#include <thread>

#include "plist/Reader.h"
#include "testing/ConformanceDevice.h"

namespace accountsettings::testing {

class ConformanceTest : public ::testing::TestWithParam<ConformanceFactory> {
 protected:
  static constexpr const char* kDirectory = "/var/mobile/Library/Preferences";

  static Bytes bytesOf(std::string_view text) { return Bytes(text.begin(), text.end()); }
  static std::string inDirectory(const std::string& name) {
    return std::string(kDirectory) + "/" + name;
  }

  std::unique_ptr<ConformanceDevice> device = GetParam().make();
  Platform platform = device->platform();
};

// MARK: Files

class FilesConformance : public ConformanceTest {
 protected:
  void write(const std::string& target, std::string_view text) {
    const Status written = files.create(target, bytesOf(text));
    ASSERT_TRUE(written.ok()) << written.error().message;
  }
  /// The file's content, or the error's number in brackets.
  std::string content(const std::string& source) {
    const Result<Bytes> bytes = files.read(source);
    if (!bytes) return "[" + std::to_string(bytes.error().code) + "]";
    return std::string(bytes->begin(), bytes->end());
  }

  Files& files = platform.files;
  const std::string path = inDirectory("a");
  const std::string other = inDirectory("b");
};

TEST_P(FilesConformance, ReadsWhatWasCreated) {
  const std::string text("line\n\0\xFF tail", 13);
  write(path, text);
  EXPECT_EQ(content(path), text);
  write(other, "");
  EXPECT_EQ(content(other), "");
  const std::string large(3'000'001, 'x');
  write(path, large);
  EXPECT_EQ(content(path), large);
}

TEST_P(FilesConformance, CreateReplacesTheContentOfAnExistingFile) {
  write(path, "a long content");
  write(path, "short");
  EXPECT_EQ(content(path), "short");
}

TEST_P(FilesConformance, AMissingFileIsAnErrorThatNamesIt) {
  const Result<Bytes> bytes = files.read(path);
  ASSERT_FALSE(bytes.ok());
  EXPECT_EQ(bytes.error().code, ENOENT);
  EXPECT_THAT(bytes.error().message, ::testing::HasSubstr(path));
}

TEST_P(FilesConformance, OnlyRegularFilesAreRead) {
  EXPECT_FALSE(files.read(kDirectory).ok());
}

TEST_P(FilesConformance, CreateNeedsTheDirectoryAndNoDirectoryInItsPlace) {
  const Status missing = files.create(inDirectory("none/a"), bytesOf("x"));
  ASSERT_FALSE(missing.ok());
  EXPECT_EQ(missing.error().code, ENOENT);
  EXPECT_TRUE(files.exists(inDirectory("none")).isAbsent());
  EXPECT_FALSE(files.create(kDirectory, bytesOf("x")).ok());
  EXPECT_TRUE(files.isDirectory(kDirectory).isThere());
}

TEST_P(FilesConformance, TellsFilesAndDirectoriesAndNothingApart) {
  write(path, "x");
  EXPECT_TRUE(files.exists(path).isThere());
  EXPECT_TRUE(files.isDirectory(path).isAbsent());
  EXPECT_TRUE(files.exists(kDirectory).isThere());
  EXPECT_TRUE(files.isDirectory(kDirectory).isThere());
  EXPECT_TRUE(files.exists(other).isAbsent());
  EXPECT_TRUE(files.isDirectory(other).isAbsent());
  EXPECT_TRUE(files.exists(path + "/beneath a file").isAbsent());
}

TEST_P(FilesConformance, CopiesToWhereNothingIs) {
  write(path, "x");
  EXPECT_TRUE(files.copy(path, other).ok());
  EXPECT_EQ(content(other), "x");
  EXPECT_EQ(content(path), "x");
}

TEST_P(FilesConformance, ACopyNeverReplaces) {
  write(path, "new");
  write(other, "old");
  const Status copied = files.copy(path, other);
  ASSERT_FALSE(copied.ok());
  EXPECT_EQ(copied.error().code, EEXIST);
  EXPECT_EQ(content(other), "old");
}

TEST_P(FilesConformance, ACopyNeedsAFileAndADirectory) {
  const Status copied = files.copy(path, other);
  ASSERT_FALSE(copied.ok());
  EXPECT_EQ(copied.error().code, ENOENT);
  EXPECT_TRUE(files.exists(other).isAbsent());
  EXPECT_FALSE(files.copy(kDirectory, other).ok());
  EXPECT_TRUE(files.exists(other).isAbsent());
  write(path, "x");
  EXPECT_FALSE(files.copy(path, inDirectory("none/b")).ok());
  EXPECT_TRUE(files.exists(inDirectory("none")).isAbsent());
}

TEST_P(FilesConformance, RemovesFilesOnly) {
  write(path, "x");
  EXPECT_TRUE(files.remove(path).ok());
  EXPECT_TRUE(files.exists(path).isAbsent());
  const Status again = files.remove(path);
  ASSERT_FALSE(again.ok());
  EXPECT_EQ(again.error().code, ENOENT);
  EXPECT_FALSE(files.remove(kDirectory).ok());
  EXPECT_TRUE(files.isDirectory(kDirectory).isThere());
}

TEST_P(FilesConformance, MakesEachMissingDirectoryWithExactlyTheMode) {
  ASSERT_TRUE(files.makeDirectory(inDirectory("x/y/z"), 0777).ok());
  for (const char* name : {"x", "x/y", "x/y/z"}) {
    EXPECT_TRUE(files.isDirectory(inDirectory(name)).isThere());
    EXPECT_EQ(device->mode(inDirectory(name)), 0777U) << name;
  }
  ASSERT_TRUE(files.makeDirectory(inDirectory("x/y/w"), 0700).ok());
  EXPECT_EQ(device->mode(inDirectory("x/y/w")), 0700U);
  EXPECT_EQ(device->mode(inDirectory("x/y")), 0777U);
}

TEST_P(FilesConformance, ADirectoryThatExistsIsLeftAsItIs) {
  ASSERT_TRUE(files.makeDirectory(inDirectory("x"), 0750).ok());
  write(inDirectory("x/a"), "x");
  EXPECT_TRUE(files.makeDirectory(inDirectory("x"), 0700).ok());
  EXPECT_EQ(device->mode(inDirectory("x")), 0750U);
  EXPECT_EQ(content(inDirectory("x/a")), "x");
}

TEST_P(FilesConformance, AFileInTheWayOfADirectoryIsAnError) {
  write(path, "x");
  EXPECT_FALSE(files.makeDirectory(path, 0700).ok());
  EXPECT_FALSE(files.makeDirectory(path + "/y", 0700).ok());
  EXPECT_EQ(content(path), "x");
}

TEST_P(FilesConformance, WritesAtomicallyOverOldAndNew) {
  EXPECT_TRUE(files.writeAtomically(path, bytesOf("a long content")).ok());
  EXPECT_EQ(content(path), "a long content");
  EXPECT_TRUE(files.writeAtomically(path, bytesOf("short")).ok());
  EXPECT_EQ(content(path), "short");
  EXPECT_FALSE(files.writeAtomically(inDirectory("none/a"), bytesOf("x")).ok());
  EXPECT_FALSE(files.writeAtomically(kDirectory, bytesOf("x")).ok());
  EXPECT_TRUE(files.isDirectory(kDirectory).isThere());
}

TEST_P(FilesConformance, ATemporaryFileIsNewPrivateAndBesideItsDestination) {
  const auto first = files.makeTemporary(path);
  const auto second = files.makeTemporary(path);
  ASSERT_TRUE(first.ok()) << first.error().message;
  ASSERT_TRUE(second.ok()) << second.error().message;
  EXPECT_NE((*first)->path(), (*second)->path());
  for (const auto* file : {&*first, &*second}) {
    const std::string& temporary = (*file)->path();
    EXPECT_EQ(temporary.substr(0, temporary.rfind('/')), kDirectory);
    EXPECT_EQ(content(temporary), "");
    EXPECT_EQ(device->mode(temporary), 0600U);
  }
  EXPECT_TRUE(files.exists(path).isAbsent());
}

TEST_P(FilesConformance, ATemporaryFileNeedsTheDirectory) {
  EXPECT_FALSE(files.makeTemporary(inDirectory("none/a")).ok());
  EXPECT_TRUE(files.exists(inDirectory("none")).isAbsent());
}

TEST_P(FilesConformance, ATemporaryFileIsWrittenOwnedFlushedAndRenamed) {
  if (!device->mayGiveFilesAway()) GTEST_SKIP() << "giving files away needs root";
  write(path, "old");
  auto file = files.makeTemporary(path);
  ASSERT_TRUE(file.ok()) << file.error().message;
  const std::string temporary = (*file)->path();
  EXPECT_TRUE((*file)->write(bytesOf("new ")).ok());
  EXPECT_TRUE((*file)->write(bytesOf("content")).ok());
  const Status owned = (*file)->setOwner("mobile", "mobile");
  EXPECT_TRUE(owned.ok()) << owned.error().message;
  EXPECT_TRUE((*file)->flushAndClose().ok());
  EXPECT_EQ(content(path), "old");
  EXPECT_TRUE(files.rename(temporary, path).ok());
  EXPECT_TRUE(files.flushDirectoryOf(path).ok());
  EXPECT_EQ(content(path), "new content");
  EXPECT_EQ(device->mode(path), 0600U);
  EXPECT_TRUE(device->isOwnedBy(path, "mobile", "mobile"));
  EXPECT_TRUE(files.exists(temporary).isAbsent());
}

TEST_P(FilesConformance, AnUnknownOwnerIsAnErrorThatNamesIt) {
  const auto file = files.makeTemporary(path);
  ASSERT_TRUE(file.ok()) << file.error().message;
  const Status owner = (*file)->setOwner("no-such-account", "mobile");
  const Status group = (*file)->setOwner("mobile", "no-such-group");
  ASSERT_FALSE(owner.ok());
  ASSERT_FALSE(group.ok());
  EXPECT_THAT(owner.error().message, ::testing::HasSubstr("no-such-account"));
  EXPECT_THAT(group.error().message, ::testing::HasSubstr("no-such-group"));
  EXPECT_FALSE(device->isOwnedBy((*file)->path(), "mobile", "mobile"));
}

TEST_P(FilesConformance, ADroppedTemporaryFileStays) {
  auto file = files.makeTemporary(path);
  ASSERT_TRUE(file.ok()) << file.error().message;
  const std::string temporary = (*file)->path();
  ASSERT_TRUE((*file)->write(bytesOf("x")).ok());
  file->reset();
  EXPECT_EQ(content(temporary), "x");
  EXPECT_TRUE(files.remove(temporary).ok());
}

TEST_P(FilesConformance, AFailedRenameChangesNothing) {
  write(other, "old");
  const Status renamed = files.rename(path, other);
  ASSERT_FALSE(renamed.ok());
  EXPECT_EQ(renamed.error().code, ENOENT);
  EXPECT_EQ(content(other), "old");
  EXPECT_FALSE(files.rename(other, kDirectory).ok());
  EXPECT_FALSE(files.rename(other, inDirectory("none/b")).ok());
  EXPECT_EQ(content(other), "old");
  EXPECT_TRUE(files.isDirectory(kDirectory).isThere());
}

TEST_P(FilesConformance, OnlyAnExistingDirectoryCanBeFlushed) {
  EXPECT_TRUE(files.flushDirectoryOf(path).ok());
  EXPECT_FALSE(files.flushDirectoryOf(inDirectory("none/a")).ok());
}

TEST_P(FilesConformance, NoPathLeadsAboveTheRoot) {
  write("/../../tmp/a", "x");
  EXPECT_EQ(content("/tmp/a"), "x");
  EXPECT_EQ(content("/tmp/../../../tmp/./a"), "x");
}

// MARK: Locks

class LocksConformance : public ConformanceTest {
 protected:
  std::unique_ptr<ExclusiveFileLock> make(std::string_view name) {
    auto lock = platform.locks.create(name);
    EXPECT_TRUE(lock.ok()) << lock.error().message;
    return lock ? *std::move(lock) : nullptr;
  }
};

TEST_P(LocksConformance, IsFreeAgainAfterReleaseAndAfterDestruction) {
  auto lock = make("One");
  ASSERT_TRUE(lock->acquire().ok());
  lock->release();
  auto second = make("One");
  ASSERT_TRUE(second->acquire().ok());
  second.reset();
  EXPECT_TRUE(lock->acquire().ok());
}

TEST_P(LocksConformance, ReleasingWhatIsNotHeldFreesNobodyElse) {
  auto holder = make("One");
  auto bystander = make("One");
  bystander->release();
  ASSERT_TRUE(holder->acquire().ok());
  bystander->release();
  bystander.reset();
  auto waiting = make("One");
  std::atomic<bool> isReleased = false;
  std::thread waiter([&] {
    EXPECT_TRUE(waiting->acquire().ok());
    EXPECT_TRUE(isReleased);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  isReleased = true;
  holder->release();
  waiter.join();
}

TEST_P(LocksConformance, LocksOfDifferentNamesDoNotExcludeEachOther) {
  auto one = make("One");
  auto two = make("Two");
  EXPECT_TRUE(one->acquire().ok());
  EXPECT_TRUE(two->acquire().ok());
}

TEST_P(LocksConformance, OneHolderAtATime) {
  std::atomic<int> inside = 0;
  std::atomic<int> overlaps = 0;
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&, lock = make("One")] {
      for (int turn = 0; turn < 50; ++turn) {
        EXPECT_TRUE(lock->acquire().ok());
        if (inside.fetch_add(1) != 0) ++overlaps;
        std::this_thread::yield();
        inside.fetch_sub(1);
        lock->release();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(overlaps, 0);
}

// MARK: Processes

class ProcessesConformance : public ConformanceTest {
 protected:
  std::vector<Process> list() {
    const Result<std::vector<Process>> processes = platform.processes.list();
    EXPECT_TRUE(processes.ok()) << processes.error().message;
    return processes ? *processes : std::vector<Process>();
  }
  /// The identifiers of the processes with this command name.
  std::vector<int> named(const std::string& name) {
    std::vector<int> identifiers;
    for (const Process& process : list()) {
      if (process.commandName == name) identifiers.push_back(process.identifier);
    }
    return identifiers;
  }
};

TEST_P(ProcessesConformance, ListsWhatRunsInAscendingOrder) {
  const int first = device->startProcess("conformance-a");
  const int second = device->startProcess("conformance-a");
  EXPECT_THAT(named("conformance-a"), ::testing::UnorderedElementsAre(first, second));
  const std::vector<Process> processes = list();
  ASSERT_FALSE(processes.empty());
  EXPECT_TRUE(std::is_sorted(processes.begin(), processes.end(),
                             [](const Process& left, const Process& right) {
                               return left.identifier < right.identifier;
                             }));
  EXPECT_GE(processes.front().identifier, 1);
}

TEST_P(ProcessesConformance, AKilledProcessIsSoonNotRunning) {
  const int killed = device->startProcess("conformance-b");
  const int other = device->startProcess("conformance-c");
  ASSERT_TRUE(platform.processes.kill(killed).ok());
  // The end of a process takes the moment it takes; a minute is more than any machine needs.
  for (int turn = 0; turn < 6000 && !named("conformance-b").empty(); ++turn) {
    platform.eventLoop.run(std::chrono::duration<double>(0.01));
  }
  EXPECT_THAT(named("conformance-b"), ::testing::IsEmpty());
  EXPECT_THAT(named("conformance-c"), ::testing::ElementsAre(other));
}

TEST_P(ProcessesConformance, KnowsItsOwnIdentifier) {
  EXPECT_GE(platform.processes.ownIdentifier(), 1);
  EXPECT_EQ(platform.processes.ownIdentifier(), platform.processes.ownIdentifier());
  EXPECT_NE(platform.processes.ownIdentifier(), device->startProcess("conformance-d"));
}

// MARK: Preferences

class PreferencesConformance : public ConformanceTest {};

TEST_P(PreferencesConformance, AnswersNoneForWhatWasNeverSet) {
  EXPECT_FALSE(platform.preferences.copyAppPreference("com.example.none", "Key").has_value());
  EXPECT_FALSE(platform.preferences.ownDefault("Key").has_value());
  device->setPreference("com.example.some", "Key", 1);
  EXPECT_FALSE(platform.preferences.copyAppPreference("com.example.some", "Other").has_value());
  EXPECT_FALSE(platform.preferences.copyAppPreference("com.example.none", "Key").has_value());
}

TEST_P(PreferencesConformance, ReadsADomainAfresh) {
  device->setPreference("com.example.some", "Key", "old");
  EXPECT_EQ(platform.preferences.copyAppPreference("com.example.some", "Key"), PropertyList("old"));
  device->setPreference("com.example.some", "Key", Array{1, true});
  device->setPreference("com.example.some", "Other", 2);
  EXPECT_EQ(platform.preferences.copyAppPreference("com.example.some", "Key"),
            PropertyList(Array{1, true}));
  EXPECT_EQ(platform.preferences.copyAppPreference("com.example.some", "Other"), PropertyList(2));
}

TEST_P(PreferencesConformance, OwnDefaultsAreADomainOfTheirOwn) {
  device->setOwnDefault("Key", true);
  EXPECT_EQ(platform.preferences.ownDefault("Key"), PropertyList(true));
  EXPECT_FALSE(platform.preferences.copyAppPreference("com.example.some", "Key").has_value());
}

// MARK: Writer locks. A platform may be without them.

class WriterLocksConformance : public ConformanceTest {
 protected:
  const std::string path = inDirectory("a");
};

TEST_P(WriterLocksConformance, AFileIsHeldByOneAtATime) {
  auto first = platform.writerLocks.hold(path);
  ASSERT_TRUE(first.ok()) << first.error().message;
  if (*first == nullptr) GTEST_SKIP() << "this platform has no such locks";
  std::atomic<bool> letGo{false};
  std::thread other([&] {
    // It waits, and gives up or gets the file when it is free.
    const auto second = platform.writerLocks.hold(path);
    EXPECT_TRUE(!second.ok() || letGo);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  letGo = true;
  first->reset();
  other.join();
  EXPECT_TRUE(platform.writerLocks.hold(path).ok());
}

TEST_P(WriterLocksConformance, HoldingCreatesNothingAndNeedsNoFile) {
  const auto held = platform.writerLocks.hold(path);
  EXPECT_TRUE(held.ok());
  EXPECT_TRUE(platform.files.exists(path).isAbsent());
  EXPECT_TRUE(platform.writerLocks.hold(inDirectory("none/b")).ok());
  EXPECT_TRUE(platform.files.exists(inDirectory("none")).isAbsent());
}

// MARK: Watches. A platform may be without them.

class FileWatchesConformance : public ConformanceTest {
 protected:
  void SetUp() override {
    Result<std::unique_ptr<FileWatch>> begun = platform.fileWatches.watch(path);
    if (!begun && begun.error().code == ENOTSUP) GTEST_SKIP() << "this platform has no watches";
    ASSERT_TRUE(begun.ok()) << begun.error().message;
    watch = std::move(*begun);
  }

  void write(const std::string& target, std::string_view text) {
    const Status written = platform.files.create(target, bytesOf(text));
    ASSERT_TRUE(written.ok()) << written.error().message;
  }
  // Whether a change is told, and then nothing more: who is told for ever never rests.
  bool isToldOnce() {
    if (!takes()) return false;
    for (int turn = 0; turn < 100; ++turn) {
      if (!takes()) return true;
    }
    ADD_FAILURE() << "the same change is told again and again";
    return false;
  }
  bool takes() {
    const Result<bool> changed = watch->takeChange();
    EXPECT_TRUE(changed.ok()) << changed.error().message;
    return changed.ok() && *changed;
  }

  const std::string path = inDirectory("a");
  const std::string other = inDirectory("b");
  std::unique_ptr<FileWatch> watch;
};

TEST_P(FileWatchesConformance, TellsThatAFileCameWasWrittenReplacedAndRemoved) {
  write(path, "came");
  EXPECT_TRUE(isToldOnce()) << "came";
  write(path, "written");
  EXPECT_TRUE(isToldOnce()) << "written";
  write(other, "replaced");
  ASSERT_TRUE(platform.files.rename(other, path).ok());
  EXPECT_TRUE(isToldOnce()) << "replaced";
  ASSERT_TRUE(platform.files.remove(path).ok());
  EXPECT_TRUE(isToldOnce()) << "removed";
}

TEST_P(FileWatchesConformance, TellsOfASaveAsTheStoreDoesIt) {
  auto file = platform.files.makeTemporary(path);
  ASSERT_TRUE(file.ok()) << file.error().message;
  ASSERT_TRUE((*file)->write(bytesOf("saved")).ok());
  ASSERT_TRUE((*file)->flushAndClose().ok());
  ASSERT_TRUE(platform.files.rename((*file)->path(), path).ok());
  EXPECT_TRUE(isToldOnce());
}

TEST_P(FileWatchesConformance, ManyChangesAreToldAtOnce) {
  for (int turn = 0; turn < 50; ++turn) write(path, std::to_string(turn));
  EXPECT_TRUE(isToldOnce());
}

TEST_P(FileWatchesConformance, AWaitEndsWithAChangeThatCameBefore) {
  write(path, "came");
  const Result<bool> came = watch->waitForChange(std::chrono::minutes(1));
  ASSERT_TRUE(came.ok()) << came.error().message;
  EXPECT_TRUE(*came);
}

TEST_P(FileWatchesConformance, EachWatchIsToldForItself) {
  auto second = platform.fileWatches.watch(path);
  ASSERT_TRUE(second.ok()) << second.error().message;
  write(path, "came");
  EXPECT_TRUE(isToldOnce());
  watch = std::move(*second);
  EXPECT_TRUE(isToldOnce());
}

TEST_P(FileWatchesConformance, AMissingDirectoryIsAnErrorThatNamesTheFile) {
  const auto none = platform.fileWatches.watch(inDirectory("none/a"));
  ASSERT_FALSE(none.ok());
  EXPECT_THAT(none.error().message, ::testing::HasSubstr("none"));
}

// MARK: What is told of the device

class DeviceConformance : public ConformanceTest {};

TEST_P(DeviceConformance, DirectoriesAreAbsoluteAndStayAsTheyAre) {
  for (const bool home : {false, true}) {
    const auto ask = [&] {
      return home ? platform.directories.homeDirectory()
                  : platform.directories.systemRootDirectory();
    };
    const std::string directory = ask();
    EXPECT_TRUE(directory.starts_with('/')) << directory;
    EXPECT_TRUE(directory == "/" || !directory.ends_with('/')) << directory;
    EXPECT_EQ(ask(), directory);
  }
}

TEST_P(DeviceConformance, TheResourcesThatTheSystemNeedsAreDictionaries) {
  for (const char* name : {"AccountTypesProperties", "DataclassesProperties", "AccountCreators"}) {
    const std::optional<std::string> found = platform.resources.pathOf(name);
    ASSERT_TRUE(found.has_value()) << name;
    const Result<Bytes> bytes = platform.resources.read(*found);
    ASSERT_TRUE(bytes.ok()) << bytes.error().message;
    const Result<PropertyList> list = readPropertyList(*bytes);
    ASSERT_TRUE(list.ok()) << name << ": " << list.error().message;
    EXPECT_NE(list->dictionary(), nullptr) << name;
  }
  EXPECT_FALSE(platform.resources.pathOf("NoSuchResource").has_value());
}

TEST_P(DeviceConformance, TextsWithoutAnEntryAreTheDefaultOrTheKey) {
  EXPECT_EQ(platform.resources.localizedString("NO_SUCH_KEY", "Default", "Localizable"), "Default");
  EXPECT_EQ(platform.resources.localizedString("NO_SUCH_KEY", "", "Localizable"), "NO_SUCH_KEY");
}

TEST_P(DeviceConformance, TheLogTakesEveryText) {
  for (const std::string_view text : {std::string_view(), std::string_view("two\nlines"),
                                      std::string_view("%s \xFF\0 end", 10)}) {
    EXPECT_NO_THROW(platform.systemLog.write(text));
  }
  EXPECT_NO_THROW(platform.systemLog.write(std::string(100'000, 'x')));
}

TEST_P(DeviceConformance, NotificationsNeedNobodyToHear) {
  EXPECT_NO_THROW(platform.notifications.postSystemNotification("com.example.conformance"));
  EXPECT_NO_THROW(platform.notifications.postAppPreferencesChanged("com.example", "Key"));
  EXPECT_NO_THROW(platform.notifications.notifyCloudTabsToggled(true));
}

// MARK: Clock and identifiers

class ClockConformance : public ConformanceTest {};

TEST_P(ClockConformance, NeverRunsBackwards) {
  auto last = platform.clock.monotonic();
  for (int turn = 0; turn < 1000; ++turn) {
    const auto now = platform.clock.monotonic();
    EXPECT_GE(now, last);
    last = now;
  }
}

TEST_P(ClockConformance, MovesOnWhileTheEventLoopRuns) {
  const auto start = platform.clock.monotonic();
  for (int turn = 0; turn < 3; ++turn) {
    platform.eventLoop.run(std::chrono::duration<double>(0.001));
  }
  EXPECT_GT(platform.clock.monotonic(), start);
}

TEST_P(ClockConformance, ShowsAPossibleLocalTime) {
  const CalendarTime time = platform.clock.localTime();
  EXPECT_GE(time.year, 2000);
  EXPECT_LE(std::abs(time.weekBasedYear - time.year), 1);
  EXPECT_TRUE(time.month >= 1 && time.month <= 12) << time.month;
  EXPECT_TRUE(time.day >= 1 && time.day <= 31) << time.day;
  EXPECT_TRUE(time.hour >= 0 && time.hour <= 23) << time.hour;
  EXPECT_TRUE(time.minute >= 0 && time.minute <= 59) << time.minute;
  EXPECT_TRUE(time.second >= 0 && time.second <= 60) << time.second;
  EXPECT_TRUE(time.millisecond >= 0 && time.millisecond <= 999) << time.millisecond;
}

class IdentifiersConformance : public ConformanceTest {};

TEST_P(IdentifiersConformance, MakesDistinctUUIDsInUpperCase) {
  const std::regex form("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}");
  std::set<std::string> made;
  for (int turn = 0; turn < 200; ++turn) {
    const std::optional<std::string> identifier = platform.identifiers.makeUUID();
    ASSERT_TRUE(identifier.has_value());
    EXPECT_TRUE(std::regex_match(*identifier, form)) << *identifier;
    EXPECT_TRUE(made.insert(*identifier).second) << *identifier;
  }
}

inline std::string nameOfDevice(const ::testing::TestParamInfo<ConformanceFactory>& tested) {
  return tested.param.name;
}

INSTANTIATE_TEST_SUITE_P(All, FilesConformance, ::testing::ValuesIn(conformanceDevices()),
                         nameOfDevice);
INSTANTIATE_TEST_SUITE_P(All, LocksConformance, ::testing::ValuesIn(conformanceDevices()),
                         nameOfDevice);
INSTANTIATE_TEST_SUITE_P(All, ProcessesConformance, ::testing::ValuesIn(conformanceDevices()),
                         nameOfDevice);
INSTANTIATE_TEST_SUITE_P(All, PreferencesConformance, ::testing::ValuesIn(conformanceDevices()),
                         nameOfDevice);
INSTANTIATE_TEST_SUITE_P(All, WriterLocksConformance, ::testing::ValuesIn(conformanceDevices()),
                         nameOfDevice);
INSTANTIATE_TEST_SUITE_P(All, FileWatchesConformance, ::testing::ValuesIn(conformanceDevices()),
                         nameOfDevice);
INSTANTIATE_TEST_SUITE_P(All, DeviceConformance, ::testing::ValuesIn(conformanceDevices()),
                         nameOfDevice);
INSTANTIATE_TEST_SUITE_P(All, ClockConformance, ::testing::ValuesIn(conformanceDevices()),
                         nameOfDevice);
INSTANTIATE_TEST_SUITE_P(All, IdentifiersConformance, ::testing::ValuesIn(conformanceDevices()),
                         nameOfDevice);

}  // namespace accountsettings::testing
