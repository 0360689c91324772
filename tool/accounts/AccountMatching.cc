// How an account of one list is found again in another: in place, by identifier, among children, or
// by where it stands.
#include "tool/accounts/AccountMatching.h"

#include <algorithm>
#include <array>
#include <utility>

#include "account/AccountConstants.h"

namespace accountsettings {

namespace {

std::string_view textUnder(const Dictionary& account, std::string_view key) {
  return account.string(key).value_or("");
}

bool isSameAccount(const PropertyList& before, const PropertyList& after) {
  if (before.identicalTo(after)) return true;
  const Dictionary* old = before.dictionary();
  const Dictionary* now = after.dictionary();
  return old != nullptr && now != nullptr && !identifierOf(*old).empty() &&
         identifierOf(*old) == identifierOf(*now);
}

// Whether the same account stands at this place of both lists, and so do its children.
bool isSameFamily(const Array& before, const Array& after, std::size_t top) {
  if (before[top].identicalTo(after[top])) return true;
  if (!isSameAccount(before[top], after[top])) return false;
  const Array& old = childrenAt(before, top);
  const Array& now = childrenAt(after, top);
  return old.identicalTo(now) ||
         std::equal(old.begin(), old.end(), now.begin(), now.end(), isSameAccount);
}

// A sign is what an account is known by; none where it is not looked for by this sign.
using Texts = std::array<std::string_view, 5>;
using Sign = std::optional<Texts> (*)(const Dictionary& account);

std::optional<Texts> unlessEmpty(std::string_view text) {
  return text.empty() ? std::nullopt : std::optional(Texts{text});
}

std::optional<Texts> identifier(const Dictionary& account) {
  return unlessEmpty(identifierOf(account));
}

std::optional<Texts> oldestIdentifier(const Dictionary& account) {
  return unlessEmpty(textUnder(account, "uniqueId"));
}

std::optional<Texts> looks(const Dictionary& account) {
  return Texts{textUnder(account, kAccountType), textUnder(account, kAccountClass),
               textUnder(account, kAccountUsername), textUnder(account, "Hostname"),
               textUnder(account, kAccountDisplayName)};
}

std::optional<Texts> looksOfNameless(const Dictionary& account) {
  return identifierOf(account).empty() ? looks(account) : std::nullopt;
}

// Two accounts may look alike that are nobody's in particular.
std::optional<Texts> looksOfSomebody(const Dictionary& account) {
  return textUnder(account, kAccountUsername).empty() ? std::nullopt : looks(account);
}

std::optional<Texts> type(const Dictionary& account) {
  return Texts{textUnder(account, kAccountType)};
}

std::optional<Texts> typeOfNameless(const Dictionary& account) {
  return identifierOf(account).empty() ? type(account) : std::nullopt;
}

// A search pairs the accounts of both lists that show the same sign. It looks in the list that an
// account was in, at the top or among the children of its parent, or everywhere.
struct Search {
  bool everywhere;
  Sign before;
  Sign after;
};

// From the surest sign to the least sure.
constexpr Search kSearches[] = {
    {false, identifier, identifier},      {true, identifier, identifier},
    {true, oldestIdentifier, identifier}, {false, looksOfNameless, looks},
    {true, looksOfNameless, looks},       {false, looksOfSomebody, looks},
    {false, typeOfNameless, type},
};

// A sign, and the list in which it is to be found.
struct Wanted {
  std::size_t list = 0;
  Texts texts = {};

  bool operator==(const Wanted&) const = default;
};

struct WantedHash {
  std::size_t operator()(const Wanted& wanted) const noexcept {
    std::size_t hash = wanted.list;
    for (const std::string_view each : wanted.texts) {
      hash = hash * 31 + (each.empty() ? 0 : std::hash<std::string_view>()(each));
    }
    return hash;
  }
};

// The top-level account there and its children.
template <class Visit>
void visitFamily(const Array& accounts, std::size_t top, const Visit& visit) {
  const Dictionary* account = accounts[top].dictionary();
  if (account == nullptr) return;
  visit(AccountPlace{top}, *account);
  const Array& children = childrenAt(accounts, top);
  for (std::size_t i = 0; i < children.size(); ++i) {
    if (const Dictionary* child = children[i].dictionary()) visit(AccountPlace{top, i}, *child);
  }
}

}  // namespace

std::string_view identifierOf(const Dictionary& account) {
  return textUnder(account, kAccountIdentifier);
}

const Array& childrenAt(const Array& accounts, std::size_t top) {
  static const Array kNone;
  const Dictionary* account = top < accounts.size() ? accounts[top].dictionary() : nullptr;
  return account != nullptr ? account->arrayOrEmpty(kAccountChildAccounts) : kNone;
}

const Dictionary* accountAt(const Array& accounts, AccountPlace place) {
  const Array& list = place.isChild() ? childrenAt(accounts, place.top) : accounts;
  const std::size_t index = place.isChild() ? place.child : place.top;
  return index < list.size() ? list[index].dictionary() : nullptr;
}

void forEachAccount(const Array& accounts, const AccountVisitor& visit) {
  for (std::size_t top = 0; top < accounts.size(); ++top) visitFamily(accounts, top, visit);
}

// AccountMatcher pairs the accounts that do not stay, one search after the other.
class AccountMatcher {
 public:
  AccountMatcher(AccountMatching& matching, const Array& before, const Array& after)
      : matching_(matching), before_(candidatesOf(before)), after_(candidatesOf(after)) {}

