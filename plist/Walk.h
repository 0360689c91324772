// Walk goes through a value depth first, without recursion, and knows where it
// is. The caller decides which containers it enters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "plist/Access.h"
#include "plist/PropertyList.h"

namespace accountsettings::detail {

class Walk {
 public:
  enum class Event : std::uint8_t {
    Value,  // value() is the next value; enter() may follow where it is a container
    Leave,  // value() is the container whose values have all been told
    End
  };

  // `root` must outlive the walk and stay unchanged.
  explicit Walk(const PropertyList& root) : current_(&root) {}

  Event next() {
    if (levels_.empty()) {
      if (started_) return Event::End;
      started_ = true;
      return Event::Value;
    }
    Level& level = levels_.back();
    if (level.next < level.size) {
      current_ = level.items + level.next++;
      return Event::Value;
    }
    current_ = level.container;
    levels_.pop_back();
    return Event::Leave;
  }
  // Makes next() tell the values inside value().
  void enter() { levels_.push_back(Level(*current_)); }

  [[nodiscard]] const PropertyList& value() const noexcept { return *current_; }
  // At Event::Value: whether value() stands under a key, and that key.
  [[nodiscard]] bool isUnderKey() const noexcept {
    return !levels_.empty() && levels_.back().keys != nullptr;
  }
  [[nodiscard]] const StringNode* key() const noexcept {
    return levels_.back().keys->items()[levels_.back().next - 1].get();
  }
  [[nodiscard]] std::string_view keyText() const noexcept {
    return key() != nullptr ? key()->text() : std::string_view();
  }
  // All keys of the dictionary that value() lies in.
  [[nodiscard]] const KeysNode& keys() const noexcept { return *levels_.back().keys; }
  // At Event::Value: the number of values told before it in its container.
  [[nodiscard]] std::size_t index() const noexcept {
    return levels_.empty() ? 0 : levels_.back().next - 1;
  }
  // The value that stands `distance` places behind value() in the same array, else nullptr.
  [[nodiscard]] const PropertyList* behind(std::size_t distance) const noexcept;
  // How many containers value() lies in.
  [[nodiscard]] std::size_t depth() const noexcept { return levels_.size(); }
  // At Event::Value: where value() stands, such as `Accounts[3]."Display Name"`.
  [[nodiscard]] std::string path() const;

 private:
  // A container that has been entered.
  struct Level {
    explicit Level(const PropertyList& entered) noexcept;

    const PropertyList* container;
    const PropertyList* items = nullptr;
    const KeysNode* keys = nullptr;  // of a dictionary that is not empty
    std::size_t size = 0;
    std::size_t next = 0;
  };

  std::vector<Level> levels_;
  const PropertyList* current_;
  bool started_ = false;
};

inline Walk::Level::Level(const PropertyList& entered) noexcept : container(&entered) {
  if (const Array* array = entered.array()) {
    items = array->begin();
    size = array->size();
  } else {
    const DictionaryNode* node = Access::node(*entered.dictionary()).get();
    if (node == nullptr || node->size == 0) return;
    items = node->items();
    keys = node->keys.get();
    size = node->size;
  }
}

}  // namespace accountsettings::detail
