// ChildAccounts.cc keeps the three maps of children and parents in step.
#include "store/ChildAccounts.h"

#include <utility>

namespace accountsettings {

void ChildAccounts::set(std::string_view childIdentifier, Account child,
                        std::string_view parentIdentifier) {
  accounts_.set(childIdentifier, std::move(child));
  parents_.set(childIdentifier, std::string(parentIdentifier));
  if (childrenByParent_.find(parentIdentifier) == nullptr) {
    childrenByParent_.set(parentIdentifier, {});
  }
  childrenByParent_.find(parentIdentifier)->emplace_back(childIdentifier);
}

void ChildAccounts::forgetChildrenOf(std::string_view parentIdentifier) {
  const std::vector<std::string>* children = childrenByParent_.find(parentIdentifier);
  if (children == nullptr) return;
  const std::string forgotten(parentIdentifier);  // it may be a view of what is removed here
  for (const std::string& child : *children) {
    const std::string* parent = parents_.find(child);
    if (parent == nullptr || *parent != forgotten) continue;
    parents_.remove(child);
    accounts_.remove(child);
  }
  childrenByParent_.remove(forgotten);
}

void ChildAccounts::clear() {
  childrenByParent_.clear();
  parents_.clear();
  accounts_.clear();
}

}  // namespace accountsettings
