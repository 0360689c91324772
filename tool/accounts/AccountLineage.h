// AccountLineage finds an account of one list again in a later list: at its place, by its
// identifier, by the identifier that the oldest releases gave it, among the children, or,
// where it got a new identifier, by where it stands.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "plist/PropertyList.h"

namespace accountsettings {

// The identifier in an account's properties; empty where there is none.
[[nodiscard]] std::string_view identifierOf(const Dictionary& account);

// Where an account stands in a list of accounts: a top-level account, or one of its children.
struct AccountPlace {
  static constexpr std::size_t kNoChild = static_cast<std::size_t>(-1);

  std::size_t top = 0;
  std::size_t child = kNoChild;

  [[nodiscard]] bool isChild() const noexcept { return child != kNoChild; }
  bool operator==(const AccountPlace&) const = default;
};

// The properties of the account at `place`, or nullptr where none stands there.
[[nodiscard]] const Dictionary* accountAt(const Array& accounts, AccountPlace place);
// The children of the top-level account at `top`, or nullptr.
[[nodiscard]] const Array* childrenAt(const Array& accounts, std::size_t top);

class AccountLineage {
 public:
  // Both lists must outlive the lineage. Costs little for accounts that stay where they are.
  AccountLineage(const Array& before, const Array& after);

  // Where the account that stood at `place` stands afterwards; none where it is gone.
  [[nodiscard]] std::optional<AccountPlace> successorOf(AccountPlace place) const;
  // The accounts of the later list that are nobody's successors, in order, the children aside.
  [[nodiscard]] std::vector<AccountPlace> newcomers() const;
  // Whether an account of the later list is nobody's successor.
  [[nodiscard]] bool isNewcomer(AccountPlace place) const;

 private:
  struct PlaceHash {
    std::size_t operator()(AccountPlace place) const noexcept {
      return place.top * 64 + place.child;
    }
  };

  // Calls `visit` for each account of the list that does not stay.
  void forEachMoved(const Array& accounts,
                    const std::function<void(AccountPlace, const Dictionary&)>& visit) const;
  void match(const std::vector<AccountPlace>& unmatched);
  bool claim(AccountPlace from, AccountPlace to);
  [[nodiscard]] bool stays(std::size_t top) const;

  const Array& before_;
  const Array& after_;
  std::vector<bool> stays_;  // by place: the same account stands there, with the same children
  // Of the accounts that do not stay.
  std::unordered_map<AccountPlace, AccountPlace, PlaceHash> successors_;
  std::unordered_set<AccountPlace, PlaceHash> taken_;  // places that are somebody's successors
};

}  // namespace accountsettings
