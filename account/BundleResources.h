// BundleResources reads the property-list resources that configure the account model.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "plist/PropertyList.h"

namespace accountsettings {

// The names of the resources, all of the type "plist".
inline constexpr std::string_view kAccountTypesResource = "AccountTypesProperties";
inline constexpr std::string_view kDataclassesResource = "DataclassesProperties";
inline constexpr std::string_view kAccountCreatorsResource = "AccountCreators";

// Where the resource lies; none where the bundle has none of that name.
[[nodiscard]] std::optional<std::string> pathOfBundleResource(std::string_view name);
// The dictionary in the file at `path`; none where it cannot be read or holds something else.
[[nodiscard]] std::optional<Dictionary> readBundleDictionary(const std::string& path);
// Both in one: none where the resource is missing or unreadable.
[[nodiscard]] std::optional<Dictionary> bundleDictionaryNamed(std::string_view name);

}  // namespace accountsettings
