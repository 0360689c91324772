// What the system keeps account of for a process.
#include "bench/ProcessorTime.h"

#include <sys/resource.h>

#include <initializer_list>

namespace accountsettings {
namespace {

rusage usage() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return usage;
}

}  // namespace

double processorTime() {
  const rusage now = usage();
  double seconds = 0;
  for (const timeval& part : {now.ru_utime, now.ru_stime}) {
    seconds += static_cast<double>(part.tv_sec) + static_cast<double>(part.tv_usec) * 1e-6;
  }
  return seconds;
}

double peakMemory() {
  return static_cast<double>(usage().ru_maxrss) * 1024;
}

}  // namespace accountsettings
