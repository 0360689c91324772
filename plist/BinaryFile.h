// BinaryFile puts files in the binary form together for tests, sound or not.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"

namespace accountsettings {

// Appends a number of `size` bytes, the most significant first.
inline void appendNumber(Bytes& bytes, std::uint64_t number, std::size_t size) {
  for (std::size_t i = size; i-- > 0;) {
    bytes.push_back(i < 8 ? static_cast<std::uint8_t>(number >> (8 * i)) : std::uint8_t{0});
  }
}

class BinaryFile {
 public:
  explicit BinaryFile(std::size_t offsetSize = 1, std::size_t refSize = 1)
      : offsetSize_(offsetSize), refSize_(refSize) {}

  // Appends an object: its marker and what follows, then references.
  BinaryFile& add(const Bytes& head, const std::vector<std::uint64_t>& refs = {}) {
    offsets_.push_back(bytes_.size());
    bytes_.insert(bytes_.end(), head.begin(), head.end());
    for (const std::uint64_t ref : refs) appendNumber(bytes_, ref, refSize_);
    return *this;
  }

  // The whole file, whose root is the first object.
  [[nodiscard]] Bytes bytes() const {
    Bytes file = bytes_;
    for (const std::size_t offset : offsets_) appendNumber(file, offset, offsetSize_);
    appendNumber(file, 0, 6);
    appendNumber(file, offsetSize_, 1);
    appendNumber(file, refSize_, 1);
    appendNumber(file, offsets_.size(), 8);
    appendNumber(file, 0, 8);
    appendNumber(file, bytes_.size(), 8);
    return file;
  }

 private:
  std::size_t offsetSize_;
  std::size_t refSize_;
  std::vector<std::size_t> offsets_;
  Bytes bytes_{'b', 'p', 'l', 'i', 's', 't', '0', '0'};
};

}  // namespace accountsettings
