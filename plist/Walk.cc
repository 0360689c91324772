// What a walk tells of the place where it is.
#include "plist/Walk.h"

#include "plist/Quote.h"

namespace accountsettings::detail {
namespace {

constexpr std::size_t kPathLimit = 1024;

}  // namespace

const PropertyList* Walk::behind(std::size_t distance) const noexcept {
  if (levels_.empty() || levels_.back().keys != nullptr) return nullptr;
  const std::size_t place = index() + distance;
  return place < levels_.back().size ? levels_.back().items + place : nullptr;
}

std::string Walk::path() const {
  if (levels_.empty()) return "the root";
  std::string path;
  for (const Level& level : levels_) {
    if (path.size() > kPathLimit) return path + "...";
    if (level.keys != nullptr) {
      if (!path.empty()) path += '.';
      const StringNode* key = level.keys->items()[level.next - 1].get();
      appendQuoted(path, key != nullptr ? key->text() : std::string_view(), kPathLimit);
    } else {
      path += '[' + std::to_string(level.next - 1) + ']';
    }
  }
  return path;
}

}  // namespace accountsettings::detail
