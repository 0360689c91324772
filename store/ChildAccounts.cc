// ChildAccounts.cc keeps the three maps of children and parents in step.
#include "store/ChildAccounts.h"

#include <utility>

namespace accountsettings {

void ChildAccounts::set(std::string_view childIdentifier, Account child,
                        const std::optional<std::string>& parentIdentifier) {
  accounts_.set(childIdentifier, std::move(child));
  if (!parentIdentifier) {
    parents_.remove(childIdentifier);
    return;
  }
  parents_.set(childIdentifier, *parentIdentifier);
  if (childrenByParent_.find(*parentIdentifier) == nullptr) {
    childrenByParent_.set(*parentIdentifier, {});
  }
  childrenByParent_.find(*parentIdentifier)->emplace_back(childIdentifier);
}

void ChildAccounts::forgetChildrenOf(std::string_view parentIdentifier) {
  const std::vector<std::string>* children = childrenByParent_.find(parentIdentifier);
  if (children == nullptr) return;
  for (const std::string& child : *children) {
    const std::string* parent = parents_.find(child);
    if (parent == nullptr || *parent != parentIdentifier) continue;
    parents_.remove(child);
    accounts_.remove(child);
  }
  childrenByParent_.remove(parentIdentifier);
}

void ChildAccounts::clear() {
  childrenByParent_.clear();
  parents_.clear();
  accounts_.clear();
}

}  // namespace accountsettings