  void run(const Search& search) {
    if (before_.empty() || after_.empty()) return;
    // Those that show the same sign in the same list, in order: the first, and the one after each.
    std::unordered_map<Wanted, std::size_t, WantedHash> first;
    std::vector<std::size_t> next(after_.size());
    for (std::size_t i = after_.size(); i-- > 0;) {
      const std::optional<Texts> texts = search.after(*after_[i].account);
      if (!texts) continue;
      const std::size_t list = search.everywhere ? 0 : listOf(after_[i].place);
      std::size_t& place = first.try_emplace({list, *texts}, after_.size()).first->second;
      next[i] = std::exchange(place, i);
    }
    // A parent comes before its children, and so is found before they are looked for.
    for (Candidate& each : before_) {
      const std::optional<Texts> texts = search.before(*each.account);
      const auto list = search.everywhere ? std::optional<std::size_t>(0) : laterListOf(each.place);
      if (!texts || !list) continue;
      const auto found = first.find({*list, *texts});
      if (found == first.end() || found->second == after_.size()) continue;
      pair(each, after_[std::exchange(found->second, next[found->second])]);
    }
    const auto isPaired = [](const Candidate& each) { return each.isPaired; };
    std::erase_if(before_, isPaired);
    std::erase_if(after_, isPaired);
  }

 private:
  struct Candidate {
    AccountPlace place;
    const Dictionary* account;
    bool isPaired = false;
  };

  std::vector<Candidate> candidatesOf(const Array& accounts) const {
    std::vector<Candidate> candidates;
    for (std::size_t top = 0; top < accounts.size(); ++top) {
      if (matching_.stays(top)) continue;
      visitFamily(accounts, top, [&](AccountPlace place, const Dictionary& account) {
        candidates.push_back({place, &account});
      });
    }
    return candidates;
  }

  // Lists are told apart by the parent: that of the children at `top`, or the top-level list.
  static std::size_t listOf(AccountPlace place) {
    return place.isChild() ? place.top : AccountPlace::kNoChild;
  }
  // What became of the list in which the account stood; none where its parent is gone.
  std::optional<std::size_t> laterListOf(AccountPlace place) const {
    if (!place.isChild()) return AccountPlace::kNoChild;
    const auto parent = matching_.successorOf(place.parent());
    return parent && !parent->isChild() ? std::optional(parent->top) : std::nullopt;
  }

  void pair(Candidate& before, Candidate& after) {
    matching_.successors_.emplace(before.place, after.place);
    matching_.predecessors_.emplace(after.place, before.place);
    before.isPaired = after.isPaired = true;
  }

  AccountMatching& matching_;
  std::vector<Candidate> before_;
  std::vector<Candidate> after_;
};

AccountMatching::AccountMatching(const Array& before, const Array& after)
    : stays_(std::min(before.size(), after.size())) {
  for (std::size_t top = 0; top < stays_.size(); ++top) {
    stays_[top] = isSameFamily(before, after, top);
  }
  AccountMatcher matcher(*this, before, after);
  for (const Search& search : kSearches) matcher.run(search);
}

std::optional<AccountPlace> AccountMatching::successorOf(AccountPlace place) const {
  return find(successors_, place);
}

std::optional<AccountPlace> AccountMatching::predecessorOf(AccountPlace place) const {
  return find(predecessors_, place);
}

std::optional<AccountPlace> AccountMatching::find(const Places& places, AccountPlace place) const {
  if (stays(place.top)) return place;
  const auto found = places.find(place);
  return found == places.end() ? std::nullopt : std::optional(found->second);
}

bool AccountMatching::isMove(AccountPlace from, AccountPlace to) const {
  return from.isChild() != to.isChild() ||
         (from.isChild() && successorOf(from.parent()) != to.parent());
}

}  // namespace accountsettings
