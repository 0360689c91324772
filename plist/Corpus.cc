// Reading of the sample files' tables and notes.
#include "plist/Corpus.h"

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "plist/Text.h"
#include "plist/XmlScalars.h"

namespace accountsettings {
namespace {

std::vector<std::string> split(const std::string& line) {
  std::vector<std::string> cells;
  std::size_t start = 0;
  for (std::size_t tab; (tab = line.find('\t', start)) != std::string::npos; start = tab + 1) {
    cells.push_back(line.substr(start, tab - start));
  }
  cells.push_back(line.substr(start));
  return cells;
}

// Notation reads the JSON notation of the samples, of which it needs a small part.
class Notation {
 public:
  explicit Notation(std::string_view text) : text_(text) {}

  PropertyList value() {
    take('{');
    const std::string kind = string();
    take(':');
    PropertyList result = valueOfKind(kind);
    take('}');
    return result;
  }

 private:
  PropertyList valueOfKind(const std::string& kind) {
    if (kind == "string") return string();
    if (kind == "int") return *detail::parseInteger(string());
    if (kind == "uid") return PropertyList::uid(number<std::uint64_t>(string(), 10));
    if (kind == "real") return bits();
    if (kind == "date") return PropertyList::date(bits());
    if (kind == "data") return PropertyList::data(detail::parseBase64(string()).value());
    if (kind == "bool") return word() == "true";
    if (kind == "array") return array();
    if (kind == "dict") return dictionary();
    throw std::runtime_error("unknown kind " + kind);
  }

  char peek() {
    while (text_.at(at_) == ' ' || text_.at(at_) == '\n') ++at_;
    return text_.at(at_);
  }
  void take(char expected) {
    if (peek() != expected) throw std::runtime_error(std::string("no ") + expected);
    ++at_;
  }
  bool takeIf(char character) {
    if (peek() != character) return false;
    ++at_;
    return true;
  }

  std::string_view word() {
    peek();
    const std::size_t start = at_;
    while (text_.at(at_) >= 'a' && text_.at(at_) <= 'z') ++at_;
    return text_.substr(start, at_ - start);
  }

  template <class T>
  static T number(std::string_view digits, int base) {
    T value{};
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    if (result.ec != std::errc()) throw std::runtime_error("no number");
    return value;
  }

  double bits() {
    take('[');
    const auto value = number<std::uint64_t>(string(), 16);
    take(',');
    string();
    take(']');
    return std::bit_cast<double>(value);
  }

  std::string string() {
    take('"');
    std::string result;
    while (text_.at(at_) != '"') {
      if (text_[at_] == '\\') {
        escape(result);
      } else {
        result += text_[at_++];
      }
    }
    ++at_;
    return result;
  }

  void escape(std::string& result) {
    constexpr std::string_view kNames = "bfnrt\"\\/";
    constexpr std::string_view kMeanings = "\b\f\n\r\t\"\\/";
    const char name = text_.at(at_ + 1);
    at_ += 2;
    if (name != 'u') {
      result += kMeanings.at(kNames.find(name));
      return;
    }
    std::uint32_t point = unit();
    if (detail::isHighSurrogate(point)) {
      at_ += 2;
      point = detail::joined(point, unit());
    }
    detail::appendUtf8(result, point);
  }

  std::uint32_t unit() {
    const auto value = number<std::uint32_t>(text_.substr(at_, 4), 16);
    at_ += 4;
    return value;
  }

  Array array() {
    Array result;
    take('[');
    if (takeIf(']')) return result;
    do {
      if (text_.substr(at_).starts_with("{\"repeat\"")) {
        repeat(result);
      } else {
        result.append(value());
      }
    } while (takeIf(','));
    take(']');
    return result;
  }

  void repeat(Array& result) {
    take('{');
    string();
    take(':');
    take('[');
    peek();
    const std::size_t start = at_;
    while (text_.at(at_) >= '0' && text_.at(at_) <= '9') ++at_;
    const auto times = number<std::size_t>(text_.substr(start, at_ - start), 10);
    take(',');
    const Array items = array();
    take(']');
    take('}');
    for (std::size_t i = 0; i < times; ++i) {
      for (const PropertyList& item : items) result.append(item);
    }
  }

  Dictionary dictionary() {
    Dictionary result;
    take('[');
    if (takeIf(']')) return result;
    do {
      take('[');
      const std::string key = string();
      take(',');
      result.set(key, value());
      take(']');
    } while (takeIf(','));
    take(']');
    return result;
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

Bytes fileBytes(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.good()) << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

Bytes bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

Bytes bytesOfHex(std::string_view hex) {
  Bytes bytes;
  for (std::size_t at = 0; at + 2 <= hex.size(); at += 2) {
    std::uint8_t byte = 0;
    std::from_chars(hex.data() + at, hex.data() + at + 2, byte, 16);
    bytes.push_back(byte);
  }
  return bytes;
}

std::vector<Row> tableRows(const std::filesystem::path& path) {
  std::ifstream file(path);
  EXPECT_TRUE(file.good()) << path;
  std::string line;
  std::getline(file, line);
  const std::vector<std::string> header = split(line);
  std::vector<Row> rows;
  while (std::getline(file, line)) {
    const std::vector<std::string> cells = split(line);
    EXPECT_EQ(cells.size(), header.size()) << path << ": " << line;
    Row& row = rows.emplace_back();
    for (std::size_t i = 0; i < cells.size(); ++i) row[header[i]] = cells[i];
  }
  return rows;
}

std::filesystem::path corpusPath(std::string_view name) {
  return std::filesystem::path(AS_CORPUS) / name;
}

PropertyList notedValue(const std::filesystem::path& path) {
  const Bytes bytes = fileBytes(path);
  return Notation({reinterpret_cast<const char*>(bytes.data()), bytes.size()}).value();
}

std::vector<SampleCase> invalidCases() {
  std::vector<SampleCase> cases;
  for (const Row& row : tableRows(corpusPath("invalid/manifest.tsv"))) {
    const std::string& name = row.at("file");
    cases.push_back({name, row.at("outcome"), fileBytes(corpusPath("invalid/" + name))});
  }
  for (const Row& row : tableRows(corpusPath("invalid/inline.tsv"))) {
    cases.push_back({row.at("name"), row.at("outcome"), bytesOfHex(row.at("hex"))});
  }
  return cases;
}

}  // namespace accountsettings
