// How accounts, children and legacy descriptions are read into a tree.
#include "tool/accounts/AccountTree.h"

#include <algorithm>
#include <unordered_set>

#include "account/AccountConstants.h"
#include "account/RecordProblems.h"
#include "account/StringList.h"
#include "migration/LegacyFormats.h"
#include "plist/Description.h"
#include "store/AccountsManager.h"
#include "store/LoadProblems.h"

namespace accountsettings {

namespace {

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
  for (const PropertyList& child : *children) {
    if (const Dictionary* dictionary = child.dictionary()) {
      node.children.push_back(nodeOf(*dictionary, &node, strangers));
    } else {
      ++strangers;
    }
  }
  return node;
}

void addAccounts(AccountTree& tree, const Array& list) {
  for (const PropertyList& account : list) {
    if (const Dictionary* dictionary = account.dictionary()) {
      tree.accounts.push_back(nodeOf(*dictionary, nullptr, tree.strangers));
    } else {
      ++tree.strangers;
    }
  }
}

// Why the store does not load the child; empty where it does. Its mail class does not matter.
std::string whyChildNotLoaded(const Dictionary& properties) {
  return recordProblemsOf(properties).any() ? whyNotLoaded(properties) : "";
}

// Marks what the store does not load, and what gives way to a later account of its identifier.
void markNotLoaded(std::vector<AccountNode>& accounts) {
  std::unordered_set<std::string_view> later;
  for (auto account = accounts.rbegin(); account != accounts.rend(); ++account) {
    account->notLoaded = whyNotLoaded(account->properties);
    for (AccountNode& child : account->children) {
      child.notLoaded = whyChildNotLoaded(child.properties);
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
  addAccounts(tree, root->arrayOrEmpty(kPlistAccountsKey));
  markNotLoaded(tree.accounts);
  return tree;
}

AccountTree legacyTreeOf(const PropertyList& file, const LegacyFormat& format) {
  AccountTree tree;
  const Dictionary* root = file.dictionary();
  if (root == nullptr) return tree;
  // The last list holds what people ask for first.
  for (auto list = format.lists.rbegin(); list != format.lists.rend(); ++list) {
    const std::size_t first = tree.accounts.size();
    addAccounts(tree, root->arrayOrEmpty(list->key));
    for (std::size_t place = first; place < tree.accounts.size(); ++place) {
      AccountNode& node = tree.accounts[place];
      node.type = list->type;
      node.accountClass = node.properties.string(format.classKey).value_or("");
      node.name = node.properties.string(format.nameKey).value_or("");
      node.identifier = node.properties.string(format.identifierKey).value_or("");
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
              const std::function<bool(const AccountNode&)>& wanted) {
  std::erase_if(accounts, [&](AccountNode& account) {
    if (wanted(account)) return false;
    std::erase_if(account.children, [&](const AccountNode& child) { return !wanted(child); });
    return account.children.empty();
  });
}

std::string accountTitle(const Dictionary& account) {
  const std::string type(account.string(kAccountType).value_or(""));
  std::string name(account.string(kAccountDisplayName).value_or(""));
  if (name.empty()) name = account.string(kAccountUsername).value_or("");
  if (type.empty() || name.empty()) return type + name;
  return type + " \"" + name + "\"";
}

std::string accountLabel(const PropertyList& account, std::size_t index) {
  if (const Dictionary* properties = account.dictionary()) {
    const auto identifier = properties->string(kAccountIdentifier);
    if (identifier && !identifier->empty()) return std::string(*identifier);
  }
  return "#" + std::to_string(index + 1);
}

}  // namespace accountsettings
