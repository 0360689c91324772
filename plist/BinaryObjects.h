// BinaryObjects numbers the objects that a value becomes in the binary form. Contents
// come before containers, so that equal containers are recognised by equal
// references and numbered once, as equal scalars are. The keys of dictionaries are few lists, again
// and again: each list is put together once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "plist/Access.h"
#include "plist/IdTable.h"
#include "plist/PointerMap.h"
#include "plist/Result.h"
#include "plist/Walk.h"

namespace accountsettings::detail {

// BinaryObject is a value to be written once.
struct BinaryObject {
  PropertyList::Kind kind;
  // Of a string: it needs UTF-16. Of an integer: it is above 2^63-1.
  bool wide;
  // How deep the containers in a container nest, itself included; else 0.
  std::uint16_t height;
  // Characters or UTF-16 units of a string, values of a container.
  std::uint32_t count;
  union {
    std::uint64_t bits;  // of a scalar
    const StringNode* text;
    const DataNode* data;
    std::size_t firstRef;  // of a container
  };
};

class BinaryObjects {
 public:
  using Id = IdTable::Id;  // the number of an object, from 0

  // To be called once, with a value that stays unchanged for the life of this object. Answers
  // whether all could be numbered, the root last; else error() tells why not.
  [[nodiscard]] bool collect(const PropertyList& root);
  [[nodiscard]] const std::vector<BinaryObject>& all() const noexcept { return objects_; }
  // The values of a container.
  [[nodiscard]] std::span<const Id> values(const BinaryObject& container) const noexcept {
    const bool isDictionary = container.kind == PropertyList::Kind::Dictionary;
    return std::span(refs_).subspan(container.firstRef + (isDictionary ? 1 : 0), container.count);
  }
  // The keys of a dictionary.
  [[nodiscard]] std::span<const Id> keys(const BinaryObject& dictionary) const noexcept {
    return std::span(keys_).subspan(keyLists_[refs_[dictionary.firstRef]], dictionary.count);
  }
  [[nodiscard]] Error& error() noexcept { return error_; }

 private:
  // A string that was met lately.
  struct Recent {
    const StringNode* node = nullptr;
    Id id = 0;
  };

  // A container that has been entered.
  struct Open {
    std::size_t firstPending;
    std::size_t firstPendingKey;
    std::uint16_t height;
    bool knowsKeys;  // its list of keys is known
  };

  void reserveFor(const PropertyList& root);
  bool visit(Walk& walk);
  bool fail(const Walk& walk, std::string_view what);
  // The same few strings come again and again: where one was met lately, its id is at hand.
  // A text may be met again where it is shared, or as a key where all the keys are.
  bool addText(const StringNode* node, bool keysAreShared = false);
  // None where the text is not UTF-8.
  std::optional<Id> idOfText(const StringNode* node, bool keysAreShared);
  // Data is told apart by its bytes, which are hashed once for each node.
  void addData(const DataNode* node);
  void addScalar(const PropertyList& value);
  // Answers whether the container does not nest too deep.
  bool enter(Walk& walk, const Counted* node);
  void open(const PropertyList& container);
  // Prefetch what a value will need, all at a time; one after the other it would be waited for:
  // first its own storage, then the storage in it, then the places where that will be looked up.
  static void fetchStorage(const PropertyList* value) noexcept;
  static void fetchContents(const PropertyList* value) noexcept;
  void fetchSlots(const PropertyList* value) const noexcept;
  void fetchSlot(const PropertyList& value) const noexcept;
  bool failTooDeep(const Walk& walk);
  // What is pending since the container was entered are its references.
  void leave(const PropertyList& container);
  // The number of the list of the pending keys of a dictionary that is left.
  Id keyListOf(const Dictionary& dictionary, std::size_t firstPendingKey);
  void pushContainer(Id id);
  // Only storage that is referred to more than once is worth remembering.
  const Id* knownId(const Counted* node) noexcept;
  void remember(const Counted* node, Id id);
  // The id of the object with this hash that is `same`, or else of `object`, which is added.
  template <class Same>
  Id intern(IdTable& table, std::uint32_t hash, const BinaryObject& object, const Same& same);

  std::vector<BinaryObject> objects_;
  // Containers are few beside what they hold, and looked up in a table of their own, which is near.
  IdTable leaves_;
  IdTable containers_;
  // Of all containers, one after the other: of an array its values, of a dictionary the number of
  // its list of keys and its values.
  std::vector<Id> refs_;
  std::vector<Id> pending_;      // the same, inside the open containers
  std::vector<Id> pendingKeys_;  // of the open dictionaries whose lists of keys are not known yet
  std::vector<Id> keys_;         // of all lists of keys, one after the other
  std::vector<std::size_t> keyLists_;  // where each begins
  IdTable keyListTable_;
  PointerMap<Id> seenKeys_;  // lists of keys by their storage
  std::vector<Open> open_;
  PointerMap<Id> seen_;
  std::vector<Recent> recent_;
  Error error_;
};

}  // namespace accountsettings::detail
