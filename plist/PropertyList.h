/// \file
/// PropertyList is one value of a property list: a string, an integer, a real,
/// a boolean, a date, data, a UID, an array or a dictionary. Values are cheap to
/// copy: containers, strings and data share their storage and are cloned only
/// when a shared one is changed. Different threads may hold copies of one value;
/// one value itself is used from one thread at a time.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "plist/Nodes.h"

namespace accountsettings {

class PropertyList;

/// The content of a file.
using Bytes = std::vector<std::uint8_t>;

/// Containers may lie in each other so deep in a file: no reader takes more, no writer writes more.
inline constexpr std::size_t kMaxNesting = 512;

namespace detail {
struct Access;
}

/// Array is an ordered list of values with value semantics and O(1) copies.
class Array {
 public:
  Array() noexcept = default;
  /// An array whose one element is an array is written Array{PropertyList(inner)}: compilers
  /// disagree whether Array{inner} holds `inner` or is a copy of it.
  ///@{
  Array(std::initializer_list<PropertyList> values);
  explicit Array(std::vector<PropertyList> values);
  ///@}

  [[nodiscard]] std::size_t size() const noexcept { return node_ ? node_->size : 0; }
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }
  /// The value at `index`, which must be less than size().
  [[nodiscard]] const PropertyList& operator[](std::size_t index) const noexcept;
  /// The values in order; the pointers live until the next change.
  ///@{
  [[nodiscard]] const PropertyList* begin() const noexcept;
  [[nodiscard]] const PropertyList* end() const noexcept;
  ///@}
  [[nodiscard]] bool contains(const PropertyList& value) const;

  void append(PropertyList value);
  /// Replaces the value at `index`, which must be less than size().
  void set(std::size_t index, PropertyList value);
  /// Removes the value at `index`, which must be less than size().
  void removeAt(std::size_t index);
  /// Removes every element equal to `value`; answers how many went.
  std::size_t removeAll(const PropertyList& value);

  /// True when both are the same storage: equality without looking inside.
  [[nodiscard]] bool identicalTo(const Array& other) const noexcept {
    return node_.get() == other.node_.get();
  }
  friend bool operator==(const Array& left, const Array& right);

 private:
  friend struct detail::Access;
  using Node = detail::ArrayNode;

  explicit Array(detail::Shared<Node> node) noexcept : node_(std::move(node)) {}

  detail::Shared<Node> node_;
};

/// Dictionary maps string keys to values, keeps insertion order, and has value
/// semantics with O(1) copies. Equality ignores the order. A look-up takes
/// constant time in a large dictionary; a removal moves the entries behind it.
class Dictionary {
 public:
  /// Entry is what iteration yields: key() and value(), which a structured binding names.
  struct Entry;
  class Iterator;

  Dictionary() noexcept = default;
  /// Where a key repeats, its last value counts.
  Dictionary(std::initializer_list<std::pair<std::string_view, PropertyList>> entries);

