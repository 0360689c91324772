// Random edits of a store, compared after each step with a model that keeps no index and walks its
// lists and maps from end to end. Both work on records of their own, made and changed alike; a
// "tag" in each record tells which ones correspond.
#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "account/DeviceLocalAccount.h"
#include "account/StringList.h"
#include "logging/Logging.h"
#include "store/AccountsManager.h"
#include "testing/StoreTest.h"

namespace accountsettings {
namespace {

using Account = AccountsManager::Account;
using AccountList = AccountsManager::AccountList;
using Identifier = std::optional<std::string>;

Identifier stored(const Account& account) {
  const auto value = account->accountPropertyForKey("Identifier");
  const auto text = stringOf(value ? &*value : nullptr);
  return text ? Identifier(*text) : std::nullopt;
}

std::optional<Array> storedChildren(const Account& account) {
  const auto value = account->accountPropertyForKey("ChildAccounts");
  return value && value->array() != nullptr ? std::optional(*value->array()) : std::nullopt;
}

class Model {
 public:
  explicit Model(const Array& accounts) {
    for (const PropertyList& each : accounts) {
      const Account account = BasicAccount::initWithProperties(*each.dictionary());
      if (const Identifier identifier = account->identifier()) map[*identifier] = account;
      list.push_back(account);
      load(account);
    }
  }

  void load(const Account& parent) {
    const Identifier owner = parent->identifier();
    if (owner) forget(*owner);
    for (const PropertyList& each : storedChildren(parent).value_or(Array())) {
      const Account child = BasicAccount::initWithProperties(*each.dictionary());
      const auto own = each.dictionary()->string("Identifier");
      if (child == nullptr || !own) {
        systemLog("Ignoring unknown child account with properties %@", each);
        continue;
      }
      if (!owner) continue;
      child->setParentAccount(parent);
      const std::string identifier(*own);
      children[identifier] = child;
      parents[identifier] = *owner;
    }
  }

  void forget(const std::string& parent) {
    for (const auto& [child, owner] : std::map<std::string, std::string>(parents)) {
      if (owner != parent) continue;
      parents.erase(child);
      children.erase(child);
    }
  }

  Account find(const std::string& identifier) const {
    if (map.count(identifier) != 0) return map.at(identifier);
    if (parents.count(identifier) == 0) return nullptr;
    const auto parent = map.find(parents.at(identifier));
    return parent != map.end() ? parent->second : nullptr;
  }

  void update(const Account& account) {
    const Identifier identifier = account->identifier();
    for (std::size_t i = list.size(); identifier && i-- > 0;) {
      if (list[i]->identifier() != identifier) continue;
      list[i] = account;
      map[*identifier] = account;
      load(account);
    }
  }

  void insert(const Account& account) {
    const Identifier identifier = account->identifier();
    if (!identifier || map.count(*identifier) != 0) return;
    map[*identifier] = account;
    list.push_back(account);
    load(account);
  }

  void remove(const Account& account) {
    const Identifier identifier = account->identifier();
    if (!identifier) return;
    forget(*identifier);
    map.erase(*identifier);
    for (std::size_t i = list.size(); i-- > 0;) {
      if (list[i]->identifier() != identifier) continue;
      const Account found = list[i];
      list.erase(std::remove(list.begin(), list.end(), found), list.end());
      return;
    }
  }

  void removeWithIdentifier(const std::string& identifier) {
    if (map.count(identifier) != 0) remove(Account(map.at(identifier)));
  }

  void replace(const Account& oldAccount, const Account& newAccount) {
    const auto found = std::find(list.begin(), list.end(), oldAccount);
    if (found == list.end()) return;
    if (const Identifier identifier = oldAccount->identifier()) {
      forget(*identifier);
      map.erase(*identifier);
    }
    *found = newAccount;
    load(newAccount);
  }

