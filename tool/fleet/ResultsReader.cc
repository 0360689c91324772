// How the lines of a results file are read.
#include "tool/fleet/ResultsReader.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>

namespace accountsettings {

Result<std::size_t> readResults(const std::string& file,
                                const std::function<void(DeviceResult)>& take) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return Error{file + ": " + std::strerror(errno), errno};
  std::size_t count = 0;
  std::string line;
  // What no line break follows was cut off.
  while (std::getline(stream, line) && !stream.eof()) {
    ++count;
    Result<DeviceResult> result = resultIn(line);
    if (!result) {
      return Error{file + ": line " + std::to_string(count) + ": " + result.error().message};
    }
    take(std::move(result).value());
  }
  if (stream.bad()) return Error{file + ": " + std::strerror(errno), errno};
  return count;
}

}  // namespace accountsettings
