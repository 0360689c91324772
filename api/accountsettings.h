/// \file
/// accountsettings.h gives a program what it needs to read, edit, save and migrate the accounts of
/// a device that runs Linux. Modules and makers of a platform of their own include single headers.
#pragma once

#include "account/BasicAccount.h"
#include "host/LinuxHost.h"
#include "host/LinuxProgram.h"
#include "platform/AssertionFailure.h"
#include "platform/ProcessContext.h"
#include "plist/PropertyList.h"
#include "plist/Result.h"
#include "staging/MigrateStaged.h"
#include "store/AccountsManager.h"
#include "store/AccountsWatcher.h"
