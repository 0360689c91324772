#include <limits>
#include <nlohmann/json.hpp>
#include <vector>

#include "tool/frame/Dates.h"
#include "tool/frame/Digest.h"
#include "tool/frame/Json.h"

namespace accountsettings {

namespace {

constexpr std::size_t kDepthLimit = 512;

// What {"$name": value} stands for; none where it is no such form.
std::optional<PropertyList> special(std::string_view name, const PropertyList& value) {
  const auto text = value.stringValue();
  if (name == "$data" && text) {
    if (const auto bytes = bytesFromBase64(*text)) return PropertyList::data(*bytes);
  } else if (name == "$date" && text) {
    if (const auto seconds = dateFromText(*text)) return PropertyList::date(*seconds);
  } else if (name == "$date" && value.real()) {
    return PropertyList::date(*value.real());
  } else if (name == "$uid" && value.kind() == PropertyList::Kind::Integer) {
    return PropertyList::uid(value.unsignedValue());
  } else if (name == "$real" && text) {
    if (*text == "nan") return PropertyList(std::numeric_limits<double>::quiet_NaN());
    if (*text == "inf") return PropertyList(std::numeric_limits<double>::infinity());
    if (*text == "-inf") return PropertyList(-std::numeric_limits<double>::infinity());
  }
  return std::nullopt;
}

// Reader takes the parser's events and builds the value.
class Reader : public nlohmann::json_sax<nlohmann::json> {
 public:
  bool null() override { return fail("null has no place in a property list"); }
  bool boolean(bool value) override { return add(PropertyList(value)); }
  bool number_integer(number_integer_t value) override { return add(PropertyList(value)); }
  bool number_unsigned(number_unsigned_t value) override { return add(PropertyList(value)); }
  bool number_float(number_float_t value, const string_t&) override {
    return add(PropertyList(value));
  }
  bool string(string_t& value) override { return add(PropertyList(value)); }
  bool binary(binary_t&) override { return false; }  // JSON text has none

  bool start_object(std::size_t) override { return open(PropertyList(Dictionary())); }
  bool key(string_t& value) override {
    open_.back().key = value;
    return true;
  }
  bool end_object() override {
    Dictionary dictionary = std::move(open_.back().dictionary);
    open_.pop_back();
    if (dictionary.size() != 1 || !dictionary.begin()->key().starts_with('$')) {
      return add(PropertyList(std::move(dictionary)));
    }
    const std::string name(dictionary.begin()->key());
    const PropertyList value = dictionary.begin()->value();
    if (name.starts_with("$$")) return add(PropertyList(Dictionary{{name.substr(1), value}}));
    std::optional<PropertyList> meant = special(name, value);
    if (!meant) return fail("{\"" + name + "\": ...} stands for no value of a property list");
    return add(std::move(*meant));
  }
  bool start_array(std::size_t) override { return open(PropertyList(Array())); }
  bool end_array() override {
    PropertyList array(std::move(open_.back().array));
    open_.pop_back();
    return add(std::move(array));
  }
  bool parse_error(std::size_t position, const std::string&,
                   const nlohmann::json::exception&) override {
    return fail("byte " + std::to_string(position) + ": the JSON text is malformed there");
  }

  [[nodiscard]] Result<PropertyList> result() && {
    if (!problem_.empty()) return Error{problem_};
    return std::move(root_);
  }

 private:
  struct Container {
    bool isArray = false;
    Array array;
    Dictionary dictionary;
    std::string key;
  };

  bool open(const PropertyList& empty) {
    if (open_.size() == kDepthLimit) return fail("the JSON text is nested too deeply");
    open_.push_back({empty.array() != nullptr, {}, {}, {}});
    return true;
  }

  bool add(PropertyList value) {
    if (open_.empty()) {
      root_ = std::move(value);
    } else if (open_.back().isArray) {
      open_.back().array.append(std::move(value));
    } else {
      open_.back().dictionary.set(open_.back().key, std::move(value));
    }
    return true;
  }

  bool fail(std::string problem) {
    if (problem_.empty()) problem_ = std::move(problem);
    return false;
  }

  std::vector<Container> open_;
  PropertyList root_;
  std::string problem_;
};

}  // namespace

Result<PropertyList> fromJson(std::string_view text) {
  Reader reader;
  nlohmann::json::sax_parse(text, &reader);
  return std::move(reader).result();
}

}  // namespace accountsettings
