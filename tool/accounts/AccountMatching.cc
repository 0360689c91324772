// How an account of one list is found again in another: in place, by identifier, among children, or
// by where it stands.
#include "tool/accounts/AccountMatching.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

#include "account/AccountConstants.h"
#include "store/AccountsManager.h"

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

// Whether the same account stands at this place of both lists, and so do its children. Where an
// account came or went, another of the same identifier may stand there.
bool isSameFamily(const Array& before, const Array& after, std::size_t top) {
  if (before[top].identicalTo(after[top])) return true;
  if (!isSameAccount(before[top], after[top])) return false;
  if (before.size() != after.size() && before[top] != after[top]) return false;
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

// How much those with the same sign must have in common.
enum class Likeness { Any, Looks, Equal };

bool areAlike(const Dictionary& before, const Dictionary& after, Likeness likeness) {
  return likeness == Likeness::Any ||
         (likeness == Likeness::Equal ? before == after : looks(before) == looks(after));
}

// A search pairs the accounts of both lists that show the same sign. It looks in the list that an
// account was in, at the top or among the children of its parent, or everywhere.
struct Search {
  bool everywhere;
  Sign before;
  Sign after;
  Likeness likeness = Likeness::Any;
};

// From the surest sign to the least sure.
constexpr Search kSearches[] = {
    // Several may have one identifier.
    {false, identifier, identifier, Likeness::Equal},
    {false, identifier, identifier, Likeness::Looks},
    {false, identifier, identifier},
    {true, identifier, identifier},
    {true, oldestIdentifier, identifier},
    {false, looksOfNameless, looks},
    {true, looksOfNameless, looks},
    {false, looksOfSomebody, looks},
    {false, typeOfNameless, type},
};

std::size_t hashOf(std::size_t list, const Texts& texts) {
  std::size_t hash = list;
  for (const std::string_view each : texts) {
    hash = hash * 31 + (each.empty() ? 0 : std::hash<std::string_view>()(each));
  }
  return hash;
}

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

const Array& storedAccounts(const std::optional<Dictionary>& settings) {
  static const Array kNone;
  return settings ? settings->arrayOrEmpty(kPlistAccountsKey) : kNone;
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
      : matching_(matching),
        before_(candidatesOf(before, &AccountMatching::laterTopOf)),
        after_(candidatesOf(after, &AccountMatching::earlierTopOf)) {}

  // Pairs those that are the only ones with their identifier: each search by identifiers that finds
  // them finds the same. But what took its identifier from "uniqueId" may have it from one that
  // gave it up in the same step.
  void pairOnlyBearers() {
    if (before_.empty() || after_.empty()) return;
    enterLaterOnes(kByIdentifier);
    std::vector<std::size_t> bearers(after_.size(), kNone);  // kGone where several are
    std::vector<std::size_t> takers(after_.size(), kNone);
    for (std::size_t i = 0; i < before_.size(); ++i) {
      const std::optional<Texts> texts = identifier(*before_[i].account);
      if (!texts) continue;
      const std::size_t found = firstOf(kByIdentifier, 0, *texts);
      if (found < after_.size()) {
        enterOnly(bearers, found, i);
      } else if (const auto taken = oldestIdentifier(*before_[i].account)) {
        enterOnly(takers, firstOf(kByIdentifier, 0, *taken), i);
      }
    }
    for (std::size_t i = 0; i < after_.size(); ++i) {
      const std::size_t earlier = onlyEarlierOf(after_[i], bearers[i], takers[i]);
      if (earlier < before_.size()) pair(before_[earlier], after_[i]);
    }
    forgetPaired();
  }

  void run(const Search& search) {
    if (before_.empty() || after_.empty()) return;
    enterLaterOnes(search);
    // A parent comes before its children, and so is found before they are looked for.
    for (Candidate& each : before_) {
      const std::optional<Texts> texts = search.before(*each.account);
      const auto list = search.everywhere ? std::optional<std::size_t>(0) : laterListOf(each.place);
      if (!texts || !list) continue;
      std::size_t& first = firstOf(search, *list, *texts);
      if (first >= after_.size()) continue;
      if (Candidate* found = takeFrom(first, each, search.likeness)) pair(each, *found);
    }
    forgetPaired();
  }

 private:
  static constexpr Search kByIdentifier{true, identifier, identifier};
  static constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();
  static constexpr std::size_t kGone = kNone - 1;

  struct Candidate {
    AccountPlace place;
    const Dictionary* account;
    bool isPaired = false;
    // Of a later one, for the search that runs: the hash of its sign, and who shows the same next.
    std::size_t hash = 0;
    std::size_t next = kNone;
  };

  // Notes who has the identifier of the later one, where that is the only one with it.
  void enterOnly(std::vector<std::size_t>& whose, std::size_t later, std::size_t before) const {
    if (later >= after_.size() || after_[later].next != kNone) return;
    whose[later] = whose[later] == kNone ? before : kGone;
  }

  [[nodiscard]] std::size_t onlyEarlierOf(const Candidate& later, std::size_t bearer,
                                          std::size_t taker) const {
    const bool mayBeTaken =
        taker < before_.size() && bearer != kGone && !later.account->contains("uniqueId");
    if (!mayBeTaken) return bearer;
    const bool isUntouched = bearer < before_.size() && *before_[bearer].account == *later.account;
    return isUntouched ? bearer : taker;
  }

  // Those whose families are not paired yet.
  std::vector<Candidate> candidatesOf(const Array& accounts,
                                      std::size_t (AccountMatching::*pairOf)(std::size_t)
                                          const) const {
    std::vector<Candidate> candidates;
    for (std::size_t top = 0; top < accounts.size(); ++top) {
      if ((matching_.*pairOf)(top) != AccountMatching::kNowhere) continue;
      visitFamily(accounts, top, [&](AccountPlace place, const Dictionary& account) {
        candidates.push_back({place, &account});
      });
    }
    return candidates;
  }

  // Makes the table of the first of the later ones that show the same sign in the same list; the
  // others follow it in order.
  void enterLaterOnes(const Search& search) {
    table_.assign(std::bit_ceil(2 * after_.size()), kNone);
    for (std::size_t i = after_.size(); i-- > 0;) {
      Candidate& each = after_[i];
      each.next = kNone;
      const std::optional<Texts> texts = search.after(*each.account);
      if (!texts) continue;
      const std::size_t list = listOf(search, each);
      each.hash = hashOf(list, *texts);
      each.next = std::exchange(firstOf(search, list, *texts), i);
    }
  }

  // The place in the table of the first with this sign, or where it would stand.
  std::size_t& firstOf(const Search& search, std::size_t list, const Texts& texts) {
    const std::size_t hash = hashOf(list, texts);
    // Multiplied, because a hash may differ in its upper bits alone.
    std::size_t slot = (hash * 0x9E3779B97F4A7C15U) >> 20U;
    for (;; ++slot) {
      std::size_t& first = table_[slot & (table_.size() - 1)];
      if (first == kNone) return first;
      if (first == kGone) continue;
      const Candidate& there = after_[first];
      if (there.hash == hash && listOf(search, there) == list &&
          search.after(*there.account) == texts) {
        return first;
      }
    }
  }

  // Of the later ones with the same sign that is alike, which is not found again; nullptr where
  // none is.
  Candidate* takeFrom(std::size_t& first, const Candidate& before, Likeness likeness) {
    constexpr int kMostTwins = 32;  // of very many the order tells: growth stays linear
    std::size_t* link = &first;
    for (int i = 0; i < kMostTwins && *link != kNone; ++i, link = &after_[*link].next) {
      Candidate& there = after_[*link];
      if (!areAlike(*before.account, *there.account, likeness)) continue;
      // Its place in the table is not free again: others stand behind it.
      *link = link == &first && there.next == kNone ? kGone : there.next;
      return &there;
    }
    return nullptr;
  }

  // Lists are told apart by the parent: that of the children at `top`, or the top-level list.
  static std::size_t listOf(const Search& search, const Candidate& candidate) {
    if (search.everywhere) return 0;
    return candidate.place.isChild() ? candidate.place.top : AccountPlace::kNoChild;
  }
  // What became of the list in which the account stood; none where its parent is gone.
  std::optional<std::size_t> laterListOf(AccountPlace place) const {
    if (!place.isChild()) return AccountPlace::kNoChild;
    const auto parent = matching_.successorOf(place.parent());
    return parent && !parent->isChild() ? std::optional(parent->top) : std::nullopt;
  }

  void forgetPaired() {
    const auto isPaired = [](const Candidate& each) { return each.isPaired; };
    std::erase_if(before_, isPaired);
    std::erase_if(after_, isPaired);
  }

  void pair(Candidate& before, Candidate& after) {
    matching_.successors_.set(before.place, after.place);
    matching_.predecessors_.set(after.place, before.place);
    before.isPaired = after.isPaired = true;
  }

  AccountMatching& matching_;
  std::vector<Candidate> before_;
  std::vector<Candidate> after_;
  std::vector<std::size_t> table_;  // of places in after_; at most half full
};

void AccountMatching::Places::set(AccountPlace from, AccountPlace to) {
  if (from.isChild()) {
    ofChildren_.emplace(from, to);
    return;
  }
  if (from.top >= ofTopLevel_.size()) ofTopLevel_.resize(from.top + 1);
  ofTopLevel_[from.top] = to;
}

std::optional<AccountPlace> AccountMatching::Places::find(AccountPlace from) const {
  if (!from.isChild()) {
    return from.top < ofTopLevel_.size() ? ofTopLevel_[from.top] : std::nullopt;
  }
  const auto found = ofChildren_.find(from);
  return found == ofChildren_.end() ? std::nullopt : std::optional(found->second);
}

AccountMatching::AccountMatching(const Array& before, const Array& after)
    : stays_(std::min(before.size(), after.size()), before.identicalTo(after)) {
  if (before.identicalTo(after)) return;
  for (std::size_t top = 0; top < stays_.size(); ++top) {
    stays_[top] = isSameFamily(before, after, top);
  }
  if (before.size() != after.size()) pairShiftedFamilies(before, after);
  AccountMatcher matcher(*this, before, after);
  matcher.pairOnlyBearers();
  for (const Search& search : kSearches) matcher.run(search);
}

// Walks through both lists. Where they differ, a few accounts came, went or changed: they go on
// together as soon as the same value stands in both again.
void AccountMatching::pairShiftedFamilies(const Array& before, const Array& after) {
  later_.assign(before.size(), kNowhere);
  earlier_.assign(after.size(), kNowhere);
  constexpr std::size_t kFarthest = 8;
  const auto areSame = [&](std::size_t old, std::size_t now) {
    return old < before.size() && now < after.size() && before[old].identicalTo(after[now]);
  };
  std::size_t old = 0;
  std::size_t now = 0;
  const auto goOnTogether = [&] {
    for (std::size_t distance = 1; distance <= kFarthest; ++distance) {
      for (std::size_t skipped = 0; skipped <= distance; ++skipped) {
        if (!areSame(old + distance - skipped, now + skipped)) continue;
        old += distance - skipped;
        now += skipped;
        return;
      }
    }
    ++old;
    ++now;
  };
  while (old < before.size() && now < after.size()) {
    if (!areSame(old, now)) {
      goOnTogether();
      continue;
    }
    if (!stays(old) && !stays(now)) {
      later_[old] = now;
      earlier_[now] = old;
    }
    ++old;
    ++now;
  }
}

std::size_t AccountMatching::laterTopOf(std::size_t top) const {
  if (stays(top)) return top;
  return top < later_.size() ? later_[top] : kNowhere;
}

std::size_t AccountMatching::earlierTopOf(std::size_t top) const {
  if (stays(top)) return top;
  return top < earlier_.size() ? earlier_[top] : kNowhere;
}

std::optional<AccountPlace> AccountMatching::successorOf(AccountPlace place) const {
  const std::size_t top = laterTopOf(place.top);
  return top != kNowhere ? AccountPlace{top, place.child} : successors_.find(place);
}

std::optional<AccountPlace> AccountMatching::predecessorOf(AccountPlace place) const {
  const std::size_t top = earlierTopOf(place.top);
  return top != kNowhere ? AccountPlace{top, place.child} : predecessors_.find(place);
}

bool AccountMatching::isMove(AccountPlace from, AccountPlace to) const {
  return from.isChild() != to.isChild() ||
         (from.isChild() && successorOf(from.parent()) != to.parent());
}

}  // namespace accountsettings