  [[nodiscard]] std::size_t size() const noexcept { return node_ ? node_->size : 0; }
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }
  /// The value under `key`, or nullptr; the pointer lives until the next change.
  [[nodiscard]] const PropertyList* find(std::string_view key) const noexcept;
  /// A copy of the value under `key`, or none.
  [[nodiscard]] std::optional<PropertyList> get(std::string_view key) const;
  [[nodiscard]] bool contains(std::string_view key) const noexcept { return find(key) != nullptr; }

  /// Typed look-ups, for reading what somebody else wrote: a value of another kind is answered like
  /// a missing key. None copies or allocates; views, pointers and references live until the next
  /// change. Who must tell a missing key from a wrong kind uses find().
  ///
  /// The text of the string under `key`, or none.
  [[nodiscard]] std::optional<std::string_view> string(std::string_view key) const noexcept;
  /// The container under `key`, or nullptr.
  ///@{
  [[nodiscard]] const Array* array(std::string_view key) const noexcept;
  [[nodiscard]] const Dictionary* dictionary(std::string_view key) const noexcept;
  ///@}
  /// The array under `key`, or an empty one: for who only walks over it.
  [[nodiscard]] const Array& arrayOrEmpty(std::string_view key) const noexcept;
  /// The total readings of the value under `key` (PropertyList::integerValue, booleanValue), which
  /// make something of every kind; 0 and false where the key is missing.
  ///@{
  [[nodiscard]] std::int64_t integer(std::string_view key) const noexcept;
  [[nodiscard]] bool boolean(std::string_view key) const noexcept;
  ///@}

  /// The entries in insertion order. A loop may name both parts: for (const auto& [key, value] :
  /// dictionary).
  ///@{
  [[nodiscard]] Iterator begin() const noexcept;
  [[nodiscard]] Iterator end() const noexcept;
  ///@}
  /// Prefetches the first entries, at most so many, and their strings, for who is about to read
  /// some of many dictionaries.
  void prefetch(std::size_t most = 4) const noexcept;
  /// Prefetches only what prefetch() itself has to look at, for who calls that a little later.
  void prefetchStorage() const noexcept;

  /// Stores the value under `key`, in its old place where the key exists, else last.
  void set(std::string_view key, PropertyList value);
  /// Stores a value that is present; removes the key where it is missing.
  template <class T>
  void set(std::string_view key, std::optional<T> value);
  /// Answers whether the key was there.
  bool remove(std::string_view key);

  /// True when both are the same storage: equality without looking inside.
  [[nodiscard]] bool identicalTo(const Dictionary& other) const noexcept {
    return node_.get() == other.node_.get();
  }
  friend bool operator==(const Dictionary& left, const Dictionary& right);

 private:
  friend struct detail::Access;
  using Node = detail::DictionaryNode;

  explicit Dictionary(detail::Shared<Node> node) noexcept : node_(std::move(node)) {}

  detail::Shared<Node> node_;
};

/// \copydoc PropertyList.h
class PropertyList {
 public:
  enum class Kind : std::uint8_t {
    String,
    Integer,
    Real,
    Boolean,
    Date,
    Data,
    Uid,
    Array,
    Dictionary
  };

  /// An empty string, which is also what a moved-from value becomes.
  PropertyList() noexcept : text_() {}
  PropertyList(std::string_view text);  ///< UTF-8; a lone surrogate stands as its three bytes
  PropertyList(const std::string& text) : PropertyList(std::string_view(text)) {}
  PropertyList(const char* text) : PropertyList(std::string_view(text)) {}
  PropertyList(Array array) noexcept : kind_(Kind::Array), array_(std::move(array)) {}
  PropertyList(Dictionary dictionary) noexcept
      : kind_(Kind::Dictionary), dictionary_(std::move(dictionary)) {}
  PropertyList(double real) noexcept : kind_(Kind::Real), real_(real) {}
  template <class T>
  requires(std::is_same_v<T, bool>) PropertyList(T boolean)
  noexcept : kind_(Kind::Boolean), integer_(boolean ? 1 : 0) {}
  template <class T>
  requires(std::is_integral_v<T> && !std::is_same_v<T, bool>) PropertyList(T integer)
  noexcept
      : kind_(Kind::Integer),
        unsigned_(std::is_unsigned_v<T> &&
                  static_cast<std::uint64_t>(integer) > std::uint64_t{kMaxSigned}),
        integer_(static_cast<std::int64_t>(integer)) {}
  /// `seconds` since 2001-01-01T00:00:00Z.
  static PropertyList date(double seconds) noexcept;
  /// The bytes are copied.
  static PropertyList data(std::span<const std::uint8_t> bytes);
  static PropertyList uid(std::uint64_t value) noexcept;

