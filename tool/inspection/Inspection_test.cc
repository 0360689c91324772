// Tests of what is read of a root while a migration runs there.
#include "tool/inspection/Inspection.h"

#include <gtest/gtest.h>

#include <functional>

#include "migration/MigrationPaths.h"
#include "platform/ForwardingFiles.h"
#include "platform/PlatformWith.h"
#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"
#include "testing/FakePlatform.h"

namespace accountsettings {
namespace {

// Files of a root where somebody acts after the first reading of one of them.
class BusyFiles : public ForwardingFiles {
 public:
  BusyFiles(Files& files, std::string path, std::function<void()> act)
      : ForwardingFiles(files), path_(std::move(path)), act_(std::move(act)) {}

  Result<Bytes> read(const std::string& path) override {
    Result<Bytes> bytes = ForwardingFiles::read(path);
    if (path == path_ && act_) std::exchange(act_, nullptr)();
    return bytes;
  }

 private:
  std::string path_;
  std::function<void()> act_;
};

class FilesOfRoot : public ::testing::Test {
 protected:
  void putLegacyMail() {
    fake.files.putPropertyList(mailAccountsPath(), Dictionary{{"MailAccounts", Array{}}});
  }
  InspectedFiles readWhile(const std::string& path, std::function<void()> act) {
    BusyFiles files(fake.files, path, std::move(act));
    ProcessContext context(platformWith(fake.platform(), {.files = &files}));
    const ProcessContext::Override current(context);
    return filesOfRoot();
  }
  void migrate() {
    fake.files.erase(mailAccountsPath());
    fake.files.putPropertyList(accountSettingsAccountsPath(),
                               Dictionary{{"Version", 12}, {"Accounts", Array{}}});
  }

  testing::FakePlatform fake;
  ProcessContext context_{fake.platform()};
  ProcessContext::Override current_{context_};
};

TEST_F(FilesOfRoot, AreReadAgainWhereAMigrationCameToItsEndMeanwhile) {
  for (const std::string& path :
       {daAccountPath(), mailAccountsPath(), accountSettingsAccountsPath()}) {
    fake.files.erase(accountSettingsAccountsPath());
    putLegacyMail();
    const InspectedFiles files = readWhile(path, [&] { migrate(); });
    EXPECT_TRUE(files.settings.content) << path;
    EXPECT_FALSE(files.legacyMail.content) << path;
  }
}

TEST_F(FilesOfRoot, AreThoseBeforeAMigrationThatBeginsLater) {
  putLegacyMail();
  const InspectedFiles files = readWhile("none", {});
  EXPECT_FALSE(files.settings.content);
  EXPECT_TRUE(files.legacyMail.content);
}

}  // namespace
}  // namespace accountsettings
