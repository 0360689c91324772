// Reads and writes the settings of version 0 with that many accounts once, in a process that has
// done nothing else, and tells the processor time of each in seconds. scripts/bench builds it
// against another revision of the library too, whose time is the measure of others.
//
// usage: codec_once ACCOUNTS
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "bench/SampleSettings.h"
#include "plist/BinaryReader.h"
#include "plist/BinaryWriter.h"

namespace accountsettings {
namespace {

double processorTime() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  double seconds = 0;
  for (const timeval& part : {usage.ru_utime, usage.ru_stime}) {
    seconds += static_cast<double>(part.tv_sec) + static_cast<double>(part.tv_usec) * 1e-6;
  }
  return seconds;
}

// Made in a child, so that this process is as small as one that has just started.
Bytes sampleFile(std::size_t accounts) {
  std::string path = "/tmp/codec-once-XXXXXX";
  const int file = ::mkstemp(path.data());
  if (file < 0) std::abort();
  ::close(file);
  if (const pid_t child = ::fork(); child == 0) {
    const Bytes bytes = writeBinary(oldSettings(accounts)).value();
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    ::_exit(0);
  } else if (::waitpid(child, nullptr, 0) != child) {
    std::abort();
  }
  std::ifstream in(path, std::ios::binary);
  const Bytes bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  ::unlink(path.c_str());
  return bytes;
}

int run(std::size_t accounts) {
  const Bytes bytes = sampleFile(accounts);
  const double start = processorTime();
  const PropertyList root = readBinary(bytes).value();
  const double between = processorTime();
  const Bytes written = writeBinary(root).value();
  const double end = processorTime();
  std::printf("read %.6f\nwrite %.6f\n", between - start, end - between);
  return written.empty() ? 1 : 0;
}

}  // namespace
}  // namespace accountsettings

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  return accountsettings::run(std::strtoul(argv[1], nullptr, 10));
}
