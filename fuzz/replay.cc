// Replay runs a fuzz target on the files that it is given, and on those in the
// directories that it is given, without a fuzzer. It answers how many there were.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

bool replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    std::fprintf(stderr, "cannot read %s\n", path.c_str());
    return false;
  }
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  std::printf("%s\n", path.c_str());
  std::fflush(stdout);
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  return true;
}

}  // namespace

int main(int count, char** arguments) {
  std::size_t files = 0;
  for (int i = 1; i < count; ++i) {
    const std::filesystem::path path(arguments[i]);
    if (!std::filesystem::is_directory(path)) {
      if (!replay(path)) return 1;
      ++files;
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      if (!replay(entry.path())) return 1;
      ++files;
    }
  }
  std::printf("%zu files\n", files);
  return files == 0 ? 1 : 0;
}
