// The storage of strings and data: allocation, hashing, release.
#include "plist/Nodes.h"

#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <stdexcept>

#include "plist/Text.h"

namespace accountsettings::detail {
namespace {

__extension__ using Wide = unsigned __int128;

struct Seed {
  std::uint64_t start;
  std::uint64_t factor;
};

Seed makeSeed() {
  std::random_device device;
  auto word = [&device] { return (std::uint64_t{device()} << 32) | device(); };
  return {word(), word() | 1};
}

std::uint64_t mixed(std::uint64_t left, std::uint64_t right) noexcept {
  const Wide product = Wide{left} * right;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

template <class Word>
std::uint64_t load(const char* bytes) noexcept {
  Word word;
  std::memcpy(&word, bytes, sizeof(word));
  return word;
}

// The last one to eight bytes of a text as one word; words of texts of the same length differ.
std::uint64_t lastWord(std::string_view text) noexcept {
  const char* bytes = text.data();
  const std::size_t size = text.size();
  if (size >= 8) return load<std::uint64_t>(bytes + size - 8);
  if (size >= 4) {
    return (load<std::uint32_t>(bytes) << 32) | load<std::uint32_t>(bytes + size - 4);
  }
  if (size == 0) return 0;
  return (load<std::uint8_t>(bytes) << 16) | (load<std::uint8_t>(bytes + size / 2) << 8) |
         load<std::uint8_t>(bytes + size - 1);
}

}  // namespace

std::uint32_t hashOf(std::string_view text) noexcept {
  static const Seed seed = makeSeed();
  std::uint64_t state = seed.start ^ (text.size() * 0x9E3779B97F4A7C15U);
  const char* bytes = text.data();
  for (std::size_t left = text.size(); left > 8; left -= 8, bytes += 8) {
    state = mixed(state ^ load<std::uint64_t>(bytes), seed.factor);
  }
  state = mixed(state ^ lastWord(text), seed.factor);
  return static_cast<std::uint32_t>(state ^ (state >> 32));
}

StringNode* StringNode::create(std::string_view text) {
  if (text.empty()) return nullptr;
  StringNode* node = createUnsealed(text.size());
  std::memcpy(node->writableBytes(), text.data(), text.size());
  node->seal(isAscii(text));
  return node;
}

StringNode* StringNode::createUnsealed(std::size_t size) {
  if (size > std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error("string of more than 4 GiB");
  }
  auto* node = new (::operator new(sizeof(StringNode) + size)) StringNode;
  node->size = static_cast<std::uint32_t>(size);
  return node;
}

void StringNode::seal(bool isAsciiText) noexcept {
  ascii = isAsciiText;
  hash = hashOf(text());
}

void StringNode::destroy(StringNode* node) noexcept {
  node->~StringNode();
  ::operator delete(node);
}

DataNode* DataNode::create(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) return nullptr;
  auto* node = new (::operator new(sizeof(DataNode) + bytes.size())) DataNode;
  node->size = bytes.size();
  std::memcpy(reinterpret_cast<std::uint8_t*>(node + 1), bytes.data(), bytes.size());
  return node;
}

void DataNode::destroy(DataNode* node) noexcept {
  node->~DataNode();
  ::operator delete(node);
}

}  // namespace accountsettings::detail
