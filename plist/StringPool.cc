// The blocks of strings.
#include "plist/StringPool.h"

#include <algorithm>

namespace accountsettings::detail {
namespace {

// A small file takes a small block. A string keeps its block, so that the largest block is the
// most that one string can cost.
constexpr std::size_t kFirstBlock = 2048;
constexpr std::size_t kLargestBlock = 65536;
// A longer string is worth its own memory.
constexpr std::size_t kLongest = 1024;

}  // namespace

Shared<StringNode> StringPool::create(std::string_view text) {
  if (text.empty() || text.size() > kLongest) return Shared(StringNode::create(text));
  if (!block_ || !block_->hasRoomFor(text)) {
    const std::size_t size = block_ ? std::min(2 * block_->size, kLargestBlock) : kFirstBlock;
    block_ = Shared(StringBlock::create(size));
  }
  return Shared(StringNode::createIn(*block_, text));
}

}  // namespace accountsettings::detail
