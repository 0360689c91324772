// The reader of the XML form: one pass over the text, with a stack of its own
// for the containers that are open.
#include "plist/XmlReader.h"

#include <algorithm>
#include <charconv>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "plist/Access.h"
#include "plist/KeyLists.h"
#include "plist/KeySet.h"
#include "plist/Keys.h"
#include "plist/Quote.h"
#include "plist/Scan.h"
#include "plist/StringPool.h"
#include "plist/Text.h"
#include "plist/XmlScalars.h"
#include "plist/XmlText.h"

namespace accountsettings {
namespace {

using detail::Access;
using detail::ArrayNode;
using detail::DictionaryNode;
using detail::KeySet;
using detail::KeysNode;
using detail::Shared;

constexpr std::string_view kSpace = " \t\n";

constexpr bool isSpace(char character) noexcept {
  return character == ' ' || character == '\t' || character == '\n';
}

constexpr bool endsName(char character) noexcept {
  return isSpace(character) || character == '/' || character == '>' || character == '<';
}

enum class Element : std::uint8_t {
  Unknown,
  Key,
  Array,
  Dictionary,
  String,
  Integer,
  Real,
  True,
  False,
  Date,
  Data
};

constexpr std::string_view nameOf(Element element) noexcept {
  constexpr std::string_view kNames[] = {"",     "key",  "array", "dict", "string", "integer",
                                         "real", "true", "false", "date", "data"};
  return kNames[static_cast<std::size_t>(element)];
}

// The element that a name may be, judged by as little of it as tells the known ones apart.
constexpr Element likeliest(std::string_view name) noexcept {
  switch (name.empty() ? '\0' : name[0]) {
    case 'k':
      return Element::Key;
    case 's':
      return Element::String;
    case 'i':
      return Element::Integer;
    case 't':
      return Element::True;
    case 'f':
      return Element::False;
    case 'a':
      return Element::Array;
    case 'r':
      return Element::Real;
    case 'd':
      if (name.starts_with("di")) return Element::Dictionary;
      return name.ends_with("e") ? Element::Date : Element::Data;
    default:
      return Element::Unknown;
  }
}

constexpr Element elementOf(std::string_view name) noexcept {
  const Element element = likeliest(name);
  return name == nameOf(element) ? element : Element::Unknown;
}

// The beginning of a text from a file, fit to stand in a message.
std::string shown(std::string_view text) {
  std::string result;
  detail::appendInQuotes(result, text, 40);
  return result;
}

// Every reading member answers false after a failure, which error_ then tells.
class XmlReader {
 public:
  explicit XmlReader(std::string_view text) : text_(text) {}

  Result<PropertyList> read() {
    if (readProlog() && readRoot() && readEpilog()) return std::move(root_);
    return std::move(error_);
  }

 private:
  // A start tag, or an end tag.
  struct Tag {
    std::size_t start = 0;
    std::string_view name;
    bool isEnd = false;
    bool isEmpty = false;  // <name/>
  };

  // A container that has not ended. What it holds so far is at the end of pending_.
  struct Open {
    Element element;
    std::size_t firstPending;
    std::uint32_t key = 0;  // the number of the one whose value comes next
    bool hasKey = false;
  };

  // A value whose container has not ended.
  struct Pending {
    PropertyList value;
    std::uint32_t key;  // in a dictionary
  };

  bool fail(std::size_t at, std::string_view what) {
    error_ = detail::xmlError(text_, at, what);
    return false;
  }

  [[nodiscard]] bool atEnd() const noexcept { return at_ == text_.size(); }
  [[nodiscard]] bool sees(std::string_view what) const noexcept {
    return text_.substr(at_, what.size()) == what;
  }
  bool take(std::string_view what) noexcept {
    if (!sees(what)) return false;
    at_ += what.size();
    return true;
  }
  void skipSpace() noexcept {
    while (!atEnd() && isSpace(text_[at_])) ++at_;
  }

  // Moves past the next `what`; `unit` names what it should have ended.
  bool skipPast(std::string_view what, std::string_view unit) {
    const std::size_t found = text_.find(what, at_);
    if (found == std::string_view::npos) return fail(at_, std::string(unit) + " without end");
    at_ = found + what.size();
    return true;
  }

