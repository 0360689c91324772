// The reader of the XML form: one pass over the text, with a stack of its own
// for the containers that are open.
#include "plist/XmlReader.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "plist/Access.h"
#include "plist/Interner.h"
#include "plist/Quote.h"
#include "plist/Text.h"
#include "plist/XmlScalars.h"
#include "plist/XmlText.h"

namespace accountsettings {
namespace {

using detail::Access;
using detail::Shared;
using detail::StringNode;

constexpr std::string_view kSpace = " \t\n";

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

  // A container that has not ended.
  struct Open {
    PropertyList::Kind kind;
    Array array;  // one of the two
    Dictionary dictionary;
    Shared<StringNode> key;
    bool hasKey = false;
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
  void skipSpace() noexcept { at_ = std::min(text_.find_first_not_of(kSpace, at_), text_.size()); }

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
    if (!skipToNext()) return false;
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
    const std::size_t end = std::min(text_.find_first_of(" \t\n/><", at_), text_.size());
    tag.name = text_.substr(at_, end - at_);
    at_ = end;
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
    const std::string_view expected = open_.empty() ? "plist" : nameOf(open_.back().kind);
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

  static std::string_view nameOf(PropertyList::Kind kind) noexcept {
    return kind == PropertyList::Kind::Array ? "array" : "dict";
  }

  bool readValue(const Tag& tag) {
    if (tag.name == "key") return readKey(tag);
    if (tag.name == "array") return openContainer(tag, PropertyList::Kind::Array);
    if (tag.name == "dict") return openContainer(tag, PropertyList::Kind::Dictionary);
    PropertyList value;
    return readScalar(tag, value) && place(tag.start, std::move(value));
  }

  bool readKey(const Tag& tag) {
    if (open_.empty() || open_.back().kind != PropertyList::Kind::Dictionary) {
      return fail(tag.start, "key outside a dictionary");
    }
    if (open_.back().hasKey) return fail(tag.start, "two keys in a row");
    std::string_view text;
    if (!readContent(tag, text)) return false;
    open_.back().key = keys_.node(text);
    open_.back().hasKey = true;
    return true;
  }

  // Whether a value may stand here.
  bool expectsValue(std::size_t at) {
    if (open_.empty()) return !hasRoot_ || fail(at, "second value in plist");
    if (open_.back().kind == PropertyList::Kind::Array || open_.back().hasKey) return true;
    return fail(at, "value without a key");
  }

  bool place(std::size_t at, PropertyList value) {
    if (!expectsValue(at)) return false;
    if (open_.empty()) {
      root_ = std::move(value);
      hasRoot_ = true;
    } else if (Open& parent = open_.back(); parent.kind == PropertyList::Kind::Array) {
      parent.array.append(std::move(value));
    } else {
      Access::store(parent.dictionary, std::move(parent.key), std::move(value));
      parent.hasKey = false;
    }
    return true;
  }

  bool openContainer(const Tag& tag, PropertyList::Kind kind) {
    if (!expectsValue(tag.start)) return false;
    if (open_.size() == kMaxNesting) {
      return fail(tag.start, "nested deeper than " + std::to_string(kMaxNesting) + " levels");
    }
    open_.push_back({kind, {}, {}, {}});
    return !tag.isEmpty || closeContainer(tag.start);
  }

  bool closeContainer(std::size_t at) {
    Open container = std::move(open_.back());
    open_.pop_back();
    if (container.hasKey) return fail(at, "key without a value");
    if (container.kind == PropertyList::Kind::Array) return place(at, std::move(container.array));
    return place(at, std::move(container.dictionary));
  }

  bool readScalar(const Tag& tag, PropertyList& value) {
    const std::string_view name = tag.name;
    if (name != "string" && name != "integer" && name != "real" && name != "true" &&
        name != "false" && name != "date" && name != "data") {
      return fail(tag.start, "unknown element " + shown(name));
    }
    std::string_view text;
    if (!readContent(tag, text)) return false;
    if (name == "string") {
      value = text;
      return true;
    }
    if (name == "data") {
      const auto bytes = detail::parseBase64(text);
      if (bytes) value = PropertyList::data(*bytes);
      return bytes || fail(tag.start, "data that is not base64");
    }
    const std::string_view bare = trimmed(text);
    if (name == "true" || name == "false") {
      value = name == "true";
      return bare.empty() || fail(tag.start, "text in " + std::string(name));
    }
    return readNumber(tag, bare, value);
  }

  bool readNumber(const Tag& tag, std::string_view text, PropertyList& value) {
    bool isGood = false;
    if (tag.name == "integer") {
      const auto integer = detail::parseInteger(text);
      isGood = integer.has_value();
      if (integer) value = *integer;
    } else if (tag.name == "real") {
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
    at_ = std::min(text_.find_first_of("<&", at_), text_.size());
    text = text_.substr(start, at_ - start);
    if (sees("</")) return readEndOf(tag);
    scratch_ = text;
    while (!sees("</")) {
      if (!readPiece(tag)) return false;
    }
    text = scratch_;
    return readEndOf(tag);
  }

  bool readEndOf(const Tag& tag) {
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
    at_ = std::min(text_.find_first_of("<&", at_), text_.size());
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
  PropertyList root_;
  bool hasRoot_ = false;
  bool isComplete_ = false;  // </plist> has been read
  detail::Interner keys_;
  std::string scratch_;  // text that is not a plain piece of text_
  Error error_;
};

}  // namespace

Result<PropertyList> readXml(std::span<const std::uint8_t> bytes) {
  const auto text = detail::XmlText::decode(bytes);
  if (!text) return text.error();
  return XmlReader(text->text()).read();
}

}  // namespace accountsettings
