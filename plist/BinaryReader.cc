// The reader of the binary form. A file is the magic, the objects, the table of
// the objects' offsets, and a trailer of 32 bytes that tells the sizes.
//
// Invariants while reading:
// 1. Every object that is read lies between the magic and the offset table.
// 2. The bytes of all objects read together are not much more than the file, so
//    that objects which overlap cannot multiply what a file holds.
// 3. An object is read once; every reference to it shares the one value.
// 4. An object is open while its references are read; meeting it then is a cycle.
#include "plist/BinaryReader.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "plist/Access.h"
#include "plist/KeyLists.h"
#include "plist/KeyTable.h"
#include "plist/Keys.h"
#include "plist/ObjectTable.h"
#include "plist/StringPool.h"
#include "plist/Text.h"

namespace accountsettings {
namespace {

using detail::Access;
using detail::ArrayNode;
using detail::DictionaryNode;
using detail::KeysNode;
using detail::KeyTable;
using detail::ObjectTable;
using detail::Shared;
using detail::StringNode;

constexpr std::size_t kMagicSize = 8;
constexpr std::size_t kTrailerSize = 32;
constexpr std::size_t kMaxFileSize = std::size_t{1} << 32;
// In a file of fewer objects dictionaries have little to share.
constexpr std::size_t kMany = 512;
// What objects that overlap may hold beyond the file's size.
constexpr std::size_t kOverlapAllowance = 65536;

class BinaryReader {
 public:
  explicit BinaryReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  Result<PropertyList> read() {
    if (readLayout() && readObjects()) return objects_.value(top_);
    return std::move(error_);
  }

 private:
  using Height = ObjectTable::Height;

  // An object's marker and count, and where its contents lie.
  struct Head {
    std::size_t start = 0;
    std::size_t contents = 0;
    unsigned type = 0;  // the marker's upper half
    unsigned low = 0;   // the marker's lower half
    std::uint64_t count = 0;

    [[nodiscard]] bool isString() const noexcept { return type == 0x5 || type == 0x6; }
    [[nodiscard]] bool isContainer() const noexcept { return type == 0xA || type == 0xD; }
    [[nodiscard]] bool isCounted() const noexcept {
      return type == 0x4 || isString() || isContainer();
    }
  };

  // A container whose references are being followed.
  struct Frame {
    std::size_t object = 0;
    std::size_t refs = 0;
    std::size_t count = 0;
    std::size_t next = 0;
    Height height = 1;
    bool repeatsKeys = false;
    Shared<ArrayNode> array;  // one of the two
    Shared<DictionaryNode> dictionary;
  };

  // What became of a reference.
  enum class Found : std::uint8_t {
    Ready,   // its value is there
    Opened,  // it leads to a container, whose frame is now the last
    Failed
  };

  bool fail(std::size_t byte, std::string_view what) {
    error_.message = "byte " + std::to_string(byte) + ": ";
    error_.message += what;
    return false;
  }

  bool failTooDeep(std::size_t byte) {
    return fail(byte, "nested deeper than " + std::to_string(kMaxNesting) + " levels");
  }

  // A big-endian number of 1 to 8 bytes. Wherever one is read the trailer follows, so that
  // taking 8 bytes at once stays inside the file.
  [[nodiscard]] std::uint64_t number(std::size_t at, std::size_t size) const noexcept {
    std::uint64_t word;
    std::memcpy(&word, bytes_.data() + at, sizeof(word));
    if constexpr (std::endian::native == std::endian::little) word = __builtin_bswap64(word);
    return word >> (64 - 8 * size);
  }