  PropertyList(const PropertyList& other) noexcept : text_() { copyFrom(other); }
  PropertyList(PropertyList&& other) noexcept : text_() { moveFrom(other); }
  PropertyList& operator=(const PropertyList& other) noexcept {
    return *this = PropertyList(other);
  }
  PropertyList& operator=(PropertyList&& other) noexcept;
  ~PropertyList() { clear(); }

  /// What the value is; it changes only with the value as a whole.
  [[nodiscard]] Kind kind() const noexcept { return kind_; }

  /// The value itself where it has that kind, else nullptr or none. The pointers
  /// and views live as long as this value is not changed.
  [[nodiscard]] const Array* array() const noexcept {
    return kind_ == Kind::Array ? &array_ : nullptr;
  }
  [[nodiscard]] const Dictionary* dictionary() const noexcept {
    return kind_ == Kind::Dictionary ? &dictionary_ : nullptr;
  }
  [[nodiscard]] std::optional<std::string_view> stringValue() const noexcept;
  [[nodiscard]] std::optional<double> real() const noexcept;
  [[nodiscard]] std::optional<double> dateSeconds() const noexcept;
  [[nodiscard]] std::optional<std::span<const std::uint8_t>> dataValue() const noexcept;
  [[nodiscard]] std::optional<std::uint64_t> uidValue() const noexcept;

  /// Total readings of any kind. A boolean as it is; a number that is not zero;
  /// the strings "YES" and "true", or one that begins with a digit 1 to 9.
  [[nodiscard]] bool booleanValue() const noexcept;
  /// An integer; a real cut off; a boolean as 0 or 1; the leading digits of a
  /// string (after an optional sign); else 0. Out of range is cut to the nearest end.
  [[nodiscard]] std::int64_t integerValue() const noexcept;
  /// An integer above 2^63-1, which integerValue() cannot tell.
  [[nodiscard]] bool isUnsigned() const noexcept { return unsigned_; }
  /// As integerValue(), but exact above 2^63-1 and 0 below 0.
  [[nodiscard]] std::uint64_t unsignedValue() const noexcept;

  /// True when both are the same scalar or the same storage.
  [[nodiscard]] bool identicalTo(const PropertyList& other) const noexcept;
  /// Deep equality by kind: an integer, a real and a boolean are never equal to
  /// each other; reals and dates compare by bits, all NaNs being equal.
  friend bool operator==(const PropertyList& left, const PropertyList& right);

 private:
  friend struct detail::Access;
  static constexpr std::int64_t kMaxSigned = std::numeric_limits<std::int64_t>::max();

  PropertyList(Kind kind, std::int64_t integer) noexcept : kind_(kind), integer_(integer) {}
  PropertyList(Kind kind, double real) noexcept : kind_(kind), real_(real) {}
  explicit PropertyList(detail::Shared<detail::StringNode> text) noexcept
      : text_(std::move(text)) {}
  explicit PropertyList(detail::Shared<detail::DataNode> data) noexcept
      : kind_(Kind::Data), data_(std::move(data)) {}

  // Both expect this value to be an empty string; moveFrom leaves `other` as one.
  void copyFrom(const PropertyList& other) noexcept;
  void moveFrom(PropertyList& other) noexcept;
  // Destroys what the union holds.
  void clear() noexcept;

  Kind kind_ = Kind::String;
  bool unsigned_ = false;
  union {
    detail::Shared<detail::StringNode> text_;
    detail::Shared<detail::DataNode> data_;
    Array array_;
    Dictionary dictionary_;
    std::int64_t integer_;  // booleans and UIDs too
    double real_;           // dates too
  };
};

static_assert(sizeof(PropertyList) == 16);

/// Entry is one key of a dictionary with its value, a view of both.
struct Dictionary::Entry {
 public:
  [[nodiscard]] std::string_view key() const noexcept {
    return key_ != nullptr ? key_->text() : std::string_view();
  }
  [[nodiscard]] const PropertyList& value() const noexcept { return *value_; }
  /// What a structured binding reads: the key, then the value.
  template <std::size_t Part>
  [[nodiscard]] std::tuple_element_t<Part, Entry> get() const noexcept;

