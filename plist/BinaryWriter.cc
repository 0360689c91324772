// The writer of the binary form. It numbers the objects first, contents before
// containers, so that equal containers are recognised by equal references; then
// it writes them in the opposite order, which puts the root first.
#include "plist/BinaryWriter.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "plist/Access.h"
#include "plist/PointerMap.h"
#include "plist/Text.h"
#include "plist/Walk.h"

namespace accountsettings {
namespace {

using detail::Access;
using detail::Counted;
using detail::DataNode;
using detail::Entry;
using detail::StringNode;
using detail::Walk;
using Kind = PropertyList::Kind;
using Id = std::uint32_t;

// Object is a value to be written once.
struct Object {
  Kind kind;
  // Of a string: it needs UTF-16. Of an integer: it is above 2^63-1.
  bool wide;
  // How deep the containers in a container nest, itself included; else 0.
  std::uint16_t height;
  // Characters or UTF-16 units of a string, references of a container.
  std::uint32_t count;
  union {
    std::uint64_t bits;  // of a scalar
    const StringNode* text;
    const DataNode* data;
    std::size_t firstRef;  // of a container
  };
};

// How many bytes a number takes at least.
std::size_t bytesFor(std::uint64_t value) noexcept {
  return std::max<std::size_t>(1, (static_cast<std::size_t>(std::bit_width(value)) + 7) / 8);
}

// The same, for integers, counts and UIDs, which come in 1, 2, 4 and 8 bytes.
std::size_t powerOfTwoBytesFor(std::uint64_t value) noexcept {
  return std::bit_ceil(bytesFor(value));
}

// The UTF-16 units of a text; none where it is malformed.
std::optional<std::uint32_t> countUnits(std::string_view text) noexcept {
  std::uint32_t units = 0;
  while (!text.empty()) {
    const detail::CodePoint point = detail::firstCodePoint(text);
    if (point.length == 0) return std::nullopt;
    units += point.value >= 0x10000 ? 2 : 1;
    text.remove_prefix(point.length);
  }
  return units;
}

// Objects numbers the distinct objects of a value.
class Objects {
 public:
  // Answers whether all could be numbered; else error() tells why not.
  bool collect(const PropertyList& root) {
    Walk walk(root);
    for (auto event = walk.next(); event != Walk::Event::End; event = walk.next()) {
      if (event == Walk::Event::Leave) {
        leave(walk.value());
      } else if (!visit(walk)) {
        return false;
      }
    }
    return true;
  }

  [[nodiscard]] const std::vector<Object>& all() const noexcept { return objects_; }
  // Of a dictionary keys and values in turn.
  [[nodiscard]] std::span<const Id> refs(const Object& container) const noexcept {
    return std::span(refs_).subspan(container.firstRef, container.count);
  }
  [[nodiscard]] Error& error() noexcept { return error_; }

 private:
  struct Slot {
    std::uint32_t hash = 0;
    Id idPlusOne = 0;
  };

  struct Recent {
    const StringNode* node = nullptr;
    Id id = 0;
  };

  // A container that has been entered.
  struct Open {
    std::size_t firstPending;
    std::uint16_t height;
  };

  bool visit(Walk& walk) {
    if (const Entry* entry = walk.entry()) {
      if (!addText(Access::key(*entry).get())) return fail(walk, "key that is not UTF-8");
    }
    const PropertyList& value = walk.value();
    switch (value.kind()) {
      case Kind::String:
        return addText(Access::text(value).get()) || fail(walk, "string that is not UTF-8");
      case Kind::Data:
        addData(Access::data(value).get());
        return true;
      case Kind::Array:
        return enter(walk, Access::node(*value.array()).get());
      case Kind::Dictionary:
        return enter(walk, Access::node(*value.dictionary()).get());
      default:
        addScalar(value);
        return true;
    }
  }

  bool fail(const Walk& walk, std::string_view what) {
    error_.message = walk.path() + ": ";
    error_.message += what;
    return false;
  }

  // The same few strings come again and again: where one was met lately, its id is at hand.
  bool addText(const StringNode* node) {
    Recent& recent = recent_[(reinterpret_cast<std::uintptr_t>(node) >> 4) % recent_.size()];
    if (node == nullptr || recent.node != node) {
      const auto id = idOfText(node);
      if (!id) return false;
      recent = {node, *id};
    }
    pending_.push_back(recent.id);
    return true;
  }

