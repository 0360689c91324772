// The bus of a build without sd-bus: nothing can be sent.
#include "host/BusSignal.h"

namespace accountsettings {

Status sendOnSystemBus(const BusSignal& /*signal*/) {
  return Error{"the library was built without D-Bus"};
}

}  // namespace accountsettings
