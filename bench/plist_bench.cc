// Benchmarks of both forms of property lists, on settings of three sizes: reading, releasing and
// writing, each beside the C library where its development package is installed, then copying and
// comparing. A time is that of one file. Throughput is in bytes of the file, so that the rates can
// be set against each other and against a memory copy of the same bytes.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#ifdef AS_C_LIBRARY
#  include <plist/plist.h>
#endif

#include "bench/SampleSettings.h"
#include "plist/BinaryReader.h"
#include "plist/BinaryWriter.h"
#include "plist/Reader.h"
#include "plist/XmlReader.h"
#include "plist/XmlWriter.h"

namespace accountsettings {
namespace {

using Form = PropertyListForm;

// The file with that many accounts, made once.
const Bytes& file(Form form, std::int64_t accounts) {
  static std::map<std::pair<Form, std::int64_t>, Bytes> files;
  Bytes& bytes = files[{form, accounts}];
  if (bytes.empty()) {
    const PropertyList settings = sampleSettings(static_cast<std::size_t>(accounts), 12);
    bytes = (form == Form::Binary ? writeBinary(settings) : writeXml(settings)).value();
  }
  return bytes;
}

// A Codec has the types Tree and Written, which release what they hold, and the operations read()
// and write().
struct ThisLibrary {
  using Tree = PropertyList;
  using Written = Bytes;

  static Tree read(Form form, const Bytes& bytes) {
    return (form == Form::Binary ? readBinary(bytes) : readXml(bytes)).value();
  }
  static Written write(Form form, const Tree& tree) {
    return (form == Form::Binary ? writeBinary(tree) : writeXml(tree)).value();
  }
};

#ifdef AS_C_LIBRARY
struct CLibrary {
  // Owns what the C library made.
  template <class Thing, void (*kRelease)(Thing)>
  class Owner {
   public:
    Owner() = default;
    Owner(Owner&& other) noexcept : thing(std::exchange(other.thing, nullptr)) {}
    Owner& operator=(Owner&&) = delete;
    ~Owner() {
      if (thing != nullptr) kRelease(thing);
    }

    Thing thing = nullptr;
  };
  static void releaseText(char* text) { std::free(text); }
  using Tree = Owner<plist_t, ::plist_free>;
  using Written = Owner<char*, releaseText>;

  static Tree read(Form form, const Bytes& bytes) {
    const auto* text = reinterpret_cast<const char*>(bytes.data());
    const auto size = static_cast<std::uint32_t>(bytes.size());
    Tree tree;
    if (form == Form::Binary) {
      ::plist_from_bin(text, size, &tree.thing);
    } else {
      ::plist_from_xml(text, size, &tree.thing);
    }
    if (tree.thing == nullptr) std::abort();
    return tree;
  }
  static Written write(Form form, const Tree& tree) {
    Written written;
    std::uint32_t size = 0;
    if (form == Form::Binary) {
      ::plist_to_bin(tree.thing, &written.thing, &size);
    } else {
      ::plist_to_xml(tree.thing, &written.thing, &size);
    }
    if (written.thing == nullptr) std::abort();
    return written;
  }
};
#endif

void countBytes(benchmark::State& state, Form form) {
  const auto size = static_cast<std::int64_t>(file(form, state.range(0)).size());
  state.SetBytesProcessed(state.iterations() * size);
  state.counters["file"] = static_cast<double>(size);
}

// Many small files for each stopping of the clock, which takes a while itself.
benchmark::IterationCount filesAtOnce(const benchmark::State& state) {
  return std::max<benchmark::IterationCount>(1, 2000 / state.range(0));
}

// What is read or written is released outside the measured time.
template <class Codec>
void read(benchmark::State& state, Form form) {
  const Bytes& bytes = file(form, state.range(0));
  const auto count = filesAtOnce(state);
  std::vector<typename Codec::Tree> trees;
  trees.reserve(static_cast<std::size_t>(count));
  while (state.KeepRunningBatch(count)) {
    for (auto i = count; i > 0; --i) trees.push_back(Codec::read(form, bytes));
    state.PauseTiming();
    trees.clear();
    state.ResumeTiming();
  }
  countBytes(state, form);
}

template <class Codec>
void release(benchmark::State& state, Form form) {
  const Bytes& bytes = file(form, state.range(0));
  const auto count = filesAtOnce(state);
  std::vector<typename Codec::Tree> trees;
  trees.reserve(static_cast<std::size_t>(count));
  while (state.KeepRunningBatch(count)) {
    state.PauseTiming();
    for (auto i = count; i > 0; --i) trees.push_back(Codec::read(form, bytes));
    state.ResumeTiming();
    trees.clear();
  }
  countBytes(state, form);
}

template <class Codec>
void write(benchmark::State& state, Form form) {
  const auto tree = Codec::read(form, file(form, state.range(0)));
  const auto count = filesAtOnce(state);
  std::vector<typename Codec::Written> written;
  written.reserve(static_cast<std::size_t>(count));
  while (state.KeepRunningBatch(count)) {
    for (auto i = count; i > 0; --i) written.push_back(Codec::write(form, tree));
    state.PauseTiming();
    written.clear();
    state.ResumeTiming();
  }
  countBytes(state, form);
}

void memoryCopy(benchmark::State& state) {
  const Bytes& bytes = file(Form::Binary, state.range(0));
  Bytes copy(bytes.size());
  for ([[maybe_unused]] auto each : state) {
    std::memcpy(copy.data(), bytes.data(), bytes.size());
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  countBytes(state, Form::Binary);
}

// Copying a tree, whose cost must not depend on its size.
void copy(benchmark::State& state) {
  const PropertyList value = readBinary(file(Form::Binary, state.range(0))).value();
  for ([[maybe_unused]] auto each : state) {
    PropertyList other = value;
    benchmark::DoNotOptimize(other);
  }
}

void compare(benchmark::State& state) {
  const PropertyList left = readBinary(file(Form::Binary, state.range(0))).value();
  const PropertyList right = readBinary(file(Form::Binary, state.range(0))).value();
  for ([[maybe_unused]] auto each : state) {
    if (!(left == right)) state.SkipWithError("equal trees compare as different");
  }
  countBytes(state, Form::Binary);
}

void add(const std::string& name, const std::function<void(benchmark::State&)>& run) {
  benchmark::RegisterBenchmark(name.c_str(), run)
      ->Arg(12)
      ->Arg(1000)
      ->Arg(100000)
      ->Unit(benchmark::kMicrosecond);
}

// Names such as read/xml/this/1000.
template <class Codec>
void addCodec(const std::string& codec) {
  for (const auto& [form, name] : {std::pair{Form::Binary, "binary/"}, {Form::Xml, "xml/"}}) {
    const auto with = [form = form](auto run) {
      return [=](benchmark::State& state) { run(state, form); };
    };
    add("read/" + (name + codec), with(read<Codec>));
    add("release/" + (name + codec), with(release<Codec>));
    add("write/" + (name + codec), with(write<Codec>));
  }
}

void addAll() {
  addCodec<ThisLibrary>("this");
#ifdef AS_C_LIBRARY
  addCodec<CLibrary>("c");
#endif
  add("memoryCopy", memoryCopy);
  add("copy", copy);
  add("compare", compare);
}

}  // namespace
}  // namespace accountsettings

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  accountsettings::addAll();
  benchmark::RunSpecifiedBenchmarks();
}