  // None where the text is not UTF-8.
  std::optional<Id> idOfText(const StringNode* node) {
    const std::uint32_t hash = node != nullptr ? node->hash : detail::hashOf({});
    const auto same = [node](const Object& other) {
      if (other.kind != Kind::String) return false;
      if (other.text == node) return true;
      return other.text != nullptr && node != nullptr && other.text->text() == node->text();
    };
    Object object{Kind::String, node != nullptr && !node->ascii, 0, 0, {}};
    object.text = node;
    if (!object.wide && node != nullptr) object.count = node->size;
    const Id id = intern(hash, object, same);
    if (object.wide && objects_[id].count == 0) {
      const auto units = countUnits(node->text());
      if (!units) return std::nullopt;
      objects_[id].count = *units;
    }
    return id;
  }

  // Data is told apart by its bytes, which are hashed once for each node.
  void addData(const DataNode* node) {
    if (const Id* known = knownId(node)) {
      pending_.push_back(*known);
      return;
    }
    const std::string_view bytes =
        node != nullptr ? std::string_view(reinterpret_cast<const char*>(node->bytes()), node->size)
                        : std::string_view();
    const auto same = [node](const Object& other) {
      if (other.kind != Kind::Data) return false;
      if (other.data == nullptr || node == nullptr) return other.data == node;
      return other.data->size == node->size &&
             std::memcmp(other.data->bytes(), node->bytes(), node->size) == 0;
    };
    Object object{Kind::Data, false, 0, 0, {}};
    object.data = node;
    const Id id = intern(detail::hashOf(bytes), object, same);
    remember(node, id);
    pending_.push_back(id);
  }

  void addScalar(const PropertyList& value) {
    Object object{value.kind(), value.isUnsigned(), 0, 0, {Access::bits(value)}};
    const auto same = [&object](const Object& other) {
      return other.kind == object.kind && other.bits == object.bits && other.wide == object.wide;
    };
    const std::string_view bytes(reinterpret_cast<const char*>(&object.bits), sizeof(object.bits));
    pending_.push_back(intern(detail::hashOf(bytes), object, same));
  }

  // Answers whether the container does not nest too deep.
  bool enter(Walk& walk, const Counted* node) {
    const Id* known = knownId(node);
    if (known == nullptr) {
      if (open_.size() == kMaxNesting) return failTooDeep(walk);
      open_.push_back({pending_.size(), 1});
      walk.enter();
      if (const Dictionary* dictionary = walk.value().dictionary()) fetchSlots(*dictionary);
      return true;
    }
    if (open_.size() + objects_[*known].height > kMaxNesting) return failTooDeep(walk);
    pushContainer(*known);
    return true;
  }

  // Has the places where the strings of a dictionary will be looked up brought near, all at a
  // time; one after the other they would be waited for.
  void fetchSlots(const Dictionary& dictionary) const noexcept {
    if (slots_.empty()) return;
    for (const Entry& entry : dictionary) {
      if (entry.value().kind() != Kind::String) continue;
      const StringNode* node = Access::text(entry.value()).get();
      if (node != nullptr) __builtin_prefetch(&slots_[node->hash & (slots_.size() - 1)]);
    }
  }

  bool failTooDeep(const Walk& walk) {
    return fail(walk, "nested deeper than " + std::to_string(kMaxNesting) + " levels");
  }

  // What is pending since the container was entered are its references.
  void leave(const PropertyList& container) {
    const Open open = open_.back();
    open_.pop_back();
    const std::span<const Id> refs = std::span(pending_).subspan(open.firstPending);
    const Kind kind = container.kind();
    Object object{kind, false, open.height, static_cast<std::uint32_t>(refs.size()), {}};
    object.firstRef = refs_.size();
    const auto same = [&](const Object& other) {
      return other.kind == kind && std::ranges::equal(this->refs(other), refs);
    };
    const std::string_view bytes(reinterpret_cast<const char*>(refs.data()), refs.size_bytes());
    const std::size_t before = objects_.size();
    const Id id = intern(detail::hashOf(bytes), object, same);
    if (objects_.size() != before) refs_.insert(refs_.end(), refs.begin(), refs.end());
    pending_.resize(open.firstPending);
    remember(Access::container(container), id);
    pushContainer(id);
  }

