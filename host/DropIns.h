// DropIns complete a resource by files of installed modules, so that no packaged file is edited:
// every property list in a folder adds its lists to those of the resource.
#pragma once

#include <string>

#include "platform/SystemLog.h"
#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

// The resource with what the files "*.plist" in `directory`, in the order of their names, add to
// it: each is a dictionary of lists, whose entries come behind those that stand under the same key.
// `resource` itself where there is no such folder. What cannot be read, or is something else, is
// left out and logged, and the rest counts.
[[nodiscard]] Result<Bytes> withDropIns(Result<Bytes> resource, const std::string& directory,
                                        SystemLog& log);

}  // namespace accountsettings
