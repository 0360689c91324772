// Interner makes equal strings share their storage, so that comparing two of
// them is comparing two addresses.
#pragma once

#include <string_view>
#include <unordered_set>
#include <utility>

#include "plist/Nodes.h"

namespace accountsettings::detail {

class Interner {
 public:
  // The one node for this text; none for the empty text.
  Shared<StringNode> node(std::string_view text) {
    if (text.empty()) return {};
    const auto found = nodes_.find(text);
    return found != nodes_.end() ? *found : intern(Shared(StringNode::create(text)));
  }

  // The one node for this node's text, which is `node` itself if there was none.
  Shared<StringNode> intern(Shared<StringNode> node) {
    return *nodes_.insert(std::move(node)).first;
  }

 private:
  static std::string_view text(std::string_view text) noexcept { return text; }
  static std::string_view text(const Shared<StringNode>& node) noexcept { return node->text(); }

  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept { return hashOf(text); }
    std::size_t operator()(const Shared<StringNode>& node) const noexcept { return node->hash; }
  };
  struct Same {
    using is_transparent = void;
    template <class Left, class Right>
    bool operator()(const Left& left, const Right& right) const noexcept {
      return text(left) == text(right);
    }
  };

  std::unordered_set<Shared<StringNode>, Hash, Same> nodes_;
};

}  // namespace accountsettings::detail