  void replaceTypes(const StringList& types, const AccountList& accounts) {
    AccountList copy = list;
    std::map<std::string, Account> entered;
    std::map<std::string, Account> replacements;
    for (const Account& each : accounts) {
      if (stored(each)) replacements[*stored(each)] = each;
    }
    AccountList left = accounts;
    for (std::size_t i = copy.size(); i-- > 0;) {
      const Account each = copy[i];
      const Identifier identifier = stored(each);
      if (identifier && replacements.count(*identifier) != 0) {
        const Account replacement = replacements.at(*identifier);
        copy[i] = replacement;
        entered[*identifier] = replacement;
        left.erase(std::remove(left.begin(), left.end(), replacement), left.end());
        load(replacement);
      } else if (std::find(types.begin(), types.end(), each->type().value_or("")) != types.end()) {
        if (identifier) forget(*identifier);
        copy.erase(copy.begin() + static_cast<std::ptrdiff_t>(i));
      } else if (identifier) {
        entered[*identifier] = each;
      }
    }
    for (const Account& each : left) {
      if (const Identifier parentIdentifier = each->parentAccountIdentifier()) {
        if (entered.count(*parentIdentifier) == 0) continue;
        const Account parent = entered.at(*parentIdentifier);
        const Identifier identifier = each->identifier();
        if (identifier && parents.count(*identifier) != 0) {
          const std::string former = parents.at(*identifier);
          removeChild(*identifier, former == parent->identifier() ? parent : find(former));
        }
        addChild(each, parent);
        continue;
      }
      copy.push_back(each);
      if (stored(each)) entered[*stored(each)] = each;
      load(each);
    }
    map = entered;
    list = copy;
  }

  void addChild(const Account& child, const Account& parent) {
    Array descriptions = storedChildren(parent).value_or(Array());
    descriptions.append(child->properties().values());
    parent->setAccountPropertyForKey(descriptions, "ChildAccounts");
    load(parent);
  }

  void removeChild(const std::string& identifier, const Account& parent) {
    if (parent == nullptr) return;
    if (const auto descriptions = storedChildren(parent)) {
      Array kept = *descriptions;
      for (const PropertyList& each : *descriptions) {
        const Account child = BasicAccount::initWithProperties(*each.dictionary());
        if (child != nullptr && child->identifier() == identifier) kept.removeAll(each);
      }
      parent->setAccountPropertyForKey(kept, "ChildAccounts");
    }
    load(parent);
  }

  AccountList list;
  std::map<std::string, Account> map;
  std::map<std::string, Account> children;
  std::map<std::string, std::string> parents;
};

std::string tagOf(const Account& account) {
  if (account == nullptr) return "none";
  const PropertyList* tag = account->properties().find("tag");
  return tag != nullptr ? std::to_string(tag->integerValue()) : "untagged";
}

std::string listOf(const std::vector<std::string>& texts) {
  std::string line;
  for (const std::string& each : texts) line += " " + each;
  return line + "\n";
}

const std::vector<std::string>& identifiers() {
  static const std::vector<std::string> all{"A", "B", "C", "D", "E", "F", "a",
                                            "b", "c", "d", "e", "f", ""};
  return all;
}

// What both worlds must agree on, as text.
std::string shown(const AccountList& list, const AccountList& children,
                  const std::function<Account(const std::string&)>& find) {
  std::vector<std::string> listed;
  for (const Account& each : list) {
    std::string text = tagOf(each) + "(" + each->identifier().value_or("-") + ":";
    for (const PropertyList& child : storedChildren(each).value_or(Array())) {
      const PropertyList* tag = child.dictionary()->find("tag");
      text += tag != nullptr ? std::to_string(tag->integerValue()) + "," : "?";
    }
    listed.push_back(text + ")");
  }
  std::vector<std::string> known;
  for (const Account& each : children) {
    known.push_back(each->identifier().value_or("-") + "=" + tagOf(each) + "<" +
                    tagOf(each->parentAccount()));
  }
  std::sort(known.begin(), known.end());
  std::vector<std::string> found;
  for (const std::string& each : identifiers()) found.push_back(each + "=" + tagOf(find(each)));
  return "listed" + listOf(listed) + "children" + listOf(known) + "found" + listOf(found);
}

// World is one of the two: a store or the model, and the records that its steps use.
template <class Store>
struct World {
  Store store;
  AccountList pool;
};

class AccountsManagerEditsModel : public testing::StoreTest {
 protected:
  using Real = World<std::unique_ptr<AccountsManager>>;
  using Naive = World<Model>;

  std::size_t upTo(std::size_t limit) { return random_() % limit; }
  bool oneIn(std::size_t n) { return upTo(n) == 0; }
  std::string anyIdentifier() { return identifiers()[upTo(identifiers().size())]; }
  std::string anyType() {
    const char* types[] = {"CalDAV", "CardDAV", "Exchange"};
    return types[upTo(3)];
  }

