// ChangeListeners keeps the listeners that a program registered with its context and hands them the
// changes of one save.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

#include "account/StringList.h"
#include "store/AccountChanges.h"
#include "store/ChangeListener.h"

namespace accountsettings {

// A listener and the data classes that it wants to hear of; none for everything.
struct WantedChanges {
  ChangeListener listener;
  StringList dataclasses;
  // Whether its registration is gone; it may be while the listener runs.
  std::shared_ptr<std::atomic<bool>> ended = std::make_shared<std::atomic<bool>>(false);

  // Whether the change is one of those.
  [[nodiscard]] bool include(AccountChangeType changeType,
                             const std::optional<Dictionary>& original,
                             const std::optional<Dictionary>& current) const;
  // Hands over the changes, if there are any. What the listener throws is logged.
  void tell(const Array& changes) const;
};

// ListenerNews collects what the listeners of the current context are told after a save.
class ListenerNews {
 public:
  // For whoever listens in the current context.
  [[nodiscard]] static ListenerNews forListeners();

  void add(AccountChangeType changeType, const std::optional<Dictionary>& original,
           const std::optional<Dictionary>& current);
  // Calls each listener that is concerned, once, in the order in which they were registered.
  void tell() const;

 private:
  struct News {
    std::shared_ptr<const WantedChanges> wanted;
    Array changes;
  };
  std::vector<News> news_;
};

}  // namespace accountsettings
