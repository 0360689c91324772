// ObjectTable holds the objects of a file while it is read. Its values are not
// seen by any other thread yet, so that their references can be counted without
// atomic operations; that, and giving its own reference away, halves the time that
// reading takes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "plist/Access.h"

namespace accountsettings::detail {

class ObjectTable {
 public:
  // How deep the containers in an object nest, or one of the two marks.
  using Height = std::uint16_t;
  static constexpr Height kUnread = 0xFFFF;
  static constexpr Height kOpen = 0xFFFE;

  ObjectTable() = default;
  ObjectTable(const ObjectTable&) = delete;
  ObjectTable& operator=(const ObjectTable&) = delete;
  ~ObjectTable() {
    for (std::size_t i = 0; i < states_.size(); ++i) {
      if (states_[i].isOwner) std::destroy_at(values_ + i);
    }
    std::allocator<PropertyList>().deallocate(values_, states_.size());
  }

  // Makes room for `count` objects. To be called once.
  void resize(std::size_t count) {
    values_ = std::allocator<PropertyList>().allocate(count);
    states_.resize(count);
  }

  [[nodiscard]] std::size_t size() const noexcept { return states_.size(); }
  [[nodiscard]] Height height(std::size_t object) const noexcept { return states_[object].height; }
  void markOpen(std::size_t object) noexcept { states_[object].height = kOpen; }
  void put(std::size_t object, PropertyList value, Height height) noexcept {
    std::construct_at(values_ + object, std::move(value));
    states_[object] = {height, true};
  }

  // The value of an object that has been put.
  [[nodiscard]] const PropertyList& value(std::size_t object) const noexcept {
    return values_[object];
  }
  // Constructs the value of an object that has been put at `place`, over a scalar or an empty
  // value. The first place takes the table's own reference over, so what is placed must not
  // be destroyed before the table.
  void copyTo(std::size_t object, PropertyList* place) noexcept {
    State& state = states_[object];
    Access::copyUncounted(values_[object], place);
    if (state.isOwner) {
      state.isOwner = false;
    } else if (Counted* storage = Access::storage(values_[object])) {
      storage->retainUnpublished();
    }
  }

 private:
  struct State {
    Height height = kUnread;
    bool isOwner = false;  // the table holds a reference to the value's storage
  };

  PropertyList* values_ = nullptr;  // constructed where the state says so
  std::vector<State> states_;
};

}  // namespace accountsettings::detail
