// BundleResources are the resources of the plug-in bundle: property lists
// Resources/NAME.plist and string tables Resources/LANG/TABLE.plist. Installed modules complete
// the creators information by files in a folder beside the bundle.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Resources.h"
#include "platform/SystemLog.h"

namespace accountsettings {

// What is installed is one thing for as long as the host lives: each resource is read once.
class BundleResources : public Resources {
 public:
  // `directory` is the Resources directory on this machine; `languages` are tried in order. The
  // resource NAME is completed by the files in `dropIns`/NAME.d; what is wrong with one of them is
  // written to `log`, which must outlive the resources.
  BundleResources(std::string directory, std::vector<std::string> languages, std::string dropIns,
                  SystemLog& log);

  [[nodiscard]] std::optional<std::string> pathOf(std::string_view name) override;
  [[nodiscard]] Result<Bytes> read(const std::string& path) override;
  [[nodiscard]] std::string localizedString(std::string_view key, std::string_view defaultValue,
                                            std::string_view table) override;

  // Why a string table that is there could not be read since this was last asked; none where all
  // could. Its texts counted as missing, and it is tried again when one is wanted.
  [[nodiscard]] std::optional<Error> takeTableFailure() noexcept {
    return std::exchange(tableFailure_, std::nullopt);
  }

 private:
  // The table in one language, read on first use; empty where there is none.
  [[nodiscard]] const Dictionary& tableIn(const std::string& language, std::string_view table);

  std::string directory_;
  std::string dropIns_;
  SystemLog& log_;
  std::vector<std::string> languages_;
  std::map<std::string, Dictionary> tables_;  // by path
  std::map<std::string, Bytes> resources_;    // by path
  std::optional<Error> tableFailure_;
};

}  // namespace accountsettings
