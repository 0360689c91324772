// DeviceRedaction makes a redactor know everything personal that a device holds, so that it is
// recognised in sentences: of the settings, the legacy files, the backups and the records. Where
// the root lies on this machine is nobody's business either, and is left out of them.
#pragma once

#include "tool/accounts/Redactor.h"
#include "tool/device/OpenedRoot.h"
#include "tool/inspection/Inspection.h"

namespace accountsettings {

// `files` are those of the device. Throws Prevented where backups or records cannot be read.
void learnDevice(Redactor& redactor, OpenedRoot& device, const InspectedFiles& files);

}  // namespace accountsettings
