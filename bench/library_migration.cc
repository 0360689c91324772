// Migrates a device root by the library alone, in a process that has done nothing else, and tells
// as JSON what that took: the processor time in seconds, the peak of memory, and how often settings
// were parsed, serialised and built into a store.
//
// usage: library_migration ROOT      where settings of an old version wait for it
#include <cstdio>
#include <string_view>
#include <utility>

#include "bench/ProcessorTime.h"
#include "host/LinuxHost.h"
#include "platform/MigratorBase.h"
#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"
#include "store/ShortCuts.h"

namespace accountsettings {
namespace {

class NoLog : public SystemLog {
 public:
  void write(std::string_view) override {}
};

int migrate(const char* root) {
  NoLog log;
  HostOptions options;
  options.root = root;
  options.systemLog = &log;
  const auto host = LinuxHost::create(std::move(options));
  if (!host) {
    std::fprintf(stderr, "%s\n", host.error().message.c_str());
    return 1;
  }
  ProcessContext context((*host)->platform());
  const ProcessContext::Override current(context);

  const double start = processorTime();
  AccountsManager::_migrateAccountsIfNeeded();
  const double seconds = processorTime() - start;
  const SettingsWork& work = settingsWork();
  std::printf(
      "{\"seconds\": %.6f, \"peak\": %.0f, \"parsed\": %zu, \"serialized\": %zu, "
      "\"stores\": %zu}\n",
      seconds, peakMemory(), work.parsed, work.serialized, work.storesBuilt);
  return work.serialized > 0 ? 0 : 1;
}

}  // namespace
}  // namespace accountsettings

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  return accountsettings::migrate(argv[1]);
}