  // Moves past a comment or a processing instruction, if one begins here; else `found` is false.
  bool skipMisc(bool& found) {
    const std::size_t start = at_;
    found = false;
    if (text_.size() - at_ < 2 || text_[at_] != '<' ||
        (text_[at_ + 1] != '!' && text_[at_ + 1] != '?')) {
      return true;
    }
    found = true;
    if (take("<!--")) return skipPast("-->", "comment");
    if (take("<?")) {
      if (atEnd() || kSpace.find(text_[at_]) != std::string_view::npos || sees("?")) {
        return fail(start, "processing instruction without a name");
      }
      if (sees("xml ") || sees("xml\t") || sees("xml\n") || sees("xml?")) {
        return fail(start, "XML declaration that is not at the beginning");
      }
      return skipPast("?>", "processing instruction");
    }
    found = false;
    return true;
  }

  // Moves to the next thing that is neither white space, comment nor processing instruction.
  bool skipToNext() {
    for (bool found = true; found;) {
      skipSpace();
      if (!skipMisc(found)) return false;
    }
    return true;
  }

  // Moves past CDATA sections between elements, which say no more than the white space in them.
  bool skipBlankSections() {
    while (text_.size() - at_ > 1 && text_[at_ + 1] == '!') {
      const std::size_t start = at_;
      if (!take("<![CDATA[")) return true;
      const std::size_t contents = at_;
      if (!skipPast("]]>", "CDATA section")) return false;
      if (!trimmed(text_.substr(contents, at_ - 3 - contents)).empty()) {
        return fail(start, "text where a value belongs");
      }
      if (!skipToNext()) return false;
    }
    return true;
  }

  bool readProlog() {
    if (sees("<?xml ") || sees("<?xml\t") || sees("<?xml\n")) {
      if (!skipPast("?>", "XML declaration")) return false;
    }
    if (!skipToNext()) return false;
    return !sees("<!DOCTYPE") || (skipDocumentType() && skipToNext());
  }

  bool skipDocumentType() {
    const std::size_t start = at_;
    at_ += std::string_view("<!DOCTYPE").size();
    if (!skipDeclaration(start, "document type", "[>")) return false;
    if (take(">")) return true;
    ++at_;
    if (!skipSubset(start)) return false;
    skipSpace();
    return take(">") || fail(start, "document type without end");
  }

  // Moves to the first of `ends` that is not in quotes.
  bool skipDeclaration(std::size_t start, std::string_view unit, std::string_view ends) {
    while (!atEnd()) {
      const char next = text_[at_];
      if (ends.find(next) != std::string_view::npos) return true;
      if (next == '<') break;
      ++at_;
      if ((next == '"' || next == '\'') && !skipPast(std::string_view(&next, 1), "literal")) {
        return false;
      }
    }
    return fail(start, std::string(unit) + " without end");
  }

  // What a document type declares has no bearing on a property list. Only a reference to a
  // parameter entity is refused, because what it stands for might.
  bool skipSubset(std::size_t start) {
    while (true) {
      if (!skipToNext()) return false;
      const std::size_t declaration = at_;
      if (take("]")) return true;
      if (atEnd()) return fail(start, "document type without end");
      if (sees("%")) return fail(at_, "reference to a parameter entity");
      if (!take("<!")) return fail(at_, "text in the document type");
      if (!skipDeclaration(declaration, "declaration", ">")) return false;
      ++at_;
    }
  }

  bool readRoot() {
    Tag tag;
    if (!sees("<")) return fail(at_, atEnd() ? "no root element" : "text before the root element");
    if (!readTag(tag)) return false;
    if (tag.isEnd || tag.name != "plist") return fail(tag.start, "root element is not plist");
    if (tag.isEmpty) return fail(tag.start, "plist without a value");
    while (!isComplete_) {
      if (!readNext()) return false;
    }
    return true;
  }

  bool readEpilog() {
    if (!skipToNext()) return false;
    return atEnd() || fail(at_, sees("<") ? "second root element" : "text after the root element");
  }

