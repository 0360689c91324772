// How libcrypto is opened and asked.
#include "host/Digest.h"

#include <dlfcn.h>

#include <array>
#include <cstddef>
#include <string_view>

#include "host/LoaderError.h"

namespace accountsettings {

namespace {

constexpr const char* kLibrary = "libcrypto.so.3";
constexpr std::size_t kLength = 32;

// The two functions that are used, as the library declares them.
using Algorithm = const void* (*)();
using Sum = int (*)(const void* data, std::size_t count, unsigned char* sum, unsigned* size,
                    const void* algorithm, void* engine);

struct Functions {
  Algorithm sha256 = nullptr;
  Sum sum = nullptr;
  std::string problem;
};

Functions load() {
  Functions functions;
  void* library = ::dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    functions.problem = loaderError();
    return functions;
  }
  functions.sha256 = reinterpret_cast<Algorithm>(::dlsym(library, "EVP_sha256"));
  functions.sum = reinterpret_cast<Sum>(::dlsym(library, "EVP_Digest"));
  if (functions.sha256 == nullptr || functions.sum == nullptr) functions.problem = loaderError();
  return functions;
}

}  // namespace

Result<std::string> sha256(std::span<const std::uint8_t> bytes) {
  static const Functions functions = load();
  if (!functions.problem.empty()) {
    return Error{std::string(kLibrary) +
                 ", which computes sums, cannot be used: " + functions.problem + "; install it"};
  }
  std::array<unsigned char, kLength> sum{};
  unsigned length = 0;
  if (functions.sum(bytes.data(), bytes.size(), sum.data(), &length, functions.sha256(), nullptr) !=
      1) {
    return Error{std::string(kLibrary) + ": the sum cannot be computed"};
  }
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : sum) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0xFU];
  }
  return text;
}

}  // namespace accountsettings
