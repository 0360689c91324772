// Comparison of values: without recursion, and in time linear in what is stored,
// however often shared storage is referred to.
#include <bit>
#include <cmath>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "plist/Access.h"
#include "plist/Keys.h"
#include "plist/PointerMap.h"

namespace accountsettings {
namespace detail {
namespace {

using Kind = PropertyList::Kind;

// Comparing so few bytes again costs less than remembering that they were compared.
constexpr std::size_t kSmall = 1024;

bool sameNumber(double left, double right) noexcept {
  return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right) ||
         (std::isnan(left) && std::isnan(right));
}

// Classes are sets of nodes taken to be equal. Two containers are joined when their
// comparison begins: it ends at the first difference anywhere, so what it
// assumes holds if it succeeds. There are fewer joins than nodes; that is what
// keeps the comparison of shared storage linear.
class Classes {
 public:
  bool joined(const void* left, const void* right) {
    return representative(left) == representative(right);
  }
  // Answers whether the two were in different classes until now.
  bool join(const void* left, const void* right) {
    left = representative(left);
    right = representative(right);
    if (left == right) return false;
    *parents_.insert(left, left).first = right;
    return true;
  }

 private:
  const void* representative(const void* node) {
    const void** parent = parents_.find(node);
    while (parent != nullptr) {
      const void** next = parents_.find(*parent);
      if (next != nullptr) *parent = *next;  // halves the path for the next walk
      node = *parent;
      parent = parents_.find(node);
    }
    return node;
  }

  PointerMap<const void*> parents_;
};

class Comparison {
 public:
  bool arrays(const ArrayNode* left, const ArrayNode* right) {
    return enter(left, right, Kind::Array) && finish();
  }
  bool dictionaries(const DictionaryNode* left, const DictionaryNode* right) {
    return enter(left, right, Kind::Dictionary) && finish();
  }
  bool values(const PropertyList& left, const PropertyList& right) {
    return same(left, right) && finish();
  }

 private:
  // Two containers of the same kind and size, some of whose items have been compared.
  struct Frame {
    Kind kind;
    const Counted* left;
    const Counted* right;
    std::size_t next;
  };
  struct KeyPair {
    const StringNode* left = nullptr;
    const StringNode* right = nullptr;
  };

  // Compares leaves, and of containers what shows without looking inside; then a frame for
  // the rest is the last one.
  bool same(const PropertyList& left, const PropertyList& right) {
    if (left.kind() != right.kind()) return false;
    switch (left.kind()) {
      case Kind::String:
        return sameText(Access::text(left).get(), Access::text(right).get());
      case Kind::Data:
        return sameData(Access::data(left).get(), Access::data(right).get());
      case Kind::Array:
        return enter(Access::node(*left.array()).get(), Access::node(*right.array()).get(),
                     Kind::Array);
      case Kind::Dictionary:
        return enter(Access::node(*left.dictionary()).get(),
                     Access::node(*right.dictionary()).get(), Kind::Dictionary);
      case Kind::Real:
      case Kind::Date:
        return sameNumber(Access::number(left), Access::number(right));
      case Kind::Integer:
      case Kind::Boolean:
      case Kind::Uid:
        return Access::bits(left) == Access::bits(right) && left.isUnsigned() == right.isUnsigned();
    }
    return false;
  }

  bool sameText(const StringNode* left, const StringNode* right) {
    if (left == right) return true;
    if (left == nullptr || right == nullptr) return false;
    if (left->hash != right->hash || left->size != right->size) return false;
    return sameBytes(left, right, left->bytes(), right->bytes(), left->size);
  }

  bool sameData(const DataNode* left, const DataNode* right) {
    if (left == right) return true;
    if (left == nullptr || right == nullptr || left->size != right->size) return false;
    return sameBytes(left, right, left->bytes(), right->bytes(), left->size);
  }

  // What is long and found equal is not looked at again.
  bool sameBytes(const Counted* left, const Counted* right, const void* leftBytes,
                 const void* rightBytes, std::size_t size) {
    const bool remembers = size >= kSmall && (left->shared() || right->shared());
    if (remembers && classes_.joined(left, right)) return true;
    if (std::memcmp(leftBytes, rightBytes, size) != 0) return false;
    if (remembers) classes_.join(left, right);
    return true;
  }

