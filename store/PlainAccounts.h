// PlainAccounts tells what a store built from a list of account dictionaries would hold, without
// building it. It does so for lists that are plain: loading them would log nothing, repair nothing
// and make no identifier, and no identifier repeats in them. A save that meets the list which the
// save before wrote looks only at what has changed.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "account/BasicAccount.h"
#include "plist/PropertyList.h"
#include "store/TokenTable.h"

namespace accountsettings {

class PlainAccounts {
 public:
  // Looks at a list, of which it keeps a copy. Answers whether it is plain. AssertionFailure where
  // the account types cannot be read.
  bool examine(const Array& accounts);

  // REQUIRES: the last list that was examined is plain.
  // What AccountsManager::accountWithIdentifier() would find in a store built from it: an account,
  // or the parent of a child, with this identifier; else nullptr. Good until the next list.
  [[nodiscard]] const Dictionary* find(std::string_view identifier) const;
  // Whether what stands at this place of the list is what the record holds, unchanged: then the
  // record has nothing that loading would repair, and find() answers it under its identifier. Looks
  // at nothing but the record itself.
  [[nodiscard]] bool stillHolds(std::size_t place, const BasicAccount& account) const;

 private:
  // Views into the dictionaries of the list, which keeps them alive and unchanged.
  struct Entry {
    std::string_view identifier;
    const Array* children = nullptr;  // nullptr where it has none

    // Whether the other has the same identifiers, its own and its children's.
    [[nodiscard]] bool hasIdentifiersOf(const Entry& other) const;
  };
  struct Child {
    std::string_view identifier;
    std::size_t parent = 0;  // its place in the list
  };

  // The entry of an account that loads quietly, else none.
  [[nodiscard]] static std::optional<Entry> entryOf(const Dictionary& account);
  // Enters all identifiers anew; false where one repeats.
  [[nodiscard]] bool enterIdentifiers();
  [[nodiscard]] bool enterChildren(std::size_t parent);

  bool arePlain_ = false;
  Array accounts_;
  std::vector<Entry> entries_;  // by place
  std::vector<Child> children_;
  TokenTable places_;       // from hashes of identifiers to places in entries_
  TokenTable childPlaces_;  // the same, to places in children_
  // The place behind the one found last: accounts are looked up in the order of the list more often
  // than not.
  mutable std::size_t expected_ = 0;
};

}  // namespace accountsettings
