// Joins paths on the device.
#include "platform/Directories.h"

namespace accountsettings {

std::string appendPathComponent(std::string_view base, std::string_view component) {
  while (base.ends_with('/')) base.remove_suffix(1);
  while (component.starts_with('/')) component.remove_prefix(1);
  std::string joined(base);
  joined += '/';
  joined += component;
  return joined;
}

}  // namespace accountsettings
