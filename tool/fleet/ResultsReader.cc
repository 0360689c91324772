// How the lines of a results file are read.
#include "tool/fleet/ResultsReader.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "host/NamedFile.h"

namespace accountsettings {

namespace {

// What getline() makes room for.
struct Line {
  Line() = default;
  ~Line() { std::free(text); }
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  char* text = nullptr;
  std::size_t room = 0;
};

}  // namespace

Result<std::size_t> readResults(const std::string& file,
                                const std::function<void(DeviceResult)>& take) {
  const Result<OpenNamedFile> opened = openNamedFile(file);
  if (!opened) return opened.error();
  std::FILE* const stream = opened->get();
  std::size_t count = 0;
  Line line;
  // What no line break follows was cut off.
  for (ssize_t size = 0; (size = getline(&line.text, &line.room, stream)) > 0;) {
    const std::string_view text(line.text, static_cast<std::size_t>(size));
    if (!text.ends_with('\n')) break;
    ++count;
    Result<DeviceResult> result = resultIn(text.substr(0, text.size() - 1));
    if (!result) {
      return Error{file + ": line " + std::to_string(count) + ": " + result.error().message};
    }
    take(std::move(result).value());
  }
  if (std::ferror(stream) != 0) return Error{file + ": " + std::strerror(errno), errno};
  return count;
}

}  // namespace accountsettings
