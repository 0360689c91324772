// The storage of arrays and dictionaries: allocation, and a release that takes
// no stack however deep the values nest.
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>

#include "plist/Access.h"
#include "plist/Sequence.h"

namespace accountsettings::detail {
namespace {

template <class Node>
Node* allocate(std::size_t capacity, std::size_t bytes) {
  if (capacity >= std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error("container of more than 2^32 values");
  }
  auto* node = new (::operator new(sizeof(Node) + bytes)) Node;
  node->capacity = capacity;
  return node;
}

// TearDown frees a container whose last reference is gone, and what that releases, depth first. The
// stack of the containers being freed is threaded through the dead nodes themselves, so
// that freeing neither recurses nor allocates: a dead node keeps the one it lies in
// as its capacity, and in its count how many of its items are freed.
class TearDown {
 public:
  template <class Node>
  static void run(Node* root) noexcept {
    TearDown work;
    work.push(root);
    while (work.top_ != 0) {
      if ((work.top_ & kIsDictionary) != 0) {
        work.freeItems(reinterpret_cast<DictionaryNode*>(work.top_ & ~kIsDictionary));
      } else {
        work.freeItems(reinterpret_cast<ArrayNode*>(work.top_));
      }
    }
  }

 private:
  // Marks the address of a dictionary's node; nodes lie at even addresses.
  static constexpr std::uintptr_t kIsDictionary = 1;

  void push(ArrayNode* node) noexcept { push(node, reinterpret_cast<std::uintptr_t>(node)); }
  void push(DictionaryNode* node) noexcept {
    push(node, reinterpret_cast<std::uintptr_t>(node) | kIsDictionary);
  }
  template <class Node>
  void push(Node* node, std::uintptr_t address) noexcept {
    node->count.store(0, std::memory_order_relaxed);
    node->outer = top_;
    top_ = address;
  }

  // Frees items until one is a container that must go first, or until the node can go.
  template <class Node>
  void freeItems(Node* node) noexcept {
    auto* items = node->items();
    std::uint32_t next = node->count.load(std::memory_order_relaxed);
    for (const std::uintptr_t top = top_; next < node->size; ++next) {
      takeContainer(valueOf(items[next]));
      std::destroy_at(items + next);
      if (top_ != top) {
        node->count.store(next + 1, std::memory_order_relaxed);
        return;
      }
    }
    top_ = node->outer;
    node->~Node();
    ::operator delete(node);
  }

  static PropertyList& valueOf(PropertyList& item) noexcept { return item; }
  static PropertyList& valueOf(Entry& item) noexcept { return Access::value(item); }

  // Takes a container out of its value, and pushes it if nobody else holds it.
  void takeContainer(PropertyList& value) noexcept {
    if (value.kind() == PropertyList::Kind::Array) {
      takeNode(Access::node(Access::array(value)).release());
    } else if (value.kind() == PropertyList::Kind::Dictionary) {
      takeNode(Access::node(Access::dictionary(value)).release());
    }
  }
  template <class Node>
  void takeNode(Node* node) noexcept {
    if (node != nullptr && node->drop()) push(node);
  }

  std::uintptr_t top_ = 0;
};

}  // namespace

template <>
ArrayNode* ArrayNode::create(std::size_t capacity) {
  return allocate<ArrayNode>(capacity, capacity * sizeof(PropertyList));
}

template <>
DictionaryNode* DictionaryNode::create(std::size_t capacity) {
  auto* node = allocate<DictionaryNode>(capacity, capacity * sizeof(Entry) + indexBytes(capacity));
  clearIndex(*node);
  return node;
}

template <>
void ArrayNode::destroy(ArrayNode* node) noexcept {
  TearDown::run(node);
}

template <>
void DictionaryNode::destroy(DictionaryNode* node) noexcept {
  TearDown::run(node);
}

}  // namespace accountsettings::detail
