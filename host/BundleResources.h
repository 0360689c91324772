// BundleResources are the resources of the plug-in bundle: property lists
// Resources/NAME.plist and string tables Resources/LANG/TABLE.plist.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/Resources.h"

namespace accountsettings {

class BundleResources : public Resources {
 public:
  // `directory` is the Resources directory on this machine; `languages` are tried in order.
  BundleResources(std::string directory, std::vector<std::string> languages);

  [[nodiscard]] std::optional<std::string> pathOf(std::string_view name) override;
  [[nodiscard]] Result<Bytes> read(const std::string& path) override;
  [[nodiscard]] std::string localizedString(std::string_view key, std::string_view defaultValue,
                                            std::string_view table) override;

 private:
  // The table in one language, read on first use; empty where there is none.
  [[nodiscard]] const Dictionary& tableIn(const std::string& language, std::string_view table);

  std::string directory_;
  std::vector<std::string> languages_;
  std::map<std::string, Dictionary> tables_;  // by path
};

}  // namespace accountsettings
