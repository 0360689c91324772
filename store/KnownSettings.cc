// KnownSettings.cc keeps, for each context, the state of the settings file that was known last.
#include "store/KnownSettings.h"

#include <mutex>
#include <utility>

#include "platform/ProcessContext.h"
#include "plist/Reader.h"
#include "store/AccountsManager.h"
#include "store/ShortCuts.h"

namespace accountsettings {

namespace {

// What the process knows. Stores on several threads may share it.
struct Memory {
  std::mutex mutex;
  std::weak_ptr<const KnownSettings> last;
  std::shared_ptr<const KnownSettings> kept;  // the same, while there are keepers
  int keepers = 0;
  bool isRehearsal = false;  // as the first of them says

  void know(const std::shared_ptr<const KnownSettings>& settings) {
    const std::lock_guard guard(mutex);
    last = settings;
    if (keepers > 0) kept = settings;
  }
  void forget() {
    std::shared_ptr<const KnownSettings> gone;  // released outside the lock
    const std::lock_guard guard(mutex);
    last.reset();
    gone = std::move(kept);
  }
  std::shared_ptr<const KnownSettings> known() {
    const std::lock_guard guard(mutex);
    return last.lock();
  }
};

const ProcessContext::Slot<Memory> memorySlot;

Memory& memory() {
  return ProcessContext::current().state(memorySlot);
}

}  // namespace

Result<std::shared_ptr<const KnownSettings>> readSettings(
    std::shared_ptr<const KnownSettings> expected) {
  if (!shortCutsAreTaken()) expected = nullptr;
  const auto known = shortCutsAreTaken() ? memory().known() : nullptr;
  if (expected == nullptr) expected = known;
  const Result<SharedBytes> bytes = ProcessContext::current().platform().files.readExpecting(
      AccountsManager::fullPathToAccountSettingsPlist(),
      expected != nullptr ? expected->bytes : nullptr);
  if (!bytes) return bytes.error();
  if (expected != nullptr && *bytes == expected->bytes) return expected;
  if (known != nullptr && areEqual(*bytes, known->bytes)) return known;
  countOne(settingsWork().parsed);
  const Result<PropertyList> root = readPropertyList(**bytes);
  if (!root || root->dictionary() == nullptr) return std::shared_ptr<const KnownSettings>();
  return nowKnown(*bytes, *root->dictionary());
}

std::shared_ptr<const KnownSettings> nowKnown(SharedBytes bytes, Dictionary root) {
  auto settings =
      std::make_shared<const KnownSettings>(KnownSettings{std::move(bytes), std::move(root)});
  memory().know(settings);
  return settings;
}

void forgetSettings() {
  memory().forget();
}

std::optional<Dictionary> settingsInFile() {
  const auto settings = readSettings();
  return settings && *settings != nullptr ? std::optional((*settings)->root) : std::nullopt;
}

KeptSettings::KeptSettings(Saves saves) {
  const std::lock_guard guard(memory().mutex);
  if (memory().keepers++ == 0) memory().isRehearsal = saves == Saves::AreRehearsed;
}

KeptSettings::~KeptSettings() {
  std::shared_ptr<const KnownSettings> gone;  // released outside the lock
  const std::lock_guard guard(memory().mutex);
  if (--memory().keepers > 0) return;
  gone = std::move(memory().kept);
  memory().isRehearsal = false;
}

bool savesAreRehearsed() {
  const std::lock_guard guard(memory().mutex);
  return memory().isRehearsal;
}

}  // namespace accountsettings
