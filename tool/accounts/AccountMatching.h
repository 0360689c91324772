// AccountMatching decides which account of one list is which account of a later list. It is asked
// wherever two lists of accounts are compared: two files, what a step was given and what it left,
// a device before a migration and after it.
#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "plist/PropertyList.h"

namespace accountsettings {

// The identifier in an account's properties; empty where there is none.
[[nodiscard]] std::string_view identifierOf(const Dictionary& account);

// Where an account stands in a list of accounts: a top-level account, or one of its children.
struct AccountPlace {
  static constexpr std::size_t kNoChild = std::numeric_limits<std::size_t>::max();

  std::size_t top = 0;
  std::size_t child = kNoChild;

  [[nodiscard]] bool isChild() const noexcept { return child != kNoChild; }
  [[nodiscard]] AccountPlace parent() const noexcept { return {top, kNoChild}; }
  bool operator==(const AccountPlace&) const = default;
};

// The properties of the account at `place`, or nullptr where none stands there.
[[nodiscard]] const Dictionary* accountAt(const Array& accounts, AccountPlace place);
// The accounts that the settings list; none where there are no settings.
[[nodiscard]] const Array& storedAccounts(const std::optional<Dictionary>& settings);
// The children of the top-level account at `top`, or an empty list.
[[nodiscard]] const Array& childrenAt(const Array& accounts, std::size_t top);
using AccountVisitor = std::function<void(AccountPlace, const Dictionary&)>;
// Calls `visit` for each account, a top-level one before its children. Values that are no
// dictionaries are passed over.
void forEachAccount(const Array& accounts, const AccountVisitor& visit);

// What became of the accounts of a list. An account counts once: one that moved is not counted as
// changed too.
struct AccountCounts {
  std::size_t kept = 0;     // no key of its own is different; its children are counted apart
  std::size_t moved = 0;    // under another parent than before
  std::size_t changed = 0;  // a key is different
  std::size_t dropped = 0;
  std::size_t added = 0;

  [[nodiscard]] std::size_t before() const noexcept { return kept + moved + changed + dropped; }
  [[nodiscard]] std::size_t after() const noexcept { return kept + moved + changed + added; }
  bool operator==(const AccountCounts&) const = default;
};

// An account is found again by its identifier: at its place, in its list, else anywhere, so that it
// may have become a child or stopped being one; then by the identifier that the oldest releases
// kept as "uniqueId", which another may have given up in the same step. One that has none, or got
// another, is found by its type, class, user, host and name, and one without any identifier at last
// by its type alone. Of several with one identifier those that are equal, else those that look
// alike, are the same; where several are, their order tells which is which.
class AccountMatching {
 public:
  AccountMatching() = default;
  // Takes little for accounts that stay where they are.
  AccountMatching(const Array& before, const Array& after);

  // Where the account that stood at `place` stands afterwards; none where it is gone.
  [[nodiscard]] std::optional<AccountPlace> successorOf(AccountPlace place) const;
  // Where the account at `place` of the later list stood; none where it is new.
  [[nodiscard]] std::optional<AccountPlace> predecessorOf(AccountPlace place) const;
  // Whether the account that went from one place to the other has another parent there.
  [[nodiscard]] bool isMove(AccountPlace from, AccountPlace to) const;

 private:
  friend class AccountMatcher;

  // Places by place.
  class Places {
   public:
    void set(AccountPlace from, AccountPlace to);
    [[nodiscard]] std::optional<AccountPlace> find(AccountPlace from) const;

   private:
    struct Hash {
      std::size_t operator()(AccountPlace place) const noexcept {
        return place.top * 64 + place.child;
      }
    };
    std::vector<std::optional<AccountPlace>> ofTopLevel_;
    std::unordered_map<AccountPlace, AccountPlace, Hash> ofChildren_;
  };

  // Families are a top-level account with its children.
  static constexpr std::size_t kNowhere = AccountPlace::kNoChild;
  [[nodiscard]] bool stays(std::size_t top) const { return top < stays_.size() && stays_[top]; }
  [[nodiscard]] std::size_t laterTopOf(std::size_t top) const;
  [[nodiscard]] std::size_t earlierTopOf(std::size_t top) const;
  void pairShiftedFamilies(const Array& before, const Array& after);

  std::vector<bool> stays_;  // by place: the same account stands there, with the same children
  // Of lists of different lengths: where a family stands in the other list that nothing happened
  // to.
  std::vector<std::size_t> later_;
  std::vector<std::size_t> earlier_;
  Places successors_;  // of all others
  Places predecessors_;
};

}  // namespace accountsettings
