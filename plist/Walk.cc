// The walk over a value, and the paths that it tells.
#include "plist/Walk.h"

#include "plist/Quote.h"

namespace accountsettings::detail {
namespace {

constexpr std::size_t kPathLimit = 1024;

const PropertyList* child(const PropertyList& container, std::size_t index) noexcept {
  if (const Array* array = container.array()) {
    return index < array->size() ? array->begin() + index : nullptr;
  }
  const Dictionary& dictionary = *container.dictionary();
  return index < dictionary.size() ? &dictionary.begin()[index].value() : nullptr;
}

}  // namespace

Walk::Event Walk::next() {
  if (levels_.empty()) {
    if (started_) return Event::End;
    started_ = true;
    return Event::Value;
  }
  Level& level = levels_.back();
  if (const PropertyList* value = child(*level.container, level.next)) {
    current_ = value;
    ++level.next;
    return Event::Value;
  }
  current_ = level.container;
  levels_.pop_back();
  return Event::Leave;
}

const Dictionary::Entry* Walk::entry() const noexcept {
  if (levels_.empty()) return nullptr;
  const Dictionary* dictionary = levels_.back().container->dictionary();
  return dictionary != nullptr ? dictionary->begin() + index() : nullptr;
}

std::size_t Walk::index() const noexcept {
  return levels_.empty() ? 0 : levels_.back().next - 1;
}

const PropertyList* Walk::behind(std::size_t distance) const noexcept {
  const Array* array = levels_.empty() ? nullptr : levels_.back().container->array();
  return array != nullptr ? child(*levels_.back().container, index() + distance) : nullptr;
}

std::string Walk::path() const {
  if (levels_.empty()) return "the root";
  std::string path;
  for (const Level& level : levels_) {
    if (path.size() > kPathLimit) return path + "...";
    if (const Dictionary* dictionary = level.container->dictionary()) {
      if (!path.empty()) path += '.';
      appendQuoted(path, dictionary->begin()[level.next - 1].key(), kPathLimit);
    } else {
      path += '[' + std::to_string(level.next - 1) + ']';
    }
  }
  return path;
}

}  // namespace accountsettings::detail
