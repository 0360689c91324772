// HistoryChanges is what one run changed in accounts, as the history keeps it: which step changed
// which key of which account, from what to what, and why an account or a key went. Values are short
// texts without secrets; of very many changes those behind are left out, which is told.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyList.h"
#include "tool/accounts/AccountMatching.h"

namespace accountsettings {

// The keys of a change, which each has but for what does not apply.
namespace history {
inline constexpr std::string_view kStep = "step";               // the selector, of a migration
inline constexpr std::string_view kChangedAccount = "account";  // its identifier after the change
inline constexpr std::string_view kWas = "was";      // the identifier before, where it was another
inline constexpr std::string_view kTitle = "title";  // type and name
inline constexpr std::string_view kFate = "fate";    // see below
inline constexpr std::string_view kParent = "parent";  // of which it became a child; "" at the top
inline constexpr std::string_view kFile = "file";      // the legacy file that it came from
inline constexpr std::string_view kRule = "rule";      // why it went
inline constexpr std::string_view kChangedKeys = "keys";  // dictionaries of the following
inline constexpr std::string_view kKey = "key";
inline constexpr std::string_view kFrom = "from";        // a text; none where the key is new
inline constexpr std::string_view kTo = "to";            // a text; none where the key went
inline constexpr std::string_view kMovedTo = "movedTo";  // the key that has the value now

inline constexpr std::string_view kAdded = "added";
inline constexpr std::string_view kRemoved = "removed";
inline constexpr std::string_view kChanged = "changed";
inline constexpr std::string_view kNotConverted = "not-converted";  // a legacy file
}  // namespace history

// The names of keys, each once, as the history keeps them: short, and no more than some.
[[nodiscard]] Array keysForHistory(const std::vector<std::string>& keys);

class HistoryChanges {
 public:
  // Why something went, or a key of a new account is not what it came with; empty texts where
  // nothing explains it.
  struct Reasons {
    std::function<std::string(const Dictionary& account, bool isChild, bool parentIsGone)> account;
    std::function<std::string(const Dictionary& account, std::string_view key, bool isChild)> key;
    std::function<std::string(const Dictionary& account, std::string_view key)> newKey;
  };

  // `stages` is how often add() is going to be called: each gets its share of the room.
  explicit HistoryChanges(std::size_t stages) : stagesLeft_(stages) {}

  // What sets two lists of accounts apart. `step` is empty where no step of a migration did it.
  void add(std::string_view step, const Array& before, const Array& after,
           const AccountMatching& matching, const Reasons& reasons = {});
  // That the legacy file was there and none of its accounts was taken over.
  void addNotConverted(const std::string& file, std::string_view step, const std::string& rule);

  // Puts all of it into an entry of the history.
  void putInto(Dictionary& entry) const;

 private:
  class Stage;

  // False where there is no room for it.
  bool append(Dictionary change);

  Array changes_;
  bool leftOut_ = false;
  std::size_t stagesLeft_;
  std::size_t used_ = 0;   // bytes, as near as need be
  std::size_t limit_ = 0;  // of the stage that is added
};

}  // namespace accountsettings
