// OwnContext.cc marks contexts, so that they can be told apart also after one is gone.
#include "store/OwnContext.h"

#include "platform/AssertionFailure.h"
#include "platform/ProcessContext.h"

namespace accountsettings {

namespace {

struct ContextMark {
  std::shared_ptr<const void> mark = std::make_shared<char>();
};

const ProcessContext::Slot<ContextMark> markSlot{};

const std::shared_ptr<const void>& currentMark() {
  return ProcessContext::current().state(markSlot).mark;
}

}  // namespace

OwnContext::OwnContext() : mark_(currentMark()) {}

void OwnContext::require() const {
  if (mark_ == currentMark()) return;
  throw AssertionFailure("The store was made in another process context",
                         "-[AccountsManager saveAllAccounts]", "AccountsManager",
                         "Use a store in the context that it was made in, and end it before that "
                         "one; AccountsManager::init() makes a new one");
}

}  // namespace accountsettings