 private:
  friend struct detail::Access;
  friend class Dictionary::Iterator;
  Entry(const detail::StringNode* key, const PropertyList* value) noexcept
      : key_(key), value_(value) {}

  const detail::StringNode* key_;
  const PropertyList* value_;
};

/// Iterator goes through the entries of a dictionary, in any order; what it yields is good until
/// the next change of the dictionary.
class Dictionary::Iterator {
 public:
  // NOLINTBEGIN(readability-identifier-naming): the names that the standard library looks for
  using iterator_concept = std::random_access_iterator_tag;
  using iterator_category = std::input_iterator_tag;
  using value_type = Entry;
  using difference_type = std::ptrdiff_t;
  using reference = Entry;
  // NOLINTEND(readability-identifier-naming)
  /// What -> is applied to in the end.
  class pointer {
   public:
    const Entry* operator->() const noexcept { return &entry_; }

   private:
    friend class Iterator;
    explicit pointer(const Entry& entry) noexcept : entry_(entry) {}

    Entry entry_;
  };

  Iterator() noexcept = default;
  Entry operator*() const noexcept { return {key_->get(), value_}; }
  pointer operator->() const noexcept { return pointer(**this); }
  Entry operator[](std::ptrdiff_t distance) const noexcept { return *(*this + distance); }
  Iterator& operator++() noexcept { return *this += 1; }
  Iterator& operator--() noexcept { return *this -= 1; }
  Iterator operator++(int) noexcept { return std::exchange(*this, *this + 1); }
  Iterator operator--(int) noexcept { return std::exchange(*this, *this - 1); }
  Iterator& operator+=(std::ptrdiff_t distance) noexcept {
    key_ += distance;
    value_ += distance;
    return *this;
  }
  Iterator& operator-=(std::ptrdiff_t distance) noexcept { return *this += -distance; }
  friend Iterator operator+(Iterator iterator, std::ptrdiff_t distance) noexcept {
    return iterator += distance;
  }
  friend Iterator operator+(std::ptrdiff_t distance, Iterator iterator) noexcept {
    return iterator += distance;
  }
  friend Iterator operator-(Iterator iterator, std::ptrdiff_t distance) noexcept {
    return iterator -= distance;
  }
  friend std::ptrdiff_t operator-(const Iterator& left, const Iterator& right) noexcept {
    return left.value_ - right.value_;
  }
  friend bool operator==(const Iterator& left, const Iterator& right) noexcept {
    return left.value_ == right.value_;
  }
  friend auto operator<=>(const Iterator& left, const Iterator& right) noexcept {
    return left.value_ <=> right.value_;
  }

 private:
  friend class Dictionary;
  Iterator(const detail::Shared<detail::StringNode>* key, const PropertyList* value) noexcept
      : key_(key), value_(value) {}

  const detail::Shared<detail::StringNode>* key_ = nullptr;
  const PropertyList* value_ = nullptr;
};

}  // namespace accountsettings

namespace std {
template <>
struct tuple_size<accountsettings::Dictionary::Entry> : integral_constant<size_t, 2> {};
template <>
struct tuple_element<0, accountsettings::Dictionary::Entry> {
  using type = string_view;
};
template <>
struct tuple_element<1, accountsettings::Dictionary::Entry> {
  using type = const accountsettings::PropertyList&;
};
}  // namespace std

