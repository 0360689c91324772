// AccountTypeRegistry holds what the resource "AccountTypesProperties" says of each account
// type. It is loaded once per process, on first use, and only read from then on.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "account/StringList.h"
#include "plist/PropertyList.h"

namespace accountsettings {

class AccountTypeRegistry {
 public:
  struct Entry {
    // The type's dictionary, its list of supported data classes reduced to those that exist on this
    // device.
    Dictionary properties;
    // That list in canonical order.
    StringList orderedDataclasses;
  };

  // The registry of the current process. AssertionFailure where the resource is missing or
  // unreadable; the next call tries again. Safe between threads.
  [[nodiscard]] static const AccountTypeRegistry& current();

  // What is known of the type, or nullptr.
  [[nodiscard]] const Entry* find(std::string_view type) const noexcept;

 private:
  AccountTypeRegistry(const Dictionary& types, bool multitasking);
  // The registry of these types: that of the last context where it had the very same ones.
  [[nodiscard]] static std::shared_ptr<const AccountTypeRegistry> of(const Dictionary& types);

  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view type) const noexcept { return detail::hashOf(type); }
  };

  std::unordered_map<std::string, Entry, Hash, std::equal_to<>> entries_;
};

// Sees to it that the registry is there, as the first use of any operation of the class
// BasicAccount or DeviceLocalAccount does. AssertionFailure as AccountTypeRegistry::current().
void requireAccountTypes();

// Whether the device's processor is strong enough to do several things at once.
[[nodiscard]] bool deviceIsMultitasking();

}  // namespace accountsettings
