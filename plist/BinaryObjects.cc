// The numbering of objects.
#include "plist/BinaryObjects.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <utility>

#include "plist/Text.h"

namespace accountsettings::detail {
namespace {

using Kind = PropertyList::Kind;

constexpr std::size_t kLarge = 65536;
// Of few values each may be an object of its own.
constexpr std::size_t kFewObjects = 1024;
constexpr std::size_t kMostRecent = 1024;
// More than most containers hold.
constexpr std::size_t kPending = 64;

// Of a dictionary that stands behind many others, so that what is fetched for each stays little.
constexpr std::size_t kMostFetched = 32;

// The UTF-16 units of a text; none where it is malformed.
std::optional<std::uint32_t> countUnits(std::string_view text) noexcept {
  std::uint32_t units = 0;
  while (!text.empty()) {
    const CodePoint point = firstCodePoint(text);
    if (point.length == 0) return std::nullopt;
    units += point.value >= 0x10000 ? 2 : 1;
    text.remove_prefix(point.length);
  }
  return units;
}

}  // namespace

bool BinaryObjects::collect(const PropertyList& root) {
  reserveFor(root);
  Walk walk(root);
  for (auto event = walk.next(); event != Walk::Event::End; event = walk.next()) {
    if (event == Walk::Event::Leave) {
      leave(walk.value());
    } else if (!visit(walk)) {
      return false;
    }
  }
  // What only helped to number makes room for the file.
  leaves_ = IdTable();
  containers_ = IdTable();
  keyListTable_ = IdTable();
  seen_ = PointerMap<Id>();
  seenKeys_ = PointerMap<Id>();
  return true;
}

// Settings are lists of dictionaries: what these hold tells how much there is to be. Of keys and
// values about every fourth is an object of its own. Room for references that nothing fills takes
// no memory; to move them would take as much again.
void BinaryObjects::reserveFor(const PropertyList& root) {
  std::size_t values = 0;
  std::size_t dictionaries = 0;
  for (const auto& [key, value] :
       root.dictionary() != nullptr ? *root.dictionary() : Dictionary()) {
    if (value.array() == nullptr) continue;
    for (const PropertyList& each : *value.array()) {
      if (each.dictionary() == nullptr) continue;
      values += each.dictionary()->size();
      ++dictionaries;
    }
  }
  const std::size_t objects = std::max(values / 2, std::min(values, kFewObjects));
  objects_.reserve(objects);
  leaves_.reserve(objects);
  containers_.reserve(2 * dictionaries);
  refs_.reserve(2 * values);
  keys_.reserve(std::min(values, kFewObjects));
  pending_.reserve(kPending);
  pendingKeys_.reserve(kPending);
  recent_.resize(std::clamp(std::bit_ceil(values), kPending, kMostRecent));
}

template <class Same>
BinaryObjects::Id BinaryObjects::intern(IdTable& table, std::uint32_t hash,
                                        const BinaryObject& object, const Same& same) {
  const auto next = static_cast<Id>(objects_.size());
  const Id id = table.findOrEnter(hash, next, [&](Id each) { return same(objects_[each]); });
  if (id == next) objects_.push_back(object);
  return id;
}

bool BinaryObjects::visit(Walk& walk) {
  if (walk.isUnderKey() && !open_.back().knowsKeys) {
    if (!addText(walk.key(), walk.keys().shared())) return fail(walk, "key that is not UTF-8");
    pendingKeys_.push_back(pending_.back());
    pending_.pop_back();
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

bool BinaryObjects::fail(const Walk& walk, std::string_view what) {
  error_.message = walk.path() + ": ";
  error_.message += what;
  return false;
}

bool BinaryObjects::addText(const StringNode* node, bool keysAreShared) {
  Recent& recent = recent_[(reinterpret_cast<std::uintptr_t>(node) >> 4) % recent_.size()];
  if (node == nullptr || recent.node != node) {
    const auto id = idOfText(node, keysAreShared);
    if (!id) return false;
    recent = {node, *id};
  }
  pending_.push_back(recent.id);
  return true;
}

std::optional<BinaryObjects::Id> BinaryObjects::idOfText(const StringNode* node,
                                                         bool keysAreShared) {
  constexpr std::size_t kLong = 256;  // worth remembering, to compare the bytes only once
  const bool isRemembered =
      node != nullptr && node->size >= kLong && (keysAreShared || node->shared());
  if (const Id* known = isRemembered ? seen_.find(node) : nullptr) return *known;
  const std::uint32_t hash = node != nullptr ? node->hash : hashOf({});
  const auto same = [node](const BinaryObject& other) {
    if (other.kind != Kind::String) return false;
    if (other.text == node) return true;
    return other.text != nullptr && node != nullptr && other.text->text() == node->text();
  };
  BinaryObject object{Kind::String, node != nullptr && !node->ascii, 0, 0, {}};
  object.text = node;
  if (!object.wide && node != nullptr) object.count = node->size;
  const Id id = intern(leaves_, hash, object, same);
  if (object.wide && objects_[id].count == 0) {
    const auto units = countUnits(node->text());
    if (!units) return std::nullopt;
    objects_[id].count = *units;
  }
  if (isRemembered) seen_.insert(node, id);
  return id;
}

void BinaryObjects::addData(const DataNode* node) {
  if (const Id* known = knownId(node)) {
    pending_.push_back(*known);
    return;
  }
  const std::string_view bytes =
      node != nullptr ? std::string_view(reinterpret_cast<const char*>(node->bytes()), node->size)
                      : std::string_view();
  const auto same = [node](const BinaryObject& other) {
    if (other.kind != Kind::Data) return false;
    if (other.data == nullptr || node == nullptr) return other.data == node;
    return other.data->size == node->size &&
           std::memcmp(other.data->bytes(), node->bytes(), node->size) == 0;
  };
  BinaryObject object{Kind::Data, false, 0, 0, {}};
  object.data = node;
  const Id id = intern(leaves_, hashOf(bytes), object, same);
  remember(node, id);
  pending_.push_back(id);
}

void BinaryObjects::addScalar(const PropertyList& value) {
  BinaryObject object{value.kind(), value.isUnsigned(), 0, 0, {Access::bits(value)}};
  const auto same = [&object](const BinaryObject& other) {
    return other.kind == object.kind && other.bits == object.bits && other.wide == object.wide;
  };
  const std::string_view bytes(reinterpret_cast<const char*>(&object.bits), sizeof(object.bits));
  pending_.push_back(intern(leaves_, hashOf(bytes), object, same));
}

bool BinaryObjects::enter(Walk& walk, const Counted* node) {
  const Id* known = knownId(node);
  if (known == nullptr) {
    if (open_.size() == kMaxNesting) return failTooDeep(walk);
    open(walk.value());
    // Early enough to be there in time, and late enough not to be gone again. What is small is
    // near.
    if (objects_.size() >= kLarge) {
      fetchStorage(walk.behind(8));
      fetchContents(walk.behind(4));
      fetchSlots(walk.behind(2));
    }
    walk.enter();
    return true;
  }
  if (open_.size() + objects_[*known].height > kMaxNesting) return failTooDeep(walk);
  pushContainer(*known);
  return true;
}

void BinaryObjects::open(const PropertyList& container) {
  open_.push_back({pending_.size(), pendingKeys_.size(), 1, false});
  const Dictionary* dictionary = container.dictionary();
  if (dictionary == nullptr) return;
  const Id* known =
      dictionary->empty() ? nullptr : seenKeys_.find(Access::node(*dictionary)->keys.get());
  open_.back().knowsKeys = known != nullptr;
  pending_.push_back(known != nullptr ? *known : 0);
}

void BinaryObjects::fetchStorage(const PropertyList* value) noexcept {
  if (value != nullptr && value->dictionary() != nullptr) value->dictionary()->prefetchStorage();
}

void BinaryObjects::fetchContents(const PropertyList* value) noexcept {
  if (value == nullptr || value->dictionary() == nullptr) return;
  value->dictionary()->prefetch(kMostFetched);
}

void BinaryObjects::fetchSlots(const PropertyList* value) const noexcept {
  if (value == nullptr || value->dictionary() == nullptr) return;
  const Dictionary& dictionary = *value->dictionary();
  seen_.prefetch(Access::node(dictionary).get());
  if (dictionary.empty()) return;
  const PropertyList* values = Access::node(dictionary)->items();
  for (const PropertyList& each : std::span(values, std::min(dictionary.size(), kMostFetched))) {
    if (const Array* array = each.array()) {
      seen_.prefetch(Access::node(*array).get());
      if (!array->empty()) fetchSlot((*array)[0]);
    } else {
      fetchSlot(each);
    }
  }
}

void BinaryObjects::fetchSlot(const PropertyList& value) const noexcept {
  if (value.kind() != Kind::String) return;
  const StringNode* node = Access::text(value).get();
  if (node != nullptr) leaves_.prefetch(node->hash);
}

bool BinaryObjects::failTooDeep(const Walk& walk) {
  return fail(walk, "nested deeper than " + std::to_string(kMaxNesting) + " levels");
}

void BinaryObjects::leave(const PropertyList& container) {
  const Open open = open_.back();
  open_.pop_back();
  const Dictionary* dictionary = container.dictionary();
  if (dictionary != nullptr && !open.knowsKeys) {
    pending_[open.firstPending] = keyListOf(*dictionary, open.firstPendingKey);
  }
  const std::span<const Id> refs = std::span(pending_).subspan(open.firstPending);
  const Kind kind = container.kind();
  const std::size_t values = refs.size() - (dictionary != nullptr ? 1 : 0);
  BinaryObject object{kind, false, open.height, static_cast<std::uint32_t>(values), {}};
  object.firstRef = refs_.size();
  const auto same = [&](const BinaryObject& other) {
    return other.kind == kind && other.count == object.count &&
           std::equal(refs.begin(), refs.end(),
                      refs_.begin() + static_cast<std::ptrdiff_t>(other.firstRef));
  };
  const std::string_view bytes(reinterpret_cast<const char*>(refs.data()), refs.size_bytes());
  const std::size_t before = objects_.size();
  const Id id = intern(containers_, hashOf(bytes), object, same);
  if (objects_.size() != before) refs_.insert(refs_.end(), refs.begin(), refs.end());
  pending_.resize(open.firstPending);
  remember(Access::container(container), id);
  pushContainer(id);
}

BinaryObjects::Id BinaryObjects::keyListOf(const Dictionary& dictionary,
                                           std::size_t firstPendingKey) {
  const std::span<const Id> keys = std::span(pendingKeys_).subspan(firstPendingKey);
  const auto same = [&](Id list) {
    const std::size_t first = keyLists_[list];
    const std::size_t end = list + 1U < keyLists_.size() ? keyLists_[list + 1U] : keys_.size();
    return std::ranges::equal(std::span(keys_).subspan(first, end - first), keys);
  };
  const std::string_view bytes(reinterpret_cast<const char*>(keys.data()), keys.size_bytes());
  const auto next = static_cast<Id>(keyLists_.size());
  const Id list = keyListTable_.findOrEnter(hashOf(bytes), next, same);
  if (list == next) {
    keyLists_.push_back(keys_.size());
    keys_.insert(keys_.end(), keys.begin(), keys.end());
  }
  pendingKeys_.resize(firstPendingKey);
  const KeysNode* storage = dictionary.empty() ? nullptr : Access::node(dictionary)->keys.get();
  if (storage != nullptr && storage->shared()) seenKeys_.insert(storage, list);
  return list;
}

void BinaryObjects::pushContainer(Id id) {
  pending_.push_back(id);
  if (open_.empty()) return;
  std::uint16_t& height = open_.back().height;
  height = std::max(height, static_cast<std::uint16_t>(objects_[id].height + 1));
}

const BinaryObjects::Id* BinaryObjects::knownId(const Counted* node) noexcept {
  return node != nullptr && node->shared() ? seen_.find(node) : nullptr;
}

void BinaryObjects::remember(const Counted* node, Id id) {
  if (node != nullptr && node->shared()) seen_.insert(node, id);
}

}  // namespace accountsettings::detail
