// The changing operations of Array.
#include <algorithm>
#include <iterator>
#include <memory>

#include "plist/PropertyList.h"
#include "plist/Sequence.h"

namespace accountsettings {
namespace {

using detail::ArrayNode;
using detail::Shared;

template <class Iterator>
Shared<ArrayNode> nodeOf(Iterator first, std::size_t size) {
  if (size == 0) return {};
  Shared<ArrayNode> node(ArrayNode::create(size));
  std::uninitialized_copy_n(first, size, node->items());
  node->size = static_cast<std::uint32_t>(size);
  return node;
}

}  // namespace

Array::Array(std::initializer_list<PropertyList> values)
    : node_(nodeOf(values.begin(), values.size())) {}

Array::Array(std::vector<PropertyList> values)
    : node_(nodeOf(std::make_move_iterator(values.begin()), values.size())) {}

bool Array::contains(const PropertyList& value) const {
  return std::find(begin(), end(), value) != end();
}

void Array::append(PropertyList value) {
  detail::makeWritable(node_, size() + 1);
  std::construct_at(node_->items() + node_->size, std::move(value));
  ++node_->size;
}

void Array::set(std::size_t index, PropertyList value) {
  detail::makeWritable(node_, size());
  node_->items()[index] = std::move(value);
}

void Array::removeAt(std::size_t index) {
  detail::makeWritable(node_, size());
  detail::eraseAt(*node_, index);
}

std::size_t Array::removeAll(const PropertyList& value) {
  // Holds a copy, because `value` may be one of the elements.
  const auto isWanted = [wanted = value](const PropertyList& each) { return each == wanted; };
  if (std::none_of(begin(), end(), isWanted)) return 0;
  detail::makeWritable(node_, size());
  PropertyList* first = node_->items();
  PropertyList* last = first + node_->size;
  PropertyList* kept = std::remove_if(first, last, isWanted);
  const auto removed = static_cast<std::size_t>(last - kept);
  std::destroy(kept, last);
  node_->size -= static_cast<std::uint32_t>(removed);
  return removed;
}

}  // namespace accountsettings
