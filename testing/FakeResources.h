// FakeResources serves the resources that the project ships, read from its source
// folder, unless a test puts something else in their place.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Resources.h"
#include "plist/PropertyList.h"
#include "testing/Faults.h"

namespace accountsettings::testing {

// The operations are "resources.pathOf" (a failing one answers none), "resources.read" and
// "resources.localizedString" (a failing one finds no entry).
class FakeResources : public Resources {
 public:
  explicit FakeResources(Faults& faults) : faults_(faults) {}

  // Replaces the resource NAME.plist.
  void put(const std::string& name, const PropertyList& value);
  void putBytes(const std::string& name, Bytes bytes);
  // Makes it missing.
  void remove(const std::string& name);
  // Replaces one text of a string table.
  void putText(const std::string& table, std::string_view key, std::string_view text);

  // The folder of string tables that is read.
  std::string language = "en";

  [[nodiscard]] std::optional<std::string> pathOf(std::string_view name) override;
  [[nodiscard]] Result<Bytes> read(const std::string& path) override;
  [[nodiscard]] std::string localizedString(std::string_view key, std::string_view defaultValue,
                                            std::string_view table) override;

 private:
  [[nodiscard]] std::optional<std::string> localizedEntry(std::string_view key,
                                                          std::string_view table) const;

  Faults& faults_;
  // By path; without bytes the resource is missing.
  std::map<std::string, std::optional<Bytes>, std::less<>> replaced_;
  std::map<std::string, Dictionary, std::less<>> texts_;
};

}  // namespace accountsettings::testing
