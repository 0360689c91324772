// KnownPresence.cc turns a look that failed into the end of the command.
#include "tool/device/KnownPresence.h"

#include "tool/frame/Errors.h"

namespace accountsettings {

bool isThere(Files& files, const std::string& path) {
  const Presence presence = files.exists(path);
  if (const Error* error = presence.error()) {
    throw Prevented("", *error);
  }
  return presence.isThere();
}

}  // namespace accountsettings