  bool readLayout() {
    const std::string_view magic(reinterpret_cast<const char*>(bytes_.data()),
                                 std::min(bytes_.size(), kMagicSize));
    if (!magic.starts_with("bplist")) return fail(0, "not a binary property list");
    if (magic.size() == kMagicSize && magic != "bplist00") {
      return fail(6, "unknown version of the binary form");
    }
    if (bytes_.size() < kMagicSize + kTrailerSize) return fail(bytes_.size(), "file cut short");
    if (bytes_.size() >= kMaxFileSize) return fail(kMaxFileSize, "file of more than 4 GiB");
    const std::size_t trailer = bytes_.size() - kTrailerSize;
    offsetSize_ = bytes_[trailer + 6];
    refSize_ = bytes_[trailer + 7];
    const std::uint64_t count = number(trailer + 8, 8);
    const std::uint64_t top = number(trailer + 16, 8);
    const std::uint64_t table = number(trailer + 24, 8);
    if (offsetSize_ < 1 || offsetSize_ > 8) return fail(trailer + 6, "offset size not 1 to 8");
    if (refSize_ < 1 || refSize_ > 8) return fail(trailer + 7, "reference size not 1 to 8");
    if (count == 0) return fail(trailer + 8, "no objects");
    if (top >= count) return fail(trailer + 16, "root outside the objects");
    if (table <= kMagicSize || table >= trailer) {
      return fail(trailer + 24, "offset table outside the file");
    }
    const std::size_t tableSize = trailer - static_cast<std::size_t>(table);
    if (tableSize % offsetSize_ != 0 || tableSize / offsetSize_ != count) {
      return fail(trailer + 24, "offset table does not reach from its place to the trailer");
    }
    table_ = static_cast<std::size_t>(table);
    top_ = static_cast<std::size_t>(top);
    objects_.resize(static_cast<std::size_t>(count));
    keys_.resize(objects_.size());
    budget_ = bytes_.size() + kOverlapAllowance;
    return true;
  }

  bool readObjects() {
    if (!start(top_, bytes_.size() - kTrailerSize + 16)) return false;
    while (!frames_.empty()) {
      const bool going = frames_.back().array ? followItems() : followEntries();
      if (!going) return false;
    }
    return true;
  }

  // Reads an object for the first time; of a container it opens the frame. `ref` is the place
  // that refers to it.
  bool start(std::size_t object, std::size_t ref) {
    Head head;
    if (!readHead(object, head)) return false;
    if (head.isContainer()) return open(object, head, ref);
    return readLeaf(object, head);
  }

  bool readHead(std::size_t object, Head& head) {
    const std::size_t entry = table_ + object * offsetSize_;
    const std::uint64_t offset = number(entry, offsetSize_);
    if (offset < kMagicSize || offset >= table_) return fail(entry, "offset outside the objects");
    head.start = static_cast<std::size_t>(offset);
    head.contents = head.start + 1;
    head.type = static_cast<unsigned>(bytes_[head.start] >> 4);
    head.low = bytes_[head.start] & 15U;
    head.count = head.low;
    return head.low != 15 || !head.isCounted() || readCount(head);
  }

  // A count of 15 and more follows the marker as an integer.
  bool readCount(Head& head) {
    if (head.contents >= table_) return failCutOff(head);
    const unsigned marker = bytes_[head.contents];
    if (marker < 0x10 || marker > 0x13) return fail(head.contents, "count is not an integer");
    const std::size_t size = std::size_t{1} << (marker & 15U);
    if (table_ - head.contents - 1 < size) return failCutOff(head);
    head.count = number(head.contents + 1, size);
    head.contents += 1 + size;
    return true;
  }

  bool failCutOff(const Head& head) {
    return fail(head.start, "object reaches into the offset table");
  }

  // Whether an object's contents, `count` units of `size` bytes, are there; charges for them.
  bool take(const Head& head, std::uint64_t count, std::size_t size) {
    if (count > (table_ - head.contents) / size) return failCutOff(head);
    const std::size_t bytes = head.contents - head.start + static_cast<std::size_t>(count) * size;
    if (bytes > budget_) return fail(head.start, "objects overlap too much");
    budget_ -= bytes;
    return true;
  }

