// readFile and writeFile are for the files that a person names on the command line, on
// this machine, outside every device root; readPropertyListFile adds what they hold.
#pragma once

#include <string>
#include <string_view>

#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

// The bytes of the file; "-" is standard input. Throws Prevented with the reason.
[[nodiscard]] Bytes readFile(const std::string& path);

// The property list in the bytes of a file. The error of one that was probably cut off says so
// before it names the place.
[[nodiscard]] Result<PropertyList> propertyListIn(const Bytes& bytes);

// The same, or the value of a JSON text.
[[nodiscard]] Result<PropertyList> propertyListOrJsonIn(const Bytes& bytes);

// The property list in the file. Throws Prevented, naming the place in the file where it is
// malformed.
[[nodiscard]] PropertyList readPropertyListFile(const std::string& path);

// Replaces the file as a whole: whatever happens, it holds the old content or the new. An existing
// one keeps its mode and owner. Throws Prevented with the reason.
void writeFile(const std::string& path, std::string_view content);
void writeFile(const std::string& path, const Bytes& content);
// The same for what may hold passwords: a file that is made is for its owner alone.
void writePrivateFile(const std::string& path, const Bytes& content);

}  // namespace accountsettings
