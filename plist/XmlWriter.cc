// The writer of the XML form. A first walk looks at each stored value once: it
// finds what the form cannot hold and how long the document would be. The
// second walk writes.
#include "plist/XmlWriter.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "plist/Access.h"
#include "plist/PointerMap.h"
#include "plist/Scan.h"
#include "plist/Text.h"
#include "plist/Visible.h"
#include "plist/Walk.h"
#include "plist/XmlScalars.h"
#include "plist/XmlText.h"

namespace accountsettings {
namespace {

using detail::Access;
using detail::Walk;
using Kind = PropertyList::Kind;

constexpr std::string_view kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist SYSTEM \"PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view kTail = "</plist>\n";

constexpr std::size_t kMaxIndent = 16;
constexpr std::string_view kTabs = "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";
constexpr std::size_t kDataLine = 57;  // bytes, which are 76 characters

// A document may be so long whatever is stored, and so many times as long as what is stored.
constexpr double kFreeLength = 1024.0 * 1024;
constexpr double kMaxGrowth = 64;
// At least what a value takes without its text: two lines, indented, with its tags.
constexpr double kTags = 64;

// What stands for a character of a text; empty where it stands for itself. Whoever prints a
// document shall not have a terminal driven by a text in it.
std::string escapeOf(std::uint32_t character) {
  switch (character) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '\t':
    case '\n':
      return {};
    default:
      return isVisible(character) ? std::string() : "&#" + std::to_string(character) + ";";
  }
}

// How long a text is when written; none where it has a character that XML forbids.
std::optional<std::size_t> escapedLength(std::string_view text) {
  const auto needsALook = [](auto byte) {
    return (byte < 0x20) | (byte >= 0x7F) | (byte == '&') | (byte == '<') | (byte == '>');
  };
  std::size_t length = text.size();
  std::size_t at = 0;
  while ((at = detail::scan(text, at, needsALook)) < text.size()) {
    const detail::CodePoint point = detail::firstCodePoint(text.substr(at));
    if (point.length == 0 || !detail::isXmlCharacter(point.value)) return std::nullopt;
    const std::string escape = escapeOf(point.value);
    if (!escape.empty()) length += escape.size() - point.length;
    at += point.length;
  }
  return length;
}

// Survey is the first walk. It tells how long the document will be at most, and how much is
// stored, each shared value counted once and each place that refers to one as a byte.
class Survey {
 public:
  // Why the value cannot be written; none where it can.
  std::optional<Error> run(const PropertyList& root) {
    Walk walk(root);
    for (auto event = walk.next(); event != Walk::Event::End; event = walk.next()) {
      if (event == Walk::Event::Leave) {
        leave(walk.value());
        continue;
      }
      const std::string_view obstacle = visit(walk);
      if (!obstacle.empty()) {
        return Error{walk.path() + ": " + std::string(obstacle)};
      }
    }
    if (open_.back().length <= kFreeLength + kMaxGrowth * stored_) return std::nullopt;
    return Error{
        "the root: values that are shared so often that the XML form, which spells out each, "
        "would be too large"};
  }

  // At most so long is the document.
  [[nodiscard]] double length() const noexcept { return open_.back().length; }
  // Whether there is a character that does not stand for itself.
  [[nodiscard]] bool escapes() const noexcept { return escapes_; }

 private:
  // How much a value takes in the document, and how deep the containers in it nest.
  struct Extent {
    double length = 0;
    std::size_t height = 0;
  };

  // Answers what is in the way of this value, or of its key; empty where nothing is.
  std::string_view visit(Walk& walk) {
    if (walk.isUnderKey() && !addText(walk.key(), walk.keys().shared())) {
      return "key with a character that the XML form cannot hold";
    }
    const PropertyList& value = walk.value();
    add(1, kTags);
    switch (value.kind()) {
      case Kind::String:
        return addText(Access::text(value).get())
                   ? ""
                   : "string with a character that the XML form cannot hold";
      case Kind::Data:
        addData(Access::data(value).get());
        return {};
      case Kind::Array:
      case Kind::Dictionary:
        return enter(walk) ? "" : "nested deeper than any reader accepts";
      case Kind::Date:
        return detail::formatDate(*value.dateSeconds())
                   ? ""
                   : "date that is not a whole second of the years 1 to 9999";
      case Kind::Uid:
        return "UID, which the XML form cannot hold";
      default:
        return {};
    }
  }