  // A dictionary that may lack identifiers or hold odd ones.
  Dictionary anyDictionary(bool withChildren) {
    Dictionary properties{{"Type", anyType()}, {"Class", "C"}, {"tag", ++tag_}};
    if (!oneIn(12)) {
      properties.set("Identifier", oneIn(20) ? PropertyList(3) : PropertyList(anyIdentifier()));
    }
    if (oneIn(2)) properties.set("Sync Identifier", "S" + std::to_string(upTo(4)));
    if (oneIn(20)) properties.set("Type", "Pigeon");
    if (withChildren && oneIn(2)) {
      Array children;
      for (std::size_t n = upTo(4); n-- > 0;) children.append(anyDictionary(false));
      properties.set("ChildAccounts", children);
    }
    return properties;
  }
  // The same, of which a record can be made and compared in both worlds.
  Dictionary anyAccount(bool withChildren = true) {
    Dictionary properties = anyDictionary(withChildren);
    properties.set("Type", anyType());
    if (!properties.contains("Identifier")) properties.set("Identifier", anyIdentifier());
    return properties;
  }

  // Pick names a record in either world.
  struct Pick {
    enum class From { Pool, List, Children } from = From::Pool;
    std::size_t index = 0;
    std::string identifier;
  };
  Pick anyPick() {
    switch (upTo(4)) {
      case 0:
        makeRecord(anyAccount());
        return {Pick::From::Pool, naive_->pool.size() - 1, ""};
      case 1:
        return {Pick::From::Pool, upTo(naive_->pool.size()), ""};
      case 2:
        if (const auto child = anyChild()) return {Pick::From::Children, 0, *child};
        break;
      default:
        break;
    }
    if (naive_->store.list.empty()) return {Pick::From::Pool, 0, ""};
    return {Pick::From::List, upTo(naive_->store.list.size()), ""};
  }
  // The identifier of some child whose tag no other child has: by it alone both worlds recognise
  // it.
  std::optional<std::string> anyChild() {
    const auto& children = naive_->store.children;
    if (children.empty()) return std::nullopt;
    const auto picked =
        std::next(children.begin(), static_cast<std::ptrdiff_t>(upTo(children.size())));
    const auto sameTag = std::count_if(children.begin(), children.end(), [&](const auto& each) {
      return tagOf(each.second) == tagOf(picked->second);
    });
    return sameTag == 1 ? std::optional(picked->first) : std::nullopt;
  }
  Account in(const Naive& world, const Pick& pick) const {
    if (pick.from == Pick::From::Pool) return world.pool[pick.index];
    if (pick.from == Pick::From::List) return world.store.list[pick.index];
    return world.store.children.at(pick.identifier);
  }
  Account in(const Real& world, const Pick& pick) const {
    if (pick.from == Pick::From::Pool) return world.pool[pick.index];
    if (pick.from == Pick::From::List) return world.store->allBasicAccounts()[pick.index];
    // A child's key is not to be seen from outside; its record is recognised by its tag.
    const std::string tag = tagOf(naive_->store.children.at(pick.identifier));
    const AccountList all = world.store->allBasicSyncableAccounts();
    for (std::size_t i = all.size(); i-- > world.store->count();) {
      if (tagOf(all[i]) == tag) return all[i];
    }
    return nullptr;
  }

  void makeRecord(const Dictionary& properties) {
    real_->pool.push_back(BasicAccount::initWithProperties(properties));
    naive_->pool.push_back(BasicAccount::initWithProperties(properties));
  }

  // Runs the step in both worlds and compares what they log.
  void run(const std::function<void(AccountsManager&)>& real,
           const std::function<void(Model&)>& naive) {
    takeLog();
    real(*real_->store);
    const Strings expectedFrom = takeLog();
    naive(naive_->store);
    EXPECT_EQ(expectedFrom, takeLog());
  }
  void onRecord(const Pick& pick, const std::function<void(BasicAccount&)>& change) {
    const Account inReal = in(*real_, pick);
    const Account inNaive = in(*naive_, pick);
    change(*inReal);
    change(*inNaive);
  }