  // Reads the next tag between values, and the value that it begins.
  bool readNext() {
    if (!skipToNext() || !skipBlankSections()) return false;
    if (atEnd()) return fail(at_, "file ends before </plist>");
    if (!sees("<")) return fail(at_, "text where a value belongs");
    Tag tag;
    if (!readTag(tag)) return false;
    return tag.isEnd ? readEnd(tag) : readValue(tag);
  }

  bool readTag(Tag& tag) {
    tag.start = at_;
    ++at_;
    tag.isEnd = take("/");
    const std::size_t name = at_;
    while (!atEnd() && !endsName(text_[at_])) ++at_;
    tag.name = text_.substr(name, at_ - name);
    if (tag.name.empty()) return fail(tag.start, "tag without a name");
    while (true) {
      const std::size_t before = at_;
      skipSpace();
      if (take(">")) return true;
      if (!tag.isEnd && take("/>")) return tag.isEmpty = true;
      if (tag.isEnd || at_ == before || atEnd()) return fail(tag.start, "tag without end");
      if (!skipAttribute()) return false;
    }
  }

  // Attributes mean nothing in a property list, but must be well formed.
  bool skipAttribute() {
    const std::size_t start = at_;
    const std::size_t end = std::min(text_.find_first_of(" \t\n=/><\"'&", at_), text_.size());
    const bool isNamed = end != at_;
    at_ = end;
    skipSpace();
    if (!isNamed || !take("=")) return fail(start, "malformed attribute");
    skipSpace();
    if (!sees("\"") && !sees("'")) return fail(start, "attribute value without quotes");
    const char quote = text_[at_++];
    for (; !atEnd() && text_[at_] != quote; ++at_) {
      if (text_[at_] == '<') return fail(start, "\"<\" in an attribute value");
      if (text_[at_] != '&') continue;
      scratch_.clear();
      if (!readReference()) return false;
      --at_;
    }
    return take(std::string_view(&quote, 1)) || fail(start, "attribute value without end");
  }

  bool readEnd(const Tag& tag) {
    const std::string_view expected = open_.empty() ? "plist" : nameOf(open_.back().element);
    if (tag.name != expected) {
      return fail(tag.start,
                  "end tag " + shown(tag.name) + " where " + shown(expected) + " is open");
    }
    if (open_.empty()) {
      isComplete_ = hasRoot_;
      return hasRoot_ || fail(tag.start, "plist without a value");
    }
    return closeContainer(tag.start);
  }

  bool readValue(const Tag& tag) {
    const Element element = elementOf(tag.name);
    if (element == Element::Key) return readKey(tag);
    if (element == Element::Array || element == Element::Dictionary) {
      return openContainer(tag, element);
    }
    PropertyList value;
    return readScalar(tag, element, value) && place(tag.start, std::move(value));
  }

  bool readKey(const Tag& tag) {
    if (open_.empty() || open_.back().element != Element::Dictionary) {
      return fail(tag.start, "key outside a dictionary");
    }
    if (open_.back().hasKey) return fail(tag.start, "two keys in a row");
    std::string_view text;
    if (!readContent(tag, text)) return false;
    open_.back().key =
        keys_.number(text, detail::hashOf(text), [&] { return keyStrings_.create(text); });
    open_.back().hasKey = true;
    return true;
  }

  // Whether a value may stand here.
  bool expectsValue(std::size_t at) {
    if (open_.empty()) return !hasRoot_ || fail(at, "second value in plist");
    if (open_.back().element == Element::Array || open_.back().hasKey) return true;
    return fail(at, "value without a key");
  }

  bool place(std::size_t at, PropertyList value) {
    if (!expectsValue(at)) return false;
    if (open_.empty()) {
      root_ = std::move(value);
      hasRoot_ = true;
    } else {
      pending_.push_back({std::move(value), open_.back().key});
      open_.back().hasKey = false;
    }
    return true;
  }

