// Redactor replaces what is personal in account settings - identifiers, user names, host
// names, names, secrets, any other text - by stand-ins such as "user-3", one and the same for
// equal values wherever they occur, and counts what it replaced. A stand-in says what it stands
// for, as far as any key tells it.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "plist/PropertyList.h"
#include "tool/accounts/LearnedTexts.h"
#include "tool/frame/Json.h"

namespace accountsettings {

class Redactor {
 public:
  Redactor() = default;
  Redactor(const Redactor&) = delete;
  Redactor& operator=(const Redactor&) = delete;

  enum class Kind { Identifier, User, Host, Name, Secret, Text, Data };

  // Takes note of the personal values in the content of a file. What was not learned cannot be
  // recognised in sentences.
  void learn(const PropertyList& content);

  // Sentences leave this text out, for example the place of a device root on this machine.
  void leaveOut(std::string text) { leftOut_ = std::move(text); }

  // Content of a file: every text, every data, every key that no program chose, and everything
  // under the keys of secrets that may not be seen there is replaced; what remains are the
  // structure, numbers, dates, and the words of the account model. Spells out what is shared: the
  // content is to be one that fittedToLimit() gave.
  [[nodiscard]] PropertyList stored(const PropertyList& content);
  // The same as JSON, written as it is made.
  void writeStored(JsonWriter& json, const PropertyList& content);
  // A sentence of this program: learned values, mail addresses and UUIDs are replaced.
  [[nodiscard]] std::string sentence(std::string_view text);
  // The same for every text in a value that this program made, written as JSON.
  void writeTold(JsonWriter& json, const PropertyList& value);
  // A line of the system log: a sentence whose objects, "{ ... }", are cut out.
  [[nodiscard]] std::string logLine(std::string_view line);

  struct Count {
    std::string_view kind;   // "identifier", "user", "host", "name", "secret", "text", "data"
    std::size_t values = 0;  // how many different ones
    std::size_t places = 0;  // how often one was replaced
  };
  // What was replaced so far, kinds without any left out.
  [[nodiscard]] std::vector<Count> counts() const;

 private:
  static constexpr std::size_t kKinds = 7;
  struct StandIn {
    Kind kind = Kind::Text;
    PropertyList name;  // a text, shared by all places; empty until it is in the place of something
    std::size_t place = 0;  // in the order of learning
  };
  // What a key's name tells of itself and of what stands under it.
  struct KeyFacts {
    bool isPersonal = false;
    bool isSecret = false;
    bool holdsModelWords = false;
    bool isPlain = false;  // known to hold nothing that was learned
    Kind kind = Kind::Text;
  };
  // So that a view will do to look for a text.
  struct TextHash : std::hash<std::string_view> {
    using is_transparent = void;
  };
  template <class Value>
  using ByText = std::unordered_map<std::string, Value, TextHash, std::equal_to<>>;

  // The containers that were gone through, by the storage of their values and by what they stood
  // under: those that a value shares many times over are gone through once.
  using LearnedPlaces = std::set<std::tuple<const void*, bool, const KeyFacts*>>;

  void learnUnder(const KeyFacts& key, const PropertyList& value, bool isSecret,
                  LearnedPlaces& places);
  void learnValue(Kind kind, std::string_view value);
  // With the stand-in whether it is a new one.
  std::pair<ByText<StandIn>::value_type*, bool> standInFor(Kind kind, std::string_view value);
  const PropertyList& replaced(Kind kind, std::string_view value);
  KeyFacts& factsOf(std::string_view key);
  [[nodiscard]] std::string storedKey(std::string_view key, KeyFacts& facts);
  [[nodiscard]] PropertyList storedUnder(const KeyFacts& key, const PropertyList& value);
  [[nodiscard]] PropertyList storedScalar(const KeyFacts& key, const PropertyList& value);
  void writeStoredUnder(JsonWriter& json, const KeyFacts& key, const PropertyList& value);
  [[nodiscard]] bool areNamesOnceStored(const Dictionary& dictionary);
  [[nodiscard]] std::string withoutLearned(std::string_view text);
  [[nodiscard]] std::string withoutPatterns(std::string_view text);

  ByText<StandIn> standIns_;
  std::vector<ByText<StandIn>::value_type*> learnedInOrder_;
  // The place behind the one found last: content is mostly told in the order in which it was
  // learned, and then no search jumps about in memory.
  std::size_t expected_ = 0;
  ByText<KeyFacts> keys_;
  LearnedTexts learned_;
  std::string leftOut_;
  std::array<std::size_t, kKinds> values_{};
  std::array<std::size_t, kKinds> places_{};
};

}  // namespace accountsettings
