// Benchmarks of reading, writing, copying and comparing the binary form of settings of
// three sizes, beside a memory copy of the same bytes. Throughput is in bytes
// of the file, so that the rates can be set against each other.
#include <benchmark/benchmark.h>

#include <cstring>
#include <map>
#include <optional>

#include "bench/SampleSettings.h"
#include "plist/BinaryReader.h"
#include "plist/BinaryWriter.h"

namespace accountsettings {
namespace {

// The file with that many accounts, made once.
const Bytes& file(std::int64_t accounts) {
  static std::map<std::int64_t, Bytes> files;
  Bytes& bytes = files[accounts];
  if (bytes.empty()) {
    bytes = writeBinary(sampleSettings(static_cast<std::size_t>(accounts), 12)).value();
  }
  return bytes;
}

void countBytes(benchmark::State& state) {
  const auto size = static_cast<std::int64_t>(file(state.range(0)).size());
  state.SetBytesProcessed(state.iterations() * size);
  state.counters["file"] = static_cast<double>(size);
}

void memoryCopy(benchmark::State& state) {
  const Bytes& bytes = file(state.range(0));
  Bytes copy(bytes.size());
  for ([[maybe_unused]] auto each : state) {
    std::memcpy(copy.data(), bytes.data(), bytes.size());
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  countBytes(state);
}

// What is read or written is released outside the measured time; release() measures that.
void read(benchmark::State& state) {
  const Bytes& bytes = file(state.range(0));
  for ([[maybe_unused]] auto each : state) {
    auto value = std::make_optional(readBinary(bytes));
    benchmark::DoNotOptimize(value);
    state.PauseTiming();
    value.reset();
    state.ResumeTiming();
  }
  countBytes(state);
}

void release(benchmark::State& state) {
  const Bytes& bytes = file(state.range(0));
  for ([[maybe_unused]] auto each : state) {
    state.PauseTiming();
    auto value = std::make_optional(readBinary(bytes));
    state.ResumeTiming();
    value.reset();
    benchmark::DoNotOptimize(value);
  }
  countBytes(state);
}

void write(benchmark::State& state) {
  const PropertyList value = readBinary(file(state.range(0))).value();
  for ([[maybe_unused]] auto each : state) {
    auto bytes = std::make_optional(writeBinary(value));
    benchmark::DoNotOptimize(bytes);
    state.PauseTiming();
    bytes.reset();
    state.ResumeTiming();
  }
  countBytes(state);
}

// Copying a tree, whose cost must not depend on its size.
void copy(benchmark::State& state) {
  const PropertyList value = readBinary(file(state.range(0))).value();
  for ([[maybe_unused]] auto each : state) {
    PropertyList other = value;
    benchmark::DoNotOptimize(other);
  }
}

void compare(benchmark::State& state) {
  const PropertyList left = readBinary(file(state.range(0))).value();
  const PropertyList right = readBinary(file(state.range(0))).value();
  for ([[maybe_unused]] auto each : state) {
    if (!(left == right)) state.SkipWithError("equal trees compare as different");
  }
  countBytes(state);
}

void sizes(benchmark::internal::Benchmark* each) {
  each->Arg(12)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(memoryCopy)->Apply(sizes);
BENCHMARK(read)->Apply(sizes);
BENCHMARK(release)->Apply(sizes);
BENCHMARK(write)->Apply(sizes);
BENCHMARK(copy)->Apply(sizes);
BENCHMARK(compare)->Apply(sizes);

}  // namespace
}  // namespace accountsettings

BENCHMARK_MAIN();
