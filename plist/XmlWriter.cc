// The writer of the XML form. A first walk looks at each stored value once: it
// finds what the form cannot hold and how long the document would be. The
// second walk writes.
#include "plist/XmlWriter.h"

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "plist/Access.h"
#include "plist/PointerMap.h"
#include "plist/Text.h"
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
constexpr std::size_t kDataLine = 57;  // bytes, which are 76 characters

// A document may be so long whatever is stored, and so many times as long as what is stored.
constexpr double kFreeLength = 1024.0 * 1024;
constexpr double kMaxGrowth = 64;
// At least what a value takes without its text: two lines, indented, with its tags.
constexpr double kTags = 64;

// What stands for a character of a text; empty where it stands for itself.
std::string_view escapeOf(char character) noexcept {
  switch (character) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '\r':
      return "&#13;";
    default:
      return {};
  }
}

// How long a text is when written; none where it has a character that XML forbids.
std::optional<std::size_t> escapedLength(std::string_view text) noexcept {
  std::size_t length = 0;
  while (!text.empty()) {
    const detail::CodePoint point = detail::firstCodePoint(text);
    if (point.length == 0 || !detail::isXmlCharacter(point.value)) return std::nullopt;
    length += std::max(point.length, escapeOf(text[0]).size());
    text.remove_prefix(point.length);
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

 private:
  // How much a value takes in the document, and how deep the containers in it nest.
  struct Extent {
    double length = 0;
    std::size_t height = 0;
  };

  // Answers what is in the way of this value, or of its key; empty where nothing is.
  std::string_view visit(Walk& walk) {
    if (const detail::Entry* entry = walk.entry()) {
      if (!addText(Access::key(*entry).get()))
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

  bool addText(const detail::StringNode* node) {
    add(1, kTags);
    if (node == nullptr || addKnown(node) != nullptr) return true;
    const auto length = escapedLength(node->text());
    if (!length) return false;
    remember(node, {static_cast<double>(*length), 0});
    add(node->size, static_cast<double>(*length));
    return true;
  }

  void addData(const detail::DataNode* node) {
    if (node == nullptr || addKnown(node) != nullptr) return;
    const auto size = static_cast<double>(node->size);
    remember(node, {2 * size, 0});
    add(size, 2 * size);
  }

  // Answers whether the container does not nest too deep.
  bool enter(Walk& walk) {
    if (walk.depth() == kMaxNesting) return false;
    const detail::Counted* node = Access::container(walk.value());
    if (node == nullptr) return true;
    if (const Extent* known = addKnown(node)) return walk.depth() + known->height <= kMaxNesting;
    open_.push_back({0, 1});
    walk.enter();
    return true;
  }

  void leave(const PropertyList& container) {
    const Extent extent = open_.back();
    open_.pop_back();
    add(extent);
    remember(Access::container(container), extent);
  }

  void add(const Extent& inner) {
    Extent& outer = open_.back();
    outer.length += inner.length;
    outer.height = std::max(outer.height, inner.height + 1);
  }

  // Adds a node that has been seen; answers its extent, or nullptr where it has not.
  const Extent* addKnown(const detail::Counted* node) {
    const Extent* extent = node->shared() ? seen_.find(node) : nullptr;
    if (extent != nullptr) add(*extent);
    return extent;
  }
  void remember(const detail::Counted* node, const Extent& extent) {
    if (node->shared()) seen_.insert(node, extent);
  }

  double stored_ = 0;
  std::vector<Extent> open_{{}};  // of each container entered, below them the document
  detail::PointerMap<Extent> seen_;
};

// Document is the second walk.
class Document {
 public:
  Bytes write(const PropertyList& root) {
    add(kHead);
    Walk walk(root);
    for (auto event = walk.next(); event != Walk::Event::End; event = walk.next()) {
      indent(walk.depth());
      if (event == Walk::Event::Leave) {
        add(walk.value().array() != nullptr ? "</array>\n" : "</dict>\n");
        continue;
      }
      if (const detail::Entry* entry = walk.entry()) {
        element("key", entry->key());
        indent(walk.depth());
      }
      addValue(walk);
    }
    add(kTail);
    return std::move(bytes_);
  }

 private:
  void add(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }

  void indent(std::size_t depth) { bytes_.insert(bytes_.end(), std::min(depth, kMaxIndent), '\t'); }

  void addEscaped(std::string_view text) {
    while (!text.empty()) {
      const std::size_t plain = std::min(text.find_first_of("&<>\r"), text.size());
      add(text.substr(0, plain));
      if (plain == text.size()) return;
      add(escapeOf(text[plain]));
      text.remove_prefix(plain + 1);
    }
  }

  void element(std::string_view name, std::string_view text) {
    add("<");
    add(name);
    add(">");
    addEscaped(text);
    add("</");
    add(name);
    add(">\n");
  }

  void addValue(Walk& walk) {
    const PropertyList& value = walk.value();
    switch (value.kind()) {
      case Kind::String:
        return element("string", *value.stringValue());
      case Kind::Integer:
        return element("integer", value.isUnsigned() ? std::to_string(value.unsignedValue())
                                                     : std::to_string(value.integerValue()));
      case Kind::Real:
        return element("real", detail::formatReal(*value.real()));
      case Kind::Boolean:
        return add(value.booleanValue() ? "<true/>\n" : "<false/>\n");
      case Kind::Date:
        return element("date", *detail::formatDate(*value.dateSeconds()));
      case Kind::Data:
        return addData(*value.dataValue(), walk.depth());
      case Kind::Uid:
        return;  // refused by the survey
      case Kind::Array:
        return open(walk, "array", value.array()->empty());
      case Kind::Dictionary:
        return open(walk, "dict", value.dictionary()->empty());
    }
  }

  void open(Walk& walk, std::string_view name, bool isEmpty) {
    add("<");
    add(name);
    add(isEmpty ? "/>\n" : ">\n");
    if (!isEmpty) walk.enter();
  }

  void addData(std::span<const std::uint8_t> data, std::size_t depth) {
    add("<data>");
    for (std::size_t at = 0; at < data.size(); at += kDataLine) {
      add("\n");
      indent(depth);
      line_.clear();
      detail::appendBase64(line_, data.subspan(at, std::min(kDataLine, data.size() - at)));
      add(line_);
    }
    if (!data.empty()) {
      add("\n");
      indent(depth);
    }
    add("</data>\n");
  }

  Bytes bytes_;
  std::string line_;
};

}  // namespace

Result<Bytes> writeXml(const PropertyList& value) {
  if (auto obstacle = Survey().run(value)) return std::move(*obstacle);
  return Document().write(value);
}

}  // namespace accountsettings