  void pushContainer(Id id) {
    pending_.push_back(id);
    if (open_.empty()) return;
    std::uint16_t& height = open_.back().height;
    height = std::max(height, static_cast<std::uint16_t>(objects_[id].height + 1));
  }

  // Only storage that is referred to more than once is worth remembering.
  const Id* knownId(const Counted* node) noexcept {
    return node != nullptr && node->shared() ? seen_.find(node) : nullptr;
  }
  void remember(const Counted* node, Id id) {
    if (node != nullptr && node->shared()) seen_.insert(node, id);
  }

  // The id of the object with this hash that is `same`, or else of `object`, which is added.
  template <class Same>
  Id intern(std::uint32_t hash, const Object& object, const Same& same) {
    if (4 * (objects_.size() + 1) > 3 * slots_.size()) growSlots();
    const std::size_t mask = slots_.size() - 1;
    std::size_t place = hash & mask;
    for (; slots_[place].idPlusOne != 0; place = (place + 1) & mask) {
      const Slot& slot = slots_[place];
      if (slot.hash == hash && same(objects_[slot.idPlusOne - 1])) return slot.idPlusOne - 1;
    }
    objects_.push_back(object);
    slots_[place] = {hash, static_cast<Id>(objects_.size())};
    return static_cast<Id>(objects_.size() - 1);
  }

  void growSlots() {
    std::vector<Slot> old(slots_.empty() ? 64 : 2 * slots_.size());
    old.swap(slots_);
    const std::size_t mask = slots_.size() - 1;
    for (const Slot& slot : old) {
      if (slot.idPlusOne == 0) continue;
      std::size_t place = slot.hash & mask;
      while (slots_[place].idPlusOne != 0) place = (place + 1) & mask;
      slots_[place] = slot;
    }
  }

  std::vector<Object> objects_;
  std::vector<Slot> slots_;
  std::vector<Id> refs_;
  std::vector<Id> pending_;  // ids inside the open containers
  std::vector<Open> open_;
  detail::PointerMap<Id> seen_;
  std::vector<Recent> recent_ = std::vector<Recent>(1024);
  Error error_;
};

// File lays numbered objects out as bytes.
class File {
 public:
  explicit File(const Objects& objects)
      : objects_(objects), refSize_(bytesFor(objects.all().size() - 1)) {}

  Bytes write() {
    const std::vector<Object>& all = objects_.all();
    std::size_t table = kMagic.size();
    std::size_t lastOffset = table;
    for (auto object = all.rbegin(); object != all.rend(); ++object) {
      lastOffset = table;
      table += sizeOf(*object);
    }
    const std::size_t offsetSize = bytesFor(lastOffset);
    Bytes bytes(table + all.size() * offsetSize + kTrailerSize);
    at_ = bytes.data();
    put(kMagic.data(), kMagic.size());
    constexpr std::ptrdiff_t kAhead = 8;
    for (auto object = all.rbegin(); object != all.rend(); ++object) {
      if (all.rend() - object > kAhead && object[kAhead].kind == Kind::String) {
        __builtin_prefetch(object[kAhead].text);  // lies anywhere in memory
      }
      putObject(*object);
    }
    std::size_t offset = kMagic.size();
    for (auto object = all.rbegin(); object != all.rend(); ++object) {
      putNumber(offset, offsetSize);
      offset += sizeOf(*object);
    }
    at_ += 6;
    *at_++ = static_cast<std::uint8_t>(offsetSize);
    *at_++ = static_cast<std::uint8_t>(refSize_);
    putNumber(all.size(), 8);
    putNumber(0, 8);  // the root
    putNumber(table, 8);
    return bytes;
  }

 private:
  static constexpr std::string_view kMagic = "bplist00";
  static constexpr std::size_t kTrailerSize = 32;

  static std::size_t headSize(std::uint64_t count) noexcept {
    return count < 15 ? 1 : 2 + powerOfTwoBytesFor(count);
  }

  static std::size_t integerSize(const Object& object) noexcept {
    if (object.wide) return 16;
    return static_cast<std::int64_t>(object.bits) < 0 ? 8 : powerOfTwoBytesFor(object.bits);
  }