  bool openContainer(const Tag& tag, Element element) {
    if (!expectsValue(tag.start)) return false;
    if (open_.size() == kMaxNesting) {
      return fail(tag.start, "nested deeper than " + std::to_string(kMaxNesting) + " levels");
    }
    open_.push_back({element, pending_.size()});
    return !tag.isEmpty || closeContainer(tag.start);
  }

  bool closeContainer(std::size_t at) {
    const Open container = open_.back();
    open_.pop_back();
    if (container.hasKey) return fail(at, "key without a value");
    const std::span<Pending> contents = std::span(pending_).subspan(container.firstPending);
    PropertyList value = container.element == Element::Array ? PropertyList(arrayOf(contents))
                                                             : PropertyList(dictionaryOf(contents));
    pending_.erase(pending_.end() - static_cast<std::ptrdiff_t>(contents.size()), pending_.end());
    return place(at, std::move(value));
  }

  static Array arrayOf(std::span<Pending> contents) {
    if (contents.empty()) return {};
    Shared<ArrayNode> node(ArrayNode::create(contents.size()));
    for (Pending& each : contents) {
      std::construct_at(node->items() + node->size, std::move(each.value));
      ++node->size;
    }
    return Access::arrayOf(std::move(node));
  }

  // Of a repeated key the last value counts, in the place of the first.
  Dictionary dictionaryOf(std::span<Pending> contents) {
    if (contents.empty()) return {};
    Shared<DictionaryNode> node(DictionaryNode::create(contents.size()));
    ++dictionary_;
    names_.clear();
    for (Pending& each : contents) {
      KeySet::Key& key = keys_[each.key];
      if (key.dictionary == dictionary_) {
        node->items()[key.place] = std::move(each.value);
        continue;
      }
      key.dictionary = dictionary_;
      key.place = node->size;
      names_.push_back(each.key);
      std::construct_at(node->items() + node->size, std::move(each.value));
      ++node->size;
    }
    node->keys = namedKeys();
    return Access::dictionaryOf(std::move(node));
  }

  // The keys of the numbers in names_.
  Shared<KeysNode> namedKeys() {
    const std::string_view names(reinterpret_cast<const char*>(names_.data()),
                                 names_.size() * sizeof(std::uint32_t));
    const std::uint32_t hash = detail::hashOf(names);
    if (const Shared<KeysNode>* known = keyLists_.find(names, hash)) return *known;
    Shared<KeysNode> keys(KeysNode::create(names_.size()));
    for (const std::uint32_t name : names_) detail::addKey(*keys, keys_[name].node);
    keyLists_.add(knownNames_.emplace_back(names), hash, keys);
    return keys;
  }

  bool readScalar(const Tag& tag, Element element, PropertyList& value) {
    if (element == Element::Unknown) return fail(tag.start, "unknown element " + shown(tag.name));
    std::string_view text;
    if (!readContent(tag, text)) return false;
    if (element == Element::String) {
      value = Access::string(strings_.create(text));
      return true;
    }
    if (element == Element::Data) {
      const auto bytes = detail::parseBase64(text);
      if (bytes) value = PropertyList::data(*bytes);
      return bytes || fail(tag.start, "data that is not base64");
    }
    const std::string_view bare = trimmed(text);
    if (element == Element::True || element == Element::False) {
      value = element == Element::True;
      return bare.empty() || fail(tag.start, "text in " + std::string(tag.name));
    }
    return readNumber(tag, element, bare, value);
  }

  bool readNumber(const Tag& tag, Element element, std::string_view text, PropertyList& value) {
    bool isGood = false;
    if (element == Element::Integer) {
      const auto integer = detail::parseInteger(text);
      isGood = integer.has_value();
      if (integer) value = *integer;
    } else if (element == Element::Real) {
      const auto real = detail::parseReal(text);
      isGood = real.has_value();
      if (real) value = *real;
    } else {
      const auto date = detail::parseDate(text);
      isGood = date.has_value();
      if (date) value = PropertyList::date(*date);
    }
    return isGood ||
           fail(tag.start, std::string(tag.name) + " that cannot be read: " + shown(text));
  }

  static std::string_view trimmed(std::string_view text) noexcept {
    const std::size_t first = text.find_first_not_of(kSpace);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
  }

