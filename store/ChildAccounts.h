// ChildAccounts holds the child accounts of a store by their own identifiers, and for each the
// identifier of the parent that it was loaded from. Forgetting one parent's children looks at
// those alone.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "account/BasicAccount.h"
#include "store/AccountsByIdentifier.h"
#include "store/IdentifierMap.h"

namespace accountsettings {

class ChildAccounts {
 public:
  using Account = std::shared_ptr<BasicAccount>;

  // The children, to be found and walked.
  [[nodiscard]] const AccountsByIdentifier& accounts() const noexcept { return accounts_; }
  // The identifier of the child's parent, or nullptr; lives until the next change.
  [[nodiscard]] const std::string* parentIdentifierOf(std::string_view childIdentifier) const {
    return parents_.find(childIdentifier);
  }

  // Enters a child. Where its identifier is taken, the newer one counts, whoever the parent is.
  void set(std::string_view childIdentifier, Account child, std::string_view parentIdentifier);
  void forgetChildrenOf(std::string_view parentIdentifier);
  void clear();

 private:
  AccountsByIdentifier accounts_;
  IdentifierMap<std::string> parents_;
  // Every child that was entered for the parent since its children were last forgotten. A child
  // that another parent has taken over since still stands here: parents_ is what counts.
  IdentifierMap<std::vector<std::string>> childrenByParent_;
};

}  // namespace accountsettings
