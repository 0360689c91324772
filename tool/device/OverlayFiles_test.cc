// Tests of the files that are read from a device and written to memory.
#include "tool/device/OverlayFiles.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "testing/FakeFiles.h"

namespace accountsettings {
namespace {

class OverlayFilesTest : public ::testing::Test {
 protected:
  static Bytes bytes(std::string_view text) { return {text.begin(), text.end()}; }

  // The text in a file of the overlay, or the error number in brackets.
  std::string content(const std::string& path) {
    const Result<Bytes> read = overlay_.read(path);
    return read ? std::string(read->begin(), read->end())
                : "[" + std::to_string(read.error().code) + "]";
  }

  testing::Faults faults_;
  testing::FakeFiles real_{faults_};
  OverlayFiles overlay_{real_};
  const std::string file_ = "/var/mobile/Library/Mail/file";
  const std::string missing_ = "[" + std::to_string(ENOENT) + "]";
};

TEST_F(OverlayFilesTest, ReadsTheRealFilesUntilTheyAreWritten) {
  real_.put(file_, "real");
  EXPECT_EQ(content(file_), "real");
  ASSERT_TRUE(overlay_.writeAtomically(file_, bytes("new")));
  EXPECT_EQ(content(file_), "new");
  EXPECT_EQ(real_.text(file_), "real");
}

TEST_F(OverlayFilesTest, WhatIsRemovedIsGoneAndCanBeMadeAgain) {
  real_.put(file_, "real");
  ASSERT_TRUE(overlay_.remove(file_));
  EXPECT_TRUE(overlay_.exists(file_).isAbsent());
  EXPECT_EQ(content(file_), missing_);
  EXPECT_EQ(overlay_.remove(file_).error().code, ENOENT);
  ASSERT_TRUE(overlay_.create(file_, bytes("again")));
  EXPECT_EQ(content(file_), "again");
  EXPECT_EQ(real_.text(file_), "real");
}

TEST_F(OverlayFilesTest, ASaveGoesThroughATemporaryFileThatLeavesNoTrace) {
  real_.put(file_, "real");
  const auto temporary = std::move(overlay_.makeTemporary(file_)).value();
  ASSERT_TRUE(temporary->write(bytes("saved")));
  ASSERT_TRUE(temporary->setOwner("mobile", "mobile"));
  ASSERT_TRUE(temporary->flushAndClose());
  ASSERT_TRUE(overlay_.rename(temporary->path(), file_));
  EXPECT_EQ(content(file_), "saved");
  EXPECT_EQ(overlay_.changes().size(), 1U);
  EXPECT_EQ(real_.text(file_), "real");
}

TEST_F(OverlayFilesTest, FilesNeedADirectory) {
  const std::string lost = "/nowhere/file";
  EXPECT_EQ(overlay_.create(lost, bytes("x")).error().code, ENOENT);
  EXPECT_EQ(overlay_.makeTemporary(lost).error().code, ENOENT);
  ASSERT_TRUE(overlay_.makeDirectory("/nowhere/deep", 0777));
  EXPECT_TRUE(overlay_.create(lost, bytes("x")));
  EXPECT_TRUE(overlay_.isDirectory("/nowhere").isThere());
  EXPECT_TRUE(real_.isDirectory("/nowhere").isAbsent());
}

TEST_F(OverlayFilesTest, CopiesOnlyToWhereNothingIs) {
  real_.put(file_, "real");
  ASSERT_TRUE(overlay_.copy(file_, file_ + "2"));
  EXPECT_EQ(content(file_ + "2"), "real");
  EXPECT_EQ(overlay_.copy(file_, file_ + "2").error().code, EEXIST);
  EXPECT_EQ(overlay_.copy("/none", file_ + "3").error().code, ENOENT);
}

TEST_F(OverlayFilesTest, ARenamedRealFileIsGoneFromItsOldPlace) {
  real_.put(file_, "real");
  ASSERT_TRUE(overlay_.rename(file_, file_ + "2"));
  EXPECT_TRUE(overlay_.exists(file_).isAbsent());
  EXPECT_EQ(content(file_ + "2"), "real");
}

TEST_F(OverlayFilesTest, DirectoriesAreNoFiles) {
  EXPECT_EQ(overlay_.remove("/var/mobile").error().code, EISDIR);
  EXPECT_EQ(overlay_.create("/var/mobile", bytes("x")).error().code, EISDIR);
  real_.put(file_, "real");
  EXPECT_EQ(overlay_.makeDirectory(file_, 0777).error().code, ENOTDIR);
}

}  // namespace
}  // namespace accountsettings
