// The notification switch suppresses what the store tells notifiers after a save, for the whole
// process.
#pragma once

namespace accountsettings {

// Off at start; see AccountsManager::_setShouldSkipNotifications().
[[nodiscard]] bool notificationsAreSkipped();

}  // namespace accountsettings
