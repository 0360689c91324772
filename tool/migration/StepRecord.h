// StepRecord is what one step of a migration was given and what it made of it, from which the
// differences are told. Keeping it costs little: accounts that a step leaves alone are shared.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "plist/PropertyList.h"
#include "tool/accounts/AccountMatching.h"
#include "tool/accounts/Differences.h"

namespace accountsettings {

struct StepRecord {
  std::string step;  // its selector, for example "_migrateAccountsFrom7A149:"
  Array before;
  Array after;
  bool result = true;
  AccountMatching matching;  // of the accounts before and after

  StepRecord(std::string_view selector, Array given, Array made, bool answer)
      : step(selector),
        before(std::move(given)),
        after(std::move(made)),
        result(answer),
        matching(before, after) {}

  // The accounts that come out of a legacy file are told as converted from it.
  [[nodiscard]] Differences differences() const;
};

}  // namespace accountsettings
