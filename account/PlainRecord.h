// PlainRecord.h tells the records that BasicAccount makes from those of subclasses, which may
// report another identifier than they store, and save something else than their properties.
#pragma once

#include "account/BasicAccount.h"

namespace accountsettings {

// Whether the record was made by BasicAccount::initWithProperties().
[[nodiscard]] bool isPlainRecord(const BasicAccount& account) noexcept;

}  // namespace accountsettings
