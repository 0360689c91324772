// The storage of arrays and dictionaries: allocation, and a release that takes
// no stack however deep the values nest.
#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>

#include "plist/Access.h"

namespace accountsettings::detail {
namespace {

// TearDown counts items in 31 bits.
constexpr std::size_t kMostItems = std::numeric_limits<std::int32_t>::max();

template <class Node>
Node* allocate(std::size_t capacity) {
  if (capacity > kMostItems) throw std::length_error("container of more than 2^31 values");
  auto* node = new (::operator new(sizeof(Node) + capacity * sizeof(PropertyList))) Node;
  node->capacity = capacity;
  return node;
}

// TearDown frees a container whose last reference is gone, and what that releases, depth first. The
// stack of the containers being freed is threaded through the dead nodes themselves, so
// that freeing neither recurses nor allocates: a dead node keeps the one that it lies in as
// `outer`, and in its count the number of items that are freed and which kind the outer one is.
class TearDown {
 public:
  template <class Node>
  static void run(Node* root) noexcept {
    TearDown work;
    work.push(root);
    while (work.top_ != nullptr) {
      if (work.topIsDictionary_) {
        work.freeItems(static_cast<DictionaryNode*>(work.top_));
      } else {
        work.freeItems(static_cast<ArrayNode*>(work.top_));
      }
    }
  }

 private:
  // How many items before one its storage is fetched.
  static constexpr std::uint32_t kAhead = 16;

  template <class Node>
  void push(Node* node) noexcept {
    node->count.store(topIsDictionary_ ? 1 : 0, std::memory_order_relaxed);
    node->outer = top_;
    top_ = node;
    topIsDictionary_ = std::is_same_v<Node, DictionaryNode>;
    Access::fetchStorage(node->items(), node->items() + std::min<std::size_t>(node->size, kAhead));
  }

  // Frees items until one is a container that must go first, or until the node can go.
  template <class Node>
  void freeItems(Node* node) noexcept {
    PropertyList* items = node->items();
    const std::uint32_t progress = node->count.load(std::memory_order_relaxed);
    const std::uint32_t outerIsDictionary = progress & 1;
    for (std::uint32_t next = progress >> 1; next < node->size; ++next) {
      if (next + kAhead < node->size) fetch(Access::storage(items[next + kAhead]));
      takeContainer(items[next]);
      std::destroy_at(items + next);
      if (top_ != node) {
        node->count.store((next + 1) << 1 | outerIsDictionary, std::memory_order_relaxed);
        return;
      }
    }
    top_ = node->outer;
    topIsDictionary_ = outerIsDictionary != 0;
    node->~Node();
    ::operator delete(node);
  }

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

  ContainerNode* top_ = nullptr;
  bool topIsDictionary_ = false;
};

}  // namespace

ArrayNode* ArrayNode::create(std::size_t capacity) {
  return allocate<ArrayNode>(capacity);
}

DictionaryNode* DictionaryNode::create(std::size_t capacity) {
  return allocate<DictionaryNode>(capacity);
}

void ArrayNode::destroy(ArrayNode* node) noexcept {
  TearDown::run(node);
}

void DictionaryNode::destroy(DictionaryNode* node) noexcept {
  TearDown::run(node);
}

}  // namespace accountsettings::detail
