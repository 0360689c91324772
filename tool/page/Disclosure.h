// Disclosure decides what of a device's texts a page shows: stand-ins in the place of everything
// personal, or everything but passwords and tokens, which no page shows.
#pragma once

#include <string>
#include <string_view>

#include "plist/PropertyList.h"
#include "tool/accounts/Redactor.h"

namespace accountsettings {

class Disclosure {
 public:
  // nullptr: everything. Else it must outlive this, and know the device.
  explicit Disclosure(Redactor* redactor) : redactor_(redactor) {}

  [[nodiscard]] bool revealsAll() const noexcept { return redactor_ == nullptr; }
  // What a file holds, as it may be shown.
  [[nodiscard]] Dictionary stored(const Dictionary& content) const;
  // A sentence, or a path, of the program.
  [[nodiscard]] std::string told(std::string_view text) const;

 private:
  Redactor* redactor_;
};

}  // namespace accountsettings
