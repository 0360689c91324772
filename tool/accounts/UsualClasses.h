// UsualClasses tells which class handles the accounts of a type, for advice about accounts that
// lack one of the two. Devices may have others.
#pragma once

#include <string>

#include "plist/PropertyList.h"

namespace accountsettings {

// What the account's type, or its class, was probably meant to be, by the other of the two, by its
// mail directory and by how it is spelt; empty where nothing tells it. A type is always one that
// the type registry of ProcessContext::current() knows.
[[nodiscard]] std::string probableTypeOf(const Dictionary& account);
[[nodiscard]] std::string probableClassOf(const Dictionary& account);

}  // namespace accountsettings
