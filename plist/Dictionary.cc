// Dictionary's look-up and changing operations, and the upkeep of the index.
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <mutex>

#include "plist/KeyIndex.h"
#include "plist/PropertyList.h"
#include "plist/Sequence.h"

namespace accountsettings {
namespace detail {
namespace {

std::uint32_t hashOfKey(const Entry& entry) noexcept {
  const Shared<StringNode>& key = Access::key(entry);
  return key ? key->hash : hashOf({});
}

bool hasKey(const Entry& entry, std::string_view key, std::uint32_t hash) noexcept {
  const StringNode* node = Access::key(entry).get();
  if (node == nullptr) return key.empty();
  if (node->hash != hash || node->size != key.size()) return false;
  return node->bytes() == key.data() || node->text() == key;
}

template <class Word>
Word wordAt(const char* bytes) noexcept {
  Word word;
  std::memcpy(&word, bytes, sizeof(word));
  return word;
}

// The entry under a key of at least a word, in a node without index. Nearly always the length and
// the first word tell keys apart, and the last word tells the rest of a key of up to two.
template <class Word>
const Entry* findByWords(const DictionaryNode& node, std::string_view key) noexcept {
  const std::size_t size = key.size();
  const auto first = wordAt<Word>(key.data());
  const auto last = wordAt<Word>(key.data() + size - sizeof(Word));
  const Entry* const end = node.items() + node.size;
  for (const Entry* entry = node.items(); entry != end; ++entry) {
    const StringNode* name = Access::key(*entry).get();
    if (name == nullptr || name->size != size) continue;
    const char* bytes = name->bytes();
    if (wordAt<Word>(bytes) == first && wordAt<Word>(bytes + size - sizeof(Word)) == last &&
        (size <= 2 * sizeof(Word) || std::memcmp(bytes, key.data(), size) == 0)) {
      return entry;
    }
  }
  return nullptr;
}

// The entry under the key, or nullptr. Where there is no index, hashing the key would take longer
// than comparing it with the few that have its length and begin alike.
const Entry* findKey(const DictionaryNode& node, std::string_view key) noexcept {
  if (slotCount(node.capacity) != 0 || key.empty()) return Access::find(node, key, hashOf(key));
  if (key.size() >= sizeof(std::uint64_t)) return findByWords<std::uint64_t>(node, key);
  if (key.size() >= sizeof(std::uint32_t)) return findByWords<std::uint32_t>(node, key);
  return findByWords<char>(node, key);
}

void addToIndex(DictionaryNode& node, std::size_t entry) noexcept {
  const std::size_t mask = slotCount(node.capacity) - 1;
  std::uint32_t* slots = slotsOf(node);
  std::size_t slot = hashOfKey(node.items()[entry]) & mask;
  while (slots[slot] != 0) slot = (slot + 1) & mask;
  slots[slot] = static_cast<std::uint32_t>(entry + 1);
}

void makeWritableIndexed(Shared<DictionaryNode>& node, std::size_t wanted) {
  if (makeWritable(node, wanted)) Access::rebuildIndex(*node);
}

// Dictionaries that are changed get the same few keys again and again. Those made lately are
// shared, within small bounds, so that they take neither time nor memory anew.
class RecentKeys {
 public:
  // Never destroyed: dictionaries may be changed until the very end of a process.
  static RecentKeys& ofProcess() {
    static RecentKeys& keys = *new RecentKeys;
    return keys;
  }

  Shared<StringNode> get(std::string_view key) {
    if (key.empty() || key.size() > kLongest) return Shared(StringNode::create(key));
    // Whoever would have to wait makes one.
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (!lock) return Shared(StringNode::create(key));
    Shared<StringNode>& kept = keys_[placeOf(key)];
    if (!kept || kept->text() != key) kept = Shared(StringNode::create(key));
    return kept;
  }

 private:
  static constexpr std::size_t kLongest = 64;
  static constexpr std::size_t kCount = 128;

  static std::size_t placeOf(std::string_view key) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(key[at]); };
    return (key.size() * 7 + byte(0) * 3U + byte(key.size() / 2) * 5U + byte(key.size() - 1)) %
           kCount;
  }

  std::mutex mutex_;
  std::array<Shared<StringNode>, kCount> keys_;
};

// Appends to a node that has room, is not shared and does not hold the key.
void append(DictionaryNode& node, Shared<StringNode> key, PropertyList value) {
  Access::construct(node.items() + node.size, std::move(key), std::move(value));
  ++node.size;
  if (slotCount(node.capacity) != 0) addToIndex(node, node.size - 1U);
}

}  // namespace

const Entry* Access::find(const DictionaryNode& node, std::string_view key, std::uint32_t hash) {
  return findEntry(node, hash, [&](const Entry& entry) { return hasKey(entry, key, hash); });
}

void Access::store(Dictionary& dictionary, Shared<StringNode> key, PropertyList value) {
  makeWritableIndexed(dictionary.node_, dictionary.size() + 1);
  DictionaryNode& node = *dictionary.node_;
  const std::string_view text = key ? key->text() : std::string_view();
  if (const Entry* found = find(node, text, key ? key->hash : hashOf({}))) {
    Access::value(node.items()[found - node.items()]) = std::move(value);
  } else {
    append(node, std::move(key), std::move(value));
  }
}

void Access::rebuildIndex(DictionaryNode& node) {
  const std::size_t count = slotCount(node.capacity);
  if (count == 0) return;
  std::fill_n(slotsOf(node), count, 0U);
  for (std::size_t i = 0; i < node.size; ++i) addToIndex(node, i);
}

}  // namespace detail

Dictionary::Dictionary(std::initializer_list<std::pair<std::string_view, PropertyList>> entries) {
  for (const auto& [key, value] : entries) set(key, value);
}

const PropertyList* Dictionary::find(std::string_view key) const noexcept {
  const Entry* found = node_ ? detail::findKey(*node_, key) : nullptr;
  return found != nullptr ? &found->value() : nullptr;
}

void Dictionary::prefetch(std::size_t most) const noexcept {
  detail::Access::fetchStorage(begin(), begin() + std::min(size(), most));
}

std::optional<PropertyList> Dictionary::get(std::string_view key) const {
  const PropertyList* found = find(key);
  return found != nullptr ? std::optional(*found) : std::nullopt;
}

const Array& Dictionary::arrayOrEmpty(std::string_view key) const noexcept {
  static const Array none;
  const Array* found = array(key);
  return found != nullptr ? *found : none;
}

void Dictionary::set(std::string_view key, PropertyList value) {
  if (const Entry* found = node_ ? detail::findKey(*node_, key) : nullptr) {
    const auto index = static_cast<std::size_t>(found - begin());
    detail::makeWritableIndexed(node_, size());
    detail::Access::value(node_->items()[index]) = std::move(value);
  } else {
    // Made before the node may move: `key` may be a view of a key in it.
    detail::Shared<detail::StringNode> name = detail::RecentKeys::ofProcess().get(key);
    detail::makeWritableIndexed(node_, size() + 1);
    detail::append(*node_, std::move(name), std::move(value));
  }
}

bool Dictionary::remove(std::string_view key) {
  if (!node_) return false;
  const Entry* found = detail::findKey(*node_, key);
  if (found == nullptr) return false;
  const auto index = static_cast<std::size_t>(found - begin());
  detail::makeWritableIndexed(node_, size());
  detail::eraseAt(*node_, index);
  detail::Access::rebuildIndex(*node_);
  return true;
}

}  // namespace accountsettings