namespace accountsettings {

template <std::size_t Part>
std::tuple_element_t<Part, Dictionary::Entry> Dictionary::Entry::get() const noexcept {
  if constexpr (Part == 0) {
    return key();
  } else {
    return *value_;
  }
}

inline const PropertyList* Array::begin() const noexcept {
  return node_ ? node_->items() : nullptr;
}
inline const PropertyList* Array::end() const noexcept {
  return begin() + size();
}
inline const PropertyList& Array::operator[](std::size_t index) const noexcept {
  return begin()[index];
}

inline Dictionary::Iterator Dictionary::begin() const noexcept {
  return empty() ? Iterator() : Iterator(node_->keys->items(), node_->items());
}
inline Dictionary::Iterator Dictionary::end() const noexcept {
  return begin() + static_cast<std::ptrdiff_t>(size());
}

inline std::optional<std::string_view> Dictionary::string(std::string_view key) const noexcept {
  const PropertyList* found = find(key);
  return found != nullptr ? found->stringValue() : std::nullopt;
}
inline const Array* Dictionary::array(std::string_view key) const noexcept {
  const PropertyList* found = find(key);
  return found != nullptr ? found->array() : nullptr;
}
inline const Dictionary* Dictionary::dictionary(std::string_view key) const noexcept {
  const PropertyList* found = find(key);
  return found != nullptr ? found->dictionary() : nullptr;
}
inline std::int64_t Dictionary::integer(std::string_view key) const noexcept {
  const PropertyList* found = find(key);
  return found != nullptr ? found->integerValue() : 0;
}
inline bool Dictionary::boolean(std::string_view key) const noexcept {
  const PropertyList* found = find(key);
  return found != nullptr && found->booleanValue();
}

template <class T>
void Dictionary::set(std::string_view key, std::optional<T> value) {
  if (value) {
    set(key, PropertyList(std::move(*value)));
  } else {
    remove(key);
  }
}

inline void PropertyList::copyFrom(const PropertyList& other) noexcept {
  switch (other.kind_) {
    case Kind::String:
      text_ = other.text_;
      break;
    case Kind::Data:
      new (&data_) detail::Shared<detail::DataNode>(other.data_);
      break;
    case Kind::Array:
      new (&array_) Array(other.array_);
      break;
    case Kind::Dictionary:
      new (&dictionary_) Dictionary(other.dictionary_);
      break;
    case Kind::Real:
    case Kind::Date:
      real_ = other.real_;
      break;
    case Kind::Integer:
    case Kind::Boolean:
    case Kind::Uid:
      integer_ = other.integer_;
      break;
  }
  kind_ = other.kind_;
  unsigned_ = other.unsigned_;
}

inline void PropertyList::moveFrom(PropertyList& other) noexcept {
  switch (other.kind_) {
    case Kind::String:
      text_ = std::move(other.text_);
      break;
    case Kind::Data:
      new (&data_) detail::Shared<detail::DataNode>(std::move(other.data_));
      break;
    case Kind::Array:
      new (&array_) Array(std::move(other.array_));
      break;
    case Kind::Dictionary:
      new (&dictionary_) Dictionary(std::move(other.dictionary_));
      break;
    case Kind::Real:
    case Kind::Date:
      real_ = other.real_;
      break;
    case Kind::Integer:
    case Kind::Boolean:
    case Kind::Uid:
      integer_ = other.integer_;
      break;
  }
  kind_ = std::exchange(other.kind_, Kind::String);
  unsigned_ = std::exchange(other.unsigned_, false);
  new (&other.text_) detail::Shared<detail::StringNode>();
}

inline void PropertyList::clear() noexcept {
  switch (kind_) {
    case Kind::String:
      text_.~Shared();
      break;
    case Kind::Data:
      data_.~Shared();
      break;
    case Kind::Array:
      array_.~Array();
      break;
    case Kind::Dictionary:
      dictionary_.~Dictionary();
      break;
    default:
      break;
  }
}

inline PropertyList& PropertyList::operator=(PropertyList&& other) noexcept {
  if (this != &other) {
    PropertyList old(std::move(*this));  // torn down last: `other` may live inside it
    moveFrom(other);
  }
  return *this;
}

}  // namespace accountsettings
