// RefusedFormats holds log calls that must not compile; the tests compile it with one
// REFUSED value at a time and look for the reason. Without a value it compiles.
#include "logging/Logging.h"

namespace accountsettings {

void logCalls() {
  systemLog("%@ %ld", "text", 1);
  RSLog("%s", "text");
#if REFUSED == 1
  systemLog("%@ %@", "too few arguments");
#elif REFUSED == 2
  systemLog("%ld", "no integer");
#elif REFUSED == 3
  RSLog("%x", 1);
#endif
}

}  // namespace accountsettings
