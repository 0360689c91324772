// LegacyFiles holds what the conversions of the two legacy files have in common.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "account/BasicAccount.h"
#include "platform/Files.h"
#include "plist/PropertyList.h"

namespace accountsettings {

using Converter = std::function<std::shared_ptr<BasicAccount>(const Dictionary& description)>;
using Complaint = std::function<void(const PropertyList& description)>;

// The accounts of the descriptions in the file's array `key`, in order; an absent array has none.
// Stops at the first description that yields no account, tells it to `complain` and answers none.
[[nodiscard]] std::optional<std::vector<std::shared_ptr<BasicAccount>>> convertDescriptions(
    const std::optional<Dictionary>& file, std::string_view key, const Converter& convert,
    const Complaint& complain);

// Removes the second copy that old releases left beside a legacy file. Most devices have none.
void removeOriginalOf(Files& files, const std::string& legacyFile);

}  // namespace accountsettings
