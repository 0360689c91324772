// Tests of work that is staged in memory over the files of a device, and of its changes carried
// out.
#include "host/StagedFiles.h"

#include <fcntl.h>

#include <cerrno>

#include "host/CommitChange.h"
#include "host/Digest.h"
#include "host/HostTest.h"
#include "host/LinuxHost.h"
#include "host/RememberedFiles.h"

namespace accountsettings {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kFile = "/var/p/file";

class StagedFilesTest : public ::testing::Test {
 protected:
  StagedFilesTest() {
    device.write("etc/passwd", "mobile:x:501:502::/var/mobile:/bin/sh\n");
    device.write("etc/group", "mobile:x:502:\n");
    fs::create_directories(device.path("var/p"));
  }

  LinuxHost& host() {
    if (!host_) {
      HostOptions options;
      options.root = device.root();
      options.systemLog = &log;
      host_ = std::move(LinuxHost::create(options)).value();
    }
    return *host_;
  }
  RememberedFiles& before() {
    if (!before_) before_.emplace(host().files(), host().accountNames());
    return *before_;
  }
  StagedFiles& staged() {
    if (!staged_) staged_.emplace(before(), host());
    return *staged_;
  }

  // The text in a file as staged, or the error number in brackets.
  std::string content(const std::string& path) {
    const Result<Bytes> read = staged().read(path);
    return read ? testing::textOf(*read) : "[" + std::to_string(read.error().code) + "]";
  }
  // The changes in short: "write PATH 600 TEXT", "remove PATH", "directory PATH 777".
  std::vector<std::string> changes() {
    std::vector<std::string> texts;
    for (const FileChange& each : staged().changes()) {
      char mode[8];
      std::snprintf(mode, sizeof mode, "%o", each.mode);
      switch (each.kind) {
        case FileChange::Kind::Write:
          texts.push_back("write " + each.path + " " + mode + " " + testing::textOf(*each.bytes));
          break;
        case FileChange::Kind::Remove:
          texts.push_back("remove " + each.path);
          break;
        case FileChange::Kind::MakeDirectory:
          texts.push_back("directory " + each.path + " " + mode);
      }
    }
    return texts;
  }
  Status save(const std::string& path, std::string_view text) {
    const auto temporary = staged().makeTemporary(path);
    if (!temporary) return temporary.error();
    if (Status done = (*temporary)->write(testing::bytesOf(text)); !done) return done;
    if (Status done = (*temporary)->setOwner("mobile", "mobile"); !done) return done;
    if (Status done = (*temporary)->flushAndClose(); !done) return done;
    return staged().rename((*temporary)->path(), path);
  }

  testing::DeviceRoot device;
  testing::KeptLog log;

