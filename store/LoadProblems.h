/// \file
/// LoadProblems answers why the store does not load an account that a file describes. The store
/// asks it when it loads; whoever shows or checks a file gets the same answer, and no log line.
#pragma once

#include <string>

#include "account/RecordProblems.h"
#include "plist/PropertyList.h"
#include "store/AccountsManager.h"

namespace accountsettings {

/// MailClass is what loading makes of an account's class where the account is one of mail; others
/// have nothing to do.
struct MailClass {
  FixResult result = FixResult::NothingToDo;
  std::string found;
  std::string repaired;  ///< the class that the account's mail directory tells, where it is Fixed
};
/// Of a top-level account of these properties.
[[nodiscard]] MailClass mailClassOf(const Dictionary& properties);

/// What keeps a top-level account from being loaded; several things may.
struct LoadProblems : RecordProblems {
  bool unknownMailClass = false;  ///< and no mail directory tells a better one

  [[nodiscard]] bool any() const noexcept { return RecordProblems::any() || unknownMailClass; }
};
[[nodiscard]] LoadProblems loadProblemsOf(const Dictionary& properties);
/// The first of them in words, for example "it has no class"; empty where the account is loaded.
[[nodiscard]] std::string whyNotLoaded(const Dictionary& properties);

/// What keeps a child of a loaded parent from being loaded; several things may. Its class is not
/// repaired, and an empty identifier is one.
struct ChildLoadProblems : RecordProblems {
  bool noIdentifier = false;  ///< no "Identifier", or one that is no string

  [[nodiscard]] bool any() const noexcept { return RecordProblems::any() || noIdentifier; }
};
[[nodiscard]] ChildLoadProblems loadProblemsOfChild(const Dictionary& properties);
/// As whyNotLoaded(), of a child; for example "it has no identifier".
[[nodiscard]] std::string whyNotLoadedChild(const Dictionary& properties);

}  // namespace accountsettings
