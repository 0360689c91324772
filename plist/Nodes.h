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

namespace accountsettings {
class PropertyList;
}

namespace accountsettings::detail {

// Counted is the head of every node. 32 bits suffice: 2^32 references would
// take 64 GiB of values.
struct Counted {
  std::atomic<std::uint32_t> count{1};

  void retain() noexcept { count.fetch_add(1, std::memory_order_relaxed); }
  // The same for a node that no other thread can know yet.
  void retainUnpublished() noexcept {
    count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }
  // Answers whether the caller gave up the last reference. A sole owner needs no
  // read-modify-write, because nobody else is left who could change the count.
  bool drop() noexcept {
    return count.load(std::memory_order_acquire) == 1 ||
           count.fetch_sub(1, std::memory_order_acq_rel) == 1;
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

// SequenceNode holds the items of an array or the entries of a dictionary. An
// empty container may have no node. The entries of a large dictionary are
// followed by its hash index.
template <class Item>
struct SequenceNode : Counted {
  std::uint32_t size = 0;
  union {
    std::size_t capacity;
    Counted* outer;  // while the node is torn down
  };

  [[nodiscard]] Item* items() noexcept { return reinterpret_cast<Item*>(this + 1); }
  [[nodiscard]] const Item* items() const noexcept {
    return reinterpret_cast<const Item*>(this + 1);
  }

  // A node without items that has room for `capacity` of them.
  static SequenceNode* create(std::size_t capacity);
  static void destroy(SequenceNode* node) noexcept;
};

// The hash of a string that StringNode keeps. It is seeded anew in each process,
// so that no file can be made whose keys all collide.
[[nodiscard]] std::uint32_t hashOf(std::string_view text) noexcept;

}  // namespace accountsettings::detail
