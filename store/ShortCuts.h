// Short cuts are what spares the store from doing again what it knows: parsing bytes that it has
// parsed, building a second store of accounts that it has just written, serialising what has not
// changed. Tests do without them, to see that both ways give the same, and count what is left.
#pragma once

#include <atomic>
#include <cstddef>

namespace accountsettings {

// For the current context; short cuts are taken unless somebody says no.
[[nodiscard]] bool shortCutsAreTaken();
void takeShortCuts(bool taken);

// What was done with settings in the current context: work that grows with the number of accounts.
struct SettingsWork {
  std::size_t parsed = 0;
  std::size_t serialized = 0;
  std::size_t storesBuilt = 0;

  bool operator==(const SettingsWork&) const = default;
};
[[nodiscard]] SettingsWork& settingsWork();
// Adds one to a count of it, which stores on several threads may do at once.
inline void countOne(std::size_t& work) {
  std::atomic_ref(work).fetch_add(1, std::memory_order_relaxed);
}

}  // namespace accountsettings
