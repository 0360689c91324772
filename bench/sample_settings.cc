// Writes made-up account settings to a file, for benchmarks that read files.
//
// usage: sample_settings old|distinct|current binary|xml ACCOUNTS FILE
#include <cstdlib>
#include <fstream>
#include <string_view>

#include "bench/SampleSettings.h"
#include "plist/BinaryWriter.h"
#include "plist/XmlWriter.h"

int main(int argc, char** argv) {
  using namespace accountsettings;
  if (argc != 5) return 2;
  const std::string_view kind = argv[1];
  const auto accounts = static_cast<std::size_t>(std::strtoull(argv[3], nullptr, 10));
  const PropertyList settings = kind == "old"        ? oldSettings(accounts)
                                : kind == "distinct" ? distinctSettings(accounts)
                                                     : sampleSettings(accounts, 12);
  const bool binary = std::string_view(argv[2]) == "binary";
  const Bytes bytes = (binary ? writeBinary(settings) : writeXml(settings)).value();
  std::ofstream file(argv[4], std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  return file.flush() ? 0 : 1;
}