 private:
  std::unique_ptr<LinuxHost> host_;
  std::optional<RememberedFiles> before_;
  std::optional<StagedFiles> staged_;
};

TEST_F(StagedFilesTest, TheDeviceIsReadUntilSomethingIsWrittenAndStaysAsItIs) {
  device.write(kFile, "real");
  EXPECT_EQ(content(kFile), "real");
  ASSERT_TRUE(staged().writeAtomically(kFile, testing::bytesOf("new")));
  EXPECT_EQ(content(kFile), "new");
  EXPECT_EQ(device.read(kFile), "real");
  EXPECT_THAT(changes(), ElementsAre("write /var/p/file 600 new"));
}

TEST_F(StagedFilesTest, WhatIsRemovedIsGoneAndWhatComesAndGoesIsNoChange) {
  device.write(kFile, "real");
  ASSERT_TRUE(staged().remove(kFile));
  EXPECT_FALSE(staged().exists(kFile).isThere());
  EXPECT_EQ(staged().remove(kFile).error().code, ENOENT);
  ASSERT_TRUE(staged().create("/var/p/sentinel", testing::bytesOf("x")));
  EXPECT_TRUE(staged().exists("/var/p/sentinel").isThere());
  ASSERT_TRUE(staged().remove("/var/p/sentinel"));
  EXPECT_THAT(changes(), ElementsAre("remove /var/p/file"));
}

TEST_F(StagedFilesTest, SevenSavesAreOneChangeWithTheOwnerThatTheyGive) {
  for (const char* text : {"1", "2", "3", "4", "5", "6", "7"}) ASSERT_TRUE(save(kFile, text));
  ASSERT_EQ(staged().changes().size(), 1U);
  const FileChange change = staged().changes().front();
  EXPECT_EQ(testing::textOf(*change.bytes), "7");
  EXPECT_EQ(change.owner, (FileOwner{501, 502}));
  EXPECT_THAT(changes(), ElementsAre("write /var/p/file 600 7"));
}

TEST_F(StagedFilesTest, ASaveOfSharedBytesKeepsTheseVeryBytes) {
  const auto bytes = std::make_shared<const Bytes>(testing::bytesOf("shared"));
  const auto file = std::move(staged().makeTemporary(kFile)).value();
  ASSERT_TRUE(file->writeShared(bytes));
  ASSERT_TRUE(staged().rename(file->path(), kFile));
  EXPECT_EQ(staged().changes().front().bytes, bytes);
  EXPECT_EQ(staged().readShared(kFile).value(), bytes);
  const auto equal = std::make_shared<const Bytes>(*bytes);
  EXPECT_EQ(staged().readExpecting(kFile, equal).value(), equal);
  EXPECT_EQ(staged().readExpecting(kFile, nullptr).value(), bytes);
}

TEST_F(StagedFilesTest, WhatAFileShouldHoldIsAnsweredWhereItHoldsThat) {
  const auto meant = std::make_shared<const Bytes>(testing::bytesOf("meant"));
  device.write(kFile, "meant");
  device.write("/var/p/other", "other");
  before().expect(kFile, meant);
  before().expect("/var/p/other", meant);
  EXPECT_EQ(before().readShared(kFile).value(), meant);
  EXPECT_EQ(testing::textOf(*before().readShared("/var/p/other").value()), "other");
}

TEST_F(StagedFilesTest, ChangesKeepTheirOrderAndModes) {
  device.write(kFile, "real");
  ::chmod(device.path(kFile).c_str(), 0640);
  ASSERT_TRUE(staged().copy(kFile, "/var/p/copy"));
  ASSERT_TRUE(staged().makeDirectory("/var/a/b", 0777));
  ASSERT_TRUE(save(kFile, "new"));
  ASSERT_TRUE(staged().writeAtomically("/var/a/b/record", testing::bytesOf("r")));
  EXPECT_THAT(changes(), ElementsAre("write /var/p/copy 640 real", "directory /var/a 777",
                                     "directory /var/a/b 777", "write /var/p/file 600 new",
                                     "write /var/a/b/record 600 r"));
  EXPECT_EQ(staged().copy(kFile, "/var/p/copy").error().code, EEXIST);
}

TEST_F(StagedFilesTest, WhatIsWrittenInPlaceStaysWhoseItIs) {
  device.write(kFile, "real");
  ::chmod(device.path(kFile).c_str(), 0640);
  const FileAttributes there = host().files().attributes(kFile).value();
  fs::create_symlink("file", device.path("var/p/link"));
  ASSERT_TRUE(staged().create(kFile, testing::bytesOf("1")));
  EXPECT_EQ(staged().changes().front().owner, (FileOwner{there.owner, there.group}));
  ASSERT_TRUE(save(kFile, "2"));
  ASSERT_TRUE(staged().create(kFile, testing::bytesOf("3")));
  EXPECT_EQ(staged().changes().front().owner, (FileOwner{501, 502})) << "the save gave it away";
  EXPECT_EQ(staged().create("/var/p/link", testing::bytesOf("x")).error().code, ELOOP);
  EXPECT_THAT(changes(), ElementsAre("write /var/p/file 600 3"));
}

TEST_F(StagedFilesTest, ADanglingLinkKeepsACopyOutAsOnTheDevice) {
  device.write(kFile, "real");
  fs::create_symlink("nowhere", device.path("var/p/copy"));
  EXPECT_FALSE(staged().exists("/var/p/copy").isThere());
  EXPECT_EQ(staged().copy(kFile, "/var/p/copy").error().code, EEXIST);
}

TEST_F(StagedFilesTest, ADanglingLinkKeepsADirectoryOutAsOnTheDevice) {
  fs::create_symlink("nowhere", device.path("var/p/records"));
  EXPECT_EQ(staged().makeDirectory("/var/p/records", 0777).error().code, EEXIST);
  EXPECT_EQ(staged().makeDirectory("/var/p/records/deeper", 0777).error().code, EEXIST);
  EXPECT_EQ(staged().makeDirectory("/var/p/records", 0777).error().code,
            host().files().makeDirectory("/var/p/records", 0777).error().code);
}

TEST_F(StagedFilesTest, FilesNeedADirectoryAndDirectoriesAreNoFiles) {
  EXPECT_EQ(staged().create("/nowhere/file", testing::bytesOf("x")).error().code, ENOENT);
  EXPECT_EQ(staged().remove("/var").error().code, EISDIR);
  EXPECT_EQ(staged().create("/var", testing::bytesOf("x")).error().code, EISDIR);
  EXPECT_EQ(content("/var"), "[" + std::to_string(EISDIR) + "]");
  ASSERT_TRUE(staged().makeDirectory("/nowhere", 0777));
  EXPECT_TRUE(staged().isDirectory("/nowhere").isThere());
  EXPECT_TRUE(staged().create("/nowhere/file", testing::bytesOf("x")));
}

TEST_F(StagedFilesTest, ASaveThatWouldFailFailsWhileItIsStaged) {
  device.write("etc/passwd", "nobody:x:1:1::/:/bin/sh\n");
  EXPECT_FALSE(save(kFile, "x"));
  ASSERT_TRUE(staged().saveFailure().has_value());
  EXPECT_NE(staged().saveFailure()->message.find("there is no account \"mobile\""),
            std::string::npos);
}

TEST_F(StagedFilesTest, WithoutPrivilegeASaveCanOnlyGiveToOneselfAndOnesGroups) {
  AS_NEEDS_ROOT();
  using testing::kOtherUser;
  const std::string directory = device.path("var/p");
  ASSERT_EQ(::chown(directory.c_str(), kOtherUser, 80), 0);
  const auto codeFor = [&](unsigned owner, unsigned group) {
    const Status possible = host().saveCanSucceed(kFile, FileOwner{owner, group});
    return possible ? 0 : possible.error().code;
  };
  const auto codes = [&] {
    std::vector<int> each;
    for (const unsigned group : {kOtherUser, 77U, 78U, 79U, 80U, 0U}) {
      each.push_back(codeFor(kOtherUser, group));
    }
    each.push_back(codeFor(501, kOtherUser));
    return each;
  };
  const std::vector<int> anything(7, 0);
  EXPECT_EQ(codes(), anything);
  const auto asMember = [&](const std::vector<int>& expected) {
    return testing::inChild([&] {
      const std::vector<gid_t> groups{77, 78, 79};
      const bool changed = ::setgroups(groups.size(), groups.data()) == 0 &&
                           ::setresgid(kOtherUser, kOtherUser, kOtherUser) == 0 &&
                           ::setresuid(kOtherUser, kOtherUser, kOtherUser) == 0;
      if (!changed) return 99;
      return codes() == expected ? 0 : 1;
    });
  };
  EXPECT_EQ(asMember({0, 0, 0, 0, EPERM, EPERM, EPERM}), 0);
  ASSERT_EQ(::chmod(directory.c_str(), 02755), 0);
  EXPECT_EQ(asMember({0, 0, 0, 0, 0, EPERM, EPERM}), 0) << "of this directory's group by itself";
}

TEST_F(StagedFilesTest, TheDirectoryForTemporaryFilesDecidesWhetherASaveSucceeds) {
  device.write("etc/accountsettings/host.plist",
               "<plist><dict><key>TemporaryDirectory</key><string>/none</string></dict></plist>");
  EXPECT_EQ(save(kFile, "x").error().code, ENOENT);
  fs::create_directories(device.path("none"));
}

TEST_F(StagedFilesTest, WhatWasReadIsKnownAgainAndEveryChangeOfItIsSeen) {
  device.write(kFile, "real");
  EXPECT_EQ(content(kFile), "real");
  EXPECT_FALSE(staged().exists("/var/p/none").isThere());
  EXPECT_TRUE(before().ownerNamed("mobile", "mobile").ok());
  EXPECT_EQ(before().firstChange(), std::nullopt);
  device.write(kFile, "REAL");
  EXPECT_EQ(content(kFile), "real") << "each file is read once";
  EXPECT_EQ(before().firstChange(), kFile);
  device.write(kFile, "real");
  device.write("/var/p/none", "");
  EXPECT_EQ(before().firstChange(), "/var/p/none");
  fs::remove(device.path("var/p/none"));
  device.write("etc/passwd", "mobile:x:511:502::/var/mobile:/bin/sh\n");
  EXPECT_EQ(before().firstChange(), "the owner \"mobile\", group \"mobile\"");
}

TEST_F(StagedFilesTest, AnErrorIsNoAbsence) {
  fs::create_symlink("loop", device.path("var/p/loop"));
  EXPECT_NE(staged().exists("/var/p/loop").error(), nullptr);
  EXPECT_TRUE(staged().exists("/var/p/none").isAbsent());
  EXPECT_TRUE(staged().exists("/var/p/none/deeper").isAbsent());
  ASSERT_EQ(before().failures().size(), 1U);
  EXPECT_EQ(before().failures().front().path, "/var/p/loop");
  EXPECT_EQ(before().failures().front().error.code, ELOOP);
}

// MARK: Changes carried out

TEST_F(StagedFilesTest, AChangeIsCarriedOutWithBytesModeAndOwnerAndThenIsAsMeant) {
  AS_NEEDS_ROOT();
  device.write("/var/p/gone", "x");
  ASSERT_TRUE(save(kFile, "new"));
  ASSERT_TRUE(staged().remove("/var/p/gone"));
  ASSERT_TRUE(staged().makeDirectory("/var/a", 0777));
  ASSERT_TRUE(staged().create("/var/a/own", testing::bytesOf("own")));
  for (const FileChange& each : staged().changes()) {
    EXPECT_FALSE(isAsMeant(before(), each).value()) << each.path;
    ASSERT_TRUE(commitChange(host().files(), each));
  }
  RememberedFiles after(host().files(), host().accountNames());
  for (const FileChange& each : staged().changes()) {
    EXPECT_TRUE(isAsMeant(after, each).value()) << each.path;
  }
  EXPECT_EQ(device.read(kFile), "new");
  EXPECT_EQ(testing::modeOf(device.path("var/a")), 0777U);
  EXPECT_EQ(host().files().attributes(kFile)->owner, 501U);
  EXPECT_EQ(host().files().attributes("/var/a/own")->owner, ::geteuid());
  EXPECT_FALSE(fs::exists(device.path("var/p/gone")));
}

TEST_F(StagedFilesTest, AnotherModeOrOwnerOrByteIsNotAsMeant) {
  AS_NEEDS_ROOT();
  FileChange change{FileChange::Kind::Write, kFile,
                    std::make_shared<const Bytes>(testing::bytesOf("new")), 0600,
                    FileOwner{501, 502}};
  ASSERT_TRUE(commitChange(host().files(), change));
  const auto asMeant = [&] {
    RememberedFiles now(host().files(), host().accountNames());
    return isAsMeant(now, change).value();
  };
  EXPECT_TRUE(asMeant());
  ::chmod(device.path(kFile).c_str(), 0640);
  EXPECT_FALSE(asMeant());
  ::chmod(device.path(kFile).c_str(), 0600);
  ASSERT_EQ(::chown(device.path(kFile).c_str(), 501, 7), 0);
  EXPECT_FALSE(asMeant());
  ASSERT_EQ(::chown(device.path(kFile).c_str(), 501, 502), 0);
  device.write(kFile, "neu");
  EXPECT_FALSE(asMeant());
}

TEST_F(StagedFilesTest, WithoutANamedOwnerAFileBelongsToWhomTheKernelGivesIt) {
  AS_NEEDS_ROOT();
  for (const unsigned mode : {0755U, 02755U}) {
    const std::string directory = device.path("var/p");
    ASSERT_EQ(::chown(directory.c_str(), 501, 502), 0);
    ASSERT_EQ(::chmod(directory.c_str(), mode), 0);
    fs::remove(device.path(kFile));
    const FileChange change{FileChange::Kind::Write, kFile,
                            std::make_shared<const Bytes>(testing::bytesOf("new")), 0600,
                            std::nullopt};
    ASSERT_TRUE(commitChange(host().files(), change));
    const auto asMeant = [&] {
      RememberedFiles now(host().files(), host().accountNames());
      return isAsMeant(now, change).value();
    };
    EXPECT_TRUE(asMeant()) << mode;
    ASSERT_EQ(::chown(device.path(kFile).c_str(), 0, 7), 0);
    EXPECT_FALSE(asMeant()) << mode;
  }
}

TEST_F(StagedFilesTest, ANewFileIsMadeAtItsPathOrNotAtAll) {
  const FileOwner owner{::geteuid(), ::getegid()};
  const std::string path = host().files().freshPathBeside(kFile).value();
  EXPECT_TRUE(LinuxFiles::isTemporaryName(fs::path(path).filename().string()));
  EXPECT_TRUE(host().files().writeNew(path, testing::bytesOf("new"), 0640, owner));
  EXPECT_EQ(testing::modeOf(device.path(path)), 0640U);
  const auto writeOther = [&] {
    return host().files().writeNew(path, testing::bytesOf("other"), 0640, owner);
  };
  EXPECT_EQ(writeOther().error().code, EEXIST);
  EXPECT_EQ(device.read(path), "new");
}

TEST(Digest, IsTheSha256Sum) {
  EXPECT_EQ(sha256({}).value(), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(sha256(testing::bytesOf("abc")).value(),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace accountsettings
