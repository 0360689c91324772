#include "platform/MigratorBase.h"

namespace accountsettings {

MigratorBase::~MigratorBase() = default;
MigratorClass::~MigratorClass() = default;

}  // namespace accountsettings
