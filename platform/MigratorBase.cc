// The migrator's interfaces as types that the plug-in and its callers have in common.
#include "platform/MigratorBase.h"

namespace accountsettings {

MigratorBase::~MigratorBase() = default;
MigratorClass::~MigratorClass() = default;

}  // namespace accountsettings
