// Keys.cc. What stands behind the keys, to find one by, depends on the room for them. Behind few
// keys it is one byte for each, which tells nearly all keys apart, and eight of them are compared
// at a time: that is quicker than hashing the key that is looked for. Behind many it is slots with
// the place of a key plus one, 0 where free, probed from the key's hash onwards.
#include "plist/Keys.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace accountsettings::detail {
namespace {

// Places are counted in 31 bits.
constexpr std::size_t kMostKeys = std::numeric_limits<std::int32_t>::max();

using Word = std::uint64_t;

bool areFew(std::size_t capacity) noexcept {
  return capacity <= kFewKeys;
}

std::size_t wordCount(std::size_t capacity) noexcept {
  return (capacity + sizeof(Word) - 1) / sizeof(Word);
}

std::size_t indexSize(std::size_t capacity) noexcept {
  return areFew(capacity) ? wordCount(capacity) * sizeof(Word)
                          : slotCount(capacity) * sizeof(std::uint32_t);
}

const std::uint8_t* bytesOf(const KeysNode& keys) noexcept {
  return reinterpret_cast<const std::uint8_t*>(keys.items() + keys.capacity);
}
std::uint32_t* slotsOf(KeysNode& keys) noexcept {
  return reinterpret_cast<std::uint32_t*>(keys.items() + keys.capacity);
}
template <class Piece>
Piece load(const void* bytes) noexcept {
  Piece piece;
  std::memcpy(&piece, bytes, sizeof(piece));
  return piece;
}

template <class Piece>
bool sameAt(const char* left, const char* right, std::size_t place) noexcept {
  return load<Piece>(left + place) == load<Piece>(right + place);
}

// Whether two texts of this size, which is not 0, are the same. Two words nearly always tell, and
// are all of a short key; a call of the C library would take longer.
bool sameText(const char* left, const char* right, std::size_t size) noexcept {
  constexpr std::size_t kHalf = sizeof(std::uint32_t);
  if (size < kHalf) {
    return left[0] == right[0] && left[size / 2] == right[size / 2] &&
           left[size - 1] == right[size - 1];
  }
  if (size < sizeof(Word)) {
    return sameAt<std::uint32_t>(left, right, 0) &&
           sameAt<std::uint32_t>(left, right, size - kHalf);
  }
  if (!sameAt<Word>(left, right, size - sizeof(Word))) return false;
  for (std::size_t at = 0; at + sizeof(Word) < size; at += sizeof(Word)) {
    if (!sameAt<Word>(left, right, at)) return false;
  }
  return true;
}

bool isKey(const StringNode* node, std::string_view key) noexcept {
  if (node == nullptr) return key.empty();
  if (node->size != key.size()) return false;
  return node->bytes() == key.data() || sameText(node->bytes(), key.data(), key.size());
}

std::size_t placeAmongFew(const KeysNode& keys, std::string_view key) noexcept {
  constexpr Word kOnes = ~Word{0} / 0xFF;
  constexpr Word kHighBits = kOnes << 7;
  const Word pattern = kOnes * byteFor(key);
  const std::uint8_t* bytes = bytesOf(keys);
  for (std::size_t first = 0; first < keys.size; first += sizeof(Word)) {
    // A high bit is set in each byte that was equal, and in a few behind such a one.
    const Word differences = load<Word>(bytes + first) ^ pattern;
    Word equal = (differences - kOnes) & ~differences & kHighBits;
    for (; equal != 0; equal &= equal - 1) {
      const auto bit = static_cast<std::size_t>(std::countr_zero(equal));
      const std::size_t byte =
          std::endian::native == std::endian::little ? bit / 8 : sizeof(Word) - 1 - bit / 8;
      const std::size_t place = first + byte;
      if (place < keys.size && isKey(keys.items()[place].get(), key)) return place;
    }
  }
  return kNoKey;
}

// Apart, so that a search among few keys does without what this one needs.
[[gnu::noinline]] std::size_t placeAmongMany(const KeysNode& keys, std::string_view key) noexcept {
  const std::uint32_t hash = hashOf(key);
  return placeOfSame(keys, hash, [&](const StringNode* node) {
    return (node == nullptr || node->hash == hash) && isKey(node, key);
  });
}

std::size_t sizeOf(const Shared<KeysNode>& keys) noexcept {
  return keys ? keys->size : 0;
}

// The keys, without the one at the place `omitted` if there is one, in a node with this room.
Shared<KeysNode> copyOf(const Shared<KeysNode>& keys, std::size_t capacity,
                        std::size_t omitted = kNoKey) {
  Shared<KeysNode> copy(KeysNode::create(capacity));
  for (std::size_t i = 0; i < sizeOf(keys); ++i) {
    if (i != omitted) addKey(*copy, keys->items()[i]);
  }
  return copy;
}

// SharedKeys keeps what lately came of adding a key to others and of taking one away: what is done
// to one account is mostly done to many. Few keys at a time, none of them long, and not many times:
// a process that loads settings again and again keeps some megabytes at most.
class SharedKeys {
 public:
  // Never destroyed: dictionaries may be changed until the very end of a process.
  static SharedKeys& ofProcess() {
    static SharedKeys& keys = *new SharedKeys;
    return keys;
  }