  // Two trees have few keys, again and again: what was found equal lately is known.
  bool sameKey(const StringNode* left, const StringNode* right) {
    if (left == right) return true;
    if (left == nullptr || right == nullptr || left->hash != right->hash) return false;
    if (knownKeys_.empty()) knownKeys_.resize(64);
    KeyPair& known = knownKeys_[left->hash % knownKeys_.size()];
    if (known.left == left && known.right == right) return true;
    if (!sameText(left, right)) return false;
    known = {left, right};
    return true;
  }

  template <class Node>
  bool enter(const Node* left, const Node* right, Kind kind) {
    if (left == right) return true;
    const std::size_t size = left != nullptr ? left->size : 0;
    if (size != (right != nullptr ? right->size : 0)) return false;
    if (size == 0) return true;
    // An earlier comparison, done or under way, may speak for these two. Storage that nobody
    // shares is met once only.
    const bool isShared = left->shared() || right->shared();
    if (!isShared || classes_.join(left, right)) frames_.push_back({kind, left, right, 0});
    return true;
  }

  bool finish() {
    while (!frames_.empty()) {
      const bool equal = frames_.back().kind == Kind::Array ? sameItems() : sameEntries();
      if (!equal) return false;
    }
    return true;
  }

  // Go on with the last frame, up to a container, which must be compared first, or to its end.
  bool sameItems() {
    const std::size_t depth = frames_.size();
    const Frame frame = frames_.back();
    const auto& left = *static_cast<const ArrayNode*>(frame.left);
    const auto& right = *static_cast<const ArrayNode*>(frame.right);
    for (std::size_t i = frame.next; i < left.size; ++i) {
      if (!same(left.items()[i], right.items()[i])) return false;
      if (frames_.size() != depth) return leaveAt(depth, i + 1);
    }
    frames_.pop_back();
    return true;
  }

  bool sameEntries() {
    const std::size_t depth = frames_.size();
    const Frame frame = frames_.back();
    const auto& left = *static_cast<const DictionaryNode*>(frame.left);
    const auto& right = *static_cast<const DictionaryNode*>(frame.right);
    const bool sameKeys = left.keys.get() == right.keys.get();
    for (std::size_t i = frame.next; i < left.size; ++i) {
      const std::size_t other = sameKeys ? i : placeBeside(i, *left.keys, *right.keys);
      if (other == kNoKey || !same(left.items()[i], right.items()[other])) return false;
      if (frames_.size() != depth) return leaveAt(depth, i + 1);
    }
    frames_.pop_back();
    return true;
  }

  // Where the key at the place stands on the right, or kNoKey. Most often the order is the same.
  std::size_t placeBeside(std::size_t place, const KeysNode& left, const KeysNode& right) {
    const StringNode* key = left.items()[place].get();
    if (sameKey(key, right.items()[place].get())) return place;
    return placeOfSame(right, key != nullptr ? key->hash : hashOf({}),
                       [&](const StringNode* other) { return sameKey(key, other); });
  }

  // The frame at this depth will go on at `next`.
  bool leaveAt(std::size_t depth, std::size_t next) {
    frames_[depth - 1].next = next;
    return true;
  }

  std::vector<Frame> frames_;
  Classes classes_;
  std::vector<KeyPair> knownKeys_;
};

}  // namespace
}  // namespace detail

using detail::Access;
using detail::Comparison;

bool operator==(const PropertyList& left, const PropertyList& right) {
  if (left.kind() != right.kind()) return false;
  return left.identicalTo(right) || Comparison().values(left, right);
}

bool operator==(const Array& left, const Array& right) {
  return left.identicalTo(right) ||
         Comparison().arrays(Access::node(left).get(), Access::node(right).get());
}

bool operator==(const Dictionary& left, const Dictionary& right) {
  return left.identicalTo(right) ||
         Comparison().dictionaries(Access::node(left).get(), Access::node(right).get());
}

bool PropertyList::identicalTo(const PropertyList& other) const noexcept {
  if (kind_ != other.kind_) return false;
  switch (kind_) {
    case Kind::String:
      return text_.get() == other.text_.get();
    case Kind::Data:
      return data_.get() == other.data_.get();
    case Kind::Array:
      return array_.identicalTo(other.array_);
    case Kind::Dictionary:
      return dictionary_.identicalTo(other.dictionary_);
    case Kind::Real:
    case Kind::Date:
      return detail::sameNumber(real_, other.real_);
    case Kind::Integer:
    case Kind::Boolean:
    case Kind::Uid:
      return integer_ == other.integer_ && unsigned_ == other.unsigned_;
  }
  return false;
}

}  // namespace accountsettings