  void add(double stored, double length) {
    stored_ += stored;
    open_.back().length += length;
  }

  // A text may be met again where it is shared, or as a key where all the keys are.
  bool addText(const detail::StringNode* node, bool keysAreShared = false) {
    add(1, kTags);
    if (node == nullptr) return true;
    const bool isShared = keysAreShared || node->shared();
    if (addKnown(node, isShared) != nullptr) return true;
    const auto length = escapedLength(node->text());
    if (!length) return false;
    escapes_ |= *length != node->size;
    remember(node, {static_cast<double>(*length), 0}, isShared);
    add(node->size, static_cast<double>(*length));
    return true;
  }

  void addData(const detail::DataNode* node) {
    if (node == nullptr || addKnown(node, node->shared()) != nullptr) return;
    const auto size = static_cast<double>(node->size);
    remember(node, {2 * size, 0}, node->shared());
    add(size, 2 * size);
  }

  // Answers whether the container does not nest too deep.
  bool enter(Walk& walk) {
    if (walk.depth() == kMaxNesting) return false;
    const detail::Counted* node = Access::container(walk.value());
    if (node == nullptr) return true;
    if (const Extent* known = addKnown(node, node->shared()))
      return walk.depth() + known->height <= kMaxNesting;
    open_.push_back({0, 1});
    walk.enter();
    return true;
  }

  void leave(const PropertyList& container) {
    const Extent extent = open_.back();
    open_.pop_back();
    add(extent);
    const detail::Counted* node = Access::container(container);
    remember(node, extent, node->shared());
  }

  void add(const Extent& inner) {
    Extent& outer = open_.back();
    outer.length += inner.length;
    outer.height = std::max(outer.height, inner.height + 1);
  }

  // Adds a node that may have been seen if it is shared; answers its extent, or nullptr where it
  // has not.
  const Extent* addKnown(const detail::Counted* node, bool isShared) {
    const Extent* extent = isShared ? seen_.find(node) : nullptr;
    if (extent != nullptr) add(*extent);
    return extent;
  }
  void remember(const detail::Counted* node, const Extent& extent, bool isShared) {
    if (isShared) seen_.insert(node, extent);
  }

  double stored_ = 0;
  bool escapes_ = false;
  std::vector<Extent> open_{{}};  // of each container entered, below them the document
  detail::PointerMap<Extent> seen_;
};

// Document is the second walk.
class Document {
 public:
  explicit Document(const Survey& survey)
      // Tags take about half of what the survey allows for them.
      : bytes_(static_cast<std::size_t>(survey.length() / 2)), escapes_(survey.escapes()) {}

  Bytes write(const PropertyList& root) {
    put(kHead);
    Walk walk(root);
    for (auto event = walk.next(); event != Walk::Event::End; event = walk.next()) {
      needRoom(kLine);
      if (event == Walk::Event::Leave) {
        indent(walk.depth());
        walk.value().array() != nullptr ? add("</array>\n") : add("</dict>\n");
        continue;
      }
      if (walk.isUnderKey()) {
        indent(walk.depth());
        element("<key>", walk.keyText(), "</key>\n");
      }
      indent(walk.depth());
      addValue(walk);
    }
    put(kTail);
    bytes_.resize(size_);
    return std::move(bytes_);
  }

 private:
  // More than the indentation and the tags of a line, and any number or date, take.
  static constexpr std::size_t kLine = 128;

