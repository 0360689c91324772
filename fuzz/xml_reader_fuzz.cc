// Fuzz target: the XML reader takes any bytes, and what it reads keeps its properties.
#include <cstddef>
#include <cstdint>

#include "fuzz/PropertyListProperties.h"
#include "plist/XmlReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  accountsettings::checkProperties(accountsettings::readXml({data, size}));
  return 0;
}