  void editStep() {
    const Pick first = anyPick();
    const Pick second = anyPick();
    const Account realFirst = in(*real_, first);
    const Account naiveFirst = in(*naive_, first);
    const Account realSecond = in(*real_, second);
    const Account naiveSecond = in(*naive_, second);
    const std::string identifier = anyIdentifier();
    switch (upTo(9)) {
      case 0:
        return run([&](AccountsManager& s) { s.updateAccount(realFirst); },
                   [&](Model& m) { m.update(naiveFirst); });
      case 1:
        return run([&](AccountsManager& s) { s.insertAccount(realFirst); },
                   [&](Model& m) { m.insert(naiveFirst); });
      case 2:
        return run([&](AccountsManager& s) { s.deleteAccount(realFirst); },
                   [&](Model& m) { m.remove(naiveFirst); });
      case 3:
        return run([&](AccountsManager& s) { s.deleteAccountWithIdentifier(identifier); },
                   [&](Model& m) { m.removeWithIdentifier(identifier); });
      case 4:
      case 5:
        return run([&](AccountsManager& s) { s.replaceAccountWithAccount(realFirst, realSecond); },
                   [&](Model& m) { m.replace(naiveFirst, naiveSecond); });
      case 6:
        if (naiveFirst->properties().find("ChildAccounts") != nullptr) return;
        return run([&](AccountsManager& s) { s.addChildToAccount(realFirst, realSecond); },
                   [&](Model& m) { m.addChild(naiveFirst, naiveSecond); });
      case 7:
        return run(
            [&](AccountsManager& s) {
              s.removeChildWithIdentifierFromAccount(identifier, realFirst);
            },
            [&](Model& m) { m.removeChild(identifier, naiveFirst); });
      default:
        return replaceTypesStep();
    }
  }

  void replaceTypesStep() {
    AccountList realAccounts;
    AccountList naiveAccounts;
    for (std::size_t n = upTo(4); n-- > 0;) {
      const Pick pick = anyPick();
      realAccounts.push_back(in(*real_, pick));
      naiveAccounts.push_back(in(*naive_, pick));
    }
    const StringList types{anyType()};
    run([&](AccountsManager& s) { s.replaceAccountsWithTypesWithAccounts(types, realAccounts); },
        [&](Model& m) { m.replaceTypes(types, naiveAccounts); });
  }

  // Writes to a record's live properties, of which no store is told.
  void liveStep() {
    const Pick pick = anyPick();
    const std::string key = oneIn(2) ? "Identifier" : "Sync Identifier";
    const std::string text = key == "Identifier" ? anyIdentifier() : "S" + std::to_string(upTo(4));
    switch (upTo(5)) {
      case 0:
        return onRecord(pick, [&](BasicAccount& a) { a.removeAccountPropertyForKey(key); });
      case 1:
        return onRecord(pick, [&](BasicAccount& a) { a.properties().set(key, PropertyList(5)); });
      case 2:
        return onRecord(pick, [&](BasicAccount& a) {
          Dictionary values = a.properties().values();
          values.set(key, text);
          a.properties().assign(values);
        });
      default:
        return onRecord(pick, [&](BasicAccount& a) { a.setAccountPropertyForKey(text, key); });
    }
  }

  // Hangs a record under an older one, so that no circle arises.
  void parentStep() {
    const std::size_t child = upTo(naive_->pool.size());
    const std::size_t parent = upTo(child + 1);
    const bool orphan = child == parent;
    real_->pool[child]->setParentAccount(orphan ? nullptr : real_->pool[parent]);
    naive_->pool[child]->setParentAccount(orphan ? nullptr : naive_->pool[parent]);
  }

  void compare() {
    const AccountsManager& store = *real_->store;
    const Model& model = naive_->store;
    AccountList all = store.allBasicSyncableAccounts();
    const AccountList children(all.begin() + static_cast<std::ptrdiff_t>(store.count()), all.end());
    AccountList modelChildren;
    for (const auto& [identifier, child] : model.children) modelChildren.push_back(child);
    EXPECT_EQ(
        shown(store.allBasicAccounts(), children,
              [&](const std::string& i) { return store.accountWithIdentifier(i); }),
        shown(model.list, modelChildren, [&](const std::string& i) { return model.find(i); }));
    EXPECT_EQ(store.count(), model.list.size());
    for (int i = 0; i < 5; ++i) compareSyncIdentifier("S" + std::to_string(i));
  }

