// FakeFiles loses in a crash what a disk would lose, and keeps what was flushed.
#include "testing/FakeFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace accountsettings::testing {
namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Optional;
using ::testing::UnorderedElementsAre;
using Names = CrashOutcome::Names;
using Content = CrashOutcome::Content;

Bytes bytesOf(std::string_view text) {
  return Bytes(text.begin(), text.end());
}

class FakeFilesTest : public ::testing::Test {
 protected:
  // Writes `text` under a temporary name beside /tmp/a.
  std::unique_ptr<TemporaryFile> temporary(std::string_view text) {
    auto file = files.makeTemporary("/tmp/a");
    EXPECT_TRUE(file.ok());
    EXPECT_TRUE((*file)->write(bytesOf(text)).ok());
    return *std::move(file);
  }

  Faults faults;
  FakeFiles files{faults};
};

// MARK: Crashes

TEST_F(FakeFilesTest, WhatATestPutThereSurvivesEveryCrash) {
  for (const CrashOutcome outcome : allCrashOutcomes()) {
    files.put("/tmp/deep/er/a", "content");
    files.crash(outcome);
    EXPECT_THAT(files.text("/tmp/deep/er/a"), Optional(std::string("content")));
    EXPECT_THAT(files.paths(), ElementsAre("/tmp/deep/er/a"));
  }
}

TEST_F(FakeFilesTest, ContentThatWasNotFlushedIsKeptLostCutOrGarbled) {
  const std::vector<std::pair<Content, std::string>> outcomes = {
      {Content::Kept, "new!"}, {Content::Lost, "old"}, {Content::CutShort, "ne"}};
  for (const auto& [content, expected] : outcomes) {
    files.put("/tmp/a", "old");
    ASSERT_TRUE(files.create("/tmp/a", bytesOf("new!")).ok());
    files.crash({Names::Kept, content});
    EXPECT_THAT(files.text("/tmp/a"), Optional(expected));
  }
  ASSERT_TRUE(files.create("/tmp/a", bytesOf("new!")).ok());
  files.crash({Names::Kept, Content::Garbled});
  const std::string garbled = files.text("/tmp/a").value();
  EXPECT_EQ(garbled.size(), 4U);
  EXPECT_THAT(garbled, Not(AnyOf("new!", "old")));
}

TEST_F(FakeFilesTest, ANewFileThatWasNeverFlushedIsLeftEmptyOrNotAtAll) {
  ASSERT_TRUE(files.create("/tmp/a", bytesOf("new")).ok());
  files.crash({Names::Kept, Content::Lost});
  EXPECT_THAT(files.text("/tmp/a"), Optional(std::string()));

  ASSERT_TRUE(files.create("/tmp/b", bytesOf("new")).ok());
  files.crash({Names::Undone, Content::Kept});
  EXPECT_THAT(files.paths(), ElementsAre("/tmp/a"));
}

TEST_F(FakeFilesTest, FlushedContentSurvivesEveryCrash) {
  for (const Content content :
       {Content::Kept, Content::Lost, Content::CutShort, Content::Garbled}) {
    files.put("/tmp/a", "old");
    const auto file = temporary("new");
    ASSERT_TRUE(file->flushAndClose().ok());
    ASSERT_TRUE(files.rename(file->path(), "/tmp/a").ok());
    files.crash({Names::Kept, content});
    EXPECT_THAT(files.text("/tmp/a"), Optional(std::string("new")));
  }
}

TEST_F(FakeFilesTest, ARenameThatWasNotFlushedMayBeUndone) {
  files.put("/tmp/a", "old");
  const auto file = temporary("new");
  ASSERT_TRUE(file->flushAndClose().ok());
  ASSERT_TRUE(files.rename(file->path(), "/tmp/a").ok());
  files.crash({Names::Undone, Content::Kept});
  EXPECT_THAT(files.text("/tmp/a"), Optional(std::string("old")));
}

TEST_F(FakeFilesTest, AFlushedDirectoryKeepsItsRename) {
  files.put("/tmp/a", "old");
  const auto file = temporary("new");
  ASSERT_TRUE(file->flushAndClose().ok());
  ASSERT_TRUE(files.rename(file->path(), "/tmp/a").ok());
  ASSERT_TRUE(files.flushDirectoryOf("/tmp/a").ok());
  files.crash({Names::Undone, Content::Lost});
  EXPECT_THAT(files.text("/tmp/a"), Optional(std::string("new")));
}

// The mistake that the model is there to find.
TEST_F(FakeFilesTest, ARenameBeforeTheFlushCanLoseBothContents) {
  files.put("/tmp/a", "old");
  const auto file = temporary("new");
  ASSERT_TRUE(files.rename(file->path(), "/tmp/a").ok());
  ASSERT_TRUE(files.flushDirectoryOf("/tmp/a").ok());
  files.crash({Names::Undone, Content::Lost});
  EXPECT_THAT(files.text("/tmp/a"), Optional(std::string()));
}

