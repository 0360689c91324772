// Nodes are the shared storage behind strings, data, arrays and dictionaries:
// one allocation each, a reference count at its head, the contents behind it.
// Shared<Node> is the counted pointer to one. This header is an implementation
// detail of PropertyList.h and of the readers and writers.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#if __has_include(<sys/single_threaded.h>)
#  include <sys/single_threaded.h>
#endif

namespace accountsettings {
class PropertyList;
}

namespace accountsettings::detail {

// Whether no other thread exists: then counting takes no locked instruction, which would cost more
// than all else that copying a reference does.
[[nodiscard]] inline bool isSingleThreaded() noexcept {
#if __has_include(<sys/single_threaded.h>)
  return __libc_single_threaded != 0;
#else
  return false;
#endif
}

// Counted is the head of every node. 32 bits suffice: 2^32 references would
// take 64 GiB of values.
struct Counted {
  std::atomic<std::uint32_t> count{1};

  void retain() noexcept {
    if (isSingleThreaded()) {
      retainUnpublished();
    } else {
      count.fetch_add(1, std::memory_order_relaxed);
    }
  }
  // The same for a node that no other thread can know yet.
  void retainUnpublished() noexcept {
    count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }
  // Answers whether the caller gave up the last reference. A sole owner needs no
  // read-modify-write, because nobody else is left who could change the count.
  bool drop() noexcept {
    const std::uint32_t references = count.load(std::memory_order_acquire);
    if (references == 1) return true;
    if (!isSingleThreaded()) return count.fetch_sub(1, std::memory_order_acq_rel) == 1;
    count.store(references - 1, std::memory_order_relaxed);
    return false;
  }
  // The acquire pairs with the release in drop(): what a former co-owner read
  // has been read before this owner changes it.
  [[nodiscard]] bool unique() const noexcept { return count.load(std::memory_order_acquire) == 1; }
  // Whether a walk over values that hold still may meet the node more than once.
  [[nodiscard]] bool shared() const noexcept { return count.load(std::memory_order_relaxed) != 1; }
};

// Shared is a reference to a node, or to nothing.
template <class Node>
class Shared {
 public:
  constexpr Shared() noexcept = default;
  // Takes over the one reference that a new node is born with.
  explicit Shared(Node* node) noexcept : node_(node) {}
  Shared(const Shared& other) noexcept : node_(other.node_) {
    if (node_ != nullptr) node_->retain();
  }
  Shared(Shared&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
  Shared& operator=(Shared other) noexcept {
    std::swap(node_, other.node_);
    return *this;
  }
  ~Shared() {
    if (node_ != nullptr && node_->drop()) Node::destroy(node_);
  }

  [[nodiscard]] Node* get() const noexcept { return node_; }
  Node* operator->() const noexcept { return node_; }
  Node& operator*() const noexcept { return *node_; }
  explicit operator bool() const noexcept { return node_ != nullptr; }
  // Gives the reference to the caller, who must drop it.
  [[nodiscard]] Node* release() noexcept { return std::exchange(node_, nullptr); }

 private:
  Node* node_ = nullptr;
};

// StringBlock is memory for many strings. Each of them holds a reference to it.
struct StringBlock : Counted {
  std::size_t size;  // of the whole block, which is at most 256 KiB
  std::size_t used;

  [[nodiscard]] bool hasRoomFor(std::string_view text) const noexcept;
  static StringBlock* create(std::size_t size);
  static void destroy(StringBlock* block) noexcept;
};

// StringNode holds the bytes of a string (UTF-8, lone surrogates as three
// bytes). The empty string has no node.
struct StringNode : Counted {
  std::uint32_t hash;
  std::uint32_t size;
  bool ascii;
  std::uint16_t place = 0;  // in its block, in words of four bytes; 0 outside one

  [[nodiscard]] const char* bytes() const noexcept {
    return reinterpret_cast<const char*>(this + 1);
  }
  [[nodiscard]] std::string_view text() const noexcept { return {bytes(), size}; }

  // nullptr for the empty string.
  static StringNode* create(std::string_view text);
  // A node in a block that has room for the text, which is not empty. Nobody but the caller may
  // know the block's strings yet.
  static StringNode* createIn(StringBlock& block, std::string_view text) noexcept;
  static void destroy(StringNode* node) noexcept;

 private:
  static StringNode* fill(void* memory, std::string_view text) noexcept;
};

// DataNode holds bytes. Empty data has no node.
struct DataNode : Counted {
  std::size_t size;

  [[nodiscard]] const std::uint8_t* bytes() const noexcept {
    return reinterpret_cast<const std::uint8_t*>(this + 1);
  }

  // nullptr for empty data.
  static DataNode* create(std::span<const std::uint8_t> bytes);
  static void destroy(DataNode* node) noexcept;
};

// KeysNode holds the keys of a dictionary, none twice, and behind them an index. Dictionaries that
// have the same keys in the same order share one where they come from one file, or where one key
// after the other was added to the same keys: accounts of one kind have all their keys in common.
struct alignas(void*) KeysNode : Counted {
  std::uint32_t size = 0;
  std::uint32_t capacity = 0;
  bool holdsLong = false;  // one of them is too long to be kept for others

  [[nodiscard]] Shared<StringNode>* items() noexcept {
    return reinterpret_cast<Shared<StringNode>*>(this + 1);
  }
  [[nodiscard]] const Shared<StringNode>* items() const noexcept {
    return reinterpret_cast<const Shared<StringNode>*>(this + 1);
  }

  // A node without keys that has room for `capacity` of them.
  static KeysNode* create(std::size_t capacity);
  static void destroy(KeysNode* node) noexcept;
};

// ContainerNode is the head of the storage of an array or a dictionary, whose values lie behind it.
// An empty container may have no node.
struct ContainerNode : Counted {
  std::uint32_t size = 0;
  union {
    std::size_t capacity;
    ContainerNode* outer;  // while the node is torn down
  };
};

struct ArrayNode : ContainerNode {
  [[nodiscard]] PropertyList* items() noexcept { return reinterpret_cast<PropertyList*>(this + 1); }
  [[nodiscard]] const PropertyList* items() const noexcept {
    return reinterpret_cast<const PropertyList*>(this + 1);
  }

  // A node without items that has room for `capacity` of them.
  static ArrayNode* create(std::size_t capacity);
  static void destroy(ArrayNode* node) noexcept;
};

// The items of a dictionary are the values of its keys, in their order. Keys are never fewer than
// items.
struct DictionaryNode : ContainerNode {
  Shared<KeysNode> keys;

  [[nodiscard]] PropertyList* items() noexcept { return reinterpret_cast<PropertyList*>(this + 1); }
  [[nodiscard]] const PropertyList* items() const noexcept {
    return reinterpret_cast<const PropertyList*>(this + 1);
  }

  // A node without keys and items that has room for `capacity` items.
  static DictionaryNode* create(std::size_t capacity);
  static void destroy(DictionaryNode* node) noexcept;
};

// The hash of a string that StringNode keeps. It is seeded anew in each process,
// so that no file can be made whose keys all collide.
[[nodiscard]] std::uint32_t hashOf(std::string_view text) noexcept;

}  // namespace accountsettings::detail