  // What follows writes at most so much before it asks again.
  void needRoom(std::size_t size) {
    if (bytes_.size() - size_ < size) bytes_.resize(2 * size_ + size);
  }

  // Adds what there is room for: a line's tags and indentation.
  template <std::size_t kSize>
  void add(const char (&text)[kSize]) noexcept {
    std::memcpy(bytes_.data() + size_, text, kSize - 1);
    size_ += kSize - 1;
  }
  void indent(std::size_t depth) noexcept {
    static_assert(kTabs.size() == kMaxIndent);
    std::memcpy(bytes_.data() + size_, kTabs.data(), kMaxIndent);  // some will be written over
    size_ += std::min(depth, kMaxIndent);
  }

  // Adds any text; room for a line is left behind it.
  void put(std::string_view text) {
    needRoom(text.size() + kLine);
    if (!text.empty()) std::memcpy(bytes_.data() + size_, text.data(), text.size());
    size_ += text.size();
  }

  void putEscaped(std::string_view text) {
    if (!escapes_) return put(text);
    // The last three begin every character beyond ASCII that has an escape, and others.
    const auto mayHaveEscape = [](auto byte) {
      return (byte == '&') | (byte == '<') | (byte == '>') | (byte == '\r') | (byte == 0x7F) |
             (byte == 0xC2) | (byte == 0xD8) | (byte == 0xE2);
    };
    while (!text.empty()) {
      const std::size_t plain = detail::scan(text, 0, mayHaveEscape);
      put(text.substr(0, plain));
      text.remove_prefix(plain);
      if (text.empty()) break;
      const detail::CodePoint point = detail::firstCodePoint(text);
      const std::string escape = escapeOf(point.value);
      put(escape.empty() ? text.substr(0, point.length) : escape);
      text.remove_prefix(point.length);
    }
  }

  template <std::size_t kStart, std::size_t kEnd>
  void element(const char (&start)[kStart], std::string_view text, const char (&end)[kEnd]) {
    add(start);
    putEscaped(text);
    add(end);
  }

  void addValue(Walk& walk) {
    const PropertyList& value = walk.value();
    switch (value.kind()) {
      case Kind::String:
        return element("<string>", *value.stringValue(), "</string>\n");
      case Kind::Integer:
        return element("<integer>",
                       value.isUnsigned() ? std::to_string(value.unsignedValue())
                                          : std::to_string(value.integerValue()),
                       "</integer>\n");
      case Kind::Real:
        return element("<real>", detail::formatReal(*value.real()), "</real>\n");
      case Kind::Boolean:
        return value.booleanValue() ? add("<true/>\n") : add("<false/>\n");
      case Kind::Date:
        return element("<date>", *detail::formatDate(*value.dateSeconds()), "</date>\n");
      case Kind::Data:
        return addData(*value.dataValue(), walk.depth());
      case Kind::Uid:
        return;  // refused by the survey
      case Kind::Array:
        if (value.array()->empty()) return add("<array/>\n");
        add("<array>\n");
        return walk.enter();
      case Kind::Dictionary:
        if (value.dictionary()->empty()) return add("<dict/>\n");
        add("<dict>\n");
        return walk.enter();
    }
  }

  void addData(std::span<const std::uint8_t> data, std::size_t depth) {
    add("<data>");
    for (std::size_t at = 0; at < data.size(); at += kDataLine) {
      add("\n");
      indent(depth);
      line_.clear();
      detail::appendBase64(line_, data.subspan(at, std::min(kDataLine, data.size() - at)));
      put(line_);
    }
    if (!data.empty()) {
      add("\n");
      indent(depth);
    }
    add("</data>\n");
  }

  Bytes bytes_;  // of which the first `size_` are written
  std::size_t size_ = 0;
  bool escapes_;
  std::string line_;
};

}  // namespace

Result<Bytes> writeXml(const PropertyList& value) {
  Survey survey;
  if (auto obstacle = survey.run(value)) return std::move(*obstacle);
  return Document(survey).write(value);
}

}  // namespace accountsettings