TEST_F(FakeFilesTest, ARemovalThatWasNotFlushedMayBeUndone) {
  files.put("/tmp/a", "old");
  ASSERT_TRUE(files.remove("/tmp/a").ok());
  files.crash({Names::Undone, Content::Kept});
  EXPECT_TRUE(files.has("/tmp/a"));
  ASSERT_TRUE(files.remove("/tmp/a").ok());
  files.crash({Names::Kept, Content::Kept});
  EXPECT_FALSE(files.has("/tmp/a"));
}

TEST_F(FakeFilesTest, ANewDirectoryMayBeUndoneWithAllItHolds) {
  ASSERT_TRUE(files.makeDirectory("/tmp/x", 0755).ok());
  ASSERT_TRUE(files.create("/tmp/x/a", bytesOf("x")).ok());
  files.crash({Names::Undone, Content::Kept});
  EXPECT_FALSE(files.has("/tmp/x"));
}

TEST_F(FakeFilesTest, AnAtomicWriteLeavesTheOldOrTheNewContent) {
  for (const CrashOutcome outcome : allCrashOutcomes()) {
    files.put("/tmp/a", "old");
    ASSERT_TRUE(files.writeAtomically("/tmp/a", bytesOf("new")).ok());
    files.crash(outcome);
    EXPECT_THAT(files.text("/tmp/a"),
                Optional(std::string(outcome.names == Names::Kept ? "new" : "old")));
  }
}

TEST_F(FakeFilesTest, PowerReturnsAfterACrash) {
  faults.cutPowerAt("files.remove");
  files.put("/tmp/a", "x");
  EXPECT_THROW((void)files.remove("/tmp/a"), PowerCut);
  EXPECT_FALSE(files.read("/tmp/a").ok());
  files.crash();
  EXPECT_TRUE(files.read("/tmp/a").ok());
  EXPECT_TRUE(files.remove("/tmp/a").ok());
}

// MARK: Failures

TEST_F(FakeFilesTest, AFailedLookFindsNeitherAFileNorItsAbsence) {
  files.put("/tmp/a", "a");
  for (const char* path : {"/tmp/a", "/tmp/none"}) {
    faults.failAt("files.exists", 1, EACCES);
    faults.failAt("files.isDirectory", 1, EIO);
    const Presence file = files.exists(path);
    const Presence directory = files.isDirectory(path);
    EXPECT_FALSE(file.isThere() || file.isAbsent());
    EXPECT_FALSE(directory.isThere() || directory.isAbsent());
    EXPECT_EQ(file.error()->code, EACCES);
    EXPECT_EQ(directory.error()->code, EIO);
  }
}

TEST_F(FakeFilesTest, EveryOperationFailsAtItsOwnPointAndChangesNothing) {
  files.put("/tmp/a", "a");
  const auto attempt = [this](const std::string& operation) {
    if (operation == "files.read") return files.read("/tmp/a").ok();
    if (operation == "files.exists") return files.exists("/tmp/a").error() == nullptr;
    if (operation == "files.isDirectory") return files.isDirectory("/tmp").error() == nullptr;
    if (operation == "files.copy") return files.copy("/tmp/a", "/tmp/b").ok();
    if (operation == "files.remove") return files.remove("/tmp/a").ok();
    if (operation == "files.create") return files.create("/tmp/b", bytesOf("b")).ok();
    if (operation == "files.makeDirectory") return files.makeDirectory("/tmp/x", 0755).ok();
    if (operation == "files.writeAtomically") {
      return files.writeAtomically("/tmp/a", bytesOf("b")).ok();
    }
    if (operation == "files.makeTemporary") return files.makeTemporary("/tmp/a").ok();
    if (operation == "files.rename") return files.rename("/tmp/a", "/tmp/b").ok();
    return files.flushDirectoryOf("/tmp/a").ok();
  };
  for (const std::string operation :
       {"files.read", "files.exists", "files.isDirectory", "files.copy", "files.remove",
        "files.create", "files.makeDirectory", "files.writeAtomically", "files.makeTemporary",
        "files.rename", "files.flushDirectoryOf"}) {
    faults.forgetCalls();
    faults.failAt(operation);
    EXPECT_FALSE(attempt(operation)) << operation;
    EXPECT_THAT(faults.operations(), ElementsAre(operation));
    EXPECT_THAT(files.paths(), ElementsAre("/tmp/a")) << operation;
    EXPECT_THAT(files.text("/tmp/a"), Optional(std::string("a"))) << operation;
  }
  EXPECT_FALSE(files.has("/tmp/x"));
}

