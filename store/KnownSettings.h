// KnownSettings are states of the settings file that this process has read or written: the bytes
// and what they hold. Whoever reads the file again, and finds the bytes that somebody still knows,
// gets the same values and nothing is parsed.
#pragma once

#include <memory>
#include <optional>

#include "platform/Files.h"
#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

struct KnownSettings {
  SharedBytes bytes;
  Dictionary root;
};

// What the settings file holds now: `expected`, where it has these bytes, else the state that was
// known last in the current context, where somebody still holds it and the file has its bytes, else
// what parsing them gives. Empty where the file holds no dictionary; fails where it cannot be read.
[[nodiscard]] Result<std::shared_ptr<const KnownSettings>> readSettings(
    std::shared_ptr<const KnownSettings> expected = nullptr);
// A state that was just written, known from now on.
[[nodiscard]] std::shared_ptr<const KnownSettings> nowKnown(SharedBytes bytes, Dictionary root);
// What was known last in the current context is known no more, so that its bytes make room where
// nobody else holds them.
void forgetSettings();
// The dictionary in the settings file now; none where the file is missing, unreadable or holds
// something else.
[[nodiscard]] std::optional<Dictionary> settingsInFile();

// While a KeptSettings lives, the current context holds the state that was known last, so that
// steps of one work which ask one after the other parse it once. Where the work only rehearses, on
// staged files, a save that would leave the very settings that were read stages the bytes that were
// read: nothing is serialised to learn that it changes nothing.
class KeptSettings {
 public:
  enum class Saves { AreMeant, AreRehearsed };
  explicit KeptSettings(Saves saves = Saves::AreMeant);
  ~KeptSettings();
  KeptSettings(const KeptSettings&) = delete;
  KeptSettings& operator=(const KeptSettings&) = delete;
};

// Whether what was read may be staged again as it is.
[[nodiscard]] bool savesAreRehearsed();

}  // namespace accountsettings
