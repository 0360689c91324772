// ChangeListeners.cc keeps the registrations of a context and calls the listeners.
#include "store/ChangeListeners.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <string>
#include <utility>

#include "logging/Logging.h"
#include "platform/ProcessContext.h"
#include "store/AccountsManager.h"

namespace accountsettings {

namespace {

struct RegisteredListeners {
  std::mutex mutex;
  std::vector<std::weak_ptr<const WantedChanges>> listeners;
};

const ProcessContext::Slot<RegisteredListeners> listenersSlot{};

}  // namespace

bool WantedChanges::include(AccountChangeType changeType, const std::optional<Dictionary>& original,
                            const std::optional<Dictionary>& current) const {
  if (dataclasses.empty()) return original != current;
  const Dataclasses concerned = dataclassesConcerned(changeType, original, current);
  return std::ranges::any_of(concerned, [&](std::string_view each) {
    return std::ranges::find(dataclasses, each) != dataclasses.end();
  });
}

void WantedChanges::tell(const Array& changes) const {
  if (changes.empty() || *ended) return;
  try {
    listener(changes);
  } catch (const std::exception& failure) {
    systemLog("A listener to changes of accounts failed: %s", failure.what());
  } catch (...) {
    systemLog("A listener to changes of accounts failed");
  }
}

ListenerNews ListenerNews::forListeners() {
  ListenerNews news;
  RegisteredListeners& registered = ProcessContext::current().state(listenersSlot);
  const std::lock_guard lock(registered.mutex);
  std::erase_if(registered.listeners, [](const auto& each) { return each.expired(); });
  for (const auto& each : registered.listeners) {
    if (auto wanted = each.lock(); wanted != nullptr && !*wanted->ended) {
      news.news_.push_back({std::move(wanted), {}});
    }
  }
  return news;
}

void ListenerNews::add(AccountChangeType changeType, const std::optional<Dictionary>& original,
                       const std::optional<Dictionary>& current) {
  for (News& each : news_) {
    if (!each.wanted->include(changeType, original, current)) continue;
    each.changes.append(changeRecord(changeType, original, current));
  }
}

void ListenerNews::tell() const {
  for (const News& each : news_) each.wanted->tell(each.changes);
}

ListenerRegistration AccountsManager::addChangeListener(ChangeListener listener,
                                                        StringList dataclasses) {
  const auto wanted = std::make_shared<WantedChanges>();
  wanted->listener = std::move(listener);
  wanted->dataclasses = std::move(dataclasses);
  RegisteredListeners& registered = ProcessContext::current().state(listenersSlot);
  const std::lock_guard lock(registered.mutex);
  registered.listeners.push_back(wanted);
  return {wanted.get(), [wanted](const void*) { *wanted->ended = true; }};
}

}  // namespace accountsettings
