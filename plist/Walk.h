// Walk goes through a value depth first, without recursion, and knows where it
// is. The caller decides which containers it enters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

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

  Event next();
  // Makes next() tell the values inside value().
  void enter() { levels_.push_back({current_, 0}); }

  [[nodiscard]] const PropertyList& value() const noexcept { return *current_; }
  // At Event::Value: the entry that value() belongs to, nullptr outside a dictionary.
  [[nodiscard]] const Dictionary::Entry* entry() const noexcept;
  // At Event::Value: the number of values told before it in its container.
  [[nodiscard]] std::size_t index() const noexcept;
  // The value that stands `distance` places behind value() in the same array, else nullptr.
  [[nodiscard]] const PropertyList* behind(std::size_t distance) const noexcept;
  // How many containers value() lies in.
  [[nodiscard]] std::size_t depth() const noexcept { return levels_.size(); }
  // At Event::Value: where value() stands, such as `Accounts[3]."Display Name"`.
  [[nodiscard]] std::string path() const;

 private:
  struct Level {
    const PropertyList* container;
    std::size_t next;
  };

  std::vector<Level> levels_;
  const PropertyList* current_;
  bool started_ = false;
};

}  // namespace accountsettings::detail
