// The writer of the binary form. The objects are numbered first, contents before
// containers, and then written in the opposite order, which puts the root first.
#include "plist/BinaryWriter.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "plist/BinaryObjects.h"
#include "plist/Fetch.h"
#include "plist/Text.h"

namespace accountsettings {
namespace {

using detail::BinaryObject;
using detail::BinaryObjects;
using detail::DataNode;
using Kind = PropertyList::Kind;

// How many bytes a number takes at least.
std::size_t bytesFor(std::uint64_t value) noexcept {
  return std::max<std::size_t>(1, (static_cast<std::size_t>(std::bit_width(value)) + 7) / 8);
}

// The same, for integers, counts and UIDs, which come in 1, 2, 4 and 8 bytes.
std::size_t powerOfTwoBytesFor(std::uint64_t value) noexcept {
  return std::bit_ceil(bytesFor(value));
}

// File lays numbered objects out as bytes.
class File {
 public:
  explicit File(const BinaryObjects& objects)
      : objects_(objects), refSize_(bytesFor(objects.all().size() - 1)) {}

  Bytes write() {
    const std::vector<BinaryObject>& all = objects_.all();
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
        detail::fetch(object[kAhead].text);  // lies anywhere in memory
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

  static std::size_t integerSize(const BinaryObject& object) noexcept {
    if (object.wide) return 16;
    return static_cast<std::int64_t>(object.bits) < 0 ? 8 : powerOfTwoBytesFor(object.bits);
  }

  [[nodiscard]] std::size_t sizeOf(const BinaryObject& object) const noexcept {
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
        return headSize(object.count) + 2 * object.count * refSize_;
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

  void putObject(const BinaryObject& object) noexcept {
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
        return putRefs(objects_.values(object));
      case Kind::Dictionary:
        putHead(0xD, object.count);
        putRefs(objects_.keys(object));
        return putRefs(objects_.values(object));
    }
  }

  void putText(const BinaryObject& object) noexcept {
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
  void putRefs(std::span<const BinaryObjects::Id> refs) noexcept {
    const std::size_t last = objects_.all().size() - 1;
    for (const BinaryObjects::Id ref : refs) putNumber(last - ref, refSize_);
  }

  const BinaryObjects& objects_;
  const std::size_t refSize_;
  std::uint8_t* at_ = nullptr;
};

}  // namespace

Result<Bytes> writeBinary(const PropertyList& value) {
  BinaryObjects objects;
  if (!objects.collect(value)) return std::move(objects.error());
  return File(objects).write();
}

}  // namespace accountsettings
