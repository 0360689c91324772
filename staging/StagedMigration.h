/// \file
/// StagedMigration is what one migration of a device does, found out by running the plug-in's
/// migrator once on staged files: everything is read from the device, and nothing is changed. It
/// can be looked at, judged, and committed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/FileChange.h"
#include "platform/Platform.h"
#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

class HeldLog;
class HeldNotices;
class LinuxHost;
class RememberedFiles;
class StagedFiles;
struct AssumedFile;

/// A conversion or version step that ran, with the accounts that it was given and those that it
/// left, as lists of the top-level accounts' property dictionaries.
struct StagedStep {
  std::string selector;  ///< for example "_migrateAccountsFrom7A149:"
  Array before;
  Array after;
  bool result = true;
};

/// Told of each step's selector before it runs, and of an empty one when it is over.
using StepProgress = std::function<void(std::string_view selector)>;

/// Why nothing came to be staged.
struct StagingFailure {
  enum class Kind {
    NoPlugIn,    ///< the plug-in bundle is missing or damaged
    Unreadable,  ///< something that the migration needs to know cannot be read
    CannotSave   ///< the settings could not be saved
  };
  Kind kind = Kind::Unreadable;
  std::string path;  ///< the device path concerned; empty for the plug-in
  Error error;

  [[nodiscard]] bool isOfDevice() const noexcept { return kind != Kind::NoPlugIn; }
};

/// Use it from one thread, and only as long as its host lives.
class StagedMigration {
 public:
  /// Runs the migrator on the files of `host`. Takes no lock and creates nothing. Either it is a
  /// migration that could be committed, or failure() tells why not.
  [[nodiscard]] static std::shared_ptr<StagedMigration> stage(LinuxHost& host,
                                                              const StepProgress& progress = {});
  /// The same with other services than the host's, files aside. `size` is how the library knows
  /// which services the caller's Platform has; AssertionFailure where they are others than its own.
  [[nodiscard]] static std::shared_ptr<StagedMigration> stage(LinuxHost& host,
                                                              const Platform& platform,
                                                              const StepProgress& progress,
                                                              std::size_t size = sizeof(Platform));
  ~StagedMigration();
  StagedMigration(const StagedMigration&) = delete;
  StagedMigration& operator=(const StagedMigration&) = delete;

  [[nodiscard]] const std::optional<StagingFailure>& failure() const noexcept;
  /// The migrator's answer.
  [[nodiscard]] bool result() const noexcept;
  [[nodiscard]] const std::vector<StagedStep>& steps() const noexcept;

  /// What differs from the device, in the order of the commit: the legacy files go, the settings
  /// are replaced, the sentinel goes, the rest follows as the system does it. Empty where nothing
  /// would change but what is kept for diagnosis, the copy of the settings and the record: then
  /// there is nothing to copy and nothing to record.
  [[nodiscard]] const std::vector<FileChange>& changes() const noexcept;
  /// The change at `path`; nullptr where it stays as it is.
  [[nodiscard]] const FileChange* changeAt(const std::string& path) const;

  /// The settings' dictionary as it was and as it would be; none where there is none.
  ///@{
  [[nodiscard]] const std::optional<Dictionary>& settingsBefore() const noexcept;
  [[nodiscard]] const std::optional<Dictionary>& settingsAfter() const noexcept;
  ///@}
  /// The settings' "Version" as it was; none where they tell none.
  [[nodiscard]] std::optional<std::int64_t> versionBefore() const;

  /// The first thing that was read or asked and is answered in another way now, as messages name
  /// it; or none.
  [[nodiscard]] std::optional<std::string> firstChange();

  // MARK: Internal - for the command of the same version, whose headers are not installed.

  /// stage(), with `assumed` taken for what the device has.
  [[nodiscard]] static std::shared_ptr<StagedMigration> stageAssuming(
      LinuxHost& host, const Platform& platform, const StepProgress& progress,
      const std::vector<AssumedFile>& assumed);
  /// The device's files as they were read. Ask it for more, and that is remembered and compared
  /// too; looking through it costs no second opening.
  [[nodiscard]] RememberedFiles& before() noexcept;
  /// The files as they would be.
  [[nodiscard]] StagedFiles& after() noexcept;
  /// The system's log lines and the notices, held back.
  ///@{
  [[nodiscard]] HeldLog& log() noexcept;
  [[nodiscard]] HeldNotices& notices() noexcept;
  ///@}

 private:
  struct State;
  StagedMigration(LinuxHost& host, const Platform& platform);

  std::unique_ptr<State> state_;
};

}  // namespace accountsettings
