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

// TearDown frees containers whose last reference is gone. A container found
// inside another waits in a list threaded through the dead nodes themselves, so
// that freeing neither recurses nor allocates.
class TearDown {
 public:
  void add(ArrayNode* node) noexcept { push(arrays_, node); }
  void add(DictionaryNode* node) noexcept { push(dictionaries_, node); }

  void run() noexcept {
    while (arrays_ != nullptr || dictionaries_ != nullptr) {
      if (arrays_ != nullptr) {
        freeFirst(arrays_, [](PropertyList& item) -> PropertyList& { return item; });
      } else {
        freeFirst(dictionaries_, [](Entry& item) -> PropertyList& { return Access::value(item); });
      }
    }
  }

 private:
  template <class Node>
  static void push(Node*& list, Node* node) noexcept {
    node->nextDead = list;
    list = node;
  }

  template <class Node, class ValueOf>
  void freeFirst(Node*& list, ValueOf valueOf) noexcept {
    Node* node = list;
    list = node->nextDead;
    auto* items = node->items();
    for (std::size_t i = 0; i < node->size; ++i) {
      takeContainer(valueOf(items[i]));
      std::destroy_at(items + i);
    }
    node->~Node();
    ::operator delete(node);
  }

  void takeContainer(PropertyList& value) noexcept {
    if (value.kind() == PropertyList::Kind::Array) {
      takeNode(Access::node(Access::array(value)).release());
    } else if (value.kind() == PropertyList::Kind::Dictionary) {
      takeNode(Access::node(Access::dictionary(value)).release());
    }
  }

  template <class Node>
  void takeNode(Node* node) noexcept {
    if (node != nullptr && node->drop()) add(node);
  }

  ArrayNode* arrays_ = nullptr;
  DictionaryNode* dictionaries_ = nullptr;
};

template <class Node>
void tearDown(Node* node) noexcept {
  TearDown work;
  work.add(node);
  work.run();
}

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
  tearDown(node);
}

template <>
void DictionaryNode::destroy(DictionaryNode* node) noexcept {
  tearDown(node);
}

}  // namespace accountsettings::detail
