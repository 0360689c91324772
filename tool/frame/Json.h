// Json is the JSON form of property lists, in which the program speaks to scripts.
// Strings, numbers, booleans, arrays and dictionaries stand for themselves. What JSON
// lacks is a dictionary of one key: {"$date": "2012-06-01T08:30:00Z"} (or the seconds since
// 2001 where a fraction or a far year would be lost), {"$data": "base64"}, {"$uid": 7},
// {"$real": "nan"} (or "inf", "-inf"), {"$text": "base64"} for a text that is not Unicode, as one
// with a lone surrogate, and {"$entries": [[key, value], ...]} for a dictionary with such a key.
// A real dictionary whose only key begins with "$" is written with one "$" more.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

// The list of what `form` makes of each item, for a document.
template <class Items, class Form>
[[nodiscard]] Array listOf(const Items& items, const Form& form) {
  Array list;
  for (const auto& each : items) list.append(form(each));
  return list;
}

enum class JsonForm { Indented, Compact };

// JsonWriter writes a JSON text value by value, so that what is written need not exist as a whole.
// What would take more than a gigabyte is not written.
class JsonWriter {
 public:
  explicit JsonWriter(JsonForm form) : form_(form) {}

  void write(const PropertyList& value);
  void writeText(std::string_view text);
  // The list of what `writeMember` writes of each member.
  template <class Members, class WriteMember>
  void writeList(const Members& members, const WriteMember& writeMember) {
    writeAll('[', members, ']', writeMember);
  }
  // A dictionary with a value, which `writeValue` writes, for each entry, under the name that
  // `nameOf` answers just before it. Where a name may not be Unicode, `areNames` is to be false.
  template <class NameOf, class WriteValue>
  void writeDictionary(const Dictionary& dictionary, bool areNames, const NameOf& nameOf,
                       const WriteValue& writeValue) {
    if (!areNames) return writeEntries(dictionary, nameOf, writeValue);
    writeAll('{', dictionary, '}', [&](const auto& entry) {
      writeName(nameOf(entry), dictionary.size() == 1);
      writeValue(entry);
    });
  }
  // The same under the dictionary's own keys.
  template <class WriteValue>
  void writeDictionary(const Dictionary& dictionary, const WriteValue& writeValue) {
    writeDictionary(dictionary, areNames(dictionary), keyOf, writeValue);
  }
  // Whether JSON can hold the dictionary's keys.
  [[nodiscard]] static bool areNames(const Dictionary& dictionary);
  // A dictionary that is written member by member: its beginning, the name of each value that
  // follows, and its end.
  void begin();
  void member(std::string_view name);
  void end();

  [[nodiscard]] bool tooLarge() const noexcept;
  // What was written so far, to be taken or mended.
  [[nodiscard]] std::string& text() noexcept { return text_; }
  // All of it; the error tells that it is too large.
  [[nodiscard]] Result<std::string> finish();

 private:
  [[nodiscard]] static std::string_view keyOf(const Dictionary::Entry& entry);

  void open(char bracket);
  void nextMember();
  void close(char bracket);
  void breakLine();
  // `isOnly` tells that the dictionary has no other.
  void writeName(std::string_view name, bool isOnly);
  void writeNameAsItIs(std::string_view name);
  void writeReal(double real);
  void writeDate(double seconds);

  // The members of an array or a dictionary, each on a line of its own.
  template <class Members, class WriteMember>
  void writeAll(char begin, const Members& members, char end, const WriteMember& writeMember) {
    open(begin);
    for (const auto& each : members) {
      nextMember();
      writeMember(each);
    }
    close(end);
  }

  // The form for keys that JSON cannot hold.
  template <class NameOf, class WriteValue>
  void writeEntries(const Dictionary& dictionary, const NameOf& nameOf,
                    const WriteValue& writeValue) {
    writeTagged("$entries", [&] {
      writeList(dictionary, [&](const auto& entry) {
        open('[');
        nextMember();
        writeText(nameOf(entry));
        nextMember();
        writeValue(entry);
        close(']');
      });
    });
  }

  // The form of a value that JSON lacks.
  template <class WriteValue>
  void writeTagged(std::string_view tag, const WriteValue& writeValue) {
    open('{');
    nextMember();
    writeNameAsItIs(tag);
    writeValue();
    close('}');
  }

  std::string text_;
  JsonForm form_;
  std::size_t depth_ = 0;
  bool isFirst_ = true;  // of the members of the container that is open
};

// Indented by two spaces or in one line, keys in the dictionaries' order, no line break at the end;
// what a terminal would obey is escaped. Fails for a value that would take more than a gigabyte, as
// one that shares its parts many times over can.
[[nodiscard]] Result<std::string> toJson(const PropertyList& value,
                                         JsonForm form = JsonForm::Indented);

// The error says at which byte the text is malformed, or what has no place in a property list
// (null).
[[nodiscard]] Result<PropertyList> fromJson(std::string_view text);

}  // namespace accountsettings
