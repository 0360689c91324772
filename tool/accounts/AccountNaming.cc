// How accounts are called, and found again by what they are called.
#include "tool/accounts/AccountNaming.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

#include "account/AccountConstants.h"
#include "tool/accounts/MeantIdentifier.h"
#include "tool/frame/Errors.h"
#include "tool/frame/Output.h"
#include "tool/frame/Suggestions.h"

namespace accountsettings {

namespace {

// The accounts with the identifier, among the top-level ones or among all children.
std::vector<AccountPlace> placesOf(std::string_view identifier, const Array& accounts,
                                   bool amongChildren) {
  std::vector<AccountPlace> places;
  const auto add = [&](AccountPlace place, const Dictionary& account) {
    if (identifierOf(account) == identifier) places.push_back(place);
  };
  if (amongChildren) {
    forEachAccount(accounts, [&](AccountPlace place, const Dictionary& account) {
      if (place.isChild()) add(place, account);
    });
    return places;
  }
  for (std::size_t top = 0; top < accounts.size(); ++top) {
    if (const Dictionary* account = accounts[top].dictionary()) add(AccountPlace{top}, *account);
  }
  return places;
}

std::vector<std::string> identifiersIn(const Array& accounts) {
  std::vector<std::string> identifiers;
  forEachAccount(accounts, [&](AccountPlace, const Dictionary& account) {
    const std::string_view identifier = identifierOf(account);
    if (!identifier.empty()) identifiers.emplace_back(identifier);
  });
  return identifiers;
}

Prevented noSuchAccount(const std::string& typed, const std::string& why, const std::string& next) {
  return {"account '" + typed + "'", why, next, FailureCode::NoAccount};
}

// The only one of the places, of accounts that have one identifier.
std::optional<AccountPlace> onlyOne(const std::vector<AccountPlace>& places,
                                    const std::string& typed, const Array& accounts) {
  if (places.empty()) return std::nullopt;
  if (places.size() == 1) return places.front();
  AccountNaming all(accounts);
  std::vector<std::string> names;
  for (const AccountPlace place : places) names.push_back("'" + all.nameAt(place) + "'");
  throw noSuchAccount(typed, std::to_string(places.size()) + " accounts have this identifier",
                      "name one by its place: " + joined(names, ", "));
}

// Throws where the account that a place was typed for has a name that does not change when others
// come and go.
AccountPlace requireNameless(AccountPlace place, const std::string& typed, const Array& accounts) {
  if (!AccountNaming(accounts).tellsApart(place)) return place;
  const std::string identifier(identifierOf(*accountAt(accounts, place)));
  throw noSuchAccount(typed, "the account at this place is " + identifier,
                      "name it by that, as places change");
}

std::optional<AccountPlace> topLevelNamed(const std::string& name, const Array& accounts) {
  if (const auto found = onlyOne(placesOf(name, accounts, false), name, accounts)) return found;
  const auto index = placeNamed(name);
  return index && *index < accounts.size() ? std::optional(AccountPlace{*index}) : std::nullopt;
}

std::optional<AccountPlace> childNamed(AccountPlace parent, const std::string& name,
                                       const Array& accounts) {
  const Array& children = childrenAt(accounts, parent.top);
  std::vector<AccountPlace> found;
  for (std::size_t child = 0; child < children.size(); ++child) {
    const Dictionary* properties = children[child].dictionary();
    if (properties != nullptr && identifierOf(*properties) == name) {
      found.push_back({parent.top, child});
    }
  }
  if (const auto place = onlyOne(found, name, accounts)) return place;
  const auto index = placeNamed(name);
  if (!index || *index >= children.size()) return std::nullopt;
  return AccountPlace{parent.top, *index};
}

// Of a name as it is printed; none where no account is called so.
std::optional<AccountPlace> placeCalled(const std::string& name, const Array& accounts) {
  if (name.empty()) return std::nullopt;
  for (const bool amongChildren : {false, true}) {
    const auto found = onlyOne(placesOf(name, accounts, amongChildren), name, accounts);
    if (found) return found;
  }
  if (const auto place = topLevelNamed(name, accounts)) {
    return requireNameless(*place, name, accounts);
  }
  for (std::size_t at = name.find('/'); at != std::string::npos; at = name.find('/', at + 1)) {
    const auto parent = topLevelNamed(name.substr(0, at), accounts);
    const std::string own = name.substr(at + 1);
    const auto child = parent ? childNamed(*parent, own, accounts) : std::nullopt;
    if (!child) continue;
    return placeNamed(own) ? requireNameless(*child, name, accounts) : *child;
  }
  return std::nullopt;
}

}  // namespace

std::string placeName(std::size_t index) {
  return "#" + std::to_string(index + 1);
}

std::optional<std::size_t> placeNamed(std::string_view name) {
  if (!name.starts_with('#')) return std::nullopt;
  std::size_t place = 0;
  const auto [end, problem] = std::from_chars(name.data() + 1, name.data() + name.size(), place);
  const bool isWhole = problem == std::errc() && end == name.data() + name.size();
  return isWhole && place > 0 ? std::optional(place - 1) : std::nullopt;
}

std::string accountLabel(const PropertyList& account, std::size_t index) {
  const Dictionary* properties = account.dictionary();
  const std::string_view identifier = properties != nullptr ? identifierOf(*properties) : "";
  return identifier.empty() ? placeName(index) : std::string(identifier);
}

std::string_view identifierOnceUpgraded(const Dictionary& account, std::int64_t version) {
  constexpr std::int64_t kSettledBy = 2;
  static constexpr std::array<std::string_view, 4> kTypes = {"Mail", "Quorra", "Exchange", "SMTP"};
  const std::string_view type = account.string(kAccountType).value_or("");
  const std::string_view older = account.string("uniqueId").value_or("");
  const bool isSettled = version < kSettledBy && !older.empty() &&
                         std::find(kTypes.begin(), kTypes.end(), type) != kTypes.end();
  return isSettled ? older : identifierOf(account);
}

void AccountNaming::lookAtAll() {
  if (hasLooked_) return;
  hasLooked_ = true;
  forEachAccount(accounts_, [&](AccountPlace place, const Dictionary& account) {
    ++(place.isChild() ? children_ : topLevel_)[identifierOf(account)];
  });
}

bool AccountNaming::tellsApart(AccountPlace place) {
  const Dictionary* account = accountAt(accounts_, place);
  const std::string_view identifier = account != nullptr ? identifierOf(*account) : "";
  if (identifier.empty()) return false;
  lookAtAll();
  if (!place.isChild()) return topLevel_.at(identifier) == 1;
  return !topLevel_.contains(identifier) && children_.at(identifier) == 1;
}

std::string AccountNaming::nameAt(AccountPlace place) {
  if (tellsApart(place)) return std::string(identifierOf(*accountAt(accounts_, place)));
  const std::string own = placeName(place.isChild() ? place.child : place.top);
  return place.isChild() ? nameAt(place.parent()) + "/" + own : own;
}

AccountPlace placeMeantBy(const std::string& typed, const Array& accounts) {
  if (const auto place = placeCalled(typed, accounts)) return *place;
  const std::vector<std::string> known = identifiersIn(accounts);
  const std::string meant = identifierMeantBy(typed, known);
  if (const auto place = placeCalled(meant, accounts)) return *place;
  throw noSuchAccount(typed, "there is no such account",
                      suggestionFor(typed, known) +
                          "'accountsettings show' lists the accounts with their identifiers");
}

}  // namespace accountsettings