  // Any account with the sync identifier will do, a top-level one if there is one.
  void compareSyncIdentifier(const std::string& identifier) {
    std::set<std::string> candidates;
    for (const auto* map : {&naive_->store.map, &naive_->store.children}) {
      for (const auto& [key, account] : *map) {
        if (account->syncStoreIdentifier() == identifier) candidates.insert(tagOf(account));
      }
      if (!candidates.empty()) break;
    }
    if (candidates.empty()) candidates.insert("none");
    EXPECT_THAT(
        candidates,
        ::testing::Contains(tagOf(real_->store->syncableAccountWithSyncIdentifier(identifier))));
  }

  void start(unsigned seed) {
    random_.seed(seed);
    tag_ = 0;
    Array accounts;
    for (std::size_t n = upTo(8); n-- > 0;) accounts.append(anyAccount());
    real_ = std::make_unique<Real>(Real{storeOf(accounts), {}});
    naive_ = std::make_unique<Naive>(Naive{Model(accounts), {}});
    for (int n = 0; n < 3; ++n) makeRecord(anyAccount());
  }

  std::mt19937 random_;
  int tag_ = 0;
  std::unique_ptr<Real> real_;
  std::unique_ptr<Naive> naive_;
};

TEST_F(AccountsManagerEditsModel, RandomEditsGiveWhatTheLiteralWalksGive) {
  for (unsigned seed = 0; seed < 400 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    start(seed);
    compare();
    // Repeated identifiers multiply; a store that has grown too much ends the sequence.
    for (int step = 0; step < 40 && real_->store->count() < 60 && !HasFailure(); ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      if (oneIn(4)) {
        liveStep();
      } else if (oneIn(10)) {
        parentStep();
      } else {
        editStep();
      }
      // Sometimes several edits run before anybody looks.
      if (!oneIn(3)) compare();
    }
    compare();
  }
}

// Without the edits that part list and map on purpose, both agree, and every child leads to the
// listed account that holds its description.
TEST_F(AccountsManagerEditsModel, MapListAndChildrenAgreeAfterOrdinaryEdits) {
  const Strings parents{"A", "B", "C", "D", "E", "F"};
  for (unsigned seed = 0; seed < 200 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    random_.seed(seed);
    const auto store = storeOf({});
    for (int step = 0; step < 60; ++step) {
      const std::string identifier = parents[upTo(parents.size())];
      // A child's identifier tells its parent, so that it never stands under two.
      const std::string child = identifier + std::to_string(upTo(3));
      const Account known = store->accountWithIdentifier(identifier);
      switch (upTo(6)) {
        case 0:
          store->insertAccount(record(account(identifier)));
          break;
        case 1:
          store->updateAccount(
              record(account(identifier, {{"ChildAccounts", Array{account(child)}}})));
          break;
        case 2:
          store->deleteAccountWithIdentifier(identifier);
          break;
        case 3:
          store->replaceAccountsWithTypesWithAccounts({oneIn(3) ? "CalDAV" : "Mail"},
                                                      {record(account(identifier))});
          break;
        case 4:
          store->addChildToAccount(record(account(child)), known);
          break;
        default:
          store->removeChildWithIdentifierFromAccount(child, known);
      }
      const AccountList all = store->allBasicSyncableAccounts();
      std::set<std::string> seen;
      for (std::size_t i = 0; i < all.size(); ++i) {
        const std::string name = all[i]->identifier().value_or("-");
        EXPECT_TRUE(seen.insert(name).second) << name << " is there twice";
        const Account holder = i < store->count() ? all[i] : all[i]->parentAccount();
        EXPECT_EQ(store->accountWithIdentifier(name), holder);
        EXPECT_THAT(store->allBasicAccounts(), ::testing::Contains(holder));
        if (i < store->count()) continue;
        EXPECT_THAT(storedChildren(holder), ::testing::Optional(::testing::Contains(name)));
      }
      for (const Account& each : store->allBasicAccounts()) {
        for (const std::string& name : storedChildren(each).value_or(Strings())) {
          EXPECT_TRUE(seen.count(name) != 0) << name << " is not known";
        }
      }
    }
  }
}

}  // namespace
}  // namespace accountsettings