TEST_F(FakeFilesTest, AFailingWriteLeavesHalfOfItsBytes) {
  const auto file = temporary("");
  faults.failAt("files.write", 1, ENOSPC);
  const Status written = file->write(bytesOf("12345678"));
  ASSERT_FALSE(written.ok());
  EXPECT_EQ(written.error().code, ENOSPC);
  EXPECT_THAT(files.text(file->path()), Optional(std::string("1234")));
}

TEST_F(FakeFilesTest, APowerCutInAWriteLeavesHalfOfItsBytes) {
  const auto file = temporary("");
  faults.cutPowerAt("files.write");
  EXPECT_THROW((void)file->write(bytesOf("12345678")), PowerCut);
  files.crash({Names::Kept, Content::Kept});
  EXPECT_THAT(files.text(file->path()), Optional(std::string("1234")));
}

TEST_F(FakeFilesTest, AFailingFlushClosesAndFlushesNothing) {
  const auto file = temporary("new");
  faults.failAt("files.flushAndClose");
  EXPECT_FALSE(file->flushAndClose().ok());
  EXPECT_EQ(files.openFiles(), 0);
  files.crash({Names::Kept, Content::Lost});
  EXPECT_THAT(files.text(file->path()), Optional(std::string()));
}

TEST_F(FakeFilesTest, AFailingOwnerChangeLeavesTheOwner) {
  const auto file = temporary("new");
  faults.failAt("files.setOwner");
  EXPECT_FALSE(file->setOwner("mobile", "mobile").ok());
  EXPECT_THAT(files.owner(file->path()),
              Optional(std::pair<std::string, std::string>("root", "root")));
}

// MARK: Temporary files

TEST_F(FakeFilesTest, ListsTheTemporaryFilesThatAreLeft) {
  const auto first = temporary("1");
  const auto second = temporary("2");
  const auto third = temporary("3");
  EXPECT_THAT(files.temporaryFilesLeft(),
              UnorderedElementsAre(first->path(), second->path(), third->path()));
  ASSERT_TRUE(files.rename(first->path(), "/tmp/a").ok());
  ASSERT_TRUE(files.remove(second->path()).ok());
  EXPECT_THAT(files.temporaryFilesLeft(), ElementsAre(third->path()));
}

TEST_F(FakeFilesTest, CountsTheFilesThatAreOpen) {
  auto first = temporary("1");
  auto second = temporary("2");
  EXPECT_EQ(files.openFiles(), 2);
  ASSERT_TRUE(first->flushAndClose().ok());
  EXPECT_EQ(files.openFiles(), 1);
  first.reset();
  EXPECT_EQ(files.openFiles(), 1);
  second.reset();
  EXPECT_EQ(files.openFiles(), 0);
}

TEST_F(FakeFilesTest, AClosedFileTakesNothingMore) {
  const auto file = temporary("x");
  ASSERT_TRUE(file->flushAndClose().ok());
  EXPECT_FALSE(file->write(bytesOf("y")).ok());
  EXPECT_FALSE(file->setOwner("mobile", "mobile").ok());
  EXPECT_FALSE(file->flushAndClose().ok());
  EXPECT_THAT(files.text(file->path()), Optional(std::string("x")));
}

TEST_F(FakeFilesTest, TemporaryFilesLieInTheConfiguredDirectory) {
  files.temporaryDirectory = "/private";
  const auto file = temporary("x");
  EXPECT_TRUE(file->path().starts_with("/private/"));
}

// MARK: Setting up and looking

TEST_F(FakeFilesTest, HoldsPropertyLists) {
  const Dictionary value{{"Version", 12}, {"Accounts", Array{}}};
  files.putPropertyList("/tmp/a.plist", value);
  EXPECT_THAT(files.propertyList("/tmp/a.plist"), Optional(PropertyList(value)));
  files.put("/tmp/b.plist", "no property list");
  EXPECT_FALSE(files.propertyList("/tmp/b.plist").has_value());
  EXPECT_FALSE(files.propertyList("/tmp/c.plist").has_value());
}

TEST_F(FakeFilesTest, LooksWithoutBeingCounted) {
  files.put("/tmp/a", "x");
  EXPECT_TRUE(files.has("/tmp/a"));
  EXPECT_TRUE(files.bytes("/tmp/a").has_value());
  files.erase("/tmp/a");
  files.erase("/tmp/never/there");
  EXPECT_THAT(files.paths(), IsEmpty());
  EXPECT_THAT(faults.calls(), IsEmpty());
}

TEST_F(FakeFilesTest, ListsFilesSortedByPrefix) {
  files.put("/tmp/b", "");
  files.put("/tmp/a/c", "");
  files.put("/private/x", "");
  EXPECT_THAT(files.paths(), ElementsAre("/private/x", "/tmp/a/c", "/tmp/b"));
  EXPECT_THAT(files.paths("/tmp/"), ElementsAre("/tmp/a/c", "/tmp/b"));
}

}  // namespace
}  // namespace accountsettings::testing
