// The lines that tell differences, and their form for scripts.
#include "tool/accounts/DifferencesText.h"

#include "account/StringList.h"
#include "tool/frame/Json.h"
#include "tool/frame/Words.h"
#include "tool/values/PropertyText.h"

namespace accountsettings {
namespace {

constexpr std::size_t kValueWidth = 60;

PropertyList shownValue(const std::string& key, const PropertyList& value, bool reveal) {
  if (reveal) return value;
  const Dictionary hidden = withSecretsHidden(Dictionary{{key, value}});
  return *hidden.find(key);
}

// DifferenceLines writes one difference after the other.
class DifferenceLines {
 public:
  DifferenceLines(Output& output, const DifferencesOptions& options)
      : output_(output), options_(options) {}

  void write(const KeyChange& change, const std::string& indent) {
    const std::string name = change.key.empty() ? "value" : change.key;
    // Before the values stand the sign and the name.
    const std::size_t taken = lengthOf(indent) + lengthOf(visible(name)) + 4;
    if (!change.cameIn.empty() || !change.wentOut.empty()) {
      std::vector<std::string> parts = membersOf(change);
      parts.insert(parts.begin(), name + ":");
      mark('~', parts, " ", indent);
    } else if (!change.before) {
      mark('+', {name + ": " + fitted(textOf(change, *change.after), taken)}, "", indent);
    } else if (!change.after) {
      mark('-', {name + ": " + fitted(textOf(change, *change.before), taken)}, "", indent);
    } else {
      // The second stands on a line of its own where both are too long for one.
      const std::string before = fitted(textOf(change, *change.before), taken + 3);
      const std::string after = fitted(textOf(change, *change.after), lengthOf(indent) + 4);
      mark('~', {name + ": " + before + " ->", after}, " ", indent);
    }
  }

  void write(const AccountChange& change, const std::string& indent) {
    const char sign = wordFor(change.kind, {"+", "-", "~", "+"}).front();
    std::vector<std::string> parts{
        change.label.empty() ? "account" : cutTo(change.label, kValueWidth), change.account};
    if (change.movedTo) {
      parts.push_back(change.movedTo->empty() ? "now no child any more"
                                              : "now a child of " + *change.movedTo);
    }
    if (!change.convertedFrom.empty()) parts.push_back("from " + change.convertedFrom);
    mark(sign, parts, "  ", indent);
    if (options_.foldRemoved && change.kind == AccountChange::Kind::Removed) return;
    for (const KeyChange& each : change.keys) write(each, indent + "    ");
    for (const AccountChange& each : change.children) write(each, indent + "    ");
  }

 private:
  // The parts are not broken, and have the separator between them.
  void mark(char sign, const std::vector<std::string>& parts, std::string_view separator,
            const std::string& indent) {
    const Colour colour = sign == '+' ? Colour::Green : sign == '-' ? Colour::Red : Colour::Yellow;
    std::vector<std::string> whole = parts;
    whole.front().insert(0, std::string(1, sign) + " ");
    const std::string line = joined(whole, separator);
    if (lengthOf(indent) + lengthOf(visible(line)) <= output_.columns()) {
      return output_.line(indent + output_.paint(colour, line));
    }
    std::vector<Output::Piece> pieces;
    for (const std::string& part : whole) pieces.push_back(output_.piece(colour, part));
    output_.pieces(indent, indent + "    ", pieces, separator);
  }

  [[nodiscard]] std::string textOf(const KeyChange& change, const PropertyList& value) const {
    constexpr std::size_t kMostColumns = 1000;
    return propertyLine(shownValue(change.key, value, options_.reveal), kMostColumns);
  }

  [[nodiscard]] std::string fitted(const std::string& text, std::size_t taken) {
    return output_.fit(text, output_.columnsLeft(taken, kValueWidth));
  }
  static std::vector<std::string> membersOf(const KeyChange& change) {
    std::vector<std::string> parts;
    for (const std::string& each : change.cameIn) {
      parts.push_back("+" + std::string(shortDataclass(each)));
    }
    for (const std::string& each : change.wentOut) {
      parts.push_back("-" + std::string(shortDataclass(each)));
    }
    return parts;
  }

  Output& output_;
  const DifferencesOptions& options_;
};

Dictionary forScripts(const KeyChange& change, bool reveal) {
  Dictionary entry{{"key", change.key}};
  if (change.before) entry.set("before", shownValue(change.key, *change.before, reveal));
  if (change.after) entry.set("after", shownValue(change.key, *change.after, reveal));
  if (!change.cameIn.empty() || !change.wentOut.empty()) {
    entry.set("added", arrayOf(change.cameIn));
    entry.set("removed", arrayOf(change.wentOut));
  }
  return entry;
}

Array forScripts(const std::vector<KeyChange>& changes, bool reveal) {
  return listOf(changes, [&](const KeyChange& each) { return forScripts(each, reveal); });
}

std::string_view nameOf(AccountChange::Kind kind) {
  return wordFor(kind, {"added", "removed", "changed", "converted"});
}

Array forScripts(const std::vector<AccountChange>& changes, bool reveal) {
  Array array;
  for (const AccountChange& each : changes) {
    Dictionary entry{{"change", nameOf(each.kind)},
                     {"account", each.account},
                     {"label", each.label},
                     {"keys", forScripts(each.keys, reveal)}};
    entry.set("movedTo", each.movedTo);
    if (!each.convertedFrom.empty()) entry.set("convertedFrom", each.convertedFrom);
    if (!each.children.empty()) entry.set("children", forScripts(each.children, reveal));
    array.append(std::move(entry));
  }
  return array;
}

}  // namespace

void writeDifferences(Output& output, const Differences& differences,
                      const DifferencesOptions& options) {
  DifferenceLines lines(output, options);
  for (const KeyChange& each : differences.root) lines.write(each, options.indent);
  for (const AccountChange& each : differences.accounts) lines.write(each, options.indent);
  if (differences.reordered) output.line(options.indent + "The accounts stand in another order.");
}

std::string countsInWords(const AccountCounts& counts) {
  std::vector<std::string> parts;
  const auto add = [&](std::size_t count, const char* word) {
    if (count != 0) parts.push_back(std::to_string(count) + " " + word);
  };
  add(counts.kept, "kept");
  add(counts.moved, "moved");
  add(counts.changed, "changed");
  add(counts.dropped, "dropped");
  add(counts.added, "added");
  return counted(counts.before(), "account", "accounts") + " before, " +
         std::to_string(counts.after()) + " after" +
         (parts.empty() ? "" : "; " + joined(parts, ", "));
}

Dictionary countsForScripts(const AccountCounts& counts) {
  return {{"kept", counts.kept},
          {"moved", counts.moved},
          {"changed", counts.changed},
          {"dropped", counts.dropped},
          {"added", counts.added}};
}

Dictionary differencesForScripts(const Differences& differences, bool reveal) {
  return {{"root", forScripts(differences.root, reveal)},
          {"accounts", forScripts(differences.accounts, reveal)},
          {"reordered", differences.reordered}};
}

}  // namespace accountsettings
