// Reads a binary property list once and writes it again once, in a process that has done nothing
// else, and tells the processor time of each in seconds, as JSON. It is built twice: as codec_once
// with the library's codec, and as codec_mark with the codec of an older revision, whose reading
// and writing is the unit that larger works are measured in.
//
// usage: codec_once FILE
#include <cstdio>
#include <fstream>
#include <iterator>
#include <utility>

#include "bench/ProcessorTime.h"
#include "plist/BinaryReader.h"
#include "plist/BinaryWriter.h"

int main(int argc, char** argv) {
  using namespace accountsettings;
  if (argc != 2) return 2;
  std::ifstream in(argv[1], std::ios::binary);
  const Bytes bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());

  const double start = processorTime();
  const PropertyList root = readBinary(bytes).value();
  const double between = processorTime();
  const Bytes written = writeBinary(root).value();
  const double end = processorTime();
  std::printf("{\"read\": %.6f, \"write\": %.6f, \"seconds\": %.6f, \"peak\": %.0f}\n",
              between - start, end - between, end - start, peakMemory());
  return written == bytes ? 0 : 1;
}
