// The checks; a broken one ends the process, which is how a fuzzer notices.
#include "fuzz/PropertyListProperties.h"

#include "fuzz/Demand.h"
#include "plist/BinaryReader.h"
#include "plist/BinaryWriter.h"
#include "plist/Description.h"
#include "plist/XmlReader.h"
#include "plist/XmlWriter.h"

namespace accountsettings {

using fuzz::demand;

void checkProperties(const Result<PropertyList>& read) {
  if (!read) {
    const std::string& message = read.error().message;
    demand(message.starts_with("byte ") || message.starts_with("line "), "an error says where");
    return;
  }
  constexpr std::size_t kLimit = 2000;
  demand(description(*read, kLimit).size() <= kLimit, "a description keeps to its limit");
  const auto binary = writeBinary(*read);
  demand(binary.ok(), "what is read can be written");
  const auto again = readBinary(*binary);
  demand(again.ok(), "what is written can be read");
  demand(*again == *read, "the binary form keeps the value");
  demand(*writeBinary(*again) == *binary, "the binary form is stable");
  const auto xml = writeXml(*read);
  if (!xml) return;
  const auto fromXml = readXml(*xml);
  demand(fromXml.ok(), "a written document can be read");
  demand(*fromXml == *read, "the XML form keeps the value");
  demand(*writeXml(*fromXml) == *xml, "the XML form is stable");
}

}  // namespace accountsettings