  bool open(std::size_t object, const Head& head, std::size_t ref) {
    const bool isArray = head.type == 0xA;
    if (frames_.size() == kMaxNesting) return failTooDeep(ref);
    if (!take(head, head.count, isArray ? refSize_ : 2 * refSize_)) return false;
    Frame frame;
    frame.object = object;
    frame.refs = head.contents;
    frame.count = static_cast<std::size_t>(head.count);
    if (isArray) {
      frame.array = Shared(ArrayNode::create(frame.count));
    } else {
      frame.dictionary = Shared(DictionaryNode::create(frame.count));
      if (!readKeys(frame)) return false;
    }
    objects_.markOpen(object);
    frames_.push_back(std::move(frame));
    return true;
  }

  // Makes an empty value for each key; the values follow.
  bool readKeys(Frame& frame) {
    DictionaryNode& node = *frame.dictionary;
    if (frame.count > 0) {
      node.keys = objects_.size() >= kMany ? sharedKeys(frame) : newKeys(frame);
      if (!node.keys) return false;
      node.size = node.keys->size;
    }
    std::uninitialized_value_construct_n(node.items(), node.size);
    return true;
  }

  // The keys that the references name: those of another dictionary that names the same.
  Shared<KeysNode> sharedKeys(Frame& frame) {
    const std::string_view names(reinterpret_cast<const char*>(bytes_.data()) + frame.refs,
                                 frame.count * refSize_);
    const std::uint32_t hash = detail::hashOf(names);
    if (const Shared<KeysNode>* known = keyLists_.find(names, hash)) {
      (*known)->retainUnpublished();
      return Shared(known->get());
    }
    Shared<KeysNode> keys = newKeys(frame);
    if (keys && !frame.repeatsKeys) keyLists_.add(names, hash, keys);
    return keys;
  }

  // The keys that the references name, each once, or none after a failure.
  Shared<KeysNode> newKeys(Frame& frame) {
    Shared<KeysNode> keys(KeysNode::create(frame.count));
    ++dictionary_;
    for (std::size_t i = 0; i < frame.count; ++i) {
      KeyTable::Key* key = readKey(frame.refs + i * refSize_);
      if (key == nullptr) return {};
      if (key->dictionary == dictionary_) {
        frame.repeatsKeys = true;
        continue;
      }
      key->dictionary = dictionary_;
      if (key->node) key->node->retainUnpublished();
      detail::addKey(*keys, Shared(key->node.get()));
    }
    return keys;
  }

  // The key that a reference names, or nullptr after a failure.
  KeyTable::Key* readKey(std::size_t ref) {
    std::size_t object = 0;
    if (!readRef(ref, object)) return nullptr;
    if (KeyTable::Key* known = keys_.find(object)) return known;
    if (objects_.height(object) == ObjectTable::kUnread) {
      Head head;
      if (!readHead(object, head)) return nullptr;
      readsKey_ = true;
      const bool isRead = !head.isString() || readLeaf(object, head);
      readsKey_ = false;
      if (!isRead) return nullptr;
    }
    if (objects_.height(object) != 0 ||
        objects_.value(object).kind() != PropertyList::Kind::String) {
      fail(ref, "dictionary key is not a string");
      return nullptr;
    }
    return keys_.add(object, Access::text(objects_.value(object)));
  }

  // The number of the object that the reference at `ref` names.
  bool readRef(std::size_t ref, std::size_t& object) {
    const std::uint64_t named = number(ref, refSize_);
    if (named >= objects_.size()) return fail(ref, "reference to an object that does not exist");
    object = static_cast<std::size_t>(named);
    return true;
  }

  Found follow(std::size_t ref, std::size_t& object) {
    if (!readRef(ref, object)) return Found::Failed;
    if (objects_.height(object) == ObjectTable::kUnread) {
      if (!start(object, ref)) return Found::Failed;
      if (objects_.height(object) == ObjectTable::kOpen) return Found::Opened;
    } else if (objects_.height(object) == ObjectTable::kOpen) {
      fail(ref, "container contains itself");
      return Found::Failed;
    }
    Height& height = frames_.back().height;
    height = std::max(height, static_cast<Height>(objects_.height(object) + 1));
    return Found::Ready;
  }

