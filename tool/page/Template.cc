// The reading and the filling of templates.
#include "tool/page/Template.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/AssertionFailure.h"
#include "plist/Visible.h"

namespace accountsettings {
namespace {

constexpr std::string_view kOpen = "{{";
constexpr std::string_view kClose = "}}";

[[noreturn]] void fail(const std::string& what, std::string_view name) {
  throw AssertionFailure(what + " \"" + std::string(name) + "\" in the template of a page",
                         "filledTemplate", "Template");
}

// A piece of a template.
struct Piece {
  char kind = ' ';        // ' ' for markup, '=' for a value, else the sign before the name
  std::string_view text;  // the markup, or the name
  std::vector<Piece> inner = {};
};

// Parser takes a template apart.
class Parser {
 public:
  explicit Parser(std::string_view text) : rest_(text) {}

  std::vector<Piece> parse() {
    std::vector<Piece> pieces = parseUntil({});
    if (!rest_.empty()) fail("nothing opens", rest_.substr(0, 40));
    return pieces;
  }

 private:
  // The pieces up to the end of the section `name`, which is taken too.
  std::vector<Piece> parseUntil(std::string_view name) {
    std::vector<Piece> pieces;
    while (!rest_.empty()) {
      const std::size_t open = std::min(rest_.find(kOpen), rest_.size());
      if (open > 0) pieces.push_back({' ', rest_.substr(0, open)});
      if (open == rest_.size()) break;
      const std::size_t close = rest_.find(kClose, open);
      if (close == std::string_view::npos) fail("nothing closes", rest_.substr(open, 40));
      std::string_view place = rest_.substr(open + kOpen.size(), close - open - kOpen.size());
      if (place.empty()) fail("no name is in", kOpen);
      if (place == "/" + std::string(name)) {
        rest_.remove_prefix(close + kClose.size());
        return pieces;
      }
      if (place.starts_with('/')) return pieces;
      rest_.remove_prefix(close + kClose.size());
      char kind = '=';
      if (std::string_view("#^>").find(place.front()) != std::string_view::npos) {
        kind = place.front();
        place.remove_prefix(1);
      }
      pieces.push_back({kind, place});
      if (kind == '#' || kind == '^') pieces.back().inner = parseUntil(place);
    }
    if (!name.empty()) fail("nothing closes", name);
    rest_ = {};
    return pieces;
  }

  std::string_view rest_;
};

// Filler writes the pieces with what the data has for them.
class Filler {
 public:
  explicit Filler(const TemplateParts& parts) : parts_(parts) {}

  void fill(const std::vector<Piece>& pieces, const Dictionary& data) {
    scopes_.push_back(&data);
    for (const Piece& each : pieces) fill(each);
    scopes_.pop_back();
  }
  std::string take() { return std::move(result_); }

 private:
  void fill(const Piece& piece) {
    switch (piece.kind) {
      case ' ':
        result_ += piece.text;
        break;
      case '=':
        fillValue(piece.text);
        break;
      case '>':
        fill(partNamed(piece.text), *scopes_.back());
        break;
      case '#':
        fillSection(piece);
        break;
      default:
        if (!isThere(find(piece.text))) fill(piece.inner, *scopes_.back());
    }
  }

  void fillValue(std::string_view name) {
    const PropertyList* value = find(name);
    if (value == nullptr) fail("there is no value", name);
    if (const auto text = value->stringValue()) {
      result_ += htmlText(*text);
    } else if (value->kind() == PropertyList::Kind::Integer) {
      result_ += std::to_string(value->integerValue());
    } else {
      fail("neither a text nor an integer is", name);
    }
  }

  void fillSection(const Piece& piece) {
    const PropertyList* value = find(piece.text);
    if (!isThere(value)) return;
    if (const Array* list = value->array()) {
      for (const PropertyList& each : *list) {
        if (each.dictionary() == nullptr) fail("no dictionary is in", piece.text);
        fill(piece.inner, *each.dictionary());
      }
    } else {
      const Dictionary* inner = value->dictionary();
      fill(piece.inner, inner != nullptr ? *inner : *scopes_.back());
    }
  }

  static bool isThere(const PropertyList* value) {
    if (value == nullptr) return false;
    if (const Array* list = value->array()) return !list->empty();
    if (const auto text = value->stringValue()) return !text->empty();
    return value->dictionary() != nullptr || value->booleanValue();
  }

  [[nodiscard]] const PropertyList* find(std::string_view name) const {
    for (auto scope = scopes_.rbegin(); scope != scopes_.rend(); ++scope) {
      if (const PropertyList* value = (*scope)->find(name)) return value;
    }
    return nullptr;
  }

  const std::vector<Piece>& partNamed(std::string_view name) {
    const auto known = parsed_.find(name);
    if (known != parsed_.end()) return known->second;
    const auto part = parts_.find(name);
    if (part == parts_.end()) fail("there is no part", name);
    return parsed_.emplace(name, Parser(part->second).parse()).first->second;
  }

  const TemplateParts& parts_;
  std::map<std::string_view, std::vector<Piece>> parsed_;
  std::vector<const Dictionary*> scopes_;
  std::string result_;
};

}  // namespace

std::string filledTemplate(std::string_view text, const TemplateParts& parts,
                           const Dictionary& data) {
  Filler filler(parts);
  filler.fill(Parser(text).parse(), data);
  return filler.take();
}

std::string timeForPeople(std::string_view time) {
  return std::string(time.substr(0, 10)) + " " + std::string(time.substr(11, 8)) + " UTC";
}

std::string htmlText(std::string_view text) {
  std::string result;
  for (const char unit : visible(text)) {
    switch (unit) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      case '\'':
        result += "&#39;";
        break;
      default:
        result += unit;
    }
  }
  return result;
}

}  // namespace accountsettings
