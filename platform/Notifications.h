/// \file
/// Notifications tells other processes of the device what happened.
#pragma once

#include <string_view>

namespace accountsettings {

/// \copydoc Notifications.h
class Notifications {
 public:
  virtual ~Notifications() = default;

  /// Posts a system-wide notification without object and payload. Nobody hearing it is no failure.
  virtual void postSystemNotification(std::string_view name) = 0;
  /// Says that `key` of the preference domain changed.
  virtual void postAppPreferencesChanged(std::string_view domain, std::string_view key) = 0;
  /// Says that the cloud tabs of the bookmarks service were switched on or off.
  virtual void notifyCloudTabsToggled(bool enabled) = 0;
};

}  // namespace accountsettings
