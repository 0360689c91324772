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

// The alignment of strings in a block.
constexpr std::size_t kWord = 4;
static_assert(alignof(StringNode) == kWord);

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

bool StringBlock::hasRoomFor(std::string_view text) const noexcept {
  return sizeof(StringNode) + text.size() <= size - used;
}

StringBlock* StringBlock::create(std::size_t size) {
  auto* block = new (::operator new(size)) StringBlock;
  block->size = size;
  block->used = sizeof(StringBlock);
  return block;
}

void StringBlock::destroy(StringBlock* block) noexcept {
  block->~StringBlock();
  ::operator delete(block);
}

StringNode* StringNode::create(std::string_view text) {
  if (text.empty()) return nullptr;
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error("string of more than 4 GiB");
  }
  return fill(::operator new(sizeof(StringNode) + text.size()), text);
}

StringNode* StringNode::createIn(StringBlock& block, std::string_view text) noexcept {
  StringNode* node = fill(reinterpret_cast<char*>(&block) + block.used, text);
  node->place = static_cast<std::uint16_t>(block.used / kWord);
  block.used += (sizeof(StringNode) + text.size() + kWord - 1) / kWord * kWord;
  block.retainUnpublished();
  return node;
}

StringNode* StringNode::fill(void* memory, std::string_view text) noexcept {
  auto* node = new (memory) StringNode;
  node->hash = hashOf(text);
  node->size = static_cast<std::uint32_t>(text.size());
  node->ascii = isAscii(text);
  std::memcpy(reinterpret_cast<char*>(node + 1), text.data(), text.size());
  return node;
}

void StringNode::destroy(StringNode* node) noexcept {
  const std::size_t place = node->place * kWord;
  node->~StringNode();
  if (place == 0) {
    ::operator delete(node);
  } else {
    // Gives up the string's reference to its block.
    Shared(reinterpret_cast<StringBlock*>(reinterpret_cast<char*>(node) - place));
  }
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
