// AccountNaming is how an account of a settings file is called where people type it: by its
// identifier, or, where that does not tell it apart, by its place from 1: "#3". A child is called
// after its parent: "#3/#1". All that prints places, or reads what was typed, asks here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "plist/PropertyList.h"
#include "tool/accounts/AccountMatching.h"

namespace accountsettings {

// "#3" for the index 2, and back; none for another text.
[[nodiscard]] std::string placeName(std::size_t index);
[[nodiscard]] std::optional<std::size_t> placeNamed(std::string_view name);

// The identifier of an account's properties, else its place.
[[nodiscard]] std::string accountLabel(const PropertyList& account, std::size_t index);

// The identifier that a top-level account has once settings of this version are upgraded: before
// version 2 that of mail and Exchange accounts stood under "uniqueId". Empty where it has none.
[[nodiscard]] std::string_view identifierOnceUpgraded(const Dictionary& account,
                                                      std::int64_t version);

// AccountNaming knows which identifiers of a list tell accounts apart.
class AccountNaming {
 public:
  // Looks at the list when it is first asked; it must outlive this.
  explicit AccountNaming(const Array& accounts) : accounts_(accounts) {}

  // Whether the account has an identifier that no other has. A child may have that of a top-level
  // account, which is then told apart, and the child is not.
  [[nodiscard]] bool tellsApart(AccountPlace place);
  // What placeMeantBy() understands.
  [[nodiscard]] std::string nameAt(AccountPlace place);

 private:
  // How many accounts have an identifier.
  using Bearers = std::unordered_map<std::string_view, std::size_t>;

  void lookAtAll();

  const Array& accounts_;
  bool hasLooked_ = false;
  Bearers topLevel_;
  Bearers children_;
};

// The account that was typed: an identifier in any case or the only one that begins so, a place of
// an account that no identifier tells apart, or a child after its parent. A member of the list that
// is no dictionary has a place too. Throws Prevented where there is none, or more than one.
[[nodiscard]] AccountPlace placeMeantBy(const std::string& typed, const Array& accounts);

}  // namespace accountsettings
