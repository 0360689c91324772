// ShownPath is how files are named: to people by where they lie on this machine; to scripts by
// "file", the path on this machine, and "path", the path on the device.
#pragma once

#include <string>

#include "plist/PropertyList.h"

namespace accountsettings {

class OpenedRoot;

class ShownPath {
 public:
  // Files of `device`, which must outlive it, named by their device paths.
  static ShownPath of(OpenedRoot& device);
  // Files named by their paths on this machine, which may be of no device.
  static ShownPath onThisMachine();
  // Files of a device whose place on this machine is nobody's business.
  static ShownPath onTheDevice();

  // For people.
  [[nodiscard]] std::string operator()(const std::string& path) const;
  // For people who were told the root: the path on the device, where it is one of a device.
  [[nodiscard]] std::string beneathRoot(const std::string& path) const;
  // For scripts: a document's entry, which goes on with what else is to be told of the file.
  [[nodiscard]] Dictionary entryFor(const std::string& path) const;

 private:
  ShownPath(OpenedRoot* device, bool isOfDevice) : device_(device), isOfDevice_(isOfDevice) {}

  OpenedRoot* device_;
  bool isOfDevice_;
};

}  // namespace accountsettings
