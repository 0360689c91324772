// LiveIndex finds records by an identity that they report at this moment: their identifier or
// their sync identifier. Records hand out their properties live and inherit from their parents, so
// the index keeps a journal of what is written and brings itself up to date before each look-up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "account/BasicAccount.h"
#include "account/LiveProperties.h"
#include "store/TokenTable.h"

namespace accountsettings {

class LiveIndex {
 public:
  enum class Identity { Identifier, SyncIdentifier };
  // Token names one entry of the owner's; answers are in the order of tokens.
  using Token = TokenTable::Token;

  explicit LiveIndex(Identity identity);

  void reserve(std::size_t records);
  // Prefetches what add() needs.
  void prefetch(const BasicAccount& record) const noexcept {
    record.properties().values().prefetch();
    watched_.prefetch(keyOf(&record.properties()));
  }
  // Enters a record under a token that is not in use. The owner keeps the record alive until the
  // token is removed. A record may be entered under several tokens.
  void add(Token token, BasicAccount& record);
  void remove(Token token);

  // The entries whose record reports `value` now: all of them, the first or the last.
  [[nodiscard]] std::vector<Token> tokensWith(std::string_view value);
  [[nodiscard]] std::optional<Token> lastTokenWith(std::string_view value);
  [[nodiscard]] std::shared_ptr<BasicAccount> firstRecordWith(std::string_view value);
  // The entries of this very record.
  [[nodiscard]] std::vector<Token> tokensOf(BasicAccount& record) const;

 private:
  // Where an entry's identity comes from, as far as that was seen when it was last looked at.
  struct Pin {
    BasicAccount* record = nullptr;
    // The hash of the identity; none where the record reports none, or where it floats.
    std::optional<std::uint32_t> hash;
    // The parent's properties, where the identity is inherited from the parent.
    LiveProperties* source = nullptr;
    // Whether nothing tells when the identity changes: it comes from further up, or from an
    // accessor of a subclass. Such entries are rare and are compared one by one.
    bool floats = false;
  };

  struct TokenPin {
    Token token = 0;
    Pin pin;
  };

  // The place in pins_ of the first token that is not below this one.
  [[nodiscard]] std::size_t placeOf(Token token) const;
  // REQUIRES: the token is in use.
  [[nodiscard]] const Pin& pinAt(Token token) const { return pins_[placeOf(token)].pin; }
  [[nodiscard]] static TokenTable::Key keyOf(const LiveProperties* properties) noexcept;
  [[nodiscard]] bool reports(Token token, std::string_view value) const;
  [[nodiscard]] Pin pinOf(BasicAccount& record) const;
  void pin(Token token, BasicAccount& record);
  void unpin(Token token);
  // Looks again at every entry whose identity may have changed.
  void catchUp();

  std::string_view key_;
  std::optional<std::string> (BasicAccount::*identity_)() const;
  std::shared_ptr<IdentityJournal> journal_ = std::make_shared<IdentityJournal>();
  // In the order of tokens, which mostly come ascending; one that is not in use has no record.
  std::vector<TokenPin> pins_;
  std::size_t unused_ = 0;
  TokenTable byHash_;
  std::set<Token> floating_;
  // Which entries are to be looked at again when properties, the key, change.
  TokenTable watched_;
};

}  // namespace accountsettings
