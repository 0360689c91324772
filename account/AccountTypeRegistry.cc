// Reads the properties of the account types once for a process, and answers from them.
#include "account/AccountTypeRegistry.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "account/AccountConstants.h"
#include "account/BundleResources.h"
#include "account/Dataclasses.h"
#include "platform/AssertionFailure.h"
#include "platform/ProcessContext.h"

namespace accountsettings {

namespace {

struct RegistryState {
  std::mutex mutex;
  std::shared_ptr<const AccountTypeRegistry> registry;
  std::atomic<const AccountTypeRegistry*> ready{nullptr};  // the same, once it is there
};

const ProcessContext::Slot<RegistryState> registrySlot{};

[[noreturn]] void fail(const char* message) {
  throw AssertionFailure(
      message, "+[BasicAccount initialize]", "BasicAccount",
      "Install libaccountsettings whole, with the resources of its plug-in; on a "
      "platform of one's own, see what Resources has to answer");
}

Dictionary readTypes() {
  const std::optional<std::string> path = pathOfBundleResource(kAccountTypesResource);
  if (!path) fail("Could not find AccountTypesProperties.plist");
  std::optional<Dictionary> types = readBundleDictionary(*path);
  if (!types) fail("Could not load the dataclasses configuration file");
  return *std::move(types);
}

// Reduces the type's list to the data classes that exist on this device. A list of which nothing
// would be left stays as it is, so that a type whose one data class is unusable here keeps it.
void reduceSupportedDataclasses(Dictionary& type, bool multitasking) {
  std::vector<PropertyList> usable;
  for (const PropertyList& each : type.arrayOrEmpty(kPropertiesSupportedDataclasses)) {
    const auto text = each.stringValue();
    if (!text || !isDataclass(*text)) continue;
    if (*text == kAccountDataclassNotes && !multitasking) continue;
    usable.push_back(each);
  }
  if (!usable.empty()) type.set(kPropertiesSupportedDataclasses, Array(std::move(usable)));
}

}  // namespace

AccountTypeRegistry::AccountTypeRegistry(const Dictionary& types, bool multitasking) {
  for (const auto& [type, properties] : types) {
    if (properties.dictionary() == nullptr) continue;
    Entry entry{*properties.dictionary(), {}};
    reduceSupportedDataclasses(entry.properties, multitasking);
    if (const auto supported =
            stringListOf(entry.properties.find(kPropertiesSupportedDataclasses))) {
      entry.orderedDataclasses = inCanonicalOrder(*supported);
    }
    entries_.emplace(type, std::move(entry));
  }
}

std::shared_ptr<const AccountTypeRegistry> AccountTypeRegistry::of(const Dictionary& types) {
  struct Last {
    std::mutex mutex;
    Dictionary types;
    bool multitasking = false;
    std::shared_ptr<const AccountTypeRegistry> registry;
  };
  static Last last;
  const bool multitasking = deviceIsMultitasking();
  const std::lock_guard lock(last.mutex);
  if (last.registry == nullptr || last.multitasking != multitasking ||
      !last.types.identicalTo(types)) {
    last.registry.reset(new AccountTypeRegistry(types, multitasking));
    last.types = types;
    last.multitasking = multitasking;
  }
  return last.registry;
}

const AccountTypeRegistry& AccountTypeRegistry::current() {
  RegistryState& state = ProcessContext::current().state(registrySlot);
  // Asked for each account, and so without the lock.
  if (const auto* ready = state.ready.load(std::memory_order_acquire)) return *ready;
  const std::lock_guard lock(state.mutex);
  if (!state.registry) state.registry = of(readTypes());
  state.ready.store(state.registry.get(), std::memory_order_release);
  return *state.registry;
}

void requireAccountTypes() {
  (void)AccountTypeRegistry::current();
}

bool deviceIsMultitasking() {
  const auto architecture =
      ProcessContext::current().platform().deviceAnswers.copyDeviceAnswer("CPUArchitecture");
  return !architecture || architecture->stringValue() != "armv6";
}

const AccountTypeRegistry::Entry* AccountTypeRegistry::find(std::string_view type) const noexcept {
  const auto found = entries_.find(type);
  return found == entries_.end() ? nullptr : &found->second;
}

}  // namespace accountsettings