  // The text up to and past the element's end tag. The view lives until the next reading.
  bool readContent(const Tag& tag, std::string_view& text) {
    text = {};
    if (tag.isEmpty) return true;
    // Most text is plain and needs no copy.
    const std::size_t start = at_;
    skipPlainText();
    text = text_.substr(start, at_ - start);
    if (sees("</")) return readEndOf(tag);
    scratch_ = text;
    while (!sees("</")) {
      if (!readPiece(tag)) return false;
    }
    text = scratch_;
    return readEndOf(tag);
  }

  void skipPlainText() noexcept {
    at_ = detail::scan(text_, at_, [](auto byte) { return (byte == '<') | (byte == '&'); });
  }

  // At "</".
  bool readEndOf(const Tag& tag) {
    const std::string_view rest = text_.substr(at_ + 2);
    const std::size_t length = tag.name.size();
    if (rest.size() > length && rest[length] == '>' && rest.starts_with(tag.name)) {
      at_ += 2 + length + 1;
      return true;
    }
    Tag end;
    if (!readTag(end)) return false;
    if (end.name == tag.name) return true;
    return fail(end.start, "end tag " + shown(end.name) + " where " + shown(tag.name) + " is open");
  }

  // Appends the next piece of an element's text to scratch_.
  bool readPiece(const Tag& tag) {
    if (atEnd()) return fail(tag.start, std::string(tag.name) + " without end tag");
    if (sees("&")) return readReference();
    const std::size_t start = at_;
    if (take("<![CDATA[")) {
      const std::size_t contents = at_;
      if (!skipPast("]]>", "CDATA section")) return false;
      scratch_ += text_.substr(contents, at_ - 3 - contents);
      return true;
    }
    if (sees("<")) {
      bool found = false;
      if (!skipMisc(found)) return false;
      return found || fail(start, "element inside " + std::string(tag.name));
    }
    skipPlainText();
    scratch_ += text_.substr(start, at_ - start);
    return true;
  }

  // Appends what a reference stands for to scratch_.
  bool readReference() {
    // Leading zeros aside, no reference that is good is longer.
    const std::size_t start = at_;
    const std::size_t end = text_.find_first_of(";<& \t\n\"'", at_ + 1);
    if (end == std::string_view::npos || text_[end] != ';') {
      return fail(start, "\"&\" that begins no reference");
    }
    const std::string_view name = text_.substr(start + 1, end - start - 1);
    at_ = end + 1;
    if (name.starts_with('#')) return readCharacter(start, name.substr(1));
    constexpr std::pair<std::string_view, char> kEntities[] = {
        {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
    for (const auto& [entity, character] : kEntities) {
      if (name == entity) {
        scratch_ += character;
        return true;
      }
    }
    return fail(start, "unknown entity " + shown(name));
  }

  bool readCharacter(std::size_t start, std::string_view digits) {
    const bool isHex = digits.starts_with('x');
    if (isHex) digits.remove_prefix(1);
    std::uint32_t point = 0;
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, point, isHex ? 16 : 10);
    if (error != std::errc() || stop != end || !detail::isXmlCharacter(point)) {
      return fail(start, "reference to no character that XML allows");
    }
    detail::appendUtf8(scratch_, point);
    return true;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::vector<Open> open_;
  std::vector<Pending> pending_;
  PropertyList root_;
  bool hasRoot_ = false;
  bool isComplete_ = false;  // </plist> has been read
  KeySet keys_;
  detail::KeyLists keyLists_;
  std::vector<std::uint32_t> names_;    // the numbers of a dictionary's keys
  std::deque<std::string> knownNames_;  // the same of those in keyLists_, as bytes
  detail::StringPool strings_;
  detail::StringPool keyStrings_;
  std::uint32_t dictionary_ = 0;  // how many have ended
  std::string scratch_;           // text that is not a plain piece of text_
  Error error_;
};

}  // namespace

Result<PropertyList> readXml(std::span<const std::uint8_t> bytes) {
  const auto text = detail::XmlText::decode(bytes);
  if (!text) return text.error();
  return XmlReader(text->text()).read();
}

}  // namespace accountsettings