  Shared<KeysNode> with(const Shared<KeysNode>& keys, std::string_view key) {
    const std::size_t size = sizeOf(keys);
    const auto isIt = [&](const KeysNode& made) {
      return made.size == size + 1 && isKey(made.items()[size].get(), key);
    };
    return kept(keys, byteFor(key) * 64U, isIt, [&] {
      Shared<KeysNode> made = copyOf(keys, size + 1);
      addKey(*made, Shared(StringNode::create(key)));
      return made;
    });
  }

  Shared<KeysNode> without(const Shared<KeysNode>& keys, std::size_t place) {
    const auto stand = [&](const KeysNode& made, std::size_t at, std::size_t former) {
      return made.items()[at].get() == keys->items()[former].get();
    };
    // No key stands twice: those beside the gap tell where it is.
    const auto isIt = [&](const KeysNode& made) {
      return made.size + 1 == keys->size && (place == 0 || stand(made, place - 1, place - 1)) &&
             (place == made.size || stand(made, place, place + 1));
    };
    return kept(keys, static_cast<std::uint32_t>(place) * 64U + 1, isIt,
                [&] { return copyOf(keys, keys->size - 1U, place); });
  }

 private:
  struct Slot {
    Shared<KeysNode> from;
    Shared<KeysNode> made;
  };

  // What was made of the keys before, or else what `make` makes of them now.
  template <class IsIt, class Make>
  Shared<KeysNode> kept(const Shared<KeysNode>& keys, std::uint32_t what, const IsIt& isIt,
                        const Make& make) {
    // Whoever would have to wait makes its own.
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (!lock) return make();
    const Slot& known = slots_[placeOf(keys.get(), what)];
    if (known.made && known.from.get() == keys.get() && isIt(*known.made)) return known.made;
    Shared<KeysNode> made = make();
    if (++made_ > slots_.size() && slots_.size() < kMost) grow();
    slots_[placeOf(keys.get(), what)] = {keys, made};
    return made;
  }

  [[nodiscard]] std::size_t placeOf(const KeysNode* keys, std::uint32_t what) const noexcept {
    const std::uint64_t both = reinterpret_cast<std::uintptr_t>(keys) + what;
    return (both * 0x9E3779B97F4A7C15U >> 40) % slots_.size();
  }

  // Most programs never make many; what was kept is made anew then.
  void grow() {
    std::vector<Slot>(2 * slots_.size()).swap(slots_);
    made_ = 0;
  }

  static constexpr std::size_t kMost = 2048;

  std::mutex mutex_;
  std::vector<Slot> slots_ = std::vector<Slot>(64);
  std::size_t made_ = 0;  // since the table has its size
};

}  // namespace

KeysNode* KeysNode::create(std::size_t capacity) {
  if (capacity > kMostKeys) throw std::length_error("dictionary of more than 2^31 keys");
  capacity = std::max<std::size_t>(capacity, 1);
  const std::size_t size =
      sizeof(KeysNode) + capacity * sizeof(Shared<StringNode>) + indexSize(capacity);
  auto* node = new (::operator new(size)) KeysNode;
  node->capacity = static_cast<std::uint32_t>(capacity);
  std::fill_n(bytesBehind(*node), indexSize(capacity), std::uint8_t{0});
  return node;
}

void KeysNode::destroy(KeysNode* node) noexcept {
  std::destroy_n(node->items(), node->size);
  node->~KeysNode();
  ::operator delete(node);
}

std::size_t placeOfKey(const KeysNode& keys, std::string_view key) noexcept {
  return areFew(keys.capacity) ? placeAmongFew(keys, key) : placeAmongMany(keys, key);
}

void enterAmongMany(KeysNode& keys, std::size_t place) noexcept {
  const Shared<StringNode>& key = keys.items()[place];
  std::uint32_t* slots = slotsOf(keys);
  const std::size_t mask = slotCount(keys.capacity) - 1;
  std::size_t slot = (key ? key->hash : hashOf({})) & mask;
  while (slots[slot] != 0) slot = (slot + 1) & mask;
  slots[slot] = static_cast<std::uint32_t>(place + 1);
}

void appendKey(Shared<KeysNode>& keys, std::string_view key) {
  const std::size_t size = sizeOf(keys);
  const bool isOwned = keys && keys->unique();
  const bool holdsLong = key.size() > kLongestShared || (keys && keys->holdsLong);
  if (!isOwned && !holdsLong && size < kFewKeys) {
    keys = SharedKeys::ofProcess().with(keys, key);
    return;
  }
  Shared<StringNode> name(StringNode::create(key));
  if (!isOwned || size == keys->capacity) keys = copyOf(keys, size + size / 2 + 4);
  addKey(*keys, std::move(name));
}

void removeKeyAt(Shared<KeysNode>& keys, std::size_t place) {
  if (keys->size == 1) {
    keys = {};
  } else if (keys->size <= kFewKeys && !keys->holdsLong && !keys->unique()) {
    keys = SharedKeys::ofProcess().without(keys, place);
  } else {
    keys = copyOf(keys, keys->capacity, place);
  }
}

}  // namespace accountsettings::detail
