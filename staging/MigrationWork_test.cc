// What a migration costs does not grow with the number of accounts where it need not: how often
// settings are parsed and serialised, and files opened, flushed and renamed. Whoever changes one of
// these numbers should know why.
#include <dlfcn.h>
#include <sys/syscall.h>

#include <chrono>
#include <cstdarg>
#include <cstddef>
#include <ostream>
#include <thread>

#include "staging/StagingTest.h"
#include "store/ShortCuts.h"

namespace {

struct SystemCalls {
  std::size_t opened = 0;  // beneath the root
  std::size_t flushed = 0;
  std::size_t renamed = 0;

  bool operator==(const SystemCalls&) const = default;
};
SystemCalls calls;

template <class Function>
Function* theReal(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

// These stand before the C library's in this program, for the host library too.
extern "C" int fsync(int descriptor) {
  ++calls.flushed;
  return theReal<int(int)>("fsync")(descriptor);
}
extern "C" int renameat(int from, const char* source, int to, const char* target) noexcept {
  ++calls.renamed;
  return theReal<int(int, const char*, int, const char*)>("renameat")(from, source, to, target);
}
// It takes as many arguments as there can be, and not every caller gives them.
extern "C" __attribute__((no_sanitize("address"))) long syscall(long number, ...) noexcept {
  va_list list;
  va_start(list, number);
  long arguments[6];
  for (long& each : arguments) each = va_arg(list, long);
  va_end(list);
  if (number == SYS_openat2) ++calls.opened;
  return theReal<long(long, ...)>("syscall")(number, arguments[0], arguments[1], arguments[2],
                                             arguments[3], arguments[4], arguments[5]);
}

namespace accountsettings::testing {
namespace {

struct Work {
  SettingsWork settings;
  SystemCalls calls;

  bool operator==(const Work&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Work& work) {
  return out << "parsed " << work.settings.parsed << ", serialized " << work.settings.serialized
             << ", stores " << work.settings.storesBuilt << ", opened " << work.calls.opened
             << ", flushed " << work.calls.flushed << ", renamed " << work.calls.renamed;
}

class MigrationWork : public StagingTest {
 protected:
  // Settings of the oldest version, with something for most steps.
  void putAccounts(std::size_t count) const {
    constexpr std::pair<const char*, const char*> kKinds[] = {
        {"CalDAV", "MobileCalDAVAccount"}, {"LDAP", "MobileLDAPAccount"}, {"Mail", "POPAccount"},
        {"Mail", "GmailAccount"},          {"SMTP", "SMTPAccount"},
    };
    Array accounts;
    for (std::size_t i = 0; i < count; ++i) {
      const auto& [type, accountClass] = kKinds[i % std::size(kKinds)];
      accounts.append(account(type, accountClass, ("account-" + std::to_string(i)).c_str()));
    }
    put(kSettings, {{"Version", 0}, {"Accounts", std::move(accounts)}});
  }

  using Way = MigrationOutcome (*)(LinuxHost& host, const StagedMigrationOptions& options);
  static MigrationOutcome migrate(LinuxHost& host, const StagedMigrationOptions& options) {
    return migrateStaged(host, options);
  }
  static MigrationOutcome plan(LinuxHost& host, const StagedMigrationOptions& options) {
    return planStaged(host, options);
  }

  // What is done to a new device with so many accounts.
  [[nodiscard]] Work workOf(std::size_t accounts, Way way = migrate) {
    makeDevice();
    putAccounts(accounts);
    // Files that were changed within a tick of the clock are read more often.
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    const auto host = newHost();
    const SettingsWork* settings = nullptr;
    StagedMigrationOptions options;
    options.progress = [&](std::string_view) { settings = &settingsWork(); };
    calls = {};
    const MigrationOutcome outcome = way(*host, options);
    const SystemCalls made = calls;
    EXPECT_EQ(outcome.kind, MigrationOutcome::Kind::Done) << outcome.problem;
    return {settings != nullptr ? *settings : SettingsWork(), made};
  }
};

TEST_F(MigrationWork, IsTheSameForTenAccountsAndForAThousand) {
  const Work ofTen = workOf(10);
  EXPECT_EQ(ofTen.settings.parsed, 1U);
  EXPECT_EQ(ofTen.settings.serialized, 3U);
  EXPECT_EQ(ofTen.settings.storesBuilt, 1U);
  EXPECT_EQ(ofTen, workOf(1000));
}

TEST_F(MigrationWork, OfAPlanIsTheSameForTenAccountsAndForAThousand) {
  const Work ofTen = workOf(10, plan);
  EXPECT_EQ(ofTen.settings.parsed, 1U);
  EXPECT_EQ(ofTen.settings.serialized, 3U);
  EXPECT_EQ(ofTen.settings.storesBuilt, 1U);
  EXPECT_EQ(ofTen.calls.flushed, 0U);
  EXPECT_EQ(ofTen.calls.renamed, 0U);
  EXPECT_EQ(ofTen, workOf(1000, plan));
}

TEST_F(MigrationWork, FlushesAndRenamesAreCounted) {
  const Work work = workOf(10);
  // The manifest, the settings, the copy, and the manifest with its outcome.
  EXPECT_EQ(work.calls.renamed, 4U);
  EXPECT_EQ(work.calls.flushed, 14U);
}

}  // namespace
}  // namespace accountsettings::testing
