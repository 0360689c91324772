// StringPool makes the strings of a file side by side in blocks of memory. Where there are many,
// one piece of memory for each would cost more time to take and to give back than all else that
// reading and releasing them takes.
#pragma once

#include <cstddef>
#include <string_view>

#include "plist/Nodes.h"

namespace accountsettings::detail {

class StringPool {
 public:
  // As StringNode::create(), for a pool that nobody else uses at the time.
  Shared<StringNode> create(std::string_view text);

 private:
  Shared<StringBlock> block_;  // the one in which there may be room
};

}  // namespace accountsettings::detail