  bool followItems() {
    Frame& frame = frames_.back();
    ArrayNode& node = *frame.array;
    for (; frame.next < frame.count; ++frame.next) {
      std::size_t object = 0;
      const Found found = follow(frame.refs + frame.next * refSize_, object);
      if (found != Found::Ready) return found == Found::Opened;
      objects_.copyTo(object, node.items() + node.size);
      ++node.size;
    }
    return close(Access::arrayOf(std::move(frame.array)));
  }

  bool followEntries() {
    Frame& frame = frames_.back();
    for (; frame.next < frame.count; ++frame.next) {
      std::size_t object = 0;
      const Found found = follow(frame.refs + (frame.count + frame.next) * refSize_, object);
      if (found != Found::Ready) return found == Found::Opened;
      if (frame.repeatsKeys) {
        // The value may be replaced again, so the table must keep its own reference.
        valueOf(frame) = objects_.value(object);
      } else {
        objects_.copyTo(object, frame.dictionary->items() + frame.next);
      }
    }
    return close(Access::dictionaryOf(std::move(frame.dictionary)));
  }

  // Where the next value of a dictionary with repeated keys belongs: the last value of a key
  // counts.
  PropertyList& valueOf(const Frame& frame) {
    const StringNode* key = readKey(frame.refs + frame.next * refSize_)->node.get();
    DictionaryNode& node = *frame.dictionary;
    const std::uint32_t hash = key != nullptr ? key->hash : detail::hashOf({});
    // Equal keys of a file are one node.
    const std::size_t place = detail::placeOfSame(
        *node.keys, hash, [key](const StringNode* each) { return each == key; });
    return node.items()[place];
  }

  // The last frame's container is complete.
  bool close(PropertyList value) {
    const Frame& frame = frames_.back();
    // Also met through shared containers, whose own insides were read at a lesser depth.
    if (frame.height > kMaxNesting) return failTooDeep(frame.refs);
    objects_.put(frame.object, std::move(value), frame.height);
    frames_.pop_back();
    return true;
  }

  bool readLeaf(std::size_t object, const Head& head) {
    switch (head.type) {
      case 0x0:
        return readBoolean(object, head);
      case 0x1:
        return readInteger(object, head);
      case 0x2:
        return readReal(object, head);
      case 0x3:
        return readDate(object, head);
      case 0x4:
        return readData(object, head);
      case 0x5:
        return readAscii(object, head);
      case 0x6:
        return readUtf16(object, head);
      case 0x8:
        return readUid(object, head);
      default:
        return failUnknown(head);
    }
  }

  bool putLeaf(std::size_t object, PropertyList value) {
    objects_.put(object, std::move(value), 0);
    return true;
  }

  bool failUnknown(const Head& head) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    return fail(head.start,
                std::string("unknown object marker 0x") + kDigits[head.type] + kDigits[head.low]);
  }

  bool readBoolean(std::size_t object, const Head& head) {
    if (head.low != 8 && head.low != 9) return failUnknown(head);
    return take(head, 0, 1) && putLeaf(object, head.low == 9);
  }

  bool readInteger(std::size_t object, const Head& head) {
    if (head.low > 4) return failUnknown(head);
    const std::size_t size = std::size_t{1} << head.low;
    if (!take(head, size, 1)) return false;
    if (size == 16) return readWideInteger(object, head);
    // Up to 4 bytes are unsigned, 8 bytes signed.
    return putLeaf(object, static_cast<std::int64_t>(number(head.contents, size)));
  }