  [[nodiscard]] std::size_t sizeOf(const Object& object) const noexcept {
    switch (object.kind) {
      case Kind::String:
        return headSize(object.count) + object.count * std::size_t{object.wide ? 2U : 1U};
      case Kind::Integer:
        return 1 + integerSize(object);
      case Kind::Real:
      case Kind::Date:
        return 9;
      case Kind::Boolean:
        return 1;
      case Kind::Data: {
        const std::size_t size = object.data != nullptr ? object.data->size : 0;
        return headSize(size) + size;
      }
      case Kind::Uid:
        return 1 + powerOfTwoBytesFor(object.bits);
      case Kind::Array:
        return headSize(object.count) + object.count * refSize_;
      case Kind::Dictionary:
        return headSize(object.count / 2) + object.count * refSize_;
    }
    return 0;
  }

  // Stores 8 bytes, of which the first `size` count; what is written next covers the others. The
  // last number of a file has 8 bytes.
  void putNumber(std::uint64_t value, std::size_t size) noexcept {
    // NOLINTNEXTLINE(clang-analyzer-core.uninitialized.Assign): sees no union member that is set
    value <<= 64 - 8 * size;
    if constexpr (std::endian::native == std::endian::little) value = __builtin_bswap64(value);
    std::memcpy(at_, &value, sizeof(value));
    at_ += size;
  }
  void put(const void* bytes, std::size_t size) noexcept {
    if (size != 0) std::memcpy(at_, bytes, size);
    at_ += size;
  }
  void putMarker(unsigned type, std::size_t low) noexcept {
    *at_++ = static_cast<std::uint8_t>((type << 4) | low);
  }

  void putHead(unsigned type, std::size_t count) noexcept {
    if (count < 15) return putMarker(type, count);
    putMarker(type, 15);
    putInteger(count, powerOfTwoBytesFor(count));
  }

  void putInteger(std::uint64_t value, std::size_t size) noexcept {
    putMarker(0x1, static_cast<std::size_t>(std::countr_zero(size)));
    if (size == 16) putNumber(0, 8);
    putNumber(value, std::min<std::size_t>(size, 8));
  }

  void putObject(const Object& object) noexcept {
    switch (object.kind) {
      case Kind::String:
        return putText(object);
      case Kind::Integer:
        return putInteger(object.bits, integerSize(object));
      case Kind::Real:
        putMarker(0x2, 3);
        return putNumber(object.bits, 8);
      case Kind::Boolean:
        return putMarker(0x0, object.bits != 0 ? 9 : 8);
      case Kind::Date:
        putMarker(0x3, 3);
        return putNumber(object.bits, 8);
      case Kind::Data:
        return putData(object.data);
      case Kind::Uid: {
        const std::size_t size = powerOfTwoBytesFor(object.bits);
        putMarker(0x8, size - 1);
        return putNumber(object.bits, size);
      }
      case Kind::Array:
        putHead(0xA, object.count);
        return putRefs(objects_.refs(object), 0, 1);
      case Kind::Dictionary:
        putHead(0xD, object.count / 2);
        putRefs(objects_.refs(object), 0, 2);
        return putRefs(objects_.refs(object), 1, 2);
    }
  }

  void putText(const Object& object) noexcept {
    putHead(object.wide ? 0x6 : 0x5, object.count);
    if (object.text == nullptr) return;
    std::string_view text = object.text->text();
    if (!object.wide) return put(text.data(), text.size());
    while (!text.empty()) {
      const detail::CodePoint point = detail::firstCodePoint(text);
      if (point.value >= 0x10000) {
        putNumber(0xD800 + ((point.value - 0x10000) >> 10), 2);
        putNumber(0xDC00 + (point.value & 0x3FF), 2);
      } else {
        putNumber(point.value, 2);
      }
      text.remove_prefix(point.length);
    }
  }

  void putData(const DataNode* data) noexcept {
    const std::size_t size = data != nullptr ? data->size : 0;
    putHead(0x4, size);
    if (size != 0) put(data->bytes(), size);
  }

  // The objects stand in the opposite order of their numbering.
  void putRefs(std::span<const Id> refs, std::size_t first, std::size_t step) noexcept {
    const std::size_t last = objects_.all().size() - 1;
    for (std::size_t i = first; i < refs.size(); i += step) putNumber(last - refs[i], refSize_);
  }

  const Objects& objects_;
  const std::size_t refSize_;
  std::uint8_t* at_ = nullptr;
};

}  // namespace

Result<Bytes> writeBinary(const PropertyList& value) {
  Objects objects;
  if (!objects.collect(value)) return std::move(objects.error());
  return File(objects).write();
}

}  // namespace accountsettings
