// The rehearsal on a device of its own.
#include "tool/fleet/WarmUp.h"

#include <stdlib.h>

#include <exception>
#include <filesystem>

#include "plist/BinaryWriter.h"
#include "store/AccountsManager.h"
#include "tool/device/OpenedRoot.h"
#include "tool/frame/Output.h"
#include "tool/frame/Terminal.h"
#include "tool/migration/MigrationSummary.h"
#include "tool/values/ReadFile.h"

namespace accountsettings {

namespace {

namespace fs = std::filesystem;

// A directory that is there for as long as this lives; no path where none can be made.
class FreshDirectory {
 public:
  FreshDirectory() {
    std::error_code code;
    const fs::path place = fs::temp_directory_path(code);
    if (code) return;
    path_ = place / "accountsettings-XXXXXX";
    if (mkdtemp(path_.data()) == nullptr) path_.clear();
  }
  ~FreshDirectory() {
    std::error_code ignored;
    if (!path_.empty()) fs::remove_all(path_, ignored);
  }
  FreshDirectory(const FreshDirectory&) = delete;
  FreshDirectory& operator=(const FreshDirectory&) = delete;

  [[nodiscard]] const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
};

// Settings with an account, so that whatever is asked of one is loaded.
void writeSettings(const std::string& file) {
  const Dictionary account{{"Identifier", "A"}, {"Type", "POP"}, {"Class", "POPAccount"}};
  const Dictionary settings{{"Version", 0}, {"Accounts", Array{account}}};
  fs::create_directories(fs::path(file).parent_path());
  if (const Result<Bytes> bytes = writeBinary(settings)) writeFile(file, *bytes);
}

}  // namespace

void warmUp(const CommonOptions& common) {
  const FreshDirectory directory;
  if (directory.path().empty()) return;
  CommonOptions options = common;
  options.root = directory.path();
  options.log.reset();
  static_cast<void>(terminal::userName());
  try {
    OpenedRoot device(options, DefaultLog::Nowhere);
    writeSettings(device.shown(accountSettingsAccountsPath()));
    std::vector<std::string> notes;
    Output silence(notes);
    static_cast<void>(planMigration(device, silence));
  } catch (const std::exception&) {  // which the devices tell
  }
}

}  // namespace accountsettings
