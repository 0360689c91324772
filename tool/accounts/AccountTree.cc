// How accounts, children and legacy descriptions are read into a tree.
#include "tool/accounts/AccountTree.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "account/AccountConstants.h"
#include "account/StringList.h"
#include "migration/LegacyFormats.h"
#include "plist/Description.h"
#include "store/AccountsManager.h"
#include "store/LoadProblems.h"
#include "tool/accounts/AccountNaming.h"

namespace accountsettings {

namespace {

std::vector<AccountNode> nodesOf(const Array& list, const AccountNode* parent,
                                 std::size_t& strangers);

AccountNode nodeOf(const Dictionary& properties, const AccountNode* parent,
                   std::size_t& strangers) {
  AccountNode node;
  node.properties = properties;
  node.identifier = properties.string(kAccountIdentifier).value_or("");
  node.type = properties.string(kAccountType).value_or("");
  if (node.type.empty() && parent != nullptr) node.type = parent->type;
  node.accountClass = properties.string(kAccountClass).value_or("");
  node.name = properties.string(kAccountDisplayName).value_or("");
  node.username = properties.string(kAccountUsername).value_or("");
  node.enabled = stringListOf(properties.find(kAccountEnabledDataclasses));
  // Deeper descendants are nobody's children: the store knows two levels.
  const Array* children = properties.array(kAccountChildAccounts);
  if (parent != nullptr || children == nullptr) return node;
  node.properties.remove(kAccountChildAccounts);
  node.children = nodesOf(*children, &node, strangers);
  return node;
}

std::vector<AccountNode> nodesOf(const Array& list, const AccountNode* parent,
                                 std::size_t& strangers) {
  std::vector<AccountNode> nodes;
  for (std::size_t index = 0; index < list.size(); ++index) {
    if (const Dictionary* dictionary = list[index].dictionary()) {
      nodes.push_back(nodeOf(*dictionary, parent, strangers));
      nodes.back().index = index;
    } else {
      ++strangers;
    }
  }
  return nodes;
}

// Names the accounts that no identifier tells apart by their places.
void namePlaces(std::vector<AccountNode>& nodes, const Array& accounts) {
  AccountNaming names(accounts);
  const auto name = [&](AccountNode& node, AccountPlace place) {
    if (!names.tellsApart(place)) node.placeName = names.nameAt(place);
  };
  for (AccountNode& node : nodes) {
    name(node, {node.index});
    for (AccountNode& child : node.children) name(child, {node.index, child.index});
  }
}

// Marks what the store does not load, and what gives way to a later account of its identifier.
void markNotLoaded(std::vector<AccountNode>& accounts) {
  std::unordered_set<std::string_view> later;
  for (auto account = accounts.rbegin(); account != accounts.rend(); ++account) {
    account->notLoaded = whyNotLoaded(account->properties);
    for (AccountNode& child : account->children) {
      child.notLoaded = whyNotLoadedChild(child.properties);
    }
    if (!account->notLoaded.empty() || account->identifier.empty()) continue;
    if (!later.insert(account->identifier).second) {
      account->notLoaded = "a later account has the same identifier and takes its place";
    }
  }
}

std::size_t notLoadedIn(const std::vector<AccountNode>& accounts) {
  std::size_t count = 0;
  for (const AccountNode& account : accounts) {
    count += (account.notLoaded.empty() ? 0U : 1U) + notLoadedIn(account.children);
  }
  return count;
}

}  // namespace

std::size_t AccountTree::notLoadedCount() const {
  return notLoadedIn(accounts) + strangers;
}

std::size_t AccountTree::accountCount() const {
  return static_cast<std::size_t>(std::count_if(
      accounts.begin(), accounts.end(), [](const AccountNode& each) { return !each.isContext; }));
}

std::size_t AccountTree::childCount() const {
  std::size_t count = 0;
  for (const AccountNode& account : accounts) count += account.children.size();
  return count;
}

AccountTree accountTreeOf(const PropertyList& settings) {
  AccountTree tree;
  const Dictionary* root = settings.dictionary();
  if (root == nullptr) return tree;
  for (const auto& [key, value] : *root) {
    if (key == kPlistVersionKey) {
      tree.version = value.integerValue();
    } else if (key != kPlistAccountsKey) {
      tree.foreignKeys.emplace_back(key);
    }
  }
  const PropertyList* accounts = root->find(kPlistAccountsKey);
  if (accounts != nullptr && accounts->array() == nullptr) {
    tree.problem = "\"" + std::string(kPlistAccountsKey) + "\" is " +
                   std::string(kindInWords(*accounts)) + " instead of an array";
  }
  const Array& list = root->arrayOrEmpty(kPlistAccountsKey);
  tree.accounts = nodesOf(list, nullptr, tree.strangers);
  namePlaces(tree.accounts, list);
  markNotLoaded(tree.accounts);
  return tree;
}

AccountTree legacyTreeOf(const PropertyList& file, const LegacyFormat& format) {
  AccountTree tree;
  const Dictionary* root = file.dictionary();
  if (root == nullptr) return tree;
  // The last list holds what people ask for first.
  for (auto list = format.lists.rbegin(); list != format.lists.rend(); ++list) {
    for (AccountNode& node : nodesOf(root->arrayOrEmpty(list->key), nullptr, tree.strangers)) {
      node.type = list->type;
      node.accountClass = node.properties.string(format.classKey).value_or("");
      node.name = node.properties.string(format.nameKey).value_or("");
      node.identifier = node.properties.string(format.identifierKey).value_or("");
      if (node.identifier.empty()) node.placeName = placeName(node.index);
      tree.accounts.push_back(std::move(node));
    }
  }
  return tree;
}

void forEachNode(const std::vector<AccountNode>& accounts, const NodeVisitor& visit) {
  for (const AccountNode& account : accounts) {
    visit(account);
    forEachNode(account.children, visit);
  }
}

void keepOnly(std::vector<AccountNode>& accounts,
              const std::function<bool(const AccountNode&)>& wanted, bool withFamily) {
  std::erase_if(accounts, [&](AccountNode& account) {
    account.isContext = !wanted(account);
    if (!account.isContext && withFamily) return false;
    std::erase_if(account.children, [&](const AccountNode& child) { return !wanted(child); });
    return account.isContext && account.children.empty();
  });
}

std::string accountTitle(const Dictionary& account) {
  const std::string type(account.string(kAccountType).value_or(""));
  std::string name(account.string(kAccountDisplayName).value_or(""));
  if (name.empty()) name = account.string(kAccountUsername).value_or("");
  if (type.empty() || name.empty()) return type + name;
  return type + " \"" + name + "\"";
}

}  // namespace accountsettings
