#include "tool/accounts/AccountTree.h"

#include <algorithm>

#include "account/AccountConstants.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

const Array* listUnder(const PropertyList& root, std::string_view key) {
  const Dictionary* dictionary = root.dictionary();
  const PropertyList* value = dictionary == nullptr ? nullptr : dictionary->find(key);
  return value == nullptr ? nullptr : value->array();
}

AccountNode nodeOf(const Dictionary& properties, const AccountNode* parent,
                   std::size_t& strangers) {
  AccountNode node;
  node.properties = properties;
  node.identifier = textOf(properties, kAccountIdentifier);
  node.type = textOf(properties, kAccountType);
  if (node.type.empty() && parent != nullptr) node.type = parent->type;
  node.accountClass = textOf(properties, kAccountClass);
  node.name = textOf(properties, kAccountDisplayName);
  node.username = textOf(properties, kAccountUsername);
  node.enabled = stringsOf(properties.find(kAccountEnabledDataclasses));
  // Deeper descendants are nobody's children: the store knows two levels.
  const PropertyList* children = properties.find(kAccountChildAccounts);
  if (parent != nullptr || children == nullptr || children->array() == nullptr) return node;
  node.properties.remove(kAccountChildAccounts);
  for (const PropertyList& child : *children->array()) {
    if (const Dictionary* dictionary = child.dictionary()) {
      node.children.push_back(nodeOf(*dictionary, &node, strangers));
    } else {
      ++strangers;
    }
  }
  return node;
}

void addAccounts(AccountTree& tree, const Array* list) {
  if (list == nullptr) return;
  for (const PropertyList& account : *list) {
    if (const Dictionary* dictionary = account.dictionary()) {
      tree.accounts.push_back(nodeOf(*dictionary, nullptr, tree.strangers));
    } else {
      ++tree.strangers;
    }
  }
}

// Where a legacy description keeps what an account keeps elsewhere.
struct LegacyKeys {
  std::string_view accountClass;
  std::string_view name;
  std::string_view identifier;
};

void addDescriptions(AccountTree& tree, const PropertyList& file, std::string_view listKey,
                     std::string_view type, const LegacyKeys& keys) {
  const std::size_t first = tree.accounts.size();
  addAccounts(tree, listUnder(file, listKey));
  for (std::size_t i = first; i < tree.accounts.size(); ++i) {
    AccountNode& node = tree.accounts[i];
    node.type = type;
    node.accountClass = textOf(node.properties, keys.accountClass);
    node.name = textOf(node.properties, keys.name);
    node.identifier = textOf(node.properties, keys.identifier);
  }
}

}  // namespace

std::size_t AccountTree::childCount() const {
  std::size_t count = 0;
  for (const AccountNode& account : accounts) count += account.children.size();
  return count;
}

AccountTree accountTreeOf(const PropertyList& settings) {
  AccountTree tree;
  const Dictionary* root = settings.dictionary();
  if (root == nullptr) return tree;
  for (const auto& entry : *root) {
    if (entry.key() == kPlistVersionKey) {
      tree.version = entry.value().integerValue();
    } else if (entry.key() != kPlistAccountsKey) {
      tree.foreignKeys.emplace_back(entry.key());
    }
  }
  addAccounts(tree, listUnder(settings, kPlistAccountsKey));
  return tree;
}

AccountTree legacyMailTreeOf(const PropertyList& file) {
  constexpr LegacyKeys kKeys{"AccountType", "AccountName", "uniqueId"};
  AccountTree tree;
  addDescriptions(tree, file, "MailAccounts", kMailAccountType, kKeys);
  addDescriptions(tree, file, "DeliveryAccounts", kSMTPAccountType, kKeys);
  return tree;
}

AccountTree legacyExchangeTreeOf(const PropertyList& file) {
  constexpr LegacyKeys kKeys{"DAAccountConfigurationClass", "DAAccountDescription",
                             "DAAccountConfigurationAccountID"};
  AccountTree tree;
  addDescriptions(tree, file, "DAAccountsKey", kExchangeAccountType, kKeys);
  return tree;
}

void keepOnly(std::vector<AccountNode>& accounts,
              const std::function<bool(const AccountNode&)>& wanted) {
  std::erase_if(accounts, [&](AccountNode& account) {
    if (wanted(account)) return false;
    std::erase_if(account.children, [&](const AccountNode& child) { return !wanted(child); });
    return account.children.empty();
  });
}

std::optional<std::vector<std::string>> stringsOf(const PropertyList* value) {
  if (value == nullptr || value->array() == nullptr) return std::nullopt;
  std::vector<std::string> strings;
  for (const PropertyList& each : *value->array()) {
    if (const auto string = each.stringValue()) strings.emplace_back(*string);
  }
  return strings;
}

std::string textOf(const Dictionary& dictionary, std::string_view key) {
  const PropertyList* value = dictionary.find(key);
  return std::string(value == nullptr ? std::string_view()
                                      : value->stringValue().value_or(std::string_view()));
}

std::string accountTitle(const Dictionary& account) {
  const std::string type = textOf(account, kAccountType);
  std::string name = textOf(account, kAccountDisplayName);
  if (name.empty()) name = textOf(account, kAccountUsername);
  if (type.empty() || name.empty()) return type + name;
  return type + " \"" + name + "\"";
}

std::string accountLabel(const PropertyList& account, std::size_t index) {
  if (const Dictionary* properties = account.dictionary()) {
    std::string identifier = textOf(*properties, kAccountIdentifier);
    if (!identifier.empty()) return identifier;
  }
  return "#" + std::to_string(index + 1);
}

}  // namespace accountsettings
