// PropertyListProperties is what must hold of every property list that was read.
#pragma once

#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

// What was read can be written in the binary form, reads back equal from there, and writes
// to the same bytes again; in the XML form the same, where that form can hold it; its
// description keeps to its limit. An error says where it is. Anything else ends the process.
void checkProperties(const Result<PropertyList>& read);

}  // namespace accountsettings