  bool readWideInteger(std::size_t object, const Head& head) {
    const std::uint64_t high = number(head.contents, 8);
    const std::uint64_t low = number(head.contents + 8, 8);
    const bool negative = high == ~std::uint64_t{0} && (low >> 63) != 0;
    if (high != 0 && !negative) return fail(head.start, "integer of more than 64 bits");
    return negative ? putLeaf(object, static_cast<std::int64_t>(low)) : putLeaf(object, low);
  }

  bool readReal(std::size_t object, const Head& head) {
    if (head.low != 2 && head.low != 3) return failUnknown(head);
    const std::size_t size = std::size_t{1} << head.low;
    if (!take(head, size, 1)) return false;
    const std::uint64_t bits = number(head.contents, size);
    return putLeaf(object, size == 8
                               ? std::bit_cast<double>(bits)
                               : double{std::bit_cast<float>(static_cast<std::uint32_t>(bits))});
  }

  bool readDate(std::size_t object, const Head& head) {
    if (head.low != 3) return failUnknown(head);
    if (!take(head, 8, 1)) return false;
    return putLeaf(object, PropertyList::date(std::bit_cast<double>(number(head.contents, 8))));
  }

  bool readData(std::size_t object, const Head& head) {
    if (!take(head, head.count, 1)) return false;
    return putLeaf(object, PropertyList::data(bytes_.subspan(
                               head.contents, static_cast<std::size_t>(head.count))));
  }

  bool readAscii(std::size_t object, const Head& head) {
    if (!take(head, head.count, 1)) return false;
    const std::string_view text(reinterpret_cast<const char*>(bytes_.data()) + head.contents,
                                static_cast<std::size_t>(head.count));
    Shared<StringNode> node = newString(text);
    if (node && !node->ascii) return fail(head.start, "byte above 0x7F in an ASCII string");
    return putLeaf(object, Access::string(std::move(node)));
  }

  bool readUtf16(std::size_t object, const Head& head) {
    if (!take(head, head.count, 2)) return false;
    text_.clear();
    const std::size_t end = head.contents + 2 * static_cast<std::size_t>(head.count);
    for (std::size_t at = head.contents; at < end; at += 2) {
      auto point = static_cast<std::uint32_t>(number(at, 2));
      if (detail::isHighSurrogate(point) && at + 2 < end) {
        const auto next = static_cast<std::uint32_t>(number(at + 2, 2));
        if (detail::isLowSurrogate(next)) {
          point = detail::joined(point, next);
          at += 2;
        }
      }
      detail::appendUtf8(text_, point);
    }
    return putLeaf(object, Access::string(newString(text_)));
  }

  // Keys may outlive the rest of the file's strings; those that were met first as keys do not share
  // their memory.
  Shared<StringNode> newString(std::string_view text) {
    return readsKey_ ? keyStrings_.create(text) : strings_.create(text);
  }

  bool readUid(std::size_t object, const Head& head) {
    const std::size_t size = head.low + 1U;
    if (size > 8) return fail(head.start, "UID of more than 64 bits");
    if (!take(head, size, 1)) return false;
    return putLeaf(object, PropertyList::uid(number(head.contents, size)));
  }

  std::span<const std::uint8_t> bytes_;
  std::size_t offsetSize_ = 0;
  std::size_t refSize_ = 0;
  std::size_t top_ = 0;
  std::size_t table_ = 0;
  std::size_t budget_ = 0;  // bytes that objects may still take
  detail::StringPool strings_;
  detail::StringPool keyStrings_;
  bool readsKey_ = false;  // the string that is read is a key
  ObjectTable objects_;
  KeyTable keys_;
  detail::KeyLists keyLists_;
  std::uint32_t dictionary_ = 0;  // how many have been opened
  std::vector<Frame> frames_;
  std::string text_;  // the UTF-8 form of the string being read
  Error error_;
};

}  // namespace

Result<PropertyList> readBinary(std::span<const std::uint8_t> bytes) {
  return BinaryReader(bytes).read();
}

}  // namespace accountsettings
