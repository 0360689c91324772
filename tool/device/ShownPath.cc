// The names of files for people and for scripts.
#include "tool/device/ShownPath.h"

#include "tool/device/OpenedRoot.h"

namespace accountsettings {

ShownPath ShownPath::of(OpenedRoot& device) {
  return {&device, true};
}

ShownPath ShownPath::onThisMachine() {
  return {nullptr, false};
}

ShownPath ShownPath::onTheDevice() {
  return {nullptr, true};
}

std::string ShownPath::operator()(const std::string& path) const {
  return device_ == nullptr ? path : device_->shown(path);
}

std::string ShownPath::beneathRoot(const std::string& path) const {
  return isOfDevice_ ? path : (*this)(path);
}

Dictionary ShownPath::entryFor(const std::string& path) const {
  Dictionary entry;
  if (!isOfDevice_ || device_ != nullptr) entry.set("file", (*this)(path));
  if (isOfDevice_) entry.set("path", path);
  return entry;
}

}  // namespace accountsettings
