/// \file
/// ChangeListener is a function of the program's own that is told of changes of accounts, without
/// any module or packaged file.
#pragma once

#include <functional>
#include <memory>

#include "plist/PropertyList.h"

namespace accountsettings {

/// Gets change records as notifier classes do: dictionaries under the kRSChange... keys. What it
/// throws is logged and stops no other.
using ChangeListener = std::function<void(const Array& changes)>;

/// Keeps a listener registered: it is told of nothing more once the last copy is gone. May outlive
/// the context.
using ListenerRegistration = std::shared_ptr<const void>;

}  // namespace accountsettings
